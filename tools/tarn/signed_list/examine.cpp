// The lines of a signed list. Format: docs/formats.md.
#include "signed_list/examine.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <optional>

#include "text.h"

namespace tarn::tool {

namespace {

constexpr char kMainSection[] = "[MAIN FILE INFO]";
constexpr char kCreator[] = "Korvel Technology Inc.";
constexpr size_t kMaxFiles = 256;
constexpr size_t kNameRoom = 96;
constexpr size_t kDigestSize = 64;
constexpr size_t kMaxLine = 4095;
constexpr size_t kMaxKey = 64;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct Value {
    size_t line = 0;
    std::string text;
};

struct Section {
    size_t line = 0;
    std::string name;
    std::map<std::string, Value, std::less<>> values;
};

std::string_view withoutBlanksBefore(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t\v\f\r");
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::string_view withoutBlanksBehind(std::string_view text)
{
    const size_t last = text.find_last_not_of(" \t\v\f\r");
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

class Examiner {
public:
    explicit Examiner(std::string_view listText) : content(listText)
    {
        if (content.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
            content.remove_prefix(kByteOrderMark.size());
        }
    }

    std::vector<SignedListNote> examine()
    {
        if (content.find('\0') != std::string_view::npos) {
            note(0, "nul", "has NUL bytes: no reader goes beyond the first");
        }
        readLines();
        checkMain();
        for (size_t index = 1; index < sections.size(); ++index) {
            checkFile(sections[index]);
        }
        std::stable_sort(notes.begin(), notes.end(),
                         [](const SignedListNote &a, const SignedListNote &b) { return a.line < b.line; });
        return std::move(notes);
    }

private:
    void note(size_t line, const char *kind, std::string text) { notes.push_back({line, kind, std::move(text)}); }

    // ---- Lines ----

    void readLines()
    {
        size_t number = 1;
        for (size_t start = 0; start < content.size(); ++number) {
            const size_t end = std::min(content.find('\n', start), content.size());
            std::string_view line = content.substr(start, end - start);
            start = end + 1;
            if (line.size() > kMaxLine) {
                note(number, "long_line", "over 4095 bytes: the list does not load");
            }
            if (!line.empty() && line.back() == '\r') {
                line.remove_suffix(1);
            }
            takeLine(number, withoutBlanksBefore(line));
        }
    }

    void takeLine(size_t number, std::string_view line)
    {
        if (line.empty() || line[0] == ';' || line[0] == '#') {
            return;
        }
        if (line[0] == '[' && withoutBlanksBehind(line).back() == ']') {
            sections.push_back({number, std::string(withoutBlanksBehind(line)), {}});
            return;
        }
        const size_t sign = line.find('=');
        const std::string key(withoutBlanksBehind(line.substr(0, sign)));
        if (sign == std::string_view::npos || sections.empty() || key.size() > kMaxKey) {
            note(number, "ignored",
                 sign == std::string_view::npos ? "has no \"=\": the line is ignored"
                 : sections.empty()             ? "a key before any section: the line is ignored"
                                                : "a key over 64 bytes: the line is ignored");
            return;
        }
        const std::string value(withoutBlanksBefore(line.substr(sign + 1)));
        if (!sections.back().values.try_emplace(key, Value{number, value}).second) {
            note(number, "repeated_key", "the key " + inQuotes(key) + " is there again; the first one counts");
        }
    }

    // ---- Values ----

    const Value *find(const Section &section, const char *key)
    {
        const auto found = section.values.find(key);
        if (found == section.values.end()) {
            note(section.line, "missing_key",
                 "section " + inQuotes(section.name) + " has no key " + inQuotes(key) + ": the list does not load");
            return nullptr;
        }
        return &found->second;
    }

    // As strtoul takes it: octal behind a "0", and what is behind the digits does not count.
    unsigned long number(const Value &value, const char *key)
    {
        char *end = nullptr;
        const unsigned long result = strtoul(value.text.c_str(), &end, 0);
        const bool isOctal =
            value.text.size() > 1 && value.text[0] == '0' && isdigit(static_cast<unsigned char>(value.text[1])) != 0;
        if (*end != '\0' || value.text.empty() || isOctal) {
            note(value.line, "number",
                 format("%s %s reads as %lu", key, inQuotes(value.text).c_str(), result & UINT32_MAX));
        }
        return result & UINT32_MAX;
    }

    void checkMain()
    {
        if (sections.empty()) {
            note(0, "no_sections", "has no sections: it does not load");
            return;
        }
        const Section &main = sections.front();
        if (main.name != kMainSection) {
            note(main.line, "main_section",
                 "the first section is " + inQuotes(main.name) + ", it should be " + inQuotes(kMainSection));
        }
        if (const Value *creator = find(main, "Create By"); creator != nullptr && creator->text != kCreator) {
            note(creator->line, "creator",
                 "the creator is " + inQuotes(creator->text) + ", it has to be " + inQuotes(kCreator) +
                     ": the list does not load");
        }
        const Value *count = find(main, "FILENUM");
        if (count == nullptr) {
            return;
        }
        const unsigned long files = number(*count, "FILENUM");
        if (files < 1 || files > kMaxFiles) {
            note(count->line, "count",
                 format("FILENUM is %lu, from 1 to 256 it has to be: the list does not load", files));
        } else if (files != sections.size() - 1) {
            note(count->line, "count", format("FILENUM is %lu, the list has %zu files", files, sections.size() - 1));
        }
    }

    void checkFile(const Section &section)
    {
        if (section.values.empty()) {
            note(section.line, "empty_section",
                 "section " + inQuotes(section.name) + " has no keys: some readers pass over it, others never end");
            return;
        }
        if (const Value *type = find(section, "FILETYPE"); type != nullptr && number(*type, "FILETYPE") == 0) {
            note(type->line, "type", "FILETYPE is 0: the list does not load");
        }
        if (const Value *name = find(section, "FILENAME")) {
            checkName(*name);
        }
        if (const Value *digest = find(section, "SHA256-DIGEST")) {
            checkDigest(*digest);
        }
    }

    void checkName(const Value &name)
    {
        if (name.text.empty()) {
            note(name.line, "no_name", "FILENAME is empty: the list does not load");
        } else if (name.text.size() >= kNameRoom) {
            note(name.line, "cut", "FILENAME " + inQuotes(name.text) + " is cut to 95 bytes");
        } else if (withoutBlanksBehind(name.text) != name.text) {
            note(name.line, "blanks", "FILENAME " + inQuotes(name.text) + " ends with blanks, which are part of it");
        }
        const auto [first, isNew] = names.try_emplace(name.text, name.line);
        if (!isNew) {
            note(name.line, "duplicate",
                 "file " + inQuotes(name.text) + format(" is listed already, in line %zu", first->second));
        }
    }

    void checkDigest(const Value &digest)
    {
        const bool isLower = std::all_of(digest.text.begin(), digest.text.end(), [](unsigned char character) {
            return isdigit(character) != 0 || (character >= 'a' && character <= 'f');
        });
        if (digest.text.size() != kDigestSize || !isLower) {
            note(digest.line, "digest",
                 "SHA256-DIGEST " + inQuotes(digest.text) +
                     " is not 64 lower-case hexadecimal digits: no file answers to it");
        }
    }

    std::string_view content;
    std::vector<Section> sections;
    std::map<std::string, size_t> names;
    std::vector<SignedListNote> notes;
};

} // namespace

std::vector<SignedListNote> examineSignedList(std::string_view content)
{
    return Examiner(content).examine();
}

} // namespace tarn::tool
