// The read side of the database: one package, all of them, patches, mods and container files.
#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

template <class Record> bool sameBytes(const Record &a, const Record &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

template <class Record> Record filledRecord()
{
    Record record;
    memset(static_cast<void *>(&record), 0x5A, sizeof(record));
    return record;
}

// ---- Elements ----

TEST_F(XmlTest, PatchesAndModsAreReadAlike)
{
    const char *leaves[] = {"PatchName", "Version", "PatchPath"};
    for (int missing = 0; missing <= 3; ++missing) {
        std::string text = "<InstallPath>i</InstallPath><PkgPoolPath>l</PkgPoolPath><ModName>m</ModName>";
        for (int i = 0; i < 3; ++i) {
            text += i == missing ? "" : element(leaves[i], "v" + std::to_string(i));
        }
        const Document doc(element("Mod", text));
        SwmPatchInfo patchInfo = {};
        SwmModInfo modInfo = {};
        const bool whole = missing == 3;
        EXPECT_EQ(SWM_GetPatchInfo(doc.root(), &patchInfo), whole ? SWM_OK : F);
        EXPECT_TRUE(logged(whole ? Lines{} : Lines{xmlError("Get patch content failed, index %u.", missing)}));
        EXPECT_EQ(SWM_GetModInfo(doc.root(), &modInfo), whole ? SWM_OK : F);
        EXPECT_TRUE(logged(whole ? Lines{} : Lines{xmlError("Get mod content failed, index %u.", missing)}));
        if (whole) {
            EXPECT_STREQ(patchInfo.PatchName, "v0");
            EXPECT_STREQ(patchInfo.Version, "v1");
            EXPECT_STREQ(patchInfo.SrcFilePath, "v2");
            EXPECT_STREQ(patchInfo.InstallPath, "");
            EXPECT_STREQ(patchInfo.PkgPoolPath, "");
            EXPECT_EQ(memcmp(&patchInfo, &modInfo, sizeof(modInfo)), 0);
        }
    }
}

TEST_F(XmlTest, BaseOfAPackage)
{
    const char *leaves[] = {"PackageName", "Version", "CcFile", "CcPath", "InstallPath", "PkgPoolPath", "ActiveTime"};
    const SwmPackageInfo whole = package("p");
    for (unsigned missing = 0; missing < 8; ++missing) {
        SCOPED_TRACE(missing);
        const Document doc(packageText(whole, "", missing < 7 ? leaves[missing] : ""));
        const bool fails = missing < 6;
        SwmPackageInfo expected = whole;
        if (missing == 6) {
            fill(expected.ActiveTime, "kept");
        }
        SwmPackageInfo info = {};
        fill(info.ActiveTime, "kept");
        info.patchCount = expected.patchCount = 77;
        const Lines lines = fails ? Lines{xmlError("Get base content failed, index %u.", missing)} : Lines{};
        EXPECT_EQ(SWM_GetPackageBaseInfo(doc.root(), &info), fails ? F : SWM_OK);
        EXPECT_TRUE(logged(lines));
        SwmPackageInfo same = {};
        fill(same.ActiveTime, "kept");
        same.patchCount = 77;
        EXPECT_EQ(SWM_GetPackageInfo(doc.root(), &same), fails ? F : SWM_OK);
        EXPECT_TRUE(logged(fails ? lines + Lines{xmlError("Get base info failed.")} : lines));
        if (!fails) {
            for (const SwmPackageInfo &read : {info, same}) {
                EXPECT_EQ(SWM_ComparePackageBaseInfo(&read, &expected), 1u);
                EXPECT_STREQ(read.PackageName, expected.PackageName);
                EXPECT_STREQ(read.ActiveTime, expected.ActiveTime);
                EXPECT_EQ(read.patchCount, 77u);
                EXPECT_EQ(read.patches, nullptr);
            }
        }
    }
}

TEST_F(XmlTest, FieldsTakeTheirSizes)
{
    SwmPackageInfo whole = {};
    const std::string text(1000, 'f');
    fill(whole.PackageName, text);
    fill(whole.Version, text);
    fill(whole.CcFile, text);
    fill(whole.CcPath, text);
    fill(whole.InstallPath, text);
    fill(whole.PkgPoolPath, text);
    fill(whole.ActiveTime, text);
    const Document doc(packageText(whole));
    SwmPackageInfo info = {};
    EXPECT_EQ(SWM_GetPackageBaseInfo(doc.root(), &info), SWM_OK);
    EXPECT_TRUE(sameBytes(info, whole));
    EXPECT_TRUE(nothingLogged());
    std::string longer;
    for (const auto &[name, size] : {std::pair{"PackageName", 128u},
                                     {"Version", 128u},
                                     {"CcFile", 128u},
                                     {"CcPath", 256u},
                                     {"InstallPath", 256u},
                                     {"PkgPoolPath", 256u},
                                     {"ActiveTime", 32u}}) {
        longer += element(name, std::string(size, 'l'));
    }
    const Document tooLong(element("Package", element("Base", longer)));
    EXPECT_EQ(SWM_GetPackageBaseInfo(tooLong.root(), &info), SWM_OK);
    EXPECT_STREQ(info.PackageName, "");
    EXPECT_STREQ(info.PkgPoolPath, "");
    EXPECT_STREQ(info.ActiveTime, "");
    EXPECT_TRUE(logged(Lines(7, copyWarning("strcpy", "SWM_GetChildNodeContent"))));
}

TEST_F(XmlTest, PatchesOfAPackage)
{
    const Document doc(packageText(package("p"), readablePatch("a") + readablePatch("m", "Mod") + readablePatch("b")));
    SwmPatchInfo *patches = nullptr;
    uint32_t count = 99;
    EXPECT_EQ(SWM_GetPackagePatchInfo(doc.root(), &patches, &count), SWM_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(patches[0].PatchName, "a");
    EXPECT_STREQ(patches[1].PatchName, "b");
    EXPECT_STREQ(patches[1].Version, "vb");
    EXPECT_STREQ(patches[1].SrcFilePath, "/p/b");
    EXPECT_STREQ(patches[1].InstallPath, "");
    free(patches);
    SwmModInfo *mods = nullptr;
    EXPECT_EQ(SWM_GetPackageModInfo(doc.root(), &mods, &count), SWM_OK);
    ASSERT_EQ(count, 1u);
    EXPECT_STREQ(mods[0].ModName, "m");
    free(mods);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, PatchesThatAreNotThereOrNotReadable)
{
    auto *const noPatches = reinterpret_cast<SwmPatchInfo *>(this);
    auto *const noMods = reinterpret_cast<SwmModInfo *>(this);
    SwmPatchInfo *patches = noPatches;
    SwmModInfo *mods = noMods;
    uint32_t count = 99;
    const Document none(packageText(package("p")));
    EXPECT_EQ(SWM_GetPackagePatchInfo(none.root(), &patches, &count), SWM_NO_ELEMENTS);
    EXPECT_EQ(SWM_GetPackageModInfo(none.root(), &mods, &count), SWM_NO_ELEMENTS);
    EXPECT_TRUE(nothingLogged());
    const Document written(
        packageText(package("p"), readablePatch("a") + patchText("b") + readablePatch("m", "Mod") + modText("n")));
    EXPECT_EQ(SWM_GetPackagePatchInfo(written.root(), &patches, &count), F);
    EXPECT_TRUE(logged(
        {xmlError("Get patch content failed, index %u.", 2u), xmlError("Get patch info failed, index %u.", 1u)}));
    EXPECT_EQ(SWM_GetPackageModInfo(written.root(), &mods, &count), F);
    EXPECT_TRUE(
        logged({xmlError("Get mod content failed, index %u.", 0u), xmlError("Get mod info failed, index %u.", 1u)}));
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_GetPackagePatchInfo(written.root(), &patches, &count), F);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({xmlError("Malloc patch info failed, number %u.", 2u)}));
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_GetPackageModInfo(written.root(), &mods, &count), F);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({xmlError("Malloc mod info failed, number %u.", 2u)}));
    EXPECT_EQ(patches, noPatches);
    EXPECT_EQ(mods, noMods);
    EXPECT_EQ(count, 99u);
}

