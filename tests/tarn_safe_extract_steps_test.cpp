// The exported steps of an extraction, one by one, over a cache that an extraction has filled.
#include <cstring>

#include <unistd.h>

#include "support/extract_test.h"

namespace tarn::test {
namespace {

class StepsTest : public ExtractTest {
protected:
    void SetUp() override
    {
        ExtractTest::SetUp();
        ASSERT_EQ(TARN_ExtractFromPackage(package.c_str(), "app", (dir / "warm").c_str()), TARN_EXTRACT_OK);
        clearFaults();
        takeLog();
    }
    const PkgMemberRecord *record(size_t index)
    {
        return List::recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList).at(index);
    }
    const std::string work = workdir();
};

TEST_F(StepsTest, NullAndEmptyArguments)
{
    const Descriptor fd(package);
    uint32_t length = 5;
    const char *target = "app";
    const char *to = dest.c_str();
    struct Row {
        const char *function;
        uint32_t result;
        std::function<uint32_t()> call;
    };
    const Row rows[] = {
        {"ExtractDoExtract", TARN_EXTRACT_PARAM, [&] { return ExtractDoExtract(fd, nullptr, to); }},
        {"ExtractDoExtract", TARN_EXTRACT_PARAM, [&] { return ExtractDoExtract(fd, "", to); }},
        {"ExtractDoExtract", TARN_EXTRACT_PARAM, [&] { return ExtractDoExtract(fd, target, nullptr); }},
        {"ExtractDoExtract", TARN_EXTRACT_PARAM, [&] { return ExtractDoExtract(fd, target, ""); }},
        {"ExtractGetSignedFilelist", SWM_FAIL, [&] { return ExtractGetSignedFilelist(fd, nullptr, 384); }},
        {"ExtractPrepareSignatre", SWM_FAIL, [&] { return ExtractPrepareSignatre(fd, nullptr); }},
        {"ExtractPrepareSignatre", SWM_FAIL, [&] { return ExtractPrepareSignatre(fd, ""); }},
        {"ExtractVerifySignature", SWM_FAIL, [&] { return ExtractVerifySignature(nullptr); }},
        {"ExtractVerifySignature", SWM_FAIL, [&] { return ExtractVerifySignature(""); }},
        {"ExtractVerifyFile", SWM_FAIL, [&] { return ExtractVerifyFile(fd, nullptr); }},
        {"ExtractSeekToTarget", SWM_FAIL, [&] { return ExtractSeekToTarget(fd, nullptr, target, &length); }},
        {"ExtractSeekToTarget", SWM_FAIL, [&] { return ExtractSeekToTarget(fd, record(0), nullptr, &length); }},
        {"ExtractSeekToTarget", SWM_FAIL, [&] { return ExtractSeekToTarget(fd, record(0), "", &length); }},
        {"ExtractSeekToTarget", SWM_FAIL, [&] { return ExtractSeekToTarget(fd, record(0), target, nullptr); }},
        {"ExtractDumpTarget", SWM_FAIL, [&] { return ExtractDumpTarget(fd, nullptr, target, to); }},
        {"ExtractDumpTarget", SWM_FAIL, [&] { return ExtractDumpTarget(fd, record(0), nullptr, to); }},
        {"ExtractDumpTarget", SWM_FAIL, [&] { return ExtractDumpTarget(fd, record(0), "", to); }},
        {"ExtractDumpTarget", SWM_FAIL, [&] { return ExtractDumpTarget(fd, record(0), target, nullptr); }},
        {"ExtractDumpTarget", SWM_FAIL, [&] { return ExtractDumpTarget(fd, record(0), target, ""); }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.call(), row.result);
        const auto lines = takeLog();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].format,
                  std::string("[BOOT][SWM_BASE][ERROR][%s:%d]: ") + row.function + ": get null param.");
        EXPECT_EQ(lines[0].text.rfind("[BOOT][SWM_BASE][ERROR][tarn_safe_extract.cpp:", 0), 0u);
        EXPECT_EQ(lines[0].level, 3u);
    }
    EXPECT_EQ(length, 5u);
    EXPECT_FALSE(fs::exists(dest));
}

