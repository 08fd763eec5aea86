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

// The members of a package in order: the inputs, then signed list and signature (none without a signer).
std::vector<Member> packageMembers(const std::vector<Input> &inputs, const Signer *signer);

// The same for members that are at hand already.
std::vector<Member> withSignature(std::vector<Member> members, const Signer &signer);

// packageMembers and writeContainer in one: the same input gives the same bytes but for the signature's salt.
void createPackage(const std::filesystem::path &out, const std::vector<Input> &inputs, const Signer *signer);

} // namespace tarn::packaging
