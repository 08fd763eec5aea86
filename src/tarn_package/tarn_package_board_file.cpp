// File lists: their line format (docs/formats.md), loading them sorted, creating the directories they name, comparing
// an installed list with a new one, and the lists of a board and of its images.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sched.h>

#include <tarn_basic/crypto.h>
#include <tarn_basic/directory.h>
#include <tarn_basic/file.h>
#include <tarn_basic/path.h>
#include <tarn_basic/pool.h>
#include <tarn_basic/text.h>
#include <tarn_boot/records.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/heap_reserve.h"
#include "common/list_sort.h"
#include "common/log.h"
#include "common/record_list.h"
#include "tarn_package/board_identity.h"
#include "tarn_package/file_comparison.h"

using namespace tarn;

namespace {

using FileList = RecordList<FilelistTxtNode>;
using ConstFileList = ConstRecordList<FilelistTxtNode>;

constexpr int64_t kMaxListSize = 0x7FFFFFFE;
constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;
constexpr uint32_t kFirstImageQuery = 20;
constexpr uint32_t kDirectoryKind = 2; // what SWM_CreateDirWithPermission is told

constexpr uint32_t kShortLine = 7;
constexpr uint32_t kLongLine = 13;
constexpr uint32_t kLongLineWithNumber = 14;

int32_t toNumber(const char *text)
{
    return static_cast<int32_t>(strtol(text, nullptr, 10));
}

// The part of "owner:…" before the colon.
template <size_t size> uint32_t printFirstPiece(char (&out)[size], const char *text, const char *function)
{
    Pieces pieces;
    if (!pieces.split(text, ":") || pieces.count() == 0) {
        return SWM_FAIL;
    }
    printField(out, pieces[0], function);
    return SWM_OK;
}

uint32_t convertOptionalColumns(const Pieces &columns, FilelistTxtRecord &record)
{
    for (uint32_t column = kShortLine; column < kLongLine; ++column) {
        if (SWM_UpdateFileListRecodeByType(&record, columns[column], column) != SWM_OK) {
            return BASE_FAIL("Update record failed, inputStr is %s, recordType is %d", columns[column],
                             static_cast<int>(column));
        }
    }
    return SWM_OK;
}

// Fills a zeroed record, which is worth nothing after a failure.
uint32_t convertLine(char *line, FilelistTxtRecord &record)
{
    Pieces columns;
    if (SWM_StringTrim(line) != 0 || !columns.split(line, " ")) {
        return SWM_FAIL;
    }
    const uint32_t count = columns.count();
    if (count != kShortLine && count != kLongLine && count != kLongLineWithNumber) {
        return BASE_FAIL("%s:filelist column number error, line:%s", "SWM_Trans2FilelistTxtRecord", line);
    }
    SWM_GetBaseBoardFileInfo(columns.data(), count, &record);
    if (count == kShortLine) {
        SWM_UpdateFileListRecodeDefault(&record);
    } else if (convertOptionalColumns(columns, record) != SWM_OK) {
        return SWM_FAIL;
    }
    record.isDir = static_cast<uint32_t>(strcmp(record.entryName, "/") == 0);
    record.hasCol10 = static_cast<uint32_t>(strcmp(record.col10Text, "NA") != 0);
    return SWM_OK;
}

uint32_t createListedDirs(const SwmListHead &list, bool custom, const char *function)
{
    for (const FilelistTxtNode &node : ConstFileList(list)) {
        const FilelistTxtRecord &dir = node.record;
        if (dir.isDir == 0) {
            continue;
        }
        char path[kPathSize] = "";
        const int length = snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s", dir.installDir, dir.fileName);
        if (!custom) {
            warnIfCut(length, function);
        } else if (length < 0) {
            COMMON_WARNING("snprintf failed. strings :%s and %s.", dir.installDir, dir.fileName);
        }
        if (dir.col11Num != 0) {
            continue;
        }
        SWM_Trans2AbsolutePath(path);
        SWM_PkgSpecialDirHandler(path);
        const uint32_t status = custom
                                    ? SWM_CreateDirWithCustomPermission(path, dir.mode, dir.owner, dir.group)
                                    : SWM_CreateDirWithPermission(path, kDirectoryKind, dir.mode, dir.owner, dir.group);
        if (status != 0) {
            return BASE_FAIL("%s:mkdir %s failed", function, path);
        }
    }
    return SWM_OK;
}

// The names, as many as there are; most boards run so few images that one question is enough.
uint32_t askImageNames(const char *hardType, const char *pkgName, const char *pkgVer, HeapBlock<ImageNameRecord> &names,
                       uint32_t &count)
{
    count = kFirstImageQuery;
    uint32_t status = SWM_E_BUFFER_SMALL;
    for (int question = 0; question < 2 && status == SWM_E_BUFFER_SMALL; ++question) {
        names.reset();
        names = allocate<ImageNameRecord>(count);
        if (!names) {
            LOCPKG_ERROR("Malloc image name buffer unsuccessfully, errno = %d", errno);
            return SWM_FAIL;
        }
        // A name whose copy fails is only warned about: it is empty then.
        for (uint32_t image = 0; image < count; ++image) {
            names.get()[image].name[0] = '\0';
        }
        status = SWM_GetImageNameByHardtypeFromSubPkgVer(hardType, pkgName, pkgVer, names.get(), &count);
    }
    if (status != SWM_OK) {
        LOCPKG_ERROR("Get image name record unsuccessfully, pkgName = %s, pkgVer = %s", pkgName, pkgVer);
    }
    return status;
}

} // namespace

