// The libc calls of both libraries, each defined here under its own name and forwarded to the real one. The functions
// carry the libc name as an assembler label, so that the headers' inline variants and attributes do not get in the way.
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/faults.h"

using tarn::test::Call;
using namespace tarn::test::detail;

#define TARN_HOOK extern "C" __attribute__((visibility("default")))
#define TARN_CALLER __builtin_extract_return_addr(__builtin_return_address(0))

// The allocator is needed before dlsym works: the sanitizer's entry when there is one, else libc's own.
extern "C" {
__attribute__((weak)) void *__interceptor_malloc(size_t size);
__attribute__((weak)) void *__interceptor_calloc(size_t count, size_t size);
__attribute__((weak)) void __interceptor_free(void *block);
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void __libc_free(void *block);
}

namespace {

template <typename Function> Function *realOf(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

void *noted(void *block, const void *caller)
{
    if (block != nullptr && isFromBoot(caller)) {
        noteBlock(block);
    }
    return block;
}

void recordPlain(Call call, const void *caller)
{
    if (isRecorded(call) && isFromBoot(caller)) {
        recordCall(call, "");
    }
}

void recordDescriptor(Call call, const void *caller, int fd, off_t position = -1)
{
    if (isRecorded(call) && isFromBoot(caller)) {
        recordCall(call, fileBehind(fd) + (position < 0 ? "" : " " + std::to_string(position)));
    }
}

// What a release may do to errno: whoever reads it afterwards reads the wrong one.
void clobberErrno(const void *caller)
{
    if (isFromBoot(caller)) {
        errno = tarn::test::kClobberedErrno;
    }
}

// A close that fails has still closed.
int failedAfter(int error)
{
    errno = error;
    return -1;
}

} // namespace

TARN_HOOK void *hookMalloc(size_t size) asm("malloc");
TARN_HOOK void *hookMalloc(size_t size)
{
    if (isRecorded(Call::Malloc) && isFromBoot(TARN_CALLER)) {
        recordCall(Call::Malloc, std::to_string(size));
    }
    if (strikes(Call::Malloc, TARN_CALLER)) {
        return nullptr;
    }
    return noted(__interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size), TARN_CALLER);
}

TARN_HOOK void *hookCalloc(size_t count, size_t size) asm("calloc");
TARN_HOOK void *hookCalloc(size_t count, size_t size)
{
    if (strikes(Call::Calloc, TARN_CALLER)) {
        return nullptr;
    }
    return noted(__interceptor_calloc != nullptr ? __interceptor_calloc(count, size) : __libc_calloc(count, size),
                 TARN_CALLER);
}

TARN_HOOK void hookFree(void *block) asm("free");
TARN_HOOK void hookFree(void *block)
{
    if (block != nullptr) {
        forgetBlock(block);
    }
    __interceptor_free != nullptr ? __interceptor_free(block) : __libc_free(block);
    clobberErrno(TARN_CALLER);
}

TARN_HOOK off_t hookLseek(int fd, off_t offset, int whence) asm("lseek");
TARN_HOOK off_t hookLseek(int fd, off_t offset, int whence)
{
    static auto *const real = realOf<off_t(int, off_t, int)>("lseek");
    recordDescriptor(Call::Lseek, TARN_CALLER, fd, offset);
    return strikes(Call::Lseek, TARN_CALLER) ? -1 : real(fd, offset, whence);
}

TARN_HOOK int hookFstat(int fd, struct stat *status) asm("fstat");
TARN_HOOK int hookFstat(int fd, struct stat *status)
{
    static auto *const real = realOf<int(int, struct stat *)>("fstat");
    if (strikes(Call::Fstat, TARN_CALLER)) {
        return -1;
    }
    const int result = real(fd, status);
    if (result == 0 && isFromBoot(TARN_CALLER)) {
        changeStatusOf(*status);
    }
    return result;
}

TARN_HOOK int hookFsync(int fd) asm("fsync");
TARN_HOOK int hookFsync(int fd)
{
    static auto *const real = realOf<int(int)>("fsync");
    recordDescriptor(Call::Fsync, TARN_CALLER, fd);
    return strikes(Call::Fsync, TARN_CALLER) ? -1 : real(fd);
}

TARN_HOOK int hookClose(int fd) asm("close");
TARN_HOOK int hookClose(int fd)
{
    static auto *const real = realOf<int(int)>("close");
    recordDescriptor(Call::Close, TARN_CALLER, fd);
    if (!strikes(Call::Close, TARN_CALLER)) {
        const int result = real(fd);
        clobberErrno(TARN_CALLER);
        return result;
    }
    const int error = errno;
    real(fd);
    return failedAfter(error);
}

TARN_HOOK int hookUnlink(const char *path) asm("unlink");
TARN_HOOK int hookUnlink(const char *path)
{
    static auto *const real = realOf<int(const char *)>("unlink");
    if (isRecorded(Call::Unlink) && isFromBoot(TARN_CALLER)) {
        recordCall(Call::Unlink, path);
    }
    return strikes(Call::Unlink, TARN_CALLER) ? -1 : real(path);
}

