/*
 * Signed file lists as the installers read them, verification of packages and installed files by type, and the CRC of a
 * buffer. Conventions: tarn_boot.h; the list's format: docs/formats.md.
 */
#ifndef TARN_BOOT_VERIFICATION_H
#define TARN_BOOT_VERIFICATION_H

#include <tarn_boot/common.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A signed file list in memory: one block, released with SWM_FreeSigFileListDigest. */
typedef struct SigFileListDigest {
    uint32_t fileCount;      /* 0: FILENUM; the number of records may differ */
    char creator[96];        /* 4: "Create By" */
    SwmListNode fileDigests; /* 104: head of the FileDigestInfo list, in file order; no count */
} SigFileListDigest;         /* sizeof 120 */

typedef struct FileDigestInfo {
    SwmListNode links; /* 0 */
    uint32_t fileType; /* 16: FILETYPE, never 0 */
    char fileName[96]; /* 20: FILENAME, cut to 95 characters */
    char digest[65];   /* 116: SHA256-DIGEST, cut to 64 characters */
} FileDigestInfo;      /* sizeof 184 */

/* ---- Signed file lists ------------------------------------------------------------------------------------------
 *
 * Results: SWM_OK; 1: the creator is missing or another one, FILENUM cannot be read, or a section lacks a usable
 * FILETYPE, FILENAME or SHA256-DIGEST; SWM_E_NO_MEMORY; SWM_E_PARAM: a missing argument; SWM_E_FILE_COUNT: FILENUM is
 * not 1 to 256; SWM_E_LIST_LOAD: no INI profile. A load that fails within the sections leaves the records it has linked
 * in the caller's header.
 */

/* A new header, zeroed, with an empty list. */
TARN_BOOT_API uint32_t SWM_MallocSigFileListDigest(SigFileListDigest **header) TARN_BOOT_NOEXCEPT;
/* Frees every record and the header. */
TARN_BOOT_API void SWM_FreeSigFileListDigest(SigFileListDigest *header /* may be null */) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves the head empty. */
TARN_BOOT_API void SWM_ReleaseDigestList(SwmListNode *head) TARN_BOOT_NOEXCEPT;
/*
 * The value of the first item named `keyName`, cut to outSize - 1 characters; the last byte of the buffer is NUL. The
 * buffer stays as it is when there is no such item.
 */
TARN_BOOT_API void SWM_GetOneKeyValueFromKeyList(const struct SwmIniKey *firstKey /* may be null */,
                                                 const char *keyName, char *out, uint32_t outSize) TARN_BOOT_NOEXCEPT;
/* A new record, released with free(), from a section's key chain. */
TARN_BOOT_API uint32_t SWM_GetDigestInfoByInputKey(FileDigestInfo **record, const struct SwmIniKey *firstKey
                                                   /* may be null */) TARN_BOOT_NOEXCEPT;
/*
 * Appends one record per section behind the first one, whatever that is called. A section without keys is never left:
 * the call does not return.
 */
TARN_BOOT_API uint32_t SWM_GetALLFileDigestInfoFromList(SigFileListDigest *header,
                                                        const struct SwmIniSection *profile) TARN_BOOT_NOEXCEPT;
/* The same for the list at `listPath`, which must be writable. Also the platform's code when it cannot be opened. */
TARN_BOOT_API uint32_t SWM_GetALLFileDigestInfo(SigFileListDigest *header, const char *listPath) TARN_BOOT_NOEXCEPT;
/*
 * Fills a header from the list at `listPath`: creator and count, checked, then the files. Here a null argument gives 1,
 * and a FILENUM that cannot be read, or a file that cannot be opened, the platform's code.
 */
TARN_BOOT_API uint32_t SWM_GetSignatureFileListDigestInfo(SigFileListDigest *header,
                                                          const char *listPath) TARN_BOOT_NOEXCEPT;
/* Creator and count of a loaded profile. */
TARN_BOOT_API uint32_t SWM_GetSignatureFileListMainInfo(const struct SwmIniSection *profile,
                                                        SigFileListDigest *header) TARN_BOOT_NOEXCEPT;
