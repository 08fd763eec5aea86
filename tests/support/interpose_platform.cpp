// The platform operations that libtarn_boot calls, each counted, made to fail on demand and forwarded to the real one.
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>

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

void record(Call call, const void *caller, const char *path, const std::string &more = "")
{
    if (isRecorded(call) && isPlatformCallOfBoot(caller)) {
        recordCall(call, path + more);
    }
}

int32_t failedBytes()
{
    return static_cast<int32_t>(faultResult(-1));
}

} // namespace

extern "C" {

uint32_t SWM_Open(const char *path, int32_t flags, int32_t *fdOut, ...)
{
    TARN_REAL(SWM_Open);
    uint32_t mode = 0;
    std::string parameters = " " + std::to_string(flags);
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, fdOut);
        mode = va_arg(arguments, uint32_t);
        va_end(arguments);
        parameters += " " + std::to_string(mode);
    }
    record(Call::SwmOpen, TARN_CALLER, path, parameters);
    return strikesPlatform(Call::SwmOpen, TARN_CALLER) ? failedStatus() : real(path, flags, fdOut, mode);
}

uint32_t SWM_Fopen(const char *path, const char *mode, FILE **streamOut)
{
    TARN_REAL(SWM_Fopen);
    record(Call::SwmFopen, TARN_CALLER, path, std::string(" ") + mode);
    return strikesPlatform(Call::SwmFopen, TARN_CALLER) ? failedStatus() : real(path, mode, streamOut);
}

int32_t SWM_Read(int32_t fd, void *buffer, uint32_t count)
{
    TARN_REAL(SWM_Read);
    return strikesPlatform(Call::SwmRead, TARN_CALLER) ? failedBytes() : real(fd, buffer, count);
}

int32_t SWM_Write(int32_t fd, const void *buffer, uint32_t count)
{
    TARN_REAL(SWM_Write);
    return strikesPlatform(Call::SwmWrite, TARN_CALLER) ? failedBytes() : real(fd, buffer, count);
}

int32_t TARN_FdRead(int32_t fd, void *buffer, uint32_t count)
{
    TARN_REAL(TARN_FdRead);
    return strikesPlatform(Call::FdRead, TARN_CALLER) ? failedBytes() : real(fd, buffer, count);
}

uint32_t TARN_IsFileExist(const char *path)
{
    TARN_REAL(TARN_IsFileExist);
    return strikesPlatform(Call::IsFileExist, TARN_CALLER) ? 0 : real(path);
}

uint32_t TARN_IsDirExist(const char *path)
{
    TARN_REAL(TARN_IsDirExist);
    return strikesPlatform(Call::IsDirExist, TARN_CALLER) ? 0 : real(path);
}

uint32_t TARN_MkDirRecursive(const char *path)
{
    TARN_REAL(TARN_MkDirRecursive);
    return strikesPlatform(Call::MkDirRecursive, TARN_CALLER) ? failedStatus() : real(path);
}

uint32_t SWM_DelFile(const char *path)
{
    TARN_REAL(SWM_DelFile);
    record(Call::DelFile, TARN_CALLER, path);
    return strikesPlatform(Call::DelFile, TARN_CALLER) ? failedStatus() : real(path);
}

uint32_t TARN_DelFile(const char *path)
{
    TARN_REAL(TARN_DelFile);
    record(Call::DelFile, TARN_CALLER, path);
    return strikesPlatform(Call::DelFile, TARN_CALLER) ? failedStatus() : real(path);
}

uint32_t SWM_FchmodPath(const char *path, uint32_t mode)
{
    TARN_REAL(SWM_FchmodPath);
    return strikesPlatform(Call::FchmodPath, TARN_CALLER) ? failedStatus() : real(path, mode);
}

uint32_t SWM_VerifyPssCms(const char *listPath, const char *cmsPath)
{
    TARN_REAL(SWM_VerifyPssCms);
    return strikesPlatform(Call::VerifyPssCms, TARN_CALLER) ? failedStatus() : real(listPath, cmsPath);
}

uint32_t SWM_CalcFileSHA256ValueByFileHandleStr(int32_t fd, uint32_t length, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_CalcFileSHA256ValueByFileHandleStr);
    if (!strikesPlatform(Call::CalcSha256, TARN_CALLER)) {
        return real(fd, length, out, outSize);
    }
    if (scribbles()) {
        memset(out, 's', outSize);
    }
    return failedStatus();
}

uint32_t SWM_IsPostfixString(const char *string, const char *suffix)
{
    TARN_REAL(SWM_IsPostfixString);
    return strikesPlatform(Call::IsPostfixString, TARN_CALLER) ? 0 : real(string, suffix);
}

SwmIniSection *SWM_IniLoadProfile(FILE *stream)
{
    TARN_REAL(SWM_IniLoadProfile);
    if (isRecorded(Call::IniLoadProfile)) {
        recordCall(Call::IniLoadProfile, "");
    }
    if (strikesPlatform(Call::IniLoadProfile, TARN_CALLER)) {
        return nullptr;
    }
    return fakeProfile() != nullptr ? fakeProfile() : real(stream);
}

void SWM_FreeProfile(SwmIniSection *profile)
{
    TARN_REAL(SWM_FreeProfile);
    if (isRecorded(Call::FreeProfile)) {
        recordCall(Call::FreeProfile, "");
    }
    (void)strikesPlatform(Call::FreeProfile, TARN_CALLER);
    if (profile != fakeProfile()) {
        real(profile);
    }
}

int memcpy_s(void *destination, size_t size, const void *source, size_t count)
{
    TARN_REAL(memcpy_s);
    return strikesPlatform(Call::Memcpy, TARN_CALLER) ? EINVAL : real(destination, size, source, count);
}

int memset_s(void *destination, size_t size, int value, size_t count)
{
    TARN_REAL(memset_s);
    return strikesPlatform(Call::Memset, TARN_CALLER) ? EINVAL : real(destination, size, value, count);
}

int strcpy_s(char *destination, size_t size, const char *source)
{
    TARN_REAL(strcpy_s);
    return strikesPlatform(Call::Strcpy, TARN_CALLER) ? EINVAL : real(destination, size, source);
}

// Does not clear the destination when it is made to fail: a platform need not.
int sprintf_s(char *destination, size_t size, const char *format, ...)
{
    if (strikesPlatform(Call::Sprintf, TARN_CALLER)) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(destination, size, format, arguments);
    va_end(arguments);
    if (length < 0 || static_cast<size_t>(length) >= size) {
        if (size > 0) {
            destination[0] = '\0';
        }
        return -1;
    }
    return length;
}

} // extern "C"
