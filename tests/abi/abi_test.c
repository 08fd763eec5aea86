/*
 * The binary interface as a C program sees it: every public header compiles as C11, every record has its documented
 * size and offsets, every exported operation links.
 */
#include <stdio.h>
#include <string.h>

#include <tarn_basic/tarn_basic.h>
#include <tarn_boot/common.h>
#include <tarn_boot/container.h>
#include <tarn_boot/tarn_boot.h>

#include "abi_check.h"

VALUE(SWM_OK, 0u);
VALUE(SWM_FAIL, 0xFFFFFFFFu);
VALUE(SWM_E_NO_MEMORY, 0x10000001u);
VALUE(SWM_E_PARAM, 0x10000002u);
VALUE(SWM_E_FILE_MISSING, 0x10000003u);
VALUE(SWM_E_FILE_COUNT, 0x1000000Cu);
VALUE(SWM_E_VERIFY, 0x1000000Eu);
VALUE(SWM_E_LIST_LOAD, 0x1000000Fu);
VALUE(SWM_E_NO_BACKUP_DIR, 0x10000017u);
VALUE(SWM_E_BUFFER_SMALL, 0x1000001Au);
VALUE(TARN_EXTRACT_OK, 0u);
VALUE(TARN_EXTRACT_NO_MEMBER, 1u);
VALUE(TARN_EXTRACT_DIGEST, 2u);
VALUE(TARN_EXTRACT_WORKDIR, 3u);
VALUE(TARN_EXTRACT_SIGNATURE, 4u);
VALUE(TARN_EXTRACT_STRUCTURE, 5u);
VALUE(TARN_EXTRACT_PARAM, 6u);
VALUE(TARN_EXTRACT_WRITE, 7u);
VALUE(TARN_EXTRACT_MKDIR, 8u);
VALUE(TARN_EXTRACT_CHMOD, 9u);
VALUE(TARN_VERIFY_OK, 0u);
VALUE(TARN_VERIFY_MISMATCH, 2u);
VALUE(TARN_VERIFY_STRUCTURE, 3u);
VALUE(TARN_VERIFY_PARAM, 4u);
VALUE(TARN_VERIFY_INTERNAL, 5u);

SIZE(SwmListNode, 16);
FIELD(SwmListNode, next, 0, 8);
FIELD(SwmListNode, prev, 8, 8);

SIZE(SwmListHead, 24);
FIELD(SwmListHead, next, 0, 8);
FIELD(SwmListHead, prev, 8, 8);
FIELD(SwmListHead, count, 16, 4);

SIZE(SwmBe32, 4);
FIELD(SwmBe32, bytes, 0, 4);
static_assert(_Alignof(SwmBe32) == 1, "on disk");

SIZE(PackageFileEntry, 24);
FIELD(PackageFileEntry, notInterpreted0, 0, 4);
FIELD(PackageFileEntry, memberOffset, 4, 4);
FIELD(PackageFileEntry, memberLength, 8, 4);
FIELD(PackageFileEntry, notInterpreted12, 12, 12);
static_assert(_Alignof(PackageFileEntry) == 1, "on disk");

SIZE(PackageHeader, 6180);
FIELD(PackageHeader, notInterpreted0, 0, 4);
FIELD(PackageHeader, fileCount, 4, 4);
FIELD(PackageHeader, notInterpreted8, 8, 24);
FIELD(PackageHeader, files, 32, 6144);
FIELD(PackageHeader, notInterpreted6176, 6176, 4);
static_assert(_Alignof(PackageHeader) == 1, "on disk");

SIZE(MemberFileHeader, 352);
FIELD(MemberFileHeader, notInterpreted0, 0, 116);
FIELD(MemberFileHeader, subfileName, 116, 128);
FIELD(MemberFileHeader, fileName, 244, 96);
FIELD(MemberFileHeader, payloadLength, 340, 4);
FIELD(MemberFileHeader, notInterpreted344, 344, 8);
static_assert(_Alignof(MemberFileHeader) == 1, "on disk");

SIZE(PkgMemberRecord, 256);
FIELD(PkgMemberRecord, links, 0, 16);
FIELD(PkgMemberRecord, memberOffset, 16, 4);
FIELD(PkgMemberRecord, memberLength, 20, 4);
FIELD(PkgMemberRecord, payloadLength, 24, 4);
FIELD(PkgMemberRecord, fileName, 28, 96);
FIELD(PkgMemberRecord, subfileName, 124, 128);

SIZE(SignedFileRecord, 184);
FIELD(SignedFileRecord, links, 0, 16);
FIELD(SignedFileRecord, fileName, 16, 96);
FIELD(SignedFileRecord, digest, 112, 65);

SIZE(FileSite, 144);
FIELD(FileSite, name, 0, 8);
FIELD(FileSite, payloadLength, 8, 4);
FIELD(FileSite, payloadOffset, 12, 4);
FIELD(FileSite, fileName, 16, 128);

