// tarn list diff: each kind of change and its reason.
#include <gtest/gtest.h>

#include "list_lines.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class ListDiffTest : public testing::Test {
protected:
    TempDir dir;
    fs::path oldList = dir / "old.txt";
    fs::path newList = dir / "new.txt";
    fs::path root = dir / "root";

    void SetUp() override
    {
        fs::create_directories(root / "opt");
        for (const char *name : {"a", "b", "c"}) {
            writeFile(root / "opt" / name, "content");
        }
    }
    Outcome diff(const std::string &oldText, const std::string &newText, const Arguments &more)
    {
        writeFile(oldList, oldText);
        writeFile(newList, newText);
        return runTool(Arguments{"list", "diff", oldList, newList} + more);
    }
    Outcome files(const std::string &oldText, const std::string &newText, const Arguments &more = {})
    {
        return diff(oldText, newText, Arguments{"--root", root} + more);
    }
    Json report(const std::string &oldText, const std::string &newText)
    {
        return files(oldText, newText, {"--json"}).json();
    }
    std::string counts(const std::string &text)
    {
        return oldList.string() + " -> " + newList.string() + ": " + text + "\n";
    }
};

std::string line(const std::string &name)
{
    return FileLine{.poolName = name}.text();
}

Json countsOf(const Json &report)
{
    return {report["added"],     report["removed"], report["modified"],
            report["refreshed"], report["listed"],  report["same"]};
}

} // namespace

TEST_F(ListDiffTest, EqualListsAndAnIntactDiskDoNotDiffer)
{
    const Outcome outcome = files(line("a") + line("b"), line("b") + line("a"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, counts("file lists, 0 added, 0 removed, 0 modified, 0 refreshed, 2 the same"));
    EXPECT_EQ(outcome.err, "");
    const Json json = report(line("a"), line("a"));
    EXPECT_EQ(json["differs"], false);
    EXPECT_EQ(json["type"], "files");
    EXPECT_EQ(json["changes"], Json::array());
    EXPECT_EQ(json["install"], Json::array());
    EXPECT_EQ(json["remove"], Json::array());
}

TEST_F(ListDiffTest, EachKindOfChangeHasItsReason)
{
    struct Row {
        std::string oldText;
        std::string newText;
        std::string change;
        std::string reason;
        Json install;
        Json remove;
    };
    const Json none = Json::array();
    const std::string other = FileLine{.poolName = "a", .digest = sha256("other")}.text();
    writeFile(root / "opt/damaged", "other");
    fs::create_directory(root / "opt/dir");
    const Row rows[] = {
        {line("b"), line("a") + line("b"), "added", "only in the new list", {"a"}, none},
        {line("a") + line("b"), line("b"), "removed", "only in the old list", none, {"a"}},
        {line("a"), other, "modified", "digest differs", {"a"}, none},
        {line("damaged"), line("damaged"), "modified", "file damaged", {"damaged"}, none},
        {line("dir"), line("dir"), "modified", "wrong type on the disk", {"dir"}, none},
        {line("gone"), line("gone"), "added", "file missing", {"gone"}, {"gone"}},
        {line("a"), FileLine{.poolName = "a", .options = "fast"}.text(), "refreshed", "option text fast", {"a"}, {"a"}},
    };
    for (const Row &row : rows) {
        const Json json = report(row.oldText, row.newText);
        ASSERT_EQ(json["changes"].size(), 1u) << json;
        EXPECT_EQ(json["changes"][0]["change"], row.change);
        EXPECT_EQ(json["changes"][0]["reason"], row.reason);
        EXPECT_EQ(json["changes"][0]["old"].is_null(), row.reason == "only in the new list");
        EXPECT_EQ(json["changes"][0]["new"].is_null(), row.change == "removed");
        EXPECT_EQ(json["install"], row.install) << row.reason;
        EXPECT_EQ(json["remove"], row.remove) << row.reason;
        EXPECT_EQ(json["differs"], true);
        EXPECT_EQ(json[row.change], 1);
        const Outcome text = files(row.oldText, row.newText);
        EXPECT_EQ(text.status, 1);
        EXPECT_NE(text.out.find(row.reason + "\n"), std::string::npos) << text.out;
        EXPECT_EQ(text.err, "");
    }
}

TEST_F(ListDiffTest, PatchLinksThatLeadElsewhereAreRelinked)
{
    fs::create_directories(root / "patch/one");
    writeFile(root / "patch/one/target", "content");
    writeFile(root / "elsewhere", "content");
    const std::string record = FileLine{.poolName = "a", .directory = "/patch/one", .fileName = "link"}.text();
    fs::create_symlink("target", root / "patch/one/link");
    writeFile(oldList, record);
    const Arguments compare = {"list", "diff", oldList, oldList, "--root", root, "--json"};
    const Json sound = runTool(compare).json();
    fs::remove(root / "patch/one/link");
    fs::create_symlink(root / "elsewhere", root / "patch/one/link");
    const Json astray = runTool(compare).json();
    EXPECT_EQ(sound["same"], 1) << sound;
    EXPECT_EQ(astray["added"], 1) << astray;
    EXPECT_EQ(astray["changes"][0]["reason"], "relinked: leads out of its patch's directory");
}

TEST_F(ListDiffTest, DirectoriesInPlaceDoNotCount)
{
    const std::string record = FileLine{.poolName = "sub", .digest = std::string(64, '0'), .entryName = "/"}.text();
    fs::create_directory(root / "opt/sub");
    const Outcome outcome = files(record, record);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              counts("file lists, 0 added, 0 removed, 0 modified, 0 refreshed, 0 the same, 1 directory in place"));
    EXPECT_EQ(report(record, record)["install"], Json({"sub"}));
    fs::remove(root / "opt/sub");
    EXPECT_EQ(report(record, record)["changes"][0]["reason"], "file missing");
    writeFile(root / "opt/sub", "");
    EXPECT_EQ(report(record, record)["changes"][0]["reason"], "wrong type on the disk");
    EXPECT_EQ(files(record, record).status, 1);
}

