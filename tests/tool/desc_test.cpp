// tarn desc, crc, package info: what descriptors say, and where reading them surprises.
#include <gtest/gtest.h>

#include "tool_process.h"

namespace tarn::test {

namespace {

constexpr const char *kCc = "package_format_ver: 1.3.0\nis_startup: yes\nversion: 2.0\ncc_include: web;log\n";
constexpr const char *kPackage = "package_name: web\nversion: 3\nrequires: libA>=1.0;libB;libC=2\n"
                                 "files:\na /opt yes b\nc /opt no d\nfiles-compatible:\nx /y yes z\n";

struct WarningRow {
    const char *name;
    std::string text;
    const char *kind; // of the only warning
    unsigned line;
    bool isAccepted;
};

class DescTest : public testing::Test {
protected:
    TempDir dir;
    fs::path file = dir / "desc.txt";

    Outcome desc(const std::string &command, const std::string &text, const Arguments &more = {})
    {
        writeFile(file, text);
        return runTool(Arguments{"desc", command, file} + more);
    }
};

} // namespace

TEST_F(DescTest, ShowsCcDescriptions)
{
    EXPECT_EQ(desc("show", kCc).out, "package_format_ver  1.3.0\nis_startup          yes\nversion             2.0\n"
                                     "cc_include          web;log\nincludes web\nincludes log\n");
    EXPECT_EQ(desc("show", kCc, {"--json"}).json(), Json({{"file", file.string()},
                                                          {"type", "cc"},
                                                          {"package_format_ver", "1.3.0"},
                                                          {"is_startup", "yes"},
                                                          {"version", "2.0"},
                                                          {"cc_include", "web;log"},
                                                          {"included", {"web", "log"}},
                                                          {"accepted", true}}));
}

TEST_F(DescTest, ShowsPackageDescriptions)
{
    const Json report = desc("show", kPackage, {"--json"}).json();
    EXPECT_EQ(report["package_name"], "web");
    EXPECT_EQ(report["requirements"], Json::parse(R"([{"name":"libA","relation":">=","version":"1.0"},
        {"name":"libB","relation":"","version":""},{"name":"libC","relation":"=","version":"2"}])"));
    EXPECT_EQ(report["files"], Json::parse(R"([{"first":"a","second":"/opt","flag":true,"third":"b"},
        {"first":"c","second":"/opt","flag":false,"third":"d"}])"));
    EXPECT_EQ(report["files_compatible"], Json::parse(R"([{"first":"x","second":"/y","flag":true,"third":"z"}])"));
    const std::string text = desc("show", kPackage).out;
    EXPECT_NE(text.find("libA      >=        1.0\n"), std::string::npos) << text;
}

TEST_F(DescTest, ShowsRpmLists)
{
    const Json report = desc("show", "a-1.rpm /opt/x update\n", {"--json"}).json();
    EXPECT_EQ(report["type"], "rpm");
    EXPECT_EQ(report["records"][0]["rpm_name"], "a-1");
    EXPECT_EQ(report["records"][0]["operation"], "update");
}

TEST_F(DescTest, TheTypeIsToldOrSaid)
{
    EXPECT_EQ(desc("show", "nothing\n").status, 1);
    EXPECT_EQ(desc("show", "version: 1\n", {"--type", "package"}).status, 0);
    EXPECT_EQ(desc("show", kCc, {"--type", "iso"}).status, 2);
    EXPECT_EQ(runTool({"desc", "show", dir / "none"}).status, 3);
    EXPECT_EQ(runTool({"desc", "show", dir / ""}).status, 3);
    EXPECT_EQ(runTool({"desc", "show"}).status, 2);
}

TEST_F(DescTest, WhatTheLibraryRefusesIsSaid)
{
    const Outcome outcome = desc("show", "is_startup: maybe\ncc_include: web\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("get is_startup from cc description file failed"), std::string::npos) << outcome.err;
    EXPECT_EQ(desc("check", "is_startup: maybe\ncc_include: web\n").status, 1);
}

TEST_F(DescTest, EscapesWhatDescriptorsHold)
{
    const Outcome outcome = desc("show", "package_name: a\x1B[31mb\nversion: 1\n");
    EXPECT_EQ(outcome.out.find('\x1B'), std::string::npos);
    EXPECT_NE(outcome.out.find("31mb"), std::string::npos);
}

TEST_F(DescTest, NothingSurprisesInPlainDescriptors)
{
    for (const char *text :
         {kCc, kPackage, "package_name: web:\nversion: 1\n", "# remark: version\n\npackage_name: web\nversion:\n"}) {
        const Outcome outcome = desc("check", text);
        EXPECT_EQ(outcome.status, 0) << outcome.out;
        EXPECT_NE(outcome.out.find(": accepted, 0 warnings\n"), std::string::npos) << outcome.out;
    }
}

TEST_F(DescTest, EverySurpriseIsNamedWithItsLine)
{
    const std::string name = "package_name: web\n";
    const WarningRow rows[] = {
        {"a key inside another key", name + "package_version: 9\nversion: 3\n", "inside_key", 2, true},
        {"a key inside a value", name + "requires: the version\nversion: 3\n", "inside_value", 2, true},
        {"a colon in a value", name + "version: 1:2\n", "colon_in_value", 2, true},
        {"a key twice", name + "version: 1\nversion: 2\n", "repeated_key", 3, true},
        {"a value that does not fit", name + "version: " + std::string(128, '1') + "\n", "too_long", 2, false},
        {"blanks in a list", name + "requires: a; b\n", "blanks_in_name", 2, true},
        {"a colon in a path", name + "files:\n/opt/x:y a yes b\nc d yes e\n", "colon_ends_section", 3, true},
        {"a line of three fields", name + "files:\na b c\nd e yes f\n", "bad_line", 3, false},
        {"a line of five fields", name + "files:\na b yes c d\nd e yes f\n", "bad_line", 3, false},
        {"a line of three fields as the last, without a line feed", name + "files:\na b c", "bad_last_line", 3, true},
        {"a flag that is none", name + "files:\na b YES c\n", "flag", 3, true},
        {"a section twice", name + "files:\na b yes c\nversion: 1\nfiles:\nd e yes f\n", "repeated_section", 5, true},
        {"a long field", name + "files:\n" + std::string(128, 'a') + " b yes c\n", "cut", 3, true},
        {"a very long line", name + "# " + std::string(5000, 'x') + "\n", "long_line", 2, true},
    };
    for (const WarningRow &row : rows) {
        SCOPED_TRACE(row.name);
        const Outcome outcome = desc("check", row.text, {"--json"});
        EXPECT_EQ(outcome.status, 1);
        const Json report = outcome.json();
        EXPECT_EQ(report["accepted"], row.isAccepted);
        ASSERT_EQ(report["warnings"].size(), 1u) << outcome.out;
        EXPECT_EQ(report["warnings"][0]["kind"], row.kind) << outcome.out;
        EXPECT_EQ(report["warnings"][0]["line"], row.line) << outcome.out;
        EXPECT_EQ(desc("check", row.text).status, 1);
        EXPECT_EQ(readFile(file), row.text);
    }
}

// ---- CRC ----

TEST_F(DescTest, Crc)
{
    writeFile(file, "123456789");
    EXPECT_EQ(runTool({"crc", file}).out, "31c3  " + file.string() + "\n");
    EXPECT_EQ(runTool({"crc", file, "--json"}).json(),
              Json({{"file", file.string()}, {"size", 9}, {"algorithm", "CRC-16/XMODEM"}, {"crc", "31c3"}}));
    for (const std::string &text : {std::string(), std::string(1000, '\0')}) {
        writeFile(file, text);
        const Outcome outcome = runTool({"crc", file});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(runTool({"crc", file, "--json"}).json()["crc"], Json());
    }
    EXPECT_EQ(runTool({"crc", dir / "none"}).status, 3);
    EXPECT_EQ(runTool({"crc"}).status, 2);
}

// ---- Descriptors in packages ----

namespace {

class PackageInfoTest : public testing::Test {
protected:
    TempDir dir;
    fs::path package = dir / "p.cc";
    fs::path temporary = dir / "tmp";

    void SetUp() override
    {
        fs::create_directory(temporary);
        writeFile(dir / "app", "content");
        writeFile(dir / "cc_desc.txt", kCc);
        writeFile(dir / "package_desc.txt", kPackage);
    }
    void build(const Arguments &key, const Arguments &members)
    {
        ASSERT_EQ(runTool(Arguments{"package", "create", "-o", package} + key + members).status, 0);
    }
    Outcome info(const Arguments &more = {})
    {
        return runTool(Arguments{"package", "info", package} + more,
                       {.environment = {"TMPDIR=" + temporary.string()}, .directory = {}});
    }
};

} // namespace

TEST_F(PackageInfoTest, ShowsAllDescriptorsAndLeavesNothing)
{
    build(signing(), {dir / "app", dir / "cc_desc.txt", dir / "package_desc.txt"});
    const Outcome outcome = info();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("\"cc_desc.txt\", cc description\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("\"package_desc.txt\", package description\n"), std::string::npos);
    EXPECT_NE(outcome.out.find(": 2 descriptors, verified\n"), std::string::npos);
    const Json report = info({"--json"}).json();
    EXPECT_EQ(report["descriptors"].size(), 2u);
    EXPECT_EQ(report["descriptors"][1]["file"], "package_desc.txt");
    EXPECT_EQ(report["descriptors"][1]["requirements"].size(), 3u);
    EXPECT_TRUE(fs::is_empty(temporary));
}

TEST_F(PackageInfoTest, NoDescriptorsIsNoError)
{
    build(signing(), {dir / "app"});
    EXPECT_EQ(info().out,
              "there is no member \"package_desc.txt\"\n" + package.string() + ": 0 descriptors, verified\n");
    EXPECT_EQ(info({"--json"}).json()["has_package_desc"], false);
}

TEST_F(PackageInfoTest, WhatIsNoDescriptorIsVerifiedToo)
{
    build(foreignSigning(), {dir / "app"});
    EXPECT_EQ(info().status, 1);
    build(signing(), {dir / "app", dir / "package_desc.txt"});
    std::string bytes = readFile(package);
    bytes[bytes.find("content") + 1] = 'O';
    writeFile(package, bytes);
    EXPECT_EQ(info().status, 1);
    writeFile(package, "no package\n");
    EXPECT_EQ(info().status, 1);
}

TEST_F(PackageInfoTest, WhatTheLibraryDoesNotAcceptIsSaid)
{
    writeFile(dir / "cc_desc.txt", "is_startup: maybe\ncc_include: web\n");
    build(signing(), {dir / "cc_desc.txt", dir / "package_desc.txt"});
    const Outcome outcome = info();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("not accepted: "), std::string::npos) << outcome.out;
}

TEST_F(PackageInfoTest, RefusesWhatDoesNotVerify)
{
    build(foreignSigning(), {dir / "app", dir / "package_desc.txt"});
    EXPECT_EQ(info().status, 1);
    build(signing(), {dir / "app", dir / "package_desc.txt"});
    std::string bytes = readFile(package);
    bytes[bytes.find("package_name: web") + 14] = 'W';
    writeFile(package, bytes);
    const Outcome outcome = info();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(fs::is_empty(temporary));
    EXPECT_EQ(runTool({"package", "info", dir / "none.cc"}).status, 3);
}

} // namespace tarn::test
