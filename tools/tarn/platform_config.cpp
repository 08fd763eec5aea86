// --config: checks the file by the platform's own conditions, then names it in the environment.
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

[[noreturn]] void refuse(const std::string &path, const std::string &reason, std::string next)
{
    refuseUsage("--config " + escaped(path) + ": " + reason, std::move(next));
}

} // namespace

void usePlatformConfig(const std::string &path)
{
    if (!kCanChoose) {
        refuse(path, "the platform library of this build always reads its own configuration", "leave --config out");
    }
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
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing else runs yet
    setenv("TARN_BASIC_CONFIG", std::filesystem::absolute(path).c_str(), 1);
}

} // namespace tarn::tool
