// The bounds-checked family: a destination that was named with its size is never left as it was after a failure.
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <tarn_basic/bounded.h>

namespace {

constexpr size_t kMaxSize = 0x7FFFFFFF;

bool isUsable(const void *destination, size_t size)
{
    return destination != nullptr && size <= kMaxSize;
}

bool isText(const char *destination, size_t size)
{
    return isUsable(destination, size) && size > 0;
}

int emptied(char *destination, int result)
{
    *destination = '\0';
    return result;
}

// memmove: a caller whose ranges overlap gets the source's bytes, not a mixture.
int copyText(char *destination, size_t size, const char *source, size_t length)
{
    if (length >= size) {
        return emptied(destination, ERANGE);
    }
    memmove(destination, source, length);
    destination[length] = '\0';
    return 0;
}

// vsnprintf. A copy, which is most of what is printed, is no work for it.
__attribute__((format(printf, 3, 0))) int printText(char *destination, size_t room, const char *format,
                                                    va_list arguments)
{
    if (strcmp(format, "%s") != 0) {
        return vsnprintf(destination, room, format, arguments);
    }
    const char *text = va_arg(arguments, const char *);
    text = text != nullptr ? text : "(null)";
    const size_t length = strnlen(text, kMaxSize);
    const size_t kept = length < room ? length : room - 1;
    memmove(destination, text, kept);
    destination[kept] = '\0';
    return static_cast<int>(length);
}

__attribute__((format(printf, 4, 0))) int formatText(char *destination, size_t size, size_t count, const char *format,
                                                     va_list arguments)
{
    if (!isText(destination, size)) {
        return -1;
    }
    if (format == nullptr || count > kMaxSize) {
        return emptied(destination, -1);
    }
    const size_t room = count < size ? count + 1 : size;
    const int length = printText(destination, room, format, arguments);
    if (length >= 0 && static_cast<size_t>(length) < room) {
        return length;
    }
    // Cut only where the caller asked for less than the buffer holds.
    return length < 0 || count >= size ? emptied(destination, -1) : -1;
}

} // namespace

int memcpy_s(void *destination, size_t size, const void *source, size_t count)
{
    if (!isUsable(destination, size)) {
        return EINVAL;
    }
    if (source == nullptr || count > size) {
        memset(destination, 0, size);
        return source == nullptr ? EINVAL : ERANGE;
    }
    memmove(destination, source, count);
    return 0;
}

int memset_s(void *destination, size_t size, int value, size_t count)
{
    if (!isUsable(destination, size)) {
        return EINVAL;
    }
    memset(destination, value, count < size ? count : size);
    return count > size ? ERANGE : 0;
}

int strcpy_s(char *destination, size_t size, const char *source)
{
    if (!isText(destination, size)) {
        return EINVAL;
    }
    if (source == nullptr) {
        return emptied(destination, EINVAL);
    }
    return copyText(destination, size, source, strnlen(source, size));
}

int strncpy_s(char *destination, size_t size, const char *source, size_t count)
{
    if (!isText(destination, size)) {
        return EINVAL;
    }
    if (source == nullptr || count > kMaxSize) {
        return emptied(destination, EINVAL);
    }
    return copyText(destination, size, source, strnlen(source, count < size ? count : size));
}

int sprintf_s(char *destination, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = formatText(destination, size, size, format, arguments);
    va_end(arguments);
    return length;
}

int snprintf_s(char *destination, size_t size, size_t count, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = formatText(destination, size, count, format, arguments);
    va_end(arguments);
    return length;
}
