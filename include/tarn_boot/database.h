/*
 * The database of installed software: one XML file, root "Product", with an entry per base package and in it that
 * package's patches and mods. Conventions: tarn_boot.h; the file: docs/formats.md.
 *
 * - A call reads the file whole, and a change saves it whole and in place: no temporary file, no rename, no backup.
 *   Nothing is kept between calls. Callers serialise changes of one file.
 * - The file is read in libxml2's recovery mode: what a damaged file has lost is lost for good at the next change.
 * - Texts are handed to libxml2 as they are: "&" starts an entity, "&amp;" stands for it. A bare "&" is the caller's
 *   mistake, as are control characters and bytes that are no UTF-8: the element is written empty or the file damaged.
 * - A text beyond libxml2's limit of 10,000,000 bytes, entities expanded, is not read.
 * - A path with "%" in it is unescaped by libxml2 when saving, so that another file is written; "-" is no path.
 * - Field names are element names. A value that does not fit its field reads as "", with a warning.
 * - Elements are found by name among the direct children of a node; the first one counts.
 * - A package that cannot be read stops every search that reaches it.
 * - Nodes belong to their document; documents are freed with xmlFreeDoc.
 */
#ifndef TARN_BOOT_DATABASE_H
#define TARN_BOOT_DATABASE_H

#include <tarn_boot/common.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct SwmPatchInfo {
    char PatchName[128];   /* 0 */
    char Version[128];     /* 128 */
    char SrcFilePath[256]; /* 256: read from the element "PatchPath" */
    char InstallPath[256]; /* 512: written, never read back */
    char PkgPoolPath[256]; /* 768: written, never read back */
} SwmPatchInfo;            /* sizeof 1024 */

typedef struct SwmModInfo {
    char ModName[128];     /* 0: read from the element "PatchName" */
    char Version[128];     /* 128 */
    char SrcFilePath[256]; /* 256: read from the element "PatchPath" */
    char InstallPath[256]; /* 512: written, never read back */
    char PkgPoolPath[256]; /* 768: written, never read back */
} SwmModInfo;              /* sizeof 1024 */

/* An installed package; the fields up to ActiveTime are its base info. As a key: PackageName, Version and CcPath. */
typedef struct SwmPackageInfo {
    char PackageName[128]; /* 0 */
    char Version[128];     /* 128 */
    char CcFile[128];      /* 256: file name of the CC package */
    char CcPath[256];      /* 384: its directory; in a key of SWM_MATCH_ALL its file name */
    char InstallPath[256]; /* 640 */
    char PkgPoolPath[256]; /* 896 */
    char ActiveTime[32];   /* 1152: "" when there is none */
    SwmPatchInfo *patches; /* 1184: the record's own; null when there are none */
    SwmModInfo *mods;      /* 1192: likewise */
    uint32_t patchCount;   /* 1200 */
    uint32_t modCount;     /* 1204 */
} SwmPackageInfo;          /* sizeof 1208 */

typedef struct SwmCcInfo {
    char CcFullPath[384]; /* 0: CcPath/CcFile */
} SwmCcInfo;              /* sizeof 384 */

/* Match levels; any value above 2 acts as 2. */
#define SWM_MATCH_NAME 0u         /* by PackageName */
#define SWM_MATCH_NAME_VERSION 1u /* and Version */
#define SWM_MATCH_ALL 2u          /* and the element's CcFile against the key's CcPath */

#define SWM_NOT_INSTALLED 1u /* no such package, or no package at all */
#define SWM_NO_ELEMENTS 2u   /* the package has no patches, or no mods */

/* ---- Documents and nodes ---------------------------------------------------------------------------------------- */

/* The parsed file, which the caller owns; null, in silence, when there is none. */
TARN_BOOT_API struct _xmlDoc *SWM_XmlReadFile(const char *path) TARN_BOOT_NOEXCEPT;
/* The same, with a line for each failure; null also when the root is not named `expectedRoot`. `*rootOut` belongs to
 * the document. */
TARN_BOOT_API struct _xmlDoc *SWM_ParseAndCheckXmlFile(const char *path, const char *expectedRoot,
                                                       struct _xmlNode **rootOut) TARN_BOOT_NOEXCEPT;
