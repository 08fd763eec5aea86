// CC descriptions: their four keys, the list of included packages, and the format of whole packages.
#include "descriptor_test.h"

namespace tarn::test {
namespace {

using Names = std::vector<std::string>;
using namespace std::string_literals;

constexpr const char *kFile = "tarn_package_parse_cc_desc.cpp";
constexpr const char *kFormatFile = "/tmp/package_desc.txt";
const std::string kSound = "package_format_ver: 1.3.0\nis_startup: yes\nversion: 2.1\ncc_include: pkgA;pkgB\n";

LogLine notRead(const std::string &key, const std::string &file)
{
    return errorOf(kFile, "SWM_BASE", "get %s from cc description file failed. file: %s.", key.c_str(), file.c_str());
}

LogLine tooLong(const std::string &key, uint32_t size)
{
    return errorOf("tarn_package_parse_desc_comm.cpp", "SWM_BASE",
                   "The value length of %s is not enough, len = %u, ret = %u", key.c_str(), size, SWM_E_BUFFER_SMALL);
}

Names namesOf(const SwmListHead &list)
{
    Names names;
    for (const PkgStructureRecord *record : List::recordsOf<PkgStructureRecord>(list)) {
        EXPECT_TRUE(isZeroFilled(record->packageName));
        names.push_back(textOf(record->packageName));
    }
    return names;
}

struct NameBuffer {
    char bytes[128] = "";
    NameBuffer(const std::string &name) { memcpy(bytes, name.data(), name.size()); }
};

class CcDescTest : public DescriptorTest {
protected:
    CcInfo info = {};

