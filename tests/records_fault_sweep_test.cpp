// Every call that an operation on file lists makes fails in turn: success or the general failure, the output list empty
// where that is promised, nothing leaked, no descriptor left open, and the next request works.
#include <map>
#include <set>

#include <tarn_boot/descriptor.h>

#include "file_list_test.h"

namespace tarn::test {
namespace {

constexpr Call kCalls[] = {
    Call::Malloc,
    Call::Memset,
    Call::Memcpy,
    Call::Snprintf,
    Call::Strncpy,
    Call::SchedYield,
    Call::GetFileSize,
    Call::CanonicalOpen,
    Call::ReadFile,
    Call::CanonicalClose,
    Call::IsSpaceString,
    Call::StringTrim,
    Call::TransString2Array,
    Call::GetShaVal,
    Call::IsStringEqual,
    Call::IsDigitString,
    Call::SwmIsFileExist,
    Call::SwmFopen,
    Call::Fclose,
    Call::Trans2AbsolutePath,
    Call::PkgSpecialDirHandler,
    Call::CreateDirWithCustomPermission,
    Call::CreateDirWithPermission,
    Call::GetDescPath,
    Call::GetVersionPath,
    Call::GetLoadPath,
    Call::GetCpuId,
    Call::GetDirname,
    Call::GetLinkInfo,
    Call::IsSymlinkFile,
    Call::IsFileDamaged2,
    Call::IsRealFileExist,
};

struct Operation {
    const char *name;
    std::function<uint32_t(SwmListHead *list)> run;
    std::set<Call> fatal; // a failure of the first of these fails the operation
};

class RecordsFaultSweep : public FileListTest {
protected:
    void SetUp() override
    {
        FileListTest::SetUp();
        const std::string root = (dir / "root").string();
        const std::string lines =
            fileLine("b") + " o:1 g 640 NA 0 x 3\n" + dirLine("a", root, "made") + "\n" + fileLine("c") + "\n";
        write(lines);
        writeFile(descDir / "board_filelist_1A_00000003.txt", lines);
        writeFile(versionDir / "image_filelist_1A_00000003.txt", "one\ntwo\n");
        writeFile(descDir / "one_board_filelist.txt", lines);
        writeFile(descDir / "two_board_filelist.txt", lines);
    }

    // False when there is no nth call.
    bool failsInTurn(const Operation &operation, Call call, unsigned nth, Origin origin)
    {
        SCOPED_TRACE(std::string(operation.name) + ": " + nameOf(call) + " " + std::to_string(nth));
        SwmListHead head = {};
        clearFaults();
        setScribble(true);
        const size_t descriptors = openDescriptors();
        failCall(call, nth, ENOMEM, origin);
        const uint32_t status = operation.run(&head);
        const bool hit = faultHit();
        clearFaults();
        EXPECT_TRUE(status == SWM_OK || status == SWM_FAIL) << status;
        EXPECT_TRUE(!hit || origin == Origin::Basic || operation.fatal.count(call) == 0 || status == SWM_FAIL);
        const size_t records = List::recordsOf<FilelistTxtNode>(head).size();
        EXPECT_TRUE(status == SWM_OK || records == 0) << "empty on failure";
        SWM_FreeFilelistTxtRecord(&head);
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(liveBlocks(), 0);
        return hit;
    }

