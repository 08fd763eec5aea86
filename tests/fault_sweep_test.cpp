// Every call that an operation makes fails in turn: the expected result, nothing leaked, no descriptor left, no partial
// file, the mutex free, and the next request works.
#include <map>
#include <set>

#include "support/extract_test.h"

namespace tarn::test {
namespace {

using Results = std::vector<uint32_t>;
constexpr uint32_t F = SWM_FAIL;

struct Operation {
    std::string name;
    std::function<uint32_t()> run;
    fs::path file;                         // what it writes, if anything
    std::map<Call, Results> expected = {}; // the results when the 1st, 2nd, ... call fails
    uint32_t noWorkdir = TARN_EXTRACT_WORKDIR;
    std::set<uint32_t> platform = {}; // results when a call of the platform's own fails; none: not swept
    std::set<std::pair<Call, uint32_t>> fileStays = {}; // failures with such a result leave a file all the same
    std::function<uint32_t(uint32_t result)> next = [](uint32_t) { return 0u; }; // result of the request that follows
};

class FaultSweepTest : public ExtractTest {
protected:
    FaultSweepTest() { members = writeSigned(package, {member("app", app)}); }

    void expectMutexFree()
    {
        const auto lines = takeLog();
        const int held = pthread_mutex_trylock(&g_pkgCacheInfo.mutex);
        // Kept: the one path that does not give it back.
        const bool mayBeHeld =
            !lines.empty() && lines.back().text.ends_with("TARN_PackageVerify: package integrity check failed.");
        EXPECT_EQ(held, mayBeHeld ? EBUSY : 0);
        pthread_mutex_unlock(&g_pkgCacheInfo.mutex);
    }

    void expectSoundState(const Operation &operation, Call call, Origin origin, uint32_t result)
    {
        expectMutexFree();
        EXPECT_EQ(openDescriptors(), descriptors);
        if (!operation.file.empty()) {
            EXPECT_EQ(fs::exists(operation.file), result == 0 || operation.fileStays.contains({call, result}));
            EXPECT_TRUE(result != 0 || readFile(operation.file) == app);
        }
        // The last: the platform has made the directory and then could not look at it.
        const bool workdirMayStay = call == Call::Unlink || call == Call::Rmdir || call == Call::Sprintf ||
                                    (origin == Origin::Basic && result == operation.noWorkdir);
        EXPECT_TRUE(workdirMayStay || !fs::exists(workdir()));
        fs::remove_all(workdir());
        if (g_pkgCacheInfo.memberList.next != nullptr) {
            List::recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList);
            List::recordsOf<SignedFileRecord>(g_pkgCacheInfo.signedList);
        }
    }

    // A value that could not be formatted stays missing from the cached list until the cache is dropped.
    bool listMayBeIncomplete(Call call, uint32_t result)
    {
        return call == Call::Sprintf && (result == TARN_EXTRACT_DIGEST || result == TARN_VERIFY_MISMATCH);
    }

    Results sweep(const Operation &operation, Call call, Origin origin)
    {
        SCOPED_TRACE(operation.name + ", " + nameOf(call) + (origin == Origin::Boot ? "" : " of the platform"));
        Results results;
        for (unsigned nth = 1; nth < 1000; ++nth) {
            SCOPED_TRACE(nth);
            fs::remove_all(dest);
            TARN_ExtractCacheDrop();
            clearFaults();
            takeLog();
            failCall(call, nth, EIO, origin);
            const uint32_t result = operation.run();
            const bool hit = faultHit();
            clearFaults();
            expectSoundState(operation, call, origin, result);
            if (!hit) {
                EXPECT_EQ(result, 0u);
                break;
            }
            results.push_back(result);
            const uint32_t next = operation.next(result);
            const bool incomplete = listMayBeIncomplete(call, result);
            if (!incomplete) {
                EXPECT_EQ(operation.run(), next) << "the request after " << result;
                expectMutexFree();
            }
            EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
            EXPECT_EQ(liveBlocks(), 0);
            if (incomplete || next != 0) {
                EXPECT_EQ(operation.run(), 0u);
            }
        }
        return results;
    }

    void sweepAll(const Operation &operation)
    {
        descriptors = openDescriptors();
        for (const auto &[call, expected] : operation.expected) {
            EXPECT_EQ(sweep(operation, call, Origin::Boot), expected) << operation.name << ", " << nameOf(call);
        }
        if (operation.platform.empty()) {
            return;
        }
        for (const Call call : {Call::Malloc, Call::Calloc, Call::Open, Call::Read, Call::Write, Call::Lseek,
                                Call::Fstat, Call::Close, Call::Mkdir, Call::Fclose, Call::Unlink}) {
            for (const uint32_t result : sweep(operation, call, Origin::Basic)) {
                EXPECT_TRUE(result == 0 || operation.platform.contains(result)) << nameOf(call) << ": " << result;
            }
        }
    }

