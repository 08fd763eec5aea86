// Link lists: their lines and their records.
#include <optional>
#include <random>

#include <fcntl.h>

#include "../fuzz/borrowed_list.h"
#include "link_list_test.h"

namespace tarn::test {
namespace {

// ---- Reading ----

struct ReadRow {
    const char *name;
    std::string text;
    std::optional<Links> links; // none: the list cannot be read
    Lines lines = {};
};

class LinkListReadTest : public LinkListTest {
protected:
    void expectRead(const ReadRow &row)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text), row.links ? SWM_OK : SWM_FAIL);
        EXPECT_EQ(links(), row.links.value_or(Links()));
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        clearFaults();
        list.clear();
        EXPECT_EQ(liveBlocks(), 0);
    }
};

TEST_F(LinkListReadTest, SoundLists)
{
    const std::string p400(400, 'p');
    const LogLine cut = copyWarning("snprintf", "SWM_Trans2LinklistRecord");
    const auto text = [](size_t size, char byte) { return std::string(size, byte); };
    const ReadRow rows[] = {
        {"source, path, in file order", "s2 /b\ns1 /a\n", Links{{"s2", "/b"}, {"s1", "/a"}}},
        {"empty file", "", Links{}},
        {"white space only", " \n\t\r\n\v\f\n", Links{}},
        {"blank lines are skipped", "\n \ns /a\n\t\n\ns /b\n\n", Links{{"s", "/a"}, {"s", "/b"}}},
        {"trimmed", "\t s /a \r\n", Links{{"s", "/a"}}},
        {"CR LF", "s /a\r\nt /b\r\n", Links{{"s", "/a"}, {"t", "/b"}}},
        {"no line feed at the end", "s /a\nt /b", Links{{"s", "/a"}, {"t", "/b"}}},
        {"several spaces are one", "s    /a\n", Links{{"s", "/a"}}},
        {"a tab is no space", "s\tt /a\n", Links{{"s\tt", "/a"}}},
        {"equal lines once", "s /a\nt /b\ns /a\n  t   /b\n", Links{{"s", "/a"}, {"t", "/b"}}},
        {"same path, other source", "s /a\nt /a\ns /a\nt /a\n", Links{{"s", "/a"}, {"t", "/a"}}},
        {"same source, other path", "s /a\ns /b\n", Links{{"s", "/a"}, {"s", "/b"}}},
        {"a duplicate far back, once out of order", "s /c\ns /a\ns /b\ns /c\ns /a\ns /b\ns /d\n",
         Links{{"s", "/c"}, {"s", "/a"}, {"s", "/b"}, {"s", "/d"}}},
        {"source and path swapped", "a b\nb a\n", Links{{"a", "b"}, {"b", "a"}}},
        {"any bytes", "\xff \x80\n", Links{{"\xff", "\x80"}}},
        {"255 bytes", text(255, 's') + " " + text(255, 'p') + "\n", Links{{text(255, 's'), text(255, 'p')}}},
        {"source of 256 bytes is cut", text(256, 's') + " /a\n", Links{{text(255, 's'), "/a"}}, {cut}},
        {"path of 256 bytes is cut", "s " + text(256, 'p') + "\n", Links{{"s", text(255, 'p')}}, {cut}},
        {"equal once cut",
         "s " + text(256, 'p') + "\ns " + text(300, 'p') + "\n",
         Links{{"s", text(255, 'p')}},
         {cut, cut}},
        {"a NUL ends a line", std::string("s /a\0 x\nt /b\n\0u\n", 16), Links{{"s", "/a"}, {"t", "/b"}}},
        {"511 bytes with the line feed",
         p400 + " " + text(109, 'q') + "\n",
         Links{{text(255, 'p'), text(109, 'q')}},
         {cut}},
        {"511 bytes, the line feed by itself",
         p400 + " " + text(110, 'q') + "\ns /a\n",
         Links{{text(255, 'p'), text(110, 'q')}, {"s", "/a"}},
         {cut}},
        {"a line in two pieces, each a link", text(506, ' ') + "s /abc d\nt /b\n",
         Links{{"s", "/ab"}, {"c", "d"}, {"t", "/b"}}},
    };
    for (const ReadRow &row : rows) {
        expectRead(row);
    }
}

