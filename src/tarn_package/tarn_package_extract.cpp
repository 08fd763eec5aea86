// The older access to containers: members found by a scan of the header, mapped, checked by name against the signed
// list, exposed by loop devices or copied with their header. Its results are small codes.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_basic/crypto.h>
#include <tarn_basic/device.h>
#include <tarn_basic/directory.h>
#include <tarn_basic/file.h>
#include <tarn_basic/path.h>
#include <tarn_basic/text.h>
#include <tarn_boot/container.h>
#include <tarn_boot/verification.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/log.h"
#include "tarn_package/package_layout.h"

using namespace tarn;

// Error and result of legacy access in one.
#define LEGACY_FAIL(...) (BASE_ERROR(__VA_ARGS__), SWM_LEGACY_FAILED)

namespace {

constexpr uint32_t kCopyChunk = 32768;
constexpr size_t kDirSize = 256;
constexpr size_t kDeviceSize = 20;
constexpr uint32_t kMaxListSize = 4 << 20; // far above 256 files; nobody has vouched for the length yet

constexpr char kLegacyListMember[] = "signature_pss_filelist.bin";
constexpr char kLegacySignatureMember[] = "signature_pss_cms.bin";
constexpr char kSignatureListName[] = "signature_filelist";

constexpr char kOwner[] = "swm";
constexpr uint32_t kFallbackId = 2000;
constexpr uint32_t kTempDirMode = 0750;
constexpr uint32_t kListMode = 0640;

struct Ids {
    uint32_t user = TARN_GetUidByName(kOwner, kFallbackId);
    uint32_t group = TARN_GetGidByName(kOwner, kFallbackId);
};

// A mapped payload, released at the end.
class MappedContent {
public:
    MappedContent() = default;
    MappedContent(const MappedContent &) = delete;
    ~MappedContent() { reset(); }

    uint32_t map(int32_t fd, const char *name) { return SWM_GetSigFileContent(fd, name, &bytes, &length, &delta); }
    const uint8_t *data() const { return bytes; }
    uint32_t size() const { return length; }
    void reset()
    {
        if (bytes != nullptr) {
            const ErrnoKeeper keeper;
            static_cast<void>(SWM_FreeFileContent(bytes, length, delta));
            bytes = nullptr;
        }
    }

private:
    const uint8_t *bytes = nullptr;
    uint32_t length = 0;
    uint32_t delta = 0;
};

} // namespace

// ---- Finding ----

uint32_t SwmFindFileDescInfoFromCc(int32_t fd, const char *name, PackageFileEntry *entryOut) noexcept
{
    if (isNullOrEmpty(name) || entryOut == nullptr) {
        return LEGACY_FAIL("SwmFindFileDescInfoFromCc: get null param.");
    }
    const HeapBlock<PackageHeader> header = allocate<PackageHeader>();
    if (!header) {
        return SWM_E_NO_MEMORY;
    }
    clearBytes(header.get(), sizeof(PackageHeader));
    static_cast<void>(lseek(fd, 0, SEEK_SET));
    int32_t got = SWM_Read(fd, header.get(), kPackageHeaderSize);
    if (got != static_cast<int32_t>(kPackageHeaderSize)) {
        return LEGACY_FAIL("Get CC header failed, FileLen = %d, errno = %d.", got, errno);
    }
    const uint32_t count = toHost(header->fileCount);
    for (uint32_t slot = 0; slot < count && slot < kMaxMembers; ++slot) {
        const PackageFileEntry &entry = header->files[slot];
        MemberFileHeader member = {};
        static_cast<void>(lseek(fd, toHost(entry.memberOffset), SEEK_SET));
        got = SWM_Read(fd, &member, kMemberHeaderSize);
        if (got != static_cast<int32_t>(kMemberHeaderSize)) {
            return LEGACY_FAIL("Get bin file header failed, FileLen = %d, errno = %d.", got, errno);
        }
        member.subfileName[sizeof(member.subfileName) - 1] = '\0';
        member.fileName[sizeof(member.fileName) - 1] = '\0';
        if (SWM_IsStringEqual(name, member.fileName) != 0 || SWM_IsStringEqual(name, member.subfileName) != 0) {
            *entryOut = entry;
            return SWM_OK;
        }
    }
    BASE_WARNING("Can't find file: %s in cc.", name);
    return SWM_LEGACY_NOT_FOUND;
}

