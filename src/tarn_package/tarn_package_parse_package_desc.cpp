// Package descriptions: name, version, requirements and the two file sections; and the lists of identities and
// requirements that installers gather from them.
#include <cstdio>
#include <cstring>

#include <tarn_basic/text.h>
#include <tarn_boot/descriptor.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/line_reader.h"
#include "common/log.h"
#include "common/record_copy.h"
#include "common/record_list.h"

using namespace tarn;

namespace {

constexpr size_t kLineSize = 512;
constexpr uint32_t kFileFields = 4;
constexpr uint32_t kFilesSection = 0;
constexpr uint32_t kCompatibleSection = 1;

// In the order in which an entry is searched for them; the index is the relation's code.
constexpr const char *kRelations[] = {">=", "<=", "="};

template <class Data> uint32_t isSameData(const Data *a, const Data *b)
{
    return static_cast<uint32_t>(a != nullptr && b != nullptr && memcmp(a, b, sizeof(Data)) == 0);
}

template <class Node> void releaseList(SwmListHead *list)
{
    if (list != nullptr) {
        RecordList<Node>(*list).release();
    }
}

template <class Node, class Data> bool hasData(const SwmListHead &list, const Data &data)
{
    return ConstRecordList<Node>(list).find([&](const Node &node) { return isSameData(&node.data, &data) != 0; }) !=
           nullptr;
}

template <size_t size> void copyField(char (&out)[size], const char *text, const char *function)
{
    copyText(out, size, text, size - 1, function);
}

const char *headerOf(uint32_t sectionType)
{
    switch (sectionType) {
    case kFilesSection:
        return "files:";
    case kCompatibleSection:
        return "files-compatible:";
    default:
        return nullptr;
    }
}

} // namespace

// ---- Description ----

uint32_t SWM_GetPkgInfoFromPkgDesc(const char *descPath, PkgDescInfo *info) noexcept
{
    if (isNullOrEmpty(descPath) || info == nullptr) {
        return BASE_FAIL("SWM_GetPkgInfoFromPkgDesc: get null param.");
    }
    if (SWM_GetSecValueFromDesc(descPath, "package_name", info->packageName, sizeof(info->packageName)) != SWM_OK) {
        return BASE_FAIL("get package name from package description file failed. PkgDescFile: %s.", descPath);
    }
    if (SWM_GetSecValueFromDesc(descPath, "version", info->version, sizeof(info->version)) != SWM_OK) {
        return BASE_FAIL("get package version from package description file failed. PkgDescFile: %s.", descPath);
    }
    if (SWM_GetSecValueFromDesc(descPath, "requires", info->requiresText, sizeof(info->requiresText)) != SWM_OK) {
        return BASE_FAIL("get package requires from package description file failed. PkgDescFile: %s.", descPath);
    }
    if (SWM_GetAllFileStructureFromPkgDesc(descPath, &info->files) != SWM_OK) {
        return BASE_FAIL("get file structure from package description file failed. PkgDescFile: %s.", descPath);
    }
    if (SWM_GetAllFileCompatFromPkgDesc(descPath, &info->compatibleFiles) != SWM_OK) {
        BASE_ERROR("get files-compatible from package description file failed. PkgDescFile: %s.", descPath);
        SWM_FreeFileStructureRecord(&info->files);
        return SWM_FAIL;
    }
    return SWM_OK;
}

// ---- File sections ----

uint32_t SWM_GetAllFileStructureFromPkgDesc(const char *descPath, SwmListHead *list) noexcept
{
    return SwmGetAllFilesByTypeFromDesc(descPath, list, kFilesSection);
}

uint32_t SWM_GetAllFileCompatFromPkgDesc(const char *descPath, SwmListHead *list) noexcept
{
    return SwmGetAllFilesByTypeFromDesc(descPath, list, kCompatibleSection);
}

uint32_t SwmGetAllFilesByTypeFromDesc(const char *descPath, SwmListHead *list, uint32_t sectionType) noexcept
{
    if (isNullOrEmpty(descPath) || list == nullptr) {
        return BASE_FAIL("SwmGetAllFilesByTypeFromDesc: get null param.");
    }
    RecordList<FileStructureRecord>(*list).initialise();
    UniqueStream stream;
    if (openStream(descPath, "r", stream) != 0) {
        return SWM_FAIL;
    }
    const char *function = __func__;
    uint32_t inSection = 0;
    bool isOver = false;
    const auto isIgnored = [](const char *text) { return SWM_IsInvalidLine(text) != 0; };
    const auto take = [&](char *text) {
        if (SWM_IsFilesSection(text, sectionType) != 0) {
            inSection = 1;
        } else if (inSection != 0 && SWM_IsSection(text) != 0) {
            isOver = true;
            return SWM_FAIL; // any line with a colon ends the section, a path with one too
        } else if (SWM_ProcFileStructureRecord(inSection, text, list) != SWM_OK) {
            return SWM_FAIL;
        }
        clearBytes(text, kLineSize, function);
        return SWM_OK;
    };
    char line[kLineSize];
    const ReadEnd end = readLines(stream.get(), line, sizeof(line), isIgnored, take);
    // A bad line that the file ends in, without a line feed, is passed over: callers rely on it.
    if (end == ReadEnd::EndOfFile || isOver || (end == ReadEnd::Refused && feof(stream.get()) != 0)) {
        return SWM_OK;
    }
    SWM_FreeFileStructureRecord(list);
    return SWM_FAIL;
}

