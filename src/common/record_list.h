// The library's one list: a view of a caller's SwmListHead whose records are heap blocks that begin with their links.
// All links, the head's too, are reached as SwmListNode, so that no two struct types name the same bytes in one unit.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>

#include <tarn_boot/common.h>

#include "common/handles.h"

namespace tarn {

static_assert(offsetof(SwmListHead, next) == offsetof(SwmListNode, next));
static_assert(offsetof(SwmListHead, prev) == offsetof(SwmListNode, prev));

// Walks in order. A head with null links, as in zeroed memory, is an empty list.
template <class Record> class RecordIterator {
public:
    explicit RecordIterator(SwmListNode *position) : node(position) {}
    Record &operator*() const { return *reinterpret_cast<Record *>(node); }
    RecordIterator &operator++()
    {
        node = node->next;
        return *this;
    }
    bool operator==(const RecordIterator &other) const = default;

private:
    SwmListNode *node;
};

template <class Record> class ConstRecordList {
    static_assert(std::is_standard_layout_v<Record> && offsetof(Record, links) == 0);

public:
    explicit ConstRecordList(const SwmListHead &listHead)
        : sentinel(reinterpret_cast<SwmListNode *>(const_cast<SwmListHead *>(&listHead)))
    {
    }

    RecordIterator<Record> begin() const { return RecordIterator<Record>(linked() ? sentinel->next : sentinel); }
    RecordIterator<Record> end() const { return RecordIterator<Record>(sentinel); }

    // The first record for which `matches` holds, or null.
    template <class Predicate> Record *find(Predicate matches) const
    {
        for (Record &record : *this) {
            if (matches(record)) {
                return &record;
            }
        }
        return nullptr;
    }

protected:
    bool linked() const { return sentinel->next != nullptr; }

    SwmListNode *sentinel;
};

template <class Record> class RecordList : public ConstRecordList<Record> {
public:
    explicit RecordList(SwmListHead &listHead) : ConstRecordList<Record>(listHead), head(listHead) {}

    // Hands the record to the list.
    void append(HeapBlock<Record> record)
    {
        if (!this->linked()) {
            sentinel->next = sentinel->prev = sentinel;
        }
        SwmListNode *node = &record.release()->links;
        node->prev = sentinel->prev;
        node->next = sentinel;
        sentinel->prev->next = node;
        sentinel->prev = node;
        ++head.count;
    }

    // Unlinks and frees every record and leaves a proper empty head. Each record goes once, whatever the count says.
    void release()
    {
        while (this->linked() && sentinel->next != sentinel) {
            SwmListNode *node = sentinel->next;
            node->prev->next = node->next;
            node->next->prev = node->prev;
            HeapBlock<Record>(reinterpret_cast<Record *>(node)).reset();
        }
        sentinel->next = sentinel->prev = sentinel;
        head.count = 0;
    }

private:
    using ConstRecordList<Record>::sentinel;
    SwmListHead &head;
};

} // namespace tarn