uint32_t SWM_FindFileFromCc(int32_t fd, const char *name, uint32_t *lengthOut, uint32_t *offsetOut) noexcept
{
    if (isNullOrEmpty(name) || lengthOut == nullptr) {
        BASE_ERROR("SWM_FindFileFromCc: get null param.");
        return TARN_EXTRACT_PARAM;
    }
    FileSite site = {};
    site.name = name;
    uint32_t status = SWM_FindFileSiteFromCc(fd, &site);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package]get file info failed(0x%x).", status);
        return status;
    }
    status = SWM_CheckFileNameInSigFile(fd, site.fileName, name);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package]Check file in sig file list failed(0x%x).", status);
        return status;
    }
    static_cast<void>(lseek(fd, 0, SEEK_SET));
    static_cast<void>(lseek(fd, site.payloadOffset, SEEK_SET));
    *lengthOut = site.payloadLength;
    if (offsetOut != nullptr) {
        *offsetOut = site.payloadOffset;
    }
    return SWM_OK;
}

uint32_t TarnIsSignatureFile(const char *name) noexcept
{
    return ExtractIsSignatureFile(name);
}

// ---- Mapping ----

uint32_t SWM_GetFileContentInCC(int32_t fd, const FileSite *site, const uint8_t **contentOut, uint32_t *lengthOut,
                                uint32_t *deltaOut) noexcept
{
    if (site == nullptr || contentOut == nullptr || lengthOut == nullptr || deltaOut == nullptr) {
        return BASE_FAIL("SWM_GetFileContentInCC: get null param.");
    }
    struct stat status = {};
    if (fstat(fd, &status) != 0) {
        return BASE_FAIL("Failed to map, offset = %d, errno = %d.", static_cast<int>(site->payloadOffset), errno);
    }
    // A map reaches beyond the end of a file without complaint; only touching it there ends the process.
    if (site->payloadOffset > status.st_size || site->payloadLength > status.st_size - site->payloadOffset) {
        return BASE_FAIL("Failed to map, offset = %d, errno = %d.", static_cast<int>(site->payloadOffset), EINVAL);
    }
    const uint32_t delta = site->payloadOffset % static_cast<uint32_t>(getpagesize());
    void *map = mmap(nullptr, static_cast<size_t>(site->payloadLength) + delta, PROT_READ, MAP_SHARED, fd,
                     static_cast<off_t>(site->payloadOffset - delta));
    if (map == MAP_FAILED) {
        return BASE_FAIL("Failed to map, offset = %d, errno = %d.", static_cast<int>(site->payloadOffset), errno);
    }
    *contentOut = static_cast<const uint8_t *>(map) + delta;
    *lengthOut = site->payloadLength;
    *deltaOut = delta;
    return SWM_OK;
}

uint32_t SWM_GetSigFileContent(int32_t fd, const char *name, const uint8_t **contentOut, uint32_t *lengthOut,
                               uint32_t *deltaOut) noexcept
{
    if (isNullOrEmpty(name) || contentOut == nullptr || lengthOut == nullptr || deltaOut == nullptr) {
        BASE_ERROR("SWM_GetSigFileContent: get null param.");
        return TARN_EXTRACT_PARAM;
    }
    FileSite site = {};
    site.name = name;
    const uint32_t status = SWM_FindFileSiteFromCc(fd, &site);
    if (status != SWM_OK) {
        return status;
    }
    return SWM_GetFileContentInCC(fd, &site, contentOut, lengthOut, deltaOut) == SWM_OK ? SWM_OK : SWM_LEGACY_FAILED;
}

