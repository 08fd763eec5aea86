// INI profiles. A line is one of:
//   blanks ( ";" | "#" ) anything        a comment
//   blanks "[" anything "]" blanks       opens a section, named with its brackets
//   blanks key blanks "=" blanks value   the value runs to the end of the line, closing blanks included
// Whatever else a line holds is ignored, and so are keys before the first section.
#include <cstring>
#include <string_view>

#include "characters.h"
#include "file_io.h"
#include "ini_parser.h"

namespace tarn::basic {
namespace {

constexpr size_t kMaxLine = 4095;
constexpr size_t kMaxKey = sizeof(SwmIniKey::name) - 1;
constexpr size_t kMaxSections = 65536;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view skipBlanks(std::string_view text)
{
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view trimBlanks(std::string_view text)
{
    text = skipBlanks(text);
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

char *placeText(void *place, std::string_view text)
{
    auto *copy = static_cast<char *>(place);
    memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

// Record and text share a block, so that releasing the record releases both.
template <typename Record> Record *newRecord(std::string_view text, char *Record::*field)
{
    auto *record = static_cast<Record *>(::malloc(sizeof(Record) + text.size() + 1));
    if (record != nullptr) {
        memset(static_cast<void *>(record), 0, sizeof(Record));
        record->*field = placeText(record + 1, text);
    }
    return record;
}

void freeSection(SwmIniSection *section)
{
    for (SwmIniKey *key = section->keys; key != nullptr;) {
        SwmIniKey *next = key->next;
        ::free(key);
        key = next;
    }
    ::free(section);
}

struct FreeSection {
    void operator()(SwmIniSection *section) const { freeSection(section); }
};

class Parser {
public:
    bool parse(std::string_view text)
    {
        if (text.starts_with(kByteOrderMark)) {
            text.remove_prefix(kByteOrderMark.size());
        }
        while (!text.empty()) {
            if (!takeLine(cutLine(&text))) {
                return false;
            }
        }
        closeSection();
        return true;
    }
    Profile take() { return std::move(first); }

private:
    static std::string_view cutLine(std::string_view *text)
    {
        const size_t feed = text->find('\n');
        std::string_view line(text->data(), feed == std::string_view::npos ? text->size() : feed);
        text->remove_prefix(feed == std::string_view::npos ? text->size() : feed + 1);
        if (feed != std::string_view::npos && !line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        return line;
    }

    bool takeLine(std::string_view line)
    {
        if (line.size() > kMaxLine || line.find('\0') != std::string_view::npos) {
            errno = EINVAL;
            return false;
        }
        const std::string_view words = trimBlanks(line);
        if (words.empty() || words.front() == ';' || words.front() == '#') {
            return true;
        }
        if (words.front() == '[' && words.back() == ']') {
            return openSection(words);
        }
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos || open == nullptr) {
            return true;
        }
        const std::string_view value(line.data() + equals + 1, line.size() - equals - 1);
        return addKey(trimBlanks({line.data(), equals}), skipBlanks(value));
    }

    bool openSection(std::string_view name)
    {
        closeSection();
        if (++sections > kMaxSections) {
            errno = EINVAL;
            return false;
        }
        open.reset(newRecord(name, &SwmIniSection::name));
        keyEnd = open != nullptr ? &open->keys : nullptr;
        return open != nullptr;
    }

    // A section enters the profile only here, and only with keys: walks over the sections rely on that.
    void closeSection()
    {
        if (open == nullptr || open->keys == nullptr) {
            open.reset();
            return;
        }
        SwmIniSection *closed = open.release();
        if (last == nullptr) {
            first.reset(closed);
        } else {
            last->next = closed;
        }
        last = closed;
    }

    bool addKey(std::string_view name, std::string_view value)
    {
        if (name.size() > kMaxKey) {
            return true;
        }
        SwmIniKey *key = newRecord(value, &SwmIniKey::value);
        if (key == nullptr) {
            return false;
        }
        placeText(key->name, name);
        *keyEnd = key;
        keyEnd = &key->next;
        return true;
    }

    Profile first;
    SwmIniSection *last = nullptr;
    std::unique_ptr<SwmIniSection, FreeSection> open;
    SwmIniKey **keyEnd = nullptr;
    size_t sections = 0;
};

// Whether a signal has cut the last read short.
bool wasInterrupted(FILE *stream)
{
    if (::ferror(stream) == 0 || errno != EINTR) {
        return false;
    }
    ::clearerr(stream);
    return true;
}

// The rest of a stream, at most kMaxIniSize bytes; the buffer doubles as it fills.
Block<char> readStream(FILE *stream, size_t *size)
{
    size_t room = 16384;
    size_t used = 0;
    Block<char> text = allocateBytes(room);
    while (text != nullptr) {
        used += ::fread(text.get() + used, 1, room - used, stream);
        if (used < room) {
            if (wasInterrupted(stream)) {
                continue;
            }
            break;
        }
        if (used > kMaxIniSize) {
            errno = EFBIG;
            return nullptr;
        }
        room *= 2;
        auto *grown = static_cast<char *>(::realloc(text.get(), room));
        if (grown == nullptr) {
            return nullptr;
        }
        (void)text.release();
        text.reset(grown);
    }
    *size = used;
    return text;
}

SwmIniSection *loadText(const char *text, size_t length)
{
    Profile profile;
    const IniResult result = parseIni(text, length, &profile);
    if (result == IniResult::Empty) {
        errno = EINVAL;
    }
    return profile.release();
}

} // namespace

IniResult parseIni(const char *text, size_t length, Profile *profile)
{
    if (length > kMaxIniSize) {
        errno = EFBIG;
        return IniResult::Refused;
    }
    Parser parser;
    if (!parser.parse({text, length})) {
        return IniResult::Refused;
    }
    *profile = parser.take();
    return *profile == nullptr ? IniResult::Empty : IniResult::Loaded;
}

const SwmIniSection *findIniSection(const SwmIniSection *profile, const char *section)
{
    while (profile != nullptr && strcmp(profile->name, section) != 0) {
        profile = profile->next;
    }
    return profile;
}

const SwmIniKey *findIniKey(const SwmIniSection *section, const char *key)
{
    const SwmIniKey *candidate = section->keys;
    while (candidate != nullptr && strcmp(candidate->name, key) != 0) {
        candidate = candidate->next;
    }
    return candidate;
}

} // namespace tarn::basic

using namespace tarn::basic;

SwmIniSection *SWM_IniLoadProfile(FILE *stream)
{
    if (stream == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    size_t size = 0;
    const Block<char> text = readStream(stream, &size);
    if (text == nullptr || ::ferror(stream) != 0) {
        return nullptr;
    }
    return loadText(text.get(), size);
}

SwmIniSection *SWM_IniLoadProfileFromFileMem(const char *text)
{
    if (text == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    return loadText(text, strnlen(text, kMaxIniSize + 1));
}

uint32_t SWM_IniProfileGetValue(const SwmIniSection *profile, const char *section, const char *key, char *out,
                                uint32_t outSize)
{
    constexpr uint32_t kNoSection = 1;
    constexpr uint32_t kNoKey = 2;
    if (profile == nullptr || section == nullptr || key == nullptr || out == nullptr || outSize == 0) {
        return refuse(EINVAL);
    }
    const SwmIniSection *found = findIniSection(profile, section);
    if (found == nullptr) {
        return kNoSection;
    }
    const SwmIniKey *item = findIniKey(found, key);
    if (item == nullptr) {
        return kNoKey;
    }
    const size_t length = strnlen(item->value, outSize - 1);
    memcpy(out, item->value, length);
    out[length] = '\0';
    return kSuccess;
}

uint32_t SWM_IniGetValue(const char *path, const char *section, const char *key, char *out, uint32_t outSize)
{
    if (path == nullptr || section == nullptr || key == nullptr || out == nullptr || outSize == 0) {
        return refuse(EINVAL);
    }
    const Descriptor fd = openFile(path, O_RDONLY);
    size_t size = 0;
    const Block<char> text = fd ? readWhole(fd.get(), kMaxIniSize, &size) : nullptr;
    const Profile profile(text != nullptr ? loadText(text.get(), size) : nullptr);
    return profile == nullptr ? kFailure : SWM_IniProfileGetValue(profile.get(), section, key, out, outSize);
}

void SWM_FreeProfile(SwmIniSection *profile)
{
    while (profile != nullptr) {
        SwmIniSection *next = profile->next;
        freeSection(profile);
        profile = next;
    }
}
