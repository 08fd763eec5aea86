// The cache of the last package: what is reused, what empties it, what it holds.
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "support/extract_test.h"

namespace tarn::test {
namespace {

class CacheTest : public ExtractTest {
protected:
    // True when the last request checked structure and signature; forgets the counts.
    bool checkedAgain()
    {
        const unsigned structure = callCount(Call::FdRead);
        const unsigned signature = callCount(Call::VerifyPssCms);
        const unsigned signedList = callCount(Call::SwmFopen);
        clearFaults();
        EXPECT_EQ(structure != 0, signature != 0);
        EXPECT_EQ(structure != 0, signedList != 0);
        return structure != 0;
    }
};

TEST_F(CacheTest, SecondExtractionChecksNeitherStructureNorSignature)
{
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_EQ(g_pkgCacheInfo.reuseFlag, 0u) << "a parse never sets it";
    EXPECT_TRUE(checkedAgain());
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    EXPECT_EQ(g_pkgCacheInfo.reuseFlag, 1u);
    EXPECT_EQ(callCount(Call::SwmOpen), 2u) << "package and destination: no work directory files";
    EXPECT_EQ(callCount(Call::MkDirRecursive), 1u) << "kept: the work directory is made all the same";
    EXPECT_EQ(callCount(Call::CalcSha256), 1u) << "the member's digest is computed every time";
    EXPECT_FALSE(checkedAgain());
    EXPECT_EQ(extract("nothing"), TARN_EXTRACT_NO_MEMBER);
    EXPECT_FALSE(checkedAgain());
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    EXPECT_FALSE(checkedAgain());
}

TEST_F(CacheTest, HoldsIdentityMembersAndSignedFiles)
{
    fs::remove(package);
    const std::string listText = sectionText("conf.img", packaging::memberDigest(members[1])) +
                                 sectionText("app.img", packaging::memberDigest(members[0]));
    members = writeSignedList(package, {members[0], members[1]}, listText);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    struct stat status;
    ASSERT_EQ(stat(package.c_str(), &status), 0);
    const struct stat &identity = g_pkgCacheInfo.identity;
    EXPECT_EQ(identity.st_ino, status.st_ino);
    EXPECT_EQ(identity.st_dev, status.st_dev);
    EXPECT_EQ(identity.st_size, status.st_size);
    EXPECT_EQ(identity.st_mode, status.st_mode);
    EXPECT_EQ(identity.st_mtim.tv_sec, status.st_mtim.tv_sec);
    EXPECT_EQ(identity.st_mtim.tv_nsec, status.st_mtim.tv_nsec);
    const auto records = List::recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList);
    ASSERT_EQ(records.size(), members.size());
    for (size_t i = 0; i < members.size(); ++i) {
        EXPECT_STREQ(records[i]->fileName, members[i].fileName.c_str());
        EXPECT_EQ(records[i]->memberOffset, memberOffset(members, i));
    }
    const auto listed = List::recordsOf<SignedFileRecord>(g_pkgCacheInfo.signedList);
    ASSERT_EQ(listed.size(), 2u);
    EXPECT_STREQ(listed[0]->fileName, "conf.img");
    EXPECT_STREQ(listed[1]->fileName, "app.img");
    EXPECT_EQ(listed[0]->digest, packaging::memberDigest(members[1]));
}

TEST_F(CacheTest, IdentityIsInodeSizeAndWholeSeconds)
{
    setModified(package, 1700000000, 100);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain());

    setModified(package, 1700000000, 999999999);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_FALSE(checkedAgain()) << "nanoseconds do not matter";
    EXPECT_EQ(g_pkgCacheInfo.identity.st_mtim.tv_nsec, 999999999) << "the whole record is kept all the same";

    fs::permissions(package, fs::perms(0600));
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_FALSE(checkedAgain());

