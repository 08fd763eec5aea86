// Packages made to do harm to whoever looks at them.
#include <gtest/gtest.h>

#include "packaging/package.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

// Names that move the cursor, forge lines, hide, turn text around or are no UTF-8; signed properly all the same.
const char *const kNames[] = {"\x1b[2J\x1b[31mowned",
                              "line\nok          app",
                              "\rtarn: valid",
                              "\xE2\x80\xAEtxt.exe",
                              "\xFF\xFE",
                              "back\\slash",
                              ("\xC2\x9B"
                               "31m")};

class HostilePackageTest : public testing::Test {
protected:
    TempDir dir;
    fs::path path = dir / "hostile.cc";

    HostilePackageTest()
    {
        std::vector<packaging::Member> members;
        for (const char *name : kNames) {
            members.push_back({name, std::string(name) + ".bin", "content", {}});
        }
        packaging::writeContainer(path, packaging::withSignature(members, signer()));
    }

    static void expectHarmless(const Outcome &outcome)
    {
        for (const char byte : outcome.out + outcome.err) {
            const auto value = static_cast<unsigned char>(byte);
            EXPECT_TRUE(value == '\n' || (value >= 0x20 && value < 0x7F)) << "byte " << static_cast<int>(value);
        }
    }
};

} // namespace

TEST_F(HostilePackageTest, NamesArePrintedEscaped)
{
    for (const Arguments &arguments :
         {Arguments{"package", "list", path}, Arguments{"package", "header", path},
          Arguments{"package", "verify", path, "--members"}, Arguments{"package", "verify", path}}) {
        expectHarmless(runTool(arguments));
    }
    const std::string list = runTool({"package", "list", path}).out;
    EXPECT_NE(list.find("  \\x1b[2J\\x1b[31mowned  "), std::string::npos) << list;
    EXPECT_NE(list.find("line\\nok          app"), std::string::npos);
    EXPECT_NE(list.find("\\u202etxt.exe"), std::string::npos);
    EXPECT_NE(list.find("\\xff\\xfe"), std::string::npos);
    EXPECT_NE(list.find("back\\\\slash"), std::string::npos);
    // A heading, one line per member, the sum.
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), static_cast<long>(std::size(kNames)) + 2 + 2);
}

TEST_F(HostilePackageTest, JsonStaysJson)
{
    const Json members = runTool({"package", "list", path, "--json"}).json()["members"];
    EXPECT_EQ(members[0]["subfile_name"], kNames[0]);
    EXPECT_EQ(members[1]["subfile_name"], kNames[1]);
    EXPECT_EQ(members[4]["subfile_name"], "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(members[4]["subfile_name_hex"], "fffe");
    EXPECT_FALSE(members[3].contains("subfile_name_hex"));
    EXPECT_EQ(runTool({"package", "header", path, "--json"}).json()["slots"].size(), std::size(kNames) + 2);
}

TEST_F(HostilePackageTest, ErrorsAndLogLinesAreEscapedToo)
{
    for (const char *level : {"error", "info"}) {
        const Outcome outcome =
            runTool({"package", "extract", path, "none\x1b[2J\nforged", "-d", dir / "out", "--log-level", level});
        EXPECT_EQ(outcome.status, 1);
        expectHarmless(outcome);
        EXPECT_NE(outcome.err.find("none\\x1b[2J\\nforged"), std::string::npos) << outcome.err;
    }
    expectHarmless(runTool({"package", "list", dir / "\x1b[2J.cc"}));
    expectHarmless(runTool({"package", "\x1b[2J"}));
}

TEST_F(HostilePackageTest, NamesThatLeadOutOfTheDirectoryAreNeverExtracted)
{
    const fs::path out = dir / "a/out";
    for (const char *name : {"../escaped", "..", ".", "", "/tmp/escaped", "sub/escaped"}) {
        packaging::writeContainer(path,
                                  packaging::withSignature({{name, std::string(name) + "x", "content", {}}}, signer()));
        const Outcome outcome = runTool({"package", "extract", path, name, "-d", out});
        EXPECT_EQ(outcome.status, 2) << name << outcome.err;
        EXPECT_FALSE(fs::exists(out));
        EXPECT_FALSE(fs::exists(dir / "a"));
        EXPECT_FALSE(fs::exists(dir / "escaped"));
    }
    // One bad name among good ones: nothing at all is done.
    EXPECT_EQ(runTool({"package", "extract", path, "good", "../bad", "-d", out}).status, 2);
    EXPECT_FALSE(fs::exists(dir / "a"));
    const Json header = runTool({"package", "header", path, "--json"}).json();
    EXPECT_EQ(header["remarks"].size(), 2u);
}

TEST_F(HostilePackageTest, ListsThatLieAboutTheirSizeAreNotRead)
{
    auto members =
        std::vector<packaging::Member>{member("app", "x"), listMember("[A]\nFILENAME=app.img\nSHA256-DIGEST=0\n")};
    packaging::writeContainer(path, members);
    setField(path, memberOffset(members, 1) + 340, 0xFFFFFFFF);
    EXPECT_EQ(runTool({"package", "list", path, "--json"}).json()["signed_list"], "unreadable");
    setField(path, memberOffset(members, 1) + 340, 4 << 20);
    EXPECT_EQ(runTool({"package", "list", path}).status, 0);
}

} // namespace tarn::test
