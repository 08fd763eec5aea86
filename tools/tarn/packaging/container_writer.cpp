// The container's bytes: header and table, member headers, payloads streamed from their sources.
#include "packaging/container_writer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <sys/stat.h>

#include <tarn_boot/container.h>

#include "packaging/big_endian.h"
#include "packaging/digest.h"

namespace tarn::packaging {

namespace {

constexpr size_t kChunk = 131072;
// Offsets and lengths are 32-bit: the last byte of a package has an offset below this end.
constexpr uint64_t kMaxPackageSize = std::numeric_limits<uint32_t>::max();

static_assert(sizeof(PackageHeader::files) / sizeof(PackageFileEntry) == kMaxPackageMembers);
static_assert(sizeof(MemberFileHeader::subfileName) == kMaxSubfileName + 1);
static_assert(sizeof(MemberFileHeader::fileName) == kMaxFileName + 1);

std::string label(const Member &member)
{
    return "member \"" + (member.subfileName.empty() ? member.fileName : member.subfileName) + "\"";
}

void checkCount(size_t count)
{
    if (count > kMaxPackageMembers) {
        throw PackagingError(std::to_string(count) + " members: a package holds at most " +
                             std::to_string(kMaxPackageMembers));
    }
}

void checkName(const Member &member, const std::string &name, const char *kind, size_t limit)
{
    if (name.size() > limit) {
        throw PackagingError(label(member) + ": " + kind + " of " + std::to_string(name.size()) + " bytes, at most " +
                             std::to_string(limit) + " fit");
    }
    if (name.find('\0') != std::string::npos) {
        throw PackagingError(label(member) + ": NUL in its " + kind);
    }
}

// Where a member that starts at `start` ends.
uint64_t memberEnd(const Member &member, uint64_t start, uint64_t payload)
{
    const uint64_t head = start + sizeof(MemberFileHeader);
    if (head > kMaxPackageSize || payload > kMaxPackageSize - head) {
        throw PackagingError(label(member) + ": with its " + std::to_string(payload) +
                             " bytes the package would pass 4 GiB, the most its 32-bit sizes can say");
    }
    return head + payload;
}

MemberFileHeader makeHeader(const Member &member, uint64_t payload)
{
    checkName(member, member.subfileName, "subfile name", kMaxSubfileName);
    checkName(member, member.fileName, "file name", kMaxFileName);
    MemberFileHeader header = {};
    memcpy(header.subfileName, member.subfileName.data(), member.subfileName.size());
    memcpy(header.fileName, member.fileName.data(), member.fileName.size());
    header.payloadLength = toBigEndian(static_cast<uint32_t>(payload));
    return header;
}

struct stat statusOf(const Descriptor &source, const Member &member)
{
    struct stat status = {};
    if (fstat(source.get(), &status) != 0) {
        throw PackagingError(member.source.string() + ": cannot be examined");
    }
    return status;
}

[[noreturn]] void failChanged(const Member &member)
{
    throw PackagingError(member.source.string() + ": changed while it was read; try again when nobody writes to it");
}

template <typename Sink> void streamSource(const Descriptor &source, const Member &member, uint64_t size, Sink &&sink)
{
    std::array<char, kChunk> buffer;
    const struct stat before = statusOf(source, member);
    for (uint64_t left = size; left > 0;) {
        const size_t wanted = static_cast<size_t>(std::min<uint64_t>(left, buffer.size()));
        if (readFully(source, buffer.data(), wanted, member.source) != wanted) {
            failChanged(member);
        }
        sink(buffer.data(), wanted);
        left -= wanted;
    }
    const struct stat after = statusOf(source, member);
    if (readFully(source, buffer.data(), 1, member.source) != 0 || after.st_mtim.tv_sec != before.st_mtim.tv_sec ||
        after.st_mtim.tv_nsec != before.st_mtim.tv_nsec) {
        failChanged(member);
    }
}

// Header and payload, piece by piece; returns the member's length. The source is opened once, so that size and content
// belong together.
template <typename Sink> uint32_t streamMember(const Member &member, uint64_t start, Sink &&sink)
{
    std::optional<Descriptor> source;
    uint64_t size = member.payload.size();
    if (!member.source.empty()) {
        source = openSource(member.source);
        size = static_cast<uint64_t>(statusOf(*source, member).st_size);
    }
    const uint64_t end = memberEnd(member, start, size);
    const MemberFileHeader header = makeHeader(member, size);
    sink(&header, sizeof(header));
    if (source) {
        streamSource(*source, member, size, sink);
    } else {
        sink(member.payload.data(), member.payload.size());
    }
    return static_cast<uint32_t>(end - start);
}

} // namespace

uint64_t payloadSize(const Member &member)
{
    if (member.source.empty()) {
        return member.payload.size();
    }
    const Descriptor source = openSource(member.source);
    return static_cast<uint64_t>(statusOf(source, member).st_size);
}

std::string memberDigest(const Member &member)
{
    Sha256 hash;
    streamMember(member, sizeof(PackageHeader), [&](const void *data, size_t size) { hash.update(data, size); });
    return hash.text();
}

ContainerFile::ContainerFile(const std::filesystem::path &out) : file(out)
{
    // Its place is kept free; finish() fills it in.
    const PackageHeader header = {};
    file.write(&header, sizeof(header));
}

uint64_t ContainerFile::add(const Member &member, std::string *digest)
{
    checkCount(extents.size() + 1);
    const uint32_t start = extents.empty() ? sizeof(PackageHeader) : extents.back().offset + extents.back().length;
    std::optional<Sha256> hash;
    if (digest != nullptr) {
        hash.emplace();
    }
    const uint32_t length = streamMember(member, start, [&](const void *data, size_t size) {
        if (hash) {
            hash->update(data, size);
        }
        file.write(data, size);
    });
    extents.push_back({start, length});
    if (digest != nullptr) {
        *digest = hash->text();
    }
    return length - sizeof(MemberFileHeader);
}

uint64_t ContainerFile::finish()
{
    PackageHeader header = {};
    header.fileCount = toBigEndian(static_cast<uint32_t>(extents.size()));
    for (size_t slot = 0; slot < extents.size(); ++slot) {
        header.files[slot].memberOffset = toBigEndian(extents[slot].offset);
        header.files[slot].memberLength = toBigEndian(extents[slot].length);
    }
    file.writeAt(0, &header, sizeof(header));
    file.commit();
    return extents.empty() ? sizeof(header) : static_cast<uint64_t>(extents.back().offset) + extents.back().length;
}

void checkMembers(const std::vector<Member> &members)
{
    checkCount(members.size());
    uint64_t end = sizeof(PackageHeader);
    for (const Member &member : members) {
        const uint64_t size = payloadSize(member);
        end = memberEnd(member, end, size);
        static_cast<void>(makeHeader(member, size));
    }
}

void writeContainer(const std::filesystem::path &out, const std::vector<Member> &members)
{
    checkMembers(members);
    ContainerFile container(out);
    for (const Member &member : members) {
        container.add(member);
    }
    container.finish();
}

} // namespace tarn::packaging