TEST_F(LinkListReadTest, OtherNumbersOfFieldsFailTheWholeList)
{
    const std::string field(510, 'q');
    const ReadRow rows[] = {
        {"one field", "s /a\nalone\nt /b\n", std::nullopt, {lineNotConverted("alone")}},
        {"three fields", "s /a\n  a b c \r\nt /b\n", std::nullopt, {lineNotConverted("a b c")}},
        {"last line", "s /a\na  b  c\n", std::nullopt, {lineNotConverted("a  b  c")}},
        {"last line without line feed", "s /a\nalone", std::nullopt, {lineNotConverted("alone")}},
        {"first line", "a b c\ns /a\n", std::nullopt, {lineNotConverted("a b c")}},
        {"a tab does not separate", "s\t/a\n", std::nullopt, {lineNotConverted("s\t/a")}},
        {"cut off by a NUL", std::string("s\0 /a\n", 6), std::nullopt, {lineNotConverted("s")}},
        {"second piece of a long line", "s " + field + "q\n", std::nullopt, {lineNotConverted("qq")}},
    };
    for (ReadRow row : rows) {
        // A field that is cut in a line before is warned about.
        if (row.text.size() > 511) {
            row.lines.insert(row.lines.begin(), copyWarning("snprintf", "SWM_Trans2LinklistRecord"));
        }
        expectRead(row);
    }
}

TEST_F(LinkListReadTest, ManyTextsAgainstAPlainReader)
{
    std::mt19937 random(1);
    const auto pick = [&](size_t number) { return static_cast<size_t>(random() % number); };
    for (int round = 0; round < 3000; ++round) {
        const bool sorted = pick(2) == 0;
        std::vector<std::string> lines;
        for (size_t left = pick(40); left > 0; --left) {
            lines.push_back("/" + std::to_string(pick(6)) + std::string(pick(2) * 300, 'x') + " s" +
                            std::to_string(pick(3)));
        }
        if (sorted) {
            std::sort(lines.begin(), lines.end());
        }
        std::string text;
        for (const std::string &line : lines) {
            const size_t space = line.find(' ');
            text += line.substr(space + 1) + " " + line.substr(0, space) + "\n";
        }
        text += pick(10) == 0 ? "bad" : "";
        const auto expected = reference::links(text);
        ASSERT_EQ(read(text), expected ? SWM_OK : SWM_FAIL) << text;
        ASSERT_EQ(links(), linksOf(expected.value_or(std::vector<LinklistRecord>()))) << text;
        list.clear();
    }
    takeLog();
}

TEST_F(LinkListTest, RecordsAreZeroFilledAroundTheirTexts)
{
    ASSERT_EQ(read("source /a/long/path\ns /b\n"), SWM_OK);
    const LinklistRecord expected = link("s", "/b");
    EXPECT_EQ(memcmp(&list.records<LinklistNode>().at(1)->record, &expected, sizeof(expected)), 0);
}

TEST_F(LinkListTest, NothingIsTouchedOrLoggedUntilTheFileIsOpen)
{
    writeFile(path, "s /a\n");
    SwmListHead head = {nullptr, nullptr, 17};
    const auto expectUntouched = [&](const char *file, SwmListHead *target) {
        EXPECT_EQ(SWM_GetAllRecordFromLinklist(file, target), SWM_FAIL);
        EXPECT_TRUE(nothingLogged());
        EXPECT_EQ(head.next, nullptr);
        EXPECT_EQ(head.prev, nullptr);
        EXPECT_EQ(head.count, 17u);
    };
    expectUntouched(nullptr, &head);
    expectUntouched("", &head);
    expectUntouched(path.c_str(), nullptr);
    expectUntouched((dir / "missing").c_str(), &head);
    failCall(Call::SwmFopen, 1, EACCES);
    expectUntouched(path.c_str(), &head);
    failCall(Call::Malloc, 1, ENOMEM);
    expectUntouched(path.c_str(), &head);
    EXPECT_EQ(callCount(Call::Fclose), 1u) << "the one without a record buffer";
}

