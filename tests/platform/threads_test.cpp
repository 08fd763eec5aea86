// Operations from several threads at once, most of them on the same paths.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support.h"

namespace {

using namespace tarn::test;

constexpr int kThreads = 8;
constexpr int kRounds = 50;

class Threads : public PlatformTest {
protected:
    // How often the body returned true, of kThreads * kRounds runs.
    static int countOf(const std::function<bool(int thread)> &body)
    {
        std::atomic<int> count = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&, i] {
                for (int round = 0; round < kRounds; ++round) {
                    count += body(i) ? 1 : 0;
                }
            });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        return count;
    }
    static constexpr int kAll = kThreads * kRounds;
};

TEST_F(Threads, Profiles)
{
    writeFile(dir / "ini", "[s]\na=one\n[t]\nb=two\n");
    const char *path = at("ini");
    EXPECT_EQ(countOf([&](int) {
                  char a[8] = "";
                  char b[8] = "";
                  SwmIniSection *profile = SWM_IniLoadProfileFromFileMem("[s]\na=1\n");
                  const bool isRead = SWM_IniGetValue(path, "[t]", "b", b, sizeof b) == 0 &&
                                      SWM_IniProfileGetValue(profile, "[s]", "a", a, sizeof a) == 0;
                  SWM_FreeProfile(profile);
                  return isRead && std::string(a) + b == "1two";
              }),
              kAll);
}

TEST_F(Threads, LogLinesStayWhole)
{
    setConfig("[log]\ntarget = " + std::string(at("log")) + "\n");
    (void)countOf([&](int thread) {
        SWM_LogWrite(0, 3, "%s", std::string(100, static_cast<char>('a' + thread)).c_str());
        return true;
    });
    const std::string log = readFile(dir / "log");
    EXPECT_EQ(log.size(), kAll * 101u);
    for (size_t line = 0; line + 101 <= log.size(); line += 101) {
        ASSERT_EQ(log.substr(line, 101), std::string(100, log[line]) + "\n");
    }
}

TEST_F(Threads, Directories)
{
    const char *shared = at("shared/a/b");
    std::vector<const char *> own;
    for (int i = 0; i < kThreads; ++i) {
        own.push_back(at("own" + std::to_string(i)));
    }
    EXPECT_EQ(countOf([&](int thread) {
                  const char *mine = own[static_cast<size_t>(thread)];
                  return TARN_MkDirRecursive(shared) == 0 &&
                         SWM_CreateDirWithPermission(mine, 2, 0755, "NA", "NA") == 0 && SWM_RemoveDir(mine) == 0;
              }),
              kAll);
    EXPECT_EQ(entriesOf(dir), 1u);
}

} // namespace
