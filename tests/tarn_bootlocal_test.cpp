// The marker "bootlocal" in a package's version directory.
#include <sys/stat.h>

#include <tarn_boot/database.h>

#include "legacy_test.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

constexpr const char *kFile = "tarn_bootlocal.cpp";

// The package pool of these tests, for as long as one of them runs.
class BootlocalTest : public BootTest {
protected:
    BootlocalTest()
    {
        const fs::path file = dir / "pool.conf";
        writeFile(file, "[paths]\nroot = " + dir.operator const fs::path &().string() +
                            "\npackage_pool = " + pool.string() + "\n");
        fs::permissions(file, fs::perms(0600));
        setenv("TARN_BASIC_CONFIG", file.c_str(), 1);
        fs::create_directories(pool / "p/1.0");
    }
    ~BootlocalTest() override { setenv("TARN_BASIC_CONFIG", (programDir() / "basic.conf").c_str(), 1); }

    static LogLine created(const fs::path &path) { return info("Create bootlocal file[%s].", path.c_str()); }
    static LogLine removed(const fs::path &path) { return info("Remove bootlocal file[%s].", path.c_str()); }

    const fs::path pool = dir / "pool";
    const fs::path marker = pool / "p/1.0/bootlocal";
};

TEST_F(BootlocalTest, Path)
{
    Text<384> buffer;
    recordCalls({Call::GetVersionPath});
    EXPECT_EQ(SWM_GetPkgBootlocalPath("p", "1.0", buffer.bytes, sizeof(buffer.bytes)), 0u);
    EXPECT_EQ(recordedCalls(), Texts{"SWM_GetPkgPoolPackageVersionPath p 1.0 256"});
    EXPECT_EQ(buffer.bytes, marker.string());
    EXPECT_TRUE(nothingLogged());
    const uint32_t needed = static_cast<uint32_t>(marker.string().size()) + 1;
    EXPECT_EQ(SWM_GetPkgBootlocalPath("p", "1.0", buffer.bytes, needed), 0u);
    EXPECT_TRUE(nothingLogged());
    for (const uint32_t length : {needed - 1, 5u, 1u}) {
        EXPECT_EQ(SWM_GetPkgBootlocalPath("p", "1.0", buffer.bytes, length), 0u);
        EXPECT_EQ(buffer.bytes, marker.string().substr(0, length - 1));
        EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_GetPkgBootlocalPath")}));
    }
}

