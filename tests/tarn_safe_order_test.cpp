// The order of calls that nothing else shows: what is opened how, closed before what, and which old file goes when.
#include "support/extract_test.h"

namespace tarn::test {
namespace {

using Calls = std::vector<std::string>;

class OrderTest : public ExtractTest {
protected:
    const std::string from = package.string();
    const std::string file = (dest / "conf").string();

    // Fills the cache, so that only the request itself is seen.
    void warm()
    {
        ASSERT_EQ(TARN_ExtractFromPackage(package.c_str(), "app", (dir / "warm").c_str()), TARN_EXTRACT_OK);
        clearFaults();
        takeLog();
    }
    void writeOldFile()
    {
        fs::create_directories(dest);
        fs::remove(file);
        writeFile(file, "old");
    }
    std::string seek(uint32_t position) { return "lseek " + from + " " + std::to_string(position); }
    uint32_t confAt() { return memberOffset(members, 1); }
};

TEST_F(OrderTest, ModesOfOpening)
{
    recordCalls({Call::SwmOpen, Call::SwmFopen});
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    const std::string listPath = workdir() + "/signature_pss_filelist";
    const std::string cmsPath = workdir() + "/signature_pss_cms";
    const Calls opened = {"SWM_Open " + from + " 0", "SWM_Open " + listPath + " 66 288",
                          "SWM_Open " + cmsPath + " 66 288", "SWM_Fopen " + listPath + " r"};
    Calls expected = opened;
    expected.push_back("SWM_Open " + file + " 66 288");
    EXPECT_EQ(recordedCalls(), expected);

    recordCalls({Call::SwmOpen, Call::SwmFopen});
    EXPECT_EQ(TARN_PackageVerify(package.c_str()), TARN_VERIFY_OK);
    expected = opened;
    expected.push_back("SWM_Open " + from + " 0");
    EXPECT_EQ(recordedCalls(), expected);
}

TEST_F(OrderTest, ExtractionSeeksCreatesSyncsAndClosesInsideTheLock)
{
    warm();
    writeOldFile();
    recordCalls(
        {Call::MutexLock, Call::MutexUnlock, Call::Lseek, Call::DelFile, Call::SwmOpen, Call::Fsync, Call::Close});
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    EXPECT_EQ(recordedCalls(), (Calls{"SWM_Open " + from + " 0", "mutex lock", seek(confAt()), "DelFile " + file,
                                      seek(confAt() + kMemberHeaderSize), "SWM_Open " + file + " 66 288",
                                      "fsync " + file, "close " + file, "close " + from, "mutex unlock"}));
}

TEST_F(OrderTest, PartialFileIsClosedThenDeletedAndThePackageClosedBeforeTheUnlock)
{
    warm();
    failCall(Call::SwmWrite, 1, ENOSPC);
    recordCalls({Call::MutexUnlock, Call::DelFile, Call::Fsync, Call::Close});
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_WRITE);
    EXPECT_EQ(recordedCalls(), (Calls{"close " + file, "DelFile " + file, "close " + from, "mutex unlock"}));
}

TEST_F(OrderTest, PackageIsClosedBeforeTheUnlock)
{
    struct Row {
        const char *name;
        std::function<uint32_t()> request;
        uint32_t expected;
    };
    const auto verify = [&] { return TARN_PackageVerify(package.c_str()); };
    const auto failingUpdate = [](auto request) {
        return [request] {
            failCall(Call::MkDirRecursive, 1, EACCES);
            return request();
        };
    };
    const Row rows[] = {
        {"no such member", [&] { return extract("nothing"); }, TARN_EXTRACT_NO_MEMBER},
        {"extraction, failed update", failingUpdate([&] { return extract("conf"); }), TARN_EXTRACT_WORKDIR},
        {"verification", verify, TARN_VERIFY_OK},
        {"verification, failed update", failingUpdate(verify), TARN_VERIFY_INTERNAL},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        TARN_ExtractCacheDrop();
        clearFaults();
        recordCalls({Call::MutexLock, Call::MutexUnlock, Call::Close});
        EXPECT_EQ(row.request(), row.expected);
        const Calls calls = recordedCalls();
        ASSERT_GE(calls.size(), 3u);
        EXPECT_EQ(calls.front(), "mutex lock");
        EXPECT_EQ(calls[calls.size() - 2], "close " + from);
        EXPECT_EQ(calls.back(), "mutex unlock");
    }
}

TEST_F(OrderTest, PackageIsClosedWhenTheMutexCannotBeTaken)
{
    for (const auto &request : {std::function<uint32_t()>([&] { return extract("conf"); }),
                                std::function<uint32_t()>([&] { return TARN_PackageVerify(package.c_str()); })}) {
        failCall(Call::MutexLock, 1, EINVAL);
        recordCalls({Call::MutexLock, Call::MutexUnlock, Call::Close});
        EXPECT_EQ(request(), SWM_FAIL);
        EXPECT_EQ(recordedCalls(), (Calls{"mutex lock", "close " + from}));
    }
}

TEST_F(OrderTest, FindingASiteHoldsTheLockThroughout)
{
    warm();
    const Descriptor fd(package);
    FileSite site = {};
    site.name = "conf";
    recordCalls({Call::MutexLock, Call::MutexUnlock, Call::Lseek, Call::Close});
    EXPECT_EQ(SWM_FindFileSiteFromCc(fd, &site), TARN_EXTRACT_OK);
    EXPECT_EQ(recordedCalls(), (Calls{"mutex lock", seek(0), seek(confAt() + kMemberHeaderSize), "mutex unlock"}));
}

TEST_F(OrderTest, SignedListStreamIsClosedBeforeTheFirstRecord)
{
    const fs::path path = dir / "list";
    writeFile(path, "[a]\nFILENAME=one\n[b]\nFILENAME=two\n");
    const auto load = [&] {
        recordCalls({Call::IniLoadProfile, Call::Fclose, Call::Malloc, Call::FreeProfile});
        return TARN_SafeCacheSignedFile(path.c_str(), &list);
    };
    const std::string record = "malloc " + std::to_string(sizeof(SignedFileRecord));
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_EQ(recordedCalls(), (Calls{"IniLoadProfile", "fclose", record, record, "SWM_FreeProfile"}));
    failCall(Call::Malloc, 2, ENOMEM);
    EXPECT_EQ(load(), SWM_FAIL);
    EXPECT_EQ(recordedCalls(), (Calls{"IniLoadProfile", "fclose", record, record, "SWM_FreeProfile"}));
    failCall(Call::IniLoadProfile, 1);
    EXPECT_EQ(load(), SWM_FAIL);
    EXPECT_EQ(recordedCalls(), (Calls{"IniLoadProfile", "fclose"}));
}

// ---- Deletions that fail, and old files ----

TEST_F(OrderTest, FailingDeletionChangesNoResult)
{
    warm();
    failCall(Call::SwmWrite, 1, ENOSPC);
    failCallToo(Call::DelFile, 1, EACCES);
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_WRITE);
    EXPECT_TRUE(logged({requested("conf"),
                        error("TARN_SafeCopyByDescripter: write failed, need(%d) write(%d), errno:%d.",
                              static_cast<int>(conf.size()), -1, ENOSPC),
                        error("ExtractDumpTarget: copy file failed, len:%u.", static_cast<unsigned>(conf.size())),
                        error("ExtractDoExtract: extract file %s failed.", "conf")}));
    EXPECT_TRUE(fs::exists(file)) << "it could not be deleted";
    fs::remove(file);

