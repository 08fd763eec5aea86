// Formatting, escaping, tables.
#include "text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace tarn::tool {

namespace {

struct Character {
    uint32_t code = 0;
    size_t size = 0; // 0: the first byte starts no valid sequence
};

// One UTF-8 sequence (RFC 3629): no overlong forms, no surrogates, nothing beyond U+10FFFF.
Character decode(std::string_view text)
{
    const auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return {first, 1};
    }
    const size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < size) {
        return {};
    }
    uint32_t code = first & (0x7Fu >> size);
    for (size_t index = 1; index < size; ++index) {
        if ((byte(index) & 0xC0) != 0x80) {
            return {};
        }
        code = code << 6 | (byte(index) & 0x3Fu);
    }
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < kSmallest[size] || isSurrogate || code > 0x10FFFF ? Character{} : Character{code, size};
}

// Invisible, or moving what stands around them.
bool isMisleading(uint32_t code)
{
    return code < 0x20 || (code >= 0x7F && code <= 0x9F) || code == 0x61C || (code >= 0x200B && code <= 0x200F) ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF;
}

std::string escape(uint32_t code)
{
    switch (code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return code < 0x100 ? format("\\x%02x", code) : format("\\u%04x", code);
    }
}

size_t displayWidth(const std::string &text)
{
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

} // namespace

std::string format(const char *pattern, ...)
{
    va_list arguments;
    va_start(arguments, pattern);
    va_list again;
    va_copy(again, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is above
    const int size = vsnprintf(nullptr, 0, pattern, arguments);
    va_end(arguments);
    std::string text(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    static_cast<void>(vsnprintf(text.data(), text.size() + 1, pattern, again));
    va_end(again);
    return text;
}

std::string escaped(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const Character character = decode(text);
        const size_t size = std::max<size_t>(character.size, 1);
        if (character.size == 0) {
            result += escape(static_cast<unsigned char>(text.front()));
        } else if (character.code == '\\') {
            result += "\\\\";
        } else if (isMisleading(character.code)) {
            result += escape(character.code);
        } else {
            result += text.substr(0, size);
        }
        text.remove_prefix(size);
    }
    return result;
}

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        const size_t size = decode(text).size;
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

std::string hex(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        text += format("%02x", static_cast<unsigned char>(byte));
    }
    return text;
}

std::string inQuotes(std::string_view text)
{
    return "\"" + escaped(text) + "\"";
}

std::string counted(uint64_t count, const char *noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string humanSize(uint64_t bytes)
{
    constexpr uint64_t kKiB = 1024;
    constexpr uint64_t kMiB = kKiB * kKiB;
    if (bytes < 10 * kKiB) {
        return counted(bytes, "byte");
    }
    if (bytes < kMiB) {
        return format("%.1f KiB", static_cast<double>(bytes) / kKiB);
    }
    return format("%.1f MiB", static_cast<double>(bytes) / kMiB);
}

std::string Table::text() const
{
    std::vector<size_t> widths(alignment.size());
    for (const auto &row : rows) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], displayWidth(row[column]));
        }
    }
    std::string result;
    for (const auto &row : rows) {
        for (size_t column = 0; column < row.size(); ++column) {
            const std::string padding(widths[column] - displayWidth(row[column]), ' ');
            const bool isLast = column + 1 == row.size();
            result += alignment[column] == 'r' ? padding + row[column] : row[column] + (isLast ? "" : padding);
            result += isLast ? "\n" : "  ";
        }
    }
    return result;
}

void printOut(std::string_view text)
{
    // A failure stays with the stream until the end of the program, which looks for it.
    static_cast<void>(fwrite(text.data(), 1, text.size(), stdout));
}

void printError(std::string_view text)
{
    static_cast<void>(fflush(stdout));
    static_cast<void>(fwrite(text.data(), 1, text.size(), stderr));
}

} // namespace tarn::tool
