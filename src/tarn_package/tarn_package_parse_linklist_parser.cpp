// Link lists: "source path" per line (docs/formats.md); reading them, gathering those of a package version, comparing
// an installed list with a new one.
#include <cerrno>
#include <cstring>

#include <tarn_basic/path.h>
#include <tarn_basic/pool.h>
#include <tarn_basic/text.h>
#include <tarn_boot/records.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/line_reader.h"
#include "common/list_update.h"
#include "common/log.h"
#include "common/record_copy.h"
#include "common/record_list.h"
#include "tarn_package/board_identity.h"

using namespace tarn;

namespace {

using LinkList = RecordList<LinklistNode>;

constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;
constexpr uint32_t kColumns = 2;

struct LinkFamily {
    using Node = LinklistNode;
    static const char *key(const LinklistRecord &record) { return record.linkPath; }
    static bool same(const LinklistRecord &a, const LinklistRecord &b) { return SWM_IsSameLinklistRecord(&a, &b) != 0; }
    static constexpr const char *kAdder = "SWM_AddLinklistRecord";
};

struct LinkFileFamily : LinkFamily {
    static constexpr const char *kAdder = "SWM_InsertLinklistRecord";
};

MergeStep linkStep(const LinklistRecord &oldRecord, const LinklistRecord &newRecord)
{
    switch (SWM_GetLinkUpdateType(&oldRecord, &newRecord)) {
    case UPDATE_SAME:
        return {.takeOld = false, .takeNew = false, .advanceOld = true, .advanceNew = true};
    case UPDATE_ADD:
        return {.takeOld = false, .takeNew = true, .advanceOld = false, .advanceNew = true};
    case UPDATE_DEL:
        return {.takeOld = true, .takeNew = false, .advanceOld = true, .advanceNew = false};
    default: // UPDATE_MODIFY
        return {.takeOld = true, .takeNew = true, .advanceOld = true, .advanceNew = true};
    }
}

} // namespace

uint32_t SWM_IsSameLinklistRecord(const LinklistRecord *a, const LinklistRecord *b) noexcept
{
    return static_cast<uint32_t>(a != nullptr && b != nullptr && SWM_IsStringEqual(a->linkSource, b->linkSource) != 0 &&
                                 SWM_IsStringEqual(a->linkPath, b->linkPath) != 0);
}

uint32_t SWM_InsertLinklistRecord(SwmListHead *list, const LinklistRecord *record) noexcept
{
    if (list == nullptr || record == nullptr) {
        return BASE_FAIL("SWM_InsertLinklistRecord: get null param.");
    }
    return addUnlessPresent<LinkFileFamily>(*list, *record);
}

uint32_t SWM_AddLinklistRecord(SwmListHead *list, const LinklistRecord *record) noexcept
{
    if (list == nullptr || record == nullptr) {
        return BASE_FAIL("SWM_AddLinklistRecord: get null param.");
    }
    return addUnlessPresent<LinkFamily>(*list, *record);
}

void SWM_FreeLinklistRecord(SwmListHead *list) noexcept
{
    if (list != nullptr) {
        LinkList(*list).release();
    }
}

uint32_t SWM_Trans2LinklistRecord(char *line, LinklistRecord *record) noexcept
{
    if (line == nullptr || record == nullptr) {
        return BASE_FAIL("SWM_Trans2LinklistRecord: get null param.");
    }
    Pieces columns;
    if (SWM_StringTrim(line) != 0 || !columns.split(line, " ")) {
        return SWM_FAIL;
    }
    if (columns.count() != kColumns) {
        return BASE_FAIL("The content of linklist is not correct! pcLinklistLine = [%s].", line);
    }
    printField(record->linkSource, columns[0]);
    printField(record->linkPath, columns[1]);
    return SWM_OK;
}

uint32_t SWM_GetAllRecordFromLinklist(const char *path, SwmListHead *list) noexcept
{
    UniqueStream stream;
    if (isNullOrEmpty(path) || list == nullptr || openStream(path, "r", stream) != 0) {
        return SWM_FAIL;
    }
    const HeapBlock<LinklistRecord> record = allocate<LinklistRecord>();
    if (!record) {
        return SWM_FAIL;
    }
    LinkList links(*list);
    links.initialise();
    UniqueAppender<LinkFileFamily> appender(*list);
    const char *function = __func__;
    const auto addLine = [&](char *line) {
        clearBytes(record.get(), sizeof(LinklistRecord), function);
        return SWM_Trans2LinklistRecord(line, record.get()) != SWM_OK ? SWM_FAIL : appender.add(*record);
    };
    if (readRecordLines(stream.get(), addLine) != ReadEnd::EndOfFile) {
        links.release();
        return SWM_FAIL;
    }
    return SWM_OK;
}

// ---- Comparing ----

uint32_t SWM_GetLinkUpdateType(const LinklistRecord *oldRecord, const LinklistRecord *newRecord) noexcept
{
    if (oldRecord == nullptr || newRecord == nullptr) {
        return BASE_FAIL("SWM_GetLinkUpdateType: get null param.");
    }
    const int order = strcmp(oldRecord->linkPath, newRecord->linkPath);
    if (order != 0) {
        return order < 0 ? UPDATE_DEL : UPDATE_ADD;
    }
    return SWM_IsSameLinklistRecord(oldRecord, newRecord) != 0 ? UPDATE_SAME : UPDATE_MODIFY;
}

