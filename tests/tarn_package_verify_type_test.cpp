// Verification of packages and of installed files by type, the signature of a directory's list, names in a list.
#include <fcntl.h>
#include <unistd.h>

#include <tarn_basic/tarn_basic.h>
#include <tarn_boot/verification.h>

#include "descriptor_test.h"
#include "packaging/package.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

constexpr const char *kFile = "tarn_package_verify.cpp";
constexpr const char *kLoader = "tarn_package_board_file.cpp";
constexpr unsigned kLong = 60000; // milliseconds
#define BASE_LINE(...) errorOf(kFile, "SWM_BASE", __VA_ARGS__)
#define COMMON_LINE(...) errorOf(kFile, "SWM_COMMON", __VA_ARGS__)

LogLine packageBegins(uint32_t type, const std::string &path)
{
    return info("[Verify package]Begin verify, type:%u, path:%s", type, path.c_str());
}

LogLine packageFailed(uint32_t code, uint32_t type, const std::string &path)
{
    return BASE_LINE("[Verify package]Verify package failed:0x%x, type:%u, path:%s", code, type, path.c_str());
}

LogLine packageSound(uint32_t type, const std::string &path)
{
    return info("[Verify package]Verify package success type:%u, path:%s", type, path.c_str());
}

LogLine listBegins(uint32_t type, const std::string &path)
{
    return info("[Verify File]Begin verify, type:%u, path:%s", type, path.c_str());
}

LogLine listFailed(uint32_t code, uint32_t type, const std::string &path)
{
    return BASE_LINE("[Verify File]Verify file failed:0x%x, type:%u, path:%s", code, type, path.c_str());
}

LogLine listSound(uint32_t type, const std::string &path)
{
    return info("[Verify File]Verify file in filelist success type:%u, path:%s", type, path.c_str());
}

LogLine fileDamaged(const std::string &path)
{
    return BASE_LINE("[Verify package]verify hash value failed, path:%s", path.c_str());
}

LogLine listNotLoaded()
{
    return errorOf(kLoader, "SWM_BASE", "SWM_GetAllRecordFromFilelistTxtNoCreateDir failed ret = %u", SWM_FAIL);
}

// The same file, its path filled up with "/" to that length.
std::string padded(const fs::path &path, size_t length)
{
    const std::string folder = path.parent_path().string();
    const std::string name = path.filename().string();
    return folder + std::string(length - folder.size() - name.size(), '/') + name;
}

std::string sha256Of(const fs::path &path)
{
    char digest[65] = "";
    const Descriptor file(path, O_RDONLY);
    EXPECT_EQ(SWM_CalcFileSHA256ValueByFileHandleStr(file, static_cast<uint32_t>(fs::file_size(path)), digest,
                                                     sizeof(digest)),
              0u);
    return digest;
}

class VerifyTypeTest : public BootTest {
protected:
    const fs::path package = dir / "sound.cc";
    const fs::path listPath = dir / "board.txt";
    const fs::path installed = dir / "installed";

    VerifyTypeTest() { fs::create_directories(installed); }

    std::vector<packaging::Member> makePackage()
    {
        return writeSigned(package, {member("app", pattern(5000)), member("conf", "key = value\n")});
    }
    static LogLine packageChecked(const std::string &path)
    {
        return info("TARN_PackageVerify: verify package(%s).", path.c_str());
    }
    // An installed file and its line.
    std::string fileLine(const std::string &name, const std::string &content) const
    {
        writeFile(installed / name, content);
        return sha256Of(installed / name) + " " + name + " " + installed.string() + " " + name + " " + name + " 0 x\n";
    }
    std::string dirLine(const std::string &name) const
    {
        return std::string(64, '0') + " / " + installed.string() + " " + name + " " + name + " 0 x NA NA 750 NA 0 x\n";
    }
    uint32_t checkList(const std::string &text) const
    {
        writeFile(listPath, text);
        return SWM_VerifyFilesInBoardFileList(listPath.c_str());
    }
};

// ---- Questions ----

TEST_F(VerifyTypeTest, PackageTypes)
{
    for (uint32_t type = 0; type < 5; ++type) {
        EXPECT_EQ(SWM_IsPackageTypeValid(type), 1u);
    }
    for (const uint32_t type : {5u, 6u, 100u, 0x80000000u, 0xFFFFFFFFu}) {
        EXPECT_EQ(SWM_IsPackageTypeValid(type), 0u);
    }
    EXPECT_EQ(SWM_IsNeedCmsCheck(), 1u);
}

