// Backups in the sibling directory "<directory>bak".
#include <tarn_boot/database.h>

#include "legacy_test.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

class BackupTest : public BootTest {
protected:
    BackupTest()
    {
        fs::create_directory(folder);
        writeFile(file, "<Product/>");
    }
    uint32_t backUp() { return SWM_BackupFile(file.c_str()); }
    static LogLine looked(const fs::path &directory, uint32_t result)
    {
        return commonWarning("bak pcFilePath is %s. uiRet=%u", directory.c_str(), result);
    }
    static LogLine copyFailed(const fs::path &directory)
    {
        return commonWarning("SWM_GetBackupPath failed %s.", directory.c_str());
    }
    __attribute__((format(printf, 1, 2))) static LogLine commonWarning(const char *format, ...)
    {
        char text[4096];
        va_list arguments;
        va_start(arguments, format);
        vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        const std::string head = "[BOOT][SWM_COMMON][WARNING]: ";
        return {0, SWM_LOG_WARNING, head + format, head + text};
    }

    const fs::path folder = dir / "db";
    const fs::path file = folder / "packages.xml";
    const fs::path bak = dir / "dbbak";
    const fs::path copy = bak / "packages.xml";
};

TEST_F(BackupTest, PathOfTheDirectory)
{
    Text<256> buffer;
    EXPECT_EQ(SWM_GetBackupPath(folder.c_str(), buffer.bytes, 256), 1u) << "there is none";
    EXPECT_TRUE(buffer.isUntouched());
    writeFile(bak, "no directory");
    EXPECT_EQ(SWM_GetBackupPath(folder.c_str(), buffer.bytes, 256), 1u);
    fs::remove(bak);
    fs::create_directory(bak);
    EXPECT_EQ(SWM_GetBackupPath(folder.c_str(), buffer.bytes, 256), 0u);
    EXPECT_EQ(buffer.bytes, bak.string());
    EXPECT_EQ(SWM_GetBackupPath((folder.string() + "/").c_str(), buffer.bytes, 256), 1u)
        << "no separator is put or dropped";
    const uint32_t needed = static_cast<uint32_t>(bak.string().size()) + 1;
    EXPECT_EQ(SWM_GetBackupPath(folder.c_str(), buffer.bytes, needed), 0u);
    EXPECT_TRUE(nothingLogged());
    for (const uint32_t length : {needed - 1, 4u}) {
        EXPECT_EQ(SWM_GetBackupPath(folder.c_str(), buffer.bytes, length), 0u);
        EXPECT_EQ(buffer.bytes, bak.string().substr(0, length - 1));
        EXPECT_TRUE(logged({copyWarning("strncpy", "SWM_GetBackupPath")}));
    }
    EXPECT_EQ(SWM_GetBackupPath(nullptr, buffer.bytes, 256), 1u);
    EXPECT_EQ(SWM_GetBackupPath("", buffer.bytes, 256), 1u);
    EXPECT_EQ(SWM_GetBackupPath(folder.c_str(), nullptr, 256), 1u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(BackupTest, DirectoriesOfAnyLength)
{
    Text<384> buffer;
    // 255 characters with the suffix fit; beyond, the suffix is cut and what is left may be a directory too.
    const struct {
        size_t length;
        const char *suffix;
        bool warned;
    } rows[] = {{252, "bak", false}, {253, "ba", true}, {254, "b", true}, {255, "", true}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.length);
        const std::string deep = directoryOfLength(dir, row.length);
        fs::create_directories(deep + row.suffix);
        EXPECT_EQ(SWM_GetBackupPath(deep.c_str(), buffer.bytes, sizeof(buffer.bytes)), 0u);
        EXPECT_EQ(buffer.bytes, deep + row.suffix);
        EXPECT_TRUE(logged(row.warned ? Lines{copyWarning("snprintf", "SWM_GetBackupPath")} : Lines{}));
    }
}

TEST_F(BackupTest, CopiesAndOverwrites)
{
    fs::create_directory(bak);
    recordCalls({Call::UndoProtectFile, Call::CopyFile});
    EXPECT_EQ(backUp(), 0u);
    EXPECT_EQ(recordedCalls(),
              (Texts{"SWM_UndoProtectFile " + copy.string(), "SWM_CopyFile " + file.string() + " " + copy.string()}));
    EXPECT_EQ(readFile(copy), "<Product/>");
    EXPECT_TRUE(logged({looked(folder, 0)}));
    writeFile(file, "newer");
    fs::permissions(copy, fs::perms(0400));
    EXPECT_EQ(backUp(), 0u);
    EXPECT_EQ(readFile(copy), "newer");
    EXPECT_EQ(readFile(file), "newer");
    EXPECT_TRUE(logged({looked(folder, 0)}));
}

TEST_F(BackupTest, NoBackup)
{
    EXPECT_EQ(SWM_BackupFile(nullptr), 0x10000002u);
    EXPECT_EQ(SWM_BackupFile(""), 0x10000002u);
    EXPECT_EQ(SWM_BackupFile((folder / "none").c_str()), 0x10000003u);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(backUp(), 0x10000017u);
    EXPECT_TRUE(logged({looked(folder, 1)}));
    EXPECT_FALSE(fs::exists(bak)) << "never created";
    EXPECT_EQ(callCount(Call::CopyFile) + callCount(Call::UndoProtectFile), 0u);
}

TEST_F(BackupTest, TheCopysOwnStatus)
{
    fs::create_directory(bak);
    failCall(Call::CopyFile, 1);
    setFaultResult(0x1234567);
    EXPECT_EQ(backUp(), 0x1234567u);
    EXPECT_TRUE(logged({looked(folder, 0), copyFailed(folder)}));
    EXPECT_FALSE(fs::exists(copy));
    failCall(Call::UndoProtectFile, 1);
    EXPECT_EQ(backUp(), 0u) << "whether the protection was lifted is not asked";
    EXPECT_TRUE(faultHit());
    takeLog();
    fs::remove(copy);
    fs::create_directory(copy);
    const uint32_t status = backUp();
    EXPECT_TRUE(status != 0 && status != 0x10000002u && status != 0x10000003u && status != 0x10000017u) << status;
    EXPECT_TRUE(logged({looked(folder, 0), copyFailed(folder)}));
}

TEST_F(BackupTest, FilesOfTheRootAndOfTheCurrentDirectory)
{
    recordCalls({Call::SwmIsDirExist, Call::CopyFile});
    failCall(Call::SwmIsFileExist, 1);
    failCallToo(Call::SwmIsDirExist, 1);
    setFaultResult(1); // the file and "/bak" seem to be there
    EXPECT_NE(SWM_BackupFile("/no-such-file-of-a-test.xml"), 0u);
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_IsDirExist /bak",
                                      "SWM_CopyFile /no-such-file-of-a-test.xml /bak/no-such-file-of-a-test.xml"}));
    EXPECT_TRUE(logged({looked("/", 0), copyFailed("/")}));
    clearFaults();
    recordCalls({Call::SwmIsDirExist});
    failCall(Call::SwmIsFileExist, 1);
    setFaultResult(1);
    EXPECT_EQ(SWM_BackupFile("plain.xml"), 0x10000017u);
    EXPECT_EQ(recordedCalls(), Texts{"SWM_IsDirExist .bak"});
    EXPECT_TRUE(logged({looked(".", 1)}));
}

