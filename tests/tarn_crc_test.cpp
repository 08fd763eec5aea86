// The CRC of a buffer against published values and against one computed bit by bit.
#include <numeric>

#include <tarn_boot/verification.h>

#include "line_list_test.h"

namespace tarn::test {
namespace {

constexpr const char *kFile = "tarn_crc.cpp";
const LogLine kNoBuffer = errorOf(kFile, "SWM_BASE", "CRC check input param error.");
const LogLine kNoChecksum = errorOf(kFile, "SWM_BASE", "CRC check input param error, checksum is null");
const LogLine kAllZero = errorOf(kFile, "SWM_BASE", "CRC check buff is all 0.");
constexpr uint16_t kUntouched = 0x5A5A;

// Polynomial division, one bit of the message after the other, then 16 zero bits.
uint16_t dividedBitByBit(const uint8_t *bytes, size_t length)
{
    uint32_t remainder = 0;
    for (size_t bit = 0; bit < 8 * length + 16; ++bit) {
        const uint32_t next = bit < 8 * length ? (bytes[bit / 8] >> (7 - bit % 8)) & 1u : 0u;
        remainder = remainder << 1 | next;
        if ((remainder & 0x10000) != 0) {
            remainder ^= 0x11021;
        }
    }
    return static_cast<uint16_t>(remainder);
}

class CrcTest : public BootTest {
protected:
    static uint32_t check(const std::string &bytes, uint16_t *checksum)
    {
        return SWM_CrcCheck(reinterpret_cast<const uint8_t *>(bytes.data()), static_cast<uint32_t>(bytes.size()),
                            checksum);
    }
};

TEST_F(CrcTest, PublishedValues)
{
    using namespace std::string_literals;
    struct Row {
        std::string bytes;
        uint16_t expected;
    };
    const Row rows[] = {
        {"123456789", 0x31C3}, {"\x01"s, 0x1021}, {"\x00\x01"s, 0x1021}, {"\x01\x00"s, 0x3331},
        {"\x80"s, 0x9188},     {"\xFF"s, 0x1EF0}, {"A", 0x58E5},         {std::string(256, 'A'), 0xABE3},
    };
    for (const Row &row : rows) {
        uint16_t checksum = kUntouched;
        EXPECT_EQ(check(row.bytes, &checksum), SWM_OK);
        EXPECT_EQ(checksum, row.expected) << row.bytes.size();
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CrcTest, EveryByte)
{
    for (unsigned byte = 1; byte < 256; ++byte) {
        const uint8_t buffer[] = {static_cast<uint8_t>(byte)};
        uint16_t checksum = kUntouched;
        EXPECT_EQ(SWM_CrcCheck(buffer, 1, &checksum), SWM_OK);
        EXPECT_EQ(checksum, dividedBitByBit(buffer, 1)) << byte;
    }
}

TEST_F(CrcTest, EveryLength)
{
    const std::string bytes = pattern(4096 + 16, 7);
    for (size_t length = 1; length <= 4096; ++length) {
        const std::string buffer = bytes.substr(length % 16, length);
        uint16_t checksum = kUntouched;
        ASSERT_EQ(check(buffer, &checksum), SWM_OK);
        ASSERT_EQ(checksum, dividedBitByBit(reinterpret_cast<const uint8_t *>(buffer.data()), length)) << length;
    }
}

TEST_F(CrcTest, EveryAlignment)
{
    const std::string bytes = pattern(4096, 8);
    const auto *begin = reinterpret_cast<const uint8_t *>(bytes.data());
    for (size_t start = 0; start < 64; ++start) {
        for (const uint32_t length : {1u, 7u, 8u, 9u, 63u, 64u, 65u, 1000u}) {
            uint16_t checksum = kUntouched;
            ASSERT_EQ(SWM_CrcCheck(begin + start, length, &checksum), SWM_OK);
            ASSERT_EQ(checksum, dividedBitByBit(begin + start, length)) << start << " " << length;
        }
    }
}

TEST_F(CrcTest, ZeroesOnly)
{
    for (const size_t length : {1u, 2u, 3u, 8u, 63u, 64u, 1000u, 4096u}) {
        uint16_t checksum = kUntouched;
        EXPECT_EQ(check(std::string(length, '\0'), &checksum), SWM_FAIL);
        EXPECT_EQ(checksum, 0xFFFF);
        EXPECT_TRUE(logged({kAllZero}));
    }
}

TEST_F(CrcTest, OneByteAnywhereIsEnough)
{
    for (const size_t length : {1u, 2u, 8u, 65u, 1000u}) {
        for (size_t place = 0; place < length; ++place) {
            std::string bytes(length, '\0');
            bytes[place] = static_cast<char>(1u << place % 8);
            uint16_t checksum = kUntouched;
            ASSERT_EQ(check(bytes, &checksum), SWM_OK);
            ASSERT_EQ(checksum, dividedBitByBit(reinterpret_cast<const uint8_t *>(bytes.data()), length)) << place;
        }
    }
    EXPECT_TRUE(nothingLogged());
}

// A remainder of 0 is a checksum like any other.
TEST_F(CrcTest, ChecksumZeroOfABufferThatIsNot)
{
    uint16_t checksum = kUntouched;
    EXPECT_EQ(check("\x01\x10\x21", &checksum), SWM_OK);
    EXPECT_EQ(checksum, 0);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CrcTest, MissingArguments)
{
    const uint8_t bytes[] = {1, 2};
    const uint8_t zero[] = {0, 0};
    uint16_t checksum = kUntouched;
    EXPECT_EQ(SWM_CrcCheck(nullptr, 2, &checksum), SWM_FAIL);
    EXPECT_TRUE(logged({kNoBuffer}));
    EXPECT_EQ(SWM_CrcCheck(bytes, 0, &checksum), SWM_FAIL);
    EXPECT_TRUE(logged({kNoBuffer}));
    EXPECT_EQ(SWM_CrcCheck(nullptr, 0, nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({kNoBuffer}));
    EXPECT_EQ(SWM_CrcCheck(bytes, 0, nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({kNoBuffer}));
    EXPECT_EQ(SWM_CrcCheck(bytes, 2, nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({kNoChecksum}));
    EXPECT_EQ(SWM_CrcCheck(zero, 2, nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({kNoChecksum}));
    EXPECT_EQ(checksum, kUntouched);
}

} // namespace
} // namespace tarn::test
