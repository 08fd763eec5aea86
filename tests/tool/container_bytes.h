// Reads containers by literal offsets, independently of the library and of what writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarn::test {

struct ParsedMember {
    uint32_t offset = 0;
    uint32_t length = 0;
    std::string subfileName;
    std::string fileName;
    uint32_t payloadLength = 0;
    std::string whole;
    std::string payload;
};

struct ParsedContainer {
    uint32_t fileCount = 0;
    std::vector<ParsedMember> members;
    bool isRestZero = true; // everything that no field above occupies
};

inline uint32_t bigEndianAt(const std::string &bytes, size_t offset)
{
    uint32_t value = 0;
    for (size_t index = 0; index < 4; ++index) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + index));
    }
    return value;
}

inline bool isZero(const std::string &bytes, size_t from, size_t to)
{
    for (size_t index = from; index < to; ++index) {
        if (bytes.at(index) != '\0') {
            return false;
        }
    }
    return true;
}

// A name field: text, then NUL bytes up to the end of the field.
inline std::string nameAt(const std::string &bytes, size_t offset, size_t size, bool &isPadded)
{
    const std::string field = bytes.substr(offset, size);
    const size_t end = field.find('\0');
    isPadded = isPadded && end != std::string::npos && isZero(field, end, size);
    return field.substr(0, end);
}

inline ParsedContainer parseContainer(const std::string &bytes)
{
    ParsedContainer container;
    container.fileCount = bigEndianAt(bytes, 4);
    container.isRestZero = isZero(bytes, 0, 4) && isZero(bytes, 8, 32) && isZero(bytes, 6176, 6180);
    for (size_t slot = 0; slot < 256; ++slot) {
        const size_t entry = 32 + 24 * slot;
        if (slot >= container.fileCount) {
            container.isRestZero = container.isRestZero && isZero(bytes, entry, entry + 24);
            continue;
        }
        ParsedMember member;
        member.offset = bigEndianAt(bytes, entry + 4);
        member.length = bigEndianAt(bytes, entry + 8);
        member.whole = bytes.substr(member.offset, member.length);
        member.subfileName = nameAt(member.whole, 116, 128, container.isRestZero);
        member.fileName = nameAt(member.whole, 244, 96, container.isRestZero);
        member.payloadLength = bigEndianAt(member.whole, 340);
        member.payload = member.whole.substr(352, member.payloadLength);
        container.isRestZero = container.isRestZero && isZero(bytes, entry, entry + 4) &&
                               isZero(bytes, entry + 12, entry + 24) && isZero(member.whole, 0, 116) &&
                               isZero(member.whole, 344, 352);
        container.members.push_back(member);
    }
    return container;
}

} // namespace tarn::test
