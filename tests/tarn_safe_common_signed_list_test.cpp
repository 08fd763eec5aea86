// Loading the signed file list.
#include <cstring>

#include <tarn_basic/ini.h>

#include "support/boot_test.h"

namespace tarn::test {
namespace {

const std::string kDigest(64, 'a');

class SignedListTest : public BootTest {
protected:
    const fs::path path = dir / "signature_pss_filelist";

    uint32_t load(const std::string &text)
    {
        writeFile(path, text);
        return TARN_SafeCacheSignedFile(path.c_str(), &list);
    }
    std::vector<std::pair<std::string, std::string>> loaded() const
    {
        std::vector<std::pair<std::string, std::string>> result;
        for (const SignedFileRecord *record : list.records<SignedFileRecord>()) {
            result.emplace_back(record->fileName, record->digest);
        }
        return result;
    }
};

using Records = std::vector<std::pair<std::string, std::string>>;

TEST_F(SignedListTest, OneRecordPerSectionInFileOrder)
{
    ASSERT_EQ(load("[MAIN FILE INFO]\nCreate By=me\nFILENUM=2\nFILENAME=zero\nSHA256-DIGEST=" + kDigest +
                   "\n[b]\nFILETYPE=1\nSHA256-DIGEST=bb\nFILENAME=one\n[a]\nFILENAME=two\nSHA256-DIGEST=cc\n" +
                   "[a]\nFILENAME=two\nSHA256-DIGEST=dd\n"),
              SWM_OK);
    EXPECT_EQ(loaded(), (Records{{"zero", kDigest}, {"one", "bb"}, {"two", "cc"}, {"two", "dd"}}));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(SignedListTest, AppendsToTheListItIsGiven)
{
    ASSERT_EQ(load("[a]\nFILENAME=one\nSHA256-DIGEST=bb\n"), SWM_OK);
    ASSERT_EQ(load("[a]\nFILENAME=two\nSHA256-DIGEST=cc\n"), SWM_OK);
    EXPECT_EQ(loaded(), (Records{{"one", "bb"}, {"two", "cc"}}));
}

TEST_F(SignedListTest, RecordsAreZeroFilledAroundTheirTexts)
{
    ASSERT_EQ(load("[a]\nFILENAME=n\nSHA256-DIGEST=d\n"), SWM_OK);
    const SignedFileRecord *record = list.records<SignedFileRecord>().at(0);
    EXPECT_EQ(std::string(record->fileName, 96), "n" + std::string(95, '\0'));
    EXPECT_EQ(std::string(record->digest, 65), "d" + std::string(64, '\0'));
}

TEST_F(SignedListTest, MissingOrOverlongValuesLeaveTheFieldEmptyAndKeepTheRecord)
{
    const std::string name95(95, 'n');
    const std::string name96(96, 'n');
    const std::string digest65(65, 'a');
    struct Row {
        const char *name;
        std::string section;
        Records::value_type record;
        std::vector<LogLine> lines;
    };
    const Row rows[] = {
        {"longest values", "FILENAME=" + name95 + "\nSHA256-DIGEST=" + kDigest + "\n", {name95, kDigest}, {}},
        {"name too long",
         "FILENAME=" + name96 + "\nSHA256-DIGEST=" + kDigest + "\n",
         {"", kDigest},
         {error("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", "FILENAME", name96.c_str())}},
        {"digest too long",
         "FILENAME=n\nSHA256-DIGEST=" + digest65 + "\n",
         {"n", ""},
         {error("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", "SHA256-DIGEST", digest65.c_str())}},
        {"no name",
         "SHA256-DIGEST=" + kDigest + "\n",
         {"", kDigest},
         {error("SafeGetKeyValue: no value, key(%s).", "FILENAME")}},
        {"no digest", "FILENAME=n\n", {"n", ""}, {error("SafeGetKeyValue: no value, key(%s).", "SHA256-DIGEST")}},
        {"neither",
         "FILETYPE=1\n",
         {"", ""},
         {error("SafeGetKeyValue: no value, key(%s).", "FILENAME"),
          error("SafeGetKeyValue: no value, key(%s).", "SHA256-DIGEST")}},
        {"other case is another key",
         "FileName=n\nSHA256-DIGEST=" + kDigest + "\n",
         {"", kDigest},
         {error("SafeGetKeyValue: no value, key(%s).", "FILENAME")}},
        {"first of two", "FILENAME=n\nFILENAME=m\nSHA256-DIGEST=d\n", {"n", "d"}, {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(load("[s]\n" + row.section), SWM_OK);
        EXPECT_EQ(loaded(), Records{row.record});
        EXPECT_TRUE(logged(row.lines));
        list.clear();
    }
}

TEST_F(SignedListTest, NoStreamNoList)
{
    const fs::path missing = dir / "missing";
    EXPECT_EQ(TARN_SafeCacheSignedFile(missing.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCacheSignedFile: open filelist(%s) failed, ret:%u, errno:%d.", missing.c_str(),
                              static_cast<unsigned>(kAnyNumber), ENOENT)}));
    failCall(Call::SwmFopen, 1, EACCES);
    setFaultResult(17);
    EXPECT_EQ(load("[a]\nFILENAME=n\n"), SWM_FAIL);
    EXPECT_TRUE(logged(
        {error("TARN_SafeCacheSignedFile: open filelist(%s) failed, ret:%u, errno:%d.", path.c_str(), 17u, EACCES)}));
}

TEST_F(SignedListTest, NoProfileNoList)
{
    EXPECT_EQ(load(""), SWM_FAIL) << "a text without sections would verify anything";
    EXPECT_TRUE(logged({error("TARN_SafeCacheSignedFile: load filelist %s failed.", path.c_str())}));
    EXPECT_EQ(callCount(Call::Fclose), 1u) << "the stream is closed whether or not the load worked";
    failCall(Call::IniLoadProfile, 1);
    EXPECT_EQ(load("[a]\nFILENAME=n\n"), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCacheSignedFile: load filelist %s failed.", path.c_str())}));
    EXPECT_EQ(list.count(), 0u);
}

TEST_F(SignedListTest, RecordsBeforeAFailedSectionStay)
{
    const std::string text = "[a]\nFILENAME=one\nSHA256-DIGEST=bb\n[b]\nFILENAME=two\nSHA256-DIGEST=cc\n";
    failCall(Call::Malloc, 2, ENOMEM);
    EXPECT_EQ(load(text), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeParseFileSection: malloc failed, errno:%d.", ENOMEM),
                        error("TARN_SafeCacheSignedFile: parse section failed.")}));
    EXPECT_EQ(loaded(), (Records{{"one", "bb"}}));
    EXPECT_EQ(callCount(Call::FreeProfile), 1u);
    list.clear();

    clearFaults();
    failCall(Call::Memset, 2);
    EXPECT_EQ(load(text), SWM_FAIL);
    EXPECT_TRUE(logged(
        {error("SafeParseFileSection: memset failed."), error("TARN_SafeCacheSignedFile: parse section failed.")}));
    EXPECT_EQ(loaded(), (Records{{"one", "bb"}}));
    EXPECT_EQ(liveBlocks(), 1) << "the record that could not be cleared is released";
}

TEST_F(SignedListTest, SectionByItself)
{
    char value[] = "v";
    SwmIniKey key = {"FILENAME", value, nullptr};
    SignedFileRecord *record = nullptr;
    ASSERT_EQ(SafeParseFileSection(&key, &record), SWM_OK);
    EXPECT_STREQ(record->fileName, "v");
    EXPECT_STREQ(record->digest, "");
    free(record);
    EXPECT_TRUE(logged({error("SafeGetKeyValue: no value, key(%s).", "SHA256-DIGEST")}));

    ASSERT_EQ(SafeParseFileSection(nullptr, &record), SWM_OK) << "a section may have no keys";
    EXPECT_STREQ(record->fileName, "");
    free(record);
    EXPECT_TRUE(logged({error("SafeGetKeyValue: no value, key(%s).", "FILENAME"),
                        error("SafeGetKeyValue: no value, key(%s).", "SHA256-DIGEST")}));

    auto *const untouched = reinterpret_cast<SignedFileRecord *>(&key);
    record = untouched;
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(SafeParseFileSection(&key, &record), SWM_FAIL);
    EXPECT_EQ(record, untouched);
    EXPECT_TRUE(logged({error("SafeParseFileSection: malloc failed, errno:%d.", ENOMEM)}));
    failCall(Call::Memset, 1);
    EXPECT_EQ(SafeParseFileSection(&key, &record), SWM_FAIL);
    EXPECT_EQ(record, untouched);
    EXPECT_TRUE(logged({error("SafeParseFileSection: memset failed.")}));
}

TEST_F(SignedListTest, ValueOfAKey)
{
    char first[] = "one", second[] = "two", third[] = "three";
    SwmIniKey keys[] = {{"a", first, &keys[1]}, {"b", second, &keys[2]}, {"b", third, nullptr}};
    char out[4] = "?";
    EXPECT_EQ(SafeGetKeyValue(keys, "b", out, sizeof out), SWM_OK);
    EXPECT_STREQ(out, "two") << "the first of its name, into a buffer it just fits";
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SafeGetKeyValue(keys, "B", out, sizeof out), SWM_FAIL);
    EXPECT_STREQ(out, "two");
    EXPECT_TRUE(logged({error("SafeGetKeyValue: no value, key(%s).", "B")}));
    EXPECT_EQ(SafeGetKeyValue(nullptr, "b", out, sizeof out), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeGetKeyValue: no value, key(%s).", "b")}));
    EXPECT_EQ(SafeGetKeyValue(&keys[2], "b", out, sizeof out), SWM_FAIL);
    EXPECT_STREQ(out, "");
    EXPECT_TRUE(logged({error("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", "b", "three")}));
    strcpy(out, "?");
    failCall(Call::Sprintf, 1);
    EXPECT_EQ(SafeGetKeyValue(keys, "a", out, sizeof out), SWM_FAIL);
    EXPECT_STREQ(out, "") << "whatever the platform leaves in it";
    EXPECT_TRUE(logged({error("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", "a", "one")}));
}

TEST_F(SignedListTest, FirstKeyOfANameDecidesEvenWithoutAValue)
{
    char value[] = "x";
    SwmIniKey second = {"b", value, nullptr};
    const SwmIniKey first = {"b", nullptr, &second};
    char out[4] = "?";
    EXPECT_EQ(SafeGetKeyValue(&first, "b", out, sizeof out), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeGetKeyValue: no value, key(%s).", "b")}));
    EXPECT_STREQ(out, "?");
}

TEST_F(SignedListTest, NullArguments)
{
    char out[4] = "?";
    SwmIniKey key = {"a", out, nullptr};
    EXPECT_EQ(TARN_SafeCacheSignedFile(nullptr, &list), SWM_FAIL);
    EXPECT_EQ(TARN_SafeCacheSignedFile("", &list), SWM_FAIL);
    EXPECT_EQ(TARN_SafeCacheSignedFile(path.c_str(), nullptr), SWM_FAIL);
    const LogLine load = error("TARN_SafeCacheSignedFile: get null param.");
    EXPECT_TRUE(logged({load, load, load}));
    EXPECT_EQ(SafeParseFileSection(&key, nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeParseFileSection: get null param.")}));
    EXPECT_EQ(SafeGetKeyValue(&key, nullptr, out, sizeof out), SWM_FAIL);
    EXPECT_EQ(SafeGetKeyValue(&key, "", out, sizeof out), SWM_FAIL);
    EXPECT_EQ(SafeGetKeyValue(&key, "a", nullptr, 4), SWM_FAIL);
    const LogLine value = error("SafeGetKeyValue: get null param.");
    EXPECT_TRUE(logged({value, value, value}));
    EXPECT_STREQ(out, "?");
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

} // namespace
} // namespace tarn::test
