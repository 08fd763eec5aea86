// Any libc call or platform operation can be made to fail on its n-th use: the test program defines the symbol, counts
// the calls that come from the two libraries and forwards to the real one.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include <sys/stat.h>
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
    SchedYield,
    Fgets,
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
    Snprintf,
    Strncpy,
    SwmIsFileExist,
    IsRealFileExist,
    IsSymlinkFile,
    GetFileSize,
    GetDirname,
    GetLinkInfo,
    CanonicalOpen,
    ReadFile,
    CanonicalClose,
    IsSpaceString,
    IsStringEqual,
    IsDigitString,
    StringTrim,
    TransString2Array,
    GetShaVal,
    IsFileDamaged2,
    Trans2AbsolutePath,
    PkgSpecialDirHandler,
    CreateDirWithPermission,
    CreateDirWithCustomPermission,
    GetVersionPath,
    GetDescPath,
    GetLoadPath,
    GetCpuId,
    GetBoardHardType,
    IniLoadProfileFromFileMem,
    IniProfileGetValue,
    IniGetValue,
    GetDirAndBaseName,
    IsPrefixString,
    // mappings, links, devices
    Mmap,
    Munmap,
    Symlink,
    Getpagesize,
    SwmIsDirExist,
    GetCanonicalFilepath,
    MountLoopDev,
    DelLoopDev,
    MkParentDir,
    RemoveDir,
    GetRootPath,
    Lchown,
    VerifyCmsFromMem,
    CreateKeyFile,
    UndoProtectFile,
    CopyFile,
    GetUidByName,
    GetGidByName,
    Count
};

const char *nameOf(Call call);

// Who makes the call: libtarn_boot, or the platform library below it.
enum class Origin : unsigned { Boot, Basic };

// The nth call from now on (1: the next) fails: errno is `error`, and the call reports a failure in its own way.
void failCall(Call call, unsigned nth, int error = EIO, Origin origin = Origin::Boot);
// A second failure beside the one that failCall has armed; the next failCall disarms it.
void failCallToo(Call call, unsigned nth, int error = EIO);
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
// The profile that the two loaders return in place of a real one.
void setFakeProfile(SwmIniSection *profile);
// Failed platform calls leave something in their outputs all the same.
void setScribble(bool scribbles);
// The size that a failing SWM_GetFileSize stores; with setFaultResult(0) it is what the file seems to have.
void setFakeSize(int64_t size);
// Stands for the loop driver: the device that TARN_MountLoopDev attaches, which TARN_DelLoopDev then detaches; null:
// the real one.
void setFakeLoopDevice(const char *device);
// Changes what fstat tells libtarn_boot; null: nothing.
void changeStatus(std::function<void(struct stat &)> change);
// Counts the bytes that both libraries read from the file with this inode.
void watchReads(ino_t inode);
uint64_t watchedBytes();

// From now on these calls of libtarn_boot are recorded, each as a line of text: its name and what it works on, for
// descriptors the file behind them.
void recordCalls(std::initializer_list<Call> calls);
// The lines so far, which are forgotten; the recording ends.
std::vector<std::string> recordedCalls();

// errno after calls of libtarn_boot that may change it although they succeed: releases and log lines.
constexpr int kClobberedErrno = 9999;

// Blocks that libtarn_boot has allocated and nobody has released.
long liveBlocks();

namespace detail {
// Counts the call; true when it must fail, errno set. Calls from elsewhere are not counted.
bool strikes(Call call, const void *caller);
// The same for platform operations, which only the libraries call (a tail call hides libtarn_boot).
bool strikesPlatform(Call call, const void *caller);
bool isFromBoot(const void *caller);
// The same for platform operations.
bool isPlatformCallOfBoot(const void *caller);
bool isFromLibrary(const void *caller, Origin *origin);
long faultResult(long plain);
pid_t fakePid();
SwmIniSection *fakeProfile();
bool scribbles();
int64_t fakeSize();
const char *fakeLoopDevice();
void changeStatusOf(struct stat &status);
bool isRecorded(Call call);
void recordCall(Call call, const std::string &what);
std::string fileBehind(int fd);
void noteRead(int fd, ssize_t bytes);
void noteBlock(const void *block);
void forgetBlock(const void *block);
} // namespace detail

} // namespace tarn::test
