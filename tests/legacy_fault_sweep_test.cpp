// Every call that an operation of the older access paths makes fails in turn: the stated results, nothing leaked, no
// descriptor and no mapping left, the mutex free, and the next request works.
#include <map>
#include <set>

#include <tarn_boot/database.h>

#include "legacy_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;
// Their failures are never told.
const std::set<Call> kReleases = {Call::Close, Call::Munmap, Call::Fclose, Call::MutexUnlock};

struct Operation {
    std::string name;
    std::function<uint32_t()> run;
    std::set<uint32_t> results;              // all that failures may give
    std::map<Call, std::set<uint32_t>> must; // calls that the operation makes, with the results of their failures
    bool platform = true;                    // whether calls of the platform's own fail too
};

class LegacySweepTest : public LegacyTest {
protected:
    void SetUp() override
    {
        LegacyTest::SetUp();
        fs::create_directories(dir / "dev");
        writeFile(dir / "dev/loop3", "device");
        descriptors = openDescriptors();
    }

    void expectSoundState()
    {
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(mappingsOf(package), 0u);
        EXPECT_EQ(pthread_mutex_trylock(&g_pkgCacheInfo.mutex), 0);
        pthread_mutex_unlock(&g_pkgCacheInfo.mutex);
        fs::remove_all(workdir());
    }

    void prepare()
    {
        fs::remove_all(programDir() / "swm");
        fs::remove_all(dest);
        fs::create_directory(dest);
        TARN_ExtractCacheDrop();
        clearFaults();
        takeLog();
        setFakeLoopDevice("/dev/loop3");
        setScribble(true);
    }

    // The results of all failures of that call; what follows a failure must work.
    std::set<uint32_t> sweep(const Operation &operation, Call call, Origin origin, unsigned count)
    {
        SCOPED_TRACE(operation.name + ", " + nameOf(call) + (origin == Origin::Boot ? "" : " of the platform"));
        std::set<uint32_t> results;
        for (unsigned nth = 1; nth <= count; ++nth) {
            SCOPED_TRACE(nth);
            prepare();
            failCall(call, nth, EIO, origin);
            const uint32_t result = operation.run();
            EXPECT_TRUE(faultHit());
            clearFaults();
            expectSoundState();
            if (results.insert(result).second) {
                prepare();
                EXPECT_EQ(operation.run(), 0u) << "the request after " << result;
            }
            TARN_ExtractCacheDrop();
            EXPECT_EQ(liveBlocks(), 0);
        }
        return results;
    }

    // How often the operation makes each call when nothing fails.
    std::map<std::pair<Call, Origin>, unsigned> countCalls(const Operation &operation)
    {
        prepare();
        EXPECT_EQ(operation.run(), 0u);
        std::map<std::pair<Call, Origin>, unsigned> counts;
        for (unsigned i = 0; i < static_cast<unsigned>(Call::Count); ++i) {
            for (const Origin origin : {Origin::Boot, Origin::Basic}) {
                counts[{static_cast<Call>(i), origin}] = callCount(static_cast<Call>(i), origin);
            }
        }
        return counts;
    }

    void sweepAll(const Operation &operation)
    {
        auto counts = countCalls(operation);
        for (unsigned i = 0; i < static_cast<unsigned>(Call::Count); ++i) {
            const Call call = static_cast<Call>(i);
            if (call == Call::GetRootPath) {
                continue; // it would write below the machine's root
            }
            const std::set<uint32_t> results = sweep(operation, call, Origin::Boot, counts[{call, Origin::Boot}]);
            const auto must = operation.must.find(call);
            if (must != operation.must.end()) {
                EXPECT_EQ(results, must->second) << operation.name << ", " << nameOf(call);
            } else {
                expectAmong(operation, call, results);
            }
        }
        if (!operation.platform) {
            return;
        }
        for (const Call call : {Call::Malloc, Call::Calloc, Call::Open, Call::Read, Call::Write, Call::Lseek,
                                Call::Fstat, Call::Close, Call::Mkdir, Call::Fclose, Call::Unlink}) {
            expectAmong(operation, call, sweep(operation, call, Origin::Basic, counts[{call, Origin::Basic}]));
        }
    }

    void expectAmong(const Operation &operation, Call call, const std::set<uint32_t> &results)
    {
        for (const uint32_t result : results) {
            EXPECT_TRUE(result == 0 || operation.results.contains(result))
                << operation.name << ", " << nameOf(call) << ": " << result;
            EXPECT_TRUE(result == 0 || !kReleases.contains(call)) << operation.name << ", " << nameOf(call);
        }
    }

    size_t descriptors = 0;
};

TEST_F(LegacySweepTest, HeaderScan)
{
    const Descriptor fd(package);
    ++descriptors;
    PackageFileEntry entry;
    sweepAll({"scan",
              [&] { return SwmFindFileDescInfoFromCc(fd, "conf", &entry); },
              {1, 4}, // 4: what lies elsewhere after a failed seek has other names
              {{Call::Malloc, {SWM_E_NO_MEMORY}},
               {Call::SwmRead, {1}},
               {Call::Memset, {0}},
               {Call::IsStringEqual, {0, 4}}}});
}

