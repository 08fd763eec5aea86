// What the database units share over libxml2: owners, finding by name, the file that an operation works on, the leaves
// of an entry. Of a node its type, name, first child and next sibling are used.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <tarn_boot/database.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/log.h"

namespace tarn {

// xmlFree is a variable.
inline void freeXmlText(xmlChar *text)
{
    xmlFree(text);
}

using XmlDocument = std::unique_ptr<xmlDoc, Releaser<xmlFreeDoc>>;
using XmlNode = std::unique_ptr<xmlNode, Releaser<xmlFreeNode>>; // one that hangs in no document
using XmlText = std::unique_ptr<xmlChar, Releaser<freeXmlText>>;

inline const xmlChar *xmlText(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

inline const char *nameOf(const xmlNode *node)
{
    return reinterpret_cast<const char *>(node->name);
}

// libxml2 says nothing in this thread while one lives: its own options do not cover errors of input, output and
// memory. A lack of memory is remembered, since few of the tree functions report it: a name or text is just missing.
class QuietXml {
public:
    QuietXml();
    ~QuietXml() { xmlSetStructuredErrorFunc(oldContext, oldHandler); }
    QuietXml(const QuietXml &) = delete;
    QuietXml &operator=(const QuietXml &) = delete;

    bool outOfMemory() const { return lackedMemory; }

private:
    void *oldContext;
    xmlStructuredErrorFunc oldHandler;
    bool lackedMemory = false;
};

// `node` or the first sibling behind it that is an element of that name. An entity reference or a processing
// instruction bears a name too, and what hangs below it is not the document's.
inline xmlNode *named(xmlNode *node, const char *name)
{
    while (node != nullptr && (node->type != XML_ELEMENT_NODE || xmlStrcmp(node->name, xmlText(name)) != 0)) {
        node = node->next;
    }
    return node;
}

inline xmlNode *firstChild(const xmlNode *parent, const char *name)
{
    return named(parent->children, name);
}

inline xmlNode *nextSibling(const xmlNode *node, const char *name)
{
    return named(node->next, name);
}

// The database of one operation. Both steps speak.
class Database {
public:
    bool open(const char *path);
    // Over the file it was read from; null: in the encoding that the file declares.
    bool save(const char *encoding);
    xmlNode *root() const { return rootNode; }

private:
    const char *file = nullptr;
    XmlDocument document;
    xmlNode *rootNode = nullptr;
};

constexpr const char *kUtf8 = "UTF-8";

// What libxml2 gives for a save, below 0 for failure. Silent.
int saveDocument(const char *path, xmlDoc *document, const char *encoding);

// A text leaf of an entry and its place in the record.
struct Leaf {
    const char *name;
    size_t offset;
    uint32_t size;
};

#define TARN_LEAF(record, field, element)                                                                              \
    ::tarn::Leaf                                                                                                       \
    {                                                                                                                  \
        element, offsetof(record, field), sizeof(record::field)                                                        \
    }

// In the order in which they are written and read.
constexpr Leaf kBaseLeaves[] = {
    TARN_LEAF(SwmPackageInfo, PackageName, "PackageName"), TARN_LEAF(SwmPackageInfo, Version, "Version"),
    TARN_LEAF(SwmPackageInfo, CcFile, "CcFile"),           TARN_LEAF(SwmPackageInfo, CcPath, "CcPath"),
    TARN_LEAF(SwmPackageInfo, InstallPath, "InstallPath"), TARN_LEAF(SwmPackageInfo, PkgPoolPath, "PkgPoolPath"),
    TARN_LEAF(SwmPackageInfo, ActiveTime, "ActiveTime"),
};
constexpr uint32_t kActiveTime = 6; // the leaf that a package may lack

template <class Record> const char *leafText(const Record &record, const Leaf &leaf)
{
    return reinterpret_cast<const char *>(&record) + leaf.offset;
}

// Null for no records and when there is no memory. A clear that fails is only warned about, but leaves no pointers to
// follow either.
template <class Record>
HeapBlock<Record> blankRecords(uint32_t count, const char *function, int line = __builtin_LINE())
{
    HeapBlock<Record> records(count == 0 ? nullptr : allocate<Record>(count));
    if (records && !clearBytes(records.get(), count * sizeof(Record), function, line)) {
        std::fill_n(records.get(), count, Record{});
    }
    return records;
}

// The records that SWM_FreePackageInfo releases.
class PackageRecords {
public:
    PackageRecords(SwmPackageInfo *array, uint32_t number) : records(array), count(number) {}
    ~PackageRecords()
    {
        if (records != nullptr) {
            SWM_FreePackageInfo(records, count);
        }
    }
    PackageRecords(const PackageRecords &) = delete;
    PackageRecords &operator=(const PackageRecords &) = delete;

    SwmPackageInfo *get() const { return records; }
    SwmPackageInfo *release() { return std::exchange(records, nullptr); }

private:
    SwmPackageInfo *records;
    uint32_t count;
};

} // namespace tarn