#if defined(__aarch64__)
SIZE(PkgCacheInfo, 232);
FIELD(PkgCacheInfo, mutex, 0, 48);
FIELD(PkgCacheInfo, reuseFlag, 48, 4);
FIELD(PkgCacheInfo, identity, 56, 128);
FIELD(PkgCacheInfo, memberList, 184, 24);
FIELD(PkgCacheInfo, signedList, 208, 24);
#elif defined(__x86_64__)
SIZE(PkgCacheInfo, 240);
FIELD(PkgCacheInfo, mutex, 0, 40);
FIELD(PkgCacheInfo, reuseFlag, 40, 4);
FIELD(PkgCacheInfo, identity, 48, 144);
FIELD(PkgCacheInfo, memberList, 192, 24);
FIELD(PkgCacheInfo, signedList, 216, 24);
#endif

SIZE(SwmIniKey, 88);
FIELD(SwmIniKey, name, 0, 65);
FIELD(SwmIniKey, value, 72, 8);
FIELD(SwmIniKey, next, 80, 8);
SIZE(SwmIniSection, 24);
FIELD(SwmIniSection, name, 0, 8);
FIELD(SwmIniSection, keys, 8, 8);
FIELD(SwmIniSection, next, 16, 8);
SIZE(SwmCmsMemRecord, 32);
FIELD(SwmCmsMemRecord, content, 0, 8);
FIELD(SwmCmsMemRecord, contentLength, 8, 4);
FIELD(SwmCmsMemRecord, signature, 16, 8);
FIELD(SwmCmsMemRecord, signatureLength, 24, 4);

