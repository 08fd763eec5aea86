// Verified extraction of members, the cache of the last package, and the walk that compares every signed digest.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_basic/crypto.h>
#include <tarn_basic/directory.h>
#include <tarn_basic/file.h>
#include <tarn_basic/path.h>
#include <tarn_boot/container.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/log.h"
#include "common/record_list.h"
#include "tarn_package/package_layout.h"

using namespace tarn;

// Zeroed memory is its valid empty state, mutex included: nothing runs at load.
PkgCacheInfo g_pkgCacheInfo;

namespace {

constexpr uint32_t kExtractedFileMode = 0440;

// Inode, size and whole seconds: a package rewritten in place within a second, to the same size, passes for unchanged.
bool isSamePackage(const struct stat &a, const struct stat &b)
{
    return a.st_ino == b.st_ino && a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec;
}

} // namespace

// ---- Cache and mutex ----

uint32_t ExtractProtectAction() noexcept
{
    const int status = pthread_mutex_lock(&g_pkgCacheInfo.mutex);
    if (status != 0) {
        return BASE_FAIL("ExtractProtectAction: can't pthread lock ret:%d, errno: %d.", status, errno);
    }
    return SWM_OK;
}

uint32_t ExtractUnProtectAction() noexcept
{
    const int status = pthread_mutex_unlock(&g_pkgCacheInfo.mutex);
    if (status != 0) {
        return BASE_FAIL("ExtractUnProtectAction: can't pthread unlock ret:%d, errno: %d.", status, errno);
    }
    return SWM_OK;
}

void ExtractCacheDrop() noexcept
{
    RecordList<PkgMemberRecord>(g_pkgCacheInfo.memberList).release();
    RecordList<SignedFileRecord>(g_pkgCacheInfo.signedList).release();
    clearBytes(&g_pkgCacheInfo.identity, sizeof(g_pkgCacheInfo.identity));
    // Even when that failed: an identity beside emptied lists would pass for a package that has been checked.
    g_pkgCacheInfo.identity = {};
    g_pkgCacheInfo.reuseFlag = 0;
}

uint32_t TARN_ExtractCacheDrop() noexcept
{
    if (ExtractProtectAction() != SWM_OK) {
        return SWM_FAIL;
    }
    ExtractCacheDrop();
    return ExtractUnProtectAction();
}

uint32_t ExtractCacheUpdate(int32_t fd) noexcept
{
    struct stat status = {};
    if (fstat(fd, &status) != 0) {
        return BASE_FAIL("ExtractCacheUpdate: fstat %d failed, errno:%d", fd, errno);
    }
    if (isSamePackage(g_pkgCacheInfo.identity, status)) {
        g_pkgCacheInfo.reuseFlag = 1;
    } else {
        ExtractCacheDrop();
    }
    copyBlock(g_pkgCacheInfo.identity, status);

    // The directory is made on reuse too. When it cannot be, the identity of a changed package stays beside empty
    // lists: until the cache is dropped, that package has no members.
    if (TARN_SafeCreateWorkdir(kExtractModule) != SWM_OK) {
        return TARN_EXTRACT_WORKDIR;
    }
    uint32_t result = TARN_EXTRACT_OK;
    if (ExtractCheckHeader(fd) != SWM_OK) {
        result = TARN_EXTRACT_STRUCTURE;
    } else if (ExtractCheckSignature(fd) != SWM_OK) {
        result = TARN_EXTRACT_SIGNATURE;
    }
    if (result != TARN_EXTRACT_OK) {
        ExtractCacheDrop();
    }
    TARN_SafeDeleteWorkdir(kExtractModule);
    return result;
}

uint32_t ExtractCheckHeader(int32_t fd) noexcept
{
    if (g_pkgCacheInfo.reuseFlag == 1) {
        return SWM_OK;
    }
    RecordList<PkgMemberRecord>(g_pkgCacheInfo.memberList).release();
    return TARN_SafeCheckHeader(fd, &g_pkgCacheInfo.memberList);
}

// ---- Signature of the signed file list ----

uint32_t ExtractCheckSignature(int32_t fd) noexcept
{
    if (g_pkgCacheInfo.reuseFlag == 1) {
        return SWM_OK;
    }
    char listPath[kPathSize] = "";
    if (ExtractGetSignedFilelist(fd, listPath, sizeof(listPath)) != SWM_OK) {
        return BASE_FAIL("ExtractCheckSignature: get filelist failed.");
    }
    RecordList<SignedFileRecord>(g_pkgCacheInfo.signedList).release();
    return TARN_SafeCacheSignedFile(listPath, &g_pkgCacheInfo.signedList);
}

