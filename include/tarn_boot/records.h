/*
 * Record lists: the text lists that say what a package installs. Files (also per board and image), image names, links,
 * files for the firmware loader. Conventions: tarn_boot.h; the line formats: docs/formats.md.
 *
 * Texts that do not fit their field are cut to its size minus one, with a warning, except where an operation says
 * otherwise. An operation that "initialises" a list overwrites its head: what it held before is lost.
 */
#ifndef TARN_BOOT_RECORDS_H
#define TARN_BOOT_RECORDS_H

#include <tarn_boot/common.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One line of a file list. No pointers: copied and stored as a whole block. */
typedef struct FilelistTxtRecord {
    uint8_t digest[32];   /* 0: SHA-256; zero when column 0 is not 64 hexadecimal digits */
    char entryName[256];  /* 32: "/" for a directory */
    char installDir[256]; /* 288: the installed path is installDir/fileName */
    char poolName[128];   /* 544: what lists are sorted and matched by, in byte order */
    char fileName[128];   /* 672 */
    int32_t col5Num;      /* 800: carried for callers */
    char col6Text[16];    /* 804: carried for callers */
    char owner[32];       /* 820: of a column "owner:…" the part before the colon; "NA": none given */
    char group[32];       /* 852: likewise */
    uint32_t mode;        /* 884: file mode bits, written in octal; never 0 */
    uint32_t isDir;       /* 888: 1 when entryName is "/" */
    uint32_t hasCol10;    /* 892: 0 when col10Text is "NA" */
    char col10Text[256];  /* 896: option text; "NA": none */
    int32_t col11Num;     /* 1152: not 0: a listed directory is not created */
    char col12Text[128];  /* 1156: carried for callers */
    int32_t col13Num;     /* 1284: carried for callers; 0 below 14 columns */
} FilelistTxtRecord;      /* sizeof 1288 */

typedef struct FilelistTxtNode {
    SwmListNode links;        /* 0 */
    FilelistTxtRecord record; /* 16 */
} FilelistTxtNode;            /* sizeof 1304 */

typedef struct ImageNameRecord {
    char name[128]; /* 0 */
} ImageNameRecord;  /* sizeof 128: a char[n][128] has the layout of ImageNameRecord[n] */

typedef struct ImageNameNode {
    SwmListNode links;      /* 0 */
    ImageNameRecord record; /* 16 */
} ImageNameNode;            /* sizeof 144 */

typedef struct LinklistRecord {
    char linkSource[256]; /* 0: what the link points at */
    char linkPath[256];   /* 256: where the link is; what lists are sorted and matched by, in byte order */
} LinklistRecord;         /* sizeof 512 */

typedef struct LinklistNode {
    SwmListNode links;     /* 0 */
    LinklistRecord record; /* 16 */
} LinklistNode;            /* sizeof 528 */

/* One file for the firmware loader. */
typedef struct BiosloadRecord {
    char sha256Text[65];  /* 0: 64 hexadecimal digits */
    char filePath[256];   /* 65 */
    char field2Text[128]; /* 321: carried for callers */
    char field3Text[128]; /* 449: carried for callers */
    uint32_t field4Num;   /* 580: carried for callers */
    uint32_t fileType;    /* 584: 0 or 1 */
    char field6Text[128]; /* 588: "" below 7 columns */
} BiosloadRecord;         /* sizeof 716, the stride of a caller's array */

typedef struct BiosloadNode {
    SwmListNode links;     /* 0 */
    BiosloadRecord record; /* 16 */
} BiosloadNode;            /* sizeof 736 */

/* What an installed record and a new one mean for each other; for links the values 1 to 4. */
enum FilelistUpdateType {
    UPDATE_SAME = 1,   /* nothing to do */
    UPDATE_ADD = 2,    /* install: only in the new list, missing on disk, or a patch link that leads elsewhere */
    UPDATE_DEL = 3,    /* remove: only in the old list */
    UPDATE_MODIFY = 4, /* another digest (link: another source), or damaged on disk */
    UPDATE_REFRESH = 5 /* the same, but the new record carries option text */
};

/* Takes records, not nodes; a result of 0 or less puts the new record before the existing one. */
typedef int32_t (*SwmFilelistCompare)(const FilelistTxtRecord *newRecord, const FilelistTxtRecord *existingRecord);

/* ---- Loading a file of lines ------------------------------------------------------------------------------------ */

/*
 * The whole file as one text with a final NUL, which `*lengthOut` counts; the caller frees it. An empty file, one of
 * 2 GiB - 1 or more, and what is no regular file fail.
 */
