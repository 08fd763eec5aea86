#include <cerrno>
#include <string>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support.h"

namespace {

using namespace tarn::test;

class FileChange : public PlatformTest {};

TEST_F(FileChange, Copy)
{
    const std::string content(200000, 'c');
    writeFile(dir / "from", content);
    fs::permissions(dir / "from", fs::perms(0751));
    if (isRoot()) {
        ASSERT_EQ(::chown(at("from"), kOtherId, kOtherId), 0);
    }
    writeFile(dir / "victim", "kept");
    fs::create_symlink("victim", dir / "to");
    EXPECT_EQ(SWM_CopyFile(at("from"), at("to")), 0u);
    EXPECT_FALSE(fs::is_symlink(dir / "to")) << "a link is replaced";
    EXPECT_EQ(readFile(dir / "victim"), "kept");
    EXPECT_EQ(readFile(dir / "to"), content);
    EXPECT_EQ(modeOf(dir / "to"), 0751u);
    EXPECT_EQ(ownerOf(dir / "to"), ownerOf(dir / "from"));
    EXPECT_EQ(SWM_CopyFile(at("from"), at("from")), 0u);
    EXPECT_EQ(readFile(dir / "from"), content);
    EXPECT_EQ(entriesOf(dir), 3u);
}

TEST_F(FileChange, CopyRefusals)
{
    writeFile(dir / "from", "x");
    fs::create_directory(dir / "sub");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    for (const auto &[source, destination] :
         {std::pair(at("none"), at("to")), std::pair(at("sub"), at("to")), std::pair(at("fifo"), at("to")),
          std::pair(at("from"), at("sub")), std::pair(at("from"), at("no/to")), std::pair(at("from"), at("sub/"))}) {
        const uint32_t result = SWM_CopyFile(source, destination);
        EXPECT_EQ(result, kFailure) << source << destination;
    }
    EXPECT_NE(SWM_CopyFile(nullptr, at("to")), 0u);
    EXPECT_NE(SWM_CopyFile(at("from"), nullptr), 0u);
    EXPECT_EQ(entriesOf(dir), 3u) << "nothing stays behind";
    EXPECT_TRUE(fs::is_empty(dir / "sub"));
}

TEST_F(FileChange, Delete)
{
    for (const auto remove : {SWM_DelFile, TARN_DelFile}) {
        writeFile(dir / "file", "x");
        fs::create_directory(dir / "sub");
        EXPECT_EQ(remove(at("file")), 0u);
        EXPECT_NE(remove(at("file")), 0u);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_NE(remove(at("sub")), 0u);
        EXPECT_TRUE(fs::exists(dir / "sub"));
        EXPECT_NE(remove(nullptr), 0u);
    }
}

TEST_F(FileChange, RemoveDir)
{
    fs::create_directories(dir / "tree/a/b/c");
    fs::create_directory(dir / "kept");
    writeFile(dir / "kept/file", "x");
    fs::create_directory_symlink("../../kept", dir / "tree/a/link");
    for (int i = 0; i < 300; ++i) {
        writeFile(dir / "tree/a/b" / std::to_string(i), "x");
    }
    EXPECT_EQ(SWM_RemoveDir(at("tree/")), 0u);
    EXPECT_FALSE(fs::exists(dir / "tree"));
    EXPECT_TRUE(fs::exists(dir / "kept/file"));
}

TEST_F(FileChange, RemoveDirRefusals)
{
    fs::create_directories(dir / "sub/inner");
    writeFile(dir / "file", "x");
    fs::create_directory_symlink("sub", dir / "link");
    const fs::path before = fs::current_path();
    fs::current_path(dir / "sub");
    for (const char *path : {"", "/", "//", ".", "..", "./", "../"}) {
        EXPECT_NE(SWM_RemoveDir(path), 0u) << path;
    }
    fs::current_path(before);
    for (const char *name : {"sub/.", "sub/..", "sub/inner/../", "file", "link", "link/", "none", "none/x"}) {
        EXPECT_NE(SWM_RemoveDir(at(name)), 0u) << name;
    }
    EXPECT_NE(SWM_RemoveDir(nullptr), 0u);
    EXPECT_TRUE(fs::exists(dir / "sub/inner"));
    EXPECT_TRUE(fs::exists(dir / "file"));
}

TEST_F(FileChange, RemoveDirCrossesNoDevice)
{
    fs::create_directories(dir / "tree/mounted");
    if (::mount("none", at("tree/mounted"), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "cannot mount here";
    }
    writeFile(dir / "tree/mounted/file", "x");
    EXPECT_NE(SWM_RemoveDir(at("tree")), 0u);
    EXPECT_EQ(errno, EXDEV);
    EXPECT_TRUE(fs::exists(dir / "tree/mounted/file"));
    ASSERT_EQ(::umount(at("tree/mounted")), 0);
}

TEST_F(FileChange, RemoveDirOfAMountPoint)
{
    fs::create_directories(dir / "tree");
    if (::mount("none", at("tree"), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "cannot mount here";
    }
    writeFile(dir / "tree/file", "x");
    EXPECT_NE(SWM_RemoveDir(at("tree")), 0u);
    EXPECT_EQ(errno, EXDEV);
    EXPECT_TRUE(fs::exists(dir / "tree/file"));
    ASSERT_EQ(::umount(at("tree")), 0);
}

TEST_F(FileChange, RemoveDirOfATreeThatIsTooDeep)
{
    std::string path = "t";
    for (int i = 0; i < 300; ++i) {
        path += "/d";
    }
    fs::create_directories(dir / path);
    const size_t before = openDescriptors();
    EXPECT_NE(SWM_RemoveDir(at("t")), 0u);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileChange, Fchmod)
{
    writeFile(dir / "file", "x");
    fs::create_symlink("file", dir / "link");
    EXPECT_EQ(SWM_FchmodPath(at("file"), 0104755), 0u);
    EXPECT_EQ(modeOf(dir / "file"), 04755u);
    EXPECT_NE(SWM_FchmodPath(at("link"), 0600), 0u);
    EXPECT_EQ(modeOf(dir / "file"), 04755u);
    EXPECT_NE(SWM_FchmodPath(at("none"), 0600), 0u);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_NE(SWM_FchmodPath(nullptr, 0600), 0u);
}

TEST_F(FileChange, Lchown)
{
    writeFile(dir / "file", "x");
    fs::create_symlink("file", dir / "link");
    const uint32_t uid = isRoot() ? kOtherId : ::geteuid();
    EXPECT_EQ(SWM_Lchown(at("link"), uid, static_cast<uint32_t>(-1)), 0u);
    EXPECT_EQ(ownerOf(dir / "link"), uid);
    EXPECT_EQ(ownerOf(dir / "file"), ::geteuid());
    EXPECT_NE(SWM_Lchown(at("none"), uid, 0), 0u);
    EXPECT_NE(SWM_Lchown(nullptr, uid, 0), 0u);
}

TEST_F(FileChange, KeyFile)
{
    const uint32_t uid = isRoot() ? kOtherId : ::geteuid();
    EXPECT_EQ(SWM_CreateKeyFile(at("key"), uid, ::getegid(), 0666), 0u);
    EXPECT_EQ(modeOf(dir / "key"), 0666u);
    EXPECT_EQ(ownerOf(dir / "key"), uid);
    EXPECT_EQ(readFile(dir / "key"), "");
    EXPECT_EQ(SWM_CreateKeyFile(at("key"), 0, 0, 0600), 0u) << "an existing marker";
    writeFile(dir / "victim", "kept");
    fs::create_symlink("victim", dir / "link");
    fs::create_hard_link(dir / "victim", dir / "hard");
    fs::create_directory(dir / "sub");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    for (const char *name : {"link", "hard", "sub", "fifo", "no/key", "sub/"}) {
        EXPECT_NE(SWM_CreateKeyFile(at(name), uid, 0, 0777), 0u) << name;
    }
    EXPECT_EQ(modeOf(dir / "victim"), 0644u);
    EXPECT_NE(SWM_CreateKeyFile(nullptr, 0, 0, 0600), 0u);
}

TEST_F(FileChange, UndoProtect)
{
    writeFile(dir / "file", "x");
    fs::create_symlink("file", dir / "link");
    fs::permissions(dir / "file", fs::perms(0440));
    EXPECT_EQ(SWM_UndoProtectFile(at("file")), 0u);
    EXPECT_EQ(modeOf(dir / "file"), 0640u);
    EXPECT_EQ(SWM_UndoProtectFile(at("file")), 0u);
    EXPECT_EQ(SWM_UndoProtectFile(at("none")), 0u) << "a missing file";
    EXPECT_NE(SWM_UndoProtectFile(at("link")), 0u);
    EXPECT_NE(SWM_UndoProtectFile(dir.c_str()), 0u);
    EXPECT_NE(SWM_UndoProtectFile(nullptr), 0u);
}

// The owner may change what it may not read.
TEST_F(FileChange, OfAnUnreadableFileWithoutRoot)
{
    if (!isRoot()) {
        GTEST_SKIP() << "drops root's rights";
    }
    writeFile(dir / "file", "x");
    fs::create_symlink("file", dir / "link");
    fs::create_directory(dir / "sub");
    fs::permissions(dir / "file", fs::perms::none);
    fs::permissions(dir / "sub", fs::perms::none);
    for (const char *name : {".", "file", "sub"}) {
        ASSERT_EQ(::chown(at(name), kOtherId, kOtherId), 0);
    }
    const char *file = at("file");
    const char *sub = at("sub");
    const char *link = at("link");
    const auto succeeds = [](const std::function<bool()> &body) {
        return statusWithoutRoot([&] { return body() ? 0 : 1; }) == 0;
    };
    EXPECT_TRUE(succeeds([&] { return SWM_CreateKeyFile(file, 0, 0, 0600) == 0; })) << "an existing marker";
    EXPECT_EQ(modeOf(file), 0u);
    EXPECT_TRUE(succeeds([&] { return SWM_FchmodPath(link, 0777) != 0 && errno == ELOOP; }));
    EXPECT_TRUE(succeeds([&] { return SWM_UndoProtectFile(sub) != 0 && errno == EISDIR; }));
    EXPECT_TRUE(succeeds([&] { return SWM_UndoProtectFile(file) == 0; }));
    EXPECT_EQ(modeOf(file), 0200u);
    EXPECT_TRUE(succeeds([&] { return SWM_UndoProtectFile(file) == 0; })) << "once more";
    fs::permissions(dir / "file", fs::perms::none);
    EXPECT_TRUE(succeeds([&] { return SWM_FchmodPath(file, 0104511) == 0; }));
    EXPECT_EQ(modeOf(file), 04511u);
    EXPECT_TRUE(succeeds([&] { return SWM_FchmodPath(sub, 0700) == 0; }));
    EXPECT_EQ(modeOf(sub), 0700u);
    ASSERT_EQ(::chown(file, 0, 0), 0);
    ASSERT_EQ(::chmod(file, 0), 0);
    EXPECT_TRUE(succeeds([&] { return SWM_FchmodPath(file, 0777) != 0 && errno == EPERM; })) << "somebody else's";
    EXPECT_TRUE(succeeds([&] { return SWM_UndoProtectFile(file) != 0 && errno == EPERM; }));
    EXPECT_EQ(modeOf(file), 0u);
}

TEST_F(FileChange, UndoProtectClearsAttributes)
{
    writeFile(dir / "file", "x");
    const int fd = ::open(at("file"), O_RDONLY);
    int attributes = 0;
    const bool isReadable = ::ioctl(fd, FS_IOC_GETFLAGS, &attributes) == 0;
    attributes |= FS_APPEND_FL;
    if (!isReadable || ::ioctl(fd, FS_IOC_SETFLAGS, &attributes) != 0) {
        ::close(fd);
        GTEST_SKIP() << "file attributes cannot be set here";
    }
    EXPECT_NE(SWM_DelFile(at("file")), 0u);
    EXPECT_EQ(SWM_UndoProtectFile(at("file")), 0u);
    ::close(fd);
    EXPECT_EQ(SWM_DelFile(at("file")), 0u);
}

} // namespace