TEST_F(LinkListTest, ReadErrorsFailWithoutALine)
{
    EXPECT_EQ(SWM_GetAllRecordFromLinklist(versionDir.c_str(), &list), SWM_FAIL) << "a directory cannot be read";
    EXPECT_TRUE(isEmptyList(*&list));
    const fs::path fifo = makeUnreadable();
    const Descriptor ends(fifo, O_RDWR);
    ASSERT_EQ(write(ends, "s /a\nt /b\n", 10), 10);
    EXPECT_EQ(SWM_GetAllRecordFromLinklist(fifo.c_str(), &list), SWM_FAIL);
    EXPECT_TRUE(isEmptyList(*&list)) << "what was read before the error is released";
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(callCount(Call::Fclose), 2u);
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(LinkListTest, NoMemoryForARecord)
{
    for (unsigned nth = 2; nth <= 4; ++nth) {
        clearFaults();
        failCall(Call::Malloc, nth, ENOMEM);
        EXPECT_EQ(read("s /a\nt /b\nu /c\n"), SWM_FAIL);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_TRUE(nothingLogged());
        EXPECT_EQ(callCount(Call::Fclose), 1u);
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(LinkListTest, FailedClearsAndCopiesAreWarnedAbout)
{
    struct Row {
        Call call;
        unsigned nth;
        LogLine line;
        Links links;
    };
    const Links all = {{"s", "/a"}, {"t", "/b"}};
    const Row rows[] = {
        {Call::Memset, 1, copyWarning("memset", "SWM_GetAllRecordFromLinklist"), all},
        {Call::Memset, 2, copyWarning("memset", "SWM_InsertLinklistRecord"), all},
        {Call::Memset, 3, copyWarning("memset", "SWM_GetAllRecordFromLinklist"), all},
        {Call::Memcpy, 2, copyWarning("memcpy", "SWM_InsertLinklistRecord"), {{"s", "/a"}, {"", ""}}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(nameOf(row.call) + std::to_string(row.nth));
        failCall(row.call, row.nth);
        EXPECT_EQ(read("s /a\nt /b\n"), SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(logged({row.line}));
        EXPECT_EQ(links(), row.links);
        list.clear();
    }
}

// ---- Single records ----

TEST_F(LinkListTest, LineToRecord)
{
    struct Row {
        const char *line;
        uint32_t status;
        const char *trimmed;
    };
    for (const Row &row : {Row{" s /a\r\n", SWM_OK, "s /a"}, Row{"s  /a", SWM_OK, "s  /a"}, Row{" s \n", SWM_FAIL, "s"},
                           Row{"", SWM_FAIL, ""}, Row{" \t", SWM_FAIL, ""}, Row{"a b c", SWM_FAIL, "a b c"}}) {
        SCOPED_TRACE(row.line);
        std::string line = row.line;
        LinklistRecord record = untouchedRecord<LinklistRecord>();
        EXPECT_EQ(SWM_Trans2LinklistRecord(line.data(), &record), row.status);
        EXPECT_STREQ(line.c_str(), row.trimmed) << "in place";
        EXPECT_TRUE(row.status == SWM_OK ? reference::sameLink(record, link("s", "/a")) : isUntouched(record));
        EXPECT_TRUE(row.status == SWM_OK ? nothingLogged() : logged({lineNotConverted(row.trimmed)}));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(LinkListTest, SameRecord)
{
    const LinklistRecord a = link("s", "/a");
    EXPECT_EQ(SWM_IsSameLinklistRecord(&a, &a), 1u);
    const LinklistRecord copy = link("s", "/a");
    EXPECT_EQ(SWM_IsSameLinklistRecord(&a, &copy), 1u);
    for (const LinklistRecord &other :
         {link("t", "/a"), link("s", "/b"), link("/a", "s"), link("", "/a"), link("s", ""), link("S", "/a")}) {
        EXPECT_EQ(SWM_IsSameLinklistRecord(&a, &other), 0u);
        EXPECT_EQ(SWM_IsSameLinklistRecord(&other, &a), 0u);
    }
    LinklistRecord behindNul = copy;
    behindNul.linkPath[10] = 'x';
    EXPECT_EQ(SWM_IsSameLinklistRecord(&a, &behindNul), 1u) << "texts are compared, not bytes";
    EXPECT_EQ(SWM_IsSameLinklistRecord(nullptr, &a), 0u);
    EXPECT_EQ(SWM_IsSameLinklistRecord(&a, nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LinkListTest, UpdateType)
{
    struct Row {
        LinklistRecord oldRecord;
        LinklistRecord newRecord;
        uint32_t type;
    };
    const Row rows[] = {
        {link("s", "/a"), link("s", "/a"), 1},       {link("s", "/a"), link("s", "/b"), 3},
        {link("s", "/b"), link("s", "/a"), 2},       {link("s", "/a"), link("t", "/a"), 4},
        {link("t", "/a"), link("s", "/b"), 3},       {link("s", ""), link("s", "/a"), 3},
        {link("s", "/a"), link("s", "/a/b"), 3},     {link("s", "/\x80"), link("s", "/z"), 2},
        {link("s", "/\xff"), link("s", "/\x80"), 2}, {link("", ""), link("", ""), 1},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_GetLinkUpdateType(&row.oldRecord, &row.newRecord), row.type)
            << row.oldRecord.linkPath << " " << row.newRecord.linkPath;
    }
    EXPECT_TRUE(nothingLogged());
}

class LinkListAddTest
    : public LinkListTest,
      public testing::WithParamInterface<std::pair<const char *, uint32_t (*)(SwmListHead *, const LinklistRecord *)>> {
protected:
    uint32_t add(const std::string &source, const std::string &linkPath)
    {
        const LinklistRecord record = link(source, linkPath);
        return GetParam().second(&list, &record);
    }
};

TEST_P(LinkListAddTest, AppendsWhatIsNotThere)
{
    for (const auto &[source, linkPath] : Links{{"s", "/b"}, {"s", "/a"}, {"s", "/b"}, {"t", "/b"}, {"s", "/a"}}) {
        EXPECT_EQ(add(source, linkPath), SWM_OK);
    }
    EXPECT_EQ(links(), (Links{{"s", "/b"}, {"s", "/a"}, {"t", "/b"}}));
    EXPECT_TRUE(nothingLogged());
}

TEST_P(LinkListAddTest, CopiesTheWholeRecord)
{
    LinklistRecord record = link("s", "/a");
    record.linkSource[255] = 'x';
    ASSERT_EQ(GetParam().second(&list, &record), SWM_OK);
    EXPECT_EQ(memcmp(&list.records<LinklistNode>().at(0)->record, &record, sizeof(record)), 0);
}

TEST_P(LinkListAddTest, Failures)
{
    ASSERT_EQ(add("s", "/a"), SWM_OK);
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(add("s", "/a"), SWM_OK) << "needs no memory";
    EXPECT_FALSE(faultHit());
    EXPECT_EQ(add("s", "/b"), SWM_FAIL);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(links(), (Links{{"s", "/a"}}));

    failCall(Call::Memset, 1);
    EXPECT_EQ(add("s", "/b"), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memset", GetParam().first)}));
    EXPECT_EQ(links(), (Links{{"s", "/a"}, {"s", "/b"}})) << "linked all the same";
    failCall(Call::Memcpy, 1);
    EXPECT_EQ(add("s", "/c"), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memcpy", GetParam().first)}));
    EXPECT_EQ(links(), (Links{{"s", "/a"}, {"s", "/b"}, {"", ""}})) << "linked all the same";
}

INSTANTIATE_TEST_SUITE_P(Both, LinkListAddTest,
                         testing::Values(std::pair("SWM_InsertLinklistRecord", &SWM_InsertLinklistRecord),
                                         std::pair("SWM_AddLinklistRecord", &SWM_AddLinklistRecord)),
                         [](const auto &parameter) { return std::string(parameter.param.first + 4); });

TEST_F(LinkListTest, Release)
{
    for (const uint32_t wrongCount : {3u, 0u, 1u, 7u}) {
        ASSERT_EQ(read("s /a\ns /b\ns /c\n"), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreeLinklistRecord(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    SWM_FreeLinklistRecord(&list);
    list.fillWithZeros();
    SWM_FreeLinklistRecord(&list);
    SWM_FreeLinklistRecord(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

// ---- Null arguments ----

TEST_F(LinkListTest, NullArguments)
{
    const LinklistRecord record = link("s", "/a");
    const reference::BorrowedList<LinklistNode> other(recordsOf({{"s", "/a"}}));
    LinklistRecord out = {};
    SwmListHead first = {nullptr, nullptr, 17};
    SwmListHead second = {nullptr, nullptr, 17};
    uint32_t count = 17;
    char line[] = " s /a ";
    char text[8] = "?";
    const char *const none = nullptr;
    const NullRow rows[] = {
        {"SWM_InsertLinklistRecord", [&] { return SWM_InsertLinklistRecord(nullptr, &record); }},
        {"SWM_InsertLinklistRecord", [&] { return SWM_InsertLinklistRecord(&first, nullptr); }},
        {"SWM_AddLinklistRecord", [&] { return SWM_AddLinklistRecord(nullptr, &record); }},
        {"SWM_AddLinklistRecord", [&] { return SWM_AddLinklistRecord(&first, nullptr); }},
        {"SWM_Trans2LinklistRecord", [&] { return SWM_Trans2LinklistRecord(nullptr, &out); }},
        {"SWM_Trans2LinklistRecord", [&] { return SWM_Trans2LinklistRecord(line, nullptr); }},
        {"SWM_GetLinkUpdateType", [&] { return SWM_GetLinkUpdateType(nullptr, &record); }},
        {"SWM_GetLinkUpdateType", [&] { return SWM_GetLinkUpdateType(&record, nullptr); }},
        {"SWM_AddSrcListNodeToDstListNode",
         [&] { return SWM_AddSrcListNodeToDstListNode(nullptr, &first, other.nodes.data()); }},
        {"SWM_AddSrcListNodeToDstListNode",
         [&] { return SWM_AddSrcListNodeToDstListNode(&other.head, nullptr, other.nodes.data()); }},
        {"SWM_GetAllLinkNeedUpdate", [&] { return SWM_GetAllLinkNeedUpdate(nullptr, &other.head, &first, &second); }},
        {"SWM_GetAllLinkNeedUpdate", [&] { return SWM_GetAllLinkNeedUpdate(&other.head, nullptr, &first, &second); }},
        {"SWM_GetAllLinkNeedUpdate",
         [&] { return SWM_GetAllLinkNeedUpdate(&other.head, &other.head, nullptr, &second); }},
        {"SWM_GetAllLinkNeedUpdate",
         [&] { return SWM_GetAllLinkNeedUpdate(&other.head, &other.head, &first, nullptr); }},
        {"SWM_MergeCurrLinkFilelistRecord", [&] { return SWM_MergeCurrLinkFilelistRecord(nullptr, &first); }},
        {"SWM_MergeCurrLinkFilelistRecord", [&] { return SWM_MergeCurrLinkFilelistRecord("", &first); }},
        {"SWM_MergeCurrLinkFilelistRecord", [&] { return SWM_MergeCurrLinkFilelistRecord("x", nullptr); }},
        {"SWM_MergeLinkFilelistRecordFromImageList",
         [&] { return SWM_MergeLinkFilelistRecordFromImageList("1A", nullptr, "1.0", &first); }},
        {"SWM_MergeLinkFilelistRecordFromImageList",
         [&] { return SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", nullptr, &first); }},
        {"SWM_MergeLinkFilelistRecordFromImageList",
         [&] { return SWM_MergeLinkFilelistRecordFromImageList("1A", "pkg", "1.0", nullptr); }},
        {"SWM_GetFileLinkRecordFromSubPkgVersion",
         [&] { return SWM_GetFileLinkRecordFromSubPkgVersion("1A", nullptr, "1.0", nullptr, &count); }},
        {"SWM_GetFileLinkRecordFromSubPkgVersion",
         [&] { return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "", "1.0", nullptr, &count); }},
        {"SWM_GetFileLinkRecordFromSubPkgVersion",
         [&] { return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", nullptr, nullptr, &count); }},
        {"SWM_GetFileLinkRecordFromSubPkgVersion",
         [&] { return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, nullptr); }},
        {"SWM_GetLinkFilelistFullpath",
         [&] { return SWM_GetLinkFilelistFullpath("1A", nullptr, "1.0", text, 8), SWM_FAIL; }},
        {"SWM_GetLinkFilelistFullpath",
         [&] { return SWM_GetLinkFilelistFullpath("1A", "pkg", none, text, 8), SWM_FAIL; }},
        {"SWM_GetLinkFilelistFullpath",
         [&] { return SWM_GetLinkFilelistFullpath("1A", "pkg", "1.0", nullptr, 8), SWM_FAIL; }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kLinkFile, row.function)}));
    }
    EXPECT_EQ(first.count, 17u);
    EXPECT_EQ(second.count, 17u);
    EXPECT_EQ(count, 17u);
    EXPECT_STREQ(line, " s /a ");
    EXPECT_STREQ(text, "?");
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

} // namespace
} // namespace tarn::test
