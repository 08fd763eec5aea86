// Package pool. Callers join file names to what comes back whatever the result, so it never is empty.
#include <cstring>

#include <tarn_basic/pool.h>

#include "characters.h"
#include "config.h"
#include "path_text.h"

using namespace tarn::basic;

namespace {

constexpr const char *kPatchDirectory = "swm/patch";

// One component of a path, and nothing that could leave its directory or forge a line of a log.
bool isIdentifier(const char *text)
{
    if (text == nullptr || *text == '\0' || strcmp(text, ".") == 0 || strcmp(text, "..") == 0) {
        return false;
    }
    for (; *text != '\0'; ++text) {
        if (*text == '/' || isControl(*text)) {
            return false;
        }
    }
    return true;
}

// "<base>/<first>/<second><suffix>"
Block<char> identifierPath(const char *base, const char *first, const char *second, const char *suffix)
{
    Block<char> path = joinPath(base, first);
    path = path != nullptr ? joinPath(path.get(), second) : nullptr;
    return path != nullptr && *suffix != '\0' ? joinPath(path.get(), suffix) : std::move(path);
}

// "<base>/.invalid/.invalid", or without the base where that does not fit. A buffer too small even for that gets what
// fits of it; only this can lead to something that exists.
uint32_t storeInvalid(const char *base, char *out, uint32_t outSize)
{
    const int error = errno;
    const Block<char> joined = joinPath(base, kInvalidPath + 1);
    const char *path = joined != nullptr && strlen(joined.get()) < outSize ? joined.get() : kInvalidPath;
    (void)storeText(path, strnlen(path, outSize - 1), out, outSize);
    return refuse(error);
}

uint32_t storePath(const Block<char> &base, const char *fallback, const char *first, const char *second,
                   const char *suffix, char *out, uint32_t outSize)
{
    if (out == nullptr || outSize == 0) {
        return refuse(EINVAL);
    }
    if (base == nullptr) {
        return storeInvalid(fallback, out, outSize);
    }
    if (!isIdentifier(first) || !isIdentifier(second)) {
        errno = EINVAL;
        return storeInvalid(base.get(), out, outSize);
    }
    const Block<char> path = identifierPath(base.get(), first, second, suffix);
    if (path == nullptr || storeText(path.get(), strlen(path.get()), out, outSize) != kSuccess) {
        return storeInvalid(base.get(), out, outSize);
    }
    return kSuccess;
}

} // namespace

uint32_t SWM_GetPkgPoolPackageVersionPath(const char *pkgName, const char *pkgVer, char *out, uint32_t outSize)
{
    return storePath(configuredPool(), kDefaultPool, pkgName, pkgVer, "", out, outSize);
}

uint32_t SWM_GetPkgPoolPackageVerDescFileLocalPath(const char *pkgName, const char *pkgVer, char *out, uint32_t outSize)
{
    return storePath(configuredPool(), kDefaultPool, pkgName, pkgVer, "desc", out, outSize);
}

uint32_t SWM_PAT_GetPkgLoadFilePath(const char *patchId, const char *patchSubId, char *out, uint32_t outSize)
{
    const Block<char> root = configuredRoot();
    const Block<char> patches = root != nullptr ? joinPath(root.get(), kPatchDirectory) : nullptr;
    return storePath(patches, "/swm/patch", patchId, patchSubId, "", out, outSize);
}
