// Each call is defined here under its own name as an assembler label, so that the headers' inline forms do not get in
// the way, and forwards to the real one.
#include "interpose.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#define TARN_HOOK extern "C" __attribute__((visibility("default")))
#define TARN_STRIKES(call, number) strikes(call, __builtin_extract_return_addr(__builtin_return_address(0)), number)

// The allocator is needed before dlsym works: the sanitizer's entry when there is one, else libc's own.
extern "C" {
__attribute__((weak)) void *__interceptor_malloc(size_t size);
__attribute__((weak)) void *__interceptor_realloc(void *block, size_t size);
void *__libc_malloc(size_t size);
void *__libc_realloc(void *block, size_t size);
}

namespace tarn::test {
namespace {

struct Fault {
    std::atomic<bool> isArmed = false;
    std::atomic<bool> isHit = false;
    Call call = Call::Count;
    unsigned left = 0;
    int error = 0;
};

Fault g_fault;
std::atomic<bool> g_isSlow = false;
bool g_isInterrupted = false;
Observer g_observer;
LoopDriver g_loopDriver;
uintptr_t g_begin = 0;
uintptr_t g_end = 0;

int findLibrary(dl_phdr_info *info, size_t, void *)
{
    for (int i = 0; strstr(info->dlpi_name, "libtarn_basic.so") != nullptr && i < info->dlpi_phnum; ++i) {
        const auto &header = info->dlpi_phdr[i];
        if (header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0) {
            g_begin = info->dlpi_addr + header.p_vaddr;
            g_end = g_begin + header.p_memsz;
        }
    }
    return 0;
}

__attribute__((constructor)) void findRange()
{
    dl_iterate_phdr(findLibrary, nullptr);
}

// False until the library is found. Nothing else is looked at before that: the calls of a sanitizer that sets itself up
// come here too, and code shared with other units of this program is instrumented.
bool isPlatform(const void *caller)
{
    const auto address = reinterpret_cast<uintptr_t>(caller);
    return address >= g_begin && address < g_end;
}

bool strikes(Call call, const void *caller, int number)
{
    if (!isPlatform(caller)) {
        return false;
    }
    if (g_observer) {
        g_observer(call, number);
    }
    if (!g_fault.isArmed || g_fault.call != call || --g_fault.left != 0) {
        return false;
    }
    g_fault.isArmed = false;
    g_fault.isHit = true;
    errno = g_fault.error;
    return true;
}

// True when this call is to be interrupted; else `count` may shrink to one byte.
bool isInterrupted(const void *caller, size_t *count)
{
    if (!isPlatform(caller) || !g_isSlow) {
        return false;
    }
    g_isInterrupted = !g_isInterrupted;
    if (g_isInterrupted) {
        errno = EINTR;
        return true;
    }
    *count = *count > 1 ? 1 : *count;
    return false;
}

// A loop device exists only while there is a driver for it.
const char *devicePath(const char *path)
{
    return strncmp(path, "/dev/loop", 9) == 0 && g_loopDriver ? "/dev/null" : path;
}

template <typename Function> Function *realOf(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

void failCall(Call call, unsigned nth, int error)
{
    g_fault.isHit = false;
    g_fault.call = call;
    g_fault.left = nth;
    g_fault.error = error;
    g_fault.isArmed = true;
}

bool hasFailed()
{
    g_fault.isArmed = false;
    return g_fault.isHit;
}

void setSlow(bool isSlow)
{
    g_isSlow = isSlow;
}

void setObserver(Observer observer)
{
    g_observer = std::move(observer);
}

void setLoopDriver(LoopDriver driver)
{
    g_loopDriver = std::move(driver);
}

} // namespace tarn::test

using namespace tarn::test;

TARN_HOOK void *hookMalloc(size_t size) asm("malloc");
TARN_HOOK void *hookMalloc(size_t size)
{
    if (TARN_STRIKES(Call::Malloc, 0)) {
        return nullptr;
    }
    return __interceptor_malloc != nullptr ? __interceptor_malloc(size) : __libc_malloc(size);
}

TARN_HOOK void *hookRealloc(void *block, size_t size) asm("realloc");
TARN_HOOK void *hookRealloc(void *block, size_t size)
{
    if (TARN_STRIKES(Call::Realloc, 0)) {
        return nullptr;
    }
    return __interceptor_realloc != nullptr ? __interceptor_realloc(block, size) : __libc_realloc(block, size);
}

#define TARN_FORWARD(call, number, name, failure, result, parameters, arguments)                                       \
    TARN_HOOK result hook_##name parameters asm(#name);                                                                \
    TARN_HOOK result hook_##name parameters                                                                            \
    {                                                                                                                  \
        static auto *const real = realOf<result parameters>(#name);                                                    \
        return TARN_STRIKES(call, number) ? failure : real arguments;                                                  \
    }

TARN_FORWARD(Call::Open, flags, __open_2, -1, int, (const char *path, int flags), (devicePath(path), flags))
TARN_FORWARD(Call::Open, flags, __openat_2, -1, int, (int at, const char *path, int flags), (at, path, flags))
TARN_FORWARD(Call::Open, flags, open, -1, int, (const char *path, int flags, mode_t mode),
             (devicePath(path), flags, mode))
TARN_FORWARD(Call::Open, flags, openat, -1, int, (int at, const char *path, int flags, mode_t mode),
             (at, path, flags, mode))
TARN_FORWARD(Call::Fstat, fd, fstat, -1, int, (int fd, struct stat *status), (fd, status))
TARN_FORWARD(Call::Fsync, fd, fsync, -1, int, (int fd), (fd))
TARN_FORWARD(Call::Fchmod, fd, fchmod, -1, int, (int fd, mode_t mode), (fd, mode))
TARN_FORWARD(Call::Fchown, fd, fchown, -1, int, (int fd, uid_t uid, gid_t gid), (fd, uid, gid))
TARN_FORWARD(Call::Ftruncate, fd, ftruncate, -1, int, (int fd, off_t size), (fd, size))
TARN_FORWARD(Call::Rename, from, renameat, -1, int, (int from, const char *old, int to, const char *name),
             (from, old, to, name))
TARN_FORWARD(Call::Mkdir, at, mkdirat, -1, int, (int at, const char *path, mode_t mode), (at, path, mode))
TARN_FORWARD(Call::Unlink, at, unlinkat, -1, int, (int at, const char *path, int flags), (at, path, flags))
TARN_FORWARD(Call::Pipe, flags, pipe2, -1, int, (int *ends, int flags), (ends, flags))
TARN_FORWARD(Call::Strdup, 0, strdup, nullptr, char *, (const char *text), (text))
TARN_FORWARD(Call::Strdup, 0, strndup, nullptr, char *, (const char *text, size_t count), (text, count))
TARN_FORWARD(Call::Strdup, 0, realpath, nullptr, char *, (const char *path, char *out), (path, out))
TARN_FORWARD(Call::Fdopen, fd, fdopen, nullptr, FILE *, (int fd, const char *mode), (fd, mode))
TARN_FORWARD(Call::Fdopen, fd, fdopendir, nullptr, DIR *, (int fd), (fd))

#define TARN_FORWARD_MOVE(call, name, parameters, arguments)                                                           \
    TARN_HOOK ssize_t hook_##name parameters asm(#name);                                                               \
    TARN_HOOK ssize_t hook_##name parameters                                                                           \
    {                                                                                                                  \
        static auto *const real = realOf<ssize_t parameters>(#name);                                                   \
        const void *caller = __builtin_extract_return_addr(__builtin_return_address(0));                               \
        return strikes(call, caller, fd) || isInterrupted(caller, &count) ? -1 : real arguments;                       \
    }

TARN_FORWARD_MOVE(Call::Read, read, (int fd, void *buffer, size_t count), (fd, buffer, count))
TARN_FORWARD_MOVE(Call::Read, __read_chk, (int fd, void *buffer, size_t count, size_t room), (fd, buffer, count, room))
TARN_FORWARD_MOVE(Call::Write, write, (int fd, const void *buffer, size_t count), (fd, buffer, count))

TARN_HOOK int hookIoctl(int fd, unsigned long request, void *argument) asm("ioctl");
TARN_HOOK int hookIoctl(int fd, unsigned long request, void *argument)
{
    static auto *const real = realOf<int(int, unsigned long, void *)>("ioctl");
    const void *caller = __builtin_extract_return_addr(__builtin_return_address(0));
    if (strikes(Call::Ioctl, caller, fd)) {
        return -1;
    }
    return isPlatform(caller) && g_loopDriver ? g_loopDriver(request, argument) : real(fd, request, argument);
}
