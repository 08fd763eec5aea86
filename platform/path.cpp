// File tests and paths.
#include <climits>
#include <cstring>

#include <sys/stat.h>

#include <tarn_basic/path.h>

#include "config.h"
#include "file_io.h"
#include "path_text.h"

namespace tarn::basic {
namespace {

// The buffers of callers that have paths rewritten in place.
constexpr size_t kPathBuffer = 384;

template <typename Predicate> uint32_t statMatches(const char *path, Predicate predicate)
{
    struct stat status;
    return path != nullptr && ::stat(path, &status) == 0 && predicate(status);
}

template <typename Predicate> uint32_t lstatMatches(const char *path, Predicate predicate)
{
    struct stat status;
    return path != nullptr && ::lstat(path, &status) == 0 && predicate(status);
}

bool isAnything(const struct stat &)
{
    return true;
}

bool isRegular(const struct stat &status)
{
    return S_ISREG(status.st_mode);
}

bool isDirectory(const struct stat &status)
{
    return S_ISDIR(status.st_mode);
}

bool isLink(const struct stat &status)
{
    return S_ISLNK(status.st_mode);
}

// Drops the last component behind the floor, and tells whether there was one to drop.
bool dropLast(const char *path, size_t floor, size_t *end)
{
    size_t start = *end;
    while (start > floor && path[start - 1] != '/') {
        --start;
    }
    const size_t length = *end - start;
    if (length == 0 || (length == 2 && path[start] == '.' && path[start + 1] == '.')) {
        return false;
    }
    *end = start > floor ? start - 1 : floor;
    return true;
}

Block<char> linkTarget(const char *path)
{
    Block<char> target = allocateBytes(PATH_MAX);
    if (target == nullptr) {
        return nullptr;
    }
    const ssize_t length = ::readlink(path, target.get(), PATH_MAX);
    if (length < 0) {
        return nullptr;
    }
    if (length >= PATH_MAX) {
        errno = ENAMETOOLONG;
        return nullptr;
    }
    target.get()[length] = '\0';
    return target;
}

// The absolute form of `path`, or null when it cannot be built or does not fit.
Block<char> absolutePath(const char *path, const char *root)
{
    Block<char> joined(*path == '/' ? ::strdup(path) : joinPath(root, path).release());
    if (joined == nullptr) {
        return nullptr;
    }
    const size_t rootLength = *path == '/' || root[1] == '\0' ? 0 : strlen(root);
    resolvePath(joined.get(), rootLength + 1);
    return strlen(joined.get()) < kPathBuffer ? std::move(joined) : nullptr;
}

} // namespace

uint32_t storeText(const char *text, size_t length, char *out, size_t outSize)
{
    if (length >= outSize) {
        return refuse(ENAMETOOLONG);
    }
    memcpy(out, text, length);
    out[length] = '\0';
    return kSuccess;
}

Block<char> joinPath(const char *directory, const char *rest)
{
    const size_t length = strlen(directory);
    const bool needsSlash = length > 0 && directory[length - 1] != '/' && *rest != '/';
    const size_t room = length + strlen(rest) + 2;
    Block<char> joined = allocateBytes(room);
    if (joined != nullptr) {
        snprintf(joined.get(), room, "%s%s%s", directory, needsSlash ? "/" : "", rest);
    }
    return joined;
}

void resolvePath(char *path, size_t floor)
{
    size_t end = floor;
    for (const char *rest = path + floor; *rest != '\0';) {
        const size_t length = strcspn(rest, "/");
        const bool isParent = length == 2 && rest[0] == '.' && rest[1] == '.';
        const bool isNothing = length == 0 || (length == 1 && *rest == '.');
        const bool isDropped = isParent && (dropLast(path, floor, &end) || floor > 0);
        if (!isNothing && !isDropped) {
            if (end > floor) {
                path[end++] = '/';
            }
            memmove(path + end, rest, length);
            end += length;
        }
        rest += length + (rest[length] == '/' ? 1 : 0);
    }
    if (end == 0) {
        path[end++] = '.';
    } else if (end == floor && floor > 1) {
        --end; // the slash behind the root
    }
    path[end] = '\0';
}

} // namespace tarn::basic

using namespace tarn::basic;

uint32_t SWM_IsFileExist(const char *path)
{
    return statMatches(path, isAnything);
}

uint32_t TARN_IsFileExist(const char *path)
{
    return statMatches(path, isAnything);
}

uint32_t SWM_IsRealFileExist(const char *path)
{
    return lstatMatches(path, isRegular);
}

