// Board file lists: their names, and gathering the records of a board and of its images.
#include "file_list_test.h"

namespace tarn::test {
namespace {

#define LOCPKG_LINE(...) errorOf(kFileListFile, "LOCPKG_INSTALL", __VA_ARGS__)

class BoardListTest : public FileListTest {
protected:
    const fs::path boardList = descDir / "board_filelist_1A_00000003.txt";
    const fs::path imageList = versionDir / "image_filelist_1A_00000003.txt";

    fs::path listOf(const std::string &image) const { return descDir / (image + "_board_filelist.txt"); }
    uint32_t gather() { return SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", "pkg", "1.0", &list); }
    uint32_t merge() { return SWM_MergeAllImageBoardFileRecord("1A", "pkg", "1.0", &list); }

    static Lines unreadable(const fs::path &file)
    {
        return {FILE_LIST_ERROR("SwmLoadFileContent get file size not correct, file=%s size=%d.", file.c_str(), 0),
                loadRefused()};
    }
    static LogLine notMerged(const fs::path &file)
    {
        return LOCPKG_LINE("Merge image filelist record from file[%s] unsuccessfully", file.c_str());
    }
    static LogLine notRead(const fs::path &file)
    {
        return FILE_LIST_ERROR("Get board filelist record from file[%s] unsuccessfully", file.c_str());
    }
    static LogLine noImages()
    {
        return LOCPKG_LINE("Get image name record unsuccessfully, pkgName = %s, pkgVer = %s", "pkg", "1.0");
    }
    static LogLine notGathered() { return FILE_LIST_ERROR("Get all record from image board filelist unsuccessfully"); }
    // "i<from>" and so on; each has a list of its own.
    void writeImages(int number) const
    {
        std::string names;
        for (int image = 0; image < number; ++image) {
            const std::string name = "i" + std::to_string(image);
            names += name + "\n";
            writeFile(listOf(name), fileLine("p", name) + "\n");
        }
        writeFile(imageList, names);
    }
};

// ---- Names ----

TEST_F(BoardListTest, NameOfTheRunningBoard)
{
    char path256[256];
    const auto name = [&](uint32_t size = 256) {
        memset(path256, 'x', sizeof(path256));
        EXPECT_EQ(SWM_GetBoardFilelistFullpath("pkg", "1.0", path256, size), SWM_OK);
        return std::string(path256);
    };
    const std::string prefix = descDir.string() + "/board_filelist_";
    EXPECT_EQ(name(), boardList.string());
    setDevice("board_hard_type = 0xABCDEF01\ncpu_id = 0xFE\n");
    EXPECT_EQ(name(), prefix + "ABCDEF01_000000FE.txt");
    setDevice("board_hard_type = 7\ncpu_id = 256\n");
    EXPECT_EQ(name(), prefix + "7_000000100.txt");
    EXPECT_TRUE(nothingLogged());

    setDevice("board_hard_type = 0x1A\ncpu_id = 3\n");
    const LogLine noCpu = warning("Get cpuid unsuccessfully");
    const LogLine noType = warning("Get hardType unsuccessfully");
    for (const bool scribbled : {false, true}) {
        setScribble(scribbled);
        failCall(Call::GetCpuId, 1);
        EXPECT_EQ(name(), prefix + "1A_00000000.txt");
        EXPECT_TRUE(logged({noCpu}));
        failCall(Call::GetBoardHardType, 1);
        EXPECT_EQ(name(), prefix + "0_00000003.txt");
        EXPECT_TRUE(logged({noType}));
        failCall(Call::GetCpuId, 1);
        failCallToo(Call::GetBoardHardType, 1);
        EXPECT_EQ(name(), prefix + "0_00000000.txt");
        EXPECT_TRUE(logged({noCpu, noType})) << "the processor first";
    }
    const auto size = static_cast<uint32_t>(boardList.string().size());
    EXPECT_EQ(name(size + 1), boardList.string());
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(name(size), boardList.string().substr(0, size - 1));
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_GetBoardFilelistFullpath")}));
    EXPECT_EQ(name(1), "");
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_GetBoardFilelistFullpath")}));

    clearFaults();
    recordCalls({Call::GetDescPath});
    failCall(Call::GetDescPath, 1);
    EXPECT_EQ(name(), "/board_filelist_1A_00000003.txt") << "the directory's result is not looked at";
    EXPECT_EQ(recordedCalls(), Texts{std::string(nameOf(Call::GetDescPath)) + " pkg 1.0 256"});
    EXPECT_TRUE(nothingLogged());
}

TEST_F(BoardListTest, NameForAHardwareType)
{
    char out[256];
    const auto name = [&](const char *type, uint32_t size = 256) {
        memset(out, 'x', sizeof(out));
        SWM_GetBoardFilelistFullpathByHardtype(type, "pkg", "1.0", out, size);
        return std::string(out);
    };
    const std::string prefix = descDir.string() + "/board_filelist_";
    EXPECT_EQ(name("1A"), boardList.string());
    EXPECT_EQ(name("any text"), prefix + "any text_00000003.txt");
    EXPECT_EQ(name(""), prefix + "_00000003.txt");
    EXPECT_EQ(callCount(Call::GetBoardHardType), 0u);
    const auto size = static_cast<uint32_t>(boardList.string().size());
    EXPECT_EQ(name("1A", size), boardList.string().substr(0, size - 1));
    EXPECT_TRUE(nothingLogged()) << "a cut is not reported";
    setScribble(true);
    failCall(Call::GetCpuId, 1);
    EXPECT_EQ(name("1A"), prefix + "1A_00000000.txt");
    EXPECT_TRUE(logged({warning("Get cpuid unsuccessfully")}));
    EXPECT_EQ(name(nullptr), "");
}

// ---- One file ----

TEST_F(BoardListTest, OneFileIsAppended)
{
    const FilelistTxtRecord first = fileRecord("m");
    ASSERT_EQ(SWM_AddFilelistTxtRecord(&list, &first), SWM_OK);
    EXPECT_EQ(SWM_MergeCurrImageBoardFileRecord(path.c_str(), &list), SWM_OK) << "no such file";
    write(fileLine("z") + "\n" + dirLine("a", (dir / "root").string(), "made") + "\n" + fileLine("m") + "\n");
    EXPECT_EQ(SWM_MergeCurrImageBoardFileRecord(path.c_str(), &list), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"m f", "a made", "m f", "z f"}));
    EXPECT_TRUE(fs::exists(dir / "root/made"));
    EXPECT_EQ(callCount(Call::CreateDirWithCustomPermission), 1u);
    EXPECT_EQ(callCount(Call::Memcpy), 1u) << "nodes are moved; the one copy is the test's own record";
    EXPECT_TRUE(nothingLogged());
    write(" \n");
    EXPECT_EQ(SWM_MergeCurrImageBoardFileRecord(path.c_str(), &list), SWM_OK);
    write(fileLine("a") + "\nbad\n");
    EXPECT_EQ(SWM_MergeCurrImageBoardFileRecord(path.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged(badLine("bad") + Lines{loadRefused(), notRead(path)}));
    EXPECT_EQ(texts(), (Texts{"m f", "a made", "m f", "z f"})) << "unchanged";
}

// ---- All images ----

TEST_F(BoardListTest, NoListsAtAll)
{
    EXPECT_EQ(merge(), SWM_OK);
    (&list)->count = 17;
    EXPECT_EQ(gather(), SWM_OK);
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(BoardListTest, TheBoardsRecordsThenEachImages)
{
    writeFile(boardList, fileLine("b", "1") + "\n" + fileLine("a", "2") + "\n" + fileLine("b", "3") + "\n");
    writeFile(imageList, "second\nabsent\nfirst\n");
    writeFile(listOf("first"), fileLine("a", "2") + "\n");
    writeFile(listOf("second"), fileLine("z", "4") + "\n" + fileLine("a", "2") + "\n");
    EXPECT_EQ(gather(), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"a 2", "b 3", "b 1", "a 2", "z 4", "a 2"}));
    EXPECT_EQ(merge(), SWM_OK);
    EXPECT_EQ(texts().size(), 9u) << "appended, duplicates included";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(BoardListTest, AskedForTwentyNamesFirst)
{
    for (const int number : {0, 1, 19, 20, 21, 22, 60}) {
        SCOPED_TRACE(number);
        writeImages(number);
        clearList();
        recordCalls({Call::Malloc});
        EXPECT_EQ(merge(), SWM_OK);
        size_t first = 0;
        size_t exact = 0;
        for (const std::string &call : recordedCalls()) {
            first += call == "malloc 2560" ? 1 : 0;
            exact += call == "malloc " + std::to_string(number * 128) ? 1 : 0;
        }
        EXPECT_GE(first, 1u);
        EXPECT_TRUE(number <= 20 || exact == 1);
        EXPECT_EQ(texts().size(), static_cast<size_t>(number));
        const Texts found = texts();
        EXPECT_TRUE(found.empty() || found.back() == "p i" + std::to_string(number - 1));
        const Lines lines = takeLog();
        EXPECT_EQ(lines.size(), number > 20 ? 1u : 0u);
        EXPECT_TRUE(lines.empty() ||
                    lines[0].text.ends_with("buffer count is not enough, buffer count = " + std::to_string(number) +
                                            ", record count = " + std::to_string(number)));
    }
}

TEST_F(BoardListTest, ImagesThatAppearBetweenTheQuestions)
{
    writeImages(21);
    onCall(Call::GetVersionPath, 2, [&] { writeImages(22); });
    EXPECT_EQ(merge(), SWM_E_BUFFER_SMALL) << "the second status as it is";
    EXPECT_TRUE(faultHit());
    const Lines lines = takeLog();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2].format, noImages().format);
    EXPECT_TRUE(isEmptyList(*&list));
    writeImages(21);
    clearFaults();
    onCall(Call::GetVersionPath, 2, [&] { writeImages(5); });
    EXPECT_EQ(merge(), SWM_OK);
    EXPECT_EQ(texts().size(), 5u) << "fewer are none too many";
    takeLog();
    clearList();
    writeImages(21);
    clearFaults();
    onCall(Call::GetVersionPath, 2, [&] { writeImages(22); });
    EXPECT_EQ(gather(), SWM_FAIL);
    EXPECT_EQ(takeLog().back().format, notGathered().format);
}