TEST_F(VerifyTypeTest, PatchesAndMods)
{
    struct Row {
        const char *text;
        uint32_t patchOrMod;
    };
    const Row rows[] = {{"3", 1},   {"4", 1},  {"2", 0},   {"5", 0},          {"0", 0},   {"1", 0},          {"", 0},
                        {"abc", 0}, {" 3", 1}, {"\t4", 1}, {"\n\v\f\r 3", 1}, {"+3", 1},  {"-3", 0},         {"3x", 1},
                        {"4 5", 1}, {"03", 1}, {"0x3", 0}, {"33", 0},         {"x3", 0},  {"4294967299", 1}, {"- 3", 0},
                        {"3.9", 1}, {"34", 0}, {"010", 0}, {"+-3", 0},        {"--3", 0}, {nullptr, 0}};
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsPatOrModPackage(row.text), row.patchOrMod) << (row.text == nullptr ? "null" : row.text);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(VerifyTypeTest, PackageNames)
{
    struct Row {
        const char *name;
        uint32_t package;
    };
    const Row rows[] = {{"a.cc", 1}, {"a.CC", 1}, {".cc", 1},   {".CC", 1},   {"/x/y.cc", 1}, {"a.cc.cc", 1},
                        {"a.Cc", 0}, {"a.cC", 0}, {"a.ccx", 0}, {"a.cch", 0}, {"cc", 0},      {"a.cc ", 0},
                        {"", 0},     {"c", 0},    {"a.cc/", 0}, {nullptr, 0}};
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsPkgFile(row.name), row.package) << (row.name == nullptr ? "null" : row.name);
    }
    EXPECT_TRUE(nothingLogged());
}

// ---- Packages ----

TEST_F(VerifyTypeTest, SoundPackage)
{
    makePackage();
    EXPECT_EQ(SWM_VerifyPackage(1, package.c_str()), SWM_OK);
    EXPECT_TRUE(logged({packageBegins(1, package), packageChecked(package), packageSound(1, package)}));
    EXPECT_EQ(SWM_VerifyPackageByType(1, package.c_str()), SWM_OK);
    EXPECT_TRUE(logged({packageChecked(package)}));
}

