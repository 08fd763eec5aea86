// Lists of files for the firmware loader: their lines and the count query.
#include <optional>
#include <random>

#include <fcntl.h>

#include "../fuzz/line_list_reference.h"
#include "line_list_test.h"

namespace tarn::test {
namespace {

using Records = std::vector<BiosloadRecord>;

constexpr const char *kFile = "tarn_package_biosload_file.cpp";
#define BIOS_ERROR(...) errorOf(kFile, "SWM_BASE", __VA_ARGS__)

const std::string kDigest(64, 'a');
constexpr const char *kConverter = "SWM_Trans2BiosloadRecord";

LogLine wrongColumns(const std::string &line)
{
    return BIOS_ERROR("%s:biosload record column number error, line:%s", kConverter, line.c_str());
}

LogLine wrongType(uint32_t type)
{
    return BIOS_ERROR("File type[%u] is not valid.", type);
}

LogLine notConverted(const std::string &line)
{
    return BIOS_ERROR("Trans bioaload file line[%s] to record unsuccessfully", line.c_str());
}

LogLine notOpened(const fs::path &path, int error)
{
    return BIOS_ERROR("Fopen file[%s] unsuccessfully, errno = %d", path.c_str(), error);
}

LogLine readError(int error)
{
    return BIOS_ERROR("Get line from file unsuccessfully, errno = %d", error);
}

LogLine notRead(const fs::path &path)
{
    return BIOS_ERROR("Get all bioaload record from file[%s] unsuccessfully", path.c_str());
}

LogLine tooSmall(uint32_t number)
{
    return warning("Biosload record buffer count is not enough, buffer count = %u, record count = %u", number, number);
}

BiosloadRecord record(const std::string &sha256, const std::string &file, const std::string &field2,
                      const std::string &field3, uint32_t field4, uint32_t type, const std::string &field6 = "")
{
    BiosloadRecord made = {};
    reference::fill(made.sha256Text, sha256);
    reference::fill(made.filePath, file);
    reference::fill(made.field2Text, field2);
    reference::fill(made.field3Text, field3);
    made.field4Num = field4;
    made.fileType = type;
    reference::fill(made.field6Text, field6);
    return made;
}

std::string describe(const BiosloadRecord &made)
{
    return std::string(made.sha256Text) + "|" + made.filePath + "|" + made.field2Text + "|" + made.field3Text + "|" +
           std::to_string(made.field4Num) + "|" + std::to_string(made.fileType) + "|" + made.field6Text;
}

std::vector<std::string> describe(const Records &records)
{
    std::vector<std::string> texts;
    for (const BiosloadRecord &made : records) {
        texts.push_back(describe(made));
    }
    return texts;
}

class BiosloadTest : public LineListTest {
protected:
    Records records()
    {
        Records found;
        for (const BiosloadNode *node : list.records<BiosloadNode>()) {
            found.push_back(node->record);
        }
        return found;
    }
    uint32_t read(const std::string &text)
    {
        writeFile(path, text);
        list.fillWithZeros();
        return SWM_GetAllBiosloadFileRecordInner(path.c_str(), &list);
    }
};

// ---- Lines ----

TEST_F(BiosloadTest, SoundLines)
{
    const auto text = [](size_t size, char byte) { return std::string(size, byte); };
    const LogLine cut = copyWarning("snprintf", kConverter);
    struct Row {
        const char *name;
        std::string line;
        BiosloadRecord expected;
        Lines lines = {};
    };
    const Row rows[] = {
        {"6 columns", kDigest + " a/b v1 x 12 0", record(kDigest, "a/b", "v1", "x", 12, 0)},
        {"7 columns", kDigest + " a/b v1 x 12 1 more", record(kDigest, "a/b", "v1", "x", 12, 1, "more")},
        {"trimmed", " \t d f a b 1 1\r\n", record("d", "f", "a", "b", 1, 1)},
        {"several spaces are one", "d  f a   b 1 1", record("d", "f", "a", "b", 1, 1)},
        {"a tab does not separate", "d f\tg a b 1 1", record("d", "f\tg", "a", "b", 1, 1)},
        {"the digest is any text", "none f a b 1 1", record("none", "f", "a", "b", 1, 1)},
        {"column 4 is decimal", "d f a b 010 1", record("d", "f", "a", "b", 10, 1)},
        {"column 4 up to its first other byte", "d f a b 12x 1", record("d", "f", "a", "b", 12, 1)},
        {"column 4 without digits", "d f a b x 1", record("d", "f", "a", "b", 0, 1)},
        {"column 4 at its largest", "d f a b 4294967295 1", record("d", "f", "a", "b", 4294967295u, 1)},
        {"column 4 beyond: low 32 bits", "d f a b 4294967298 1", record("d", "f", "a", "b", 2, 1)},
        {"column 4 negative: low 32 bits", "d f a b -1 1", record("d", "f", "a", "b", 4294967295u, 1)},
        {"column 4 beyond what is signed", "d f a b 9223372036854775809 1", record("d", "f", "a", "b", 1, 1)},
        {"type is decimal", "d f a b 1 0x1", record("d", "f", "a", "b", 1, 0)},
        {"type without digits", "d f a b 1 x", record("d", "f", "a", "b", 1, 0)},
        {"type up to its first other byte", "d f a b 1 1x", record("d", "f", "a", "b", 1, 1)},
        {"type with a sign", "d f a b 1 +1", record("d", "f", "a", "b", 1, 1)},
        {"type beyond: low 32 bits", "d f a b 1 4294967297", record("d", "f", "a", "b", 1, 1)},
        {"texts that just fit",
         text(64, 'd') + " " + text(255, 'f') + " " + text(40, 'a') + " " + text(127, 'b') + " 1 1 z",
         record(text(64, 'd'), text(255, 'f'), text(40, 'a'), text(127, 'b'), 1, 1, "z")},
        {"long digest is cut", text(65, 'd') + " f a b 1 1", record(text(64, 'd'), "f", "a", "b", 1, 1), {cut}},
        {"long path is cut", "d " + text(256, 'f') + " a b 1 1", record("d", text(255, 'f'), "a", "b", 1, 1), {cut}},
        {"long column 2 is cut",
         "d f " + text(128, 'a') + " b 1 1",
         record("d", "f", text(127, 'a'), "b", 1, 1),
         {cut}},
        {"long column 3 is cut",
         "d f a " + text(128, 'b') + " 1 1",
         record("d", "f", "a", text(127, 'b'), 1, 1),
         {cut}},
        {"long column 6 is cut",
         "d f a b 1 1 " + text(128, 'z'),
         record("d", "f", "a", "b", 1, 1, text(127, 'z')),
         {cut}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::string line = row.line;
        BiosloadRecord converted = {};
        EXPECT_EQ(SWM_Trans2BiosloadRecord(line.data(), &converted), SWM_OK);
        EXPECT_EQ(describe(converted), describe(row.expected));
        EXPECT_EQ(line.c_str(), reference::trimmed(row.line)) << "in place";
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(read(row.line + "\n"), SWM_OK);
        EXPECT_EQ(describe(records()), describe(Records{row.expected}));
        EXPECT_TRUE(logged(row.lines));
        list.clear();
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(BiosloadTest, RefusedLinesFailTheWholeList)
{
    struct Row {
        const char *name;
        std::string line;
        LogLine why;
    };
    const Row rows[] = {
        {"5 columns", "d f a b 1", wrongColumns("d f a b 1")},
        {"8 columns", "d f a b 1 1 x y", wrongColumns("d f a b 1 1 x y")},
        {"1 column", "d", wrongColumns("d")},
        {"type 2", "d f a b 1 2", wrongType(2)},
        {"type 2 of 7 columns", "d f a b 1 2 x", wrongType(2)},
        {"type -1", "d f a b 1 -1", wrongType(4294967295u)},
        {"type 10", "d f a b 1 10", wrongType(10)},
        {"type beyond what is signed", "d f a b 1 9223372036854775808", wrongType(4294967295u)},
        {"type in low 32 bits", "d f a b 1 4294967298", wrongType(2)},
    };
    const std::string sound = "d f a b 1 1\n";
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::string line = " " + row.line + "\r\n";
        BiosloadRecord converted = untouchedRecord<BiosloadRecord>();
        EXPECT_EQ(SWM_Trans2BiosloadRecord(line.data(), &converted), SWM_FAIL);
        EXPECT_TRUE(isUntouched(converted));
        EXPECT_TRUE(logged({row.why}));
        EXPECT_EQ(liveBlocks(), 0);
        for (const std::string &text :
             {line, sound + " " + row.line + " \n" + sound, sound + row.line + "\n", sound + row.line}) {
            clearFaults();
            EXPECT_EQ(read(text), SWM_FAIL);
            EXPECT_TRUE(logged({row.why, notConverted(row.line)}));
            EXPECT_TRUE(isEmptyList(*&list));
            EXPECT_EQ(callCount(Call::Fclose), 1u);
            EXPECT_EQ(liveBlocks(), 0);
        }
    }
}

TEST_F(BiosloadTest, LineByItself)
{
    BiosloadRecord converted = untouchedRecord<BiosloadRecord>();
    char blank[] = " \t";
    EXPECT_EQ(SWM_Trans2BiosloadRecord(blank, &converted), SWM_FAIL) << "no columns";
    EXPECT_TRUE(logged({wrongColumns("")}));
    char line[] = " d f a b 1 1 ";
    EXPECT_EQ(SWM_Trans2BiosloadRecord(nullptr, &converted), SWM_FAIL);
    EXPECT_EQ(SWM_Trans2BiosloadRecord(line, nullptr), SWM_FAIL);
    EXPECT_STREQ(line, " d f a b 1 1 ");
    EXPECT_TRUE(nothingLogged());
    EXPECT_TRUE(isUntouched(converted));
    ASSERT_EQ(SWM_Trans2BiosloadRecord(line, &converted), SWM_OK);
    EXPECT_STREQ(converted.field6Text, "") << "whatever the record held before";
}

// ---- Files ----

TEST_F(BiosloadTest, SoundLists)
{
    const BiosloadRecord a = record("d", "a", "x", "y", 1, 0);
    const BiosloadRecord b = record("d", "b", "x", "y", 1, 1);
    const std::string lineA = "d a x y 1 0";
    const std::string lineB = "d b x y 1 1";
    struct Row {
        const char *name;
        std::string text;
        Records expected;
    };
    const std::string blanks500(500, ' ');
    const Row rows[] = {
        {"file order, duplicates stay", lineB + "\n" + lineA + "\n" + lineB + "\n", {b, a, b}},
        {"empty file", "", {}},
        {"white space only", " \n\t\r\n\v\f\n", {}},
        {"blank lines are skipped", "\n" + lineA + "\n \n\t\n" + lineB + "\n\n", {a, b}},
        {"CR LF", lineA + "\r\n" + lineB + "\r\n", {a, b}},
        {"no line feed at the end", lineA + "\n" + lineB, {a, b}},
        {"a NUL ends a line", lineA + std::string("\0 x\n\0y\n", 7) + lineB + "\n", {a, b}},
        {"511 bytes with the line feed", std::string(510 - lineA.size(), ' ') + lineA + "\n" + lineB, {a, b}},
        {"511 bytes, the line feed by itself", std::string(511 - lineA.size(), ' ') + lineA + "\n" + lineB, {a, b}},
        {"a line in two pieces, each a record", lineA + std::string(511 - lineA.size(), ' ') + lineB + "\n", {a, b}},
        {"cut within a column", std::string(511 - lineA.size(), ' ') + lineA + lineB + "\n", {a, b}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        clearFaults();
        EXPECT_EQ(read(row.text), SWM_OK);
        EXPECT_EQ(describe(records()), describe(row.expected));
        EXPECT_TRUE(nothingLogged());
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        SWM_FreeBiosLoadFileRecordList(&list);
        EXPECT_EQ(liveBlocks(), 0);
    }
    const std::string piece = std::string(510 - lineA.size(), ' ') + lineA;
    EXPECT_EQ(read(piece + "12\n" + lineB), SWM_FAIL) << "the second piece is a line of one column";
    EXPECT_TRUE(logged({wrongColumns("2"), notConverted("2")}));
}

TEST_F(BiosloadTest, ManyTextsAgainstAPlainReader)
{
    std::mt19937 random(1);
    const auto pick = [&](size_t number) { return static_cast<size_t>(random() % number); };
    const std::string columns[] = {"1",  "0", "1",          "0",  kDigest, std::string(130, 'x'),
                                   "-1", "2", "4294967296", "\t", "a b"};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (size_t left = pick(6); left > 0; --left) {
            for (size_t column = pick(20) == 0 ? pick(9) : 6 + pick(2); column > 0; --column) {
                text += columns[pick(pick(30) == 0 ? std::size(columns) : 4)] + std::string(1 + pick(2), ' ');
            }
            text += std::string(pick(20) == 0 ? pick(500) : 0, ' ') + (pick(30) == 0 ? '\0' : '\n');
        }
        const auto expected = reference::biosloadFiles(text);
        ASSERT_EQ(read(text), expected ? SWM_OK : SWM_FAIL) << testing::PrintToString(text);
        ASSERT_EQ(describe(records()), describe(expected.value_or(Records()))) << testing::PrintToString(text);
        list.clear();
    }
    takeLog();
}

TEST_F(BiosloadTest, NotOpened)
{
    EXPECT_EQ(SWM_GetAllBiosloadFileRecordInner(path.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({notOpened(path, ENOENT)}));
    failCall(Call::SwmFopen, 1, EACCES);
    EXPECT_EQ(read("d f a b 1 1\n"), SWM_FAIL);
    EXPECT_TRUE(logged({notOpened(path, EACCES)}));
    EXPECT_TRUE(isEmptyList(*&list));
}

TEST_F(BiosloadTest, ReadErrors)
{
    EXPECT_EQ(SWM_GetAllBiosloadFileRecordInner(versionDir.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({readError(EISDIR)}));
    EXPECT_TRUE(isEmptyList(*&list));
    const fs::path fifo = makeUnreadable();
    const Descriptor ends(fifo, O_RDWR);
    ASSERT_EQ(write(ends, "d f a b 1 1\n", 12), 12);
    EXPECT_EQ(SWM_GetAllBiosloadFileRecordInner(fifo.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({readError(EAGAIN)}));
    EXPECT_TRUE(isEmptyList(*&list)) << "what was read before the error is released";
    EXPECT_EQ(callCount(Call::Fclose), 2u);
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(BiosloadTest, NoMemoryForARecord)
{
    for (unsigned nth = 1; nth <= 2; ++nth) {
        clearFaults();
        failCall(Call::Malloc, nth, ENOMEM);
        EXPECT_EQ(read("d f a b 1 1\nd f a b 1 0\n"), SWM_FAIL);
        EXPECT_TRUE(logged({BIOS_ERROR("Malloc biosload record node memory unsuccessfully, errno = %d", ENOMEM)}));
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        EXPECT_EQ(liveBlocks(), 0);
    }
    clearFaults();
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(read("\n \n"), SWM_OK) << "blank lines need none";
    EXPECT_FALSE(faultHit());
}

TEST_F(BiosloadTest, FailedClearsAreWarnedAbout)
{
    const std::string text = "d f a b 1 1\nd f a b 1 0\n";
    for (unsigned nth = 1; nth <= 4; ++nth) { // each record's node and its line
        SCOPED_TRACE(nth);
        failCall(Call::Memset, nth);
        EXPECT_EQ(read(text), SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(logged({copyWarning("memset", "SWM_GetAllBiosloadFileRecordInner")}));
        EXPECT_EQ(describe(records()), describe(*reference::biosloadFiles(text)));
        list.clear();
    }
}

TEST_F(BiosloadTest, Release)
{
    for (const uint32_t wrongCount : {2u, 0u, 1u, 7u}) {
        ASSERT_EQ(read("d f a b 1 1\nd f a b 1 1\n"), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreeBiosLoadFileRecordList(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    SWM_FreeBiosLoadFileRecordList(&list);
    list.fillWithZeros();
    SWM_FreeBiosLoadFileRecordList(&list);
    SWM_FreeBiosLoadFileRecordList(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

// ---- Count query ----

TEST_F(BiosloadTest, CountQuery)
{
    struct Row {
        const char *name;
        uint32_t records;
        std::optional<uint32_t> capacity; // none: a null array
        uint32_t status;
        Lines lines = {};
    };
    const Row rows[] = {
        {"number only", 3, std::nullopt, SWM_OK},
        {"number of an empty file", 0, std::nullopt, SWM_OK},
        {"no slots", 3, 0, SWM_E_BUFFER_SMALL, {tooSmall(3)}},
        {"one slot too few", 3, 2, SWM_E_BUFFER_SMALL, {tooSmall(3)}},
        {"just enough", 3, 3, SWM_OK},
        {"more than enough", 3, 5, SWM_OK},
        {"no slots for no records", 0, 0, SWM_OK},
        {"slots for no records", 0, 5, SWM_OK},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::string text;
        for (uint32_t i = 0; i < row.records; ++i) {
            text += "d f a b " + std::to_string(i / 2) + " 1\n";
        }
        writeFile(path, text);
        Records slots(6, untouchedRecord<BiosloadRecord>());
        uint32_t count = row.capacity.value_or(4711);
        EXPECT_EQ(SWM_GetAllBiosloadFileRecord(path.c_str(), row.capacity ? slots.data() : nullptr, &count),
                  row.status);
        EXPECT_EQ(count, row.records);
        const uint32_t copied = row.capacity && row.status == SWM_OK ? row.records : 0;
        for (uint32_t i = 0; i < slots.size(); ++i) {
            EXPECT_EQ(isUntouched(slots[i]), i >= copied) << i;
            EXPECT_TRUE(i >= copied || describe(slots[i]) == describe(record("d", "f", "a", "b", i / 2, 1))) << i;
        }
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(BiosloadTest, CountQueryOfAListThatCannotBeRead)
{
    const fs::path missing = dir / "missing";
    writeFile(path, "d f a b 1 1\nd f a b 1 2");
    struct Row {
        fs::path file;
        Lines lines;
    };
    const Row rows[] = {
        {missing, {notOpened(missing, ENOENT), notRead(missing)}},
        {path, {wrongType(2), notConverted("d f a b 1 2"), notRead(path)}},
        {versionDir, {readError(EISDIR), notRead(versionDir)}},
    };
    for (const Row &row : rows) {
        for (const bool slotsGiven : {false, true}) {
            BiosloadRecord slot = untouchedRecord<BiosloadRecord>();
            uint32_t count = 1;
            EXPECT_EQ(SWM_GetAllBiosloadFileRecord(row.file.c_str(), slotsGiven ? &slot : nullptr, &count), SWM_FAIL);
            EXPECT_EQ(count, 1u);
            EXPECT_TRUE(isUntouched(slot));
            EXPECT_TRUE(logged(row.lines));
            EXPECT_EQ(liveBlocks(), 0);
        }
    }
}

TEST_F(BiosloadTest, FailedCopiesAreWarnedAbout)
{
    writeFile(path, "d f a b 1 1\nd f a b 1 1\n");
    BiosloadRecord slots[2];
    uint32_t count = 2;
    failCall(Call::Memcpy, 2);
    EXPECT_EQ(SWM_GetAllBiosloadFileRecord(path.c_str(), slots, &count), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(count, 2u);
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_GetAllBiosloadFileRecord")}));
}

// ---- Null arguments ----

TEST_F(BiosloadTest, NullArguments)
{
    writeFile(path, "d f a b 1 1\n");
    SwmListHead head = {nullptr, nullptr, 17};
    uint32_t count = 17;
    const NullRow rows[] = {
        {"SWM_GetAllBiosloadFileRecordInner", [&] { return SWM_GetAllBiosloadFileRecordInner(nullptr, &head); }},
        {"SWM_GetAllBiosloadFileRecordInner", [&] { return SWM_GetAllBiosloadFileRecordInner("", &head); }},
        {"SWM_GetAllBiosloadFileRecordInner", [&] { return SWM_GetAllBiosloadFileRecordInner(path.c_str(), nullptr); }},
        {"SWM_GetAllBiosloadFileRecord", [&] { return SWM_GetAllBiosloadFileRecord(nullptr, nullptr, &count); }},
        {"SWM_GetAllBiosloadFileRecord", [&] { return SWM_GetAllBiosloadFileRecord("", nullptr, &count); }},
        {"SWM_GetAllBiosloadFileRecord", [&] { return SWM_GetAllBiosloadFileRecord(path.c_str(), nullptr, nullptr); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
    }
    EXPECT_EQ(head.count, 17u);
    EXPECT_EQ(count, 17u);
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

} // namespace
} // namespace tarn::test
