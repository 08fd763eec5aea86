// Text for people: formatting, escaping, tables.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::tool {

std::string format(const char *pattern, ...) __attribute__((format(printf, 1, 2)));

// Names come from packages, and so from anyone: control characters, characters that turn the direction of text, bytes
// that are no UTF-8 and backslashes become escapes. What is printed moves no cursor and looks like nothing else.
std::string escaped(std::string_view text);

// The same between double quotes.
std::string inQuotes(std::string_view text);

bool isUtf8(std::string_view text);

// Two lower-case digits per byte.
std::string hex(std::string_view bytes);

// "1 member", "2 members".
std::string counted(uint64_t count, const char *noun);

// "531 bytes", "1.5 MiB".
std::string humanSize(uint64_t bytes);

// Columns as wide as their widest cell; the alignment holds one 'r' or 'l' per column.
class Table {
public:
    explicit Table(std::string columnAlignment) : alignment(std::move(columnAlignment)) {}
    void add(std::vector<std::string> row) { rows.push_back(std::move(row)); }
    std::string text() const;

private:
    std::string alignment;
    std::vector<std::vector<std::string>> rows;
};

void printOut(std::string_view text);
void printError(std::string_view text);

} // namespace tarn::tool
