#include "support/faults.h"

#include <array>
#include <atomic>
#include <cstring>
#include <utility>

#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarn::test {
namespace {

constexpr size_t kCalls = static_cast<size_t>(Call::Count);

struct Range {
    uintptr_t begin = 0;
    uintptr_t end = 0;
};

struct Fault {
    std::atomic<bool> armed = false;
    std::atomic<bool> hit = false;
    Call call = Call::Count;
    Origin origin = Origin::Boot;
    unsigned nth = 0;
    int error = 0;
    std::function<void()> action;
};

std::array<Range, 2> g_libraries;
std::array<std::array<std::atomic<unsigned>, kCalls>, 2> g_counts;
std::array<Fault, 2> g_faults; // the second: failCallToo
std::atomic<long> g_result = -1;
std::atomic<bool> g_resultSet = false;
std::atomic<pid_t> g_fakePid = 0;
std::atomic<SwmIniSection *> g_fakeProfile = nullptr;
std::atomic<bool> g_scribbles = false;
std::atomic<int64_t> g_fakeSize = 0;
std::atomic<const char *> g_fakeLoopDevice = nullptr;
std::function<void(struct stat &)> g_changeStatus;
std::array<std::atomic<bool>, kCalls> g_recordedCalls; // asked before any constructor has run
std::vector<std::string> g_records;
std::atomic<ino_t> g_watched = 0;
std::atomic<uint64_t> g_watchedBytes = 0;

// A table that needs no memory of its own: a block lies somewhere in the window behind its hash.
constexpr size_t kSlots = 1 << 14;
constexpr size_t kWindow = 64;
std::array<std::atomic<const void *>, kSlots> g_blocks;
std::atomic<long> g_liveBlocks = 0;

int findLibrary(dl_phdr_info *info, size_t, void *)
{
    constexpr const char *kNames[] = {"libtarn_boot.so", "libtarn_basic.so"};
    for (size_t i = 0; i < 2; ++i) {
        if (strstr(info->dlpi_name, kNames[i]) == nullptr) {
            continue;
        }
        Range &range = g_libraries[i];
        for (int segment = 0; segment < info->dlpi_phnum; ++segment) {
            const auto &header = info->dlpi_phdr[segment];
            if (header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0) {
                range.begin = info->dlpi_addr + header.p_vaddr;
                range.end = range.begin + header.p_memsz;
            }
        }
    }
    return 0;
}

__attribute__((constructor)) void findLibraries()
{
    dl_iterate_phdr(findLibrary, nullptr);
}

size_t slotOf(const void *block, size_t step)
{
    const uintptr_t bits = reinterpret_cast<uintptr_t>(block) >> 4;
    return static_cast<size_t>((bits ^ (bits >> 14)) + step) % kSlots;
}

bool strikesFrom(Call call, Origin origin)
{
    const auto index = static_cast<size_t>(call);
    const unsigned count = ++g_counts[static_cast<size_t>(origin)][index];
    for (Fault &fault : g_faults) {
        if (!fault.armed || fault.call != call || fault.origin != origin || fault.nth != count) {
            continue;
        }
        fault.armed = false;
        fault.hit = true;
        if (fault.action) {
            fault.action();
            return false;
        }
        errno = fault.error;
        return true;
    }
    return false;
}

void forgetRecordedCalls()
{
    for (auto &recorded : g_recordedCalls) {
        recorded = false;
    }
}

void disarm(Fault &fault)
{
    fault.armed = false;
    fault.hit = false;
    fault.action = nullptr;
}

void arm(Fault &fault, Call call, unsigned nth, int error, Origin origin)
{
    disarm(fault);
    fault.call = call;
    fault.origin = origin;
    fault.nth = g_counts[static_cast<size_t>(origin)][static_cast<size_t>(call)] + nth;
    fault.error = error;
    fault.armed = true;
}

} // namespace