uint32_t SWM_IsFilesSection(const char *line, uint32_t sectionType) noexcept
{
    const char *header = headerOf(sectionType);
    return static_cast<uint32_t>(header != nullptr && SWM_IsSection(line) != 0 && strstr(line, header) != nullptr);
}

uint32_t SWM_ProcFileStructureRecord(uint32_t inSection, char *line, SwmListHead *list) noexcept
{
    if (line == nullptr || list == nullptr) {
        return BASE_FAIL("SWM_ProcFileStructureRecord: get null param.");
    }
    if (inSection == 0) {
        return SWM_OK;
    }
    FileStructureData data = {};
    clearBytes(&data, sizeof(data));
    return SWM_Trans2FileStructureRecord(line, &data) != SWM_OK ? SWM_FAIL : SWM_AddFileStructureRecord(list, &data);
}

uint32_t SWM_Trans2FileStructureRecord(char *line, FileStructureData *data) noexcept
{
    if (line == nullptr || data == nullptr) {
        return BASE_FAIL("SWM_Trans2FileStructureRecord: get null param.");
    }
    Pieces fields;
    if (SWM_StringTrim(line) != 0 || !fields.split(line, " ") || fields.count() != kFileFields) {
        return SWM_FAIL;
    }
    printField(data->firstText, fields[0]);
    printField(data->secondText, fields[1]);
    printField(data->thirdText, fields[3]);
    data->flag = static_cast<uint32_t>(SWM_IsStringEqual(fields[2], "yes") != 0);
    return SWM_OK;
}

uint32_t SWM_AddFileStructureRecord(SwmListHead *list, const FileStructureData *data) noexcept
{
    if (list == nullptr || data == nullptr) {
        return BASE_FAIL("SWM_AddFileStructureRecord: get null param.");
    }
    return hasData<FileStructureRecord>(*list, *data) ? SWM_OK : appendCopy(*list, &FileStructureRecord::data, *data);
}

uint32_t SWM_IsSameFileStruRecord(const FileStructureData *a, const FileStructureData *b) noexcept
{
    return isSameData(a, b);
}

uint32_t SWM_IsSamePkgBasicNode(const PkgBasicData *a, const PkgBasicData *b) noexcept
{
    return isSameData(a, b);
}

uint32_t SWM_IsSamePkgRequireNode(const PkgRequireData *a, const PkgRequireData *b) noexcept
{
    return isSameData(a, b);
}

void SWM_FreeFileStructureRecord(SwmListHead *list) noexcept
{
    releaseList<FileStructureRecord>(list);
}

void SWM_FreePkgBasicList(SwmListHead *list) noexcept
{
    releaseList<PkgBasicInfo>(list);
}

void SWM_FreePkgRequireList(SwmListHead *list) noexcept
{
    releaseList<PkgRequireInfo>(list);
}

// ---- Identities ----

uint32_t SWM_GetPkgBasicInfo(PkgBasicData *data, const char *ccName, const PkgDescInfo *info) noexcept
{
    if (data == nullptr || ccName == nullptr || info == nullptr) {
        return BASE_FAIL("SWM_GetPkgBasicInfo: get null param.");
    }
    copyField(data->ccName, ccName, __func__);
    copyField(data->packageName, info->packageName, __func__);
    copyField(data->version, info->version, __func__);
    return SWM_OK;
}

uint32_t SWM_MallocAndAddPkgBasicInfoToList(SwmListHead *list, const char *ccName, const PkgDescInfo *info) noexcept
{
    if (list == nullptr || ccName == nullptr || info == nullptr) {
        return BASE_FAIL("SWM_MallocAndAddPkgBasicInfoToList: get null param.");
    }
    PkgBasicData data = {};
    clearBytes(&data, sizeof(data));
    if (SWM_GetPkgBasicInfo(&data, ccName, info) != SWM_OK || SWM_AddPkgBasicInfoToList(list, &data) != SWM_OK) {
        return BASE_FAIL("Add pkg basic info to list failed.");
    }
    return SWM_OK;
}

uint32_t SWM_AddPkgBasicInfoToList(SwmListHead *list, const PkgBasicData *data) noexcept
{
    if (list == nullptr || data == nullptr) {
        return BASE_FAIL("SWM_AddPkgBasicInfoToList: get null param.");
    }
    if (hasData<PkgBasicInfo>(*list, *data)) {
        BASE_WARNING("New basic node cc[%s], pkg[%s], version[%s] is already in list.", data->ccName, data->packageName,
                     data->version);
        return SWM_OK;
    }
    if (appendCopy(*list, &PkgBasicInfo::data, *data) != SWM_OK) {
        return BASE_FAIL("Malloc pkg basic node failed.");
    }
    return SWM_OK;
}

