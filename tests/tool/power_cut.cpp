// Loaded into the tool: counts the calls that change files, and ends the process at one of them as a power cut would.
//   POWER_CUT_AT     which call, from 1; it is not carried out
//   POWER_CUT_TORN   set: of a write half is carried out first
//   POWER_CUT_SPOIL  which call of write() stores another first byte than it was given
//   POWER_CUT_FAIL   which call fails for want of space instead
//   POWER_CUT_LOG    a file that gets the name of every call
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

template <typename Call> Call real(const char *name)
{
    return reinterpret_cast<Call>(dlsym(RTLD_NEXT, name));
}

long number(const char *name)
{
    const char *text = getenv(name);
    return text == nullptr ? 0 : strtol(text, nullptr, 10);
}

void note(const char *name)
{
    const char *path = getenv("POWER_CUT_LOG");
    if (path == nullptr) {
        return;
    }
    const auto fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND, 0600));
    std::string line = name;
    line += '\n';
    static_cast<void>(syscall(SYS_write, fd, line.data(), line.size()));
    syscall(SYS_close, fd);
}

enum class Fate { Done, Failed, Cut };

Fate fateOf(const char *name)
{
    static std::atomic<long> calls{0};
    const long call = ++calls;
    note(name);
    return call == number("POWER_CUT_AT") ? Fate::Cut : call == number("POWER_CUT_FAIL") ? Fate::Failed : Fate::Done;
}

[[noreturn]] void cut()
{
    syscall(SYS_kill, getpid(), 9);
    for (;;) {
        pause();
    }
}

// Ends the process, or makes the call fail.
bool fails(const char *name)
{
    const Fate fate = fateOf(name);
    if (fate == Fate::Cut) {
        cut();
    }
    errno = fate == Fate::Failed ? ENOSPC : errno;
    return fate == Fate::Failed;
}

bool makesOrEmpties(int flags)
{
    return (flags & (O_CREAT | O_TRUNC)) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

bool isRegular(int fd)
{
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// What is printed changes no file.
bool isPrinted(int fd)
{
    return fd == STDOUT_FILENO || fd == STDERR_FILENO || !isRegular(fd);
}

// On the disk: a private copy in memory has no name to spoil.
bool isOnDisk(int fd)
{
    char target[64] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    static_cast<void>(!readlink(link.c_str(), target, sizeof(target) - 1));
    return strncmp(target, "/memfd:", 7) != 0;
}

} // namespace

extern "C" {

ssize_t write(int fd, const void *data, size_t size)
{
    static const auto call = real<ssize_t (*)(int, const void *, size_t)>("write");
    static std::atomic<long> writes{0};
    if (isPrinted(fd)) {
        return call(fd, data, size);
    }
    const Fate fate = fateOf("write");
    if (fate != Fate::Done && getenv("POWER_CUT_TORN") != nullptr) {
        static_cast<void>(!call(fd, data, size / 2));
    }
    if (fate == Fate::Cut) {
        cut();
    }
    if (fate == Fate::Failed) {
        errno = ENOSPC;
        return -1;
    }
    if (isOnDisk(fd) && ++writes == number("POWER_CUT_SPOIL") && size > 0) {
        std::string spoilt(static_cast<const char *>(data), size);
        spoilt[0] = static_cast<char>(spoilt[0] ^ 1);
        return call(fd, spoilt.data(), size);
    }
    return call(fd, data, size);
}

ssize_t pwrite(int fd, const void *data, size_t size, off_t offset)
{
    if (fails("pwrite")) {
        return -1;
    }
    return real<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite")(fd, data, size, offset);
}

ssize_t sendfile(int to, int from, off_t *offset, size_t size)
{
    if (fails("sendfile")) {
        return -1;
    }
    return real<ssize_t (*)(int, int, off_t *, size_t)>("sendfile")(to, from, offset, size);
}

ssize_t copy_file_range(int from, off_t *fromOffset, int to, off_t *toOffset, size_t size, unsigned flags)
{
    if (fails("copy_file_range")) {
        return -1;
    }
    return real<ssize_t (*)(int, off_t *, int, off_t *, size_t, unsigned)>("copy_file_range")(from, fromOffset, to,
                                                                                              toOffset, size, flags);
}

int fsync(int fd)
{
    if (fails("fsync")) {
        return -1;
    }
    return real<int (*)(int)>("fsync")(fd);
}

int fdatasync(int fd)
{
    if (fails("fdatasync")) {
        return -1;
    }
    return real<int (*)(int)>("fdatasync")(fd);
}

int ftruncate(int fd, off_t size)
{
    if (fails("ftruncate")) {
        return -1;
    }
    return real<int (*)(int, off_t)>("ftruncate")(fd, size);
}

int rename(const char *from, const char *to)
{
    if (fails("rename")) {
        return -1;
    }
    return real<int (*)(const char *, const char *)>("rename")(from, to);
}

int renameat(int fromDir, const char *from, int toDir, const char *to)
{
    if (fails("rename")) {
        return -1;
    }
    return real<int (*)(int, const char *, int, const char *)>("renameat")(fromDir, from, toDir, to);
}

int link(const char *from, const char *to)
{
    if (fails("link")) {
        return -1;
    }
    return real<int (*)(const char *, const char *)>("link")(from, to);
}

int linkat(int fromDir, const char *from, int toDir, const char *to, int flags)
{
    if (fails("link")) {
        return -1;
    }
    return real<int (*)(int, const char *, int, const char *, int)>("linkat")(fromDir, from, toDir, to, flags);
}

int unlink(const char *path)
{
    if (fails("unlink")) {
        return -1;
    }
    return real<int (*)(const char *)>("unlink")(path);
}

int unlinkat(int directory, const char *path, int flags)
{
    if (fails("unlink")) {
        return -1;
    }
    return real<int (*)(int, const char *, int)>("unlinkat")(directory, path, flags);
}

int fchmod(int fd, mode_t mode)
{
    if (fails("fchmod")) {
        return -1;
    }
    return real<int (*)(int, mode_t)>("fchmod")(fd, mode);
}

int fchown(int fd, uid_t user, gid_t group)
{
    if (fails("fchown")) {
        return -1;
    }
    return real<int (*)(int, uid_t, gid_t)>("fchown")(fd, user, group);
}

// Files made or emptied, too.
int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (makesOrEmpties(flags) && fails("create")) {
        return -1;
    }
    return real<int (*)(const char *, int, ...)>("open")(path, flags, mode);
}

int openat(int directory, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    if (makesOrEmpties(flags) && fails("create")) {
        return -1;
    }
    return real<int (*)(int, const char *, int, ...)>("openat")(directory, path, flags, mode);
}

} // extern "C"
