// Character classes by byte value: no locale, and the same where plain char is signed and where it is not.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn::basic {

inline bool isBlank(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte == 32 || (byte >= 9 && byte <= 13);
}

inline bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

inline bool isControl(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte < 32 || byte == 127;
}

inline constexpr auto kHexValues = [] {
    std::array<int8_t, 256> values = {};
    values.fill(-1);
    for (uint8_t digit = 0; digit < 10; ++digit) {
        values['0' + digit] = static_cast<int8_t>(digit);
    }
    for (uint8_t letter = 0; letter < 6; ++letter) {
        values['a' + letter] = values['A' + letter] = static_cast<int8_t>(10 + letter);
    }
    return values;
}();

// The value of a hexadecimal digit of either case, or -1. A table: which digits come next cannot be foreseen.
inline int hexValue(char character)
{
    return kHexValues[static_cast<unsigned char>(character)];
}

// A whole text as a number, decimal or with "0x"; anything else, or more than 32 bits, is none.
inline bool parseNumber(const char *text, uint32_t *number)
{
    const bool hex = text[0] == '0' && (text[1] | 0x20) == 'x';
    const uint64_t base = hex ? 16 : 10;
    const char *digit = hex ? text + 2 : text;
    uint64_t value = 0;
    bool any = false;
    for (; *digit != '\0'; ++digit, any = true) {
        const int digitValue = hexValue(*digit);
        if (digitValue < 0 || static_cast<uint64_t>(digitValue) >= base) {
            return false;
        }
        value = value * base + static_cast<uint64_t>(digitValue);
        if (value > UINT32_MAX) {
            return false;
        }
    }
    if (any) {
        *number = static_cast<uint32_t>(value);
    }
    return any;
}

} // namespace tarn::basic
