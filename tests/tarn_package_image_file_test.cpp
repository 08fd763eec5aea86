// Image lists: their lines and their records.
#include <optional>
#include <random>

#include <fcntl.h>

#include "../fuzz/line_list_reference.h"
#include "image_list_test.h"

namespace tarn::test {
namespace {

#define IMAGE_ERROR(...) errorOf(kImageFile, "SWM_BASE", __VA_ARGS__)

LogLine notOpened(const fs::path &path, int error)
{
    return IMAGE_ERROR("Fopen file[%s] unsuccessfully, errno = %d", path.c_str(), error);
}

struct ReadRow {
    const char *name;
    std::string text;
    std::optional<Names> names; // none: the list cannot be read
    Lines lines = {};
};

class ImageListReadTest : public ImageListTest {
protected:
    void expectRead(const ReadRow &row)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text), row.names ? SWM_OK : SWM_FAIL);
        EXPECT_EQ(names(), row.names.value_or(Names()));
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        clearFaults();
        list.clear();
    }
};

TEST_F(ImageListReadTest, SoundLists)
{
    const std::string blanks508(508, ' ');
    const ReadRow rows[] = {
        {"one name per line, in file order", "linux\nrtos\nboot\n", Names{"linux", "rtos", "boot"}},
        {"empty file", "", Names{}},
        {"white space only", " \n\n\t\r\n\v\f\n", Names{}},
        {"blank lines are skipped", "\n \na\n\t\r\n\nb\n\n", Names{"a", "b"}},
        {"blanks around a name go, inner ones stay", " \t boot  image\tone \r\n", Names{"boot  image\tone"}},
        {"CR LF", "a\r\nb\r\n", Names{"a", "b"}},
        {"no line feed at the end", "a\nb", Names{"a", "b"}},
        {"duplicates stay at their first place", "b\na\nb\nc\na\nb\n", Names{"b", "a", "c"}},
        {"duplicates once trimmed", "a\n  a \nb\n", Names{"a", "b"}},
        {"another case is another name", "a\nA\n", Names{"a", "A"}},
        {"any bytes", "\xff\x80\n#a\n", Names{"\xff\x80", "#a"}},
        {"127 bytes", kName127 + "\na\n", Names{kName127, "a"}},
        {"127 bytes and blanks", "  " + kName127 + "  \n", Names{kName127}},
        {"a NUL ends a line", std::string("a\0b\nc\n\0d\ne\n", 11), Names{"a", "c", "e"}},
        {"511 bytes with the line feed", blanks508 + "ab\n", Names{"ab"}},
        {"511 bytes, the line feed by itself", blanks508 + "abc\nd\n", Names{"abc", "d"}},
        {"a line in two pieces, each a name", blanks508 + "image\nb\n", Names{"ima", "ge", "b"}},
        {"a first piece of blanks", blanks508 + "   " + kName127 + "\n", Names{kName127}},
        {"the second piece is a duplicate", "a\n" + blanks508 + "bcda\nb\n", Names{"a", "bcd", "b"}},
        {"three pieces", "a" + std::string(510, ' ') + "b" + std::string(510, ' ') + "c\n", Names{"a", "b", "c"}},
    };
    for (const ReadRow &row : rows) {
        expectRead(row);
    }
}

TEST_F(ImageListReadTest, NameTooLongFailsTheWholeList)
{
    const Lines lines = {IMAGE_ERROR("image name is too long"), nameNotConverted(kName128)};
    const std::string name511(511, 'n');
    const ReadRow rows[] = {
        {"alone", kName128 + "\n", std::nullopt, lines},
        {"in the middle", "a\n  " + kName128 + " \r\nb\n", std::nullopt, lines},
        {"in the last line", "a\n" + kName128 + "\n", std::nullopt, lines},
        {"in a last line without line feed", "a\n" + kName128, std::nullopt, lines},
        {"a piece that is too long",
         name511 + "a\n",
         std::nullopt,
         {IMAGE_ERROR("image name is too long"), nameNotConverted(name511)}},
    };
    for (const ReadRow &row : rows) {
        expectRead(row);
    }
}

