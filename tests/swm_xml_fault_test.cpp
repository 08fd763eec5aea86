// Every allocation, copy and look at the file fails in turn, in the library and inside libxml2: a stated result,
// nothing leaked, the file byte for byte as before unless the change went through, and the next request works.
#include <unistd.h>

#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

// A copy that fails leaves an empty text and no failure.
bool g_copiesFail = false;

struct Operation {
    const char *name;
    bool changes;
    std::function<uint32_t(const char *path)> run; // releases what it is given
};

std::vector<Operation> operations()
{
    static const SwmPackageInfo info = package("p", "2", "new.cc");
    static const SwmPackageInfo fresh = package("n");
    static const SwmPackageInfo wanted = key("p");
    static const SwmPatchInfo onePatch = patch("x", "9");
    static const SwmModInfo oneMod = mod("x", "9");
    return {
        {"all packages", false,
         [](const char *path) {
             SwmPackageInfo *records = nullptr;
             uint32_t count = 0;
             const uint32_t status = SWM_MallocAndGetAllPackageInfo(path, &records, &count);
             EXPECT_EQ(records != nullptr, status == SWM_OK);
             if (records != nullptr) {
                 EXPECT_EQ(count, 2u);
                 EXPECT_EQ(records[0].patchCount + records[0].modCount + records[1].patchCount, 3u);
                 EXPECT_TRUE(g_copiesFail || records[1].PkgPoolPath == std::string("/pool/q"));
                 SWM_FreePackageInfo(records, count);
             }
             return status;
         }},
        {"container files", false,
         [](const char *path) {
             SwmCcInfo *infos = nullptr;
             uint32_t count = 0;
             const uint32_t status = SWM_MallocAndGetAllCcInfo(path, &infos, &count);
             EXPECT_EQ(infos != nullptr, status == SWM_OK);
             EXPECT_TRUE(g_copiesFail || count == (status == SWM_OK ? 2u : 0u)) << count;
             free(infos);
             return status;
         }},
        {"one package", false,
         [](const char *path) {
             SwmPackageInfo *record = nullptr;
             const uint32_t status = SWM_MallocAndGetChosenPackageInfo(path, &record, "p", "1.0");
             EXPECT_EQ(record != nullptr, status == SWM_OK);
             if (record != nullptr) {
                 SWM_FreePackageInfo(record, 1);
             }
             return status;
         }},
        {"installed", false,
         [](const char *path) { return SWM_IsPackageInstalled(path, &wanted, 2) == 1 ? SWM_OK : F; }},
        {"startup package", false,
         [](const char *path) {
             char buffer[16] = "";
             const uint32_t status = SWM_ParseXmlBasePkgName(path, buffer, sizeof(buffer));
             EXPECT_TRUE(g_copiesFail || std::string(buffer) == (status == SWM_OK ? "s.cc" : "")) << buffer;
             return status;
         }},
        {"add package", true, [](const char *path) { return SWM_AddBasePackageInfo(path, &fresh, 1); }},
        {"update package", true, [](const char *path) { return SWM_AddBasePackageInfo(path, &info, 0); }},
        {"add patch", true, [](const char *path) { return SWM_AddPatchPackageInfo(path, "p", &onePatch); }},
        {"add mod", true, [](const char *path) { return SWM_AddModPackageInfo(path, "p", &oneMod); }},
        {"update patch", true, [](const char *path) { return SWM_UpdatePatchInfo(path, &onePatch, "q"); }},
        {"update mod", true, [](const char *path) { return SWM_UpdateModInfo(path, &oneMod, "q"); }},
        {"delete package", true, [](const char *path) { return SWM_DelBasePackageInfo(path, &wanted); }},
        {"delete by file", true,
         [](const char *path) { return SWM_DelBasePackageInfoByCcNameAndPath(path, "/cc/a.cc"); }},
        {"delete by name", true, [](const char *path) { return SWM_DelBasePackageInfoByName(path, "p"); }},
        {"delete patch", true, [](const char *path) { return SWM_DelPatchPackageInfo(path, "q", "x"); }},
        {"delete mod", true, [](const char *path) { return SWM_DelModPackageInfo(path, "q", "x"); }},
        {"create", true, [](const char *path) { return SWM_CreateXmlFile(path); }},
    };
}

class XmlFaultTest : public XmlTest {
protected:
    ~XmlFaultTest() override { g_copiesFail = false; }

    // What it looks at: listings need readable patches, updates written ones.
    std::string contentFor(const Operation &operation) const
    {
        const std::string startup = "<StartupPackage><BasePackage><CcFile>s.cc</CcFile></BasePackage></StartupPackage>";
        return product(packageText(package("p"), readablePatch("a") + readablePatch("b", "Mod")) +
                       packageText(package("q", "1", "b.cc"),
                                   operation.changes ? patchText("x") + modText("x") : readablePatch("c")) +
                       startup);
    }

    // The bytes that it leaves when nothing fails.
    std::string outcomeOf(const Operation &operation)
    {
        writeFile(path, contentFor(operation));
        EXPECT_EQ(operation.run(path.c_str()), SWM_OK);
        takeLog();
        return readFile(path);
    }

