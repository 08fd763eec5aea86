// Members copied as they lie in the package, header included and nothing verified.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace tarn::tool {

// Replaces `directory`/`name`; makes the directory when missing. Leaves no part of a file. Throws Failure.
void copyWholeMember(const std::string &package, const std::string &name, const std::filesystem::path &directory,
                     uint32_t mode);

} // namespace tarn::tool
