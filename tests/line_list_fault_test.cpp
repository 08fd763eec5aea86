// Every call that the readings of image, link and loader lists make fails in turn: the stated result, outputs left
// alone on failure, nothing leaked, no descriptor left, and the next request works.
#include <map>

#include "line_list_test.h"

namespace tarn::test {
namespace {

using Results = std::vector<uint32_t>;
constexpr uint32_t F = SWM_FAIL;

struct Operation {
    const char *name;
    std::function<uint32_t(uint32_t *count)> run;
    uint32_t count;                   // what it finds
    std::map<Call, Results> expected; // the results when the 1st, 2nd, ... call fails
};

class LineListFaultTest : public LineListTest {
protected:
    LineListFaultTest()
    {
        fs::create_directories(descDir);
        writeFile(images, "linux\nrtos\n");
        writeFile(descDir / "filelink_filelist_1A_00000003.txt", "s /a\nt /b\n");
        writeFile(descDir / "linux_filelink_filelist.txt", "s /c\n");
        writeFile(path, "d f a b 1 0\nd g a b 1 1 x\n");
    }

    // Runs it with its nth call failing; false when there is none.
    bool failsInTurn(const Operation &operation, Call call, unsigned nth, Origin origin, uint32_t *result)
    {
        clearFaults();
        takeLog();
        const size_t descriptors = openDescriptors();
        failCall(call, nth, ENOMEM, origin);
        uint32_t count = kCapacity;
        *result = operation.run(&count);
        const bool hit = faultHit();
        clearFaults();
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(*result == SWM_OK || *result == F) << *result;
        EXPECT_TRUE(*result == SWM_OK || count == kCapacity) << "the count is left alone";
        return hit;
    }

    Results sweep(const Operation &operation, Call call, Origin origin)
    {
        Results results;
        uint32_t result = SWM_OK;
        for (unsigned nth = 1; failsInTurn(operation, call, nth, origin, &result); ++nth) {
            results.push_back(result);
            uint32_t count = kCapacity;
            EXPECT_EQ(operation.run(&count), SWM_OK) << "the request after a failure";
            EXPECT_EQ(count, operation.count);
        }
        EXPECT_EQ(result, SWM_OK);
        return results;
    }

    void sweepAll(const Operation &operation)
    {
        SCOPED_TRACE(operation.name);
        for (const auto &[call, expected] : operation.expected) {
            EXPECT_EQ(sweep(operation, call, Origin::Boot), expected) << nameOf(call);
        }
        // Whatever fails below the platform's interface fails the operation or costs it what the device would tell.
        for (const Call call : {Call::Malloc, Call::Calloc, Call::Open, Call::Fstat, Call::Read, Call::Close}) {
            SCOPED_TRACE(nameOf(call));
            sweep(operation, call, Origin::Basic);
        }
    }

    static constexpr uint32_t kCapacity = 8;
    const fs::path images = versionDir / "image_filelist_1A_00000003.txt";
};

TEST_F(LineListFaultTest, ImageNames)
{
    std::vector<ImageNameRecord> slots(kCapacity);
    const std::map<Call, Results> expected = {{Call::Malloc, {F, F}},
                                              {Call::SwmFopen, {F}},
                                              {Call::Fclose, {0}},
                                              {Call::Memset, {0, 0}},
                                              {Call::Memcpy, {0, 0}}};
    sweepAll({"file", [&](uint32_t *count) { return SWM_GetImageNameFromFile(images.c_str(), slots.data(), count); }, 2,
              expected});
    sweepAll({"running board",
              [&](uint32_t *count) { return SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", slots.data(), count); }, 2,
              expected});
    sweepAll({"given board",
              [&](uint32_t *count) {
                  return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "pkg", "1.0", slots.data(), count);
              },
              2, expected});
}

TEST_F(LineListFaultTest, GatheredLinks)
{
    std::vector<LinklistRecord> slots(kCapacity);
    // Two links, the names for their number and then themselves, the link of an image.
    sweepAll({"array",
              [&](uint32_t *count) {
                  return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", slots.data(), count);
              },
              3,
              {{Call::Malloc, {F, F, F, F, F, F, F, F, F, F}},
               {Call::SwmFopen, {F, F, F, F}},
               {Call::Fclose, {0, 0, 0, 0}},
               {Call::Memset, Results(11, 0)},
               {Call::Memcpy, Results(8, 0)}}});
    sweepAll(
        {"number only",
         [&](uint32_t *count) { return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, count); },
         3,
         {{Call::Malloc, {F, F, F, F, F, F, F, F, F, F}}}});
}

TEST_F(LineListFaultTest, FilesForTheLoader)
{
    std::vector<BiosloadRecord> slots(kCapacity);
    sweepAll({"array",
              [&](uint32_t *count) { return SWM_GetAllBiosloadFileRecord(path.c_str(), slots.data(), count); },
              2,
              {{Call::Malloc, {F, F}},
               {Call::SwmFopen, {F}},
               {Call::Fclose, {0}},
               {Call::Memset, {0, 0, 0, 0}},
               {Call::Memcpy, {0, 0}}}});
}

TEST_F(LineListFaultTest, LinesThatCannotBeSplit)
{
    failCall(Call::Malloc, 1, ENOMEM, Origin::Basic);
    char line[] = "s /a";
    LinklistRecord record = untouchedRecord<LinklistRecord>();
    EXPECT_EQ(SWM_Trans2LinklistRecord(line, &record), F);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(isUntouched(record));
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Malloc, 1, ENOMEM, Origin::Basic);
    char biosLine[] = "d f a b 1 1";
    BiosloadRecord biosRecord = untouchedRecord<BiosloadRecord>();
    EXPECT_EQ(SWM_Trans2BiosloadRecord(biosLine, &biosRecord), F);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(isUntouched(biosRecord));
    EXPECT_TRUE(nothingLogged());
}

} // namespace
} // namespace tarn::test