/* Checks them. */
TARN_BOOT_API uint32_t SWM_CheckSignatureFileListMainInfo(const SigFileListDigest *header) TARN_BOOT_NOEXCEPT;
/* Fills a header from the text of a list. */
TARN_BOOT_API uint32_t SWM_GetSignatureFileListDigestInfoFromMem(const char *listText,
                                                                 SigFileListDigest *header) TARN_BOOT_NOEXCEPT;
/* The same with a new header, released with SWM_FreeSigFileListDigest; after a failure nothing is left of one and
 * `*header` is null. */
TARN_BOOT_API uint32_t SWM_GetSignatureFileListDigestInfoFromFile(const char *listText,
                                                                  SigFileListDigest **header) TARN_BOOT_NOEXCEPT;

/* ---- Verification ----------------------------------------------------------------------------------------------- */

/* 1 below 5. */
TARN_BOOT_API uint32_t SWM_IsPackageTypeValid(uint32_t type) TARN_BOOT_NOEXCEPT;
/* 1 for the decimal numbers 3 and 4. */
TARN_BOOT_API uint32_t SWM_IsPatOrModPackage(const char *typeText) TARN_BOOT_NOEXCEPT;
/* Always 1. */
TARN_BOOT_API uint32_t SWM_IsNeedCmsCheck(void) TARN_BOOT_NOEXCEPT;
/* 1 for a name that ends in ".cc" or ".CC": fewer suffixes than TARN_SafeIsPkgFile knows. */
TARN_BOOT_API uint32_t SWM_IsPkgFile(const char *fileName) TARN_BOOT_NOEXCEPT;

/*
 * Type 1 is a CC package, respectively a board file list; there is no other. Both give SWM_OK; SWM_E_PARAM: a null
 * path, one of 384 characters or more, for a list also a type that is not 1 to 3; SWM_E_FILE_MISSING; SWM_E_VERIFY: not
 * verified, the reason is in the log. What TARN_PackageVerify says of its mutex holds here too. A list's check loads it
 * and so creates the directories it names.
 */
TARN_BOOT_API uint32_t SWM_VerifyPackage(uint32_t type, const char *packagePath) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_VerifyFileInFileList(uint32_t type, const char *fileListPath) TARN_BOOT_NOEXCEPT;
/* Their dispatch: SWM_E_PARAM unless the type is 1, else what the check gives. */
TARN_BOOT_API uint32_t SWM_VerifyPackageByType(uint32_t type, const char *packagePath) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_VerifyFileInFileListByType(uint32_t type, const char *fileListPath) TARN_BOOT_NOEXCEPT;
/*
 * SWM_OK; 1: the list cannot be read, or a file is missing or damaged, at the first of which the check ends;
 * SWM_E_PARAM: a list without records; SWM_FAIL: a null path.
 */
TARN_BOOT_API uint32_t SWM_VerifyFilesInBoardFileList(const char *boardFileListPath) TARN_BOOT_NOEXCEPT;
/*
 * Checks the signature "signature_pss_cms" over "signature_pss_filelist" in a directory: SWM_OK, SWM_E_FILE_MISSING
 * when one of them is, SWM_FAIL for a null directory, else the platform's code.
 */
TARN_BOOT_API uint32_t SWM_VerifyDigitalSignatureFileList(const char *directory) TARN_BOOT_NOEXCEPT;
/* 1 when the text of a signed list names the file; 0 when it does not or is no list. Checks no signature. */
TARN_BOOT_API uint32_t SWM_IsFileExistInSigContent(const char *fileName, const char *listText) TARN_BOOT_NOEXCEPT;

/* ---- CRC -------------------------------------------------------------------------------------------------------- */

/*
 * CRC-16/XMODEM (polynomial 0x1021, most significant bit first, initial value 0) of `length` bytes. A buffer of zeroes
 * only, as of erased memory, fails with 0xFFFF in `*checksum`; an empty one fails.
 */
TARN_BOOT_API uint32_t SWM_CrcCheck(const uint8_t *buffer, uint32_t length, uint16_t *checksum) TARN_BOOT_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
