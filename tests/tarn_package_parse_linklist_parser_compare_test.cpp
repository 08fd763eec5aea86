// Link lists: comparing an installed list with a new one.
#include <random>

#include "../fuzz/borrowed_list.h"
#include "../fuzz/list_update_reference.h"
#include "link_list_test.h"

namespace tarn::test {
namespace {

class LinkListCompareTest : public LinkListTest {
protected:
    SwmListHead adds = {nullptr, nullptr, 17};
    SwmListHead deletions = {nullptr, nullptr, 17};

    uint32_t compare(const Links &oldLinks, const Links &newLinks)
    {
        const reference::BorrowedList<LinklistNode> oldList(recordsOf(oldLinks));
        const reference::BorrowedList<LinklistNode> newList(recordsOf(newLinks));
        const uint32_t status = SWM_GetAllLinkNeedUpdate(&oldList.head, &newList.head, &adds, &deletions);
        EXPECT_EQ(linksOf(oldList.head), oldLinks) << "left as it was";
        EXPECT_EQ(linksOf(newList.head), newLinks) << "left as it was";
        return status;
    }
    void release()
    {
        SWM_FreeLinklistRecord(&adds);
        SWM_FreeLinklistRecord(&deletions);
    }
};

TEST_F(LinkListCompareTest, AddsAndDeletions)
{
    struct Row {
        const char *name;
        Links oldLinks;
        Links newLinks;
        Links adds;
        Links deletions;
    };
    const Row rows[] = {
        {"nothing", {}, {}, {}, {}},
        {"equal lists", {{"s", "/a"}, {"s", "/b"}}, {{"s", "/a"}, {"s", "/b"}}, {}, {}},
        {"no old list", {}, {{"s", "/a"}, {"s", "/b"}}, {{"s", "/a"}, {"s", "/b"}}, {}},
        {"no new list", {{"s", "/a"}, {"s", "/b"}}, {}, {}, {{"s", "/a"}, {"s", "/b"}}},
        {"another source", {{"s", "/a"}}, {{"t", "/a"}}, {{"t", "/a"}}, {{"s", "/a"}}},
        {"between", {{"s", "/a"}, {"s", "/c"}}, {{"s", "/a"}, {"s", "/b"}, {"s", "/c"}}, {{"s", "/b"}}, {}},
        {"gone from between", {{"s", "/a"}, {"s", "/b"}, {"s", "/c"}}, {{"s", "/a"}, {"s", "/c"}}, {}, {{"s", "/b"}}},
        {"rest of the new list",
         {{"s", "/a"}},
         {{"s", "/a"}, {"s", "/b"}, {"t", "/c"}},
         {{"s", "/b"}, {"t", "/c"}},
         {}},
        {"rest of the old list",
         {{"s", "/a"}, {"s", "/b"}, {"t", "/c"}},
         {{"s", "/a"}},
         {},
         {{"s", "/b"}, {"t", "/c"}}},
        {"one after the other", {{"s", "/c"}}, {{"s", "/a"}}, {{"s", "/a"}}, {{"s", "/c"}}},
        {"two of one path, in the other order",
         {{"s", "/a"}, {"t", "/a"}},
         {{"t", "/a"}, {"s", "/a"}},
         {{"t", "/a"}, {"s", "/a"}},
         {{"s", "/a"}, {"t", "/a"}}},
        {"duplicates are taken once",
         {{"s", "/b"}, {"t", "/b"}, {"s", "/b"}},
         {{"s", "/a"}, {"t", "/a"}, {"s", "/a"}},
         {{"s", "/a"}, {"t", "/a"}},
         {{"s", "/b"}, {"t", "/b"}}},
        {"unsorted duplicates are taken once",
         {},
         {{"s", "/b"}, {"s", "/a"}, {"s", "/b"}, {"s", "/a"}, {"s", "/c"}},
         {{"s", "/b"}, {"s", "/a"}, {"s", "/c"}},
         {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(compare(row.oldLinks, row.newLinks), SWM_OK);
        EXPECT_EQ(linksOf(adds), row.adds);
        EXPECT_EQ(linksOf(deletions), row.deletions);
        release();
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LinkListCompareTest, ManyListsAgainstThePlainWalk)
{
    std::mt19937 random(2);
    const auto someLinks = [&](bool sorted) {
        std::vector<std::pair<std::string, std::string>> byPath;
        for (size_t left = random() % 24; left > 0; --left) {
            byPath.emplace_back("/p" + std::to_string(random() % 7), "s" + std::to_string(random() % 3));
        }
        if (sorted) {
            std::stable_sort(byPath.begin(), byPath.end(),
                             [](const auto &a, const auto &b) { return a.first < b.first; });
        }
        Links links;
        for (const auto &[linkPath, source] : byPath) {
            links.emplace_back(source, linkPath);
        }
        return links;
    };
    for (int round = 0; round < 5000; ++round) {
        const bool sorted = round % 4 != 0;
        const Links oldLinks = someLinks(sorted);
        const Links newLinks = someLinks(sorted);
        ASSERT_EQ(compare(oldLinks, newLinks), SWM_OK);
        const auto expected = reference::compareLinkLists(recordsOf(oldLinks), recordsOf(newLinks));
        ASSERT_EQ(linksOf(adds), linksOf(expected.taken)) << round;
        ASSERT_EQ(linksOf(deletions), linksOf(expected.dropped)) << round;
        release();
    }
}

TEST_F(LinkListCompareTest, FailedAdditions)
{
    struct Row {
        const char *name;
        Links oldLinks;
        Links newLinks;
        unsigned nth;
        uint32_t status;
        Links adds;
        Links deletions;
    };
    const Links abc = {{"s", "/a"}, {"s", "/b"}, {"s", "/c"}};
    const Row rows[] = {
        {"within the walk they are passed over",
         {{"s", "/x"}},
         {{"s", "/a"}, {"s", "/b"}},
         1,
         SWM_OK,
         {{"s", "/b"}},
         {{"s", "/x"}}},
        {"the old one of another source",
         {{"s", "/a"}, {"s", "/b"}},
         {{"t", "/a"}, {"s", "/b"}},
         1,
         SWM_OK,
         {{"t", "/a"}},
         {}},
        {"the new one of another source",
         {{"s", "/a"}, {"s", "/b"}},
         {{"t", "/a"}, {"s", "/b"}},
         2,
         SWM_OK,
         {},
         {{"s", "/a"}}},
        {"the rest of the old list", abc, {}, 2, SWM_FAIL, {}, {{"s", "/a"}}},
        {"the rest of the new list", {}, abc, 3, SWM_FAIL, {{"s", "/a"}, {"s", "/b"}}, {}},
        {"the rest of the old list, after an addition",
         {{"s", "/x"}, {"s", "/y"}},
         {{"s", "/a"}},
         2,
         SWM_FAIL,
         {{"s", "/a"}},
         {}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        failCall(Call::Malloc, row.nth, ENOMEM);
        EXPECT_EQ(compare(row.oldLinks, row.newLinks), row.status);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(linksOf(adds), row.adds);
        EXPECT_EQ(linksOf(deletions), row.deletions);
        EXPECT_TRUE(nothingLogged());
        release();
    }
    const std::string adder = "SWM_AddLinklistRecord";
    failCall(Call::Memset, 1);
    EXPECT_EQ(compare({}, {{"s", "/a"}}), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", adder.c_str())}));
    release();
}

TEST_F(LinkListCompareTest, ZeroedHeadsAreEmptyLists)
{
    const SwmListHead zeros = {};
    ASSERT_EQ(SWM_GetAllLinkNeedUpdate(&zeros, &zeros, &adds, &deletions), SWM_OK);
    EXPECT_TRUE(isEmptyList(adds));
    EXPECT_TRUE(isEmptyList(deletions));
}

TEST_F(LinkListTest, AddingTheRestOfAList)
{
    const reference::BorrowedList<LinklistNode> source(recordsOf({{"s", "/a"}, {"s", "/b"}, {"s", "/a"}, {"s", "/c"}}));
    EXPECT_EQ(SWM_AddSrcListNodeToDstListNode(&source.head, &list, nullptr), SWM_OK);
    EXPECT_EQ(links(), Links{});
    EXPECT_EQ(SWM_AddSrcListNodeToDstListNode(&source.head, &list, &source.nodes[2]), SWM_OK);
    EXPECT_EQ(links(), (Links{{"s", "/a"}, {"s", "/c"}}));
    EXPECT_EQ(SWM_AddSrcListNodeToDstListNode(&source.head, &list, &source.nodes[0]), SWM_OK);
    EXPECT_EQ(links(), (Links{{"s", "/a"}, {"s", "/c"}, {"s", "/b"}})) << "what is there stays, in its order";
    list.clear();
    ASSERT_EQ(read("s /b\ns /a\n"), SWM_OK);
    EXPECT_EQ(SWM_AddSrcListNodeToDstListNode(&source.head, &list, &source.nodes[0]), SWM_OK);
    EXPECT_EQ(links(), (Links{{"s", "/b"}, {"s", "/a"}, {"s", "/c"}})) << "in a list of any order";
    list.clear();
    failCall(Call::Malloc, 2, ENOMEM);
    EXPECT_EQ(SWM_AddSrcListNodeToDstListNode(&source.head, &list, &source.nodes[0]), SWM_FAIL);
    EXPECT_EQ(links(), (Links{{"s", "/a"}})) << "the first failure stops it";
    EXPECT_TRUE(nothingLogged());
}

} // namespace
} // namespace tarn::test
