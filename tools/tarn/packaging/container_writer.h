// Writes package containers. Format: docs/formats.md.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "packaging/error.h"
#include "packaging/output_file.h"

namespace tarn::packaging {

struct Member {
    std::string subfileName; // at most 127 bytes
    std::string fileName;    // at most 95 bytes
    std::string payload;     // the content, unless `source` names a file
    std::filesystem::path source;
};

inline constexpr size_t kMaxPackageMembers = 256;
inline constexpr size_t kMaxSubfileName = 127;
inline constexpr size_t kMaxFileName = 95;

// Refuses what the format cannot hold: over 256 members, names that do not fit, sizes past 4 GiB. `out` appears whole
// or not at all.
void writeContainer(const std::filesystem::path &out, const std::vector<Member> &members);

// The same refusals before anything is written, so that a size is not found out after four gigabytes.
void checkMembers(const std::vector<Member> &members);

// SHA-256 of member header and payload, 64 lower-case hexadecimal digits: what the signed list gives for the member.
std::string memberDigest(const Member &member);

// Bytes of the member's content.
uint64_t payloadSize(const Member &member);

// A container on its way: members one after the other, the table last, since only then are all of them known. Until
// finish() there is a temporary file beside `out` and nothing else.
class ContainerFile {
public:
    explicit ContainerFile(const std::filesystem::path &out);

    // Appends a member and returns its payload's size; with `digest` its memberDigest comes from the same pass over the
    // source.
    uint64_t add(const Member &member, std::string *digest = nullptr);
    // Returns the size of the container.
    uint64_t finish();

private:
    struct Extent {
        uint32_t offset;
        uint32_t length;
    };

    OutputFile file;
    std::vector<Extent> extents;
};

} // namespace tarn::packaging
