// The kinds of record lists. Line formats: docs/formats.md.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <tarn_boot/records.h>

#include "list/lines.h"

namespace tarn::tool {

// All that the commands know of a kind of list.
struct ListKind {
    const char *name;     // as --type takes it
    const char *title;    // "file list"
    const char *nameHint; // lists of this kind are found under names that contain it; null: under any name
    LineFormat format;
    bool (*fits)(const std::vector<std::string_view> &columns); // a first line of these columns
    uint32_t (*load)(const char *path, SwmListHead *list);      // creates no directories
    void (*release)(SwmListHead *list);
    const char *alignment; // of the table that shows it
    std::span<const char *const> headings;
    std::vector<std::string> (*cells)(const SwmListNode &node);
    Json (*json)(const SwmListNode &node);
};

std::span<const ListKind> listKinds();
const ListKind &fileListKind();
const ListKind &linkListKind();
const ListKind &imageListKind();

// "files, links, images or bios"
std::string listKindNames();

const FilelistTxtRecord &fileRecord(const SwmListNode &node);
const LinklistRecord &linkRecord(const SwmListNode &node);
const ImageNameRecord &imageRecord(const SwmListNode &node);

std::string digestText(const FilelistTxtRecord &record);
Json fileJson(const FilelistTxtRecord &record);
Json linkJson(const LinklistRecord &record);

// The lines of a table of `kind`, with its headings.
std::string recordTable(const ListKind &kind, const std::vector<const SwmListNode *> &nodes);

} // namespace tarn::tool
