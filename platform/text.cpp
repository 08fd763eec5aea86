// Strings.
#include <cstring>

#include <tarn_basic/text.h>

#include "characters.h"
#include "common.h"

using namespace tarn::basic;

namespace {

template <typename Predicate> bool allOf(const char *string, Predicate predicate)
{
    while (*string != '\0' && predicate(*string)) {
        ++string;
    }
    return *string == '\0';
}

// Calls take(start, length) for each piece that is not empty.
template <typename Take> void forEachPiece(const char *string, const char *delimiters, Take take)
{
    while (*string != '\0') {
        const size_t length = strcspn(string, delimiters);
        if (length > 0) {
            take(string, length);
        }
        string += length;
        string += *string != '\0' ? 1 : 0;
    }
}

} // namespace

uint32_t SWM_IsStringEqual(const char *a, const char *b)
{
    return a != nullptr && b != nullptr && strcmp(a, b) == 0;
}

uint32_t SWM_IsPrefixString(const char *string, const char *prefix)
{
    return string != nullptr && prefix != nullptr && strncmp(string, prefix, strlen(prefix)) == 0;
}

uint32_t SWM_IsPostfixString(const char *string, const char *suffix)
{
    if (string == nullptr || suffix == nullptr) {
        return 0;
    }
    const size_t length = strlen(string);
    const size_t suffixLength = strlen(suffix);
    return suffixLength <= length && strcmp(string + length - suffixLength, suffix) == 0;
}

uint32_t SWM_IsSpaceString(const char *string)
{
    return string != nullptr && allOf(string, isBlank);
}

uint32_t SWM_IsDigitString(const char *string)
{
    return string != nullptr && *string != '\0' && allOf(string, isDigit);
}

uint32_t SWM_StringTrim(char *string)
{
    if (string == nullptr) {
        return refuse(EINVAL);
    }
    const char *begin = string;
    while (isBlank(*begin)) {
        ++begin;
    }
    size_t length = strlen(begin);
    while (length > 0 && isBlank(begin[length - 1])) {
        --length;
    }
    memmove(string, begin, length);
    string[length] = '\0';
    return kSuccess;
}

uint32_t SWM_TransString2Array(const char *string, const char *delimiters, char ***array, uint32_t *count)
{
    if (string == nullptr || delimiters == nullptr || array == nullptr || count == nullptr) {
        return refuse(EINVAL);
    }
    size_t pieces = 0;
    size_t bytes = 0;
    forEachPiece(string, delimiters, [&](const char *, size_t length) {
        ++pieces;
        bytes += length + 1;
    });
    if (pieces > UINT32_MAX) {
        return refuse(EOVERFLOW);
    }
    // A closing null pointer makes the block one that can be freed even when there are no pieces.
    const size_t pointerBytes = (pieces + 1) * sizeof(char *);
    auto **pointers = static_cast<char **>(::malloc(pointerBytes + bytes));
    if (pointers == nullptr) {
        return kFailure;
    }
    char *text = reinterpret_cast<char *>(pointers) + pointerBytes;
    size_t index = 0;
    forEachPiece(string, delimiters, [&](const char *start, size_t length) {
        pointers[index++] = text;
        memcpy(text, start, length);
        text[length] = '\0';
        text += length + 1;
    });
    pointers[pieces] = nullptr;
    *array = pointers;
    *count = static_cast<uint32_t>(pieces);
    return kSuccess;
}