TEST_F(XmlTest, FailedFillOfPatchesIsAWarning)
{
    const Document doc(packageText(package("p"), readablePatch("a") + readablePatch("m", "Mod")));
    SwmPatchInfo *patches = nullptr;
    uint32_t count = 0;
    failCall(Call::Memset, 1);
    EXPECT_EQ(SWM_GetPackagePatchInfo(doc.root(), &patches, &count), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_GetPackagePatchInfo")}));
    free(patches);
    SwmModInfo *mods = nullptr;
    failCall(Call::Memset, 1);
    EXPECT_EQ(SWM_GetPackageModInfo(doc.root(), &mods, &count), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_GetPackageModInfo")}));
    free(mods);
}

// ---- All packages ----

TEST_F(XmlTest, AllPackagesWithPatchesAndMods)
{
    const SwmPackageInfo first = package("p", "1");
    const SwmPackageInfo second = package("q", "2");
    writeDatabase("<StartupPackage/>" + packageText(first) +
                  packageText(second, readablePatch("m", "Mod") + readablePatch("a") + readablePatch("b")));
    SwmPackageInfo *records = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), SWM_OK);
    ASSERT_EQ(count, 2u);
    EXPECT_TRUE(sameBytes(records[0], first));
    EXPECT_STREQ(records[1].PackageName, "q");
    ASSERT_EQ(records[1].patchCount, 2u);
    EXPECT_STREQ(records[1].patches[1].PatchName, "b");
    ASSERT_EQ(records[1].modCount, 1u);
    EXPECT_STREQ(records[1].mods[0].ModName, "m");
    SWM_FreePackageInfo(records, count);
    EXPECT_TRUE(nothingLogged());
}

