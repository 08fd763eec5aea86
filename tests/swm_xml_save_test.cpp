// How the database is saved: in place, in which encoding, and what a save that fails leaves behind.
#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

struct Change {
    const char *name;
    std::function<uint32_t(const char *path)> run;
};

// Every operation that saves, on a database with package p, patch x and mod x.
std::vector<Change> changes()
{
    static const SwmPackageInfo info = package("p", "2", "new.cc");
    static const SwmPackageInfo wanted = key("p");
    static const SwmPatchInfo onePatch = patch("x", "9");
    static const SwmModInfo oneMod = mod("x", "9");
    return {
        {"add base", [](const char *path) { return SWM_AddBaseInfo(path, &info); }},
        {"add patch", [](const char *path) { return SWM_AddPatchInfo(path, &onePatch, "p"); }},
        {"add mod", [](const char *path) { return SWM_AddModInfo(path, &oneMod, "p"); }},
        {"update base", [](const char *path) { return SWM_UpdateBaseInfo(path, &info, 0); }},
        {"update patch", [](const char *path) { return SWM_UpdatePatchInfo(path, &onePatch, "p"); }},
        {"update mod", [](const char *path) { return SWM_UpdateModInfo(path, &oneMod, "p"); }},
        {"delete package", [](const char *path) { return SWM_DelBasePackageInfo(path, &wanted); }},
        {"delete by file", [](const char *path) { return SWM_DelBasePackageInfoByCcNameAndPath(path, "/cc/a.cc"); }},
        {"delete by name", [](const char *path) { return SWM_DelBasePackageInfoByName(path, "p"); }},
        {"delete patch", [](const char *path) { return SWM_DelPatchPackageInfo(path, "p", "x"); }},
        {"delete mod", [](const char *path) { return SWM_DelModPackageInfo(path, "p", "x"); }},
    };
}

class XmlSaveTest : public XmlTest {
protected:
    const std::string content = packageText(package("p"), patchText("x") + modText("x"));

    // The bytes after the deletion of a patch from, or an addition to, this document.
    std::string afterDeletion(const std::string &text)
    {
        writeFile(path, text);
        const SwmPackageInfo wanted = key("p");
        EXPECT_EQ(SWM_DelBasePackageInfo(path.c_str(), &wanted), SWM_OK);
        takeLog();
        return readFile(path);
    }
    std::string afterAddition(const std::string &text)
    {
        writeFile(path, text);
        const SwmModInfo info = {};
        EXPECT_EQ(SWM_AddModInfo(path.c_str(), &info, "p"), SWM_OK);
        takeLog();
        return readFile(path);
    }
};

TEST_F(XmlSaveTest, SavedInPlace)
{
    struct stat before, after;
    for (const Change &change : changes()) {
        SCOPED_TRACE(change.name);
        fs::remove(dir / "link");
        writeDatabase(content);
        fs::permissions(path, fs::perms(0640));
        fs::create_hard_link(path, dir / "link");
        ASSERT_EQ(stat(path.c_str(), &before), 0);
        fs::permissions(fs::path(dir), fs::perms(0500));
        EXPECT_EQ(change.run(path.c_str()), SWM_OK);
        fs::permissions(fs::path(dir), fs::perms(0700));
        ASSERT_EQ(stat(path.c_str(), &after), 0);
        EXPECT_EQ(before.st_ino, after.st_ino);
        EXPECT_EQ(after.st_mode & 07777u, 0640u);
        EXPECT_EQ(after.st_nlink, 2u);
        EXPECT_NE(readFile(dir / "link"), product(content));
        EXPECT_EQ(std::distance(fs::directory_iterator(fs::path(dir)), fs::directory_iterator()), 2) << "no third file";
        takeLog();
    }
}

