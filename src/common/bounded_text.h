// Bounded copies and fills through the platform's checked family. The clears, block copies and prints warn when they
// fail, with the caller's function and line, and go on; a print keeps what fits. The format… helpers are silent and
// leave what does not fit empty.
#pragma once

#include <type_traits>

#include <tarn_basic/bounded.h>

#include "common/log.h"

namespace tarn {

inline bool isNullOrEmpty(const char *text)
{
    return text == nullptr || *text == '\0';
}

// True when a formatter filled the buffer; else the buffer is made empty.
inline bool keepIfFormatted(int result, char *out, size_t outSize)
{
    if (result >= 0) {
        return true;
    }
    if (outSize > 0) {
        *out = '\0';
    }
    return false;
}

// A fixed field may come without its NUL: no byte behind it is read, and then it does not fit.
template <size_t size> bool formatField(char (&out)[size], const char (&field)[size])
{
    return keepIfFormatted(sprintf_s(out, size, "%.*s", static_cast<int>(size), field), out, size);
}

inline bool formatText(char *out, size_t outSize, const char *text)
{
    return keepIfFormatted(sprintf_s(out, outSize, "%s", text), out, outSize);
}

// "<dir>/<name>"
inline bool formatPath(char *out, size_t outSize, const char *dir, const char *name)
{
    return keepIfFormatted(sprintf_s(out, outSize, "%s/%s", dir, name), out, outSize);
}

// False when it failed.
inline bool clearBytes(void *block, size_t size, const char *function = __builtin_FUNCTION(),
                       int line = __builtin_LINE())
{
    if (memset_s(block, size, 0, size) == 0) {
        return true;
    }
    COMMON_WARNING("memset failed: %s, line: %d", function, line);
    return false;
}

template <class T>
void copyBlock(T &destination, const T &source, const char *function = __builtin_FUNCTION(),
               int line = __builtin_LINE())
{
    static_assert(std::is_trivially_copyable_v<T>);
    if (memcpy_s(&destination, sizeof(T), &source, sizeof(T)) != 0) {
        COMMON_WARNING("memcpy failed: %s, line: %d", function, line);
    }
}

// For the result of a formatted print that keeps what fits.
inline void warnIfCut(int result, const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    if (result < 0) {
        COMMON_WARNING("snprintf failed: %s, line: %d", function, line);
    }
}

template <size_t size>
void printField(char (&out)[size], const char *text, const char *function = __builtin_FUNCTION(),
                int line = __builtin_LINE())
{
    warnIfCut(snprintf_s(out, size, size - 1, "%s", text), function, line);
}

// Copies at most `count` characters of the text. What does not fit is cut, and warned about where the count asked for
// it.
inline void copyText(char *out, size_t size, const char *text, size_t count,
                     const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    if (strncpy_s(out, size, text, count) == 0) {
        return;
    }
    COMMON_WARNING("strncpy failed: %s, line: %d", function, line);
    if (count >= size) {
        static_cast<void>(strncpy_s(out, size, text, size - 1));
    }
}

} // namespace tarn
