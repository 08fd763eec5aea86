// Record lists line by line: what the library refuses in them, and what it changes without a word. The library only
// says that a list did not load; this finds the place. The verdict stays the library's.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "exit_status.h"

namespace tarn::tool {

// What a column has to be.
enum class Rule {
    Digest,     // 64 hexadecimal digits; anything else loads as zeroes
    Text,       // cut when it does not fit
    Name,       // refused when it does not fit
    FirstPiece, // the part before ":" counts, and there has to be one
    Mode,       // octal, not 0
    Digits,     // decimal digits and nothing else
    Number,     // what is none loads as 0
    ZeroOrOne,
    RpmFile,   // ends in ".rpm"
    Operation, // add, update or remove
};

struct Column {
    const char *name;
    Rule rule;
    size_t room = 0; // bytes of a text that the record can hold
};

struct LineFormat {
    std::span<const Column> columns;
    std::span<const size_t> counts; // how many of them a line may have; empty: the line is one column, blanks and all
    size_t atOnce = 0;              // bytes of a line read at once: a longer one counts as several; 0: no limit
};

// A fault keeps the list from loading; a remark says what the record does not have as the line has it.
struct LineNote {
    size_t line = 0;
    const Column *column = nullptr; // null: the line as a whole
    size_t columnIndex = 0;         // counted from 0, as in the format's description
    std::string value;
    std::string text;
};

struct Examination {
    std::vector<LineNote> faults; // the first hundred
    std::vector<LineNote> remarks;
    size_t faultCount = 0; // all of them
    size_t remarkCount = 0;
};

// By the way the format's loader takes its lines.
Examination examine(std::string_view content, const LineFormat &format);

// The columns of the first line that is not blank; empty when there is none.
std::vector<std::string_view> firstColumns(std::string_view content);

// "line 3, column 9 (mode): "abc": …", without control characters.
std::string noteText(const LineNote &note);
Json notesJson(const std::vector<LineNote> &notes);

} // namespace tarn::tool
