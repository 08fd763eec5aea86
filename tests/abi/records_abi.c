/* Records and operations of the record lists. */
#include <tarn_boot/records.h>

#include "abi_check.h"

SIZE(FilelistTxtRecord, 1288);
FIELD(FilelistTxtRecord, digest, 0, 32);
FIELD(FilelistTxtRecord, entryName, 32, 256);
FIELD(FilelistTxtRecord, installDir, 288, 256);
FIELD(FilelistTxtRecord, poolName, 544, 128);
FIELD(FilelistTxtRecord, fileName, 672, 128);
FIELD(FilelistTxtRecord, col5Num, 800, 4);
FIELD(FilelistTxtRecord, col6Text, 804, 16);
FIELD(FilelistTxtRecord, owner, 820, 32);
FIELD(FilelistTxtRecord, group, 852, 32);
FIELD(FilelistTxtRecord, mode, 884, 4);
FIELD(FilelistTxtRecord, isDir, 888, 4);
FIELD(FilelistTxtRecord, hasCol10, 892, 4);
FIELD(FilelistTxtRecord, col10Text, 896, 256);
FIELD(FilelistTxtRecord, col11Num, 1152, 4);
FIELD(FilelistTxtRecord, col12Text, 1156, 128);
FIELD(FilelistTxtRecord, col13Num, 1284, 4);

SIZE(FilelistTxtNode, 1304);
FIELD(FilelistTxtNode, links, 0, 16);
FIELD(FilelistTxtNode, record, 16, sizeof(FilelistTxtRecord));

SIZE(ImageNameRecord, 128);
FIELD(ImageNameRecord, name, 0, 128);

SIZE(ImageNameNode, 144);
FIELD(ImageNameNode, links, 0, 16);
FIELD(ImageNameNode, record, 16, sizeof(ImageNameRecord));

SIZE(LinklistRecord, 512);
FIELD(LinklistRecord, linkSource, 0, 256);
FIELD(LinklistRecord, linkPath, 256, 256);

SIZE(LinklistNode, 528);
FIELD(LinklistNode, links, 0, 16);
FIELD(LinklistNode, record, 16, sizeof(LinklistRecord));

SIZE(BiosloadRecord, 716);
FIELD(BiosloadRecord, sha256Text, 0, 65);
FIELD(BiosloadRecord, filePath, 65, 256);
FIELD(BiosloadRecord, field2Text, 321, 128);
FIELD(BiosloadRecord, field3Text, 449, 128);
FIELD(BiosloadRecord, field4Num, 580, 4);
FIELD(BiosloadRecord, fileType, 584, 4);
FIELD(BiosloadRecord, field6Text, 588, 128);

SIZE(BiosloadNode, 736);
FIELD(BiosloadNode, links, 0, 16);
FIELD(BiosloadNode, record, 16, sizeof(BiosloadRecord));

VALUE(UPDATE_SAME, 1u);
VALUE(UPDATE_ADD, 2u);
VALUE(UPDATE_DEL, 3u);
VALUE(UPDATE_MODIFY, 4u);
VALUE(UPDATE_REFRESH, 5u);

