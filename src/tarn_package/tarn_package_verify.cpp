// Signed file lists read into digest records (docs/formats.md), and verification of packages and installed files by
// type.
#include <cstdlib>
#include <cstring>
#include <sched.h>
#include <utility>

#include <tarn_basic/crypto.h>
#include <tarn_basic/file.h>
#include <tarn_basic/ini.h>
#include <tarn_basic/path.h>
#include <tarn_basic/text.h>
#include <tarn_boot/container.h>
#include <tarn_boot/records.h>
#include <tarn_boot/verification.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/log.h"
#include "common/record_list.h"
#include "tarn_package/package_layout.h"

using namespace tarn;

namespace {

constexpr char kMainSection[] = "[MAIN FILE INFO]";
constexpr char kCreatorKey[] = "Create By";
constexpr char kCountKey[] = "FILENUM";
constexpr char kCreator[] = "Korvel Technology Inc.";
constexpr uint32_t kMaxFiles = 256;

constexpr uint32_t kBadList = 1;
constexpr uint32_t kCheckedType = 1;
constexpr size_t kJoinedSize = 256;
constexpr size_t kNumberSize = 32;

using DigestList = RecordList<FileDigestInfo>;

uint32_t toNumber(const char *text)
{
    return static_cast<uint32_t>(strtoul(text, nullptr, 0));
}

uint32_t checkCreator(const char *creator)
{
    if (SWM_IsStringEqual(creator, kCreator) == 0) {
        BASE_ERROR("[Verify package]vrify create by failed, info = %s", creator);
        return kBadList;
    }
    return SWM_OK;
}

uint32_t checkFileCount(uint32_t count)
{
    if (count - 1 >= kMaxFiles) {
        BASE_ERROR("[Verify package]File number(%u) is invalid", count);
        return SWM_E_FILE_COUNT;
    }
    return SWM_OK;
}

// Walks the sections for a loader; the profile goes before the failure is said.
uint32_t loadSections(SigFileListDigest &header, UniqueProfile profile)
{
    const uint32_t status = SWM_GetALLFileDigestInfoFromList(&header, profile.get());
    profile.reset();
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package]Get all file DigestInfo failed(%u)", status);
    }
    return status;
}

} // namespace

// ---- Signed file lists ----

uint32_t SWM_MallocSigFileListDigest(SigFileListDigest **header) noexcept
{
    if (header == nullptr) {
        BASE_ERROR("SWM_MallocSigFileListDigest: get null param.");
        return SWM_E_PARAM;
    }
    HeapBlock<SigFileListDigest> block = allocate<SigFileListDigest>();
    if (!block) {
        return SWM_E_NO_MEMORY;
    }
    clearBytes(block.get(), sizeof(SigFileListDigest));
    DigestList(block->fileDigests).initialise();
    *header = block.release();
    return SWM_OK;
}

void SWM_FreeSigFileListDigest(SigFileListDigest *header) noexcept
{
    if (header != nullptr) {
        SWM_ReleaseDigestList(&header->fileDigests);
        HeapBlock<SigFileListDigest>(header).reset();
    }
}

void SWM_ReleaseDigestList(SwmListNode *head) noexcept
{
    if (head != nullptr) {
        DigestList(*head).release();
    }
}

void SWM_GetOneKeyValueFromKeyList(const SwmIniKey *firstKey, const char *keyName, char *out, uint32_t outSize) noexcept
{
    if (isNullOrEmpty(keyName) || out == nullptr || outSize == 0) {
        BASE_ERROR("SWM_GetOneKeyValueFromKeyList: get null param.");
        return;
    }
    for (const SwmIniKey *item = firstKey; item != nullptr; item = item->next) {
        if (strcmp(item->name, keyName) == 0) {
            const char *value = item->value != nullptr ? item->value : "";
            copyText(out, outSize, value, outSize - 1);
            out[outSize - 1] = '\0';
            return;
        }
    }
}

