/* Bounded memory and text, after Annex K of C11. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_BOUNDED_H
#define TARN_BASIC_BOUNDED_H

#include <stddef.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Copies and fills give 0 or an error number, formatters the length or -1. Null pointers and sizes above 0x7FFFFFFF
 * fail. What does not fit: memcpy_s zeroes the destination, memset_s fills it to its size, the text operations leave
 * "". A count of size - 1 cuts instead: strncpy_s gives 0, snprintf_s -1, both with the first size - 1 characters.
 */
TARN_BASIC_API int memcpy_s(void *destination, size_t size, const void *source, size_t count);
TARN_BASIC_API int memset_s(void *destination, size_t size, int value, size_t count);
TARN_BASIC_API int strcpy_s(char *destination, size_t size, const char *source);
TARN_BASIC_API int strncpy_s(char *destination, size_t size, const char *source, size_t count);
TARN_BASIC_API int sprintf_s(char *destination, size_t size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));
TARN_BASIC_API int snprintf_s(char *destination, size_t size, size_t count, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
