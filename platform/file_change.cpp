// Copying, removing and changing files.
#include <cstring>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <tarn_basic/file.h>

#include "file_io.h"

using namespace tarn::basic;

namespace {

constexpr mode_t kPermissionBits = 07777;
constexpr mode_t kPrivateMode = 0600;
constexpr size_t kCopyChunk = 64 * 1024;

uint32_t statusOf(int result)
{
    return result == 0 ? kSuccess : kFailure;
}

bool syncFile(int fd)
{
    return retried([fd] { return ::fsync(fd); }) == 0;
}

// A file being made: removed again unless it is kept.
class NewFile {
public:
    explicit NewFile(int directoryFd) : directory(directoryFd) {}
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile()
    {
        if (fd) {
            const ErrnoKeeper keeper;
            (void)::unlinkat(directory, name, 0);
        }
    }

    // A name of its own, so that nothing planted can be in the way for long.
    bool create()
    {
        constexpr int kAttempts = 16;
        for (int attempt = 0; attempt < kAttempts && !fd; ++attempt) {
            uint64_t number = 0;
            if (retried([&] { return ::getrandom(&number, sizeof number, 0); }) != sizeof number) {
                return false;
            }
            snprintf(name, sizeof name, ".tarn-%016llx", static_cast<unsigned long long>(number));
            constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | kOpenFlags;
            fd = Descriptor(retried([&] { return ::openat(directory, name, kFlags, kPrivateMode); }));
            if (!fd && errno != EEXIST) {
                return false;
            }
        }
        return static_cast<bool>(fd);
    }

    bool renameTo(const char *target)
    {
        if (::renameat(directory, name, directory, target) != 0) {
            return false;
        }
        fd = Descriptor();
        return true;
    }

    int get() const { return fd.get(); }

private:
    int directory;
    Descriptor fd;
    char name[32] = "";
};

bool copyContent(int from, int to)
{
    const Block<char> chunk = allocateBytes(kCopyChunk);
    if (chunk == nullptr) {
        return false;
    }
    for (;;) {
        const ssize_t count = retried([&] { return ::read(from, chunk.get(), kCopyChunk); });
        if (count <= 0) {
            return count == 0;
        }
        if (writeFully(to, chunk.get(), static_cast<size_t>(count)) != count) {
            return false;
        }
    }
}

// Owner before mode: a change of owner clears the set-id bits.
bool copyAttributes(int from, int to)
{
    struct stat status;
    if (::fstat(from, &status) != 0) {
        return false;
    }
    if (::geteuid() == 0 && ::fchown(to, status.st_uid, status.st_gid) != 0) {
        return false;
    }
    return ::fchmod(to, status.st_mode & kPermissionBits) == 0;
}

// The tree below an open directory; the directory itself stays.
class TreeRemover {
public:
    explicit TreeRemover(dev_t treeDevice) : device(treeDevice) {}

    bool empty(Descriptor fd, unsigned depth)
    {
        // Each level holds a descriptor, so a tree made to exhaust them is refused before it does.
        constexpr unsigned kMaxDepth = 256;
        if (depth > kMaxDepth) {
            errno = ELOOP;
            return false;
        }
        const Directory directory(::fdopendir(fd.get()));
        if (directory == nullptr) {
            return false;
        }
        (void)fd.release();
        // Removing while reading may hide entries, so passes go on until one finds nothing; but somebody who keeps
        // making new ones must not hold us.
        constexpr int kMaxPasses = 16;
        for (int pass = 0; pass < kMaxPasses; ++pass) {
            ::rewinddir(directory.get());
            const int found = removeEntries(directory.get(), depth);
            if (found <= 0) {
                return found == 0;
            }
        }
        errno = ENOTEMPTY;
        return false;
    }

