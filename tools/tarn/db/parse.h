// libxml2 for the tool's own reading of databases: hostile files come through here.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <libxml/tree.h>

#include "db/contents.h"

namespace tarn::tool {

struct XmlDocumentRelease {
    void operator()(xmlDoc *document) const { xmlFreeDoc(document); }
};

struct ParsedDatabase {
    std::unique_ptr<xmlDoc, XmlDocumentRelease> document; // null when nothing could be read
    std::vector<DbProblem> problems;                      // of the document as a whole, all of them damage
    size_t moreProblems = 0;
};

// Reads what can be read; whatever had to be forgiven is among the problems. A document type is passed over, so that
// no entity of its own exists.
ParsedDatabase parseDatabase(const std::string &bytes);

} // namespace tarn::tool
