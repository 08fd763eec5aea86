// Comparing two lists of records the plain way: every duplicate is looked for in the whole output.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include <tarn_boot/records.h>

namespace tarn::reference {

template <class Record> struct Changes {
    std::vector<Record> taken;   // of the new list
    std::vector<Record> dropped; // of the old list
};

template <class Record, class Same> void addOnce(std::vector<Record> &list, const Record &record, Same same)
{
    if (std::none_of(list.begin(), list.end(), [&](const Record &other) { return same(other, record); })) {
        list.push_back(record);
    }
}

// step(old, new, changes) says what becomes of a pair and moves one iterator or both.
template <class Record, class Same, class Step>
Changes<Record> compareLists(const std::vector<Record> &oldList, const std::vector<Record> &newList, Same same,
                             Step step)
{
    Changes<Record> changes;
    auto oldOne = oldList.begin();
    auto newOne = newList.begin();
    while (oldOne != oldList.end() && newOne != newList.end()) {
        step(oldOne, newOne, changes);
    }
    std::for_each(oldOne, oldList.end(), [&](const Record &record) { addOnce(changes.dropped, record, same); });
    std::for_each(newOne, newList.end(), [&](const Record &record) { addOnce(changes.taken, record, same); });
    return changes;
}

inline bool sameFile(const FilelistTxtRecord &a, const FilelistTxtRecord &b)
{
    return strcmp(a.entryName, b.entryName) == 0 && strcmp(a.installDir, b.installDir) == 0 &&
           strcmp(a.poolName, b.poolName) == 0 && strcmp(a.fileName, b.fileName) == 0 &&
           memcmp(a.digest, b.digest, sizeof(a.digest)) == 0;
}

inline bool sameLink(const LinklistRecord &a, const LinklistRecord &b)
{
    return strcmp(a.linkSource, b.linkSource) == 0 && strcmp(a.linkPath, b.linkPath) == 0;
}

// typeOf(old, new) is the update type, which asks about installed files.
template <class TypeOf>
Changes<FilelistTxtRecord> compareFileLists(const std::vector<FilelistTxtRecord> &oldList,
                                            const std::vector<FilelistTxtRecord> &newList, TypeOf typeOf)
{
    return compareLists(oldList, newList, sameFile, [&](auto &oldOne, auto &newOne, auto &changes) {
        switch (typeOf(*oldOne, *newOne)) {
        case UPDATE_SAME:
            ++oldOne;
            ++newOne;
            break;
        case UPDATE_DEL:
            addOnce(changes.dropped, *oldOne++, sameFile);
            break;
        case UPDATE_MODIFY:
            addOnce(changes.taken, *newOne++, sameFile);
            ++oldOne;
            break;
        default: // The old record meets the next new one, too.
            addOnce(changes.taken, *newOne++, sameFile);
            break;
        }
    });
}

inline Changes<LinklistRecord> compareLinkLists(const std::vector<LinklistRecord> &oldList,
                                                const std::vector<LinklistRecord> &newList)
{
    return compareLists(oldList, newList, sameLink, [](auto &oldOne, auto &newOne, auto &changes) {
        const int order = strcmp(oldOne->linkPath, newOne->linkPath);
        if (order == 0 && sameLink(*oldOne, *newOne)) {
            ++oldOne;
            ++newOne;
            return;
        }
        const bool drop = order <= 0;
        const bool take = order >= 0;
        if (drop) {
            addOnce(changes.dropped, *oldOne++, sameLink);
        }
        if (take) {
            addOnce(changes.taken, *newOne++, sameLink);
        }
    });
}

} // namespace tarn::reference
