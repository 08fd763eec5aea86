// Taking entries out of the database, and the CC file of the startup package.
#include <cstring>
#include <libgen.h>

#include "common/bounded_text.h"
#include "swm_xml/xml_tree.h"

using namespace tarn;

namespace {

constexpr size_t kPathSize = 256;

void removeElement(xmlNode *element)
{
    xmlUnlinkNode(element);
    const XmlNode removed(element);
}

// Takes out every package that `matches` sets its flag for; stops where it fails.
template <class Matches> uint32_t removePackages(const xmlNode *root, Matches matches)
{
    xmlNode *next = nullptr;
    for (xmlNode *package = firstChild(root, "Package"); package != nullptr; package = next) {
        next = nextSibling(package, "Package");
        bool found = false;
        if (matches(package, found) != SWM_OK) {
            return SWM_FAIL;
        }
        if (found) {
            removeElement(package);
        }
    }
    return SWM_OK;
}

uint32_t isOfCcFile(xmlNode *package, const char *baseName, const char *ccFilePath, bool &found)
{
    uint32_t sameFile = 1;
    if (SWM_MatchPackageNode(package, "CcFile", baseName, &sameFile) != SWM_OK) {
        return XML_FAIL("Match package name node of %s failed.", baseName);
    }
    char copy[kPathSize] = {};
    copyText(copy, sizeof(copy), ccFilePath, strlen(ccFilePath), "SWM_DelMatchPackageNodeByCcFile");
    const char *directory = dirname(copy);
    // Read even when the file differs: a package without it stops the deletion.
    uint32_t samePath = 1;
    if (SWM_MatchPackagePathNode(package, "CcPath", directory, &samePath) != SWM_OK) {
        return XML_FAIL("Match package path node of %s failed.", directory);
    }
    found = sameFile == 1 && samePath == 1;
    return SWM_OK;
}

} // namespace

uint32_t SWM_DelBasePackageInfo(const char *path, const SwmPackageInfo *key) noexcept
{
    if (isNullOrEmpty(path) || key == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *package = nullptr;
    if (SWM_GetMatchPackageNode(database.root(), key, SWM_MATCH_ALL, &package) != SWM_OK) {
        return XML_FAIL("Match and get package node of %s from %s failed.", key->PackageName, path);
    }
    if (package == nullptr) {
        return SWM_OK;
    }
    removeElement(package);
    if (!database.save(nullptr)) {
        return SWM_FAIL;
    }
    XML_INFO("Delete base info of %s;%s;%s from %s success.", key->PackageName, key->Version, key->CcPath, path);
    return SWM_OK;
}

uint32_t SWM_DelMatchPackageNodeByCcFile(xmlNode *root, const char *ccFilePath) noexcept
{
    if (root == nullptr || isNullOrEmpty(ccFilePath)) {
        return XML_FAIL("Input para NULL.");
    }
    // basename may write into what it is given.
    const HeapBlock<char> copy(strdup(ccFilePath));
    if (!copy) {
        return SWM_FAIL;
    }
    const char *baseName = basename(copy.get());
    return removePackages(
        root, [&](xmlNode *package, bool &found) { return isOfCcFile(package, baseName, ccFilePath, found); });
}

uint32_t SWM_DelBasePackageInfoByCcNameAndPath(const char *path, const char *ccFilePath) noexcept
{
    if (isNullOrEmpty(path) || isNullOrEmpty(ccFilePath)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    if (SWM_DelMatchPackageNodeByCcFile(database.root(), ccFilePath) != SWM_OK) {
        return XML_FAIL("Match and get package node of %s from %s failed.", ccFilePath, path);
    }
    // Saved also when nothing was taken out: callers rely on the file being written.
    if (!database.save(nullptr)) {
        return SWM_FAIL;
    }
    XML_INFO("Delete base info of %s from %s success.", ccFilePath, path);
    return SWM_OK;
}

uint32_t SWM_DelMatchPackageNodeByPkgName(xmlNode *root, const char *pkgName) noexcept
{
    if (root == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    return removePackages(root, [&](xmlNode *package, bool &found) -> uint32_t {
        uint32_t matches = 1;
        if (SWM_MatchPackageNode(package, "PackageName", pkgName, &matches) != SWM_OK) {
            return XML_FAIL("Match package name node of %s failed.", pkgName);
        }
        found = matches == 1;
        return SWM_OK;
    });
}

uint32_t SWM_DelBasePackageInfoByName(const char *path, const char *pkgName) noexcept
{
    if (isNullOrEmpty(path) || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    if (SWM_DelMatchPackageNodeByPkgName(database.root(), pkgName) != SWM_OK) {
        return XML_FAIL("Match and get package node of %s from %s failed.", pkgName, path);
    }
    // Saved also when nothing was taken out: callers rely on the file being written.
    if (!database.save(nullptr)) {
        return SWM_FAIL;
    }
    XML_INFO("Delete base info of %s from %s success.", pkgName, path);
    return SWM_OK;
}

uint32_t SWM_DelPatchPackageInfo(const char *path, const char *pkgName, const char *patchName) noexcept
{
    if (isNullOrEmpty(path) || isNullOrEmpty(pkgName) || isNullOrEmpty(patchName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *patch = nullptr;
    if (SWM_MatchAndGetPatchNode(database.root(), pkgName, patchName, &patch) != SWM_OK) {
        return XML_FAIL("Match and get patch node of package %s patch %s from %s failed.", pkgName, patchName, path);
    }
    if (patch == nullptr) {
        return SWM_OK;
    }
    removeElement(patch);
    if (!database.save(nullptr)) {
        return SWM_FAIL;
    }
    XML_INFO("Delete patch info of package %s patch %s from %s success.", pkgName, patchName, path);
    return SWM_OK;
}

uint32_t SWM_DelModPackageInfo(const char *path, const char *pkgName, const char *modName) noexcept
{
    if (isNullOrEmpty(path) || isNullOrEmpty(pkgName) || isNullOrEmpty(modName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *mod = nullptr;
    if (SWM_MatchAndGetModNode(database.root(), pkgName, modName, &mod) != SWM_OK) {
        return XML_FAIL("Match and get mod node of package %s mod %s from %s failed.", pkgName, modName, path);
    }
    if (mod == nullptr) {
        return SWM_OK;
    }
    removeElement(mod);
    if (!database.save(nullptr)) {
        return SWM_FAIL;
    }
    XML_INFO("Delete mod info of package %s mod %s from %s success.", pkgName, modName, path);
    return SWM_OK;
}

uint32_t SWM_ParseXmlBasePkgName(const char *path, char *buffer, uint32_t length) noexcept
{
    if (isNullOrEmpty(path) || buffer == nullptr || length == 0) {
        return XML_FAIL("Input para NULL or 0.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    // All are read, so that the last one stays in the buffer: callers rely on it.
    for (xmlNode *startup = firstChild(database.root(), "StartupPackage"); startup != nullptr;
         startup = nextSibling(startup, "StartupPackage")) {
        if (SWM_GetNodeContent(startup, "BasePackage", "CcFile", buffer, length) != SWM_OK) {
            return XML_FAIL("Get %s content of %s failed.", "CcFile", "BasePackage");
        }
    }
    return SWM_OK;
}
