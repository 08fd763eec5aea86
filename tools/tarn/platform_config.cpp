// --config names the file in the environment, where the platform looks.
#include "platform_config.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "exit_status.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace {

#ifdef TARN_BASIC_ENV
constexpr bool kCanChoose = true;
#else
constexpr bool kCanChoose = false;
#endif
constexpr char kVariable[] = "TARN_BASIC_CONFIG";

[[noreturn]] void refuse(const std::string &path, const std::string &reason, std::string next)
{
    failWith("configuration " + escaped(path) + ": " + reason, std::move(next));
}

// The platform's own conditions; a file that does not meet them it passes over in silence.
void checkFile(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        refuse(path, packaging::errorText(errno),
               "name an existing file, for example DIR/basic.conf of \"tarn keys new DIR\"");
    }
    if (!S_ISREG(status.st_mode) || access(path.c_str(), R_OK) != 0) {
        refuse(path, "not a readable regular file", "name a configuration file");
    }
    if ((status.st_uid != 0 && status.st_uid != geteuid()) || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        refuse(path, "others could change it: it must belong to root or to you, writable by its owner only",
               "chmod go-w, or chown, the file");
    }
}

// What the environment names; "" when the platform reads its default.
std::string namedInEnvironment()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment any more
    const char *named = kCanChoose ? getenv(kVariable) : nullptr;
    return named == nullptr ? "" : named;
}

} // namespace

void usePlatformConfig(const std::string &path, bool isChecked)
{
    if (!kCanChoose) {
        refuse(path, "the platform library of this build always reads its own", "leave --config out");
    }
    if (isChecked) {
        checkFile(path);
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing else runs yet
    setenv(kVariable, std::filesystem::absolute(path).c_str(), 1);
}

void checkPlatformConfig()
{
    const std::string named = namedInEnvironment();
    if (!named.empty()) {
        checkFile(named);
    }
}

std::string platformConfigInUse()
{
    const std::string named = namedInEnvironment();
    return named.empty() ? kDefaultConfig : named;
}

} // namespace tarn::tool