uint32_t SWM_FreeFileContent(const uint8_t *content, uint32_t length, uint32_t delta) noexcept
{
    if (content == nullptr) {
        return BASE_FAIL("SWM_FreeFileContent: get null param.");
    }
    auto *map = const_cast<uint8_t *>(content) - delta;
    return static_cast<uint32_t>(munmap(map, static_cast<size_t>(delta) + length));
}

// ---- Name check ----

namespace {

// The list in private memory, with the NUL that a text needs: what is verified is what is looked through, whatever
// happens to the file meanwhile, and nothing behind the payload is taken for it. `fd` stands at the payload.
HeapBlock<char> copyList(int32_t fd, uint32_t length)
{
    if (length > kMaxListSize) {
        BASE_ERROR("[Verify package]get sign file content failed(0x%x).", SWM_LEGACY_FAILED);
        return nullptr;
    }
    HeapBlock<char> text = allocate<char>(length + 1);
    if (!text) {
        BASE_ERROR("alloc memory failed.");
        return nullptr;
    }
    if (SWM_Read(fd, text.get(), length) != static_cast<int32_t>(length)) {
        BASE_ERROR("[Verify package]get sign file content failed(0x%x).", SWM_LEGACY_FAILED);
        return nullptr;
    }
    text.get()[length] = '\0';
    return text;
}

} // namespace

uint32_t SWM_CheckFileNameInSigFile(int32_t fd, const char *fileName, const char *targetName) noexcept
{
    if (isNullOrEmpty(fileName)) {
        return LEGACY_FAIL("[Verify package]bin file name is illegal.");
    }
    if (isNullOrEmpty(targetName)) {
        return LEGACY_FAIL("SWM_CheckFileNameInSigFile: get null param.");
    }
    if (TarnIsSignatureFile(targetName) != 0) {
        return SWM_OK;
    }
    MappedContent list;
    uint32_t status = list.map(fd, kLegacyListMember);
    if (status != SWM_OK) {
        return LEGACY_FAIL("[Verify package]get sign file content failed(0x%x).", status);
    }
    const HeapBlock<char> text = copyList(fd, list.size());
    if (!text) {
        return SWM_LEGACY_FAILED;
    }
    MappedContent signature;
    status = signature.map(fd, kLegacySignatureMember);
    if (status != SWM_OK) {
        return LEGACY_FAIL("[Verify package]get cms file content failed(0x%x).", status);
    }
    SwmCmsMemRecord record = {};
    record.content = reinterpret_cast<const uint8_t *>(text.get());
    record.contentLength = list.size();
    record.signature = signature.data();
    record.signatureLength = signature.size();
    status = SWM_VerifyCmsFromMem(&record, 1);
    signature.reset();
    if (status != 0) {
        return LEGACY_FAIL("[Verify package]Verify package failed(0x%x).", status);
    }
    const bool isListed = SWM_IsFileExistInSigContent(fileName, text.get()) != 0;
    list.reset();
    return isListed ? SWM_OK : LEGACY_FAIL("[Verify package]file is illegal, not in sigfilelist %s.", fileName);
}

// ---- Removing and copying ----

uint32_t SWM_DelExistFile(const char *path) noexcept
{
    if (isNullOrEmpty(path)) {
        return LEGACY_FAIL("SWM_DelExistFile: get null param.");
    }
    if (SWM_IsSymlinkFile(path) == 0) {
        if (SWM_IsFileExist(path) != 0 && SWM_DelFile(path) != 0) {
            return LEGACY_FAIL("remove file %s failed, errno=%d.", path, errno);
        }
        return SWM_OK;
    }
    if (SWM_IsFileExist(path) != 0) {
        char target[kPathSize] = "";
        if (SWM_GetCanonicalFilepath(path, target, sizeof(target)) != 0) {
            return LEGACY_FAIL("get %s canonical path failed, errno=%d.", path, errno);
        }
        if (strstr(target, "/dev/loop") != nullptr) {
            static_cast<void>(TARN_DelLoopDev(target));
        }
    }
    if (unlink(path) != 0) {
        return LEGACY_FAIL("unlink %s failed, errno=%d.", path, errno);
    }
    return SWM_OK;
}

