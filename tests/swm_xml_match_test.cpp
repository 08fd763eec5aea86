// How elements of the database are found for a key, and how many there are.
#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

LogLine contentFailed(const char *leaf, const char *of)
{
    return xmlError("Get %s content of %s failed.", leaf, of);
}

// ---- Arrays ----

TEST_F(XmlTest, ArraysAreZeroFilled)
{
    SwmPackageInfo *packages = SWM_MallocAndInitPackageInfo(3);
    ASSERT_NE(packages, nullptr);
    const std::vector<char> zeros(3 * sizeof(SwmPackageInfo));
    EXPECT_EQ(memcmp(packages, zeros.data(), zeros.size()), 0);
    free(packages);
    SwmCcInfo *infos = SWM_MallocAndInitCcInfo(2);
    ASSERT_NE(infos, nullptr);
    EXPECT_EQ(memcmp(infos, zeros.data(), 2 * sizeof(SwmCcInfo)), 0);
    free(infos);
    EXPECT_EQ(SWM_MallocAndInitPackageInfo(0), nullptr);
    EXPECT_EQ(SWM_MallocAndInitCcInfo(0), nullptr);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, ArraysWithoutMemoryAndWithAFailedFill)
{
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_MallocAndInitPackageInfo(3), nullptr);
    EXPECT_TRUE(faultHit());
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_MallocAndInitCcInfo(3), nullptr);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Memset, 1);
    void *block = SWM_MallocAndInitPackageInfo(1);
    EXPECT_NE(block, nullptr);
    free(block);
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_MallocAndInitPackageInfo")}));
    failCall(Call::Memset, 1);
    block = SWM_MallocAndInitCcInfo(1);
    EXPECT_NE(block, nullptr);
    free(block);
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_MallocAndInitCcInfo")}));
}

// ---- One leaf ----

using Match = uint32_t (*)(xmlNode *, const char *, const char *, uint32_t *);

TEST_F(XmlTest, FlagIsOnlyClearedByLeaves)
{
    const Document doc(packageText(package("p")));
    for (const Match match : {Match{SWM_MatchPackageNode}, Match{SWM_MatchPackagePathNode}}) {
        for (const uint32_t before : {0u, 1u, 7u}) {
            uint32_t flag = before;
            EXPECT_EQ(match(doc.root(), "Version", "1.0", &flag), SWM_OK);
            EXPECT_EQ(flag, before);
            EXPECT_EQ(match(doc.root(), "Version", "1.00", &flag), SWM_OK);
            EXPECT_EQ(flag, 0u);
            flag = before;
            EXPECT_EQ(match(doc.root(), "NoLeaf", "1.0", &flag), F);
            EXPECT_EQ(flag, before);
            EXPECT_TRUE(logged({contentFailed("NoLeaf", "Base")}));
        }
    }
    const Document noBase("<Package><Version>1.0</Version></Package>");
    uint32_t flag = 1;
    EXPECT_EQ(SWM_MatchPackageNode(noBase.root(), "Version", "1.0", &flag), F);
    EXPECT_EQ(flag, 1u);
    EXPECT_TRUE(logged({contentFailed("Version", "Base")}));
}

struct LengthRow {
    size_t length;
    uint32_t nameFlag, pathFlag;
};

TEST_F(XmlTest, LeavesLongerThanTheirBufferReadAsEmpty)
{
    for (const LengthRow &row : {LengthRow{127, 1, 1}, {128, 0, 1}, {255, 0, 1}, {256, 0, 0}}) {
        SCOPED_TRACE(row.length);
        const std::string text(row.length, 'p');
        const Document doc(element("Package", element("Base", element("CcPath", text))));
        uint32_t flag = 1;
        EXPECT_EQ(SWM_MatchPackageNode(doc.root(), "CcPath", text.c_str(), &flag), SWM_OK);
        EXPECT_EQ(flag, row.nameFlag);
        const Lines warned = {copyWarning("strcpy", "SWM_GetChildNodeContent")};
        EXPECT_TRUE(logged(row.nameFlag == 1 ? Lines{} : warned));
        flag = 1;
        EXPECT_EQ(SWM_MatchPackagePathNode(doc.root(), "CcPath", text.c_str(), &flag), SWM_OK);
        EXPECT_EQ(flag, row.pathFlag);
        EXPECT_TRUE(logged(row.pathFlag == 1 ? Lines{} : warned));
        flag = 1;
        EXPECT_EQ(SWM_MatchPackageNode(doc.root(), "CcPath", "", &flag), SWM_OK);
        EXPECT_EQ(flag, row.nameFlag == 1 ? 0u : 1u) << "an over-long leaf equals the empty text";
        takeLog();
    }
}