    setModified(package, 1700000001);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain()) << "a new second";

    fs::copy(package, dir / "copy.cc");
    setModified(dir / "copy.cc", 1700000001);
    EXPECT_EQ(extractFrom(dir / "copy.cc", "app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain()) << "another inode";

    fs::create_hard_link(dir / "copy.cc", dir / "link.cc");
    EXPECT_EQ(extractFrom(dir / "link.cc", "app"), TARN_EXTRACT_OK);
    EXPECT_FALSE(checkedAgain()) << "the path does not matter";

    appendBytes(dir / "link.cc", "x");
    setModified(dir / "link.cc", 1700000001);
    EXPECT_EQ(extractFrom(dir / "link.cc", "app"), TARN_EXTRACT_STRUCTURE) << "another size";
    EXPECT_TRUE(cacheIsEmpty());
}

TEST_F(CacheTest, OnlyThreeFieldsDecide)
{
    struct Row {
        const char *name;
        void (*change)(struct stat &status);
        bool again;
    };
    const Row rows[] = {
        {"nothing", [](struct stat &) {}, false},
        {"device", [](struct stat &status) { ++status.st_dev; }, false},
        {"nanoseconds", [](struct stat &status) { status.st_mtim.tv_nsec ^= 1; }, false},
        {"change time", [](struct stat &status) { ++status.st_ctim.tv_sec; }, false},
        {"owner", [](struct stat &status) { ++status.st_uid; }, false},
        {"inode", [](struct stat &status) { ++status.st_ino; }, true},
        {"second", [](struct stat &status) { ++status.st_mtim.tv_sec; }, true},
        // The structure check compares the low 32 bits only.
        {"size", [](struct stat &status) { status.st_size += int64_t{1} << 32; }, true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
        EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
        clearFaults();
        changeStatus(row.change);
        EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
        EXPECT_EQ(checkedAgain(), row.again);
    }
}

TEST_F(CacheTest, LastPackageOnly)
{
    const fs::path other = dir / "other.cc";
    writeSigned(other, {member("app", "other")});
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    checkedAgain();
    EXPECT_EQ(extractFrom(other, "app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain());
    EXPECT_EQ(readFile(dest / "app"), "other");
    EXPECT_EQ(List::recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList).size(), 3u);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain());
}

TEST_F(CacheTest, DropEmptiesIt)
{
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    takeLog();
    EXPECT_FALSE(cacheIsEmpty());
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
    EXPECT_TRUE(cacheIsEmpty()) << "both heads are proper empty lists";
    EXPECT_EQ(liveBlocks(), 0);
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK) << "twice is once";
    EXPECT_TRUE(nothingLogged());
    clearFaults();
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain());
}

TEST_F(CacheTest, DropReportsTheMutex)
{
    failCall(Call::MutexLock, 1, EINVAL);
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractProtectAction: can't pthread lock ret:%d, errno: %d.", EINVAL, EINVAL)}));
    failCall(Call::MutexUnlock, 1, EPERM);
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractUnProtectAction: can't pthread unlock ret:%d, errno: %d.", EPERM, EPERM)}));
}

TEST_F(CacheTest, FailedClearingOfTheIdentityIsAWarningOnly)
{
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    takeLog();
    failCall(Call::Memset, 1);
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "ExtractCacheDrop")}));
    EXPECT_TRUE(cacheIsEmpty());
}

TEST_F(CacheTest, StepsOnAZeroFilledCache)
{
    // The state before first use: null links.
    g_pkgCacheInfo.memberList = {};
    g_pkgCacheInfo.signedList = {};
    EXPECT_EQ(ExtractDoExtract(-1, "app", dest.c_str()), TARN_EXTRACT_NO_MEMBER);
    ExtractCacheDrop();
    EXPECT_TRUE(cacheIsEmpty());
    EXPECT_TRUE(logged({warning("ExtractDoExtract: no such file:%s.", "app")}));
}

// Kept: the identity is recorded before the work directory is made. When that fails for a changed package, the identity
// stands beside empty lists, and the next request for the package takes them for its own.
TEST_F(CacheTest, WorkdirFailureOnAChangedPackageGivesThreeThenOne)
{
    failCall(Call::MkDirRecursive, 1, EACCES);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WORKDIR);
    EXPECT_NE(g_pkgCacheInfo.identity.st_ino, 0u);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_NO_MEMBER);
    EXPECT_EQ(extract("signature_pss_cms"), TARN_EXTRACT_NO_MEMBER);
    EXPECT_FALSE(fs::exists(dest)) << "it fails closed";
    setModified(package, 1700000000);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK) << "until the package changes";

    TARN_ExtractCacheDrop();
    failCall(Call::MkDirRecursive, 1, EACCES);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WORKDIR);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_NO_MEMBER);
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK) << "or the cache is dropped";

    failCall(Call::MkDirRecursive, 1, EACCES);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WORKDIR) << "for the cached package its lists stay";
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
}

TEST_F(CacheTest, PlantedWorkdirIsRefusedAndAStaleOneEmptied)
{
    writeFile(workdir(), "not a directory");
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WORKDIR);
    EXPECT_TRUE(
        logged({requested("app"), error("TARN_SafeCreateWorkdir: create workdir(%s) failed.", workdir().c_str())}));
    fs::remove(workdir());
    TARN_ExtractCacheDrop();
    fs::create_directory(workdir());
    writeFile(workdir() + "/signature_pss_filelist", "stale");
    writeFile(workdir() + "/signature_pss_cms", "stale");
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_FALSE(fs::exists(workdir()));
}

TEST_F(CacheTest, WorkdirOfAnotherUserIsRefused)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a directory away";
    }
    fs::create_directory(workdir());
    writeFile(workdir() + "/signature_pss_cms.x", "somebody else's");
    ASSERT_EQ(chown(workdir().c_str(), 12345, 12345), 0);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WORKDIR);
    fs::remove_all(workdir());
}

class FileSiteTest : public CacheTest {
protected:
    FileSite site = {};
    uint32_t find(int fd, const char *name)
    {
        site = {};
        site.name = name;
        return SWM_FindFileSiteFromCc(fd, &site);
    }
};

