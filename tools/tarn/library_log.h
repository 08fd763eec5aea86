// The libraries' log lines, as the tool uses them: shown on request, and the reason behind a result.
#pragma once

#include <cstdint>
#include <string>

namespace tarn::tool {

// Lines of this level and below it (3 error ... 6 information) go to stderr; 0, as at the start, shows none.
void showLibraryLog(uint32_t level);

// "error", "warning", "notice", "info" or 3 to 6; 0 for anything else.
uint32_t logLevelByName(const std::string &name);

// The first error line since the last call, without its tags: what all later lines follow from. Without an error the
// first warning; "" without either. Where it only has a number for a bad signature, words are added.
std::string takeLibraryReason();

} // namespace tarn::tool
