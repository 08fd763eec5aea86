/*
 * Descriptor files of packages: CC description, package description, rpm list; file lists of patches. Conventions:
 * tarn_boot.h; the formats: docs/formats.md.
 */
#ifndef TARN_BOOT_DESCRIPTOR_H
#define TARN_BOOT_DESCRIPTOR_H

#include <tarn_boot/records.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A package that a CC package includes. */
typedef struct PkgStructureRecord {
    SwmListNode links;     /* 0 */
    char packageName[128]; /* 16: compared over all 128 bytes */
} PkgStructureRecord;      /* sizeof 144 */

/* What a CC description says. */
typedef struct CcInfo {
    char ccFileName[128];         /* 0: base name of the CC file */
    char formatVersion[128];      /* 128: "package_format_ver"; may be empty */
    uint32_t startupFlag;         /* 256: "is_startup", 1 for yes, 0 for no */
    char version[128];            /* 260: "version"; may be empty */
    SwmListHead includedPackages; /* 392: "cc_include", PkgStructureRecord, each name once */
} CcInfo;                         /* sizeof 416 */

/* What a package description says. */
typedef struct PkgDescInfo {
    char packageName[128];       /* 0: "package_name"; may be empty, as the next two */
    char version[128];           /* 128: "version" */
    char requiresText[128];      /* 256: "requires" as it stands */
    SwmListHead files;           /* 384: "files:", FileStructureRecord */
    SwmListHead compatibleFiles; /* 408: "files-compatible:", FileStructureRecord */
} PkgDescInfo;                   /* sizeof 432 */

/* One line of a file section. Data parts are equal when all their bytes are: zero them before they are filled. */
typedef struct FileStructureData {
    char firstText[128];  /* 0: field 1 */
    char secondText[128]; /* 128: field 2 */
    char thirdText[128];  /* 256: field 4 */
    uint32_t flag;        /* 384: 1 when field 3 is "yes" */
} FileStructureData;      /* sizeof 388 */

typedef struct FileStructureRecord {
    SwmListNode links;      /* 0 */
    FileStructureData data; /* 16 */
} FileStructureRecord;      /* sizeof 408 */

/* Which package a CC package brings in which version. */
typedef struct PkgBasicData {
    char ccName[128];      /* 0 */
    char packageName[128]; /* 128 */
    char version[128];     /* 256 */
} PkgBasicData;            /* sizeof 384 */

typedef struct PkgBasicInfo {
    SwmListNode links; /* 0 */
    PkgBasicData data; /* 16 */
} PkgBasicInfo;        /* sizeof 400 */

#define PKG_RELATION_GE 0u   /* ">=" */
#define PKG_RELATION_LE 1u   /* "<=" */
#define PKG_RELATION_EQ 2u   /* "=" */
#define PKG_RELATION_NONE 3u /* no version given */

/* Which package it requires. */
typedef struct PkgRequireData {
    char ccName[128];          /* 0 */
    char packageName[128];     /* 128 */
    char requiredName[128];    /* 256 */
    char requiredVersion[128]; /* 384: "" with PKG_RELATION_NONE */
    uint32_t relation;         /* 512: PKG_RELATION_… */
} PkgRequireData;              /* sizeof 516 */

typedef struct PkgRequireInfo {
    SwmListNode links;   /* 0 */
    PkgRequireData data; /* 16 */
} PkgRequireInfo;        /* sizeof 536 */

#define RPM_OPERATION_ADD 0u
#define RPM_OPERATION_UPDATE 1u
#define RPM_OPERATION_REMOVE 2u

/* One line of an rpm list. */
typedef struct RpmlistTxtData {
    char rpmFileName[128]; /* 0: ends in ".rpm", unless cut to 127 characters */
    char rpmName[128];     /* 128: without that */
    char secondText[256];  /* 256 */
    uint32_t operation;    /* 512: RPM_OPERATION_… */
} RpmlistTxtData;          /* sizeof 516 */

typedef struct RpmlistTxtRecord {
    SwmListNode links;   /* 0 */
    RpmlistTxtData data; /* 16 */
} RpmlistTxtRecord;      /* sizeof 536 */

/* ---- Lines "key: value". Silent for null arguments --------------------------------------------------------------- */

