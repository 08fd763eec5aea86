/* Hashing and signatures. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_CRYPTO_H
#define TARN_BASIC_CRYPTO_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct SwmCmsMemRecord {
    const uint8_t *content;
    uint32_t contentLength;
    const uint8_t *signature;
    uint32_t signatureLength;
} SwmCmsMemRecord;

/*
 * SHA-256 of `length` bytes from the descriptor's position as 64 lower-case hexadecimal digits. The end of the file
 * before `length`, or a buffer under 65 bytes, fails.
 */
TARN_BASIC_API uint32_t SWM_CalcFileSHA256ValueByFileHandleStr(int32_t fd, uint32_t length, char *out,
                                                               uint32_t outSize);
/* Exactly 2 x outSize hexadecimal digits of either case into bytes; the output is zeroed on failure. */
TARN_BASIC_API uint32_t SWM_GetShaVal(const char *hexText, uint8_t *out, uint32_t outSize);
/* 0 when the regular file has the 32-byte SHA-256 `digest`; any doubt is 1, damage. */
TARN_BASIC_API uint32_t SWM_SHA_IsFileDamaged2(const char *path, const uint8_t *digest, uint32_t length);

/*
 * Checks a detached CMS signature (RFC 5652, DER) over a file list: one signer, signed attributes, RSASSA-PSS with one
 * hash of SHA-256, 384 or 512 throughout and a salt no shorter than it, RSA of 2048 bits or more, a chain to a
 * configured anchor. 0 when valid; each refusal has its own code (enum SwmCmsResult).
 */
TARN_BASIC_API uint32_t SWM_VerifyPssCms(const char *listPath, const char *cmsPath);
/* The same over memory; the only mode is 1. */
TARN_BASIC_API uint32_t SWM_VerifyCmsFromMem(const SwmCmsMemRecord *record, uint32_t mode);

#ifdef __cplusplus
}
#endif

#endif
