#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "support.h"

namespace {

using namespace tarn::test;

class Device : public PlatformTest {};

TEST_F(Device, IdsByName)
{
    EXPECT_EQ(TARN_GetUidByName("root", 7), 0u);
    EXPECT_EQ(TARN_GetGidByName("root", 7), 0u);
    EXPECT_EQ(TARN_GetUidByName("no such user", 7), 7u);
    EXPECT_EQ(TARN_GetGidByName("no such group", 8), 8u);
    EXPECT_EQ(TARN_GetUidByName(nullptr, 7), 7u);
    EXPECT_EQ(TARN_GetGidByName(nullptr, 8), 8u);
}

TEST_F(Device, ConfiguredNumbers)
{
    const struct {
        const char *text;
        bool succeeds;
        uint32_t value;
    } rows[] = {{"26", true, 26},
                {"0x1A", true, 26},
                {"0XfFfFfFfF", true, 0xFFFFFFFF},
                {"010", true, 10},
                {"", false, 0},
                {"0x", false, 0},
                {"-1", false, 0},
                {"12x", false, 0},
                {"1A", false, 0},
                {"4294967296", false, 0},
                {"0x100000000", false, 0},
                {"1 2", false, 0},
                {"99999999999999999999999", false, 0}};
    for (const auto &row : rows) {
        setConfig("[device]\nboard_hard_type = " + std::string(row.text) + " \ncpu_id = " + row.text + "\n");
        uint32_t type = 5;
        uint32_t cpu = 5;
        EXPECT_EQ(SWM_GetBoardHardType(&type) == 0, row.succeeds) << row.text;
        EXPECT_EQ(SWM_GetCpuId(&cpu) == 0, row.succeeds) << row.text;
        EXPECT_EQ(type, row.succeeds ? row.value : 5) << row.text;
        EXPECT_EQ(cpu, row.succeeds ? row.value : 5) << row.text;
    }
    uint32_t value = 5;
    removeConfig();
    EXPECT_NE(SWM_GetCpuId(&value), 0u) << "no board by default";
    setConfig("[device]\ncpu_id = 1\n");
    fs::permissions(configPath(), fs::perms(0666));
    EXPECT_NE(SWM_GetCpuId(&value), 0u);
    EXPECT_EQ(value, 5u);
    EXPECT_NE(SWM_GetCpuId(nullptr), 0u);
}

TEST_F(Device, LoopDeviceRefusals)
{
    char out[64] = "-";
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    EXPECT_NE(TARN_MountLoopDev(nullptr, 0, out, sizeof out), 0u);
    EXPECT_NE(TARN_MountLoopDev(at("none"), 0, out, sizeof out), 0u);
    EXPECT_NE(TARN_MountLoopDev(dir.c_str(), 0, out, sizeof out), 0u);
    EXPECT_NE(TARN_MountLoopDev(at("fifo"), 0, out, sizeof out), 0u);
    EXPECT_NE(TARN_MountLoopDev(at("none"), 0, nullptr, 64), 0u);
    EXPECT_STREQ(out, "-");
    writeFile(dir / "file", "x");
    fs::create_symlink("/dev/loop0", dir / "link");
    for (const char *path : {at("file"), at("link"), at("none"), at("fifo"), "/dev/null", dir.c_str()}) {
        EXPECT_NE(TARN_DelLoopDev(path), 0u) << path;
    }
    EXPECT_NE(TARN_DelLoopDev(nullptr), 0u);
}

TEST_F(Device, DetachingRefusesOtherBlockDevices)
{
    if (::mknod(at("block"), S_IFBLK | 0600, makedev(250, 200)) != 0) {
        GTEST_SKIP() << "cannot make device nodes here";
    }
    EXPECT_NE(TARN_DelLoopDev(at("block")), 0u);
    EXPECT_EQ(errno, ENOTBLK);
    // A loop device in name that no driver stands behind.
    ASSERT_EQ(::mknod(at("loop"), S_IFBLK | 0600, makedev(7, 0xFFFF)), 0);
    EXPECT_NE(TARN_DelLoopDev(at("loop")), 0u);
}

TEST_F(Device, LoopDevice)
{
    std::string image(64 * 1024, 'i');
    image.replace(512, 5, "hello");
    writeFile(dir / "image", image);
    char device[64] = "";
    if (!isRoot() || TARN_MountLoopDev(at("image"), 512, device, sizeof device) != 0) {
        GTEST_SKIP() << "no loop devices here: " << strerror(errno);
    }
    EXPECT_EQ(std::string(device).rfind("/dev/loop", 0), 0u);
    char start[5] = "";
    const int fd = ::open(device, O_RDONLY);
    EXPECT_EQ(::pread(fd, start, 5, 0), 5);
    EXPECT_EQ(std::string(start, 5), "hello") << "the offset is set";
    ::close(fd);
    const int writable = ::open(device, O_RDWR);
    EXPECT_TRUE(writable < 0 || ::write(writable, "x", 1) != 1 || ::fsync(writable) != 0) << "read-only";
    if (writable >= 0) {
        ::close(writable);
    }
    char small[5] = "-";
    EXPECT_NE(TARN_MountLoopDev(at("image"), 0, small, sizeof small), 0u);
    EXPECT_STREQ(small, "-");
    EXPECT_EQ(TARN_DelLoopDev(device), 0u);
    EXPECT_NE(TARN_DelLoopDev(device), 0u) << "nothing attached any more";
}

} // namespace