TEST_F(VerifyTypeTest, OtherTypesOfPackages)
{
    makePackage();
    for (const uint32_t type : {0u, 2u, 3u, 4u, 0xFFFFFFFFu}) {
        EXPECT_EQ(SWM_VerifyPackage(type, package.c_str()), SWM_E_VERIFY);
        EXPECT_TRUE(logged({packageBegins(type, package), packageFailed(SWM_E_PARAM, type, package)}));
        EXPECT_EQ(SWM_VerifyPackageByType(type, package.c_str()), SWM_E_PARAM);
        EXPECT_EQ(SWM_VerifyPackageByType(type, nullptr), SWM_E_PARAM);
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(VerifyTypeTest, PathsOfPackages)
{
    makePackage();
    EXPECT_EQ(SWM_VerifyPackage(1, nullptr), SWM_E_PARAM);
    EXPECT_EQ(SWM_VerifyPackage(1, ""), SWM_E_PARAM);
    EXPECT_EQ(SWM_VerifyPackage(9, nullptr), SWM_E_PARAM);
    EXPECT_TRUE(nothingLogged());
    const std::string longest = padded(package, 383);
    EXPECT_EQ(SWM_VerifyPackage(1, longest.c_str()), SWM_OK);
    EXPECT_TRUE(logged({packageBegins(1, longest), packageChecked(longest), packageSound(1, longest)}));
    for (const size_t length : {384u, 385u, 1000u}) {
        for (const uint32_t type : {1u, 7u}) {
            const std::string tooLong = padded(package, length);
            EXPECT_EQ(SWM_VerifyPackage(type, tooLong.c_str()), SWM_E_PARAM);
            EXPECT_TRUE(logged({packageBegins(type, tooLong),
                                COMMON_LINE("[Verify package]Package path(%s) is invalid", tooLong.c_str())}));
        }
    }
    const std::string missing = (dir / "missing.cc").string();
    for (const uint32_t type : {1u, 2u}) {
        EXPECT_EQ(SWM_VerifyPackage(type, missing.c_str()), SWM_E_FILE_MISSING);
        EXPECT_TRUE(logged({packageBegins(type, missing),
                            COMMON_LINE("[Verify package]Package file(%s) does not exist.", missing.c_str())}));
    }
    const std::string missingLong = "/" + std::string(382, 'm');
    EXPECT_EQ(SWM_VerifyPackage(1, missingLong.c_str()), SWM_E_FILE_MISSING);
    takeLog();
}

TEST_F(VerifyTypeTest, PackagesThatAreNone)
{
    makePackage();
    const fs::path other = dir / "sound.img";
    fs::copy_file(package, other);
    EXPECT_EQ(SWM_VerifyPackage(1, other.c_str()), SWM_E_VERIFY);
    Lines lines = takeLog();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines.back().text.substr(lines.back().text.find("]: ") + 3),
              "[Verify package]Verify package failed:0x4, type:1, path:" + other.string());
    writeFile(package, "no package");
    EXPECT_EQ(SWM_VerifyPackage(1, package.c_str()), SWM_E_VERIFY);
    lines = takeLog();
    EXPECT_EQ(lines.back().text.substr(lines.back().text.find("]: ") + 3),
              "[Verify package]Verify package failed:0x3, type:1, path:" + package.string());
}

// In a child: a failed check of the contents keeps the cache's mutex.
TEST_F(VerifyTypeTest, DamagedPackage)
{
    const auto members = makePackage();
    flipByte(package, memberOffset(members, 0) + kMemberHeaderSize + 9);
    const auto status = runInChild(
        [&] {
            if (SWM_VerifyPackage(1, package.c_str()) != SWM_E_VERIFY) {
                return 1;
            }
            const Lines lines = takeLog();
            const LogLine expected = packageFailed(2, 1, package);
            return lines.size() > 3 && lines.front().text == packageBegins(1, package).text &&
                           lines.back().format == expected.format &&
                           lines.back().text.find("failed:0x2, type:1, path:" + package.string()) != std::string::npos
                       ? 0
                       : 2;
        },
        kLong);
    EXPECT_EQ(status, 0);
}

TEST_F(VerifyTypeTest, PackageOfAnotherSigner)
{
    const auto members = packaging::withSignature({member("app", "x")}, foreignSigner());
    packaging::writeContainer(package, members);
    EXPECT_EQ(SWM_VerifyPackage(1, package.c_str()), SWM_E_VERIFY);
    const Lines lines = takeLog();
    EXPECT_NE(lines.back().text.find("failed:0x2, type:1"), std::string::npos);
}

// ---- Board file lists ----

TEST_F(VerifyTypeTest, SoundBoardList)
{
    const std::string text = fileLine("b", "content of b") + fileLine("a", "");
    recordCalls({Call::IsFileDamaged2});
    EXPECT_EQ(checkList(text), SWM_OK);
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_SHA_IsFileDamaged2 " + (installed / "a").string() + " 32",
                                      "SWM_SHA_IsFileDamaged2 " + (installed / "b").string() + " 32"}));
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_VerifyFileInFileListByType(1, listPath.c_str()), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_VerifyFileInFileList(1, listPath.c_str()), SWM_OK);
    EXPECT_TRUE(logged({listBegins(1, listPath), listSound(1, listPath)}));
}

TEST_F(VerifyTypeTest, FirstDamagedFileEndsTheCheck)
{
    const std::string text = fileLine("a", "1") + fileLine("b", "2") + fileLine("c", "3");
    writeFile(installed / "b", "changed");
    fs::remove(installed / "c");
    recordCalls({Call::IsFileDamaged2});
    EXPECT_EQ(checkList(text), 1u);
    EXPECT_EQ(recordedCalls().size(), 2u);
    const std::string damaged = (installed / "b").string();
    EXPECT_TRUE(logged({fileDamaged(damaged)}));
    EXPECT_EQ(SWM_VerifyFileInFileList(1, listPath.c_str()), SWM_E_VERIFY);
    EXPECT_TRUE(logged({listBegins(1, listPath), fileDamaged(damaged), listFailed(1, 1, listPath)}));
    writeFile(installed / "b", "2");
    EXPECT_EQ(SWM_VerifyFilesInBoardFileList(listPath.c_str()), 1u) << "c is missing";
    EXPECT_TRUE(logged({fileDamaged((installed / "c").string())}));
}