TEST_F(XmlTest, FlagOfPatchesAndModsIsSet)
{
    const Document patchDoc(patchText("x"));
    const Document modDoc(modText("x"));
    for (const uint32_t before : {0u, 1u, 7u}) {
        uint32_t flag = before;
        EXPECT_EQ(SWM_MatchPatchNode(patchDoc.root(), "x", &flag), SWM_OK);
        EXPECT_EQ(flag, 1u);
        flag = before;
        EXPECT_EQ(SWM_MatchPatchNode(patchDoc.root(), "xx", &flag), SWM_OK);
        EXPECT_EQ(flag, 0u);
        flag = before;
        EXPECT_EQ(SWM_MatchModNode(modDoc.root(), "x", &flag), SWM_OK);
        EXPECT_EQ(flag, 1u);
        flag = before;
        EXPECT_EQ(SWM_MatchModNode(modDoc.root(), "y", &flag), SWM_OK);
        EXPECT_EQ(flag, 0u);
        EXPECT_TRUE(nothingLogged());
        flag = before;
        EXPECT_EQ(SWM_MatchPatchNode(modDoc.root(), "x", &flag), F);
        EXPECT_TRUE(logged({contentFailed("PatchName", "Patch")}));
        EXPECT_EQ(SWM_MatchModNode(patchDoc.root(), "x", &flag), F);
        EXPECT_TRUE(logged({contentFailed("ModName", "Mod")}));
        EXPECT_EQ(flag, before);
    }
}

// ---- A package and a key ----

struct JudgeRow {
    const char *name;
    SwmPackageInfo key;
    uint32_t level;
    std::string without; // the leaf that the element lacks
    uint32_t status;
    uint32_t flag; // stays 9 on failure
    Lines lines = {};
};

const JudgeRow kJudged[] = {
    {"name", key("p", "2", "x"), 0, "", 0, 1},
    {"another name", key("q"), 0, "", 0, 0},
    {"name and version", key("p", "1.0", "x"), 1, "", 0, 1},
    {"another version", key("p", "2"), 1, "", 0, 0},
    {"all", key("p"), 2, "", 0, 1},
    {"another file", key("p", "1.0", "b.cc"), 2, "", 0, 0},
    {"the directory is not asked for", key("p", "1.0", "/cc"), 2, "", 0, 0},
    {"above 2", key("p"), 3, "", 0, 1},
    {"far above 2", key("p", "1.0", "b.cc"), 0xFFFFFFFF, "", 0, 0},
    {"another name ends it", key("q", "2", "x"), 2, "", 0, 0},
    {"no name",
     key("p"),
     0,
     "PackageName",
     F,
     9,
     {contentFailed("PackageName", "Base"), xmlError("Match package name node of %s failed.", "p")}},
    {"no version",
     key("p"),
     1,
     "Version",
     F,
     9,
     {contentFailed("Version", "Base"), xmlError("Match package version node of %s failed.", "1.0")}},
    {"no version, level 0", key("p"), 0, "Version", 0, 1},
    {"no version, another name", key("q"), 1, "Version", 0, 0},
    {"no file",
     key("p"),
     2,
     "CcFile",
     F,
     9,
     {contentFailed("CcFile", "Base"), xmlError("Match package ccfile node of %s failed.", "a.cc")}},
    {"no file, level 1", key("p"), 1, "CcFile", 0, 1},
    {"no file, another version", key("p", "2"), 2, "CcFile", 0, 0},
};

