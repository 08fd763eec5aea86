/* Descriptor files of packages and patches. Conventions: tarn_boot.h. */
#ifndef TARN_BOOT_DESCRIPTOR_H
#define TARN_BOOT_DESCRIPTOR_H

#include <tarn_boot/records.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Patch file lists. The two identifiers go to the platform as they are and may be null ------------------------ */

/*
 * Initialises the list, loads an ordinary patch's file list, sorted by pool name and without creating directories, and
 * moves every record's directory under the patch's load path. The loader's code and an empty list on failure.
 */
TARN_BOOT_API uint32_t SWM_PAT_GetAllRecordFromFilelistTxt(const char *patchId, const char *patchSubId,
                                                           const char *fileListPath,
                                                           SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* The same; the directories of a board file list (kind 1 or 2) stay as they are. */
TARN_BOOT_API uint32_t TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt(
    const char *patchId, const char *patchSubId, const char *fileListPath, SwmListHead *list,
    int32_t listKind) TARN_BOOT_NOEXCEPT;
/* Makes each record's directory loadPath/directory, cut to 255 characters; a leading "/" stays and is doubled. */
TARN_BOOT_API void SWM_PAT_OPER_Install_FilePathAdapt(const char *loadPath, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/*
 * Unlinks each record's directory/file in list order; what is no regular file is skipped. SWM_FAIL at the first that
 * cannot be removed, the later ones stay.
 */
TARN_BOOT_API uint32_t SWM_PAT_DelFeatureLocalFiles(const char *patchId, const char *patchSubId,
                                                    const SwmListHead *list) TARN_BOOT_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
