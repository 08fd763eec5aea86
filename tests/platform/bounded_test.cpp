#include <cerrno>
#include <cstring>
#include <string>

#include "support.h"

namespace {

constexpr size_t kHuge = 0x80000000;
const char *const kNoText = nullptr;

struct Copy {
    size_t size;
    const char *source;
    size_t count;
    bool succeeds;
    std::string left;
};

TEST(Bounded, Memcpy)
{
    const Copy rows[] = {
        {4, "abcd", 4, true, "abcd"},
        {4, "abcd", 0, true, "----"},
        {0, "abcd", 0, true, "----"},
        {4, "abcde", 5, false, std::string(4, '\0')},
        {4, nullptr, 1, false, std::string(4, '\0')},
        {kHuge, "abcd", 4, false, "----"},
    };
    for (const Copy &row : rows) {
        char buffer[] = "----";
        EXPECT_EQ(memcpy_s(buffer, row.size, row.source, row.count) == 0, row.succeeds) << row.size << row.count;
        EXPECT_EQ(std::string(buffer, 4), row.left);
    }
    EXPECT_NE(memcpy_s(nullptr, 4, "abcd", 4), 0);
}

TEST(Bounded, MemcpyOfOverlappingRanges)
{
    char buffer[] = "abcdef";
    EXPECT_EQ(memcpy_s(buffer + 1, 5, buffer, 5), 0);
    EXPECT_STREQ(buffer, "aabcde");
}

TEST(Bounded, Memset)
{
    const Copy rows[] = {
        {4, "", 4, true, "xxxx"},
        {4, "", 2, true, "xx--"},
        {4, "", 5, false, "xxxx"},
        {kHuge, "", 2, false, "----"},
    };
    for (const Copy &row : rows) {
        char buffer[] = "----";
        EXPECT_EQ(memset_s(buffer, row.size, 'x', row.count) == 0, row.succeeds) << row.size << row.count;
        EXPECT_STREQ(buffer, row.left.c_str());
    }
    EXPECT_NE(memset_s(nullptr, 4, 0, 4), 0);
}

TEST(Bounded, Strcpy)
{
    const Copy rows[] = {
        {4, "abc", 0, true, "abc"}, {4, "", 0, true, ""},       {4, "abcd", 0, false, ""},      {1, "", 0, true, ""},
        {4, nullptr, 0, false, ""}, {0, "a", 0, false, "----"}, {kHuge, "a", 0, false, "----"},
    };
    for (const Copy &row : rows) {
        char buffer[] = "----";
        EXPECT_EQ(strcpy_s(buffer, row.size, row.source) == 0, row.succeeds) << row.size;
        EXPECT_STREQ(buffer, row.left.c_str());
    }
    EXPECT_NE(strcpy_s(nullptr, 4, "a"), 0);
}

TEST(Bounded, Strncpy)
{
    const Copy rows[] = {
        {4, "abcdef", 3, true, "abc"}, // cut to size - 1
        {4, "abcdef", 2, true, "ab"},  {4, "abc", 9, true, "abc"},     {4, "abcd", 4, false, ""},
        {4, "abcdef", 9, false, ""},   {4, nullptr, 3, false, ""},     {4, "a", kHuge, false, ""},
        {0, "a", 0, false, "----"},    {kHuge, "a", 1, false, "----"},
    };
    for (const Copy &row : rows) {
        char buffer[] = "----";
        EXPECT_EQ(strncpy_s(buffer, row.size, row.source, row.count) == 0, row.succeeds) << row.size << row.count;
        EXPECT_STREQ(buffer, row.left.c_str());
    }
    EXPECT_NE(strncpy_s(nullptr, 4, "a", 3), 0);
}

TEST(Bounded, Sprintf)
{
    char buffer[4] = "---";
    EXPECT_EQ(sprintf_s(buffer, sizeof buffer, "%s", "abc"), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(sprintf_s(buffer, sizeof buffer, "%s", "abcd"), -1);
    EXPECT_STREQ(buffer, "");
    strcpy(buffer, "x");
    EXPECT_EQ(sprintf_s(buffer, 0, "%s", "a"), -1);
    EXPECT_EQ(sprintf_s(buffer, kHuge, "%s", "a"), -1);
    EXPECT_STREQ(buffer, "x");
    EXPECT_EQ(sprintf_s(nullptr, 4, "%s", "a"), -1);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-security"
    EXPECT_EQ(sprintf_s(buffer, 4, kNoText), -1);
#pragma GCC diagnostic pop
    EXPECT_STREQ(buffer, "");
}

TEST(Bounded, Snprintf)
{
    struct {
        size_t size;
        size_t count;
        const char *text;
        int result;
        const char *left;
    } const rows[] = {
        {4, 3, "abc", 3, "abc"}, {4, 3, "abcd", -1, "abc"}, {4, 2, "abcd", -1, "ab"}, {4, 4, "abc", 3, "abc"},
        {4, 4, "abcd", -1, ""},  {4, 9, "abcd", -1, ""},    {0, 0, "a", -1, "---"},   {4, kHuge, "a", -1, ""},
    };
    for (const auto &row : rows) {
        char buffer[] = "---";
        EXPECT_EQ(snprintf_s(buffer, row.size, row.count, "%s", row.text), row.result) << row.size << row.count;
        EXPECT_STREQ(buffer, row.left);
    }
    EXPECT_EQ(snprintf_s(nullptr, 4, 3, "%s", "a"), -1);
}

} // namespace