    uint32_t readInfo(const std::string &text, const char *ccPath = "/opt/some/base.cc")
    {
        info = {};
        return SWM_GetCcInfoFromCcDesc(ccPath, write(text), &info);
    }
    uint32_t readIncluded(const std::string &text)
    {
        list.clear();
        (&list)->count = 99;
        (&list)->next = nullptr;
        return SWM_GetAllPackageStructureFromCcDesc(write(text), &list);
    }
};

// ---- Whole descriptions ----

TEST_F(CcDescTest, SoundDescription)
{
    EXPECT_EQ(readInfo(kSound), SWM_OK);
    EXPECT_STREQ(info.ccFileName, "base.cc");
    EXPECT_STREQ(info.formatVersion, "1.3.0");
    EXPECT_EQ(info.startupFlag, 1u);
    EXPECT_STREQ(info.version, "2.1") << "the first line with the key, not the format's";
    EXPECT_EQ(namesOf(info.includedPackages), (Names{"pkgA", "pkgB"}));
    SWM_FreePackageStructureRecord(&info.includedPackages);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CcDescTest, MissingVersionsAreNoFailure)
{
    EXPECT_EQ(readInfo("is_startup:no\ncc_include:a\n"), SWM_OK);
    EXPECT_STREQ(info.formatVersion, "");
    EXPECT_STREQ(info.version, "");
    EXPECT_EQ(info.startupFlag, 0u);
    EXPECT_EQ(namesOf(info.includedPackages), Names{"a"});
    SWM_FreePackageStructureRecord(&info.includedPackages);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CcDescTest, NothingIncluded)
{
    EXPECT_EQ(readInfo("is_startup:no\n"), SWM_OK);
    EXPECT_TRUE(isEmptyList(info.includedPackages));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CcDescTest, NameOfTheCcFile)
{
    struct Row {
        const char *ccPath;
        const char *name;
    };
    const Row rows[] = {{"/opt/a/base.cc", "base.cc"}, {"base.cc", "base.cc"}, {"./x.CC", "x.CC"}, {"/x", "x"}};
    for (const Row &row : rows) {
        EXPECT_EQ(readInfo(kSound, row.ccPath), SWM_OK);
        EXPECT_STREQ(info.ccFileName, row.name);
        SWM_FreePackageStructureRecord(&info.includedPackages);
    }
    recordCalls({Call::GetDirAndBaseName});
    EXPECT_EQ(readInfo(kSound), SWM_OK);
    EXPECT_EQ(recordedCalls(), Names{"SWM_GetDirAndBaseName /opt/some/base.cc 256 128"});
    SWM_FreePackageStructureRecord(&info.includedPackages);
}

TEST_F(CcDescTest, CcFileWithoutAName)
{
    const LogLine line = errorOf(kFile, "SWM_BASE", "get cc file name failed. full path: %s.", path.c_str());
    EXPECT_EQ(readInfo(kSound, "/opt/base/"), SWM_FAIL);
    EXPECT_TRUE(logged({line}));
    EXPECT_EQ(readInfo(kSound, ("/opt/" + std::string(128, 'n')).c_str()), SWM_FAIL);
    EXPECT_TRUE(logged({line}));
    failCall(Call::GetDirAndBaseName, 1);
    EXPECT_EQ(readInfo(kSound), SWM_FAIL);
    EXPECT_TRUE(logged({line}));
    EXPECT_EQ(info.includedPackages.next, nullptr) << "nothing else was read";
    EXPECT_STREQ(info.version, "");
}

TEST_F(CcDescTest, ReadingStopsAtTheFirstFailure)
{
    const std::string longText(128, 'v');
    struct Row {
        std::string text;
        Lines lines;
        const char *formatVersion;
        uint32_t flag;
        const char *version;
    };
    const std::string file = path.string();
    const Row rows[] = {
        {"package_format_ver: " + longText + "\nis_startup: yes\nversion: 1\n",
         {tooLong("package_format_ver", 128), notRead("package_format_ver", file)},
         "",
         0,
         ""},
        {"package_format_ver: 1.3\nis_startup: Yes\nversion: 1\n", {notRead("is_startup", file)}, "1.3", 0, ""},
        {"package_format_ver: 1.3\nversion: 1\n", {notRead("is_startup", file)}, "1.3", 0, ""},
        {"package_format_ver: 1.3\nis_startup: yes\nversion: " + longText + "\n",
         {tooLong("version", 128), notRead("version", file)},
         "1.3",
         1,
         ""},
        {"package_format_ver: 1.3\nis_startup: yes\nversion: 1\ncc_include: " + std::string(256, 'n'),
         {tooLong("cc_include", 256), notRead("cc_include", file)},
         "1.3",
         1,
         "1"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        EXPECT_EQ(readInfo(row.text), SWM_FAIL);
        EXPECT_STREQ(info.ccFileName, "base.cc");
        EXPECT_STREQ(info.formatVersion, row.formatVersion);
        EXPECT_EQ(info.startupFlag, row.flag);
        EXPECT_STREQ(info.version, row.version);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(CcDescTest, DescriptionThatCannotBeOpened)
{
    const std::string missing = (dir / "missing").string();
    EXPECT_EQ(SWM_GetCcInfoFromCcDesc("/a/b.cc", missing.c_str(), &info), SWM_FAIL);
    EXPECT_TRUE(logged({notRead("package_format_ver", missing)}));
    EXPECT_STREQ(info.ccFileName, "b.cc");
    const char *kKeys[] = {"package_format_ver", "is_startup", "version", "cc_include"};
    for (unsigned step = 0; step < 4; ++step) {
        failCall(Call::SwmFopen, step + 1);
        EXPECT_EQ(readInfo(kSound), SWM_FAIL);
        EXPECT_TRUE(logged({notRead(kKeys[step], path.string())}));
    }
    EXPECT_TRUE(isEmptyList(info.includedPackages)) << "made empty before the file is opened";
}

// A list read in part is gone when the last step fails.
TEST_F(CcDescTest, PartlyReadListIsFreed)
{
    for (unsigned nth = 1;; ++nth) {
        failCall(Call::Malloc, nth);
        const uint32_t status = readInfo(kSound);
        if (!faultHit()) {
            EXPECT_EQ(status, SWM_OK);
            EXPECT_EQ(nth, 7u) << "a line buffer for each key and two records";
            break;
        }
        EXPECT_EQ(status, SWM_FAIL) << nth;
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(nth < 4 || isEmptyList(info.includedPackages));
        takeLog();
    }
    SWM_FreePackageStructureRecord(&info.includedPackages);
}

// ---- Startup flag ----

TEST_F(CcDescTest, StartupFlag)
{
    struct Row {
        std::string text;
        uint32_t status;
        uint32_t flag;
    };
    const Row rows[] = {{"is_startup: yes\n", SWM_OK, 1},
                        {"is_startup:no", SWM_OK, 0},
                        {"is_startup:\t yes \r\n", SWM_OK, 1},
                        {"is_startup: Yes\n", SWM_FAIL, 7},
                        {"is_startup: NO\n", SWM_FAIL, 7},
                        {"is_startup: yes no\n", SWM_FAIL, 7},
                        {"is_startup: 1\n", SWM_FAIL, 7},
                        {"is_startup:\n", SWM_FAIL, 7},
                        {"is_startup: yes: no\n", SWM_FAIL, 7},
                        {"other: yes\n", SWM_FAIL, 7},
                        {"", SWM_FAIL, 7},
                        {"is_startup: y\n", SWM_FAIL, 7},
                        {"is_startup: yess\n", SWM_FAIL, 7}};
    for (const Row &row : rows) {
        uint32_t flag = 7;
        EXPECT_EQ(SWM_GetIsStartupFromCcDesc(write(row.text), &flag), row.status) << row.text;
        EXPECT_EQ(flag, row.flag) << row.text;
    }
    EXPECT_TRUE(nothingLogged());
    uint32_t flag = 7;
    EXPECT_EQ(SWM_GetIsStartupFromCcDesc((dir / "missing").c_str(), &flag), SWM_FAIL);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_GetIsStartupFromCcDesc(write("is_startup: " + std::string(128, 'y')), &flag), SWM_FAIL);
    EXPECT_TRUE(logged({tooLong("is_startup", 128)}));
    EXPECT_EQ(flag, 7u);
}

// ---- Included packages ----

TEST_F(CcDescTest, IncludedPackages)
{
    const std::string name127(127, 'n');
    struct Row {
        const char *name;
        std::string value;
        Names expected;
        Lines lines = {};
    };
    const LogLine cut = copyWarning("snprintf", "SWM_GetAllPackageStructureFromCcDesc");
    const Row rows[] = {
        {"one", "pkgA", {"pkgA"}},
        {"in order", "b;a;c", {"b", "a", "c"}},
        {"each once", "pkgA;pkgB;pkgA", {"pkgA", "pkgB"}},
        {"case matters", "a;A", {"a", "A"}},
        {"trimmed as a whole", " \t a;b \r", {"a", "b"}},
        {"not one by one", "a ; b;a", {"a ", " b", "a"}},
        {"empty pieces", ";;a;;b;", {"a", "b"}},
        {"blank piece", "a; ;b", {"a", " ", "b"}},
        {"only separators", ";;", {}},
        {"nothing", "", {}},
        {"white space", "  ", {}},
        {"commas do not separate", "a,b", {"a,b"}},
        {"127 characters", name127, {name127}},
        {"128 characters are cut", name127 + "x;b", {name127, "b"}, {cut}},
        {"255 characters, one name twice", name127 + ";" + name127, {name127}},
        {"255 characters", std::string(255, 'n'), {name127}, {cut}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(readIncluded("cc_include: " + row.value + "\n"), SWM_OK);
        EXPECT_EQ(namesOf(*&list), row.expected);
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(CcDescTest, ListIsMadeAnewInEveryCase)
{
    EXPECT_EQ(readIncluded("name: x\n"), SWM_OK);
    EXPECT_TRUE(isEmptyList(*&list));
    SwmListHead head = garbageHead();
    EXPECT_EQ(SWM_GetAllPackageStructureFromCcDesc((dir / "missing").c_str(), &head), SWM_FAIL);
    EXPECT_TRUE(isEmptyList(head));
    head = garbageHead();
    EXPECT_EQ(SWM_GetAllPackageStructureFromCcDesc(write("cc_include: " + std::string(256, 'n')), &head), SWM_FAIL);
    EXPECT_TRUE(isEmptyList(head));
    EXPECT_TRUE(logged({tooLong("cc_include", 256)}));
}

TEST_F(CcDescTest, FailuresOfIncludedPackages)
{
    struct Row {
        Call call;
        unsigned nth;
    };
    // The first split and trim belong to the line, the second to its value.
    const Row rows[] = {{Call::StringTrim, 2}, {Call::TransString2Array, 2}, {Call::Malloc, 1}, {Call::Malloc, 2},
                        {Call::Malloc, 3},     {Call::SwmFopen, 1},          {Call::Fgets, 1}};
    for (const Row &row : rows) {
        SCOPED_TRACE(nameOf(row.call));
        failCall(row.call, row.nth);
        EXPECT_EQ(readIncluded("cc_include: a;b\n"), SWM_FAIL) << row.nth;
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(CcDescTest, AddingAPackage)
{
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("a").bytes), SWM_OK);
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("b").bytes), SWM_OK);
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("a").bytes), SWM_OK);
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("").bytes), SWM_OK);
    EXPECT_EQ(namesOf(*&list), (Names{"a", "b", ""}));
    // What stands behind the text counts too.
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("a\0x"s).bytes), SWM_OK);
    EXPECT_EQ(list.count(), 4u);
    EXPECT_EQ(memcmp(list.records<PkgStructureRecord>()[3]->packageName, "a\0x", 4), 0);
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("a\0x"s).bytes), SWM_OK);
    EXPECT_EQ(list.count(), 4u);
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("c").bytes), SWM_FAIL);
    EXPECT_EQ(list.count(), 4u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CcDescTest, FailedCopyLeavesAnEmptyName)
{
    failCall(Call::Memcpy, 1);
    EXPECT_EQ(SWM_AddPkgToCcIncludeStructure(&list, NameBuffer("a").bytes), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_AddPkgToCcIncludeStructure")}));
    EXPECT_EQ(namesOf(*&list), Names{""});
}

TEST_F(CcDescTest, SameNames)
{
    EXPECT_EQ(SWM_IsSamePkgStruRecord(NameBuffer("a").bytes, NameBuffer("a").bytes), 1u);
    EXPECT_EQ(SWM_IsSamePkgStruRecord(NameBuffer("a").bytes, NameBuffer("b").bytes), 0u);
    EXPECT_EQ(SWM_IsSamePkgStruRecord(NameBuffer("a").bytes, NameBuffer("a\0b"s).bytes), 0u);
    const NameBuffer full(std::string(128, 'x'));
    NameBuffer other = full;
    EXPECT_EQ(SWM_IsSamePkgStruRecord(full.bytes, other.bytes), 1u) << "no NUL is looked for";
    other.bytes[127] = 'y';
    EXPECT_EQ(SWM_IsSamePkgStruRecord(full.bytes, other.bytes), 0u) << "the last byte counts";
    EXPECT_EQ(SWM_IsSamePkgStruRecord(nullptr, full.bytes), 0u);
    EXPECT_EQ(SWM_IsSamePkgStruRecord(full.bytes, nullptr), 0u);
    EXPECT_EQ(SWM_IsSamePkgStruRecord(nullptr, nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CcDescTest, Release)
{
    ASSERT_EQ(readIncluded("cc_include: a;b;c\n"), SWM_OK);
    SWM_FreePackageStructureRecord(&list);
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(liveBlocks(), 0);
    SWM_FreePackageStructureRecord(&list);
    list.fillWithZeros();
    SWM_FreePackageStructureRecord(&list);
    SWM_FreePackageStructureRecord(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

TEST_F(CcDescTest, MissingArguments)
{
    write(kSound);
    const char *file = path.c_str();
    CcInfo kept;
    memset(&kept, 0x5A, sizeof(kept));
    const CcInfo before = kept;
    SwmListHead head = garbageHead();
    uint32_t flag = 7;
    const NameBuffer name("a");
    const NullRow rows[] = {
        {"SWM_GetCcInfoFromCcDesc", [&] { return SWM_GetCcInfoFromCcDesc(nullptr, file, &kept); }},
        {"SWM_GetCcInfoFromCcDesc", [&] { return SWM_GetCcInfoFromCcDesc("", file, &kept); }},
        {"SWM_GetCcInfoFromCcDesc", [&] { return SWM_GetCcInfoFromCcDesc("/a.cc", nullptr, &kept); }},
        {"SWM_GetCcInfoFromCcDesc", [&] { return SWM_GetCcInfoFromCcDesc("/a.cc", "", &kept); }},
        {"SWM_GetCcInfoFromCcDesc", [&] { return SWM_GetCcInfoFromCcDesc("/a.cc", file, nullptr); }},
        {"SWM_GetIsStartupFromCcDesc", [&] { return SWM_GetIsStartupFromCcDesc(nullptr, &flag); }},
        {"SWM_GetIsStartupFromCcDesc", [&] { return SWM_GetIsStartupFromCcDesc("", &flag); }},
        {"SWM_GetIsStartupFromCcDesc", [&] { return SWM_GetIsStartupFromCcDesc(file, nullptr); }},
        {"SWM_GetAllPackageStructureFromCcDesc", [&] { return SWM_GetAllPackageStructureFromCcDesc(nullptr, &head); }},
        {"SWM_GetAllPackageStructureFromCcDesc", [&] { return SWM_GetAllPackageStructureFromCcDesc("", &head); }},
        {"SWM_GetAllPackageStructureFromCcDesc", [&] { return SWM_GetAllPackageStructureFromCcDesc(file, nullptr); }},
        {"SWM_AddPkgToCcIncludeStructure", [&] { return SWM_AddPkgToCcIncludeStructure(nullptr, name.bytes); }},
        {"SWM_AddPkgToCcIncludeStructure", [&] { return SWM_AddPkgToCcIncludeStructure(&head, nullptr); }},
        {"SWM_IsCcFormatVerNotMy", [&] { return SWM_IsCcFormatVerNotMy(nullptr); }},
        {"SWM_IsCcFormatVerNotMy", [&] { return SWM_IsCcFormatVerNotMy(""); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
    }
    EXPECT_EQ(memcmp(&kept, &before, sizeof(kept)), 0);
    EXPECT_TRUE(isGarbageHead(head));
    EXPECT_EQ(flag, 7u);
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

// ---- Format of a package ----

class CcFormatTest : public CcDescTest {
protected:
    const fs::path package = dir / "base.cc";

    void SetUp() override
    {
        fs::remove(kFormatFile);
        CcDescTest::SetUp();
    }
    void TearDown() override
    {
        EXPECT_FALSE(fs::exists(kFormatFile));
        fs::remove(kFormatFile);
        CcDescTest::TearDown();
    }
    void makePackage(const std::string &description)
    {
        writeSigned(package, {member("app", "x"), member("package_desc.txt", description)});
    }
    uint32_t check() { return SWM_IsCcFormatVerNotMy(package.c_str()); }
    LogLine requested() const
    {
        return notice("TARN_ExtractFromPackage: package(%s) target(%s) destdir(%s).", package.c_str(),
                      "package_desc.txt", "/tmp");
    }
    LogLine notExtracted() const
    {
        return errorOf(kFile, "SYSPKG_INSTALL",
                       "Extract %s to %s from %s failed, the cc file may old format, return ok.", "package_desc.txt",
                       "/tmp", package.c_str());
    }
};

TEST_F(CcFormatTest, Versions)
{
    struct Row {
        const char *description;
        uint32_t other;
    };
    const Row rows[] = {
        {"package_format_ver: 1.3\n", 0},
        {"package_format_ver: 1.3.0\n", 0},
        {"package_format_ver: 1.3.10\n", 0},
        {"package_format_ver: 1.3.\n", 0},
        {"package_format_ver: 1.3.x", 0},
        {"package_format_ver: 1.30\n", 1},
        {"package_format_ver: 1.4\n", 1},
        {"package_format_ver:\n", 1},
        {"package_format_ver: 1\n", 1},
        {"package_format_ver: 11.3\n", 1},
        {"package_format_ver: 1.3a\n", 1},
        {"package_format_ver: 1.3 .\n", 1},
        {"version: 1.3\n", 1},
        {"package_format_ver: v1.3\n", 1},
        {"package_format_ver: 01.3\n", 1},
        {"package_format_ver: 1.3:a\n", 1},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.description);
        makePackage(row.description);
        TARN_ExtractCacheDrop();
        EXPECT_EQ(check(), row.other);
        EXPECT_FALSE(fs::exists(kFormatFile));
        EXPECT_TRUE(logged({requested()}));
    }
}

TEST_F(CcFormatTest, ModeOfTheExtractedFile)
{
    makePackage("package_format_ver: 1.3\n");
    unsigned mode = 0;
    onCall(Call::SwmFopen, 1, [&] { mode = modeOf(kFormatFile); });
    recordCalls({Call::SwmFopen});
    const uint32_t other = check();
    const Names opened = recordedCalls();
    EXPECT_EQ(other, 0u);
    ASSERT_FALSE(opened.empty());
    EXPECT_EQ(opened.back(), "SWM_Fopen /tmp/package_desc.txt r");
    // The signed list is opened first, the description is the last.
    onCall(Call::SwmFopen, 1, [&] { mode = modeOf(kFormatFile); });
    EXPECT_EQ(check(), 0u) << "the cache has the list by now";
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(mode, 0640u);
}

TEST_F(CcFormatTest, PackageWithoutADescription)
{
    writeSigned(package, {member("app", "x")});
    EXPECT_EQ(check(), 1u);
    const Lines lines = takeLog();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front().text, requested().text);
    EXPECT_EQ(lines.back().format, notExtracted().format);
    EXPECT_NE(lines.back().text.find("Extract package_desc.txt to /tmp from " + package.string() + " failed"),
              std::string::npos);
}

TEST_F(CcFormatTest, DamagedAndMissingPackages)
{
    const auto members = writeSigned(package, {member("package_desc.txt", "package_format_ver: 1.3\n")});
    flipByte(package, memberOffset(members, 0) + kMemberHeaderSize + 3);
    EXPECT_EQ(check(), 1u);
    EXPECT_EQ(takeLog().back().format, notExtracted().format);
    fs::remove(package);
    EXPECT_EQ(check(), 1u);
    EXPECT_EQ(takeLog().back().format, notExtracted().format);
}

// A package that fails is not judged by what another one has left there, and that file is not touched.
TEST_F(CcFormatTest, FileThatIsThereAlready)
{
    writeFile(kFormatFile, "package_format_ver: 1.3\n");
    makePackage("package_format_ver: 1.4\n");
    EXPECT_EQ(check(), 1u);
    EXPECT_FALSE(fs::exists(kFormatFile));
    writeSigned(package, {member("app", "x")});
    writeFile(kFormatFile, "package_format_ver: 1.3\n");
    EXPECT_EQ(check(), 1u);
    fs::remove(kFormatFile);
}

TEST_F(CcFormatTest, VersionThatCannotBeRead)
{
    makePackage("package_format_ver: " + std::string(128, '1') + "\n");
    EXPECT_EQ(check(), 1u);
    EXPECT_TRUE(logged({requested(), tooLong("package_format_ver", 128), notRead("package_format_ver", kFormatFile)}));
    EXPECT_FALSE(fs::exists(kFormatFile));
    failCall(Call::SwmFopen, 1);
    EXPECT_EQ(check(), 1u);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({requested(), notRead("package_format_ver", kFormatFile)}));
    EXPECT_FALSE(fs::exists(kFormatFile));
}

TEST_F(CcFormatTest, FailedModeChange)
{
    makePackage("package_format_ver: 1.3\n");
    ASSERT_EQ(check(), 0u);
    takeLog();
    failCall(Call::FchmodPath, 1);
    EXPECT_EQ(check(), 1u);
    EXPECT_EQ(takeLog().back().format, notExtracted().format);
    EXPECT_FALSE(fs::exists(kFormatFile));
}

} // namespace
} // namespace tarn::test
