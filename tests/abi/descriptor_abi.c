/* Records and operations of descriptor files and patch file lists. */
#include <tarn_boot/descriptor.h>

#include "abi_check.h"

SIZE(PkgStructureRecord, 144);
FIELD(PkgStructureRecord, links, 0, 16);
FIELD(PkgStructureRecord, packageName, 16, 128);

SIZE(CcInfo, 416);
FIELD(CcInfo, ccFileName, 0, 128);
FIELD(CcInfo, formatVersion, 128, 128);
FIELD(CcInfo, startupFlag, 256, 4);
FIELD(CcInfo, version, 260, 128);
FIELD(CcInfo, includedPackages, 392, 24);

SIZE(PkgDescInfo, 432);
FIELD(PkgDescInfo, packageName, 0, 128);
FIELD(PkgDescInfo, version, 128, 128);
FIELD(PkgDescInfo, requiresText, 256, 128);
FIELD(PkgDescInfo, files, 384, 24);
FIELD(PkgDescInfo, compatibleFiles, 408, 24);

SIZE(FileStructureData, 388);
FIELD(FileStructureData, firstText, 0, 128);
FIELD(FileStructureData, secondText, 128, 128);
FIELD(FileStructureData, thirdText, 256, 128);
FIELD(FileStructureData, flag, 384, 4);

SIZE(FileStructureRecord, 408);
FIELD(FileStructureRecord, links, 0, 16);
FIELD(FileStructureRecord, data, 16, sizeof(FileStructureData));

SIZE(PkgBasicData, 384);
FIELD(PkgBasicData, ccName, 0, 128);
FIELD(PkgBasicData, packageName, 128, 128);
FIELD(PkgBasicData, version, 256, 128);

SIZE(PkgBasicInfo, 400);
FIELD(PkgBasicInfo, links, 0, 16);
FIELD(PkgBasicInfo, data, 16, sizeof(PkgBasicData));

SIZE(PkgRequireData, 516);
FIELD(PkgRequireData, ccName, 0, 128);
FIELD(PkgRequireData, packageName, 128, 128);
FIELD(PkgRequireData, requiredName, 256, 128);
FIELD(PkgRequireData, requiredVersion, 384, 128);
FIELD(PkgRequireData, relation, 512, 4);

SIZE(PkgRequireInfo, 536);
FIELD(PkgRequireInfo, links, 0, 16);
FIELD(PkgRequireInfo, data, 16, sizeof(PkgRequireData));

SIZE(RpmlistTxtData, 516);
FIELD(RpmlistTxtData, rpmFileName, 0, 128);
FIELD(RpmlistTxtData, rpmName, 128, 128);
FIELD(RpmlistTxtData, secondText, 256, 256);
FIELD(RpmlistTxtData, operation, 512, 4);

SIZE(RpmlistTxtRecord, 536);
FIELD(RpmlistTxtRecord, links, 0, 16);
FIELD(RpmlistTxtRecord, data, 16, sizeof(RpmlistTxtData));

