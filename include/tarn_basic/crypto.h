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

/* What SWM_VerifyPssCms and SWM_VerifyCmsFromMem answer: one code per refusal, in the order of the checks. */
enum SwmCmsResult {
    SWM_CMS_VALID = 0,
    SWM_CMS_ARGUMENT = 1,             /* null pointer or unknown mode */
    SWM_CMS_NO_MEMORY = 2,            /* or another failure of the system that says nothing about the signature */
    SWM_CMS_LIST_UNREADABLE = 3,      /* missing, no regular file, or memory that cannot be read */
    SWM_CMS_LIST_TOO_LARGE = 4,       /* over 4 MiB */
    SWM_CMS_SIGNATURE_UNREADABLE = 5, /* as for the list */
    SWM_CMS_SIGNATURE_TOO_LARGE = 6,  /* over 1 MiB */
    SWM_CMS_NOT_DER = 7,              /* no CMS message in DER, or something behind it */
    SWM_CMS_NOT_SIGNED_DATA = 8,
    SWM_CMS_CONTENT_TYPE = 9, /* signed content, or the signed attribute about it, is not id-data */
    SWM_CMS_NOT_DETACHED = 10,
    SWM_CMS_SIGNER_COUNT = 11,
    SWM_CMS_NO_SIGNED_ATTRIBUTES = 12,
    SWM_CMS_NOT_PSS = 13,
    SWM_CMS_HASH = 14, /* not one of SHA-256, 384 and 512, or not the same for content, signature and MGF1 */
    SWM_CMS_SALT = 15, /* shorter than the hash */
    SWM_CMS_CONTENT_CHANGED = 16,
    SWM_CMS_NO_SIGNER_CERTIFICATE = 17,
    SWM_CMS_KEY = 18,            /* not RSA, or under 2048 bits */
    SWM_CMS_BAD_SIGNATURE = 19,  /* the signature's value */
    SWM_CMS_CONFIGURATION = 20,  /* present but unusable: who may write it, syntax, unknown signer_purpose */
    SWM_CMS_NO_ANCHORS = 21,     /* nothing is trusted */
    SWM_CMS_BAD_ANCHORS = 22,    /* the trust store is named but unusable */
    SWM_CMS_BAD_REVOCATION = 23, /* the revocation list is named but unusable */
    SWM_CMS_CHAIN = 24,          /* no acceptable chain from the signer to an anchor */
    SWM_CMS_REVOKED = 25,
    SWM_CMS_NOT_COVERED = 26, /* no usable revocation list of the signer's issuer */
    SWM_CMS_PURPOSE = 27      /* the signer is not certified for signing lists */
};

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
 *
 * Trust, from the configuration's section "trust":
 *  - The files of `anchors` and `crl` must be owned by root or the effective user and not writable for group or others.
 *    They hold PEM objects of their one type, with comments between them; a line that begins with "-" or has "---"
 *    in it, and is not the frame of such an object, makes the file unusable.
 *  - A key usage of the signer must allow digitalSignature or nonRepudiation. Unless `signer_purpose` is empty, the
 *    signer must name it among its extended key usages; an issuer's, if it has any, must name it or any usage.
 *  - With `crl` each signer needs a list of its issuer that can be checked: signed by the issuer, whose certificate
 *    comes with the message or is an anchor, also where the signer itself is the anchor. Its issuers are checked
 *    against the lists there are. Dates of certificates and lists are not looked at.
 */
TARN_BASIC_API uint32_t SWM_VerifyPssCms(const char *listPath, const char *cmsPath);
/* The same over memory; the only mode is 1. */
TARN_BASIC_API uint32_t SWM_VerifyCmsFromMem(const SwmCmsMemRecord *record, uint32_t mode);

#ifdef __cplusplus
}
#endif

#endif