    void sweep(const Operation &operation)
    {
        SwmListHead head = {};
        ASSERT_EQ(operation.run(&head), SWM_OK);
        const Texts expected = textsOf(head);
        SWM_FreeFilelistTxtRecord(&head);
        unsigned failures = 0;
        for (const Call call : kCalls) {
            for (unsigned nth = 1; failsInTurn(operation, call, nth, Origin::Boot); ++nth) {
                ++failures;
            }
        }
        for (const Call call :
             {Call::Malloc, Call::Calloc, Call::Open, Call::Fstat, Call::Read, Call::Close, Call::Mkdir}) {
            for (unsigned nth = 1; failsInTurn(operation, call, nth, Origin::Basic); ++nth) {
                ++failures;
            }
        }
        EXPECT_GT(failures, 10u);
        ASSERT_EQ(operation.run(&head), SWM_OK) << "the request after a failure";
        EXPECT_EQ(textsOf(head), expected);
        SWM_FreeFilelistTxtRecord(&head);
        takeLog();
    }
};

const std::set<Call> kFatalToLoading = {Call::Malloc,     Call::GetFileSize,       Call::CanonicalOpen, Call::ReadFile,
                                        Call::StringTrim, Call::TransString2Array, Call::IsDigitString};

TEST_F(RecordsFaultSweep, Loading)
{
    const auto into = [&](auto load) { return [&, load](SwmListHead *head) { return load(path.c_str(), head); }; };
    sweep({"NoCreateDir", into(&SWM_GetAllRecordFromFilelistTxtNoCreateDir), kFatalToLoading});
    sweep({"GetAllRecord", into(&SWM_GetAllRecordFromFilelistTxt), kFatalToLoading});
    sweep({"WithoutSort", into(&SWM_GetAllRecordFromFilelistTxtWithoutSort), kFatalToLoading});
    sweep({"MergeCurr",
           [&](SwmListHead *head) {
               // The destination is appended to: it needs a head.
               head->next = head->prev = reinterpret_cast<SwmListNode *>(head);
               head->count = 0;
               return SWM_MergeCurrImageBoardFileRecord(path.c_str(), head);
           },
           kFatalToLoading});
}

TEST_F(RecordsFaultSweep, Gathering)
{
    sweep({"Gather",
           [](SwmListHead *head) { return SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", "pkg", "1.0", head); },
           kFatalToLoading});
}

TEST_F(RecordsFaultSweep, Patches)
{
    for (const int32_t kind : {0, 1}) {
        sweep({"Patch",
               [&](SwmListHead *head) {
                   return TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt("a", "b", path.c_str(), head,
                                                                                        kind);
               },
               kFatalToLoading});
    }
}

TEST_F(RecordsFaultSweep, Comparing)
{
    const fs::path patch = dir / "patch/1";
    fs::create_directories(patch);
    writeFile(patch / "real", "content");
    fs::create_symlink(patch / "real", patch / "link");
    const FilelistTxtRecord link = fileRecord("b", "link", patch.string());
    const FileRecords oldRecords = {fileRecord("a"), link, fileRecord("d"), fileRecord("d", "2")};
    const FileRecords newRecords = {link, fileRecord("c"), fileRecord("c", "2"), fileRecord("e"), fileRecord("f")};
    const reference::BorrowedList<FilelistTxtNode> oldList(oldRecords);
    const reference::BorrowedList<FilelistTxtNode> newList(newRecords);
    const auto run = [&](SwmListHead *updates, SwmListHead *deletions) {
        return SWM_GetAllRecordNeedUpdate(&oldList.head, &newList.head, updates, deletions);
    };
    unsigned failures = 0;
    std::vector<uint32_t> statuses; // of every failed malloc
    for (const Call call : kCalls) {
        for (unsigned nth = 1;; ++nth) {
            SCOPED_TRACE(std::string(nameOf(call)) + " " + std::to_string(nth));
            SwmListHead updates = {};
            SwmListHead deletions = {};
            clearFaults();
            setScribble(true);
            failCall(call, nth, ENOMEM);
            const uint32_t status = run(&updates, &deletions);
            const bool hit = faultHit();
            if (call == Call::Malloc && hit) {
                statuses.push_back(status);
            }
            EXPECT_EQ(status, hit && call == Call::Malloc && status != SWM_OK ? SWM_FAIL : SWM_OK);
            List::recordsOf<FilelistTxtNode>(updates);
            List::recordsOf<FilelistTxtNode>(deletions);
            SWM_FreeFilelistTxtRecord(&updates);
            SWM_FreeFilelistTxtRecord(&deletions);
            EXPECT_EQ(liveBlocks(), 0);
            if (!hit) {
                break;
            }
            ++failures;
        }
    }
    EXPECT_GT(failures, 20u);
    // In the walk: a, b, c, c; what is left of the new list: e, f. Nothing is left of the old one.
    EXPECT_EQ(statuses.size(), 8u);
    ASSERT_GE(statuses.size(), 2u);
    EXPECT_EQ(statuses.front(), SWM_OK);
    EXPECT_EQ(statuses.back(), SWM_FAIL);
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), SWM_FAIL), 2);
    takeLog();
}

} // namespace
} // namespace tarn::test
