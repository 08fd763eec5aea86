// The libraries' log lines, as the tool uses them: shown on request, and the reason behind a result.
#pragma once

#include <cstdint>
#include <string>

#include "exit_status.h"

namespace tarn::tool {

// Lines of this level and below it (3 error ... 6 information) go to stderr; 0, as at the start, shows none.
void showLibraryLog(uint32_t level);

// "error", "warning", "notice", "info" or 3 to 6; 0 for anything else.
uint32_t logLevelByName(const std::string &name);

// Shows none of them while the object lives.
class MutedLog {
public:
    MutedLog();
    MutedLog(const MutedLog &) = delete;
    MutedLog &operator=(const MutedLog &) = delete;
    ~MutedLog();

private:
    uint32_t before;
};

// The first error line since the last call, without its tags: what all later lines follow from. Without an error the
// first warning; "" without either. Where it only has a number for a bad signature, words are added.
std::string takeLibraryReason();

// The same as the reason of `failure`. A signature that could not be judged, for want of a usable configuration above
// all, says nothing about the package: then the failure is no answer any more but Failed. True when that is so.
bool explainFailure(Failure &failure);

} // namespace tarn::tool
