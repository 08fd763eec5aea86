// Base of the unit tests: a clean cache before, nothing left behind after.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <tarn_boot/container.h>

#include "support/faults.h"
#include "support/fixture.h"
#include "support/log_capture.h"

namespace tarn::test {

// A list of the library's, released at the end.
class List {
public:
    List() { makeEmpty(); }
    List(const List &) = delete;
    ~List() { clear(); }
    SwmListHead *operator&() { return &head; }
    uint32_t count() const { return head.count; }
    void fillWithZeros() { head = {}; }
    void clear()
    {
        for (uint32_t left = head.count; left > 0; --left) {
            SwmListNode *first = head.next;
            head.next = first->next;
            free(first);
        }
        makeEmpty();
    }
    // Records in order; checks links in both directions and the count.
    template <typename Record> std::vector<const Record *> records() const { return recordsOf<Record>(head); }
    template <typename Record> static std::vector<const Record *> recordsOf(const SwmListHead &list)
    {
        std::vector<const Record *> found;
        const auto *end = reinterpret_cast<const SwmListNode *>(&list);
        const SwmListNode *before = end;
        for (const SwmListNode *node = list.next; node != end; node = node->next) {
            EXPECT_EQ(node->prev, before);
            before = node;
            found.push_back(reinterpret_cast<const Record *>(node));
        }
        EXPECT_EQ(list.prev, before);
        EXPECT_EQ(list.count, found.size());
        return found;
    }

private:
    void makeEmpty()
    {
        head.next = head.prev = reinterpret_cast<SwmListNode *>(&head);
        head.count = 0;
    }
    SwmListHead head;
};

inline bool isEmptyList(const SwmListHead &head)
{
    const auto *self = reinterpret_cast<const SwmListNode *>(&head);
    return head.next == self && head.prev == self && head.count == 0;
}

class BootTest : public testing::Test {
protected:
    void SetUp() override
    {
        TARN_ExtractCacheDrop();
        clearFaults();
        takeLog();
        descriptorsBefore = openDescriptors();
    }
    void TearDown() override
    {
        clearFaults();
        EXPECT_EQ(pthread_mutex_trylock(&g_pkgCacheInfo.mutex), 0) << "the cache's mutex was left locked";
        pthread_mutex_unlock(&g_pkgCacheInfo.mutex);
        EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
        list.clear();
        EXPECT_EQ(liveBlocks(), 0) << "blocks of the library were not released";
        EXPECT_EQ(openDescriptors(), descriptorsBefore);
        EXPECT_FALSE(fs::exists(workdir()));
        fs::remove_all(workdir());
    }

    TempDir dir;
    List list; // for operations that append to one

private:
    size_t descriptorsBefore = 0;
};

} // namespace tarn::test
