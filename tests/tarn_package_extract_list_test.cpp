// The legacy signature list in the temporary directory, and members copied with their header.
#include <cstdlib>

#include <sys/stat.h>

#include "legacy_test.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

struct Owner {
    explicit Owner(const fs::path &path)
    {
        struct stat status = {};
        EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
        uid = status.st_uid;
        gid = status.st_gid;
    }
    uid_t uid;
    gid_t gid;
};

// Another root path, the trust as before.
class Root {
public:
    explicit Root(const fs::path &root)
    {
        const fs::path file = programDir() / "other.conf";
        writeFile(file, "[paths]\nroot = " + root.string() + "\n[trust]\nanchors = " +
                            (programDir() / "keys/ca.pem").string() + "\nsigner_purpose = codeSigning\n");
        fs::permissions(file, fs::perms(0600));
        setenv("TARN_BASIC_CONFIG", file.c_str(), 1);
    }
    Root(const Root &) = delete;
    ~Root() { setenv("TARN_BASIC_CONFIG", (programDir() / "basic.conf").c_str(), 1); }
};

class SignatureListTest : public LegacyTest {
protected:
    uint32_t extractList() { return SWM_ExtractCcSignature(package.c_str(), path.bytes, sizeof(path.bytes)); }
    void makeTemp()
    {
        fs::create_directories(temp);
        fs::permissions(temp, fs::perms(0750));
    }

    const fs::path temp = programDir() / "swm/workdir/temp";
    const fs::path file = temp / "signature_filelist";
    Text<256> path;
};

TEST_F(SignatureListTest, TempPath)
{
    Text<256> buffer;
    recordCalls({Call::GetRootPath});
    EXPECT_EQ(SWM_GetWorkdirTempPath(buffer.bytes, sizeof(buffer.bytes)), 0u);
    EXPECT_EQ(buffer.bytes, temp.string());
    EXPECT_EQ(recordedCalls(), Texts{"SWM_GetRootPath 256"});
    EXPECT_TRUE(nothingLogged());
    const uint32_t needed = static_cast<uint32_t>(temp.string().size()) + 1;
    EXPECT_EQ(SWM_GetWorkdirTempPath(buffer.bytes, needed), 0u);
    EXPECT_EQ(buffer.bytes, temp.string());
    EXPECT_TRUE(nothingLogged());
    for (const uint32_t size : {needed - 1, 10u, 1u}) {
        EXPECT_EQ(SWM_GetWorkdirTempPath(buffer.bytes, size), 0u);
        EXPECT_EQ(buffer.bytes, temp.string().substr(0, size - 1));
        EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_GetWorkdirTempPath")}));
    }
    const Root other(fs::path("/") / std::string(237, 'r')); // 255 characters in all
    EXPECT_EQ(SWM_GetWorkdirTempPath(buffer.bytes, sizeof(buffer.bytes)), 0u);
    EXPECT_EQ(std::string(buffer.bytes), "/" + std::string(237, 'r') + "/swm/workdir/temp");
    EXPECT_TRUE(nothingLogged());
    const Root longer(fs::path("/") / std::string(239, 'r'));
    EXPECT_EQ(SWM_GetWorkdirTempPath(buffer.bytes, sizeof(buffer.bytes)), 0u);
    EXPECT_EQ(std::string(buffer.bytes), "/" + std::string(239, 'r') + "/swm/workdir/te");
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_GetWorkdirTempPath")}));
}

TEST_F(SignatureListTest, TempPathWithoutRootOrBuffer)
{
    Text<256> buffer;
    failCall(Call::GetRootPath, 1);
    setScribble(true);
    EXPECT_EQ(SWM_GetWorkdirTempPath(buffer.bytes, sizeof(buffer.bytes)), 0u);
    EXPECT_STREQ(buffer.bytes, "/swm/workdir/temp") << "half an answer is none";
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_GetWorkdirTempPath(nullptr, 256), 0u);
    EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_GetWorkdirTempPath")}));
}

