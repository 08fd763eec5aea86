// The strict container reader, the per-process work directories and the loader of the signed file list. Formats:
// docs/formats.md.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_basic/crypto.h>
#include <tarn_basic/directory.h>
#include <tarn_basic/file.h>
#include <tarn_basic/ini.h>
#include <tarn_basic/path.h>
#include <tarn_basic/text.h>
#include <tarn_boot/container.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/log.h"
#include "common/record_list.h"
#include "tarn_package/package_layout.h"

using namespace tarn;

namespace {

constexpr uint32_t kCopyChunk = 32768;
constexpr char kWorkdirBase[] = "/tmp";

const char *moduleWord(uint32_t module)
{
    return module == kExtractModule ? "extract" : "verify";
}

bool isLink(const char *path)
{
    struct stat status = {};
    return lstat(path, &status) == 0 && S_ISLNK(status.st_mode);
}

uint32_t processId()
{
    return static_cast<uint32_t>(getpid());
}

} // namespace

// ---- Container reader ----

uint32_t TARN_SafeCheckHeader(int32_t fd, SwmListHead *list) noexcept
{
    if (list == nullptr) {
        return BASE_FAIL("TARN_SafeCheckHeader: get null param.");
    }
    PackageHeader header;
    clearBytes(&header, sizeof(header));
    if (SafeGetPkgHeader(fd, &header) != SWM_OK) {
        return SWM_FAIL;
    }
    struct stat status = {};
    if (fstat(fd, &status) != 0) {
        return BASE_FAIL("TARN_SafeCheckHeader: get package size failed, errno:%d", errno);
    }
    return SafeHeaderParse(fd, static_cast<uint32_t>(status.st_size), &header, list);
}

uint32_t SafeGetPkgHeader(int32_t fd, PackageHeader *buffer) noexcept
{
    if (buffer == nullptr) {
        return BASE_FAIL("SafeGetPkgHeader: get null param.");
    }
    if (lseek(fd, 0, SEEK_SET) < 0) {
        return BASE_FAIL("SafeGetPkgHeader: lseek failed, errno:%d.", errno);
    }
    PackageHeader header = {};
    const int32_t got = TARN_FdRead(fd, &header, kPackageHeaderSize);
    if (got != static_cast<int32_t>(kPackageHeaderSize)) {
        return BASE_FAIL("SafeGetPkgHeader: get package header failed, need:%u, read:%d, errno:%d.", kPackageHeaderSize,
                         got, errno);
    }
    *buffer = header;
    return SWM_OK;
}

uint32_t SafeHeaderParse(int32_t fd, uint32_t packageSize32, const PackageHeader *header, SwmListHead *list) noexcept
{
    if (header == nullptr || list == nullptr) {
        return BASE_FAIL("SafeHeaderParse: get null param.");
    }
    const uint32_t count = toHost(header->fileCount);
    if (count > kMaxMembers) {
        return BASE_FAIL("SafeHeaderParse: package file number(%u) over limit.", count);
    }
    return SafeHeaderParseCheck(fd, packageSize32, header, list);
}

uint32_t SafeHeaderParseCheck(int32_t fd, uint32_t packageSize32, const PackageHeader *header,
                              SwmListHead *list) noexcept
{
    if (header == nullptr || list == nullptr) {
        return BASE_FAIL("SafeHeaderParseCheck: get null param.");
    }
    // Called on its own, it has no limit check before it: the table ends after its last slot all the same.
    const uint32_t count = toHost(header->fileCount);
    uint32_t runningEnd = kPackageHeaderSize;
    for (uint32_t slot = 0; slot < count && slot < kMaxMembers; ++slot) {
        uint32_t offset = 0;
        uint32_t length = 0;
        if (SafeGetNextFile(&header->files[slot], &offset, &length, &runningEnd) != SWM_OK) {
            return SWM_FAIL;
        }
        MemberFileHeader member;
        clearBytes(&member, sizeof(member));
        if (SafeGetFileHeader(fd, offset, &member) != SWM_OK ||
            SafeCachePkgFile(offset, length, &member, list) != SWM_OK) {
            return SWM_FAIL;
        }
    }
    if (runningEnd != packageSize32 || count > kMaxMembers) {
        return BASE_FAIL("SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.", runningEnd,
                         packageSize32);
    }
    return SWM_OK;
}