/* Opens a database. The caller owns the document. */
TARN_BOOT_API uint32_t SWM_XmlReadFileAndGetRootElement(const char *path, struct _xmlDoc **docOut,
                                                        struct _xmlNode **rootOut) TARN_BOOT_NOEXCEPT;
/* The node's text, cut to `length` - 1 bytes; "" when it has none, with an error line. Length 0 writes nothing. */
TARN_BOOT_API void SWM_ParseOverString(struct _xmlDoc *doc, struct _xmlNode *node, char *buffer,
                                       uint32_t length) TARN_BOOT_NOEXCEPT;
/*
 * The text of a child. SWM_FAIL, in silence, when there is no such child; a text that does not fit `length` bytes
 * reads as "", with a warning and SWM_OK. Length 0 writes nothing.
 */
TARN_BOOT_API uint32_t SWM_GetChildNodeContent(struct _xmlNode *node, const char *childName, char *buffer,
                                               uint32_t length) TARN_BOOT_NOEXCEPT;
/* The same of node/firstName/secondName. */
TARN_BOOT_API uint32_t SWM_GetNodeContent(struct _xmlNode *node, const char *firstName,
                                          const char *secondName /* may be null */, char *buffer,
                                          uint32_t length) TARN_BOOT_NOEXCEPT;
/* Replaces what a child holds by the text. SWM_FAIL, in silence, when there is no such child: none is created. */
TARN_BOOT_API uint32_t SWM_SetChildNodeContent(struct _xmlNode *node, const char *childName,
                                               const char *text) TARN_BOOT_NOEXCEPT;
/* The same of node/firstName/secondName. */
TARN_BOOT_API uint32_t SWM_SetNodeContent(struct _xmlNode *node, const char *firstName,
                                          const char *secondName /* may be null */,
                                          const char *text) TARN_BOOT_NOEXCEPT;
/* Writes a database without packages, over a file that is there. */
TARN_BOOT_API uint32_t SWM_CreateXmlFile(const char *path) TARN_BOOT_NOEXCEPT;

/* ---- Records and finding ---------------------------------------------------------------------------------------- */

/* Zero-filled arrays, the caller's; null, in silence, for 0 records or when there is no memory. */
TARN_BOOT_API SwmPackageInfo *SWM_MallocAndInitPackageInfo(uint32_t count) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API SwmCcInfo *SWM_MallocAndInitCcInfo(uint32_t count) TARN_BOOT_NOEXCEPT;

/*
 * Clear `*matchFlag` when the leaf of the package's "Base" is not `wanted`; they never set it, so that a run of calls
 * tells whether all match. Leaves up to 127 bytes, path leaves up to 255. SWM_FAIL when the leaf cannot be read.
 */
TARN_BOOT_API uint32_t SWM_MatchPackageNode(struct _xmlNode *package, const char *leaf, const char *wanted,
                                            uint32_t *matchFlag) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MatchPackagePathNode(struct _xmlNode *package, const char *leaf, const char *wanted,
                                                uint32_t *matchFlag) TARN_BOOT_NOEXCEPT;
/* Set `*matchFlag` to 1 or 0. */
TARN_BOOT_API uint32_t SWM_MatchPatchNode(struct _xmlNode *patch, const char *patchName,
                                          uint32_t *matchFlag) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MatchModNode(struct _xmlNode *mod, const char *modName,
                                        uint32_t *matchFlag) TARN_BOOT_NOEXCEPT;
/* Whether a package matches the key. */
TARN_BOOT_API uint32_t SWM_JugePackageNodeMatch(struct _xmlNode *package, const SwmPackageInfo *key,
                                                uint32_t matchLevel, uint32_t *matchFlag) TARN_BOOT_NOEXCEPT;
/* The finders: the first match in file order. Nothing found is SWM_OK and null; the output is null on failure too. */
TARN_BOOT_API uint32_t SWM_GetMatchPackageNode(struct _xmlNode *root, const SwmPackageInfo *key, uint32_t matchLevel,
                                               struct _xmlNode **packageOut) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MatchAndGetPackageNode(struct _xmlNode *root, const char *pkgName,
                                                  const char *version /* may be null */,
                                                  struct _xmlNode **packageOut) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MatchAndGetPatchNode(struct _xmlNode *root, const char *pkgName, const char *patchName,
                                                struct _xmlNode **patchOut) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_MatchAndGetModNode(struct _xmlNode *root, const char *pkgName, const char *modName,
                                              struct _xmlNode **modOut) TARN_BOOT_NOEXCEPT;
