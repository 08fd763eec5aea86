/* Records of the database, and its operations: an assignment of another type does not compile. */
#include <tarn_boot/database.h>

#include "abi_check.h"

SIZE(SwmPatchInfo, 1024);
FIELD(SwmPatchInfo, PatchName, 0, 128);
FIELD(SwmPatchInfo, Version, 128, 128);
FIELD(SwmPatchInfo, SrcFilePath, 256, 256);
FIELD(SwmPatchInfo, InstallPath, 512, 256);
FIELD(SwmPatchInfo, PkgPoolPath, 768, 256);

SIZE(SwmModInfo, 1024);
FIELD(SwmModInfo, ModName, 0, 128);
FIELD(SwmModInfo, Version, 128, 128);
FIELD(SwmModInfo, SrcFilePath, 256, 256);
FIELD(SwmModInfo, InstallPath, 512, 256);
FIELD(SwmModInfo, PkgPoolPath, 768, 256);

SIZE(SwmPackageInfo, 1208);
FIELD(SwmPackageInfo, PackageName, 0, 128);
FIELD(SwmPackageInfo, Version, 128, 128);
FIELD(SwmPackageInfo, CcFile, 256, 128);
FIELD(SwmPackageInfo, CcPath, 384, 256);
FIELD(SwmPackageInfo, InstallPath, 640, 256);
FIELD(SwmPackageInfo, PkgPoolPath, 896, 256);
FIELD(SwmPackageInfo, ActiveTime, 1152, 32);
FIELD(SwmPackageInfo, patches, 1184, 8);
FIELD(SwmPackageInfo, mods, 1192, 8);
FIELD(SwmPackageInfo, patchCount, 1200, 4);
FIELD(SwmPackageInfo, modCount, 1204, 4);

SIZE(SwmCcInfo, 384);
FIELD(SwmCcInfo, CcFullPath, 0, 384);

VALUE(SWM_MATCH_NAME, 0u);
VALUE(SWM_MATCH_NAME_VERSION, 1u);
VALUE(SWM_MATCH_ALL, 2u);
VALUE(SWM_NOT_INSTALLED, 1u);
VALUE(SWM_NO_ELEMENTS, 2u);

