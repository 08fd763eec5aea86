// Members exposed through loop devices, with a platform that pretends and with real devices where there are some.
#include <fcntl.h>

#include "legacy_test.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

class LoopTest : public LegacyTest {
protected:
    LoopTest()
    {
        fs::create_directories(dir / "dev");
        writeFile(device, "device");
    }
    void SetUp() override
    {
        LegacyTest::SetUp();
        warmUp();
        setFakeLoopDevice("/dev/loop3");
    }
    uint32_t expose(const std::string &target = "conf") { return exposeIn(dest, target); }
    uint32_t exposeIn(const fs::path &directory, const std::string &target)
    {
        return SWM_ExtractFileByLoop(package.c_str(), target.c_str(), directory.c_str());
    }
    void expectLink(const fs::path &path, const std::string &target)
    {
        ASSERT_TRUE(fs::is_symlink(path)) << path;
        EXPECT_EQ(fs::read_symlink(path), target);
    }
    std::string attach(size_t index, const fs::path &image)
    {
        return "TARN_MountLoopDev " + image.string() + " " + std::to_string(payloadOffset(index)) + " 20";
    }

    const fs::path link = dest / "conf";
    const fs::path device = dir / "dev/loop3"; // looks like one
};

TEST_F(LoopTest, StepsInTheirOrder)
{
    const std::string from = package.string();
    const std::string to = link.string();
    recordCalls({Call::SwmIsFileExist, Call::SwmIsDirExist, Call::IsSymlinkFile, Call::SwmOpen, Call::Close,
                 Call::MountLoopDev, Call::Symlink, Call::Lchown});
    EXPECT_EQ(expose(), 0u);
    EXPECT_EQ(recordedCalls(),
              (Texts{"SWM_IsFileExist " + from, "SWM_IsDirExist " + dest.string(), "SWM_IsSymlinkFile " + to,
                     "SWM_IsFileExist " + to, "SWM_Open " + from + " 0", "close " + from, attach(1, package),
                     "symlink /dev/loop3 " + to, "SWM_Lchown " + to + " 2000 2000"}));
    expectLink(link, "/dev/loop3");
    EXPECT_TRUE(nothingLogged());
    struct stat status;
    ASSERT_EQ(lstat(link.c_str(), &status), 0);
    if (isRoot()) {
        EXPECT_EQ(status.st_uid, 2000u);
        EXPECT_EQ(status.st_gid, 2000u);
    }
}

TEST_F(LoopTest, ByEitherNameAndNeverACopy)
{
    for (const char *target : {"app", "app.img"}) {
        recordCalls({Call::MountLoopDev});
        EXPECT_EQ(expose(target), 0u);
        EXPECT_EQ(recordedCalls(), Texts{attach(0, package)});
        expectLink(dest / target, "/dev/loop3");
    }
    EXPECT_EQ(callCount(Call::SwmWrite), 0u);
}

TEST_F(LoopTest, OwnersByName)
{
    recordCalls({Call::GetUidByName});
    EXPECT_EQ(expose(), 0u);
    EXPECT_EQ(recordedCalls(), Texts{"TARN_GetUidByName swm 2000"});
    recordCalls({Call::GetGidByName, Call::Lchown});
    failCall(Call::GetUidByName, 1);
    setFaultResult(4321);
    EXPECT_EQ(expose(), 0u);
    EXPECT_EQ(recordedCalls(), (Texts{"TARN_GetGidByName swm 2000", "SWM_Lchown " + link.string() + " 4321 2000"}));
    recordCalls({Call::Lchown});
    failCall(Call::GetGidByName, 1);
    EXPECT_EQ(expose(), 0u);
    EXPECT_EQ(recordedCalls(), Texts{"SWM_Lchown " + link.string() + " 2000 4321"});
    failCall(Call::Lchown, 1, EPERM);
    EXPECT_EQ(expose(), 0u) << "whether it worked is not asked";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LoopTest, TheOldLinkAndItsDeviceGoFirst)
{
    setFakeLoopDevice(device.c_str() + device.string().find("/dev/loop"));
    fs::create_symlink(device, link);
    recordCalls({Call::DelLoopDev, Call::Unlink, Call::MountLoopDev, Call::Symlink});
    EXPECT_EQ(expose(), 0u);
    Texts calls = recordedCalls();
    std::erase_if(calls, [](const std::string &call) { return call.starts_with("unlink " + workdir()); });
    EXPECT_EQ(calls, (Texts{"TARN_DelLoopDev " + device.string(), "unlink " + link.string(), attach(1, package),
                            "symlink /dev/loop3 " + link.string()}));
    expectLink(link, "/dev/loop3");
    fs::remove(link);
    writeFile(link, "a file");
    EXPECT_EQ(expose(), 0u);
    expectLink(link, "/dev/loop3");
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LoopTest, TheOldLinkGoesBeforeThePackageIsChecked)
{
    appendBytes(package, "x");
    fs::create_symlink(device, link);
    recordCalls({Call::DelLoopDev, Call::MountLoopDev});
    EXPECT_EQ(expose(), 1u);
    EXPECT_EQ(recordedCalls(), Texts{"TARN_DelLoopDev " + device.string()});
    EXPECT_FALSE(fs::is_symlink(link));
    takeLog();
}

