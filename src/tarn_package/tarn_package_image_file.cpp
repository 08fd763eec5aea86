// Image lists: which images a package version runs on a board. One name per line; docs/formats.md.
#include <cerrno>
#include <cstring>

#include <tarn_basic/path.h>
#include <tarn_basic/pool.h>
#include <tarn_basic/text.h>
#include <tarn_boot/records.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/line_reader.h"
#include "common/log.h"
#include "common/record_copy.h"
#include "common/record_list.h"
#include "tarn_package/board_identity.h"

using namespace tarn;

namespace {

using ImageList = RecordList<ImageNameNode>;

constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;

bool hasName(const SwmListHead &list, const ImageNameNode &node)
{
    return ConstRecordList<ImageNameNode>(list).find([&](const ImageNameNode &old) {
        return SWM_IsStringEqual(old.record.name, node.record.name) != 0;
    }) != nullptr;
}

uint32_t addLine(char *line, SwmListHead &list)
{
    ImageNameNode *converted = nullptr;
    if (SWM_StringTrim(line) != 0 || SWM_Trans2ImageListRecord(line, &converted) != SWM_OK) {
        return BASE_FAIL("Trans to image list record unsuccessfully, line = %s", line);
    }
    HeapBlock<ImageNameNode> node(converted);
    if (!hasName(list, *node)) {
        ImageList(list).append(std::move(node));
    }
    return SWM_OK;
}

} // namespace

void SWM_GetImageFilelistFullpath(const char *pkgName, const char *pkgVer, char *out, uint32_t outSize) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || out == nullptr) {
        BASE_ERROR("SWM_GetImageFilelistFullpath: get null param.");
        return;
    }
    const uint32_t cpuId = askCpuId();
    const uint32_t hardType = askHardType();
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVersionPath(pkgName, pkgVer, dir, sizeof(dir)));
    warnIfCut(snprintf_s(out, outSize, textRoom(outSize), "%s/image_filelist_%X_000000%02X.txt", dir, hardType, cpuId));
}

void SWM_GetImageFilelistFullpathByHardtype(const char *hardType, const char *pkgName, const char *pkgVer, char *out,
                                            uint32_t outSize) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || out == nullptr || isNoHardType(hardType, out, outSize)) {
        BASE_ERROR("SWM_GetImageFilelistFullpathByHardtype: get null param.");
        return;
    }
    const uint32_t cpuId = askCpuId();
    char dir[kDirSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVersionPath(pkgName, pkgVer, dir, sizeof(dir)));
    static_cast<void>(
        snprintf_s(out, outSize, textRoom(outSize), "%s/image_filelist_%s_000000%02X.txt", dir, hardType, cpuId));
}

uint32_t SWM_Trans2ImageListRecord(const char *line, ImageNameNode **nodeOut) noexcept
{
    if (nodeOut != nullptr) {
        *nodeOut = nullptr;
    }
    if (line == nullptr || nodeOut == nullptr) {
        return BASE_FAIL("SWM_Trans2ImageListRecord: get null param.");
    }
    if (strlen(line) >= sizeof(ImageNameRecord::name)) {
        return BASE_FAIL("image name is too long");
    }
    HeapBlock<ImageNameNode> node = allocate<ImageNameNode>();
    if (!node) {
        return BASE_FAIL("Malloc memory unsuccessfully, errno = %d", errno);
    }
    clearBytes(node.get(), sizeof(ImageNameNode));
    printField(node->record.name, line);
    *nodeOut = node.release();
    return SWM_OK;
}

void SWM_InsertImageListRecord(SwmListHead *list, ImageNameNode *node) noexcept
{
    if (list == nullptr || node == nullptr) {
        BASE_ERROR("SWM_InsertImageListRecord: get null param.");
        return;
    }
    if (!hasName(*list, *node)) {
        ImageList(*list).append(HeapBlock<ImageNameNode>(node));
    }
}

void SWM_FreeImageNameList(SwmListHead *list) noexcept
{
    if (list != nullptr) {
        ImageList(*list).release();
    }
}

uint32_t SWM_GetAllImageName(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_GetAllImageName: get null param.");
    }
    ImageList names(*list);
    names.initialise();
    UniqueStream stream;
    if (openStream(path, "r", stream) != 0) {
        return BASE_FAIL("Fopen file[%s] unsuccessfully, errno = %d", path, errno);
    }
    if (readRecordLines(stream.get(), [list](char *line) { return addLine(line, *list); }) != ReadEnd::EndOfFile) {
        names.release();
        return SWM_FAIL;
    }
    return SWM_OK;
}

uint32_t SWM_GetImageNameFromFile(const char *path, ImageNameRecord *names, uint32_t *count) noexcept
{
    if (isNullOrEmpty(path) || count == nullptr) {
        return BASE_FAIL("SWM_GetImageNameFromFile: get null param.");
    }
    if (SWM_IsFileExist(path) == 0) {
        *count = 0;
        return SWM_OK;
    }
    LocalList<ImageNameNode> list;
    if (SWM_GetAllImageName(path, &list.head) != SWM_OK) {
        return BASE_FAIL("Get all image name record from file[%s] unsuccessfully", path);
    }
    const uint32_t status = copyRecords<ImageNameNode>(list.head, names, *count);
    if (status == SWM_E_BUFFER_SMALL) {
        BASE_WARNING("Image name buffer count is not enough, buffer count = %u, record count = %u", *count, *count);
    }
    return status;
}

uint32_t SWM_GetImageNameByHardtypeFromSubPkgVer(const char *hardType, const char *pkgName, const char *pkgVer,
                                                 ImageNameRecord *names, uint32_t *count) noexcept
{
    if (hardType == nullptr || isNullOrEmpty(pkgName) || pkgVer == nullptr || count == nullptr) {
        return BASE_FAIL("SWM_GetImageNameByHardtypeFromSubPkgVer: get null param.");
    }
    char path[kPathSize] = "";
    SWM_GetImageFilelistFullpathByHardtype(hardType, pkgName, pkgVer, path, sizeof(path));
    return SWM_GetImageNameFromFile(path, names, count);
}

uint32_t SWM_GetImageNameFromSubPkgVersion(const char *pkgName, const char *pkgVer, ImageNameRecord *names,
                                           uint32_t *count) noexcept
{
    if (isNullOrEmpty(pkgName) || pkgVer == nullptr || count == nullptr) {
        return BASE_FAIL("SWM_GetImageNameFromSubPkgVersion: get null param.");
    }
    char path[kPathSize] = "";
    SWM_GetImageFilelistFullpath(pkgName, pkgVer, path, sizeof(path));
    return SWM_GetImageNameFromFile(path, names, count);
}
