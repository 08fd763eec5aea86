// Copies of records: into a list as a node of its own, and from a list into a caller's array.
#pragma once

#include "common/bounded_text.h"
#include "common/record_list.h"

namespace tarn {

// Appends a new node whose `part` is a copy of the record. Silent when there is no memory; a clear or copy that fails
// is warned about in the caller's name, and the node is linked all the same.
template <class Node, class Record>
uint32_t appendCopy(SwmListHead &list, Record Node::*part, const Record &record,
                    const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    HeapBlock<Node> node = allocate<Node>();
    if (!node) {
        return SWM_FAIL;
    }
    clearBytes(node.get(), sizeof(Node), function, line);
    copyBlock((*node).*part, record, function, line);
    RecordList<Node>(list).append(std::move(node));
    return SWM_OK;
}

// Copies every record into `slots`, which hold `count` of them; null slots ask for the number only. Afterwards `count`
// is the number of records; SWM_E_BUFFER_SMALL, and nothing copied, when there are more of them than slots.
template <class Node, class Record>
uint32_t copyRecords(const SwmListHead &head, Record *slots, uint32_t &count,
                     const char *function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    const uint32_t capacity = count;
    count = head.count;
    if (slots == nullptr) {
        return SWM_OK;
    }
    if (count > capacity) {
        return SWM_E_BUFFER_SMALL;
    }
    for (const Node &node : ConstRecordList<Node>(head)) {
        copyBlock(*slots++, node.record, function, line);
    }
    return SWM_OK;
}

} // namespace tarn
