// Adding and updating entries of the database. Each operation reads, edits and saves the whole file; nothing is saved
// unless every edit succeeded.
#include <iterator>
#include <span>

#include "common/bounded_text.h"
#include "swm_xml/xml_tree.h"

using namespace tarn;

namespace {

constexpr Leaf kPatchLeaves[] = {
    TARN_LEAF(SwmPatchInfo, PatchName, "PatchName"),     TARN_LEAF(SwmPatchInfo, Version, "Version"),
    TARN_LEAF(SwmPatchInfo, SrcFilePath, "SrcFilePath"), TARN_LEAF(SwmPatchInfo, InstallPath, "InstallPath"),
    TARN_LEAF(SwmPatchInfo, PkgPoolPath, "PkgPoolPath"),
};
constexpr Leaf kModLeaves[] = {
    TARN_LEAF(SwmModInfo, ModName, "ModName"),         TARN_LEAF(SwmModInfo, Version, "Version"),
    TARN_LEAF(SwmModInfo, SrcFilePath, "SrcFilePath"), TARN_LEAF(SwmModInfo, InstallPath, "InstallPath"),
    TARN_LEAF(SwmModInfo, PkgPoolPath, "PkgPoolPath"),
};

template <class Record> bool addLeaves(xmlNode *element, std::span<const Leaf> leaves, const Record &record)
{
    for (const Leaf &leaf : leaves) {
        if (xmlNewChild(element, nullptr, xmlText(leaf.name), xmlText(leafText(record, leaf))) == nullptr) {
            return false;
        }
    }
    return true;
}

bool appendTo(xmlNode *parent, XmlNode element)
{
    if (xmlAddChild(parent, element.get()) == nullptr) {
        return false;
    }
    static_cast<void>(element.release());
    return true;
}

// Silent, as the next one.
bool appendPackage(xmlNode *root, const SwmPackageInfo &info)
{
    const QuietXml quiet;
    XmlNode package(xmlNewNode(nullptr, xmlText("Package")));
    if (!package) {
        return false;
    }
    xmlNode *base = xmlNewChild(package.get(), nullptr, xmlText("Base"), nullptr);
    return base != nullptr && addLeaves(base, kBaseLeaves, info) && appendTo(root, std::move(package)) &&
           !quiet.outOfMemory();
}

template <class Record>
bool appendElement(xmlNode *package, const char *name, std::span<const Leaf> leaves, const Record &record)
{
    const QuietXml quiet;
    XmlNode element(xmlNewNode(nullptr, xmlText(name)));
    return element && addLeaves(element.get(), leaves, record) && appendTo(package, std::move(element)) &&
           !quiet.outOfMemory();
}

// The package that a patch or mod is added to. Speaks, also when there is none.
xmlNode *findPackage(const Database &database, const char *pkgName)
{
    xmlNode *package = nullptr;
    if (SWM_MatchAndGetPackageNode(database.root(), pkgName, nullptr, &package) != SWM_OK) {
        XML_ERROR("Match and get package node of %s failed.", pkgName);
    } else if (package == nullptr) {
        XML_ERROR("Match and get NULL package node of %s.", pkgName);
    }
    return package;
}

// The entry's name stays: it was found by it. Silent: the number of leaves set before the one that could not be.
template <class Record, size_t number>
uint32_t setLeavesAfterName(xmlNode *element, const Leaf (&leaves)[number], const Record &record)
{
    uint32_t index = 0;
    while (index < number - 1 && SWM_SetNodeContent(element, leaves[index + 1].name, nullptr,
                                                    leafText(record, leaves[index + 1])) == SWM_OK) {
        ++index;
    }
    return index;
}

bool hasActiveTime(const xmlNode *package)
{
    const xmlNode *base = firstChild(package, "Base");
    return base != nullptr && firstChild(base, kBaseLeaves[kActiveTime].name) != nullptr;
}

// Numbers the leaves without the package's name, which is never rewritten. A missing "ActiveTime" stays missing.
uint32_t setBase(xmlNode *package, const SwmPackageInfo &info)
{
    for (uint32_t index = 1; index < std::size(kBaseLeaves); ++index) {
        const Leaf &leaf = kBaseLeaves[index];
        if (SWM_SetNodeContent(package, "Base", leaf.name, leafText(info, leaf)) != SWM_OK &&
            (index != kActiveTime || hasActiveTime(package))) {
            return XML_FAIL("Set base content failed, index %u.", index - 1);
        }
    }
    return SWM_OK;
}

} // namespace