TEST_F(SignatureListTest, ExtractedAndCleared)
{
    recordCalls({Call::MkParentDir});
    EXPECT_EQ(extractList(), 0u);
    EXPECT_EQ(recordedCalls(), Texts{"SWM_MkParentDir " + temp.string() + " 2000 2000 488"});
    EXPECT_EQ(path.bytes, file.string());
    EXPECT_EQ(readFile(file), legacyList);
    EXPECT_EQ(modeOf(file), 0640u);
    for (const fs::path &made : {programDir() / "swm", programDir() / "swm/workdir"}) {
        EXPECT_EQ(modeOf(made), 0750u);
        if (isRoot()) {
            EXPECT_EQ(Owner(made).uid, 2000u);
            EXPECT_EQ(Owner(made).gid, 2000u);
        }
    }
    EXPECT_TRUE(logged({notice("TARN_ExtractFromPackage: package(%s) target(%s) destdir(%s).", package.c_str(),
                               "signature_filelist", temp.c_str())}));
    writeFile(temp / "beside", "goes too");
    EXPECT_EQ(SWM_ClearCcSignaturePath(path.bytes), 0u);
    EXPECT_FALSE(fs::exists(temp));
    EXPECT_TRUE(fs::exists(programDir() / "swm/workdir"));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(SignatureListTest, OwnersByName)
{
    recordCalls({Call::GetUidByName});
    EXPECT_EQ(extractList(), 0u);
    EXPECT_EQ(recordedCalls(), Texts{"TARN_GetUidByName swm 2000"});
    recordCalls({Call::GetGidByName, Call::MkParentDir});
    failCall(Call::GetUidByName, 1);
    setFaultResult(4321);
    EXPECT_EQ(extractList(), 0u);
    EXPECT_EQ(recordedCalls(),
              (Texts{"TARN_GetGidByName swm 2000", "SWM_MkParentDir " + temp.string() + " 4321 2000 488"}));
    takeLog();
}

TEST_F(SignatureListTest, AnOlderListIsReplaced)
{
    makeTemp();
    writeFile(file, "old, and longer than the new one by far");
    writeFile(temp / "beside", "stays");
    EXPECT_EQ(extractList(), 0u);
    EXPECT_EQ(readFile(file), legacyList);
    EXPECT_EQ(readFile(temp / "beside"), "stays");
    EXPECT_EQ(modeOf(file), 0640u);
    EXPECT_EQ(takeLog().size(), 1u);
    // Whether it could be deleted is not asked: the extraction deletes it too.
    failCall(Call::DelFile, 1, EACCES);
    EXPECT_EQ(extractList(), 0u);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(takeLog().size(), 1u);
}

TEST_F(SignatureListTest, FailuresRemoveTheDirectory)
{
    const LogLine failed = LEGACY_LINE("Failed to extract file[%s] to [%s].", "signature_filelist", temp.c_str());
    const struct {
        const char *what;
        std::function<void()> damage;
    } rows[] = {
        {"no such member",
         [&] {
             members = writeSigned(package, {member("app", app), member("conf", conf)});
         }},
        {"digest", [&] { flipByte(package, payloadOffset(2)); }},
        {"structure", [&] { appendBytes(package, "x"); }},
        {"mode", [] { failCall(Call::FchmodPath, 1); }},
    };
    int64_t modified = 1000000;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        members = writeSigned(package, {member("app", app), member("conf", conf), member("signature_filelist", "l")});
        row.damage();
        setModified(package, ++modified);
        makeTemp();
        writeFile(temp / "beside", "goes too");
        recordCalls({Call::RemoveDir});
        EXPECT_EQ(extractList(), SWM_FAIL);
        EXPECT_EQ(recordedCalls(), Texts{"SWM_RemoveDir " + temp.string()});
        EXPECT_FALSE(fs::exists(temp));
        const auto lines = takeLog();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back().format, failed.format);
        EXPECT_TRUE(
            lines.back().text.ends_with("]: Failed to extract file[signature_filelist] to [" + temp.string() + "]."));
    }
}

