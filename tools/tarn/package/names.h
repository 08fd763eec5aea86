// What names and paths have to be like for the library to take them as they are meant.
#pragma once

#include <filesystem>
#include <string>

namespace tarn::tool {

// Refuses names that lead out of the directory they are put into.
void requirePlainName(const std::string &name);

// Refuses paths that the library's older operations would cut.
void requireLibraryPath(const std::filesystem::path &path);

} // namespace tarn::tool
