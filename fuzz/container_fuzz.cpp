// Structural check and lookup of package containers. An input is either a whole file (first byte 0) or a list of
// changes to a sound package of three members (any other first byte), so that the walk gets past the first slot.
#include "fuzz_target.h"

#include <cstring>
#include <vector>

#include <tarn_boot/container.h>

namespace {

constexpr size_t kMembers = 3;
constexpr size_t kPayload = 16;
constexpr size_t kMemberSize = sizeof(MemberFileHeader) + kPayload;

SwmBe32 toBe(size_t value)
{
    return {{static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
             static_cast<uint8_t>(value)}};
}

std::vector<uint8_t> soundPackage()
{
    PackageHeader header = {};
    header.fileCount = toBe(kMembers);
    std::vector<uint8_t> package(sizeof(header));
    for (size_t i = 0; i < kMembers; ++i) {
        header.files[i].memberOffset = toBe(package.size());
        header.files[i].memberLength = toBe(kMemberSize);
        MemberFileHeader member = {};
        snprintf(member.subfileName, sizeof(member.subfileName), "file%zu", i);
        snprintf(member.fileName, sizeof(member.fileName), "file%zu.bin", i);
        member.payloadLength = toBe(kPayload);
        const auto *bytes = reinterpret_cast<const uint8_t *>(&member);
        package.insert(package.end(), bytes, bytes + sizeof(member));
        package.insert(package.end(), kPayload, static_cast<uint8_t>('a' + i));
    }
    memcpy(package.data(), &header, sizeof(header));
    return package;
}

// Changes of four bytes: where (two bytes), how (bits 0-1: set, add, cut here, repeat eight times), what.
void change(std::vector<uint8_t> &package, const uint8_t *data, size_t size)
{
    for (; size >= 4 && !package.empty(); data += 4, size -= 4) {
        const size_t where = (static_cast<size_t>(data[0]) << 8 | data[1]) % package.size();
        switch (data[2] & 3) {
        case 0:
            package[where] = data[3];
            break;
        case 1:
            package[where] = static_cast<uint8_t>(package[where] + data[3]);
            break;
        case 2:
            package.resize(where);
            break;
        default:
            package.insert(package.end(), 8, data[3]);
            break;
        }
    }
}

void checkMembers(const SwmListHead &list, size_t packageSize)
{
    uint64_t end = sizeof(PackageHeader);
    uint32_t count = 0;
    for (const SwmListNode *node = list.next; node != reinterpret_cast<const SwmListNode *>(&list); node = node->next) {
        const auto *record = reinterpret_cast<const PkgMemberRecord *>(node);
        tarn::fuzz::require(record->memberOffset == end && record->memberLength > 0, "members are contiguous");
        tarn::fuzz::require(strnlen(record->fileName, sizeof(record->fileName)) < sizeof(record->fileName) &&
                                strnlen(record->subfileName, sizeof(record->subfileName)) < sizeof(record->subfileName),
                            "names are terminated");
        const PkgMemberRecord *found = TARN_SafeFindTarget(&list, record->fileName);
        tarn::fuzz::require(found != nullptr && (strcmp(found->fileName, record->fileName) == 0 ||
                                                 strcmp(found->subfileName, record->fileName) == 0),
                            "a member is found by its file name");
        found = TARN_SafeFindTarget(&list, record->subfileName);
        tarn::fuzz::require(found != nullptr, "a member is found by its subfile name");
        end += record->memberLength;
        ++count;
    }
    tarn::fuzz::require(count == list.count && count <= 256, "the count is that of the records");
    tarn::fuzz::require(end == packageSize, "the members end with the file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const tarn::fuzz::ScratchFile file;
    static const std::vector<uint8_t> sound = soundPackage();
    if (size == 0) {
        return 0;
    }
    std::vector<uint8_t> package;
    if (data[0] == 0) {
        package.assign(data + 1, data + size);
    } else {
        package = sound;
        change(package, data + 1, size - 1);
    }
    file.assign(package.data(), package.size());

    SwmListHead list = {reinterpret_cast<SwmListNode *>(&list), reinterpret_cast<SwmListNode *>(&list), 0};
    if (TARN_SafeCheckHeader(file.fd(), &list) == SWM_OK) {
        checkMembers(list, package.size());
    }
    while (list.next != reinterpret_cast<SwmListNode *>(&list)) {
        SwmListNode *node = list.next;
        list.next = node->next;
        free(node);
    }
    return 0;
}
