// Link lists of a package version: their names, and gathering those of the board and of its images.
#include "link_list_test.h"

namespace tarn::test {
namespace {

#define LINK_ERROR(...) errorOf(kLinkFile, "SWM_BASE", __VA_ARGS__)
#define LOCPKG_LINK_ERROR(...) errorOf(kLinkFile, "LOCPKG_INSTALL", __VA_ARGS__)

// ---- Names of the lists ----

TEST_F(LinkListTest, FullPath)
{
    struct Row {
        const char *device;
        const char *hardType;
        const char *name;
        Lines lines;
    };
    const Row rows[] = {
        {"cpu_id = 3\n", "1A", "filelink_filelist_1A_00000003.txt", {}},
        {"cpu_id = 0xAB\n", "x y%s", "filelink_filelist_x y%s_000000AB.txt", {}},
        {"cpu_id = 0x123\n", "", "filelink_filelist__000000123.txt", {}},
        {"cpu_id = none\nboard_hard_type = none\n",
         "1a",
         "filelink_filelist_1a_00000000.txt",
         {warning("Get cpuid unsuccessfully")}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        setDevice(row.device);
        char out[384] = "?";
        SWM_GetLinkFilelistFullpath(row.hardType, "pkg", "1.0", out, sizeof(out));
        EXPECT_EQ(out, (descDir / row.name).string());
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(LinkListTest, CutPath)
{
    const std::string whole = (descDir / "filelink_filelist_1A_00000003.txt").string();
    const auto fits = static_cast<uint32_t>(whole.size() + 1);
    for (const uint32_t size : {fits, fits - 1, 1u}) {
        SCOPED_TRACE(size);
        std::string out(fits + 1, '?');
        SWM_GetLinkFilelistFullpath("1A", "pkg", "1.0", out.data(), size);
        EXPECT_EQ(out.c_str(), whole.substr(0, size - 1));
        EXPECT_EQ(out.substr(size), std::string(out.size() - size, '?'));
        EXPECT_TRUE(size == fits ? nothingLogged() : logged({copyWarning("snprintf", "SWM_GetLinkFilelistFullpath")}));
    }
}

// ---- Gathering ----

class LinkListGatherTest : public LinkListTest {
protected:
    const fs::path boardList = descDir / "filelink_filelist_1A_00000003.txt";
    const fs::path images = versionDir / "image_filelist_1A_00000003.txt";

    fs::path listOf(const std::string &image) const { return descDir / (image + "_filelink_filelist.txt"); }
    // What the query for the number, and then for all of them, hands out.
    Links gather()
    {
        uint32_t number = 4711;
        EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, &number), SWM_OK);
        std::vector<LinklistRecord> slots(number + 1, untouchedRecord<LinklistRecord>());
        uint32_t count = number;
        EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", slots.data(), &count), SWM_OK);
        EXPECT_EQ(count, number);
        EXPECT_TRUE(isUntouched(slots.back()));
        slots.pop_back();
        return linksOf(slots);
    }
    void expectFailure(const Lines &lines)
    {
        for (const bool slotsGiven : {false, true}) {
            std::vector<LinklistRecord> slots(9, untouchedRecord<LinklistRecord>());
            uint32_t count = 9;
            EXPECT_EQ(
                SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", slotsGiven ? slots.data() : nullptr, &count),
                SWM_FAIL);
            EXPECT_EQ(count, 9u);
            EXPECT_TRUE(isUntouched(slots[0]));
            EXPECT_TRUE(logged(lines));
            EXPECT_EQ(liveBlocks(), 0);
        }
    }
};

TEST_F(LinkListGatherTest, BoardThenImagesInTheirOrder)
{
    EXPECT_EQ(gather(), Links{}) << "neither a list nor images";
    writeFile(boardList, "s /b\ns /a\ns /b\n");
    EXPECT_EQ(gather(), (Links{{"s", "/b"}, {"s", "/a"}}));
    writeFile(images, "rtos\nlinux\nnone\n");
    EXPECT_EQ(gather(), (Links{{"s", "/b"}, {"s", "/a"}})) << "lists of images may be missing";
    writeFile(listOf("linux"), "l /1\ns /b\n");
    writeFile(listOf("rtos"), "r /2\nr /2\nl /1\n");
    EXPECT_EQ(gather(), (Links{{"s", "/b"}, {"s", "/a"}, {"r", "/2"}, {"l", "/1"}, {"l", "/1"}, {"s", "/b"}}))
        << "duplicates of different files stay";
    fs::remove(boardList);
    EXPECT_EQ(gather(), (Links{{"r", "/2"}, {"l", "/1"}, {"l", "/1"}, {"s", "/b"}}));
    writeFile(listOf("linux"), "\n");
    writeFile(listOf("rtos"), "");
    EXPECT_EQ(gather(), Links{});
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(LinkListGatherTest, MoreImagesThanAnyFirstGuess)
{
    std::string names;
    Links expected;
    for (int i = 0; i < 25; ++i) {
        const std::string image = "image " + std::to_string(i);
        names += image + "\n";
        writeFile(listOf(image), "s /" + std::to_string(i) + "\n");
        expected.emplace_back("s", "/" + std::to_string(i));
    }
    writeFile(images, names);
    EXPECT_EQ(gather(), expected);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LinkListGatherTest, Capacities)
{
    writeFile(boardList, "s /a\ns /b\n");
    writeFile(images, "linux\n");
    writeFile(listOf("linux"), "s /b\n");
    const LogLine tooSmall =
        warning("Link filelist record buffer is not enough, buffer count = %u, record count = %u", 3u, 3u);
    for (const uint32_t capacity : {0u, 1u, 2u, 3u, 4u}) {
        SCOPED_TRACE(capacity);
        std::vector<LinklistRecord> slots(5, untouchedRecord<LinklistRecord>());
        uint32_t count = capacity;
        const bool enough = capacity >= 3;
        EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", slots.data(), &count),
                  enough ? SWM_OK : SWM_E_BUFFER_SMALL);
        EXPECT_EQ(count, 3u);
        EXPECT_TRUE(enough ? nothingLogged() : logged({tooSmall}));
        for (size_t i = 0; i < slots.size(); ++i) {
            EXPECT_EQ(isUntouched(slots[i]), !enough || i >= 3) << i;
        }
        EXPECT_EQ(liveBlocks(), 0) << "the list is released, when the array is too small, too";
    }
}

TEST_F(LinkListGatherTest, SlotsAreWholeRecords)
{
    writeFile(boardList, "s /a\n");
    LinklistRecord slot = untouchedRecord<LinklistRecord>();
    uint32_t count = 1;
    ASSERT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", &slot, &count), SWM_OK);
    const LinklistRecord expected = link("s", "/a");
    EXPECT_EQ(memcmp(&slot, &expected, sizeof(slot)), 0);
    failCall(Call::Memcpy, 2);
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", &slot, &count), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_GetFileLinkRecordFromSubPkgVersion")}));
}