TEST_F(SignatureListTest, EarlyFailures)
{
    const fs::path nowhere = dir / "nowhere.cc";
    EXPECT_EQ(SWM_ExtractCcSignature(nowhere.c_str(), path.bytes, sizeof(path.bytes)), SWM_FAIL);
    EXPECT_TRUE(logged({LEGACY_LINE("file: %s is not exist.", nowhere.c_str())}));
    EXPECT_TRUE(path.isUntouched());
    EXPECT_FALSE(fs::exists(programDir() / "swm"));
    recordCalls({Call::RemoveDir});
    failCall(Call::MkParentDir, 1, EACCES);
    EXPECT_EQ(extractList(), SWM_FAIL);
    EXPECT_TRUE(logged({LEGACY_LINE("Failed to mkdir[%s].", temp.c_str())}));
    EXPECT_TRUE(path.isUntouched());
    EXPECT_TRUE(recordedCalls().empty());
    const NullRow rows[] = {
        {"package", [&] { return SWM_ExtractCcSignature(nullptr, path.bytes, 256); }},
        {"empty package", [&] { return SWM_ExtractCcSignature("", path.bytes, 256); }},
        {"path", [&] { return SWM_ExtractCcSignature(package.c_str(), nullptr, 256); }},
    };
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), SWM_FAIL) << row.function;
        EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_ExtractCcSignature")})) << row.function;
    }
}

TEST_F(SignatureListTest, APathThatIsCutIsAWarning)
{
    EXPECT_EQ(SWM_ExtractCcSignature(package.c_str(), path.bytes, 10), 0u);
    EXPECT_EQ(path.bytes, file.string().substr(0, 9));
    EXPECT_EQ(path.bytes[10], 'u');
    const auto lines = takeLog();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text.rfind("[BOOT][SWM_COMMON][WARNING]: snprintf failed: SWM_ExtractCcSignature, line: ", 0),
              0u);
    EXPECT_EQ(lines[0].level, 4u);
    EXPECT_EQ(readFile(file), legacyList) << "the file is where it belongs";
}

TEST_F(SignatureListTest, Clearing)
{
    const LogLine line = nullParamOf(kLegacyFile, "SWM_ClearCcSignaturePath");
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(SWM_ClearCcSignaturePath(none), SWM_FAIL);
        EXPECT_TRUE(logged({line}));
    }
    EXPECT_EQ(SWM_ClearCcSignaturePath("signature_filelist"), SWM_FAIL);
    EXPECT_TRUE(logged({LEGACY_LINE("Failed to get dirname of [%s].", "signature_filelist")}));
    makeTemp();
    recordCalls({Call::GetDirname, Call::RemoveDir});
    failCall(Call::RemoveDir, 1);
    setFaultResult(77);
    EXPECT_EQ(SWM_ClearCcSignaturePath(file.c_str()), 77u);
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_GetDirname " + file.string() + " 256", "SWM_RemoveDir " + temp.string()}));
    EXPECT_TRUE(nothingLogged());
    failCall(Call::GetDirname, 1);
    EXPECT_EQ(SWM_ClearCcSignaturePath(file.c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({LEGACY_LINE("Failed to get dirname of [%s].", file.c_str())}));
    EXPECT_TRUE(fs::exists(temp));
}

// ---- Whole members ----

#define COPY_LINE(text, ...) LEGACY_LINE("extract file with header, " text, __VA_ARGS__)

class WholeMemberTest : public LegacyTest {
protected:
    uint32_t copy(const std::string &target, uint32_t mode = 0640) { return copyTo(dest, target, mode); }
    uint32_t copyTo(const fs::path &to, const std::string &target, uint32_t mode = 0640)
    {
        return SWM_ExtractFileWithHeader(package.c_str(), target.c_str(), to.c_str(), mode);
    }
};