// The length counts as a signed number, so that one of 2^31 or more copies nothing: callers rely on it.
uint32_t SWM_CopyFileWithLen(int32_t srcFd, int32_t dstFd, uint32_t length) noexcept
{
    const HeapBlock<char> buffer = allocate<char>(kCopyChunk);
    if (!buffer) {
        return LEGACY_FAIL("alloc memory failed.");
    }
    for (auto left = static_cast<int32_t>(length); left > 0;) {
        const int32_t chunk = left < static_cast<int32_t>(kCopyChunk) ? left : static_cast<int32_t>(kCopyChunk);
        const int32_t got = SWM_Read(srcFd, buffer.get(), static_cast<uint32_t>(chunk));
        if (got != chunk) {
            return LEGACY_FAIL("read from cc fd failed, ReadLen = %d, errno = %d.", got, errno);
        }
        if (SWM_Write(dstFd, buffer.get(), static_cast<uint32_t>(chunk)) != chunk) {
            return LEGACY_FAIL("write subfile fd failed, errno = %d.", errno);
        }
        left -= chunk;
    }
    return SWM_OK;
}

// ---- Loop devices ----

namespace {

uint32_t findPayloadOffset(const char *packagePath, const char *target, uint32_t &offset)
{
    UniqueFd package;
    if (openFile(packagePath, O_RDONLY, package) != 0) {
        return LEGACY_FAIL("Can't open file %s, errno = %d.", packagePath, errno);
    }
    uint32_t length = 0;
    const uint32_t status = SWM_FindFileFromCc(package.get(), target, &length, &offset);
    package.reset();
    return status == SWM_OK ? SWM_OK : LEGACY_FAIL("find file: %s from %s failed.", target, packagePath);
}

uint32_t linkToDevice(const char *packagePath, uint32_t offset, const char *link, const char *function)
{
    char device[kDeviceSize] = "";
    clearBytes(device, sizeof(device), function);
    const uint32_t status = TARN_MountLoopDev(packagePath, offset, device, sizeof(device));
    if (status != 0) {
        return LEGACY_FAIL("map %s to loop device failed, iRet = %d", packagePath, static_cast<int>(status));
    }
    if (symlink(device, link) != 0) {
        return LEGACY_FAIL("symlink %s to %s failed, errno=%d.", device, link, errno);
    }
    const Ids owner;
    static_cast<void>(SWM_Lchown(link, owner.user, owner.group));
    return SWM_OK;
}

} // namespace

uint32_t SWM_ExtractFileByLoop(const char *packagePath, const char *target, const char *destDir) noexcept
{
    if (isNullOrEmpty(packagePath) || isNullOrEmpty(target) || isNullOrEmpty(destDir)) {
        return LEGACY_FAIL("SWM_ExtractFileByLoop: get null param.");
    }
    if (SWM_IsFileExist(packagePath) == 0) {
        return LEGACY_FAIL("file: %s is not exist.", packagePath);
    }
    if (SWM_IsDirExist(destDir) == 0) {
        return LEGACY_FAIL("file path: %s is not exist.", destDir);
    }
    char link[kPathSize] = "";
    warnIfCut(snprintf_s(link, sizeof(link), sizeof(link) - 1, "%s/%s", destDir, target));
    // The old link goes before the package is looked at: callers rely on it.
    if (SWM_DelExistFile(link) != SWM_OK) {
        return LEGACY_FAIL("delete exist file %s failed.", link);
    }
    uint32_t offset = 0;
    const uint32_t status = findPayloadOffset(packagePath, target, offset);
    return status != SWM_OK ? status : linkToDevice(packagePath, offset, link, __func__);
}

// ---- Legacy signature list ----

uint32_t SWM_GetWorkdirTempPath(char *buffer, uint32_t size) noexcept
{
    if (buffer == nullptr || size == 0) {
        BASE_ERROR("SWM_GetWorkdirTempPath: get null param.");
        return SWM_OK;
    }
    char root[kDirSize] = "";
    if (SWM_GetRootPath(root, sizeof(root)) != 0) {
        root[0] = '\0'; // whatever a failed call left there is no path, and may not even end
    }
    warnIfCut(snprintf_s(buffer, size, size - 1, "%s/swm/workdir/temp", root));
    return SWM_OK;
}

