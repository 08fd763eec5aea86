// Lines of keys and values.
#include "descriptor_test.h"

namespace tarn::test {
namespace {

using namespace std::string_literals;

constexpr const char *kFile = "tarn_package_parse_desc_comm.cpp";

LogLine tooLong(const std::string &key, uint32_t size)
{
    return errorOf(kFile, "SWM_BASE", "The value length of %s is not enough, len = %u, ret = %u", key.c_str(), size,
                   SWM_E_BUFFER_SMALL);
}

class DescCommTest : public DescriptorTest {
protected:
    struct Value {
        uint32_t status;
        std::string text;
    };
    // The value's buffer is filled beforehand, and nothing behind its size may change.
    static Value fromLine(const std::string &line, const std::string &key, uint32_t size = 128)
    {
        return read(size, [&](char *out) { return SWM_ParseValueFromSecLine(line.c_str(), key.c_str(), out, size); });
    }
    Value fromFile(const std::string &text, const std::string &key, uint32_t size = 128) const
    {
        write(text);
        return fromPath(path.c_str(), key, size);
    }
    static Value fromPath(const char *file, const std::string &key, uint32_t size = 128)
    {
        return read(size, [&](char *out) { return SWM_GetSecValueFromDesc(file, key.c_str(), out, size); });
    }

private:
    template <class Read> static Value read(uint32_t size, Read readInto)
    {
        std::string buffer(size + 1, '?');
        const uint32_t status = readInto(buffer.data());
        EXPECT_EQ(buffer[size], '?') << "behind the buffer";
        return {status, std::string(buffer.c_str())};
    }
};

// What a buffer of that size holds that nobody has written to.
std::string unwritten(size_t size = 128)
{
    return std::string(size + 1, '?');
}

TEST_F(DescCommTest, IgnorableLines)
{
    struct Row {
        std::string line;
        uint32_t ignorable;
    };
    const Row rows[] = {
        {"", 1},
        {" ", 1},
        {"  ", 1},
        {"\n", 1},
        {"\t\n\v\f\r ", 1},
        {"#", 1},
        {"# version: 2\n", 1},
        {"  # version: 2\n", 1},
        {" \t\v\f\r#", 1},
        {"##", 1},
        {"version: 2 # note", 0},
        {"a#", 0},
        {": #", 0},
        {"a", 0},
        {" a", 0},
        {";", 0},
        {"\x80", 0},
        {"\x80#", 0},
        {"\xA0#", 0},
        {"\x85", 0},
        {"\x08#", 0},
        {"\x0E#", 0},
        {"\x1F#", 0},
        {"\x1F", 0},
        {std::string(100000, ' ') + "#", 1},
        {std::string(100000, ' ') + "a#", 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsInvalidLine(row.line.c_str()), row.ignorable) << row.line.substr(0, 40);
    }
    EXPECT_EQ(SWM_IsInvalidLine(nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

// Whether a line is blank is the platform's to say; the rest is looked at here.
TEST_F(DescCommTest, BlankLinesAreThePlatformsToJudge)
{
    failCall(Call::IsSpaceString, 1);
    EXPECT_EQ(SWM_IsInvalidLine("  "), 0u) << "no character decides";
    failCall(Call::IsSpaceString, 1);
    EXPECT_EQ(SWM_IsInvalidLine(" #"), 1u);
    setFaultResult(5);
    failCall(Call::IsSpaceString, 1);
    EXPECT_EQ(SWM_IsInvalidLine("a"), 1u);
}

TEST_F(DescCommTest, SectionLines)
{
    struct Row {
        const char *line;
        uint32_t section;
    };
    const Row rows[] = {{":", 1}, {"a:b", 1}, {"files:\n", 1}, {"a b:", 1},         {"# :", 1},  {"a:b:", 1},
                        {"", 0},  {"a", 0},   {"a;b", 0},      {"\xEF\xBC\x9A", 0}, {nullptr, 0}};
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsSection(row.line), row.section) << (row.line == nullptr ? "null" : row.line);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, ValueOfALine)
{
    const std::string kept = unwritten();
    struct Row {
        const char *name;
        std::string line;
        uint32_t status;
        std::string value;
        std::string key = "version";
    };
    const Row rows[] = {
        {"plain", "version:1.3.0", SWM_OK, "1.3.0"},
        {"trimmed", "version: \t1.3.0 \v\f\r\n", SWM_OK, "1.3.0"},
        {"inner white space stays", "version: a  b\tc", SWM_OK, "a  b\tc"},
        {"blanks before the key", "  version : 1", SWM_OK, "1"},
        {"a comment behind is part of it", "version: 2 # note", SWM_OK, "2 # note"},
        {"comment lines are not looked at here", "# version: 2", SWM_OK, "2"},
        {"key inside a longer key", "package_version: 9", SWM_OK, "9"},
        {"key with more behind it", "versions: 9", SWM_OK, "9"},
        {"key inside the value", "name: my version", SWM_OK, "my version"},
        {"key is the value", "name:version", SWM_OK, "version"},
        {"key across the colon", "name:value", SWM_OK, "value", "e:v"},
        {"key with blanks", "create by : x", SWM_OK, "x", "create by"},
        {"key is a colon", "a:b", SWM_OK, "b", ":"},
        {"no colon", "version 1", SWM_FAIL, kept},
        {"no key", "name: 1", SWM_FAIL, kept},
        {"key in other case", "Version: 1", SWM_FAIL, kept},
        {"empty line", "", SWM_FAIL, kept},
        {"no value", "version:", SWM_OK, kept},
        {"line feed for a value", "version:\n", SWM_OK, kept},
        {"blanks for a value", "version:  \n", SWM_OK, ""},
        {"carriage return for a value", "version:\r\n", SWM_OK, ""},
        {"no text before the colon", ":version\n", SWM_OK, kept},
        {"blanks before the colon", " :version\n", SWM_OK, "version"},
        {"two colons", "version:a:b", SWM_OK, kept},
        {"two colons together drop their empty piece", "version::b", SWM_OK, "b"},
        {"colons around", ":version:b:\n", SWM_OK, "b"},
        {"a line feed separates too", "version:a\nb", SWM_OK, kept},
        {"line feed in place of the value's colon", "version\nb:", SWM_OK, "b"},
        {"only colons", "::", SWM_OK, kept, ":"},
        {"bytes above 127 are no white space", "version:\xA0x\x85", SWM_OK, "\xA0x\x85"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Value value = fromLine(row.line, row.key);
        EXPECT_EQ(value.status, row.status);
        EXPECT_EQ(value.text, row.value);
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, ValueThatFitsALineOrNot)
{
    struct Row {
        size_t length;
        uint32_t size;
        uint32_t status;
    };
    const Row rows[] = {{127, 128, SWM_OK},
                        {128, 128, SWM_E_BUFFER_SMALL},
                        {129, 128, SWM_E_BUFFER_SMALL},
                        {4000, 128, SWM_E_BUFFER_SMALL},
                        {1, 1, SWM_E_BUFFER_SMALL},
                        {1, 2, SWM_OK},
                        {4000, 4001, SWM_OK}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.length);
        const std::string text(row.length, 'v');
        const Value value = fromLine("key:  " + text + "  \n", "key", row.size);
        EXPECT_EQ(value.status, row.status);
        EXPECT_EQ(value.text, row.status == SWM_OK ? text : unwritten(row.size));
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_EQ(fromLine("key: \n", "key", 1).text, "") << "an empty value needs one byte";
    EXPECT_TRUE(nothingLogged()) << "the line parser says nothing";
}

TEST_F(DescCommTest, LineIsLeftAsItIs)
{
    char line[] = "  key :  value \n";
    const std::string before = line;
    char value[32];
    EXPECT_EQ(SWM_ParseValueFromSecLine(line, "key", value, sizeof(value)), SWM_OK);
    EXPECT_EQ(line, before);
}

TEST_F(DescCommTest, FailedSplitAndCopyOfALine)
{
    failCall(Call::TransString2Array, 1);
    Value value = fromLine("key: v", "key");
    EXPECT_EQ(value.status, SWM_FAIL);
    EXPECT_EQ(value.text, unwritten());
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Snprintf, 1);
    value = fromLine("key: v", "key");
    EXPECT_EQ(value.status, SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_ParseValueFromSecLine")}));
    failCall(Call::Snprintf, 1);
    write("key: v\n");
    char out[8] = "xxxxxxx";
    EXPECT_EQ(SWM_GetSecValueFromDesc(path.c_str(), "key", out, sizeof(out)), SWM_OK);
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_ParseValueFromSecLine")}));
}

TEST_F(DescCommTest, ValueOfAFile)
{
    struct Row {
        const char *name;
        std::string text;
        std::string value;
        std::string key = "version";
    };
    const Row rows[] = {
        {"only line", "version: 1.3.0\n", "1.3.0"},
        {"no line feed at the end", "version: 1.3.0", "1.3.0"},
        {"among others", "# head\n\nname: x\nversion:\t 1.3.0 \t\nlast: y\n", "1.3.0"},
        {"first match wins", "version: 1\nversion: 2\n", "1"},
        {"empty file", "", ""},
        {"blank lines only", "\n  \n\t\n", ""},
        {"no such key", "name: x\n", ""},
        {"key without a colon", "version 1\n", ""},
        {"a line without a colon does not end the search", "version 1\nversion: 2\n", "2"},
        {"comment", "  # version: 2\n", ""},
        {"comment, then the key", "  # version: 2\n#version: 3\nversion: 4\n", "4"},
        {"comment behind the value", "version: 2 # note\n", "2 # note"},
        {"inside a longer key", "package_version: 9\nversion: 1\n", "9"},
        {"inside another line's value", "name: the version\nversion: 1\n", "the version"},
        {"two colons end the search", "version:a:b\nversion: 1\n", ""},
        {"no value ends the search", "version:\nversion: 1\n", ""},
        {"blank value ends the search", "version: \nversion: 1\n", ""},
        {"CR LF", "name: x\r\nversion: 1.2\r\n", "1.2"},
        {"CR alone does not end a line", "name: x\rversion: 1\n", ""},
        {"a NUL ends its line", "name: x\0version: 1\nversion: 2\n"s, "2"},
        {"a NUL ends the value", "version: 1\0002\n"s, "1"},
        {"a line of NUL first is blank", "\0version: 1\nversion: 2\n"s, "2"},
        {"no scopes", "files:\na b yes c\nversion: 5\n", "5"},
        {"byte-order mark", "\xEF\xBB\xBFversion: 5\n", "5"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Value value = fromFile(row.text, row.key);
        EXPECT_EQ(value.status, SWM_OK);
        EXPECT_EQ(value.text, row.value);
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_TRUE(nothingLogged());
}

// Pieces of 4095 bytes, each a line of its own.
TEST_F(DescCommTest, LongLines)
{
    const auto filled = [](size_t size) { return std::string(size, 'x'); };
    struct Row {
        const char *name;
        std::string text;
        std::string value;
    };
    const Row rows[] = {
        {"key behind the first piece", filled(4095) + "key: v\n", "v"},
        {"key cut in two", filled(4094) + "key: v\nkey: w\n", "w"},
        {"key at the end of a piece, colon in the next", filled(4092) + "key: v\nkey: w\n", "w"},
        {"key and colon end the piece", filled(4091) + "key: v\nkey: w\n", ""},
        {"value cut", "key:" + std::string(4090, ' ') + "vw\n", "v"},
        {"a line of 4094 bytes and a line feed", filled(4080) + ":key         v\n", "key         v"},
        {"line feed alone in the second piece", "#" + filled(4094) + "\nkey: v\n", "v"},
        {"rest of a comment is no comment", "#" + filled(4094) + "key: v\n", "v"},
        {"third piece", filled(8190) + "key: v\n", "v"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const Value value = fromFile(row.text, "key");
        EXPECT_EQ(value.status, SWM_OK);
        EXPECT_EQ(value.text, row.value);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, LongestValueOfAFile)
{
    const std::string fits(127, 'v');
    EXPECT_EQ(fromFile("key: " + fits + "\n", "key").text, fits);
    EXPECT_TRUE(nothingLogged());
    for (const size_t length : {128u, 129u, 1000u, 4080u}) {
        const Value value = fromFile("key: " + std::string(length, 'v') + "\nkey: w\n", "key");
        EXPECT_EQ(value.status, SWM_FAIL);
        EXPECT_EQ(value.text, "") << "the buffer has been zeroed";
        EXPECT_TRUE(logged({tooLong("key", 128)}));
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_EQ(fromFile("key: vv\n", "key", 2).status, SWM_FAIL);
    EXPECT_TRUE(logged({tooLong("key", 2)}));
}

TEST_F(DescCommTest, WholeBufferIsZeroed)
{
    write("key: v\n");
    char out[64];
    for (const char *key : {"key", "other"}) {
        memset(out, 'x', sizeof(out));
        EXPECT_EQ(SWM_GetSecValueFromDesc(path.c_str(), key, out, sizeof(out)), SWM_OK);
        EXPECT_TRUE(isZeroFilled(out)) << key;
    }
}

TEST_F(DescCommTest, FilesThatCannotBeOpened)
{
    const Value missing = fromPath((dir / "missing").c_str(), "key");
    EXPECT_EQ(missing.status, SWM_FAIL);
    EXPECT_EQ(missing.text, unwritten()) << "not touched";
    write("key: v\n");
    failCall(Call::SwmFopen, 1);
    const Value refused = fromPath(path.c_str(), "key");
    EXPECT_EQ(refused.status, SWM_FAIL);
    EXPECT_EQ(refused.text, unwritten());
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, FilesThatCannotBeRead)
{
    const fs::path directory = dir / "directory";
    fs::create_directory(directory);
    const Value ofDirectory = fromPath(directory.c_str(), "key");
    EXPECT_EQ(ofDirectory.status, SWM_FAIL);
    EXPECT_EQ(ofDirectory.text, "");
    const Value ofFifo = fromPath(fifo(), "key");
    EXPECT_EQ(ofFifo.text, "");
    EXPECT_EQ(ofFifo.status, SWM_OK) << "nobody writes: its end";
    for (const unsigned nth : {1u, 2u, 3u}) {
        failCall(Call::Fgets, nth);
        const Value value = fromFile("# a\nb\nkey: v\n", "key");
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(value.status, SWM_FAIL) << nth;
        EXPECT_EQ(value.text, "");
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, NoMemoryForTheLine)
{
    failCall(Call::Malloc, 1);
    const Value value = fromFile("key: v\n", "key");
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(value.status, SWM_FAIL);
    EXPECT_EQ(value.text, "");
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, FailedClears)
{
    const LogLine cleared = copyWarning("memset", "SWM_GetSecValueFromDesc");
    failCall(Call::Memset, 1);
    EXPECT_EQ(fromFile("key: v\n", "key").text, "v");
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({cleared}));
    const unsigned told = failedClearsToldBy("SWM_GetSecValueFromDesc", [this] {
        const Value value = fromFile("# skipped\nother: x\nplain\nkey: v\n", "key");
        EXPECT_EQ(value.status, SWM_OK);
        EXPECT_EQ(value.text, "v");
    });
    EXPECT_GE(told, 3u) << "the value, the line behind each of the two that do not match";
}

TEST_F(DescCommTest, FailedSplitInAFile)
{
    failCall(Call::TransString2Array, 1);
    const Value value = fromFile("key: v\nkey: w\n", "key");
    EXPECT_EQ(value.status, SWM_OK);
    EXPECT_EQ(value.text, "w") << "the line is passed over";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DescCommTest, MissingArguments)
{
    write("key: v\n");
    const char *file = path.c_str();
    char out[8] = "xxxxxxx";
    EXPECT_EQ(SWM_ParseValueFromSecLine(nullptr, "key", out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_ParseValueFromSecLine("key: v", nullptr, out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_ParseValueFromSecLine("key: v", "", out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_ParseValueFromSecLine("key: v", "key", nullptr, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_ParseValueFromSecLine("key: v", "key", out, 0), SWM_FAIL);
    EXPECT_EQ(SWM_GetSecValueFromDesc(nullptr, "key", out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_GetSecValueFromDesc("", "key", out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_GetSecValueFromDesc(file, nullptr, out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_GetSecValueFromDesc(file, "", out, sizeof(out)), SWM_FAIL);
    EXPECT_EQ(SWM_GetSecValueFromDesc(file, "key", nullptr, sizeof(out)), SWM_FAIL);
    EXPECT_STREQ(out, "xxxxxxx");
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
    EXPECT_TRUE(nothingLogged());
}

// No line has a value that a buffer of no bytes could take: the file is read to its end.
TEST_F(DescCommTest, BufferOfNoBytes)
{
    write("key: v\n");
    char out[2] = "x";
    EXPECT_EQ(SWM_GetSecValueFromDesc(path.c_str(), "key", out, 0), SWM_OK);
    EXPECT_STREQ(out, "x");
}

TEST_F(DescCommTest, WhatThePlatformIsAsked)
{
    write("key: v\n");
    char out[8];
    recordCalls({Call::SwmFopen, Call::Malloc, Call::Fclose});
    EXPECT_EQ(SWM_GetSecValueFromDesc(path.c_str(), "key", out, sizeof(out)), SWM_OK);
    EXPECT_EQ(recordedCalls(),
              (std::vector<std::string>{"SWM_Fopen " + path.string() + " r", "malloc 4096", "fclose"}));
}

} // namespace
} // namespace tarn::test
