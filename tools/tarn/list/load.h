// Record lists from files, loaded by the library and explained by the tool.
#pragma once

#include <string>
#include <vector>

#include "list/kinds.h"

namespace tarn::tool {

// The bytes of a list. Throws Failure for what is no regular file.
struct ListFile {
    explicit ListFile(std::string listPath);
    std::string path;
    std::string content;
};

struct KindChoice {
    const ListKind *kind = nullptr;
    bool isDetected = false;
};

// "" detects: by the names that lists have in packages, then by the first line. Throws Failure.
KindChoice chooseKind(const std::string &typeName, const ListFile &file);
// The same without a failure: null when nothing tells the kind.
const ListKind *detectKind(const ListFile &file);
// The kind that --type names. Throws Failure.
const ListKind &kindByName(const std::string &typeName);

// What the library loaded. Throws Failure, with the first bad line, when it did not.
class LoadedList {
public:
    LoadedList(const ListFile &file, const ListKind &listKind);
    LoadedList(const LoadedList &) = delete;
    LoadedList &operator=(const LoadedList &) = delete;
    ~LoadedList() { kind.release(&head); }

    std::vector<const SwmListNode *> nodes() const;

    const ListKind &kind;
    const std::string path;
    Examination examination;
    SwmListHead head = {};
};

// The values that were not loaded as they stand in the file, on stderr.
void warnOfRemarks(const LoadedList &list);

void warnAbout(const std::string &path, const std::string &what);

} // namespace tarn::tool
