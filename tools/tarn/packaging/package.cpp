// Names by the recipe, the list of digests, the two signature members.
#include "packaging/package.h"

#include <algorithm>
#include <map>

#include "packaging/digest.h"
#include "packaging/names.h"
#include "packaging/signed_list.h"

namespace tarn::packaging {

namespace fs = std::filesystem;

namespace {

constexpr char kSuffix[] = ".bin";
constexpr size_t kSignatureMembers = 2;
constexpr size_t kHashDigits = 16;

[[noreturn]] void refuseName(const Input &input, const std::string &name, const std::string &reason)
{
    throw RequestError(input.source.string() + ": member name \"" + name + "\" " + reason +
                       "; give another one with FILE=NAME");
}

void checkName(const Input &input, const std::string &name)
{
    if (name.empty()) {
        refuseName(input, name, "is empty");
    }
    if (name.size() > kMaxSubfileName) {
        refuseName(input, name,
                   "is " + std::to_string(name.size()) + " bytes long, at most " + std::to_string(kMaxSubfileName) +
                       " fit");
    }
    if (!isPlainFileName(name)) {
        refuseName(input, name, "is no plain file name");
    }
    if (hasControlCharacters(name)) {
        refuseName(input, name, "has control characters");
    }
    // The signed list is text with "KEY=value" lines, whose readers may drop blanks at either end of a value.
    if (name.front() == ' ' || name.back() == ' ') {
        refuseName(input, name, "begins or ends with a blank");
    }
}

void claimName(std::map<std::string, std::string> &owners, const Input &input, const std::string &claimed,
               const std::string &owner)
{
    const auto [place, isNew] = owners.emplace(claimed, owner);
    if (isNew) {
        return;
    }
    if (place->second.empty()) {
        refuseName(input, owner, "is kept for the signature");
    }
    refuseName(input, owner,
               place->second == owner ? "is used twice"
                                      : "clashes with \"" + place->second + "\": both go by \"" + claimed + "\"");
}

std::vector<Member> inputMembers(const std::vector<Input> &inputs)
{
    std::map<std::string, std::string> owners; // every name of either kind, and the member it belongs to
    for (const std::string name : {kListName, kSignatureName}) {
        owners.emplace(name, "");
        owners.emplace(name + kSuffix, "");
    }
    std::vector<Member> members;
    members.reserve(inputs.size());
    for (const Input &input : inputs) {
        const std::string name = input.name.empty() ? input.source.filename().string() : input.name;
        checkName(input, name);
        Member member = {name, fileNameFor(name), "", input.source};
        claimName(owners, input, member.subfileName, name);
        claimName(owners, input, member.fileName, name);
        members.push_back(std::move(member));
    }
    return members;
}

void checkMemberCount(size_t inputs, bool isSigned)
{
    const size_t limit = kMaxPackageMembers - (isSigned ? kSignatureMembers : 0);
    if (inputs > limit) {
        throw RequestError(std::to_string(inputs) + " files: a package holds at most " +
                           std::to_string(kMaxPackageMembers) + " members" +
                           (isSigned ? ", two of them the signature" : ""));
    }
}

struct Digested {
    ListedFile file;
    uint64_t size;
};

std::vector<Member> signatureMembers(std::vector<Digested> digested, const Signer &signer)
{
    const auto smallest = std::min_element(digested.begin(), digested.end(),
                                           [](const Digested &a, const Digested &b) { return a.size < b.size; });
    if (smallest != digested.end()) {
        std::rotate(digested.begin(), smallest, smallest + 1);
    }
    std::vector<ListedFile> files;
    files.reserve(digested.size());
    for (const Digested &entry : digested) {
        files.push_back(entry.file);
    }
    const std::string list = signedListText(files);
    return {{kListName, std::string(kListName) + kSuffix, list, {}},
            {kSignatureName, std::string(kSignatureName) + kSuffix, signer.sign(list), {}}};
}

void append(std::vector<Member> &members, std::vector<Member> more)
{
    std::move(more.begin(), more.end(), std::back_inserter(members));
}

} // namespace

std::string fileNameFor(const std::string &subfileName)
{
    const size_t suffixSize = sizeof(kSuffix) - 1;
    if (subfileName.size() + suffixSize <= kMaxFileName) {
        return subfileName + kSuffix;
    }
    Sha256 hash;
    hash.update(subfileName.data(), subfileName.size());
    size_t kept = kMaxFileName - suffixSize - kHashDigits - 1;
    // Not in the middle of a UTF-8 sequence.
    while (kept > 0 && (static_cast<unsigned char>(subfileName[kept]) & 0xC0) == 0x80) {
        --kept;
    }
    return subfileName.substr(0, kept) + "-" + hash.text().substr(0, kHashDigits) + kSuffix;
}

std::vector<Member> withSignature(std::vector<Member> members, const Signer &signer)
{
    std::vector<Digested> digested;
    digested.reserve(members.size());
    for (const Member &member : members) {
        digested.push_back({{member.fileName, memberDigest(member)}, payloadSize(member)});
    }
    append(members, signatureMembers(std::move(digested), signer));
    return members;
}

std::vector<Member> packageMembers(const std::vector<Input> &inputs, const Signer *signer)
{
    checkMemberCount(inputs.size(), signer != nullptr);
    std::vector<Member> members = inputMembers(inputs);
    return signer == nullptr ? members : withSignature(std::move(members), *signer);
}

uint64_t createPackage(const fs::path &out, const std::vector<Input> &inputs, const Signer *signer)
{
    checkMemberCount(inputs.size(), signer != nullptr);
    const std::vector<Member> members = inputMembers(inputs);
    checkMembers(members);
    ContainerFile container(out);
    std::vector<Digested> digested;
    digested.reserve(members.size());
    for (const Member &member : members) {
        std::string digest;
        const uint64_t size = container.add(member, signer == nullptr ? nullptr : &digest);
        digested.push_back({{member.fileName, digest}, size});
    }
    if (signer != nullptr) {
        for (const Member &member : signatureMembers(std::move(digested), *signer)) {
            container.add(member);
        }
    }
    return container.finish();
}

} // namespace tarn::packaging
