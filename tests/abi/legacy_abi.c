/* The operations of the older access paths: an assignment of another type does not compile. */
#include <tarn_boot/container.h>

#include "abi_check.h"

VALUE(SWM_LEGACY_FAILED, 1u);
VALUE(SWM_LEGACY_NOT_FOUND, 4u);

const struct {
    uint32_t (*findEntry)(int32_t fd, const char *name, PackageFileEntry *entryOut);
    uint32_t (*delExistFile)(const char *path);
    uint32_t (*isSignatureFile)(const char *name);
    uint32_t (*getContent)(int32_t fd, const FileSite *site, const uint8_t **contentOut, uint32_t *lengthOut,
                           uint32_t *deltaOut);
    uint32_t (*getSigContent)(int32_t fd, const char *name, const uint8_t **contentOut, uint32_t *lengthOut,
                              uint32_t *deltaOut);
    uint32_t (*freeContent)(const uint8_t *content, uint32_t length, uint32_t delta);
    uint32_t (*checkFileName)(int32_t fd, const char *fileName, const char *targetName);
    uint32_t (*findFile)(int32_t fd, const char *name, uint32_t *lengthOut, uint32_t *offsetOut);
    uint32_t (*copyWithLen)(int32_t srcFd, int32_t dstFd, uint32_t length);
    uint32_t (*extractByLoop)(const char *packagePath, const char *target, const char *destDir);
    uint32_t (*getTempPath)(char *buffer, uint32_t size);
    uint32_t (*extractSignature)(const char *packagePath, char *pathOut, uint32_t pathOutSize);
    uint32_t (*clearSignature)(const char *path);
    uint32_t (*extractWithHeader)(const char *packagePath, const char *target, const char *destDir, uint32_t mode);
} kLegacyOperations = {
    .findEntry = SwmFindFileDescInfoFromCc,
    .delExistFile = SWM_DelExistFile,
    .isSignatureFile = TarnIsSignatureFile,
    .getContent = SWM_GetFileContentInCC,
    .getSigContent = SWM_GetSigFileContent,
    .freeContent = SWM_FreeFileContent,
    .checkFileName = SWM_CheckFileNameInSigFile,
    .findFile = SWM_FindFileFromCc,
    .copyWithLen = SWM_CopyFileWithLen,
    .extractByLoop = SWM_ExtractFileByLoop,
    .getTempPath = SWM_GetWorkdirTempPath,
    .extractSignature = SWM_ExtractCcSignature,
    .clearSignature = SWM_ClearCcSignaturePath,
    .extractWithHeader = SWM_ExtractFileWithHeader,
};