TEST_F(VerifyTypeTest, DirectoriesAreNotHashedButMade)
{
    recordCalls({Call::IsFileDamaged2});
    EXPECT_EQ(checkList(dirLine("one") + dirLine("two/deep")), SWM_OK);
    EXPECT_TRUE(recordedCalls().empty());
    EXPECT_TRUE(fs::is_directory(installed / "one"));
    EXPECT_EQ(modeOf(installed / "one"), 0750u);
    EXPECT_TRUE(fs::is_directory(installed / "two/deep"));
    EXPECT_TRUE(nothingLogged());
    recordCalls({Call::IsFileDamaged2});
    EXPECT_EQ(checkList(dirLine("z") + fileLine("y", "y") + dirLine("x")), SWM_OK);
    EXPECT_EQ(recordedCalls(), Texts{"SWM_SHA_IsFileDamaged2 " + (installed / "y").string() + " 32"});
}

TEST_F(VerifyTypeTest, ListsThatDoNotLoad)
{
    const LogLine wrongSize = errorOf(
        kLoader, "SWM_BASE", "SwmLoadFileContent get file size not correct, file=%s size=%d.", listPath.c_str(), 0);
    EXPECT_EQ(checkList(""), 1u) << "no bytes";
    EXPECT_TRUE(logged({wrongSize, listNotLoaded()}));
    EXPECT_EQ(SWM_VerifyFileInFileList(1, listPath.c_str()), SWM_E_VERIFY);
    EXPECT_TRUE(logged({listBegins(1, listPath), wrongSize, listNotLoaded(), listFailed(1, 1, listPath)}));
    EXPECT_EQ(checkList("\n  \n"), SWM_E_PARAM) << "no records";
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_VerifyFileInFileList(1, listPath.c_str()), SWM_E_VERIFY);
    EXPECT_TRUE(logged({listBegins(1, listPath), listFailed(SWM_E_PARAM, 1, listPath)}));
    EXPECT_EQ(checkList(fileLine("a", "1") + "bad line\n"), 1u);
    EXPECT_FALSE(takeLog().empty());
    EXPECT_EQ(liveBlocks(), 0);
    EXPECT_EQ(SWM_VerifyFilesInBoardFileList((dir / "missing").c_str()), 1u);
    takeLog();
    EXPECT_EQ(SWM_VerifyFilesInBoardFileList(nullptr), SWM_FAIL);
    EXPECT_EQ(SWM_VerifyFilesInBoardFileList(""), SWM_FAIL);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(VerifyTypeTest, PathsThatAreCut)
{
    const std::string folder = "/" + std::string(200, 'd');
    const std::string name(100, 'f');
    EXPECT_EQ(checkList(std::string(64, '0') + " e " + folder + " pool " + name + " 0 x\n"), 1u);
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_VerifyFilesInBoardFileList"),
                        fileDamaged((folder + "/" + name).substr(0, 255))}));
    // A print that writes nothing leaves no path of another file.
    const std::string line = fileLine("a", "1");
    clearFaults();
    EXPECT_EQ(checkList(line), SWM_OK);
    const unsigned prints = callCount(Call::Snprintf);
    failCall(Call::Snprintf, prints);
    EXPECT_EQ(checkList(line), 1u) << "an unwritten path names no file";
    EXPECT_TRUE(faultHit());
    const Lines lines = takeLog();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text.find("[BOOT][SWM_COMMON][WARNING]: snprintf failed: SWM_VerifyFilesInBoardFileList"), 0u);
}

TEST_F(VerifyTypeTest, PathIsClearedBehindEachFile)
{
    const std::string text = fileLine("a", "1") + dirLine("d") + fileLine("b", "2");
    EXPECT_GE(failedClearsToldBy("SWM_VerifyFilesInBoardFileList", [&] { EXPECT_EQ(checkList(text), SWM_OK); }), 2u);
}