// ---- Loading a file of lines ----

uint32_t SwmLoadFileContent(const char *path, char **contentOut, uint64_t *lengthOut) noexcept
{
    if (isNullOrEmpty(path) || contentOut == nullptr || lengthOut == nullptr) {
        return BASE_FAIL("SwmLoadFileContent: get null param.");
    }
    int64_t size = 0;
    if (SWM_GetFileSize(path, &size) != 0) {
        size = 0;
    }
    if (size < 1 || size > kMaxListSize) {
        return BASE_FAIL("SwmLoadFileContent get file size not correct, file=%s size=%d.", path,
                         static_cast<int>(size));
    }
    CanonicalFd file(TARN_CanonicalOpen(path, 0));
    if (file.get() < 0) {
        return BASE_FAIL("SwmLoadFileContent open file not correct, file=%s.", path);
    }
    const auto length = static_cast<size_t>(size);
    HeapBlock<char> content = allocate<char>(length + 1);
    if (!content) {
        return BASE_FAIL("SwmLoadFileContent malloc failed, errno=%d.", errno);
    }
    preferHugePages(content.get(), length + 1);
    const int32_t got = TARN_ReadFile(file.get(), content.get(), static_cast<uint32_t>(length), 0);
    file.reset();
    if (static_cast<uint32_t>(got) != static_cast<uint32_t>(length)) {
        return BASE_FAIL("SwmLoadFileContent read failed, file=%s.", path);
    }
    content.get()[length] = '\0';
    *contentOut = content.release();
    *lengthOut = length + 1;
    return SWM_OK;
}

namespace {

// Cuts the text into lines in place. loaded() follows each line.
template <class Loaded>
uint32_t loadLines(char *content, uint64_t length, SwmListHead &list, SwmFilelistCompare compare, Loaded loaded)
{
    uint32_t lines = 0;
    HeapReserve reserve(static_cast<size_t>(std::count(content, content + length, '\n')), sizeof(FilelistTxtNode));
    for (uint32_t start = 0; start < length;) {
        char *line = content + start;
        char *end = strchrnul(line, '\n');
        if (end >= content + length) {
            return BASE_FAIL("SwmLoadFileToList parse line failed.");
        }
        start = static_cast<uint32_t>(end - content) + 1;
        if (end == line) {
            continue;
        }
        *end = '\0';
        if ((++lines & 0xFF) == 0) {
            static_cast<void>(sched_yield());
        }
        reserve.next();
        if (SwmLoadFileLineToList(line, &list, compare) != SWM_OK) {
            return BASE_FAIL("SwmLoadFileToList parse line failed.");
        }
        loaded();
    }
    return SWM_OK;
}

} // namespace

