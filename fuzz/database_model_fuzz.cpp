// A sequence of changes, one per two bytes, on a database and on a plain model of it: after each one both hold the
// same.
#include "fuzz_target.h"

#include <algorithm>
#include <string>
#include <vector>

#include <tarn_boot/database.h>

using namespace tarn::fuzz;

namespace {

struct Package {
    std::string name;
    std::string version;
    std::string ccFile;
    std::vector<std::string> patches;
    std::vector<std::string> mods;
};

using Model = std::vector<Package>;

template <size_t size> void fill(char (&out)[size], const std::string &text)
{
    snprintf(out, size, "%s", text.c_str());
}

Package *findPackage(Model &model, const std::string &name, const std::string *version)
{
    const auto found = std::find_if(model.begin(), model.end(), [&](const Package &package) {
        return package.name == name && (version == nullptr || package.version == *version);
    });
    return found != model.end() ? &*found : nullptr;
}

class Run {
public:
    explicit Run(const char *databasePath) : path(databasePath)
    {
        require(SWM_CreateXmlFile(path) == SWM_OK, "a database can be made");
    }

    void step(uint8_t operation, uint8_t choice)
    {
        const std::string name = "p" + std::to_string(choice & 3);
        const std::string version = std::to_string(choice >> 2 & 3);
        const std::string ccFile = "c" + std::to_string(choice >> 4 & 3) + ".cc";
        const std::string element = "e" + std::to_string(choice >> 6);
        switch (operation % 8) {
        case 0:
            return addPackage(name, version, ccFile, false);
        case 1:
            return addPackage(name, version, ccFile, true);
        case 2:
            return addPatch(name, element);
        case 3:
            return addMod(name, element);
        case 4:
            return removePackage(name, version, ccFile);
        case 5:
            require(SWM_DelBasePackageInfoByName(path, name.c_str()) == SWM_OK, "packages of a name are removed");
            std::erase_if(model, [&](const Package &package) { return package.name == name; });
            return;
        case 6:
            require(SWM_DelBasePackageInfoByCcNameAndPath(path, ("/cc/" + ccFile).c_str()) == SWM_OK,
                    "packages of a CC file are removed");
            std::erase_if(model, [&](const Package &package) { return package.ccFile == ccFile; });
            return;
        default:
            removeElements(name, element);
        }
    }

    void check() const
    {
        uint32_t count = 0;
        require(SWM_GetPackageNodeNum(path, &count) == SWM_OK && count == model.size(),
                "as many packages as the model");
        const bool hasElements = std::any_of(model.begin(), model.end(), [](const Package &package) {
            return !package.patches.empty() || !package.mods.empty();
        });
        SwmPackageInfo *packages = nullptr;
        const uint32_t status = SWM_MallocAndGetAllPackageInfo(path, &packages, &count);
        require(status == (model.empty() ? SWM_NOT_INSTALLED
                           : hasElements ? SWM_FAIL
                                         : SWM_OK),
                "a database with patches or mods as they are written cannot be listed");
        if (status == SWM_OK) {
            for (uint32_t i = 0; i < count; ++i) {
                require(packages[i].PackageName == model[i].name && packages[i].Version == model[i].version &&
                            packages[i].CcFile == model[i].ccFile,
                        "packages keep their order and values");
            }
            SWM_FreePackageInfo(packages, count);
        }
    }

private:
    void addPackage(const std::string &name, const std::string &version, const std::string &ccFile, bool withVersion)
    {
        SwmPackageInfo info = {};
        fill(info.PackageName, name);
        fill(info.Version, version);
        fill(info.CcFile, ccFile);
        fill(info.CcPath, "/cc");
        require(SWM_AddBasePackageInfo(path, &info, withVersion ? 1 : 0) == SWM_OK, "a package is added or updated");
        if (Package *old = findPackage(model, name, withVersion ? &version : nullptr); old != nullptr) {
            old->version = version;
            old->ccFile = ccFile;
        } else {
            model.push_back({name, version, ccFile, {}, {}});
        }
    }

    void addPatch(const std::string &name, const std::string &element)
    {
        SwmPatchInfo patch = {};
        fill(patch.PatchName, element);
        Package *package = findPackage(model, name, nullptr);
        require((SWM_AddPatchPackageInfo(path, name.c_str(), &patch) == SWM_OK) == (package != nullptr),
                "a patch is added to an installed package");
        if (package != nullptr) {
            package->patches.push_back(element);
        }
    }

    void addMod(const std::string &name, const std::string &element)
    {
        SwmModInfo mod = {};
        fill(mod.ModName, element);
        Package *package = findPackage(model, name, nullptr);
        require((SWM_AddModPackageInfo(path, name.c_str(), &mod) == SWM_OK) == (package != nullptr),
                "a mod is added to an installed package");
        if (package != nullptr) {
            package->mods.push_back(element);
        }
    }

    void removePackage(const std::string &name, const std::string &version, const std::string &ccFile)
    {
        SwmPackageInfo key = {};
        fill(key.PackageName, name);
        fill(key.Version, version);
        fill(key.CcPath, ccFile);
        require(SWM_DelBasePackageInfo(path, &key) == SWM_OK, "a package is removed if it is there");
        const auto found = std::find_if(model.begin(), model.end(), [&](const Package &package) {
            return package.name == name && package.version == version && package.ccFile == ccFile;
        });
        if (found != model.end()) {
            model.erase(found);
        }
    }

    void removeElements(const std::string &name, const std::string &element)
    {
        require(SWM_DelPatchPackageInfo(path, name.c_str(), element.c_str()) == SWM_OK, "a patch is removed");
        require(SWM_DelModPackageInfo(path, name.c_str(), element.c_str()) == SWM_OK, "a mod is removed");
        if (Package *package = findPackage(model, name, nullptr); package != nullptr) {
            for (std::vector<std::string> *elements : {&package->patches, &package->mods}) {
                const auto found = std::find(elements->begin(), elements->end(), element);
                if (found != elements->end()) {
                    elements->erase(found);
                }
            }
        }
    }

    const char *path;
    Model model;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr size_t kMaxSteps = 32;
    static const ScratchFile file;
    Run run(file.path());
    for (size_t at = 0; at + 1 < size && at < 2 * kMaxSteps; at += 2) {
        run.step(data[at], data[at + 1]);
        run.check();
    }
    return 0;
}
