// What every reader of package containers shares: sizes, limits, byte order, names. Format: docs/formats.md; the
// on-disk structures are the public ones of <tarn_boot/container.h>.
#pragma once

#include <cstddef>
#include <cstdint>

#include <tarn_boot/container.h>

namespace tarn {

inline constexpr uint32_t kMaxMembers = 256;
static_assert(sizeof(PackageHeader::files) / sizeof(PackageFileEntry) == kMaxMembers);
static_assert(sizeof(PackageFileEntry) == 24);
static_assert(sizeof(PackageHeader) == 6180 && offsetof(PackageHeader, files) == 32);
static_assert(sizeof(MemberFileHeader) == 352 && offsetof(MemberFileHeader, payloadLength) == 340);
static_assert(offsetof(MemberFileHeader, subfileName) == 116 && offsetof(MemberFileHeader, fileName) == 244);

inline constexpr uint32_t kPackageHeaderSize = sizeof(PackageHeader);
inline constexpr uint32_t kMemberHeaderSize = sizeof(MemberFileHeader);

// Paths of the container subsystem, SHA-256 texts.
inline constexpr size_t kPathSize = 384;
inline constexpr size_t kDigestTextSize = 65;

// The signature members, and the files they become in a work directory.
inline constexpr char kSignedListName[] = "signature_pss_filelist";
inline constexpr char kSignatureName[] = "signature_pss_cms";

// The module whose work directory extraction and verification use.
inline constexpr uint32_t kExtractModule = 0;

constexpr uint32_t toHost(SwmBe32 value)
{
    return static_cast<uint32_t>(value.bytes[0]) << 24 | static_cast<uint32_t>(value.bytes[1]) << 16 |
           static_cast<uint32_t>(value.bytes[2]) << 8 | static_cast<uint32_t>(value.bytes[3]);
}

} // namespace tarn
