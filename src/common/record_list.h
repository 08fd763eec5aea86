// The library's one list: a view of a caller's head whose records are heap blocks that begin with their links. The head
// is a SwmListHead, or a SwmListNode where nothing is counted. All links, the head's too, are reached as SwmListNode,
// so that no two struct types name the same bytes in one unit.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <type_traits>
#include <utility>

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
    Record *operator->() const { return reinterpret_cast<Record *>(node); }
    RecordIterator &operator++()
    {
        node = node->next;
        return *this;
    }
    RecordIterator &operator--()
    {
        node = node->prev;
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
    explicit ConstRecordList(const SwmListNode &listHead) : sentinel(const_cast<SwmListNode *>(&listHead)) {}

    RecordIterator<Record> begin() const { return RecordIterator<Record>(linked() ? sentinel->next : sentinel); }
    RecordIterator<Record> end() const { return RecordIterator<Record>(sentinel); }
    bool empty() const { return begin() == end(); }
    // Of a list that is not empty.
    Record &back() const { return *--end(); }

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
    explicit RecordList(SwmListHead &listHead) : ConstRecordList<Record>(listHead), count(&listHead.count) {}
    explicit RecordList(SwmListNode &listHead) : ConstRecordList<Record>(listHead) {}

    // Makes it a proper empty list, whatever the head held.
    void initialise()
    {
        sentinel->next = sentinel->prev = sentinel;
        setCount(0);
    }

    // These two hand the record to the list.
    void append(HeapBlock<Record> record) { linkBefore(sentinel, std::move(record)); }
    void insertBefore(Record &position, HeapBlock<Record> record) { linkBefore(&position.links, std::move(record)); }

    // Moves all of the other list's records, in their order, behind this list's.
    void takeAll(RecordList &other)
    {
        if (!other.empty()) {
            prepare();
            SwmListNode *first = other.sentinel->next;
            SwmListNode *last = other.sentinel->prev;
            first->prev = sentinel->prev;
            sentinel->prev->next = first;
            last->next = sentinel;
            sentinel->prev = last;
            setCount(oldCount() + other.oldCount());
            other.initialise();
        }
    }

    // Unlinks the first record of a list that is not empty.
    HeapBlock<Record> takeFirst()
    {
        SwmListNode *node = sentinel->next;
        node->prev->next = node->next;
        node->next->prev = node->prev;
        setCount(oldCount() - (oldCount() > 0 ? 1 : 0));
        return HeapBlock<Record>(reinterpret_cast<Record *>(node));
    }

    // Frees every record and leaves a proper empty head. Each record goes once, whatever the count says.
    void release()
    {
        while (!this->empty()) {
            takeFirst().reset();
        }
        initialise();
    }

private:
    void prepare()
    {
        if (!this->linked()) {
            sentinel->next = sentinel->prev = sentinel;
        }
    }

    void linkBefore(SwmListNode *position, HeapBlock<Record> record)
    {
        prepare();
        SwmListNode *node = &record.release()->links;
        node->prev = position->prev;
        node->next = position;
        position->prev->next = node;
        position->prev = node;
        setCount(oldCount() + 1);
    }

    using ConstRecordList<Record>::sentinel;
    void setCount(uint32_t number) const
    {
        if (count != nullptr) {
            *count = number;
        }
    }
    uint32_t oldCount() const { return count != nullptr ? *count : 0; }

    uint32_t *count = nullptr; // null: nothing is counted
};

// A list of the library's own, released at the end. Its head's links are never written as a SwmListHead's.
template <class Record> struct LocalList {
    SwmListHead head;
    RecordList<Record> records{head};

    LocalList() { records.initialise(); }
    LocalList(const LocalList &) = delete;
    ~LocalList()
    {
        const ErrnoKeeper keeper;
        records.release();
    }
};

} // namespace tarn
