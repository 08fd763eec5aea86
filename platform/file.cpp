// Opening, reading and writing files.
#include <cstdarg>
#include <cstring>

#include <sys/stat.h>

#include <tarn_basic/file.h>

#include "file_io.h"

namespace tarn::basic {
namespace {

// A file that vanishes between the two attempts is tried again, but somebody who keeps swapping it must not hold us.
constexpr int kCreateAttempts = 16;

bool checkExisting(int fd, int flags)
{
    struct stat status;
    if (::fstat(fd, &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    if ((flags & O_TRUNC) != 0) {
        return retried([&] { return ::ftruncate(fd, 0); }) == 0;
    }
    if (status.st_uid != ::geteuid()) {
        errno = EPERM;
        return false;
    }
    return true;
}

// A file that is there already may have been planted: it is looked at before it is cut or handed out.
Descriptor openExisting(const char *path, int flags)
{
    const int safeFlags = (flags & ~(O_CREAT | O_EXCL | O_TRUNC)) | O_NOFOLLOW | O_NONBLOCK;
    Descriptor fd(retried([&] { return ::open(path, safeFlags); }));
    if (fd && !checkExisting(fd.get(), flags)) {
        return Descriptor();
    }
    return fd;
}

Descriptor createFile(const char *path, int flags, mode_t mode)
{
    for (int attempt = 0; attempt < kCreateAttempts; ++attempt) {
        const int newFlags = (flags & ~O_TRUNC) | O_CREAT | O_EXCL | O_NOFOLLOW;
        Descriptor fd(retried([&] { return ::open(path, newFlags, mode); }));
        if (fd || errno != EEXIST || (flags & O_EXCL) != 0) {
            return fd;
        }
        fd = openExisting(path, flags);
        if (fd || errno != ENOENT) {
            return fd;
        }
    }
    return Descriptor();
}

// The flags of a mode of fopen, or -1.
int flagsOfMode(const char *mode)
{
    const bool update = strchr(mode, '+') != nullptr;
    switch (mode[0]) {
    case 'r':
        return update ? O_RDWR : O_RDONLY;
    case 'w':
        return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
    case 'a':
        return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
    default:
        return -1;
    }
}

template <typename Bytes, typename Move> ssize_t moveFully(Bytes *bytes, size_t count, Move move)
{
    size_t moved = 0;
    while (moved < count) {
        const ssize_t step = retried([&] { return move(bytes + moved, count - moved); });
        if (step < 0 && moved == 0) {
            return -1;
        }
        if (step <= 0) {
            break;
        }
        moved += static_cast<size_t>(step);
    }
    return static_cast<ssize_t>(moved);
}

int32_t readCounted(int32_t fd, void *buffer, uint32_t count)
{
    if (buffer == nullptr || count > INT32_MAX) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int32_t>(readFully(fd, buffer, count));
}

} // namespace

Descriptor openFile(const char *path, int flags, mode_t mode)
{
    flags |= kOpenFlags;
    if ((flags & O_CREAT) != 0) {
        return createFile(path, flags, mode);
    }
    if ((flags & O_ACCMODE) == O_RDONLY) {
        flags |= O_NONBLOCK;
    }
    return Descriptor(retried([&] { return ::open(path, flags); }));
}

bool requireRegular(int fd)
{
    struct stat status;
    if (::fstat(fd, &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    return true;
}

Descriptor openRegular(const char *path, int flags)
{
    Descriptor fd = openFile(path, flags);
    if (fd && !requireRegular(fd.get())) {
        return Descriptor();
    }
    return fd;
}

ssize_t readFully(int fd, void *buffer, size_t count)
{
    return moveFully(static_cast<char *>(buffer), count, [fd](char *to, size_t room) { return ::read(fd, to, room); });
}

ssize_t writeFully(int fd, const void *buffer, size_t count)
{
    return moveFully(static_cast<const char *>(buffer), count,
                     [fd](const char *from, size_t rest) { return ::write(fd, from, rest); });
}

Block<char> readWhole(int fd, size_t limit, size_t *size)
{
    struct stat status;
    if (::fstat(fd, &status) != 0) {
        return nullptr;
    }
    if (status.st_size < 0 || static_cast<uint64_t>(status.st_size) > limit) {
        errno = EFBIG;
        return nullptr;
    }
    // One byte more than the size shows a file that grows meanwhile; it also is the room for the NUL.
    const size_t room = static_cast<size_t>(status.st_size) + 1;
    Block<char> content = allocateBytes(room);
    if (content == nullptr) {
        return nullptr;
    }
    size_t used = 0;
    ssize_t step = 1;
    while (step > 0 && used < room) {
        step = retried([&] { return ::read(fd, content.get() + used, room - used); });
        used += step > 0 ? static_cast<size_t>(step) : 0;
    }
    if (step != 0) {
        errno = step > 0 ? EFBIG : errno;
        return nullptr;
    }
    content.get()[used] = '\0';
    *size = used;
    return content;
}

bool splitPath(const char *path, SplitPath *split)
{
    const char *slash = strrchr(path, '/');
    split->name = slash == nullptr ? path : slash + 1;
    if (*split->name == '\0') {
        errno = EINVAL;
        return false;
    }
    // "name" lies in ".", "/name" in "/".
    const char *directory = slash == nullptr ? "." : path;
    const size_t length = slash == nullptr || slash == path ? 1 : static_cast<size_t>(slash - path);
    split->directory.reset(::strndup(directory, length));
    return split->directory != nullptr;
}

Descriptor openDirectory(const char *path)
{
    return Descriptor(retried([&] { return ::open(path, O_RDONLY | O_DIRECTORY | kOpenFlags); }));
}

} // namespace tarn::basic

using namespace tarn::basic;

uint32_t SWM_Open(const char *path, int32_t flags, int32_t *fdOut, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, fdOut);
        mode = static_cast<mode_t>(va_arg(arguments, uint32_t));
        va_end(arguments);
    }
    // A nameless file would need a mode too, and nobody asks for one.
    if (path == nullptr || fdOut == nullptr || (flags & O_TMPFILE) == O_TMPFILE) {
        return refuse(EINVAL);
    }
    Descriptor fd = openFile(path, flags, mode);
    if (!fd) {
        return kFailure;
    }
    *fdOut = fd.release();
    return kSuccess;
}

uint32_t SWM_Fopen(const char *path, const char *mode, FILE **streamOut)
{
    if (streamOut == nullptr) {
        return refuse(EINVAL);
    }
    *streamOut = nullptr;
    const int flags = path != nullptr && mode != nullptr ? flagsOfMode(mode) : -1;
    if (flags < 0) {
        return refuse(EINVAL);
    }
    Descriptor fd = openFile(path, flags, 0666);
    if (!fd) {
        return kFailure;
    }
    *streamOut = ::fdopen(fd.get(), mode);
    if (*streamOut == nullptr) {
        return kFailure;
    }
    fd.release();
    return kSuccess;
}

int32_t SWM_Read(int32_t fd, void *buffer, uint32_t count)
{
    return readCounted(fd, buffer, count);
}

int32_t TARN_FdRead(int32_t fd, void *buffer, uint32_t count)
{
    return readCounted(fd, buffer, count);
}

int32_t TARN_ReadFile(int32_t fd, void *buffer, uint32_t count, uint32_t)
{
    return readCounted(fd, buffer, count);
}

int32_t SWM_Write(int32_t fd, const void *buffer, uint32_t count)
{
    if (buffer == nullptr || count > INT32_MAX) {
        errno = EINVAL;
        return -1;
    }
    return static_cast<int32_t>(writeFully(fd, buffer, count));
}

int32_t TARN_CanonicalOpen(const char *path, int32_t flags)
{
    if (path == nullptr || (flags & (O_ACCMODE | O_CREAT | O_TRUNC)) != O_RDONLY) {
        errno = EINVAL;
        return -1;
    }
    const Block<char> canonical(::realpath(path, nullptr));
    if (canonical == nullptr) {
        return -1;
    }
    // Nothing is a link any more: one that shows up here has just been planted.
    return openRegular(canonical.get(), O_RDONLY | O_NOFOLLOW).release();
}

int32_t TARN_CanonicalClose(int32_t fd)
{
    // Not taken up again after EINTR: the descriptor is gone by then and may be somebody else's.
    return ::close(fd) == 0 || errno == EINTR ? 0 : -1;
}