struct ListingRow {
    const char *name;
    std::string content;
    Lines lines; // of the filler
};

const ListingRow kListings[] = {
    {"a written patch",
     packageText(package("o")) + packageText(package("p"), patchText("x")),
     {xmlError("Get patch content failed, index %u.", 2u), xmlError("Get patch info failed, index %u.", 0u),
      xmlError("Get patch info failed, index %u.", 1u)}},
    {"a written mod",
     packageText(package("p"), readablePatch("a") + modText("x")),
     {xmlError("Get mod content failed, index %u.", 0u), xmlError("Get mod info failed, index %u.", 0u),
      xmlError("Get mod info failed, index %u.", 0u)}},
    {"a base without a leaf",
     packageText(package("o"), readablePatch("a")) + packageText(package("p"), readablePatch("a"), "CcPath"),
     {xmlError("Get base content failed, index %u.", 3u), xmlError("Get base info failed."),
      xmlError("Get package info failed, index %u.", 1u)}},
    {"no base",
     "<Package/>",
     {xmlError("Get base content failed, index %u.", 0u), xmlError("Get base info failed."),
      xmlError("Get package info failed, index %u.", 0u)}},
};

TEST_F(XmlTest, ListingsThatFail)
{
    for (const ListingRow &row : kListings) {
        SCOPED_TRACE(row.name);
        writeDatabase(row.content);
        const std::string before = readFile(path);
        auto *records = reinterpret_cast<SwmPackageInfo *>(this);
        uint32_t count = 99;
        const Lines lines = row.lines + Lines{xmlError("Get package info from %s failed.", path.c_str())};
        EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), F);
        EXPECT_TRUE(logged(lines));
        EXPECT_EQ(liveBlocks(), 0);
        auto *infos = reinterpret_cast<SwmCcInfo *>(this);
        EXPECT_EQ(SWM_MallocAndGetAllCcInfo(path.c_str(), &infos, &count), F);
        EXPECT_TRUE(logged(lines + Lines{xmlError("Malloc and get all package info from [%s] failed.", path.c_str())}));
        EXPECT_EQ(static_cast<void *>(records), this);
        EXPECT_EQ(static_cast<void *>(infos), this);
        EXPECT_EQ(count, 99u);
        SwmPackageInfo *own = SWM_MallocAndInitPackageInfo(2);
        EXPECT_EQ(SWM_GetAllPackageInfo(path.c_str(), own), F);
        EXPECT_TRUE(logged(row.lines));
        SWM_FreePackageInfo(own, 2);
        expectUnchanged(before);
    }
}