TEST_F(BackupTest, LongPaths)
{
    // 251 + "bak" + "/" + name: 383 characters fit, one more is cut.
    const std::string deep = directoryOfLength(dir, 251);
    const std::string deepBak = deep + "bak";
    fs::create_directories(deepBak);
    for (const size_t length : {128u, 129u}) {
        SCOPED_TRACE(length);
        const std::string name(length, 'n');
        writeFile(deep + "/" + name, name);
        EXPECT_EQ(SWM_BackupFile((deep + "/" + name).c_str()), 0u);
        const bool cut = length > 128;
        EXPECT_TRUE(fs::exists(deepBak + "/" + name.substr(0, 128)));
        EXPECT_EQ(readFile(deepBak + "/" + name.substr(0, 128)), name);
        EXPECT_EQ(fs::exists(deepBak + "/" + name), !cut);
        EXPECT_TRUE(
            logged(cut ? Lines{looked(deep, 0), copyWarning("snprintf", "SWM_BackupFile")} : Lines{looked(deep, 0)}));
        EXPECT_EQ(SWM_DelExistBackupFile((deep + "/" + name).c_str()), 0u);
        EXPECT_TRUE(logged(cut ? Lines{copyWarning("snprintf", "SWM_DelExistBackupFile")} : Lines{}));
        EXPECT_TRUE(fs::is_empty(deepBak));
    }
    // The working copy holds 383 characters of the path: of 384 the name loses its end, the directory nothing.
    for (const size_t length : {131u, 132u}) {
        const std::string name(length, 'm');
        writeFile(deep + "/" + name, name);
        EXPECT_EQ(SWM_BackupFile((deep + "/" + name).c_str()), 0u);
        Lines expected = {looked(deep, 0), copyWarning("snprintf", "SWM_BackupFile")};
        if (length > 131) {
            expected.insert(expected.begin(), copyWarning("strncpy", "SWM_BackupFile"));
        }
        EXPECT_TRUE(logged(expected));
        EXPECT_EQ(readFile(deepBak + "/" + name.substr(0, 128)), name);
    }
}

