// Opening and moving bytes, as file.cpp does it for callers and for the other units.
#pragma once

#include "common.h"

namespace tarn::basic {

Descriptor openFile(const char *path, int flags, mode_t mode = 0);
// Regular files only; EISDIR or EINVAL for anything else.
Descriptor openRegular(const char *path, int flags);
bool requireRegular(int fd);

// Until `count`, end of file or an error. The bytes moved; -1 only when none could be.
ssize_t readFully(int fd, void *buffer, size_t count);
ssize_t writeFully(int fd, const void *buffer, size_t count);

// The rest of a file that may hold `limit` bytes at most (EFBIG beyond), with a NUL behind it.
Block<char> readWhole(int fd, size_t limit, size_t *size);

// The directory part of a path and its last component, which must not be empty.
struct SplitPath {
    Block<char> directory;
    const char *name = nullptr;
};
bool splitPath(const char *path, SplitPath *split);
Descriptor openDirectory(const char *path);

} // namespace tarn::basic