TEST_F(LinkListGatherTest, BoardListThatCannotBeRead)
{
    writeFile(boardList, "s /a\nalone\n");
    expectFailure(
        {lineNotConverted("alone"), LINK_ERROR("Get all record from file[%s] unsuccessfully", boardList.c_str())});
    fs::remove(boardList);
    fs::create_directory(boardList);
    expectFailure({LINK_ERROR("Get all record from file[%s] unsuccessfully", boardList.c_str())});
}

TEST_F(LinkListGatherTest, ImageListThatCannotBeRead)
{
    writeFile(boardList, "s /a\n");
    fs::create_directory(images);
    expectFailure({errorOf("tarn_package_image_file.cpp", "SWM_BASE",
                           "Get all image name record from file[%s] unsuccessfully", images.c_str()),
                   errorOf(kLinkFile, "DISTREPO_CLIENT", "Get all image filelist record count unsuccessfully"),
                   LINK_ERROR("Get all record from image board filelist unsuccessfully")});
}

TEST_F(LinkListGatherTest, ListOfAnImageThatCannotBeRead)
{
    writeFile(boardList, "s /a\n");
    writeFile(images, "linux\nrtos\nboot\n");
    writeFile(listOf("linux"), "s /b\n");
    writeFile(listOf("rtos"), "s /b\na b c\n");
    writeFile(listOf("boot"), "bad\n");
    expectFailure({lineNotConverted("a b c"),
                   LINK_ERROR("Get board filelist record from file[%s] unsuccessfully", listOf("rtos").c_str()),
                   LOCPKG_LINK_ERROR("Get record form linkfile[%s] unsuccessfully", listOf("rtos").c_str()),
                   LINK_ERROR("Get all record from image board filelist unsuccessfully")});
}

