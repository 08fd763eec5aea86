// A signed list line by line: what its readers refuse, and what they change without a word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarn::tool {

struct SignedListNote {
    size_t line = 0; // 0: the list as a whole
    const char *kind = "";
    std::string text;
};

// In the order of the lines.
std::vector<SignedListNote> examineSignedList(std::string_view content);

} // namespace tarn::tool