TARN_BOOT_API uint32_t SwmLoadFileContent(const char *path, char **contentOut, uint64_t *lengthOut) TARN_BOOT_NOEXCEPT;
/*
 * Adds the file's lines, in file order, to the initialised `list`. A line ends at a line feed, a NUL or the end; blank
 * ones are skipped. With SWM_ComparebyPoolname and an empty list the time grows as n log n, otherwise every line walks
 * the list. On failure the records of the lines before the bad one stay in the list. Yields the processor after every
 * 256 non-empty lines.
 */
TARN_BOOT_API uint32_t SwmLoadFileToList(const char *path, SwmListHead *list,
                                         SwmFilelistCompare compare /* may be null */) TARN_BOOT_NOEXCEPT;
/* Converts one line, in place, and inserts it as SWM_InsertFilelistTxtRecord does; a blank one is skipped. */
TARN_BOOT_API uint32_t SwmLoadFileLineToList(char *line, SwmListHead *list,
                                             SwmFilelistCompare compare /* may be null */) TARN_BOOT_NOEXCEPT;

/* ---- File lists ------------------------------------------------------------------------------------------------- */

/* -1, 0 or 1: byte order of the pool names. */
TARN_BOOT_API int32_t SWM_ComparebyPoolname(const FilelistTxtRecord *a, const FilelistTxtRecord *b) TARN_BOOT_NOEXCEPT;
/* 1 when entry name, directory, pool name, file name and digest are equal; nothing else is compared. */
TARN_BOOT_API uint32_t SWM_IsSameRecord(const FilelistTxtRecord *a, const FilelistTxtRecord *b) TARN_BOOT_NOEXCEPT;
/*
 * Links a filled node from malloc, the list's from then on: before the first record that `compare` does not put before
 * it, so in front of its equals; a null `compare` appends. Always 0.
 */
TARN_BOOT_API uint32_t SWM_InsertFilelistTxtRecord(SwmListHead *list, FilelistTxtNode *node,
                                                   SwmFilelistCompare compare /* may be null */) TARN_BOOT_NOEXCEPT;
