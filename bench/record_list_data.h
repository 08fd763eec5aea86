// Made-up record lists with names as real packages have them: a long common prefix and a varying tail.
#pragma once

#include <cstddef>
#include <string>

namespace tarn::bench {

enum class Order { Sorted, Shuffled };

// Writes the file list of what is installed and a new one: 14 columns, `count` records each. One record in a hundred
// differs: half of these have another digest, the others stand in one of the two lists only.
void writeFileLists(const std::string &oldPath, const std::string &newPath, size_t count, Order order);

// Writes a link list in ascending order of its link paths.
void writeLinkList(const std::string &path, size_t count);

} // namespace tarn::bench
