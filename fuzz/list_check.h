// What holds of every list that the library hands out.
#pragma once

#include <vector>

#include <tarn_boot/common.h>

#include "fuzz_target.h"

namespace tarn::fuzz {

inline void makeEmpty(SwmListHead &list)
{
    list.next = list.prev = reinterpret_cast<SwmListNode *>(&list);
    list.count = 0;
}

// The records in order; the links agree in both directions and the count with them.
template <class Node> std::vector<decltype(Node::record)> recordsOf(const SwmListHead &list)
{
    std::vector<decltype(Node::record)> records;
    const auto *end = reinterpret_cast<const SwmListNode *>(&list);
    const SwmListNode *before = end;
    for (const SwmListNode *node = list.next; node != end; node = node->next) {
        require(node->prev == before, "both links of neighbours agree");
        before = node;
        records.push_back(reinterpret_cast<const Node *>(node)->record);
    }
    require(list.prev == before, "the head's backward link is at the last record");
    require(list.count == records.size(), "the count is that of the records");
    return records;
}

template <class Record, class OtherRecord, class Same>
void requireSame(const std::vector<Record> &found, const std::vector<OtherRecord> &expected, Same same,
                 const char *property)
{
    require(found.size() == expected.size(), property);
    for (size_t i = 0; i < found.size(); ++i) {
        require(same(found[i], expected[i]), property);
    }
}

} // namespace tarn::fuzz
