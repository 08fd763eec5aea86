// Reading entries into records, the list of CC packages, and the comparisons that updates decide by.
#include <algorithm>
#include <cstring>

#include <tarn_basic/text.h>

#include "common/bounded_text.h"
#include "swm_xml/xml_tree.h"

using namespace tarn;

namespace {

// Patches and mods are read through these elements, mods too, although the writers call them otherwise: callers rely
// on a listing being refused when it holds such an entry.
constexpr Leaf kPatchLeaves[] = {TARN_LEAF(SwmPatchInfo, PatchName, "PatchName"),
                                 TARN_LEAF(SwmPatchInfo, Version, "Version"),
                                 TARN_LEAF(SwmPatchInfo, SrcFilePath, "PatchPath")};
constexpr Leaf kModLeaves[] = {TARN_LEAF(SwmModInfo, ModName, "PatchName"), TARN_LEAF(SwmModInfo, Version, "Version"),
                               TARN_LEAF(SwmModInfo, SrcFilePath, "PatchPath")};

template <class Record> char *fieldOf(Record &record, const Leaf &leaf)
{
    return reinterpret_cast<char *>(&record) + leaf.offset;
}

// Silent: the number of leaves read before the one that could not be.
template <class Record, size_t number>
uint32_t readLeaves(xmlNode *element, const Leaf (&leaves)[number], Record &record)
{
    uint32_t index = 0;
    while (index < number && SWM_GetNodeContent(element, leaves[index].name, nullptr, fieldOf(record, leaves[index]),
                                                leaves[index].size) == SWM_OK) {
        ++index;
    }
    return index;
}

// Reads every child of that name into the next element; the number read before the one that could not be.
template <class Record>
uint32_t readElements(const xmlNode *package, const char *elementName, Record *records, uint32_t count,
                      uint32_t (*read)(xmlNode *, Record *))
{
    uint32_t index = 0;
    for (xmlNode *node = firstChild(package, elementName);
         index < count && node != nullptr && read(node, &records[index]) == SWM_OK;
         node = nextSibling(node, elementName)) {
        ++index;
    }
    return index;
}

bool isRead(uint32_t status)
{
    return status == SWM_OK || status == SWM_NO_ELEMENTS;
}

uint32_t readPackage(xmlNode *package, uint32_t index, SwmPackageInfo &record)
{
    if (SWM_GetPackageInfo(package, &record) != SWM_OK) {
        return XML_FAIL("Get package info failed, index %u.", index);
    }
    if (!isRead(SWM_GetPackagePatchInfo(package, &record.patches, &record.patchCount))) {
        return XML_FAIL("Get patch info failed, index %u.", index);
    }
    if (!isRead(SWM_GetPackageModInfo(package, &record.mods, &record.modCount))) {
        return XML_FAIL("Get mod info failed, index %u.", index);
    }
    return SWM_OK;
}

// The file may have grown since its packages were counted: one more than there is room for is a failure.
uint32_t readAllPackages(const char *path, SwmPackageInfo *records, uint32_t capacity)
{
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    uint32_t index = 0;
    for (xmlNode *package = firstChild(database.root(), "Package"); package != nullptr;
         package = nextSibling(package, "Package"), ++index) {
        if (index == capacity || readPackage(package, index, records[index]) != SWM_OK) {
            return SWM_FAIL;
        }
    }
    return SWM_OK;
}

// Leaves each text in the first record that has it. False when there is no memory for an index.
bool emptyRepeatedCcFiles(SwmPackageInfo *records, uint32_t count)
{
    const HeapBlock<uint32_t> order = allocate<uint32_t>(count);
    if (!order) {
        return false;
    }
    uint32_t *end = order.get();
    for (uint32_t index = 0; index < count; ++index) {
        if (records[index].CcFile[0] != '\0') {
            *end++ = index;
        }
    }
    std::sort(order.get(), end, [&](uint32_t a, uint32_t b) {
        const int difference = strcmp(records[a].CcFile, records[b].CcFile);
        return difference != 0 ? difference < 0 : a < b;
    });
    const uint32_t *first = order.get();
    for (const uint32_t *next = order.get(); next != end; ++next) {
        if (next == first) {
            continue;
        }
        if (strcmp(records[*first].CcFile, records[*next].CcFile) == 0) {
            records[*next].CcFile[0] = '\0';
        } else {
            first = next;
        }
    }
    return true;
}

void emptyRepeatedCcFilesInPlace(SwmPackageInfo *records, uint32_t count)
{
    for (uint32_t first = 0; first < count; ++first) {
        for (uint32_t next = first + 1; records[first].CcFile[0] != '\0' && next < count; ++next) {
            if (strcmp(records[first].CcFile, records[next].CcFile) == 0) {
                records[next].CcFile[0] = '\0';
            }
        }
    }
}

void joinCcPaths(const SwmPackageInfo *packages, uint32_t packageCount, SwmCcInfo *infos, uint32_t count,
                 const char *function)
{
    uint32_t filled = 0;
    for (uint32_t index = 0; index < packageCount && filled < count; ++index) {
        const SwmPackageInfo &package = packages[index];
        if (package.CcFile[0] == '\0') {
            continue;
        }
        char(&joined)[sizeof(SwmCcInfo::CcFullPath)] = infos[filled++].CcFullPath;
        warnIfCut(snprintf_s(joined, sizeof(joined), sizeof(joined) - 1, "%s/%s", package.CcPath, package.CcFile),
                  function);
    }
}

struct TextPair {
    const char *a;
    const char *b;
};

template <size_t number> uint32_t allEqual(const TextPair (&pairs)[number])
{
    return std::all_of(pairs, pairs + number,
                       [](const TextPair &pair) { return SWM_IsStringEqual(pair.a, pair.b) != 0; })
               ? 1
               : 0;
}

// Patches and mods differ in the name of their name only.
template <class Record> uint32_t compareElement(const Record *a, const Record *b)
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return allEqual({{a->Version, b->Version},
                     {a->InstallPath, b->InstallPath},
                     {a->PkgPoolPath, b->PkgPoolPath},
                     {a->SrcFilePath, b->SrcFilePath}});
}