uint32_t SwmLoadFileToList(const char *path, SwmListHead *list, SwmFilelistCompare compare) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SwmLoadFileToList: get null param.");
    }
    char *text = nullptr;
    uint64_t length = 0;
    if (SwmLoadFileContent(path, &text, &length) != SWM_OK) {
        return SWM_FAIL;
    }
    const HeapBlock<char> content(text);
    if (compare != SWM_ComparebyPoolname || !ConstFileList(*list).empty()) {
        return loadLines(text, length, *list, compare, [] {});
    }
    // Appending and sorting once gives the list that inserting every line in its place would give.
    LaterFirstSort<FileFamily> sort(*list);
    const uint32_t status = loadLines(text, length, *list, nullptr, [&sort] { sort.noteLast(); });
    sort.run(text, length);
    return status;
}

uint32_t SwmLoadFileLineToList(char *line, SwmListHead *list, SwmFilelistCompare compare) noexcept
{
    if (line == nullptr || list == nullptr) {
        return BASE_FAIL("SwmLoadFileLineToList: get null param.");
    }
    if (SWM_IsSpaceString(line) != 0) {
        return SWM_OK;
    }
    HeapBlock<FilelistTxtNode> node = allocate<FilelistTxtNode>();
    if (!node) {
        return BASE_FAIL("SwmLoadFileLineToList malloc failed, errno=%d.", errno);
    }
    clearBytes(node.get(), sizeof(FilelistTxtNode));
    uint32_t status = convertLine(line, node->record);
    if (status != SWM_OK) {
        return BASE_FAIL("SwmLoadFileLineToList trans record failed, ret = %u", status);
    }
    status = SWM_InsertFilelistTxtRecord(list, node.get(), compare);
    if (status != SWM_OK) {
        return BASE_FAIL("SwmLoadFileLineToList insert record failed, ret = %u", status);
    }
    static_cast<void>(node.release());
    return SWM_OK;
}

// ---- File lists: records ----

int32_t SWM_ComparebyPoolname(const FilelistTxtRecord *a, const FilelistTxtRecord *b) noexcept
{
    const int order = a != nullptr && b != nullptr ? strcmp(a->poolName, b->poolName) : 0;
    return order < 0 ? -1 : static_cast<int32_t>(order > 0);
}

uint32_t SWM_IsSameRecord(const FilelistTxtRecord *a, const FilelistTxtRecord *b) noexcept
{
    return static_cast<uint32_t>(
        a != nullptr && b != nullptr && SWM_IsStringEqual(a->entryName, b->entryName) != 0 &&
        SWM_IsStringEqual(a->installDir, b->installDir) != 0 && SWM_IsStringEqual(a->poolName, b->poolName) != 0 &&
        SWM_IsStringEqual(a->fileName, b->fileName) != 0 && memcmp(a->digest, b->digest, sizeof(a->digest)) == 0);
}

uint32_t SWM_InsertFilelistTxtRecord(SwmListHead *list, FilelistTxtNode *node, SwmFilelistCompare compare) noexcept
{
    if (list == nullptr || node == nullptr) {
        BASE_ERROR("SWM_InsertFilelistTxtRecord: get null param.");
        return SWM_OK;
    }
    FileList records(*list);
    FilelistTxtNode *next = compare == nullptr ? nullptr : records.find([&](const FilelistTxtNode &old) {
        return compare(&node->record, &old.record) <= 0;
    });
    if (next == nullptr) {
        records.append(HeapBlock<FilelistTxtNode>(node));
    } else {
        records.insertBefore(*next, HeapBlock<FilelistTxtNode>(node));
    }
    return SWM_OK;
}

uint32_t SWM_AddFilelistTxtRecord(SwmListHead *list, const FilelistTxtRecord *record) noexcept
{
    if (list == nullptr || record == nullptr) {
        return BASE_FAIL("SWM_AddFilelistTxtRecord: get null param.");
    }
    return addUnlessPresent<FileFamily>(*list, *record);
}