    size_t descriptors = 0;
};

// What the check of a package of one file and two signature members calls, in order: preparing, the structure's part,
// the signature's part, cleaning up. The signed list has two sections, both of the one file.
std::map<Call, Results> checkResults(uint32_t structure, uint32_t signature, uint32_t noWorkdir)
{
    const uint32_t s = structure;
    const uint32_t g = signature;
    const uint32_t w = noWorkdir;
    return {
        {Call::Malloc, {s, s, s, g, g, g, g}}, // three member records, two copies, two signed files
        {Call::Lseek, {s, s, s, s, g, g}},     // header, three member headers, two members
        {Call::Fstat, {F, s}},
        {Call::Fsync, {0, 0}},
        {Call::Unlink, {0, 0}},
        {Call::Rmdir, {0}},
        {Call::MutexLock, {F}},
        {Call::MutexUnlock, {0}},
        {Call::SwmFopen, {g}},
        {Call::SwmRead, {g, g}},
        {Call::SwmWrite, {g, g}},
        {Call::FdRead, {s, s, s, s}},
        {Call::MkDirRecursive, {w}},
        {Call::VerifyPssCms, {g}},
        {Call::IniLoadProfile, {g}},
        {Call::Memcpy, {0}},
        {Call::Memset, {0, 0, 0, 0, 0, 0, 0, g, g}}, // identity, header, member headers, two copies, two signed files
    };
}

// The texts that the check formats: work directory, three times two names, work directory, six paths, the values of
// two sections, then the work directory and its two files. `values` follow from who uses the list.
Results textResults(uint32_t structure, uint32_t signature, uint32_t noWorkdir, const Results &values)
{
    Results results = {noWorkdir};
    results.insert(results.end(), 6, structure);
    results.insert(results.end(), 6, signature);
    results.insert(results.end(), values.begin(), values.end());
    results.insert(results.end(), 3, 0);
    return results;
}

void append(Results &results, const Results &more)
{
    results.insert(results.end(), more.begin(), more.end());
}

// The first entry of the file decides: without its name the second does, without its digest the member fails.
const Results kTextsOfAnExtraction =
    textResults(TARN_EXTRACT_STRUCTURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WORKDIR, {0, TARN_EXTRACT_DIGEST, 0, 0});

uint32_t emptyListsAfterWorkdirFailure(uint32_t result)
{
    return result == TARN_EXTRACT_WORKDIR ? TARN_EXTRACT_NO_MEMBER : 0u;
}

TEST_F(FaultSweepTest, Extraction)
{
    Operation operation = {"extract", [&] { return extract("app"); }, dest / "app",
                           checkResults(TARN_EXTRACT_STRUCTURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WORKDIR)};
    auto &expected = operation.expected;
    append(expected[Call::Malloc], {TARN_EXTRACT_WRITE});
    append(expected[Call::Lseek], {TARN_EXTRACT_DIGEST, TARN_EXTRACT_WRITE});
    append(expected[Call::Fsync], {0});
    append(expected[Call::SwmRead], Results(3, TARN_EXTRACT_WRITE));
    append(expected[Call::SwmWrite], Results(3, TARN_EXTRACT_WRITE));
    append(expected[Call::MkDirRecursive], {TARN_EXTRACT_MKDIR});
    append(expected[Call::Memset], {0, 0, 0}); // one for each chunk
    expected[Call::SwmOpen] = {F, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WRITE};
    expected[Call::CalcSha256] = {TARN_EXTRACT_DIGEST};
    expected[Call::IsFileExist] = {TARN_EXTRACT_PARAM, 0, 0, 0};
    expected[Call::IsDirExist] = {0, 0, 0, 0};
    expected[Call::Close] = {0, 0, 0, 0};
    expected[Call::Fclose] = {0};
    expected[Call::DelFile] = {};
    expected[Call::Sprintf] = kTextsOfAnExtraction;
    append(expected[Call::Sprintf], {TARN_EXTRACT_WRITE});
    operation.platform = {F, 2, 3, 4, 5, 6, 7, 8};
    operation.next = emptyListsAfterWorkdirFailure;
    sweepAll(operation);
}

TEST_F(FaultSweepTest, ExtractionOverAnOldFile)
{
    Operation operation = {"replace",
                           [&] {
                               fs::create_directories(dest);
                               fs::remove(dest / "app");
                               writeFile(dest / "app", "old");
                               const uint32_t result = extract("app");
                               EXPECT_EQ(readFile(dest / "app") == "old", result != 0);
                               return result;
                           },
                           dest / "app",
                           {{Call::DelFile, {TARN_EXTRACT_WRITE}}}};
    operation.fileStays = {{Call::DelFile, TARN_EXTRACT_WRITE}};
    sweepAll(operation);
}

TEST_F(FaultSweepTest, ExtractionWithMode)
{
    Operation operation = {"extract with mode",
                           [&] { return TARN_ExtractFromPackageAndChmod(package.c_str(), "app", dest.c_str(), 0640); },
                           dest / "app"};
    auto &expected = operation.expected;
    expected[Call::FchmodPath] = {TARN_EXTRACT_CHMOD};
    expected[Call::MutexLock] = {F};
    expected[Call::MutexUnlock] = {0};
    expected[Call::SwmOpen] = {F, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WRITE};
    expected[Call::DelFile] = {};
    expected[Call::Sprintf] = kTextsOfAnExtraction;
    append(expected[Call::Sprintf], {TARN_EXTRACT_WRITE, TARN_EXTRACT_CHMOD});
    operation.fileStays = {{Call::Sprintf, TARN_EXTRACT_CHMOD}}; // there is no path to delete
    operation.next = emptyListsAfterWorkdirFailure;
    sweepAll(operation);
}

TEST_F(FaultSweepTest, ExtractionFromTheCachedPackage)
{
    // A first request, without faults, fills the cache.
    const auto cached = [&](Call call, unsigned nth) {
        TARN_ExtractCacheDrop();
        clearFaults();
        EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
        fs::remove_all(dest);
        clearFaults();
        failCall(call, nth, EIO);
        return extract("app");
    };
    const std::map<Call, Results> expectedResults = {
        {Call::Malloc, {TARN_EXTRACT_WRITE}},
        {Call::Lseek, {TARN_EXTRACT_DIGEST, TARN_EXTRACT_WRITE}},
        {Call::Fstat, {F}},
        {Call::SwmOpen, {F, TARN_EXTRACT_WRITE}},
        {Call::MkDirRecursive, {TARN_EXTRACT_WORKDIR, TARN_EXTRACT_MKDIR}},
        {Call::Rmdir, {0}},
        {Call::FdRead, {}},
        {Call::VerifyPssCms, {}},
        {Call::SwmFopen, {}},
    };
    for (const auto &[call, expected] : expectedResults) {
        SCOPED_TRACE(nameOf(call));
        Results results;
        for (unsigned nth = 1;; ++nth) {
            const uint32_t result = cached(call, nth);
            if (!faultHit()) {
                break;
            }
            clearFaults();
            results.push_back(result);
            EXPECT_EQ(extract("app"), TARN_EXTRACT_OK) << "the cached lists are still there";
            EXPECT_EQ(callCount(Call::VerifyPssCms), 0u);
            fs::remove_all(workdir());
        }
        EXPECT_EQ(results, expected);
    }
}

TEST_F(FaultSweepTest, FileSite)
{
    const Descriptor fd(package);
    FileSite site = {};
    site.name = "app";
    Operation operation = {"find site",
                           [&] { return SWM_FindFileSiteFromCc(fd, &site); },
                           {},
                           checkResults(TARN_EXTRACT_STRUCTURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WORKDIR)};
    auto &seeks = operation.expected[Call::Lseek]; // the first and the last are not checked
    seeks.insert(seeks.begin(), 0);
    seeks.push_back(0);
    operation.expected[Call::Strcpy] = {0};
    operation.expected[Call::SwmOpen] = {TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_SIGNATURE};
    operation.expected[Call::Sprintf] =
        textResults(TARN_EXTRACT_STRUCTURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WORKDIR, {0, 0, 0, 0});
    operation.next = [](uint32_t result) { return result == TARN_EXTRACT_WORKDIR ? TARN_EXTRACT_SIGNATURE : 0u; };
    sweepAll(operation);
}

TEST_F(FaultSweepTest, Verification)
{
    Operation operation = {"verify",
                           [&] { return TARN_PackageVerify(package.c_str()); },
                           {},
                           checkResults(TARN_VERIFY_STRUCTURE, TARN_VERIFY_MISMATCH, TARN_VERIFY_INTERNAL)};
    auto &expected = operation.expected;
    append(expected[Call::Lseek], {TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH});
    expected[Call::SwmOpen] = {F, TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH};
    expected[Call::CalcSha256] = {TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH};
    expected[Call::IsPostfixString] = {TARN_VERIFY_PARAM};
    expected[Call::IsFileExist] = {TARN_VERIFY_PARAM, 0, 0};
    expected[Call::IsDirExist] = {0, 0, 0};
    expected[Call::Close] = {0, 0, 0, 0};
    auto &clears = expected[Call::Memset]; // the cache is emptied before the check and again by it
    clears.insert(clears.begin(), 0);
    // Both entries of the file are walked, and each needs its name and its digest.
    expected[Call::Sprintf] = textResults(TARN_VERIFY_STRUCTURE, TARN_VERIFY_MISMATCH, TARN_VERIFY_INTERNAL,
                                          Results(4, TARN_VERIFY_MISMATCH));
    operation.noWorkdir = TARN_VERIFY_INTERNAL;
    operation.platform = {F, 2, 3, 4, 5};
    sweepAll(operation);
}

TEST_F(FaultSweepTest, CacheDrop)
{
    Operation operation = {"drop",
                           [] { return TARN_ExtractCacheDrop(); },
                           {},
                           {{Call::MutexLock, {F}}, {Call::MutexUnlock, {F}}, {Call::Memset, {0}}}};
    sweepAll(operation);
}

} // namespace
} // namespace tarn::test
