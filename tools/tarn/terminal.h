// What only a terminal gets: colour and progress.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tarn::tool {

enum class Colour { Good = 32, Bad = 31, Warning = 33 };

// `text` in colour when stdout is a terminal, NO_COLOR is unset or empty and TERM is not "dumb".
std::string inColour(Colour colour, std::string_view text);
// The same for stderr.
std::string inErrorColour(Colour colour, std::string_view text);

// A bar on stderr while the object lives: only when that is a terminal, only when the work takes over a second.
// Progress is what the process has read, by the kernel's own count, so that the work itself needs no hook.
class Progress {
public:
    // `totalBytes` is only called when there is a bar at all.
    Progress(std::string shownLabel, const std::function<uint64_t()> &totalBytes);
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress();

    // A line for stdout in between: the bar goes, and comes back when it is drawn anew.
    void print(std::string_view line);

private:
    void run();
    void clear();
    void draw();

    std::string label;
    uint64_t total = 1;
    uint64_t start = 0;
    size_t drawn = 0; // characters of the bar on the screen
    bool isDone = false;
    std::mutex mutex;
    std::condition_variable wake;
    std::thread ticker;
};

} // namespace tarn::tool