/* Every operation links, with its documented type. Not static, so that the compiler keeps it. */
const struct {
    uint32_t (*swmLoadFileContent)(const char *path, char **contentOut, uint64_t *lengthOut);
    uint32_t (*swmLoadFileToList)(const char *path, SwmListHead *list, SwmFilelistCompare compare);
    uint32_t (*swmLoadFileLineToList)(char *line, SwmListHead *list, SwmFilelistCompare compare);
    int32_t (*swmComparebyPoolname)(const FilelistTxtRecord *a, const FilelistTxtRecord *b);
    uint32_t (*swmIsSameRecord)(const FilelistTxtRecord *a, const FilelistTxtRecord *b);
    uint32_t (*swmInsertFilelistTxtRecord)(SwmListHead *list, FilelistTxtNode *node, SwmFilelistCompare compare);
    uint32_t (*swmAddFilelistTxtRecord)(SwmListHead *list, const FilelistTxtRecord *record);
    void (*swmFreeFilelistTxtRecord)(SwmListHead *list);
    uint32_t (*swmTrans2FilelistTxtRecord)(char *line, FilelistTxtRecord *record);
    void (*swmGetBaseBoardFileInfo)(char *const *columns, uint32_t columnCount, FilelistTxtRecord *record);
    void (*swmUpdateFileListRecodeDefault)(FilelistTxtRecord *record);
    uint32_t (*swmUpdateFileListRecodeByType)(FilelistTxtRecord *record, const char *text, uint32_t type);
    uint32_t (*swmCreateAllDir)(const SwmListHead *list);
    uint32_t (*swmCreateAllDirEx)(const SwmListHead *list);
    uint32_t (*swmGetAllRecordFromFilelistTxtNoCreateDir)(const char *path, SwmListHead *list);
    uint32_t (*swmGetAllRecordFromFilelistTxtCommProc)(const char *path, SwmListHead *list, SwmFilelistCompare compare,
                                                       uint32_t custom);
    uint32_t (*swmGetAllRecordFromFilelistTxt)(const char *path, SwmListHead *list);
    uint32_t (*swmGetAllRecordFromFilelistTxtWithoutSort)(const char *path, SwmListHead *list);
    uint32_t (*swmGetTxtRecordUpdateType)(const FilelistTxtRecord *oldRecord, const FilelistTxtRecord *newRecord);
    uint32_t (*swmAddSrcFileListToDstFileList)(const SwmListHead *srcList, SwmListHead *dstList,
                                               const FilelistTxtNode *startNode);
    uint32_t (*swmGetAllRecordNeedUpdate)(const SwmListHead *oldList, const SwmListHead *newList,
                                          SwmListHead *updateList, SwmListHead *deleteList);
    uint32_t (*swmGetBoardFilelistFullpath)(const char *pkgName, const char *pkgVer, char *out, uint32_t outSize);
    void (*swmGetBoardFilelistFullpathByHardtype)(const char *hardType, const char *pkgName, const char *pkgVer,
                                                  char *out, uint32_t outSize);
    uint32_t (*swmGetBrdFileRecordsBySubPkgVerAndHardtype)(const char *hardType, const char *pkgName,
                                                           const char *pkgVer, SwmListHead *list);
    uint32_t (*swmMergeAllImageBoardFileRecord)(const char *hardType, const char *pkgName, const char *pkgVer,
                                                SwmListHead *list);
    uint32_t (*swmMergeCurrImageBoardFileRecord)(const char *path, SwmListHead *list);
    void (*swmGetImageFilelistFullpath)(const char *pkgName, const char *pkgVer, char *out, uint32_t outSize);
    void (*swmGetImageFilelistFullpathByHardtype)(const char *hardType, const char *pkgName, const char *pkgVer,
                                                  char *out, uint32_t outSize);
    uint32_t (*swmTrans2ImageListRecord)(const char *line, ImageNameNode **nodeOut);
    void (*swmInsertImageListRecord)(SwmListHead *list, ImageNameNode *node);
    void (*swmFreeImageNameList)(SwmListHead *list);
    uint32_t (*swmGetAllImageName)(const char *path, SwmListHead *list);
    uint32_t (*swmGetImageNameFromFile)(const char *path, ImageNameRecord *names, uint32_t *count);
    uint32_t (*swmGetImageNameByHardtypeFromSubPkgVer)(const char *hardType, const char *pkgName, const char *pkgVer,
                                                       ImageNameRecord *names, uint32_t *count);
    uint32_t (*swmGetImageNameFromSubPkgVersion)(const char *pkgName, const char *pkgVer, ImageNameRecord *names,
                                                 uint32_t *count);
    uint32_t (*swmIsSameLinklistRecord)(const LinklistRecord *a, const LinklistRecord *b);
    uint32_t (*swmInsertLinklistRecord)(SwmListHead *list, const LinklistRecord *record);
    uint32_t (*swmAddLinklistRecord)(SwmListHead *list, const LinklistRecord *record);
    void (*swmFreeLinklistRecord)(SwmListHead *list);
    uint32_t (*swmTrans2LinklistRecord)(char *line, LinklistRecord *record);
    uint32_t (*swmGetAllRecordFromLinklist)(const char *path, SwmListHead *list);
    uint32_t (*swmGetLinkUpdateType)(const LinklistRecord *oldRecord, const LinklistRecord *newRecord);
    uint32_t (*swmAddSrcListNodeToDstListNode)(const SwmListHead *srcList, SwmListHead *dstList,
                                               const LinklistNode *startNode);
    uint32_t (*swmGetAllLinkNeedUpdate)(const SwmListHead *oldList, const SwmListHead *newList, SwmListHead *addList,
                                        SwmListHead *deleteList);
    void (*swmGetLinkFilelistFullpath)(const char *hardType, const char *pkgName, const char *pkgVer, char *out,
                                       uint32_t outSize);
    uint32_t (*swmMergeCurrLinkFilelistRecord)(const char *path, SwmListHead *list);
    uint32_t (*swmMergeLinkFilelistRecordFromImageList)(const char *hardType, const char *pkgName, const char *pkgVer,
                                                        SwmListHead *list);
    uint32_t (*swmGetFileLinkRecordFromSubPkgVersion)(const char *hardType, const char *pkgName, const char *pkgVer,
                                                      LinklistRecord *records, uint32_t *count);
    uint32_t (*swmTrans2BiosloadRecord)(char *line, BiosloadRecord *record);
    uint32_t (*swmGetAllBiosloadFileRecordInner)(const char *path, SwmListHead *list);
    void (*swmFreeBiosLoadFileRecordList)(SwmListHead *list);
    uint32_t (*swmGetAllBiosloadFileRecord)(const char *path, BiosloadRecord *records, uint32_t *count);
} recordListOperations = {
    .swmLoadFileContent = SwmLoadFileContent,
    .swmLoadFileToList = SwmLoadFileToList,
    .swmLoadFileLineToList = SwmLoadFileLineToList,
    .swmComparebyPoolname = SWM_ComparebyPoolname,
    .swmIsSameRecord = SWM_IsSameRecord,
    .swmInsertFilelistTxtRecord = SWM_InsertFilelistTxtRecord,
    .swmAddFilelistTxtRecord = SWM_AddFilelistTxtRecord,
    .swmFreeFilelistTxtRecord = SWM_FreeFilelistTxtRecord,
    .swmTrans2FilelistTxtRecord = SWM_Trans2FilelistTxtRecord,
    .swmGetBaseBoardFileInfo = SWM_GetBaseBoardFileInfo,
    .swmUpdateFileListRecodeDefault = SWM_UpdateFileListRecodeDefault,
    .swmUpdateFileListRecodeByType = SWM_UpdateFileListRecodeByType,
    .swmCreateAllDir = SWM_CreateAllDir,
    .swmCreateAllDirEx = SWM_CreateAllDirEx,
    .swmGetAllRecordFromFilelistTxtNoCreateDir = SWM_GetAllRecordFromFilelistTxtNoCreateDir,
    .swmGetAllRecordFromFilelistTxtCommProc = SWM_GetAllRecordFromFilelistTxtCommProc,
    .swmGetAllRecordFromFilelistTxt = SWM_GetAllRecordFromFilelistTxt,
    .swmGetAllRecordFromFilelistTxtWithoutSort = SWM_GetAllRecordFromFilelistTxtWithoutSort,
    .swmGetTxtRecordUpdateType = SWM_GetTxtRecordUpdateType,
    .swmAddSrcFileListToDstFileList = SWM_AddSrcFileListToDstFileList,
    .swmGetAllRecordNeedUpdate = SWM_GetAllRecordNeedUpdate,
    .swmGetBoardFilelistFullpath = SWM_GetBoardFilelistFullpath,
    .swmGetBoardFilelistFullpathByHardtype = SWM_GetBoardFilelistFullpathByHardtype,
    .swmGetBrdFileRecordsBySubPkgVerAndHardtype = SWM_GetBrdFileRecordsBySubPkgVerAndHardtype,
    .swmMergeAllImageBoardFileRecord = SWM_MergeAllImageBoardFileRecord,
    .swmMergeCurrImageBoardFileRecord = SWM_MergeCurrImageBoardFileRecord,
    .swmGetImageFilelistFullpath = SWM_GetImageFilelistFullpath,
    .swmGetImageFilelistFullpathByHardtype = SWM_GetImageFilelistFullpathByHardtype,
    .swmTrans2ImageListRecord = SWM_Trans2ImageListRecord,
    .swmInsertImageListRecord = SWM_InsertImageListRecord,
    .swmFreeImageNameList = SWM_FreeImageNameList,
    .swmGetAllImageName = SWM_GetAllImageName,
    .swmGetImageNameFromFile = SWM_GetImageNameFromFile,
    .swmGetImageNameByHardtypeFromSubPkgVer = SWM_GetImageNameByHardtypeFromSubPkgVer,
    .swmGetImageNameFromSubPkgVersion = SWM_GetImageNameFromSubPkgVersion,
    .swmIsSameLinklistRecord = SWM_IsSameLinklistRecord,
    .swmInsertLinklistRecord = SWM_InsertLinklistRecord,
    .swmAddLinklistRecord = SWM_AddLinklistRecord,
    .swmFreeLinklistRecord = SWM_FreeLinklistRecord,
    .swmTrans2LinklistRecord = SWM_Trans2LinklistRecord,
    .swmGetAllRecordFromLinklist = SWM_GetAllRecordFromLinklist,
    .swmGetLinkUpdateType = SWM_GetLinkUpdateType,
    .swmAddSrcListNodeToDstListNode = SWM_AddSrcListNodeToDstListNode,
    .swmGetAllLinkNeedUpdate = SWM_GetAllLinkNeedUpdate,
    .swmGetLinkFilelistFullpath = SWM_GetLinkFilelistFullpath,
    .swmMergeCurrLinkFilelistRecord = SWM_MergeCurrLinkFilelistRecord,
    .swmMergeLinkFilelistRecordFromImageList = SWM_MergeLinkFilelistRecordFromImageList,
    .swmGetFileLinkRecordFromSubPkgVersion = SWM_GetFileLinkRecordFromSubPkgVersion,
    .swmTrans2BiosloadRecord = SWM_Trans2BiosloadRecord,
    .swmGetAllBiosloadFileRecordInner = SWM_GetAllBiosloadFileRecordInner,
    .swmFreeBiosLoadFileRecordList = SWM_FreeBiosLoadFileRecordList,
    .swmGetAllBiosloadFileRecord = SWM_GetAllBiosloadFileRecord,
};