    bool removeDirectory(int parent, const char *name, unsigned depth)
    {
        constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | kOpenFlags;
        Descriptor fd(retried([&] { return ::openat(parent, name, kFlags); }));
        struct stat status;
        if (!fd || ::fstat(fd.get(), &status) != 0) {
            return false;
        }
        if (status.st_dev != device) {
            errno = EXDEV;
            return false;
        }
        return empty(std::move(fd), depth) && ::unlinkat(parent, name, AT_REMOVEDIR) == 0;
    }

private:
    // The number of entries that one pass removed, -1 on failure.
    int removeEntries(DIR *directory, unsigned depth)
    {
        for (int removed = 0;; ++removed) {
            const dirent *entry = nextEntry(directory);
            if (entry == nullptr) {
                return errno == 0 ? removed : -1;
            }
            const int parent = ::dirfd(directory);
            if (::unlinkat(parent, entry->d_name, 0) != 0) {
                if (errno != EISDIR || !removeDirectory(parent, entry->d_name, depth + 1)) {
                    return -1;
                }
            }
        }
    }

    static const dirent *nextEntry(DIR *directory)
    {
        errno = 0;
        const dirent *entry = ::readdir(directory);
        while (entry != nullptr && (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)) {
            entry = ::readdir(directory);
        }
        return entry;
    }

    dev_t device;
};

// A marker that is there already counts only when nobody can have planted it as another name of some other file.
bool isMarker(int fd)
{
    struct stat status;
    if (!requireRegular(fd) || ::fstat(fd, &status) != 0) {
        return false;
    }
    if (status.st_nlink != 1) {
        errno = EMLINK;
        return false;
    }
    return true;
}

bool finishMarker(int fd, int directory, uint32_t uid, uint32_t gid, mode_t mode)
{
    if (!isMarker(fd)) {
        return false;
    }
    if (::fchown(fd, uid, gid) != 0 && (errno != EPERM || ::geteuid() == 0)) {
        return false;
    }
    return ::fchmod(fd, mode & kPermissionBits) == 0 && syncFile(fd) && syncFile(directory);
}

bool isPathOnly(int fd)
{
    return (::fcntl(fd, F_GETFL) & O_PATH) != 0;
}

// fchmod refuses a descriptor of a mere path, but its name in /proc leads to the same file.
bool setMode(int fd, mode_t mode)
{
    mode &= kPermissionBits;
    if (!isPathOnly(fd)) {
        return ::fchmod(fd, mode) == 0;
    }
    char name[32];
    snprintf(name, sizeof name, "/proc/self/fd/%d", fd);
    return ::chmod(name, mode) == 0;
}

// File systems without such attributes have nothing to clear.
bool clearProtection(int fd)
{
    // Some file systems store a long where others store an int.
    int attributes[sizeof(long) / sizeof(int)] = {};
    if (retried([&] { return ::ioctl(fd, FS_IOC_GETFLAGS, attributes); }) != 0) {
        return errno == ENOTTY || errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL;
    }
    constexpr int kProtected = FS_IMMUTABLE_FL | FS_APPEND_FL;
    if ((attributes[0] & kProtected) == 0) {
        return true;
    }
    attributes[0] &= ~kProtected;
    return retried([&] { return ::ioctl(fd, FS_IOC_SETFLAGS, attributes); }) == 0;
}

// A file whose mode is to change. Its owner may change it without being able to read the file; then only the path is
// opened.
Descriptor openWithoutLinks(const char *path)
{
    Descriptor fd = openFile(path, O_RDONLY | O_NOFOLLOW);
    if (fd || errno != EACCES) {
        return fd;
    }
    fd = openFile(path, O_PATH | O_NOFOLLOW);
    struct stat status;
    if (!fd || ::fstat(fd.get(), &status) != 0) {
        return Descriptor();
    }
    if (S_ISLNK(status.st_mode)) {
        errno = ELOOP;
        return Descriptor();
    }
    return fd;
}

uint32_t deleteFile(const char *path)
{
    return path == nullptr ? refuse(EINVAL) : statusOf(::unlink(path));
}

} // namespace

uint32_t SWM_CopyFile(const char *source, const char *destination)
{
    if (source == nullptr || destination == nullptr) {
        return refuse(EINVAL);
    }
    const Descriptor from = openRegular(source, O_RDONLY);
    SplitPath split;
    if (!from || !splitPath(destination, &split)) {
        return kFailure;
    }
    const Descriptor directory = openDirectory(split.directory.get());
    if (!directory) {
        return kFailure;
    }
    NewFile copy(directory.get());
    if (!copy.create() || !copyContent(from.get(), copy.get()) || !copyAttributes(from.get(), copy.get()) ||
        !syncFile(copy.get())) {
        return kFailure;
    }
    return copy.renameTo(split.name) && syncFile(directory.get()) ? kSuccess : kFailure;
}