/* Number of packages in a database, and of a node's direct children of one name. */
TARN_BOOT_API uint32_t SWM_GetPackageNodeNum(const char *path, uint32_t *countOut) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API void SWM_GetNodeNumInPackage(struct _xmlNode *node, const char *elementName,
                                           uint32_t *countOut) TARN_BOOT_NOEXCEPT;

/* ---- Queries ---------------------------------------------------------------------------------------------------- */

/*
 * Fill one record from its element. Patches and mods alike are read through "PatchName", "Version" and "PatchPath", so
 * what SWM_AddPatchInfo and SWM_AddModInfo wrote is refused. On failure the fields before the missing one are filled.
 */
TARN_BOOT_API uint32_t SWM_GetPatchInfo(struct _xmlNode *patch, SwmPatchInfo *info) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_GetModInfo(struct _xmlNode *mod, SwmModInfo *info) TARN_BOOT_NOEXCEPT;
/* Base info only, in both; a package without "ActiveTime" leaves that field alone. */
TARN_BOOT_API uint32_t SWM_GetPackageBaseInfo(struct _xmlNode *package, SwmPackageInfo *info) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_GetPackageInfo(struct _xmlNode *package, SwmPackageInfo *info) TARN_BOOT_NOEXCEPT;
/* A new array, which the caller frees; SWM_NO_ELEMENTS and untouched outputs when there are none. */
TARN_BOOT_API uint32_t SWM_GetPackagePatchInfo(struct _xmlNode *package, SwmPatchInfo **patchesOut,
                                               uint32_t *countOut) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_GetPackageModInfo(struct _xmlNode *package, SwmModInfo **modsOut,
                                             uint32_t *countOut) TARN_BOOT_NOEXCEPT;
/*
 * Fills one zero-filled record per package, patches and mods included; `records` must have room for all of them
 * (SWM_GetPackageNodeNum). On failure the records hold what was read so far, for SWM_FreePackageInfo.
 */
TARN_BOOT_API uint32_t SWM_GetAllPackageInfo(const char *path, SwmPackageInfo *records) TARN_BOOT_NOEXCEPT;
/* Base info of the first package of that name and, when given, version; or SWM_NOT_INSTALLED. On SWM_FAIL `info` may be
 * partly filled. */
TARN_BOOT_API uint32_t SWM_GetChosenPackageInfo(const char *path, SwmPackageInfo *info, const char *pkgName,
                                                const char *version /* may be null */) TARN_BOOT_NOEXCEPT;
/* Frees the array and the patches and mods of its records. Count 0 frees nothing, with a warning. */
TARN_BOOT_API void SWM_FreePackageInfo(SwmPackageInfo *records, uint32_t count) TARN_BOOT_NOEXCEPT;
/* 0 also when the database cannot be read. */
TARN_BOOT_API uint32_t SWM_IsPackageInstalled(const char *path, const SwmPackageInfo *key,
                                              uint32_t matchLevel) TARN_BOOT_NOEXCEPT;
/* All packages in a new array; or SWM_NOT_INSTALLED, outputs untouched, when there are none. SWM_FreePackageInfo. */
TARN_BOOT_API uint32_t SWM_MallocAndGetAllPackageInfo(const char *path, SwmPackageInfo **recordsOut,
                                                      uint32_t *countOut) TARN_BOOT_NOEXCEPT;
/* SWM_GetChosenPackageInfo into a new record. SWM_FreePackageInfo with count 1. */
TARN_BOOT_API uint32_t SWM_MallocAndGetChosenPackageInfo(const char *path, SwmPackageInfo **infoOut,
                                                         const char *pkgName,
                                                         const char *version /* may be null */) TARN_BOOT_NOEXCEPT;
/*
 * Adds the number of distinct CcFile texts to `*counter`, which the caller has set, and empties the CcFile of every
 * later record with the same. Directories do not count.
 */
