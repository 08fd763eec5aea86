// What reading descriptor files must give, found the plain way.
#pragma once

#include "line_list_reference.h"

#include <tarn_boot/descriptor.h>

namespace tarn::reference {

constexpr const char *kWhiteSpace = "\t\n\v\f\r ";

inline bool isIgnored(const std::string &line)
{
    const size_t first = line.find_first_not_of(kWhiteSpace);
    return first == line.npos || line[first] == '#';
}

// At every one of the delimiters; no empty pieces.
inline std::vector<std::string> splitAt(const std::string &text, const char *delimiters)
{
    std::vector<std::string> pieces;
    for (size_t begin = text.find_first_not_of(delimiters); begin != text.npos;) {
        const size_t end = std::min(text.find_first_of(delimiters, begin), text.size());
        pieces.push_back(text.substr(begin, end - begin));
        begin = text.find_first_not_of(delimiters, end);
    }
    return pieces;
}

// Nothing when the value does not fit.
inline std::optional<std::string> descriptorValue(std::string_view file, const std::string &key, size_t room)
{
    for (const std::string &line : piecesOf(file, 4095)) {
        if (isIgnored(line) || line.find(':') == line.npos || line.find(key) == line.npos) {
            continue;
        }
        const std::vector<std::string> pieces = splitAt(line, ":\n");
        const std::string value = pieces.size() == 2 ? trimmed(pieces[1]) : "";
        // A line that is not split into two writes nothing: there is nothing that could be too long.
        return pieces.size() == 2 && value.size() >= room ? std::nullopt : std::optional(value);
    }
    return "";
}

inline bool sameBytes(const auto &a, const auto &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

// Adds it unless it is there.
template <class Data> void addOnce(std::vector<Data> &list, const Data &data)
{
    if (std::none_of(list.begin(), list.end(), [&](const Data &other) { return sameBytes(other, data); })) {
        list.push_back(data);
    }
}

// Nothing when a line is bad, unless the file ends in it.
inline std::optional<std::vector<FileStructureData>> filesOf(std::string_view file, const std::string &header)
{
    std::vector<FileStructureData> files;
    bool isInside = false;
    const std::vector<std::string> pieces = piecesOf(file);
    for (const std::string &line : pieces) {
        if (isIgnored(line)) {
            continue;
        }
        if (line.find(header) != line.npos) {
            isInside = true;
        } else if (isInside && line.find(':') != line.npos) {
            return files;
        } else if (isInside) {
            const std::vector<std::string> columns = columnsOf(trimmed(line));
            if (columns.size() != 4) {
                // A whole last piece has read up to the end, but not tried to read on.
                const bool isLast = &line == &pieces.back() && file.back() != '\n';
                const size_t rest = file.size() - (file.rfind('\n') == file.npos ? 0 : file.rfind('\n') + 1);
                return isLast && rest % 511 != 0 ? std::optional(files) : std::nullopt;
            }
            FileStructureData data;
            fill(data.firstText, columns[0]);
            fill(data.secondText, columns[1]);
            fill(data.thirdText, columns[3]);
            data.flag = columns[2] == "yes" ? 1 : 0;
            addOnce(files, data);
        }
    }
    return files;
}

// The requirements up to the first bad entry; whether there is none.
inline bool requirements(const std::string &text, std::vector<PkgRequireData> *found)
{
    for (const std::string &entry : splitAt(text, ";")) {
        PkgRequireData data;
        memset(&data, 0, sizeof(data));
        constexpr const char *kRelations[] = {">=", "<=", "="};
        uint32_t relation = 0;
        while (relation < 3 && entry.find(kRelations[relation]) == entry.npos) {
            ++relation;
        }
        const auto pieces = relation < 3 ? splitAt(entry, kRelations[relation]) : std::vector<std::string>{entry, ""};
        if (pieces.size() != 2) {
            return false;
        }
        fill(data.requiredName, pieces[0]);
        fill(data.requiredVersion, pieces[1]);
        data.relation = relation;
        addOnce(*found, data);
    }
    return true;
}

// Nothing when the list cannot be read.
inline std::optional<std::vector<RpmlistTxtData>> rpms(std::string_view file)
{
    std::vector<RpmlistTxtData> records;
    const bool sound = eachLine(file, [&](const std::string &line) {
        const std::vector<std::string> columns = columnsOf(line);
        constexpr const char *kOperations[] = {"add", "update", "remove"};
        const auto *operation = std::find(kOperations, kOperations + 3, columns.size() == 3 ? columns[2] : "");
        if (operation == kOperations + 3 || !columns[0].ends_with(".rpm")) {
            return false;
        }
        RpmlistTxtData data;
        fill(data.rpmFileName, columns[0]);
        fill(data.rpmName, columns[0].substr(0, columns[0].size() - 4));
        fill(data.secondText, columns[1]);
        data.operation = static_cast<uint32_t>(operation - kOperations);
        records.push_back(data);
        return true;
    });
    return sound ? std::optional(records) : std::nullopt;
}

} // namespace tarn::reference
