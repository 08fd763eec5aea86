// tarn list gather: the lists of a package version in the pool.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "list_lines.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class ListGatherTest : public testing::Test {
protected:
    TempDir dir;
    fs::path config = dir / "basic.conf";
    fs::path version = dir / "pool/app/1.0";
    fs::path images = version / "image_filelist_1A_00000003.txt";
    fs::path board = version / "desc/board_filelist_1A_00000003.txt";

    void SetUp() override
    {
        fs::create_directories(version / "desc");
        configure("[device]\ncpu_id = 3\n");
    }
    void configure(const std::string &rest)
    {
        writeFile(config, "[paths]\nroot = " + (dir / "root").string() + "\npackage_pool = " + (dir / "pool").string() +
                              "\n" + rest);
        chmod(config.c_str(), 0600);
    }
    Outcome gather(const Arguments &more = {}, const std::string &hardType = "1A")
    {
        return runTool(Arguments{"list", "gather", "app", "1.0", "--hard-type", hardType, "--config", config} + more);
    }
    Json report() { return gather({"--json"}).json(); }
    fs::path imageFiles(const std::string &image) { return version / "desc" / (image + "_board_filelist.txt"); }
};

Json poolNames(const Json &list)
{
    Json names = Json::array();
    for (const Json &record : list["records"]) {
        names.push_back(record["pool_name"]);
    }
    return names;
}

} // namespace

TEST_F(ListGatherTest, BoardFirstThenImagesInTheirOrder)
{
    writeFile(board, FileLine{.poolName = "b"}.text() + FileLine{.poolName = "a"}.text());
    writeFile(images, "two\n\n one \ntwo\nnone\n");
    writeFile(imageFiles("one"), FileLine{.poolName = "a"}.text());
    writeFile(imageFiles("two"), FileLine{.poolName = "z"}.text() + FileLine{.poolName = "y"}.text());
    const Json json = report();
    EXPECT_EQ(json["package"], "app");
    EXPECT_EQ(json["version"], "1.0");
    EXPECT_EQ(json["hard_type"], "1A");
    EXPECT_EQ(json["image_list"], images.string());
    EXPECT_EQ(json["image_list_present"], true);
    EXPECT_EQ(json["images"], Json({"two", "one", "none"}));
    EXPECT_EQ(json["count"], 5);
    ASSERT_EQ(json["lists"].size(), 4u);
    EXPECT_EQ(json["lists"][0]["path"], board.string());
    EXPECT_EQ(json["lists"][0]["image"], nullptr);
    EXPECT_EQ(poolNames(json["lists"][0]), Json({"a", "b"}));
    EXPECT_EQ(json["lists"][1]["path"], imageFiles("two").string());
    EXPECT_EQ(json["lists"][1]["image"], "two");
    EXPECT_EQ(poolNames(json["lists"][1]), Json({"y", "z"}));
    EXPECT_EQ(poolNames(json["lists"][2]), Json({"a"}));
    EXPECT_EQ(json["lists"][3]["present"], false);

    const Outcome text = gather();
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(text.out.rfind("board: " + board.string() + ": 2 records\npool name  ", 0), 0u) << text.out;
    EXPECT_NE(text.out.find("\nimage none: " + imageFiles("none").string() + ": not there\n"), std::string::npos);
    EXPECT_NE(text.out.find("\napp 1.0, board 1A: 5 records, 3 images\n"), std::string::npos) << text.out;
}

TEST_F(ListGatherTest, NoListsAreNoRecords)
{
    const Outcome outcome = gather();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "board: " + board.string() + ": not there\napp 1.0, board 1A: 0 records, 0 images\n");
    EXPECT_EQ(report()["image_list_present"], false);
}

TEST_F(ListGatherTest, ListedDirectoriesAreNotCreated)
{
    writeFile(board, FileLine{.poolName = "d", .entryName = "/", .directory = (dir / "made").string()}.text());
    writeFile(images, "one\n");
    fs::copy_file(board, imageFiles("one"));
    EXPECT_EQ(report()["count"], 2);
    EXPECT_FALSE(fs::exists(dir / "made"));
    EXPECT_FALSE(fs::exists(dir / "root"));
}

TEST_F(ListGatherTest, HardwareTypesAreHexadecimal)
{
    writeFile(board, FileLine{.poolName = "a"}.text());
    for (const char *same : {"1A", "1a", "0x1A", "0X1a", "0000001A"}) {
        EXPECT_NE(gather({}, same).out.find("board 1A: 1 record,"), std::string::npos) << same;
    }
    EXPECT_NE(gather({}, "1B").out.find("board 1B: 0 records,"), std::string::npos);
    for (const char *wrong : {"", "0x", "1G", "-1", "../1A", "123456789", "1A "}) {
        EXPECT_EQ(gather({}, wrong).status, 2) << wrong;
    }
    EXPECT_EQ(runTool({"list", "gather", "app", "1.0", "--config", config}).status, 2);
}

TEST_F(ListGatherTest, NamesAndVersionsAreJudged)
{
    const auto ask = [&](const std::string &name, const std::string &wanted) {
        return runTool({"list", "gather", "--hard-type", "1A", "--config", config, "--", name, wanted});
    };
    for (const char *bad : {"..", ".", "a/b", "a\nb"}) {
        EXPECT_EQ(ask(bad, "1.0").status, 2) << bad;
        EXPECT_EQ(ask("app", bad).status, 2) << bad;
    }
    EXPECT_EQ(ask(std::string(300, 'n'), "1.0").status, 2);
    const Outcome missing = ask("app", "2.0");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, "tarn: app 2.0: not in the package pool: no directory " + (dir / "pool/app/2.0").string() +
                               "\n      next: check name, version and package_pool in " + config.string() + "\n");
}

TEST_F(ListGatherTest, ABadListIsExplained)
{
    writeFile(board, FileLine{.poolName = "a"}.text());
    writeFile(images, "one\n");
    writeFile(imageFiles("one"), FileLine{.poolName = "a", .mode = "0"}.text());
    const Outcome outcome = gather();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find(imageFiles("one").string() + ": line 1, column 9 (mode): \"0\""), std::string::npos);
    writeFile(images, std::string(128, 'i'));
    EXPECT_NE(gather().err.find("line 1, column 0 (image name)"), std::string::npos);
    fs::remove(images);
    ASSERT_EQ(mkfifo(images.c_str(), 0600), 0);
    EXPECT_EQ(gather().status, 3);
}

TEST_F(ListGatherTest, OverlongImagePathsArePassedOverAloud)
{
    writeFile(images, std::string(127, 'i') + "\n");
    const fs::path longPool = dir / std::string(120, 'p');
    fs::create_directories(longPool);
    fs::rename(dir / "pool/app", longPool / "app");
    writeFile(config, "[paths]\npackage_pool = " + longPool.string() + "\n[device]\ncpu_id = 3\n");
    const Outcome outcome = gather();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("over 255 bytes, so that the library passes it over"), std::string::npos);
    EXPECT_NE(outcome.out.find("0 records, 1 image\n"), std::string::npos) << outcome.out;
}

TEST_F(ListGatherTest, AnUnknownProcessorIsZero)
{
    configure("[device]\ncpu_id = many\n");
    writeFile(version / "desc/board_filelist_1A_00000000.txt", FileLine{.poolName = "a"}.text());
    const Outcome outcome = gather();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("1 record,"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "tarn: warning: " + config.string() + ": no processor id (cpu_id), 0 is taken for it\n");
}

} // namespace tarn::test
