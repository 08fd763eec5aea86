// Writes package containers. Format: docs/formats.md.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::packaging {

// What cannot be packed, and why, in words for the person who asked.
class PackagingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Member {
    std::string subfileName;       // at most 127 bytes
    std::string fileName;          // at most 95 bytes
    std::string payload;           // the content, unless `source` names a file
    std::filesystem::path source;
};

// Refuses what the format cannot hold: over 256 members, names that do not fit, sizes past 4 GiB. `out` appears whole
// or not at all.
void writeContainer(const std::filesystem::path &out, const std::vector<Member> &members);

// SHA-256 of member header and payload, 64 lower-case hexadecimal digits: what the signed list gives for the member.
std::string memberDigest(const Member &member);

} // namespace tarn::packaging
