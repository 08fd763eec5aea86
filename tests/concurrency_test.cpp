// Threads and processes that share the library.
#include <atomic>
#include <thread>

#include <unistd.h>

#include <tarn_boot/container.h>

#include "support/fixture.h"
#include "support/log_capture.h"

namespace tarn::test {
namespace {

class ConcurrencyTest : public testing::Test {
protected:
    ConcurrencyTest()
    {
        for (int i = 0; i < 2; ++i) {
            packages.push_back(dir / ("p" + std::to_string(i) + ".cc"));
            contents.push_back(pattern(100000 + static_cast<size_t>(i), static_cast<unsigned>(i) + 1));
            writeSigned(packages.back(), {member("app", contents.back()), member("conf", "c" + std::to_string(i))});
        }
    }

    // Extracts from both packages in turn into a directory of its own; the number of wrong outcomes.
    int extractManyTimes(const std::string &name, int rounds)
    {
        const fs::path to = dir / name;
        int wrong = 0;
        for (int round = 0; round < rounds; ++round) {
            const auto i = static_cast<size_t>(round) % 2;
            wrong += TARN_ExtractFromPackage(packages[i].c_str(), "app", to.c_str()) != TARN_EXTRACT_OK ||
                     readFile(to / "app") != contents[i];
            wrong += TARN_ExtractFromPackageAndChmod(packages[i].c_str(), "conf", to.c_str(), 0600) != TARN_EXTRACT_OK;
        }
        return wrong;
    }

    // Finds the member in both packages in turn; the number of wrong places.
    int findManyTimes(int rounds)
    {
        int wrong = 0;
        for (int round = 0; round < rounds; ++round) {
            const auto i = static_cast<size_t>(round) % 2;
            const Descriptor fd(packages[i]);
            FileSite site = {};
            site.name = "app.img";
            wrong += SWM_FindFileSiteFromCc(fd, &site) != TARN_EXTRACT_OK || site.payloadLength != contents[i].size() ||
                     site.fileName != std::string(site.name) ||
                     lseek(fd, 0, SEEK_CUR) != static_cast<off_t>(site.payloadOffset);
        }
        return wrong;
    }

    TempDir dir;
    std::vector<fs::path> packages;
    std::vector<std::string> contents;
};

TEST_F(ConcurrencyTest, ManyThreadsTwoPackagesAndCacheDrops)
{
    std::atomic<int> wrong = 0;
    std::atomic<bool> done = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] { wrong += extractManyTimes("t" + std::to_string(i), 4); });
    }
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] { wrong += findManyTimes(8); });
    }
    std::thread dropper([&] {
        while (!done) {
            wrong += TARN_ExtractCacheDrop() != SWM_OK;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    std::thread verifier([&] {
        for (int round = 0; round < 4; ++round) {
            wrong += TARN_PackageVerify(packages[static_cast<size_t>(round) % 2].c_str()) != TARN_VERIFY_OK;
        }
    });
    for (std::thread &thread : threads) {
        thread.join();
    }
    verifier.join();
    done = true;
    dropper.join();
    EXPECT_EQ(wrong, 0);
    for (const LogLine &line : takeLog()) {
        EXPECT_GE(line.level, 5u) << line.text;
    }
    EXPECT_FALSE(fs::exists(workdir()));
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
}

TEST_F(ConcurrencyTest, SeveralProcessesAtOnce)
{
    std::vector<pid_t> children;
    for (int i = 0; i < 4; ++i) {
        children.push_back(startChild([&, i] { return extractManyTimes("p" + std::to_string(i), 4); }));
    }
    for (const pid_t child : children) {
        EXPECT_EQ(awaitChild(child, 60000), 0);
    }
}

} // namespace
} // namespace tarn::test
