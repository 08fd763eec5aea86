// File lists: loading sorted against inserting record by record, and the directories that a load creates. The platform
// creates none here, but answers by what the input says.
#include "list_check.h"

#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include <tarn_basic/directory.h>
#include <tarn_basic/file.h>
#include <tarn_boot/records.h>

using namespace tarn::fuzz;

namespace {

size_t directoriesAsked = 0;
size_t directoriesUntilFailure = SIZE_MAX;

uint32_t createDirectory(const char *path, uint32_t mode)
{
    require(path[0] == '/' && mode != 0, "directories are created by absolute paths with a mode");
    ++directoriesAsked;
    return directoriesAsked > directoriesUntilFailure ? 1 : 0;
}

bool sameBytes(const FilelistTxtRecord &a, const FilelistTxtRecord &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

template <size_t size> void requireText(const char (&field)[size])
{
    require(memchr(field, '\0', size) != nullptr, "texts are terminated");
}

void checkRecord(const FilelistTxtRecord &record)
{
    requireText(record.entryName);
    requireText(record.installDir);
    requireText(record.poolName);
    requireText(record.fileName);
    requireText(record.col6Text);
    requireText(record.owner);
    requireText(record.group);
    requireText(record.col10Text);
    requireText(record.col12Text);
    require(record.mode != 0, "a mode is never 0");
    require(record.isDir == (strcmp(record.entryName, "/") == 0), "an entry \"/\" is a directory");
    require(record.hasCol10 == (strcmp(record.col10Text, "NA") != 0), "an option text \"NA\" is none");
}

// Each record goes before the first one that does not sort before it.
std::vector<FilelistTxtRecord> inserted(const std::vector<FilelistTxtRecord> &records)
{
    std::vector<FilelistTxtRecord> sorted;
    for (const FilelistTxtRecord &record : records) {
        auto position = sorted.begin();
        while (position != sorted.end() && strcmp(record.poolName, position->poolName) > 0) {
            ++position;
        }
        sorted.insert(position, record);
    }
    return sorted;
}

void checkDirectories(const char *path, const std::vector<FilelistTxtRecord> &records, size_t untilFailure)
{
    size_t listed = 0;
    for (const FilelistTxtRecord &record : records) {
        listed += record.isDir != 0 && record.col11Num == 0 ? 1 : 0;
    }
    directoriesUntilFailure = untilFailure;
    for (const auto load : {SWM_GetAllRecordFromFilelistTxt, SWM_GetAllRecordFromFilelistTxtWithoutSort}) {
        directoriesAsked = 0;
        SwmListHead list = {};
        require(load(path, &list) == SWM_OK, "directories do not decide about a load");
        require(directoriesAsked == std::min(listed, untilFailure + 1), "listed directories are created in turn");
        requireSame(recordsOf<FilelistTxtNode>(list), records, sameBytes, "a load is sorted");
        SWM_FreeFilelistTxtRecord(&list);
    }
}

} // namespace

// The scratch file has no name that leads to it, other than this one.
int32_t TARN_CanonicalOpen(const char *path, int32_t)
{
    return open(path, O_RDONLY | O_CLOEXEC);
}

uint32_t SWM_CreateDirWithPermission(const char *path, uint32_t kind, uint32_t mode, const char *, const char *)
{
    require(kind == 2, "the kind of directory is the stated one");
    return createDirectory(path, mode);
}

uint32_t SWM_CreateDirWithCustomPermission(const char *path, uint32_t mode, const char *, const char *)
{
    return createDirectory(path, mode);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    if (size == 0) {
        return 0;
    }
    file.assign(data + 1, size - 1);
    SwmListHead appended;
    makeEmpty(appended);
    const uint32_t status = SwmLoadFileToList(file.path(), &appended, nullptr);
    const std::vector<FilelistTxtRecord> records = recordsOf<FilelistTxtNode>(appended);
    SWM_FreeFilelistTxtRecord(&appended);
    for (const FilelistTxtRecord &record : records) {
        checkRecord(record);
    }

    const std::vector<FilelistTxtRecord> expected = inserted(records);
    SwmListHead sorted;
    makeEmpty(sorted);
    require(SwmLoadFileToList(file.path(), &sorted, SWM_ComparebyPoolname) == status, "sorting does not fail a load");
    requireSame(recordsOf<FilelistTxtNode>(sorted), expected, sameBytes,
                "sorting gives what inserting gives, after a failure too");
    SWM_FreeFilelistTxtRecord(&sorted);
    if (status == SWM_OK) {
        checkDirectories(file.path(), expected, data[0]);
    } else {
        SwmListHead none = {};
        require(SWM_GetAllRecordFromFilelistTxt(file.path(), &none) == SWM_FAIL &&
                    recordsOf<FilelistTxtNode>(none).empty(),
                "nothing is left of a list that cannot be loaded");
    }
    return 0;
}
