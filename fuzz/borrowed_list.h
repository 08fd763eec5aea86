// A list of records for operations that only look at it.
#pragma once

#include <vector>

#include <tarn_boot/common.h>

namespace tarn::reference {

// A list over nodes of its own; nothing to release.
template <class Node> struct BorrowedList {
    std::vector<Node> nodes;
    SwmListHead head = {};

    explicit BorrowedList(const std::vector<decltype(Node::record)> &records)
    {
        for (const auto &record : records) {
            nodes.push_back({{}, record});
        }
        head.next = head.prev = reinterpret_cast<SwmListNode *>(&head);
        for (Node &node : nodes) {
            node.links = {reinterpret_cast<SwmListNode *>(&head), head.prev};
            head.prev->next = &node.links;
            head.prev = &node.links;
            ++head.count;
        }
    }
    BorrowedList(const BorrowedList &) = delete;
};

} // namespace tarn::reference
