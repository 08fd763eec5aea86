// Descriptor files: flat lists of lines "key: value". The search is lenient on purpose, and callers rely on it: the key
// may stand anywhere in a line, and the first such line ends the search whether it has a value or not.
#include <cstring>

#include <tarn_basic/text.h>
#include <tarn_boot/descriptor.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/line_reader.h"
#include "common/log.h"

using namespace tarn;

namespace {

constexpr size_t kLineSize = 4096;

bool isWhiteSpace(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte == ' ' || (byte >= 9 && byte <= 13);
}

} // namespace

uint32_t SWM_IsInvalidLine(const char *line) noexcept
{
    if (line == nullptr) {
        return 0;
    }
    if (SWM_IsSpaceString(line) != 0) {
        return 1;
    }
    while (isWhiteSpace(*line)) {
        ++line;
    }
    return static_cast<uint32_t>(*line == '#');
}

uint32_t SWM_IsSection(const char *line) noexcept
{
    return static_cast<uint32_t>(line != nullptr && strchr(line, ':') != nullptr);
}

uint32_t SWM_ParseValueFromSecLine(const char *line, const char *key, char *value, uint32_t valueSize) noexcept
{
    if (line == nullptr || isNullOrEmpty(key) || value == nullptr || valueSize == 0) {
        return SWM_FAIL;
    }
    Pieces pieces;
    if (SWM_IsSection(line) == 0 || strstr(line, key) == nullptr || !pieces.split(line, ":\n")) {
        return SWM_FAIL;
    }
    if (pieces.count() != 2) {
        return SWM_OK;
    }
    char *text = pieces[1];
    static_cast<void>(SWM_StringTrim(text));
    if (valueSize <= strlen(text)) {
        return SWM_E_BUFFER_SMALL;
    }
    warnIfCut(snprintf_s(value, valueSize, valueSize - 1, "%s", text));
    return SWM_OK;
}

uint32_t SWM_GetSecValueFromDesc(const char *descPath, const char *key, char *value, uint32_t valueSize) noexcept
{
    UniqueStream stream;
    if (isNullOrEmpty(descPath) || isNullOrEmpty(key) || value == nullptr || openStream(descPath, "r", stream) != 0) {
        return SWM_FAIL;
    }
    const char *function = __func__;
    clearBytes(value, valueSize);
    const HeapBlock<char> line = allocate<char>(kLineSize);
    if (!line) {
        return SWM_FAIL;
    }
    clearBytes(line.get(), kLineSize);
    uint32_t status = SWM_FAIL;
    const auto isIgnored = [](const char *text) { return SWM_IsInvalidLine(text) != 0; };
    const auto search = [&](char *text) {
        status = SWM_ParseValueFromSecLine(text, key, value, valueSize);
        if (status == SWM_OK || status == SWM_E_BUFFER_SMALL) {
            return SWM_FAIL; // the search ends here
        }
        clearBytes(text, kLineSize, function);
        return SWM_OK;
    };
    switch (readLines(stream.get(), line.get(), kLineSize, isIgnored, search)) {
    case ReadEnd::EndOfFile:
        return SWM_OK;
    case ReadEnd::ReadError:
        return SWM_FAIL;
    default:
        break;
    }
    if (status == SWM_E_BUFFER_SMALL) {
        return BASE_FAIL("The value length of %s is not enough, len = %u, ret = %u", key, valueSize, status);
    }
    return SWM_OK;
}
