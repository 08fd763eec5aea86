// Any libc call or platform operation can be made to fail on its n-th use: the test program defines the symbol, counts
// the calls that come from the two libraries and forwards to the real one.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>

#include <sys/types.h>

struct SwmIniSection;

namespace tarn::test {

enum class Call : unsigned {
    // libc
    Malloc,
    Calloc,
    Lseek,
    Fstat,
    Fsync,
    Close,
    Unlink,
    Rmdir,
    Mkdir,
    Open,
    Read,
    Write,
    Fclose,
    MutexLock,
    MutexUnlock,
    Getpid,
    // platform
    SwmOpen,
    SwmFopen,
    SwmRead,
    SwmWrite,
    FdRead,
    IsFileExist,
    IsDirExist,
    MkDirRecursive,
    DelFile, // SWM_DelFile and TARN_DelFile
    FchmodPath,
    VerifyPssCms,
    CalcSha256,
    IsPostfixString,
    IniLoadProfile,
    FreeProfile,
    Memcpy,
    Memset,
    Strcpy,
    Sprintf,
    Count
};

const char *nameOf(Call call);

// Who makes the call: libtarn_boot, or the platform library below it.
enum class Origin : unsigned { Boot, Basic };

// The nth call from now on (1: the next) fails: errno is `error`, and the call reports a failure in its own way.
void failCall(Call call, unsigned nth, int error = EIO, Origin origin = Origin::Boot);
// Runs just before the call that was named by failCall, instead of the failure.
void onCall(Call call, unsigned nth, std::function<void()> action, Origin origin = Origin::Boot);
// True when the armed failure has happened.
bool faultHit();
// Disarms, sets the counters to 0 and forgets what follows.
void clearFaults();
// Calls since then.
unsigned callCount(Call call, Origin origin = Origin::Boot);

// What the failing call returns where several failures differ (default: the operation's plain failure).
void setFaultResult(long result);
// The process id that libtarn_boot sees; 0: the real one.
void setFakePid(pid_t pid);
// The profile that SWM_IniLoadProfile returns in place of a real one.
void setFakeProfile(SwmIniSection *profile);
// Counts the bytes that both libraries read from the file with this inode.
void watchReads(ino_t inode);
uint64_t watchedBytes();

// Blocks that libtarn_boot has allocated and nobody has released.
long liveBlocks();

namespace detail {
// Counts the call; true when it must fail, errno set. Calls from elsewhere are not counted.
bool strikes(Call call, const void *caller);
// The same for platform operations, which only the libraries call (a tail call hides libtarn_boot).
bool strikesPlatform(Call call, const void *caller);
bool isFromLibrary(const void *caller, Origin *origin);
long faultResult(long plain);
pid_t fakePid();
SwmIniSection *fakeProfile();
void noteRead(int fd, ssize_t bytes);
void noteBlock(const void *block);
void forgetBlock(const void *block);
} // namespace detail

} // namespace tarn::test