TEST_F(ListDiffTest, ManyChangesAreSortedAndCounted)
{
    const std::string oldText = line("a") + line("b") + line("gone") + line("old");
    const std::string newText =
        line("new") + line("gone") + FileLine{.poolName = "b", .digest = sha256("x")}.text() + line("a");
    const Outcome outcome = files(oldText, newText);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "modified  b     digest differs\n"
                           "added     gone  file missing\n"
                           "added     new   only in the new list\n"
                           "removed   old   only in the old list\n" +
                               counts("file lists, 2 added, 1 removed, 1 modified, 0 refreshed, 1 the same"));
    const Json json = report(oldText, newText);
    EXPECT_EQ(countsOf(json), Json({2, 1, 1, 0, 0, 1}));
    EXPECT_EQ(json["install"], Json({"b", "gone", "new"}));
    EXPECT_EQ(json["remove"], Json({"gone", "old"}));
}

TEST_F(ListDiffTest, LinkListsAreComparedByPath)
{
    const std::string oldText = "one /a\ntwo /b\nthree /c\n";
    const std::string newText = "one /a\nother /b\nfour /d\n";
    const Outcome outcome = diff(oldText, newText, {});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "modified  /b  led to two\n"
                           "removed   /c  only in the old list\n"
                           "added     /d  only in the new list\n" +
                               counts("link lists, 1 added, 1 removed, 1 modified, 0 refreshed, 1 the same"));
    const Json json = diff(oldText, newText, {"--json"}).json();
    EXPECT_EQ(json["type"], "links");
    EXPECT_EQ(json["install"], Json({"/b", "/d"}));
    EXPECT_EQ(json["remove"], Json({"/b", "/c"}));
    EXPECT_EQ(json["changes"][0]["old"], Json({{"link_path", "/b"}, {"link_source", "two"}}));
    EXPECT_EQ(diff(oldText, oldText, {}).status, 0);
    EXPECT_EQ(diff("", newText, {"--json"}).json()["added"], 3);
    EXPECT_EQ(diff(oldText, "", {"--json"}).json()["removed"], 3);
    EXPECT_EQ(diff("", "", {}).status, 3);
    EXPECT_EQ(diff("", "", {"--type", "links"}).status, 0);
}

TEST_F(ListDiffTest, UnsortedLinkListsAreWarnedAbout)
{
    const Outcome outcome = diff("x /b\nx /a\n", "x /a\nx /b\n", {});
    EXPECT_EQ(outcome.err, "tarn: warning: " + oldList.string() +
                               ": not sorted: \"/a\" comes behind \"/b\", so the comparison takes links for added "
                               "and removed that are not\n");
    EXPECT_EQ(diff("x /a\nx /b\n", "x /a\nx /b\n", {}).err, "");
}

TEST_F(ListDiffTest, OtherKindsAreRefused)
{
    EXPECT_EQ(diff("image\n", "image\n", {}).status, 2);
    EXPECT_EQ(diff("a b\n", "a b\n", {"--type", "bios"}).status, 2);
    EXPECT_EQ(diff("a b\n", "a b\n", {"--root", root}).status, 2);
    EXPECT_EQ(runTool({"list", "diff", oldList}).status, 2);
    EXPECT_EQ(runTool({"list", "diff", oldList, dir / "missing"}).status, 3);
}

TEST_F(ListDiffTest, BadListsAreExplained)
{
    const Outcome outcome = files(line("a"), line("a") + "x\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(newList.string() + ": line 2: \"x\": 1 column, there must be 7, 13 or 14"),
              std::string::npos)
        << outcome.err;
    const Outcome mixed = files(line("a"), "a b\n");
    EXPECT_EQ(mixed.status, 1);
    EXPECT_NE(mixed.err.find("2 columns"), std::string::npos);
}

TEST_F(ListDiffTest, PathsThatNoLongerFitAreNotCut)
{
    const std::string record = FileLine{.poolName = "a", .directory = "/" + std::string(254, 'd')}.text();
    EXPECT_EQ(files(record, record).status, 3);
    EXPECT_EQ(diff(record, record, {}).status, 1); // nothing is installed there
}

} // namespace tarn::test
