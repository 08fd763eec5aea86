// Text files of one record per line, read in pieces of a fixed size.
#pragma once

#include <cstdio>

#include <tarn_basic/text.h>
#include <tarn_boot/common.h>

namespace tarn {

enum class ReadEnd { EndOfFile, Refused, ReadError };

// Hands each piece of at most kSize - 1 bytes to `take`, which returns a status, until one is refused; blank pieces are
// skipped. A longer line comes in several pieces, one with a NUL ends there. errno is the failed read's.
template <size_t kSize, class Take> ReadEnd readLines(FILE *stream, Take take)
{
    char line[kSize];
    while (fgets(line, static_cast<int>(kSize), stream) != nullptr) {
        if (SWM_IsSpaceString(line) == 0 && take(line) != SWM_OK) {
            return ReadEnd::Refused;
        }
    }
    return ferror(stream) != 0 ? ReadEnd::ReadError : ReadEnd::EndOfFile;
}

} // namespace tarn
