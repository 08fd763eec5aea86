// Backups: the copy of a file in "<its directory>bak", a directory that must be there already.
#include <climits>
#include <libgen.h>

#include <tarn_basic/file.h>
#include <tarn_basic/path.h>
#include <tarn_boot/container.h>
#include <tarn_boot/database.h>

#include "common/bounded_text.h"
#include "common/log.h"

using namespace tarn;

namespace {

constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;
constexpr uint32_t kNoBackupDir = 1;

// basename() and dirname() may write into what they are given: both get a copy of their own.
const char *directoryOf(const char *filePath, char (&copy)[kPathSize], const char *function)
{
    copyText(copy, sizeof(copy), filePath, sizeof(copy), function);
    return dirname(copy);
}

void formBackupPath(char (&out)[kPathSize], const char *backupDir, const char *filePath, const char *function)
{
    char copy[PATH_MAX] = "";
    static_cast<void>(snprintf_s(copy, sizeof(copy), sizeof(copy) - 1, "%s", filePath));
    warnIfCut(snprintf_s(out, sizeof(out), sizeof(out) - 1, "%s/%s", backupDir, basename(copy)), function);
}

} // namespace

uint32_t SWM_GetBackupPath(const char *directory, char *buffer, uint32_t length) noexcept
{
    if (isNullOrEmpty(directory) || buffer == nullptr) {
        return kNoBackupDir;
    }
    // No separator before the suffix: callers rely on it.
    char path[kDirSize] = "";
    warnIfCut(snprintf_s(path, sizeof(path), sizeof(path) - 1, "%sbak", directory));
    if (SWM_IsDirExist(path) == 0) {
        return kNoBackupDir;
    }
    copyText(buffer, length, path, length);
    return SWM_OK;
}

uint32_t SWM_BackupFile(const char *filePath) noexcept
{
    if (isNullOrEmpty(filePath)) {
        return SWM_E_PARAM;
    }
    if (SWM_IsFileExist(filePath) == 0) {
        return SWM_E_FILE_MISSING;
    }
    char working[kPathSize] = "";
    char backupDir[kDirSize] = "";
    const char *fileDir = directoryOf(filePath, working, __func__);
    const uint32_t found = SWM_GetBackupPath(fileDir, backupDir, sizeof(backupDir));
    COMMON_WARNING("bak pcFilePath is %s. uiRet=%u", fileDir, found);
    if (found != SWM_OK) {
        return SWM_E_NO_BACKUP_DIR;
    }
    char backup[kPathSize] = "";
    formBackupPath(backup, backupDir, filePath, __func__);
    static_cast<void>(SWM_UndoProtectFile(backup));
    const uint32_t status = SWM_CopyFile(filePath, backup);
    if (status != 0) {
        // The words of the look-up for a failed copy: callers know the line so.
        COMMON_WARNING("SWM_GetBackupPath failed %s.", fileDir);
    }
    return status;
}

uint32_t SWM_DelExistBackupFile(const char *filePath) noexcept
{
    if (isNullOrEmpty(filePath) || SWM_IsFileExist(filePath) == 0) {
        return SWM_OK;
    }
    char working[kPathSize] = "";
    char backupDir[kDirSize] = "";
    if (SWM_GetBackupPath(directoryOf(filePath, working, __func__), backupDir, sizeof(backupDir)) == SWM_OK) {
        char backup[kPathSize] = "";
        formBackupPath(backup, backupDir, filePath, __func__);
        static_cast<void>(SWM_UndoProtectFile(backup));
        static_cast<void>(SWM_DelExistFile(backup));
    }
    return SWM_OK;
}
