// Colour and progress: on terminals only.
#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <thread>
#include <unistd.h>

#include "terminal.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

constexpr size_t kWork = 1 << 20;

// Reads half of what it says it will while the bar is there.
int workFor(std::chrono::milliseconds time, const fs::path &file)
{
    tool::Progress progress("working", [] { return kWork; });
    const std::string half = readFile(file).substr(0, kWork / 2);
    std::this_thread::sleep_for(time);
    progress.print("");
    return half.size() == kWork / 2 ? 0 : 1;
}

std::string shownDuring(std::chrono::milliseconds time)
{
    const TempDir dir;
    writeFile(dir / "file", std::string(kWork / 2, 'x'));
    Terminal terminal;
    EXPECT_EQ(runInChild(
                  [&] {
                      dup2(terminal.slave, STDERR_FILENO);
                      return workFor(time, dir / "file");
                  },
                  20000),
              0);
    return terminal.readAll();
}

} // namespace

TEST(ProgressTest, LongWorkShowsABarAndTakesItAway)
{
    const std::string shown = shownDuring(std::chrono::milliseconds(1500));
    EXPECT_NE(shown.find("\rworking [###############...............]  50 % of 1.0 MiB"), std::string::npos) << shown;
    EXPECT_EQ(shown.back(), '\r');
    EXPECT_EQ(shown.find('\n'), std::string::npos);
}

TEST(ProgressTest, ShortWorkShowsNothing)
{
    EXPECT_EQ(shownDuring(std::chrono::milliseconds(10)), "");
}

TEST(ColourTest, OnTerminalsUnlessRefused)
{
    const TempDir dir;
    const SmallPackage package(dir);
    const Arguments verify = {"package", "verify", package.path};
    const std::string green = "\x1b[32mvalid\x1b[0m";
    struct Row {
        Arguments environment;
        bool isColoured;
    };
    const Row rows[] = {
        {{"TERM=xterm", "NO_COLOR"}, true}, {{"TERM=xterm", "NO_COLOR="}, true}, {{"TERM=xterm", "NO_COLOR=1"}, false},
        {{"TERM=dumb", "NO_COLOR"}, false}, {{"TERM", "NO_COLOR"}, false},
    };
    for (const Row &row : rows) {
        const Outcome outcome = runToolOnTerminal(verify, {row.environment, {}});
        EXPECT_EQ(outcome.status, 0) << outcome.out;
        EXPECT_EQ(outcome.out.find(green) != std::string::npos, row.isColoured) << outcome.out;
        EXPECT_EQ(outcome.out.find('\x1b') != std::string::npos, row.isColoured) << outcome.out;
    }
    EXPECT_NE(runToolOnTerminal({"package", "verify", "x.txt"}, {{"TERM=xterm", "NO_COLOR"}, {}}).out.find("\x1b[31m"),
              std::string::npos);
    const Outcome piped = runTool(verify, {{"TERM=xterm", "NO_COLOR"}, {}});
    EXPECT_EQ((piped.out + piped.err).find('\x1b'), std::string::npos);
}

} // namespace tarn::test
