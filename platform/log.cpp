// Logging. Nothing in this library logs on its own, and reading the configuration cannot come back here.
#include <cstdarg>
#include <cstring>

#include <sys/stat.h>
#include <syslog.h>

#include <tarn_basic/log.h>

#include "characters.h"
#include "config.h"
#include "file_io.h"

using namespace tarn::basic;

namespace {

constexpr size_t kMaxLine = 2048;
constexpr const char *kEllipsis = "...";

// A line with its line feed and a NUL behind it.
struct Line {
    char text[kMaxLine + 2];
    size_t length = 0;
};

void closeLine(Line *line)
{
    line->text[line->length] = '\n';
    line->text[line->length + 1] = '\0';
}

void cutLine(Line *line)
{
    const size_t kept = kMaxLine - strlen(kEllipsis);
    line->length = line->length < kept ? line->length : kept;
    memcpy(line->text + line->length, kEllipsis, strlen(kEllipsis));
    line->length += strlen(kEllipsis);
}

// Control bytes become "\xNN": a name from a file cannot end the line and begin one of its own.
void escape(const char *message, bool isCut, Line *line)
{
    for (; *message != '\0'; ++message) {
        const size_t room = isControl(*message) ? 4 : 1;
        if (line->length + room > kMaxLine) {
            isCut = true;
            break;
        }
        if (room == 1) {
            line->text[line->length++] = *message;
            continue;
        }
        constexpr const char *kHex = "0123456789abcdef";
        const auto byte = static_cast<unsigned char>(*message);
        const char escaped[] = {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
        memcpy(line->text + line->length, escaped, sizeof escaped);
        line->length += sizeof escaped;
    }
    if (isCut) {
        cutLine(line);
    }
    closeLine(line);
}

__attribute__((format(printf, 2, 0))) void render(Line *line, const char *format, va_list arguments)
{
    char message[kMaxLine + 2];
    const int length = vsnprintf(message, sizeof message, format, arguments);
    // What cannot be formatted is still worth its text.
    const char *text = length < 0 ? format : message;
    size_t used = strlen(text);
    const bool isCut = length >= static_cast<int>(sizeof message);
    if (text == message && !isCut && used > 0 && message[used - 1] == '\n') {
        message[used - 1] = '\0'; // the line gets its own
    }
    escape(text, isCut, line);
}

void writeLine(int fd, const Line &line)
{
    (void)retried([&] { return ::write(fd, line.text, line.length + 1); });
}

// A log that is a FIFO or a link has been planted; the line then goes to stderr.
Descriptor openLog(const char *path)
{
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | kOpenFlags;
    Descriptor fd(retried([&] { return ::open(path, kFlags, 0640); }));
    if (fd && !requireRegular(fd.get())) {
        return Descriptor();
    }
    return fd;
}

void deliver(const Line &line, uint32_t level, const char *target)
{
    if (strcmp(target, "syslog") == 0) {
        // The four levels are syslog's own numbers.
        ::syslog(static_cast<int>(level), "%.*s", static_cast<int>(line.length), line.text);
        return;
    }
    const Descriptor file = strcmp(target, "stderr") == 0 ? Descriptor() : openLog(target);
    writeLine(file ? file.get() : STDERR_FILENO, line);
}

uint32_t wantedLevel(const Config &config)
{
    uint32_t level = SWM_LOG_NOTICE;
    return parseNumber(config.text("[log]", "level", ""), &level) ? level : SWM_LOG_NOTICE;
}

} // namespace

void SWM_LogWrite(uint32_t, uint32_t level, const char *format, ...)
{
    const ErrnoKeeper keeper;
    if (format == nullptr || level > LOG_DEBUG) {
        return;
    }
    Config config;
    // An unusable configuration leaves the defaults: a device that cannot read it should say so somewhere.
    (void)config.load();
    if (level > wantedLevel(config)) {
        return;
    }
    Line line;
    va_list arguments;
    va_start(arguments, format);
    render(&line, format, arguments);
    va_end(arguments);
    deliver(line, level, config.text("[log]", "target", "stderr"));
}
