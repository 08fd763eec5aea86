// Every call that an operation makes fails in turn: the stated result, nothing leaked, no descriptor left, no partial
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
    fs::path file;                                  // what it writes, if anything
    std::map<Call, Results> stated = {};            // the results when the 1st, 2nd, ... call fails
    std::map<Call, std::set<uint32_t>> within = {}; // where only the set of results is stated
    uint32_t noWorkdir = TARN_EXTRACT_WORKDIR;
    std::set<uint32_t> platform = {}; // results when a call of the platform's own fails; none: not swept
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
            EXPECT_EQ(fs::exists(operation.file), result == 0);
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

    // A value that could not be formatted stays missing from the cached list, as stated, until the cache is dropped.
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
        for (const auto &[call, expected] : operation.stated) {
            EXPECT_EQ(sweep(operation, call, Origin::Boot), expected) << operation.name << ", " << nameOf(call);
        }
        for (const auto &[call, allowed] : operation.within) {
            for (const uint32_t result : sweep(operation, call, Origin::Boot)) {
                EXPECT_TRUE(allowed.contains(result)) << operation.name << ", " << nameOf(call) << ": " << result;
            }
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

// What an extraction from a package of one file and two signature members calls, in order. `ofMember` follows the
// check.
std::map<Call, Results> checkResults(uint32_t structure, uint32_t signature, uint32_t noWorkdir)
{
    const uint32_t s = structure;
    const uint32_t g = signature;
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
        {Call::MkDirRecursive, {noWorkdir}},
        {Call::VerifyPssCms, {g}},
        {Call::IniLoadProfile, {g}},
        {Call::Memcpy, {0}},
    };
}

void append(Results &results, const Results &more)
{
    results.insert(results.end(), more.begin(), more.end());
}

TEST_F(FaultSweepTest, Extraction)
{
    Operation operation = {"extract", [&] { return extract("app"); }, dest / "app",
                           checkResults(TARN_EXTRACT_STRUCTURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WORKDIR)};
    auto &stated = operation.stated;
    append(stated[Call::Malloc], {TARN_EXTRACT_WRITE});
    append(stated[Call::Lseek], {TARN_EXTRACT_DIGEST, TARN_EXTRACT_WRITE});
    append(stated[Call::Fsync], {0});
    append(stated[Call::SwmRead], Results(3, TARN_EXTRACT_WRITE));
    append(stated[Call::SwmWrite], Results(3, TARN_EXTRACT_WRITE));
    append(stated[Call::MkDirRecursive], {TARN_EXTRACT_MKDIR});
    stated[Call::SwmOpen] = {F, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_WRITE};
    stated[Call::CalcSha256] = {TARN_EXTRACT_DIGEST};
    stated[Call::IsFileExist] = {TARN_EXTRACT_PARAM, 0, 0, 0};
    stated[Call::IsDirExist] = {0, 0, 0, 0};
    stated[Call::Close] = {0, 0, 0, 0};
    stated[Call::Fclose] = {0};
    operation.within[Call::Memset] = {0, TARN_EXTRACT_SIGNATURE};
    operation.within[Call::Sprintf] = {0,
                                       TARN_EXTRACT_DIGEST,
                                       TARN_EXTRACT_WORKDIR,
                                       TARN_EXTRACT_SIGNATURE,
                                       TARN_EXTRACT_STRUCTURE,
                                       TARN_EXTRACT_WRITE};
    operation.platform = {F, 2, 3, 4, 5, 6, 7, 8};
    operation.next = [](uint32_t result) { return result == TARN_EXTRACT_WORKDIR ? TARN_EXTRACT_NO_MEMBER : 0u; };
    sweepAll(operation);
}

TEST_F(FaultSweepTest, ExtractionWithMode)
{
    Operation operation = {"extract with mode",
                           [&] { return TARN_ExtractFromPackageAndChmod(package.c_str(), "app", dest.c_str(), 0640); },
                           dest / "app",
                           {{Call::FchmodPath, {TARN_EXTRACT_CHMOD}}}};
    operation.next = [](uint32_t result) { return result == TARN_EXTRACT_WORKDIR ? TARN_EXTRACT_NO_MEMBER : 0u; };
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
    const std::map<Call, Results> stated = {
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
    for (const auto &[call, expected] : stated) {
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
    auto &seeks = operation.stated[Call::Lseek]; // the first and the last are not checked
    seeks.insert(seeks.begin(), 0);
    seeks.push_back(0);
    operation.stated[Call::Strcpy] = {0};
    operation.stated[Call::SwmOpen] = {TARN_EXTRACT_SIGNATURE, TARN_EXTRACT_SIGNATURE};
    operation.next = [](uint32_t result) { return result == TARN_EXTRACT_WORKDIR ? TARN_EXTRACT_SIGNATURE : 0u; };
    sweepAll(operation);
}

TEST_F(FaultSweepTest, Verification)
{
    Operation operation = {"verify",
                           [&] { return TARN_PackageVerify(package.c_str()); },
                           {},
                           checkResults(TARN_VERIFY_STRUCTURE, TARN_VERIFY_MISMATCH, TARN_VERIFY_INTERNAL)};
    auto &stated = operation.stated;
    append(stated[Call::Lseek], {TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH});
    stated[Call::SwmOpen] = {F, TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH};
    stated[Call::CalcSha256] = {TARN_VERIFY_MISMATCH, TARN_VERIFY_MISMATCH};
    stated[Call::IsPostfixString] = {TARN_VERIFY_PARAM};
    stated[Call::IsFileExist] = {TARN_VERIFY_PARAM, 0, 0};
    stated[Call::IsDirExist] = {0, 0, 0};
    stated[Call::Close] = {0, 0, 0, 0};
    operation.within[Call::Sprintf] = {0, TARN_VERIFY_MISMATCH, TARN_VERIFY_STRUCTURE, TARN_VERIFY_INTERNAL};
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
