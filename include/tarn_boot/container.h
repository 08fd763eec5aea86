/*
 * Package containers: format, strict reader, verified extraction, integrity verification. Conventions: tarn_boot.h;
 * both file formats: docs/formats.md.
 */
#ifndef TARN_BOOT_CONTAINER_H
#define TARN_BOOT_CONTAINER_H

#include <pthread.h>
#include <sys/stat.h>

#include <tarn_boot/common.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Results of an extraction, and of the steps that say so. */
#define TARN_EXTRACT_OK 0u
#define TARN_EXTRACT_NO_MEMBER 1u /* no member of that name */
#define TARN_EXTRACT_DIGEST 2u    /* member verification failed */
#define TARN_EXTRACT_WORKDIR 3u   /* work directory not created */
#define TARN_EXTRACT_SIGNATURE 4u /* signature check failed; SWM_FindFileSiteFromCc: also no member of that name */
#define TARN_EXTRACT_STRUCTURE 5u /* container structure invalid */
#define TARN_EXTRACT_PARAM 6u     /* bad arguments or no such package */
#define TARN_EXTRACT_WRITE 7u     /* destination not written; none is left */
#define TARN_EXTRACT_MKDIR 8u     /* destination directory not created */
#define TARN_EXTRACT_CHMOD 9u     /* TARN_ExtractFromPackageAndChmod: mode not set; the file has been removed */
                                  /* SWM_FAIL: the package could not be opened or examined, or the mutex failed */

/* Results of TARN_PackageVerify. */
#define TARN_VERIFY_OK 0u
#define TARN_VERIFY_MISMATCH 2u  /* signature; or a listed file that is missing, unreadable or has another digest */
#define TARN_VERIFY_STRUCTURE 3u /* container structure invalid */
#define TARN_VERIFY_PARAM 4u     /* bad path, not a package name, or no such file */
#define TARN_VERIFY_INTERNAL 5u  /* could not be carried out: work directory, extraction step */
                                 /* SWM_FAIL as above */

/* Results of legacy access and of the extractions built on it, besides SWM_OK and what an operation says. */
#define SWM_LEGACY_FAILED 1u
#define SWM_LEGACY_NOT_FOUND 4u

/* On disk: alignment 1, integers big-endian. */
typedef struct SwmBe32 {
    uint8_t bytes[4]; /* 0: most significant first */
} SwmBe32;            /* sizeof 4 */

/* One slot of the file table. */
typedef struct PackageFileEntry {
    uint8_t notInterpreted0[4];   /* 0 */
    SwmBe32 memberOffset;         /* 4: of the member's MemberFileHeader, from the start of the package */
    SwmBe32 memberLength;         /* 8: MemberFileHeader and payload */
    uint8_t notInterpreted12[12]; /* 12 */
} PackageFileEntry;               /* sizeof 24 */

/* At offset 0 of a package. */
typedef struct PackageHeader {
    uint8_t notInterpreted0[4];    /* 0 */
    SwmBe32 fileCount;             /* 4: at most 256 */
    uint8_t notInterpreted8[24];   /* 8 */
    PackageFileEntry files[256];   /* 32: the first fileCount slots count */
    uint8_t notInterpreted6176[4]; /* 6176 */
} PackageHeader;                   /* sizeof 6180 */

/* At the start of each member; the payload follows. */
typedef struct MemberFileHeader {
    uint8_t notInterpreted0[116]; /* 0 */
    char subfileName[128];        /* 116: addresses the payload */
    char fileName[96];            /* 244: addresses the whole member, and names it in the signed list */
    SwmBe32 payloadLength;        /* 340 */
    uint8_t notInterpreted344[8]; /* 344 */
} MemberFileHeader;               /* sizeof 352 */

/* A member of a package: record of a member list, in table order. */
typedef struct PkgMemberRecord {
    SwmListNode links;      /* 0 */
    uint32_t memberOffset;  /* 16 */
    uint32_t memberLength;  /* 20 */
    uint32_t payloadLength; /* 24 */
    char fileName[96];      /* 28 */
    char subfileName[128];  /* 124 */
} PkgMemberRecord;          /* sizeof 256 */

/* A file of a signed file list: record of a signed list, in file order. */
typedef struct SignedFileRecord {
    SwmListNode links; /* 0 */
    char fileName[96]; /* 16: FILENAME */
    char digest[65];   /* 112: SHA256-DIGEST, 64 hexadecimal digits */
} SignedFileRecord;    /* sizeof 184 */

