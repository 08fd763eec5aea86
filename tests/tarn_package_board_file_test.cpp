// File lists: one line, one record, the directories they name, loading them with those.
#include "file_list_test.h"

namespace tarn::test {
namespace {

constexpr const char *kLine = "SWM_Trans2FilelistTxtRecord";

const std::string kSeven = digestText() + " e usr p f 5 tag";

// 14 columns; one of them can be another.
std::string longLine(size_t column = 99, const std::string &text = "", size_t columns = 14)
{
    Texts values = {digestText(), "e", "usr", "p", "f", "5", "tag", "root:0", "wheel", "755", "opt", "1", "x", "9"};
    if (column < values.size()) {
        values[column] = text;
    }
    std::string line;
    for (size_t i = 0; i < columns; ++i) {
        line += (i == 0 ? "" : " ") + (i < values.size() ? values[i] : "more");
    }
    return line;
}

// ---- One line ----

class FileLineTest : public FileListTest {
protected:
    FilelistTxtRecord record = untouchedRecord<FilelistTxtRecord>();
    std::string trimmed;

    uint32_t convert(std::string line)
    {
        record = untouchedRecord<FilelistTxtRecord>();
        const uint32_t status = SWM_Trans2FilelistTxtRecord(line.data(), &record);
        trimmed = line.c_str();
        return status;
    }
};

TEST_F(FileLineTest, SevenColumnsAndDefaults)
{
    ASSERT_EQ(convert(" \t" + kSeven + " \r\n"), SWM_OK);
    EXPECT_EQ(trimmed, kSeven) << "in place";
    FilelistTxtRecord expected = fileRecord("p");
    expected.col5Num = 5;
    strcpy(expected.col6Text, "tag");
    strcpy(expected.owner, "NA");
    strcpy(expected.group, "NA");
    expected.mode = 288;
    EXPECT_EQ(memcmp(&record, &expected, sizeof(record)), 0) << "and zeroes around the texts";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(FileLineTest, ThirteenAndFourteenColumns)
{
    for (const size_t columns : {13u, 14u}) {
        ASSERT_EQ(convert(longLine(99, "", columns)), SWM_OK);
        FilelistTxtRecord expected = fileRecord("p");
        expected.col5Num = 5;
        strcpy(expected.col6Text, "tag");
        strcpy(expected.owner, "root");
        strcpy(expected.group, "wheel");
        expected.mode = 0755;
        expected.hasCol10 = 1;
        memset(expected.col10Text, 0, sizeof(expected.col10Text));
        strcpy(expected.col10Text, "opt");
        expected.col11Num = 1;
        strcpy(expected.col12Text, "x");
        expected.col13Num = columns == 14 ? 9 : 0;
        EXPECT_EQ(memcmp(&record, &expected, sizeof(record)), 0) << columns;
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(FileLineTest, ColumnCounts)
{
    for (size_t columns = 1; columns <= 20; ++columns) {
        SCOPED_TRACE(columns);
        const bool good = columns == 7 || columns == 13 || columns == 14;
        const std::string line = longLine(99, "", columns);
        EXPECT_EQ(convert(line + "\n"), good ? SWM_OK : SWM_FAIL);
        EXPECT_TRUE(good ? nothingLogged() : logged({badColumnCount(line)}));
    }
    EXPECT_EQ(convert(""), SWM_FAIL);
    EXPECT_EQ(convert(digestText() + "\te\tusr\tp\tf\t5\ttag"), SWM_FAIL) << "a tab does not separate";
    takeLog();
    EXPECT_EQ(convert(digestText() + "  e   usr p  f 5    tag"), SWM_OK) << "several spaces are one";
    EXPECT_STREQ(record.installDir, "usr");
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(FileLineTest, TextsAtTheSizeOfTheirFields)
{
    struct Field {
        size_t column;
        size_t size;
        const char *function;
        std::function<const char *()> value;
    };
    constexpr const char *kBase = "SWM_GetBaseBoardFileInfo";
    constexpr const char *kMore = "SWM_UpdateFileListRecodeByType";
    const Field fields[] = {
        {1, 256, kBase, [&] { return record.entryName; }},  {2, 256, kBase, [&] { return record.installDir; }},
        {3, 128, kBase, [&] { return record.poolName; }},   {4, 128, kBase, [&] { return record.fileName; }},
        {6, 16, kBase, [&] { return record.col6Text; }},    {7, 32, kMore, [&] { return record.owner; }},
        {8, 32, kMore, [&] { return record.group; }},       {10, 256, kMore, [&] { return record.col10Text; }},
        {12, 128, kMore, [&] { return record.col12Text; }},
    };
    for (const Field &field : fields) {
        for (const size_t length : {field.size - 1, field.size, field.size + 1, field.size + 300}) {
            SCOPED_TRACE(std::to_string(field.column) + ": " + std::to_string(length));
            const std::string text = pattern(length).assign(length - 1, 'q') + "r";
            EXPECT_EQ(convert(longLine(field.column, text)), SWM_OK);
            EXPECT_EQ(field.value(), text.substr(0, field.size - 1));
            EXPECT_TRUE(length < field.size ? nothingLogged() : logged({copyWarning("snprintf", field.function)}));
            EXPECT_EQ(record.col13Num, 9) << "goes on";
        }
    }
}

TEST_F(FileLineTest, Numbers)
{
    struct Row {
        size_t column;
        const char *text;
        uint32_t status;
        int64_t value; // what the field holds then
    };
    const Row rows[] = {
        {5, "0", 0, 0},
        {5, "-7", 0, -7},
        {5, "12x", 0, 12},
        {5, "x", 0, 0},
        {5, "2147483647", 0, INT32_MAX},
        {5, "4294967297", 0, 1},
        {13, "-1", 0, -1},
        {13, "010", 0, 10},
        {13, "0x10", 0, 0},
        {13, "word", 0, 0},
        {9, "755", 0, 0755},
        {9, "0755", 0, 0755},
        {9, "4755", 0, 04755},
        {9, "7x", 0, 7},
        {9, "79", 0, 7},
        {9, "-1", 0, 0xFFFFFFFF},
        {9, "0", SWM_FAIL, 0},
        {9, "000", SWM_FAIL, 0},
        {9, "rwx", SWM_FAIL, 0},
        {9, "8", SWM_FAIL, 0},
        {9, "40000000000", SWM_FAIL, 0},
        {9, "40000000001", 0, 1},
        {11, "0", 0, 0},
        {11, "007", 0, 7},
        {11, "4294967296", 0, 0},
        {11, "1a", SWM_FAIL, 0},
        {11, "-1", SWM_FAIL, 0},
        {11, "+1", SWM_FAIL, 0},
        {11, "NA", SWM_FAIL, 0},
        {11, "1.0", SWM_FAIL, 0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::to_string(row.column) + ": " + row.text);
        EXPECT_EQ(convert(longLine(row.column, row.text)), row.status);
        if (row.status != SWM_OK) {
            EXPECT_TRUE(logged({notUpdated(row.text, static_cast<int>(row.column))}));
            continue;
        }
        EXPECT_TRUE(nothingLogged());
        EXPECT_EQ(row.column == 5    ? record.col5Num
                  : row.column == 9  ? static_cast<int64_t>(record.mode)
                  : row.column == 11 ? record.col11Num
                                     : record.col13Num,
                  row.value);
    }
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(FileLineTest, TheFirstBadColumnIsTold)
{
    std::string line = longLine(9, "x");
    line.replace(line.find(" opt 1 x"), 8, " opt y x");
    EXPECT_EQ(convert(line), SWM_FAIL);
    EXPECT_TRUE(logged({notUpdated("x", 9)}));
    EXPECT_EQ(convert(longLine(7, ":")), SWM_FAIL) << "an owner without a piece";
    EXPECT_TRUE(logged({notUpdated(":", 7)}));
    EXPECT_EQ(convert(longLine(8, "::")), SWM_FAIL);
    EXPECT_TRUE(logged({notUpdated("::", 8)}));
    EXPECT_EQ(convert(longLine(8, ":staff:x")), SWM_OK);
    EXPECT_STREQ(record.group, "staff");
}

TEST_F(FileLineTest, DirectoriesAndOptions)
{
    for (const auto &[entry, isDir] :
         {std::pair("/", 1u), std::pair("//", 0u), std::pair("/x", 0u), std::pair("d", 0u)}) {
        ASSERT_EQ(convert(longLine(1, entry)), SWM_OK);
        EXPECT_EQ(record.isDir, isDir) << entry;
    }
    for (const auto &[option, has] :
         {std::pair("NA", 0u), std::pair("NAx", 1u), std::pair("na", 1u), std::pair("N", 1u)}) {
        ASSERT_EQ(convert(longLine(10, option)), SWM_OK);
        EXPECT_EQ(record.hasCol10, has) << option;
    }
}

TEST_F(FileLineTest, ABadDigestDoesNotRejectTheLine)
{
    for (const std::string &text : {std::string("x"), digestText('g'), digestText().substr(1), digestText() + "a"}) {
        ASSERT_EQ(convert(longLine(0, text)), SWM_OK) << text;
    }
    ASSERT_EQ(convert(longLine(0, digestText('A'))), SWM_OK);
    EXPECT_EQ(record.digest[31], 0xAA);
    failCall(Call::GetShaVal, 1);
    ASSERT_EQ(convert(longLine()), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(record.digest[0], 0);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(FileLineTest, FailuresOfThePlatform)
{
    for (const Call call : {Call::StringTrim, Call::TransString2Array}) {
        failCall(call, 1);
        EXPECT_EQ(convert(longLine()), SWM_FAIL);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(nothingLogged());
    }
    for (const auto &[nth, column] : {std::pair(2u, 7), std::pair(3u, 8)}) {
        failCall(Call::TransString2Array, nth);
        EXPECT_EQ(convert(longLine()), SWM_FAIL);
        EXPECT_TRUE(logged({notUpdated(column == 7 ? "root:0" : "wheel", column)}));
    }
    failCall(Call::IsDigitString, 1);
    EXPECT_EQ(convert(longLine()), SWM_FAIL);
    EXPECT_TRUE(logged({notUpdated("1", 11)}));
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(FileLineTest, Steps)
{
    char texts[14][80] = {};
    char *columns[14];
    for (size_t i = 0; i < 14; ++i) {
        columns[i] = strcpy(texts[i], i == 0 ? digestText().c_str() : std::to_string(i * 11).c_str());
    }
    record.col13Num = 1;
    SWM_GetBaseBoardFileInfo(columns, 13, &record);
    EXPECT_EQ(record.col13Num, 1) << "left alone below 14";
    SWM_GetBaseBoardFileInfo(columns, 15, &record);
    EXPECT_EQ(record.col13Num, 143);
    EXPECT_STREQ(record.entryName, "11");
    EXPECT_STREQ(record.col6Text, "66");
    EXPECT_EQ(record.col5Num, 55);
    EXPECT_EQ(record.owner[0], 0x5A) << "none of its columns";
    FilelistTxtRecord few = untouchedRecord<FilelistTxtRecord>();
    SWM_GetBaseBoardFileInfo(columns, 2, &few);
    EXPECT_STREQ(few.entryName, "11");
    EXPECT_EQ(few.installDir[0], 0x5A);

    few = untouchedRecord<FilelistTxtRecord>();
    for (const uint32_t type : {0u, 6u, 13u, 14u, 0xFFFFFFFFu}) {
        EXPECT_EQ(SWM_UpdateFileListRecodeByType(&few, "x", type), SWM_OK) << type;
    }
    EXPECT_TRUE(isUntouched(few));
    SWM_UpdateFileListRecodeDefault(&few);
    EXPECT_STREQ(few.owner, "NA");
    EXPECT_STREQ(few.group, "NA");
    EXPECT_EQ(few.mode, 0440u);
    EXPECT_STREQ(few.col10Text, "NA");
    EXPECT_STREQ(few.col12Text, "");
    EXPECT_EQ(few.col11Num, 0);
    EXPECT_EQ(few.col13Num, 0);
    EXPECT_TRUE(nothingLogged());
}

// ---- Records and lists ----

class FileRecordTest : public FileListTest {};

TEST_F(FileRecordTest, ComparedByPoolNameInByteOrder)
{
    const std::tuple<const char *, const char *, int32_t> rows[] = {
        {"a", "a", 0},  {"a", "b", -1},   {"z", "a", 1},        {"", "a", -1},
        {"ab", "a", 1}, {"\x80", "z", 1}, {"\x80", "\xff", -1},
    };
    for (const auto &[first, second, order] : rows) {
        const FilelistTxtRecord a = fileRecord(first, "1", "x");
        const FilelistTxtRecord b = fileRecord(second, "2", "y", 0);
        EXPECT_EQ(SWM_ComparebyPoolname(&a, &b), order) << first << " " << second;
        EXPECT_EQ(SWM_ComparebyPoolname(&b, &a), -order) << first << " " << second;
    }
}

TEST_F(FileRecordTest, SameRecord)
{
    const FilelistTxtRecord a = fileRecord("p");
    const auto same = [&](const std::function<void(FilelistTxtRecord &)> &change) {
        FilelistTxtRecord other = a;
        change(other);
        return SWM_IsSameRecord(&a, &other);
    };
    EXPECT_EQ(same([](auto &) {}), 1u);
    EXPECT_EQ(same([](auto &r) { r.entryName[0] = 'x'; }), 0u);
    EXPECT_EQ(same([](auto &r) { r.installDir[2] = 'x'; }), 0u);
    EXPECT_EQ(same([](auto &r) { r.poolName[0] = 'x'; }), 0u);
    EXPECT_EQ(same([](auto &r) { r.fileName[1] = 'x'; }), 0u);
    EXPECT_EQ(same([](auto &r) { r.digest[31] ^= 1; }), 0u);
    EXPECT_EQ(same([](auto &r) {
                  r.owner[0] = r.group[0] = r.col6Text[0] = r.col10Text[0] = r.col12Text[0] = 'x';
                  r.mode = r.isDir = r.hasCol10 = 7;
                  r.col5Num = r.col11Num = r.col13Num = 7;
              }),
              1u);
    EXPECT_EQ(SWM_IsSameRecord(nullptr, &a), 0u);
    EXPECT_EQ(SWM_IsSameRecord(&a, nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(FileRecordTest, AddedOnce)
{
    const auto add = [&](const FilelistTxtRecord &record) { return SWM_AddFilelistTxtRecord(&list, &record); };
    for (const char *pool : {"b", "a", "b", "c", "a"}) {
        EXPECT_EQ(add(fileRecord(pool)), SWM_OK);
    }
    EXPECT_EQ(add(fileRecord("b", "g")), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"b f", "a f", "c f", "b g"})) << "at the tail";
    FilelistTxtRecord record = fileRecord("d");
    record.col12Text[127] = 'x';
    EXPECT_EQ(add(record), SWM_OK);
    EXPECT_EQ(memcmp(&list.records<FilelistTxtNode>().back()->record, &record, sizeof(record)), 0) << "as a block";

    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(add(fileRecord("a")), SWM_OK) << "needs no memory";
    EXPECT_FALSE(faultHit());
    EXPECT_EQ(add(fileRecord("e")), SWM_FAIL);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Memset, 1);
    EXPECT_EQ(add(fileRecord("e")), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_AddFilelistTxtRecord")}));
    failCall(Call::Memcpy, 1);
    EXPECT_EQ(add(fileRecord("g")), SWM_OK) << "linked all the same";
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_AddFilelistTxtRecord")}));
    EXPECT_EQ(texts(), (Texts{"b f", "a f", "c f", "b g", "d f", "e f", " "}));
}

TEST_F(FileRecordTest, Release)
{
    for (const uint32_t wrongCount : {3u, 0u, 1u, 7u}) {
        write(fileLine("a") + "\n" + fileLine("b") + "\n" + fileLine("c") + "\n");
        ASSERT_EQ(SwmLoadFileToList(path.c_str(), &list, nullptr), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreeFilelistTxtRecord(&list);
        EXPECT_TRUE(isEmptyList(*&list)) << wrongCount;
        EXPECT_EQ(liveBlocks(), 0);
    }
    SWM_FreeFilelistTxtRecord(&list);
    list.fillWithZeros();
    SWM_FreeFilelistTxtRecord(&list);
    SWM_FreeFilelistTxtRecord(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

TEST_F(FileRecordTest, NullArguments)
{
    FilelistTxtRecord record = untouchedRecord<FilelistTxtRecord>();
    char line[] = " x ";
    const auto nothing = [](const auto &call) { return call(), SWM_FAIL; };
    const NullRow rows[] = {
        {"SWM_AddFilelistTxtRecord", [&] { return SWM_AddFilelistTxtRecord(nullptr, &record); }},
        {"SWM_AddFilelistTxtRecord", [&] { return SWM_AddFilelistTxtRecord(&list, nullptr); }},
        {kLine, [&] { return SWM_Trans2FilelistTxtRecord(nullptr, &record); }},
        {kLine, [&] { return SWM_Trans2FilelistTxtRecord(line, nullptr); }},
        {"SWM_UpdateFileListRecodeByType", [&] { return SWM_UpdateFileListRecodeByType(nullptr, "x", 10); }},
        {"SWM_UpdateFileListRecodeByType", [&] { return SWM_UpdateFileListRecodeByType(&record, nullptr, 10); }},
        {"SWM_UpdateFileListRecodeDefault", [&] { return nothing([] { SWM_UpdateFileListRecodeDefault(nullptr); }); }},
        {"SWM_GetBaseBoardFileInfo", [&] { return nothing([&] { SWM_GetBaseBoardFileInfo(nullptr, 7, &record); }); }},
        {"SWM_CreateAllDir", [&] { return SWM_CreateAllDir(nullptr); }},
        {"SWM_CreateAllDirEx", [&] { return SWM_CreateAllDirEx(nullptr); }},
        {"SWM_GetTxtRecordUpdateType", [&] { return SWM_GetTxtRecordUpdateType(nullptr, &record); }},
        {"SWM_GetTxtRecordUpdateType", [&] { return SWM_GetTxtRecordUpdateType(&record, nullptr); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFileListFile, row.function)}));
    }
    EXPECT_TRUE(isUntouched(record));
    EXPECT_STREQ(line, " x ");
    EXPECT_TRUE(isEmptyList(*&list));
}

} // namespace
} // namespace tarn::test