    failCall(Call::FchmodPath, 1);
    failCallToo(Call::DelFile, 1, EACCES);
    EXPECT_EQ(TARN_ExtractFromPackageAndChmod(package.c_str(), "conf", dest.c_str(), 0640), TARN_EXTRACT_CHMOD);
    EXPECT_TRUE(logged(
        {requested("conf"), error("TARN_ExtractFromPackageAndChmod: chmod failed file:%s ret:%u.", file.c_str(), 1u)}));
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(OrderTest, OldFileStaysUntilTheMemberIsVerified)
{
    struct Row {
        const char *name;
        const char *target;
        uint32_t result;
        std::function<void()> prepare;
    };
    const Row rows[] = {
        {"no such member", "nothing", TARN_EXTRACT_NO_MEMBER, [&] { fs::copy(file, dest / "nothing"); }},
        {"digest", "conf", TARN_EXTRACT_DIGEST, [] { failCall(Call::CalcSha256, 1); }},
        {"work directory", "conf", TARN_EXTRACT_WORKDIR, [] { failCall(Call::MkDirRecursive, 1); }},
        {"signature", "conf", TARN_EXTRACT_SIGNATURE, [] { failCall(Call::VerifyPssCms, 1); }},
        {"structure", "conf", TARN_EXTRACT_STRUCTURE, [] { failCall(Call::FdRead, 1); }},
        {"destination directory", "conf", TARN_EXTRACT_MKDIR,
         [] {
             failCall(Call::IsDirExist, 4);
             failCallToo(Call::MkDirRecursive, 2);
         }},
        {"deletion", "conf", TARN_EXTRACT_WRITE, [] { failCall(Call::DelFile, 1, EACCES); }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        TARN_ExtractCacheDrop();
        writeOldFile();
        clearFaults();
        row.prepare();
        EXPECT_EQ(extract(row.target), row.result);
        EXPECT_EQ(readFile(dest / row.target), "old");
    }
}

TEST_F(OrderTest, OldFileIsGoneOnceWritingHasBegun)
{
    struct Row {
        Call call;
        unsigned nth;
    };
    warm();
    for (const Row &row : {Row{Call::Lseek, 2}, {Call::SwmOpen, 2}, {Call::Malloc, 1}, {Call::SwmRead, 1}}) {
        SCOPED_TRACE(nameOf(row.call));
        writeOldFile();
        failCall(row.call, row.nth, EIO);
        EXPECT_EQ(extract("conf"), TARN_EXTRACT_WRITE);
        EXPECT_TRUE(faultHit());
        EXPECT_FALSE(fs::exists(file));
    }
}

} // namespace
} // namespace tarn::test
