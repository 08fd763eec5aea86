// Work directories.
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "support/boot_test.h"

namespace tarn::test {
namespace {

class WorkdirTest : public BootTest {
protected:
    const std::string path = workdir();
    const unsigned pid = static_cast<unsigned>(getpid());
    void TearDown() override
    {
        fs::remove_all(path);
        BootTest::TearDown();
    }
};

TEST_F(WorkdirTest, NameCarriesModuleWordAndProcessId)
{
    char buffer[384];
    setFakePid(812);
    EXPECT_EQ(TARN_SafeGetWorkdir(0, buffer, sizeof buffer), SWM_OK);
    EXPECT_STREQ(buffer, "/tmp/extract_812");
    for (uint32_t module : {1u, 7u, 0xFFFFFFFFu}) {
        EXPECT_EQ(TARN_SafeGetWorkdir(module, buffer, sizeof buffer), SWM_OK);
        EXPECT_STREQ(buffer, "/tmp/verify_812");
    }
    setFakePid(813);
    EXPECT_EQ(TARN_SafeGetWorkdir(0, buffer, sizeof buffer), SWM_OK) << "the process id is asked for at each call";
    EXPECT_STREQ(buffer, "/tmp/extract_813");
    EXPECT_TRUE(nothingLogged());
}

TEST_F(WorkdirTest, NameThatDoesNotFitFailsAndLeavesTheBufferEmpty)
{
    setFakePid(812);
    char buffer[32] = "before";
    EXPECT_EQ(TARN_SafeGetWorkdir(0, buffer, sizeof "/tmp/extract_812"), SWM_OK);
    EXPECT_STREQ(buffer, "/tmp/extract_812");
    EXPECT_EQ(TARN_SafeGetWorkdir(0, buffer, sizeof "/tmp/extract_812" - 1), SWM_FAIL);
    EXPECT_STREQ(buffer, "");
    EXPECT_TRUE(logged({error("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", "extract", 812u)}));
    strcpy(buffer, "before");
    failCall(Call::Sprintf, 1);
    EXPECT_EQ(TARN_SafeGetWorkdir(7, buffer, sizeof buffer), SWM_FAIL);
    EXPECT_STREQ(buffer, "") << "whatever the platform leaves in it";
    EXPECT_TRUE(logged({error("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", "verify", 812u)}));
    EXPECT_EQ(TARN_SafeGetWorkdir(0, nullptr, 384), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeGetWorkdir: get null param.")}));
}

TEST_F(WorkdirTest, CreatedAndDeleted)
{
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK);
    EXPECT_TRUE(fs::is_directory(path));
    EXPECT_TRUE(fs::is_empty(path));
    EXPECT_EQ(modeOf(path) & 07022, 0u) << "nobody else writes there";
    writeFile(path + "/signature_pss_filelist", "x");
    writeFile(path + "/signature_pss_cms", "x");
    TARN_SafeDeleteWorkdir(0);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(nothingLogged());

    const std::string verifyPath = "/tmp/verify_" + std::to_string(pid);
    EXPECT_EQ(TARN_SafeCreateWorkdir(7), SWM_OK);
    EXPECT_TRUE(fs::is_directory(verifyPath));
    TARN_SafeDeleteWorkdir(7);
    EXPECT_FALSE(fs::exists(verifyPath));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(WorkdirTest, LeftOverIsEmptiedFirst)
{
    fs::create_directory(path);
    writeFile(path + "/signature_pss_cms", "stale");
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK);
    EXPECT_TRUE(fs::is_empty(path));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(WorkdirTest, LeftOverWithForeignContentStaysAndIsUsed)
{
    fs::create_directory(path);
    fs::permissions(path, fs::perms(0750));
    writeFile(path + "/other", "x");
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK) << "the creation decides, and the directory is there";
    EXPECT_TRUE(
        logged({error("TARN_SafeDeleteWorkdir: remove workdir(%s) failed, errno:%d.", path.c_str(), ENOTEMPTY)}));
    EXPECT_TRUE(fs::exists(path + "/other"));
}

TEST_F(WorkdirTest, PlantedPathsAreRefused)
{
    const LogLine refused = error("TARN_SafeCreateWorkdir: create workdir(%s) failed.", path.c_str());
    writeFile(path, "a file");
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_FAIL);
    EXPECT_TRUE(logged({refused}));
    fs::remove(path);

    fs::create_directory(dir / "elsewhere");
    writeFile(dir / "elsewhere/signature_pss_cms", "x");
    fs::create_directory_symlink(dir / "elsewhere", path);
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_FAIL);
    EXPECT_TRUE(logged(
        {error("TARN_SafeDeleteWorkdir: remove workdir(%s) failed, errno:%d.", path.c_str(), ENOTDIR), refused}));
    EXPECT_TRUE(fs::exists(dir / "elsewhere/signature_pss_cms")) << "nothing is removed behind a planted link";
    fs::remove(path);
}

