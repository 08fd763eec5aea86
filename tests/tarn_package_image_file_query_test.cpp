// Image lists: the count queries and the names of the lists.
#include <optional>

#include "image_list_test.h"

namespace tarn::test {
namespace {

LogLine notRead(const fs::path &path)
{
    return errorOf(kImageFile, "SWM_BASE", "Get all image name record from file[%s] unsuccessfully", path.c_str());
}

LogLine tooSmall(uint32_t number)
{
    return warning("Image name buffer count is not enough, buffer count = %u, record count = %u", number, number);
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
    const QueryRow tooLong = {
        "name too long",
        "",
        3,
        SWM_FAIL,
        3,
        {},
        {errorOf(kImageFile, "SWM_BASE", "image name is too long"), nameNotConverted(kName128), notRead(path)}};
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

} // namespace
} // namespace tarn::test