TEST_F(LegacySweepTest, MappedMember)
{
    const Descriptor fd(package);
    ++descriptors;
    sweepAll({"map",
              [&] {
                  const uint8_t *content = nullptr;
                  uint32_t length = 0;
                  uint32_t delta = 0;
                  const uint32_t result = SWM_GetSigFileContent(fd, "conf", &content, &length, &delta);
                  if (result == 0) {
                      EXPECT_EQ(std::string(reinterpret_cast<const char *>(content), length), conf);
                      SWM_FreeFileContent(content, length, delta);
                  }
                  return result;
              },
              {1, 3, 4, 5, F},
              {{Call::Mmap, {1}}, {Call::MutexLock, {F}}, {Call::VerifyPssCms, {4}}, {Call::Getpagesize, {0}}}});
}

TEST_F(LegacySweepTest, NameCheck)
{
    const Descriptor fd(package);
    ++descriptors;
    sweepAll({"check",
              [&] { return SWM_CheckFileNameInSigFile(fd, "app.img", "app"); },
              {1},
              {{Call::Mmap, {1}},
               {Call::MutexLock, {1}},
               {Call::VerifyPssCms, {1}},
               {Call::VerifyCmsFromMem, {1}},
               {Call::IniLoadProfileFromFileMem, {1}}}});
}

TEST_F(LegacySweepTest, Lookup)
{
    const Descriptor fd(package);
    ++descriptors;
    uint32_t length = 0;
    uint32_t offset = 0;
    sweepAll({"lookup",
              [&] { return SWM_FindFileFromCc(fd, "app", &length, &offset); },
              {1, 3, 4, 5, F},
              {{Call::Mmap, {1}}, {Call::VerifyCmsFromMem, {1}}, {Call::MkDirRecursive, {1, 3}}}});
}

TEST_F(LegacySweepTest, LoopExposure)
{
    sweepAll({"loop",
              [&] {
                  fs::remove(dest / "app");
                  fs::create_symlink(dir / "dev/loop3", dest / "app");
                  const uint32_t result = SWM_ExtractFileByLoop(package.c_str(), "app", dest.c_str());
                  EXPECT_TRUE(result != 0 || fs::read_symlink(dest / "app") == "/dev/loop3");
                  return result;
              },
              {1},
              {{Call::MountLoopDev, {1}},
               {Call::Symlink, {1}},
               {Call::Lchown, {0}},
               {Call::DelLoopDev, {0}},
               {Call::GetCanonicalFilepath, {1}},
               {Call::SwmIsDirExist, {1}},
               {Call::GetUidByName, {0}},
               {Call::GetGidByName, {0}},
               {Call::Mmap, {1}},
               {Call::VerifyCmsFromMem, {1}}}});
}

TEST_F(LegacySweepTest, SignatureList)
{
    const fs::path temp = programDir() / "swm/workdir/temp";
    sweepAll({"signature list",
              [&] {
                  char path[256];
                  const uint32_t result = SWM_ExtractCcSignature(package.c_str(), path, sizeof(path));
                  EXPECT_EQ(fs::exists(temp / "signature_filelist"), result == 0);
                  EXPECT_TRUE(result != 0 || readFile(temp / "signature_filelist") == legacyList);
                  return result;
              },
              {F},
              {{Call::MkParentDir, {F}}, {Call::FchmodPath, {F}}, {Call::CalcSha256, {F}}, {Call::VerifyPssCms, {F}}},
              false}); // the root path needs them
}

TEST_F(LegacySweepTest, WholeMember)
{
    sweepAll({"whole member",
              [&] {
                  const uint32_t result = SWM_ExtractFileWithHeader(package.c_str(), "app", dest.c_str(), 0640);
                  EXPECT_TRUE(result != 0 || readFile(dest / "app") == wholeMember(0));
                  return result;
              },
              {1},
              {{Call::SwmIsDirExist, {1}},
               {Call::SwmOpen, {1}},
               {Call::SwmRead, {1}},
               {Call::SwmWrite, {1}},
               {Call::Malloc, {1}},
               {Call::Lseek, {0, 1}},
               {Call::IsStringEqual, {0, 4}}}});
}

TEST_F(LegacySweepTest, Backup)
{
    fs::create_directories(dir / "db");
    fs::create_directories(dir / "dbbak");
    const fs::path file = dir / "db/file";
    writeFile(file, "content");
    sweepAll({"backup",
              [&] {
                  fs::remove(dir / "dbbak/file");
                  const uint32_t result = SWM_BackupFile(file.c_str());
                  EXPECT_EQ(fs::exists(dir / "dbbak/file") && readFile(dir / "dbbak/file") == "content", result == 0);
                  return result;
              },
              {1, SWM_E_FILE_MISSING, SWM_E_NO_BACKUP_DIR, F},
              {{Call::SwmIsFileExist, {SWM_E_FILE_MISSING}},
               {Call::SwmIsDirExist, {SWM_E_NO_BACKUP_DIR}},
               {Call::UndoProtectFile, {0}},
               {Call::CopyFile, {1}}}});
}

TEST_F(LegacySweepTest, BackupRemoval)
{
    fs::create_directories(dir / "db");
    fs::create_directories(dir / "dbbak");
    const fs::path file = dir / "db/file";
    writeFile(file, "content");
    sweepAll({"backup removal",
              [&] {
                  writeFile(dir / "dbbak/file", "backup");
                  return SWM_DelExistBackupFile(file.c_str());
              },
              {},
              {{Call::DelFile, {0}}, {Call::SwmIsDirExist, {0}}, {Call::UndoProtectFile, {0}}}});
}

} // namespace
} // namespace tarn::test
