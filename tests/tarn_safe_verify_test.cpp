// Integrity verification of whole packages.
#include <atomic>

#include <sys/stat.h>

#include "support/extract_test.h"

namespace tarn::test {
namespace {

constexpr unsigned kLong = 60000; // milliseconds

class VerifyTest : public ExtractTest {
protected:
    uint32_t verify() { return TARN_PackageVerify(package.c_str()); }
    LogLine requestedVerify() { return info("TARN_PackageVerify: verify package(%s).", package.c_str()); }
    LogLine failedCheck() { return error("TARN_PackageVerify: package integrity check failed."); }

    // An integrity failure leaves the mutex locked; the test takes that back to go on.
    void expectLocked()
    {
        EXPECT_EQ(pthread_mutex_trylock(&g_pkgCacheInfo.mutex), EBUSY);
        EXPECT_EQ(pthread_mutex_unlock(&g_pkgCacheInfo.mutex), 0);
    }
};

TEST_F(VerifyTest, ResultsOfTheCacheUpdate)
{
    constexpr uint32_t kPairs[][2] = {{SWM_FAIL, SWM_FAIL},
                                      {0, 0},
                                      {1, 1},
                                      {2, 2},
                                      {3, 5},
                                      {4, 2},
                                      {5, 3},
                                      {6, 4},
                                      {7, 5},
                                      {8, 5},
                                      {9, SWM_FAIL},
                                      {10, SWM_FAIL},
                                      {SWM_FAIL - 1, SWM_FAIL},
                                      {SWM_E_NO_MEMORY, SWM_FAIL}};
    for (const auto &pair : kPairs) {
        EXPECT_EQ(VerifyResultConvert(pair[0]), pair[1]) << pair[0];
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(VerifyTest, SoundPackage)
{
    EXPECT_EQ(verify(), TARN_VERIFY_OK);
    EXPECT_TRUE(logged({requestedVerify()}));
    EXPECT_EQ(callCount(Call::SwmOpen), 4u) << "package, two signature files, package again";
    EXPECT_FALSE(fs::exists(workdir()));
    clearFaults();
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_EQ(callCount(Call::VerifyPssCms), 0u) << "a following extraction reuses the lists";
    EXPECT_EQ(callCount(Call::FdRead), 0u);
}

TEST_F(VerifyTest, ChecksEverythingEveryTime)
{
    for (int round = 0; round < 3; ++round) {
        clearFaults();
        EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
        clearFaults();
        EXPECT_EQ(verify(), TARN_VERIFY_OK);
        EXPECT_EQ(callCount(Call::VerifyPssCms), 1u);
        EXPECT_EQ(callCount(Call::FdRead), 5u) << "the header and four member headers";
        EXPECT_EQ(callCount(Call::CalcSha256), 3u) << "every section of the signed list";
    }
}

// An identity that stayed beside emptied lists would pass for checked.
TEST_F(VerifyTest, FailedClearingOfTheCacheSkipsNoCheck)
{
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    flipByte(package, memberOffset(members, 2) + kMemberHeaderSize + 5);
    setModified(package, g_pkgCacheInfo.identity.st_mtim.tv_sec);
    clearFaults();
    failCall(Call::Memset, 1);
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(callCount(Call::VerifyPssCms), 1u);
}

TEST_F(VerifyTest, EverySuffix)
{
    for (const char *name : {"p.cc", "p.CC", "p.ccx", "p.cch"}) {
        fs::copy_file(package, dir / name);
        EXPECT_EQ(TARN_PackageVerify((dir / name).c_str()), TARN_VERIFY_OK) << name;
    }
}

TEST_F(VerifyTest, Arguments)
{
    const LogLine check = error("TARN_PackageVerify: param check failed.");
    const fs::path noSuffix = dir / "sound.pkg";
    fs::copy_file(package, noSuffix);
    const std::string missing = dir / "missing.cc";
    const std::string overlong(385, 'x'); // neither a package name nor a file: the length comes first
    struct Row {
        const char *path;
        LogLine line;
    };
    const Row rows[] = {
        {nullptr, error("VerifyParamCheck: get null param.")},
        {"", error("VerifyParamCheck: get null param.")},
        {overlong.c_str(), error("VerifyParamCheck: package(%s) name len voer limit.", overlong.c_str())},
        {noSuffix.c_str(), error("VerifyParamCheck: package(%s) not pkg file.", noSuffix.c_str())},
        {"/nonexistent/x", error("VerifyParamCheck: package(%s) not pkg file.", "/nonexistent/x")},
        {missing.c_str(), error("VerifyParamCheck: package(%s) not exist.", missing.c_str())},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line.text);
        EXPECT_EQ(TARN_PackageVerify(row.path), TARN_VERIFY_PARAM);
        EXPECT_TRUE(logged({row.line, check}));
        EXPECT_EQ(VerifyParamCheck(row.path), SWM_FAIL);
        EXPECT_TRUE(logged({row.line}));
    }
    EXPECT_EQ(VerifyParamCheck(package.c_str()), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(callCount(Call::SwmOpen), 0u);
    EXPECT_EQ(callCount(Call::MutexLock), 0u);
    EXPECT_EQ(VerifyCheckIntegrity(nullptr), SWM_FAIL);
    EXPECT_EQ(VerifyCheckIntegrity(""), SWM_FAIL);
    const LogLine null = error("VerifyCheckIntegrity: get null param.");
    EXPECT_TRUE(logged({null, null}));
}

TEST_F(VerifyTest, PathLength)
{
    std::string path = dir / "d";
    while (path.size() < 384 - 5) {
        path += path.size() % 100 == 0 && path.size() < 370 ? '/' : 'd';
    }
    fs::create_directories(fs::path(path).parent_path());
    fs::copy_file(package, path + "d.cch");
    fs::copy_file(package, path + "d.cc");
    fs::copy_file(package, path + "ddd.cc");
    ASSERT_EQ((path + "d.cch").size(), 384u);
    EXPECT_EQ(TARN_PackageVerify((path + "d.cch").c_str()), TARN_VERIFY_OK);
    EXPECT_EQ(TARN_PackageVerify((path + "d.cc").c_str()), TARN_VERIFY_OK);
    takeLog();
    const std::string longer = path + "ddd.cc";
    ASSERT_EQ(longer.size(), 385u);
    EXPECT_EQ(TARN_PackageVerify(longer.c_str()), TARN_VERIFY_PARAM);
    EXPECT_TRUE(logged({error("VerifyParamCheck: package(%s) name len voer limit.", longer.c_str()),
                        error("TARN_PackageVerify: param check failed.")}));
}

TEST_F(VerifyTest, BrokenStructure)
{
    truncateTo(package, 6000);
    EXPECT_EQ(verify(), TARN_VERIFY_STRUCTURE);
    EXPECT_TRUE(
        logged({requestedVerify(), error("SafeGetPkgHeader: get package header failed, need:%u, read:%d, errno:%d.",
                                         6180u, 6000, kAnyNumber)}));
    EXPECT_TRUE(cacheIsEmpty());
}

TEST_F(VerifyTest, BrokenSignature)
{
    flipByte(package, memberOffset(members, 2) + kMemberHeaderSize + 5);
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_TRUE(
        logged({requestedVerify(),
                error("ExtractVerifySignature: verify pss filelist failed, ret:%u.", static_cast<unsigned>(kAnyNumber)),
                error("ExtractGetSignedFilelist: verify signature failed."),
                error("ExtractCheckSignature: get filelist failed.")}));
    EXPECT_TRUE(cacheIsEmpty());
}

TEST_F(VerifyTest, FailuresBeforeTheWalkReleaseTheMutex)
{
    const std::string work = workdir();
    struct Row {
        Call call;
        unsigned nth;
        int errorNumber;
        uint32_t result;
        std::vector<LogLine> lines;
    };
    const Row rows[] = {
        {Call::SwmOpen,
         1,
         EMFILE,
         SWM_FAIL,
         {error("TARN_PackageVerify: open package(%s) failed, errno:%d.", package.c_str(), EMFILE)}},
        {Call::MutexLock,
         1,
         EINVAL,
         SWM_FAIL,
         {requestedVerify(), error("ExtractProtectAction: can't pthread lock ret:%d, errno: %d.", EINVAL, EINVAL)}},
        {Call::Fstat,
         1,
         EIO,
         SWM_FAIL,
         {requestedVerify(), error("ExtractCacheUpdate: fstat %d failed, errno:%d", kAnyNumber, EIO)}},
        {Call::MkDirRecursive,
         1,
         EACCES,
         TARN_VERIFY_INTERNAL,
         {requestedVerify(), error("TARN_SafeCreateWorkdir: create workdir(%s) failed.", work.c_str())}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(nameOf(row.call));
        failCall(row.call, row.nth, row.errorNumber);
        EXPECT_EQ(verify(), row.result);
        EXPECT_TRUE(logged(row.lines));
        clearFaults();
        EXPECT_EQ(verify(), TARN_VERIFY_OK);
        takeLog();
    }
    failCall(Call::MutexUnlock, 1, EPERM);
    EXPECT_EQ(verify(), TARN_VERIFY_OK) << "logged, the result stays";
    EXPECT_TRUE(logged(
        {requestedVerify(), error("ExtractUnProtectAction: can't pthread unlock ret:%d, errno: %d.", EPERM, EPERM)}));
}

TEST_F(VerifyTest, MemberWithAnotherDigest)
{
    flipByte(package, memberOffset(members, 1) + kMemberHeaderSize);
    auto changed = members[1];
    changed.payload[0] = static_cast<char>(changed.payload[0] ^ 1);
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_TRUE(logged({requestedVerify(),
                        error("VerifyCheckIntegrity: file(%s) verify failed, calc:%s, signed:%s.", "conf.img",
                              packaging::memberDigest(changed).c_str(), packaging::memberDigest(members[1]).c_str()),
                        failedCheck()}));
    expectLocked();
    EXPECT_FALSE(fs::exists(workdir()));
}

TEST_F(VerifyTest, ListedFileThatIsNotThere)
{
    const std::string right = packaging::memberDigest(member("conf", conf));
    struct Row {
        const char *name;
        std::string list;
        std::vector<LogLine> before;
        std::string printed;
    };
    const Row rows[] = {
        {"absent", sectionText("conf.img", right) + sectionText("gone.img", right), {}, "gone.img"},
        {"without a name",
         sectionText("conf.img", right) + "[x]\nSHA256-DIGEST=" + right + "\n",
         {error("SafeGetKeyValue: no value, key(%s).", "FILENAME")},
         ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove(package);
        writeSignedList(package, {member("conf", conf)}, row.list);
        EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
        std::vector<LogLine> lines = {requestedVerify()};
        lines.insert(lines.end(), row.before.begin(), row.before.end());
        lines.push_back(error("VerifyCheckIntegrity: find %s in cc failed.", row.printed.c_str()));
        lines.push_back(failedCheck());
        EXPECT_TRUE(logged(lines));
        expectLocked();
    }
}

TEST_F(VerifyTest, EveryEntryOfAFileNameIsChecked)
{
    const std::string right = packaging::memberDigest(member("conf", conf));
    const std::string wrong(64, '0');
    fs::remove(package);
    writeSignedList(package, {member("conf", conf)}, sectionText("conf.img", right) + sectionText("conf.img", wrong));
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK) << "extraction takes the first";
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    expectLocked();
}

TEST_F(VerifyTest, LooksMembersUpByEitherNameAndPassesOverUnlistedOnes)
{
    fs::remove(package);
    writeSignedList(package, {member("conf", conf), member("unlisted", "anything")},
                    sectionText("conf", packaging::memberDigest(member("conf", conf))));
    EXPECT_EQ(verify(), TARN_VERIFY_OK);
}

TEST_F(VerifyTest, FailurePrintsTheListedName)
{
    fs::remove(package);
    const std::string wrong(64, '0');
    writeSignedList(package, {member("conf", conf)}, sectionText("conf", wrong));
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_TRUE(logged({requestedVerify(),
                        error("VerifyCheckIntegrity: file(%s) verify failed, calc:%s, signed:%s.", "conf",
                              packaging::memberDigest(member("conf", conf)).c_str(), wrong.c_str()),
                        failedCheck()}));
    expectLocked();
}

// An empty name is compared like any other.
TEST_F(VerifyTest, ListedFileWithoutANameIsTheMemberWithoutOne)
{
    fs::remove(package);
    const packaging::Member nameless = {"", "nameless.img", "x", {}};
    writeSignedList(package, {nameless}, "[x]\nSHA256-DIGEST=" + packaging::memberDigest(nameless) + "\n");
    EXPECT_EQ(verify(), TARN_VERIFY_OK);
    EXPECT_TRUE(logged({requestedVerify(), error("SafeGetKeyValue: no value, key(%s).", "FILENAME")}));
}

TEST_F(VerifyTest, FirstFailureEndsTheWalk)
{
    flipByte(package, memberOffset(members, 0) + kMemberHeaderSize);
    flipByte(package, memberOffset(members, 1) + kMemberHeaderSize);
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_EQ(callCount(Call::CalcSha256), 1u);
    expectLocked();
}

TEST_F(VerifyTest, WalkThatCannotReadThePackage)
{
    failCall(Call::SwmOpen, 4, ENFILE);
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_TRUE(logged({requestedVerify(),
                        error("VerifyCheckIntegrity: open package(%s) failed, errno:%d.", package.c_str(), ENFILE),
                        failedCheck()}));
    expectLocked();

    failCall(Call::CalcSha256, 2);
    EXPECT_EQ(verify(), TARN_VERIFY_MISMATCH);
    EXPECT_TRUE(logged({requestedVerify(), error("TARN_SafeGetFileHash: calc hash failed."),
                        error("VerifyCheckIntegrity: calc hash failed."), failedCheck()}));
    expectLocked();
}

TEST_F(VerifyTest, IntegrityFailureKeepsTheCacheOfThePackage)
{
    flipByte(package, memberOffset(members, 1) + kMemberHeaderSize);
    const auto cacheAfterwards = [&] {
        const PkgCacheInfo &cache = g_pkgCacheInfo;
        struct stat status = {};
        return verify() == TARN_VERIFY_MISMATCH && pthread_mutex_trylock(&g_pkgCacheInfo.mutex) == EBUSY &&
               stat(package.c_str(), &status) == 0 && cache.identity.st_ino == status.st_ino &&
               cache.identity.st_size == status.st_size && cache.reuseFlag == 0 &&
               List::recordsOf<PkgMemberRecord>(cache.memberList).size() == 4 &&
               List::recordsOf<SignedFileRecord>(cache.signedList).size() == 3;
    };
    EXPECT_EQ(runInChild([&] { return cacheAfterwards() && !HasFailure() ? 0 : 1; }, kLong), 0);
}

// Kept: after an integrity failure later callers of the process block.
TEST_F(VerifyTest, IntegrityFailureLeavesTheMutexLocked)
{
    enum Stage { kStarted, kBeforeTheCall, kReturned };
    flipByte(package, memberOffset(members, 1) + kMemberHeaderSize);
    const std::function<void()> blocked[] = {[&] { verify(); }, [&] { extract("app"); },
                                             [] { TARN_ExtractCacheDrop(); }};
    for (const auto &call : blocked) {
        Shared<std::atomic<int>> stage;
        const pid_t child = startChild([&] {
            if (verify() == TARN_VERIFY_MISMATCH) {
                *stage = kBeforeTheCall;
                call();
                *stage = kReturned;
            }
            return 0;
        });
        EXPECT_TRUE(waitUntil([&] { return *stage != kStarted; }, kLong)) << "the failed verification itself returns";
        EXPECT_EQ(awaitChild(child, 300), std::nullopt);
        EXPECT_EQ(*stage, kBeforeTheCall);
    }
}

} // namespace
} // namespace tarn::test