TEST_F(XmlTest, PackagesAreJudgedByLevel)
{
    for (const JudgeRow &row : kJudged) {
        SCOPED_TRACE(row.name);
        const std::string text = packageText(package("p"), "", row.without);
        const Document doc(text);
        uint32_t flag = 9;
        EXPECT_EQ(SWM_JugePackageNodeMatch(doc.root(), &row.key, row.level, &flag), row.status);
        EXPECT_EQ(flag, row.flag);
        EXPECT_TRUE(logged(row.lines));
        const Document tree(product("<Other/>" + text));
        xmlNode *found = tree.root();
        EXPECT_EQ(SWM_GetMatchPackageNode(tree.root(), &row.key, row.level, &found), row.status);
        EXPECT_EQ(found, row.flag == 1 ? child(tree.root(), "Package") : nullptr);
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(XmlTest, FirstMatchInDocumentOrder)
{
    const Document doc(product(packageText(package("q")) + "<StartupPackage/>" + packageText(package("p", "1.0")) +
                               packageText(package("p", "2.0")) + packageText(package("p", "2.0", "b.cc")) +
                               packageText(package("r"), "", "PackageName")));
    struct Row {
        const char *name, *version;
        int package; // -1: none
    };
    for (const Row &row : {Row{"p", nullptr, 1}, {"p", "1.0", 1}, {"p", "2.0", 2}, {"q", nullptr, 0}}) {
        xmlNode *found = nullptr;
        EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), row.name, row.version, &found), SWM_OK);
        EXPECT_EQ(found, child(doc.root(), "Package", static_cast<unsigned>(row.package)));
    }
    SwmPackageInfo wanted = key("p", "2.0", "b.cc");
    xmlNode *found = nullptr;
    EXPECT_EQ(SWM_GetMatchPackageNode(doc.root(), &wanted, 2, &found), SWM_OK);
    EXPECT_EQ(found, child(doc.root(), "Package", 3));
    EXPECT_TRUE(nothingLogged());
    // The damaged element stops whoever comes that far.
    const Lines stopped = {contentFailed("PackageName", "Base"),
                           xmlError("Match package name node of %s failed.", "z")};
    found = doc.root();
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), "z", nullptr, &found), F);
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(logged(stopped));
}

TEST_F(XmlTest, EmptyVersionIsAVersion)
{
    const Document doc(product(packageText(package("p", "1")) + packageText(package("p", ""))));
    xmlNode *found = nullptr;
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), "p", "", &found), SWM_OK);
    EXPECT_EQ(found, child(doc.root(), "Package", 1));
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), "p", nullptr, &found), SWM_OK);
    EXPECT_EQ(found, child(doc.root(), "Package", 0));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, OverlongNamesAreCutInTheKey)
{
    const std::string cut(127, 'v');
    const Document doc(product(packageText(package("p", cut)) + packageText(package(cut, "1"))));
    xmlNode *found = nullptr;
    const LogLine warned = copyWarning("snprintf", "SWM_MatchAndGetPackageNode");
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), "p", (cut + "more").c_str(), &found), SWM_OK);
    EXPECT_EQ(found, child(doc.root(), "Package", 0));
    EXPECT_TRUE(logged({warned}));
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), (cut + "v").c_str(), nullptr, &found), SWM_OK);
    EXPECT_EQ(found, child(doc.root(), "Package", 1));
    EXPECT_TRUE(logged({warned}));
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), cut.c_str(), "1", &found), SWM_OK);
    EXPECT_EQ(found, child(doc.root(), "Package", 1));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, NoMemoryForTheKey)
{
    const Document doc(product(packageText(package("p"))));
    xmlNode *found = doc.root();
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_MatchAndGetPackageNode(doc.root(), "p", nullptr, &found), F);
    EXPECT_TRUE(faultHit());
    EXPECT_EQ(found, nullptr);
    EXPECT_TRUE(logged({xmlError("Malloc pkg info failed.")}));
}

// ---- Patches and mods ----

using Finder = uint32_t (*)(xmlNode *, const char *, const char *, xmlNode **);

struct PartRow {
    const char *name, *package, *part;
    uint32_t status;
    int index; // of the part in the first package p; -1: none
    Lines lines = {};
};