TEST_F(BootlocalTest, PathWhateverThePoolAnswers)
{
    Text<384> buffer;
    failCall(Call::GetVersionPath, 1);
    EXPECT_EQ(SWM_GetPkgBootlocalPath("p", "1.0", buffer.bytes, sizeof(buffer.bytes)), 0u);
    EXPECT_STREQ(buffer.bytes, "/bootlocal") << "the directory starts empty";
    EXPECT_TRUE(nothingLogged());
    Text<384> refused;
    EXPECT_EQ(SWM_GetPkgBootlocalPath("..", "1.0", refused.bytes, sizeof(refused.bytes)), 0u);
    EXPECT_EQ(refused.bytes, (pool / ".invalid/.invalid/bootlocal").string()) << "the pool's own answer is taken";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(BootlocalTest, CreatedWithOwnerAndMode)
{
    recordCalls({Call::GetUidByName, Call::GetGidByName, Call::CreateKeyFile});
    EXPECT_EQ(SWM_CreatePkgBootlocalFile("p", "1.0"), 0u);
    Texts calls = recordedCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls.back(), "SWM_CreateKeyFile " + marker.string() + " 2000 2001 416");
    std::sort(calls.begin(), calls.end());
    EXPECT_EQ(calls[1], "TARN_GetGidByName quorim 2001");
    EXPECT_EQ(calls[2], "TARN_GetUidByName swm 2000");
    EXPECT_TRUE(logged({created(marker)}));
    EXPECT_EQ(readFile(marker), "");
    EXPECT_EQ(modeOf(marker), 0640u);
    if (isRoot()) {
        struct stat status = {};
        ASSERT_EQ(lstat(marker.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, 2000u);
        EXPECT_EQ(status.st_gid, 2001u);
    }
    EXPECT_EQ(SWM_CreatePkgBootlocalFile("p", "1.0"), 0u) << "there already";
    EXPECT_TRUE(logged({created(marker)}));
}

TEST_F(BootlocalTest, CreationFails)
{
    failCall(Call::CreateKeyFile, 1);
    setFaultResult(0x80000001u);
    EXPECT_EQ(SWM_CreatePkgBootlocalFile("p", "1.0"), SWM_FAIL);
    EXPECT_TRUE(logged({created(marker), errorOf(kFile, "SWM_BASE", "Failed to create bootlocal file[%s], ret = %d.",
                                                 marker.c_str(), static_cast<int>(0x80000001u))}));
    EXPECT_FALSE(fs::exists(marker));
    clearFaults();
    EXPECT_EQ(SWM_CreatePkgBootlocalFile("p", "2.0"), SWM_FAIL) << "no such version";
    EXPECT_EQ(takeLog().size(), 2u);
    EXPECT_FALSE(fs::exists(pool / "p/2.0")) << "no directory is made";
}

TEST_F(BootlocalTest, Removed)
{
    writeFile(marker, "");
    writeFile(pool / "p/1.0/beside", "stays");
    recordCalls({Call::DelFile});
    EXPECT_EQ(SWM_RemovePkgBootlocalFile("p", "1.0"), 0u);
    EXPECT_EQ(recordedCalls(), Texts{"DelFile " + marker.string()});
    EXPECT_TRUE(logged({removed(marker)}));
    EXPECT_FALSE(fs::exists(marker));
    EXPECT_EQ(readFile(pool / "p/1.0/beside"), "stays");
    EXPECT_EQ(SWM_RemovePkgBootlocalFile("p", "1.0"), SWM_FAIL) << "gone already";
    EXPECT_TRUE(
        logged({removed(marker), errorOf(kFile, "SWM_BASE", "Failed to remove bootlocal file[%s].", marker.c_str())}));
}

TEST_F(BootlocalTest, NullArguments)
{
    Text<384> buffer;
    EXPECT_EQ(SWM_GetPkgBootlocalPath(nullptr, "1.0", buffer.bytes, 384), 0u);
    EXPECT_EQ(SWM_GetPkgBootlocalPath("p", nullptr, buffer.bytes, 384), 0u);
    EXPECT_EQ(SWM_GetPkgBootlocalPath("p", "1.0", nullptr, 384), 0u);
    const LogLine path = nullParamOf(kFile, "SWM_GetPkgBootlocalPath");
    EXPECT_TRUE(logged({path, path, path}));
    EXPECT_TRUE(buffer.isUntouched());
    EXPECT_EQ(SWM_CreatePkgBootlocalFile(nullptr, "1.0"), SWM_FAIL);
    EXPECT_EQ(SWM_CreatePkgBootlocalFile("", "1.0"), SWM_FAIL);
    EXPECT_EQ(SWM_CreatePkgBootlocalFile("p", nullptr), SWM_FAIL);
    const LogLine create = nullParamOf(kFile, "SWM_CreatePkgBootlocalFile");
    EXPECT_TRUE(logged({create, create, create}));
    EXPECT_EQ(SWM_RemovePkgBootlocalFile(nullptr, "1.0"), SWM_FAIL);
    EXPECT_EQ(SWM_RemovePkgBootlocalFile("p", nullptr), SWM_FAIL);
    const LogLine remove = nullParamOf(kFile, "SWM_RemovePkgBootlocalFile");
    EXPECT_TRUE(logged({remove, remove}));
    EXPECT_EQ(callCount(Call::CreateKeyFile) + callCount(Call::DelFile), 0u);
}

} // namespace
} // namespace tarn::test
