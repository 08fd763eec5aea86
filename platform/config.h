// The configuration file, read anew by each operation that needs it.
#pragma once

#include "ini_parser.h"

namespace tarn::basic {

class Config {
public:
    // False when there is a file that must not be believed or cannot be read; a missing one is an empty configuration.
    bool load();
    // Blanks around the value are dropped. `fallback` when the key is missing.
    const char *text(const char *section, const char *key, const char *fallback) const;

private:
    Profile profile;
};

// A file that decides what is trusted: regular, of root or the effective user, not writable for group or others.
// ENOENT when it is missing.
Block<char> readTrustedFile(const char *path, size_t limit, size_t *size);

// The root path without a trailing "/" unless it is "/" itself. Null when the configuration is unusable.
Block<char> configuredRoot();
Block<char> configuredPool();

constexpr const char *kDefaultRoot = "/";
constexpr const char *kDefaultPool = "/opt/tarn/pool";
// A path at which nothing exists, by itself or, without its first slash, below a root or pool.
constexpr const char *kInvalidPath = "/.invalid/.invalid";

} // namespace tarn::basic