/* The signatures: an assignment of another type does not compile. */
static const struct {
    uint32_t (*tarnSafeCheckHeader)(int32_t fd, SwmListHead *list);
    uint32_t (*safeGetPkgHeader)(int32_t fd, PackageHeader *buffer);
    uint32_t (*safeHeaderParse)(int32_t fd, uint32_t packageSize32, const PackageHeader *header, SwmListHead *list);
    uint32_t (*safeHeaderParseCheck)(int32_t fd, uint32_t packageSize32, const PackageHeader *header,
                                     SwmListHead *list);
    uint32_t (*safeGetNextFile)(const PackageFileEntry *entry, uint32_t *outOffset, uint32_t *outLength,
                                uint32_t *runningEnd);
    uint32_t (*safeGetFileHeader)(int32_t fd, uint32_t offset, MemberFileHeader *headerBuffer);
    uint32_t (*safeCachePkgFile)(uint32_t offset, uint32_t length, const MemberFileHeader *fileHeader,
                                 SwmListHead *list);
    PkgMemberRecord *(*tarnSafeFindTarget)(const SwmListHead *list, const char *name);
    uint32_t (*tarnSafeGetFileHash)(int32_t fd, const PkgMemberRecord *record, char *digestOut, uint32_t digestOutSize);
    uint32_t (*tarnSafeIsPkgFile)(const char *path);
    uint32_t (*tarnSafeCopyByDescripter)(int32_t srcFd, int32_t dstFd, uint32_t length);
    uint32_t (*tarnSafeGetWorkdir)(uint32_t module, char *buffer, uint32_t bufferSize);
    uint32_t (*tarnSafeCreateWorkdir)(uint32_t module);
    void (*tarnSafeDeleteWorkdir)(uint32_t module);
    void (*safeDeleteTempFile)(const char *dir, const char *name);
    uint32_t (*tarnSafeCacheSignedFile)(const char *path, SwmListHead *list);
    uint32_t (*safeParseFileSection)(const struct SwmIniKey *keys, SignedFileRecord **recordOut);
    uint32_t (*safeGetKeyValue)(const struct SwmIniKey *keys, const char *key, char *out, uint32_t outSize);
    uint32_t (*tarnExtractFromPackage)(const char *packagePath, const char *target, const char *destDir);
    uint32_t (*tarnExtractFromPackageAndChmod)(const char *packagePath, const char *target, const char *destDir,
                                               uint32_t mode);
    uint32_t (*swmFindFileSiteFromCc)(int32_t fd, FileSite *site);
    uint32_t (*extractCacheUpdate)(int32_t fd);
    uint32_t (*extractDoExtract)(int32_t fd, const char *target, const char *destDir);
    uint32_t (*tarnExtractCacheDrop)(void);
    uint32_t (*extractProtectAction)(void);
    uint32_t (*extractUnProtectAction)(void);
    void (*extractCacheDrop)(void);
    uint32_t (*extractCheckHeader)(int32_t fd);
    uint32_t (*extractCheckSignature)(int32_t fd);
    uint32_t (*extractGetSignedFilelist)(int32_t fd, char *pathOut, uint32_t pathOutSize);
    uint32_t (*extractPrepareSignatre)(int32_t fd, const char *workdir);
    uint32_t (*extractVerifySignature)(const char *workdir);
    uint32_t (*extractIsSignatureFile)(const char *name);
    uint32_t (*extractVerifyFile)(int32_t fd, const PkgMemberRecord *record);
    uint32_t (*extractSeekToTarget)(int32_t fd, const PkgMemberRecord *record, const char *target, uint32_t *lengthOut);
    uint32_t (*extractDumpTarget)(int32_t fd, const PkgMemberRecord *record, const char *target, const char *destDir);
    uint32_t (*extractParamCheck)(const char *packagePath, const char *target, const char *destDir);
    uint32_t (*extractParamCheckByFd)(int32_t fd, const char *name);
    uint32_t (*tarnPackageVerify)(const char *packagePath);
    uint32_t (*verifyParamCheck)(const char *packagePath);
    uint32_t (*verifyCheckIntegrity)(const char *packagePath);
    uint32_t (*verifyResultConvert)(uint32_t cacheUpdateResult);
} kOperations = {
    .tarnSafeCheckHeader = TARN_SafeCheckHeader,
    .safeGetPkgHeader = SafeGetPkgHeader,
    .safeHeaderParse = SafeHeaderParse,
    .safeHeaderParseCheck = SafeHeaderParseCheck,
    .safeGetNextFile = SafeGetNextFile,
    .safeGetFileHeader = SafeGetFileHeader,
    .safeCachePkgFile = SafeCachePkgFile,
    .tarnSafeFindTarget = TARN_SafeFindTarget,
    .tarnSafeGetFileHash = TARN_SafeGetFileHash,
    .tarnSafeIsPkgFile = TARN_SafeIsPkgFile,
    .tarnSafeCopyByDescripter = TARN_SafeCopyByDescripter,
    .tarnSafeGetWorkdir = TARN_SafeGetWorkdir,
    .tarnSafeCreateWorkdir = TARN_SafeCreateWorkdir,
    .tarnSafeDeleteWorkdir = TARN_SafeDeleteWorkdir,
    .safeDeleteTempFile = SafeDeleteTempFile,
    .tarnSafeCacheSignedFile = TARN_SafeCacheSignedFile,
    .safeParseFileSection = SafeParseFileSection,
    .safeGetKeyValue = SafeGetKeyValue,
    .tarnExtractFromPackage = TARN_ExtractFromPackage,
    .tarnExtractFromPackageAndChmod = TARN_ExtractFromPackageAndChmod,
    .swmFindFileSiteFromCc = SWM_FindFileSiteFromCc,
    .extractCacheUpdate = ExtractCacheUpdate,
    .extractDoExtract = ExtractDoExtract,
    .tarnExtractCacheDrop = TARN_ExtractCacheDrop,
    .extractProtectAction = ExtractProtectAction,
    .extractUnProtectAction = ExtractUnProtectAction,
    .extractCacheDrop = ExtractCacheDrop,
    .extractCheckHeader = ExtractCheckHeader,
    .extractCheckSignature = ExtractCheckSignature,
    .extractGetSignedFilelist = ExtractGetSignedFilelist,
    .extractPrepareSignatre = ExtractPrepareSignatre,
    .extractVerifySignature = ExtractVerifySignature,
    .extractIsSignatureFile = ExtractIsSignatureFile,
    .extractVerifyFile = ExtractVerifyFile,
    .extractSeekToTarget = ExtractSeekToTarget,
    .extractDumpTarget = ExtractDumpTarget,
    .extractParamCheck = ExtractParamCheck,
    .extractParamCheckByFd = ExtractParamCheckByFd,
    .tarnPackageVerify = TARN_PackageVerify,
    .verifyParamCheck = VerifyParamCheck,
    .verifyCheckIntegrity = VerifyCheckIntegrity,
    .verifyResultConvert = VerifyResultConvert,
};

int main(void)
{
    /* The cache starts as zero bytes, and the library works on the same object as the program. */
    static const PkgCacheInfo kZero;
    if (memcmp(&g_pkgCacheInfo, &kZero, sizeof kZero) != 0) {
        puts("g_pkgCacheInfo does not start zero-filled");
        return 1;
    }
    g_pkgCacheInfo.reuseFlag = 1;
    if (kOperations.tarnExtractCacheDrop() != SWM_OK || g_pkgCacheInfo.reuseFlag != 0 ||
        g_pkgCacheInfo.memberList.next != (SwmListNode *)&g_pkgCacheInfo.memberList) {
        puts("the library has a g_pkgCacheInfo of its own");
        return 1;
    }
    if (kOperations.tarnSafeIsPkgFile("p.ccx") != 1 || kOperations.verifyResultConvert(3) != TARN_VERIFY_INTERNAL) {
        puts("wrong results through the C interface");
        return 1;
    }
    return 0;
}