const char *nameOf(Call call)
{
    constexpr const char *kNames[] = {
        "malloc",
        "calloc",
        "lseek",
        "fstat",
        "fsync",
        "close",
        "unlink",
        "rmdir",
        "mkdir",
        "open",
        "read",
        "write",
        "fclose",
        "mutex lock",
        "mutex unlock",
        "getpid",
        "sched_yield",
        "fgets",
        "SWM_Open",
        "SWM_Fopen",
        "SWM_Read",
        "SWM_Write",
        "TARN_FdRead",
        "IsFileExist",
        "IsDirExist",
        "MkDirRecursive",
        "DelFile",
        "SWM_FchmodPath",
        "VerifyPssCms",
        "CalcSha256",
        "IsPostfixString",
        "IniLoadProfile",
        "SWM_FreeProfile",
        "memcpy_s",
        "memset_s",
        "strcpy_s",
        "sprintf_s",
        "snprintf_s",
        "strncpy_s",
        "SWM_IsFileExist",
        "SWM_IsRealFileExist",
        "SWM_IsSymlinkFile",
        "SWM_GetFileSize",
        "SWM_GetDirname",
        "TARN_GetLinkInfo",
        "TARN_CanonicalOpen",
        "TARN_ReadFile",
        "TARN_CanonicalClose",
        "SWM_IsSpaceString",
        "SWM_IsStringEqual",
        "SWM_IsDigitString",
        "SWM_StringTrim",
        "SWM_TransString2Array",
        "SWM_GetShaVal",
        "SWM_SHA_IsFileDamaged2",
        "SWM_Trans2AbsolutePath",
        "SWM_PkgSpecialDirHandler",
        "SWM_CreateDirWithPermission",
        "SWM_CreateDirWithCustomPermission",
        "SWM_GetPkgPoolPackageVersionPath",
        "SWM_GetPkgPoolPackageVerDescFileLocalPath",
        "SWM_PAT_GetPkgLoadFilePath",
        "SWM_GetCpuId",
        "SWM_GetBoardHardType",
        "SWM_IniLoadProfileFromFileMem",
        "SWM_IniProfileGetValue",
        "SWM_IniGetValue",
        "SWM_GetDirAndBaseName",
        "SWM_IsPrefixString",
        "mmap",
        "munmap",
        "symlink",
        "getpagesize",
        "SWM_IsDirExist",
        "SWM_GetCanonicalFilepath",
        "TARN_MountLoopDev",
        "TARN_DelLoopDev",
        "SWM_MkParentDir",
        "SWM_RemoveDir",
        "SWM_GetRootPath",
        "SWM_Lchown",
        "SWM_VerifyCmsFromMem",
        "SWM_CreateKeyFile",
        "SWM_UndoProtectFile",
        "SWM_CopyFile",
        "TARN_GetUidByName",
        "TARN_GetGidByName",
    };
    static_assert(std::size(kNames) == kCalls);
    return kNames[static_cast<size_t>(call)];
}

void failCall(Call call, unsigned nth, int error, Origin origin)
{
    arm(g_faults[0], call, nth, error, origin);
    disarm(g_faults[1]);
}

void failCallToo(Call call, unsigned nth, int error)
{
    arm(g_faults[1], call, nth, error, Origin::Boot);
}

void onCall(Call call, unsigned nth, std::function<void()> action, Origin origin)
{
    failCall(call, nth, 0, origin);
    g_faults[0].action = std::move(action);
}

bool faultHit()
{
    return g_faults[0].hit;
}

void clearFaults()
{
    for (Fault &fault : g_faults) {
        disarm(fault);
    }
    for (auto &counts : g_counts) {
        for (auto &count : counts) {
            count = 0;
        }
    }
    g_resultSet = false;
    g_fakePid = 0;
    g_fakeProfile = nullptr;
    g_scribbles = false;
    g_fakeSize = 0;
    g_fakeLoopDevice = nullptr;
    g_changeStatus = nullptr;
    forgetRecordedCalls();
    g_records.clear();
    g_watched = 0;
    g_watchedBytes = 0;
}

unsigned callCount(Call call, Origin origin)
{
    return g_counts[static_cast<size_t>(origin)][static_cast<size_t>(call)];
}

void setFaultResult(long result)
{
    g_result = result;
    g_resultSet = true;
}

