// Values on their way into the library's records.
#pragma once

#include <cstddef>
#include <cstring>
#include <string>

namespace tarn::tool {

// As the library's operations have to be given it: they take "&" for the start of an entity. They write all other
// characters so that they read the same again.
std::string asEntityText(const std::string &value);

// The bytes for a field of `room` bytes, terminator included; `what` names it. Throws Failure for what a database
// cannot hold: control characters, no UTF-8, too many bytes.
std::string valueToWrite(const char *what, const std::string &value, size_t room);

// The same for a value that the library compares with what it reads, and so takes as it is.
std::string keyToFind(const char *what, const std::string &value, size_t room);

// For a value that is both written and looked for: "&" could not be.
void refuseAmpersand(const char *what, const std::string &value);

template <size_t kRoom> void fill(char (&field)[kRoom], const std::string &bytes)
{
    // Both sources of `bytes` have seen to it that they fit.
    memcpy(field, bytes.c_str(), bytes.size() < kRoom ? bytes.size() + 1 : kRoom);
    field[kRoom - 1] = '\0';
}

} // namespace tarn::tool
