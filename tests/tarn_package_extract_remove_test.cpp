// Legacy access: files and links that are in the way are removed, loop devices behind links detached.
#include "legacy_test.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

class RemoveTest : public LegacyTest {
protected:
    // A file whose path looks like a loop device's.
    RemoveTest()
    {
        fs::create_directories(dir / "dev");
        writeFile(device, "device");
        writeFile(dir / "plain", "plain");
    }
    void SetUp() override
    {
        LegacyTest::SetUp();
        setFakeLoopDevice("/dev/loop3");
    }
    uint32_t remove() { return SWM_DelExistFile(path.c_str()); }
    void linkTo(const std::string &target)
    {
        fs::remove(path);
        fs::create_symlink(target, path);
    }
    bool isThere() const { return fs::symlink_status(path).type() != fs::file_type::not_found; }

    const fs::path path = dir / "in-the-way";
    const fs::path device = dir / "dev/loop3";
};

TEST_F(RemoveTest, WhatIsThere)
{
    const std::string detach = "TARN_DelLoopDev " + device.string();
    fs::create_symlink(device, dir / "hop");
    fs::create_symlink("/dev/null", dir / "dev/loopback");
    const struct {
        const char *what;
        std::function<void()> make;
        Texts detached;
    } rows[] = {
        {"nothing", [] {}, {}},
        {"a file", [&] { writeFile(path, "old"); }, {}},
        {"a link to a file", [&] { linkTo(dir / "plain"); }, {}},
        {"a link to a directory", [&] { linkTo(dir / "dev"); }, {}},
        {"a dangling link", [&] { linkTo(dir / "nowhere"); }, {}},
        {"a dangling link to what could be a device", [&] { linkTo((dir / "dev/loop77").string()); }, {}},
        {"a link to itself", [&] { linkTo(path); }, {}},
        {"a link to a loop device", [&] { linkTo(device); }, {detach}},
        {"a relative link to a loop device", [&] { linkTo("dev/../dev/loop3"); }, {detach}},
        {"a link to a link to a loop device", [&] { linkTo(dir / "hop"); }, {detach}},
        {"a link whose own text only looks like a device", [&] { linkTo(dir / "dev/loopback"); }, {}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        row.make();
        recordCalls({Call::DelLoopDev});
        EXPECT_EQ(remove(), 0u);
        EXPECT_EQ(recordedCalls(), row.detached);
        EXPECT_FALSE(isThere());
        EXPECT_TRUE(nothingLogged());
    }
    EXPECT_EQ(readFile(dir / "plain"), "plain");
    EXPECT_EQ(readFile(device), "device");
}

TEST_F(RemoveTest, Order)
{
    const auto order = [&] {
        recordCalls({Call::IsSymlinkFile, Call::SwmIsFileExist, Call::GetCanonicalFilepath, Call::DelLoopDev,
                     Call::Unlink, Call::DelFile});
        EXPECT_EQ(remove(), 0u);
        return recordedCalls();
    };
    const std::string name = path.string();
    linkTo(device);
    EXPECT_EQ(order(), (Texts{"SWM_IsSymlinkFile " + name, "SWM_IsFileExist " + name,
                              "SWM_GetCanonicalFilepath " + name + " 384", "TARN_DelLoopDev " + device.string(),
                              "unlink " + name}));
    linkTo(dir / "nowhere");
    EXPECT_EQ(order(), (Texts{"SWM_IsSymlinkFile " + name, "SWM_IsFileExist " + name, "unlink " + name}));
    writeFile(path, "old");
    EXPECT_EQ(order(), (Texts{"SWM_IsSymlinkFile " + name, "SWM_IsFileExist " + name, "DelFile " + name}));
    EXPECT_EQ(order(), (Texts{"SWM_IsSymlinkFile " + name, "SWM_IsFileExist " + name}));
}

TEST_F(RemoveTest, Failures)
{
    const char *name = path.c_str();
    const auto deviceLink = [&] { linkTo(device); };
    const struct {
        Call call;
        std::function<void()> make;
        unsigned detached;
        LogLine line;
    } rows[] = {
        {Call::GetCanonicalFilepath, deviceLink, 0,
         LEGACY_LINE("get %s canonical path failed, errno=%d.", name, EACCES)},
        {Call::Unlink, deviceLink, 1, LEGACY_LINE("unlink %s failed, errno=%d.", name, EACCES)},
        {Call::DelFile, [&] { writeFile(path, "old"); }, 0,
         LEGACY_LINE("remove file %s failed, errno=%d.", name, EACCES)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(nameOf(row.call));
        fs::remove(path);
        row.make();
        clearFaults();
        setFakeLoopDevice("/dev/loop3");
        failCall(row.call, 1, EACCES);
        EXPECT_EQ(remove(), 1u);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(isThere());
        EXPECT_EQ(callCount(Call::DelLoopDev), row.detached);
        EXPECT_TRUE(logged({row.line}));
    }
}

TEST_F(RemoveTest, ADeviceThatCannotBeDetachedLosesItsLinkAllTheSame)
{
    linkTo(device);
    failCall(Call::DelLoopDev, 1, EBUSY);
    EXPECT_EQ(remove(), 0u);
    EXPECT_TRUE(faultHit());
    EXPECT_FALSE(isThere());
    EXPECT_TRUE(nothingLogged());
}

TEST_F(RemoveTest, ADirectoryStays)
{
    fs::create_directory(path);
    EXPECT_EQ(remove(), 1u);
    EXPECT_TRUE(fs::is_directory(path));
    EXPECT_TRUE(logged({LEGACY_LINE("remove file %s failed, errno=%d.", path.c_str(), EISDIR)}));
}

TEST_F(RemoveTest, NullArguments)
{
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(SWM_DelExistFile(none), 1u);
        EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_DelExistFile")}));
    }
    EXPECT_EQ(callCount(Call::IsSymlinkFile), 0u);
}

} // namespace
} // namespace tarn::test