uint32_t SWM_GetDigestInfoByInputKey(FileDigestInfo **record, const SwmIniKey *firstKey) noexcept
{
    if (record == nullptr) {
        BASE_ERROR("SWM_GetDigestInfoByInputKey: get null param.");
        return SWM_E_PARAM;
    }
    HeapBlock<FileDigestInfo> info = allocate<FileDigestInfo>();
    if (!info) {
        return SWM_E_NO_MEMORY;
    }
    clearBytes(info.get(), sizeof(FileDigestInfo));
    char type[kNumberSize] = "";
    SWM_GetOneKeyValueFromKeyList(firstKey, "FILETYPE", type, sizeof(type));
    info->fileType = toNumber(type);
    if (info->fileType == 0) {
        BASE_ERROR("[Verify package]File type is error");
        return kBadList;
    }
    SWM_GetOneKeyValueFromKeyList(firstKey, "FILENAME", info->fileName, sizeof(info->fileName));
    if (info->fileName[0] == '\0') {
        BASE_ERROR("[Verify package]get file name failed, or name len is 0");
        return kBadList;
    }
    SWM_GetOneKeyValueFromKeyList(firstKey, "SHA256-DIGEST", info->digest, sizeof(info->digest));
    if (info->digest[0] == '\0') {
        BASE_ERROR("[Verify package]get digest info failed, or digest len is 0");
        return kBadList;
    }
    *record = info.release();
    return SWM_OK;
}

uint32_t SWM_GetALLFileDigestInfoFromList(SigFileListDigest *header, const SwmIniSection *profile) noexcept
{
    if (header == nullptr || profile == nullptr) {
        BASE_ERROR("SWM_GetALLFileDigestInfoFromList: get null param.");
        return SWM_E_PARAM;
    }
    uint32_t files = 0;
    // The first section is the main one, whatever its name.
    for (const SwmIniSection *section = profile->next; section != nullptr;) {
        if (section->keys == nullptr) {
            // A section without keys is never left: its list must not pass for a shorter one. Yielding keeps the loop
            // from being compiled away.
            sched_yield();
            continue;
        }
        FileDigestInfo *record = nullptr;
        const uint32_t status = SWM_GetDigestInfoByInputKey(&record, section->keys);
        if (status != SWM_OK) {
            return status;
        }
        DigestList(header->fileDigests).append(HeapBlock<FileDigestInfo>(record));
        ++files;
        section = section->next;
    }
    if (files != header->fileCount) {
        BASE_INFO("[Verify package]Filelist info is not same, fileNum = %u, loop = %u", header->fileCount, files);
    }
    return SWM_OK;
}

// ---- Signed file lists: from a path ----

uint32_t SWM_GetALLFileDigestInfo(SigFileListDigest *header, const char *listPath) noexcept
{
    if (header == nullptr || isNullOrEmpty(listPath)) {
        BASE_ERROR("SWM_GetALLFileDigestInfo: get null param.");
        return SWM_E_PARAM;
    }
    UniqueStream stream;
    const uint32_t status = openStream(listPath, "r+", stream);
    if (status != 0) {
        return status;
    }
    UniqueProfile profile(SWM_IniLoadProfile(stream.get()));
    stream.reset();
    return profile ? loadSections(*header, std::move(profile)) : SWM_E_LIST_LOAD;
}

uint32_t SWM_GetSignatureFileListDigestInfo(SigFileListDigest *header, const char *listPath) noexcept
{
    if (header == nullptr || isNullOrEmpty(listPath)) {
        BASE_ERROR("SWM_GetSignatureFileListDigestInfo: get null param.");
        return kBadList;
    }
    uint32_t status = SWM_IniGetValue(listPath, kMainSection, kCreatorKey, header->creator, sizeof(header->creator));
    if (status != 0) {
        BASE_ERROR("[Verify package]get Create By description failed, Ret = %u", status);
        return kBadList;
    }
    if (checkCreator(header->creator) != SWM_OK) {
        return kBadList;
    }
    char count[kNumberSize] = "";
    status = SWM_IniGetValue(listPath, kMainSection, kCountKey, count, sizeof(count));
    if (status != 0) {
        return status;
    }
    header->fileCount = toNumber(count);
    status = checkFileCount(header->fileCount);
    return status != SWM_OK ? status : SWM_GetALLFileDigestInfo(header, listPath);
}

// ---- Signed file lists: from a text ----

uint32_t SWM_GetSignatureFileListMainInfo(const SwmIniSection *profile, SigFileListDigest *header) noexcept
{
    if (profile == nullptr || header == nullptr) {
        BASE_ERROR("SWM_GetSignatureFileListMainInfo: get null param.");
        return SWM_E_PARAM;
    }
    if (SWM_IniProfileGetValue(profile, kMainSection, kCreatorKey, header->creator, sizeof(header->creator)) != 0) {
        BASE_ERROR("[Verify package]get Create By description failed");
        return kBadList;
    }
    char count[kNumberSize] = "";
    if (SWM_IniProfileGetValue(profile, kMainSection, kCountKey, count, sizeof(count)) != 0) {
        BASE_ERROR("[Verify package]get filenum failed");
        return kBadList;
    }
    header->fileCount = toNumber(count);
    return SWM_OK;
}