void SWM_FreeFilelistTxtRecord(SwmListHead *list) noexcept
{
    if (list != nullptr) {
        FileList(*list).release();
    }
}

// ---- File lists: one line ----

uint32_t SWM_Trans2FilelistTxtRecord(char *line, FilelistTxtRecord *record) noexcept
{
    if (line == nullptr || record == nullptr) {
        return BASE_FAIL("SWM_Trans2FilelistTxtRecord: get null param.");
    }
    FilelistTxtRecord converted = {};
    const uint32_t status = convertLine(line, converted);
    if (status == SWM_OK) {
        *record = converted;
    }
    return status;
}

void SWM_GetBaseBoardFileInfo(char *const *columns, uint32_t columnCount, FilelistTxtRecord *record) noexcept
{
    if (columns == nullptr || record == nullptr) {
        BASE_ERROR("SWM_GetBaseBoardFileInfo: get null param.");
        return;
    }
    const char *function = __func__;
    const auto print = [=](auto &field, uint32_t column) {
        if (column < columnCount) {
            printField(field, columns[column], function);
        }
    };
    if (columnCount > 0) {
        // Text that is no digest leaves zeroes, which no file answers to.
        clearBytes(record->digest, sizeof(record->digest));
        if (SWM_GetShaVal(columns[0], record->digest, sizeof(record->digest)) != 0) {
            clearBytes(record->digest, sizeof(record->digest));
        }
    }
    print(record->entryName, 1);
    print(record->installDir, 2);
    print(record->poolName, 3);
    print(record->fileName, 4);
    if (columnCount > 5) {
        record->col5Num = toNumber(columns[5]);
    }
    print(record->col6Text, 6);
    if (columnCount > kLongLine) {
        record->col13Num = toNumber(columns[kLongLine]);
    }
}

void SWM_UpdateFileListRecodeDefault(FilelistTxtRecord *record) noexcept
{
    if (record == nullptr) {
        BASE_ERROR("SWM_UpdateFileListRecodeDefault: get null param.");
        return;
    }
    printField(record->owner, "NA");
    printField(record->group, "NA");
    record->mode = 0440;
    record->hasCol10 = 0;
    printField(record->col10Text, "NA");
    record->col11Num = 0;
    printField(record->col12Text, "");
    record->col13Num = 0;
}

uint32_t SWM_UpdateFileListRecodeByType(FilelistTxtRecord *record, const char *text, uint32_t type) noexcept
{
    if (record == nullptr || text == nullptr) {
        return BASE_FAIL("SWM_UpdateFileListRecodeByType: get null param.");
    }
    switch (type) {
    case 7:
        return printFirstPiece(record->owner, text, __func__);
    case 8:
        return printFirstPiece(record->group, text, __func__);
    case 9:
        if (const auto mode = static_cast<uint32_t>(strtol(text, nullptr, 8)); mode != 0) {
            record->mode = mode;
            return SWM_OK;
        }
        return SWM_FAIL;
    case 10:
        printField(record->col10Text, text);
        return SWM_OK;
    case 11:
        if (SWM_IsDigitString(text) == 0) {
            return SWM_FAIL;
        }
        record->col11Num = toNumber(text);
        return SWM_OK;
    case 12:
        printField(record->col12Text, text);
        return SWM_OK;
    default:
        return SWM_OK;
    }
}

// ---- File lists: directories ----

uint32_t SWM_CreateAllDir(const SwmListHead *list) noexcept
{
    return list != nullptr ? createListedDirs(*list, false, __func__) : BASE_FAIL("SWM_CreateAllDir: get null param.");
}

uint32_t SWM_CreateAllDirEx(const SwmListHead *list) noexcept
{
    return list != nullptr ? createListedDirs(*list, true, __func__) : BASE_FAIL("SWM_CreateAllDirEx: get null param.");
}

// ---- File lists: loading ----