TEST_F(ImageListReadTest, ManyTextsAgainstAPlainReader)
{
    std::mt19937 random(1);
    const auto pick = [&](size_t number) { return static_cast<size_t>(random() % number); };
    const std::string pieces[] = {
        "a", "b", "img", " ", "\n", "\n", "\n", "\r\n", "\t", kName127, std::string(1, '\0'), std::string(400, ' ')};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (size_t left = pick(40); left > 0; --left) {
            text += pieces[pick(std::size(pieces))];
        }
        const auto expected = reference::imageNames(text);
        ASSERT_EQ(read(text), expected ? SWM_OK : SWM_FAIL) << testing::PrintToString(text);
        ASSERT_EQ(names(), expected.value_or(Names())) << testing::PrintToString(text);
        list.clear();
    }
}

TEST_F(ImageListTest, RecordsAreZeroFilledAroundTheirNames)
{
    ASSERT_EQ(read("n\n"), SWM_OK);
    EXPECT_EQ(std::string(list.records<ImageNameNode>().at(0)->record.name, 128), "n" + std::string(127, '\0'));
}

TEST_F(ImageListTest, ListIsInitialised)
{
    // What it held before is overwritten, not released.
    SwmListNode other = {};
    writeFile(path, "a\n");
    SwmListHead head = {&other, &other, 17};
    ASSERT_EQ(SWM_GetAllImageName(path.c_str(), &head), SWM_OK);
    EXPECT_EQ(namesOf(head), Names{"a"});
    SWM_FreeImageNameList(&head);
    EXPECT_TRUE(isEmptyList(head));
}