TEST_F(VerifyTypeTest, TypesOfLists)
{
    writeFile(listPath, fileLine("a", "1"));
    const LogLine wrongType = BASE_LINE("[Verify File]Verify file list type is invalid");
    for (const uint32_t type : {0u, 4u, 5u, 0xFFFFFFFFu}) {
        recordCalls({Call::SwmIsFileExist, Call::GetFileSize});
        EXPECT_EQ(SWM_VerifyFileInFileList(type, listPath.c_str()), SWM_E_PARAM);
        EXPECT_TRUE(recordedCalls().empty()) << "before any file access";
        EXPECT_TRUE(logged({listBegins(type, listPath), wrongType}));
        EXPECT_EQ(SWM_VerifyFileInFileListByType(type, listPath.c_str()), SWM_E_PARAM);
        EXPECT_TRUE(nothingLogged());
    }
    for (const uint32_t type : {2u, 3u}) {
        EXPECT_EQ(SWM_VerifyFileInFileList(type, listPath.c_str()), SWM_E_VERIFY);
        EXPECT_TRUE(logged({listBegins(type, listPath), listFailed(SWM_E_PARAM, type, listPath)}));
        EXPECT_EQ(SWM_VerifyFileInFileListByType(type, listPath.c_str()), SWM_E_PARAM);
        EXPECT_TRUE(nothingLogged());
    }
    // The type comes first.
    const std::string tooLong = padded(listPath, 384);
    EXPECT_EQ(SWM_VerifyFileInFileList(4, tooLong.c_str()), SWM_E_PARAM);
    EXPECT_TRUE(logged({listBegins(4, tooLong), wrongType}));
}

TEST_F(VerifyTypeTest, PathsOfLists)
{
    writeFile(listPath, fileLine("a", "1"));
    EXPECT_EQ(SWM_VerifyFileInFileList(1, nullptr), SWM_E_PARAM);
    EXPECT_EQ(SWM_VerifyFileInFileList(1, ""), SWM_E_PARAM);
    EXPECT_EQ(SWM_VerifyFileInFileList(4, nullptr), SWM_E_PARAM);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_VerifyFileInFileListByType(1, nullptr), SWM_FAIL);
    EXPECT_EQ(SWM_VerifyFileInFileListByType(2, nullptr), SWM_E_PARAM);
    EXPECT_TRUE(nothingLogged());
    const std::string longest = padded(listPath, 383);
    EXPECT_EQ(SWM_VerifyFileInFileList(1, longest.c_str()), SWM_OK);
    EXPECT_TRUE(logged({listBegins(1, longest), listSound(1, longest)}));
    for (const size_t length : {384u, 1000u}) {
        const std::string tooLong = padded(listPath, length);
        EXPECT_EQ(SWM_VerifyFileInFileList(1, tooLong.c_str()), SWM_E_PARAM);
        EXPECT_TRUE(logged({listBegins(1, tooLong), BASE_LINE("[Verify File]file list path is invalid")}));
    }
    const std::string missing = (dir / "missing").string();
    for (const uint32_t type : {1u, 2u, 3u}) {
        EXPECT_EQ(SWM_VerifyFileInFileList(type, missing.c_str()), SWM_E_FILE_MISSING);
        EXPECT_TRUE(logged({listBegins(type, missing), BASE_LINE("[Verify File]file list does not exist.")}));
    }
}

// ---- Signature of a directory's list ----

class DirectorySignatureTest : public VerifyTypeTest {
protected:
    const std::string signedText = "any text";
    const fs::path signedList = dir / "signature_pss_filelist";
    const fs::path signature = dir / "signature_pss_cms";

    uint32_t check() const { return SWM_VerifyDigitalSignatureFileList(fs::path(dir).c_str()); }
    LogLine told(uint32_t code) const
    {
        return info("[Verify package]src:%s, cms:%s, ret = %u", signedList.c_str(), signature.c_str(), code);
    }
};

TEST_F(DirectorySignatureTest, SoundAndDamaged)
{
    writeFile(signedList, signedText);
    writeFile(signature, signer().sign(signedText));
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_TRUE(logged({told(0)}));
    failCall(Call::VerifyPssCms, 1);
    setFaultResult(4321);
    EXPECT_EQ(check(), 4321u) << "the platform's code";
    EXPECT_TRUE(logged({told(4321)}));
    writeFile(signedList, "other text");
    const uint32_t damaged = check();
    EXPECT_NE(damaged, SWM_OK);
    EXPECT_TRUE(logged({told(damaged)}));
    writeFile(signedList, signedText);
    writeFile(signature, foreignSigner().sign(signedText));
    const uint32_t foreign = check();
    EXPECT_NE(foreign, SWM_OK);
    EXPECT_TRUE(logged({told(foreign)}));
}