TEST_F(XmlTest, NoPackagesAndNoDatabase)
{
    auto *records = reinterpret_cast<SwmPackageInfo *>(this);
    auto *infos = reinterpret_cast<SwmCcInfo *>(this);
    uint32_t count = 99;
    SwmPackageInfo own = {};
    const LogLine noNumber = xmlError("Get package number from %s failed.", path.c_str());
    const LogLine noList = xmlError("Malloc and get all package info from [%s] failed.", path.c_str());
    EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), F);
    EXPECT_TRUE(logged(notReadable(path) + Lines{noNumber}));
    EXPECT_EQ(SWM_MallocAndGetAllCcInfo(path.c_str(), &infos, &count), F);
    EXPECT_TRUE(logged(notReadable(path) + Lines{noNumber, noList}));
    EXPECT_EQ(SWM_GetAllPackageInfo(path.c_str(), &own), F);
    EXPECT_TRUE(logged(notReadable(path)));
    writeDatabase("<StartupPackage/>");
    EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), SWM_NOT_INSTALLED);
    EXPECT_TRUE(logged({xmlInfo("Get package number is %d.", 0)}));
    EXPECT_EQ(SWM_MallocAndGetAllCcInfo(path.c_str(), &infos, &count), F);
    EXPECT_TRUE(logged({xmlInfo("Get package number is %d.", 0), noList}));
    EXPECT_EQ(SWM_GetAllPackageInfo(path.c_str(), &own), SWM_OK);
    EXPECT_EQ(static_cast<void *>(records), this);
    EXPECT_EQ(static_cast<void *>(infos), this);
    EXPECT_EQ(count, 99u);
    EXPECT_TRUE(nothingLogged());
}

// The file is read twice; what it gains in between has no room.
TEST_F(XmlTest, DatabaseThatGrowsBetweenTheReadings)
{
    std::string grown;
    for (int i = 0; i < 300; ++i) {
        grown += packageText(package("p" + std::to_string(i)), readablePatch("a"));
    }
    writeDatabase(packageText(package("p0")));
    onCall(Call::SwmIsFileExist, 2, [&] { writeDatabase(grown); });
    auto *records = reinterpret_cast<SwmPackageInfo *>(this);
    uint32_t count = 99;
    EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), F);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(static_cast<void *>(records), this);
    EXPECT_EQ(count, 99u);
    const Lines lines = takeLog();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().text, xmlError("Get package info from %s failed.", path.c_str()).text);
}

TEST_F(XmlTest, DatabaseThatShrinksBetweenTheReadings)
{
    writeDatabase(packageText(package("p")) + packageText(package("q")));
    onCall(Call::SwmIsFileExist, 2, [&] { writeDatabase(packageText(package("q"))); });
    SwmPackageInfo *records = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), SWM_OK);
    EXPECT_TRUE(faultHit());
    ASSERT_EQ(count, 2u);
    EXPECT_STREQ(records[0].PackageName, "q");
    EXPECT_STREQ(records[1].PackageName, "");
    SWM_FreePackageInfo(records, count);
}