TEST_F(BackupTest, FailingTextsAreWarnings)
{
    fs::create_directory(bak);
    const struct {
        Call call;
        unsigned nth;
        const char *operation;
        const char *function;
    } rows[] = {{Call::Strncpy, 1, "strncpy", "SWM_BackupFile"},
                {Call::Snprintf, 1, "snprintf", "SWM_GetBackupPath"},
                {Call::Strncpy, 2, "strncpy", "SWM_GetBackupPath"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.operation);
        clearFaults();
        failCall(row.call, row.nth);
        backUp();
        const auto lines = takeLog();
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines[0].text.rfind(std::string("[BOOT][SWM_COMMON][WARNING]: ") + row.operation +
                                          " failed: " + row.function + ", line: ",
                                      0),
                  0u);
    }
}

TEST_F(BackupTest, Removal)
{
    EXPECT_EQ(SWM_DelExistBackupFile(nullptr), 0u);
    EXPECT_EQ(SWM_DelExistBackupFile(""), 0u);
    EXPECT_EQ(SWM_DelExistBackupFile((folder / "none").c_str()), 0u);
    EXPECT_EQ(SWM_DelExistBackupFile(file.c_str()), 0u) << "no backup directory";
    EXPECT_EQ(callCount(Call::UndoProtectFile), 0u);
    fs::create_directory(bak);
    EXPECT_EQ(SWM_DelExistBackupFile(file.c_str()), 0u) << "no backup";
    writeFile(copy, "backup");
    writeFile(bak / "beside", "stays");
    recordCalls({Call::UndoProtectFile, Call::DelFile});
    EXPECT_EQ(SWM_DelExistBackupFile(file.c_str()), 0u);
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_UndoProtectFile " + copy.string(), "DelFile " + copy.string()}));
    EXPECT_FALSE(fs::exists(copy));
    EXPECT_TRUE(fs::exists(file) && fs::exists(bak / "beside"));
    EXPECT_TRUE(nothingLogged());
    // A backup of a file that is gone stays.
    writeFile(copy, "backup");
    fs::remove(file);
    EXPECT_EQ(SWM_DelExistBackupFile(file.c_str()), 0u);
    EXPECT_TRUE(fs::exists(copy));
}

TEST_F(BackupTest, RemovalOfALinkAndOfWhatStays)
{
    fs::create_directory(bak);
    fs::create_symlink(file, copy);
    EXPECT_EQ(SWM_DelExistBackupFile(file.c_str()), 0u);
    EXPECT_FALSE(fs::is_symlink(copy));
    EXPECT_TRUE(fs::exists(file));
    fs::create_directory(copy);
    EXPECT_EQ(SWM_DelExistBackupFile(file.c_str()), 0u);
    EXPECT_TRUE(fs::exists(copy));
    EXPECT_TRUE(logged({LEGACY_LINE("remove file %s failed, errno=%d.", copy.c_str(), EISDIR)}));
}

} // namespace
} // namespace tarn::test
