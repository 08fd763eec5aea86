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
        setScribble(true);
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
    std::map<Call, Results> expected = {
        {Call::Malloc, {F, F}},     {Call::SwmFopen, {F}},         {Call::Fclose, {0}},
        {Call::Memset, {0, 0}},     {Call::Memcpy, {0, 0}},        {Call::SwmIsFileExist, {0}},
        {Call::StringTrim, {F, F}}, {Call::IsSpaceString, {0, 0}}, {Call::IsStringEqual, {0}}};
    sweepAll({"file", [&](uint32_t *count) { return SWM_GetImageNameFromFile(images.c_str(), slots.data(), count); }, 2,
              expected});
    expected[Call::GetVersionPath] = {0};
    expected[Call::GetCpuId] = {0};
    sweepAll({"given board",
              [&](uint32_t *count) {
                  return SWM_GetImageNameByHardtypeFromSubPkgVer("1A", "pkg", "1.0", slots.data(), count);
              },
              2, expected});
    expected[Call::GetBoardHardType] = {0};
    sweepAll({"running board",
              [&](uint32_t *count) { return SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", slots.data(), count); }, 2,
              expected});
}

TEST_F(LineListFaultTest, GatheredLinks)
{
    std::vector<LinklistRecord> slots(kCapacity);
    // The links of the board, the names for their number and once more for themselves, the link of an image.
    sweepAll({"array",
              [&](uint32_t *count) {
                  return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", slots.data(), count);
              },
              3,
              {{Call::Malloc, Results(10, F)},
               {Call::SwmFopen, {F, F, F, F}},
               {Call::Fclose, {0, 0, 0, 0}},
               {Call::Memset, Results(11, 0)},
               {Call::Memcpy, Results(8, 0)},
               {Call::SwmIsFileExist, Results(5, 0)},
               {Call::StringTrim, Results(7, F)},
               {Call::TransString2Array, Results(3, F)},
               {Call::GetVersionPath, {0, 0}},
               {Call::GetDescPath, {0, 0}},
               {Call::GetCpuId, {0, 0, 0}}}});
    sweepAll(
        {"number only",
         [&](uint32_t *count) { return SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, count); },
         3,
         {{Call::Malloc, Results(10, F)}}});
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
               {Call::Memcpy, {0, 0}},
               {Call::StringTrim, {F, F}},
               {Call::TransString2Array, {F, F}},
               {Call::IsSpaceString, {0, 0}}}});
}

// Whatever a failed question leaves behind, the name has a 0.
TEST_F(LineListFaultTest, HalfAnswersAboutTheBoardAreNotUsed)
{
    const auto nameAfterFailure = [&](Call call, auto build) {
        char out[384] = "?";
        setScribble(true);
        failCall(call, 1);
        build(out, static_cast<uint32_t>(sizeof(out)));
        EXPECT_EQ(faultHit() ? 1u : 0u, takeLog().size());
        return fs::path(out).filename().string();
    };
    const auto running = [](char *out, uint32_t size) { SWM_GetImageFilelistFullpath("pkg", "1.0", out, size); };
    const auto given = [](char *out, uint32_t size) {
        SWM_GetImageFilelistFullpathByHardtype("1A", "pkg", "1.0", out, size);
    };
    const auto links = [](char *out, uint32_t size) { SWM_GetLinkFilelistFullpath("1A", "pkg", "1.0", out, size); };
    EXPECT_EQ(nameAfterFailure(Call::GetCpuId, running), "image_filelist_1A_00000000.txt");
    EXPECT_EQ(nameAfterFailure(Call::GetBoardHardType, running), "image_filelist_0_00000003.txt");
    EXPECT_EQ(nameAfterFailure(Call::GetCpuId, given), "image_filelist_1A_00000000.txt");
    EXPECT_EQ(nameAfterFailure(Call::GetBoardHardType, given), "image_filelist_1A_00000003.txt") << "not asked for";
    EXPECT_EQ(nameAfterFailure(Call::GetCpuId, links), "filelink_filelist_1A_00000000.txt");
    EXPECT_EQ(nameAfterFailure(Call::GetBoardHardType, links), "filelink_filelist_1A_00000003.txt") << "not asked for";
}

TEST_F(LineListFaultTest, WhatThePlatformIsAsked)
{
    recordCalls({Call::SwmFopen, Call::SwmIsFileExist, Call::GetVersionPath, Call::GetDescPath, Call::GetCpuId,
                 Call::GetBoardHardType});
    uint32_t count = 0;
    EXPECT_EQ(SWM_GetImageNameFromSubPkgVersion("pkg", "1.0", nullptr, &count), SWM_OK);
    EXPECT_EQ(recordedCalls(),
              (std::vector<std::string>{"SWM_GetCpuId", "SWM_GetBoardHardType",
                                        "SWM_GetPkgPoolPackageVersionPath pkg 1.0 256",
                                        "SWM_IsFileExist " + images.string(), "SWM_Fopen " + images.string() + " r"}));
    recordCalls({Call::SwmFopen, Call::SwmIsFileExist, Call::GetBoardHardType});
    EXPECT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "pkg", "1.0", nullptr, &count), SWM_OK);
    const std::string board = (descDir / "filelink_filelist_1A_00000003.txt").string();
    const std::string linux = (descDir / "linux_filelink_filelist.txt").string();
    const std::string rtos = (descDir / "rtos_filelink_filelist.txt").string();
    EXPECT_EQ(
        recordedCalls(),
        (std::vector<std::string>{"SWM_IsFileExist " + board, "SWM_Fopen " + board + " r",
                                  "SWM_IsFileExist " + images.string(), "SWM_Fopen " + images.string() + " r",
                                  "SWM_IsFileExist " + images.string(), "SWM_Fopen " + images.string() + " r",
                                  "SWM_IsFileExist " + linux, "SWM_Fopen " + linux + " r", "SWM_IsFileExist " + rtos}));
}

TEST_F(LineListFaultTest, LinesThatCannotBeTrimmed)
{
    char line[] = " s /a ";
    LinklistRecord record = untouchedRecord<LinklistRecord>();
    failCall(Call::StringTrim, 1);
    EXPECT_EQ(SWM_Trans2LinklistRecord(line, &record), F);
    EXPECT_TRUE(isUntouched(record));
    char biosLine[] = "d f a b 1 1";
    BiosloadRecord biosRecord = untouchedRecord<BiosloadRecord>();
    failCall(Call::StringTrim, 1);
    EXPECT_EQ(SWM_Trans2BiosloadRecord(biosLine, &biosRecord), F);
    EXPECT_TRUE(isUntouched(biosRecord));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LineListFaultTest, LinesThatCannotBeSplit)
{
    failCall(Call::TransString2Array, 1);
    char line[] = "s /a";
    LinklistRecord record = untouchedRecord<LinklistRecord>();
    EXPECT_EQ(SWM_Trans2LinklistRecord(line, &record), F);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(isUntouched(record));
    EXPECT_TRUE(nothingLogged());
    failCall(Call::TransString2Array, 1);
    char biosLine[] = "d f a b 1 1";
    BiosloadRecord biosRecord = untouchedRecord<BiosloadRecord>();
    EXPECT_EQ(SWM_Trans2BiosloadRecord(biosLine, &biosRecord), F);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(isUntouched(biosRecord));
    EXPECT_TRUE(nothingLogged());
}

} // namespace
} // namespace tarn::test
