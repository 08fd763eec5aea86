// The one INI parser: for callers' profiles and for the configuration.
#pragma once

#include <memory>

#include <tarn_basic/ini.h>

#include "common.h"

namespace tarn::basic {

struct FreeProfile {
    void operator()(SwmIniSection *profile) const { SWM_FreeProfile(profile); }
};
using Profile = std::unique_ptr<SwmIniSection, FreeProfile>;

constexpr size_t kMaxIniSize = 4 * 1024 * 1024;

enum class IniResult { Loaded, Empty, Refused };

// Empty: a sound text without any section that has keys.
IniResult parseIni(const char *text, size_t length, Profile *profile);
const SwmIniKey *findIniKey(const SwmIniSection *section, const char *key);
const SwmIniSection *findIniSection(const SwmIniSection *profile, const char *section);

} // namespace tarn::basic