uint32_t ExtractGetSignedFilelist(int32_t fd, char *pathOut, uint32_t pathOutSize) noexcept
{
    if (pathOut == nullptr) {
        return BASE_FAIL("ExtractGetSignedFilelist: get null param.");
    }
    char workdir[kPathSize] = "";
    if (TARN_SafeGetWorkdir(kExtractModule, workdir, sizeof(workdir)) != SWM_OK) {
        return BASE_FAIL("ExtractGetSignedFilelist: get workdir failed.");
    }
    if (ExtractPrepareSignatre(fd, workdir) != SWM_OK) {
        return BASE_FAIL("ExtractGetSignedFilelist: prepare signature failed.");
    }
    if (ExtractVerifySignature(workdir) != SWM_OK) {
        return BASE_FAIL("ExtractGetSignedFilelist: verify signature failed.");
    }
    if (!formatPath(pathOut, pathOutSize, workdir, kSignedListName)) {
        return BASE_FAIL("ExtractGetSignedFilelist: sprintf pss filelist failed.");
    }
    return SWM_OK;
}

uint32_t ExtractPrepareSignatre(int32_t fd, const char *workdir) noexcept
{
    if (isNullOrEmpty(workdir)) {
        return BASE_FAIL("ExtractPrepareSignatre: get null param.");
    }
    if (ExtractDoExtract(fd, kSignedListName, workdir) != TARN_EXTRACT_OK) {
        return BASE_FAIL("ExtractPrepareSignatre: extract pss filelist failed.");
    }
    if (ExtractDoExtract(fd, kSignatureName, workdir) != TARN_EXTRACT_OK) {
        return BASE_FAIL("ExtractPrepareSignatre: extract pss cms file failed.");
    }
    return SWM_OK;
}

uint32_t ExtractVerifySignature(const char *workdir) noexcept
{
    if (isNullOrEmpty(workdir)) {
        return BASE_FAIL("ExtractVerifySignature: get null param.");
    }
    char listPath[kPathSize] = "";
    if (!formatPath(listPath, sizeof(listPath), workdir, kSignedListName)) {
        return BASE_FAIL("ExtractVerifySignature: sprintf pss filelist failed.");
    }
    char signaturePath[kPathSize] = "";
    if (!formatPath(signaturePath, sizeof(signaturePath), workdir, kSignatureName)) {
        return BASE_FAIL("ExtractVerifySignature: sprintf pss cms failed.");
    }
    const uint32_t status = SWM_VerifyPssCms(listPath, signaturePath);
    if (status != 0) {
        return BASE_FAIL("ExtractVerifySignature: verify pss filelist failed, ret:%u.", status);
    }
    return SWM_OK;
}

uint32_t ExtractIsSignatureFile(const char *name) noexcept
{
    if (name == nullptr) {
        return 0;
    }
    for (const char *signatureName :
         {"signature_pss_filelist.bin", "signature_pss_cms.bin", kSignedListName, kSignatureName}) {
        if (strcmp(name, signatureName) == 0) {
            return 1;
        }
    }
    return 0;
}

// ---- Extraction of one member ----

uint32_t TARN_ExtractFromPackage(const char *packagePath, const char *target, const char *destDir) noexcept
{
    if (ExtractParamCheck(packagePath, target, destDir) != SWM_OK) {
        return TARN_EXTRACT_PARAM;
    }
    UniqueFd package;
    if (openFile(packagePath, O_RDONLY, package) != 0) {
        return BASE_FAIL("TARN_ExtractFromPackage: open package(%s) failed, errno:%d.", packagePath, errno);
    }
    BASE_NOTICE("TARN_ExtractFromPackage: package(%s) target(%s) destdir(%s).", packagePath, target, destDir);
    if (ExtractProtectAction() != SWM_OK) {
        return SWM_FAIL;
    }
    uint32_t result = ExtractCacheUpdate(package.get());
    if (result == TARN_EXTRACT_OK) {
        result = ExtractDoExtract(package.get(), target, destDir);
    }
    package.reset();
    static_cast<void>(ExtractUnProtectAction());
    return result;
}

uint32_t TARN_ExtractFromPackageAndChmod(const char *packagePath, const char *target, const char *destDir,
                                         uint32_t mode) noexcept
{
    const uint32_t result = TARN_ExtractFromPackage(packagePath, target, destDir);
    if (result != TARN_EXTRACT_OK) {
        return result;
    }
    char path[kPathSize] = "";
    if (!formatPath(path, sizeof(path), destDir, target)) {
        BASE_ERROR("TARN_ExtractFromPackageAndChmod: sprintf dest failed.");
        return TARN_EXTRACT_CHMOD;
    }
    const uint32_t status = SWM_FchmodPath(path, mode);
    if (status != 0) {
        BASE_ERROR("TARN_ExtractFromPackageAndChmod: chmod failed file:%s ret:%u.", path, status);
        static_cast<void>(SWM_DelFile(path));
        return TARN_EXTRACT_CHMOD;
    }
    return TARN_EXTRACT_OK;
}

