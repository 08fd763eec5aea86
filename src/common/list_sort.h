// Sorts a list by a text key in n log n, without memory of its own. Nodes are large and lie far apart: going to one
// costs more than comparing. So what is sorted is a table of (some bytes of the key, node), and nodes are gone to only
// where those bytes are equal.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

#include "common/record_list.h"

namespace tarn {

// By Family::key(record); of equal keys the later node comes first.
template <class Family> class LaterFirstSort {
    using Node = typename Family::Node;

public:
    // One per node. Packed: it is no longer than the shortest line that a record can come from, so that the text of a
    // file has room for the table of its records.
    struct __attribute__((packed)) Entry {
        uint32_t firstBytes;
        uint16_t nextBytes;
        SwmListNode *node;

        uint64_t word() const { return static_cast<uint64_t>(firstBytes) << 16 | nextBytes; }
    };

    explicit LaterFirstSort(SwmListHead &head) : nodes(head), sentinel(reinterpret_cast<SwmListNode *>(&head)) {}

    // Call after each append to the list, empty at first: that is when nodes are near.
    void noteLast()
    {
        if (nodes.empty() || &nodes.back() == last) {
            return;
        }
        const char *key = Family::key(nodes.back().record);
        if (last != nullptr) {
            const char *before = Family::key(last->record);
            size_t same = 0;
            while (before[same] == key[same] && key[same] != '\0') {
                ++same;
            }
            common = std::min(common, same);
            isSorted = isSorted && static_cast<unsigned char>(before[same]) < static_cast<unsigned char>(key[same]);
        }
        last = &nodes.back();
        ++count;
    }

    // In n log n when `room`, of `size` bytes, holds the table; else by inserting one after the other. It is
    // overwritten.
    void run(void *room, size_t size)
    {
        if (isSorted) {
            return;
        }
        if (count > size / sizeof(Entry)) {
            insertAnew();
            return;
        }
        const std::span<Entry> table(static_cast<Entry *>(room), count);
        fill(table);
        sortFrom(table, common);
        relink(table);
    }

private:
    static constexpr size_t kWordBytes = 6;
    static constexpr size_t kAhead = 16; // nodes that are fetched before they are gone to

    void insertAnew()
    {
        LocalList<Node> unsorted;
        unsorted.records.takeAll(nodes);
        while (!unsorted.records.empty()) {
            HeapBlock<Node> node = unsorted.records.takeFirst();
            const char *key = Family::key(node->record);
            Node *next = nodes.find([key](const Node &old) { return strcmp(key, Family::key(old.record)) <= 0; });
            if (next != nullptr) {
                nodes.insertBefore(*next, std::move(node));
            } else {
                nodes.append(std::move(node));
            }
        }
    }

    // While the table is sorted the backward links hold the nodes' places; nothing in between can fail.
    void fill(std::span<Entry> table) const
    {
        SwmListNode *node = sentinel->next;
        for (size_t place = 0; place < table.size(); ++place) {
            std::construct_at(&table[place], Entry{.firstBytes = 0, .nextBytes = 0, .node = node});
            node->prev = reinterpret_cast<SwmListNode *>(place);
            node = node->next;
        }
    }

    static const char *keyOf(const SwmListNode *node)
    {
        return Family::key(reinterpret_cast<const Node *>(node)->record);
    }

    static void fetchAhead(std::span<const Entry> table, size_t index)
    {
        if (index + kAhead < table.size()) {
            __builtin_prefetch(keyOf(table[index + kAhead].node));
        }
    }

    // The bytes from `text` on, as numbers that compare like them; 0 behind its end.
    static void takeWord(Entry &entry, const char *text)
    {
        uint64_t bytes = 0;
        for (size_t left = kWordBytes; left > 0; --left) {
            bytes = bytes << 8 | static_cast<unsigned char>(*text);
            text += *text != '\0' ? 1 : 0;
        }
        entry.firstBytes = static_cast<uint32_t>(bytes >> 16);
        entry.nextBytes = static_cast<uint16_t>(bytes);
    }

    // By the keys from `offset` on, which all go on so far.
    static void sortFrom(std::span<Entry> table, size_t offset) // NOLINT(misc-no-recursion): as deep as keys are long
    {
        for (size_t index = 0; index < table.size(); ++index) {
            fetchAhead(table, index);
            takeWord(table[index], keyOf(table[index].node) + offset);
        }
        std::sort(table.begin(), table.end(), [](const Entry &a, const Entry &b) { return a.word() < b.word(); });
        while (!table.empty()) {
            const uint64_t word = table.front().word();
            size_t equal = 1;
            while (equal < table.size() && table[equal].word() == word) {
                ++equal;
            }
            sortEqual(table.first(equal), offset + kWordBytes, (word & 0xFF) == 0);
            table = table.subspan(equal);
        }
    }

    static void sortEqual(std::span<Entry> table, size_t offset, bool isEndOfKey) // NOLINT(misc-no-recursion)
    {
        if (table.size() == 1) {
            return;
        }
        if (!isEndOfKey) {
            sortFrom(table, offset);
            return;
        }
        std::sort(table.begin(), table.end(), [](const Entry &a, const Entry &b) {
            return reinterpret_cast<uintptr_t>(a.node->prev) > reinterpret_cast<uintptr_t>(b.node->prev);
        });
    }

    void relink(std::span<const Entry> table) const
    {
        SwmListNode *before = sentinel;
        for (const Entry &entry : table) {
            before->next = entry.node;
            entry.node->prev = before;
            before = entry.node;
        }
        before->next = sentinel;
        sentinel->prev = before;
    }

    RecordList<Node> nodes;
    SwmListNode *sentinel;
    const Node *last = nullptr;
    size_t count = 0;
    size_t common = SIZE_MAX; // bytes that all keys begin with
    bool isSorted = true;     // ascending, without equal keys
};

} // namespace tarn