uint32_t SWM_DelFile(const char *path)
{
    return deleteFile(path);
}

uint32_t TARN_DelFile(const char *path)
{
    return deleteFile(path);
}

uint32_t SWM_RemoveDir(const char *dir)
{
    const Block<char> path(dir != nullptr ? ::strdup(dir) : nullptr);
    if (path == nullptr) {
        return dir == nullptr ? refuse(EINVAL) : kFailure;
    }
    size_t length = strlen(path.get());
    while (length > 0 && path.get()[length - 1] == '/') {
        path.get()[--length] = '\0';
    }
    SplitPath split;
    if (!splitPath(path.get(), &split)) {
        return kFailure; // "" and "/"
    }
    if (strcmp(split.name, ".") == 0 || strcmp(split.name, "..") == 0) {
        return refuse(EINVAL);
    }
    const Descriptor parent = openDirectory(split.directory.get());
    struct stat status;
    if (!parent || ::fstat(parent.get(), &status) != 0) {
        return kFailure;
    }
    return TreeRemover(status.st_dev).removeDirectory(parent.get(), split.name, 0) ? kSuccess : kFailure;
}

uint32_t SWM_FchmodPath(const char *path, uint32_t mode)
{
    if (path == nullptr) {
        return refuse(EINVAL);
    }
    const Descriptor fd = openWithoutLinks(path);
    return fd && setMode(fd.get(), mode) ? kSuccess : kFailure;
}

uint32_t SWM_Lchown(const char *path, uint32_t uid, uint32_t gid)
{
    return path == nullptr ? refuse(EINVAL) : statusOf(::lchown(path, uid, gid));
}

uint32_t SWM_CreateKeyFile(const char *path, uint32_t uid, uint32_t gid, uint32_t mode)
{
    SplitPath split;
    if (path == nullptr) {
        return refuse(EINVAL);
    }
    if (!splitPath(path, &split)) {
        return kFailure;
    }
    const Descriptor directory = openDirectory(split.directory.get());
    if (!directory) {
        return kFailure;
    }
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | kOpenFlags;
    Descriptor fd(retried([&] { return ::openat(directory.get(), split.name, kFlags, kPrivateMode); }));
    if (fd) {
        if (finishMarker(fd.get(), directory.get(), uid, gid, mode)) {
            return kSuccess;
        }
        const ErrnoKeeper keeper;
        (void)::unlinkat(directory.get(), split.name, 0);
        return kFailure;
    }
    if (errno != EEXIST) {
        return kFailure;
    }
    // That it is there is all that counts; whoever made it may not have synced it yet.
    constexpr int kExistingFlags = O_PATH | O_NOFOLLOW | kOpenFlags;
    fd = Descriptor(retried([&] { return ::openat(directory.get(), split.name, kExistingFlags); }));
    return fd && isMarker(fd.get()) && syncFile(directory.get()) ? kSuccess : kFailure;
}

uint32_t SWM_UndoProtectFile(const char *path)
{
    if (path == nullptr) {
        return refuse(EINVAL);
    }
    const Descriptor fd = openWithoutLinks(path);
    if (!fd) {
        return errno == ENOENT ? kSuccess : kFailure;
    }
    struct stat status;
    if (!requireRegular(fd.get()) || ::fstat(fd.get(), &status) != 0) {
        return kFailure;
    }
    const bool isReadable = !isPathOnly(fd.get());
    if (isReadable && !clearProtection(fd.get())) {
        return kFailure;
    }
    // Where the attributes cannot be read, only a change shows that nothing protects the file.
    const bool isDone = isReadable && (status.st_mode & S_IWUSR) != 0;
    return isDone || setMode(fd.get(), status.st_mode | S_IWUSR) ? kSuccess : kFailure;
}
