// tarn list make: trees into lists that show and verify take back.
#include <gtest/gtest.h>

#include <iterator>
#include <set>
#include <sstream>
#include <sys/stat.h>

#include <unistd.h>

#include "list_lines.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class ListMakeTest : public testing::Test {
protected:
    TempDir dir;
    fs::path tree = dir / "tree";
    fs::path list = dir / "list.txt";

    void SetUp() override
    {
        fs::create_directories(tree / "bin");
        fs::create_directories(tree / "empty");
        writeFile(tree / "bin/app", "content");
        writeFile(tree / "bin-file", "");
        chmod((tree / "bin/app").c_str(), 04755);
    }
    Outcome make(const Arguments &more = {}) { return runTool(Arguments{"list", "make", tree, "-o", list} + more); }
    Json shown() { return runTool({"list", "show", list, "--json"}).json(); }

    void expectRefused(const std::string &reason)
    {
        const Outcome outcome = make();
        EXPECT_EQ(outcome.status, 3);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("; nothing was written\n"), std::string::npos) << outcome.err;
        EXPECT_FALSE(fs::exists(list));
        const Outcome printed = runTool({"list", "make", tree});
        EXPECT_EQ(printed.status, 3);
        EXPECT_EQ(printed.out, "");
    }
};

} // namespace

TEST_F(ListMakeTest, RoundTripsThroughShowAndVerify)
{
    const Outcome outcome = make({"--prefix", "/srv/app"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, list.string() + ": 4 records, 2 of them for directories\n");
    EXPECT_EQ(outcome.err, "");
    const Json report = shown();
    EXPECT_EQ(report["type"], "files");
    EXPECT_EQ(report["remarks"], Json::array());
    const Json records = report["records"];
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0]["pool_name"], "bin");
    EXPECT_EQ(records[0]["is_directory"], true);
    EXPECT_EQ(records[0]["digest"], std::string(64, '0'));
    EXPECT_EQ(records[1]["pool_name"], "bin-file");
    EXPECT_EQ(records[1]["digest"], sha256(""));
    EXPECT_EQ(records[2]["pool_name"], "bin/app");
    EXPECT_EQ(records[2]["entry_name"], "app");
    EXPECT_EQ(records[2]["file_name"], "app");
    EXPECT_EQ(records[2]["directory"], "/srv/app/bin");
    EXPECT_EQ(records[2]["digest"], sha256("content"));
    EXPECT_EQ(records[2]["mode"], "4755");
    EXPECT_EQ(records[3]["pool_name"], "empty");

    fs::create_directories(dir / "root/srv");
    fs::rename(tree, dir / "root/srv/app");
    EXPECT_EQ(runTool({"list", "verify", list, "--root", dir / "root"}).status, 0);
    EXPECT_EQ(runTool({"list", "diff", list, list, "--root", dir / "root"}).status, 0);
    EXPECT_EQ(runTool({"list", "verify", list, "--root", static_cast<const fs::path &>(dir)}).status, 1);
}

TEST_F(ListMakeTest, LinesHaveFourteenColumnsInByteOrder)
{
    ASSERT_EQ(make().status, 0);
    const std::string text = readFile(list);
    EXPECT_EQ(text, runTool({"list", "make", tree}).out);
    EXPECT_EQ(text.back(), '\n');
    std::istringstream lines(text);
    std::string previous;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        const std::vector<std::string> columns{std::istream_iterator<std::string>(words), {}};
        ASSERT_EQ(columns.size(), 14u) << line;
        EXPECT_LT(previous, columns[3]);
        previous = columns[3];
        EXPECT_EQ(columns[7].substr(columns[7].find(':')), ":" + std::to_string(geteuid()));
        EXPECT_EQ(columns[2].front(), '/');
    }
    EXPECT_EQ(previous, "empty");
}

TEST_F(ListMakeTest, LinksAreLeftOutWithANote)
{
    fs::create_symlink("app", tree / "bin/link");
    fs::create_directory_symlink("/", tree / "rootlink");
    const Outcome outcome = make({"--json"});
    EXPECT_EQ(outcome.status, 0);
    const Json report = outcome.json();
    EXPECT_EQ(report["list"], list.string());
    EXPECT_EQ(report["records"], 4);
    EXPECT_EQ(report["directories"], 2);
    EXPECT_EQ(report["links_left_out"].size(), 2u);
    EXPECT_NE(outcome.err.find("tarn: note: " + (tree / "bin/link").string() + ": a symbolic link, left out"),
              std::string::npos)
        << outcome.err;
    EXPECT_EQ(readFile(list).find("link"), std::string::npos);
}