uint32_t SWM_CheckSignatureFileListMainInfo(const SigFileListDigest *header) noexcept
{
    if (header == nullptr) {
        BASE_ERROR("SWM_CheckSignatureFileListMainInfo: get null param.");
        return SWM_E_PARAM;
    }
    const uint32_t status = checkCreator(header->creator);
    return status != SWM_OK ? status : checkFileCount(header->fileCount);
}

uint32_t SWM_GetSignatureFileListDigestInfoFromMem(const char *listText, SigFileListDigest *header) noexcept
{
    if (listText == nullptr || header == nullptr) {
        BASE_ERROR("SWM_GetSignatureFileListDigestInfoFromMem: get null param.");
        return SWM_E_PARAM;
    }
    UniqueProfile profile(SWM_IniLoadProfileFromFileMem(listText));
    if (!profile) {
        return SWM_E_LIST_LOAD;
    }
    uint32_t status = SWM_GetSignatureFileListMainInfo(profile.get(), header);
    if (status == SWM_OK) {
        status = SWM_CheckSignatureFileListMainInfo(header);
    }
    return status != SWM_OK ? status : loadSections(*header, std::move(profile));
}

uint32_t SWM_GetSignatureFileListDigestInfoFromFile(const char *listText, SigFileListDigest **header) noexcept
{
    if (listText == nullptr || header == nullptr) {
        BASE_ERROR("SWM_GetSignatureFileListDigestInfoFromFile: get null param.");
        return SWM_E_PARAM;
    }
    *header = nullptr;
    SigFileListDigest *loaded = nullptr;
    uint32_t status = SWM_MallocSigFileListDigest(&loaded);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package] Failed to malloc digest info");
        return status;
    }
    status = SWM_GetSignatureFileListDigestInfoFromMem(listText, loaded);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package]Get all file Digest Info failed(0x%x)", status);
        SWM_FreeSigFileListDigest(loaded);
        return status;
    }
    *header = loaded;
    return SWM_OK;
}

// ---- Verification ----

uint32_t SWM_IsPackageTypeValid(uint32_t type) noexcept
{
    return static_cast<uint32_t>(type < 5);
}

uint32_t SWM_IsPatOrModPackage(const char *typeText) noexcept
{
    const auto type = typeText == nullptr ? 0 : static_cast<int32_t>(strtol(typeText, nullptr, 10));
    return static_cast<uint32_t>(type == 3 || type == 4);
}

uint32_t SWM_IsNeedCmsCheck() noexcept
{
    return 1;
}

// Two of the four suffixes that TARN_SafeIsPkgFile knows: callers rely on it.
uint32_t SWM_IsPkgFile(const char *fileName) noexcept
{
    return static_cast<uint32_t>(fileName != nullptr && (SWM_IsPostfixString(fileName, ".cc") != 0 ||
                                                         SWM_IsPostfixString(fileName, ".CC") != 0));
}

uint32_t SWM_VerifyPackage(uint32_t type, const char *packagePath) noexcept
{
    if (isNullOrEmpty(packagePath)) {
        return SWM_E_PARAM;
    }
    if (SWM_IsNeedCmsCheck() == 0) {
        return SWM_OK;
    }
    BASE_INFO("[Verify package]Begin verify, type:%u, path:%s", type, packagePath);
    if (strlen(packagePath) >= kPathSize) {
        COMMON_ERROR("[Verify package]Package path(%s) is invalid", packagePath);
        return SWM_E_PARAM;
    }
    if (SWM_IsFileExist(packagePath) == 0) {
        COMMON_ERROR("[Verify package]Package file(%s) does not exist.", packagePath);
        return SWM_E_FILE_MISSING;
    }
    const uint32_t status = SWM_VerifyPackageByType(type, packagePath);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package]Verify package failed:0x%x, type:%u, path:%s", status, type, packagePath);
        return SWM_E_VERIFY;
    }
    BASE_INFO("[Verify package]Verify package success type:%u, path:%s", type, packagePath);
    return SWM_OK;
}

uint32_t SWM_VerifyPackageByType(uint32_t type, const char *packagePath) noexcept
{
    return type == kCheckedType ? TARN_PackageVerify(packagePath) : SWM_E_PARAM;
}

