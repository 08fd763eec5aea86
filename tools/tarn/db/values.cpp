// What a value may hold.
#include "db/values.h"

#include <algorithm>

#include "exit_status.h"
#include "text.h"

namespace tarn::tool {

namespace {

bool isControl(char character)
{
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7F;
}

// U+FFFE and U+FFFF are UTF-8 but no characters of XML.
bool hasNoncharacter(const std::string &value)
{
    return value.find("\xEF\xBF\xBE") != std::string::npos || value.find("\xEF\xBF\xBF") != std::string::npos;
}

void refuseContent(const char *what, const std::string &value)
{
    const bool isText = isUtf8(value) && !hasNoncharacter(value);
    if (!isText || std::any_of(value.begin(), value.end(), isControl)) {
        refuseUsage(format("%s %s: %s", what, inQuotes(value).c_str(),
                           isText ? "has control characters" : "is no text in UTF-8"),
                    "values are plain text of one line");
    }
}

std::string refuseUnlessFits(const char *what, const std::string &value, std::string bytes, size_t room)
{
    if (bytes.size() >= room) {
        const bool isLongerWritten = bytes.size() != value.size();
        refuseUsage(format("%s %s: needs %zu bytes%s, its field holds %zu", what, inQuotes(value).c_str(), bytes.size(),
                           isLongerWritten ? R"( with "&" written as "&amp;")" : "", room - 1),
                    "use a shorter one");
    }
    return bytes;
}

} // namespace

std::string asEntityText(const std::string &value)
{
    std::string text;
    for (const char character : value) {
        text += character == '&' ? std::string("&amp;") : std::string(1, character);
    }
    return text;
}

std::string valueToWrite(const char *what, const std::string &value, size_t room)
{
    refuseContent(what, value);
    return refuseUnlessFits(what, value, asEntityText(value), room);
}

std::string keyToFind(const char *what, const std::string &value, size_t room)
{
    refuseContent(what, value);
    return refuseUnlessFits(what, value, value, room);
}

void refuseAmpersand(const char *what, const std::string &value)
{
    if (value.find('&') != std::string::npos) {
        refuseUsage(format("%s %s: has \"&\", and the library would not find it again", what, inQuotes(value).c_str()),
                    "use another");
    }
}

} // namespace tarn::tool
