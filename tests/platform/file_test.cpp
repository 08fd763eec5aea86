#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support.h"

namespace {

using namespace tarn::test;

class File : public PlatformTest {
protected:
    // The status; `fd` is closed again.
    uint32_t open(std::string_view name, int flags, uint32_t mode = 0640)
    {
        int32_t fd = -7;
        const uint32_t result = SWM_Open(at(name), flags, &fd, mode);
        openedFlags = result == 0 ? ::fcntl(fd, F_GETFL) : -1;
        isCloseOnExec = result == 0 && (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
        EXPECT_EQ(result == 0, fd != -7);
        if (result == 0) {
            ::close(fd);
        }
        return result;
    }
    int openedFlags = 0;
    bool isCloseOnExec = false;
};

TEST_F(File, OpenToRead)
{
    writeFile(dir / "file", "x");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    EXPECT_EQ(open("file", O_RDONLY), 0u);
    EXPECT_NE(openedFlags & O_NONBLOCK, 0);
    EXPECT_TRUE(isCloseOnExec);
    EXPECT_EQ(open("fifo", O_RDONLY), 0u) << "does not hang";
    EXPECT_EQ(open("file", O_RDWR), 0u);
    EXPECT_EQ(openedFlags & O_NONBLOCK, 0);
    EXPECT_NE(open("none", O_RDONLY), 0u);
    EXPECT_EQ(errno, ENOENT);
    int32_t fd = -7;
    EXPECT_NE(SWM_Open(nullptr, O_RDONLY, &fd), 0u);
    EXPECT_NE(SWM_Open(at("file"), O_RDONLY, nullptr), 0u);
    EXPECT_NE(SWM_Open(dir.c_str(), O_TMPFILE | O_RDWR, &fd), 0u) << "a nameless file";
    EXPECT_EQ(errno, EINVAL);
    EXPECT_NE(SWM_Open(dir.c_str(), O_TMPFILE | O_RDWR | O_CREAT, &fd, 0600u), 0u);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(fd, -7);
}

TEST_F(File, OpenToCreate)
{
    EXPECT_EQ(open("new", 66, 0666), 0u);
    EXPECT_EQ(modeOf(dir / "new"), 0644u) << "the umask applies";
    EXPECT_TRUE(isCloseOnExec);
    writeFile(dir / "new", "content");
    EXPECT_EQ(open("new", O_RDWR | O_CREAT), 0u);
    EXPECT_EQ(readFile(dir / "new"), "content");
    EXPECT_EQ(open("new", O_RDWR | O_CREAT | O_TRUNC), 0u);
    EXPECT_EQ(readFile(dir / "new"), "");
    EXPECT_NE(open("new", O_RDWR | O_CREAT | O_EXCL), 0u);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_NE(open("none/new", O_RDWR | O_CREAT), 0u);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(File, OpenToCreateMeetsPlantedThings)
{
    writeFile(dir / "victim", "kept");
    fs::create_symlink("victim", dir / "link");
    fs::create_symlink("missing", dir / "dangling");
    fs::create_directory(dir / "sub");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    for (const int flags : {O_RDWR | O_CREAT, O_RDWR | O_CREAT | O_TRUNC, O_WRONLY | O_CREAT, O_RDONLY | O_CREAT}) {
        for (const char *name : {"link", "dangling", "sub", "fifo"}) {
            EXPECT_NE(open(name, flags), 0u) << name << flags;
        }
    }
    EXPECT_EQ(readFile(dir / "victim"), "kept");
    EXPECT_FALSE(fs::exists(dir / "missing"));
}

TEST_F(File, OpenToCreateMeetsSomebodyElsesFile)
{
    if (!isRoot()) {
        GTEST_SKIP() << "only root can give a file away";
    }
    writeFile(dir / "theirs", "content");
    ASSERT_EQ(::chown(at("theirs"), kOtherId, kOtherId), 0);
    EXPECT_NE(open("theirs", O_RDWR | O_CREAT), 0u);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(readFile(dir / "theirs"), "content");
    EXPECT_EQ(open("theirs", O_RDWR | O_CREAT | O_TRUNC), 0u);
    EXPECT_EQ(readFile(dir / "theirs"), "");
}

TEST_F(File, Fopen)
{
    writeFile(dir / "file", "abc");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    const struct {
        const char *name;
        const char *mode;
        bool succeeds;
    } rows[] = {{"file", "r", true}, {".", "r", true},     {"fifo", "r", true}, {"none", "r", false},
                {".", "r+", false},  {"file", "r+", true}, {"new", "w", true},  {"new", "w+", true},
                {"new", "a", true},  {"file", "x", false}, {".", "w", false},   {"new", "a+", true}};
    for (const auto &row : rows) {
        FILE *stream = stderr;
        EXPECT_EQ(SWM_Fopen(at(row.name), row.mode, &stream) == 0, row.succeeds) << row.name << row.mode;
        EXPECT_EQ(stream != nullptr, row.succeeds);
        if (stream != nullptr) {
            fclose(stream);
        }
    }
    FILE *stream = stderr;
    EXPECT_NE(SWM_Fopen(nullptr, "r", &stream), 0u);
    EXPECT_EQ(stream, nullptr);
    EXPECT_NE(SWM_Fopen(at("file"), nullptr, &stream), 0u);
    EXPECT_NE(SWM_Fopen(at("file"), "r", nullptr), 0u);
}

TEST_F(File, ReadAndWrite)
{
    int32_t fd = -1;
    ASSERT_EQ(SWM_Open(at("file"), O_RDWR | O_CREAT, &fd, 0600u), 0u);
    EXPECT_EQ(SWM_Write(fd, "abcdef", 6), 6);
    char buffer[8] = "";
    using Read = int32_t (*)(int32_t, void *, uint32_t);
    const Read reads[] = {SWM_Read, TARN_FdRead,
                          [](int32_t from, void *to, uint32_t count) { return TARN_ReadFile(from, to, count, 0); }};
    for (const Read read : reads) {
        ::lseek(fd, 0, SEEK_SET);
        EXPECT_EQ(read(fd, buffer, 4), 4);
        EXPECT_EQ(read(fd, buffer, 4), 2) << "the end of the file";
        EXPECT_EQ(read(fd, buffer, 4), 0);
        EXPECT_EQ(read(fd, buffer, 0), 0);
        EXPECT_EQ(read(fd, buffer, 0x80000000), -1);
        EXPECT_EQ(read(fd, nullptr, 4), -1);
        EXPECT_EQ(read(-1, buffer, 4), -1);
        EXPECT_EQ(errno, EBADF);
    }
    EXPECT_EQ(SWM_Write(fd, buffer, 0x80000000), -1);
    EXPECT_EQ(SWM_Write(fd, nullptr, 1), -1);
    EXPECT_EQ(SWM_Write(-1, "a", 1), -1);
    EXPECT_EQ(errno, EBADF);
    ::close(fd);
}

TEST_F(File, CanonicalOpen)
{
    writeFile(dir / "file", "x");
    fs::create_symlink("file", dir / "link");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    const int32_t fd = TARN_CanonicalOpen(at("link"), 0);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(SWM_Write(fd, "x", 1), -1);
    EXPECT_EQ(TARN_CanonicalClose(fd), 0);
    EXPECT_EQ(TARN_CanonicalClose(fd), -1);
    for (const char *name : {"none", ".", "fifo"}) {
        EXPECT_EQ(TARN_CanonicalOpen(at(name), 0), -1) << name;
    }
    EXPECT_EQ(TARN_CanonicalOpen(at("file"), O_RDWR), -1);
    EXPECT_EQ(TARN_CanonicalOpen(nullptr, 0), -1);
}

} // namespace
