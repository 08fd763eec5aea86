// Sorts a list by a text key in n log n, in place. Nodes are large and lie far apart, and looking at one costs more
// than comparing: so every node carries the telling bytes of its key in its backward link while the sort runs.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "common/record_list.h"

namespace tarn {

// By Family::key(record); of equal keys the later node comes first.
template <class Family> class LaterFirstSort {
    using Node = typename Family::Node;

public:
    explicit LaterFirstSort(SwmListHead &listHead)
        : head(listHead), sentinel(reinterpret_cast<SwmListNode *>(&listHead))
    {
    }

    void run()
    {
        if (isSorted()) {
            return;
        }
        for (Node &node : ConstRecordList<Node>(head)) {
            node.links.prev = reinterpret_cast<SwmListNode *>(tellingBytes(&node.links));
        }
        relink(sortChain());
    }

private:
    using Word = uintptr_t;
    static constexpr size_t kMaxRunBits = 32;

    const char *key(const SwmListNode *node) const { return Family::key(reinterpret_cast<const Node *>(node)->record); }
    static Word word(const SwmListNode *node) { return reinterpret_cast<Word>(node->prev); }

    // Ascending without equal keys. Otherwise notes how many bytes all keys have in common.
    bool isSorted()
    {
        bool ascending = true;
        common = SIZE_MAX;
        const char *before = nullptr;
        for (const Node &node : ConstRecordList<Node>(head)) {
            const char *text = Family::key(node.record);
            if (before != nullptr) {
                size_t same = 0;
                while (before[same] == text[same] && text[same] != '\0') {
                    ++same;
                }
                common = std::min(common, same);
                ascending =
                    ascending && static_cast<unsigned char>(before[same]) < static_cast<unsigned char>(text[same]);
            }
            before = text;
        }
        return ascending;
    }

    // The first bytes behind the common ones, as a number that compares like them.
    Word tellingBytes(const SwmListNode *node) const
    {
        const char *text = key(node) + common;
        Word bytes = 0;
        for (size_t left = sizeof(Word); left > 0; --left) {
            bytes = bytes << 8 | static_cast<unsigned char>(*text);
            text += *text != '\0' ? 1 : 0;
        }
        return bytes;
    }

    bool isBefore(const SwmListNode *earlier, const SwmListNode *later) const
    {
        const Word a = word(earlier);
        const Word b = word(later);
        if (a != b) {
            return a < b;
        }
        // A last byte of 0: the whole key has been seen.
        return (a & 0xFF) != 0 && strcmp(key(earlier) + common, key(later) + common) < 0;
    }

    // Chains end in null. `earlier` stood before `later` in the list.
    SwmListNode *merge(SwmListNode *earlier, SwmListNode *later) const
    {
        SwmListNode *first = nullptr;
        SwmListNode **tail = &first;
        while (earlier != nullptr && later != nullptr) {
            SwmListNode *&taken = isBefore(earlier, later) ? earlier : later;
            *tail = taken;
            tail = &taken->next;
            taken = taken->next;
        }
        *tail = earlier != nullptr ? earlier : later;
        return first;
    }

    // Bottom-up: runs[n] is empty or a sorted chain of 2^n nodes, and stood before all of lower number.
    SwmListNode *sortChain() const
    {
        SwmListNode *runs[kMaxRunBits] = {};
        for (SwmListNode *node = sentinel->next; node != sentinel;) {
            SwmListNode *run = node;
            node = node->next;
            run->next = nullptr;
            size_t bits = 0;
            for (; runs[bits] != nullptr; ++bits) {
                run = merge(runs[bits], run);
                runs[bits] = nullptr;
            }
            runs[bits] = run;
        }
        SwmListNode *all = nullptr;
        for (SwmListNode *run : runs) {
            all = merge(run, all);
        }
        return all;
    }

    void relink(SwmListNode *chain) const
    {
        SwmListNode *before = sentinel;
        for (SwmListNode *node = chain; node != nullptr; node = node->next) {
            before->next = node;
            node->prev = before;
            before = node;
        }
        before->next = sentinel;
        sentinel->prev = before;
    }

    SwmListHead &head;
    SwmListNode *sentinel;
    size_t common = 0;
};

} // namespace tarn