uint32_t SWM_VerifyFileInFileList(uint32_t type, const char *fileListPath) noexcept
{
    if (isNullOrEmpty(fileListPath)) {
        return SWM_E_PARAM;
    }
    BASE_INFO("[Verify File]Begin verify, type:%u, path:%s", type, fileListPath);
    if (type < 1 || type > 3) {
        BASE_ERROR("[Verify File]Verify file list type is invalid");
        return SWM_E_PARAM;
    }
    if (strlen(fileListPath) >= kPathSize) {
        BASE_ERROR("[Verify File]file list path is invalid");
        return SWM_E_PARAM;
    }
    if (SWM_IsFileExist(fileListPath) == 0) {
        BASE_ERROR("[Verify File]file list does not exist.");
        return SWM_E_FILE_MISSING;
    }
    const uint32_t status = SWM_VerifyFileInFileListByType(type, fileListPath);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify File]Verify file failed:0x%x, type:%u, path:%s", status, type, fileListPath);
        return SWM_E_VERIFY;
    }
    BASE_INFO("[Verify File]Verify file in filelist success type:%u, path:%s", type, fileListPath);
    return SWM_OK;
}

uint32_t SWM_VerifyFileInFileListByType(uint32_t type, const char *fileListPath) noexcept
{
    return type == kCheckedType ? SWM_VerifyFilesInBoardFileList(fileListPath) : SWM_E_PARAM;
}

namespace {

uint32_t verifyFiles(const SwmListHead &files, const char *function)
{
    char path[kJoinedSize] = "";
    for (const FilelistTxtNode &node : ConstRecordList<FilelistTxtNode>(files)) {
        const FilelistTxtRecord &file = node.record;
        warnIfCut(snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s", file.installDir, file.fileName), function);
        if (file.isDir != 0) {
            continue;
        }
        if (SWM_SHA_IsFileDamaged2(path, file.digest, sizeof(file.digest)) != 0) {
            BASE_ERROR("[Verify package]verify hash value failed, path:%s", path);
            return kBadList;
        }
        clearBytes(path, sizeof(path), function);
    }
    return SWM_OK;
}

} // namespace

uint32_t SWM_VerifyFilesInBoardFileList(const char *boardFileListPath) noexcept
{
    if (isNullOrEmpty(boardFileListPath)) {
        return SWM_FAIL;
    }
    LocalList<FilelistTxtNode> files;
    // Loading creates the directories that the list names, here too: callers rely on it.
    if (SWM_GetAllRecordFromFilelistTxt(boardFileListPath, &files.head) != SWM_OK) {
        return kBadList;
    }
    return files.records.empty() ? SWM_E_PARAM : verifyFiles(files.head, __func__);
}

uint32_t SWM_VerifyDigitalSignatureFileList(const char *directory) noexcept
{
    if (isNullOrEmpty(directory)) {
        return SWM_FAIL;
    }
    char list[kJoinedSize] = "";
    char signature[kJoinedSize] = "";
    warnIfCut(snprintf_s(list, sizeof(list), sizeof(list) - 1, "%s/%s", directory, kSignedListName));
    warnIfCut(snprintf_s(signature, sizeof(signature), sizeof(signature) - 1, "%s/%s", directory, kSignatureName));
    if (SWM_IsFileExist(list) == 0 || SWM_IsFileExist(signature) == 0) {
        return SWM_E_FILE_MISSING;
    }
    const uint32_t status = SWM_VerifyPssCms(list, signature);
    BASE_INFO("[Verify package]src:%s, cms:%s, ret = %u", list, signature, status);
    return status;
}

uint32_t SWM_IsFileExistInSigContent(const char *fileName, const char *listText) noexcept
{
    if (isNullOrEmpty(fileName) || listText == nullptr) {
        return 0;
    }
    SigFileListDigest *list = nullptr;
    const uint32_t status = SWM_GetSignatureFileListDigestInfoFromFile(listText, &list);
    if (status != SWM_OK) {
        BASE_ERROR("[Verify package]get signature file digest info failed(0x%x).", status);
        return 0;
    }
    const bool isListed = ConstRecordList<FileDigestInfo>(list->fileDigests).find([=](const FileDigestInfo &info) {
        return strcmp(info.fileName, fileName) == 0;
    }) != nullptr;
    if (!isListed) {
        BASE_ERROR("[Verify package]Can not find file %s in sig file list.", fileName);
    }
    SWM_FreeSigFileListDigest(list);
    return static_cast<uint32_t>(isListed);
}
