// The platform's configuration: may it be believed, and does it say what somebody meant?
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_basic/ini.h>
#include <tarn_basic/text.h>

#include "doctor/findings.h"
#include "packaging/certificates.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kArea[] = "configuration";
constexpr char kUnusable[] = "the platform refuses the whole file: nothing verifies and no path is known";

using Values = std::map<std::string, std::string>; // "[section] key": value

struct Key {
    const char *name;
    const char *meaning; // what its value has to be; "" for anything
    bool (*isGood)(const std::string &);
};

bool isAbsolute(const std::string &value)
{
    return value.rfind('/', 0) == 0;
}

bool isAbsoluteOrEmpty(const std::string &value)
{
    return value.empty() || isAbsolute(value);
}

bool isNumber(const std::string &value)
{
    char *end = nullptr;
    errno = 0;
    const bool isHex = value.rfind("0x", 0) == 0 || value.rfind("0X", 0) == 0;
    const unsigned long long number = strtoull(value.c_str(), &end, isHex ? 16 : 10);
    const auto first = static_cast<unsigned char>(value.empty() ? 0 : value[0]);
    return first >= '0' && first <= '9' && *end == '\0' && (!isHex || value.size() > 2) && errno == 0 &&
           number <= UINT32_MAX;
}

bool isLevel(const std::string &value)
{
    return value.size() == 1 && value[0] >= '3' && value[0] <= '6';
}

bool isTarget(const std::string &value)
{
    return value == "stderr" || value == "syslog" || isAbsolute(value);
}

bool isPurpose(const std::string &value)
{
    return value.empty() || packaging::isKnownPurpose(value);
}

constexpr Key kKeys[] = {
    {"[paths] root", "an absolute path", isAbsolute},
    {"[paths] package_pool", "an absolute path", isAbsolute},
    {"[device] board_hard_type", "a number of 32 bits", isNumber},
    {"[device] cpu_id", "a number of 32 bits", isNumber},
    {"[trust] anchors", "an absolute path", isAbsoluteOrEmpty},
    {"[trust] crl", "an absolute path", isAbsoluteOrEmpty},
    {"[trust] signer_purpose", "an extended key usage such as codeSigning", isPurpose},
    {"[log] level", "3 to 6", isLevel},
    {"[log] target", "stderr, syslog or an absolute path", isTarget},
};

struct CloseFile {
    void operator()(FILE *file) const { static_cast<void>(fclose(file)); }
};

struct FreeProfile {
    void operator()(SwmIniSection *profile) const { SWM_FreeProfile(profile); }
};

// The first of each key, as the platform reads it.
bool readValues(const fs::path &path, Values &values)
{
    const std::unique_ptr<FILE, CloseFile> file(fopen(path.c_str(), "re"));
    const std::unique_ptr<SwmIniSection, FreeProfile> profile(file == nullptr ? nullptr
                                                                              : SWM_IniLoadProfile(file.get()));
    for (const SwmIniSection *section = profile.get(); section != nullptr; section = section->next) {
        for (const SwmIniKey *key = section->keys; key != nullptr; key = key->next) {
            SWM_StringTrim(key->value);
            values.emplace(std::string(section->name) + " " + key->name, key->value);
        }
    }
    return profile != nullptr;
}

void examineValues(const Examined &examined, const Values &values, Findings &findings)
{
    for (const auto &[name, value] : values) {
        const auto *key = std::find_if(std::begin(kKeys), std::end(kKeys),
                                       [&name = name](const Key &known) { return name == known.name; });
        if (key == std::end(kKeys)) {
            findings.push_back({Severity::Warning, kArea, examined.config.string(), "unknown key " + inQuotes(name),
                                "it is passed over: what was meant by it does not happen",
                                "correct section and spelling, or remove the line"});
        } else if (!key->isGood(value)) {
            findings.push_back({Severity::Error, kArea, examined.config.string(),
                                name + ": " + inQuotes(value) + " is not " + key->meaning,
                                "what depends on it fails or goes elsewhere", "correct the value"});
        }
    }
}

void take(const Values &values, const char *name, std::string &value)
{
    const auto found = values.find(name);
    if (found != values.end()) {
        value = found->second;
    }
}

Configuration valuesOf(const Values &values)
{
    Configuration configuration;
    take(values, "[paths] root", configuration.rootPath);
    take(values, "[paths] package_pool", configuration.pool);
    take(values, "[trust] anchors", configuration.anchors);
    take(values, "[trust] crl", configuration.revocation);
    take(values, "[trust] signer_purpose", configuration.purpose);
    return configuration;
}

void noteMissing(const Examined &examined, Findings &findings)
{
    findings.push_back({examined.configIsNamed ? Severity::Error : Severity::Note, kArea, examined.config.string(),
                        "there is none, defaults hold", "no trust anchors are known: no package verifies",
                        "write one, or name another with --config; \"tarn keys new DIR\" makes one for development"});
}

} // namespace

std::string distrust(const fs::path &path, std::string &next)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        next = "put the file in its place, or correct the path";
        return "cannot be read: " + packaging::errorText(errno);
    }
    if (!S_ISREG(status.st_mode) || access(path.c_str(), R_OK) != 0) {
        next = "put a regular file in its place that may be read";
        return "not a readable regular file";
    }
    if (status.st_uid != 0 && status.st_uid != geteuid()) {
        next = "chown it to root";
        return format("belongs to user %u, neither root nor you", status.st_uid);
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        next = "chmod go-w the file";
        return format("others may write it: mode %04o", status.st_mode & 07777u);
    }
    return "";
}

Configuration examineConfiguration(const Examined &examined, Findings &findings)
{
    struct stat status = {};
    if (lstat(examined.config.c_str(), &status) != 0 && errno == ENOENT) {
        noteMissing(examined, findings);
        return {};
    }
    const size_t before = findings.size();
    std::string next;
    const std::string fault = distrust(examined.config, next);
    if (!fault.empty()) {
        findings.push_back({Severity::Error, kArea, examined.config.string(), fault, kUnusable, next});
    }
    Values values;
    const bool isEmpty = stat(examined.config.c_str(), &status) == 0 && status.st_size == 0;
    if (!isEmpty && access(examined.config.c_str(), R_OK) == 0 && !readValues(examined.config, values)) {
        findings.push_back({Severity::Warning, kArea, examined.config.string(), "no section with keys can be read",
                            "nothing in it counts", "write sections such as [trust] with lines \"key = value\""});
    }
    examineValues(examined, values, findings);
    if (findings.size() == before) {
        findings.push_back({Severity::Ok, kArea, examined.config.string(),
                            "readable, " + counted(values.size(), "value") + ", nobody else can change it", "", ""});
    }
    return valuesOf(values);
}

} // namespace tarn::tool