TARN_BOOT_API void SWM_GetCCNumberWithPackageInfo(SwmPackageInfo *records, uint32_t count,
                                                  uint32_t *counter) TARN_BOOT_NOEXCEPT;
/* The CC packages, one per distinct CcFile, in a new array, which the caller frees. No packages is SWM_FAIL. */
TARN_BOOT_API uint32_t SWM_MallocAndGetAllCcInfo(const char *path, SwmCcInfo **infosOut,
                                                 uint32_t *countOut) TARN_BOOT_NOEXCEPT;

/* 1 when Version, InstallPath, PkgPoolPath and SrcFilePath are equal; the name does not count. */
TARN_BOOT_API uint32_t SWM_ComparePatchInfo(const SwmPatchInfo *a, const SwmPatchInfo *b) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_CompareModInfo(const SwmModInfo *a, const SwmModInfo *b) TARN_BOOT_NOEXCEPT;
/* 1 when Version, CcFile and PackageName are equal. */
TARN_BOOT_API uint32_t SWM_ComparePkgBriefInfo(const SwmPackageInfo *a, const SwmPackageInfo *b) TARN_BOOT_NOEXCEPT;
/* 1 when Version, CcFile, CcPath, InstallPath and PkgPoolPath are equal; name and ActiveTime do not count. */
TARN_BOOT_API uint32_t SWM_ComparePackageBaseInfo(const SwmPackageInfo *a, const SwmPackageInfo *b) TARN_BOOT_NOEXCEPT;
/* 1 when the first existing element has the new one's name; `*sameFlag` then tells whether it is equal too. */
TARN_BOOT_API uint32_t SWM_ComparePackagePatchInfo(const SwmPatchInfo *newPatch,
                                                   const SwmPatchInfo *existing /* may be null */,
                                                   int32_t existingCount, uint32_t *sameFlag) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_ComparePackageModInfo(const SwmModInfo *newMod, const SwmModInfo *existing /* may be null */,
                                                 int32_t existingCount, uint32_t *sameFlag) TARN_BOOT_NOEXCEPT;

/* ---- Updates ---------------------------------------------------------------------------------------------------- */

/*
 * The file is saved only when all edits succeeded. Installers call SWM_AddBasePackageInfo, SWM_AddPatchPackageInfo and
 * SWM_AddModPackageInfo; the others are their steps.
 */

/* Append an element, the patch or mod to the first package of that name. Duplicates are not looked for. */
TARN_BOOT_API uint32_t SWM_AddBaseInfo(const char *path, const SwmPackageInfo *info) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddPatchInfo(const char *path, const SwmPatchInfo *patch,
                                        const char *pkgName) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddModInfo(const char *path, const SwmModInfo *mod, const char *pkgName) TARN_BOOT_NOEXCEPT;
/* The package of the record's name and, with the flag, version; a finder as above. */
TARN_BOOT_API uint32_t SWM_GetPackageNodeByBaseInfo(const SwmPackageInfo *info, int32_t withVersion,
                                                    struct _xmlNode **packageOut,
                                                    struct _xmlNode *root) TARN_BOOT_NOEXCEPT;
/* Rewrite the leaves of an element but for its name. One that is not there is a failure, but for "ActiveTime". */
TARN_BOOT_API uint32_t SWM_UpdateBaseInfo(const char *path, const SwmPackageInfo *info,
                                          uint32_t withVersion) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_UpdatePatchInfo(const char *path, const SwmPatchInfo *patch,
                                           const char *pkgName) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_UpdateModInfo(const char *path, const SwmModInfo *mod,
                                         const char *pkgName) TARN_BOOT_NOEXCEPT;
/* Add, update, or nothing when equal, by the rule of SWM_ComparePackagePatchInfo. */
TARN_BOOT_API uint32_t SWM_AddOrUpdatePatchInfo(const char *path, const SwmPatchInfo *newPatch,
                                                const SwmPatchInfo *existing /* may be null */, int32_t existingCount,
                                                const char *pkgName) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddOrUpdateModInfo(const char *path, const SwmModInfo *newMod,
                                              const SwmModInfo *existing /* may be null */, int32_t existingCount,
                                              const char *pkgName) TARN_BOOT_NOEXCEPT;
