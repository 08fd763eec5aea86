// Comparing two lists that are sorted by a text key, and gathering copies of records of which no two are equal. A
// family of records says what it is by
//     using Node;                          its list entry, with `links` and `record`
//     static const char *key(record);      what its lists are sorted by
//     static bool same(a, b);              equal records have equal keys
//     static constexpr const char *kAdder; the operation that its warnings name
#pragma once

#include <cstring>

#include "common/record_copy.h"
#include "common/record_list.h"

namespace tarn {

template <class Family> using RecordOf = decltype(Family::Node::record);

template <class Family> uint32_t addCopy(SwmListHead &list, const RecordOf<Family> &record)
{
    return appendCopy(list, &Family::Node::record, record, Family::kAdder);
}

template <class Family> bool hasRecord(const SwmListHead &list, const RecordOf<Family> &record)
{
    return ConstRecordList<typename Family::Node>(list).find(
               [&](const auto &node) { return Family::same(node.record, record); }) != nullptr;
}

template <class Family> uint32_t addUnlessPresent(SwmListHead &list, const RecordOf<Family> &record)
{
    return hasRecord<Family>(list, record) ? SWM_OK : addCopy<Family>(list, record);
}

// Adds to one list. While that is in ascending order a record's equals can only be among the last ones of its key, and
// adding takes no walk; once it is not, every addition looks through the whole list.
template <class Family> class UniqueAppender {
    using Node = typename Family::Node;
    using Record = RecordOf<Family>;

public:
    explicit UniqueAppender(SwmListHead &head) : list(head), nodes(head), ascending(isAscending()) {}

    uint32_t add(const Record &record)
    {
        const int order = ascending && !nodes.empty() ? compare(nodes.back().record, record) : -1;
        const bool present =
            !ascending || order > 0 ? hasRecord<Family>(list, record) : order == 0 && endsWithEqual(record);
        if (present) {
            return SWM_OK;
        }
        const uint32_t status = addCopy<Family>(list, record);
        if (status == SWM_OK && order > 0) {
            ascending = false;
        }
        return status;
    }

private:
    static int compare(const Record &a, const Record &b) { return strcmp(Family::key(a), Family::key(b)); }

    bool isAscending() const
    {
        const Record *before = nullptr;
        for (const Node &node : nodes) {
            if (before != nullptr && compare(*before, node.record) > 0) {
                return false;
            }
            before = &node.record;
        }
        return true;
    }

    bool endsWithEqual(const Record &record) const
    {
        for (auto node = nodes.end(); node != nodes.begin();) {
            --node;
            if (compare(node->record, record) != 0) {
                return false;
            }
            if (Family::same(node->record, record)) {
                return true;
            }
        }
        return false;
    }

    SwmListHead &list;
    ConstRecordList<Node> nodes;
    bool ascending;
};

// A position in a list, or none behind its last record.
template <class Family> class ListCursor {
    using Node = typename Family::Node;

public:
    explicit ListCursor(const SwmListHead &head)
        : position(ConstRecordList<Node>(head).begin()), none(ConstRecordList<Node>(head).end())
    {
        if (head.count == 0) {
            position = none;
        }
    }
    ListCursor(const SwmListHead &head, const Node *start) : ListCursor(head)
    {
        position = start == nullptr ? none : RecordIterator<Node>(const_cast<SwmListNode *>(&start->links));
    }

    bool onRecord() const { return position != none; }
    const RecordOf<Family> &record() const { return position->record; }
    void advance() { ++position; }

    // Adds what is left; stops at the first failure.
    uint32_t drainTo(UniqueAppender<Family> &target)
    {
        for (; onRecord(); advance()) {
            if (target.add(record()) != SWM_OK) {
                return SWM_FAIL;
            }
        }
        return SWM_OK;
    }

private:
    RecordIterator<Node> position;
    RecordIterator<Node> none;
};

// What a merge walk does about a pair.
struct MergeStep {
    bool takeOld;
    bool takeNew;
    bool advanceOld;
    bool advanceNew;
};

// Walks both lists by stepFor(old, new); the rest of the old list counts as taken, then the rest of the new one.
// Records that cannot be added within the walk are passed over.
template <class Family, class StepFor>
uint32_t mergeWalk(const SwmListHead &oldList, const SwmListHead &newList, SwmListHead &takenNew, SwmListHead &takenOld,
                   StepFor stepFor)
{
    RecordList<typename Family::Node>(takenNew).initialise();
    RecordList<typename Family::Node>(takenOld).initialise();
    UniqueAppender<Family> fromNew(takenNew);
    UniqueAppender<Family> fromOld(takenOld);
    ListCursor<Family> oldOne(oldList);
    ListCursor<Family> newOne(newList);
    while (oldOne.onRecord() && newOne.onRecord()) {
        const MergeStep step = stepFor(oldOne.record(), newOne.record());
        if (step.takeOld) {
            static_cast<void>(fromOld.add(oldOne.record()));
        }
        if (step.takeNew) {
            static_cast<void>(fromNew.add(newOne.record()));
        }
        if (step.advanceOld) {
            oldOne.advance();
        }
        if (step.advanceNew) {
            newOne.advance();
        }
    }
    return oldOne.drainTo(fromOld) != SWM_OK ? SWM_FAIL : newOne.drainTo(fromNew);
}

} // namespace tarn
