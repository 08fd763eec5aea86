// tarn list show: records as loaded, and the line that keeps a list from loading.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "list_lines.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

const std::string kDigest(64, 'a');
const std::string kShortLine = kDigest + " app /opt pool app 1 tag";

// Fourteen columns, one of them replaced.
std::string lineWith(size_t column, const std::string &value)
{
    std::vector<std::string> columns = {kDigest,  "app",       "/opt", "pool", "app", "1",    "tag",
                                        "root:0", "users:100", "0750", "NA",   "0",   "text", "9"};
    columns[column] = value;
    std::string line;
    for (const std::string &text : columns) {
        line += (line.empty() ? "" : " ") + text;
    }
    return line;
}

class ListShowTest : public testing::Test {
protected:
    TempDir dir;
    fs::path path = dir / "list.txt";

    Outcome show(const std::string &content, const Arguments &more = {})
    {
        writeFile(path, content);
        return runTool(Arguments{"list", "show", path} + more);
    }
    Json shown(const std::string &content, const Arguments &more = {})
    {
        return show(content, Arguments{"--json"} + more).json();
    }
};

} // namespace

TEST_F(ListShowTest, FileRecordsHaveEveryColumn)
{
    const Json report = shown(FileLine{.poolName = "pool", .options = "fast"}.text());
    EXPECT_EQ(report["list"], path.string());
    EXPECT_EQ(report["type"], "files");
    EXPECT_EQ(report["type_detected"], true);
    EXPECT_EQ(report["valid"], true);
    EXPECT_EQ(report["count"], 1);
    EXPECT_EQ(report["remarks"], Json::array());
    EXPECT_EQ(report["records"], Json::array({{{"pool_name", "pool"},
                                               {"entry_name", "entry"},
                                               {"directory", "/opt"},
                                               {"file_name", "pool"},
                                               {"is_directory", false},
                                               {"digest", sha256("content")},
                                               {"number", 5},
                                               {"tag", "tag"},
                                               {"owner", "root"},
                                               {"group", "users"},
                                               {"mode", "0640"},
                                               {"option_text", "fast"},
                                               {"creation_flag", 0},
                                               {"extra_text", "extra"},
                                               {"extra_number", -7}}}));
}

TEST_F(ListShowTest, ShortLinesGetTheDefaults)
{
    const Json record = shown(kShortLine)["records"][0];
    EXPECT_EQ(record["owner"], "NA");
    EXPECT_EQ(record["group"], "NA");
    EXPECT_EQ(record["mode"], "0440");
    EXPECT_EQ(record["option_text"], nullptr);
    EXPECT_EQ(record["extra_text"], "");
    EXPECT_EQ(shown(kDigest + " / /opt pool dir 1 tag")["records"][0]["is_directory"], true);
}

TEST_F(ListShowTest, FileListsComeSortedLaterLinesFirst)
{
    const Json records = shown(FileLine{.poolName = "b", .fileName = "first"}.text() +
                               FileLine{.poolName = "b", .fileName = "second"}.text() +
                               FileLine{.poolName = "a"}.text() + FileLine{.poolName = "B"}.text())["records"];
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0]["pool_name"], "B");
    EXPECT_EQ(records[1]["pool_name"], "a");
    EXPECT_EQ(records[2]["file_name"], "second");
    EXPECT_EQ(records[3]["file_name"], "first");
}

TEST_F(ListShowTest, TheTableIsAligned)
{
    const Outcome outcome = show(FileLine{.poolName = "long-pool-name"}.text() + kDigest + " / / d dir 0 tag\n", {});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "pool name       directory  file            mode  owner       option text  digest begins\n"
                           "d               /          dir/            0440  NA:NA                    directory\n"
                           "long-pool-name  /opt       long-pool-name  0640  root:users               " +
                               sha256("content").substr(0, 16) + "\n" + path.string() + ": file list, 2 records\n");
}

