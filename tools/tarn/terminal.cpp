// Colour and the progress bar.
#include "terminal.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <unistd.h>

#include "packaging/deferred_signals.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr auto kPatience = std::chrono::seconds(1);
constexpr auto kInterval = std::chrono::milliseconds(100);
constexpr size_t kBarWidth = 30;

bool wantsColour(int fd)
{
    // NOLINTBEGIN(concurrency-mt-unsafe): nobody changes the environment any more
    const char *refused = getenv("NO_COLOR");
    const char *term = getenv("TERM");
    // NOLINTEND(concurrency-mt-unsafe)
    return isatty(fd) == 1 && (refused == nullptr || *refused == '\0') && term != nullptr && strcmp(term, "dumb") != 0;
}

std::string coloured(int fd, Colour colour, std::string_view text)
{
    if (!wantsColour(fd)) {
        return std::string(text);
    }
    return format("\x1b[%dm", static_cast<int>(colour)) + std::string(text) + "\x1b[0m";
}

// Bytes this process has read; 0 where the kernel does not count.
uint64_t bytesRead()
{
    FILE *stream = fopen("/proc/self/io", "re");
    unsigned long long count = 0;
    if (stream != nullptr) {
        if (fscanf(stream, "rchar: %llu", &count) != 1) {
            count = 0;
        }
        static_cast<void>(fclose(stream));
    }
    return count;
}

} // namespace

std::string inColour(Colour colour, std::string_view text)
{
    return coloured(STDOUT_FILENO, colour, text);
}

std::string inErrorColour(Colour colour, std::string_view text)
{
    return coloured(STDERR_FILENO, colour, text);
}

Progress::Progress(std::string shownLabel, const std::function<uint64_t()> &totalBytes) : label(std::move(shownLabel))
{
    if (isatty(STDERR_FILENO) == 1) {
        total = std::max<uint64_t>(totalBytes(), 1);
        start = bytesRead();
        // Signals that are put off in the thread that works must not come in here.
        const packaging::DeferredSignals inherited;
        try {
            ticker = std::thread([this] { run(); });
        } catch (const std::system_error &) {
            // The work is worth more than its bar.
        }
    }
}

Progress::~Progress()
{
    if (!ticker.joinable()) {
        return;
    }
    {
        const std::lock_guard lock(mutex);
        isDone = true;
    }
    wake.notify_one();
    ticker.join();
    clear();
}

void Progress::print(std::string_view line)
{
    const std::lock_guard lock(mutex);
    clear();
    printOut(line);
    static_cast<void>(fflush(stdout));
}

// Expects the lock, or that nobody else draws any more.
void Progress::clear()
{
    if (drawn > 0) {
        printError("\r" + std::string(drawn, ' ') + "\r");
        drawn = 0;
    }
}

void Progress::run()
{
    std::unique_lock lock(mutex);
    if (wake.wait_for(lock, kPatience, [this] { return isDone; })) {
        return;
    }
    do {
        draw();
    } while (!wake.wait_for(lock, kInterval, [this] { return isDone; }));
}

void Progress::draw()
{
    const uint64_t done = std::min(bytesRead() - start, total);
    const size_t filled = static_cast<size_t>(done * kBarWidth / total);
    const std::string line = label + " [" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
                             format("%3u %% of ", static_cast<unsigned>(done * 100 / total)) + humanSize(total);
    printError("\r" + line);
    drawn = line.size();
}

} // namespace tarn::tool