// Only the first existing element is looked at, however many there are: callers rely on it.
template <class Record, size_t size>
uint32_t compareWithFirst(const Record *fresh, const Record *existing, int32_t existingCount,
                          char (Record::*name)[size], uint32_t *sameFlag)
{
    if (fresh == nullptr || existing == nullptr || sameFlag == nullptr || existingCount <= 0 ||
        SWM_IsStringEqual(fresh->*name, existing->*name) == 0) {
        return 0;
    }
    *sameFlag = compareElement(fresh, existing);
    return 1;
}

} // namespace

uint32_t SWM_GetPatchInfo(xmlNode *patch, SwmPatchInfo *info) noexcept
{
    if (patch == nullptr || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    const uint32_t index = readLeaves(patch, kPatchLeaves, *info);
    return index == std::size(kPatchLeaves) ? SWM_OK : XML_FAIL("Get patch content failed, index %u.", index);
}

uint32_t SWM_GetModInfo(xmlNode *mod, SwmModInfo *info) noexcept
{
    if (mod == nullptr || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    const uint32_t index = readLeaves(mod, kModLeaves, *info);
    return index == std::size(kModLeaves) ? SWM_OK : XML_FAIL("Get mod content failed, index %u.", index);
}

uint32_t SWM_GetPackageBaseInfo(xmlNode *package, SwmPackageInfo *info) noexcept
{
    if (package == nullptr || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    for (uint32_t index = 0; index < std::size(kBaseLeaves); ++index) {
        const Leaf &leaf = kBaseLeaves[index];
        if (SWM_GetNodeContent(package, "Base", leaf.name, fieldOf(*info, leaf), leaf.size) != SWM_OK &&
            index != kActiveTime) {
            return XML_FAIL("Get base content failed, index %u.", index);
        }
    }
    return SWM_OK;
}

uint32_t SWM_GetPackageInfo(xmlNode *package, SwmPackageInfo *info) noexcept
{
    if (package == nullptr || info == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    if (SWM_GetPackageBaseInfo(package, info) != SWM_OK) {
        return XML_FAIL("Get base info failed.");
    }
    return SWM_OK;
}

uint32_t SWM_GetPackagePatchInfo(xmlNode *package, SwmPatchInfo **patchesOut, uint32_t *countOut) noexcept
{
    if (package == nullptr || patchesOut == nullptr || countOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    uint32_t count = 0;
    SWM_GetNodeNumInPackage(package, "Patch", &count);
    if (count == 0) {
        return SWM_NO_ELEMENTS;
    }
    HeapBlock<SwmPatchInfo> patches = blankRecords<SwmPatchInfo>(count, __func__);
    if (!patches) {
        return XML_FAIL("Malloc patch info failed, number %u.", count);
    }
    const uint32_t index = readElements(package, "Patch", patches.get(), count, SWM_GetPatchInfo);
    if (index < count) {
        return XML_FAIL("Get patch info failed, index %u.", index);
    }
    *patchesOut = patches.release();
    *countOut = count;
    return SWM_OK;
}

uint32_t SWM_GetPackageModInfo(xmlNode *package, SwmModInfo **modsOut, uint32_t *countOut) noexcept
{
    if (package == nullptr || modsOut == nullptr || countOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    uint32_t count = 0;
    SWM_GetNodeNumInPackage(package, "Mod", &count);
    if (count == 0) {
        return SWM_NO_ELEMENTS;
    }
    HeapBlock<SwmModInfo> mods = blankRecords<SwmModInfo>(count, __func__);
    if (!mods) {
        return XML_FAIL("Malloc mod info failed, number %u.", count);
    }
    const uint32_t index = readElements(package, "Mod", mods.get(), count, SWM_GetModInfo);
    if (index < count) {
        return XML_FAIL("Get mod info failed, index %u.", index);
    }
    *modsOut = mods.release();
    *countOut = count;
    return SWM_OK;
}

uint32_t SWM_GetAllPackageInfo(const char *path, SwmPackageInfo *records) noexcept
{
    if (isNullOrEmpty(path) || records == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    return readAllPackages(path, records, UINT32_MAX);
}

uint32_t SWM_GetChosenPackageInfo(const char *path, SwmPackageInfo *info, const char *pkgName,
                                  const char *version) noexcept
{
    if (isNullOrEmpty(path) || info == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    Database database;
    if (!database.open(path)) {
        return SWM_FAIL;
    }
    xmlNode *package = nullptr;
    if (SWM_MatchAndGetPackageNode(database.root(), pkgName, version, &package) != SWM_OK) {
        return XML_FAIL("Match and get package node of %s failed.", pkgName);
    }
    if (package == nullptr) {
        return SWM_NOT_INSTALLED;
    }
    if (SWM_GetPackageInfo(package, info) != SWM_OK) {
        return XML_FAIL("Get package info of %s failed.", pkgName);
    }
    XML_INFO("Get package info of %s success.", pkgName);
    return SWM_OK;
}

void SWM_FreePackageInfo(SwmPackageInfo *records, uint32_t count) noexcept
{
    if (records == nullptr || count == 0) {
        XML_WARNING("Input para NULL or uiNumber=%u.", count);
        return;
    }
    const HeapBlock<SwmPackageInfo> owner(records);
    for (uint32_t index = 0; index < count; ++index) {
        const HeapBlock<SwmPatchInfo> patches(std::exchange(records[index].patches, nullptr));
        const HeapBlock<SwmModInfo> mods(std::exchange(records[index].mods, nullptr));
    }
}

uint32_t SWM_IsPackageInstalled(const char *path, const SwmPackageInfo *key, uint32_t matchLevel) noexcept
{
    if (isNullOrEmpty(path) || key == nullptr) {
        return 0;
    }
    Database database;
    if (!database.open(path)) {
        return 0;
    }
    xmlNode *package = nullptr;
    if (SWM_GetMatchPackageNode(database.root(), key, matchLevel, &package) != SWM_OK) {
        XML_ERROR("Match and get package node of %s failed.", key->PackageName);
        return 0;
    }
    return package != nullptr ? 1 : 0;
}

uint32_t SWM_MallocAndGetAllPackageInfo(const char *path, SwmPackageInfo **recordsOut, uint32_t *countOut) noexcept
{
    if (isNullOrEmpty(path) || recordsOut == nullptr || countOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    uint32_t count = 0;
    if (SWM_GetPackageNodeNum(path, &count) != SWM_OK) {
        return XML_FAIL("Get package number from %s failed.", path);
    }
    if (count == 0) {
        XML_INFO("Get package number is %d.", 0);
        return SWM_NOT_INSTALLED;
    }
    PackageRecords packages(SWM_MallocAndInitPackageInfo(count), count);
    if (packages.get() == nullptr) {
        return XML_FAIL("Malloc package info failed, uiNumber=%u.", count);
    }
    if (readAllPackages(path, packages.get(), count) != SWM_OK) {
        return XML_FAIL("Get package info from %s failed.", path);
    }
    *recordsOut = packages.release();
    *countOut = count;
    return SWM_OK;
}

uint32_t SWM_MallocAndGetChosenPackageInfo(const char *path, SwmPackageInfo **infoOut, const char *pkgName,
                                           const char *version) noexcept
{
    if (isNullOrEmpty(path) || infoOut == nullptr || isNullOrEmpty(pkgName)) {
        return XML_FAIL("Input para NULL.");
    }
    PackageRecords package(SWM_MallocAndInitPackageInfo(1), 1);
    if (package.get() == nullptr) {
        return XML_FAIL("Malloc package info failed, Number=%u.", 1u);
    }
    const uint32_t status = SWM_GetChosenPackageInfo(path, package.get(), pkgName, version);
    if (status != SWM_OK) {
        XML_WARNING("Get package info of %s from %s unsuccessfully.", pkgName, path);
        return status;
    }
    *infoOut = package.release();
    XML_INFO("Malloc and get package info of %s from %s success.", pkgName, path);
    return SWM_OK;
}

void SWM_GetCCNumberWithPackageInfo(SwmPackageInfo *records, uint32_t count, uint32_t *counter) noexcept
{
    if (records == nullptr || counter == nullptr) {
        XML_ERROR("Input para NULL.");
        return;
    }
    if (!emptyRepeatedCcFiles(records, count)) {
        emptyRepeatedCcFilesInPlace(records, count);
    }
    // Added to, never reset: callers count over several arrays.
    for (uint32_t index = 0; index < count; ++index) {
        *counter += records[index].CcFile[0] != '\0' ? 1 : 0;
    }
}

uint32_t SWM_MallocAndGetAllCcInfo(const char *path, SwmCcInfo **infosOut, uint32_t *countOut) noexcept
{
    if (isNullOrEmpty(path) || infosOut == nullptr || countOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    SwmPackageInfo *records = nullptr;
    uint32_t packageCount = 0;
    if (SWM_MallocAndGetAllPackageInfo(path, &records, &packageCount) != SWM_OK) {
        return XML_FAIL("Malloc and get all package info from [%s] failed.", path);
    }
    const PackageRecords packages(records, packageCount);
    uint32_t count = 0;
    SWM_GetCCNumberWithPackageInfo(records, packageCount, &count);
    SwmCcInfo *infos = SWM_MallocAndInitCcInfo(count);
    if (infos == nullptr) {
        return XML_FAIL("Malloc cc info failed, uiNumber=%u.", count);
    }
    joinCcPaths(records, packageCount, infos, count, __func__);
    *infosOut = infos;
    *countOut = count;
    return SWM_OK;
}

uint32_t SWM_ComparePatchInfo(const SwmPatchInfo *a, const SwmPatchInfo *b) noexcept
{
    return compareElement(a, b);
}

uint32_t SWM_CompareModInfo(const SwmModInfo *a, const SwmModInfo *b) noexcept
{
    return compareElement(a, b);
}

uint32_t SWM_ComparePkgBriefInfo(const SwmPackageInfo *a, const SwmPackageInfo *b) noexcept
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return allEqual({{a->Version, b->Version}, {a->CcFile, b->CcFile}, {a->PackageName, b->PackageName}});
}

uint32_t SWM_ComparePackageBaseInfo(const SwmPackageInfo *a, const SwmPackageInfo *b) noexcept
{
    if (a == nullptr || b == nullptr) {
        return 0;
    }
    return allEqual({{a->Version, b->Version},
                     {a->CcFile, b->CcFile},
                     {a->CcPath, b->CcPath},
                     {a->InstallPath, b->InstallPath},
                     {a->PkgPoolPath, b->PkgPoolPath}});
}

uint32_t SWM_ComparePackagePatchInfo(const SwmPatchInfo *newPatch, const SwmPatchInfo *existing, int32_t existingCount,
                                     uint32_t *sameFlag) noexcept
{
    return compareWithFirst(newPatch, existing, existingCount, &SwmPatchInfo::PatchName, sameFlag);
}

uint32_t SWM_ComparePackageModInfo(const SwmModInfo *newMod, const SwmModInfo *existing, int32_t existingCount,
                                   uint32_t *sameFlag) noexcept
{
    return compareWithFirst(newMod, existing, existingCount, &SwmModInfo::ModName, sameFlag);
}
