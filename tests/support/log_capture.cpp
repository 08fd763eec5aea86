#include "support/log_capture.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <tarn_basic/log.h>

namespace tarn::test {
namespace {

constexpr int kErrnoAfterLogging = 9999;

std::mutex g_mutex;
std::vector<LogLine> g_lines;

std::string render(const char *format, va_list arguments) __attribute__((format(printf, 1, 0)));

std::string render(const char *format, va_list arguments)
{
    char text[4096];
    vsnprintf(text, sizeof text, format, arguments);
    return text;
}

bool startsWith(const char *text, const char *prefix)
{
    return strncmp(text, prefix, strlen(prefix)) == 0;
}

const char *sourceOf(const char *text)
{
    for (const char *prefix : {"Extract", "TARN_Extract", "SWM_FindFileSiteFromCc", "VerifyCheckIntegrity"}) {
        if (startsWith(text, prefix)) {
            return "tarn_safe_extract.cpp";
        }
    }
    for (const char *prefix : {"TARN_PackageVerify", "Verify"}) {
        if (startsWith(text, prefix)) {
            return "tarn_safe_verify.cpp";
        }
    }
    return "tarn_safe_common.cpp";
}

// The expected text may hold kAnyNumber wherever any number will do.
bool matches(const std::string &expected, const std::string &actual)
{
    const std::string any = std::to_string(kAnyNumber);
    size_t from = 0;
    size_t at = 0;
    for (size_t hole; (hole = expected.find(any, from)) != std::string::npos; from = hole + any.size()) {
        if (actual.compare(at, hole - from, expected, from, hole - from) != 0) {
            return false;
        }
        at += hole - from;
        const size_t digits = actual.find_first_not_of("0123456789", at + (actual.compare(at, 1, "-") == 0 ? 1 : 0));
        if (digits == at) {
            return false;
        }
        at = digits == std::string::npos ? actual.size() : digits;
    }
    return at <= actual.size() && actual.compare(at, std::string::npos, expected, from, std::string::npos) == 0;
}

bool matches(const LogLine &expected, const LogLine &actual)
{
    return expected.module == actual.module && expected.level == actual.level && expected.format == actual.format &&
           matches(expected.text, actual.text);
}

void describe(std::ostream &out, const std::vector<LogLine> &lines)
{
    for (const LogLine &line : lines) {
        out << "  " << line.module << "/" << line.level << " " << line.text << "    [" << line.format << "]\n";
    }
}

LogLine plainLine(uint32_t level, const char *name, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

LogLine plainLine(uint32_t level, const char *name, const char *format, va_list arguments)
{
    const std::string prefix = std::string("[BOOT][SWM_BASE][") + name + "]: ";
    return {0, level, prefix + format, prefix + render(format, arguments)};
}

} // namespace

LogLine error(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = render(format, arguments);
    va_end(arguments);
    const std::string place = std::string(sourceOf(format)) + ":" + std::to_string(kAnyNumber);
    return {0, SWM_LOG_ERROR, std::string("[BOOT][SWM_BASE][ERROR][%s:%d]: ") + format,
            "[BOOT][SWM_BASE][ERROR][" + place + "]: " + text};
}

LogLine warning(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogLine line = plainLine(SWM_LOG_WARNING, "WARNING", format, arguments);
    va_end(arguments);
    return line;
}

LogLine notice(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogLine line = plainLine(SWM_LOG_NOTICE, "NOTICE", format, arguments);
    va_end(arguments);
    return line;
}

LogLine info(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogLine line = plainLine(SWM_LOG_INFO, "INFO", format, arguments);
    va_end(arguments);
    return line;
}

LogLine copyWarning(const char *operation, const char *function)
{
    const std::string prefix = std::string("[BOOT][SWM_COMMON][WARNING]: ") + operation + " failed: ";
    return {0, SWM_LOG_WARNING, prefix + "%s, line: %d", prefix + function + ", line: " + std::to_string(kAnyNumber)};
}

std::vector<LogLine> takeLog()
{
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_lines, {});
}

testing::AssertionResult logged(const std::vector<LogLine> &expected)
{
    const std::vector<LogLine> actual = takeLog();
    bool same = actual.size() == expected.size();
    for (size_t i = 0; same && i < actual.size(); ++i) {
        same = matches(expected[i], actual[i]);
    }
    if (same) {
        return testing::AssertionSuccess();
    }
    std::ostringstream message;
    message << "expected log:\n";
    describe(message, expected);
    message << "actual log:\n";
    describe(message, actual);
    return testing::AssertionFailure() << message.str();
}

} // namespace tarn::test

// Takes the place of the platform's, which keeps errno: libtarn_boot does not count on that. Its own allocations and
// locks are none of the library's.
extern "C" void SWM_LogWrite(uint32_t module, uint32_t level, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::string text = tarn::test::render(format, arguments);
    va_end(arguments);
    {
        const std::lock_guard lock(tarn::test::g_mutex);
        tarn::test::g_lines.push_back({module, level, format, std::move(text)});
    }
    errno = tarn::test::kErrnoAfterLogging;
}
