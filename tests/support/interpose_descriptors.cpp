// The platform operations of signed lists and descriptor files: see interpose_platform.cpp.
#include <cstring>

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

// Half an answer: text without its end.
void scribble(char *out, uint32_t size)
{
    if (scribbles()) {
        memset(out, 'x', size);
    }
}

} // namespace

extern "C" {

SwmIniSection *SWM_IniLoadProfileFromFileMem(const char *text)
{
    TARN_REAL(SWM_IniLoadProfileFromFileMem);
    if (strikesPlatform(Call::IniLoadProfileFromFileMem, TARN_CALLER)) {
        return nullptr;
    }
    return fakeProfile() != nullptr ? fakeProfile() : real(text);
}

uint32_t SWM_IniProfileGetValue(const SwmIniSection *profile, const char *section, const char *key, char *out,
                                uint32_t outSize)
{
    TARN_REAL(SWM_IniProfileGetValue);
    if (isRecorded(Call::IniProfileGetValue)) {
        recordCall(Call::IniProfileGetValue, std::string(section) + " " + key + " " + std::to_string(outSize));
    }
    if (!strikesPlatform(Call::IniProfileGetValue, TARN_CALLER)) {
        return real(profile, section, key, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_IniGetValue(const char *path, const char *section, const char *key, char *out, uint32_t outSize)
{
    TARN_REAL(SWM_IniGetValue);
    if (isRecorded(Call::IniGetValue)) {
        recordCall(Call::IniGetValue, std::string(path) + " " + section + " " + key + " " + std::to_string(outSize));
    }
    if (!strikesPlatform(Call::IniGetValue, TARN_CALLER)) {
        return real(path, section, key, out, outSize);
    }
    scribble(out, outSize);
    return failedStatus();
}

uint32_t SWM_GetDirAndBaseName(const char *path, char *directory, uint32_t directorySize, char *name, uint32_t nameSize)
{
    TARN_REAL(SWM_GetDirAndBaseName);
    if (isRecorded(Call::GetDirAndBaseName)) {
        recordCall(Call::GetDirAndBaseName,
                   std::string(path) + " " + std::to_string(directorySize) + " " + std::to_string(nameSize));
    }
    if (!strikesPlatform(Call::GetDirAndBaseName, TARN_CALLER)) {
        return real(path, directory, directorySize, name, nameSize);
    }
    scribble(directory, directorySize);
    return failedStatus();
}

uint32_t SWM_IsPrefixString(const char *string, const char *prefix)
{
    TARN_REAL(SWM_IsPrefixString);
    return strikesPlatform(Call::IsPrefixString, TARN_CALLER) ? 0 : real(string, prefix);
}

} // extern "C"
