// CC descriptions: which packages a CC file includes, its start-up flag, format and version.
#include <cstring>
#include <unistd.h>

#include <tarn_basic/path.h>
#include <tarn_basic/text.h>
#include <tarn_boot/container.h>
#include <tarn_boot/descriptor.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/log.h"
#include "common/record_list.h"

using namespace tarn;

namespace {

using PackageList = RecordList<PkgStructureRecord>;

constexpr size_t kNameSize = sizeof(PkgStructureRecord::packageName);
constexpr size_t kDirSize = 256;
constexpr size_t kIncludeSize = 256;
constexpr uint32_t kDescMode = 0640;

constexpr char kFormatKey[] = "package_format_ver";
constexpr char kStartupKey[] = "is_startup";
constexpr char kVersionKey[] = "version";
constexpr char kIncludeKey[] = "cc_include";

constexpr char kDescMember[] = "package_desc.txt";
constexpr char kDescDir[] = "/tmp";
constexpr char kDescPath[] = "/tmp/package_desc.txt";

uint32_t failOn(const char *key, const char *descPath)
{
    return BASE_FAIL("get %s from cc description file failed. file: %s.", key, descPath);
}

uint32_t readCcFileName(const char *ccPath, CcInfo &info)
{
    char dir[kDirSize] = "";
    char name[sizeof(info.ccFileName)] = "";
    const uint32_t status = SWM_GetDirAndBaseName(ccPath, dir, sizeof(dir), name, sizeof(name));
    if (status == 0) {
        memcpy(info.ccFileName, name, sizeof(name));
    }
    return status;
}

} // namespace

uint32_t SWM_GetCcInfoFromCcDesc(const char *ccPath, const char *descPath, CcInfo *info) noexcept
{
    if (isNullOrEmpty(ccPath) || isNullOrEmpty(descPath) || info == nullptr) {
        return BASE_FAIL("SWM_GetCcInfoFromCcDesc: get null param.");
    }
    if (readCcFileName(ccPath, *info) != 0) {
        // The description's path, not the CC file's: callers know the line so.
        return BASE_FAIL("get cc file name failed. full path: %s.", descPath);
    }
    if (SWM_GetSecValueFromDesc(descPath, kFormatKey, info->formatVersion, sizeof(info->formatVersion)) != SWM_OK) {
        return failOn(kFormatKey, descPath);
    }
    if (SWM_GetIsStartupFromCcDesc(descPath, &info->startupFlag) != SWM_OK) {
        return failOn(kStartupKey, descPath);
    }
    if (SWM_GetSecValueFromDesc(descPath, kVersionKey, info->version, sizeof(info->version)) != SWM_OK) {
        return failOn(kVersionKey, descPath);
    }
    if (SWM_GetAllPackageStructureFromCcDesc(descPath, &info->includedPackages) != SWM_OK) {
        return failOn(kIncludeKey, descPath);
    }
    return SWM_OK;
}

uint32_t SWM_GetIsStartupFromCcDesc(const char *descPath, uint32_t *startupFlag) noexcept
{
    if (isNullOrEmpty(descPath) || startupFlag == nullptr) {
        return BASE_FAIL("SWM_GetIsStartupFromCcDesc: get null param.");
    }
    char value[kNameSize] = "";
    if (SWM_GetSecValueFromDesc(descPath, kStartupKey, value, sizeof(value)) != SWM_OK) {
        return SWM_FAIL;
    }
    if (SWM_IsStringEqual(value, "yes") != 0) {
        *startupFlag = 1;
        return SWM_OK;
    }
    if (SWM_IsStringEqual(value, "no") != 0) {
        *startupFlag = 0;
        return SWM_OK;
    }
    return SWM_FAIL;
}

uint32_t SWM_GetAllPackageStructureFromCcDesc(const char *descPath, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(descPath) || list == nullptr) {
        return BASE_FAIL("SWM_GetAllPackageStructureFromCcDesc: get null param.");
    }
    PackageList(*list).initialise();
    char included[kIncludeSize] = "";
    Pieces names;
    if (SWM_GetSecValueFromDesc(descPath, kIncludeKey, included, sizeof(included)) != SWM_OK ||
        SWM_StringTrim(included) != 0 || !names.split(included, ";")) {
        return SWM_FAIL;
    }
    for (uint32_t index = 0; index < names.count(); ++index) {
        char name[kNameSize] = "";
        printField(name, names[index]);
        if (SWM_AddPkgToCcIncludeStructure(list, name) != SWM_OK) {
            SWM_FreePackageStructureRecord(list);
            return SWM_FAIL;
        }
    }
    return SWM_OK;
}

uint32_t SWM_AddPkgToCcIncludeStructure(SwmListHead *list, const char *packageName) noexcept
{
    if (list == nullptr || packageName == nullptr) {
        return BASE_FAIL("SWM_AddPkgToCcIncludeStructure: get null param.");
    }
    PackageList packages(*list);
    const auto isNamed = [=](const PkgStructureRecord &record) {
        return SWM_IsSamePkgStruRecord(record.packageName, packageName) != 0;
    };
    if (packages.find(isNamed) != nullptr) {
        return SWM_OK;
    }
    HeapBlock<PkgStructureRecord> record = allocate<PkgStructureRecord>();
    if (!record) {
        return SWM_FAIL;
    }
    clearBytes(record.get(), sizeof(PkgStructureRecord));
    if (memcpy_s(record->packageName, kNameSize, packageName, kNameSize) != 0) {
        COMMON_WARNING("memcpy failed: %s, line: %d", __func__, static_cast<int>(__LINE__));
        memset(record->packageName, 0, kNameSize);
    }
    packages.append(std::move(record));
    return SWM_OK;
}

uint32_t SWM_IsSamePkgStruRecord(const char *nameA, const char *nameB) noexcept
{
    return static_cast<uint32_t>(nameA != nullptr && nameB != nullptr && memcmp(nameA, nameB, kNameSize) == 0);
}

void SWM_FreePackageStructureRecord(SwmListHead *list) noexcept
{
    if (list != nullptr) {
        PackageList(*list).release();
    }
}

uint32_t SWM_IsCcFormatVerNotMy(const char *ccPackagePath) noexcept
{
    constexpr uint32_t kCurrent = 0;
    constexpr uint32_t kOther = 1;
    if (isNullOrEmpty(ccPackagePath)) {
        return BASE_FAIL("SWM_IsCcFormatVerNotMy: get null param.");
    }
    if (TARN_ExtractFromPackageAndChmod(ccPackagePath, kDescMember, kDescDir, kDescMode) != TARN_EXTRACT_OK) {
        SYSPKG_ERROR("Extract %s to %s from %s failed, the cc file may old format, return ok.", kDescMember, kDescDir,
                     ccPackagePath);
        return kOther;
    }
    char version[kNameSize] = "";
    uint32_t result = kOther;
    if (SWM_GetSecValueFromDesc(kDescPath, kFormatKey, version, sizeof(version)) != SWM_OK) {
        static_cast<void>(failOn(kFormatKey, kDescPath));
    } else if (SWM_IsStringEqual(version, "1.3") != 0 || SWM_IsPrefixString(version, "1.3.") != 0) {
        result = kCurrent;
    }
    static_cast<void>(unlink(kDescPath));
    return result;
}