uint32_t SWM_IsDirExist(const char *path)
{
    return statMatches(path, isDirectory);
}

uint32_t TARN_IsDirExist(const char *path)
{
    return statMatches(path, isDirectory);
}

uint32_t SWM_IsSymlinkFile(const char *path)
{
    return lstatMatches(path, isLink);
}

uint32_t SWM_GetFileSize(const char *path, int64_t *size)
{
    if (size == nullptr) {
        return refuse(EINVAL);
    }
    *size = 0;
    struct stat status;
    if (path == nullptr) {
        return refuse(EINVAL);
    }
    if (::stat(path, &status) != 0) {
        return kFailure;
    }
    if (!isRegular(status)) {
        return refuse(isDirectory(status) ? EISDIR : EINVAL);
    }
    *size = status.st_size;
    return kSuccess;
}

uint32_t SWM_GetCanonicalFilepath(const char *path, char *out, uint32_t outSize)
{
    if (path == nullptr || out == nullptr) {
        return refuse(EINVAL);
    }
    const Block<char> canonical(::realpath(path, nullptr));
    return canonical == nullptr ? kFailure : storeText(canonical.get(), strlen(canonical.get()), out, outSize);
}

uint32_t SWM_GetDirname(const char *path, char *out, uint32_t outSize)
{
    if (path == nullptr || out == nullptr || strchr(path, '/') == nullptr) {
        return refuse(EINVAL);
    }
    // As dirname(3): closing slashes belong to the last component, those before it to nobody.
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/') {
        --length;
    }
    while (length > 0 && path[length - 1] != '/') {
        --length;
    }
    while (length > 1 && path[length - 1] == '/') {
        --length;
    }
    if (length == 0) {
        return refuse(EINVAL); // "name/": the current directory after all
    }
    return storeText(path, length, out, outSize);
}

uint32_t SWM_GetDirAndBaseName(const char *path, char *dir, uint32_t dirSize, char *name, uint32_t nameSize)
{
    if (path == nullptr || dir == nullptr || name == nullptr) {
        return refuse(EINVAL);
    }
    SplitPath split;
    if (!splitPath(path, &split)) {
        return kFailure;
    }
    const size_t dirLength = strlen(split.directory.get());
    const size_t nameLength = strlen(split.name);
    if (dirLength >= dirSize || nameLength >= nameSize) {
        return refuse(ENAMETOOLONG);
    }
    (void)storeText(split.directory.get(), dirLength, dir, dirSize);
    return storeText(split.name, nameLength, name, nameSize);
}

void SWM_Trans2AbsolutePath(char *path)
{
    if (path == nullptr) {
        return;
    }
    const Block<char> root = configuredRoot();
    const bool isText = strnlen(path, kPathBuffer) < kPathBuffer;
    const Block<char> absolute = root != nullptr && isText ? absolutePath(path, root.get()) : nullptr;
    if (absolute != nullptr) {
        (void)storeText(absolute.get(), strlen(absolute.get()), path, kPathBuffer);
        return;
    }
    // No error can be reported, so the path becomes one at which nothing exists.
    const Block<char> invalid = root != nullptr ? joinPath(root.get(), kInvalidPath + 1) : nullptr;
    if (invalid == nullptr || storeText(invalid.get(), strlen(invalid.get()), path, kPathBuffer) != kSuccess) {
        (void)storeText(kInvalidPath, strlen(kInvalidPath), path, kPathBuffer);
    }
}

void SWM_PkgSpecialDirHandler(char *) {}

uint32_t TARN_GetLinkInfo(const char *path, char *out, uint32_t outSize)
{
    if (path == nullptr || out == nullptr) {
        return refuse(EINVAL);
    }
    Block<char> target = linkTarget(path);
    if (target == nullptr) {
        return kFailure;
    }
    if (*target.get() != '/') {
        SplitPath split;
        target = splitPath(path, &split) ? joinPath(split.directory.get(), target.get()) : nullptr;
        if (target == nullptr) {
            return kFailure;
        }
        resolvePath(target.get(), *target.get() == '/' ? 1 : 0);
    }
    return storeText(target.get(), strlen(target.get()), out, outSize);
}

uint32_t SWM_GetRootPath(char *out, uint32_t outSize)
{
    if (out == nullptr) {
        return refuse(EINVAL);
    }
    const Block<char> root = configuredRoot();
    return root == nullptr ? kFailure : storeText(root.get(), strlen(root.get()), out, outSize);
}