TEST_F(WholeMemberTest, HeaderAndPayloadUnderEitherName)
{
    for (const char *target : {"app", "app.img"}) {
        EXPECT_EQ(copy(target), 0u);
        EXPECT_TRUE(readFile(dest / target) == wholeMember(0));
    }
    EXPECT_EQ(fs::file_size(dest / "app"), memberLength(members[0]));
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(callCount(Call::MutexLock), 0u) << "nothing of the package is checked";
}

TEST_F(WholeMemberTest, NothingIsChecked)
{
    packaging::writeContainer(package, {member("app", app), member("conf", conf)}); // not signed
    appendBytes(package, "behind");
    flipByte(package, payloadOffset(1));
    EXPECT_EQ(copy("conf"), 0u);
    EXPECT_TRUE(readFile(dest / "conf") == wholeMember(1));
    setField(package, slotLengthAt(1), 10); // shorter than a header
    EXPECT_EQ(copy("conf"), 0u);
    EXPECT_TRUE(readFile(dest / "conf") == wholeMember(1).substr(0, 10));
    setField(package, slotLengthAt(1), 0x80000000u); // a negative count copies nothing
    EXPECT_EQ(copy("conf"), 0u);
    EXPECT_EQ(readFile(dest / "conf"), "");
    EXPECT_TRUE(nothingLogged());
}

TEST_F(WholeMemberTest, ModesUnderTheUmask)
{
    recordCalls({Call::SwmOpen});
    EXPECT_EQ(copy("app", 0666), 0u);
    EXPECT_EQ(recordedCalls(),
              (Texts{"SWM_Open " + package.string() + " 0", "SWM_Open " + (dest / "app").string() + " 578 438"}));
    EXPECT_EQ(modeOf(dest / "app"), 0644u);
    EXPECT_EQ(copy("conf", 0600), 0u);
    EXPECT_EQ(modeOf(dest / "conf"), 0600u);
    const mode_t before = umask(077);
    EXPECT_EQ(copy("signature_filelist", 0666), 0u);
    umask(before);
    EXPECT_EQ(modeOf(dest / "signature_filelist"), 0600u);
}

TEST_F(WholeMemberTest, AnOlderFileIsCut)
{
    writeFile(dest / "conf", pattern(5000));
    fs::permissions(dest / "conf", fs::perms(0600));
    EXPECT_EQ(copy("conf", 0644), 0u);
    EXPECT_TRUE(readFile(dest / "conf") == wholeMember(1));
    EXPECT_EQ(modeOf(dest / "conf"), 0600u) << "the mode is for new files";
}

TEST_F(WholeMemberTest, Failures)
{
    const char *from = package.c_str();
    const std::string to = dest / "conf";
    const struct {
        Call call;
        unsigned nth;
        uint32_t result;
        bool created;
        Lines lines;
    } rows[] = {
        {Call::SwmIsDirExist, 1, 1, false, {COPY_LINE("file path: %s is not exist.", dest.c_str())}},
        {Call::SwmOpen, 1, 1, false, {COPY_LINE("Can't open file %s, errno = %d.", from, EIO)}},
        {Call::Malloc, 1, 1, false, {COPY_LINE("find file: %s from %s failed.", "conf", from)}},
        {Call::SwmRead,
         1,
         1,
         false,
         {LEGACY_LINE("Get CC header failed, FileLen = %d, errno = %d.", -1, EIO),
          COPY_LINE("find file: %s from %s failed.", "conf", from)}},
        {Call::SwmOpen, 2, 1, false, {COPY_LINE("open file %s failed, errno = %d.", to.c_str(), EIO)}},
        {Call::SwmRead,
         4,
         1,
         true,
         {LEGACY_LINE("read from cc fd failed, ReadLen = %d, errno = %d.", -1, EIO),
          COPY_LINE("copy file failed, subFile: %s, CcFile: %s.", "conf", from)}},
        {Call::SwmWrite,
         1,
         1,
         true,
         {LEGACY_LINE("write subfile fd failed, errno = %d.", EIO),
          COPY_LINE("copy file failed, subFile: %s, CcFile: %s.", "conf", from)}},
        {Call::Malloc,
         2,
         1,
         true,
         {LEGACY_LINE("alloc memory failed."), COPY_LINE("copy file failed, subFile: %s, CcFile: %s.", "conf", from)}},
    };
    const size_t descriptors = openDescriptors();
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.call)) + " " + std::to_string(row.nth));
        fs::remove(to);
        failCall(row.call, row.nth);
        EXPECT_EQ(copy("conf"), row.result);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(fs::exists(to), row.created);
        EXPECT_EQ(openDescriptors(), descriptors);
    }
}

