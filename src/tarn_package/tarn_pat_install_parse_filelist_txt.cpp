// File lists of patches: loaded, moved under the patch's load path, and their files deleted again.
#include <cerrno>
#include <unistd.h>

#include <tarn_basic/path.h>
#include <tarn_basic/pool.h>
#include <tarn_boot/descriptor.h>

#include "common/bounded_text.h"
#include "common/log.h"
#include "common/record_list.h"

using namespace tarn;

namespace {

constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;

bool isBoardList(int32_t kind)
{
    return kind == 1 || kind == 2;
}

// A directory that begins with "/" gets a doubled one: callers rely on it.
void moveUnder(const char *loadPath, SwmListHead &list, const char *function)
{
    if (list.count == 0) {
        return;
    }
    for (FilelistTxtNode &node : RecordList<FilelistTxtNode>(list)) {
        auto &dir = node.record.installDir;
        char moved[sizeof(dir)] = "";
        warnIfCut(snprintf_s(moved, sizeof(moved), sizeof(moved) - 1, "%s/%s", loadPath, dir), function);
        clearBytes(dir, sizeof(dir), function);
        printField(dir, moved, function);
    }
}

} // namespace

uint32_t SWM_PAT_GetAllRecordFromFilelistTxt(const char *patchId, const char *patchSubId, const char *fileListPath,
                                             SwmListHead *list) noexcept
{
    if (isNullOrEmpty(fileListPath) || list == nullptr) {
        return BASE_FAIL("SWM_PAT_GetAllRecordFromFilelistTxt: get null param.");
    }
    const uint32_t status = SWM_GetAllRecordFromFilelistTxtNoCreateDir(fileListPath, list);
    if (status != SWM_OK) {
        BASE_ERROR("Locpat install, get all record from patch filelist failed! uiRet:%u.", status);
        return status;
    }
    char loadPath[kDirSize] = "";
    static_cast<void>(SWM_PAT_GetPkgLoadFilePath(patchId, patchSubId, loadPath, sizeof(loadPath)));
    moveUnder(loadPath, *list, "SWM_PAT_OPER_Install_FilePathAdapt");
    return SWM_OK;
}

uint32_t TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt(const char *patchId, const char *patchSubId,
                                                                       const char *fileListPath, SwmListHead *list,
                                                                       int32_t listKind) noexcept
{
    if (isNullOrEmpty(fileListPath) || list == nullptr) {
        return BASE_FAIL("TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt: get null param.");
    }
    if (isBoardList(listKind)) {
        const uint32_t status = SWM_GetAllRecordFromFilelistTxtNoCreateDir(fileListPath, list);
        if (status != SWM_OK) {
            BASE_ERROR(
                "DISTREPO_CLIENT, get all record from patch board filelist failed! filelist path = %s, uiRet = %u.",
                fileListPath, status);
        }
        return status;
    }
    const uint32_t status = SWM_PAT_GetAllRecordFromFilelistTxt(patchId, patchSubId, fileListPath, list);
    if (status != SWM_OK) {
        BASE_ERROR("DISTREPO_CLIENT, get all record from patch filelist failed! patch filelist path = %s, uiRet = %u.",
                   fileListPath, status);
    }
    return status;
}

void SWM_PAT_OPER_Install_FilePathAdapt(const char *loadPath, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(loadPath) || list == nullptr) {
        BASE_ERROR("SWM_PAT_OPER_Install_FilePathAdapt: get null param.");
        return;
    }
    moveUnder(loadPath, *list, __func__);
}

uint32_t SWM_PAT_DelFeatureLocalFiles(const char *, const char *, const SwmListHead *list) noexcept
{
    if (list == nullptr) {
        return BASE_FAIL("SWM_PAT_DelFeatureLocalFiles: get null param.");
    }
    for (const FilelistTxtNode &node : ConstRecordList<FilelistTxtNode>(*list)) {
        char path[kPathSize] = "";
        clearBytes(path, sizeof(path));
        warnIfCut(
            snprintf_s(path, sizeof(path), sizeof(path) - 1, "%s/%s", node.record.installDir, node.record.fileName));
        if (SWM_IsRealFileExist(path) != 0 && unlink(path) != 0) {
            return BASE_FAIL("Failed to delete file[%s], errno = %d", path, errno);
        }
    }
    return SWM_OK;
}
