// Extraction of one member: results, files, modes and the whole chain of log lines.
#include <unistd.h>

#include "support/extract_test.h"

namespace tarn::test {
namespace {

TEST_F(ExtractTest, SubfileNameGivesThePayload)
{
    EXPECT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_TRUE(logged({requested("app")}));
    EXPECT_TRUE(readFile(dest / "app") == app);
    EXPECT_EQ(modeOf(dest / "app"), 0440u);
    EXPECT_FALSE(fs::exists(workdir()));
}

TEST_F(ExtractTest, FileNameGivesTheWholeMember)
{
    EXPECT_EQ(extract("conf.img"), TARN_EXTRACT_OK);
    EXPECT_TRUE(logged({requested("conf.img")}));
    EXPECT_TRUE(readFile(dest / "conf.img") == wholeMember(1));
    EXPECT_EQ(modeOf(dest / "conf.img"), 0440u);
}

TEST_F(ExtractTest, SignatureMembersComeWithoutADigestCheck)
{
    for (const char *target :
         {"signature_pss_filelist.bin", "signature_pss_cms.bin", "signature_pss_filelist", "signature_pss_cms"}) {
        SCOPED_TRACE(target);
        clearFaults();
        EXPECT_EQ(ExtractIsSignatureFile(target), 1u);
        EXPECT_EQ(extract(target), TARN_EXTRACT_OK);
        EXPECT_EQ(callCount(Call::CalcSha256), 0u);
        const size_t index = std::string_view(target).starts_with("signature_pss_cms") ? 3 : 2;
        const bool whole = std::string_view(target).ends_with(".bin");
        EXPECT_TRUE(readFile(dest / target) == (whole ? wholeMember(index) : members[index].payload));
    }
    for (const char *name :
         {"signature_pss_cm", "signature_pss_cms.bi", "Signature_pss_cms", "signature_filelist", ""}) {
        EXPECT_EQ(ExtractIsSignatureFile(name), 0u);
    }
    EXPECT_EQ(ExtractIsSignatureFile(nullptr), 0u);
}

// Kept: the exemption goes by the target's name, whatever member answers to it.
TEST_F(ExtractTest, ExemptionGoesByTargetName)
{
    auto odd = member("x", "not listed");
    odd.subfileName = "signature_pss_cms.bin";
    members = writeSignedList(package, {odd, member("app", app)},
                              sectionText("app.img", packaging::memberDigest(member("app", app))));
    EXPECT_EQ(extract("signature_pss_cms.bin"), TARN_EXTRACT_OK);
    EXPECT_EQ(readFile(dest / "signature_pss_cms.bin"), "not listed");
    EXPECT_EQ(extract("x.img"), TARN_EXTRACT_DIGEST);
}

TEST_F(ExtractTest, FirstMemberThatAnswersToTheNameWins)
{
    // "b" is the subfile name of the first and the file name of the second: the first wins, payload only.
    std::vector<packaging::Member> two = {{"b", "a", "first", {}}, {"c", "b", "second", {}}};
    members = writeSigned(package, two);
    EXPECT_EQ(extract("b"), TARN_EXTRACT_OK);
    EXPECT_EQ(readFile(dest / "b"), "first");
    std::swap(two[0], two[1]);
    fs::remove(package);
    members = writeSigned(package, two);
    EXPECT_EQ(TARN_ExtractCacheDrop(), SWM_OK);
    EXPECT_EQ(extract("b"), TARN_EXTRACT_OK);
    EXPECT_TRUE(readFile(dest / "b") == wholeMember(0));
}

TEST_F(ExtractTest, EmptyPayloadGivesAnEmptyFile)
{
    members = writeSigned(package, {member("empty", "")});
    EXPECT_EQ(extract("empty"), TARN_EXTRACT_OK);
    EXPECT_EQ(fs::file_size(dest / "empty"), 0u);
    EXPECT_EQ(modeOf(dest / "empty"), 0440u);
}

TEST_F(ExtractTest, MissingLevelsOfTheDestinationAreMade)
{
    const fs::path deep = dest / "a/b/c";
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "conf", deep.c_str()), TARN_EXTRACT_OK);
    EXPECT_EQ(readFile(deep / "conf"), conf);
}