uint32_t SafeGetNextFile(const PackageFileEntry *entry, uint32_t *outOffset, uint32_t *outLength,
                         uint32_t *runningEnd) noexcept
{
    if (entry == nullptr || outOffset == nullptr || outLength == nullptr || runningEnd == nullptr) {
        return BASE_FAIL("SafeGetNextFile: get null param.");
    }
    const uint32_t offset = toHost(entry->memberOffset);
    if (offset != *runningEnd) {
        return BASE_FAIL("SafeGetNextFile: package invalid, current len:%u, current offset:%u.", *runningEnd, offset);
    }
    // 32-bit on purpose: a length of zero and an end that wraps are both not beyond the running end. The line prints
    // the running end twice.
    const uint32_t length = toHost(entry->memberLength);
    const uint32_t end = *runningEnd + length;
    if (end <= *runningEnd) {
        return BASE_FAIL("SafeGetNextFile: package invalid, current len:%u, current offset:%u, filelen:%u.",
                         *runningEnd, *runningEnd, length);
    }
    *outOffset = offset;
    *outLength = length;
    *runningEnd = end;
    return SWM_OK;
}

uint32_t SafeGetFileHeader(int32_t fd, uint32_t offset, MemberFileHeader *headerBuffer) noexcept
{
    if (headerBuffer == nullptr) {
        return BASE_FAIL("SafeGetFileHeader: get null param.");
    }
    if (lseek(fd, static_cast<off_t>(offset), SEEK_SET) < 0) {
        return BASE_FAIL("SafeGetFileHeader: package lseek failed, errno:%d.", errno);
    }
    MemberFileHeader header = {};
    const int32_t got = TARN_FdRead(fd, &header, kMemberHeaderSize);
    if (got != static_cast<int32_t>(kMemberHeaderSize)) {
        return BASE_FAIL("SafeGetFileHeader: package read file head failed,  need:%u, read:%d, errno:%d.",
                         kMemberHeaderSize, got, errno);
    }
    header.subfileName[sizeof(header.subfileName) - 1] = '\0';
    header.fileName[sizeof(header.fileName) - 1] = '\0';
    *headerBuffer = header;
    return SWM_OK;
}

uint32_t SafeCachePkgFile(uint32_t offset, uint32_t length, const MemberFileHeader *fileHeader,
                          SwmListHead *list) noexcept
{
    if (fileHeader == nullptr || list == nullptr) {
        return BASE_FAIL("SafeCachePkgFile: get null param.");
    }
    auto record = allocate<PkgMemberRecord>();
    if (record == nullptr) {
        return BASE_FAIL("SafeCachePkgFile: malloc failed, errno:%d.", errno);
    }
    *record = {};
    record->memberOffset = offset;
    record->memberLength = length;
    record->payloadLength = toHost(fileHeader->payloadLength);
    if (!formatField(record->fileName, fileHeader->fileName)) {
        return BASE_FAIL("SafeCachePkgFile: sprintf file name failed.");
    }
    if (!formatField(record->subfileName, fileHeader->subfileName)) {
        return BASE_FAIL("SafeCachePkgFile: sprintf subfile name failed.");
    }
    RecordList<PkgMemberRecord>(*list).append(std::move(record));
    return SWM_OK;
}

PkgMemberRecord *TARN_SafeFindTarget(const SwmListHead *list, const char *name) noexcept
{
    if (list == nullptr || name == nullptr) {
        BASE_ERROR("TARN_SafeFindTarget: get null param.");
        return nullptr;
    }
    return ConstRecordList<PkgMemberRecord>(*list).find([name](const PkgMemberRecord &record) {
        return strcmp(name, record.fileName) == 0 || strcmp(name, record.subfileName) == 0;
    });
}