TEST_F(XmlTest, NothingToFree)
{
    SwmPackageInfo *records = SWM_MallocAndInitPackageInfo(1);
    SWM_FreePackageInfo(records, 0);
    EXPECT_TRUE(logged({xmlWarning("Input para NULL or uiNumber=%u.", 0u)}));
    EXPECT_EQ(liveBlocks(), 1);
    free(records);
    SWM_FreePackageInfo(nullptr, 3);
    EXPECT_TRUE(logged({xmlWarning("Input para NULL or uiNumber=%u.", 3u)}));
}

// ---- One package ----

struct ChosenRow {
    const char *name, *package, *version;
    uint32_t status;
    const char *ccFile; // of what is found
    Lines lines = {};
};

TEST_F(XmlTest, ChosenPackage)
{
    writeDatabase(packageText(package("p", "1", "1.cc"), patchText("x")) + packageText(package("p", "2", "2.cc")) +
                  packageText(package("p", "", "none.cc")) + packageText(package("q", "1", "q.cc"), "", "InstallPath"));
    const ChosenRow rows[] = {
        {"by name", "p", nullptr, SWM_OK, "1.cc"},
        {"by version", "p", "2", SWM_OK, "2.cc"},
        {"the empty version", "p", "", SWM_OK, "none.cc"},
        {"no such version", "p", "3", SWM_NOT_INSTALLED, ""},
        {"no such name", "r", nullptr, SWM_NOT_INSTALLED, ""},
        {"not readable",
         "q",
         "1",
         F,
         "",
         {xmlError("Get base content failed, index %u.", 4u), xmlError("Get base info failed."),
          xmlError("Get package info of %s failed.", "q")}},
    };
    for (const ChosenRow &row : rows) {
        SCOPED_TRACE(row.name);
        const bool found = row.status == SWM_OK;
        const Lines lines =
            row.lines + (found ? Lines{xmlInfo("Get package info of %s success.", row.package)} : Lines{});
        SwmPackageInfo info = {};
        EXPECT_EQ(SWM_GetChosenPackageInfo(path.c_str(), &info, row.package, row.version), row.status);
        EXPECT_TRUE(logged(lines));
        auto *made = reinterpret_cast<SwmPackageInfo *>(this);
        EXPECT_EQ(SWM_MallocAndGetChosenPackageInfo(path.c_str(), &made, row.package, row.version), row.status);
        EXPECT_TRUE(logged(
            lines +
            Lines{found ? xmlInfo("Malloc and get package info of %s from %s success.", row.package, path.c_str())
                        : xmlWarning("Get package info of %s from %s unsuccessfully.", row.package, path.c_str())}));
        if (!found) {
            EXPECT_EQ(static_cast<void *>(made), this);
            EXPECT_EQ(liveBlocks(), 0);
            continue;
        }
        EXPECT_STREQ(info.CcFile, row.ccFile);
        EXPECT_TRUE(sameBytes(info, *made));
        EXPECT_EQ(made->patches, nullptr);
        EXPECT_EQ(made->patchCount, 0u);
        SWM_FreePackageInfo(made, 1);
    }
}

TEST_F(XmlTest, ChosenPackageOfAnUnreadableDatabase)
{
    const LogLine notGot = xmlWarning("Get package info of %s from %s unsuccessfully.", "p", path.c_str());
    const Lines damaged = {xmlError("Get %s content of %s failed.", "PackageName", "Base"),
                           xmlError("Match package name node of %s failed.", "p"),
                           xmlError("Match and get package node of %s failed.", "p")};
    SwmPackageInfo info = {};
    SwmPackageInfo *made = nullptr;
    const SwmPackageInfo wanted = key("p");
    EXPECT_EQ(SWM_GetChosenPackageInfo(path.c_str(), &info, "p", nullptr), F);
    EXPECT_TRUE(logged(notReadable(path)));
    EXPECT_EQ(SWM_MallocAndGetChosenPackageInfo(path.c_str(), &made, "p", nullptr), F);
    EXPECT_TRUE(logged(notReadable(path) + Lines{notGot}));
    EXPECT_EQ(SWM_IsPackageInstalled(path.c_str(), &wanted, 0), 0u);
    EXPECT_TRUE(logged(notReadable(path)));
    writeDatabase("<Package/>" + packageText(package("p")));
    EXPECT_EQ(SWM_GetChosenPackageInfo(path.c_str(), &info, "p", nullptr), F);
    EXPECT_TRUE(logged(damaged));
    EXPECT_EQ(SWM_MallocAndGetChosenPackageInfo(path.c_str(), &made, "p", nullptr), F);
    EXPECT_TRUE(logged(damaged + Lines{notGot}));
    EXPECT_EQ(SWM_IsPackageInstalled(path.c_str(), &wanted, 0), 0u);
    EXPECT_TRUE(logged(damaged));
    EXPECT_EQ(made, nullptr);
}