TEST_F(ImageListTest, NotOpened)
{
    EXPECT_EQ(SWM_GetAllImageName(path.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({notOpened(path, ENOENT)}));
    EXPECT_TRUE(isEmptyList(*&list));
    failCall(Call::SwmFopen, 1, EACCES);
    EXPECT_EQ(read("a\n"), SWM_FAIL);
    EXPECT_TRUE(logged({notOpened(path, EACCES)}));
    EXPECT_TRUE(isEmptyList(*&list));
}

TEST_F(ImageListTest, ReadErrorsFailWithoutALine)
{
    EXPECT_EQ(SWM_GetAllImageName(versionDir.c_str(), &list), SWM_FAIL) << "a directory opens and cannot be read";
    EXPECT_TRUE(nothingLogged());
    EXPECT_TRUE(isEmptyList(*&list));

    const fs::path fifo = makeUnreadable();
    const Descriptor ends(fifo, O_RDWR);
    ASSERT_EQ(write(ends, "a\nb\n", 4), 4);
    EXPECT_EQ(SWM_GetAllImageName(fifo.c_str(), &list), SWM_FAIL) << "what was read before the error is released";
    EXPECT_TRUE(nothingLogged());
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(callCount(Call::Fclose), 2u);
}

TEST_F(ImageListTest, FifoWithoutAWriterHoldsNoNames)
{
    EXPECT_EQ(SWM_GetAllImageName(makeUnreadable().c_str(), &list), SWM_OK);
    EXPECT_EQ(list.count(), 0u);
}

TEST_F(ImageListTest, NoMemoryForARecord)
{
    for (unsigned nth = 1; nth <= 2; ++nth) {
        clearFaults();
        failCall(Call::Malloc, nth, ENOMEM);
        EXPECT_EQ(read("one\ntwo\nthree\n"), SWM_FAIL);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_TRUE(logged({IMAGE_ERROR("Malloc memory unsuccessfully, errno = %d", ENOMEM),
                            nameNotConverted(nth == 1 ? "one" : "two")}));
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(ImageListTest, FailedClearsAreWarnedAbout)
{
    failCall(Call::Memset, 2);
    EXPECT_EQ(read("a\nb\n"), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_Trans2ImageListRecord")}));
    EXPECT_EQ(names(), (Names{"a", "b"}));
}

TEST_F(ImageListTest, LineToRecord)
{
    struct Row {
        const char *line;
        bool converted;
    };
    for (const Row &row : {Row{"linux", true}, Row{" not trimmed\t", true}, Row{"", true}, Row{kName127.c_str(), true},
                           Row{kName128.c_str(), false}}) {
        SCOPED_TRACE(row.line);
        ImageNameNode stale = {};
        ImageNameNode *node = &stale;
        EXPECT_EQ(SWM_Trans2ImageListRecord(row.line, &node), row.converted ? SWM_OK : SWM_FAIL);
        if (!row.converted) {
            EXPECT_EQ(node, nullptr);
            EXPECT_TRUE(logged({IMAGE_ERROR("image name is too long")}));
            continue;
        }
        std::string bytes = row.line;
        bytes.resize(128);
        EXPECT_EQ(std::string(node->record.name, 128), bytes);
        EXPECT_EQ(node->links.next, nullptr);
        EXPECT_EQ(node->links.prev, nullptr);
        EXPECT_TRUE(nothingLogged());
        free(node);
    }
    ImageNameNode stale = {};
    ImageNameNode *node = &stale;
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(SWM_Trans2ImageListRecord("a", &node), SWM_FAIL);
    EXPECT_EQ(node, nullptr);
    EXPECT_TRUE(logged({IMAGE_ERROR("Malloc memory unsuccessfully, errno = %d", ENOMEM)}));
}

TEST_F(ImageListTest, InsertionLeavesADuplicateToTheCaller)
{
    ImageNameNode *nodes[3] = {};
    for (size_t i = 0; i < 3; ++i) {
        ASSERT_EQ(SWM_Trans2ImageListRecord(i == 1 ? "b" : "a", &nodes[i]), SWM_OK);
        SWM_InsertImageListRecord(&list, nodes[i]);
    }
    EXPECT_EQ(names(), (Names{"a", "b"}));
    EXPECT_EQ(list.records<ImageNameNode>().at(0), nodes[0]) << "linked, not copied";
    EXPECT_EQ(nodes[2]->links.next, nullptr) << "not linked";
    EXPECT_EQ(liveBlocks(), 3) << "not released";
    free(nodes[2]);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ImageListTest, Release)
{
    ASSERT_EQ(read("a\nb\nc\n"), SWM_OK);
    SWM_FreeImageNameList(&list);
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(liveBlocks(), 0);
    SWM_FreeImageNameList(&list);
    EXPECT_TRUE(isEmptyList(*&list));
    for (const uint32_t wrongCount : {0u, 1u, 7u}) {
        ASSERT_EQ(read("a\nb\nc\n"), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreeImageNameList(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    list.fillWithZeros();
    SWM_FreeImageNameList(&list);
    SWM_FreeImageNameList(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

// ---- Null arguments ----

TEST_F(ImageListTest, NullArguments)
{
    writeFile(path, "a\n");
    SwmListHead head = {nullptr, nullptr, 17};
    uint32_t count = 17;
    ImageNameNode stale = {};
    ImageNameNode *node = &stale;
    const NullRow rows[] = {
        {"SWM_GetAllImageName", [&] { return SWM_GetAllImageName(nullptr, &head); }},
        {"SWM_GetAllImageName", [&] { return SWM_GetAllImageName("", &head); }},
        {"SWM_GetAllImageName", [&] { return SWM_GetAllImageName(path.c_str(), nullptr); }},
        {"SWM_GetImageNameFromFile", [&] { return SWM_GetImageNameFromFile(nullptr, nullptr, &count); }},
        {"SWM_GetImageNameFromFile", [&] { return SWM_GetImageNameFromFile("", nullptr, &count); }},
        {"SWM_GetImageNameFromFile", [&] { return SWM_GetImageNameFromFile(path.c_str(), nullptr, nullptr); }},
        {"SWM_GetImageNameByHardtypeFromSubPkgVer",
         [&] { return SWM_GetImageNameByHardtypeFromSubPkgVer(nullptr, "pkg", "1.0", nullptr, &count); }},
        {"SWM_GetImageNameByHardtypeFromSubPkgVer",
         [&] { return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", nullptr, "1.0", nullptr, &count); }},
        {"SWM_GetImageNameByHardtypeFromSubPkgVer",
         [&] { return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "", "1.0", nullptr, &count); }},
        {"SWM_GetImageNameByHardtypeFromSubPkgVer",
         [&] { return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "pkg", nullptr, nullptr, &count); }},
        {"SWM_GetImageNameByHardtypeFromSubPkgVer",
         [&] { return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "pkg", "1.0", nullptr, nullptr); }},
        {"SWM_GetImageNameFromSubPkgVersion",
         [&] { return SWM_GetImageNameFromSubPkgVersion(nullptr, "1.0", nullptr, &count); }},
        {"SWM_GetImageNameFromSubPkgVersion",
         [&] { return SWM_GetImageNameFromSubPkgVersion("", "1.0", nullptr, &count); }},
        {"SWM_GetImageNameFromSubPkgVersion",
         [&] { return SWM_GetImageNameFromSubPkgVersion("pkg", nullptr, nullptr, &count); }},
        {"SWM_GetImageNameFromSubPkgVersion",
         [&] { return SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", nullptr, nullptr); }},
        {"SWM_Trans2ImageListRecord", [&] { return SWM_Trans2ImageListRecord("a", nullptr); }},
        {"SWM_Trans2ImageListRecord", [&] { return SWM_Trans2ImageListRecord(nullptr, &node); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kImageFile, row.function)}));
        EXPECT_EQ(count, 17u);
        EXPECT_EQ(head.count, 17u);
        EXPECT_EQ(head.next, nullptr);
    }
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

TEST_F(ImageListTest, NullArgumentsOfWhatHasNoResult)
{
    char out[8] = "?";
    struct Row {
        const char *function;
        std::function<void()> run;
    };
    const Row rows[] = {
        {"SWM_GetImageFilelistFullpath", [&] { SWM_GetImageFilelistFullpath(nullptr, "1.0", out, sizeof(out)); }},
        {"SWM_GetImageFilelistFullpath", [&] { SWM_GetImageFilelistFullpath("pkg", nullptr, out, sizeof(out)); }},
        {"SWM_GetImageFilelistFullpath", [&] { SWM_GetImageFilelistFullpath("pkg", "1.0", nullptr, 8); }},
        {"SWM_GetImageFilelistFullpathByHardtype",
         [&] { SWM_GetImageFilelistFullpathByHardtype("1A", nullptr, "1.0", out, sizeof(out)); }},
        {"SWM_GetImageFilelistFullpathByHardtype",
         [&] { SWM_GetImageFilelistFullpathByHardtype("1A", "pkg", nullptr, out, sizeof(out)); }},
        {"SWM_GetImageFilelistFullpathByHardtype",
         [&] { SWM_GetImageFilelistFullpathByHardtype("1A", "pkg", "1.0", nullptr, 8); }},
        {"SWM_InsertImageListRecord", [&] { SWM_InsertImageListRecord(&list, nullptr); }},
        {"SWM_InsertImageListRecord",
         [&] {
             ImageNameNode node = {};
             SWM_InsertImageListRecord(nullptr, &node);
         }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.function);
        row.run();
        EXPECT_TRUE(logged({nullParamOf(kImageFile, row.function)}));
        EXPECT_STREQ(out, "?");
    }
    EXPECT_TRUE(isEmptyList(*&list));
}

TEST_F(ImageListTest, NullHardwareTypeGivesNoPath)
{
    char out[8] = "?";
    SWM_GetImageFilelistFullpathByHardtype(nullptr, "pkg", "1.0", out, sizeof(out));
    EXPECT_STREQ(out, "");
}

} // namespace
} // namespace tarn::test
