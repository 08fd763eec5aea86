// The whole system in one run: packages built and signed, installed, recorded, upgraded, patched; then one thing after
// the other is damaged, found by the operation that has to find it, and repaired or refused.
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tarn_basic/device.h>

#include "whole_system.h"

namespace tarn::test {
namespace {

constexpr unsigned kPatience = 20000;
constexpr const char *kBadSignature = "ExtractVerifySignature: verify pss filelist failed";

State operator+(State left, const State &right)
{
    left.insert(left.end(), right.begin(), right.end());
    std::sort(left.begin(), left.end());
    return left;
}

// Whether a line since the last look has the text. One line has to name what was found.
bool said(const std::string &text)
{
    for (const LogLine &line : takeLog()) {
        if (line.text.find(text) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// A file system of one file, or plain bytes where mke2fs is missing.
std::string makeImage(const fs::path &dir, const std::string &content)
{
    const fs::path image = dir / "image";
    fs::create_directories(dir / "tree");
    writeFile(dir / "tree/release", content);
    const std::string command = "PATH=$PATH:/sbin:/usr/sbin mke2fs -q -t ext2 -d " + (dir / "tree").string() + " " +
                                image.string() + " 128k >/dev/null 2>&1";
    const bool made = system(command.c_str()) == 0;
    const std::string bytes = made ? readFile(image) : pattern(8192, 7);
    fs::remove(image);
    return bytes;
}

// Only root attaches, and not in every container or emulator.
bool canAttach(const fs::path &file)
{
    char probe[20] = "";
    return geteuid() == 0 && TARN_MountLoopDev(file.c_str(), 0, probe, sizeof(probe)) == 0 &&
           TARN_DelLoopDev(probe) == 0;
}

// What the file "release" says in the image on a device. The mount lives in a name space of the child's own, and so
// ends with it, however that ends.
std::string releaseOn(const fs::path &device, const fs::path &mountPoint)
{
    struct Result {
        char text[64];
        int error;
    };
    const Shared<Result> result;
    fs::create_directories(mountPoint);
    const auto status = runInChild(
        [&] {
            if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount(device.c_str(), mountPoint.c_str(), "ext2", MS_RDONLY, nullptr) != 0) {
                result->error = errno;
                return 1;
            }
            const std::string text = readFile(mountPoint / "release");
            text.copy(result->text, sizeof(result->text) - 1);
            return open((mountPoint / "new").c_str(), O_CREAT | O_WRONLY, 0600) < 0 && errno == EROFS ? 0 : 2;
        },
        kPatience);
    EXPECT_TRUE(status.has_value());
    EXPECT_NE(status.value_or(2), 2) << "the mount is writable";
    return status == 0 ? result->text : std::string("not mounted: ") + strerror(result->error);
}

class WholeSystemTest : public testing::Test {
protected:
    WholeSystemTest() : device(dir)
    {
        first = {"1.0",
                 {{"service", pattern(70000, 1)}, {"settings", "port = 80\n"}, {"notes", "version 1\n"}},
                 {{"usr/bin/notes", "/opt/app/bin/notes"}, {"usr/bin/service", "/opt/app/bin/service"}},
                 makeImage(dir, "system 1.0")};
        second = {"2.0",
                  {{"service", pattern(70000, 1)},
                   {"settings", "port = 8080\n"},
                   {"tools", "version 2\n"},
                   {"extra", "more\n"}},
                  {{"usr/bin/service", "/opt/app/bin/service2"}, {"usr/bin/tools", "/opt/app/bin/tools"}},
                  makeImage(dir, "system 2.0")};
        device.build(first);
        device.build(second);
        takeLog();
    }
    ~WholeSystemTest() override
    {
        SWM_DelExistFile((imageDir / "system").c_str());
        fs::remove("/tmp/package_desc.txt");
    }

    void expectState(const char *step, const State &expected) { EXPECT_EQ(device.state(), expected) << step; }
    const char *db() const { return device.database.c_str(); }
    // A failed verification keeps the cache's mutex: each one in a process of its own.
    void expectVerdict(const std::string &version, uint32_t expected, const std::string &text)
    {
        const fs::path package = device.packageOf(version);
        const auto outcome = runInChild(
            [&] {
                takeLog();
                const uint32_t result = TARN_PackageVerify(package.c_str());
                return result != expected ? 100 + static_cast<int>(result) : (said(text) ? 0 : 1);
            },
            kPatience);
        ASSERT_TRUE(outcome.has_value());
        EXPECT_EQ(*outcome, 0) << package << ": 1: not said: " << text << "; from 100: another result";
    }
    uint32_t extract(const std::string &version, const char *target)
    {
        TARN_ExtractCacheDrop();
        takeLog();
        return TARN_ExtractFromPackage(device.packageOf(version).c_str(), target, (dir / "out").c_str());
    }
    void readDescriptors(const std::string &version);
    void attachAndMount(const std::string &version);
    void install();
    void upgradeToSecond();
    State installedState(const Release &release) const
    {
        return treeOf(release) +
               State{"package app " + release.version + " " + release.ccFile(), "marker " + release.version};
    }
    // Replaces a file, calls, puts it back.
    template <typename Call> void damaged(const fs::path &file, const std::string &content, Call &&call)
    {
        const std::string sound = readFile(file);
        fs::permissions(file, fs::perms(0600));
        writeFile(file, content);
        takeLog();
        call();
        writeFile(file, sound);
    }
    static std::string flipped(const fs::path &file, size_t at)
    {
        std::string bytes = readFile(file);
        bytes.at(at) = static_cast<char>(bytes.at(at) ^ 1);
        return bytes;
    }
    // The last place where a member's payload begins with this text.
    static size_t placeOf(const fs::path &package, const std::string &text)
    {
        const size_t at = readFile(package).rfind(text);
        EXPECT_NE(at, std::string::npos);
        return at;
    }

    const TempDir dir;
    const Device device;
    const fs::path imageDir = dir / "images";
    Release first, second;
};

void WholeSystemTest::readDescriptors(const std::string &version)
{
    const std::string package = device.packageOf(version);
    EXPECT_EQ(SWM_IsCcFormatVerNotMy(package.c_str()), 0u);
    const fs::path desc = device.versionDir(version) / "desc";
    CcInfo cc = {};
    ASSERT_EQ(SWM_GetCcInfoFromCcDesc(package.c_str(), (desc / "cc_desc.txt").c_str(), &cc), SWM_OK);
    EXPECT_EQ(cc.ccFileName, fs::path(package).filename());
    EXPECT_EQ(cc.version, version);
    EXPECT_EQ(cc.startupFlag, 1u);
    EXPECT_EQ(cc.includedPackages.count, 2u);
    SWM_FreePackageStructureRecord(&cc.includedPackages);

    PkgDescInfo info = {};
    ASSERT_EQ(SWM_GetPkgInfoFromPkgDesc((desc / "package_desc.txt").c_str(), &info), SWM_OK);
    EXPECT_STREQ(info.packageName, "app");
    EXPECT_EQ(info.version, version);
    EXPECT_EQ(info.files.count, 1u);
    OwnedList required(SWM_FreePkgRequireList);
    (&required)->next = (&required)->prev = reinterpret_cast<SwmListNode *>(&required);
    EXPECT_EQ(SWM_MallocAndAddPkgRequireInfoToList(&required, cc.ccFileName, &info), SWM_OK);
    const auto requirements = required.nodes<PkgRequireInfo>();
    ASSERT_EQ(requirements.size(), 2u);
    EXPECT_STREQ(requirements[0]->data.requiredName, "base");
    EXPECT_EQ(requirements[0]->data.relation, PKG_RELATION_GE);
    EXPECT_STREQ(requirements[1]->data.requiredName, "tools");
    SWM_FreeFileStructureRecord(&info.files);
    SWM_FreeFileStructureRecord(&info.compatibleFiles);
}

// Devices and mounts are not to be had everywhere: where they are not, what is missing is said.
void WholeSystemTest::attachAndMount(const std::string &version)
{
    uint32_t count = 1;
    ImageNameRecord name = {};
    ASSERT_EQ(SWM_GetImageNameFromSubPkgVersion("app", version.c_str(), &name, &count), SWM_OK);
    ASSERT_STREQ(name.name, "system");
    fs::create_directories(imageDir);
    if (!canAttach(device.packageOf(version))) {
        std::printf("    skipped: the images of %s are not attached, no loop devices here\n", version.c_str());
        return;
    }
    ASSERT_EQ(SWM_ExtractFileByLoop(device.packageOf(version).c_str(), name.name, imageDir.c_str()), SWM_OK);
    const fs::path attached = fs::read_symlink(imageDir / "system");
    const std::string &image = version == first.version ? first.systemImage : second.systemImage;
    const Descriptor fd(attached, O_RDONLY);
    std::string bytes(4096, '\0');
    ASSERT_EQ(pread(fd, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    EXPECT_TRUE(bytes == image.substr(0, bytes.size())) << "the device does not hold the image";
    const std::string release = releaseOn(attached, dir / "mnt");
    if (release.starts_with("not mounted")) {
        std::printf("    skipped: the image of %s is not read, %s\n", version.c_str(), release.c_str());
    } else {
        EXPECT_EQ(release, "system " + version);
    }
    ASSERT_EQ(SWM_DelExistFile((imageDir / "system").c_str()), SWM_OK);
}

void WholeSystemTest::install()
{
    expectVerdict("1.0", TARN_VERIFY_OK, "verify package(");
    ASSERT_NO_FATAL_FAILURE(device.unpackDescriptors("1.0"));
    ASSERT_NO_FATAL_FAILURE(readDescriptors("1.0"));
    expectState("nothing is installed by looking", {});
    ASSERT_NO_FATAL_FAILURE(attachAndMount("1.0"));
    ASSERT_NO_FATAL_FAILURE(device.installAll("1.0"));
    expectState("files and links", treeOf(first));
    ASSERT_EQ(SWM_VerifyFileInFileList(1, device.boardList("1.0").c_str()), SWM_OK);

    ASSERT_EQ(SWM_CreateXmlFile(db()), SWM_OK);
    const SwmPackageInfo record = device.record("1.0");
    ASSERT_EQ(SWM_AddBasePackageInfo(db(), &record, 0), SWM_OK);
    ASSERT_EQ(SWM_CreatePkgBootlocalFile("app", "1.0"), SWM_OK);
    expectState("installed", installedState(first));
}

void WholeSystemTest::upgradeToSecond()
{
    expectVerdict("2.0", TARN_VERIFY_OK, "verify package(");
    ASSERT_NO_FATAL_FAILURE(device.unpackDescriptors("2.0"));
    ASSERT_NO_FATAL_FAILURE(readDescriptors("2.0"));
    ASSERT_NO_FATAL_FAILURE(attachAndMount("2.0"));
    EXPECT_EQ(SWM_BackupFile(db()), SWM_E_NO_BACKUP_DIR) << "the directory is the installer's to make";
    fs::create_directory(device.databaseDir.string() + "bak");
    ASSERT_EQ(SWM_BackupFile(db()), SWM_OK);
    ASSERT_NO_FATAL_FAILURE(device.upgrade("1.0", "2.0"));
    expectState("files of the second, record of the first",
                treeOf(second) + State{"marker 1.0", "package app 1.0 app-1.0.cc"});
    const SwmPackageInfo record = device.record("2.0");
    ASSERT_EQ(SWM_AddBasePackageInfo(db(), &record, 0), SWM_OK);
    ASSERT_EQ(SWM_RemovePkgBootlocalFile("app", "1.0"), SWM_OK);
    ASSERT_EQ(SWM_CreatePkgBootlocalFile("app", "2.0"), SWM_OK);
    expectState("upgraded", installedState(second));
}

TEST_F(WholeSystemTest, InstallUpgradePatch)
{
    ASSERT_NO_FATAL_FAILURE(install());
    ASSERT_NO_FATAL_FAILURE(upgradeToSecond());

    SwmPatchInfo patch = {};
    setText(patch.PatchName, "fix-1");
    setText(patch.Version, "1");
    setText(patch.SrcFilePath, "/patches/fix-1");
    setText(patch.InstallPath, "/opt/app");
    setText(patch.PkgPoolPath, "/pool/fix-1");
    ASSERT_EQ(SWM_AddPatchPackageInfo(db(), "app", &patch), SWM_OK);
    expectState("patched", installedState(second) + State{"patch fix-1"});
    EXPECT_NE(SWM_AddPatchPackageInfo(db(), "other", &patch), SWM_OK) << "a patch of no package";
    ASSERT_EQ(SWM_DelPatchPackageInfo(db(), "app", "fix-1"), SWM_OK);
    expectState("patch removed", installedState(second));

    SwmPackageInfo key = device.record("2.0");
    setText(key.CcPath, second.ccFile());
    ASSERT_EQ(SWM_IsPackageInstalled(db(), &key, SWM_MATCH_ALL), 1u);
    ASSERT_EQ(SWM_DelBasePackageInfo(db(), &key), SWM_OK);
    ASSERT_EQ(SWM_RemovePkgBootlocalFile("app", "2.0"), SWM_OK);
    expectState("taken out of the database", treeOf(second));
}

TEST_F(WholeSystemTest, AnInterruptedUpgradeIsCompletedByComparingAgain)
{
    ASSERT_NO_FATAL_FAILURE(install());
    ASSERT_NO_FATAL_FAILURE(device.unpackDescriptors("2.0"));
    // The new settings are there, everything else is still the old version's; an old file is gone.
    ASSERT_EQ(TARN_ExtractFromPackageAndChmod(device.packageOf("2.0").c_str(), "settings",
                                              device.below("opt/app/bin").c_str(), 0640),
              TARN_EXTRACT_OK);
    fs::remove(device.below("opt/app/bin/service"));
    ASSERT_NO_FATAL_FAILURE(device.upgrade("1.0", "2.0"));
    expectState("completed", treeOf(second) + State{"marker 1.0", "package app 1.0 app-1.0.cc"});
}

TEST_F(WholeSystemTest, DamagedPackages)
{
    ASSERT_NO_FATAL_FAILURE(install());
    const fs::path package = device.packageOf("2.0");
    const size_t table = 32 + 8;
    const struct {
        const char *name;
        size_t at;
        uint32_t verdict;
        const char *found;
        uint32_t refusal;
        const char *refused;
    } rows[] = {
        {"structure", table, TARN_VERIFY_STRUCTURE, "SafeGetNextFile: package invalid", TARN_EXTRACT_STRUCTURE,
         "SafeGetNextFile: package invalid"},
        {"content", placeOf(package, "port = 8080"), TARN_VERIFY_MISMATCH,
         "VerifyCheckIntegrity: file(settings.img) verify failed", TARN_EXTRACT_DIGEST,
         "ExtractVerifyFile: file(settings.img) verify failed"},
        {"signed list", placeOf(package, "[MAIN FILE INFO]"), TARN_VERIFY_MISMATCH, kBadSignature,
         TARN_EXTRACT_SIGNATURE, kBadSignature},
        {"signature", fs::file_size(package) - 1, TARN_VERIFY_MISMATCH, kBadSignature, TARN_EXTRACT_SIGNATURE,
         kBadSignature},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        damaged(package, flipped(package, row.at), [&] {
            expectVerdict("2.0", row.verdict, row.found);
            EXPECT_EQ(extract("2.0", "settings"), row.refusal);
            EXPECT_TRUE(said(row.refused));
            EXPECT_FALSE(fs::exists(dir / "out/settings"));
        });
    }
    damaged(package, "",
            [&] { expectVerdict("2.0", TARN_VERIFY_STRUCTURE, "SafeGetPkgHeader: get package header failed"); });
    EXPECT_EQ(extract("2.0", "settings"), TARN_EXTRACT_OK) << "the sound package again";
    expectState("refusals leave the device alone", installedState(first));
}

TEST_F(WholeSystemTest, APackageOfAnotherSigner)
{
    const fs::path package = device.packageOf("1.0");
    packaging::writeContainer(package, packaging::withSignature({member("settings", "port = 1\n")}, foreignSigner()));
    expectVerdict("1.0", TARN_VERIFY_MISMATCH, kBadSignature);
    EXPECT_EQ(extract("1.0", "settings"), TARN_EXTRACT_SIGNATURE);
    EXPECT_FALSE(fs::exists(dir / "out/settings"));
}

TEST_F(WholeSystemTest, DamagedFilesAreFoundNamedAndInstalledAgain)
{
    ASSERT_NO_FATAL_FAILURE(install());
    const fs::path settings = device.below("opt/app/bin/settings");
    fs::permissions(settings, fs::perms(0600));
    flipByte(settings, 3);
    takeLog();
    EXPECT_EQ(SWM_VerifyFileInFileList(1, device.boardList("1.0").c_str()), SWM_E_VERIFY);
    EXPECT_TRUE(said("verify hash value failed, path:" + settings.string()));
    fs::remove(device.below("opt/app/bin/notes"));
    EXPECT_EQ(device.repairFiles("1.0"), (State{"notes", "settings"})) << "and no other";
    EXPECT_EQ(SWM_VerifyFileInFileList(1, device.boardList("1.0").c_str()), SWM_OK);
    expectState("repaired", installedState(first));
    EXPECT_EQ(device.repairFiles("1.0"), State{}) << "nothing is left to do";
}

TEST_F(WholeSystemTest, ADamagedListIsRefusedAndUnpackedAgain)
{
    ASSERT_NO_FATAL_FAILURE(install());
    const fs::path list = device.boardList("1.0");
    fs::permissions(list, fs::perms(0600));
    writeFile(list, readFile(list) + "only three columns\n");
    takeLog();
    EXPECT_EQ(SWM_VerifyFileInFileList(1, list.c_str()), SWM_E_VERIFY);
    EXPECT_TRUE(said("line:only three columns"));
    EXPECT_EQ(SWM_VerifyFilesInBoardFileList(list.c_str()), 1u);
    ASSERT_NO_FATAL_FAILURE(device.unpackDescriptors("1.0"));
    EXPECT_EQ(SWM_VerifyFileInFileList(1, list.c_str()), SWM_OK);
    expectState("as installed", installedState(first));
}

TEST_F(WholeSystemTest, ADamagedDatabaseComesBackFromItsBackup)
{
    ASSERT_NO_FATAL_FAILURE(install());
    const fs::path backup = fs::path(device.databaseDir.string() + "bak") / "installed.xml";
    fs::create_directory(backup.parent_path());
    ASSERT_EQ(SWM_BackupFile(db()), SWM_OK);
    const std::string sound = readFile(backup);

    writeFile(device.database, "no database at all");
    takeLog();
    uint32_t count = 9;
    EXPECT_NE(SWM_GetPackageNodeNum(db(), &count), SWM_OK);
    EXPECT_TRUE(said(device.database.string()));
    const SwmPackageInfo key = device.record("1.0");
    EXPECT_EQ(SWM_IsPackageInstalled(db(), &key, SWM_MATCH_NAME_VERSION), 0u);
    EXPECT_NE(SWM_AddBasePackageInfo(db(), &key, 0), SWM_OK) << "no change of what cannot be read";
    EXPECT_EQ(readFile(device.database), "no database at all");

    // The name of a package is gone: reading stops there and says what is missing.
    std::string holed = sound;
    const size_t at = holed.find("<PackageName>");
    ASSERT_NE(at, std::string::npos);
    holed.erase(at, holed.find("<Version>") - at);
    writeFile(device.database, holed);
    SwmPackageInfo info = {};
    takeLog();
    EXPECT_EQ(SWM_GetChosenPackageInfo(db(), &info, "app", nullptr), SWM_FAIL);
    EXPECT_TRUE(said("Get PackageName content of Base failed."));

    fs::copy_file(backup, device.database, fs::copy_options::overwrite_existing);
    expectState("restored", installedState(first));
    ASSERT_EQ(SWM_DelExistBackupFile(db()), SWM_OK);
    EXPECT_FALSE(fs::exists(backup));
}

TEST_F(WholeSystemTest, WithoutDatabaseAndBackupTheRecordIsMadeAnewFromThePackage)
{
    ASSERT_NO_FATAL_FAILURE(install());
    const fs::path backup = fs::path(device.databaseDir.string() + "bak") / "installed.xml";
    fs::create_directory(backup.parent_path());
    ASSERT_EQ(SWM_BackupFile(db()), SWM_OK);
    truncateTo(backup, 20);
    fs::remove(device.database);
    uint32_t count = 9;
    takeLog();
    EXPECT_NE(SWM_GetPackageNodeNum(backup.c_str(), &count), SWM_OK);
    EXPECT_TRUE(said(backup.string()));
    EXPECT_EQ(SWM_BackupFile(db()), SWM_E_FILE_MISSING);
    expectState("no record", treeOf(first) + State{"marker 1.0"});

    CcInfo cc = {};
    ASSERT_EQ(SWM_GetCcInfoFromCcDesc(device.packageOf("1.0").c_str(),
                                      (device.versionDir("1.0") / "desc/cc_desc.txt").c_str(), &cc),
              SWM_OK);
    const SwmPackageInfo record = device.record(cc.version);
    SWM_FreePackageStructureRecord(&cc.includedPackages);
    ASSERT_EQ(SWM_CreateXmlFile(db()), SWM_OK);
    ASSERT_EQ(SWM_AddBasePackageInfo(db(), &record, 0), SWM_OK);
    ASSERT_EQ(SWM_BackupFile(db()), SWM_OK) << "over the damaged one";
    EXPECT_EQ(readFile(backup), readFile(device.database));
    expectState("recorded again", installedState(first));
}

} // namespace
} // namespace tarn::test