TEST_F(ExtractTest, BadArguments)
{
    const LogLine null = error("ExtractParamCheck: get null param.");
    const char *good[] = {package.c_str(), "app", dest.c_str()};
    for (int bad = 0; bad < 3; ++bad) {
        for (const char *value : {static_cast<const char *>(nullptr), ""}) {
            const char *args[] = {good[0], good[1], good[2]};
            args[bad] = value;
            EXPECT_EQ(TARN_ExtractFromPackage(args[0], args[1], args[2]), TARN_EXTRACT_PARAM);
            EXPECT_TRUE(logged({null}));
            EXPECT_EQ(TARN_ExtractFromPackageAndChmod(args[0], args[1], args[2], 0640), TARN_EXTRACT_PARAM);
            EXPECT_TRUE(logged({null}));
            EXPECT_EQ(ExtractParamCheck(args[0], args[1], args[2]), SWM_FAIL);
            EXPECT_TRUE(logged({null}));
        }
    }
    const LogLine missing = error("ExtractParamCheck: package %s not exist.", "/nonexistent/p.cc");
    EXPECT_EQ(TARN_ExtractFromPackage("/nonexistent/p.cc", "app", dest.c_str()), TARN_EXTRACT_PARAM);
    EXPECT_TRUE(logged({missing}));
    EXPECT_EQ(ExtractParamCheck("/nonexistent/p.cc", "app", dest.c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({missing}));
    EXPECT_EQ(ExtractParamCheck(good[0], good[1], good[2]), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(callCount(Call::SwmOpen), 0u);
    EXPECT_FALSE(fs::exists(dest));
}

TEST_F(ExtractTest, UnknownMember)
{
    EXPECT_EQ(extract("nothing"), TARN_EXTRACT_NO_MEMBER);
    EXPECT_TRUE(logged({requested("nothing"), warning("ExtractDoExtract: no such file:%s.", "nothing")}));
    EXPECT_FALSE(fs::exists(dest));
}

TEST_F(ExtractTest, UnlistedMemberInFrontTakesTheNameOfAListedOne)
{
    members = writeSignedList(package, {{"kernel", "front", "unsigned", {}}, member("kernel", "signed")},
                              sectionText("kernel.img", packaging::memberDigest(member("kernel", "signed"))));
    EXPECT_EQ(TARN_PackageVerify(package.c_str()), TARN_VERIFY_OK) << "unlisted members are not checked";
    EXPECT_EQ(extract("kernel"), TARN_EXTRACT_DIGEST);
    EXPECT_FALSE(fs::exists(dest));
    EXPECT_EQ(extract("kernel.img"), TARN_EXTRACT_OK);
    const Descriptor fd(package);
    FileSite site = {};
    site.name = "kernel";
    EXPECT_EQ(SWM_FindFileSiteFromCc(fd, &site), TARN_EXTRACT_OK);
    EXPECT_EQ(site.payloadOffset, memberOffset(members, 0) + kMemberHeaderSize);
    EXPECT_EQ(site.payloadLength, members[0].payload.size());
    EXPECT_STREQ(site.fileName, "front");
}

TEST_F(ExtractTest, MemberWithAnotherDigest)
{
    const std::string calculated = [&] {
        auto changed = members[0];
        changed.payload[100] = static_cast<char>(changed.payload[100] ^ 1);
        return packaging::memberDigest(changed);
    }();
    flipByte(package, memberOffset(members, 0) + kMemberHeaderSize + 100);
    const std::string listed = packaging::memberDigest(members[0]);
    EXPECT_EQ(extract("app"), TARN_EXTRACT_DIGEST);
    EXPECT_TRUE(logged({requested("app"),
                        error("ExtractVerifyFile: file(%s) verify failed, calc:%s, signed:%s.", "app.img",
                              calculated.c_str(), listed.c_str()),
                        error("ExtractDoExtract: file %s verify failed.", "app")}));
    EXPECT_FALSE(fs::exists(dest)) << "nothing has been written, not even the directory";
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK) << "the other members are as good as before";
}

TEST_F(ExtractTest, DigestCoversTheMembersHeader)
{
    flipByte(package, memberOffset(members, 1) + 3);
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_DIGEST);
}