uint32_t ExtractDoExtract(int32_t fd, const char *target, const char *destDir) noexcept
{
    if (isNullOrEmpty(target) || isNullOrEmpty(destDir)) {
        BASE_ERROR("ExtractDoExtract: get null param.");
        return TARN_EXTRACT_PARAM;
    }
    const PkgMemberRecord *record = TARN_SafeFindTarget(&g_pkgCacheInfo.memberList, target);
    if (record == nullptr) {
        BASE_WARNING("ExtractDoExtract: no such file:%s.", target);
        return TARN_EXTRACT_NO_MEMBER;
    }
    // The exemption goes by the target's name: what it is compared with is made of these members.
    if (ExtractIsSignatureFile(target) == 0 && ExtractVerifyFile(fd, record) != SWM_OK) {
        BASE_ERROR("ExtractDoExtract: file %s verify failed.", target);
        return TARN_EXTRACT_DIGEST;
    }
    if (TARN_IsDirExist(destDir) == 0 && TARN_MkDirRecursive(destDir) != 0) {
        BASE_ERROR("ExtractDoExtract: mkdir %s failed.", destDir);
        return TARN_EXTRACT_MKDIR;
    }
    if (ExtractDumpTarget(fd, record, target, destDir) != SWM_OK) {
        BASE_ERROR("ExtractDoExtract: extract file %s failed.", target);
        return TARN_EXTRACT_WRITE;
    }
    return TARN_EXTRACT_OK;
}

uint32_t ExtractVerifyFile(int32_t fd, const PkgMemberRecord *record) noexcept
{
    if (record == nullptr) {
        return BASE_FAIL("ExtractVerifyFile: get null param.");
    }
    char digest[kDigestTextSize] = "";
    if (TARN_SafeGetFileHash(fd, record, digest, sizeof(digest)) != SWM_OK) {
        return BASE_FAIL("ExtractVerifyFile: calc hash failed.");
    }
    const ConstRecordList<SignedFileRecord> signedFiles(g_pkgCacheInfo.signedList);
    const SignedFileRecord *listed = signedFiles.find(
        [record](const SignedFileRecord &candidate) { return strcmp(candidate.fileName, record->fileName) == 0; });
    if (listed == nullptr) {
        return BASE_FAIL("ExtractVerifyFile: not found file(%s) in signed list.", record->fileName);
    }
    if (strcmp(digest, listed->digest) != 0) {
        return BASE_FAIL("ExtractVerifyFile: file(%s) verify failed, calc:%s, signed:%s.", record->fileName, digest,
                         listed->digest);
    }
    return SWM_OK;
}

uint32_t ExtractSeekToTarget(int32_t fd, const PkgMemberRecord *record, const char *target,
                             uint32_t *lengthOut) noexcept
{
    if (record == nullptr || isNullOrEmpty(target) || lengthOut == nullptr) {
        return BASE_FAIL("ExtractSeekToTarget: get null param.");
    }
    const bool wholeMember = strcmp(target, record->fileName) == 0;
    const uint32_t offset = wholeMember ? record->memberOffset : record->memberOffset + kMemberHeaderSize;
    if (lseek(fd, static_cast<off_t>(offset), SEEK_SET) < 0) {
        return BASE_FAIL("ExtractSeekToTarget: package lseek failed, errno:%d.", errno);
    }
    *lengthOut = wholeMember ? record->memberLength : record->payloadLength;
    return SWM_OK;
}

uint32_t ExtractDumpTarget(int32_t fd, const PkgMemberRecord *record, const char *target, const char *destDir) noexcept
{
    if (record == nullptr || isNullOrEmpty(target) || isNullOrEmpty(destDir)) {
        return BASE_FAIL("ExtractDumpTarget: get null param.");
    }
    char path[kPathSize] = "";
    if (!formatPath(path, sizeof(path), destDir, target)) {
        return BASE_FAIL("ExtractDumpTarget: sprintf dest failed.");
    }
    if (TARN_IsFileExist(path) != 0 && TARN_DelFile(path) != 0) {
        return BASE_FAIL("ExtractDumpTarget: delete exist destfile(%s) failed, errno:%d.", path, errno);
    }
    uint32_t length = 0;
    if (ExtractSeekToTarget(fd, record, target, &length) != SWM_OK) {
        return BASE_FAIL("ExtractDumpTarget: seek to target(%s) failed.", target);
    }
    UniqueFd destination;
    if (openFile(path, O_RDWR | O_CREAT, destination, kExtractedFileMode) != 0) {
        return BASE_FAIL("ExtractDumpTarget: create destfile(%s) failed, errno:%d.", path, errno);
    }
    if (TARN_SafeCopyByDescripter(fd, destination.get(), length) != SWM_OK) {
        BASE_ERROR("ExtractDumpTarget: copy file failed, len:%u.", length);
        destination.reset();
        static_cast<void>(TARN_DelFile(path));
        return SWM_FAIL;
    }
    static_cast<void>(fsync(destination.get()));
    return SWM_OK;
}