TEST_F(BoardListTest, FailuresOfTheImageList)
{
    writeFile(boardList, fileLine("a") + "\n");
    fs::create_directories(imageList);
    const LogLine listUnread = errorOf("tarn_package_image_file.cpp", "SWM_BASE",
                                       "Get all image name record from file[%s] unsuccessfully", imageList.c_str());
    EXPECT_EQ(merge(), SWM_FAIL);
    EXPECT_TRUE(logged({listUnread, noImages()}));
    EXPECT_EQ(gather(), SWM_FAIL);
    EXPECT_TRUE(logged({listUnread, noImages(), notGathered()}));
    EXPECT_TRUE(isEmptyList(*&list)) << "released";
    EXPECT_EQ(liveBlocks(), 0);
    fs::remove(imageList);
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(merge(), SWM_FAIL);
    EXPECT_TRUE(logged({LOCPKG_LINE("Malloc image name buffer unsuccessfully, errno = %d", ENOMEM)}));
}

TEST_F(BoardListTest, NoMemoryForTheExactNumber)
{
    writeImages(21);
    recordCalls({Call::Malloc});
    ASSERT_EQ(merge(), SWM_OK);
    const Texts calls = recordedCalls();
    const auto exact = std::find(calls.begin(), calls.end(), "malloc 2688") - calls.begin();
    takeLog();
    clearList();
    failCall(Call::Malloc, static_cast<unsigned>(exact) + 1, ENOMEM);
    EXPECT_EQ(merge(), SWM_FAIL);
    const Lines lines = takeLog();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[1].text.ends_with("Malloc image name buffer unsuccessfully, errno = 12"));
    EXPECT_TRUE(isEmptyList(*&list));
}

