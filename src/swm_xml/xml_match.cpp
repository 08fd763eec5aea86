// Finding the entry of a package, patch or mod for a key, and the blank records that keys and results are.
#include <tarn_basic/text.h>

#include "common/bounded_text.h"
#include "swm_xml/xml_tree.h"

using namespace tarn;

namespace {

constexpr size_t kNameSize = 128;
constexpr size_t kPathSize = 256;

// The flag is only ever cleared, so that callers can match one leaf after the other.
template <size_t size>
uint32_t matchBaseLeaf(xmlNode *package, const char *leaf, const char *wanted, uint32_t *matchFlag)
{
    if (package == nullptr || leaf == nullptr || wanted == nullptr || matchFlag == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    char value[size] = {};
    if (SWM_GetNodeContent(package, "Base", leaf, value, sizeof(value)) != SWM_OK) {
        return XML_FAIL("Get %s content of %s failed.", leaf, "Base");
    }
    if (SWM_IsStringEqual(value, wanted) == 0) {
        *matchFlag = 0;
    }
    return SWM_OK;
}

// Here the flag is set, not combined.
uint32_t matchName(xmlNode *element, const char *elementName, const char *leaf, const char *wanted, uint32_t *matchFlag)
{
    if (element == nullptr || isNullOrEmpty(wanted) || matchFlag == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    char value[kNameSize] = {};
    if (SWM_GetNodeContent(element, leaf, nullptr, value, sizeof(value)) != SWM_OK) {
        return XML_FAIL("Get %s content of %s failed.", leaf, elementName);
    }
    *matchFlag = SWM_IsStringEqual(value, wanted) != 0 ? 1 : 0;
    return SWM_OK;
}

// Null on entry, whatever is refused later. False, with a line, when an argument is missing.
bool beginFind(const xmlNode *root, const char *name, const char *second, xmlNode **out)
{
    if (out != nullptr) {
        *out = nullptr;
    }
    if (root == nullptr || isNullOrEmpty(name) || isNullOrEmpty(second) || out == nullptr) {
        XML_ERROR("Input para NULL.");
        return false;
    }
    return true;
}

// The package that holds what is looked for; null when there is none.
uint32_t findHolder(xmlNode *root, const char *pkgName, xmlNode **packageOut)
{
    if (SWM_MatchAndGetPackageNode(root, pkgName, nullptr, packageOut) != SWM_OK) {
        return XML_FAIL("Match and get package node of %s failed.", pkgName);
    }
    return SWM_OK;
}

// The first child of that element name whose own name `match` finds equal. Silent, and null when there is none.
uint32_t findInPackage(const xmlNode *package, const char *elementName, const char *wanted,
                       uint32_t (*match)(xmlNode *, const char *, uint32_t *), xmlNode **out)
{
    if (package == nullptr) {
        return SWM_OK;
    }
    for (xmlNode *node = firstChild(package, elementName); node != nullptr; node = nextSibling(node, elementName)) {
        uint32_t matches = 0;
        if (match(node, wanted, &matches) != SWM_OK) {
            return SWM_FAIL;
        }
        if (matches == 1) {
            *out = node;
            return SWM_OK;
        }
    }
    return SWM_OK;
}

uint32_t countChildren(const xmlNode *node, const char *elementName)
{
    uint32_t count = 0;
    for (const xmlNode *child = firstChild(node, elementName); child != nullptr;
         child = nextSibling(child, elementName)) {
        ++count;
    }
    return count;
}

} // namespace

SwmPackageInfo *SWM_MallocAndInitPackageInfo(uint32_t count) noexcept
{
    return blankRecords<SwmPackageInfo>(count, __func__).release();
}

SwmCcInfo *SWM_MallocAndInitCcInfo(uint32_t count) noexcept
{
    return blankRecords<SwmCcInfo>(count, __func__).release();
}

uint32_t SWM_MatchPackageNode(xmlNode *package, const char *leaf, const char *wanted, uint32_t *matchFlag) noexcept
{
    return matchBaseLeaf<kNameSize>(package, leaf, wanted, matchFlag);
}

uint32_t SWM_MatchPackagePathNode(xmlNode *package, const char *leaf, const char *wanted, uint32_t *matchFlag) noexcept
{
    return matchBaseLeaf<kPathSize>(package, leaf, wanted, matchFlag);
}

uint32_t SWM_MatchPatchNode(xmlNode *patch, const char *patchName, uint32_t *matchFlag) noexcept
{
    return matchName(patch, "Patch", "PatchName", patchName, matchFlag);
}

uint32_t SWM_MatchModNode(xmlNode *mod, const char *modName, uint32_t *matchFlag) noexcept
{
    return matchName(mod, "Mod", "ModName", modName, matchFlag);
}

uint32_t SWM_JugePackageNodeMatch(xmlNode *package, const SwmPackageInfo *key, uint32_t matchLevel,
                                  uint32_t *matchFlag) noexcept
{
    if (package == nullptr || key == nullptr || matchFlag == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    uint32_t matches = 1;
    if (SWM_MatchPackageNode(package, "PackageName", key->PackageName, &matches) != SWM_OK) {
        return XML_FAIL("Match package name node of %s failed.", key->PackageName);
    }
    if (matchLevel >= SWM_MATCH_NAME_VERSION && matches == 1 &&
        SWM_MatchPackageNode(package, "Version", key->Version, &matches) != SWM_OK) {
        return XML_FAIL("Match package version node of %s failed.", key->Version);
    }
    // The file name against the key's path: callers put the file name there.
    if (matchLevel >= SWM_MATCH_ALL && matches == 1 &&
        SWM_MatchPackageNode(package, "CcFile", key->CcPath, &matches) != SWM_OK) {
        return XML_FAIL("Match package ccfile node of %s failed.", key->CcPath);
    }
    *matchFlag = matches;
    return SWM_OK;
}

uint32_t SWM_GetMatchPackageNode(xmlNode *root, const SwmPackageInfo *key, uint32_t matchLevel,
                                 xmlNode **packageOut) noexcept
{
    if (packageOut != nullptr) {
        *packageOut = nullptr;
    }
    if (root == nullptr || key == nullptr || packageOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    for (xmlNode *package = firstChild(root, "Package"); package != nullptr;
         package = nextSibling(package, "Package")) {
        uint32_t matches = 0;
        if (SWM_JugePackageNodeMatch(package, key, matchLevel, &matches) != SWM_OK) {
            return SWM_FAIL;
        }
        if (matches == 1) {
            *packageOut = package;
            return SWM_OK;
        }
    }
    return SWM_OK;
}

uint32_t SWM_MatchAndGetPackageNode(xmlNode *root, const char *pkgName, const char *version,
                                    xmlNode **packageOut) noexcept
{
    if (!beginFind(root, pkgName, pkgName, packageOut)) {
        return SWM_FAIL;
    }
    const HeapBlock<SwmPackageInfo> key(SWM_MallocAndInitPackageInfo(1));
    if (!key) {
        return XML_FAIL("Malloc pkg info failed.");
    }
    printField(key->PackageName, pkgName, __func__);
    if (version != nullptr) {
        printField(key->Version, version, __func__);
    }
    return SWM_GetMatchPackageNode(root, key.get(), version != nullptr ? SWM_MATCH_NAME_VERSION : SWM_MATCH_NAME,
                                   packageOut);
}

uint32_t SWM_MatchAndGetPatchNode(xmlNode *root, const char *pkgName, const char *patchName,
                                  xmlNode **patchOut) noexcept
{
    xmlNode *package = nullptr;
    if (!beginFind(root, pkgName, patchName, patchOut) || findHolder(root, pkgName, &package) != SWM_OK) {
        return SWM_FAIL;
    }
    if (findInPackage(package, "Patch", patchName, SWM_MatchPatchNode, patchOut) != SWM_OK) {
        return XML_FAIL("Match patch node of %s failed.", patchName);
    }
    return SWM_OK;
}

uint32_t SWM_MatchAndGetModNode(xmlNode *root, const char *pkgName, const char *modName, xmlNode **modOut) noexcept
{
    xmlNode *package = nullptr;
    if (!beginFind(root, pkgName, modName, modOut) || findHolder(root, pkgName, &package) != SWM_OK) {
        return SWM_FAIL;
    }
    if (findInPackage(package, "Mod", modName, SWM_MatchModNode, modOut) != SWM_OK) {
        return XML_FAIL("Match mod node of %s failed.", modName);
    }
    return SWM_OK;
}

uint32_t SWM_GetPackageNodeNum(const char *path, uint32_t *countOut) noexcept
{
    if (isNullOrEmpty(path) || countOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    *countOut = countChildren(database.root(), "Package");
    return SWM_OK;
}

void SWM_GetNodeNumInPackage(xmlNode *node, const char *elementName, uint32_t *countOut) noexcept
{
    if (node == nullptr || elementName == nullptr || countOut == nullptr) {
        XML_ERROR("Input para NULL.");
        return;
    }
    *countOut = countChildren(node, elementName);
}
