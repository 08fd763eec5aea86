// Directories, made level by level and by descriptor, so that nobody can exchange a level between two steps.
#include <climits>
#include <cstring>

#include <sys/stat.h>

#include <tarn_basic/device.h>
#include <tarn_basic/directory.h>

#include "characters.h"
#include "file_io.h"

using namespace tarn::basic;

namespace {

constexpr mode_t kPermissionBits = 07777;
constexpr uint32_t kKeepId = UINT32_MAX; // as chown has it

// What becomes of the levels that a walk makes.
struct LevelRule {
    bool mayMake = true;
    mode_t mode = 0;              // under the umask
    bool isFinished = false;      // owner and final mode are set on each level made
    bool isOwnerOptional = false; // who is not root and may not set the owner goes without
    uint32_t uid = kKeepId;
    uint32_t gid = kKeepId;
    mode_t finalMode = 0;
};

struct Level {
    Descriptor fd;
    bool isMade = false;
};

// Owner before mode: a change of owner clears the set-id bits.
bool finishLevel(int fd, const LevelRule &rule)
{
    const bool keepsOwner = rule.uid == kKeepId && rule.gid == kKeepId;
    const bool isOwned = keepsOwner || ::fchown(fd, rule.uid, rule.gid) == 0 ||
                         (rule.isOwnerOptional && errno == EPERM && ::geteuid() != 0);
    return isOwned && ::fchmod(fd, rule.finalMode & kPermissionBits) == 0;
}

void removeLevel(int parent, const char *name)
{
    const ErrnoKeeper keeper;
    (void)::unlinkat(parent, name, AT_REMOVEDIR);
}

// Makes or opens one level. A level just made, and the last one, must not turn out to be a link.
Level enterLevel(const Level &parent, const char *name, bool isLast, const LevelRule &rule)
{
    Level level;
    level.isMade = rule.mayMake && ::mkdirat(parent.fd.get(), name, rule.mode) == 0;
    if (rule.mayMake && !level.isMade && errno != EEXIST) {
        return level;
    }
    // A level to be finished is opened for real: fchown and fchmod refuse a mere path descriptor.
    const bool isReal = level.isMade && (rule.isFinished || isLast);
    const int flags =
        O_DIRECTORY | kOpenFlags | (isReal ? O_RDONLY : O_PATH) | (level.isMade || isLast ? O_NOFOLLOW : 0);
    level.fd = Descriptor(retried([&] { return ::openat(parent.fd.get(), name, flags); }));
    if (level.fd && level.isMade && rule.isFinished && !finishLevel(level.fd.get(), rule)) {
        level.fd = Descriptor();
    }
    if (!level.fd && level.isMade) {
        removeLevel(parent.fd.get(), name); // left half made, the next call would take it as it is
    }
    return level;
}

// Walks the first `length` bytes of a path. On failure the result has no descriptor.
Level makeLevels(const char *path, size_t length, const LevelRule &rule, const LevelRule &lastRule)
{
    Level level;
    if (length == 0) {
        errno = ENOENT;
        return level;
    }
    const char *start = *path == '/' ? "/" : ".";
    level.fd = Descriptor(retried([&] { return ::open(start, O_PATH | O_DIRECTORY | kOpenFlags); }));
    const char *const end = path + length;
    while (level.fd) {
        path += strspn(path, "/");
        if (path >= end) {
            break;
        }
        const size_t nameLength = strcspn(path, "/");
        char name[NAME_MAX + 1];
        if (nameLength > NAME_MAX) {
            errno = ENAMETOOLONG;
            return Level();
        }
        memcpy(name, path, nameLength);
        name[nameLength] = '\0';
        path += nameLength;
        const bool isLast = path + strspn(path, "/") >= end;
        level = enterLevel(level, name, isLast, isLast ? lastRule : rule);
    }
    return level;
}

// Nobody else may have made this directory or be able to exchange files in it.
bool isOurs(int fd)
{
    struct stat status;
    if (::fstat(fd, &status) != 0) {
        return false;
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        errno = EPERM;
        return false;
    }
    return true;
}

// "NA" keeps the id, a number is one, anything else is looked up. Only root could set an owner, so only for root an
// unknown name is a failure.
bool resolveId(const char *name, uint32_t (*lookUp)(const char *, uint32_t), uint32_t *id)
{
    *id = kKeepId;
    if (strcmp(name, "NA") == 0) {
        return true;
    }
    if (!parseNumber(name, id)) {
        *id = lookUp(name, kKeepId);
    }
    return *id != kKeepId || ::geteuid() != 0;
}

uint32_t createDirectory(const char *path, uint32_t mode, const char *owner, const char *group)
{
    if (path == nullptr || owner == nullptr || group == nullptr) {
        return refuse(EINVAL);
    }
    constexpr mode_t kLevelMode = 0755;
    LevelRule rule{.mode = S_IRWXU, .isFinished = true, .finalMode = kLevelMode};
    LevelRule lastRule{.mode = S_IRWXU, .isFinished = true, .isOwnerOptional = true, .finalMode = mode};
    if (!resolveId(owner, TARN_GetUidByName, &lastRule.uid) || !resolveId(group, TARN_GetGidByName, &lastRule.gid)) {
        // A directory that is there already needs no owner; any other is not begun without one.
        rule.mayMake = false;
        lastRule.mayMake = false;
    }
    return makeLevels(path, strlen(path), rule, lastRule).fd ? kSuccess : kFailure;
}

} // namespace

uint32_t TARN_MkDirRecursive(const char *path)
{
    if (path == nullptr) {
        return refuse(EINVAL);
    }
    constexpr mode_t kLevelMode = 0750;
    const LevelRule rule{.mode = kLevelMode};
    const Level last = makeLevels(path, strlen(path), rule, rule);
    return last.fd && isOurs(last.fd.get()) ? kSuccess : kFailure;
}

uint32_t SWM_MkParentDir(const char *path, uint32_t uid, uint32_t gid, uint32_t mode)
{
    if (path == nullptr || *path == '\0') {
        return refuse(EINVAL);
    }
    size_t length = strlen(path);
    while (length > 1 && path[length - 1] == '/') {
        --length;
    }
    while (length > 0 && path[length - 1] != '/') {
        --length;
    }
    if (length == 0) {
        return kSuccess; // the current directory is there
    }
    const LevelRule rule{.mode = S_IRWXU, .isFinished = true, .uid = uid, .gid = gid, .finalMode = mode};
    return makeLevels(path, length, rule, rule).fd ? kSuccess : kFailure;
}

uint32_t SWM_CreateDirWithPermission(const char *path, uint32_t kind, uint32_t mode, const char *owner,
                                     const char *group)
{
    constexpr uint32_t kDirectoryKind = 2;
    return kind == kDirectoryKind ? createDirectory(path, mode, owner, group) : refuse(EINVAL);
}

uint32_t SWM_CreateDirWithCustomPermission(const char *path, uint32_t mode, const char *owner, const char *group)
{
    return createDirectory(path, mode, owner, group);
}