uint32_t TARN_SafeGetFileHash(int32_t fd, const PkgMemberRecord *record, char *digestOut,
                              uint32_t digestOutSize) noexcept
{
    if (record == nullptr || digestOut == nullptr) {
        return BASE_FAIL("TARN_SafeGetFileHash: get null param.");
    }
    if (lseek(fd, static_cast<off_t>(record->memberOffset), SEEK_SET) < 0) {
        return BASE_FAIL("TARN_SafeGetFileHash: lseek failed, errno:%d.", errno);
    }
    char digest[kDigestTextSize] = "";
    const uint32_t size = std::min(digestOutSize, static_cast<uint32_t>(sizeof(digest)));
    if (SWM_CalcFileSHA256ValueByFileHandleStr(fd, record->memberLength, digest, size) != 0) {
        return BASE_FAIL("TARN_SafeGetFileHash: calc hash failed.");
    }
    memcpy(digestOut, digest, size);
    return SWM_OK;
}

uint32_t TARN_SafeIsPkgFile(const char *path) noexcept
{
    if (path == nullptr) {
        return 0;
    }
    for (const char *suffix : {".cc", ".CC", ".ccx", ".cch"}) {
        if (SWM_IsPostfixString(path, suffix) != 0) {
            return 1;
        }
    }
    return 0;
}

uint32_t TARN_SafeCopyByDescripter(int32_t srcFd, int32_t dstFd, uint32_t length) noexcept
{
    const auto buffer = allocate<uint8_t>(kCopyChunk);
    if (buffer == nullptr) {
        return BASE_FAIL("TARN_SafeCopyByDescripter: malloc buffer failed, errno:%d.", errno);
    }
    for (uint32_t remaining = length; remaining > 0;) {
        clearBytes(buffer.get(), kCopyChunk);
        const uint32_t chunk = remaining < kCopyChunk ? remaining : kCopyChunk;
        const int32_t got = SWM_Read(srcFd, buffer.get(), chunk);
        if (got != static_cast<int32_t>(chunk)) {
            return BASE_FAIL("TARN_SafeCopyByDescripter: read failed, need(%u) read(%d), errno:%d.", chunk, got, errno);
        }
        const int32_t put = SWM_Write(dstFd, buffer.get(), chunk);
        if (put != static_cast<int32_t>(chunk)) {
            return BASE_FAIL("TARN_SafeCopyByDescripter: write failed, need(%d) write(%d), errno:%d.",
                             static_cast<int>(chunk), put, errno);
        }
        remaining -= chunk;
    }
    return SWM_OK;
}

// ---- Work directories ----

uint32_t TARN_SafeGetWorkdir(uint32_t module, char *buffer, uint32_t bufferSize) noexcept
{
    if (buffer == nullptr) {
        return BASE_FAIL("TARN_SafeGetWorkdir: get null param.");
    }
    const char *word = moduleWord(module);
    const uint32_t pid = processId();
    if (!keepIfFormatted(sprintf_s(buffer, bufferSize, "%s/%s_%u", kWorkdirBase, word, pid), buffer, bufferSize)) {
        return BASE_FAIL("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", word, pid);
    }
    return SWM_OK;
}

uint32_t TARN_SafeCreateWorkdir(uint32_t module) noexcept
{
    char workdir[kPathSize] = "";
    if (TARN_SafeGetWorkdir(module, workdir, sizeof(workdir)) != SWM_OK) {
        return BASE_FAIL("TARN_SafeCreateWorkdir: module(%u) get workdir failed.", module);
    }
    if (TARN_IsDirExist(workdir) != 0) {
        TARN_SafeDeleteWorkdir(module);
    }
    if (TARN_MkDirRecursive(workdir) != 0) {
        return BASE_FAIL("TARN_SafeCreateWorkdir: create workdir(%s) failed.", workdir);
    }
    return SWM_OK;
}