TARN_HOOK int hookRmdir(const char *path) asm("rmdir");
TARN_HOOK int hookRmdir(const char *path)
{
    static auto *const real = realOf<int(const char *)>("rmdir");
    return strikes(Call::Rmdir, TARN_CALLER) ? -1 : real(path);
}

TARN_HOOK int hookMkdirat(int dirFd, const char *path, mode_t mode) asm("mkdirat");
TARN_HOOK int hookMkdirat(int dirFd, const char *path, mode_t mode)
{
    static auto *const real = realOf<int(int, const char *, mode_t)>("mkdirat");
    return strikes(Call::Mkdir, TARN_CALLER) ? -1 : real(dirFd, path, mode);
}

TARN_HOOK int hookOpen(const char *path, int flags, ...) asm("open");
TARN_HOOK int hookOpen(const char *path, int flags, ...)
{
    static auto *const real = realOf<int(const char *, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return strikes(Call::Open, TARN_CALLER) ? -1 : real(path, flags, mode);
}

TARN_HOOK int hookOpenat(int dirFd, const char *path, int flags, ...) asm("openat");
TARN_HOOK int hookOpenat(int dirFd, const char *path, int flags, ...)
{
    static auto *const real = realOf<int(int, const char *, int, ...)>("openat");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return strikes(Call::Open, TARN_CALLER) ? -1 : real(dirFd, path, flags, mode);
}

// The fortified forms of the two, chosen when the compiler does not see the flags.
TARN_HOOK int hookOpen2(const char *path, int flags) asm("__open_2");
TARN_HOOK int hookOpen2(const char *path, int flags)
{
    static auto *const real = realOf<int(const char *, int)>("__open_2");
    return strikes(Call::Open, TARN_CALLER) ? -1 : real(path, flags);
}

TARN_HOOK int hookOpenat2(int dirFd, const char *path, int flags) asm("__openat_2");
TARN_HOOK int hookOpenat2(int dirFd, const char *path, int flags)
{
    static auto *const real = realOf<int(int, const char *, int)>("__openat_2");
    return strikes(Call::Open, TARN_CALLER) ? -1 : real(dirFd, path, flags);
}

TARN_HOOK ssize_t hookRead(int fd, void *buffer, size_t count) asm("read");
TARN_HOOK ssize_t hookRead(int fd, void *buffer, size_t count)
{
    static auto *const real = realOf<ssize_t(int, void *, size_t)>("read");
    if (strikes(Call::Read, TARN_CALLER)) {
        return -1;
    }
    const ssize_t bytes = real(fd, buffer, count);
    noteRead(fd, bytes);
    return bytes;
}

TARN_HOOK ssize_t hookReadChk(int fd, void *buffer, size_t count, size_t room) asm("__read_chk");
TARN_HOOK ssize_t hookReadChk(int fd, void *buffer, size_t count, size_t room)
{
    static auto *const real = realOf<ssize_t(int, void *, size_t, size_t)>("__read_chk");
    if (strikes(Call::Read, TARN_CALLER)) {
        return -1;
    }
    const ssize_t bytes = real(fd, buffer, count, room);
    noteRead(fd, bytes);
    return bytes;
}

TARN_HOOK ssize_t hookPread(int fd, void *buffer, size_t count, off_t offset) asm("pread");
TARN_HOOK ssize_t hookPread(int fd, void *buffer, size_t count, off_t offset)
{
    static auto *const real = realOf<ssize_t(int, void *, size_t, off_t)>("pread");
    if (strikes(Call::Read, TARN_CALLER)) {
        return -1;
    }
    const ssize_t bytes = real(fd, buffer, count, offset);
    noteRead(fd, bytes);
    return bytes;
}

TARN_HOOK ssize_t hookWrite(int fd, const void *buffer, size_t count) asm("write");
TARN_HOOK ssize_t hookWrite(int fd, const void *buffer, size_t count)
{
    static auto *const real = realOf<ssize_t(int, const void *, size_t)>("write");
    return strikes(Call::Write, TARN_CALLER) ? -1 : real(fd, buffer, count);
}

TARN_HOOK int hookFclose(FILE *stream) asm("fclose");
TARN_HOOK int hookFclose(FILE *stream)
{
    static auto *const real = realOf<int(FILE *)>("fclose");
    recordPlain(Call::Fclose, TARN_CALLER);
    if (!strikes(Call::Fclose, TARN_CALLER)) {
        const int result = real(stream);
        clobberErrno(TARN_CALLER);
        return result;
    }
    const int error = errno;
    real(stream);
    return failedAfter(error);
}

TARN_HOOK int hookMutexLock(pthread_mutex_t *mutex) asm("pthread_mutex_lock");
TARN_HOOK int hookMutexLock(pthread_mutex_t *mutex)
{
    static auto *const real = realOf<int(pthread_mutex_t *)>("pthread_mutex_lock");
    recordPlain(Call::MutexLock, TARN_CALLER);
    return strikes(Call::MutexLock, TARN_CALLER) ? errno : real(mutex);
}

// Gives the mutex back before it reports a failure, so that later tests can take it.
TARN_HOOK int hookMutexUnlock(pthread_mutex_t *mutex) asm("pthread_mutex_unlock");
TARN_HOOK int hookMutexUnlock(pthread_mutex_t *mutex)
{
    static auto *const real = realOf<int(pthread_mutex_t *)>("pthread_mutex_unlock");
    recordPlain(Call::MutexUnlock, TARN_CALLER);
    if (!strikes(Call::MutexUnlock, TARN_CALLER)) {
        return real(mutex);
    }
    const int error = errno;
    real(mutex);
    errno = error;
    return error;
}

TARN_HOOK pid_t hookGetpid() asm("getpid");
TARN_HOOK pid_t hookGetpid()
{
    static auto *const real = realOf<pid_t()>("getpid");
    (void)strikes(Call::Getpid, TARN_CALLER);
    tarn::test::Origin origin;
    const bool fake = fakePid() != 0 && isFromLibrary(TARN_CALLER, &origin);
    return fake ? fakePid() : real();
}

TARN_HOOK int hookSchedYield() asm("sched_yield");
TARN_HOOK int hookSchedYield()
{
    static auto *const real = realOf<int()>("sched_yield");
    recordPlain(Call::SchedYield, TARN_CALLER);
    return strikes(Call::SchedYield, TARN_CALLER) ? -1 : real();
}

TARN_HOOK void *hookMmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) asm("mmap");
TARN_HOOK void *hookMmap(void *address, size_t length, int protection, int flags, int fd, off_t offset)
{
    static auto *const real = realOf<void *(void *, size_t, int, int, int, off_t)>("mmap");
    if (isRecorded(Call::Mmap) && isFromBoot(TARN_CALLER)) {
        recordCall(Call::Mmap, std::to_string(length) + " " + std::to_string(protection) + " " + std::to_string(flags) +
                                   " " + std::to_string(offset));
    }
    return strikes(Call::Mmap, TARN_CALLER) ? MAP_FAILED : real(address, length, protection, flags, fd, offset);
}

