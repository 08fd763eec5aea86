// What only shows in the calls that an operation makes, or takes a device that is not there.
#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/stat.h>
#include <unistd.h>

#include "interpose.h"
#include "support.h"

namespace {

using namespace tarn::test;

class Interposed : public PlatformTest {
protected:
    ~Interposed() override
    {
        setObserver(nullptr);
        setLoopDriver(nullptr);
    }
};

TEST_F(Interposed, RemoveDirKeepsTheReasonOfAProtectedFile)
{
    fs::create_directory(dir / "tree");
    writeFile(dir / "tree/immutable", "x");
    failCall(Call::Unlink, 1, EPERM);
    EXPECT_NE(SWM_RemoveDir(at("tree")), 0u);
    EXPECT_EQ(errno, EPERM);
    EXPECT_TRUE(hasFailed());
}

TEST_F(Interposed, RemoveDirGivesUpOnSomebodyWhoKeepsCreating)
{
    fs::create_directory(dir / "tree");
    writeFile(dir / "tree/0", "x");
    unsigned created = 0;
    // By turns, so that no single pass meets more than the two.
    setObserver([&](Call call, int) {
        if (call == Call::Unlink && created < 1000) {
            writeFile(dir / "tree" / std::to_string(++created % 2), "x");
        }
    });
    EXPECT_NE(SWM_RemoveDir(at("tree")), 0u);
    EXPECT_EQ(errno, ENOTEMPTY);
    EXPECT_LT(created, 100u);
}

TEST_F(Interposed, EveryOpenIsCloseOnExecAndNoTerminal)
{
    unsigned opens = 0;
    const char *operation = "";
    setLoopDriver([](unsigned long request, void *) {
        errno = EIO;
        return request == LOOP_CTL_GET_FREE ? 0 : -1;
    });
    setObserver([&](Call call, int flags) {
        constexpr int kSafe = O_CLOEXEC | O_NOCTTY;
        opens += call == Call::Open;
        EXPECT_TRUE(call != Call::Open || (flags & kSafe) == kSafe) << operation;
    });
    int32_t fd = -1;
    FILE *stream = nullptr;
    char out[384] = "a";
    uint32_t number = 0;
    uint8_t digest[32] = {};
    setConfig("[log]\ntarget = " + std::string(at("log")) + "\n");
    writeFile(dir / "file", "[s]\na=1\n");
    const struct {
        const char *name;
        std::function<void()> run;
    } rows[] = {
        {"SWM_LogWrite", [&] { SWM_LogWrite(0, 3, "text"); }},
        {"SWM_Open to read", [&] { SWM_Open(at("file"), O_RDONLY, &fd); }},
        {"SWM_Open to create", [&] { SWM_Open(at("new"), O_RDWR | O_CREAT, &fd, 0600u); }},
        {"SWM_Open of a file", [&] { SWM_Open(at("file"), O_RDWR | O_CREAT, &fd, 0600u); }},
        {"SWM_Fopen", [&] { SWM_Fopen(at("file"), "r", &stream); }},
        {"TARN_CanonicalOpen", [&] { fd = TARN_CanonicalOpen(at("file"), 0); }},
        {"SWM_CopyFile", [&] { SWM_CopyFile(at("file"), at("copy")); }},
        {"TARN_MkDirRecursive", [&] { TARN_MkDirRecursive(at("a/b")); }},
        {"SWM_MkParentDir", [&] { SWM_MkParentDir(at("c/d"), ::geteuid(), ::getegid(), 0700); }},
        {"SWM_CreateDirWithPermission", [&] { SWM_CreateDirWithPermission(at("e/f"), 2, 0700, "NA", "NA"); }},
        {"SWM_CreateDirWithCustomPermission", [&] { SWM_CreateDirWithCustomPermission(at("g"), 0700, "NA", "NA"); }},
        {"SWM_RemoveDir", [&] { SWM_RemoveDir(at("a")); }},
        {"SWM_FchmodPath", [&] { SWM_FchmodPath(at("file"), 0600); }},
        {"SWM_CreateKeyFile", [&] { SWM_CreateKeyFile(at("key"), ::geteuid(), ::getegid(), 0600); }},
        {"SWM_CreateKeyFile again", [&] { SWM_CreateKeyFile(at("key"), ::geteuid(), ::getegid(), 0600); }},
        {"SWM_UndoProtectFile", [&] { SWM_UndoProtectFile(at("file")); }},
        {"SWM_IniGetValue", [&] { SWM_IniGetValue(at("file"), "[s]", "a", out, sizeof out); }},
        {"SWM_SHA_IsFileDamaged2", [&] { SWM_SHA_IsFileDamaged2(at("file"), digest, 32); }},
        {"SWM_VerifyPssCms", [&] { SWM_VerifyPssCms(at("file"), at("file")); }},
        {"SWM_GetCpuId", [&] { SWM_GetCpuId(&number); }},
        {"SWM_GetRootPath", [&] { SWM_GetRootPath(out, sizeof out); }},
        {"SWM_Trans2AbsolutePath", [&] { SWM_Trans2AbsolutePath(out); }},
        {"SWM_GetPkgPoolPackageVersionPath", [&] { SWM_GetPkgPoolPackageVersionPath("n", "v", out, sizeof out); }},
        {"TARN_MountLoopDev", [&] { TARN_MountLoopDev(at("file"), 0, out, sizeof out); }},
    };
    for (const auto &row : rows) {
        operation = row.name;
        opens = 0;
        row.run();
        EXPECT_GT(opens, 0u) << operation;
        ::close(fd);
        fd = -1;
    }
    fclose(stream);
}

TEST_F(Interposed, CallsAreTakenUpAgainAfterASignal)
{
    const struct {
        const char *name;
        Call call;
        std::function<uint32_t()> run;
    } rows[] = {
        {"open", Call::Open, [&] { return SWM_FchmodPath(at("file"), 0600); }},
        {"openat", Call::Open, [&] { return TARN_MkDirRecursive(at("a/b")); }},
        {"fsync", Call::Fsync, [&] { return SWM_CopyFile(at("file"), at("copy")); }},
        {"fsync of a marker", Call::Fsync,
         [&] { return SWM_CreateKeyFile(at("key"), ::geteuid(), ::getegid(), 0600); }},
        {"ftruncate", Call::Ftruncate,
         [&] {
             int32_t fd = -1;
             const uint32_t result = SWM_Open(at("file"), O_RDWR | O_CREAT | O_TRUNC, &fd, 0600u);
             ::close(fd);
             return result;
         }},
        {"ioctl", Call::Ioctl, [&] { return SWM_UndoProtectFile(at("file")); }},
    };
    for (const auto &row : rows) {
        writeFile(dir / "file", "x");
        for (unsigned nth = 1;; ++nth) {
            failCall(row.call, nth, EINTR);
            const uint32_t result = row.run();
            const bool wasInterrupted = hasFailed();
            EXPECT_EQ(result, 0u) << row.name << " nth " << nth;
            fs::remove_all(dir / "a");
            fs::remove(dir / "key");
            if (!wasInterrupted) {
                EXPECT_GT(nth, 1u) << row.name;
                break;
            }
        }
    }
}

unsigned modeOfDescriptor(int fd)
{
    struct stat status = {};
    return ::fstat(fd, &status) == 0 ? status.st_mode & 07777 : 0xFFFF;
}

// What is not finished is nobody else's.
TEST_F(Interposed, NewFilesArePrivateUntilTheyAreFinished)
{
    writeFile(dir / "from", "content");
    fs::permissions(dir / "from", fs::perms(0777));
    unsigned seen = 0;
    setObserver([&](Call call, int fd) {
        if (call == Call::Write || call == Call::Fchown || call == Call::Fchmod) {
            EXPECT_EQ(modeOfDescriptor(fd), 0600u);
            ++seen;
        }
    });
    ::umask(0);
    EXPECT_EQ(SWM_CopyFile(at("from"), at("to")), 0u);
    EXPECT_GE(seen, 2u);
    seen = 0;
    EXPECT_EQ(SWM_CreateKeyFile(at("key"), ::geteuid(), ::getegid(), 0666), 0u);
    EXPECT_EQ(seen, 2u);
    ::umask(022);
    EXPECT_EQ(modeOf(dir / "to"), 0777u);
    EXPECT_EQ(modeOf(dir / "key"), 0666u);
}

TEST_F(Interposed, AnExistingMarkerIsSynced)
{
    writeFile(dir / "key", "");
    unsigned syncs = 0;
    setObserver([&](Call call, int) { syncs += call == Call::Fsync; });
    EXPECT_EQ(SWM_CreateKeyFile(at("key"), 0, 0, 0600), 0u);
    EXPECT_EQ(syncs, 1u) << "its directory";
}

TEST_F(Interposed, AFileIsCutOnlyAfterTheChecks)
{
    writeFile(dir / "file", "content");
    int32_t fd = -1;
    unsigned opens = 0;
    setObserver([&](Call call, int flags) {
        opens += call == Call::Open;
        EXPECT_TRUE(call != Call::Open || (flags & O_TRUNC) == 0);
    });
    failCall(Call::Fstat, 1, EIO);
    EXPECT_NE(SWM_Open(at("file"), O_RDWR | O_CREAT | O_TRUNC, &fd, 0600u), 0u);
    EXPECT_TRUE(hasFailed());
    EXPECT_EQ(readFile(dir / "file"), "content") << "a refused file keeps its content";
    EXPECT_EQ(SWM_Open(at("file"), O_RDWR | O_CREAT | O_TRUNC, &fd, 0600u), 0u);
    EXPECT_EQ(readFile(dir / "file"), "");
    EXPECT_GT(opens, 0u);
    ::close(fd);
}

TEST_F(Interposed, ALogLineIsOneWrite)
{
    unsigned writes = 0;
    setObserver([&](Call call, int) { writes += call == Call::Write; });
    for (const char *target : {at("log"), "stderr"}) {
        setConfig("[log]\ntarget = " + std::string(target) + "\n");
        for (const std::string &text : {std::string(), std::string("a\nb"), std::string(9000, 'x')}) {
            writes = 0;
            (void)stderrOf([&] { SWM_LogWrite(0, 3, "%s", text.c_str()); });
            EXPECT_EQ(writes, 1u) << target;
        }
    }
}

// The loop driver as far as the library asks it.
struct FakeLoop {
    std::vector<int> configureErrors; // of LOOP_CONFIGURE, by turns; 0 succeeds
    std::vector<int> statusErrors;    // of LOOP_SET_STATUS64
    std::vector<unsigned long> requests = {};
    uint64_t offset = 0;
    uint32_t flags = 0;