TEST_F(StepsTest, SeekChoosesWholeMemberOrPayload)
{
    const Descriptor fd(package);
    uint32_t length = 0;
    EXPECT_EQ(ExtractSeekToTarget(fd, record(1), "conf.img", &length), SWM_OK);
    EXPECT_EQ(length, memberLength(members[1]));
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), memberOffset(members, 1));
    EXPECT_EQ(ExtractSeekToTarget(fd, record(1), "conf", &length), SWM_OK);
    EXPECT_EQ(length, conf.size());
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), memberOffset(members, 1) + kMemberHeaderSize);
    EXPECT_TRUE(nothingLogged());
    length = 5;
    EXPECT_EQ(ExtractSeekToTarget(-1, record(1), "conf", &length), SWM_FAIL);
    EXPECT_EQ(length, 5u);
    EXPECT_TRUE(logged({error("ExtractSeekToTarget: package lseek failed, errno:%d.", EBADF)}));
}

TEST_F(StepsTest, VerifyFile)
{
    const Descriptor fd(package);
    EXPECT_EQ(ExtractVerifyFile(fd, record(0)), SWM_OK);
    EXPECT_EQ(ExtractVerifyFile(fd, record(2)), SWM_FAIL) << "the list does not name itself";
    EXPECT_TRUE(logged({error("ExtractVerifyFile: not found file(%s) in signed list.", "signature_pss_filelist.bin")}));
    EXPECT_EQ(ExtractVerifyFile(-1, record(0)), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeGetFileHash: lseek failed, errno:%d.", EBADF),
                        error("ExtractVerifyFile: calc hash failed.")}));
}

TEST_F(StepsTest, DumpTargetWritesOrLeavesNothing)
{
    fs::create_directory(dest);
    const Descriptor fd(package);
    EXPECT_EQ(ExtractDumpTarget(fd, record(0), "app", dest.c_str()), SWM_OK);
    EXPECT_TRUE(readFile(dest / "app") == app);
    EXPECT_EQ(callCount(Call::Fsync), 1u);
    EXPECT_TRUE(nothingLogged());
    const std::string path = (dest / "app").string();
    failCall(Call::DelFile, 1, EACCES);
    EXPECT_EQ(ExtractDumpTarget(fd, record(0), "app", dest.c_str()), SWM_FAIL);
    EXPECT_TRUE(
        logged({error("ExtractDumpTarget: delete exist destfile(%s) failed, errno:%d.", path.c_str(), EACCES)}));
    EXPECT_TRUE(fs::exists(path));
    failCall(Call::SwmWrite, 3, ENOSPC);
    EXPECT_EQ(ExtractDumpTarget(fd, record(0), "app", dest.c_str()), SWM_FAIL);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(logged(
        {error("TARN_SafeCopyByDescripter: write failed, need(%d) write(%d), errno:%d.", 70000 - 65536, -1, ENOSPC),
         error("ExtractDumpTarget: copy file failed, len:%u.", 70000u)}));
}

TEST_F(StepsTest, SignedListComesThroughTheWorkDirectory)
{
    const Descriptor fd(package);
    ASSERT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK);
    char path[384] = "";
    EXPECT_EQ(ExtractGetSignedFilelist(fd, path, sizeof path), SWM_OK);
    EXPECT_EQ(path, work + "/signature_pss_filelist");
    EXPECT_EQ(readFile(path), members[2].payload);
    EXPECT_EQ(readFile(work + "/signature_pss_cms"), members[3].payload);
    EXPECT_EQ(ExtractPrepareSignatre(fd, work.c_str()), SWM_OK);
    EXPECT_EQ(ExtractVerifySignature(work.c_str()), SWM_OK);
    EXPECT_TRUE(nothingLogged());

    char small[10] = "untouched";
    const LogLine noRoom = error("ExtractGetSignedFilelist: sprintf pss filelist failed.");
    EXPECT_EQ(ExtractGetSignedFilelist(fd, small, 0), SWM_FAIL);
    EXPECT_TRUE(logged({noRoom}));
    EXPECT_STREQ(small, "untouched") << "no room for anything";
    EXPECT_EQ(ExtractGetSignedFilelist(fd, small, sizeof small), SWM_FAIL);
    EXPECT_TRUE(logged({noRoom}));
    EXPECT_STREQ(small, "") << "a path that does not fit leaves the buffer empty";
    TARN_SafeDeleteWorkdir(0);
}

