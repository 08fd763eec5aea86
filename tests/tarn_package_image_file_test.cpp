// Image lists: their names, their lines, the count queries.
#include <optional>
#include <random>

#include <fcntl.h>

#include "../fuzz/line_list_reference.h"
#include "line_list_test.h"

namespace tarn::test {
namespace {

using Names = std::vector<std::string>;
using Lines = std::vector<LogLine>;

constexpr const char *kFile = "tarn_package_image_file.cpp";
#define IMAGE_ERROR(...) errorOf(kFile, "SWM_BASE", __VA_ARGS__)

LogLine notOpened(const fs::path &path, int error)
{
    return IMAGE_ERROR("Fopen file[%s] unsuccessfully, errno = %d", path.c_str(), error);
}

LogLine notConverted(const std::string &line)
{
    return IMAGE_ERROR("Trans to image list record unsuccessfully, line = %s", line.c_str());
}

LogLine notRead(const fs::path &path)
{
    return IMAGE_ERROR("Get all image name record from file[%s] unsuccessfully", path.c_str());
}

LogLine tooSmall(uint32_t number)
{
    return warning("Image name buffer count is not enough, buffer count = %u, record count = %u", number, number);
}

const std::string kName127(127, 'n');
const std::string kName128(128, 'n');

class ImageListTest : public LineListTest {
protected:
    Names namesOf(const SwmListHead &head) const
    {
        Names names;
        for (const ImageNameNode *node : List::recordsOf<ImageNameNode>(head)) {
            names.emplace_back(node->record.name);
        }
        return names;
    }
    Names names() { return namesOf(*&list); }
    uint32_t read(const std::string &text)
    {
        writeFile(path, text);
        list.fillWithZeros();
        return SWM_GetAllImageName(path.c_str(), &list);
    }
    fs::path listOfBoard(const char *name = "image_filelist_1A_00000003.txt") const { return versionDir / name; }
};

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
    const Lines lines = {IMAGE_ERROR("image name is too long"), notConverted(kName128)};
    const std::string name511(511, 'n');
    const ReadRow rows[] = {
        {"alone", kName128 + "\n", std::nullopt, lines},
        {"in the middle", "a\n  " + kName128 + " \r\nb\n", std::nullopt, lines},
        {"in the last line", "a\n" + kName128 + "\n", std::nullopt, lines},
        {"in a last line without line feed", "a\n" + kName128, std::nullopt, lines},
        {"a piece that is too long",
         name511 + "a\n",
         std::nullopt,
         {IMAGE_ERROR("image name is too long"), notConverted(name511)}},
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
        EXPECT_TRUE(logged(
            {IMAGE_ERROR("Malloc memory unsuccessfully, errno = %d", ENOMEM), notConverted(nth == 1 ? "one" : "two")}));
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        EXPECT_EQ(liveBlocks(), 0);
    }
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

// ---- Count query ----

struct QueryRow {
    const char *name;
    std::string text;
    std::optional<uint32_t> capacity; // none: a null array
    uint32_t status;
    uint32_t count;
    Names copied;
    Lines lines = {};
};

const QueryRow kQueries[] = {
    {"number only", "b\na\nb\n", std::nullopt, SWM_OK, 2, {}},
    {"number of an empty file", "\n", std::nullopt, SWM_OK, 0, {}},
    {"no slots", "b\na\n", 0, SWM_E_BUFFER_SMALL, 2, {}, {tooSmall(2)}},
    {"one slot too few", "c\nb\na\n", 2, SWM_E_BUFFER_SMALL, 3, {}, {tooSmall(3)}},
    {"just enough, duplicates do not count", "b\na\nb\n", 2, SWM_OK, 2, {"b", "a"}},
    {"more than enough", "b\na\n", 5, SWM_OK, 2, {"b", "a"}},
    {"no slots for no names", "", 0, SWM_OK, 0, {}},
    {"slots for no names", "\n \n", 5, SWM_OK, 0, {}},
};

class ImageListQueryTest : public ImageListTest {
protected:
    template <class Query> void expectAnswer(const QueryRow &row, Query query)
    {
        SCOPED_TRACE(row.name);
        std::vector<ImageNameRecord> slots(8, untouchedRecord<ImageNameRecord>());
        uint32_t count = row.capacity.value_or(4711);
        EXPECT_EQ(query(row.capacity ? slots.data() : nullptr, &count), row.status);
        EXPECT_EQ(count, row.count);
        for (size_t i = 0; i < row.copied.size(); ++i) {
            std::string bytes = row.copied[i];
            bytes.resize(128);
            EXPECT_EQ(std::string(slots[i].name, 128), bytes);
        }
        for (size_t i = row.copied.size(); i < slots.size(); ++i) {
            EXPECT_TRUE(isUntouched(slots[i])) << "slot " << i;
        }
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
};

TEST_F(ImageListQueryTest, OverAFile)
{
    for (const QueryRow &row : kQueries) {
        writeFile(path, row.text);
        expectAnswer(row, [&](ImageNameRecord *names, uint32_t *count) {
            return SWM_GetImageNameFromFile(path.c_str(), names, count);
        });
    }
}

TEST_F(ImageListQueryTest, OverAPackageVersion)
{
    for (const QueryRow &row : kQueries) {
        writeFile(listOfBoard(), row.text);
        writeFile(listOfBoard("image_filelist_other_00000003.txt"), row.text);
        expectAnswer(row, [&](ImageNameRecord *names, uint32_t *count) {
            return SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", names, count);
        });
        expectAnswer(row, [&](ImageNameRecord *names, uint32_t *count) {
            return SWM_GetImageNameByHardtypeFromSubPkgVer("other", "pkg", "1.0", names, count);
        });
    }
}

TEST_F(ImageListQueryTest, MissingListHoldsNoNames)
{
    const QueryRow rows[] = {{"number only", "", std::nullopt, SWM_OK, 0, {}}, {"slots", "", 3, SWM_OK, 0, {}}};
    for (const QueryRow &row : rows) {
        expectAnswer(row, [&](ImageNameRecord *names, uint32_t *count) {
            return SWM_GetImageNameFromFile(path.c_str(), names, count);
        });
        expectAnswer(row, [&](ImageNameRecord *names, uint32_t *count) {
            return SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", names, count);
        });
        expectAnswer(row, [&](ImageNameRecord *names, uint32_t *count) {
            return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "pkg", "no such version", names, count);
        });
    }
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

TEST_F(ImageListQueryTest, ListThatCannotBeRead)
{
    writeFile(path, kName128);
    const QueryRow tooLong = {"name too long",
                              "",
                              3,
                              SWM_FAIL,
                              3,
                              {},
                              {IMAGE_ERROR("image name is too long"), notConverted(kName128), notRead(path)}};
    expectAnswer(tooLong, [&](ImageNameRecord *names, uint32_t *count) {
        return SWM_GetImageNameFromFile(path.c_str(), names, count);
    });
    const QueryRow query = {"number only", "", std::nullopt, SWM_FAIL, 4711, {}, tooLong.lines};
    expectAnswer(query, [&](ImageNameRecord *names, uint32_t *count) {
        return SWM_GetImageNameFromFile(path.c_str(), names, count);
    });
    fs::create_directory(listOfBoard());
    const QueryRow directory = {"directory", "", 3, SWM_FAIL, 3, {}, {notRead(listOfBoard())}};
    expectAnswer(directory, [&](ImageNameRecord *names, uint32_t *count) {
        return SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", names, count);
    });
    expectAnswer(directory, [&](ImageNameRecord *names, uint32_t *count) {
        return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "pkg", "1.0", names, count);
    });
}

TEST_F(ImageListQueryTest, FailedCopiesAreWarnedAbout)
{
    writeFile(path, "a\nb\n");
    ImageNameRecord slots[2];
    uint32_t count = 2;
    failCall(Call::Memcpy, 2);
    EXPECT_EQ(SWM_GetImageNameFromFile(path.c_str(), slots, &count), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(slots[0].name, "a");
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_GetImageNameFromFile")}));
}

// ---- Names of the lists ----

TEST_F(ImageListTest, FullPaths)
{
    struct Row {
        const char *device;
        const char *board;    // of the running board
        const char *hardType; // given
        const char *given;
    };
    const Row rows[] = {
        {"board_hard_type = 0x1A\ncpu_id = 3\n", "image_filelist_1A_00000003.txt", "1a",
         "image_filelist_1a_00000003.txt"},
        {"board_hard_type = 0xABCDEF01\ncpu_id = 0xAB\n", "image_filelist_ABCDEF01_000000AB.txt", "x y",
         "image_filelist_x y_000000AB.txt"},
        {"board_hard_type = 7\ncpu_id = 0x123\n", "image_filelist_7_000000123.txt", "%s",
         "image_filelist_%s_000000123.txt"},
        {"board_hard_type = 0\ncpu_id = 0\n", "image_filelist_0_00000000.txt", "0", "image_filelist_0_00000000.txt"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.device);
        setDevice(row.device);
        char out[384] = "?";
        SWM_GetImageFilelistFullpath("pkg", "1.0", out, sizeof(out));
        EXPECT_EQ(out, (versionDir / row.board).string());
        SWM_GetImageFilelistFullpathByHardtype(row.hardType, "pkg", "1.0", out, sizeof(out));
        EXPECT_EQ(out, (versionDir / row.given).string());
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(ImageListTest, CutPaths)
{
    const std::string whole = listOfBoard().string();
    const auto fits = static_cast<uint32_t>(whole.size() + 1);
    for (const uint32_t size : {fits, fits - 1, 10u, 1u}) {
        SCOPED_TRACE(size);
        std::string out(fits + 1, '?');
        SWM_GetImageFilelistFullpath("pkg", "1.0", out.data(), size);
        EXPECT_EQ(out.c_str(), whole.substr(0, size - 1));
        EXPECT_EQ(out.substr(size), std::string(out.size() - size, '?'));
        EXPECT_TRUE(size == fits ? nothingLogged() : logged({copyWarning("snprintf", "SWM_GetImageFilelistFullpath")}));
        out.assign(fits + 1, '?');
        SWM_GetImageFilelistFullpathByHardtype("1A", "pkg", "1.0", out.data(), size);
        EXPECT_EQ(out.c_str(), whole.substr(0, size - 1));
        EXPECT_EQ(out.substr(size), std::string(out.size() - size, '?'));
        EXPECT_TRUE(nothingLogged());
    }
    uint32_t count = 17;
    const std::string longType(400, 't');
    EXPECT_EQ(SWM_GetImageNameByHardtypeFromSubPkgVer(longType.c_str(), "pkg", "1.0", nullptr, &count), SWM_OK);
    EXPECT_EQ(count, 0u) << "a name that is cut leads to no list";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ImageListTest, WhatTheDeviceDoesNotTellIsZero)
{
    const LogLine cpu = warning("Get cpuid unsuccessfully");
    const LogLine board = warning("Get hardType unsuccessfully");
    struct Row {
        const char *device;
        const char *name;
        const char *given;
        Lines lines;
        Lines givenLines;
    };
    const Row rows[] = {
        {"board_hard_type = 0x1A\ncpu_id = none\n",
         "image_filelist_1A_00000000.txt",
         "image_filelist_1A_00000000.txt",
         {cpu},
         {cpu}},
        {"board_hard_type = none\ncpu_id = 3\n",
         "image_filelist_0_00000003.txt",
         "image_filelist_1A_00000003.txt",
         {board},
         {}},
        {"board_hard_type = none\ncpu_id = none\n",
         "image_filelist_0_00000000.txt",
         "image_filelist_1A_00000000.txt",
         {cpu, board},
         {cpu}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.device);
        setDevice(row.device);
        char out[384] = "?";
        SWM_GetImageFilelistFullpath("pkg", "1.0", out, sizeof(out));
        EXPECT_EQ(out, (versionDir / row.name).string());
        EXPECT_TRUE(logged(row.lines));
        SWM_GetImageFilelistFullpathByHardtype("1A", "pkg", "1.0", out, sizeof(out));
        EXPECT_EQ(out, (versionDir / row.given).string());
        EXPECT_TRUE(logged(row.givenLines));
        uint32_t count = 17;
        EXPECT_EQ(SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", nullptr, &count), SWM_OK);
        EXPECT_EQ(count, 0u);
        EXPECT_TRUE(logged(row.lines));
    }
}

// ---- Null arguments ----

TEST_F(ImageListTest, NullArguments)
{
    writeFile(path, "a\n");
    SwmListHead head = {nullptr, nullptr, 17};
    uint32_t count = 17;
    ImageNameNode stale = {};
    ImageNameNode *node = &stale;
    struct Row {
        const char *function;
        std::function<uint32_t()> run;
    };
    const Row rows[] = {
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
    for (const Row &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
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
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
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
