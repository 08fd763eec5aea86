/* Strings. White space is the bytes 9 to 13 and 32. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_TEXT_H
#define TARN_BASIC_TEXT_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

TARN_BASIC_API uint32_t SWM_IsStringEqual(const char *a, const char *b);
TARN_BASIC_API uint32_t SWM_IsPrefixString(const char *string, const char *prefix);
TARN_BASIC_API uint32_t SWM_IsPostfixString(const char *string, const char *suffix);
/* "" is white space only: 1. */
TARN_BASIC_API uint32_t SWM_IsSpaceString(const char *string);
/* "" is not digits: 0. */
TARN_BASIC_API uint32_t SWM_IsDigitString(const char *string);
/* In place. */
TARN_BASIC_API uint32_t SWM_StringTrim(char *string);
/*
 * Splits at any of the delimiters, dropping empty pieces. One heap block holds the pointers and a private copy,
 * released by one free(); no pieces is success with count 0 and a block to free.
 */
TARN_BASIC_API uint32_t SWM_TransString2Array(const char *string, const char *delimiters, char ***array,
                                              uint32_t *count);

#ifdef __cplusplus
}
#endif

#endif