    // Success means the whole change, failure none of it, unless it was the save that failed.
    void expectWholeChange(const Operation &operation, uint32_t status, const Lines &lines, const std::string &outcome)
    {
        const bool saveFailed = std::any_of(lines.begin(), lines.end(), [](const LogLine &line) {
            return line.text.find("Save xml file ") != std::string::npos;
        });
        if (!saveFailed) {
            EXPECT_EQ(readFile(path), status == SWM_OK ? outcome : contentFor(operation));
        }
        EXPECT_FALSE(saveFailed && status == SWM_OK);
    }

    // Closes what is still open on the database; the number of descriptors. libxml2 2.9 opens the file that it is to
    // save to and loses it when there is no memory for its buffer.
    size_t closeLost()
    {
        size_t lost = 0;
        for (int fd = 3; fd < 64; ++fd) {
            std::error_code gone;
            if (fs::read_symlink("/proc/self/fd/" + std::to_string(fd), gone) == path) {
                close(fd);
                ++lost;
            }
        }
        return lost;
    }

    // Success means the whole change, failure none of it.
    void expectWholeOrNothing(const Operation &operation, uint32_t status, const std::string &outcome)
    {
        EXPECT_TRUE(status == SWM_OK || status == F) << status;
        EXPECT_EQ(readFile(path), status == SWM_OK ? outcome : contentFor(operation));
        EXPECT_EQ(liveBlocks(), 0);
        xmlResetLastError();
    }
};

TEST_F(XmlFaultTest, LibraryCallsInTurn)
{
    for (const Operation &operation : operations()) {
        SCOPED_TRACE(operation.name);
        const std::string outcome = outcomeOf(operation);
        for (const Call call : {Call::Malloc, Call::Calloc, Call::SwmIsFileExist}) {
            SCOPED_TRACE(nameOf(call));
            for (unsigned nth = 1;; ++nth) {
                ASSERT_LT(nth, 1000u);
                writeFile(path, contentFor(operation));
                clearFaults();
                failCall(call, nth, ENOMEM);
                const uint32_t status = operation.run(path.c_str());
                const bool hit = faultHit();
                clearFaults();
                expectWholeOrNothing(operation, status, outcome);
                const Lines lines = takeLog();
                EXPECT_TRUE(status == SWM_OK || !lines.empty()) << "a failure without a line";
                if (!hit) {
                    EXPECT_EQ(status, SWM_OK);
                    break;
                }
            }
        }
    }
}

TEST_F(XmlFaultTest, FailedCopiesAndFillsNeverStopARequest)
{
    for (const Operation &operation : operations()) {
        SCOPED_TRACE(operation.name);
        g_copiesFail = false;
        (void)outcomeOf(operation);
        g_copiesFail = true;
        for (const Call call : {Call::Memset, Call::Memcpy, Call::Strcpy, Call::Strncpy, Call::Snprintf}) {
            SCOPED_TRACE(nameOf(call));
            for (unsigned nth = 1;; ++nth) {
                ASSERT_LT(nth, 1000u);
                writeFile(path, contentFor(operation));
                clearFaults();
                failCall(call, nth, EINVAL);
                operation.run(path.c_str());
                const bool hit = faultHit();
                clearFaults();
                EXPECT_EQ(liveBlocks(), 0);
                const Lines lines = takeLog();
                if (!hit) {
                    break;
                }
                EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const LogLine &line) {
                    return line.level == SWM_LOG_WARNING &&
                           line.format.find(" failed: %s, line: %d") != std::string::npos;
                })) << nth;
            }
        }
    }
}

TEST_F(XmlFaultTest, AllocationsInsideLibxml2InTurn)
{
    for (const Operation &operation : operations()) {
        SCOPED_TRACE(operation.name);
        const std::string outcome = outcomeOf(operation);
        writeFile(path, contentFor(operation));
        const long idle = XmlMemory::live;
        unsigned failures = 0;
        for (unsigned nth = 1;; ++nth) {
            SCOPED_TRACE(nth);
            ASSERT_LT(nth, 5000u);
            writeFile(path, contentFor(operation));
            XmlMemory::failNth(nth);
            const uint32_t status = operation.run(path.c_str());
            const bool hit = XmlMemory::hit;
            XmlMemory::failNth(0);
            xmlResetLastError();
            const Lines lines = takeLog();
            EXPECT_EQ(liveBlocks(), 0);
            EXPECT_EQ(XmlMemory::live, idle);
            EXPECT_TRUE(status == SWM_OK || status == F || status == SWM_NOT_INSTALLED) << status;
            expectWholeChange(operation, status, lines, outcome);
            failures += status != SWM_OK;
            EXPECT_LE(status == SWM_OK ? 0u : closeLost(), operation.changes ? 1u : 0u);
            if (!hit) {
                EXPECT_EQ(status, SWM_OK);
                EXPECT_EQ(readFile(path), outcome);
                break;
            }
            if (HasFailure()) {
                return; // one is enough to see
            }
        }
        EXPECT_GT(failures, 0u);
    }
}

} // namespace
} // namespace tarn::test
