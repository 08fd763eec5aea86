// Lines, columns and their rules.
#include "list/lines.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <functional>

#include "command.h"
#include "json.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kMaxNotes = 100;
constexpr size_t kMaxShownValue = 100;
constexpr size_t kMaxKeptValue = 1024;
constexpr size_t kDigestDigits = 64;
constexpr long kMaxMode = 07777;
constexpr char kBlanks[] = "\t\n\v\f\r ";

std::string_view trimmed(std::string_view text)
{
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

// Pieces between spaces, none of them empty.
std::vector<std::string_view> split(std::string_view line)
{
    std::vector<std::string_view> pieces;
    for (size_t start = line.find_first_not_of(' '); start != std::string_view::npos;) {
        const size_t end = std::min(line.find(' ', start), line.size());
        pieces.push_back(line.substr(start, end - start));
        start = line.find_first_not_of(' ', end);
    }
    return pieces;
}

bool consistsOf(std::string_view text, std::string_view characters)
{
    return !text.empty() && text.find_first_not_of(characters) == std::string_view::npos;
}

// ---- One column ----

enum class Weight { None, Remark, Fault };

struct Finding {
    Weight weight = Weight::None;
    std::string text;
};

Finding judgeRoom(std::string_view text, const Column &column)
{
    if (text.size() <= column.room) {
        return {};
    }
    return {Weight::Remark, format("%zu bytes, cut to the %zu that the record holds", text.size(), column.room)};
}

Finding judgeDigest(std::string_view text)
{
    if (text.size() == kDigestDigits && consistsOf(text, "0123456789abcdefABCDEF")) {
        return {};
    }
    return {Weight::Remark, "not 64 hexadecimal digits: loaded as zeroes, which no file answers to"};
}

Finding judgeFirstPiece(std::string_view text, const Column &column)
{
    const size_t start = text.find_first_not_of(':');
    if (start == std::string_view::npos) {
        return {Weight::Fault, "there must be a name, alone or before a \":\""};
    }
    return judgeRoom(text.substr(start, text.find(':', start) - start), column);
}

Finding judgeMode(std::string_view text)
{
    const long mode = strtol(std::string(text).c_str(), nullptr, 8);
    if (static_cast<uint32_t>(mode) == 0) {
        return {Weight::Fault, "the mode must be an octal number other than 0"};
    }
    if (consistsOf(text, "01234567") && mode <= kMaxMode) {
        return {};
    }
    return {Weight::Remark, format("not a plain octal mode: loaded as %o", static_cast<uint32_t>(mode))};
}

Finding judgeNumber(std::string_view text)
{
    const std::string terminated(text);
    char *end = nullptr;
    errno = 0;
    const long number = strtol(terminated.c_str(), &end, 10);
    if (end != terminated.c_str() && *end == '\0' && errno == 0 && number >= INT32_MIN && number <= INT32_MAX) {
        return {};
    }
    return {Weight::Remark, format("not a number of 32 bits: loaded as %d", static_cast<int32_t>(number))};
}

Finding judgeDigits(std::string_view text)
{
    return consistsOf(text, "0123456789") ? judgeNumber(text)
                                          : Finding{Weight::Fault, "there must be decimal digits and nothing else"};
}

Finding judgeZeroOrOne(std::string_view text)
{
    const auto number = static_cast<uint32_t>(strtol(std::string(text).c_str(), nullptr, 10));
    return number > 1 ? Finding{Weight::Fault, "the file type must be 0 or 1"} : judgeNumber(text);
}

Finding judgeName(std::string_view text, const Column &column)
{
    if (text.size() <= column.room) {
        return {};
    }
    return {Weight::Fault, format("%zu bytes, a name has at most %zu", text.size(), column.room)};
}

Finding judgeRpmFile(std::string_view text, const Column &column)
{
    constexpr std::string_view kSuffix = ".rpm";
    const bool hasSuffix = text.size() >= kSuffix.size() && text.substr(text.size() - kSuffix.size()) == kSuffix;
    return hasSuffix ? judgeRoom(text, column) : Finding{Weight::Fault, "the name must end in \".rpm\""};
}

Finding judgeOperation(std::string_view text)
{
    const bool isKnown = text == "add" || text == "update" || text == "remove";
    return isKnown ? Finding{} : Finding{Weight::Fault, "the operation must be add, update or remove"};
}

Finding judge(std::string_view text, const Column &column)
{
    switch (column.rule) {
    case Rule::Digest:
        return judgeDigest(text);
    case Rule::Name:
        return judgeName(text, column);
    case Rule::FirstPiece:
        return judgeFirstPiece(text, column);
    case Rule::Mode:
        return judgeMode(text);
    case Rule::Digits:
        return judgeDigits(text);
    case Rule::Number:
        return judgeNumber(text);
    case Rule::ZeroOrOne:
        return judgeZeroOrOne(text);
    case Rule::RpmFile:
        return judgeRpmFile(text, column);
    case Rule::Operation:
        return judgeOperation(text);
    default:
        return judgeRoom(text, column);
    }
}

// ---- Lines ----

// "7, 13 or 14"
std::string inWords(std::span<const size_t> counts)
{
    std::string text;
    for (size_t index = 0; index < counts.size(); ++index) {
        const bool isLast = index + 1 == counts.size();
        text += (index == 0 ? "" : isLast ? " or " : ", ") + std::to_string(counts[index]);
    }
    return text;
}

class Examiner {
public:
    explicit Examiner(const LineFormat &lineFormat) : format(lineFormat) {}

    // A line without its line feed.
    void take(size_t number, std::string_view physical)
    {
        line = number;
        if (format.atOnce == 0) {
            takeSplitAtNul(physical);
        } else {
            takeInPieces(physical);
        }
    }

    Examination result;

private:
    void takeSplitAtNul(std::string_view rest)
    {
        if (rest.find('\0') != std::string_view::npos) {
            remark("a NUL byte: what follows it counts as another line");
        }
        for (size_t end = rest.find('\0'); end != std::string_view::npos; end = rest.find('\0')) {
            takeText(rest.substr(0, end));
            rest.remove_prefix(end + 1);
        }
        takeText(rest);
    }

    void takeInPieces(std::string_view rest)
    {
        if (rest.size() > format.atOnce) {
            remark(std::to_string(rest.size()) + " bytes: only " + std::to_string(format.atOnce) +
                   " are read at once, so that it counts as several lines");
        }
        if (rest.find('\0') != std::string_view::npos) {
            remark("a NUL byte: what follows it is lost");
        }
        for (; !rest.empty(); rest.remove_prefix(std::min(format.atOnce, rest.size()))) {
            const std::string_view piece = rest.substr(0, format.atOnce);
            takeText(piece.substr(0, piece.find('\0')));
        }
    }

    void takeText(std::string_view text)
    {
        text = trimmed(text);
        if (text.empty()) {
            return;
        }
        const auto columns = format.counts.empty() ? std::vector{text} : split(text);
        const auto &counts = format.counts;
        if (!counts.empty() && std::find(counts.begin(), counts.end(), columns.size()) == counts.end()) {
            add(Weight::Fault, {line, nullptr, 0, std::string(text),
                                counted(columns.size(), "column") + ", there must be " + inWords(counts)});
            return;
        }
        for (size_t index = 0; index < columns.size(); ++index) {
            const Column &column = format.columns[index];
            const Finding finding = judge(columns[index], column);
            add(finding.weight, {line, &column, index, std::string(columns[index]), finding.text});
        }
    }

    void remark(std::string text) { add(Weight::Remark, {line, nullptr, 0, "", std::move(text)}); }

    void add(Weight weight, LineNote note)
    {
        if (weight == Weight::None) {
            return;
        }
        auto &notes = weight == Weight::Fault ? result.faults : result.remarks;
        ++(weight == Weight::Fault ? result.faultCount : result.remarkCount);
        if (notes.size() < kMaxNotes) {
            note.value.resize(std::min(note.value.size(), kMaxKeptValue));
            notes.push_back(std::move(note));
        }
    }

    const LineFormat &format;
    size_t line = 0;
};

void forEachLine(std::string_view content, const std::function<bool(std::string_view)> &take)
{
    while (!content.empty()) {
        const size_t end = std::min(content.find('\n'), content.size());
        if (!take(content.substr(0, end))) {
            return;
        }
        content.remove_prefix(std::min(end + 1, content.size()));
    }
}

} // namespace

