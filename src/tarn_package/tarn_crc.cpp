// CRC-16/XMODEM: polynomial 0x1021, most significant bit first, initial value 0, no final XOR.
#include <array>
#include <cstring>

#include <tarn_boot/verification.h>

#include "common/log.h"

namespace {

constexpr uint32_t kPolynomial = 0x1021;
constexpr size_t kSlice = 8;

using Table = std::array<uint16_t, 256>;

// tables[n][byte] is the CRC of the byte with n zero bytes behind it, so that kSlice bytes are taken at once.
constexpr auto kTables = [] {
    std::array<Table, kSlice> tables = {};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte << 8;
        for (size_t behind = 0; behind < kSlice; ++behind) {
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc << 1) ^ ((crc & 0x8000) != 0 ? kPolynomial : 0);
            }
            crc &= 0xFFFF;
            tables[behind][byte] = static_cast<uint16_t>(crc);
        }
    }
    return tables;
}();

uint16_t addSlice(uint16_t crc, const uint8_t *bytes)
{
    return static_cast<uint16_t>(kTables[7][bytes[0] ^ (crc >> 8)] ^ kTables[6][bytes[1] ^ (crc & 0xFF)] ^
                                 kTables[5][bytes[2]] ^ kTables[4][bytes[3]] ^ kTables[3][bytes[4]] ^
                                 kTables[2][bytes[5]] ^ kTables[1][bytes[6]] ^ kTables[0][bytes[7]]);
}

uint16_t addByte(uint16_t crc, uint8_t byte)
{
    return static_cast<uint16_t>(kTables[0][byte ^ (crc >> 8)] ^ ((crc & 0xFF) << 8));
}

} // namespace

uint32_t SWM_CrcCheck(const uint8_t *buffer, uint32_t length, uint16_t *checksum) noexcept
{
    if (buffer == nullptr || length == 0) {
        return BASE_FAIL("CRC check input param error.");
    }
    if (checksum == nullptr) {
        return BASE_FAIL("CRC check input param error, checksum is null");
    }
    uint16_t crc = 0;
    uint64_t seen = 0;
    const uint8_t *end = buffer + length;
    for (; static_cast<size_t>(end - buffer) >= kSlice; buffer += kSlice) {
        uint64_t slice = 0;
        memcpy(&slice, buffer, kSlice);
        seen |= slice;
        crc = addSlice(crc, buffer);
    }
    for (; buffer != end; ++buffer) {
        seen |= *buffer;
        crc = addByte(crc, *buffer);
    }
    if (seen == 0) {
        *checksum = 0xFFFF;
        return BASE_FAIL("CRC check buff is all 0.");
    }
    *checksum = crc;
    return SWM_OK;
}
