// Text files of one record per line, read in pieces of a fixed size.
#pragma once

#include <cstdio>

#include <tarn_basic/text.h>
#include <tarn_boot/common.h>

namespace tarn {

enum class ReadEnd { EndOfFile, Refused, ReadError };

// Reads pieces of at most size - 1 bytes into `line` and hands those that skip(line) does not hold for to take(line),
// which returns a status, until one is refused. A longer line comes in several pieces, one with a NUL ends there. errno
// is the failed read's.
template <class Skip, class Take> ReadEnd readLines(FILE *stream, char *line, size_t size, Skip skip, Take take)
{
    while (fgets(line, static_cast<int>(size), stream) != nullptr) {
        if (!skip(line) && take(line) != SWM_OK) {
            return ReadEnd::Refused;
        }
    }
    return ferror(stream) != 0 ? ReadEnd::ReadError : ReadEnd::EndOfFile;
}

// The lines of record lists: blank ones are skipped.
constexpr size_t kRecordLineSize = 512;

template <class Take> ReadEnd readRecordLines(FILE *stream, Take take)
{
    char line[kRecordLineSize];
    return readLines(
        stream, line, sizeof(line), [](const char *text) { return SWM_IsSpaceString(text) != 0; }, take);
}

} // namespace tarn