TEST_F(ExtractTest, MemberThatTheListDoesNotName)
{
    members = writeSignedList(package, {member("app", app), member("conf", conf)},
                              sectionText("conf.img", packaging::memberDigest(member("conf", conf))) +
                                  sectionText("app", packaging::memberDigest(member("app", app))));
    EXPECT_EQ(extract("app"), TARN_EXTRACT_DIGEST) << "the list names files by file name only";
    EXPECT_TRUE(logged({requested("app"), error("ExtractVerifyFile: not found file(%s) in signed list.", "app.img"),
                        error("ExtractDoExtract: file %s verify failed.", "app")}));
    EXPECT_FALSE(fs::exists(dest));
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
}

TEST_F(ExtractTest, FirstListEntryOfAFileNameDecides)
{
    const std::string right = packaging::memberDigest(member("conf", conf));
    const std::string wrong(64, '0');
    members = writeSignedList(package, {member("conf", conf)},
                              sectionText("conf.img", right) + sectionText("conf.img", wrong));
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    fs::remove(package);
    TARN_ExtractCacheDrop();
    members = writeSignedList(package, {member("conf", conf)},
                              sectionText("conf.img", wrong) + sectionText("conf.img", right));
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_DIGEST);
}

TEST_F(ExtractTest, DigestTextsAreComparedExactly)
{
    std::string digest = packaging::memberDigest(member("conf", conf));
    for (char &digit : digest) {
        digit = digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit;
    }
    members = writeSignedList(package, {member("conf", conf)}, sectionText("conf.img", digest));
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_DIGEST);
    takeLog();
    fs::remove(package);
    TARN_ExtractCacheDrop();
    digest = packaging::memberDigest(member("conf", conf)) + "0";
    members = writeSignedList(package, {member("conf", conf)}, sectionText("conf.img", digest));
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_DIGEST) << "a digest of 65 characters leaves the field empty";
    const std::string calculated = packaging::memberDigest(member("conf", conf));
    EXPECT_TRUE(logged(
        {requested("conf"),
         error("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", "SHA256-DIGEST", digest.c_str()),
         error("ExtractVerifyFile: file(%s) verify failed, calc:%s, signed:%s.", "conf.img", calculated.c_str(), ""),
         error("ExtractDoExtract: file %s verify failed.", "conf")}));
}

TEST_F(ExtractTest, BrokenStructure)
{
    const auto size = static_cast<unsigned>(fs::file_size(package));
    appendBytes(package, "x");
    EXPECT_EQ(extract("app"), TARN_EXTRACT_STRUCTURE);
    EXPECT_TRUE(logged({requested("app"), error("SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.",
                                                size, size + 1)}));
    EXPECT_TRUE(cacheIsEmpty());
    EXPECT_FALSE(fs::exists(workdir()));
    EXPECT_FALSE(fs::exists(dest));
    EXPECT_EQ(extract("app"), TARN_EXTRACT_STRUCTURE) << "parsed again: nothing of the failure is kept";
}

TEST_F(ExtractTest, SignatureMembersMissing)
{
    packaging::writeContainer(package, {member("app", app)});
    EXPECT_EQ(extract("app"), TARN_EXTRACT_SIGNATURE);
    EXPECT_TRUE(logged({requested("app"), warning("ExtractDoExtract: no such file:%s.", "signature_pss_filelist"),
                        error("ExtractPrepareSignatre: extract pss filelist failed."),
                        error("ExtractGetSignedFilelist: prepare signature failed."),
                        error("ExtractCheckSignature: get filelist failed.")}));
    packaging::writeContainer(package, {member("app", app), listMember(sectionText("a", "b"))});
    EXPECT_EQ(extract("app"), TARN_EXTRACT_SIGNATURE);
    EXPECT_TRUE(logged({requested("app"), warning("ExtractDoExtract: no such file:%s.", "signature_pss_cms"),
                        error("ExtractPrepareSignatre: extract pss cms file failed."),
                        error("ExtractGetSignedFilelist: prepare signature failed."),
                        error("ExtractCheckSignature: get filelist failed.")}));
    EXPECT_TRUE(cacheIsEmpty());
    EXPECT_FALSE(fs::exists(workdir()));
}