void setFakePid(pid_t pid)
{
    g_fakePid = pid;
}

void setFakeProfile(SwmIniSection *profile)
{
    g_fakeProfile = profile;
}

void setScribble(bool scribbles)
{
    g_scribbles = scribbles;
}

void setFakeSize(int64_t size)
{
    g_fakeSize = size;
}

void setFakeLoopDevice(const char *device)
{
    g_fakeLoopDevice = device;
}

void changeStatus(std::function<void(struct stat &)> change)
{
    g_changeStatus = std::move(change);
}

void recordCalls(std::initializer_list<Call> calls)
{
    g_records.clear();
    forgetRecordedCalls();
    for (const Call call : calls) {
        g_recordedCalls[static_cast<size_t>(call)] = true;
    }
}

std::vector<std::string> recordedCalls()
{
    forgetRecordedCalls();
    return std::exchange(g_records, {});
}

void watchReads(ino_t inode)
{
    g_watched = inode;
    g_watchedBytes = 0;
}

uint64_t watchedBytes()
{
    return g_watchedBytes;
}

long liveBlocks()
{
    return g_liveBlocks;
}

namespace detail {

bool isFromLibrary(const void *caller, Origin *origin)
{
    const auto address = reinterpret_cast<uintptr_t>(caller);
    for (size_t i = 0; i < g_libraries.size(); ++i) {
        if (address >= g_libraries[i].begin && address < g_libraries[i].end) {
            *origin = static_cast<Origin>(i);
            return true;
        }
    }
    return false;
}

bool isFromBoot(const void *caller)
{
    Origin origin;
    return isFromLibrary(caller, &origin) && origin == Origin::Boot;
}

bool isPlatformCallOfBoot(const void *caller)
{
    Origin origin;
    return !isFromLibrary(caller, &origin) || origin == Origin::Boot;
}

bool strikes(Call call, const void *caller)
{
    Origin origin;
    return isFromLibrary(caller, &origin) && strikesFrom(call, origin);
}

bool strikesPlatform(Call call, const void *caller)
{
    Origin origin;
    return strikesFrom(call, isFromLibrary(caller, &origin) ? origin : Origin::Boot);
}

long faultResult(long plain)
{
    return g_resultSet ? g_result.load() : plain;
}

pid_t fakePid()
{
    return g_fakePid;
}

SwmIniSection *fakeProfile()
{
    return g_fakeProfile;
}

bool scribbles()
{
    return g_scribbles;
}

int64_t fakeSize()
{
    return g_fakeSize;
}

const char *fakeLoopDevice()
{
    return g_fakeLoopDevice;
}

void changeStatusOf(struct stat &status)
{
    if (g_changeStatus) {
        g_changeStatus(status);
    }
}

bool isRecorded(Call call)
{
    return g_recordedCalls[static_cast<size_t>(call)];
}

void recordCall(Call call, const std::string &what)
{
    g_records.push_back(nameOf(call) + (what.empty() ? "" : " " + what));
}

std::string fileBehind(int fd)
{
    char path[512] = "";
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    return readlink(link.c_str(), path, sizeof path - 1) > 0 ? path : "?";
}

void noteRead(int fd, ssize_t bytes)
{
    struct stat status;
    if (g_watched != 0 && bytes > 0 && ::fstat(fd, &status) == 0 && status.st_ino == g_watched) {
        g_watchedBytes += static_cast<uint64_t>(bytes);
    }
}

void noteBlock(const void *block)
{
    for (size_t step = 0; step < kWindow; ++step) {
        const void *empty = nullptr;
        if (g_blocks[slotOf(block, step)].compare_exchange_strong(empty, block)) {
            ++g_liveBlocks;
            return;
        }
    }
    abort(); // the table is too small for the test
}

void forgetBlock(const void *block)
{
    for (size_t step = 0; step < kWindow; ++step) {
        const void *expected = block;
        if (g_blocks[slotOf(block, step)].compare_exchange_strong(expected, nullptr)) {
            --g_liveBlocks;
            return;
        }
    }
}

} // namespace detail

} // namespace tarn::test