TEST_F(ListShowTest, KindsAreToldApart)
{
    struct Row {
        std::string name;
        std::string content;
        std::string type;
    };
    const std::string bios = kDigest + " /boot/fw.bin a b 3 1";
    const Row rows[] = {
        {"l", kShortLine, "files"},
        {"l", lineWith(0, kDigest), "files"},
        {"l", "\n \n../app /usr/bin/app\n", "links"},
        {"l", "image-one\nimage-two\n", "images"},
        {"l", bios, "bios"},
        {"l", "a-1.0.rpm /opt/x update", "rpm"},
        {"l", bios + " more", "bios"},
        {"image_filelist_1A_00000003.txt", "an image\n", "images"},
        {"image_filelist_1A_00000003.txt", "", "images"},
        {"filelink_filelist_1A_00000003.txt", "", "links"},
        {"one_filelink_filelist.txt", "a b\n", "links"},
        {"one_board_filelist.txt", bios + " more", "files"},
    };
    for (const Row &row : rows) {
        path = dir / row.name;
        const Json report = shown(row.content);
        EXPECT_EQ(report["type"], row.type) << row.name << row.content << report;
        EXPECT_EQ(report["type_detected"], true);
    }
}

TEST_F(ListShowTest, TheTypeCanBeSaid)
{
    EXPECT_EQ(shown("two words\n", {"--type", "images"})["records"], Json({{{"name", "two words"}}}));
    EXPECT_EQ(shown("two words\n", {"--type", "images"})["type_detected"], false);
    EXPECT_EQ(shown("two words\n")["records"], Json({{{"link_path", "words"}, {"link_source", "two"}}}));
    const Outcome wrong = show("x", {"--type", "texts"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.err,
              "tarn: --type texts: no such type of list\n      next: use files, links, images, bios or rpm\n");
}

TEST_F(ListShowTest, RpmListsKeepTheirOrder)
{
    const Json records = shown("b-2.rpm /opt add\na-1.0.rpm  /x update\nb-2.rpm /opt add\nc.rpm - remove\n")["records"];
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0], records[2]);
    EXPECT_EQ(records[1],
              Json({{"operation", "update"}, {"rpm_name", "a-1.0"}, {"rpm_file", "a-1.0.rpm"}, {"text", "/x"}}));
    EXPECT_EQ(records[3]["operation"], "remove");
    EXPECT_EQ(
        runTool({"list", "show", path}).out.rfind("operation  rpm    file       text\nadd        b-2    b-2.rpm", 0),
        0u);
}