/* Every operation links, with its documented type. Not static, so that the compiler keeps it. */
const struct {
    uint32_t (*swmIsInvalidLine)(const char *line);
    uint32_t (*swmIsSection)(const char *line);
    uint32_t (*swmParseValueFromSecLine)(const char *line, const char *key, char *value, uint32_t valueSize);
    uint32_t (*swmGetSecValueFromDesc)(const char *descPath, const char *key, char *value, uint32_t valueSize);
    uint32_t (*swmGetCcInfoFromCcDesc)(const char *ccPath, const char *descPath, CcInfo *info);
    uint32_t (*swmGetIsStartupFromCcDesc)(const char *descPath, uint32_t *startupFlag);
    uint32_t (*swmGetAllPackageStructureFromCcDesc)(const char *descPath, SwmListHead *list);
    uint32_t (*swmAddPkgToCcIncludeStructure)(SwmListHead *list, const char *packageName);
    uint32_t (*swmIsSamePkgStruRecord)(const char *nameA, const char *nameB);
    void (*swmFreePackageStructureRecord)(SwmListHead *list);
    uint32_t (*swmIsCcFormatVerNotMy)(const char *ccPackagePath);
    uint32_t (*swmGetPkgInfoFromPkgDesc)(const char *descPath, PkgDescInfo *info);
    uint32_t (*swmGetAllFileStructureFromPkgDesc)(const char *descPath, SwmListHead *list);
    uint32_t (*swmGetAllFileCompatFromPkgDesc)(const char *descPath, SwmListHead *list);
    uint32_t (*swmGetAllFilesByTypeFromDesc)(const char *descPath, SwmListHead *list, uint32_t sectionType);
    uint32_t (*swmIsFilesSection)(const char *line, uint32_t sectionType);
    uint32_t (*swmProcFileStructureRecord)(uint32_t inSection, char *line, SwmListHead *list);
    uint32_t (*swmTrans2FileStructureRecord)(char *line, FileStructureData *data);
    uint32_t (*swmAddFileStructureRecord)(SwmListHead *list, const FileStructureData *data);
    uint32_t (*swmIsSameFileStruRecord)(const FileStructureData *a, const FileStructureData *b);
    uint32_t (*swmIsSamePkgBasicNode)(const PkgBasicData *a, const PkgBasicData *b);
    uint32_t (*swmIsSamePkgRequireNode)(const PkgRequireData *a, const PkgRequireData *b);
    void (*swmFreeFileStructureRecord)(SwmListHead *list);
    void (*swmFreePkgBasicList)(SwmListHead *list);
    void (*swmFreePkgRequireList)(SwmListHead *list);
    uint32_t (*swmGetPkgBasicInfo)(PkgBasicData *data, const char *ccName, const PkgDescInfo *info);
    uint32_t (*swmMallocAndAddPkgBasicInfoToList)(SwmListHead *list, const char *ccName, const PkgDescInfo *info);
    uint32_t (*swmAddPkgBasicInfoToList)(SwmListHead *list, const PkgBasicData *data);
    uint32_t (*swmGetPkgRequireInfo)(PkgRequireData *data, const char *ccName, const PkgDescInfo *info,
                                     uint32_t relation, char *const *pieces);
    uint32_t (*swmGetPkgRequireInfoNoVer)(PkgRequireData *data, const char *ccName, const PkgDescInfo *info,
                                          uint32_t relation, const char *entry);
    uint32_t (*swmGetPkgRequireInfoByReqArray)(const char *entry, PkgRequireData *data, uint32_t dataSize,
                                               const char *ccName, const PkgDescInfo *info);
    uint32_t (*swmMallocAndAddPkgRequireInfoToList)(SwmListHead *list, const char *ccName, const PkgDescInfo *info);
    uint32_t (*swmAddPkgRequireInfoToList)(SwmListHead *list, const PkgRequireData *data);
    uint32_t (*swmGetAllRecordFromRpmlistTxt)(const char *path, SwmListHead *list);
    uint32_t (*swmTrans2RpmlistTxtRecord)(char *line, RpmlistTxtData *data);
    uint32_t (*swmInsertRpmlistTxtRecord)(SwmListHead *list, const RpmlistTxtData *data);
    void (*swmFreeRpmlistTxtRecord)(SwmListHead *list);
    uint32_t (*swmPATGetAllRecordFromFilelistTxt)(const char *patchId, const char *patchSubId, const char *fileListPath,
                                                  SwmListHead *list);
    uint32_t (*tarnPATOPERInstallGetAllRecordFromBoardOrNormalFilelistTxt)(const char *patchId, const char *patchSubId,
                                                                           const char *fileListPath, SwmListHead *list,
                                                                           int32_t listKind);
    void (*swmPATOPERInstallFilePathAdapt)(const char *loadPath, SwmListHead *list);
    uint32_t (*swmPATDelFeatureLocalFiles)(const char *patchId, const char *patchSubId, const SwmListHead *list);
} descriptorOperations = {
    .swmIsInvalidLine = SWM_IsInvalidLine,
    .swmIsSection = SWM_IsSection,
    .swmParseValueFromSecLine = SWM_ParseValueFromSecLine,
    .swmGetSecValueFromDesc = SWM_GetSecValueFromDesc,
    .swmGetCcInfoFromCcDesc = SWM_GetCcInfoFromCcDesc,
    .swmGetIsStartupFromCcDesc = SWM_GetIsStartupFromCcDesc,
    .swmGetAllPackageStructureFromCcDesc = SWM_GetAllPackageStructureFromCcDesc,
    .swmAddPkgToCcIncludeStructure = SWM_AddPkgToCcIncludeStructure,
    .swmIsSamePkgStruRecord = SWM_IsSamePkgStruRecord,
    .swmFreePackageStructureRecord = SWM_FreePackageStructureRecord,
    .swmIsCcFormatVerNotMy = SWM_IsCcFormatVerNotMy,
    .swmGetPkgInfoFromPkgDesc = SWM_GetPkgInfoFromPkgDesc,
    .swmGetAllFileStructureFromPkgDesc = SWM_GetAllFileStructureFromPkgDesc,
    .swmGetAllFileCompatFromPkgDesc = SWM_GetAllFileCompatFromPkgDesc,
    .swmGetAllFilesByTypeFromDesc = SwmGetAllFilesByTypeFromDesc,
    .swmIsFilesSection = SWM_IsFilesSection,
    .swmProcFileStructureRecord = SWM_ProcFileStructureRecord,
    .swmTrans2FileStructureRecord = SWM_Trans2FileStructureRecord,
    .swmAddFileStructureRecord = SWM_AddFileStructureRecord,
    .swmIsSameFileStruRecord = SWM_IsSameFileStruRecord,
    .swmIsSamePkgBasicNode = SWM_IsSamePkgBasicNode,
    .swmIsSamePkgRequireNode = SWM_IsSamePkgRequireNode,
    .swmFreeFileStructureRecord = SWM_FreeFileStructureRecord,
    .swmFreePkgBasicList = SWM_FreePkgBasicList,
    .swmFreePkgRequireList = SWM_FreePkgRequireList,
    .swmGetPkgBasicInfo = SWM_GetPkgBasicInfo,
    .swmMallocAndAddPkgBasicInfoToList = SWM_MallocAndAddPkgBasicInfoToList,
    .swmAddPkgBasicInfoToList = SWM_AddPkgBasicInfoToList,
    .swmGetPkgRequireInfo = SWM_GetPkgRequireInfo,
    .swmGetPkgRequireInfoNoVer = SWM_GetPkgRequireInfoNoVer,
    .swmGetPkgRequireInfoByReqArray = SWM_GetPkgRequireInfoByReqArray,
    .swmMallocAndAddPkgRequireInfoToList = SWM_MallocAndAddPkgRequireInfoToList,
    .swmAddPkgRequireInfoToList = SWM_AddPkgRequireInfoToList,
    .swmGetAllRecordFromRpmlistTxt = SWM_GetAllRecordFromRpmlistTxt,
    .swmTrans2RpmlistTxtRecord = SWM_Trans2RpmlistTxtRecord,
    .swmInsertRpmlistTxtRecord = SWM_InsertRpmlistTxtRecord,
    .swmFreeRpmlistTxtRecord = SWM_FreeRpmlistTxtRecord,
    .swmPATGetAllRecordFromFilelistTxt = SWM_PAT_GetAllRecordFromFilelistTxt,
    .tarnPATOPERInstallGetAllRecordFromBoardOrNormalFilelistTxt =
        TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt,
    .swmPATOPERInstallFilePathAdapt = SWM_PAT_OPER_Install_FilePathAdapt,
    .swmPATDelFeatureLocalFiles = SWM_PAT_DelFeatureLocalFiles,
};
