// tarn desc check: where the lenient rules of the library give an answer that whoever wrote the file did not mean.
#include <algorithm>
#include <memory>
#include <optional>

#include <tarn_boot/descriptor.h>

#include "desc/commands.h"
#include "desc/report.h"
#include "json.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string file;
    std::string type;
};

struct Warning {
    size_t line = 0; // 0: the file as a whole
    const char *kind = "";
    std::string text;
};

struct Line {
    size_t number = 0;
    std::string text; // without its line feed
    bool hasEnd = true;
    bool isCut = false; // longer than what is read at once
};

// As fgets takes them: a longer line comes in pieces, one with a NUL ends there.
std::vector<Line> piecesOf(const std::string &content, size_t atOnce)
{
    std::vector<Line> pieces;
    size_t number = 1;
    for (size_t start = 0; start < content.size();) {
        const size_t end = std::min(content.find('\n', start), content.size());
        const size_t length = std::min(end - start, atOnce);
        const bool isWhole = length < atOnce || end - start == length;
        const std::string piece = content.substr(start, length);
        pieces.push_back({number, piece.substr(0, piece.find('\0')), end < content.size(), !isWhole});
        const bool takesEnd = end - start < atOnce && end < content.size();
        start += length + (takesEnd ? 1 : 0);
        number += takesEnd ? 1 : 0;
        if (!takesEnd && start == end && end < content.size()) {
            ++start; // the line feed comes alone: an empty piece
            ++number;
        }
    }
    return pieces;
}