uint32_t SWM_ExtractCcSignature(const char *packagePath, char *pathOut, uint32_t pathOutSize) noexcept
{
    if (isNullOrEmpty(packagePath) || pathOut == nullptr || pathOutSize == 0) {
        return BASE_FAIL("SWM_ExtractCcSignature: get null param.");
    }
    if (SWM_IsFileExist(packagePath) == 0) {
        return BASE_FAIL("file: %s is not exist.", packagePath);
    }
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetWorkdirTempPath(dir, sizeof(dir)));
    const Ids owner;
    if (SWM_MkParentDir(dir, owner.user, owner.group, kTempDirMode) != 0) {
        return BASE_FAIL("Failed to mkdir[%s].", dir);
    }
    warnIfCut(snprintf_s(pathOut, pathOutSize, pathOutSize - 1, "%s/%s", dir, kSignatureListName));
    if (SWM_IsFileExist(pathOut) != 0) {
        static_cast<void>(SWM_DelFile(pathOut));
    }
    if (TARN_ExtractFromPackageAndChmod(packagePath, kSignatureListName, dir, kListMode) != TARN_EXTRACT_OK) {
        BASE_ERROR("Failed to extract file[%s] to [%s].", kSignatureListName, dir);
        static_cast<void>(SWM_RemoveDir(dir));
        return SWM_FAIL;
    }
    return SWM_OK;
}

uint32_t SWM_ClearCcSignaturePath(const char *path) noexcept
{
    if (isNullOrEmpty(path)) {
        return BASE_FAIL("SWM_ClearCcSignaturePath: get null param.");
    }
    char dir[kDirSize] = "";
    if (SWM_GetDirname(path, dir, sizeof(dir)) != 0) {
        return BASE_FAIL("Failed to get dirname of [%s].", path);
    }
    return SWM_RemoveDir(dir);
}

// ---- Members with their header ----

uint32_t SWM_ExtractFileWithHeader(const char *packagePath, const char *target, const char *destDir,
                                   uint32_t mode) noexcept
{
    if (isNullOrEmpty(packagePath) || isNullOrEmpty(target) || isNullOrEmpty(destDir)) {
        return LEGACY_FAIL("SWM_ExtractFileWithHeader: get null param.");
    }
    if (SWM_IsDirExist(destDir) == 0) {
        return LEGACY_FAIL("extract file with header, file path: %s is not exist.", destDir);
    }
    char path[kPathSize] = "";
    warnIfCut(snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s", destDir, target));
    UniqueFd package;
    if (openFile(packagePath, O_RDONLY, package) != 0) {
        return LEGACY_FAIL("extract file with header, Can't open file %s, errno = %d.", packagePath, errno);
    }
    PackageFileEntry entry = {};
    const uint32_t status = SwmFindFileDescInfoFromCc(package.get(), target, &entry);
    if (status == SWM_LEGACY_NOT_FOUND) {
        BASE_ERROR("extract file with header, find file: %s from %s not exist.", target, packagePath);
        return SWM_LEGACY_NOT_FOUND;
    }
    if (status != SWM_OK) {
        return LEGACY_FAIL("extract file with header, find file: %s from %s failed.", target, packagePath);
    }
    UniqueFd file;
    if (openFile(path, O_RDWR | O_CREAT | O_TRUNC, file, mode) != 0) {
        return LEGACY_FAIL("extract file with header, open file %s failed, errno = %d.", path, errno);
    }
    // A copy that fails leaves what is written: callers rely on it.
    if (lseek(package.get(), toHost(entry.memberOffset), SEEK_SET) < 0 ||
        SWM_CopyFileWithLen(package.get(), file.get(), toHost(entry.memberLength)) != SWM_OK) {
        return LEGACY_FAIL("extract file with header, copy file failed, subFile: %s, CcFile: %s.", target, packagePath);
    }
    return SWM_OK;
}