uint32_t SWM_FindFileSiteFromCc(int32_t fd, FileSite *site) noexcept
{
    if (site == nullptr) {
        BASE_ERROR("SWM_FindFileSiteFromCc: get null param.");
        return TARN_EXTRACT_PARAM;
    }
    if (ExtractParamCheckByFd(fd, site->name) != SWM_OK) {
        return TARN_EXTRACT_PARAM;
    }
    if (ExtractProtectAction() != SWM_OK) {
        return SWM_FAIL;
    }
    static_cast<void>(lseek(fd, 0, SEEK_SET));
    const uint32_t result = ExtractCacheUpdate(fd);
    if (result != TARN_EXTRACT_OK) {
        static_cast<void>(ExtractUnProtectAction());
        return result;
    }
    const PkgMemberRecord *record = TARN_SafeFindTarget(&g_pkgCacheInfo.memberList, site->name);
    if (record == nullptr) {
        BASE_WARNING("SWM_FindFileSiteFromCc: no such file:%s.", site->name);
        static_cast<void>(ExtractUnProtectAction());
        return TARN_EXTRACT_SIGNATURE;
    }
    site->payloadLength = record->payloadLength;
    site->payloadOffset = record->memberOffset + kMemberHeaderSize;
    if (strcpy_s(site->fileName, sizeof(site->fileName), record->fileName) != 0) {
        BASE_ERROR("SWM_FindFileSiteFromCc: strcpy_s failed.");
        site->fileName[0] = '\0';
    }
    static_cast<void>(lseek(fd, static_cast<off_t>(site->payloadOffset), SEEK_SET));
    static_cast<void>(ExtractUnProtectAction());
    return TARN_EXTRACT_OK;
}

// ---- Argument checks ----

uint32_t ExtractParamCheck(const char *packagePath, const char *target, const char *destDir) noexcept
{
    if (isNullOrEmpty(packagePath) || isNullOrEmpty(target) || isNullOrEmpty(destDir)) {
        return BASE_FAIL("ExtractParamCheck: get null param.");
    }
    if (TARN_IsFileExist(packagePath) == 0) {
        return BASE_FAIL("ExtractParamCheck: package %s not exist.", packagePath);
    }
    return SWM_OK;
}

uint32_t ExtractParamCheckByFd(int32_t fd, const char *name) noexcept
{
    if (fd < 0 || isNullOrEmpty(name)) {
        return BASE_FAIL("ExtractParamCheckByFd: get null param.");
    }
    return SWM_OK;
}

// ---- Integrity of every signed file ----

uint32_t VerifyCheckIntegrity(const char *packagePath) noexcept
{
    if (isNullOrEmpty(packagePath)) {
        return BASE_FAIL("VerifyCheckIntegrity: get null param.");
    }
    UniqueFd package;
    if (openFile(packagePath, O_RDONLY, package) != 0) {
        return BASE_FAIL("VerifyCheckIntegrity: open package(%s) failed, errno:%d.", packagePath, errno);
    }
    for (const SignedFileRecord &listed : ConstRecordList<SignedFileRecord>(g_pkgCacheInfo.signedList)) {
        const PkgMemberRecord *record = TARN_SafeFindTarget(&g_pkgCacheInfo.memberList, listed.fileName);
        if (record == nullptr) {
            return BASE_FAIL("VerifyCheckIntegrity: find %s in cc failed.", listed.fileName);
        }
        char digest[kDigestTextSize] = "";
        if (TARN_SafeGetFileHash(package.get(), record, digest, sizeof(digest)) != SWM_OK) {
            return BASE_FAIL("VerifyCheckIntegrity: calc hash failed.");
        }
        if (strcmp(digest, listed.digest) != 0) {
            return BASE_FAIL("VerifyCheckIntegrity: file(%s) verify failed, calc:%s, signed:%s.", listed.fileName,
                             digest, listed.digest);
        }
    }
    return SWM_OK;
}