// ---- Requirements ----

uint32_t SWM_GetPkgRequireInfo(PkgRequireData *data, const char *ccName, const PkgDescInfo *info, uint32_t relation,
                               char *const *pieces) noexcept
{
    if (data == nullptr || ccName == nullptr || info == nullptr || pieces == nullptr || pieces[0] == nullptr ||
        pieces[1] == nullptr) {
        return BASE_FAIL("SWM_GetPkgRequireInfo: get null param.");
    }
    copyField(data->ccName, ccName, __func__);
    copyField(data->packageName, info->packageName, __func__);
    copyField(data->requiredName, pieces[0], __func__);
    copyField(data->requiredVersion, pieces[1], __func__);
    data->relation = relation;
    return SWM_OK;
}

uint32_t SWM_GetPkgRequireInfoNoVer(PkgRequireData *data, const char *ccName, const PkgDescInfo *info,
                                    uint32_t relation, const char *entry) noexcept
{
    if (data == nullptr || ccName == nullptr || info == nullptr || entry == nullptr) {
        return BASE_FAIL("SWM_GetPkgRequireInfoNoVer: get null param.");
    }
    copyField(data->ccName, ccName, __func__);
    copyField(data->packageName, info->packageName, __func__);
    copyField(data->requiredName, entry, __func__);
    copyField(data->requiredVersion, "", __func__);
    data->relation = relation;
    return SWM_OK;
}

uint32_t SWM_GetPkgRequireInfoByReqArray(const char *entry, PkgRequireData *data, uint32_t dataSize, const char *ccName,
                                         const PkgDescInfo *info) noexcept
{
    if (entry == nullptr || data == nullptr || dataSize < sizeof(PkgRequireData) || ccName == nullptr ||
        info == nullptr) {
        return BASE_FAIL("SWM_GetPkgRequireInfoByReqArray: get null param.");
    }
    for (uint32_t relation = PKG_RELATION_GE; relation < PKG_RELATION_NONE; ++relation) {
        if (strstr(entry, kRelations[relation]) == nullptr) {
            continue;
        }
        Pieces pieces;
        if (!pieces.split(entry, kRelations[relation])) {
            return BASE_FAIL("Trans string[%s] to array failed.", entry);
        }
        if (pieces.count() != 2) {
            return BASE_FAIL("Trans string[%s] to array, array num[%u] error.", entry, pieces.count());
        }
        clearBytes(data, dataSize);
        return SWM_GetPkgRequireInfo(data, ccName, info, relation, pieces.data());
    }
    BASE_INFO("No symbol between pkg name and version.");
    clearBytes(data, dataSize);
    return SWM_GetPkgRequireInfoNoVer(data, ccName, info, PKG_RELATION_NONE, entry);
}

uint32_t SWM_MallocAndAddPkgRequireInfoToList(SwmListHead *list, const char *ccName, const PkgDescInfo *info) noexcept
{
    if (list == nullptr || ccName == nullptr || info == nullptr) {
        return BASE_FAIL("SWM_MallocAndAddPkgRequireInfoToList: get null param.");
    }
    Pieces entries;
    if (!entries.split(info->requiresText, ";")) {
        return BASE_FAIL("Trans string[%s] to array failed.", info->requiresText);
    }
    for (uint32_t index = 0; index < entries.count(); ++index) {
        PkgRequireData data = {};
        if (SWM_GetPkgRequireInfoByReqArray(entries[index], &data, sizeof(data), ccName, info) != SWM_OK) {
            return BASE_FAIL("Trans string[%s] to array failed.", entries[index]);
        }
        if (SWM_AddPkgRequireInfoToList(list, &data) != SWM_OK) {
            return BASE_FAIL("Add pkg require info to list failed.");
        }
    }
    return SWM_OK;
}

uint32_t SWM_AddPkgRequireInfoToList(SwmListHead *list, const PkgRequireData *data) noexcept
{
    if (list == nullptr || data == nullptr) {
        return BASE_FAIL("SWM_AddPkgRequireInfoToList: get null param.");
    }
    if (hasData<PkgRequireInfo>(*list, *data)) {
        BASE_WARNING(
            "New require node acCcName:%s, acPkgName:%s, acRequirePkgName:%s, acRequirePkgVer:%s is already in "
            "list.",
            data->ccName, data->packageName, data->requiredName, data->requiredVersion);
        return SWM_OK;
    }
    if (appendCopy(*list, &PkgRequireInfo::data, *data) != SWM_OK) {
        // The words of identities, which this message is shared with.
        return BASE_FAIL("Malloc pkg basic node failed.");
    }
    return SWM_OK;
}
