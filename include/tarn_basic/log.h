/* Logging. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_LOG_H
#define TARN_BASIC_LOG_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

#define SWM_LOG_ERROR 3u
#define SWM_LOG_WARNING 4u
#define SWM_LOG_NOTICE 5u
#define SWM_LOG_INFO 6u

/*
 * Writes one line when `level` is wanted. The line goes out in one write, control bytes escaped, so that a name taken
 * from a file cannot forge a second line; over 2048 bytes without the line feed it is cut and ends in "...". errno is
 * kept.
 */
TARN_BASIC_API void SWM_LogWrite(uint32_t module, uint32_t level, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