/* 1 for a line of white space only, or one whose first other character is "#". */
TARN_BOOT_API uint32_t SWM_IsInvalidLine(const char *line) TARN_BOOT_NOEXCEPT;
/* 1 for a line with a ":". */
TARN_BOOT_API uint32_t SWM_IsSection(const char *line) TARN_BOOT_NOEXCEPT;
/*
 * The value of a line that holds a ":" and, anywhere, `key`. Such a line gives SWM_OK; its trimmed value is written
 * when the line, split at every ":" and without empty pieces, has two; else the buffer stays as it is.
 * SWM_E_BUFFER_SMALL when the value and its NUL do not fit; SWM_FAIL for another line.
 */
TARN_BOOT_API uint32_t SWM_ParseValueFromSecLine(const char *line, const char *key, char *value,
                                                 uint32_t valueSize) TARN_BOOT_NOEXCEPT;
/*
 * The value of the first line of the file that SWM_ParseValueFromSecLine takes. The buffer is zeroed once the file is
 * open; a key that is missing, or stands in a line without such a value, is SWM_OK with "". SWM_FAIL when the file
 * cannot be opened or read or the value does not fit.
 */
TARN_BOOT_API uint32_t SWM_GetSecValueFromDesc(const char *descPath, const char *key, char *value,
                                               uint32_t valueSize) TARN_BOOT_NOEXCEPT;

/* ---- CC descriptions --------------------------------------------------------------------------------------------- */

/*
 * Reads the description of the CC file `ccPath` (of which only the name is looked at) into `info`, zeroed by the
 * caller. After a failure what was read before stays; the list is then empty.
 */
TARN_BOOT_API uint32_t SWM_GetCcInfoFromCcDesc(const char *ccPath, const char *descPath,
                                               CcInfo *info) TARN_BOOT_NOEXCEPT;