uint32_t SWM_AddSrcListNodeToDstListNode(const SwmListHead *srcList, SwmListHead *dstList,
                                         const LinklistNode *startNode) noexcept
{
    if (srcList == nullptr || dstList == nullptr) {
        return BASE_FAIL("SWM_AddSrcListNodeToDstListNode: get null param.");
    }
    UniqueAppender<LinkFamily> target(*dstList);
    return ListCursor<LinkFamily>(*srcList, startNode).drainTo(target);
}

uint32_t SWM_GetAllLinkNeedUpdate(const SwmListHead *oldList, const SwmListHead *newList, SwmListHead *addList,
                                  SwmListHead *deleteList) noexcept
{
    if (oldList == nullptr || newList == nullptr || addList == nullptr || deleteList == nullptr) {
        return BASE_FAIL("SWM_GetAllLinkNeedUpdate: get null param.");
    }
    return mergeWalk<LinkFamily>(*oldList, *newList, *addList, *deleteList, linkStep);
}

// ---- Gathering ----

void SWM_GetLinkFilelistFullpath(const char *hardType, const char *pkgName, const char *pkgVer, char *out,
                                 uint32_t outSize) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || out == nullptr || isNoHardType(hardType, out, outSize)) {
        BASE_ERROR("SWM_GetLinkFilelistFullpath: get null param.");
        return;
    }
    const uint32_t cpuId = askCpuId();
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVerDescFileLocalPath(pkgName, pkgVer, dir, sizeof(dir)));
    warnIfCut(
        snprintf_s(out, outSize, textRoom(outSize), "%s/filelink_filelist_%s_000000%02X.txt", dir, hardType, cpuId));
}

uint32_t SWM_MergeCurrLinkFilelistRecord(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_MergeCurrLinkFilelistRecord: get null param.");
    }
    if (SWM_IsFileExist(path) == 0) {
        return SWM_OK;
    }
    LocalList<LinklistNode> merged;
    if (SWM_GetAllRecordFromLinklist(path, &merged.head) != SWM_OK) {
        // The words of board file lists, which this message is shared with.
        return BASE_FAIL("Get board filelist record from file[%s] unsuccessfully", path);
    }
    LinkList(*list).takeAll(merged.records);
    return SWM_OK;
}

namespace {

// Null names and count 0 when there are none.
uint32_t askImageNames(const char *hardType, const char *pkgName, const char *pkgVer, HeapBlock<ImageNameRecord> &names,
                       uint32_t &count)
{
    if (SWM_GetImageNameByHardtypeFromSubPkgVer(hardType, pkgName, pkgVer, nullptr, &count) != SWM_OK) {
        DISTREPO_ERROR("Get all image filelist record count unsuccessfully");
        return SWM_FAIL;
    }
    if (count == 0) {
        return SWM_OK;
    }
    names = allocate<ImageNameRecord>(count);
    if (!names) {
        LOCPKG_ERROR("Malloc image name buffer unsuccessfully, errno = %d", errno);
        return SWM_FAIL;
    }
    clearBytes(names.get(), count * sizeof(ImageNameRecord), "SWM_MergeLinkFilelistRecordFromImageList");
    const uint32_t status = SWM_GetImageNameByHardtypeFromSubPkgVer(hardType, pkgName, pkgVer, names.get(), &count);
    if (status != SWM_OK) {
        LOCPKG_ERROR("Get image filelist record unsuccessfully, pkgName = %s, pkgVer = %s", pkgName, pkgVer);
    }
    return status;
}

} // namespace

uint32_t SWM_MergeLinkFilelistRecordFromImageList(const char *hardType, const char *pkgName, const char *pkgVer,
                                                  SwmListHead *list) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || list == nullptr) {
        return BASE_FAIL("SWM_MergeLinkFilelistRecordFromImageList: get null param.");
    }
    HeapBlock<ImageNameRecord> names;
    uint32_t count = 0;
    uint32_t status = askImageNames(hardType, pkgName, pkgVer, names, count);
    if (status != SWM_OK || count == 0) {
        return status;
    }
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVerDescFileLocalPath(pkgName, pkgVer, dir, sizeof(dir)));
    for (uint32_t image = 0; image < count; ++image) {
        char path[kDirSize] = "";
        warnIfCut(snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s_filelink_filelist.txt", dir,
                             names.get()[image].name));
        status = SWM_MergeCurrLinkFilelistRecord(path, list);
        if (status != SWM_OK) {
            LOCPKG_ERROR("Get record form linkfile[%s] unsuccessfully", path);
            return status;
        }
    }
    return SWM_OK;
}

uint32_t SWM_GetFileLinkRecordFromSubPkgVersion(const char *hardType, const char *pkgName, const char *pkgVer,
                                                LinklistRecord *records, uint32_t *count) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || count == nullptr) {
        return BASE_FAIL("SWM_GetFileLinkRecordFromSubPkgVersion: get null param.");
    }
    LocalList<LinklistNode> links;
    char path[kPathSize] = "";
    SWM_GetLinkFilelistFullpath(hardType, pkgName, pkgVer, path, sizeof(path));
    if (SWM_IsFileExist(path) != 0 && SWM_GetAllRecordFromLinklist(path, &links.head) != SWM_OK) {
        return BASE_FAIL("Get all record from file[%s] unsuccessfully", path);
    }
    if (SWM_MergeLinkFilelistRecordFromImageList(hardType, pkgName, pkgVer, &links.head) != SWM_OK) {
        return BASE_FAIL("Get all record from image board filelist unsuccessfully");
    }
    const uint32_t status = copyRecords<LinklistNode>(links.head, records, *count);
    if (status == SWM_E_BUFFER_SMALL) {
        BASE_WARNING("Link filelist record buffer is not enough, buffer count = %u, record count = %u", *count, *count);
    }
    return status;
}