/* Where a member's payload lies; SWM_FindFileSiteFromCc fills it. */
typedef struct FileSite {
    const char *name;       /* 0: in: file name or subfile name to look for */
    uint32_t payloadLength; /* 8: out */
    uint32_t payloadOffset; /* 12: out, from the start of the package */
    char fileName[128];     /* 16: out, the member's file name */
} FileSite;                 /* sizeof 144 */

/*
 * The cache of the last package handled. Zero-initialised at load, a valid empty state; `mutex` guards the rest.
 * pthread_mutex_t and struct stat differ between machines: offsets for x86-64, then AArch64.
 */
typedef struct PkgCacheInfo {
    pthread_mutex_t mutex;  /* 0, 0: default, not recursive */
    uint32_t reuseFlag;     /* 40, 48: 1 while the package handled is the cached one */
    struct stat identity;   /* 48, 56: st_ino, st_size and whole seconds of st_mtim decide */
    SwmListHead memberList; /* 192, 184: PkgMemberRecord */
    SwmListHead signedList; /* 216, 208: SignedFileRecord */
} PkgCacheInfo;             /* sizeof 240, 232 */

TARN_BOOT_API extern PkgCacheInfo g_pkgCacheInfo;

/* ---- Container reader ------------------------------------------------------------------------------------------- */

/*
 * Checks the structure of the package open on `fd` (any position) and appends one PkgMemberRecord per member to `list`,
 * initialised by the caller. Members must be contiguous, in table order, from offset 6180 to the end of the file. Not
 * checked: member lengths under 352, payloads longer than their member, equal names. On failure the records appended so
 * far stay in the list. Payloads are not read.
 */
TARN_BOOT_API uint32_t TARN_SafeCheckHeader(int32_t fd, SwmListHead *list) TARN_BOOT_NOEXCEPT;