TEST_F(LinkListGatherTest, ImageListThatChangesBetweenItsTwoReadings)
{
    const auto writeAtSecondReading = [&](const std::string &text) {
        writeFile(images, "linux\n");
        onCall(Call::SwmFopen, 2, [=, this] { writeFile(images, text); });
    };
    writeFile(listOf("linux"), "s /a\n");
    writeFile(listOf("rtos"), "s /b\n");
    uint32_t count = 17;
    writeAtSecondReading("linux\nrtos\n");
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_E_BUFFER_SMALL);
    EXPECT_TRUE(logged(
        {warning("Image name buffer count is not enough, buffer count = %u, record count = %u", 2u, 2u),
         LOCPKG_LINK_ERROR("Get image filelist record unsuccessfully, pkgName = %s, pkgVer = %s", "pkg", "1.0")}));
    EXPECT_EQ(list.count(), 0u);
    clearFaults();
    writeAtSecondReading("linux\nrtos\n");
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, &count), SWM_FAIL);
    EXPECT_EQ(takeLog().size(), 3u);
    clearFaults();
    writeAtSecondReading("rtos\n");
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_OK);
    EXPECT_EQ(links(), (Links{{"s", "/b"}}));
    clearFaults();
    list.clear();
    writeFile(images, "linux\nrtos\n");
    onCall(Call::SwmFopen, 2, [&] { writeFile(images, "rtos\n"); });
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_OK);
    EXPECT_EQ(links(), (Links{{"s", "/b"}})) << "only the names that were read";
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(liveBlocks(), 1);
}

TEST_F(LinkListGatherTest, NoMemoryForTheNames)
{
    writeFile(images, "\n");
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_OK) << "no names need none";
    EXPECT_FALSE(faultHit());
    writeFile(images, "linux\n");
    failCall(Call::Malloc, 2, ENOMEM); // the first is the one name of the query for their number
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_FAIL);
    EXPECT_TRUE(logged({LOCPKG_LINK_ERROR("Malloc image name buffer unsuccessfully, errno = %d", ENOMEM)}));

    failCall(Call::Memset, 2); // likewise
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_MergeLinkFilelistRecordFromImageList")}));
}

TEST_F(LinkListGatherTest, MergingImagesAppends)
{
    ASSERT_EQ(read("s /z\n"), SWM_OK);
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_OK) << "no image list";
    writeFile(images, "linux\nrtos\n");
    writeFile(listOf("linux"), "s /z\ns /a\n");
    writeFile(listOf("rtos"), "s /a\n");
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_OK);
    EXPECT_EQ(links(), (Links{{"s", "/z"}, {"s", "/z"}, {"s", "/a"}, {"s", "/a"}}));
    writeFile(listOf("rtos"), "bad\n");
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", &list), SWM_FAIL);
    EXPECT_EQ(list.count(), 6u) << "what was merged before stays";
    takeLog();
}