TEST_F(LoopTest, WhatIsMissing)
{
    const fs::path nowhere = dir / "nowhere";
    EXPECT_EQ(SWM_ExtractFileByLoop(nowhere.c_str(), "conf", dest.c_str()), 1u);
    EXPECT_TRUE(logged({LEGACY_LINE("file: %s is not exist.", nowhere.c_str())}));
    EXPECT_EQ(exposeIn(nowhere, "conf"), 1u);
    EXPECT_TRUE(logged({LEGACY_LINE("file path: %s is not exist.", nowhere.c_str())}));
    EXPECT_EQ(exposeIn(dir / "dev/loop3", "conf"), 1u) << "no directory";
    takeLog();
    EXPECT_EQ(expose("none"), 1u);
    EXPECT_TRUE(logged({warning("SWM_FindFileSiteFromCc: no such file:%s.", "none"),
                        LEGACY_LINE("[Verify package]get file info failed(0x%x).", 4u),
                        LEGACY_LINE("find file: %s from %s failed.", "none", package.c_str())}));
    EXPECT_EQ(callCount(Call::MountLoopDev), 0u);
    EXPECT_TRUE(fs::is_empty(dest));
}

TEST_F(LoopTest, AnUnlistedMemberIsNeverAttached)
{
    members = writeSignedList(package, {member("app", app), member("conf", conf)}, signedText({member("app", app)}));
    EXPECT_EQ(expose("conf"), 1u);
    const auto lines = takeLog();
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(lines.back().text.ends_with("find file: conf from " + package.string() + " failed."));
    EXPECT_EQ(callCount(Call::MountLoopDev), 0u);
    EXPECT_TRUE(fs::is_empty(dest));
    EXPECT_EQ(expose("app"), 0u);
}

