// The marker "bootlocal" in a package's version directory: boot this package from local storage.
#include <tarn_basic/device.h>
#include <tarn_basic/file.h>
#include <tarn_basic/pool.h>
#include <tarn_boot/database.h>

#include "common/bounded_text.h"
#include "common/log.h"

using namespace tarn;

namespace {

constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;

constexpr char kOwner[] = "swm";
constexpr uint32_t kFallbackUid = 2000;
constexpr char kGroup[] = "quorim";
constexpr uint32_t kFallbackGid = 2001;
constexpr uint32_t kMarkerMode = 0640;

} // namespace

uint32_t SWM_GetPkgBootlocalPath(const char *pkgName, const char *pkgVer, char *buffer, uint32_t length) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || buffer == nullptr || length == 0) {
        BASE_ERROR("SWM_GetPkgBootlocalPath: get null param.");
        return SWM_OK;
    }
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVersionPath(pkgName, pkgVer, dir, sizeof(dir)));
    warnIfCut(snprintf_s(buffer, length, length - 1, "%s/bootlocal", dir));
    return SWM_OK;
}

uint32_t SWM_CreatePkgBootlocalFile(const char *pkgName, const char *pkgVer) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr) {
        return BASE_FAIL("SWM_CreatePkgBootlocalFile: get null param.");
    }
    char path[kPathSize] = "";
    static_cast<void>(SWM_GetPkgBootlocalPath(pkgName, pkgVer, path, sizeof(path)));
    BASE_INFO("Create bootlocal file[%s].", path);
    const uint32_t uid = TARN_GetUidByName(kOwner, kFallbackUid);
    const uint32_t gid = TARN_GetGidByName(kGroup, kFallbackGid);
    const uint32_t status = SWM_CreateKeyFile(path, uid, gid, kMarkerMode);
    if (status != 0) {
        return BASE_FAIL("Failed to create bootlocal file[%s], ret = %d.", path, static_cast<int>(status));
    }
    return SWM_OK;
}

uint32_t SWM_RemovePkgBootlocalFile(const char *pkgName, const char *pkgVer) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr) {
        return BASE_FAIL("SWM_RemovePkgBootlocalFile: get null param.");
    }
    char path[kPathSize] = "";
    static_cast<void>(SWM_GetPkgBootlocalPath(pkgName, pkgVer, path, sizeof(path)));
    BASE_INFO("Remove bootlocal file[%s].", path);
    if (SWM_DelFile(path) != 0) {
        return BASE_FAIL("Failed to remove bootlocal file[%s].", path);
    }
    return SWM_OK;
}