/* "is_startup"; anything but "yes" and "no" fails. */
TARN_BOOT_API uint32_t SWM_GetIsStartupFromCcDesc(const char *descPath, uint32_t *startupFlag) TARN_BOOT_NOEXCEPT;
/* Initialises the list and reads "cc_include" into it; names are not trimmed. Empty on failure. */
TARN_BOOT_API uint32_t SWM_GetAllPackageStructureFromCcDesc(const char *descPath, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Appends the name in a buffer of 128 bytes unless the list has it. */
TARN_BOOT_API uint32_t SWM_AddPkgToCcIncludeStructure(SwmListHead *list, const char *packageName) TARN_BOOT_NOEXCEPT;
/* 1 when all bytes of two buffers of 128 bytes are equal. */
TARN_BOOT_API uint32_t SWM_IsSamePkgStruRecord(const char *nameA, const char *nameB) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves an empty head. */
TARN_BOOT_API void SWM_FreePackageStructureRecord(SwmListHead *list) TARN_BOOT_NOEXCEPT;
/*
 * 0 when the package's "package_desc.txt" has format version "1.3" or "1.3.…", 1 when it has another or cannot be read,
 * SWM_FAIL for a null path. Uses the file /tmp/package_desc.txt: not for two callers at once.
 */
TARN_BOOT_API uint32_t SWM_IsCcFormatVerNotMy(const char *ccPackagePath) TARN_BOOT_NOEXCEPT;

/* ---- Package descriptions. Section type 0 is "files:", 1 "files-compatible:" ------------------------------------- */

/*
 * Reads a whole description into `info`, zeroed by the caller. After a failure what was read before stays, but no list
 * has records.
 */
TARN_BOOT_API uint32_t SWM_GetPkgInfoFromPkgDesc(const char *descPath, PkgDescInfo *info) TARN_BOOT_NOEXCEPT;
/* SwmGetAllFilesByTypeFromDesc with type 0 and 1. */
TARN_BOOT_API uint32_t SWM_GetAllFileStructureFromPkgDesc(const char *descPath, SwmListHead *list) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_GetAllFileCompatFromPkgDesc(const char *descPath, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/*
 * Initialises the list and reads the section's lines into it, equal ones once. A file without the section, or a type
 * above 1, gives an empty list. A bad line fails and empties the list, except as the last one without a line feed.
 */
TARN_BOOT_API uint32_t SwmGetAllFilesByTypeFromDesc(const char *descPath, SwmListHead *list,
                                                    uint32_t sectionType) TARN_BOOT_NOEXCEPT;
/* 1 for a line that holds a ":" and the section's header. */
TARN_BOOT_API uint32_t SWM_IsFilesSection(const char *line, uint32_t sectionType) TARN_BOOT_NOEXCEPT;
/* Adds the line's record when `inSection` is not 0. */
TARN_BOOT_API uint32_t SWM_ProcFileStructureRecord(uint32_t inSection, char *line,
                                                   SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Fills zeroed data from a line of four fields, which is trimmed in place. */
TARN_BOOT_API uint32_t SWM_Trans2FileStructureRecord(char *line, FileStructureData *data) TARN_BOOT_NOEXCEPT;
/* Appends a copy unless the list has an equal one. */
TARN_BOOT_API uint32_t SWM_AddFileStructureRecord(SwmListHead *list, const FileStructureData *data) TARN_BOOT_NOEXCEPT;
/* 1 when all bytes are equal. */
TARN_BOOT_API uint32_t SWM_IsSameFileStruRecord(const FileStructureData *a,
                                                const FileStructureData *b) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_IsSamePkgBasicNode(const PkgBasicData *a, const PkgBasicData *b) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_IsSamePkgRequireNode(const PkgRequireData *a, const PkgRequireData *b) TARN_BOOT_NOEXCEPT;
/* Free every record and leave an empty head. */
TARN_BOOT_API void SWM_FreeFileStructureRecord(SwmListHead *list) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API void SWM_FreePkgBasicList(SwmListHead *list) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API void SWM_FreePkgRequireList(SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Fills zeroed data; texts are cut to 127 characters. SWM_FAIL for a null argument only. */
TARN_BOOT_API uint32_t SWM_GetPkgBasicInfo(PkgBasicData *data, const char *ccName,
                                           const PkgDescInfo *info) TARN_BOOT_NOEXCEPT;
/* Adds the package's identity to the list, of which no two records are equal. */
TARN_BOOT_API uint32_t SWM_MallocAndAddPkgBasicInfoToList(SwmListHead *list, const char *ccName,
                                                          const PkgDescInfo *info) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddPkgBasicInfoToList(SwmListHead *list, const PkgBasicData *data) TARN_BOOT_NOEXCEPT;
/* Fill zeroed data from the two pieces name and version, or from a name alone. As SWM_GetPkgBasicInfo. */
TARN_BOOT_API uint32_t SWM_GetPkgRequireInfo(PkgRequireData *data, const char *ccName, const PkgDescInfo *info,
                                             uint32_t relation, char *const *pieces) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_GetPkgRequireInfoNoVer(PkgRequireData *data, const char *ccName, const PkgDescInfo *info,
                                                  uint32_t relation, const char *entry) TARN_BOOT_NOEXCEPT;
/* From one entry of "requires"; zeroes `data` first. dataSize is sizeof(PkgRequireData). */
TARN_BOOT_API uint32_t SWM_GetPkgRequireInfoByReqArray(const char *entry, PkgRequireData *data, uint32_t dataSize,
                                                       const char *ccName, const PkgDescInfo *info) TARN_BOOT_NOEXCEPT;
/*
 * Adds every entry of the package's "requires" to the list, of which no two records are equal. After a failure the
 * entries added before it stay.
 */
TARN_BOOT_API uint32_t SWM_MallocAndAddPkgRequireInfoToList(SwmListHead *list, const char *ccName,
                                                            const PkgDescInfo *info) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddPkgRequireInfoToList(SwmListHead *list, const PkgRequireData *data) TARN_BOOT_NOEXCEPT;

/* ---- rpm lists --------------------------------------------------------------------------------------------------- */

/*
 * Reads an rpm list in file order, duplicates included. The list is initialised once the file is open, and empty after
 * a later failure; one bad line is one.
 */
TARN_BOOT_API uint32_t SWM_GetAllRecordFromRpmlistTxt(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Fills the data from a line of three fields, which is trimmed in place. */
TARN_BOOT_API uint32_t SWM_Trans2RpmlistTxtRecord(char *line, RpmlistTxtData *data) TARN_BOOT_NOEXCEPT;
/* Appends a copy. */
TARN_BOOT_API uint32_t SWM_InsertRpmlistTxtRecord(SwmListHead *list, const RpmlistTxtData *data) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves an empty head. */
TARN_BOOT_API void SWM_FreeRpmlistTxtRecord(SwmListHead *list) TARN_BOOT_NOEXCEPT;

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
