// libxml2 is first used by several threads at once; each thread's requests work on a database of its own.
#include <atomic>
#include <thread>

#include <tarn_boot/database.h>

#include "support/fixture.h"
#include "support/log_capture.h"

namespace tarn::test {
namespace {

constexpr int kThreads = 8;

SwmPackageInfo packageOf(int number)
{
    SwmPackageInfo info = {};
    snprintf(info.PackageName, sizeof(info.PackageName), "p%d", number);
    snprintf(info.Version, sizeof(info.Version), "1");
    snprintf(info.CcFile, sizeof(info.CcFile), "a.cc");
    return info;
}

// Adds two packages, lists and deletes; the number of wrong outcomes.
int useDatabase(const fs::path &path, int rounds)
{
    int wrong = SWM_CreateXmlFile(path.c_str()) != SWM_OK;
    for (int round = 0; round < rounds; ++round) {
        for (int i = 0; i < 2; ++i) {
            const SwmPackageInfo info = packageOf(i);
            wrong += SWM_AddBasePackageInfo(path.c_str(), &info, 1) != SWM_OK;
        }
        SwmPackageInfo *records = nullptr;
        uint32_t count = 0;
        const uint32_t status = SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count);
        wrong += status != SWM_OK || count != 2;
        if (status == SWM_OK) {
            SWM_FreePackageInfo(records, count);
        }
        wrong += SWM_DelBasePackageInfoByName(path.c_str(), "p1") != SWM_OK;
    }
    return wrong;
}

int useFromThreads(const fs::path &dir, int rounds)
{
    std::atomic<int> wrong = 0;
    std::atomic<int> waiting = kThreads;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            wrong += useDatabase(dir / (std::to_string(i) + ".xml"), rounds);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    return wrong;
}

// Before anything else of this program has used libxml2: each child uses it for the first time.
TEST(XmlThreadsTest, FirstUseByManyThreads)
{
    const TempDir dir;
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(runInChild([&] { return useFromThreads(dir, 1); }, 60000), 0);
    }
}

TEST(XmlThreadsTest, ManyThreadsManyDatabases)
{
    const TempDir dir;
    EXPECT_EQ(useFromThreads(dir, 5), 0);
    for (const LogLine &line : takeLog()) {
        EXPECT_GE(line.level, 4u) << line.text;
    }
}

} // namespace
} // namespace tarn::test
