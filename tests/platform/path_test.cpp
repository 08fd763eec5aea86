#include <cerrno>
#include <cstring>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "support.h"

namespace {

using namespace tarn::test;
using Predicate = uint32_t (*)(const char *);

class Path : public PlatformTest {};

TEST_F(Path, Tests)
{
    writeFile(dir / "file", "12345");
    fs::create_directory(dir / "sub");
    fs::create_symlink("file", dir / "toFile");
    fs::create_symlink("sub", dir / "toSub");
    fs::create_symlink("none", dir / "dangling");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    const struct {
        const char *name;
        bool exists;
        bool isReal;
        bool isDirectory;
        bool isLink;
    } rows[] = {
        {"file", true, true, false, false},   {"sub", true, false, true, false},
        {"toFile", true, false, false, true}, {"toSub", true, false, true, true},
        {"fifo", true, false, false, false},  {"dangling", false, false, false, true},
        {"none", false, false, false, false},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(SWM_IsFileExist(at(row.name)), row.exists) << row.name;
        EXPECT_EQ(TARN_IsFileExist(at(row.name)), row.exists) << row.name;
        EXPECT_EQ(SWM_IsRealFileExist(at(row.name)), row.isReal) << row.name;
        EXPECT_EQ(SWM_IsDirExist(at(row.name)), row.isDirectory) << row.name;
        EXPECT_EQ(TARN_IsDirExist(at(row.name)), row.isDirectory) << row.name;
        EXPECT_EQ(SWM_IsSymlinkFile(at(row.name)), row.isLink) << row.name;
    }
    for (const Predicate predicate :
         {SWM_IsFileExist, TARN_IsFileExist, SWM_IsRealFileExist, SWM_IsDirExist, TARN_IsDirExist, SWM_IsSymlinkFile}) {
        EXPECT_EQ(predicate(nullptr), 0u);
        EXPECT_EQ(predicate(""), 0u);
    }
}

TEST_F(Path, FileSize)
{
    writeFile(dir / "file", "12345");
    fs::create_symlink("file", dir / "link");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    int64_t size = 9;
    EXPECT_EQ(SWM_GetFileSize(at("link"), &size), 0u);
    EXPECT_EQ(size, 5);
    for (const char *name : {"none", ".", "fifo"}) {
        size = 9;
        EXPECT_NE(SWM_GetFileSize(at(name), &size), 0u) << name;
        EXPECT_EQ(size, 0) << name;
    }
    size = 9;
    EXPECT_NE(SWM_GetFileSize(nullptr, &size), 0u);
    EXPECT_EQ(size, 0);
    EXPECT_NE(SWM_GetFileSize(at("file"), nullptr), 0u);
}

TEST_F(Path, Canonical)
{
    writeFile(dir / "file", "");
    fs::create_symlink("file", dir / "link");
    const std::string expected = fs::canonical(dir / "file").string();
    char out[384] = "-";
    EXPECT_EQ(SWM_GetCanonicalFilepath(at(".//link"), out, sizeof out), 0u);
    EXPECT_EQ(out, expected);
    strcpy(out, "-");
    EXPECT_NE(SWM_GetCanonicalFilepath(at("link"), out, static_cast<uint32_t>(expected.size())), 0u);
    EXPECT_NE(SWM_GetCanonicalFilepath(at("none"), out, sizeof out), 0u);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_NE(SWM_GetCanonicalFilepath(nullptr, out, sizeof out), 0u);
    EXPECT_NE(SWM_GetCanonicalFilepath(at("link"), nullptr, 9), 0u);
    EXPECT_STREQ(out, "-");
}

TEST_F(Path, Dirname)
{
    const struct {
        const char *path;
        const char *directory; // null: failure
    } rows[] = {{"/a/b", "/a"}, {"/a", "/"},   {"a/b", "a"},      {"/a/b/", "/a"},    {"/", "/"},
                {"//", "/"},    {"a//b", "a"}, {"name", nullptr}, {"name/", nullptr}, {"", nullptr}};
    for (const auto &row : rows) {
        char out[16] = "-";
        EXPECT_EQ(SWM_GetDirname(row.path, out, sizeof out) == 0, row.directory != nullptr) << row.path;
        EXPECT_STREQ(out, row.directory != nullptr ? row.directory : "-") << row.path;
    }
    char out[4] = "-";
    EXPECT_EQ(SWM_GetDirname("abc/x", out, sizeof out), 0u);
    EXPECT_NE(SWM_GetDirname("abcd/x", out, sizeof out), 0u);
    EXPECT_STREQ(out, "abc");
    EXPECT_NE(SWM_GetDirname(nullptr, out, sizeof out), 0u);
    EXPECT_NE(SWM_GetDirname("/a", nullptr, 4), 0u);
}

TEST_F(Path, DirAndBaseName)
{
    char directory[6] = "-";
    char name[6] = "-";
    EXPECT_EQ(SWM_GetDirAndBaseName("/a/b", directory, 6, name, 6), 0u);
    EXPECT_STREQ(directory, "/a");
    EXPECT_STREQ(name, "b");
    EXPECT_EQ(SWM_GetDirAndBaseName("/b", directory, 6, name, 6), 0u);
    EXPECT_STREQ(directory, "/");
    EXPECT_EQ(SWM_GetDirAndBaseName("c", directory, 6, name, 6), 0u);
    EXPECT_STREQ(directory, ".");
    EXPECT_STREQ(name, "c");
    for (const char *path : {"", "a/", "/", "toolong/a", "a/toolong"}) {
        EXPECT_NE(SWM_GetDirAndBaseName(path, directory, 6, name, 6), 0u) << path;
    }
    EXPECT_NE(SWM_GetDirAndBaseName(nullptr, directory, 6, name, 6), 0u);
    EXPECT_NE(SWM_GetDirAndBaseName("a", nullptr, 6, name, 6), 0u);
    EXPECT_NE(SWM_GetDirAndBaseName("a", directory, 6, nullptr, 6), 0u);
    EXPECT_STREQ(directory, ".");
    EXPECT_STREQ(name, "c");
}

TEST_F(Path, Absolute)
{
    const std::string longest(383 - 5, 'x');
    const struct {
        const char *root;
        std::string path;
        std::string absolute;
    } rows[] = {
        {"/srv", "a/b", "/srv/a/b"},
        {"/srv/", "a//./b/../c", "/srv/a/c"},
        {"/srv", "../../etc/passwd", "/srv/etc/passwd"},
        {"/srv", "", "/srv"},
        {"/srv", "..", "/srv"},
        {"/srv", "/a/../../b//c/.", "/b/c"},
        {"/srv", "/..", "/"},
        {"/", "a", "/a"},
        {"/", "../a", "/a"},
        {"/srv", "a/..b/...", "/srv/a/..b/..."},
        {"/srv", longest, "/srv/" + longest},
        {"/srv", longest + "x", "/srv/.invalid/.invalid"},
        {"/", longest + "xxxxxxx", "/.invalid/.invalid"},
        {"relative", "a", "/.invalid/.invalid"},
    };
    for (const auto &row : rows) {
        setConfig("[paths]\nroot = " + std::string(row.root) + "\n");
        char buffer[512] = "";
        strcpy(buffer, row.path.c_str());
        SWM_Trans2AbsolutePath(buffer);
        EXPECT_EQ(buffer, row.absolute) << row.root << " " << row.path;
    }
    SWM_Trans2AbsolutePath(nullptr);
}

TEST_F(Path, AbsoluteStaysInItsBuffer)
{
    char buffer[386];
    memset(buffer, 'x', sizeof buffer);
    memcpy(buffer, "/a/../", 6); // what lies behind the buffer would fit once this is resolved
    strcpy(buffer + 384, "g");
    SWM_Trans2AbsolutePath(buffer);
    EXPECT_STREQ(buffer, "/.invalid/.invalid") << "no text that ends in the buffer";
    EXPECT_STREQ(buffer + 384, "g");
    memset(buffer, 'x', 383);
    buffer[0] = '/';
    buffer[383] = '\0';
    SWM_Trans2AbsolutePath(buffer);
    EXPECT_EQ(buffer, "/" + std::string(382, 'x')) << "the longest path";
    EXPECT_STREQ(buffer + 384, "g");
}

TEST_F(Path, AbsoluteUnderAVeryLongRoot)
{
    setConfig("[paths]\nroot = /" + std::string(400, 'r') + "\n");
    char buffer[384] = "a";
    SWM_Trans2AbsolutePath(buffer);
    EXPECT_STREQ(buffer, "/.invalid/.invalid");
}

TEST_F(Path, SpecialDirectoriesStay)
{
    char buffer[384] = "a/../b";
    SWM_PkgSpecialDirHandler(buffer);
    EXPECT_STREQ(buffer, "a/../b");
    SWM_PkgSpecialDirHandler(nullptr);
}

TEST_F(Path, LinkTarget)
{
    const std::string base = dir.string();
    const struct {
        const char *target;
        std::string found;
    } rows[] = {{"x", base + "/x"},
                {"./y/../x", base + "/x"},
                {"../x", dir.parent_path().string() + "/x"},
                {"/abs/../x", "/abs/../x"}};
    for (const auto &row : rows) {
        fs::remove(dir / "link");
        fs::create_symlink(row.target, dir / "link");
        char out[384];
        EXPECT_EQ(TARN_GetLinkInfo(at("link"), out, sizeof out), 0u);
        EXPECT_EQ(out, row.found);
    }
    writeFile(dir / "file", "");
    char out[4] = "-";
    EXPECT_NE(TARN_GetLinkInfo(at("link"), out, sizeof out), 0u);
    EXPECT_NE(TARN_GetLinkInfo(at("file"), out, sizeof out), 0u);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_NE(TARN_GetLinkInfo(nullptr, out, sizeof out), 0u);
    EXPECT_NE(TARN_GetLinkInfo(at("link"), nullptr, 4), 0u);
    EXPECT_STREQ(out, "-");
}

TEST_F(Path, LinkTargetOfARelativePath)
{
    const fs::path before = fs::current_path();
    fs::create_directory(dir / "sub");
    fs::current_path(dir);
    const struct {
        const char *link;
        const char *target;
        const char *found;
    } rows[] = {{"sub/l", "../x", "x"}, {"l", "../x", "../x"}, {"sub/m", "..", "."}, {"n", "../../x", "../../x"}};
    for (const auto &row : rows) {
        fs::create_symlink(row.target, row.link);
        char out[64];
        EXPECT_EQ(TARN_GetLinkInfo(row.link, out, sizeof out), 0u);
        EXPECT_STREQ(out, row.found);
    }
    fs::current_path(before);
}

TEST_F(Path, Root)
{
    char out[8] = "-";
    EXPECT_EQ(SWM_GetRootPath(out, sizeof out), 0u);
    EXPECT_STREQ(out, "/") << "without a configuration";
    setConfig("; nothing\n");
    EXPECT_EQ(SWM_GetRootPath(out, sizeof out), 0u);
    EXPECT_STREQ(out, "/");
    setConfig("[paths]\nroot = /abc//  \n");
    EXPECT_EQ(SWM_GetRootPath(out, sizeof out), 0u);
    EXPECT_STREQ(out, "/abc");
    setConfig("[paths]\nroot = /abcdefgh\n");
    EXPECT_NE(SWM_GetRootPath(out, sizeof out), 0u);
    setConfig("[paths]\nroot = abc\n");
    EXPECT_NE(SWM_GetRootPath(out, sizeof out), 0u);
    EXPECT_NE(SWM_GetRootPath(nullptr, 8), 0u);
    EXPECT_STREQ(out, "/abc");
}

TEST_F(Path, ConfigurationThatOthersCouldWrite)
{
    char out[8] = "-";
    const auto refused = [&] { return SWM_GetRootPath(out, sizeof out) != 0; };
    setConfig("[paths]\nroot = /abc\n");
    fs::permissions(configPath(), fs::perms(0664));
    EXPECT_TRUE(refused());
    EXPECT_EQ(errno, EPERM);
    fs::permissions(configPath(), fs::perms(0646));
    EXPECT_TRUE(refused());
    fs::permissions(configPath(), fs::perms(0644));
    EXPECT_FALSE(refused());
    if (isRoot()) {
        ASSERT_EQ(::chown(configPath().c_str(), kOtherId, kOtherId), 0);
        EXPECT_TRUE(refused());
    }
    removeConfig();
    ASSERT_EQ(::mkfifo(configPath().c_str(), 0600), 0);
    EXPECT_TRUE(refused());
    removeConfig();
    setConfig("[paths]\nroot = /" + std::string(5000, 'x') + "\n");
    EXPECT_TRUE(refused());
}

} // namespace