TEST_F(FileSiteTest, GivesThePayloadsPlace)
{
    const Descriptor fd(package);
    lseek(fd, 12345, SEEK_SET);
    for (const char *name : {"conf", "conf.img"}) {
        EXPECT_EQ(find(fd, name), TARN_EXTRACT_OK);
        EXPECT_EQ(site.name, name);
        EXPECT_EQ(site.payloadLength, conf.size());
        EXPECT_EQ(site.payloadOffset, memberOffset(members, 1) + kMemberHeaderSize) << "also for a file name";
        EXPECT_STREQ(site.fileName, "conf.img");
        EXPECT_EQ(lseek(fd, 0, SEEK_CUR), static_cast<off_t>(site.payloadOffset)) << "positioned at the payload";
    }
    EXPECT_TRUE(nothingLogged());
    EXPECT_FALSE(fs::exists(workdir()));
}

TEST_F(FileSiteTest, SharesTheCacheWithExtraction)
{
    const Descriptor fd(package);
    EXPECT_EQ(find(fd, "app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(checkedAgain());
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_FALSE(checkedAgain());
    EXPECT_EQ(find(fd, "conf"), TARN_EXTRACT_OK);
    EXPECT_FALSE(checkedAgain());
}

TEST_F(FileSiteTest, ChecksNoMemberDigest)
{
    flipByte(package, memberOffset(members, 0) + kMemberHeaderSize);
    const Descriptor fd(package);
    EXPECT_EQ(find(fd, "app"), TARN_EXTRACT_OK);
    EXPECT_EQ(callCount(Call::CalcSha256), 0u);
}

TEST_F(FileSiteTest, Refusals)
{
    const Descriptor fd(package);
    EXPECT_EQ(SWM_FindFileSiteFromCc(fd, nullptr), TARN_EXTRACT_PARAM);
    EXPECT_TRUE(logged({error("SWM_FindFileSiteFromCc: get null param.")}));
    const LogLine param = error("ExtractParamCheckByFd: get null param.");
    EXPECT_EQ(find(fd, nullptr), TARN_EXTRACT_PARAM);
    EXPECT_TRUE(logged({param}));
    EXPECT_EQ(find(fd, ""), TARN_EXTRACT_PARAM);
    EXPECT_TRUE(logged({param}));
    EXPECT_EQ(find(-1, "app"), TARN_EXTRACT_PARAM);
    EXPECT_TRUE(logged({param}));
    EXPECT_EQ(ExtractParamCheckByFd(-1, "app"), SWM_FAIL);
    EXPECT_EQ(ExtractParamCheckByFd(fd, nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({param, param}));
    EXPECT_EQ(ExtractParamCheckByFd(0, "app"), SWM_OK);
    EXPECT_EQ(callCount(Call::MutexLock), 0u);

    lseek(fd, 0, SEEK_SET);
    EXPECT_EQ(find(fd, "nothing"), TARN_EXTRACT_SIGNATURE) << "kept: 4 for no member";
    EXPECT_TRUE(logged({warning("SWM_FindFileSiteFromCc: no such file:%s.", "nothing")}));

    failCall(Call::MutexLock, 1, EINVAL);
    EXPECT_EQ(find(fd, "app"), SWM_FAIL);
    EXPECT_TRUE(logged({error("ExtractProtectAction: can't pthread lock ret:%d, errno: %d.", EINVAL, EINVAL)}));
    failCall(Call::Strcpy, 1);
    EXPECT_EQ(find(fd, "app"), TARN_EXTRACT_OK) << "logged and ignored";
    EXPECT_TRUE(logged({error("SWM_FindFileSiteFromCc: strcpy_s failed.")}));
    EXPECT_STREQ(site.fileName, "");
    EXPECT_EQ(site.payloadLength, app.size());
}

TEST_F(FileSiteTest, OutputsStayUntouchedOnFailure)
{
    struct Row {
        const char *name;
        Call call;
        uint32_t result;
    };
    const Row rows[] = {
        {"nothing", Call::Count, TARN_EXTRACT_SIGNATURE},
        {nullptr, Call::Count, TARN_EXTRACT_PARAM},
        {"app", Call::MkDirRecursive, TARN_EXTRACT_WORKDIR},
        {"app", Call::VerifyPssCms, TARN_EXTRACT_SIGNATURE},
        {"app", Call::FdRead, TARN_EXTRACT_STRUCTURE},
        {"app", Call::MutexLock, SWM_FAIL},
        {"app", Call::Fstat, SWM_FAIL},
    };
    const Descriptor fd(package);
    for (const Row &row : rows) {
        SCOPED_TRACE(row.result);
        TARN_ExtractCacheDrop();
        clearFaults();
        if (row.call != Call::Count) {
            failCall(row.call, 1, EIO);
        }
        memset(&site, 7, sizeof site);
        site.name = row.name;
        EXPECT_EQ(SWM_FindFileSiteFromCc(fd, &site), row.result);
        EXPECT_EQ(site.name, row.name);
        EXPECT_EQ(site.payloadLength, 0x07070707u);
        EXPECT_EQ(site.payloadOffset, 0x07070707u);
        EXPECT_EQ(std::string(site.fileName, sizeof site.fileName), std::string(sizeof site.fileName, 7));
    }
}

} // namespace
} // namespace tarn::test