TEST_F(ListShowTest, WhatFitsNoKindIsSaid)
{
    const Outcome four = show("one two three four\n");
    EXPECT_EQ(four.status, 1);
    EXPECT_EQ(four.err, "tarn: " + path.string() +
                            ": the first line has 4 columns, as no type of list has\n      next: say with --type "
                            "what it is: files, links, images, bios or rpm\n");
    for (const char *blank : {"", "\n", " \t\r\n"}) {
        EXPECT_EQ(show(blank).status, 3);
    }
    EXPECT_EQ(shown("", {"--type", "links"})["count"], 0);
    EXPECT_EQ(shown(" \n", {"--type", "files"})["count"], 0);
    const Outcome empty = show("", {"--type", "files"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_NE(empty.err.find("empty, a file list has at least one byte (result 0xFFFFFFFF SWM_FAIL)"),
              std::string::npos)
        << empty.err;
}

TEST_F(ListShowTest, LinesThatFailAreNamed)
{
    struct Row {
        std::string type;
        std::string content;
        std::string fault;
    };
    const std::string bios = kDigest + " /f a b 3 ";
    const Row rows[] = {
        {"files", kShortLine + "\n\n" + kShortLine + " root\n",
         "line 3: \"" + (kShortLine + " root").substr(0, 100) + "\": 8 columns, there must be 7, 13 or 14"},
        {"files", lineWith(9, "0") + "\n",
         "line 1, column 9 (mode): \"0\": the mode must be an octal number other than 0"},
        {"files", lineWith(9, "rwx"), "line 1, column 9 (mode): \"rwx\": the mode must be"},
        {"files", lineWith(11, "1a"), "line 1, column 11 (creation flag): \"1a\": there must be decimal digits"},
        {"files", lineWith(11, "-1"), "line 1, column 11 (creation flag): \"-1\": there must be decimal digits"},
        {"files", lineWith(7, "::"), "line 1, column 7 (owner): \"::\": there must be a name"},
        {"files", lineWith(8, ":"), "line 1, column 8 (group): \":\": there must be a name"},
        {"files", lineWith(13, "9 surplus"), ": 15 columns, there must be 7, 13 or 14"},
        {"links", "a b\na\n", "line 2: \"a\": 1 column, there must be 2"},
        {"links", "a b c\na\n", "line 1: \"a b c\": 3 columns, there must be 2 (and 1 more fault)"},
        {"images", "ok\n" + std::string(128, 'i'),
         "line 2, column 0 (image name): \"" + std::string(100, 'i') + "\"...: 128 bytes, a name has at most 127"},
        {"bios", bios + "2", "line 1, column 5 (file type): \"2\": the file type must be 0 or 1"},
        {"bios", bios + "-1", "line 1, column 5 (file type): \"-1\": the file type must be 0 or 1"},
        {"rpm", "a.rpm x add\nb.RPM x add\n", "line 2, column 0 (rpm file): \"b.RPM\": the name must end in \".rpm\""},
        {"rpm", "a.rpm x Add", "line 1, column 2 (operation): \"Add\": the operation must be add, update or remove"},
        {"rpm", "a.rpm add", "line 1: \"a.rpm add\": 2 columns, there must be 3"},
        {"bios", kDigest + " /f a b 3", ": 5 columns, there must be 6 or 7"},
    };
    for (const Row &row : rows) {
        const Outcome outcome = show(row.content, {"--type", row.type});
        EXPECT_EQ(outcome.status, 1) << row.fault;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err.rfind("tarn: " + path.string() + ": line ", 0), 0u) << outcome.err;
        EXPECT_NE(outcome.err.find(row.fault), std::string::npos) << outcome.err << row.fault;
        EXPECT_NE(outcome.err.find("(result 0xFFFFFFFF SWM_FAIL)"), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2) << outcome.err;
    }
}

TEST_F(ListShowTest, FaultsComeAsJson)
{
    const Json report = shown(lineWith(9, "x") + "\n" + lineWith(11, "y") + "\n");
    EXPECT_EQ(report["valid"], false);
    EXPECT_EQ(report["type"], "files");
    EXPECT_EQ(report["fault_count"], 2);
    EXPECT_EQ(report["faults"][0]["line"], 1);
    EXPECT_EQ(report["faults"][1], Json({{"line", 2},
                                         {"column", 11},
                                         {"field", "creation flag"},
                                         {"value", "y"},
                                         {"text", "there must be decimal digits and nothing else"}}));
    EXPECT_EQ(report["error"]["status"], 1);
    EXPECT_EQ(report["error"]["result"], 0xFFFFFFFFu);
    EXPECT_EQ(report["error"]["reason"], "Update record failed, inputStr is x, recordType is 9");

    std::string many;
    for (int line = 0; line < 300; ++line) {
        many += lineWith(9, "x") + "\n";
    }
    EXPECT_EQ(shown(many)["fault_count"], 300);
    EXPECT_EQ(shown(many)["faults"].size(), 100u);
}

TEST_F(ListShowTest, WhatIsNotLoadedAsItStandsIsRemarkedOn)
{
    struct Row {
        std::string type;
        std::string content;
        std::string remark;
    };
    const Row rows[] = {
        {"files", lineWith(0, "abc"), "column 0 (digest): \"abc\": not 64 hexadecimal digits: loaded as zeroes"},
        {"files", lineWith(6, std::string(16, 't')), "column 6 (tag): \"tttttttttttttttt\": 16 bytes, cut to the 15"},
        {"files", lineWith(7, std::string(32, 'o') + ":0"), ": 32 bytes, cut to the 31 that the record holds"},
        {"files", lineWith(3, std::string(128, 'p')), "(pool name): "},
        {"files", lineWith(5, "1x"), "column 5 (number): \"1x\": not a number of 32 bits: loaded as 1"},
        {"files", lineWith(13, "5000000000"), "column 13 (extra number): \"5000000000\": not a number of 32 bits"},
        {"files", lineWith(9, "0755rest"), "column 9 (mode): \"0755rest\": not a plain octal mode: loaded as 755"},
        {"files", kShortLine + std::string("\0\n", 2), "line 1: a NUL byte: what follows it counts as another line"},
        {"links", std::string("a b\0c\n", 6), "line 1: a NUL byte: what follows it is lost"},
        {"links", std::string(256, 's') + " p\n", "column 0 (link source)"},
        {"bios", std::string(65, 'a') + " /f a b 3 0", "column 0 (digest)"},
    };
    for (const Row &row : rows) {
        const Outcome outcome = show(row.content, {"--type", row.type});
        EXPECT_EQ(outcome.status, 0) << row.remark << outcome.err;
        EXPECT_EQ(outcome.err.rfind("tarn: warning: " + path.string() + ": line 1", 0), 0u) << outcome.err;
        EXPECT_NE(outcome.err.find(row.remark), std::string::npos) << outcome.err << row.remark;
        const Json report = shown(row.content, {"--type", row.type});
        EXPECT_EQ(report["remark_count"], 1) << report;
        EXPECT_EQ(report["remarks"].size(), 1u);
    }
}

TEST_F(ListShowTest, LongLinesAreTakenInPiecesAsTheyAreRead)
{
    // 511 bytes are one line; with one more the path falls into a second piece, in which it stands alone.
    const std::string fits = std::string(500, 's') + " " + std::string(10, 'p');
    EXPECT_EQ(show(fits + "\n", {"--type", "links"}).status, 0);
    EXPECT_EQ(shown(fits + "\n", {"--type", "links"})["records"][0]["link_path"], std::string(10, 'p'));
    const Outcome passed = show(std::string(511, 's') + " p\n", {"--type", "links"});
    EXPECT_EQ(passed.status, 1);
    EXPECT_NE(passed.err.find(": 1 column, there must be 2"), std::string::npos) << passed.err;
    const Json two = shown(std::string(200, 's') + " " + std::string(310, 'p') + "qq rr\n", {"--type", "links"});
    EXPECT_EQ(two["count"], 2);
    EXPECT_EQ(two["remarks"][0]["text"], "516 bytes: only 511 are read at once, so that it counts as several lines");
}

TEST_F(ListShowTest, LineEndsOfEveryKindLoadTheSame)
{
    const std::string a = FileLine{.poolName = "a"}.text();
    const std::string b = FileLine{.poolName = "b"}.text();
    const Json expected = shown(a + b)["records"];
    ASSERT_EQ(expected.size(), 2u);
    std::string crlf = a + b;
    for (size_t end = crlf.find('\n'); end != std::string::npos; end = crlf.find('\n', end + 2)) {
        crlf.insert(end, "\r");
    }
    for (const std::string &text : {crlf, a + b.substr(0, b.size() - 1), "\n\n" + a + " \t\n" + b + "\n\n"}) {
        const Outcome outcome = show(text, {"--json"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.json()["records"], expected);
    }
    std::string nul = a + b;
    nul[a.size() - 1] = '\0';
    EXPECT_EQ(shown(nul)["records"], expected);
}

TEST_F(ListShowTest, HostileTextMovesNoCursor)
{
    const Outcome shownNames = show(lineWith(4, "a\x1b[2Jb\xffz"));
    EXPECT_EQ(shownNames.status, 0);
    EXPECT_NE(shownNames.out.find("a\\x1b[2Jb\\xffz"), std::string::npos) << shownNames.out;
    EXPECT_EQ(shownNames.out.find('\x1b'), std::string::npos);
    const Json record = shown(lineWith(4, "b\xffz"))["records"][0];
    EXPECT_EQ(record["file_name_hex"], "62ff7a");
    const Outcome fault = show(lineWith(9, "\x1b[31m"));
    EXPECT_EQ(fault.status, 1);
    EXPECT_EQ(fault.err.find('\x1b'), std::string::npos) << fault.err;
    EXPECT_NE(fault.err.find("\"\\x1b[31m\""), std::string::npos) << fault.err;
}

TEST_F(ListShowTest, WhatIsNoFileCannotBeRead)
{
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    for (const fs::path &other : {dir / "missing", static_cast<const fs::path &>(dir), dir / "fifo"}) {
        const Outcome outcome = runTool({"list", "show", other});
        EXPECT_EQ(outcome.status, 3) << other;
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find("next: name an existing list that you may read"), std::string::npos);
    }
    EXPECT_EQ(runTool({"list", "show"}).status, 2);
    EXPECT_EQ(runTool({"list"}).status, 2);
}

TEST_F(ListShowTest, ListsEndAtTwoGibibytes)
{
    writeFile(path, "");
    fs::resize_file(path, 0x7FFFFFFF); // takes no space
    const Outcome outcome = runTool({"list", "show", path});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "tarn: " + path.string() + ": over 2 GiB, which no list is\n      next: name a record list\n");
}

TEST_F(ListShowTest, ListedDirectoriesAreNotCreated)
{
    const fs::path made = dir / "made";
    EXPECT_EQ(show(std::string(64, '0') + " / " + made.string() + " pool sub 0 tag\n").status, 0);
    EXPECT_FALSE(fs::exists(made));
}

} // namespace tarn::test
