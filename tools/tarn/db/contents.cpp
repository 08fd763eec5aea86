// Fields of the database's elements and their shape in reports.
#include "db/contents.h"

#include <algorithm>

#include <tarn_boot/database.h>

#include "json.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr DbField kBase[] = {
    {"PackageName", "name", sizeof(SwmPackageInfo::PackageName)},
    {"Version", "version", sizeof(SwmPackageInfo::Version)},
    {"CcFile", "cc_file", sizeof(SwmPackageInfo::CcFile)},
    {"CcPath", "cc_path", sizeof(SwmPackageInfo::CcPath)},
    {"InstallPath", "install_path", sizeof(SwmPackageInfo::InstallPath)},
    {"PkgPoolPath", "pool_path", sizeof(SwmPackageInfo::PkgPoolPath)},
    {"ActiveTime", "active_time", sizeof(SwmPackageInfo::ActiveTime)},
};
static_assert(std::size(kBase) == kBaseFields);

constexpr DbField kPatch[] = {
    {"PatchName", "name", sizeof(SwmPatchInfo::PatchName)},
    {"Version", "version", sizeof(SwmPatchInfo::Version)},
    {"SrcFilePath", "source", sizeof(SwmPatchInfo::SrcFilePath)},
    {"InstallPath", "install_path", sizeof(SwmPatchInfo::InstallPath)},
    {"PkgPoolPath", "pool_path", sizeof(SwmPatchInfo::PkgPoolPath)},
    {"PatchPath", "patch_path", sizeof(SwmPatchInfo::SrcFilePath)},
};
static_assert(std::size(kPatch) == kListedModName);

constexpr DbField kMod[] = {
    {"ModName", "name", sizeof(SwmModInfo::ModName)},
    {"Version", "version", sizeof(SwmModInfo::Version)},
    {"SrcFilePath", "source", sizeof(SwmModInfo::SrcFilePath)},
    {"InstallPath", "install_path", sizeof(SwmModInfo::InstallPath)},
    {"PkgPoolPath", "pool_path", sizeof(SwmModInfo::PkgPoolPath)},
    {"PatchPath", "patch_path", sizeof(SwmModInfo::SrcFilePath)},
    {"PatchName", "patch_name", sizeof(SwmModInfo::ModName)},
};
static_assert(std::size(kMod) == kPartFields);

Json partsJson(const DbPackage &package, PartKind kind)
{
    Json json = Json::array();
    for (const DbRecord &part : package.parts(kind)) {
        json.push_back(recordJson(part, partFields(kind)));
    }
    return json;
}

} // namespace

std::span<const DbField> baseFields()
{
    return kBase;
}

std::span<const DbField> partFields(PartKind kind)
{
    return kind == PartKind::Patch ? std::span<const DbField>(kPatch) : std::span<const DbField>(kMod);
}

const char *partWord(PartKind kind)
{
    return kind == PartKind::Patch ? "patch" : "mod";
}

const DbProblem *DbReading::damage() const
{
    const auto found =
        std::find_if(problems.begin(), problems.end(), [](const DbProblem &problem) { return problem.isDamage; });
    return found == problems.end() ? nullptr : &*found;
}

std::string asLibraryReads(const DbRecord &record, std::span<const DbField> fields, size_t field)
{
    const std::string text = record.text(field);
    return text.size() < fields[field].room ? text : "";
}

// A leaf that is missing is null; those that only the library's listing reads are left out then.
Json recordJson(const DbRecord &record, std::span<const DbField> fields)
{
    Json json = {{"line", record.line}};
    const bool isPart = fields.data() != kBase;
    for (size_t index = 0; index < fields.size(); ++index) {
        const bool isForListing = isPart && index >= kPatchPath;
        if (record.values[index]) {
            json[fields[index].key] = *record.values[index];
        } else if (!isForListing) {
            json[fields[index].key] = nullptr;
        }
    }
    return json;
}

Json packageJson(const DbPackage &package)
{
    Json json = recordJson(package.base, kBase);
    json["patches"] = partsJson(package, PartKind::Patch);
    json["mods"] = partsJson(package, PartKind::Mod);
    return json;
}

Json problemJson(const DbProblem &problem)
{
    return {{"line", problem.line},
            {"kind", problem.kind},
            {"message", problem.message},
            {"hint", problem.hint},
            {"damage", problem.isDamage}};
}

Json problemsJson(const std::vector<DbProblem> &problems)
{
    Json json = Json::array();
    std::transform(problems.begin(), problems.end(), std::back_inserter(json), problemJson);
    return json;
}

std::string problemText(const DbProblem &problem)
{
    return format("line %ld: ", problem.line) + problem.message;
}

} // namespace tarn::tool
