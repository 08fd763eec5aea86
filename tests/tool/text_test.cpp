// Text for people.
#include <gtest/gtest.h>

#include "text.h"

namespace tarn::test {

using tool::escaped;

TEST(TextTest, HarmlessTextStaysAsItIs)
{
    for (const char *text :
         {"", "plain", "with blank = and \"quote\"", "caf\xC3\xA9", "\xE6\xBC\xA2", "\xF0\x9F\x98\x80"}) {
        EXPECT_EQ(escaped(text), text);
    }
}

TEST(TextTest, WhatCouldDeceiveIsEscaped)
{
    struct Row {
        std::string_view text;
        const char *expected;
    };
    const Row rows[] = {
        {"a\nb\rc\td", "a\\nb\\rc\\td"},
        {"\x1b[31mred", "\\x1b[31mred"},
        {"\x7F", "\\x7f"},
        {std::string_view("a\0b", 3), "a\\x00b"},
        {"back\\slash", "back\\\\slash"},
        {"\xC2\x9B", "\\x9b"},                        // an 8-bit escape sequence
        {"\xE2\x80\xAE", "\\u202e"},                  // turns the direction of text
        {"\xE2\x80\x8B", "\\u200b"},                  // invisible
        {"\xEF\xBB\xBF", "\\ufeff"},                  // invisible
        {"\xFF", "\\xff"},                            // no UTF-8
        {"\xC3", "\\xc3"},                            // cut short
        {"\xC3(", "\\xc3("},                          // no continuation
        {"\xC0\xAF", "\\xc0\\xaf"},                   // overlong
        {"\xE0\x80\xAF", "\\xe0\\x80\\xaf"},          // overlong
        {"\xED\xA0\x80", "\\xed\\xa0\\x80"},          // a surrogate
        {"\xF4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"}, // beyond the last character
    };
    for (const Row &row : rows) {
        EXPECT_EQ(escaped(row.text), row.expected);
    }
    EXPECT_EQ(tool::inQuotes("a\nb"), "\"a\\nb\"");
}

TEST(TextTest, SizesAndCounts)
{
    EXPECT_EQ(tool::humanSize(1), "1 byte");
    EXPECT_EQ(tool::humanSize(10239), "10239 bytes");
    EXPECT_EQ(tool::humanSize(10240), "10.0 KiB");
    EXPECT_EQ(tool::humanSize(64ull << 20), "64.0 MiB");
    EXPECT_EQ(tool::counted(0, "member"), "0 members");
    EXPECT_EQ(tool::counted(1, "member"), "1 member");
}

TEST(TextTest, ColumnsAreAsWideAsTheirWidestCell)
{
    tool::Table table("rl");
    table.add({"1", "one"});
    table.add({"200", "caf\xC3\xA9"});
    table.add({"3", ""});
    EXPECT_EQ(table.text(), "  1  one\n200  caf\xC3\xA9\n  3  \n");
}

TEST(TextTest, FormatTakesAnyLength)
{
    EXPECT_EQ(tool::format("%d-%s", 7, "x"), "7-x");
    EXPECT_EQ(tool::format("%s", std::string(10000, 'x').c_str()).size(), 10000u);
}

} // namespace tarn::test