TEST_F(ExtractTest, SignatureDoesNotHold)
{
    struct Row {
        const char *name;
        std::function<void()> damage;
    };
    const Row rows[] = {
        {"byte of the list", [&] { flipByte(package, memberOffset(members, 2) + kMemberHeaderSize + 5); }},
        {"byte of the signature", [&] { flipByte(package, memberOffset(members, 3) + memberLength(members[3]) - 1); }},
        {"foreign key",
         [&] {
             members[3].payload = foreignSigner().sign(members[2].payload);
             packaging::writeContainer(package, members);
         }},
        {"signature of another list",
         [&] {
             members[3].payload = signer().sign("another");
             packaging::writeContainer(package, members);
         }},
        {"empty signature",
         [&] {
             members[3].payload.clear();
             packaging::writeContainer(package, members);
         }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove(package);
        TARN_ExtractCacheDrop();
        members = writeSigned(package, {member("app", app), member("conf", conf)});
        row.damage();
        EXPECT_EQ(extract("conf"), TARN_EXTRACT_SIGNATURE);
        EXPECT_TRUE(logged(
            {requested("conf"),
             error("ExtractVerifySignature: verify pss filelist failed, ret:%u.", static_cast<unsigned>(kAnyNumber)),
             error("ExtractGetSignedFilelist: verify signature failed."),
             error("ExtractCheckSignature: get filelist failed.")}));
        EXPECT_TRUE(cacheIsEmpty());
        EXPECT_FALSE(fs::exists(workdir()));
        EXPECT_FALSE(fs::exists(dest));
    }
}

TEST_F(ExtractTest, SignedListWithoutSections)
{
    members = writeSignedList(package, {member("app", app)}, "no sections here\n");
    EXPECT_EQ(extract("app"), TARN_EXTRACT_SIGNATURE);
    EXPECT_TRUE(logged({requested("app"), error("TARN_SafeCacheSignedFile: load filelist %s failed.",
                                                (workdir() + "/signature_pss_filelist").c_str())}));
    EXPECT_TRUE(cacheIsEmpty());
}

TEST_F(ExtractTest, OldDestinationGoesEitherWay)
{
    fs::create_directory(dest);
    writeFile(dest / "conf", "old and longer than the new one");
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    EXPECT_EQ(readFile(dest / "conf"), conf);
    EXPECT_EQ(modeOf(dest / "conf"), 0440u);

    failCall(Call::SwmWrite, 1, ENOSPC);
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_WRITE);
    EXPECT_FALSE(fs::exists(dest / "conf"));
}

TEST_F(ExtractTest, LinkAtTheDestinationIsReplacedNotFollowed)
{
    fs::create_directory(dest);
    writeFile(dir / "victim", "untouched");
    fs::create_symlink(dir / "victim", dest / "conf");
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK);
    EXPECT_EQ(readFile(dir / "victim"), "untouched");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(dest / "conf")));
    takeLog();

    // A dangling link does not exist, so nothing is deleted; the creation must not follow it either.
    fs::create_symlink(dir / "not-there", dest / "app");
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WRITE);
    EXPECT_FALSE(fs::exists(dir / "not-there"));
    const std::string path = (dest / "app").string();
    EXPECT_TRUE(logged({requested("app"),
                        error("ExtractDumpTarget: create destfile(%s) failed, errno:%d.", path.c_str(), kAnyNumber),
                        error("ExtractDoExtract: extract file %s failed.", "app")}));
}

TEST_F(ExtractTest, DestinationPathHoldsThreeHundredEightyThreeCharacters)
{
    std::string deep = dir / "d";
    while (deep.size() < 383 - 5) { // "/conf" follows
        deep += deep.size() % 100 == 0 ? '/' : 'd';
    }
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "conf", deep.c_str()), TARN_EXTRACT_OK);
    EXPECT_EQ(readFile(deep + "/conf"), conf);
    takeLog();
    deep += "d";
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "conf", deep.c_str()), TARN_EXTRACT_WRITE);
    EXPECT_TRUE(logged(
        {notice("TARN_ExtractFromPackage: package(%s) target(%s) destdir(%s).", package.c_str(), "conf", deep.c_str()),
         error("ExtractDumpTarget: sprintf dest failed."),
         error("ExtractDoExtract: extract file %s failed.", "conf")}));
}