TEST_F(LoopTest, Failures)
{
    const char *to = link.c_str();
    const struct {
        Call call;
        int error;
        unsigned attached;
        LogLine line;
    } rows[] = {
        {Call::SwmOpen, EACCES, 0, LEGACY_LINE("Can't open file %s, errno = %d.", package.c_str(), EACCES)},
        {Call::MountLoopDev, EBUSY, 1, LEGACY_LINE("map %s to loop device failed, iRet = %d", package.c_str(), 7)},
        {Call::Symlink, EROFS, 1, LEGACY_LINE("symlink %s to %s failed, errno=%d.", "/dev/loop3", to, EROFS)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(nameOf(row.call));
        clearFaults();
        setFakeLoopDevice("/dev/loop3");
        setScribble(true);
        failCall(row.call, 1, row.error);
        setFaultResult(7);
        EXPECT_EQ(expose(), 1u);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(callCount(Call::MountLoopDev), row.attached);
        EXPECT_EQ(callCount(Call::DelLoopDev), 0u) << "an attached device stays";
        EXPECT_EQ(callCount(Call::Lchown), 0u);
        EXPECT_TRUE(logged({row.line}));
        EXPECT_TRUE(fs::is_empty(dest));
    }
}

TEST_F(LoopTest, AnOldFileThatStays)
{
    fs::create_directory(link);
    EXPECT_EQ(expose(), 1u);
    EXPECT_TRUE(logged({LEGACY_LINE("remove file %s failed, errno=%d.", link.c_str(), EISDIR),
                        LEGACY_LINE("delete exist file %s failed.", link.c_str())}));
    EXPECT_EQ(callCount(Call::SwmOpen), 0u);
}

TEST_F(LoopTest, FailingTextsAndClearsAreWarnings)
{
    // The name check clears memory of its own before.
    unsigned warnings = 0;
    bool hit = true;
    for (unsigned nth = 1; hit; ++nth) {
        failCall(Call::Memset, nth, EINVAL);
        EXPECT_EQ(expose(), 0u);
        hit = faultHit();
        warnings += logged({copyWarning("memset", "SWM_ExtractFileByLoop")}) ? 1 : 0;
        expectLink(link, "/dev/loop3");
    }
    EXPECT_EQ(warnings, 1u);
    clearFaults();
    setFakeLoopDevice("/dev/loop3");
    const struct {
        size_t length;
        const char *name;
        Lines lines;
    } rows[] = {
        {378, "conf", {}}, // 383 characters
        {379, "con", {copyWarning("snprintf", "SWM_ExtractFileByLoop")}},
        {381, "c", {copyWarning("snprintf", "SWM_ExtractFileByLoop")}},
    };
    for (const auto &row : rows) {
        const std::string deep = directoryOfLength(dir, row.length);
        EXPECT_EQ(exposeIn(deep, "conf"), 0u);
        EXPECT_TRUE(logged(row.lines));
        expectLink(deep + "/" + row.name, "/dev/loop3");
    }
}

TEST_F(LoopTest, NullArguments)
{
    const char *from = package.c_str();
    const char *to = dest.c_str();
    const NullRow rows[] = {
        {"package", [&] { return SWM_ExtractFileByLoop(nullptr, "conf", to); }},
        {"empty package", [&] { return SWM_ExtractFileByLoop("", "conf", to); }},
        {"target", [&] { return SWM_ExtractFileByLoop(from, nullptr, to); }},
        {"empty target", [&] { return SWM_ExtractFileByLoop(from, "", to); }},
        {"directory", [&] { return SWM_ExtractFileByLoop(from, "conf", nullptr); }},
        {"empty directory", [&] { return SWM_ExtractFileByLoop(from, "conf", ""); }},
    };
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), 1u) << row.function;
        EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_ExtractFileByLoop")})) << row.function;
    }
    EXPECT_TRUE(fs::is_empty(dest));
}

// ---- Real devices ----

class RealLoopTest : public LoopTest {
protected:
    void SetUp() override
    {
        LoopTest::SetUp();
        setFakeLoopDevice(nullptr);
        if (!isRoot()) {
            GTEST_SKIP() << "only root attaches loop devices";
        }
        writeFile(dir / "probe", std::string(kPage, 'p'));
        char probe[20] = "";
        if (TARN_MountLoopDev((dir / "probe").c_str(), 0, probe, sizeof(probe)) != 0) {
            GTEST_SKIP() << "no loop devices here: " << strerror(errno);
        }
        ASSERT_EQ(TARN_DelLoopDev(probe), 0u);
    }
    void TearDown() override
    {
        SWM_DelExistFile((dest / "app").c_str());
        LoopTest::TearDown();
    }
    // Devices have whole sectors only.
    std::string contentOf(const fs::path &path, size_t size)
    {
        const Descriptor fd(path, O_RDONLY);
        std::string bytes(size, '\0');
        EXPECT_EQ(SWM_Read(fd, bytes.data(), static_cast<uint32_t>(size)), static_cast<int32_t>(size));
        return bytes;
    }
};

TEST_F(RealLoopTest, TheDeviceHoldsThePayload)
{
    ASSERT_EQ(expose("app"), 0u);
    EXPECT_TRUE(nothingLogged());
    const std::string first = fs::read_symlink(dest / "app");
    EXPECT_EQ(first.rfind("/dev/loop", 0), 0u);
    EXPECT_TRUE(contentOf(dest / "app", 69632) == app.substr(0, 69632));
    // Again: the first device is released before the next is attached.
    recordCalls({Call::DelLoopDev, Call::MountLoopDev});
    ASSERT_EQ(expose("app"), 0u);
    EXPECT_EQ(recordedCalls(), (Texts{"TARN_DelLoopDev " + first, attach(0, package)}));
    EXPECT_TRUE(contentOf(dest / "app", kPage) == app.substr(0, kPage));
    const std::string second = fs::read_symlink(dest / "app");
    ASSERT_EQ(SWM_DelExistFile((dest / "app").c_str()), 0u);
    EXPECT_FALSE(fs::is_symlink(dest / "app"));
    EXPECT_NE(TARN_DelLoopDev(second.c_str()), 0u) << "detached already";
}

} // namespace
} // namespace tarn::test
