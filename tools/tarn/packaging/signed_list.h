// The text of a signed file list. Format: docs/formats.md.
#pragma once

#include <string>
#include <vector>

namespace tarn::packaging {

struct ListedFile {
    std::string fileName;
    std::string digest;
    unsigned type = 1;
};

// One "[MAIN FILE INFO]" section (which also carries the first file's name and digest, so that every reader may take
// each section for a file) and one section per file.
std::string signedListText(const std::vector<ListedFile> &files);

} // namespace tarn::packaging