TEST_F(ExtractTest, ModeIsSetAfterwards)
{
    const auto extractWithMode = [&](uint32_t mode) {
        return TARN_ExtractFromPackageAndChmod(package.c_str(), "conf", dest.c_str(), mode);
    };
    EXPECT_EQ(extractWithMode(416), TARN_EXTRACT_OK);
    EXPECT_EQ(modeOf(dest / "conf"), 0640u);
    EXPECT_TRUE(logged({requested("conf")}));
    EXPECT_EQ(extractWithMode(0), TARN_EXTRACT_OK);
    EXPECT_EQ(modeOf(dest / "conf"), 0u);
    takeLog();

    const std::string path = (dest / "conf").string();
    failCall(Call::FchmodPath, 1);
    setFaultResult(23);
    EXPECT_EQ(extractWithMode(0640), TARN_EXTRACT_CHMOD);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(logged({requested("conf"),
                        error("TARN_ExtractFromPackageAndChmod: chmod failed file:%s ret:%u.", path.c_str(), 23u)}));
    EXPECT_EQ(TARN_ExtractFromPackageAndChmod(package.c_str(), "nothing", dest.c_str(), 0640), TARN_EXTRACT_NO_MEMBER);
}

TEST_F(ExtractTest, FailedModePathGivesNine)
{
    ASSERT_EQ(extract("conf"), TARN_EXTRACT_OK);
    clearFaults();
    takeLog();
    // The path for the mode is the last one to be built.
    ASSERT_EQ(extract("conf"), TARN_EXTRACT_OK);
    const unsigned pathsOfAnExtraction = callCount(Call::Sprintf);
    takeLog();
    failCall(Call::Sprintf, pathsOfAnExtraction + 1);
    EXPECT_EQ(TARN_ExtractFromPackageAndChmod(package.c_str(), "conf", dest.c_str(), 0640), TARN_EXTRACT_CHMOD);
    EXPECT_TRUE(logged({requested("conf"), error("TARN_ExtractFromPackageAndChmod: sprintf dest failed.")}));
}

struct FailureRow {
    const char *name;
    Call call;
    unsigned nth;
    int errorNumber;
    uint32_t result;
    std::vector<LogLine> lines; // after the request's own
};

// The nth use of each call when one member is extracted from a package that is already in the cache.
TEST_F(ExtractTest, FailuresOfACachedExtraction)
{
    const std::string path = (dest / "conf").string();
    const std::string work = workdir();
    const unsigned pid = static_cast<unsigned>(getpid());
    const LogLine notVerified = error("ExtractDoExtract: file %s verify failed.", "conf");
    const LogLine notExtracted = error("ExtractDoExtract: extract file %s failed.", "conf");
    const LogLine notCopied = error("ExtractDumpTarget: copy file failed, len:%u.", static_cast<unsigned>(conf.size()));
    const auto length = static_cast<unsigned>(conf.size());
    const FailureRow rows[] = {
        {"work directory",
         Call::MkDirRecursive,
         1,
         EACCES,
         TARN_EXTRACT_WORKDIR,
         {error("TARN_SafeCreateWorkdir: create workdir(%s) failed.", work.c_str())}},
        {"work directory name",
         Call::Sprintf,
         1,
         0,
         TARN_EXTRACT_WORKDIR,
         {error("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", "extract", pid),
          error("TARN_SafeCreateWorkdir: module(%u) get workdir failed.", 0u)}},
        {"digest: seek",
         Call::Lseek,
         1,
         EIO,
         TARN_EXTRACT_DIGEST,
         {error("TARN_SafeGetFileHash: lseek failed, errno:%d.", EIO), error("ExtractVerifyFile: calc hash failed."),
          notVerified}},
        {"digest",
         Call::CalcSha256,
         1,
         EIO,
         TARN_EXTRACT_DIGEST,
         {error("TARN_SafeGetFileHash: calc hash failed."), error("ExtractVerifyFile: calc hash failed."),
          notVerified}},
        {"destination directory",
         Call::MkDirRecursive,
         2,
         EACCES,
         TARN_EXTRACT_MKDIR,
         {error("ExtractDoExtract: mkdir %s failed.", dest.c_str())}},
        {"destination: seek",
         Call::Lseek,
         2,
         EIO,
         TARN_EXTRACT_WRITE,
         {error("ExtractSeekToTarget: package lseek failed, errno:%d.", EIO),
          error("ExtractDumpTarget: seek to target(%s) failed.", "conf"), notExtracted}},
        {"destination: create",
         Call::SwmOpen,
         2,
         EROFS,
         TARN_EXTRACT_WRITE,
         {error("ExtractDumpTarget: create destfile(%s) failed, errno:%d.", path.c_str(), EROFS), notExtracted}},
        {"copy: memory",
         Call::Malloc,
         1,
         ENOMEM,
         TARN_EXTRACT_WRITE,
         {error("TARN_SafeCopyByDescripter: malloc buffer failed, errno:%d.", ENOMEM), notCopied, notExtracted}},
        {"copy: read",
         Call::SwmRead,
         1,
         EIO,
         TARN_EXTRACT_WRITE,
         {error("TARN_SafeCopyByDescripter: read failed, need(%u) read(%d), errno:%d.", length, -1, EIO), notCopied,
          notExtracted}},
        {"copy: write",
         Call::SwmWrite,
         1,
         ENOSPC,
         TARN_EXTRACT_WRITE,
         {error("TARN_SafeCopyByDescripter: write failed, need(%d) write(%d), errno:%d.", static_cast<int>(length), -1,
                ENOSPC),
          notCopied, notExtracted}},
        {"fsync", Call::Fsync, 1, EIO, TARN_EXTRACT_OK, {}},
        {"unlock",
         Call::MutexUnlock,
         1,
         EPERM,
         TARN_EXTRACT_OK,
         {error("ExtractUnProtectAction: can't pthread unlock ret:%d, errno: %d.", EPERM, EPERM)}},
        {"lock",
         Call::MutexLock,
         1,
         EINVAL,
         SWM_FAIL,
         {error("ExtractProtectAction: can't pthread lock ret:%d, errno: %d.", EINVAL, EINVAL)}},
        {"identity", Call::Memcpy, 1, 0, TARN_EXTRACT_OK, {copyWarning("memcpy", "ExtractCacheUpdate")}},
    };
    for (const FailureRow &row : rows) {
        SCOPED_TRACE(row.name);
        fs::remove_all(dest);
        clearFaults();
        EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "app", (dir / "warm").c_str()), TARN_EXTRACT_OK);
        takeLog();
        failCall(row.call, row.nth, row.errorNumber);
        EXPECT_EQ(extract("conf"), row.result);
        EXPECT_TRUE(faultHit());
        std::vector<LogLine> lines = {requested("conf")};
        lines.insert(lines.end(), row.lines.begin(), row.lines.end());
        EXPECT_TRUE(logged(lines));
        EXPECT_EQ(fs::exists(dest / "conf"), row.result == TARN_EXTRACT_OK) << "no partly written file";
        EXPECT_FALSE(fs::exists(workdir()));
        clearFaults();
        EXPECT_EQ(extract("conf"), TARN_EXTRACT_OK) << "the next request works";
    }
}

