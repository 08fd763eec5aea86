// One verification of a whole package, for the commands that rely on it.
#pragma once

#include <string>

namespace tarn::tool {

// Structure, signature and the digest of every signed member, by the library. Throws Failure with its reason, the exit
// status and the report of "package verify". After a failure nothing of the library's that uses its cache may be
// called.
void requireVerified(const std::string &path);

} // namespace tarn::tool