uint32_t SWM_GetAllRecordFromFilelistTxtNoCreateDir(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_GetAllRecordFromFilelistTxtNoCreateDir: get null param.");
    }
    FileList records(*list);
    records.initialise();
    const uint32_t status = SwmLoadFileToList(path, list, SWM_ComparebyPoolname);
    if (status != SWM_OK) {
        records.release();
    }
    return status;
}

uint32_t SWM_GetAllRecordFromFilelistTxtCommProc(const char *path, SwmListHead *list, SwmFilelistCompare,
                                                 uint32_t custom) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_GetAllRecordFromFilelistTxtCommProc: get null param.");
    }
    const uint32_t status = SWM_GetAllRecordFromFilelistTxtNoCreateDir(path, list);
    if (status != SWM_OK) {
        return BASE_FAIL("SWM_GetAllRecordFromFilelistTxtNoCreateDir failed ret = %u", status);
    }
    // A list is also loaded to look at it: directories that cannot be made are no reason to refuse it.
    if ((custom != 0 ? SWM_CreateAllDirEx(list) : SWM_CreateAllDir(list)) != SWM_OK) {
        BASE_ERROR("%s:create all dirent by filelist failed", __func__);
    }
    return SWM_OK;
}

uint32_t SWM_GetAllRecordFromFilelistTxt(const char *path, SwmListHead *list) noexcept
{
    return SWM_GetAllRecordFromFilelistTxtCommProc(path, list, SWM_ComparebyPoolname, 1);
}

// Callers rely on its list being sorted too, despite the name.
uint32_t SWM_GetAllRecordFromFilelistTxtWithoutSort(const char *path, SwmListHead *list) noexcept
{
    return SWM_GetAllRecordFromFilelistTxtCommProc(path, list, nullptr, 0);
}

// ---- File lists: comparing ----

uint32_t SWM_GetTxtRecordUpdateType(const FilelistTxtRecord *oldRecord, const FilelistTxtRecord *newRecord) noexcept
{
    if (oldRecord == nullptr || newRecord == nullptr) {
        return BASE_FAIL("SWM_GetTxtRecordUpdateType: get null param.");
    }
    const int order = strcmp(oldRecord->poolName, newRecord->poolName);
    if (order != 0) {
        return order < 0 ? UPDATE_DEL : UPDATE_ADD;
    }
    if (memcmp(oldRecord->digest, newRecord->digest, sizeof(oldRecord->digest)) != 0) {
        return UPDATE_MODIFY;
    }
    char path[kPathSize] = "";
    warnIfCut(snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s", oldRecord->installDir, oldRecord->fileName));
    if (SWM_IsFileExist(path) == 0 || isPatchLinkAstray(path)) {
        return UPDATE_ADD;
    }
    if (SWM_SHA_IsFileDamaged2(path, oldRecord->digest, sizeof(oldRecord->digest)) != 0) {
        return UPDATE_MODIFY;
    }
    return newRecord->hasCol10 != 0 ? UPDATE_REFRESH : UPDATE_SAME;
}

uint32_t SWM_AddSrcFileListToDstFileList(const SwmListHead *srcList, SwmListHead *dstList,
                                         const FilelistTxtNode *startNode) noexcept
{
    if (srcList == nullptr || dstList == nullptr) {
        return BASE_FAIL("SWM_AddSrcFileListToDstFileList: get null param.");
    }
    UniqueAppender<FileFamily> target(*dstList);
    return ListCursor<FileFamily>(*srcList, startNode).drainTo(target);
}

uint32_t SWM_GetAllRecordNeedUpdate(const SwmListHead *oldList, const SwmListHead *newList, SwmListHead *updateList,
                                    SwmListHead *deleteList) noexcept
{
    if (oldList == nullptr || newList == nullptr || updateList == nullptr || deleteList == nullptr) {
        return BASE_FAIL("SWM_GetAllRecordNeedUpdate: get null param.");
    }
    return mergeWalk<FileFamily>(*oldList, *newList, *updateList, *deleteList, fileStep);
}

// ---- Board file lists ----

uint32_t SWM_GetBoardFilelistFullpath(const char *pkgName, const char *pkgVer, char *out, uint32_t outSize) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || out == nullptr) {
        BASE_ERROR("SWM_GetBoardFilelistFullpath: get null param.");
        return SWM_OK;
    }
    const uint32_t cpuId = askCpuId();
    const uint32_t hardType = askHardType();
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVerDescFileLocalPath(pkgName, pkgVer, dir, sizeof(dir)));
    warnIfCut(snprintf_s(out, outSize, textRoom(outSize), "%s/board_filelist_%X_000000%02X.txt", dir, hardType, cpuId));
    return SWM_OK;
}

