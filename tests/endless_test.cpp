// Kept: a section without keys is never left. A compiler may drop an endless loop that does nothing, so this program is
// built and run with every compiler; it brings its own definitions of the two calls it needs.
#include <atomic>

#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <tarn_basic/ini.h>
#include <tarn_boot/container.h>

#include "support/fixture.h"

namespace {

SwmIniSection *g_profile;
std::atomic<unsigned> *g_yields; // shared with the child

} // namespace

SwmIniSection *SWM_IniLoadProfile(FILE *)
{
    return g_profile;
}

void SWM_FreeProfile(SwmIniSection *) {}

extern "C" __attribute__((visibility("default"))) int hookYield() asm("sched_yield");
extern "C" int hookYield()
{
    if (g_yields != nullptr) {
        ++*g_yields;
    }
    return static_cast<int>(syscall(SYS_sched_yield));
}

namespace tarn::test {
namespace {

constexpr unsigned kLong = 60000; // milliseconds

struct Progress {
    std::atomic<unsigned> yields = 0;
    SwmListHead list = {};
};

class EndlessTest : public testing::Test {
protected:
    EndlessTest()
    {
        g_yields = &progress->yields;
        writeFile(path, "[a]\n");
    }
    ~EndlessTest() override { g_yields = nullptr; }

    pid_t startLoading(SwmIniSection *profile)
    {
        g_profile = profile;
        SwmListHead &list = progress->list;
        list.next = list.prev = reinterpret_cast<SwmListNode *>(&list);
        return startChild([&] { return TARN_SafeCacheSignedFile(path.c_str(), &list) == SWM_OK ? 0 : 1; });
    }

    // The loading has come to the section without keys and does not leave it.
    void expectEndless(SwmIniSection *profile, uint32_t recordsBefore)
    {
        const pid_t child = startLoading(profile);
        EXPECT_TRUE(waitUntil([this] { return progress->yields > 100; }, kLong));
        EXPECT_EQ(awaitChild(child, 200), std::nullopt);
        EXPECT_EQ(progress->list.count, recordsBefore);
    }

    Shared<Progress> progress;
    TempDir dir;
    fs::path path = dir / "list";
    char value[2] = "v";
    char name[4] = "[s]";
    SwmIniKey key = {"FILENAME", value, nullptr};
};

TEST_F(EndlessTest, SectionsWithKeysEnd)
{
    SwmIniSection second = {name, &key, nullptr};
    SwmIniSection first = {name, &key, &second};
    EXPECT_EQ(awaitChild(startLoading(&first), kLong), 0);
    EXPECT_EQ(progress->list.count, 2u);
    EXPECT_EQ(progress->yields, 0u);
}

TEST_F(EndlessTest, SectionWithoutKeysIsNeverLeft)
{
    SwmIniSection only = {name, nullptr, nullptr};
    expectEndless(&only, 0);
}

TEST_F(EndlessTest, NorIsOneBetweenOthers)
{
    SwmIniSection last = {name, &key, nullptr};
    SwmIniSection empty = {name, nullptr, &last};
    SwmIniSection first = {name, &key, &empty};
    expectEndless(&first, 1);
}

} // namespace
} // namespace tarn::test