void TARN_SafeDeleteWorkdir(uint32_t module) noexcept
{
    char workdir[kPathSize] = "";
    if (TARN_SafeGetWorkdir(module, workdir, sizeof(workdir)) != SWM_OK) {
        BASE_ERROR("TARN_SafeDeleteWorkdir: module(%u) get workdir failed.", module);
        return;
    }
    // Anyone may have planted a link of this guessable name: what it points to is not ours to empty.
    if (!isLink(workdir)) {
        SafeDeleteTempFile(workdir, kSignedListName);
        SafeDeleteTempFile(workdir, kSignatureName);
    }
    if (rmdir(workdir) != 0) {
        BASE_ERROR("TARN_SafeDeleteWorkdir: remove workdir(%s) failed, errno:%d.", workdir, errno);
    }
}

void SafeDeleteTempFile(const char *dir, const char *name) noexcept
{
    if (isNullOrEmpty(dir) || isNullOrEmpty(name)) {
        BASE_ERROR("SafeDeleteTempFile: get null param.");
        return;
    }
    char path[kPathSize] = "";
    if (!formatPath(path, sizeof(path), dir, name)) {
        BASE_ERROR("SafeDeleteTempFile: sprintf %s/%s failed.", dir, name);
        return;
    }
    if (unlink(path) != 0 && errno != ENOENT) {
        BASE_ERROR("SafeDeleteTempFile: unlink %s failed, errno:%d.", path, errno);
    }
}

// ---- Signed file list ----

uint32_t TARN_SafeCacheSignedFile(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("TARN_SafeCacheSignedFile: get null param.");
    }
    UniqueStream stream;
    const uint32_t status = openStream(path, "r", stream);
    if (status != 0) {
        return BASE_FAIL("TARN_SafeCacheSignedFile: open filelist(%s) failed, ret:%u, errno:%d.", path, status, errno);
    }
    const UniqueProfile profile(SWM_IniLoadProfile(stream.get()));
    stream.reset();
    if (profile == nullptr) {
        return BASE_FAIL("TARN_SafeCacheSignedFile: load filelist %s failed.", path);
    }
    for (const SwmIniSection *section = profile.get(); section != nullptr;) {
        if (section->keys == nullptr) {
            // A section without keys is never left: its list must not pass for a shorter one. Yielding keeps the loop
            // from being compiled away.
            sched_yield();
            continue;
        }
        SignedFileRecord *record = nullptr;
        if (SafeParseFileSection(section->keys, &record) != SWM_OK) {
            return BASE_FAIL("TARN_SafeCacheSignedFile: parse section failed.");
        }
        RecordList<SignedFileRecord>(*list).append(HeapBlock<SignedFileRecord>(record));
        section = section->next;
    }
    return SWM_OK;
}

uint32_t SafeParseFileSection(const SwmIniKey *keys, SignedFileRecord **recordOut) noexcept
{
    if (recordOut == nullptr) {
        return BASE_FAIL("SafeParseFileSection: get null param.");
    }
    auto record = allocate<SignedFileRecord>();
    if (record == nullptr) {
        return BASE_FAIL("SafeParseFileSection: malloc failed, errno:%d.", errno);
    }
    if (memset_s(record.get(), sizeof(SignedFileRecord), 0, sizeof(SignedFileRecord)) != 0) {
        return BASE_FAIL("SafeParseFileSection: memset failed.");
    }
    // A value that is missing or too long leaves its field empty: such a record never matches or never verifies.
    static_cast<void>(SafeGetKeyValue(keys, "FILENAME", record->fileName, sizeof(record->fileName)));
    static_cast<void>(SafeGetKeyValue(keys, "SHA256-DIGEST", record->digest, sizeof(record->digest)));
    *recordOut = record.release();
    return SWM_OK;
}

uint32_t SafeGetKeyValue(const SwmIniKey *keys, const char *key, char *out, uint32_t outSize) noexcept
{
    if (isNullOrEmpty(key) || out == nullptr) {
        return BASE_FAIL("SafeGetKeyValue: get null param.");
    }
    for (const SwmIniKey *item = keys; item != nullptr; item = item->next) {
        if (strcmp(item->name, key) != 0) {
            continue;
        }
        if (item->value == nullptr) {
            break;
        }
        if (!formatText(out, outSize, item->value)) {
            return BASE_FAIL("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", key, item->value);
        }
        return SWM_OK;
    }
    return BASE_FAIL("SafeGetKeyValue: no value, key(%s).", key);
}