void SWM_GetBoardFilelistFullpathByHardtype(const char *hardType, const char *pkgName, const char *pkgVer, char *out,
                                            uint32_t outSize) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || out == nullptr || isNoHardType(hardType, out, outSize)) {
        BASE_ERROR("SWM_GetBoardFilelistFullpathByHardtype: get null param.");
        return;
    }
    const uint32_t cpuId = askCpuId();
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVerDescFileLocalPath(pkgName, pkgVer, dir, sizeof(dir)));
    static_cast<void>(
        snprintf_s(out, outSize, textRoom(outSize), "%s/board_filelist_%s_000000%02X.txt", dir, hardType, cpuId));
}

uint32_t SWM_GetBrdFileRecordsBySubPkgVerAndHardtype(const char *hardType, const char *pkgName, const char *pkgVer,
                                                     SwmListHead *list) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || list == nullptr) {
        return BASE_FAIL("SWM_GetBrdFileRecordsBySubPkgVerAndHardtype: get null param.");
    }
    FileList records(*list);
    records.initialise();
    char path[kPathSize] = "";
    SWM_GetBoardFilelistFullpathByHardtype(hardType, pkgName, pkgVer, path, sizeof(path));
    if (SWM_IsFileExist(path) != 0 && SWM_GetAllRecordFromFilelistTxt(path, list) != SWM_OK) {
        return BASE_FAIL("Get all record from file[%s] unsuccessfully", path);
    }
    if (SWM_MergeAllImageBoardFileRecord(hardType, pkgName, pkgVer, list) != SWM_OK) {
        BASE_ERROR("Get all record from image board filelist unsuccessfully");
        records.release();
        return SWM_FAIL;
    }
    return SWM_OK;
}

uint32_t SWM_MergeAllImageBoardFileRecord(const char *hardType, const char *pkgName, const char *pkgVer,
                                          SwmListHead *list) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || list == nullptr) {
        return BASE_FAIL("SWM_MergeAllImageBoardFileRecord: get null param.");
    }
    HeapBlock<ImageNameRecord> names;
    uint32_t count = 0;
    const uint32_t status = askImageNames(hardType, pkgName, pkgVer, names, count);
    if (status != SWM_OK || count == 0) {
        return status;
    }
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVerDescFileLocalPath(pkgName, pkgVer, dir, sizeof(dir)));
    for (uint32_t image = 0; image < count; ++image) {
        char path[kDirSize] = "";
        warnIfCut(
            snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s_board_filelist.txt", dir, names.get()[image].name));
        if (SWM_MergeCurrImageBoardFileRecord(path, list) != SWM_OK) {
            LOCPKG_ERROR("Merge image filelist record from file[%s] unsuccessfully", path);
            return SWM_FAIL;
        }
    }
    return SWM_OK;
}

uint32_t SWM_MergeCurrImageBoardFileRecord(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_MergeCurrImageBoardFileRecord: get null param.");
    }
    if (SWM_IsFileExist(path) == 0) {
        return SWM_OK;
    }
    LocalList<FilelistTxtNode> merged;
    if (SWM_GetAllRecordFromFilelistTxt(path, &merged.head) != SWM_OK) {
        return BASE_FAIL("Get board filelist record from file[%s] unsuccessfully", path);
    }
    FileList(*list).takeAll(merged.records);
    return SWM_OK;
}
