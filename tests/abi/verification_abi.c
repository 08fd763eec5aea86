/* Records of signed lists, and the operations of verification: an assignment of another type does not compile. */
#include <tarn_boot/verification.h>

#include "abi_check.h"

SIZE(SigFileListDigest, 120);
FIELD(SigFileListDigest, fileCount, 0, 4);
FIELD(SigFileListDigest, creator, 4, 96);
FIELD(SigFileListDigest, fileDigests, 104, 16);

SIZE(FileDigestInfo, 184);
FIELD(FileDigestInfo, links, 0, 16);
FIELD(FileDigestInfo, fileType, 16, 4);
FIELD(FileDigestInfo, fileName, 20, 96);
FIELD(FileDigestInfo, digest, 116, 65);

const struct {
    uint32_t (*mallocHeader)(SigFileListDigest **header);
    void (*freeHeader)(SigFileListDigest *header);
    void (*release)(SwmListNode *head);
    void (*keyValue)(const struct SwmIniKey *firstKey, const char *keyName, char *out, uint32_t outSize);
    uint32_t (*record)(FileDigestInfo **record, const struct SwmIniKey *firstKey);
    uint32_t (*sections)(SigFileListDigest *header, const struct SwmIniSection *profile);
    uint32_t (*allOfPath)(SigFileListDigest *header, const char *listPath);
    uint32_t (*fromPath)(SigFileListDigest *header, const char *listPath);
    uint32_t (*mainInfo)(const struct SwmIniSection *profile, SigFileListDigest *header);
    uint32_t (*checkMainInfo)(const SigFileListDigest *header);
    uint32_t (*fromMem)(const char *listText, SigFileListDigest *header);
    uint32_t (*fromFile)(const char *listText, SigFileListDigest **header);
    uint32_t (*isTypeValid)(uint32_t type);
    uint32_t (*isPatOrMod)(const char *typeText);
    uint32_t (*isNeedCmsCheck)(void);
    uint32_t (*isPkgFile)(const char *fileName);
    uint32_t (*verifyPackage)(uint32_t type, const char *packagePath);
    uint32_t (*verifyList)(uint32_t type, const char *fileListPath);
    uint32_t (*verifyPackageByType)(uint32_t type, const char *packagePath);
    uint32_t (*verifyListByType)(uint32_t type, const char *fileListPath);
    uint32_t (*verifyBoardList)(const char *boardFileListPath);
    uint32_t (*verifySignature)(const char *directory);
    uint32_t (*isInContent)(const char *fileName, const char *listText);
    uint32_t (*crc)(const uint8_t *buffer, uint32_t length, uint16_t *checksum);
} kVerificationOperations = {
    .mallocHeader = SWM_MallocSigFileListDigest,
    .freeHeader = SWM_FreeSigFileListDigest,
    .release = SWM_ReleaseDigestList,
    .keyValue = SWM_GetOneKeyValueFromKeyList,
    .record = SWM_GetDigestInfoByInputKey,
    .sections = SWM_GetALLFileDigestInfoFromList,
    .allOfPath = SWM_GetALLFileDigestInfo,
    .fromPath = SWM_GetSignatureFileListDigestInfo,
    .mainInfo = SWM_GetSignatureFileListMainInfo,
    .checkMainInfo = SWM_CheckSignatureFileListMainInfo,
    .fromMem = SWM_GetSignatureFileListDigestInfoFromMem,
    .fromFile = SWM_GetSignatureFileListDigestInfoFromFile,
    .isTypeValid = SWM_IsPackageTypeValid,
    .isPatOrMod = SWM_IsPatOrModPackage,
    .isNeedCmsCheck = SWM_IsNeedCmsCheck,
    .isPkgFile = SWM_IsPkgFile,
    .verifyPackage = SWM_VerifyPackage,
    .verifyList = SWM_VerifyFileInFileList,
    .verifyPackageByType = SWM_VerifyPackageByType,
    .verifyListByType = SWM_VerifyFileInFileListByType,
    .verifyBoardList = SWM_VerifyFilesInBoardFileList,
    .verifySignature = SWM_VerifyDigitalSignatureFileList,
    .isInContent = SWM_IsFileExistInSigContent,
    .crc = SWM_CrcCheck,
};
