// rpm lists: lines, and lists in file order.
#include "descriptor_test.h"

namespace tarn::test {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

constexpr const char *kFile = "tarn_package_parse_rpmlist_txt.cpp";
constexpr const char *kConverter = "SWM_Trans2RpmlistTxtRecord";

LogLine wrongColumns(const std::string &line)
{
    return errorOf(kFile, "SWM_BASE", "%s:filelist column number error, line:%s", kConverter, line.c_str());
}

LogLine wrongName(const std::string &name)
{
    return errorOf(kFile, "SWM_BASE", "%s:rpm name error, name:%s", kConverter, name.c_str());
}

LogLine wrongType(const std::string &type)
{
    return errorOf(kFile, "SWM_BASE", "%s:rpm proc type error, type:%s", kConverter, type.c_str());
}

const LogLine kNoMemory = errorOf(kFile, "SWM_BASE", "malloc failed.");

std::string describe(const RpmlistTxtData &data)
{
    EXPECT_TRUE(isZeroFilled(data.rpmFileName));
    EXPECT_TRUE(isZeroFilled(data.rpmName));
    EXPECT_TRUE(isZeroFilled(data.secondText));
    return textOf(data.rpmFileName) + "|" + textOf(data.rpmName) + "|" + textOf(data.secondText) + "|" +
           std::to_string(data.operation);
}

class RpmListTest : public DescriptorTest {
protected:
    Texts records()
    {
        Texts texts;
        for (const RpmlistTxtRecord *record : list.records<RpmlistTxtRecord>()) {
            texts.push_back(describe(record->data));
        }
        return texts;
    }
    uint32_t readFrom(const char *file)
    {
        list.clear();
        *&list = garbageHead();
        const uint32_t status = SWM_GetAllRecordFromRpmlistTxt(file, &list);
        if (isGarbageHead(*&list)) {
            list.fillWithZeros();
        }
        return status;
    }
    uint32_t read(const std::string &text) { return readFrom(write(text)); }
};

// ---- Lines ----

TEST_F(RpmListTest, SoundLines)
{
    const std::string file127 = std::string(123, 'f') + ".rpm";
    const std::string file131 = std::string(127, 'f') + ".rpm";
    const std::string file200 = std::string(196, 'f') + ".rpm";
    const LogLine cut = copyWarning("snprintf", kConverter);
    const LogLine nameCut = copyWarning("strncpy", kConverter);
    struct Row {
        const char *name;
        std::string line;
        std::string expected;
        Lines lines = {};
    };
    const Row rows[] = {
        {"update", "a-1.0.rpm /opt/x update", "a-1.0.rpm|a-1.0|/opt/x|1"},
        {"add", "a.rpm x add", "a.rpm|a|x|0"},
        {"remove", "a.rpm x remove\n", "a.rpm|a|x|2"},
        {"trimmed", " \t a.rpm x add \v\f\r\n", "a.rpm|a|x|0"},
        {"several spaces are one", "a.rpm   x    add", "a.rpm|a|x|0"},
        {"a tab does not separate", "a.rpm\tb.rpm x\ty add", "a.rpm\tb.rpm|a.rpm\tb|x\ty|0"},
        {"suffix only", ".rpm x add", ".rpm||x|0"},
        {"suffix twice", "a.rpm.rpm x add", "a.rpm.rpm|a.rpm|x|0"},
        {"a number sign is no comment", "#a.rpm x add", "#a.rpm|#a|x|0"},
        {"a second text of any kind", "a.rpm remove add", "a.rpm|a|remove|0"},
        {"127 characters", file127 + " x add", file127 + "|" + std::string(123, 'f') + "|x|0"},
        {"name of 127 characters",
         file131 + " x add",
         std::string(127, 'f') + "|" + std::string(127, 'f') + "|x|0",
         {cut}},
        {"name cut too",
         file200 + " x add",
         std::string(127, 'f') + "|" + std::string(127, 'f') + "|x|0",
         {cut, nameCut}},
        {"second text of 255 characters", "a.rpm " + std::string(255, 's') + " add",
         "a.rpm|a|" + std::string(255, 's') + "|0"},
        {"second text cut",
         "a.rpm " + std::string(256, 's') + " add",
         "a.rpm|a|" + std::string(255, 's') + "|0",
         {cut}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::string line = row.line;
        RpmlistTxtData data = {};
        EXPECT_EQ(SWM_Trans2RpmlistTxtRecord(line.data(), &data), SWM_OK);
        EXPECT_EQ(describe(data), row.expected);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(RpmListTest, BadLines)
{
    struct Row {
        std::string line;
        Lines lines;
    };
    const Row rows[] = {
        {"", {wrongColumns("")}},
        {"  \n", {wrongColumns("")}},
        {"a.rpm", {wrongColumns("a.rpm")}},
        {"a.rpm x", {wrongColumns("a.rpm x")}},
        {" a.rpm x add more \n", {wrongColumns("a.rpm x add more")}},
        {"a.rpm x add more than that", {wrongColumns("a.rpm x add more than that")}},
        {"# comment", {wrongColumns("# comment")}},
        {"# a comment", {wrongName("#")}},
        {"a.RPM x add", {wrongName("a.RPM")}},
        {"a.rpm. x add", {wrongName("a.rpm.")}},
        {"arpm x add", {wrongName("arpm")}},
        {"rpm x add", {wrongName("rpm")}},
        {"a.rpm x Add", {wrongType("Add")}},
        {"a.rpm x added", {wrongType("added")}},
        {"a.rpm x ad", {wrongType("ad")}},
        {"a.rpm x REMOVE", {wrongType("REMOVE")}},
        {"a.rpm x updat", {wrongType("updat")}},
        {"a.rpm x 0", {wrongType("0")}},
        {"a.RPM x Add", {wrongName("a.RPM")}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line);
        std::string line = row.line;
        RpmlistTxtData data = {};
        EXPECT_EQ(SWM_Trans2RpmlistTxtRecord(line.data(), &data), SWM_FAIL);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
    // A name that does not fit and does not end right: the message prints the field.
    std::string line = std::string(130, 'f') + " x add";
    RpmlistTxtData data = {};
    EXPECT_EQ(SWM_Trans2RpmlistTxtRecord(line.data(), &data), SWM_FAIL);
    EXPECT_TRUE(logged({copyWarning("snprintf", kConverter), wrongName(std::string(130, 'f'))}));
}

TEST_F(RpmListTest, LineIsTrimmedInPlace)
{
    char line[] = "  a.rpm x add \n";
    RpmlistTxtData data = {};
    EXPECT_EQ(SWM_Trans2RpmlistTxtRecord(line, &data), SWM_OK);
    EXPECT_STREQ(line, "a.rpm x add");
}

TEST_F(RpmListTest, FailedStepsOfALine)
{
    for (const Call call : {Call::StringTrim, Call::TransString2Array}) {
        char line[] = "a.rpm x add";
        RpmlistTxtData data = untouchedRecord<RpmlistTxtData>();
        failCall(call, 1);
        EXPECT_EQ(SWM_Trans2RpmlistTxtRecord(line, &data), SWM_FAIL);
        EXPECT_TRUE(isUntouched(data));
        EXPECT_TRUE(nothingLogged());
    }
    struct Row {
        Call call;
        unsigned nth;
        const char *operation;
        const char *expected;
    };
    const Row rows[] = {{Call::Snprintf, 1, "snprintf", "|a|x|0"},
                        {Call::Snprintf, 2, "snprintf", "a.rpm|a||0"},
                        {Call::Strncpy, 1, "strncpy", "a.rpm||x|0"}};
    for (const Row &row : rows) {
        char line[] = "a.rpm x add";
        RpmlistTxtData data = {};
        failCall(row.call, row.nth);
        EXPECT_EQ(SWM_Trans2RpmlistTxtRecord(line, &data), SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(describe(data), row.expected);
        EXPECT_TRUE(logged({copyWarning(row.operation, kConverter)}));
    }
}

// ---- Files ----

TEST_F(RpmListTest, SoundFiles)
{
    struct Row {
        const char *name;
        std::string text;
        Texts expected;
    };
    const Row rows[] = {
        {"in file order", "b.rpm x add\na.rpm y remove\n", {"b.rpm|b|x|0", "a.rpm|a|y|2"}},
        {"no line feed at the end", "b.rpm x add\na.rpm y remove", {"b.rpm|b|x|0", "a.rpm|a|y|2"}},
        {"duplicates stay", "a.rpm x add\na.rpm x add\n", {"a.rpm|a|x|0", "a.rpm|a|x|0"}},
        {"blank lines", "\n \t\n a.rpm x add\n\v\f\n", {"a.rpm|a|x|0"}},
        {"CR LF", "a.rpm x add\r\n\r\nb.rpm x add\r\n", {"a.rpm|a|x|0", "b.rpm|b|x|0"}},
        {"empty", "", {}},
        {"blank lines only", "\n\n   \n\t", {}},
        {"NUL first: a blank line", "\0a b c\na.rpm x add\n"s, {"a.rpm|a|x|0"}},
        {"NUL behind", "a.rpm x add\0 more\nb.rpm x add\n"s, {"a.rpm|a|x|0", "b.rpm|b|x|0"}},
        {"nothing of the line before",
         "long-name.rpm long-text remove\na.rpm x add\n",
         {"long-name.rpm|long-name|long-text|2", "a.rpm|a|x|0"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text), SWM_OK);
        EXPECT_EQ(records(), row.expected);
        EXPECT_TRUE(nothingLogged());
    }
}

// Pieces of 511 bytes, each a line of its own.
TEST_F(RpmListTest, LongLines)
{
    const std::string blanks(499, ' ');
    EXPECT_EQ(read("a.rpm x add " + blanks + "b.rpm x add\n"), SWM_OK) << "11 bytes and 500 blanks";
    EXPECT_EQ(records(), (Texts{"a.rpm|a|x|0", "b.rpm|b|x|0"}));
    EXPECT_EQ(read("a.rpm x add" + blanks + "b.rpm x add\n"), SWM_FAIL) << "the piece ends in the next name";
    EXPECT_TRUE(logged({wrongColumns("a.rpm x add" + blanks + "b")}));
    EXPECT_EQ(read(std::string(511, ' ') + "b.rpm x add\n"), SWM_OK);
    EXPECT_EQ(records(), Texts{"b.rpm|b|x|0"});
    EXPECT_TRUE(nothingLogged());
}

TEST_F(RpmListTest, OneBadLineFailsTheWholeFile)
{
    struct Row {
        const char *name;
        std::string text;
        Lines lines;
    };
    const Row rows[] = {
        {"first", "a.rpm x\nb.rpm x add\n", {wrongColumns("a.rpm x")}},
        {"in the middle", "a.rpm x add\na.rpm x Add\nb.rpm x add\n", {wrongType("Add")}},
        {"last", "a.rpm x add\nb.RPM x add\n", {wrongName("b.RPM")}},
        {"last without a line feed", "a.rpm x add\nb.RPM x add", {wrongName("b.RPM")}},
        {"only one without a line feed", "a.rpm x", {wrongColumns("a.rpm x")}},
        {"four fields", "a.rpm x add y\n", {wrongColumns("a.rpm x add y")}},
        {"comment", "a.rpm x add\n# comment\n", {wrongColumns("# comment")}},
        {"NUL in the line", "a.rpm x\0 add\n"s, {wrongColumns("a.rpm x")}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text), SWM_FAIL);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(RpmListTest, FilesThatCannotBeOpenedOrRead)
{
    SwmListHead head = garbageHead();
    EXPECT_EQ(SWM_GetAllRecordFromRpmlistTxt((dir / "missing").c_str(), &head), SWM_FAIL);
    EXPECT_TRUE(isGarbageHead(head)) << "not touched";
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_GetAllRecordFromRpmlistTxt(write("a.rpm x add\n"), &head), SWM_FAIL);
    EXPECT_TRUE(isGarbageHead(head)) << "the scratch record comes first";
    const fs::path directory = dir / "directory";
    fs::create_directory(directory);
    EXPECT_EQ(SWM_GetAllRecordFromRpmlistTxt(directory.c_str(), &head), SWM_FAIL);
    EXPECT_TRUE(isEmptyList(head));
    EXPECT_EQ(readFrom(fifo()), SWM_OK) << "nobody writes: its end";
    EXPECT_TRUE(isEmptyList(*&list));
    for (unsigned nth = 1; nth <= 3; ++nth) {
        failCall(Call::Fgets, nth);
        EXPECT_EQ(read("a.rpm x add\nb.rpm x add\n"), SWM_FAIL) << nth;
        EXPECT_EQ(faultHit(), true);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(RpmListTest, NoMemoryForARecord)
{
    for (unsigned nth = 2; nth <= 3; ++nth) {
        failCall(Call::Malloc, nth);
        EXPECT_EQ(read("a.rpm x add\nb.rpm x add\n"), SWM_FAIL);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(logged({kNoMemory}));
    }
}

TEST_F(RpmListTest, FailedClearsAreWarnedAbout)
{
    const unsigned told = failedClearsToldBy("SWM_GetAllRecordFromRpmlistTxt", [this] {
        EXPECT_EQ(read("a.rpm x add\nb.rpm x add\n"), SWM_OK);
        EXPECT_EQ(records(), (Texts{"a.rpm|a|x|0", "b.rpm|b|x|0"}));
    });
    EXPECT_EQ(told, 4u) << "the scratch record before each line, the line behind it";
}

TEST_F(RpmListTest, AppendingARecord)
{
    RpmlistTxtData data = {};
    memcpy(data.rpmFileName, "a.rpm", 6);
    memcpy(data.rpmName, "a", 2);
    data.operation = 2;
    EXPECT_EQ(SWM_InsertRpmlistTxtRecord(&list, &data), SWM_OK);
    EXPECT_EQ(SWM_InsertRpmlistTxtRecord(&list, &data), SWM_OK);
    EXPECT_EQ(records(), (Texts{"a.rpm|a||2", "a.rpm|a||2"}));
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_InsertRpmlistTxtRecord(&list, &data), SWM_FAIL);
    EXPECT_TRUE(logged({kNoMemory}));
    EXPECT_EQ(list.count(), 2u);
    failCall(Call::Memcpy, 1);
    EXPECT_EQ(SWM_InsertRpmlistTxtRecord(&list, &data), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_InsertRpmlistTxtRecord")}));
    EXPECT_EQ(records(), (Texts{"a.rpm|a||2", "a.rpm|a||2", "|||0"})) << "linked all the same, zero-filled";
}

TEST_F(RpmListTest, Release)
{
    for (const uint32_t wrongCount : {2u, 0u, 1u, 7u}) {
        ASSERT_EQ(read("a.rpm x add\nb.rpm x add\n"), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreeRpmlistTxtRecord(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    SWM_FreeRpmlistTxtRecord(&list);
    list.fillWithZeros();
    SWM_FreeRpmlistTxtRecord(&list);
    SWM_FreeRpmlistTxtRecord(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

TEST_F(RpmListTest, MissingArguments)
{
    write("a.rpm x add\n");
    SwmListHead head = garbageHead();
    RpmlistTxtData data = untouchedRecord<RpmlistTxtData>();
    char line[] = "a.rpm x add";
    const NullRow rows[] = {
        {"SWM_GetAllRecordFromRpmlistTxt", [&] { return SWM_GetAllRecordFromRpmlistTxt(nullptr, &head); }},
        {"SWM_GetAllRecordFromRpmlistTxt", [&] { return SWM_GetAllRecordFromRpmlistTxt("", &head); }},
        {"SWM_GetAllRecordFromRpmlistTxt", [&] { return SWM_GetAllRecordFromRpmlistTxt(path.c_str(), nullptr); }},
        {"SWM_Trans2RpmlistTxtRecord", [&] { return SWM_Trans2RpmlistTxtRecord(nullptr, &data); }},
        {"SWM_Trans2RpmlistTxtRecord", [&] { return SWM_Trans2RpmlistTxtRecord(line, nullptr); }},
        {"SWM_InsertRpmlistTxtRecord", [&] { return SWM_InsertRpmlistTxtRecord(nullptr, &data); }},
        {"SWM_InsertRpmlistTxtRecord", [&] { return SWM_InsertRpmlistTxtRecord(&head, nullptr); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
    }
    EXPECT_TRUE(isGarbageHead(head));
    EXPECT_TRUE(isUntouched(data));
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

} // namespace
} // namespace tarn::test