/*
 * Adds the package, updates it, or writes nothing when SWM_ComparePackageBaseInfo finds it equal. Without the flag a
 * new version replaces the old one's values; with it, it becomes a second entry.
 */
TARN_BOOT_API uint32_t SWM_AddBasePackageInfo(const char *path, const SwmPackageInfo *info,
                                              uint32_t withVersion) TARN_BOOT_NOEXCEPT;
/* Append to an installed package, also when it has a patch or mod of that name. */
TARN_BOOT_API uint32_t SWM_AddPatchPackageInfo(const char *path, const char *pkgName,
                                               const SwmPatchInfo *patch) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_AddModPackageInfo(const char *path, const char *pkgName,
                                             const SwmModInfo *mod) TARN_BOOT_NOEXCEPT;

/* ---- Deletion --------------------------------------------------------------------------------------------------- */

/* The first package that matches at SWM_MATCH_ALL. None is SWM_OK, and nothing is written. */
TARN_BOOT_API uint32_t SWM_DelBasePackageInfo(const char *path, const SwmPackageInfo *key) TARN_BOOT_NOEXCEPT;
/*
 * Every package of one CC package file, by the parts of its full path, or of one name. Those that take a path save
 * also when there was none. The others change the tree only; on failure it has lost the matches before the damage.
 */
TARN_BOOT_API uint32_t SWM_DelMatchPackageNodeByCcFile(struct _xmlNode *root,
                                                       const char *ccFilePath) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_DelBasePackageInfoByCcNameAndPath(const char *path,
                                                             const char *ccFilePath) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_DelMatchPackageNodeByPkgName(struct _xmlNode *root, const char *pkgName) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_DelBasePackageInfoByName(const char *path, const char *pkgName) TARN_BOOT_NOEXCEPT;
/* The first of that name in the first package of that name. None is SWM_OK, and nothing is written. */
TARN_BOOT_API uint32_t SWM_DelPatchPackageInfo(const char *path, const char *pkgName,
                                               const char *patchName) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_DelModPackageInfo(const char *path, const char *pkgName,
                                             const char *modName) TARN_BOOT_NOEXCEPT;
/*
 * CC file name of the startup base package, the last one when there are several; the buffer stays as it was when there
 * is none. On failure it may hold that of an earlier one.
 */
TARN_BOOT_API uint32_t SWM_ParseXmlBasePkgName(const char *path, char *buffer, uint32_t length) TARN_BOOT_NOEXCEPT;

/* ---- Backups and boot markers ------------------------------------------------------------------------------------ */

/* "<directory>bak", cut to length - 1, when that directory exists; 1 otherwise. */
TARN_BOOT_API uint32_t SWM_GetBackupPath(const char *directory, char *buffer, uint32_t length) TARN_BOOT_NOEXCEPT;
/*
 * Copies the file into the backup directory of its own directory, over an earlier backup. SWM_E_PARAM: no path;
 * SWM_E_FILE_MISSING; SWM_E_NO_BACKUP_DIR, which is never made; else the platform's code for the copy.
 */
TARN_BOOT_API uint32_t SWM_BackupFile(const char *filePath) TARN_BOOT_NOEXCEPT;
/* Removes that backup while the file itself is there. Always 0. */
TARN_BOOT_API uint32_t SWM_DelExistBackupFile(const char *filePath) TARN_BOOT_NOEXCEPT;
/* "<version directory of the package>/bootlocal", cut to length - 1. Always 0. */
TARN_BOOT_API uint32_t SWM_GetPkgBootlocalPath(const char *pkgName, const char *pkgVer, char *buffer,
                                               uint32_t length) TARN_BOOT_NOEXCEPT;
/* Create the marker (user "swm", group "quorim", ids 2000 and 2001 when unknown; mode 0640), or remove it. */
TARN_BOOT_API uint32_t SWM_CreatePkgBootlocalFile(const char *pkgName, const char *pkgVer) TARN_BOOT_NOEXCEPT;
TARN_BOOT_API uint32_t SWM_RemovePkgBootlocalFile(const char *pkgName, const char *pkgVer) TARN_BOOT_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
