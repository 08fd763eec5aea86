// Headers and records of signed file lists.
#include "tarn_package_verify_list_test.h"

namespace tarn::test::signedlist {
namespace {

using namespace std::string_literals;

using SignedListRecordTest = SignedListTest;

// ---- Headers and records ----

TEST_F(SignedListRecordTest, NewHeader)
{
    EXPECT_EQ(SWM_MallocSigFileListDigest(&header), SWM_OK);
    EXPECT_EQ(header->fileCount, 0u);
    for (const char byte : header->creator) {
        EXPECT_EQ(byte, '\0');
    }
    EXPECT_TRUE(recordsOf(*header).empty());
    EXPECT_TRUE(nothingLogged());
    SigFileListDigest *none = nullptr;
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_MallocSigFileListDigest(&none), SWM_E_NO_MEMORY);
    EXPECT_EQ(none, nullptr);
}

TEST_F(SignedListRecordTest, Release)
{
    ASSERT_EQ(fromMemory(mainText("3") + fileText("a") + fileText("b") + fileText("c")), SWM_OK);
    SWM_ReleaseDigestList(&header->fileDigests);
    EXPECT_TRUE(recordsOf(*header).empty()) << "an empty head";
    EXPECT_EQ(liveBlocks(), 1) << "the header is not its";
    SWM_ReleaseDigestList(&header->fileDigests);
    SwmListNode zero = {};
    SWM_ReleaseDigestList(&zero);
    SWM_ReleaseDigestList(nullptr);
    SWM_FreeSigFileListDigest(nullptr);
    ASSERT_EQ(fromMemory(mainText("1") + fileText("a")), SWM_OK);
    SWM_FreeSigFileListDigest(header);
    header = nullptr;
    EXPECT_EQ(liveBlocks(), 0);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(SignedListRecordTest, ValueOfAKey)
{
    const Keys keys = {{"a", "first"}, {"b", "second"}, {"a", "third"}, {"empty", ""}, {"A", "other"}};
    struct Row {
        const char *key;
        uint32_t size;
        std::string expected; // the whole buffer
    };
    const Row rows[] = {
        {"a", 8, "first\0\0\0"s}, {"b", 8, "second\0\0"s}, {"b", 7, "second\0"s},
        {"b", 6, "secon\0"s},     {"b", 2, "s\0"s},        {"b", 1, "\0"s},
        {"A", 6, "other\0"s},     {"c", 4, "????"},        {"", 4, "????"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.key) + " " + std::to_string(row.size));
        std::string buffer(row.size + 1, '?');
        SWM_GetOneKeyValueFromKeyList(keys.first(), row.key, buffer.data(), row.size);
        EXPECT_EQ(buffer[row.size], '?') << "behind the buffer";
        EXPECT_EQ(std::string(buffer.c_str()).substr(0, row.size), std::string(row.expected.c_str()));
        const bool found = row.expected[0] != '?';
        EXPECT_EQ(buffer[row.size - 1], found ? '\0' : '?') << "the last byte";
    }
    char out[4] = "xyz";
    SWM_GetOneKeyValueFromKeyList(keys.first(), "empty", out, sizeof(out));
    EXPECT_STREQ(out, "");
    char kept[4] = "xyz";
    SWM_GetOneKeyValueFromKeyList(nullptr, "a", kept, sizeof(kept));
    SWM_GetOneKeyValueFromKeyList(keys.first(), "a", kept, 0);
    EXPECT_STREQ(kept, "xyz");
    takeLog(); // a fill of no bytes may be warned about
}

TEST_F(SignedListRecordTest, FailedCopyOfAValue)
{
    const Keys keys = {{"a", "value"}};
    char out[8] = "xxxxxxx";
    out[7] = 'x';
    failCall(Call::Strncpy, 1);
    SWM_GetOneKeyValueFromKeyList(keys.first(), "a", out, sizeof(out));
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(out[7], '\0') << "terminated all the same";
    EXPECT_TRUE(logged({copyWarning("strncpy", "SWM_GetOneKeyValueFromKeyList")}));
}

TEST_F(SignedListRecordTest, SoundRecords)
{
    const std::string name95(95, 'n');
    const std::string digest64(64, 'd');
    struct Row {
        const char *name;
        Keys keys;
        std::string expected;
    };
    const Row rows[] = {
        {"plain", {{"FILETYPE", "2"}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}}, "a|d|2"},
        {"any order, other keys", {{"SHA256-DIGEST", "d"}, {"X", "y"}, {"FILENAME", "a"}, {"FILETYPE", "2"}}, "a|d|2"},
        {"first of a key wins",
         {{"FILETYPE", "2"}, {"FILENAME", "a"}, {"FILENAME", "b"}, {"SHA256-DIGEST", "d"}, {"FILETYPE", "0"}},
         "a|d|2"},
        {"longest",
         {{"FILETYPE", "1"}, {"FILENAME", name95}, {"SHA256-DIGEST", digest64}},
         name95 + "|" + digest64 + "|1"},
        {"cut",
         {{"FILETYPE", "1"}, {"FILENAME", name95 + std::string(25, 'x')}, {"SHA256-DIGEST", digest64 + "e"}},
         name95 + "|" + digest64 + "|1"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        FileDigestInfo *record = nullptr;
        ASSERT_EQ(SWM_GetDigestInfoByInputKey(&record, row.keys.first()), SWM_OK);
        EXPECT_EQ(describe(*record), row.expected);
        free(record);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(SignedListRecordTest, BadRecords)
{
    struct Row {
        const char *name;
        Keys keys;
        LogLine line;
    };
    const Row rows[] = {
        {"no type", {{"FILENAME", "a"}, {"SHA256-DIGEST", "d"}}, kTypeWrong},
        {"type 0", {{"FILETYPE", "0"}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}}, kTypeWrong},
        {"type in another case", {{"Filetype", "1"}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}}, kTypeWrong},
        {"no name", {{"FILETYPE", "1"}, {"SHA256-DIGEST", "d"}}, kNameWrong},
        {"empty name", {{"FILETYPE", "1"}, {"FILENAME", ""}, {"SHA256-DIGEST", "d"}}, kNameWrong},
        {"first name empty",
         {{"FILETYPE", "1"}, {"FILENAME", ""}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}},
         kNameWrong},
        {"no digest", {{"FILETYPE", "1"}, {"FILENAME", "a"}}, kDigestWrong},
        {"empty digest", {{"FILETYPE", "1"}, {"FILENAME", "a"}, {"SHA256-DIGEST", ""}}, kDigestWrong},
        {"nothing", {}, kTypeWrong},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        auto *record = reinterpret_cast<FileDigestInfo *>(this);
        EXPECT_EQ(SWM_GetDigestInfoByInputKey(&record, row.keys.first()), 1u);
        EXPECT_EQ(static_cast<void *>(record), static_cast<void *>(this)) << "untouched";
        EXPECT_TRUE(logged({row.line}));
        EXPECT_EQ(liveBlocks(), 0);
    }
    const Keys keys = {{"FILETYPE", "1"}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}};
    FileDigestInfo *record = nullptr;
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_GetDigestInfoByInputKey(&record, keys.first()), SWM_E_NO_MEMORY);
    EXPECT_EQ(record, nullptr);
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Memset, 1);
    EXPECT_EQ(SWM_GetDigestInfoByInputKey(&record, keys.first()), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_GetDigestInfoByInputKey")}));
    EXPECT_EQ(describe(*record), "a|d|1");
    free(record);
}

TEST_F(SignedListRecordTest, NumbersOfFileTypes)
{
    for (const Number &number : kNumbers) {
        SCOPED_TRACE(number.text);
        const Keys keys = {{"FILETYPE", number.text}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}};
        FileDigestInfo *record = nullptr;
        EXPECT_EQ(SWM_GetDigestInfoByInputKey(&record, keys.first()), number.value == 0 ? 1u : 0u);
        EXPECT_TRUE(record == nullptr || record->fileType == number.value);
        EXPECT_TRUE(logged(number.value == 0 ? Lines{kTypeWrong} : Lines{}));
        free(record);
    }
}

} // namespace
} // namespace tarn::test::signedlist
