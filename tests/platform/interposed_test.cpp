// What only shows in the calls that an operation makes, or takes a device that is not there.
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/loop.h>
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