TEST_F(LinkListGatherTest, MergingOneFile)
{
    const fs::path missing = dir / "missing";
    EXPECT_EQ(SWM_MergeCurrLinkFilelistRecord(missing.c_str(), &list), SWM_OK);
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
    writeFile(path, "s /b\ns /a\ns /b\n");
    EXPECT_EQ(SWM_MergeCurrLinkFilelistRecord(path.c_str(), &list), SWM_OK);
    EXPECT_EQ(SWM_MergeCurrLinkFilelistRecord(path.c_str(), &list), SWM_OK);
    const Links twice = {{"s", "/b"}, {"s", "/a"}, {"s", "/b"}, {"s", "/a"}};
    EXPECT_EQ(links(), twice);
    writeFile(path, "\n");
    EXPECT_EQ(SWM_MergeCurrLinkFilelistRecord(path.c_str(), &list), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    writeFile(path, "s /c\nbad\n");
    EXPECT_EQ(SWM_MergeCurrLinkFilelistRecord(path.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged(
        {lineNotConverted("bad"), LINK_ERROR("Get board filelist record from file[%s] unsuccessfully", path.c_str())}));
    EXPECT_EQ(links(), twice) << "nothing of a file that cannot be read";
}

TEST_F(LinkListGatherTest, CutNamesLeadToNoList)
{
    // The directory and a name of 127 bytes do not fit 256 bytes together.
    const std::string version(100, 'v');
    const fs::path versionPath = dir / "pool/pkg" / version;
    fs::create_directories(versionPath / "desc");
    const std::string image(127, 'i');
    writeFile(versionPath / "image_filelist_1A_00000003.txt", image + "\n");
    const std::string whole = (versionPath / "desc" / (image + "_filelink_filelist.txt")).string();
    ASSERT_GT(whole.size(), 255u);
    ASSERT_LT((versionPath / "desc").string().size(), 255u);
    EXPECT_EQ(SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", version.c_str(), &list), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_MergeLinkFilelistRecordFromImageList")}));
    EXPECT_EQ(list.count(), 0u);
}

TEST_F(LinkListGatherTest, OtherBoardsHaveOtherLists)
{
    writeFile(boardList, "s /a\n");
    uint32_t count = 17;
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1B", "pkg", "1.0", nullptr, &count), SWM_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "2.0", nullptr, &count), SWM_OK);
    EXPECT_EQ(count, 0u);
    setDevice("cpu_id = 4\n");
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, &count), SWM_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LinkListGatherTest, ProcessorIdThatCannotBeRead)
{
    setDevice("cpu_id = none\n");
    writeFile(descDir / "filelink_filelist_1A_00000000.txt", "s /a\n");
    writeFile(versionDir / "image_filelist_1A_00000000.txt", "linux\n");
    writeFile(listOf("linux"), "s /b\n");
    uint32_t count = 17;
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, &count), SWM_OK);
    EXPECT_EQ(count, 2u);
    const LogLine line = warning("Get cpuid unsuccessfully");
    EXPECT_TRUE(logged({line, line, line})) << "for the link list, and for both readings of the image list";
}

TEST_F(LinkListGatherTest, NoHardwareTypeIsFoundOutByTheImages)
{
    uint32_t count = 17;
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion(nullptr, "pkg", "1.0", nullptr, &count), SWM_FAIL);
    EXPECT_EQ(count, 17u);
    const Lines lines = takeLog();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_NE(lines[lines.size() - 3].text.find("SWM_GetImageNameByHardtypeFromSubPkgVer: get null param."),
              std::string::npos);
    EXPECT_NE(lines[lines.size() - 2].text.find("Get all image filelist record count unsuccessfully"),
              std::string::npos);
    EXPECT_NE(lines[lines.size() - 1].text.find("Get all record from image board filelist unsuccessfully"),
              std::string::npos);
}

} // namespace
} // namespace tarn::test
