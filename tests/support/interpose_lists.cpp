// The platform operations of the record lists: see interpose_platform.cpp.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
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

uint32_t answer(long plain)
{
    return static_cast<uint32_t>(faultResult(plain));
}

uint32_t failedStatus()
{
    return answer(1);
}

std::string shown(const char *text)
{
    return text == nullptr ? "(null)" : text;
}

void record(Call call, const void *caller, const char *what, const std::string &more = "")
{
    if (isRecorded(call) && isPlatformCallOfBoot(caller)) {
        recordCall(call, shown(what) + more);
    }
}

// Half an answer, for text a terminated one.
void scribble(void *out, size_t size)
{
    if (scribbles()) {
        memset(out, 'x', size);
        static_cast<char *>(out)[size - 1] = '\0';
    }
}

std::string permissions(uint32_t mode, const char *owner, const char *group)
{
    return " " + std::to_string(mode) + " " + owner + " " + group;
}

} // namespace

extern "C" {

uint32_t SWM_IsFileExist(const char *path)
{
    TARN_REAL(SWM_IsFileExist);
    record(Call::SwmIsFileExist, TARN_CALLER, path);
    return strikesPlatform(Call::SwmIsFileExist, TARN_CALLER) ? answer(0) : real(path);
}

uint32_t SWM_IsRealFileExist(const char *path)
{
    TARN_REAL(SWM_IsRealFileExist);
    record(Call::IsRealFileExist, TARN_CALLER, path);
    return strikesPlatform(Call::IsRealFileExist, TARN_CALLER) ? answer(0) : real(path);
}

uint32_t SWM_IsSymlinkFile(const char *path)
{
    TARN_REAL(SWM_IsSymlinkFile);
    record(Call::IsSymlinkFile, TARN_CALLER, path);
    return strikesPlatform(Call::IsSymlinkFile, TARN_CALLER) ? answer(0) : real(path);
}

uint32_t SWM_GetFileSize(const char *path, int64_t *size)
{
    TARN_REAL(SWM_GetFileSize);
    record(Call::GetFileSize, TARN_CALLER, path);
    if (!strikesPlatform(Call::GetFileSize, TARN_CALLER)) {
        return real(path, size);
    }
    *size = fakeSize();
    return failedStatus();
}

uint32_t SWM_GetDirname(const char *path, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_GetDirname);
    record(Call::GetDirname, TARN_CALLER, path, " " + std::to_string(outSize));
    if (!strikesPlatform(Call::GetDirname, TARN_CALLER)) {
        return real(path, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t TARN_GetLinkInfo(const char *path, char *out, uint32_t outSize)
{
    TARN_REAL(TARN_GetLinkInfo);
    record(Call::GetLinkInfo, TARN_CALLER, path, " " + std::to_string(outSize));
    if (!strikesPlatform(Call::GetLinkInfo, TARN_CALLER)) {
        return real(path, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

int32_t TARN_CanonicalOpen(const char *path, int32_t flags)
{
    TARN_REAL(TARN_CanonicalOpen);
    record(Call::CanonicalOpen, TARN_CALLER, path, " " + std::to_string(flags));
    return strikesPlatform(Call::CanonicalOpen, TARN_CALLER) ? static_cast<int32_t>(faultResult(-1))
                                                             : real(path, flags);
}

int32_t TARN_ReadFile(int32_t fd, void *buffer, uint32_t count, uint32_t reserved)
{
    TARN_REAL(TARN_ReadFile);
    record(Call::ReadFile, TARN_CALLER, "", std::to_string(count) + " " + std::to_string(reserved));
    return strikesPlatform(Call::ReadFile, TARN_CALLER) ? static_cast<int32_t>(faultResult(-1))
                                                        : real(fd, buffer, count, reserved);
}

// A close that fails has still closed.
int32_t TARN_CanonicalClose(int32_t fd)
{
    TARN_REAL(TARN_CanonicalClose);
    record(Call::CanonicalClose, TARN_CALLER, "");
    const int32_t result = real(fd);
    return strikesPlatform(Call::CanonicalClose, TARN_CALLER) ? -1 : result;
}

uint32_t SWM_IsSpaceString(const char *string)
{
    TARN_REAL(SWM_IsSpaceString);
    record(Call::IsSpaceString, TARN_CALLER, string);
    return strikesPlatform(Call::IsSpaceString, TARN_CALLER) ? answer(0) : real(string);
}

uint32_t SWM_IsStringEqual(const char *a, const char *b)
{
    TARN_REAL(SWM_IsStringEqual);
    return strikesPlatform(Call::IsStringEqual, TARN_CALLER) ? answer(0) : real(a, b);
}

uint32_t SWM_IsDigitString(const char *string)
{
    TARN_REAL(SWM_IsDigitString);
    record(Call::IsDigitString, TARN_CALLER, string);
    return strikesPlatform(Call::IsDigitString, TARN_CALLER) ? answer(0) : real(string);
}

uint32_t SWM_StringTrim(char *string)
{
    TARN_REAL(SWM_StringTrim);
    record(Call::StringTrim, TARN_CALLER, string);
    return strikesPlatform(Call::StringTrim, TARN_CALLER) ? failedStatus() : real(string);
}

// The array is the caller's: one block to release.
uint32_t SWM_TransString2Array(const char *string, const char *delimiters, char ***array, uint32_t *count)
{
    TARN_REAL(SWM_TransString2Array);
    if (strikesPlatform(Call::TransString2Array, TARN_CALLER)) {
        return failedStatus();
    }
    const uint32_t status = real(string, delimiters, array, count);
    if (status == 0 && *array != nullptr && isPlatformCallOfBoot(TARN_CALLER)) {
        noteBlock(*array);
    }
    return status;
}

uint32_t SWM_GetShaVal(const char *hexText, uint8_t *out, uint32_t outSize)
{
    TARN_REAL(SWM_GetShaVal);
    if (!strikesPlatform(Call::GetShaVal, TARN_CALLER)) {
        return real(hexText, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_SHA_IsFileDamaged2(const char *path, const uint8_t *digest, uint32_t length)
{
    TARN_REAL(SWM_SHA_IsFileDamaged2);
    record(Call::IsFileDamaged2, TARN_CALLER, path, " " + std::to_string(length));
    return strikesPlatform(Call::IsFileDamaged2, TARN_CALLER) ? answer(1) : real(path, digest, length);
}

void SWM_Trans2AbsolutePath(char *path)
{
    TARN_REAL(SWM_Trans2AbsolutePath);
    record(Call::Trans2AbsolutePath, TARN_CALLER, path);
    if (!strikesPlatform(Call::Trans2AbsolutePath, TARN_CALLER)) {
        real(path);
    }
}

void SWM_PkgSpecialDirHandler(char *path)
{
    TARN_REAL(SWM_PkgSpecialDirHandler);
    record(Call::PkgSpecialDirHandler, TARN_CALLER, path);
    if (!strikesPlatform(Call::PkgSpecialDirHandler, TARN_CALLER)) {
        real(path);
    }
}

uint32_t SWM_CreateDirWithPermission(const char *path, uint32_t kind, uint32_t mode, const char *owner,
                                     const char *group)
{
    TARN_REAL(SWM_CreateDirWithPermission);
    record(Call::CreateDirWithPermission, TARN_CALLER, path,
           " " + std::to_string(kind) + permissions(mode, owner, group));
    return strikesPlatform(Call::CreateDirWithPermission, TARN_CALLER) ? failedStatus()
                                                                       : real(path, kind, mode, owner, group);
}

uint32_t SWM_CreateDirWithCustomPermission(const char *path, uint32_t mode, const char *owner, const char *group)
{
    TARN_REAL(SWM_CreateDirWithCustomPermission);
    record(Call::CreateDirWithCustomPermission, TARN_CALLER, path, permissions(mode, owner, group));
    return strikesPlatform(Call::CreateDirWithCustomPermission, TARN_CALLER) ? failedStatus()
                                                                             : real(path, mode, owner, group);
}

uint32_t SWM_GetPkgPoolPackageVersionPath(const char *name, const char *version, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_GetPkgPoolPackageVersionPath);
    record(Call::GetVersionPath, TARN_CALLER, name, " " + shown(version) + " " + std::to_string(outSize));
    if (!strikesPlatform(Call::GetVersionPath, TARN_CALLER)) {
        return real(name, version, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_GetPkgPoolPackageVerDescFileLocalPath(const char *name, const char *version, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_GetPkgPoolPackageVerDescFileLocalPath);
    record(Call::GetDescPath, TARN_CALLER, name, " " + shown(version) + " " + std::to_string(outSize));
    if (!strikesPlatform(Call::GetDescPath, TARN_CALLER)) {
        return real(name, version, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_PAT_GetPkgLoadFilePath(const char *name, const char *version, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_PAT_GetPkgLoadFilePath);
    record(Call::GetLoadPath, TARN_CALLER, name, " " + shown(version) + " " + std::to_string(outSize));
    if (!strikesPlatform(Call::GetLoadPath, TARN_CALLER)) {
        return real(name, version, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_GetCpuId(uint32_t *value)
{
    TARN_REAL(SWM_GetCpuId);
    record(Call::GetCpuId, TARN_CALLER, "");
    if (!strikesPlatform(Call::GetCpuId, TARN_CALLER)) {
        return real(value);
    }
    scribble(value, sizeof(*value));
    return failedStatus();
}

uint32_t SWM_GetBoardHardType(uint32_t *value)
{
    TARN_REAL(SWM_GetBoardHardType);
    record(Call::GetBoardHardType, TARN_CALLER, "");
    if (!strikesPlatform(Call::GetBoardHardType, TARN_CALLER)) {
        return real(value);
    }
    scribble(value, sizeof(*value));
    return failedStatus();
}

int strncpy_s(char *destination, size_t size, const char *source, size_t count)
{
    TARN_REAL(strncpy_s);
    return strikesPlatform(Call::Strncpy, TARN_CALLER) ? EINVAL : real(destination, size, source, count);
}

int snprintf_s(char *destination, size_t size, size_t count, const char *format, ...)
{
    if (strikesPlatform(Call::Snprintf, TARN_CALLER)) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const size_t room = std::min(size, count + 1);
    const int length = vsnprintf(destination, room, format, arguments);
    va_end(arguments);
    return length < 0 || static_cast<size_t>(length) >= room ? -1 : length;
}

} // extern "C"
