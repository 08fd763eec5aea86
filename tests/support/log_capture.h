// The tests' SWM_LogWrite: keeps every line, so that whole lines can be asserted: module, level, format and text.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tarn::test {

struct LogLine {
    uint32_t module;
    uint32_t level;
    std::string format;
    std::string text;
};

// Stands for a number that the test cannot know: errno of a short read, a source line.
constexpr int kAnyNumber = 987654321;

// Expected lines. The source file follows from the function that the text names; its line may be any.
LogLine error(const char *format, ...) __attribute__((format(printf, 1, 2)));
LogLine warning(const char *format, ...) __attribute__((format(printf, 1, 2)));
LogLine notice(const char *format, ...) __attribute__((format(printf, 1, 2)));
LogLine info(const char *format, ...) __attribute__((format(printf, 1, 2)));
// "memset failed: <function>, line: <any>" and the like.
LogLine copyWarning(const char *operation, const char *function);

// All lines since the last call, which forgets them.
std::vector<LogLine> takeLog();

// The lines since the last look are exactly these, in this order.
testing::AssertionResult logged(const std::vector<LogLine> &expected);
inline testing::AssertionResult nothingLogged()
{
    return logged({});
}

} // namespace tarn::test