TEST_F(WholeMemberTest, WhatIsMissing)
{
    writeFile(dest / "none", "not touched");
    EXPECT_EQ(copy("none"), SWM_LEGACY_NOT_FOUND);
    EXPECT_TRUE(logged({warning("Can't find file: %s in cc.", "none"),
                        COPY_LINE("find file: %s from %s not exist.", "none", package.c_str())}));
    EXPECT_EQ(readFile(dest / "none"), "not touched");
    EXPECT_EQ(copyTo(dir / "nowhere", "conf"), 1u);
    EXPECT_TRUE(logged({COPY_LINE("file path: %s is not exist.", (dir / "nowhere").c_str())}));
    fs::create_directory(dest / "app");
    EXPECT_EQ(copy("app"), 1u);
    EXPECT_EQ(takeLog().size(), 1u);
    fs::remove(package);
    EXPECT_EQ(copy("conf"), 1u);
    EXPECT_TRUE(logged({COPY_LINE("Can't open file %s, errno = %d.", package.c_str(), ENOENT)}));
}

TEST_F(WholeMemberTest, APartialCopyStays)
{
    setField(package, slotLengthAt(0), 0x7FFFFFFFu);
    const std::string rest = readFile(package).substr(memberOffset(members, 0));
    EXPECT_EQ(copy("app"), 1u);
    EXPECT_TRUE(readFile(dest / "app") == rest.substr(0, rest.size() / kChunk * kChunk));
    takeLog();
}

TEST_F(WholeMemberTest, PathsAreCutAt383)
{
    const struct {
        size_t length;
        const char *name;
        Lines lines;
    } rows[] = {
        {378, "conf", {}},
        {379, "con", {copyWarning("snprintf", "SWM_ExtractFileWithHeader")}},
    };
    for (const auto &row : rows) {
        const std::string deep = directoryOfLength(dir, row.length);
        EXPECT_EQ(copyTo(deep, "conf"), 0u);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_TRUE(readFile(deep + "/" + row.name) == wholeMember(1));
    }
}

TEST_F(WholeMemberTest, NullArguments)
{
    const char *from = package.c_str();
    const char *to = dest.c_str();
    const NullRow rows[] = {
        {"package", [&] { return SWM_ExtractFileWithHeader(nullptr, "conf", to, 0640); }},
        {"empty package", [&] { return SWM_ExtractFileWithHeader("", "conf", to, 0640); }},
        {"target", [&] { return SWM_ExtractFileWithHeader(from, nullptr, to, 0640); }},
        {"empty target", [&] { return SWM_ExtractFileWithHeader(from, "", to, 0640); }},
        {"directory", [&] { return SWM_ExtractFileWithHeader(from, "conf", nullptr, 0640); }},
        {"empty directory", [&] { return SWM_ExtractFileWithHeader(from, "conf", "", 0640); }},
    };
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), 1u) << row.function;
        EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_ExtractFileWithHeader")})) << row.function;
    }
    EXPECT_TRUE(fs::is_empty(dest));
}

} // namespace
} // namespace tarn::test