/* Its steps. Read the 6180 bytes at offset 0. */
TARN_BOOT_API uint32_t SafeGetPkgHeader(int32_t fd, PackageHeader *buffer) TARN_BOOT_NOEXCEPT;
/* Refuse over 256 members, then SafeHeaderParseCheck. `packageSize32`: the low 32 bits of the package's size. */
TARN_BOOT_API uint32_t SafeHeaderParse(int32_t fd, uint32_t packageSize32, const PackageHeader *header,
                                       SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Walk the file table, append the members, compare the last end with the size. Over 256 members fail at the end. */
TARN_BOOT_API uint32_t SafeHeaderParseCheck(int32_t fd, uint32_t packageSize32, const PackageHeader *header,
                                            SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Check one slot against the running end and advance it. All three outputs stay as they were on failure. */
TARN_BOOT_API uint32_t SafeGetNextFile(const PackageFileEntry *entry, uint32_t *outOffset, uint32_t *outLength,
                                       uint32_t *runningEnd) TARN_BOOT_NOEXCEPT;
/* Read the 352 bytes at `offset`; the last byte of both names becomes NUL. */
TARN_BOOT_API uint32_t SafeGetFileHeader(int32_t fd, uint32_t offset,
                                         MemberFileHeader *headerBuffer) TARN_BOOT_NOEXCEPT;
/* Append a record made of a table slot's numbers and a member header. */
TARN_BOOT_API uint32_t SafeCachePkgFile(uint32_t offset, uint32_t length, const MemberFileHeader *fileHeader,
                                        SwmListHead *list) TARN_BOOT_NOEXCEPT;

/* The first member whose file name or subfile name is `name` exactly; the list keeps it. Null: none. */
TARN_BOOT_API PkgMemberRecord *TARN_SafeFindTarget(const SwmListHead *list, const char *name) TARN_BOOT_NOEXCEPT;
/* SHA-256 text of the whole member into `digestOut`, at least 65 bytes. Moves the descriptor's position. */
TARN_BOOT_API uint32_t TARN_SafeGetFileHash(int32_t fd, const PkgMemberRecord *record, char *digestOut,
                                            uint32_t digestOutSize) TARN_BOOT_NOEXCEPT;
/* 1 when the name ends in ".cc", ".CC", ".ccx" or ".cch". */
TARN_BOOT_API uint32_t TARN_SafeIsPkgFile(const char *path) TARN_BOOT_NOEXCEPT;
/* Copies exactly `length` bytes between the current positions. What was written before a failure stays. */
TARN_BOOT_API uint32_t TARN_SafeCopyByDescripter(int32_t srcFd, int32_t dstFd, uint32_t length) TARN_BOOT_NOEXCEPT;

/* ---- Work directories: "/tmp/extract_<pid>" for module 0, "/tmp/verify_<pid>" for any other ---------------------- */

/* The path; a buffer it does not fit is left empty. */
TARN_BOOT_API uint32_t TARN_SafeGetWorkdir(uint32_t module, char *buffer, uint32_t bufferSize) TARN_BOOT_NOEXCEPT;
/*
 * Makes it, fresh and empty: what an earlier process of this id left is removed first. Only the two signature files
 * are; with anything else in it the directory stays, and the platform decides whether it may be used.
 */
TARN_BOOT_API uint32_t TARN_SafeCreateWorkdir(uint32_t module) TARN_BOOT_NOEXCEPT;
/* Removes the two signature files and the directory; failures are only logged. */
TARN_BOOT_API void TARN_SafeDeleteWorkdir(uint32_t module) TARN_BOOT_NOEXCEPT;
/* Removes `dir`/`name`; a missing file is no failure. */
TARN_BOOT_API void SafeDeleteTempFile(const char *dir, const char *name) TARN_BOOT_NOEXCEPT;

/* ---- Signed file list ------------------------------------------------------------------------------------------- */

/*
 * Appends one SignedFileRecord per section of the list at `path` to `list`, initialised by the caller. On failure the
 * records appended so far stay. A section without keys is never left: the call does not return.
 */
TARN_BOOT_API uint32_t TARN_SafeCacheSignedFile(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/*
 * A new record, released with free(), from a section's key chain (`keys` may be null). A missing value, or one that
 * does not fit, leaves its field empty.
 */
TARN_BOOT_API uint32_t SafeParseFileSection(const struct SwmIniKey *keys,
                                            SignedFileRecord **recordOut) TARN_BOOT_NOEXCEPT;
/* The value of the first item named `key` (`keys` may be null). A value that does not fit fails and leaves "". */
TARN_BOOT_API uint32_t SafeGetKeyValue(const struct SwmIniKey *keys, const char *key, char *out,
                                       uint32_t outSize) TARN_BOOT_NOEXCEPT;

/* ---- Verified extraction. Results TARN_EXTRACT_… or SWM_FAIL ---------------------------------------------------- */

/*
 * Extracts `target` (a file name: the whole member; a subfile name: its payload) to the new file destDir/target, mode
 * 0440, after structure, signature and digest have been checked; missing levels of destDir are made. Then an older file
 * of that name goes, and none is left when writing fails; after an earlier refusal the older file is still there. The
 * names in `target` are used as they stand: a caller that takes them from a package refuses "/" and "..".
 */
TARN_BOOT_API uint32_t TARN_ExtractFromPackage(const char *packagePath, const char *target,
                                               const char *destDir) TARN_BOOT_NOEXCEPT;
/* The same with the given mode; TARN_EXTRACT_CHMOD, and no file, when it cannot be set. */
TARN_BOOT_API uint32_t TARN_ExtractFromPackageAndChmod(const char *packagePath, const char *target, const char *destDir,
                                                       uint32_t mode) TARN_BOOT_NOEXCEPT;
/*
 * Finds site->name in the package open on `fd`, fills in the site and leaves `fd` at the payload. Structure and
 * signature are checked, no digest is: the payload may be one that the signed list does not speak of, even in a package
 * that TARN_PackageVerify calls valid.
 */
TARN_BOOT_API uint32_t SWM_FindFileSiteFromCc(int32_t fd, FileSite *site) TARN_BOOT_NOEXCEPT;
/* Empties the cache under its mutex. SWM_OK or SWM_FAIL, the latter when the mutex could not be taken or given back. */
TARN_BOOT_API uint32_t TARN_ExtractCacheDrop(void) TARN_BOOT_NOEXCEPT;

/* Its steps. Those that touch the cache or the work directory expect the mutex to be held by the caller. */
TARN_BOOT_API uint32_t ExtractCacheUpdate(int32_t fd) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t ExtractDoExtract(int32_t fd, const char *target, const char *destDir) TARN_BOOT_NOEXCEPT;

/* From here on SWM_OK or SWM_FAIL. Take and give back the mutex. */
TARN_BOOT_API uint32_t ExtractProtectAction(void) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t ExtractUnProtectAction(void) TARN_BOOT_NOEXCEPT;
/* Empty the cache: lists released, identity zeroed. */
TARN_BOOT_API void ExtractCacheDrop(void) TARN_BOOT_NOEXCEPT;
/* Fill the member list, and the signed list, unless the package is the cached one. */
TARN_BOOT_API uint32_t ExtractCheckHeader(int32_t fd) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t ExtractCheckSignature(int32_t fd) TARN_BOOT_NOEXCEPT;
/*
 * Put both signature members into the work directory, check them, return the list's path there (384 bytes). A buffer it
 * does not fit is left empty.
 */
TARN_BOOT_API uint32_t ExtractGetSignedFilelist(int32_t fd, char *pathOut, uint32_t pathOutSize) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t ExtractPrepareSignatre(int32_t fd, const char *workdir) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t ExtractVerifySignature(const char *workdir) TARN_BOOT_NOEXCEPT;
/* 1 for the four names that are extracted without a digest check. */
TARN_BOOT_API uint32_t ExtractIsSignatureFile(const char *name) TARN_BOOT_NOEXCEPT;
/* Compare the member's digest with the signed list's. */
TARN_BOOT_API uint32_t ExtractVerifyFile(int32_t fd, const PkgMemberRecord *record) TARN_BOOT_NOEXCEPT;
/* Seek to the bytes that `target` stands for and return their number. */
TARN_BOOT_API uint32_t ExtractSeekToTarget(int32_t fd, const PkgMemberRecord *record, const char *target,
                                           uint32_t *lengthOut) TARN_BOOT_NOEXCEPT;
/* Write them to the new file destDir/target. */
TARN_BOOT_API uint32_t ExtractDumpTarget(int32_t fd, const PkgMemberRecord *record, const char *target,
                                         const char *destDir) TARN_BOOT_NOEXCEPT;
/* Check the arguments; the package must exist. */
TARN_BOOT_API uint32_t ExtractParamCheck(const char *packagePath, const char *target,
                                         const char *destDir) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t ExtractParamCheckByFd(int32_t fd, const char *name) TARN_BOOT_NOEXCEPT;

/* ---- Integrity verification ------------------------------------------------------------------------------------- */

/*
 * Checks name, structure, signature and the digest of every file that the signed list names; members it does not name
 * are not looked at. Nothing is reused from the cache; on success the cache holds this package. Result TARN_VERIFY_… or
 * SWM_FAIL.
 *
 * When the walk over the signed files fails (a file missing, unreadable or with another digest), the cache's mutex
 * stays locked: this process will never again extract or verify, and later calls block. TARN_VERIFY_MISMATCH does not
 * tell this from a bad signature. Verify in a process of its own if that must not happen.
 */
TARN_BOOT_API uint32_t TARN_PackageVerify(const char *packagePath) TARN_BOOT_NOEXCEPT;

/* Its steps. A path of 385 characters or more, one without a package suffix, or of no file fails. */
TARN_BOOT_API uint32_t VerifyParamCheck(const char *packagePath) TARN_BOOT_NOEXCEPT;
/* Compare every member that the cached signed list names. The caller holds the mutex. */
TARN_BOOT_API uint32_t VerifyCheckIntegrity(const char *packagePath) TARN_BOOT_NOEXCEPT;
/* The TARN_VERIFY_… value of a result of ExtractCacheUpdate; SWM_FAIL for an unknown one. */
TARN_BOOT_API uint32_t VerifyResultConvert(uint32_t cacheUpdateResult) TARN_BOOT_NOEXCEPT;

/* ---- Legacy access ---------------------------------------------------------------------------------------------- */

/*
 * The table entry of the first member whose file name or subfile name is `name`, as it stands on disk. Scans at most
 * 256 entries and checks nothing else. SWM_LEGACY_FAILED on a short read, SWM_LEGACY_NOT_FOUND, SWM_E_NO_MEMORY. Moves
 * the descriptor.
 */
TARN_BOOT_API uint32_t SwmFindFileDescInfoFromCc(int32_t fd, const char *name,
                                                 PackageFileEntry *entryOut) TARN_BOOT_NOEXCEPT;
/*
 * Removes a file, or a symbolic link; the loop device that a link leads to is detached first. A missing file is no
 * failure. SWM_LEGACY_FAILED when it cannot be removed.
 */
TARN_BOOT_API uint32_t SWM_DelExistFile(const char *path) TARN_BOOT_NOEXCEPT;
/* 1 for the four names that ExtractIsSignatureFile knows. */
TARN_BOOT_API uint32_t TarnIsSignatureFile(const char *name) TARN_BOOT_NOEXCEPT;
/*
 * Maps a member's payload, read-only: its first byte, length, and how far it starts behind the map's first page.
 * SWM_FAIL when it cannot be mapped or does not lie within the file. Touching the content after the file has been cut
 * short raises SIGBUS.
 */
TARN_BOOT_API uint32_t SWM_GetFileContentInCC(int32_t fd, const FileSite *site, const uint8_t **contentOut,
                                              uint32_t *lengthOut, uint32_t *deltaOut) TARN_BOOT_NOEXCEPT;
/* Finds a member by SWM_FindFileSiteFromCc and maps it. That lookup's result, or SWM_LEGACY_FAILED. */
TARN_BOOT_API uint32_t SWM_GetSigFileContent(int32_t fd, const char *name, const uint8_t **contentOut,
                                             uint32_t *lengthOut, uint32_t *deltaOut) TARN_BOOT_NOEXCEPT;
/* Unmaps it: SWM_OK or SWM_FAIL. */
TARN_BOOT_API uint32_t SWM_FreeFileContent(const uint8_t *content, uint32_t length, uint32_t delta) TARN_BOOT_NOEXCEPT;
/*
 * SWM_OK when the package's signed list "signature_pss_filelist.bin" names the file, or when `targetName` is a
 * signature name; SWM_LEGACY_FAILED when it does not or the list's signature is not valid. Compares no digest.
 */
TARN_BOOT_API uint32_t SWM_CheckFileNameInSigFile(int32_t fd, const char *fileName,
                                                  const char *targetName) TARN_BOOT_NOEXCEPT;
/*
 * Finds a member, checks its name as above, returns its payload's length and offset and leaves the descriptor there.
 * Otherwise the result of the step that failed.
 */
TARN_BOOT_API uint32_t SWM_FindFileFromCc(int32_t fd, const char *name, uint32_t *lengthOut,
                                          uint32_t *offsetOut /* may be null */) TARN_BOOT_NOEXCEPT;
/*
 * Copies from one descriptor's position to the other's. A length of 2^31 or more copies nothing and succeeds.
 * SWM_LEGACY_FAILED when not everything could be copied.
 */
TARN_BOOT_API uint32_t SWM_CopyFileWithLen(int32_t srcFd, int32_t dstFd, uint32_t length) TARN_BOOT_NOEXCEPT;

/* ---- Loop devices, legacy signature list, members with their header ---------------------------------------------- */

/*
 * Attaches a loop device to the package from the member's payload on, to the end of the package, and makes
 * destDir/target a symbolic link to it, owned by user and group "swm" (2000 when unknown). The member's name must be in
 * the signed list; no digest is compared. What was at the link's path goes first, a loop device it led to is detached.
 * SWM_LEGACY_FAILED otherwise; when the link cannot be made the device stays attached.
 */
TARN_BOOT_API uint32_t SWM_ExtractFileByLoop(const char *packagePath, const char *target,
                                             const char *destDir) TARN_BOOT_NOEXCEPT;
/* "<root>/swm/workdir/temp", cut to size - 1. Always 0. */
TARN_BOOT_API uint32_t SWM_GetWorkdirTempPath(char *buffer, uint32_t size) TARN_BOOT_NOEXCEPT;
/*
 * Extracts "signature_filelist", verified, into that directory, mode 0640, and returns its path, also on a failure
 * after the path is known. The caller removes the directory with SWM_ClearCcSignaturePath.
 */
TARN_BOOT_API uint32_t SWM_ExtractCcSignature(const char *packagePath, char *pathOut,
                                              uint32_t pathOutSize) TARN_BOOT_NOEXCEPT;
/* Removes the directory that `path` lies in, with all that is in it: the platform's status, or SWM_FAIL. */
TARN_BOOT_API uint32_t SWM_ClearCcSignaturePath(const char *path) TARN_BOOT_NOEXCEPT;
/*
 * Copies a whole member, header included, to destDir/target, created with `mode`. Checks no structure, signature or
 * digest. SWM_LEGACY_NOT_FOUND, or SWM_LEGACY_FAILED; a copy that fails leaves the file as far as it is written.
 */
TARN_BOOT_API uint32_t SWM_ExtractFileWithHeader(const char *packagePath, const char *target, const char *destDir,
                                                 uint32_t mode) TARN_BOOT_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
