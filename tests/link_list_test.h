// Base of the tests of link lists.
#pragma once

#include "../fuzz/line_list_reference.h"
#include "line_list_test.h"

namespace tarn::test {

using Links = std::vector<std::pair<std::string, std::string>>; // source, path

constexpr const char *kLinkFile = "tarn_package_parse_linklist_parser.cpp";

inline LogLine lineNotConverted(const std::string &line)
{
    return errorOf(kLinkFile, "SWM_BASE", "The content of linklist is not correct! pcLinklistLine = [%s].",
                   line.c_str());
}

inline LinklistRecord link(const std::string &source, const std::string &path)
{
    LinklistRecord record;
    reference::fill(record.linkSource, source);
    reference::fill(record.linkPath, path);
    return record;
}

inline Links linksOf(const SwmListHead &head)
{
    Links links;
    for (const LinklistNode *node : List::recordsOf<LinklistNode>(head)) {
        links.emplace_back(node->record.linkSource, node->record.linkPath);
    }
    return links;
}

inline Links linksOf(const std::vector<LinklistRecord> &records)
{
    Links links;
    for (const LinklistRecord &record : records) {
        links.emplace_back(record.linkSource, record.linkPath);
    }
    return links;
}

inline std::vector<LinklistRecord> recordsOf(const Links &links)
{
    std::vector<LinklistRecord> records;
    for (const auto &[source, path] : links) {
        records.push_back(link(source, path));
    }
    return records;
}

class LinkListTest : public LineListTest {
protected:
    Links links() { return linksOf(*&list); }
    uint32_t read(const std::string &text)
    {
        writeFile(path, text);
        list.fillWithZeros();
        return SWM_GetAllRecordFromLinklist(path.c_str(), &list);
    }
};

} // namespace tarn::test
