// Any document as a database: every query and change ends, the queries agree with each other, and what a change has
// saved can be read again.
#include "fuzz_target.h"

#include <cstring>
#include <string>

#include <tarn_boot/database.h>

using namespace tarn::fuzz;

namespace {

void copyName(char (&out)[128], const char *name)
{
    snprintf(out, sizeof(out), "%s", name);
}

// The number of packages, or -1 when the document is no database.
int64_t countPackages(const char *path)
{
    uint32_t count = 0;
    return SWM_GetPackageNodeNum(path, &count) == SWM_OK ? count : -1;
}

void checkListing(const char *path)
{
    SwmPackageInfo *packages = nullptr;
    uint32_t count = 0;
    const uint32_t status = SWM_MallocAndGetAllPackageInfo(path, &packages, &count);
    if (status != SWM_OK) {
        require(packages == nullptr, "a failed listing hands out nothing");
        require(status != SWM_NOT_INSTALLED || countPackages(path) == 0, "a listing without packages counts none");
        return;
    }
    require(count == countPackages(path), "the listing has every package");
    for (uint32_t i = 0; i < count; ++i) {
        const SwmPackageInfo &package = packages[i];
        require(strnlen(package.PackageName, sizeof(package.PackageName)) < sizeof(package.PackageName), "names end");
        SwmPackageInfo *chosen = nullptr;
        if (package.PackageName[0] != '\0') {
            require(SWM_MallocAndGetChosenPackageInfo(path, &chosen, package.PackageName, package.Version) == SWM_OK,
                    "a listed package is found");
            SWM_FreePackageInfo(chosen, 1);
            require(SWM_IsPackageInstalled(path, &package, SWM_MATCH_NAME_VERSION) == 1,
                    "a listed package is installed");
        }
    }
    SWM_FreePackageInfo(packages, count);
    SwmCcInfo *files = nullptr;
    uint32_t fileCount = 0;
    if (SWM_MallocAndGetAllCcInfo(path, &files, &fileCount) == SWM_OK) {
        require(fileCount > 0 && fileCount <= count, "there are no more CC files than packages");
        free(files);
    }
}

void checkChange(const char *path)
{
    SwmPackageInfo info = {};
    copyName(info.PackageName, "added");
    copyName(info.Version, "1");
    copyName(info.CcFile, "added.cc");
    const int64_t before = countPackages(path);
    const bool wasThere = SWM_IsPackageInstalled(path, &info, SWM_MATCH_NAME_VERSION) == 1;
    if (SWM_AddBasePackageInfo(path, &info, 1) == SWM_OK) {
        require(SWM_IsPackageInstalled(path, &info, SWM_MATCH_NAME_VERSION) == 1, "an added package is installed");
        require(countPackages(path) == before + (wasThere ? 0 : 1), "nothing else was added or lost");
    }
    SwmPatchInfo patch = {};
    copyName(patch.PatchName, "patch");
    static_cast<void>(SWM_AddPatchPackageInfo(path, info.PackageName, &patch));
    static_cast<void>(SWM_DelPatchPackageInfo(path, info.PackageName, patch.PatchName));
    static_cast<void>(SWM_DelBasePackageInfoByCcNameAndPath(path, "/a/b.cc"));
    if (SWM_DelBasePackageInfoByName(path, info.PackageName) == SWM_OK) {
        require(SWM_IsPackageInstalled(path, &info, SWM_MATCH_NAME) == 0, "a removed package is gone");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    file.assign(data, size);
    char name[128] = "untouched";
    static_cast<void>(SWM_ParseXmlBasePkgName(file.path(), name, sizeof(name)));
    require(strnlen(name, sizeof(name)) < sizeof(name), "the startup package's name ends");
    checkListing(file.path());
    checkChange(file.path());
    return 0;
}
