#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "support.h"

namespace {

TEST(Text, Equal)
{
    EXPECT_EQ(SWM_IsStringEqual("a", "a"), 1u);
    EXPECT_EQ(SWM_IsStringEqual("a", "A"), 0u);
    EXPECT_EQ(SWM_IsStringEqual("a", "ab"), 0u);
    EXPECT_EQ(SWM_IsStringEqual(nullptr, "a"), 0u);
    EXPECT_EQ(SWM_IsStringEqual("a", nullptr), 0u);
}

TEST(Text, PrefixAndSuffix)
{
    EXPECT_EQ(SWM_IsPrefixString("abc", "ab"), 1u);
    EXPECT_EQ(SWM_IsPrefixString("abc", ""), 1u);
    EXPECT_EQ(SWM_IsPrefixString("ab", "abc"), 0u);
    EXPECT_EQ(SWM_IsPrefixString(nullptr, "a"), 0u);
    EXPECT_EQ(SWM_IsPrefixString("a", nullptr), 0u);
    EXPECT_EQ(SWM_IsPostfixString("abc", "bc"), 1u);
    EXPECT_EQ(SWM_IsPostfixString("abc", ""), 1u);
    EXPECT_EQ(SWM_IsPostfixString("a.Cc", ".cc"), 0u);
    EXPECT_EQ(SWM_IsPostfixString("bc", "abc"), 0u);
    EXPECT_EQ(SWM_IsPostfixString(nullptr, "a"), 0u);
    EXPECT_EQ(SWM_IsPostfixString("a", nullptr), 0u);
}

TEST(Text, SpaceAndDigits)
{
    EXPECT_EQ(SWM_IsSpaceString(""), 1u);
    EXPECT_EQ(SWM_IsSpaceString("\t\n\v\f\r "), 1u);
    EXPECT_EQ(SWM_IsSpaceString("\x08"), 0u);
    EXPECT_EQ(SWM_IsSpaceString("\x0e"), 0u);
    EXPECT_EQ(SWM_IsSpaceString(" x "), 0u);
    EXPECT_EQ(SWM_IsSpaceString("\xA0"), 0u); // a blank of some locales
    EXPECT_EQ(SWM_IsSpaceString(nullptr), 0u);
    EXPECT_EQ(SWM_IsDigitString("0123456789"), 1u);
    EXPECT_EQ(SWM_IsDigitString(""), 0u);
    EXPECT_EQ(SWM_IsDigitString("1a"), 0u);
    EXPECT_EQ(SWM_IsDigitString("-1"), 0u);
    EXPECT_EQ(SWM_IsDigitString("\xB2"), 0u);
    EXPECT_EQ(SWM_IsDigitString(nullptr), 0u);
}

TEST(Text, Trim)
{
    const struct {
        const char *text;
        const char *trimmed;
    } rows[] = {{" a b\t\n", "a b"}, {"", ""}, {" \v\f\r", ""}, {"a", "a"}, {"\xA0 x", "\xA0 x"}};
    for (const auto &row : rows) {
        char buffer[16];
        strcpy(buffer, row.text);
        EXPECT_EQ(SWM_StringTrim(buffer), 0u);
        EXPECT_STREQ(buffer, row.trimmed);
    }
    EXPECT_NE(SWM_StringTrim(nullptr), 0u);
}

TEST(Text, Split)
{
    const struct {
        const char *text;
        const char *delimiters;
        std::vector<std::string> pieces;
    } rows[] = {
        {"a:b\n", ":\n", {"a", "b"}}, {"::a::b::", ":", {"a", "b"}}, {"", ":", {}}, {":::", ":", {}},
        {"a b", "", {"a b"}},         {"abc", ":", {"abc"}},
    };
    for (const auto &row : rows) {
        char **array = nullptr;
        uint32_t count = 99;
        ASSERT_EQ(SWM_TransString2Array(row.text, row.delimiters, &array, &count), 0u);
        ASSERT_NE(array, nullptr);
        EXPECT_EQ(std::vector<std::string>(array, array + count), row.pieces) << row.text;
        free(array); // one block
    }
}

TEST(Text, SplitRefusesNull)
{
    char **array = nullptr;
    uint32_t count = 99;
    EXPECT_NE(SWM_TransString2Array(nullptr, ":", &array, &count), 0u);
    EXPECT_NE(SWM_TransString2Array("a", nullptr, &array, &count), 0u);
    EXPECT_NE(SWM_TransString2Array("a", ":", nullptr, &count), 0u);
    EXPECT_NE(SWM_TransString2Array("a", ":", &array, nullptr), 0u);
    EXPECT_EQ(array, nullptr);
    EXPECT_EQ(count, 99u);
}

} // namespace