const struct {
    struct _xmlDoc *(*xmlReadFile)(const char *path);
    struct _xmlDoc *(*parseAndCheckXmlFile)(const char *path, const char *expectedRoot, struct _xmlNode **rootOut);
    uint32_t (*xmlReadFileAndGetRootElement)(const char *path, struct _xmlDoc **docOut, struct _xmlNode **rootOut);
    void (*parseOverString)(struct _xmlDoc *doc, struct _xmlNode *node, char *buffer, uint32_t length);
    uint32_t (*getChildNodeContent)(struct _xmlNode *node, const char *childName, char *buffer, uint32_t length);
    uint32_t (*getNodeContent)(struct _xmlNode *node, const char *firstName, const char *secondName, char *buffer,
                               uint32_t length);
    uint32_t (*setChildNodeContent)(struct _xmlNode *node, const char *childName, const char *text);
    uint32_t (*setNodeContent)(struct _xmlNode *node, const char *firstName, const char *secondName, const char *text);
    uint32_t (*createXmlFile)(const char *path);
    SwmPackageInfo *(*mallocAndInitPackageInfo)(uint32_t count);
    SwmCcInfo *(*mallocAndInitCcInfo)(uint32_t count);
    uint32_t (*matchPackageNode)(struct _xmlNode *package, const char *leaf, const char *wanted, uint32_t *matchFlag);
    uint32_t (*matchPackagePathNode)(struct _xmlNode *package, const char *leaf, const char *wanted,
                                     uint32_t *matchFlag);
    uint32_t (*matchPatchNode)(struct _xmlNode *patch, const char *patchName, uint32_t *matchFlag);
    uint32_t (*matchModNode)(struct _xmlNode *mod, const char *modName, uint32_t *matchFlag);
    uint32_t (*jugePackageNodeMatch)(struct _xmlNode *package, const SwmPackageInfo *key, uint32_t matchLevel,
                                     uint32_t *matchFlag);
    uint32_t (*getMatchPackageNode)(struct _xmlNode *root, const SwmPackageInfo *key, uint32_t matchLevel,
                                    struct _xmlNode **packageOut);
    uint32_t (*matchAndGetPackageNode)(struct _xmlNode *root, const char *pkgName, const char *version,
                                       struct _xmlNode **packageOut);
    uint32_t (*matchAndGetPatchNode)(struct _xmlNode *root, const char *pkgName, const char *patchName,
                                     struct _xmlNode **patchOut);
    uint32_t (*matchAndGetModNode)(struct _xmlNode *root, const char *pkgName, const char *modName,
                                   struct _xmlNode **modOut);
    uint32_t (*getPackageNodeNum)(const char *path, uint32_t *countOut);
    void (*getNodeNumInPackage)(struct _xmlNode *node, const char *elementName, uint32_t *countOut);
    uint32_t (*getPatchInfo)(struct _xmlNode *patch, SwmPatchInfo *info);
    uint32_t (*getModInfo)(struct _xmlNode *mod, SwmModInfo *info);
    uint32_t (*getPackageBaseInfo)(struct _xmlNode *package, SwmPackageInfo *info);
    uint32_t (*getPackagePatchInfo)(struct _xmlNode *package, SwmPatchInfo **patchesOut, uint32_t *countOut);
    uint32_t (*getPackageModInfo)(struct _xmlNode *package, SwmModInfo **modsOut, uint32_t *countOut);
    uint32_t (*getPackageInfo)(struct _xmlNode *package, SwmPackageInfo *info);
    uint32_t (*getAllPackageInfo)(const char *path, SwmPackageInfo *records);
    uint32_t (*getChosenPackageInfo)(const char *path, SwmPackageInfo *info, const char *pkgName, const char *version);
    void (*freePackageInfo)(SwmPackageInfo *records, uint32_t count);
    uint32_t (*isPackageInstalled)(const char *path, const SwmPackageInfo *key, uint32_t matchLevel);
    uint32_t (*mallocAndGetAllPackageInfo)(const char *path, SwmPackageInfo **recordsOut, uint32_t *countOut);
    uint32_t (*mallocAndGetChosenPackageInfo)(const char *path, SwmPackageInfo **infoOut, const char *pkgName,
                                              const char *version);
    void (*getCCNumberWithPackageInfo)(SwmPackageInfo *records, uint32_t count, uint32_t *counter);
    uint32_t (*mallocAndGetAllCcInfo)(const char *path, SwmCcInfo **infosOut, uint32_t *countOut);
    uint32_t (*comparePatchInfo)(const SwmPatchInfo *a, const SwmPatchInfo *b);
    uint32_t (*compareModInfo)(const SwmModInfo *a, const SwmModInfo *b);
    uint32_t (*comparePkgBriefInfo)(const SwmPackageInfo *a, const SwmPackageInfo *b);
    uint32_t (*comparePackageBaseInfo)(const SwmPackageInfo *a, const SwmPackageInfo *b);
    uint32_t (*comparePackagePatchInfo)(const SwmPatchInfo *newPatch, const SwmPatchInfo *existing,
                                        int32_t existingCount, uint32_t *sameFlag);
    uint32_t (*comparePackageModInfo)(const SwmModInfo *newMod, const SwmModInfo *existing, int32_t existingCount,
                                      uint32_t *sameFlag);
    uint32_t (*addBaseInfo)(const char *path, const SwmPackageInfo *info);
    uint32_t (*addPatchInfo)(const char *path, const SwmPatchInfo *patch, const char *pkgName);
    uint32_t (*addModInfo)(const char *path, const SwmModInfo *mod, const char *pkgName);
    uint32_t (*getPackageNodeByBaseInfo)(const SwmPackageInfo *info, int32_t withVersion, struct _xmlNode **packageOut,
                                         struct _xmlNode *root);
    uint32_t (*updateBaseInfo)(const char *path, const SwmPackageInfo *info, uint32_t withVersion);
    uint32_t (*updatePatchInfo)(const char *path, const SwmPatchInfo *patch, const char *pkgName);
    uint32_t (*updateModInfo)(const char *path, const SwmModInfo *mod, const char *pkgName);
    uint32_t (*addOrUpdatePatchInfo)(const char *path, const SwmPatchInfo *newPatch, const SwmPatchInfo *existing,
                                     int32_t existingCount, const char *pkgName);
    uint32_t (*addOrUpdateModInfo)(const char *path, const SwmModInfo *newMod, const SwmModInfo *existing,
                                   int32_t existingCount, const char *pkgName);
    uint32_t (*addBasePackageInfo)(const char *path, const SwmPackageInfo *info, uint32_t withVersion);
    uint32_t (*addPatchPackageInfo)(const char *path, const char *pkgName, const SwmPatchInfo *patch);
    uint32_t (*addModPackageInfo)(const char *path, const char *pkgName, const SwmModInfo *mod);
    uint32_t (*getBackupPath)(const char *directory, char *buffer, uint32_t length);
    uint32_t (*backupFile)(const char *filePath);
    uint32_t (*delExistBackupFile)(const char *filePath);
    uint32_t (*getPkgBootlocalPath)(const char *pkgName, const char *pkgVer, char *buffer, uint32_t length);
    uint32_t (*createPkgBootlocalFile)(const char *pkgName, const char *pkgVer);
    uint32_t (*removePkgBootlocalFile)(const char *pkgName, const char *pkgVer);
    uint32_t (*delBasePackageInfo)(const char *path, const SwmPackageInfo *key);
    uint32_t (*delMatchPackageNodeByCcFile)(struct _xmlNode *root, const char *ccFilePath);
    uint32_t (*delBasePackageInfoByCcNameAndPath)(const char *path, const char *ccFilePath);
    uint32_t (*delMatchPackageNodeByPkgName)(struct _xmlNode *root, const char *pkgName);
    uint32_t (*delBasePackageInfoByName)(const char *path, const char *pkgName);
    uint32_t (*delPatchPackageInfo)(const char *path, const char *pkgName, const char *patchName);
    uint32_t (*delModPackageInfo)(const char *path, const char *pkgName, const char *modName);
    uint32_t (*parseXmlBasePkgName)(const char *path, char *buffer, uint32_t length);
} kDatabaseOperations = {
    .xmlReadFile = SWM_XmlReadFile,
    .parseAndCheckXmlFile = SWM_ParseAndCheckXmlFile,
    .xmlReadFileAndGetRootElement = SWM_XmlReadFileAndGetRootElement,
    .parseOverString = SWM_ParseOverString,
    .getChildNodeContent = SWM_GetChildNodeContent,
    .getNodeContent = SWM_GetNodeContent,
    .setChildNodeContent = SWM_SetChildNodeContent,
    .setNodeContent = SWM_SetNodeContent,
    .createXmlFile = SWM_CreateXmlFile,
    .mallocAndInitPackageInfo = SWM_MallocAndInitPackageInfo,
    .mallocAndInitCcInfo = SWM_MallocAndInitCcInfo,
    .matchPackageNode = SWM_MatchPackageNode,
    .matchPackagePathNode = SWM_MatchPackagePathNode,
    .matchPatchNode = SWM_MatchPatchNode,
    .matchModNode = SWM_MatchModNode,
    .jugePackageNodeMatch = SWM_JugePackageNodeMatch,
    .getMatchPackageNode = SWM_GetMatchPackageNode,
    .matchAndGetPackageNode = SWM_MatchAndGetPackageNode,
    .matchAndGetPatchNode = SWM_MatchAndGetPatchNode,
    .matchAndGetModNode = SWM_MatchAndGetModNode,
    .getPackageNodeNum = SWM_GetPackageNodeNum,
    .getNodeNumInPackage = SWM_GetNodeNumInPackage,
    .getPatchInfo = SWM_GetPatchInfo,
    .getModInfo = SWM_GetModInfo,
    .getPackageBaseInfo = SWM_GetPackageBaseInfo,
    .getPackagePatchInfo = SWM_GetPackagePatchInfo,
    .getPackageModInfo = SWM_GetPackageModInfo,
    .getPackageInfo = SWM_GetPackageInfo,
    .getAllPackageInfo = SWM_GetAllPackageInfo,
    .getChosenPackageInfo = SWM_GetChosenPackageInfo,
    .freePackageInfo = SWM_FreePackageInfo,
    .isPackageInstalled = SWM_IsPackageInstalled,
    .mallocAndGetAllPackageInfo = SWM_MallocAndGetAllPackageInfo,
    .mallocAndGetChosenPackageInfo = SWM_MallocAndGetChosenPackageInfo,
    .getCCNumberWithPackageInfo = SWM_GetCCNumberWithPackageInfo,
    .mallocAndGetAllCcInfo = SWM_MallocAndGetAllCcInfo,
    .comparePatchInfo = SWM_ComparePatchInfo,
    .compareModInfo = SWM_CompareModInfo,
    .comparePkgBriefInfo = SWM_ComparePkgBriefInfo,
    .comparePackageBaseInfo = SWM_ComparePackageBaseInfo,
    .comparePackagePatchInfo = SWM_ComparePackagePatchInfo,
    .comparePackageModInfo = SWM_ComparePackageModInfo,
    .addBaseInfo = SWM_AddBaseInfo,
    .addPatchInfo = SWM_AddPatchInfo,
    .addModInfo = SWM_AddModInfo,
    .getPackageNodeByBaseInfo = SWM_GetPackageNodeByBaseInfo,
    .updateBaseInfo = SWM_UpdateBaseInfo,
    .updatePatchInfo = SWM_UpdatePatchInfo,
    .updateModInfo = SWM_UpdateModInfo,
    .addOrUpdatePatchInfo = SWM_AddOrUpdatePatchInfo,
    .addOrUpdateModInfo = SWM_AddOrUpdateModInfo,
    .addBasePackageInfo = SWM_AddBasePackageInfo,
    .addPatchPackageInfo = SWM_AddPatchPackageInfo,
    .addModPackageInfo = SWM_AddModPackageInfo,
    .getBackupPath = SWM_GetBackupPath,
    .backupFile = SWM_BackupFile,
    .delExistBackupFile = SWM_DelExistBackupFile,
    .getPkgBootlocalPath = SWM_GetPkgBootlocalPath,
    .createPkgBootlocalFile = SWM_CreatePkgBootlocalFile,
    .removePkgBootlocalFile = SWM_RemovePkgBootlocalFile,
    .delBasePackageInfo = SWM_DelBasePackageInfo,
    .delMatchPackageNodeByCcFile = SWM_DelMatchPackageNodeByCcFile,
    .delBasePackageInfoByCcNameAndPath = SWM_DelBasePackageInfoByCcNameAndPath,
    .delMatchPackageNodeByPkgName = SWM_DelMatchPackageNodeByPkgName,
    .delBasePackageInfoByName = SWM_DelBasePackageInfoByName,
    .delPatchPackageInfo = SWM_DelPatchPackageInfo,
    .delModPackageInfo = SWM_DelModPackageInfo,
    .parseXmlBasePkgName = SWM_ParseXmlBasePkgName,
};