TEST_F(XmlTest, InstalledOrNot)
{
    writeDatabase(packageText(package("o")) + packageText(package("p", "1")) + packageText(package("p", "2", "b.cc")));
    struct Row {
        SwmPackageInfo key;
        uint32_t level, installed;
    };
    const Row rows[] = {{key("p", "9", "9"), 0, 1},    {key("P"), 0, 0},
                        {key("p", "2", "9"), 1, 1},    {key("p", "9"), 1, 0},
                        {key("p", "2", "b.cc"), 2, 1}, {key("p", "1", "b.cc"), 2, 0},
                        {key("p", "2", "/cc"), 2, 0},  {key("p", "2", "b.cc"), 77, 1},
                        {key("p", "2", "9"), 77, 0}};
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsPackageInstalled(path.c_str(), &row.key, row.level), row.installed)
            << row.key.Version << " " << row.key.CcPath << " " << row.level;
    }
    EXPECT_EQ(SWM_IsPackageInstalled(nullptr, &rows[0].key, 0), 0u);
    EXPECT_EQ(SWM_IsPackageInstalled("", &rows[0].key, 0), 0u);
    EXPECT_EQ(SWM_IsPackageInstalled(path.c_str(), nullptr, 0), 0u);
    EXPECT_TRUE(nothingLogged());
}

// ---- Container files ----

