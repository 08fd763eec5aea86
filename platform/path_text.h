// Paths as text.
#pragma once

#include "common.h"

namespace tarn::basic {

// Stores a text with its NUL; ENAMETOOLONG, and `out` untouched, when it does not fit.
uint32_t storeText(const char *text, size_t length, char *out, size_t outSize);
// "directory/rest" as a new block; one "/" between them.
Block<char> joinPath(const char *directory, const char *rest);
// Resolves "//", "." and ".." in place and never above the first `floor` bytes, which end with a "/". Without a floor
// the path is relative: it keeps leading "..", and what comes to nothing is ".".
void resolvePath(char *path, size_t floor);

} // namespace tarn::basic
