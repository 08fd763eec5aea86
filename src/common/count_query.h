// How records of a list come into a caller's array.
#pragma once

#include "common/bounded_text.h"
#include "common/record_list.h"

namespace tarn {

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
