// Where the configuration comes from and who may have written it.
#include "config.h"

#include <cstring>

#include <sys/stat.h>

#include <tarn_basic/text.h>

#include "file_io.h"

namespace tarn::basic {
namespace {

const char *configPath()
{
#ifdef TARN_BASIC_ENV
    const char *named = ::secure_getenv("TARN_BASIC_CONFIG");
    if (named != nullptr && *named != '\0') {
        return named;
    }
#endif
    return "/etc/tarn/basic.conf";
}

bool mayBeBelieved(int fd)
{
    struct stat status;
    if (!requireRegular(fd) || ::fstat(fd, &status) != 0) {
        return false;
    }
    if ((status.st_uid != 0 && status.st_uid != ::geteuid()) || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        errno = EPERM;
        return false;
    }
    return true;
}

// A configured directory that others are built from: absolute, without trailing "/".
Block<char> configuredDirectory(const char *key, const char *fallback)
{
    Config config;
    if (!config.load()) {
        return nullptr;
    }
    const char *path = config.text("[paths]", key, fallback);
    if (*path != '/') {
        errno = EINVAL;
        return nullptr;
    }
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/') {
        --length;
    }
    return Block<char>(::strndup(path, length));
}

} // namespace

bool Config::load()
{
    size_t size = 0;
    const Block<char> text = readTrustedFile(configPath(), kMaxIniSize, &size);
    if (text == nullptr) {
        return errno == ENOENT;
    }
    if (parseIni(text.get(), size, &profile) == IniResult::Refused) {
        return false;
    }
    for (SwmIniSection *section = profile.get(); section != nullptr; section = section->next) {
        for (SwmIniKey *key = section->keys; key != nullptr; key = key->next) {
            SWM_StringTrim(key->value);
        }
    }
    return true;
}

const char *Config::text(const char *section, const char *key, const char *fallback) const
{
    const SwmIniSection *found = findIniSection(profile.get(), section);
    const SwmIniKey *item = found != nullptr ? findIniKey(found, key) : nullptr;
    return item != nullptr ? item->value : fallback;
}

Block<char> readTrustedFile(const char *path, size_t limit, size_t *size)
{
    const Descriptor fd = openFile(path, O_RDONLY);
    if (!fd || !mayBeBelieved(fd.get())) {
        return nullptr;
    }
    return readWhole(fd.get(), limit, size);
}

Block<char> configuredRoot()
{
    return configuredDirectory("root", kDefaultRoot);
}

Block<char> configuredPool()
{
    return configuredDirectory("package_pool", kDefaultPool);
}

} // namespace tarn::basic