TEST_F(XmlTest, DistinctContainerFiles)
{
    writeDatabase(packageText(package("o", "1", "")) + packageText(package("p", "1", "a.cc", "/1")) +
                  packageText(package("p", "2", "b.cc", "/2")) + packageText(package("q", "1", "a.cc", "/3")) +
                  packageText(package("r", "1", std::string(127, 'f'), std::string(255, 'd'))));
    SwmCcInfo *infos = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(SWM_MallocAndGetAllCcInfo(path.c_str(), &infos, &count), SWM_OK);
    ASSERT_EQ(count, 3u);
    EXPECT_STREQ(infos[0].CcFullPath, "/1/a.cc");
    EXPECT_STREQ(infos[1].CcFullPath, "/2/b.cc");
    EXPECT_EQ(infos[2].CcFullPath, std::string(255, 'd') + "/" + std::string(127, 'f'));
    free(infos);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, ContainerFilesWithoutNamesOrFormat)
{
    writeDatabase(packageText(package("o", "1", "")));
    SwmCcInfo *infos = nullptr;
    uint32_t count = 99;
    EXPECT_EQ(SWM_MallocAndGetAllCcInfo(path.c_str(), &infos, &count), F);
    EXPECT_TRUE(logged({xmlError("Malloc cc info failed, uiNumber=%u.", 0u)}));
    EXPECT_EQ(infos, nullptr);
    EXPECT_EQ(count, 99u);
    writeDatabase(packageText(package("o", "1", "a")) + packageText(package("o", "1", "b")));
    failCall(Call::Snprintf, 1);
    EXPECT_EQ(SWM_MallocAndGetAllCcInfo(path.c_str(), &infos, &count), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_MallocAndGetAllCcInfo")}));
    EXPECT_EQ(count, 2u);
    EXPECT_STREQ(infos[1].CcFullPath, "/cc/b");
    free(infos);
}

TEST_F(XmlTest, NullArgumentsOfQueries)
{
    writeDatabase(packageText(package("p"), readablePatch("a")));
    const Document doc(readFile(path));
    xmlNode *node = child(doc.root(), "Package");
    const char *file = path.c_str();
    SwmPatchInfo patchInfo = filledRecord<SwmPatchInfo>();
    SwmModInfo modInfo = filledRecord<SwmModInfo>();
    SwmPackageInfo info = filledRecord<SwmPackageInfo>();
    SwmPatchInfo *patches = nullptr;
    SwmModInfo *mods = nullptr;
    SwmPackageInfo *records = nullptr;
    SwmCcInfo *infos = nullptr;
    uint32_t count = 99;
    expectRefused({
        {"patch: node", [&] { return SWM_GetPatchInfo(nullptr, &patchInfo); }},
        {"patch: out", [&] { return SWM_GetPatchInfo(node, nullptr); }},
        {"mod: node", [&] { return SWM_GetModInfo(nullptr, &modInfo); }},
        {"mod: out", [&] { return SWM_GetModInfo(node, nullptr); }},
        {"base: node", [&] { return SWM_GetPackageBaseInfo(nullptr, &info); }},
        {"base: out", [&] { return SWM_GetPackageBaseInfo(node, nullptr); }},
        {"package: node", [&] { return SWM_GetPackageInfo(nullptr, &info); }},
        {"package: out", [&] { return SWM_GetPackageInfo(node, nullptr); }},
        {"patches: node", [&] { return SWM_GetPackagePatchInfo(nullptr, &patches, &count); }},
        {"patches: out", [&] { return SWM_GetPackagePatchInfo(node, nullptr, &count); }},
        {"patches: count", [&] { return SWM_GetPackagePatchInfo(node, &patches, nullptr); }},
        {"mods: node", [&] { return SWM_GetPackageModInfo(nullptr, &mods, &count); }},
        {"mods: out", [&] { return SWM_GetPackageModInfo(node, nullptr, &count); }},
        {"mods: count", [&] { return SWM_GetPackageModInfo(node, &mods, nullptr); }},
        {"all: path", [&] { return SWM_GetAllPackageInfo("", &info); }},
        {"all: out", [&] { return SWM_GetAllPackageInfo(file, nullptr); }},
        {"chosen: path", [&] { return SWM_GetChosenPackageInfo(nullptr, &info, "p", nullptr); }},
        {"chosen: out", [&] { return SWM_GetChosenPackageInfo(file, nullptr, "p", nullptr); }},
        {"chosen: name", [&] { return SWM_GetChosenPackageInfo(file, &info, "", nullptr); }},
        {"new all: path", [&] { return SWM_MallocAndGetAllPackageInfo(nullptr, &records, &count); }},
        {"new all: out", [&] { return SWM_MallocAndGetAllPackageInfo(file, nullptr, &count); }},
        {"new all: count", [&] { return SWM_MallocAndGetAllPackageInfo(file, &records, nullptr); }},
        {"new chosen: path", [&] { return SWM_MallocAndGetChosenPackageInfo(nullptr, &records, "p", nullptr); }},
        {"new chosen: out", [&] { return SWM_MallocAndGetChosenPackageInfo(file, nullptr, "p", nullptr); }},
        {"new chosen: name", [&] { return SWM_MallocAndGetChosenPackageInfo(file, &records, nullptr, nullptr); }},
        {"files: path", [&] { return SWM_MallocAndGetAllCcInfo("", &infos, &count); }},
        {"files: out", [&] { return SWM_MallocAndGetAllCcInfo(file, nullptr, &count); }},
        {"files: count", [&] { return SWM_MallocAndGetAllCcInfo(file, &infos, nullptr); }},
    });
    EXPECT_TRUE(sameBytes(info, filledRecord<SwmPackageInfo>()));
    EXPECT_TRUE(sameBytes(patchInfo, filledRecord<SwmPatchInfo>()));
    EXPECT_EQ(count, 99u);
}

} // namespace
} // namespace tarn::test
