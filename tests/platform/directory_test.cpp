#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "support.h"

namespace {

using namespace tarn::test;

class DirectoryTest : public PlatformTest {};

TEST_F(DirectoryTest, MkDirRecursive)
{
    EXPECT_EQ(TARN_MkDirRecursive(at("a/b//c/")), 0u);
    EXPECT_EQ(modeOf(dir / "a"), 0750u);
    EXPECT_EQ(modeOf(dir / "a/b/c"), 0750u);
    EXPECT_EQ(TARN_MkDirRecursive(at("a/b/c")), 0u) << "ours already";
    const fs::path before = fs::current_path();
    fs::current_path(dir);
    EXPECT_EQ(TARN_MkDirRecursive("relative/x"), 0u);
    fs::current_path(before);
    EXPECT_TRUE(fs::is_directory(dir / "relative/x"));
}

TEST_F(DirectoryTest, MkDirRecursiveTakesUpperLevelsAsTheyAre)
{
    fs::create_directory(dir / "open");
    fs::permissions(dir / "open", fs::perms(0777));
    fs::create_symlink("open", dir / "link");
    EXPECT_EQ(TARN_MkDirRecursive(at("link/x")), 0u);
    EXPECT_EQ(modeOf(dir / "open"), 0777u);
    EXPECT_TRUE(fs::is_directory(dir / "open/x"));
}

TEST_F(DirectoryTest, MkDirRecursiveRefusesPlantedDirectories)
{
    fs::create_directory(dir / "real");
    fs::create_symlink("real", dir / "link");
    fs::create_symlink("none", dir / "dangling");
    writeFile(dir / "file", "");
    for (const char *name : {"link", "link/", "dangling", "file", "file/x"}) {
        EXPECT_NE(TARN_MkDirRecursive(at(name)), 0u) << name;
    }
    EXPECT_FALSE(fs::exists(dir / "none"));
    fs::permissions(dir / "real", fs::perms(0770));
    EXPECT_NE(TARN_MkDirRecursive(at("real")), 0u) << "writable for the group";
    EXPECT_EQ(errno, EPERM);
    fs::permissions(dir / "real", fs::perms(0702));
    EXPECT_NE(TARN_MkDirRecursive(at("real")), 0u) << "writable for others";
    fs::permissions(dir / "real", fs::perms(0755));
    EXPECT_EQ(TARN_MkDirRecursive(at("real")), 0u);
    EXPECT_NE(TARN_MkDirRecursive(nullptr), 0u);
    EXPECT_NE(TARN_MkDirRecursive(""), 0u);
    EXPECT_NE(TARN_MkDirRecursive(at(std::string(300, 'x'))), 0u);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(DirectoryTest, MkDirRecursiveRefusesSomebodyElsesDirectory)
{
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    fs::create_directory(dir / "theirs");
    ASSERT_EQ(::chown(at("theirs"), kOtherId, kOtherId), 0);
    EXPECT_NE(TARN_MkDirRecursive(at("theirs")), 0u);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(TARN_MkDirRecursive(at("theirs/ours")), 0u);
}

TEST_F(DirectoryTest, MkParentDir)
{
    const uint32_t uid = isRoot() ? kOtherId : ::geteuid();
    fs::create_directory(dir / "old");
    EXPECT_EQ(SWM_MkParentDir(at("old/a/b/file"), uid, static_cast<uint32_t>(-1), 02777), 0u);
    EXPECT_FALSE(fs::exists(dir / "old/a/b/file"));
    EXPECT_EQ(modeOf(dir / "old"), 0755u);
    EXPECT_EQ(ownerOf(dir / "old"), ::geteuid());
    for (const char *name : {"old/a", "old/a/b"}) {
        EXPECT_EQ(modeOf(dir / name), 02777u) << "whatever the umask";
        EXPECT_EQ(ownerOf(dir / name), uid);
    }
    EXPECT_EQ(SWM_MkParentDir(at("old/a/b/file"), 0, 0, 0700), 0u);
    EXPECT_EQ(modeOf(dir / "old/a/b"), 02777u) << "not made by this call";
    EXPECT_EQ(SWM_MkParentDir("name", 0, 0, 0700), 0u);
    EXPECT_EQ(SWM_MkParentDir("/name", 0, 0, 0700), 0u);
    EXPECT_NE(SWM_MkParentDir("", 0, 0, 0700), 0u);
    EXPECT_NE(SWM_MkParentDir(nullptr, 0, 0, 0700), 0u);
}

TEST_F(DirectoryTest, Create)
{
    EXPECT_EQ(SWM_CreateDirWithPermission(at("a/b"), 2, 01777, "NA", "NA"), 0u);
    EXPECT_EQ(modeOf(dir / "a"), 0755u);
    EXPECT_EQ(modeOf(dir / "a/b"), 01777u);
    EXPECT_EQ(SWM_CreateDirWithPermission(at("a/b"), 2, 0700, "NA", "NA"), 0u);
    EXPECT_EQ(modeOf(dir / "a/b"), 01777u) << "an existing directory is left alone";
    EXPECT_EQ(SWM_CreateDirWithCustomPermission(at("c"), 0711, "NA", "NA"), 0u);
    EXPECT_EQ(modeOf(dir / "c"), 0711u);
    fs::create_symlink("a", dir / "link");
    writeFile(dir / "file", "");
    EXPECT_NE(SWM_CreateDirWithPermission(at("link"), 2, 0700, "NA", "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithPermission(at("file"), 2, 0700, "NA", "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithPermission(at("d"), 1, 0700, "NA", "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithPermission(nullptr, 2, 0700, "NA", "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithPermission(at("d"), 2, 0700, nullptr, "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithPermission(at("d"), 2, 0700, "NA", nullptr), 0u);
    EXPECT_FALSE(fs::exists(dir / "d"));
}

TEST_F(DirectoryTest, CreateWithOwner)
{
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    EXPECT_EQ(SWM_CreateDirWithCustomPermission(at("number"), 0750, "12345", "NA"), 0u);
    EXPECT_EQ(ownerOf(dir / "number"), kOtherId);
    EXPECT_EQ(SWM_CreateDirWithCustomPermission(at("name"), 0750, "daemon", "daemon"), 0u);
    EXPECT_EQ(ownerOf(dir / "name"), TARN_GetUidByName("daemon", 0));
    EXPECT_NE(SWM_CreateDirWithCustomPermission(at("unknown/level"), 0750, "no such user", "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithCustomPermission(at("unknown"), 0750, "no such user", "NA"), 0u);
    EXPECT_NE(SWM_CreateDirWithCustomPermission(at("unknown"), 0750, "NA", "no such group"), 0u);
    EXPECT_NE(SWM_CreateDirWithCustomPermission(at("unknown"), 0750, "4294967295", "NA"), 0u);
    EXPECT_FALSE(fs::exists(dir / "unknown"));
}

TEST_F(DirectoryTest, CreateLeavesAnExistingDirectoryAloneWhateverTheOwner)
{
    fs::create_directory(dir / "old");
    fs::create_symlink("old", dir / "link");
    EXPECT_EQ(SWM_CreateDirWithPermission(at("old"), 2, 0700, "no such user", "NA"), 0u);
    EXPECT_EQ(SWM_CreateDirWithCustomPermission(at("old/"), 0700, "NA", "no such group"), 0u);
    EXPECT_EQ(modeOf(dir / "old"), 0755u);
    EXPECT_EQ(ownerOf(dir / "old"), ::geteuid());
    EXPECT_NE(SWM_CreateDirWithPermission(at("link"), 2, 0700, "no such user", "NA"), 0u);
}

TEST_F(DirectoryTest, CreateWhateverTheUmask)
{
    for (const unsigned mask : {0077u, 0002u}) {
        const std::string name = std::to_string(mask);
        ::umask(mask);
        EXPECT_EQ(SWM_CreateDirWithPermission(at(name + "/a/b"), 2, 0711, "NA", "NA"), 0u);
        EXPECT_EQ(TARN_MkDirRecursive(at(name + "r/a")), 0u);
        ::umask(022);
        EXPECT_EQ(modeOf(dir / name), 0755u);
        EXPECT_EQ(modeOf(dir / name / "a"), 0755u);
        EXPECT_EQ(modeOf(dir / name / "a/b"), 0711u);
        EXPECT_EQ(modeOf(dir / (name + "r")), 0750u & ~mask) << "here the umask applies";
    }
}

TEST_F(DirectoryTest, CreateWithoutRoot)
{
    if (!isRoot()) {
        GTEST_SKIP() << "drops root's rights";
    }
    ASSERT_EQ(::chown(dir.c_str(), kOtherId, kOtherId), 0);
    const char *path = at("mine");
    EXPECT_EQ(statusWithoutRoot(
                  [&] { return SWM_CreateDirWithCustomPermission(path, 0750, "no such user", "0") == 0 ? 0 : 1; }),
              0);
    EXPECT_EQ(ownerOf(path), kOtherId);
    EXPECT_EQ(modeOf(path), 0750u);
}

TEST_F(DirectoryTest, MkParentDirWithoutRoot)
{
    if (!isRoot()) {
        GTEST_SKIP() << "drops root's rights";
    }
    ASSERT_EQ(::chown(dir.c_str(), kOtherId, kOtherId), 0);
    const char *path = at("a/b/file");
    EXPECT_EQ(statusWithoutRoot([&] { return SWM_MkParentDir(path, 0, 0, 0750) != 0 && errno == EPERM ? 0 : 1; }), 0);
    EXPECT_TRUE(fs::is_empty(dir)) << "a directory of the wrong owner does not stay";
    EXPECT_EQ(statusWithoutRoot([&] { return SWM_MkParentDir(path, kOtherId, kOtherId, 0750) == 0 ? 0 : 1; }), 0);
    EXPECT_EQ(modeOf(dir / "a/b"), 0750u);
}

} // namespace