    static int answer(std::vector<int> *errors)
    {
        if (errors->empty()) {
            return 0;
        }
        errno = errors->front();
        errors->erase(errors->begin());
        return errno == 0 ? 0 : -1;
    }
    void take(const loop_info64 &info)
    {
        offset = info.lo_offset;
        flags = info.lo_flags;
    }
    int operator()(unsigned long request, void *argument)
    {
        requests.push_back(request);
        switch (request) {
        case LOOP_CTL_GET_FREE:
            return 7;
        case LOOP_CONFIGURE:
            take(static_cast<const loop_config *>(argument)->info);
            return answer(&configureErrors);
        case LOOP_SET_STATUS64:
            take(*static_cast<const loop_info64 *>(argument));
            return answer(&statusErrors);
        default:
            return 0;
        }
    }
};

class Loop : public Interposed {
protected:
    Loop() { writeFile(dir / "image", "x"); }
    uint32_t attach(FakeLoop *loop, uint32_t outSize = 32)
    {
        setLoopDriver([loop](unsigned long request, void *argument) { return (*loop)(request, argument); });
        strcpy(device, "-");
        const size_t before = openDescriptors();
        const uint32_t result = TARN_MountLoopDev(at("image"), 512, device, outSize);
        const int error = errno;
        EXPECT_EQ(openDescriptors(), before);
        setLoopDriver(nullptr);
        errno = error;
        return result;
    }
    char device[32] = "";
};

TEST_F(Loop, Attaching)
{
    const std::vector<unsigned long> older{LOOP_CTL_GET_FREE, LOOP_CONFIGURE, LOOP_SET_FD, LOOP_SET_STATUS64};
    const std::vector<unsigned long> twice{LOOP_CTL_GET_FREE, LOOP_CONFIGURE, LOOP_CTL_GET_FREE, LOOP_CONFIGURE};
    const std::vector<unsigned long> detached{LOOP_CTL_GET_FREE, LOOP_CONFIGURE,    LOOP_SET_FD,   LOOP_SET_STATUS64,
                                              LOOP_CLR_FD,       LOOP_CTL_GET_FREE, LOOP_CONFIGURE};
    const struct {
        const char *what;
        FakeLoop loop;
        std::vector<unsigned long> requests;
    } rows[] = {
        {"at once", {{}, {}}, {LOOP_CTL_GET_FREE, LOOP_CONFIGURE}},
        {"a kernel before 5.8", {{EINVAL}, {}}, older},
        {"the same, in other words", {{ENOTTY}, {}}, older},
        {"taken by somebody else", {{EBUSY, 0}, {}}, twice},
        {"still busy with its last image", {{EAGAIN, 0}, {}}, twice},
        {"the same in the second step", {{EINVAL, 0}, {EAGAIN}}, detached},
        {"interrupted", {{EINTR, 0}, {}}, {LOOP_CTL_GET_FREE, LOOP_CONFIGURE, LOOP_CONFIGURE}},
    };
    for (const auto &row : rows) {
        FakeLoop loop = row.loop;
        EXPECT_EQ(attach(&loop), 0u) << row.what;
        EXPECT_EQ(loop.requests, row.requests) << row.what;
        EXPECT_STREQ(device, "/dev/loop7") << row.what;
        EXPECT_EQ(loop.offset, 512u) << row.what;
        EXPECT_EQ(loop.flags, static_cast<uint32_t>(LO_FLAGS_READ_ONLY)) << row.what;
    }
}

TEST_F(Loop, AttachingFails)
{
    FakeLoop broken{{EIO}, {}};
    EXPECT_NE(attach(&broken), 0u);
    EXPECT_EQ(errno, EIO);
    FakeLoop brokenLater{{ENOTTY}, {EIO}};
    EXPECT_NE(attach(&brokenLater), 0u);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(brokenLater.requests.back(), static_cast<unsigned long>(LOOP_CLR_FD)) << "detached again";
    FakeLoop busy{std::vector<int>(1000, EBUSY), {}};
    EXPECT_NE(attach(&busy), 0u);
    EXPECT_EQ(errno, EBUSY);
    EXPECT_STREQ(device, "-");
}

TEST_F(Loop, PathsThatDoNotFit)
{
    FakeLoop loop{{}, {}};
    EXPECT_NE(attach(&loop, 10), 0u);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_STREQ(device, "-");
    EXPECT_EQ(loop.requests.size(), 1u) << "nothing is attached";
    EXPECT_EQ(attach(&loop, 11), 0u);
    EXPECT_EQ(attach(&loop, UINT_MAX), 0u) << "a size beyond INT_MAX is a size";
}

} // namespace