TEST_F(ExtractTest, FailuresBeforeTheMutex)
{
    failCall(Call::SwmOpen, 1, EMFILE);
    EXPECT_EQ(extract("conf"), SWM_FAIL);
    EXPECT_TRUE(
        logged({error("TARN_ExtractFromPackage: open package(%s) failed, errno:%d.", package.c_str(), EMFILE)}));
    failCall(Call::Fstat, 1, EIO);
    EXPECT_EQ(extract("conf"), SWM_FAIL);
    EXPECT_TRUE(logged({requested("conf"), error("ExtractCacheUpdate: fstat %d failed, errno:%d", kAnyNumber, EIO)}));
    EXPECT_EQ(callCount(Call::MutexLock), callCount(Call::MutexUnlock));
}

TEST_F(ExtractTest, OldDestinationThatStays)
{
    fs::create_directories(dest / "conf"); // a directory cannot be deleted as a file
    const std::string path = (dest / "conf").string();
    EXPECT_EQ(extract("conf"), TARN_EXTRACT_WRITE);
    EXPECT_TRUE(logged({requested("conf"),
                        error("ExtractDumpTarget: delete exist destfile(%s) failed, errno:%d.", path.c_str(), EISDIR),
                        error("ExtractDoExtract: extract file %s failed.", "conf")}));
    writeFile(dir / "file", "");
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "conf", (dir / "file/sub").c_str()), TARN_EXTRACT_MKDIR);
}

// The package shrinks between check and copy: the copy notices, the file does not stay.
TEST_F(ExtractTest, PackageCutBetweenDigestAndCopy)
{
    ASSERT_EQ(extract("conf"), TARN_EXTRACT_OK);
    clearFaults();
    onCall(Call::SwmRead, 2, [&] { truncateTo(package, memberOffset(members, 0) + kMemberHeaderSize + kChunk); });
    EXPECT_EQ(extract("app"), TARN_EXTRACT_WRITE);
    EXPECT_FALSE(fs::exists(dest / "app"));
}

} // namespace
} // namespace tarn::test