TEST_F(WorkdirTest, DirectoryOfAnotherUserIsRefused)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    fs::create_directory(path);
    writeFile(path + "/kept", "x"); // root could remove an empty one
    ASSERT_EQ(chown(path.c_str(), 12345, 12345), 0);
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeDeleteWorkdir: remove workdir(%s) failed, errno:%d.", path.c_str(), ENOTEMPTY),
                        error("TARN_SafeCreateWorkdir: create workdir(%s) failed.", path.c_str())}));
}

TEST_F(WorkdirTest, EveryLineCarriesTheErrnoOfItsOwnCall)
{
    fs::create_directories(path + "/signature_pss_filelist");
    fs::create_directories(path + "/signature_pss_cms");
    TARN_SafeDeleteWorkdir(0);
    const std::string listPath = path + "/signature_pss_filelist";
    const std::string cmsPath = path + "/signature_pss_cms";
    EXPECT_TRUE(
        logged({error("SafeDeleteTempFile: unlink %s failed, errno:%d.", listPath.c_str(), EISDIR),
                error("SafeDeleteTempFile: unlink %s failed, errno:%d.", cmsPath.c_str(), EISDIR),
                error("TARN_SafeDeleteWorkdir: remove workdir(%s) failed, errno:%d.", path.c_str(), ENOTEMPTY)}));
}

TEST_F(WorkdirTest, DeletingWhatIsGoneOnlyLogs)
{
    TARN_SafeDeleteWorkdir(0);
    EXPECT_TRUE(logged({error("TARN_SafeDeleteWorkdir: remove workdir(%s) failed, errno:%d.", path.c_str(), ENOENT)}));
}

TEST_F(WorkdirTest, FailingSteps)
{
    const LogLine noName = error("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", "extract", pid);
    failCall(Call::Sprintf, 1);
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_FAIL);
    EXPECT_TRUE(logged({noName, error("TARN_SafeCreateWorkdir: module(%u) get workdir failed.", 0u)}));
    EXPECT_FALSE(fs::exists(path));

    failCall(Call::MkDirRecursive, 1);
    EXPECT_EQ(TARN_SafeCreateWorkdir(0), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCreateWorkdir: create workdir(%s) failed.", path.c_str())}));

    ASSERT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK);
    failCall(Call::Sprintf, 1);
    TARN_SafeDeleteWorkdir(0);
    EXPECT_TRUE(logged({noName, error("TARN_SafeDeleteWorkdir: module(%u) get workdir failed.", 0u)}));
    EXPECT_TRUE(fs::exists(path)) << "stops there";

    failCall(Call::Unlink, 2, EPERM);
    TARN_SafeDeleteWorkdir(0);
    const std::string cms = path + "/signature_pss_cms";
    EXPECT_TRUE(logged({error("SafeDeleteTempFile: unlink %s failed, errno:%d.", cms.c_str(), EPERM)}));
    EXPECT_FALSE(fs::exists(path)) << "goes on with the directory";

    ASSERT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK);
    failCall(Call::Sprintf, 2);
    TARN_SafeDeleteWorkdir(0);
    EXPECT_TRUE(logged({error("SafeDeleteTempFile: sprintf %s/%s failed.", path.c_str(), "signature_pss_filelist")}));
}

TEST_F(WorkdirTest, DeletingATemporaryFile)
{
    const std::string base = fs::path(dir).string();
    writeFile(dir / "f", "x");
    SafeDeleteTempFile(base.c_str(), "f");
    EXPECT_FALSE(fs::exists(dir / "f"));
    SafeDeleteTempFile(base.c_str(), "f");
    EXPECT_TRUE(nothingLogged()) << "a missing file is no error";

    fs::create_directory(dir / "d");
    SafeDeleteTempFile(base.c_str(), "d");
    EXPECT_TRUE(logged({error("SafeDeleteTempFile: unlink %s failed, errno:%d.", (base + "/d").c_str(), EISDIR)}));
    EXPECT_TRUE(fs::exists(dir / "d"));

    const std::string tooLong = std::string(190, 'd') + "/" + std::string(190, 'd'); // with "/ab" and the NUL 385 bytes
    SafeDeleteTempFile(tooLong.c_str(), "ab");
    EXPECT_TRUE(logged({error("SafeDeleteTempFile: sprintf %s/%s failed.", tooLong.c_str(), "ab")}));
    SafeDeleteTempFile(tooLong.c_str(), "a"); // 383 characters fit; no such file
    EXPECT_TRUE(nothingLogged());

    const LogLine null = error("SafeDeleteTempFile: get null param.");
    SafeDeleteTempFile(nullptr, "f");
    EXPECT_TRUE(logged({null}));
    SafeDeleteTempFile("", "f");
    EXPECT_TRUE(logged({null}));
    SafeDeleteTempFile(base.c_str(), nullptr);
    EXPECT_TRUE(logged({null}));
    SafeDeleteTempFile(base.c_str(), "");
    EXPECT_TRUE(logged({null}));
}

} // namespace
} // namespace tarn::test