Examination examine(std::string_view content, const LineFormat &format)
{
    Examiner examiner(format);
    size_t number = 0;
    forEachLine(content, [&](std::string_view line) {
        examiner.take(++number, line);
        return true;
    });
    return std::move(examiner.result);
}

std::vector<std::string_view> firstColumns(std::string_view content)
{
    std::vector<std::string_view> columns;
    forEachLine(content, [&](std::string_view line) {
        columns = split(trimmed(line.substr(0, line.find('\0'))));
        return columns.empty();
    });
    return columns;
}

std::string noteText(const LineNote &note)
{
    std::string text = "line " + std::to_string(note.line);
    if (note.column != nullptr) {
        text += ", column " + std::to_string(note.columnIndex) + " (" + note.column->name + ")";
    }
    if (!note.value.empty()) {
        const bool isCut = note.value.size() > kMaxShownValue;
        text += ": " + inQuotes(note.value.substr(0, kMaxShownValue)) + (isCut ? "..." : "");
    }
    return text + ": " + note.text;
}

Json notesJson(const std::vector<LineNote> &notes)
{
    Json array = Json::array();
    for (const LineNote &note : notes) {
        Json json = {{"line", note.line}, {"column", Json()}, {"field", Json()}};
        if (note.column != nullptr) {
            json["column"] = note.columnIndex;
            json["field"] = note.column->name;
        }
        putName(json, "value", note.value);
        json["text"] = note.text;
        array.push_back(json);
    }
    return array;
}

} // namespace tarn::tool