TEST_F(DirectorySignatureTest, MissingFiles)
{
    EXPECT_EQ(check(), SWM_E_FILE_MISSING);
    writeFile(signedList, signedText);
    EXPECT_EQ(check(), SWM_E_FILE_MISSING);
    fs::remove(signedList);
    writeFile(signature, signer().sign(signedText));
    EXPECT_EQ(check(), SWM_E_FILE_MISSING);
    EXPECT_EQ(SWM_VerifyDigitalSignatureFileList(nullptr), SWM_FAIL);
    EXPECT_EQ(SWM_VerifyDigitalSignatureFileList(""), SWM_FAIL);
    EXPECT_EQ(callCount(Call::VerifyPssCms), 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(DirectorySignatureTest, DirectoryThatDoesNotFit)
{
    const LogLine cut = copyWarning("snprintf", "SWM_VerifyDigitalSignatureFileList");
    const std::string folder = "/" + std::string(300, 'd');
    EXPECT_EQ(SWM_VerifyDigitalSignatureFileList(folder.c_str()), SWM_E_FILE_MISSING);
    EXPECT_TRUE(logged({cut, cut}));
    writeFile(signedList, signedText);
    writeFile(signature, signer().sign(signedText));
    // The longest directory that both names fit behind.
    const std::string longest = padded(fs::path(dir), 255 - strlen("/signature_pss_filelist"));
    EXPECT_EQ(SWM_VerifyDigitalSignatureFileList(longest.c_str()), SWM_OK);
    takeLog();
    const std::string longer = padded(fs::path(dir), 256 - strlen("/signature_pss_filelist"));
    EXPECT_EQ(SWM_VerifyDigitalSignatureFileList(longer.c_str()), SWM_E_FILE_MISSING);
    EXPECT_TRUE(logged({cut}));
}

// ---- Names in a signed list ----

const std::string kSignedList = "[MAIN FILE INFO]\nCreate By=Korvel Technology Inc.\nFILENUM=2\n"
                                "[1]\nFILETYPE=1\nFILENAME=a.img\nSHA256-DIGEST=d\n"
                                "[2]\nFILETYPE=1\nFILENAME=b.img\nSHA256-DIGEST=d\n";

TEST_F(VerifyTypeTest, NamesInASignedList)
{
    struct Row {
        std::string name;
        uint32_t listed;
    };
    const Row rows[] = {{"a.img", 1}, {"b.img", 1}, {"A.img", 0}, {"a.im", 0}, {"a.imgx", 0}, {" a.img", 0}, {"a", 0}};
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsFileExistInSigContent(row.name.c_str(), kSignedList.c_str()), row.listed) << row.name;
        EXPECT_TRUE(logged(row.listed != 0 ? Lines{}
                                           : Lines{BASE_LINE("[Verify package]Can not find file %s in sig file list.",
                                                             row.name.c_str())}));
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_EQ(SWM_IsFileExistInSigContent(nullptr, kSignedList.c_str()), 0u);
    EXPECT_EQ(SWM_IsFileExistInSigContent("a.img", nullptr), 0u);
}

TEST_F(VerifyTypeTest, NamesInListsThatDoNotLoad)
{
    const auto digestFailed = [](uint32_t code) {
        return BASE_LINE("[Verify package]Get all file Digest Info failed(0x%x)", code);
    };
    const auto notGot = [](uint32_t code) {
        return BASE_LINE("[Verify package]get signature file digest info failed(0x%x).", code);
    };
    EXPECT_EQ(SWM_IsFileExistInSigContent("a.img", "nothing"), 0u);
    EXPECT_TRUE(logged({digestFailed(SWM_E_LIST_LOAD), notGot(SWM_E_LIST_LOAD)}));
    const std::string wrong = "[MAIN FILE INFO]\nCreate By=x\nFILENUM=2\n[1]\nFILETYPE=1\nFILENAME=a.img\n";
    EXPECT_EQ(SWM_IsFileExistInSigContent("a.img", wrong.c_str()), 0u);
    EXPECT_TRUE(
        logged({BASE_LINE("[Verify package]vrify create by failed, info = %s", "x"), digestFailed(1), notGot(1)}));
    for (unsigned nth = 1; nth <= 3; ++nth) {
        failCall(Call::Malloc, nth);
        EXPECT_EQ(SWM_IsFileExistInSigContent("a.img", kSignedList.c_str()), 0u);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_EQ(takeLog().back().format, notGot(0).format);
    }
}

} // namespace
} // namespace tarn::test
