// tarn list verify: every installed file, whatever is found.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "list_lines.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class ListVerifyTest : public testing::Test {
protected:
    TempDir dir;
    fs::path list = dir / "list.txt";
    fs::path root = dir / "root";

    void SetUp() override
    {
        fs::create_directories(root / "opt/sub");
        for (const char *name : {"a", "b", "c"}) {
            writeFile(root / "opt" / name, "content");
        }
        writeFile(list, FileLine{.poolName = "a"}.text() + FileLine{.poolName = "b"}.text() +
                            FileLine{.poolName = "c"}.text() +
                            FileLine{.poolName = "sub", .digest = std::string(64, '0'), .entryName = "/"}.text());
    }
    Outcome verify(const Arguments &more = {})
    {
        return runTool(Arguments{"list", "verify", list, "--root", root} + more);
    }
    Json report() { return verify({"--json"}).json(); }
};

} // namespace

TEST_F(ListVerifyTest, WhatIsAsListedIsValid)
{
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, list.string() + ": valid, 4 records as listed\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(report(), Json({{"list", list.string()},
                              {"root", root.string()},
                              {"valid", true},
                              {"checked", 4},
                              {"ok", 4},
                              {"missing", 0},
                              {"damaged", 0},
                              {"wrong_type", 0},
                              {"unreadable", 0},
                              {"problems", Json::array()}}));
}

TEST_F(ListVerifyTest, GoesOnBehindWhatIsWrong)
{
    fs::remove(root / "opt/a");
    writeFile(root / "opt/b", "Content");
    fs::remove(root / "opt/c");
    fs::create_directory(root / "opt/c");
    fs::remove(root / "opt/sub");
    writeFile(root / "opt/sub", "");
    const Outcome outcome = verify();
    const std::string opt = (root / "opt").string();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "missing     " + opt + "/a\ndamaged     " + opt + "/b\n            listed " +
                               sha256("content") + "\n            found  " + sha256("Content") + "\nwrong type  " +
                               opt + "/c\n            listed file\n            found  directory\n" + "wrong type  " +
                               opt + "/sub\n            listed directory\n            found  file\n");
    EXPECT_EQ(outcome.err, "tarn: " + list.string() +
                               ": 1 missing, 1 damaged, 2 of the wrong type, 0 as listed\n      next: install these "
                               "anew\n");
    const Json json = report();
    EXPECT_EQ(json["valid"], false);
    EXPECT_EQ(json["checked"], 4);
    EXPECT_EQ(json["missing"], 1);
    EXPECT_EQ(json["damaged"], 1);
    EXPECT_EQ(json["wrong_type"], 2);
    EXPECT_EQ(json["problems"].size(), 4u);
    EXPECT_EQ(json["problems"][1], Json({{"pool_name", "b"},
                                         {"path", opt + "/b"},
                                         {"verdict", "damaged"},
                                         {"expected", sha256("content")},
                                         {"found", sha256("Content")}}));
    EXPECT_EQ(json["error"]["status"], 1);
}

TEST_F(ListVerifyTest, LinksAreFollowedAndSpecialFilesAreWrong)
{
    fs::rename(root / "opt/a", root / "elsewhere");
    fs::create_symlink(root / "elsewhere", root / "opt/a");
    EXPECT_EQ(verify().status, 0);
    fs::remove(root / "elsewhere");
    EXPECT_EQ(report()["missing"], 1);
    fs::remove(root / "opt/a");
    ASSERT_EQ(mkfifo((root / "opt/a").c_str(), 0600), 0);
    EXPECT_EQ(report()["problems"][0]["found"], "special file");
}

TEST_F(ListVerifyTest, WhatCannotBeReadIsNoAnswer)
{
    fs::permissions(root / "opt/a", fs::perms(0));
    const auto withoutPrivileges = [&] {
        return runTool({"list", "verify", list, "--root", root}, {{}, {}, dropReadPrivileges});
    };
    const Outcome outcome = withoutPrivileges();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.out, "unreadable  " + (root / "opt/a").string() + "\n");
    EXPECT_NE(outcome.err.find("1 unreadable, 3 as listed"), std::string::npos) << outcome.err;
    fs::remove(root / "opt/b");
    EXPECT_EQ(withoutPrivileges().status, 1);
}

TEST_F(ListVerifyTest, WithoutARootPathsAreTakenAsTheyStand)
{
    writeFile(list, FileLine{.poolName = "a", .directory = (root / "opt").string()}.text());
    EXPECT_EQ(runTool({"list", "verify", list}).status, 0);
    writeFile(list, FileLine{.poolName = "a", .directory = "opt"}.text());
    EXPECT_EQ(runTool({"list", "verify", list}, {{}, root}).status, 0);
    EXPECT_EQ(runTool({"list", "verify", list}, {{}, dir}).status, 1);
    EXPECT_EQ(verify().status, 0);
}

TEST_F(ListVerifyTest, RootsMustBeThereAndFit)
{
    EXPECT_EQ(verify({"--root", dir / "nowhere"}).status, 2); // given twice
    EXPECT_EQ(runTool({"list", "verify", list, "--root", dir / "nowhere"}).status, 3);
    EXPECT_EQ(runTool({"list", "verify", list, "--root", list}).status, 3);
    EXPECT_EQ(runTool({"list", "verify", list, "--root", ""}).status, 2);
    EXPECT_EQ(runTool({"list", "verify", list, "--root", root.string() + "//"}).status, 0);

    // "<root><directory>" has to fit 255 bytes.
    const size_t room = 255 - root.string().size();
    const std::string longest = "/" + std::string(room - 1, 'd');
    fs::create_directory(root / longest.substr(1));
    writeFile(root / longest.substr(1) / "a", "content");
    writeFile(list, FileLine{.poolName = "a", .directory = longest}.text());
    EXPECT_EQ(verify().status, 0);
    writeFile(list, FileLine{.poolName = "a", .directory = longest + "d"}.text());
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.err, "tarn: " + list.string() + ": the directory of \"a\" below " + root.string() +
                               " has 256 bytes, a record holds 255\n      next: use a shorter --root\n");
}

TEST_F(ListVerifyTest, NothingIsCreated)
{
    writeFile(list, FileLine{.poolName = "new", .entryName = "/"}.text());
    EXPECT_EQ(report()["missing"], 1);
    EXPECT_FALSE(fs::exists(root / "opt/new"));
}

TEST_F(ListVerifyTest, BadListsAreExplained)
{
    writeFile(list, FileLine{.poolName = "a", .mode = "none"}.text());
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("line 1, column 9 (mode): \"none\""), std::string::npos) << outcome.err;
    EXPECT_EQ(runTool({"list", "verify", dir / "missing"}).status, 3);
}

} // namespace tarn::test