/* Appends a copy unless the list has an equal record (SWM_IsSameRecord). */
TARN_BOOT_API uint32_t SWM_AddFilelistTxtRecord(SwmListHead *list, const FilelistTxtRecord *record) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves an empty head. */
TARN_BOOT_API void SWM_FreeFilelistTxtRecord(SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Fills the record from a line of 7, 13 or 14 columns, which is trimmed in place. */
TARN_BOOT_API uint32_t SWM_Trans2FilelistTxtRecord(char *line, FilelistTxtRecord *record) TARN_BOOT_NOEXCEPT;
/* Columns 0 to 6, as far as there are that many, and column 13 of 14 columns. */
TARN_BOOT_API void SWM_GetBaseBoardFileInfo(char *const *columns, uint32_t columnCount,
                                            FilelistTxtRecord *record) TARN_BOOT_NOEXCEPT;
/* What a line of 7 columns leaves out: owner and group "NA", mode 0440, no option text, numbers 0. */
TARN_BOOT_API void SWM_UpdateFileListRecodeDefault(FilelistTxtRecord *record) TARN_BOOT_NOEXCEPT;
/* One of the columns 7 to 12; any other number changes nothing and succeeds. */
TARN_BOOT_API uint32_t SWM_UpdateFileListRecodeByType(FilelistTxtRecord *record, const char *text,
                                                      uint32_t type) TARN_BOOT_NOEXCEPT;
/*
 * Create the listed directories whose col11Num is 0, under the platform's root, with owner, group and mode, by
 * SWM_CreateDirWithPermission or (Ex) SWM_CreateDirWithCustomPermission. The first failure ends it; what was made
 * stays.
 */
TARN_BOOT_API uint32_t SWM_CreateAllDir(const SwmListHead *list) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_CreateAllDirEx(const SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Initialises the list and loads the file sorted by pool name, a later line before its equals. Empty on failure. */
TARN_BOOT_API uint32_t SWM_GetAllRecordFromFilelistTxtNoCreateDir(const char *path,
                                                                  SwmListHead *list) TARN_BOOT_NOEXCEPT;
/*
 * The same, then creates the listed directories, by SWM_CreateAllDirEx when `custom` is not 0, else by
 * SWM_CreateAllDir. A directory that cannot be created is logged and does not fail the load.
 */
TARN_BOOT_API uint32_t SWM_GetAllRecordFromFilelistTxtCommProc(const char *path, SwmListHead *list,
                                                               SwmFilelistCompare compare /* ignored */,
                                                               uint32_t custom) TARN_BOOT_NOEXCEPT;
/* CommProc with custom 1. */
TARN_BOOT_API uint32_t SWM_GetAllRecordFromFilelistTxt(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* CommProc with custom 0: sorted all the same. */
TARN_BOOT_API uint32_t SWM_GetAllRecordFromFilelistTxtWithoutSort(const char *path,
                                                                  SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* UPDATE_…; looks at the installed file and hashes it when names and digests are equal. SWM_FAIL for a null record. */
TARN_BOOT_API uint32_t SWM_GetTxtRecordUpdateType(const FilelistTxtRecord *oldRecord,
                                                  const FilelistTxtRecord *newRecord) TARN_BOOT_NOEXCEPT;
/* Adds `startNode` and what follows it in `srcList` by the rule of SWM_AddFilelistTxtRecord; stops at a failure. */
TARN_BOOT_API uint32_t SWM_AddSrcFileListToDstFileList(const SwmListHead *srcList, SwmListHead *dstList,
                                                       const FilelistTxtNode *startNode
                                                       /* may be null */) TARN_BOOT_NOEXCEPT;
/*
 * Compares the list of what is installed with a new one, both sorted by pool name and left as they are; initialises
 * `updateList` (to install) and `deleteList` (to remove) and fills them with copies. An installed file that is missing,
 * relinked or refreshed stands in both. On failure the lists hold what was found so far.
 */
TARN_BOOT_API uint32_t SWM_GetAllRecordNeedUpdate(const SwmListHead *oldList, const SwmListHead *newList,
                                                  SwmListHead *updateList, SwmListHead *deleteList) TARN_BOOT_NOEXCEPT;

/* ---- Board file lists ------------------------------------------------------------------------------------------- */

/*
 * Path of the board file list of a package version, for the running board or a given hardware type; always 0. What the
 * platform cannot tell (processor id, hardware type) is 0 in the name. Cut to outSize - 1, which only the first warns
 * about. A null hardware type gives "" and an error line.
 */
TARN_BOOT_API uint32_t SWM_GetBoardFilelistFullpath(const char *pkgName, const char *pkgVer, char *out,
                                                    uint32_t outSize) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API void SWM_GetBoardFilelistFullpathByHardtype(const char *hardType, const char *pkgName, const char *pkgVer,
                                                          char *out, uint32_t outSize) TARN_BOOT_NOEXCEPT;
/*
 * Initialises the list and gathers the board's records, then each image's in image order; each group is sorted by pool
 * name, duplicates stay, listed directories are created. Missing files are no failure. Empty on failure.
 */
TARN_BOOT_API uint32_t SWM_GetBrdFileRecordsBySubPkgVerAndHardtype(const char *hardType, const char *pkgName,
                                                                   const char *pkgVer,
                                                                   SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Append the records of every image's board file list, or those of one file if it is there. */
TARN_BOOT_API uint32_t SWM_MergeAllImageBoardFileRecord(const char *hardType, const char *pkgName, const char *pkgVer,
                                                        SwmListHead *list) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MergeCurrImageBoardFileRecord(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;

/* ---- Image lists ------------------------------------------------------------------------------------------------ */

/*
 * Count queries: a null array asks for the number only. `*count` is the array's capacity in records on entry and the
 * number of records on return; SWM_E_BUFFER_SMALL, nothing copied, when the capacity is too small.
 */

/* Path of the image list, as for board file lists. */
TARN_BOOT_API void SWM_GetImageFilelistFullpath(const char *pkgName, const char *pkgVer, char *out,
                                                uint32_t outSize) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API void SWM_GetImageFilelistFullpathByHardtype(const char *hardType, const char *pkgName, const char *pkgVer,
                                                          char *out, uint32_t outSize) TARN_BOOT_NOEXCEPT;
/* A new node, released with free(); `*nodeOut` is null on failure. A name of 128 bytes or more fails. */
TARN_BOOT_API uint32_t SWM_Trans2ImageListRecord(const char *line, ImageNameNode **nodeOut) TARN_BOOT_NOEXCEPT;
/* Appends the node unless the name is in the list; then the node stays the caller's. */
TARN_BOOT_API void SWM_InsertImageListRecord(SwmListHead *list, ImageNameNode *node) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves an empty head. */
TARN_BOOT_API void SWM_FreeImageNameList(SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Initialises the list and reads the file, each name once, in file order. Empty on failure. */
TARN_BOOT_API uint32_t SWM_GetAllImageName(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Count query over a file; a missing one holds no names. */
TARN_BOOT_API uint32_t SWM_GetImageNameFromFile(const char *path, ImageNameRecord *names /* may be null */,
                                                uint32_t *count) TARN_BOOT_NOEXCEPT;
/* Count queries over a package version's image list, for a given hardware type or the running board. */
TARN_BOOT_API uint32_t SWM_GetImageNameByHardtypeFromSubPkgVer(const char *hardType, const char *pkgName,
                                                               const char *pkgVer,
                                                               ImageNameRecord *names /* may be null */,
                                                               uint32_t *count) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_GetImageNameFromSubPkgVersion(const char *pkgName, const char *pkgVer,
                                                         ImageNameRecord *names /* may be null */,
                                                         uint32_t *count) TARN_BOOT_NOEXCEPT;

/* ---- Link lists ------------------------------------------------------------------------------------------------- */

/* 1 when both fields are equal. */
TARN_BOOT_API uint32_t SWM_IsSameLinklistRecord(const LinklistRecord *a, const LinklistRecord *b) TARN_BOOT_NOEXCEPT;
/* Both append a copy unless the list has an equal record. */
TARN_BOOT_API uint32_t SWM_InsertLinklistRecord(SwmListHead *list, const LinklistRecord *record) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddLinklistRecord(SwmListHead *list, const LinklistRecord *record) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves an empty head. */
TARN_BOOT_API void SWM_FreeLinklistRecord(SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Fills the record from a line of two columns, which is trimmed in place. */
TARN_BOOT_API uint32_t SWM_Trans2LinklistRecord(char *line, LinklistRecord *record) TARN_BOOT_NOEXCEPT;
/*
 * Reads a link list in file order, equal lines once. Nothing is sorted; in a file sorted by link path the time grows
 * with its length, otherwise every line is looked for in the whole list. The list is initialised once the file is open,
 * and empty after a later failure.
 */
TARN_BOOT_API uint32_t SWM_GetAllRecordFromLinklist(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* UPDATE_SAME to UPDATE_MODIFY; SWM_FAIL for a null record. */
TARN_BOOT_API uint32_t SWM_GetLinkUpdateType(const LinklistRecord *oldRecord,
                                             const LinklistRecord *newRecord) TARN_BOOT_NOEXCEPT;
/* Adds `startNode` and what follows it in `srcList` by the rule of SWM_AddLinklistRecord; stops at a failure. */
TARN_BOOT_API uint32_t SWM_AddSrcListNodeToDstListNode(const SwmListHead *srcList, SwmListHead *dstList,
                                                       const LinklistNode *startNode
                                                       /* may be null */) TARN_BOOT_NOEXCEPT;
/*
 * Compares two link lists sorted by link path; initialises both output lists and fills them with copies. A link with
 * another source stands in both. On failure the lists hold what was found so far.
 */
TARN_BOOT_API uint32_t SWM_GetAllLinkNeedUpdate(const SwmListHead *oldList, const SwmListHead *newList,
                                                SwmListHead *addList, SwmListHead *deleteList) TARN_BOOT_NOEXCEPT;
/* Path of the link list for a hardware type, as for board file lists; warns when it is cut. */
TARN_BOOT_API void SWM_GetLinkFilelistFullpath(const char *hardType, const char *pkgName, const char *pkgVer, char *out,
                                               uint32_t outSize) TARN_BOOT_NOEXCEPT;
/* Append the records of one file if it is there, or those of every image's link list. */
TARN_BOOT_API uint32_t SWM_MergeCurrLinkFilelistRecord(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MergeLinkFilelistRecordFromImageList(const char *hardType, const char *pkgName,
                                                                const char *pkgVer,
                                                                SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Count query over all links of a package version: the hardware type's, then each image's, duplicates included. */
TARN_BOOT_API uint32_t SWM_GetFileLinkRecordFromSubPkgVersion(const char *hardType, const char *pkgName,
                                                              const char *pkgVer,
                                                              LinklistRecord *records /* may be null */,
                                                              uint32_t *count) TARN_BOOT_NOEXCEPT;

/* ---- Files for the firmware loader ------------------------------------------------------------------------------ */

/* Fills the record from a line of 6 or 7 columns, which is trimmed in place. Silent for null arguments. */
TARN_BOOT_API uint32_t SWM_Trans2BiosloadRecord(char *line, BiosloadRecord *record) TARN_BOOT_NOEXCEPT;
/* Initialises the list and reads the file, in file order with duplicates. Empty on failure; a missing file is one. */
TARN_BOOT_API uint32_t SWM_GetAllBiosloadFileRecordInner(const char *path, SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Frees every record and leaves an empty head. */
TARN_BOOT_API void SWM_FreeBiosLoadFileRecordList(SwmListHead *list) TARN_BOOT_NOEXCEPT;
/* Count query over a file. */
TARN_BOOT_API uint32_t SWM_GetAllBiosloadFileRecord(const char *path, BiosloadRecord *records /* may be null */,
                                                    uint32_t *count) TARN_BOOT_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