uint32_t SWM_AddBaseInfo(const char *path, const SwmPackageInfo *info) noexcept
{
    if (isNullOrEmpty(path) || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path) || !appendPackage(database.root(), *info) || !database.save(kUtf8)) {
        return SWM_FAIL;
    }
    return SWM_OK;
}

uint32_t SWM_AddPatchInfo(const char *path, const SwmPatchInfo *patch, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || patch == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *package = findPackage(database, pkgName);
    if (package == nullptr || !appendElement(package, "Patch", kPatchLeaves, *patch) || !database.save(kUtf8)) {
        return SWM_FAIL;
    }
    XML_INFO("Add patch info of %s success.", pkgName);
    return SWM_OK;
}

uint32_t SWM_AddModInfo(const char *path, const SwmModInfo *mod, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || mod == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *package = findPackage(database, pkgName);
    if (package == nullptr || !appendElement(package, "Mod", kModLeaves, *mod) || !database.save(kUtf8)) {
        return SWM_FAIL;
    }
    XML_INFO("Add mod info of %s success.", pkgName);
    return SWM_OK;
}

uint32_t SWM_GetPackageNodeByBaseInfo(const SwmPackageInfo *info, int32_t withVersion, xmlNode **packageOut,
                                      xmlNode *root) noexcept
{
    if (packageOut != nullptr) {
        *packageOut = nullptr;
    }
    if (info == nullptr || packageOut == nullptr || root == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    const char *version = withVersion != 0 ? info->Version : nullptr;
    if (SWM_MatchAndGetPackageNode(root, info->PackageName, version, packageOut) != SWM_OK) {
        return XML_FAIL("Match and get package node of %s failed.", info->PackageName);
    }
    return SWM_OK;
}

uint32_t SWM_UpdateBaseInfo(const char *path, const SwmPackageInfo *info, uint32_t withVersion) noexcept
{
    if (isNullOrEmpty(path) || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    xmlNode *package = nullptr;
    if (!database.open(path) ||
        SWM_GetPackageNodeByBaseInfo(info, withVersion != 0 ? 1 : 0, &package, database.root()) != SWM_OK) {
        return SWM_FAIL;
    }
    if (package == nullptr) {
        return XML_FAIL("Match and get NULL package node of %s.", info->PackageName);
    }
    if (setBase(package, *info) != SWM_OK || !database.save(kUtf8)) {
        return SWM_FAIL;
    }
    XML_INFO("Update base info of %s success.", info->PackageName);
    return SWM_OK;
}

uint32_t SWM_UpdatePatchInfo(const char *path, const SwmPatchInfo *patch, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || patch == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *node = nullptr;
    if (SWM_MatchAndGetPatchNode(database.root(), pkgName, patch->PatchName, &node) != SWM_OK) {
        return XML_FAIL("Match and get patch node of package %s patch %s failed.", pkgName, patch->PatchName);
    }
    if (node == nullptr) {
        return XML_FAIL("Match and get NULL patch node of package %s patch %s.", pkgName, patch->PatchName);
    }
    const uint32_t index = setLeavesAfterName(node, kPatchLeaves, *patch);
    if (index < std::size(kPatchLeaves) - 1) {
        return XML_FAIL("Set patch content failed, index %u.", index);
    }
    if (!database.save(kUtf8)) {
        return SWM_FAIL;
    }
    XML_INFO("Update patch info of %s success.", pkgName);
    return SWM_OK;
}

uint32_t SWM_UpdateModInfo(const char *path, const SwmModInfo *mod, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || mod == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *node = nullptr;
    if (SWM_MatchAndGetModNode(database.root(), pkgName, mod->ModName, &node) != SWM_OK) {
        return XML_FAIL("Match and get mod node of package %s mod %s failed.", pkgName, mod->ModName);
    }
    if (node == nullptr) {
        return XML_FAIL("Match and get NULL mod node of package %s mod %s.", pkgName, mod->ModName);
    }
    const uint32_t index = setLeavesAfterName(node, kModLeaves, *mod);
    if (index < std::size(kModLeaves) - 1) {
        return XML_FAIL("Set mod content failed, index %u.", index);
    }
    if (!database.save(kUtf8)) {
        return SWM_FAIL;
    }
    XML_INFO("Update mod info of %s success.", pkgName);
    return SWM_OK;
}

uint32_t SWM_AddOrUpdatePatchInfo(const char *path, const SwmPatchInfo *newPatch, const SwmPatchInfo *existing,
                                  int32_t existingCount, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || newPatch == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    uint32_t same = 0;
    if (SWM_ComparePackagePatchInfo(newPatch, existing, existingCount, &same) != 1) {
        if (SWM_AddPatchInfo(path, newPatch, pkgName) != SWM_OK) {
            return XML_FAIL("Add patch info of %s failed.", pkgName);
        }
        XML_INFO("Add patch info success.");
        return SWM_OK;
    }
    if (same == 1) {
        XML_INFO("No need to update patch info.");
        return SWM_OK;
    }
    if (SWM_UpdatePatchInfo(path, newPatch, pkgName) != SWM_OK) {
        return XML_FAIL("Update patch info of %s failed.", pkgName);
    }
    XML_INFO("Update patch info success.");
    return SWM_OK;
}

uint32_t SWM_AddOrUpdateModInfo(const char *path, const SwmModInfo *newMod, const SwmModInfo *existing,
                                int32_t existingCount, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || newMod == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    uint32_t same = 0;
    if (SWM_ComparePackageModInfo(newMod, existing, existingCount, &same) != 1) {
        if (SWM_AddModInfo(path, newMod, pkgName) != SWM_OK) {
            return XML_FAIL("Add mod info of %s failed.", pkgName);
        }
        XML_INFO("Add mod info success.");
        return SWM_OK;
    }
    if (same == 1) {
        XML_INFO("No need to update mod info.");
        return SWM_OK;
    }
    if (SWM_UpdateModInfo(path, newMod, pkgName) != SWM_OK) {
        return XML_FAIL("Update mod info of %s failed.", pkgName);
    }
    XML_INFO("Update mod info success.");
    return SWM_OK;
}

uint32_t SWM_AddBasePackageInfo(const char *path, const SwmPackageInfo *info, uint32_t withVersion) noexcept
{
    if (isNullOrEmpty(path) || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    SwmPackageInfo *installed = nullptr;
    const uint32_t status = SWM_MallocAndGetChosenPackageInfo(path, &installed, info->PackageName,
                                                              withVersion != 0 ? info->Version : nullptr);
    const PackageRecords owner(installed, 1);
    if (status == SWM_NOT_INSTALLED) {
        return SWM_AddBaseInfo(path, info) == SWM_OK
                   ? SWM_OK
                   : XML_FAIL("Add base info of %s to %s failed.", info->PackageName, path);
    }
    if (status != SWM_OK) {
        return XML_FAIL("Get package info of %s from %s failed.", info->PackageName, path);
    }
    // The time of activation alone is no difference: callers rely on the file staying as it is.
    if (SWM_ComparePackageBaseInfo(info, installed) != 1 && SWM_UpdateBaseInfo(path, info, withVersion) != SWM_OK) {
        return XML_FAIL("Update base info of %s to %s failed.", info->PackageName, path);
    }
    return SWM_OK;
}

uint32_t SWM_AddPatchPackageInfo(const char *path, const char *pkgName, const SwmPatchInfo *patch) noexcept
{
    if (isNullOrEmpty(path) || isNullOrEmpty(pkgName) || patch == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    SwmPackageInfo *installed = nullptr;
    if (SWM_MallocAndGetChosenPackageInfo(path, &installed, pkgName, nullptr) != SWM_OK) {
        return XML_FAIL("Get package info of %s from %s failed.", pkgName, path);
    }
    const PackageRecords owner(installed, 1);
    // A record looked up so carries no patches: one of the same name is added again, and callers rely on it.
    if (SWM_AddOrUpdatePatchInfo(path, patch, installed->patches, static_cast<int32_t>(installed->patchCount),
                                 pkgName) != SWM_OK) {
        return XML_FAIL("Add or update patch info of %s to %s failed.", pkgName, path);
    }
    XML_INFO("Add or update patch info of %s to %s success.", pkgName, path);
    return SWM_OK;
}

uint32_t SWM_AddModPackageInfo(const char *path, const char *pkgName, const SwmModInfo *mod) noexcept
{
    if (isNullOrEmpty(path) || isNullOrEmpty(pkgName) || mod == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    SwmPackageInfo *installed = nullptr;
    if (SWM_MallocAndGetChosenPackageInfo(path, &installed, pkgName, nullptr) != SWM_OK) {
        return XML_FAIL("Get package info of %s from %s failed.", pkgName, path);
    }
    const PackageRecords owner(installed, 1);
    // A record looked up so carries no mods: one of the same name is added again, and callers rely on it.
    if (SWM_AddOrUpdateModInfo(path, mod, installed->mods, static_cast<int32_t>(installed->modCount), pkgName) !=
        SWM_OK) {
        return XML_FAIL("Add or update mod info of %s to %s failed.", pkgName, path);
    }
    XML_INFO("Add or update mod info of %s to %s success.", pkgName, path);
    return SWM_OK;
}
