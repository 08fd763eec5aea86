// The container's integers.
#pragma once

#include <cstdint>

#include <tarn_boot/container.h>

namespace tarn::packaging {

inline SwmBe32 toBigEndian(uint32_t value)
{
    return {{static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
             static_cast<uint8_t>(value)}};
}

inline uint32_t fromBigEndian(const SwmBe32 &value)
{
    return static_cast<uint32_t>(value.bytes[0]) << 24 | static_cast<uint32_t>(value.bytes[1]) << 16 |
           static_cast<uint32_t>(value.bytes[2]) << 8 | static_cast<uint32_t>(value.bytes[3]);
}

} // namespace tarn::packaging
