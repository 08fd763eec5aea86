// The platform operations around packages, devices and markers: see interpose_platform.cpp.
#include <cstring>
#include <string>

#include <dlfcn.h>

#include <tarn_basic/tarn_basic.h>

#include "support/faults.h"

using tarn::test::Call;
using namespace tarn::test::detail;

#define TARN_CALLER __builtin_extract_return_addr(__builtin_return_address(0))
#define TARN_REAL(name) static auto *const real = reinterpret_cast<decltype(&(name))>(dlsym(RTLD_NEXT, #name))

namespace {

uint32_t failedStatus()
{
    return static_cast<uint32_t>(faultResult(1));
}

void record(Call call, const void *caller, const std::string &what)
{
    if (isRecorded(call) && isPlatformCallOfBoot(caller)) {
        recordCall(call, what);
    }
}

std::string numbers(uint32_t first, uint32_t second)
{
    return " " + std::to_string(first) + " " + std::to_string(second);
}

// Half an answer: text without its end.
void scribble(char *out, uint32_t size)
{
    if (scribbles()) {
        memset(out, 'x', size);
    }
}

} // namespace

extern "C" {

uint32_t SWM_IsDirExist(const char *path)
{
    TARN_REAL(SWM_IsDirExist);
    record(Call::SwmIsDirExist, TARN_CALLER, path);
    return strikesPlatform(Call::SwmIsDirExist, TARN_CALLER) ? static_cast<uint32_t>(faultResult(0)) : real(path);
}

uint32_t SWM_GetCanonicalFilepath(const char *path, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_GetCanonicalFilepath);
    record(Call::GetCanonicalFilepath, TARN_CALLER, std::string(path) + " " + std::to_string(outSize));
    if (!strikesPlatform(Call::GetCanonicalFilepath, TARN_CALLER)) {
        return real(path, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t TARN_MountLoopDev(const char *imagePath, uint32_t offset, char *deviceOut, uint32_t outSize)
{
    TARN_REAL(TARN_MountLoopDev);
    record(Call::MountLoopDev, TARN_CALLER,
           std::string(imagePath) + numbers(offset, outSize) + (deviceOut[0] == '\0' ? "" : " not empty"));
    if (strikesPlatform(Call::MountLoopDev, TARN_CALLER)) {
        scribble(deviceOut, outSize);
        return failedStatus();
    }
    if (fakeLoopDevice() == nullptr) {
        return real(imagePath, offset, deviceOut, outSize);
    }
    memcpy(deviceOut, fakeLoopDevice(), strlen(fakeLoopDevice()) + 1);
    return 0;
}

uint32_t TARN_DelLoopDev(const char *devicePath)
{
    TARN_REAL(TARN_DelLoopDev);
    record(Call::DelLoopDev, TARN_CALLER, devicePath);
    if (strikesPlatform(Call::DelLoopDev, TARN_CALLER)) {
        return failedStatus();
    }
    return fakeLoopDevice() != nullptr ? 0 : real(devicePath);
}

uint32_t SWM_MkParentDir(const char *path, uint32_t uid, uint32_t gid, uint32_t mode)
{
    TARN_REAL(SWM_MkParentDir);
    record(Call::MkParentDir, TARN_CALLER, path + numbers(uid, gid) + " " + std::to_string(mode));
    return strikesPlatform(Call::MkParentDir, TARN_CALLER) ? failedStatus() : real(path, uid, gid, mode);
}

uint32_t SWM_RemoveDir(const char *dir)
{
    TARN_REAL(SWM_RemoveDir);
    record(Call::RemoveDir, TARN_CALLER, dir);
    return strikesPlatform(Call::RemoveDir, TARN_CALLER) ? failedStatus() : real(dir);
}

uint32_t SWM_GetRootPath(char *out, uint32_t outSize)
{
    TARN_REAL(SWM_GetRootPath);
    record(Call::GetRootPath, TARN_CALLER, std::to_string(outSize));
    if (!strikesPlatform(Call::GetRootPath, TARN_CALLER)) {
        return real(out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_Lchown(const char *path, uint32_t uid, uint32_t gid)
{
    TARN_REAL(SWM_Lchown);
    record(Call::Lchown, TARN_CALLER, path + numbers(uid, gid));
    return strikesPlatform(Call::Lchown, TARN_CALLER) ? failedStatus() : real(path, uid, gid);
}

uint32_t SWM_VerifyCmsFromMem(const SwmCmsMemRecord *content, uint32_t mode)
{
    TARN_REAL(SWM_VerifyCmsFromMem);
    record(Call::VerifyCmsFromMem, TARN_CALLER,
           std::to_string(content->contentLength) + numbers(content->signatureLength, mode));
    return strikesPlatform(Call::VerifyCmsFromMem, TARN_CALLER) ? failedStatus() : real(content, mode);
}

uint32_t SWM_CreateKeyFile(const char *path, uint32_t uid, uint32_t gid, uint32_t mode)
{
    TARN_REAL(SWM_CreateKeyFile);
    record(Call::CreateKeyFile, TARN_CALLER, path + numbers(uid, gid) + " " + std::to_string(mode));
    return strikesPlatform(Call::CreateKeyFile, TARN_CALLER) ? failedStatus() : real(path, uid, gid, mode);
}

uint32_t SWM_UndoProtectFile(const char *path)
{
    TARN_REAL(SWM_UndoProtectFile);
    record(Call::UndoProtectFile, TARN_CALLER, path);
    return strikesPlatform(Call::UndoProtectFile, TARN_CALLER) ? failedStatus() : real(path);
}

uint32_t SWM_CopyFile(const char *source, const char *destination)
{
    TARN_REAL(SWM_CopyFile);
    record(Call::CopyFile, TARN_CALLER, std::string(source) + " " + destination);
    return strikesPlatform(Call::CopyFile, TARN_CALLER) ? failedStatus() : real(source, destination);
}

// Made to fail, these two find the id that setFaultResult has set.
uint32_t TARN_GetUidByName(const char *name, uint32_t fallback)
{
    TARN_REAL(TARN_GetUidByName);
    record(Call::GetUidByName, TARN_CALLER, std::string(name) + " " + std::to_string(fallback));
    return strikesPlatform(Call::GetUidByName, TARN_CALLER) ? static_cast<uint32_t>(faultResult(fallback))
                                                            : real(name, fallback);
}

uint32_t TARN_GetGidByName(const char *name, uint32_t fallback)
{
    TARN_REAL(TARN_GetGidByName);
    record(Call::GetGidByName, TARN_CALLER, std::string(name) + " " + std::to_string(fallback));
    return strikesPlatform(Call::GetGidByName, TARN_CALLER) ? static_cast<uint32_t>(faultResult(fallback))
                                                            : real(name, fallback);
}

} // extern "C"
