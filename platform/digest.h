// SHA-256 of files.
#pragma once

#include "common.h"

namespace tarn::basic {

constexpr size_t kSha256Size = 32;

// Hashes from the descriptor's position up to `limit` bytes or the end of the file; `*hashed` is how many there were.
bool hashFile(int fd, uint64_t limit, uint8_t digest[kSha256Size], uint64_t *hashed);

} // namespace tarn::basic