TEST_F(XmlSaveTest, SymbolicLinksAreFollowed)
{
    writeFile(dir / "real.xml", product(content));
    fs::create_symlink(dir / "real.xml", path);
    EXPECT_EQ(SWM_DelBasePackageInfoByName(path.c_str(), "p"), SWM_OK);
    EXPECT_TRUE(fs::is_symlink(path));
    EXPECT_EQ(readFile(dir / "real.xml"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product/>\n");
    takeLog();
}

// ---- Encodings ----

const char kUtf8Name[] = "\xC3\xA4";
const char kLatinName[] = "\xE4";

std::string documentIn(const char *declaration, const char *value)
{
    return std::string(declaration) + "<Product><Note>" + value + "</Note>" + packageText(package("p")) + "</Product>";
}

TEST_F(XmlSaveTest, DeletionsKeepTheEncoding)
{
    const std::string none = "<Product>\n  <Note>";
    const std::string end = "</Note>\n</Product>\n";
    EXPECT_EQ(afterDeletion(documentIn("", kUtf8Name)), "<?xml version=\"1.0\"?>\n" + none + "&#xE4;" + end);
    EXPECT_EQ(afterDeletion(documentIn("<?xml version=\"1.0\"?>", kUtf8Name)),
              "<?xml version=\"1.0\"?>\n" + none + "&#xE4;" + end);
    EXPECT_EQ(afterDeletion(documentIn("<?xml version=\"1.0\" encoding=\"UTF-8\"?>", kUtf8Name)),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + none + kUtf8Name + end);
    EXPECT_EQ(afterDeletion(documentIn("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>", kLatinName)),
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n" + none + kLatinName + end);
}

TEST_F(XmlSaveTest, AdditionsSaveInUtf8)
{
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n  <Note>" + std::string(kUtf8Name);
    for (const auto &[declaration, value] : {std::pair{"", kUtf8Name},
                                             {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>", kUtf8Name},
                                             {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>", kLatinName}}) {
        EXPECT_EQ(afterAddition(documentIn(declaration, value)).substr(0, head.size()), head) << declaration;
    }
}

std::string utf16(const std::string &ascii)
{
    std::string text = "\xFF\xFE";
    for (const char c : ascii) {
        text += c;
        text += '\0';
    }
    return text;
}

TEST_F(XmlSaveTest, Utf16)
{
    const std::string text = documentIn("<?xml version=\"1.0\" encoding=\"UTF-16\"?>", "n");
    EXPECT_EQ(afterDeletion(utf16(text)),
              utf16("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<Product>\n  <Note>n</Note>\n</Product>\n"));
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n  <Note>n</Note>\n";
    EXPECT_EQ(afterAddition(utf16(text)).substr(0, head.size()), head);
}

// ---- Saves that fail ----

// Runs the change in a child that cannot write the file; what went wrong there, 0: nothing.
int changeWithoutSaving(const Change &change, const fs::path &path)
{
    takeLog();
    const uint32_t status = change.run(path.c_str());
    const testing::AssertionResult lines = logged({xmlError("Save xml file %s failed.", path.c_str())});
    if (status != F || !lines) {
        printf("%s: status %u, %s\n", change.name, status, lines.message());
        fflush(stdout);
        return 1;
    }
    return 0;
}

TEST_F(XmlSaveTest, NoRoomForTheFile)
{
    for (const Change &change : changes()) {
        writeDatabase(content);
        EXPECT_EQ(runInChild(
                      [&] {
                          signal(SIGXFSZ, SIG_IGN);
                          const rlimit none = {0, 0};
                          setrlimit(RLIMIT_FSIZE, &none);
                          return changeWithoutSaving(change, path);
                      },
                      10000),
                  0)
            << change.name;
    }
}

TEST_F(XmlSaveTest, FileThatMayNotBeWritten)
{
    fs::permissions(programDir(), fs::perms(0755));
    fs::permissions(fs::path(dir), fs::perms(0755));
    for (const Change &change : changes()) {
        writeDatabase(content);
        fs::permissions(path, fs::perms(0444));
        EXPECT_EQ(runInChild(
                      [&] {
                          constexpr uid_t kNobody = 65534;
                          if (geteuid() == 0 && setuid(kNobody) != 0) {
                              return 2;
                          }
                          return changeWithoutSaving(change, path);
                      },
                      10000),
                  0)
            << change.name;
        expectUnchanged(product(content));
        fs::permissions(path, fs::perms(0644));
    }
    fs::permissions(programDir(), fs::perms(0700));
}

TEST_F(XmlSaveTest, CallersSeeWhyNothingWasSaved)
{
    writeDatabase(content);
    EXPECT_EQ(runInChild(
                  [&] {
                      signal(SIGXFSZ, SIG_IGN);
                      const rlimit none = {0, 0};
                      setrlimit(RLIMIT_FSIZE, &none);
                      const SwmPatchInfo part = patch("y");
                      const LogLine notSaved = xmlError("Save xml file %s failed.", path.c_str());
                      takeLog();
                      const bool failed = SWM_AddPatchPackageInfo(path.c_str(), "p", &part) == F;
                      const testing::AssertionResult lines =
                          logged({xmlInfo("Get package info of %s success.", "p"),
                                  xmlInfo("Malloc and get package info of %s from %s success.", "p", path.c_str()),
                                  notSaved, xmlError("Add patch info of %s failed.", "p"),
                                  xmlError("Add or update patch info of %s to %s failed.", "p", path.c_str())});
                      printf("%s", lines.message());
                      fflush(stdout);
                      return failed && lines ? 0 : 1;
                  },
                  10000),
              0);
}

TEST_F(XmlSaveTest, CallersSeeWhyNoBaseWasSaved)
{
    struct Row {
        const char *version;
        uint32_t withVersion;
    };
    for (const Row &row : {Row{"2", 1}, {"2", 0}}) {
        writeDatabase(content);
        EXPECT_EQ(
            runInChild(
                [&] {
                    signal(SIGXFSZ, SIG_IGN);
                    const rlimit none = {0, 0};
                    setrlimit(RLIMIT_FSIZE, &none);
                    const SwmPackageInfo info = package("p", row.version);
                    takeLog();
                    const bool failed = SWM_AddBasePackageInfo(path.c_str(), &info, row.withVersion) == F;
                    const Lines looked =
                        row.withVersion != 0
                            ? Lines{xmlWarning("Get package info of %s from %s unsuccessfully.", "p", path.c_str())}
                            : Lines{xmlInfo("Get package info of %s success.", "p"),
                                    xmlInfo("Malloc and get package info of %s from %s success.", "p", path.c_str())};
                    const LogLine notSaved = xmlError("Save xml file %s failed.", path.c_str());
                    const LogLine end = row.withVersion != 0
                                            ? xmlError("Add base info of %s to %s failed.", "p", path.c_str())
                                            : xmlError("Update base info of %s to %s failed.", "p", path.c_str());
                    const testing::AssertionResult lines = logged(looked + Lines{notSaved, end});
                    printf("%s", lines.message());
                    fflush(stdout);
                    return failed && lines ? 0 : 1;
                },
                10000),
            0);
    }
}

} // namespace
} // namespace tarn::test
