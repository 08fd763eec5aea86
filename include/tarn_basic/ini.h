/* INI profiles. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_INI_H
#define TARN_BASIC_INI_H

#include <stdint.h>
#include <stdio.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The library walks these two records itself: a platform with another layout changes this header. */
typedef struct SwmIniKey {
    char name[65];
    char *value;
    struct SwmIniKey *next;
} SwmIniKey;

/* A profile is its first section. */
typedef struct SwmIniSection {
    char *name; /* brackets included */
    SwmIniKey *keys;
    struct SwmIniSection *next;
} SwmIniSection;

/*
 * One parser serves all four. Lines end in LF or CR LF; blanks around a key and before a value are dropped, blanks at
 * the end of a value stay. "[...]" opens a section; sections keep file order and are never merged; one without keys is
 * not exposed. A line splits at its first "="; a first non-blank ";" or "#" makes it a comment. Lines without "=", keys
 * before any section and keys over 64 bytes are ignored; an empty key is a key. A UTF-8 byte-order mark is skipped.
 * No section left, a NUL byte, a line over 4095 bytes, over 4 MiB or 65,536 sections, no memory and a read error fail.
 */
TARN_BASIC_API SwmIniSection *SWM_IniLoadProfile(FILE *stream);                /* null on failure */
TARN_BASIC_API SwmIniSection *SWM_IniLoadProfileFromFileMem(const char *text); /* null on failure */
/* First section of that name, first key of that name; cut to outSize - 1. No such section is 1, no such key 2. */
TARN_BASIC_API uint32_t SWM_IniProfileGetValue(const SwmIniSection *profile, const char *section, const char *key,
                                               char *out, uint32_t outSize);
TARN_BASIC_API uint32_t SWM_IniGetValue(const char *path, const char *section, const char *key, char *out,
                                        uint32_t outSize);
TARN_BASIC_API void SWM_FreeProfile(SwmIniSection *profile); /* may be null */

#ifdef __cplusplus
}
#endif

#endif