TEST_F(ListMakeTest, NamesThatAListCannotHoldAreRefused)
{
    for (const std::string &name :
         {std::string("a b"), std::string("a\tb"), std::string("a\nb"), std::string("\x7f"), std::string("\r")}) {
        writeFile(tree / "bin" / name, "x");
        expectRefused("a list cannot hold names with spaces or control characters");
        fs::remove(tree / "bin" / name);
    }
    fs::create_directory(tree / "a dir");
    expectRefused("a list cannot hold names with spaces or control characters");
    fs::remove(tree / "a dir");
    EXPECT_EQ(make().status, 0);
}

TEST_F(ListMakeTest, LengthsAtTheLimits)
{
    writeFile(tree / std::string(127, 'n'), "x");
    EXPECT_EQ(make().status, 0);
    EXPECT_EQ(shown()["remarks"], Json::array());
    fs::remove(list);
    writeFile(tree / std::string(128, 'm'), "x");
    expectRefused("the name has 128 bytes, a list holds 127");
    fs::remove(tree / std::string(128, 'm'));

    // "/" and two names of 127 bytes with a "/" between them are 256 bytes.
    const fs::path deep = tree / std::string(127, 'd') / std::string(126, 'e');
    fs::create_directories(deep);
    writeFile(deep / "file", "x");
    EXPECT_EQ(make().status, 0);
    EXPECT_EQ(shown()["remarks"], Json::array());
    fs::remove(list);
    const Outcome longer = make({"--prefix", "/p"});
    EXPECT_EQ(longer.status, 3);
    EXPECT_NE(longer.err.find("its directory has 257 bytes, a list holds 255"), std::string::npos) << longer.err;
    EXPECT_FALSE(fs::exists(list));
}

TEST_F(ListMakeTest, LongPathsKeepDistinctPoolNames)
{
    const fs::path deep = tree / std::string(120, 'd');
    fs::create_directory(deep);
    writeFile(deep / "first-file", "1");
    writeFile(deep / "second-file", "2");
    writeFile(deep / "sixsix", "3");
    ASSERT_EQ(make().status, 0);
    std::set<std::string> names;
    const Json report = shown();
    EXPECT_EQ(report["remarks"], Json::array());
    for (const Json &record : report["records"]) {
        const std::string name = record["pool_name"];
        EXPECT_LE(name.size(), 127u);
        EXPECT_TRUE(names.insert(name).second) << name;
    }
    EXPECT_EQ(names.size(), 8u);
    EXPECT_EQ(names.count(std::string(120, 'd') + "/sixsix"), 1u);
    const std::string shortened =
        std::string(110, 'd') + "-" + sha256(std::string(120, 'd') + "/first-file").substr(0, 16);
    EXPECT_EQ(names.count(shortened), 1u);
}

TEST_F(ListMakeTest, SpecialFilesAndModeZeroAreRefused)
{
    ASSERT_EQ(mkfifo((tree / "fifo").c_str(), 0600), 0);
    expectRefused((tree / "fifo").string() + ": neither a file nor a directory");
    fs::remove(tree / "fifo");
    writeFile(tree / "locked", "x");
    chmod((tree / "locked").c_str(), 0);
    expectRefused("a list cannot hold mode 0");
}

TEST_F(ListMakeTest, TheListDoesNotListItself)
{
    list = tree / "list.txt";
    EXPECT_EQ(make().status, 0);
    EXPECT_EQ(readFile(list).find("list.txt"), std::string::npos);
    const Outcome again = make();
    EXPECT_EQ(again.status, 2);
    EXPECT_NE(again.err.find("both the list to make and a file of the tree"), std::string::npos) << again.err;
}

TEST_F(ListMakeTest, WrongUsage)
{
    for (const char *prefix : {"relative", "/a b", "/a/../b", "/a//b", "/a/./b"}) {
        EXPECT_EQ(make({"--prefix", prefix}).status, 2) << prefix;
    }
    EXPECT_EQ(runTool({"list", "make", tree, "--json"}).status, 2);
    EXPECT_EQ(runTool({"list", "make"}).status, 2);
    EXPECT_FALSE(fs::exists(list));
    EXPECT_EQ(make({"--prefix", "/p/"}).status, 0);
    EXPECT_EQ(shown()["records"][0]["directory"], "/p");
}

TEST_F(ListMakeTest, WhatCannotBeReadOrWritten)
{
    EXPECT_EQ(runTool({"list", "make", dir / "missing", "-o", list}).status, 3);
    EXPECT_EQ(runTool({"list", "make", tree / "bin/app", "-o", list}).status, 3);
    EXPECT_EQ(runTool({"list", "make", tree / "empty", "-o", list}).status, 3);
    EXPECT_FALSE(fs::exists(list));
    EXPECT_EQ(runTool({"list", "make", tree, "-o", dir / "no/where.txt"}).status, 3);
    writeFile(list, "before");
    writeFile(tree / "bad name", "x");
    EXPECT_EQ(make().status, 3);
    EXPECT_EQ(readFile(list), "before");
}

} // namespace tarn::test
