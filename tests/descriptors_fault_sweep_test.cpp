// Every call that the readings of descriptor files and signed lists make fails in turn: the stated results, lists empty
// after a failure, nothing leaked, nothing left open, and the next request works.
#include <map>

#include <tarn_boot/verification.h>

#include "../fuzz/line_list_reference.h"
#include "descriptor_test.h"

namespace tarn::test {
namespace {

using Results = std::vector<uint32_t>;
constexpr uint32_t F = SWM_FAIL;
constexpr uint32_t kMemory = SWM_E_NO_MEMORY;
constexpr uint32_t kLoad = SWM_E_LIST_LOAD;

struct Operation {
    const char *name;
    std::function<uint32_t()> run;    // checks its outputs and releases them
    std::map<Call, Results> expected; // the results when the 1st, 2nd, ... call fails
    uint32_t sound = SWM_OK;
};

class DescriptorsFaultTest : public DescriptorTest {
protected:
    // Runs it with its nth call failing; false when there is none.
    static bool failsInTurn(const Operation &operation, Call call, unsigned nth, Origin origin, uint32_t *result)
    {
        clearFaults();
        takeLog();
        const size_t descriptors = openDescriptors();
        setScribble(true);
        failCall(call, nth, ENOMEM, origin);
        *result = operation.run();
        const bool hit = faultHit();
        clearFaults();
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(liveBlocks(), 0);
        return hit;
    }

    static Results sweep(const Operation &operation, Call call, Origin origin)
    {
        Results results;
        uint32_t result = SWM_OK;
        for (unsigned nth = 1; failsInTurn(operation, call, nth, origin, &result); ++nth) {
            results.push_back(result);
            EXPECT_EQ(operation.run(), operation.sound) << "the request after a failure";
        }
        EXPECT_EQ(result, operation.sound);
        return results;
    }

