// Whole packages: members by the naming recipe, the signed list, its signature.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "packaging/container_writer.h"
#include "packaging/signer.h"

namespace tarn::packaging {

struct Input {
    std::filesystem::path source;
    std::string name; // subfile name; empty: the source's base name
};

// The file name of the member that has this subfile name: "<name>.bin", or, when that is longer than 95 bytes, the
// first bytes of the name, "-", 16 digits of the name's SHA-256 and ".bin". So every subfile name has one.
std::string fileNameFor(const std::string &subfileName);

// The members of a package in order: the inputs, then signed list and signature (none without a signer). Refuses names
// that are empty, too long, used twice (as subfile name or file name), kept for the signature or unfit for a file.
std::vector<Member> packageMembers(const std::vector<Input> &inputs, const Signer *signer);

// The same for members that are at hand already, names as they are. Every one of them is listed; the two signature
// members are not, since neither can hold its own digest. The smallest comes first in the list: readers that take the
// main section for a file hash that one twice.
std::vector<Member> withSignature(std::vector<Member> members, const Signer &signer);

// packageMembers and writeContainer in one: the same input gives the same bytes but for the signature's salt. Each
// source is read once, so that what is signed is what was written. Returns the size of the package.
uint64_t createPackage(const std::filesystem::path &out, const std::vector<Input> &inputs, const Signer *signer);

} // namespace tarn::packaging
