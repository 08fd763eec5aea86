// Signals and limits in the middle of the work: no partial file under any name, no work directory.
#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

#include "tool_process.h"

namespace tarn::test {

namespace {

constexpr unsigned kPatience = 60000;

class InterruptionTest : public testing::Test {
protected:
    TempDir dir;

    // The process has a file of this directory open, be it one without a name.
    static bool hasOpen(pid_t process, const std::string &prefix)
    {
        std::error_code gone;
        for (const auto &entry : fs::directory_iterator("/proc/" + std::to_string(process) + "/fd", gone)) {
            const fs::path target = fs::read_symlink(entry.path(), gone);
            if (!gone && target.string().rfind(prefix, 0) == 0) {
                return true;
            }
        }
        return false;
    }
};

} // namespace

TEST_F(InterruptionTest, AnInterruptedPackageLeavesNothing)
{
    writeFile(dir / "huge", "");
    fs::resize_file(dir / "huge", (1ull << 32) - (1u << 20));
    fs::create_directory(dir / "out");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGKILL}) {
        const pid_t tool = startTool({"package", "create", "--no-sign", "-o", dir / "out/p.cc", dir / "huge"});
        EXPECT_TRUE(waitUntil([&] { return hasOpen(tool, dir / "out/"); }, kPatience));
        kill(tool, signal);
        EXPECT_EQ(exitStatus(tool), 128 + signal);
        EXPECT_TRUE(fs::is_empty(dir / "out"));
    }
}

TEST_F(InterruptionTest, AnInterruptedExtractionIsFinishedFirst)
{
    constexpr size_t kSize = 96u << 20;
    writeSigned(dir / "big.cc", {member("big", pattern(kSize)), member("next", "content")});
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const fs::path out = dir / "out";
        fs::remove_all(out);
        const pid_t tool = startTool({"package", "extract", "-d", out, dir / "big.cc", "big", "next"});
        EXPECT_TRUE(waitUntil([&] { return fs::exists(out / "big"); }, kPatience));
        kill(tool, signal);
        EXPECT_EQ(exitStatus(tool), 128 + signal);
        EXPECT_EQ(fs::file_size(out / "big"), kSize);
        EXPECT_FALSE(fs::exists(out / "next"));
        EXPECT_FALSE(fs::exists("/tmp/extract_" + std::to_string(tool)));
    }
}

TEST_F(InterruptionTest, TheLimitOnFileSizesIsAFailedWrite)
{
    writeFile(dir / "file", std::string(200000, 'x'));
    fs::create_directory(dir / "out");
    const Outcome outcome = runTool({"package", "create", "--no-sign", "-o", dir / "out/p.cc", dir / "file"},
                                    {{}, {}, [] {
                                         const rlimit limit = {100000, 100000};
                                         setrlimit(RLIMIT_FSIZE, &limit);
                                     }});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("cannot write: File too large"), std::string::npos) << outcome.err;
    EXPECT_TRUE(fs::is_empty(dir / "out"));
}

} // namespace tarn::test