std::string trimmed(const std::string &text)
{
    constexpr const char *kBlanks = " \t\n\v\f\r";
    const size_t first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string keyPart(const Line &line)
{
    return trimmed(line.text.substr(0, line.text.find(':')));
}

bool isRead(const Line &line)
{
    return SWM_IsInvalidLine(line.text.c_str()) == 0;
}

class Checker {
public:
    Checker(const ListFile &descriptor, DescKind descriptorKind) : file(descriptor), kind(descriptorKind) {}

    std::vector<Warning> check()
    {
        if (file.content.find('\0') != std::string::npos) {
            add(0, "nul", "holds NUL bytes, at which lines end");
        }
        lines = piecesOf(file.content, kDescLine);
        noteCutLines();
        for (const DescKey &key : descKeys(kind)) {
            checkKey(key);
        }
        if (kind == DescKind::Package) {
            lines = piecesOf(file.content, kSectionLine);
            checkSection("files:", "files-compatible:");
            checkSection("files-compatible:", "files:");
        }
        std::stable_sort(warnings.begin(), warnings.end(),
                         [](const Warning &a, const Warning &b) { return a.line < b.line; });
        return warnings;
    }

private:
    static constexpr size_t kDescLine = 4095;
    static constexpr size_t kSectionLine = 511;
    static constexpr size_t kFieldRoom = 128;

    void add(size_t line, const char *what, std::string text) { warnings.push_back({line, what, std::move(text)}); }

    void noteCutLines()
    {
        for (const Line &line : lines) {
            if (line.isCut) {
                add(line.number, "long_line", "over 4095 bytes: what is behind them counts as a line of its own");
            }
        }
    }

    // ---- Keys ----

    bool matches(const Line &line, const char *key) const
    {
        return isRead(line) && SWM_IsSection(line.text.c_str()) != 0 && line.text.find(key) != std::string::npos;
    }

    void checkKey(const DescKey &key)
    {
        const auto first =
            std::find_if(lines.begin(), lines.end(), [&](const Line &line) { return matches(line, key.name); });
        if (first == lines.end()) {
            return;
        }
        const auto isExact = [&](const Line &line) { return matches(line, key.name) && keyPart(line) == key.name; };
        const auto exact = std::find_if(first, lines.end(), isExact);
        if (exact != first) {
            noteWrongLine(key, *first, exact == lines.end() ? nullptr : &*exact);
        } else if (const auto second = std::find_if(first + 1, lines.end(), isExact); second != lines.end()) {
            add(second->number, "repeated_key",
                format("the key \"%s\" is there again; line %zu counts", key.name, first->number));
        }
        checkValue(key, *first);
    }

    void noteWrongLine(const DescKey &key, const Line &found, const Line *meant)
    {
        const bool isInKey = keyPart(found).find(key.name) != std::string::npos;
        std::string text = format("\"%s\" is found inside the %s ", key.name, isInKey ? "key" : "value of") +
                           inQuotes(keyPart(found)) + ", and this line is taken for it";
        if (meant != nullptr) {
            text += format("; line %zu is never looked at", meant->number);
        }
        add(found.number, isInKey ? "inside_key" : "inside_value", text);
    }

    void checkValue(const DescKey &key, const Line &line)
    {
        // Empty pieces do not count.
        std::vector<std::string> pieces;
        for (size_t start = 0; start < line.text.size();) {
            const size_t end = std::min(line.text.find(':', start), line.text.size());
            if (end > start) {
                pieces.push_back(line.text.substr(start, end - start));
            }
            start = end + 1;
        }
        const std::string value = pieces.size() == 2 ? pieces[1] : "";
        if (pieces.size() > 2) {
            add(line.number, "colon_in_value", format("the value of \"%s\" has a colon: it reads as empty", key.name));
        } else if (trimmed(value).size() >= key.room) {
            add(line.number, "too_long",
                format("the value of \"%s\" has %zu bytes, its field holds %zu: the file is refused", key.name,
                       trimmed(value).size(), key.room - 1));
        } else if (std::string(key.name) == "requires" || std::string(key.name) == "cc_include") {
            checkNames(key, line, trimmed(value));
        }
    }

    // The parts of a list are not trimmed.
    void checkNames(const DescKey &key, const Line &line, const std::string &value)
    {
        for (size_t start = 0; start <= value.size();) {
            const size_t end = std::min(value.find(';', start), value.size());
            const std::string part = value.substr(start, end - start);
            start = end + 1;
            if (part != trimmed(part)) {
                add(line.number, "blanks_in_name",
                    format("blanks beside a \";\" of \"%s\" become part of the name ", key.name) + inQuotes(part));
            }
            if (part.size() >= kFieldRoom) {
                add(line.number, "cut", "the name " + inQuotes(part) + " is cut to 127 bytes");
            }
        }
    }

    // ---- Sections ----

    bool isHeader(const Line &line, const char *header) const
    {
        return isRead(line) && line.text.find(header) != std::string::npos;
    }

    void checkSection(const char *header, const char *other)
    {
        size_t index = 0;
        while (index < lines.size() && !isHeader(lines[index], header)) {
            ++index;
        }
        if (index == lines.size()) {
            return;
        }
        if (trimmed(lines[index].text) != header) {
            add(lines[index].number, "inside_line",
                format("\"%s\" is found inside this line, which begins that section", header));
        }
        for (++index; index < lines.size(); ++index) {
            if (!isRead(lines[index]) || isHeader(lines[index], header)) {
                continue;
            }
            if (SWM_IsSection(lines[index].text.c_str()) != 0) {
                noteSectionEnd(lines[index], header, other);
                break;
            }
            checkFileLine(lines[index], header);
        }
        for (++index; index < lines.size(); ++index) {
            if (isHeader(lines[index], header)) {
                add(lines[index].number, "repeated_section", format("the section \"%s\" is never read again", header));
            }
        }
    }

    // A key ends a section, as another header does; a path with a colon does so by accident.
    void noteSectionEnd(const Line &line, const char *header, const char *other)
    {
        const std::string key = keyPart(line);
        const bool isPath = key.find_first_of("/ \t") != std::string::npos;
        if (trimmed(line.text) != other && isPath) {
            add(line.number, "colon_ends_section",
                format("the colon in this line ends the section \"%s\": nothing behind it is read", header));
        }
    }

    void checkFileLine(const Line &line, const char *header)
    {
        std::vector<std::string> fields;
        const std::string text = trimmed(line.text);
        for (size_t start = 0; (start = text.find_first_not_of(' ', start)) != std::string::npos;) {
            const size_t end = std::min(text.find(' ', start), text.size());
            fields.push_back(text.substr(start, end - start));
            start = end;
        }
        if (fields.size() != 4) {
            const bool isForgiven = !line.hasEnd;
            add(line.number, isForgiven ? "bad_last_line" : "bad_line",
                format("%zu fields in the section \"%s\", a file has 4: %s", fields.size(), header,
                       isForgiven ? "as the last line, without a line feed, it is passed over"
                                  : "the file is refused"));
            return;
        }
        if (fields[2] != "yes" && fields[2] != "no") {
            add(line.number, "flag", "the flag " + inQuotes(fields[2]) + " is not \"yes\", and so counts as no");
        }
        for (const size_t field : {size_t{0}, size_t{1}, size_t{3}}) {
            if (fields[field].size() >= kFieldRoom) {
                add(line.number, "cut", format("field %zu is cut to 127 bytes", field + 1));
            }
        }
    }

    const ListFile &file;
    DescKind kind;
    std::vector<Line> lines;
    std::vector<Warning> warnings;
};

std::string warningText(const ListFile &file, const Warning &warning)
{
    return escaped(file.path) + ": " + (warning.line == 0 ? "" : format("line %zu: ", warning.line)) + warning.text +
           "\n";
}

Json warningsJson(const std::vector<Warning> &warnings)
{
    Json json = Json::array();
    for (const Warning &warning : warnings) {
        json.push_back({{"line", warning.line}, {"kind", warning.kind}, {"message", escaped(warning.text)}});
    }
    return json;
}

// The lines of an rpm list are strict already: the first bad one ends the reading.
std::vector<Warning> rpmWarnings(const ListFile &file)
{
    std::vector<Warning> warnings;
    const Examination found = examine(file.content, kindByName("rpm").format);
    for (const auto *notes : {&found.faults, &found.remarks}) {
        for (const LineNote &note : *notes) {
            warnings.push_back({note.line, notes == &found.faults ? "bad_line" : "changed", noteText(note)});
        }
    }
    return warnings;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const ListFile file(options.file);
    const DescKind kind = chooseDescKind(options.type, file);
    DescReport report = readDescriptor(file, kind);
    const std::vector<Warning> warnings = kind == DescKind::Rpm ? rpmWarnings(file) : Checker(file, kind).check();
    const bool isGood = report.isAccepted && warnings.empty();
    if (globals.json) {
        report.json["warnings"] = warningsJson(warnings);
        report.json["reason"] = report.isAccepted ? Json() : Json(report.reason);
        printJson(report.json);
        return isGood ? ExitStatus::Done : ExitStatus::No;
    }
    printOut(report.text);
    for (const Warning &warning : warnings) {
        printOut(inColour(Colour::Warning, "warning: ") + warningText(file, warning));
    }
    printOut(escaped(file.path) + ": " +
             (report.isAccepted ? inColour(Colour::Good, "accepted")
                                : inColour(Colour::Bad, "not accepted: ") + report.reason) +
             ", " + counted(warnings.size(), "warning") + "\n");
    return isGood ? ExitStatus::Done : ExitStatus::No;
}

} // namespace

void addDescCheck(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "check", "FILE", "Show what the library reads from a descriptor, and where that may surprise",
        "The library takes the first line that holds a key anywhere, and ends a section at any colon.\n"
        "Exit status: 0 accepted, no surprises; 1 warnings, or not accepted; 2 wrong usage; 3 cannot be read."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("--type", options->type, "TYPE", "What it is: cc, package or rpm; by default told by its lines");
    command.operand("FILE", "The descriptor", options->file);
}

} // namespace tarn::tool
