// Kept: a section without keys is never left. A compiler may drop an endless loop that does nothing, so this program is
// built and run with every compiler; it brings its own definitions of the two calls it needs.
#include <atomic>

#include <sched.h>
#include <sys/mman.h>
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

class EndlessTest : public testing::Test {
protected:
    EndlessTest()
    {
        void *shared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        g_yields = new (shared) std::atomic<unsigned>(0);
        writeFile(list, "[a]\n");
    }
    ~EndlessTest() override { munmap(std::exchange(g_yields, nullptr), 4096); }

    std::optional<int> load(SwmIniSection *profile, unsigned milliseconds)
    {
        g_profile = profile;
        return runInChild(
            [this] {
                SwmListHead head = {};
                head.next = head.prev = reinterpret_cast<SwmListNode *>(&head);
                return TARN_SafeCacheSignedFile(list.c_str(), &head) == SWM_OK ? static_cast<int>(head.count) : 99;
            },
            milliseconds);
    }

    TempDir dir;
    fs::path list = dir / "list";
    char value[2] = "v";
    char name[4] = "[s]";
    SwmIniKey key = {"FILENAME", value, nullptr};
};

TEST_F(EndlessTest, SectionsWithKeysEnd)
{
    SwmIniSection second = {name, &key, nullptr};
    SwmIniSection first = {name, &key, &second};
    EXPECT_EQ(load(&first, 30000), 2);
    EXPECT_EQ(*g_yields, 0u);
}

TEST_F(EndlessTest, SectionWithoutKeysIsNeverLeft)
{
    SwmIniSection only = {name, nullptr, nullptr};
    EXPECT_EQ(load(&only, 300), std::nullopt);
    EXPECT_GT(*g_yields, 0u);
}

TEST_F(EndlessTest, NorIsOneBetweenOthers)
{
    SwmIniSection last = {name, &key, nullptr};
    SwmIniSection empty = {name, nullptr, &last};
    SwmIniSection first = {name, &key, &empty};
    EXPECT_EQ(load(&first, 300), std::nullopt);
    EXPECT_GT(*g_yields, 0u);
}

} // namespace
} // namespace tarn::test