    static void sweepAll(const Operation &operation)
    {
        SCOPED_TRACE(operation.name);
        for (const auto &[call, expected] : operation.expected) {
            EXPECT_EQ(sweep(operation, call, Origin::Boot), expected) << nameOf(call);
        }
        for (const Call call : {Call::Malloc, Call::Calloc, Call::Open, Call::Fstat, Call::Read, Call::Close}) {
            SCOPED_TRACE(nameOf(call));
            sweep(operation, call, Origin::Basic);
        }
    }
};

TEST_F(DescriptorsFaultTest, OneValue)
{
    write("# c\nother\nkey: v\n");
    sweepAll({"value",
              [&] {
                  char value[16] = "?";
                  const uint32_t status = SWM_GetSecValueFromDesc(path.c_str(), "key", value, sizeof(value));
                  EXPECT_NE(memchr(value, '\0', sizeof(value)), nullptr);
                  return status;
              },
              {{Call::Malloc, {F}},
               {Call::SwmFopen, {F}},
               {Call::Fgets, {F, F, F}},
               {Call::Fclose, {0}},
               {Call::IsSpaceString, {0, 0, 0}},
               {Call::TransString2Array, {0}},
               {Call::Snprintf, {0}}}});
}

TEST_F(DescriptorsFaultTest, CcDescription)
{
    write("package_format_ver: 1.3\nis_startup: yes\nversion: 1\ncc_include: a;b;a\n");
    sweepAll({"CC description",
              [&] {
                  CcInfo info = {};
                  const uint32_t status = SWM_GetCcInfoFromCcDesc("/x/y.cc", path.c_str(), &info);
                  EXPECT_TRUE(status == SWM_OK || info.includedPackages.next == nullptr ||
                              isEmptyList(info.includedPackages));
                  SWM_FreePackageStructureRecord(&info.includedPackages);
                  return status;
              },
              {{Call::Malloc, {F, F, F, F, F, F}},
               {Call::SwmFopen, {F, F, F, F}},
               {Call::Fclose, {0, 0, 0, 0}},
               // Each key stands one line further down.
               {Call::Fgets, Results(1 + 2 + 3 + 4, F)},
               {Call::GetDirAndBaseName, {F}},
               {Call::Memcpy, {0, 0}}}});
}

TEST_F(DescriptorsFaultTest, PackageDescription)
{
    write("package_name: p\nversion: 1\nrequires: r\nfiles:\na b yes c\nfiles-compatible:\nd e no f\n");
    sweepAll({"package description",
              [&] {
                  PkgDescInfo info = {};
                  const uint32_t status = SWM_GetPkgInfoFromPkgDesc(path.c_str(), &info);
                  EXPECT_TRUE(status == SWM_OK || info.files.next == nullptr || isEmptyList(info.files));
                  EXPECT_TRUE(status == SWM_OK || info.compatibleFiles.next == nullptr ||
                              isEmptyList(info.compatibleFiles));
                  SWM_FreeFileStructureRecord(&info.files);
                  SWM_FreeFileStructureRecord(&info.compatibleFiles);
                  return status;
              },
              {{Call::Malloc, {F, F, F, F, F}},
               {Call::SwmFopen, {F, F, F, F, F}},
               {Call::Fclose, {0, 0, 0, 0, 0}},
               // One, two and three lines for the keys, six up to the end of the section, seven and the end of file.
               {Call::Fgets, Results(1 + 2 + 3 + 6 + 8, F)},
               {Call::Snprintf, Results(3 + 6, 0)},
               {Call::Memcpy, {0, 0}}}});
}

TEST_F(DescriptorsFaultTest, Requirements)
{
    PkgDescInfo package = {};
    reference::fill(package.requiresText, "a>=1;b;c=2");
    sweepAll({"requirements",
              [&] {
                  SwmListHead head = {};
                  head.next = head.prev = reinterpret_cast<SwmListNode *>(&head);
                  const uint32_t status = SWM_MallocAndAddPkgRequireInfoToList(&head, "c", &package);
                  SWM_FreePkgRequireList(&head);
                  return status;
              },
              {{Call::Malloc, {F, F, F}}, {Call::TransString2Array, {F, F, F}}}});
}

TEST_F(DescriptorsFaultTest, RpmList)
{
    write("a.rpm x add\n\nb.rpm y remove\n");
    sweepAll({"rpm list",
              [&] {
                  SwmListHead head = {};
                  const uint32_t status = SWM_GetAllRecordFromRpmlistTxt(path.c_str(), &head);
                  EXPECT_TRUE(status == SWM_OK || head.next == nullptr || isEmptyList(head));
                  SWM_FreeRpmlistTxtRecord(&head);
                  return status;
              },
              {{Call::Malloc, {F, F, F}},
               {Call::SwmFopen, {F}},
               {Call::Fclose, {0}},
               {Call::Fgets, {F, F, F, F}},
               {Call::StringTrim, {F, F}},
               {Call::TransString2Array, {F, F}},
               {Call::IsPostfixString, {F, F}},
               {Call::Memcpy, {0, 0}},
               {Call::Snprintf, {0, 0, 0, 0}},
               {Call::Strncpy, {0, 0}}}});
}

const std::string kSignedList = "[MAIN FILE INFO]\nCreate By=Korvel Technology Inc.\nFILENUM=2\n"
                                "[1]\nFILETYPE=1\nFILENAME=a.img\nSHA256-DIGEST=d\n"
                                "[2]\nFILETYPE=1\nFILENAME=b.img\nSHA256-DIGEST=d\n";

TEST_F(DescriptorsFaultTest, SignedListFromMemory)
{
    sweepAll({"list from memory",
              [] {
                  SigFileListDigest *header = nullptr;
                  const uint32_t status = SWM_GetSignatureFileListDigestInfoFromFile(kSignedList.c_str(), &header);
                  EXPECT_EQ(header != nullptr, status == SWM_OK);
                  SWM_FreeSigFileListDigest(header);
                  return status;
              },
              {{Call::Malloc, {kMemory, kMemory, kMemory}},
               {Call::IniLoadProfileFromFileMem, {kLoad}},
               {Call::IniProfileGetValue, {1, 1}}}});
    sweepAll({"name in it",
              [] { return SWM_IsFileExistInSigContent("b.img", kSignedList.c_str()); },
              {{Call::Malloc, {0, 0, 0}}, {Call::IniLoadProfileFromFileMem, {0}}},
              1});
}

TEST_F(DescriptorsFaultTest, SignedListFromAPath)
{
    write(kSignedList);
    sweepAll({"list from a path",
              [&] {
                  SigFileListDigest header = {};
                  header.fileDigests.next = header.fileDigests.prev = &header.fileDigests;
                  const uint32_t status = SWM_GetSignatureFileListDigestInfo(&header, path.c_str());
                  SWM_ReleaseDigestList(&header.fileDigests);
                  return status;
              },
              {{Call::Malloc, {kMemory, kMemory}},
               {Call::IniGetValue, {1, 1}},
               {Call::SwmFopen, {1}},
               {Call::IniLoadProfile, {kLoad}},
               {Call::Fclose, {0}}}});
}

TEST_F(DescriptorsFaultTest, FilesOfABoardList)
{
    writeFile(dir / "a", "");
    const std::string empty = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
    const std::string folder = fs::path(dir).string();
    write(empty + " a " + folder + " a a 0 x\n" + empty + " b " + folder + " b a 0 x\n");
    sweepAll({"board list",
              [&] { return SWM_VerifyFilesInBoardFileList(path.c_str()); },
              {{Call::Malloc, {1, 1, 1}},
               {Call::GetFileSize, {1}},
               {Call::CanonicalOpen, {1}},
               {Call::ReadFile, {1}},
               {Call::StringTrim, {1, 1}},
               {Call::TransString2Array, {1, 1}},
               {Call::IsFileDamaged2, {1, 1}}}});
}

} // namespace
} // namespace tarn::test