// A release that fails has still released. It may come by a tail call, which hides the caller.
TARN_HOOK int hookMunmap(void *address, size_t length) asm("munmap");
TARN_HOOK int hookMunmap(void *address, size_t length)
{
    static auto *const real = realOf<int(void *, size_t)>("munmap");
    if (isRecorded(Call::Munmap) && isPlatformCallOfBoot(TARN_CALLER)) {
        recordCall(Call::Munmap, std::to_string(length));
    }
    const bool fails = strikesPlatform(Call::Munmap, TARN_CALLER);
    const int error = errno;
    const int result = real(address, length);
    clobberErrno(TARN_CALLER);
    return fails ? failedAfter(error) : result;
}

TARN_HOOK int hookSymlink(const char *target, const char *path) asm("symlink");
TARN_HOOK int hookSymlink(const char *target, const char *path)
{
    static auto *const real = realOf<int(const char *, const char *)>("symlink");
    if (isRecorded(Call::Symlink) && isFromBoot(TARN_CALLER)) {
        recordCall(Call::Symlink, std::string(target) + " " + path);
    }
    return strikes(Call::Symlink, TARN_CALLER) ? -1 : real(target, path);
}

TARN_HOOK int hookGetpagesize() asm("getpagesize");
TARN_HOOK int hookGetpagesize()
{
    static auto *const real = realOf<int()>("getpagesize");
    return strikes(Call::Getpagesize, TARN_CALLER) ? static_cast<int>(faultResult(-1)) : real();
}

namespace {

// As after a failed read of the file behind it.
char *failedRead(FILE *stream)
{
    stream->_flags |= _IO_ERR_SEEN;
    return nullptr;
}

} // namespace

TARN_HOOK char *hookFgets(char *line, int size, FILE *stream) asm("fgets");
TARN_HOOK char *hookFgets(char *line, int size, FILE *stream)
{
    static auto *const real = realOf<char *(char *, int, FILE *)>("fgets");
    return strikes(Call::Fgets, TARN_CALLER) ? failedRead(stream) : real(line, size, stream);
}

TARN_HOOK char *hookFgetsChk(char *line, size_t room, int size, FILE *stream) asm("__fgets_chk");
TARN_HOOK char *hookFgetsChk(char *line, size_t room, int size, FILE *stream)
{
    static auto *const real = realOf<char *(char *, size_t, int, FILE *)>("__fgets_chk");
    return strikes(Call::Fgets, TARN_CALLER) ? failedRead(stream) : real(line, room, size, stream);
}
