// What reading a list of lines must give, found the plain way: every duplicate is looked for in all that was read.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <tarn_boot/records.h>

#include "list_update_reference.h"

namespace tarn::reference {

// What fgets hands out in pieces of that many bytes, each up to its first NUL.
inline std::vector<std::string> piecesOf(std::string_view text, size_t longest = 511)
{
    std::vector<std::string> pieces;
    while (!text.empty()) {
        const size_t lineFeed = text.find('\n');
        const size_t line = lineFeed == text.npos ? text.size() : lineFeed + 1;
        const std::string_view piece = text.substr(0, std::min(line, longest));
        pieces.emplace_back(piece.substr(0, piece.find('\0')));
        text.remove_prefix(piece.size());
    }
    return pieces;
}

inline std::string trimmed(const std::string &text)
{
    constexpr const char *kBlanks = "\t\n\v\f\r ";
    const size_t begin = text.find_first_not_of(kBlanks);
    return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Calls take(line), trimmed, for every line that is not blank; false once take does not like one.
template <class Take> bool eachLine(std::string_view text, Take take)
{
    for (const std::string &piece : piecesOf(text)) {
        const std::string line = trimmed(piece);
        if (!line.empty() && !take(line)) {
            return false;
        }
    }
    return true;
}

// At any number of spaces; no other white space separates.
inline std::vector<std::string> columnsOf(const std::string &line)
{
    std::vector<std::string> columns;
    for (size_t end = 0; end < line.size();) {
        const size_t begin = line.find_first_not_of(' ', end);
        end = std::min(line.find(' ', begin), line.size());
        columns.push_back(line.substr(begin, end - begin));
    }
    return columns;
}

template <size_t size> void fill(char (&field)[size], const std::string &text)
{
    memset(field, 0, size);
    memcpy(field, text.data(), std::min(text.size(), size - 1));
}

// Nothing when the list cannot be read.
inline std::optional<std::vector<std::string>> imageNames(std::string_view text)
{
    std::vector<std::string> names;
    const bool sound = eachLine(text, [&](const std::string &name) {
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
        return name.size() < sizeof(ImageNameRecord::name);
    });
    return sound ? std::optional(names) : std::nullopt;
}

inline std::optional<std::vector<LinklistRecord>> links(std::string_view text)
{
    std::vector<LinklistRecord> records;
    const bool sound = eachLine(text, [&](const std::string &line) {
        const std::vector<std::string> columns = columnsOf(line);
        if (columns.size() != 2) {
            return false;
        }
        LinklistRecord record;
        fill(record.linkSource, columns[0]);
        fill(record.linkPath, columns[1]);
        if (std::none_of(records.begin(), records.end(), [&](const auto &other) { return sameLink(other, record); })) {
            records.push_back(record);
        }
        return true;
    });
    return sound ? std::optional(records) : std::nullopt;
}

inline std::optional<std::vector<BiosloadRecord>> biosloadFiles(std::string_view text)
{
    std::vector<BiosloadRecord> records;
    const bool sound = eachLine(text, [&](const std::string &line) {
        const std::vector<std::string> columns = columnsOf(line);
        if (columns.size() != 6 && columns.size() != 7) {
            return false;
        }
        BiosloadRecord record;
        fill(record.sha256Text, columns[0]);
        fill(record.filePath, columns[1]);
        fill(record.field2Text, columns[2]);
        fill(record.field3Text, columns[3]);
        record.field4Num = static_cast<uint32_t>(strtoul(columns[4].c_str(), nullptr, 10));
        record.fileType = static_cast<uint32_t>(strtol(columns[5].c_str(), nullptr, 10));
        fill(record.field6Text, columns.size() == 7 ? columns[6] : "");
        records.push_back(record);
        return record.fileType <= 1;
    });
    return sound ? std::optional(records) : std::nullopt;
}

inline bool sameBiosloadFile(const BiosloadRecord &a, const BiosloadRecord &b)
{
    return strcmp(a.sha256Text, b.sha256Text) == 0 && strcmp(a.filePath, b.filePath) == 0 &&
           strcmp(a.field2Text, b.field2Text) == 0 && strcmp(a.field3Text, b.field3Text) == 0 &&
           a.field4Num == b.field4Num && a.fileType == b.fileType && strcmp(a.field6Text, b.field6Text) == 0;
}

} // namespace tarn::reference