TEST_F(StepsTest, SignatureStepsThatFail)
{
    const Descriptor fd(package);
    char path[384] = "";
    ASSERT_EQ(TARN_SafeCreateWorkdir(0), SWM_OK);
    failCall(Call::Sprintf, 1);
    EXPECT_EQ(ExtractGetSignedFilelist(fd, path, sizeof path), SWM_FAIL);
    EXPECT_TRUE(logged(
        {error("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", "extract", static_cast<unsigned>(getpid())),
         error("ExtractGetSignedFilelist: get workdir failed.")}));
    EXPECT_STREQ(path, "");

    ASSERT_EQ(ExtractPrepareSignatre(fd, work.c_str()), SWM_OK);
    failCall(Call::Sprintf, 1);
    EXPECT_EQ(ExtractVerifySignature(work.c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractVerifySignature: sprintf pss filelist failed.")}));
    failCall(Call::Sprintf, 2);
    EXPECT_EQ(ExtractVerifySignature(work.c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractVerifySignature: sprintf pss cms failed.")}));
    failCall(Call::VerifyPssCms, 1);
    setFaultResult(4711);
    EXPECT_EQ(ExtractVerifySignature(work.c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractVerifySignature: verify pss filelist failed, ret:%u.", 4711u)}));

    const std::string deep(370, 'w');
    EXPECT_EQ(ExtractVerifySignature(deep.c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractVerifySignature: sprintf pss filelist failed.")}));
    TARN_SafeDeleteWorkdir(0);
}

TEST_F(StepsTest, FailedClearingAndChecksOnReuse)
{
    const Descriptor fd(package);
    g_pkgCacheInfo.reuseFlag = 1;
    EXPECT_EQ(ExtractCheckHeader(-1), SWM_OK) << "succeeds at once on reuse";
    EXPECT_EQ(ExtractCheckSignature(-1), SWM_OK);
    EXPECT_EQ(callCount(Call::Lseek), 0u);
    ExtractCacheDrop();
    EXPECT_EQ(ExtractCheckHeader(fd), SWM_OK);
    EXPECT_EQ(List::recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList).size(), 4u);
    EXPECT_EQ(ExtractCheckHeader(-1), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeGetPkgHeader: lseek failed, errno:%d.", EBADF)}));
}

TEST_F(StepsTest, CacheUpdateAndTheLock)
{
    EXPECT_EQ(ExtractProtectAction(), SWM_OK);
    EXPECT_EQ(pthread_mutex_trylock(&g_pkgCacheInfo.mutex), EBUSY);
    EXPECT_EQ(ExtractCacheUpdate(-1), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractCacheUpdate: fstat %d failed, errno:%d", -1, EBADF)}));
    EXPECT_FALSE(cacheIsEmpty()) << "the cache is left as it is";
    {
        const Descriptor fd(package);
        EXPECT_EQ(ExtractCacheUpdate(fd), TARN_EXTRACT_OK);
        EXPECT_EQ(g_pkgCacheInfo.reuseFlag, 1u);
        EXPECT_EQ(ExtractDoExtract(fd, "conf", dest.c_str()), TARN_EXTRACT_OK);
    }
    EXPECT_EQ(ExtractUnProtectAction(), SWM_OK);
    EXPECT_EQ(readFile(dest / "conf"), conf);
    EXPECT_TRUE(nothingLogged());
}

} // namespace
} // namespace tarn::test