TEST_F(XmlTest, PatchesAreFound)
{
    const Document doc(product(
        packageText(package("empty")) +
        packageText(package("p"), modText("x") + patchText("a") + patchText("x") + patchText("x") + "<Patch/>") +
        packageText(package("p", "2"), patchText("late"))));
    const PartRow rows[] = {
        {"first", "p", "a", 0, 0},
        {"first of two, a mod of that name is none", "p", "x", 0, 1},
        {"no patches", "empty", "a", 0, -1},
        {"no such package", "q", "a", 0, -1},
        {"a patch without name on the way",
         "p",
         "late",
         F,
         -1,
         {contentFailed("PatchName", "Patch"), xmlError("Match patch node of %s failed.", "late")}},
    };
    for (const PartRow &row : rows) {
        SCOPED_TRACE(row.name);
        xmlNode *found = doc.root();
        EXPECT_EQ(SWM_MatchAndGetPatchNode(doc.root(), row.package, row.part, &found), row.status);
        EXPECT_EQ(found, row.index < 0
                             ? nullptr
                             : child(child(doc.root(), "Package", 1), "Patch", static_cast<unsigned>(row.index)));
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(XmlTest, ModsAreFound)
{
    const Document doc(product(packageText(package("empty")) +
                               packageText(package("p"), patchText("x") + modText("a") + modText("x") + "<Mod/>") +
                               packageText(package("p", "2"), modText("late"))));
    const PartRow rows[] = {
        {"first", "p", "a", 0, 0},
        {"a patch of that name is none", "p", "x", 0, 1},
        {"no mods", "empty", "a", 0, -1},
        {"no such package", "q", "a", 0, -1},
        {"a mod without name on the way",
         "p",
         "late",
         F,
         -1,
         {contentFailed("ModName", "Mod"), xmlError("Match mod node of %s failed.", "late")}},
    };
    for (const PartRow &row : rows) {
        SCOPED_TRACE(row.name);
        xmlNode *found = doc.root();
        EXPECT_EQ(SWM_MatchAndGetModNode(doc.root(), row.package, row.part, &found), row.status);
        EXPECT_EQ(found, row.index < 0
                             ? nullptr
                             : child(child(doc.root(), "Package", 1), "Mod", static_cast<unsigned>(row.index)));
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(XmlTest, PartsOfADamagedPackage)
{
    const Document doc(product("<Package/>" + packageText(package("p"), patchText("x") + modText("x"))));
    const Lines lines = {contentFailed("PackageName", "Base"), xmlError("Match package name node of %s failed.", "p"),
                         xmlError("Match and get package node of %s failed.", "p")};
    for (const Finder find : {Finder{SWM_MatchAndGetPatchNode}, Finder{SWM_MatchAndGetModNode}}) {
        xmlNode *found = doc.root();
        EXPECT_EQ(find(doc.root(), "p", "x", &found), F);
        EXPECT_EQ(found, nullptr);
        EXPECT_TRUE(logged(lines));
    }
}

// ---- Numbers ----

TEST_F(XmlTest, ElementsAreCounted)
{
    const Document doc("<P><Patch/><Mod/><Patch><Patch/></Patch><patch/></P>");
    for (const auto &[name, count] : {std::pair{"Patch", 2u}, {"Mod", 1u}, {"None", 0u}}) {
        uint32_t found = 99;
        SWM_GetNodeNumInPackage(doc.root(), name, &found);
        EXPECT_EQ(found, count);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, PackagesAreCounted)
{
    uint32_t count = 99;
    EXPECT_EQ(SWM_GetPackageNodeNum(path.c_str(), &count), F);
    EXPECT_EQ(count, 99u);
    EXPECT_TRUE(logged(notReadable(path)));
    writeDatabase("");
    EXPECT_EQ(SWM_GetPackageNodeNum(path.c_str(), &count), SWM_OK);
    EXPECT_EQ(count, 0u);
    writeDatabase("<Package/><StartupPackage><Package/></StartupPackage>" + packageText(package("p")) + "<Package/>");
    EXPECT_EQ(SWM_GetPackageNodeNum(path.c_str(), &count), SWM_OK);
    EXPECT_EQ(count, 3u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, NullArgumentsOfMatching)
{
    const Document doc(product(packageText(package("p"), patchText("x") + modText("x"))));
    writeDatabase("");
    xmlNode *root = doc.root();
    xmlNode *node = root->children;
    xmlNode *out = nullptr;
    uint32_t flag = 7;
    const SwmPackageInfo wanted = key("p");
    expectRefused({
        {"leaf: node", [&] { return SWM_MatchPackageNode(nullptr, "Version", "1", &flag); }},
        {"leaf: name", [&] { return SWM_MatchPackageNode(node, nullptr, "1", &flag); }},
        {"leaf: value", [&] { return SWM_MatchPackageNode(node, "Version", nullptr, &flag); }},
        {"leaf: flag", [&] { return SWM_MatchPackageNode(node, "Version", "1", nullptr); }},
        {"path leaf: node", [&] { return SWM_MatchPackagePathNode(nullptr, "Version", "1", &flag); }},
        {"path leaf: name", [&] { return SWM_MatchPackagePathNode(node, nullptr, "1", &flag); }},
        {"path leaf: value", [&] { return SWM_MatchPackagePathNode(node, "Version", nullptr, &flag); }},
        {"path leaf: flag", [&] { return SWM_MatchPackagePathNode(node, "Version", "1", nullptr); }},
        {"patch: node", [&] { return SWM_MatchPatchNode(nullptr, "x", &flag); }},
        {"patch: name", [&] { return SWM_MatchPatchNode(node, nullptr, &flag); }},
        {"patch: empty name", [&] { return SWM_MatchPatchNode(node, "", &flag); }},
        {"patch: flag", [&] { return SWM_MatchPatchNode(node, "x", nullptr); }},
        {"mod: node", [&] { return SWM_MatchModNode(nullptr, "x", &flag); }},
        {"mod: name", [&] { return SWM_MatchModNode(node, nullptr, &flag); }},
        {"mod: empty name", [&] { return SWM_MatchModNode(node, "", &flag); }},
        {"mod: flag", [&] { return SWM_MatchModNode(node, "x", nullptr); }},
        {"judge: node", [&] { return SWM_JugePackageNodeMatch(nullptr, &wanted, 0, &flag); }},
        {"judge: key", [&] { return SWM_JugePackageNodeMatch(node, nullptr, 0, &flag); }},
        {"judge: flag", [&] { return SWM_JugePackageNodeMatch(node, &wanted, 0, nullptr); }},
        {"match: root", [&] { return SWM_GetMatchPackageNode(nullptr, &wanted, 0, &out); }},
        {"match: key", [&] { return SWM_GetMatchPackageNode(root, nullptr, 0, &out); }},
        {"match: out", [&] { return SWM_GetMatchPackageNode(root, &wanted, 0, nullptr); }},
        {"package: root", [&] { return SWM_MatchAndGetPackageNode(nullptr, "p", nullptr, &out); }},
        {"package: name", [&] { return SWM_MatchAndGetPackageNode(root, nullptr, nullptr, &out); }},
        {"package: empty name", [&] { return SWM_MatchAndGetPackageNode(root, "", nullptr, &out); }},
        {"package: out", [&] { return SWM_MatchAndGetPackageNode(root, "p", nullptr, nullptr); }},
        {"a patch: root", [&] { return SWM_MatchAndGetPatchNode(nullptr, "p", "x", &out); }},
        {"a patch: package", [&] { return SWM_MatchAndGetPatchNode(root, "", "x", &out); }},
        {"a patch: patch", [&] { return SWM_MatchAndGetPatchNode(root, "p", "", &out); }},
        {"a patch: out", [&] { return SWM_MatchAndGetPatchNode(root, "p", "x", nullptr); }},
        {"a mod: root", [&] { return SWM_MatchAndGetModNode(nullptr, "p", "x", &out); }},
        {"a mod: package", [&] { return SWM_MatchAndGetModNode(root, nullptr, "x", &out); }},
        {"a mod: mod", [&] { return SWM_MatchAndGetModNode(root, "p", nullptr, &out); }},
        {"a mod: out", [&] { return SWM_MatchAndGetModNode(root, "p", "x", nullptr); }},
        {"number: path", [&] { return SWM_GetPackageNodeNum("", &flag); }},
        {"number: out", [&] { return SWM_GetPackageNodeNum(path.c_str(), nullptr); }},
        {"children: node", [&] { return SWM_GetNodeNumInPackage(nullptr, "Patch", &flag), F; }},
        {"children: name", [&] { return SWM_GetNodeNumInPackage(node, nullptr, &flag), F; }},
        {"children: out", [&] { return SWM_GetNodeNumInPackage(node, "Patch", nullptr), F; }},
    });
    EXPECT_EQ(flag, 7u);
    EXPECT_EQ(out, nullptr);
}

} // namespace
} // namespace tarn::test