TEST_F(BoardListTest, TheFirstBadImageEndsIt)
{
    writeFile(boardList, fileLine("a") + "\n");
    writeImages(3);
    writeFile(listOf("i1"), "");
    const Lines refused = unreadable(listOf("i1")) + Lines{notRead(listOf("i1")), notMerged(listOf("i1"))};
    EXPECT_EQ(merge(), SWM_FAIL);
    EXPECT_TRUE(logged(refused));
    EXPECT_EQ(texts(), Texts{"p i0"}) << "the gathering operation releases it";
    clearList();
    EXPECT_EQ(gather(), SWM_FAIL);
    EXPECT_TRUE(logged(refused + Lines{notGathered()}));
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(BoardListTest, ABadBoardList)
{
    writeImages(1);
    writeFile(boardList, "");
    EXPECT_EQ(gather(), SWM_FAIL);
    EXPECT_TRUE(logged(unreadable(boardList) +
                       Lines{FILE_LIST_ERROR("Get all record from file[%s] unsuccessfully", boardList.c_str())}));
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(callCount(Call::GetVersionPath), 0u) << "images are not asked for";
}

TEST_F(BoardListTest, ACutImagePathIsWarnedAbout)
{
    // The directory is answered for: a deep pool of 255 bytes leaves no room for the name.
    writeFile(imageList, "short\n");
    writeFile(listOf("short"), fileLine("a"));
    setScribble(true);
    failCall(Call::GetDescPath, 1);
    EXPECT_EQ(merge(), SWM_OK) << "the cut path does not exist";
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_MergeAllImageBoardFileRecord")}));
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(merge(), SWM_OK);
    EXPECT_EQ(texts(), Texts{"a f"});
}

TEST_F(BoardListTest, NullArguments)
{
    char out[8] = "?";
    constexpr const char *kGather = "SWM_GetBrdFileRecordsBySubPkgVerAndHardtype";
    constexpr const char *kMerge = "SWM_MergeAllImageBoardFileRecord";
    constexpr const char *kOne = "SWM_MergeCurrImageBoardFileRecord";
    constexpr const char *kName = "SWM_GetBoardFilelistFullpath";
    constexpr const char *kNameByType = "SWM_GetBoardFilelistFullpathByHardtype";
    const auto named = [&](uint32_t status) { return status == SWM_OK ? SWM_FAIL : SWM_OK; };
    const NullRow rows[] = {
        {kGather, [&] { return SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", nullptr, "1.0", &list); }},
        {kGather, [&] { return SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", "", "1.0", &list); }},
        {kGather, [&] { return SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", "pkg", nullptr, &list); }},
        {kGather, [&] { return SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", "pkg", "1.0", nullptr); }},
        {kMerge, [&] { return SWM_MergeAllImageBoardFileRecord("1A", nullptr, "1.0", &list); }},
        {kMerge, [&] { return SWM_MergeAllImageBoardFileRecord("1A", "pkg", nullptr, &list); }},
        {kMerge, [&] { return SWM_MergeAllImageBoardFileRecord("1A", "pkg", "1.0", nullptr); }},
        {kOne, [&] { return SWM_MergeCurrImageBoardFileRecord(nullptr, &list); }},
        {kOne, [&] { return SWM_MergeCurrImageBoardFileRecord("", &list); }},
        {kOne, [&] { return SWM_MergeCurrImageBoardFileRecord("x", nullptr); }},
        {kName, [&] { return named(SWM_GetBoardFilelistFullpath(nullptr, "1.0", out, 8)); }},
        {kName, [&] { return named(SWM_GetBoardFilelistFullpath("pkg", nullptr, out, 8)); }},
        {kName, [&] { return named(SWM_GetBoardFilelistFullpath("pkg", "1.0", nullptr, 8)); }},
        {kNameByType, [&] { return SWM_GetBoardFilelistFullpathByHardtype("1A", nullptr, "1.0", out, 8), SWM_FAIL; }},
        {kNameByType, [&] { return SWM_GetBoardFilelistFullpathByHardtype("1A", "pkg", "1.0", nullptr, 8), SWM_FAIL; }},
    };
    (&list)->count = 17;
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFileListFile, row.function)}));
    }
    EXPECT_EQ(list.count(), 17u);
    (&list)->count = 0;
    EXPECT_STREQ(out, "?");
    EXPECT_EQ(callCount(Call::GetDescPath), 0u);
}

TEST_F(BoardListTest, ANullHardwareTypeFailsInTheImageQuery)
{
    EXPECT_EQ(SWM_GetBrdFileRecordsBySubPkgVerAndHardtype(nullptr, "pkg", "1.0", &list), SWM_FAIL);
    const Lines lines = takeLog();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[lines.size() - 2].format, noImages().format);
    EXPECT_EQ(lines.back().format, notGathered().format);
    EXPECT_TRUE(isEmptyList(*&list));
}

} // namespace
} // namespace tarn::test
