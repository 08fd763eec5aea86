// Deletions from the database, and the container file of the startup package.
#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

LogLine contentFailed(const char *leaf)
{
    return xmlError("Get %s content of %s failed.", leaf, "Base");
}

LogLine nameFailed(const char *name)
{
    return xmlError("Match package name node of %s failed.", name);
}

class XmlDeleteTest : public XmlTest {
protected:
    // The packages left, as name, version and file.
    std::string left() const
    {
        const Document doc(readFile(path));
        return left(doc.root());
    }
    static std::string left(xmlNode *root)
    {
        std::string text;
        for (unsigned i = 0; xmlNode *node = child(root, "Package", i); ++i) {
            xmlNode *base = child(node, "Base");
            text += textOf(child(base, "PackageName")) + textOf(child(base, "Version")) +
                    textOf(child(base, "CcFile")) + " ";
        }
        return text;
    }
    LogLine notMatched(const char *what) const
    {
        return xmlError("Match and get package node of %s from %s failed.", what, path.c_str());
    }
};

// ---- One package ----

TEST_F(XmlDeleteTest, OnePackageByNameVersionAndFile)
{
    struct Row {
        const char *name;
        SwmPackageInfo key;
        const char *left; // null: nothing is saved
    };
    const Row rows[] = {
        {"the first of two equal ones", key("p", "1", "a"), "o1a p2a p1b p1a "},
        {"by version", key("p", "2", "a"), "o1a p1a p1b p1a "},
        {"by file", key("p", "1", "b"), "o1a p1a p2a p1a "},
        {"another file", key("p", "2", "b"), nullptr},
        {"the directory does not count", key("p", "1", "/cc"), nullptr},
        {"another name", key("q", "1", "a"), nullptr},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        writeDatabase(packageText(package("o", "1", "a")) + packageText(package("p", "1", "a", "/first")) +
                      packageText(package("p", "2", "a")) + packageText(package("p", "1", "b")) +
                      packageText(package("p", "1", "a", "/second")));
        const std::string before = readFile(path);
        EXPECT_EQ(SWM_DelBasePackageInfo(path.c_str(), &row.key), SWM_OK);
        if (row.left == nullptr) {
            expectUnchanged(before);
            EXPECT_TRUE(nothingLogged());
            continue;
        }
        EXPECT_EQ(left(), row.left);
        EXPECT_NE(readFile(path).find("/second"), std::string::npos);
        EXPECT_TRUE(logged({xmlInfo("Delete base info of %s;%s;%s from %s success.", row.key.PackageName,
                                    row.key.Version, row.key.CcPath, path.c_str())}));
    }
}

TEST_F(XmlDeleteTest, BytesAfterADeletion)
{
    writeDatabase(packageText(package("p")) + "<StartupPackage><BasePackage/></StartupPackage>");
    const SwmPackageInfo wanted = key("p");
    EXPECT_EQ(SWM_DelBasePackageInfo(path.c_str(), &wanted), SWM_OK);
    EXPECT_EQ(readFile(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n  <StartupPackage>\n"
                              "    <BasePackage/>\n  </StartupPackage>\n</Product>\n");
    writeDatabase(packageText(package("p")));
    EXPECT_EQ(SWM_DelBasePackageInfo(path.c_str(), &wanted), SWM_OK);
    EXPECT_EQ(readFile(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product/>\n");
    takeLog();
}

// ---- All packages of a container file ----

TEST_F(XmlDeleteTest, AllPackagesOfAContainerFile)
{
    const std::string content =
        packageText(package("1", "", "x.cc", "/a/b")) + "<StartupPackage/>" +
        packageText(package("2", "", "x.cc", "/a/b/")) + packageText(package("3", "", "y.cc", "/a/b")) +
        packageText(package("4", "", "x.cc", "/a/b")) + packageText(package("5", "", "x.cc", ".")) +
        packageText(package("6", "", "x.cc", "/")) + packageText(package("7", "", "x.cc", "/a/b"));
    struct Row {
        const char *file, *left;
    };
    const Row rows[] = {
        {"/a/b/x.cc", "2x.cc 3y.cc 5x.cc 6x.cc "},
        {"/a/b/y.cc", "1x.cc 2x.cc 4x.cc 5x.cc 6x.cc 7x.cc "},
        {"x.cc", "1x.cc 2x.cc 3y.cc 4x.cc 6x.cc 7x.cc "},
        {"/x.cc", "1x.cc 2x.cc 3y.cc 4x.cc 5x.cc 7x.cc "},
        {"/a/b/", "1x.cc 2x.cc 3y.cc 4x.cc 5x.cc 6x.cc 7x.cc "},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.file);
        writeDatabase(content);
        EXPECT_EQ(SWM_DelBasePackageInfoByCcNameAndPath(path.c_str(), row.file), SWM_OK);
        EXPECT_EQ(left(), row.left);
        EXPECT_TRUE(logged({xmlInfo("Delete base info of %s from %s success.", row.file, path.c_str())}));
        const Document doc(product(content));
        EXPECT_EQ(SWM_DelMatchPackageNodeByCcFile(doc.root(), row.file), SWM_OK);
        EXPECT_EQ(left(doc.root()), row.left);
        EXPECT_NE(child(doc.root(), "StartupPackage"), nullptr);
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(XmlDeleteTest, OverlongContainerPathIsCutWithAWarning)
{
    const std::string directory(255, 'd');
    const std::string file = directory + "/x.cc";
    writeDatabase(packageText(package("1", "", "x.cc")) + packageText(package("2", "", "x.cc")));
    EXPECT_EQ(SWM_DelBasePackageInfoByCcNameAndPath(path.c_str(), file.c_str()), SWM_OK);
    EXPECT_EQ(left(), "1x.cc 2x.cc ");
    const LogLine warned = copyWarning("strncpy", "SWM_DelMatchPackageNodeByCcFile");
    EXPECT_TRUE(
        logged({warned, warned, xmlInfo("Delete base info of %s from %s success.", file.c_str(), path.c_str())}));
}

TEST_F(XmlDeleteTest, ArgumentsAreNotWrittenTo)
{
    writeDatabase(packageText(package("1", "", "x.cc", "/a/b")));
    char file[] = "/a/b/x.cc";
    EXPECT_EQ(SWM_DelBasePackageInfoByCcNameAndPath(path.c_str(), file), SWM_OK);
    EXPECT_STREQ(file, "/a/b/x.cc");
    EXPECT_EQ(left(), "");
    takeLog();
}

TEST_F(XmlDeleteTest, DamagedPackagesStopContainerFiles)
{
    struct Row {
        const char *without;
        const char *file; // of the damaged package
        Lines lines;
    };
    const Row rows[] = {
        {"CcFile", "", {contentFailed("CcFile"), nameFailed("x.cc")}},
        {"CcPath", "x.cc", {contentFailed("CcPath"), xmlError("Match package path node of %s failed.", "/a")}},
        {"CcPath", "other", {contentFailed("CcPath"), xmlError("Match package path node of %s failed.", "/a")}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.without);
        const std::string content =
            packageText(package("1", "", "x.cc", "/a")) + packageText(package("2", "", row.file), "", row.without);
        writeDatabase(content);
        EXPECT_EQ(SWM_DelBasePackageInfoByCcNameAndPath(path.c_str(), "/a/x.cc"), F);
        EXPECT_TRUE(logged(row.lines + Lines{notMatched("/a/x.cc")}));
        expectUnchanged(product(content));
        const Document doc(product(content));
        EXPECT_EQ(SWM_DelMatchPackageNodeByCcFile(doc.root(), "/a/x.cc"), F);
        EXPECT_TRUE(logged(row.lines));
    }
}

// ---- All packages of a name ----

TEST_F(XmlDeleteTest, AllVersionsOfAName)
{
    const std::string content = packageText(package("p", "1")) + packageText(package("p", "2")) +
                                packageText(package("o", "1")) + "<StartupPackage/>" + packageText(package("p", "3"));
    writeDatabase(content);
    EXPECT_EQ(SWM_DelBasePackageInfoByName(path.c_str(), "p"), SWM_OK);
    EXPECT_EQ(left(), "o1a.cc ");
    EXPECT_TRUE(logged({xmlInfo("Delete base info of %s from %s success.", "p", path.c_str())}));
    const Document doc(product(content));
    EXPECT_EQ(SWM_DelMatchPackageNodeByPkgName(doc.root(), "p"), SWM_OK);
    EXPECT_EQ(left(doc.root()), "o1a.cc ");
    EXPECT_EQ(SWM_DelMatchPackageNodeByPkgName(doc.root(), "p"), SWM_OK);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlDeleteTest, NothingToDeleteIsSavedAllTheSame)
{
    const std::string savedText =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n  <StartupPackage/>\n</Product>\n";
    writeDatabase("<StartupPackage/>");
    EXPECT_EQ(SWM_DelBasePackageInfoByName(path.c_str(), "p"), SWM_OK);
    expectUnchanged(savedText);
    EXPECT_TRUE(logged({xmlInfo("Delete base info of %s from %s success.", "p", path.c_str())}));
    writeDatabase("<StartupPackage/>");
    EXPECT_EQ(SWM_DelBasePackageInfoByCcNameAndPath(path.c_str(), "/a/x.cc"), SWM_OK);
    expectUnchanged(savedText);
    EXPECT_TRUE(logged({xmlInfo("Delete base info of %s from %s success.", "/a/x.cc", path.c_str())}));
}

TEST_F(XmlDeleteTest, DamagedPackagesStopADeletion)
{
    const std::string content = packageText(package("p")) + "<Package/>";
    writeDatabase(content);
    EXPECT_EQ(SWM_DelBasePackageInfoByName(path.c_str(), "p"), F);
    EXPECT_TRUE(logged({contentFailed("PackageName"), nameFailed("p"), notMatched("p")}));
    const SwmPackageInfo wanted = key("q");
    EXPECT_EQ(SWM_DelBasePackageInfo(path.c_str(), &wanted), F);
    EXPECT_TRUE(logged({contentFailed("PackageName"), nameFailed("q"), notMatched("q")}));
    expectUnchanged(product(content));
    const Document doc(product(content));
    EXPECT_EQ(SWM_DelMatchPackageNodeByPkgName(doc.root(), "p"), F);
    EXPECT_TRUE(logged({contentFailed("PackageName"), nameFailed("p")}));
}

// ---- Patches and mods ----

TEST_F(XmlDeleteTest, FirstPatchOrModOfThatName)
{
    const std::string content =
        packageText(package("p", "1"), patchText("x") + modText("x") + patchText("x") + modText("x")) +
        packageText(package("p", "2"), patchText("x") + modText("x"));
    struct Row {
        const char *kind;
        uint32_t (*run)(const char *, const char *, const char *);
        LogLine line;
    };
    const Row rows[] = {{"Patch", SWM_DelPatchPackageInfo,
                         xmlInfo("Delete patch info of package %s patch %s from %s success.", "p", "x", path.c_str())},
                        {"Mod", SWM_DelModPackageInfo,
                         xmlInfo("Delete mod info of package %s mod %s from %s success.", "p", "x", path.c_str())}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.kind);
        writeDatabase(content);
        EXPECT_EQ(row.run(path.c_str(), "p", "x"), SWM_OK);
        EXPECT_TRUE(logged({row.line}));
        {
            const Document doc(readFile(path));
            xmlNode *first = child(doc.root(), "Package");
            uint32_t parts = 0;
            SWM_GetNodeNumInPackage(first, row.kind, &parts);
            EXPECT_EQ(parts, 1u);
            EXPECT_EQ(childCount(first), 4u);
            EXPECT_EQ(childCount(child(doc.root(), "Package", 1)), 3u);
            EXPECT_NE(xmlGetLastChild(first), nullptr);
            EXPECT_NE(child(first, row.kind), nullptr);
        }
        EXPECT_EQ(row.run(path.c_str(), "p", "x"), SWM_OK);
        EXPECT_TRUE(logged({row.line}));
        const std::string before = readFile(path);
        EXPECT_EQ(row.run(path.c_str(), "p", "x"), SWM_OK) << "only the first package is looked at";
        EXPECT_EQ(row.run(path.c_str(), "q", "x"), SWM_OK);
        EXPECT_TRUE(nothingLogged());
        expectUnchanged(before);
    }
}

TEST_F(XmlDeleteTest, PartsThatCannotBeReadAreNotDeleted)
{
    const std::string content = packageText(package("p"), "<Patch/><Mod/>" + patchText("x") + modText("x"));
    writeDatabase(content);
    EXPECT_EQ(SWM_DelPatchPackageInfo(path.c_str(), "p", "x"), F);
    EXPECT_TRUE(
        logged({xmlError("Get %s content of %s failed.", "PatchName", "Patch"),
                xmlError("Match patch node of %s failed.", "x"),
                xmlError("Match and get patch node of package %s patch %s from %s failed.", "p", "x", path.c_str())}));
    EXPECT_EQ(SWM_DelModPackageInfo(path.c_str(), "p", "x"), F);
    EXPECT_TRUE(logged(
        {xmlError("Get %s content of %s failed.", "ModName", "Mod"), xmlError("Match mod node of %s failed.", "x"),
         xmlError("Match and get mod node of package %s mod %s from %s failed.", "p", "x", path.c_str())}));
    expectUnchanged(product(content));
}

// ---- Startup package ----

TEST_F(XmlDeleteTest, StartupPackage)
{
    auto startup = [](const std::string &file) {
        return element("StartupPackage", element("BasePackage", element("CcFile", file)));
    };
    const Lines broken = {xmlError("Get %s content of %s failed.", "CcFile", "BasePackage")};
    struct Row {
        const char *name;
        std::string content;
        uint32_t length, status;
        const char *read;
        Lines lines = {};
    };
    const Row rows[] = {
        {"none", packageText(package("p")), 8, SWM_OK, "kept"},
        {"one", startup("a.cc"), 8, SWM_OK, "a.cc"},
        {"the last wins", startup("a.cc") + packageText(package("p")) + startup("b.cc"), 8, SWM_OK, "b.cc"},
        {"just fits", startup("1234567"), 8, SWM_OK, "1234567"},
        {"too long", startup("12345678"), 8, SWM_OK, "", {copyWarning("strcpy", "SWM_GetChildNodeContent")}},
        {"smaller buffer", startup("a.cc"), 4, SWM_OK, "", {copyWarning("strcpy", "SWM_GetChildNodeContent")}},
        {"no base", "<StartupPackage/>", 8, F, "kept", broken},
        {"no file", "<StartupPackage><BasePackage/></StartupPackage>", 8, F, "kept", broken},
        {"a broken one after a sound one", startup("a.cc") + "<StartupPackage/>", 8, F, "a.cc", broken},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        writeDatabase(row.content);
        char buffer[8] = "kept";
        EXPECT_EQ(SWM_ParseXmlBasePkgName(path.c_str(), buffer, row.length), row.status);
        EXPECT_STREQ(buffer, row.read);
        EXPECT_TRUE(logged(row.lines));
        expectUnchanged(product(row.content));
    }
}

// ---- No database, no arguments ----

TEST_F(XmlDeleteTest, NoDatabase)
{
    const SwmPackageInfo wanted = key("p");
    const char *file = path.c_str();
    char buffer[8] = "kept";
    const NullRow rows[] = {
        {"one", [&] { return SWM_DelBasePackageInfo(file, &wanted); }},
        {"file", [&] { return SWM_DelBasePackageInfoByCcNameAndPath(file, "/a/x.cc"); }},
        {"name", [&] { return SWM_DelBasePackageInfoByName(file, "p"); }},
        {"patch", [&] { return SWM_DelPatchPackageInfo(file, "p", "x"); }},
        {"mod", [&] { return SWM_DelModPackageInfo(file, "p", "x"); }},
        {"startup", [&] { return SWM_ParseXmlBasePkgName(file, buffer, 8); }},
    };
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), F) << row.name;
        EXPECT_TRUE(logged(notReadable(path))) << row.name;
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_STREQ(buffer, "kept");
}

TEST_F(XmlDeleteTest, NullArgumentsOfDeletions)
{
    writeDatabase(packageText(package("p"), patchText("x") + modText("x")));
    const std::string before = readFile(path);
    const Document doc(before);
    const SwmPackageInfo wanted = key("p");
    const char *file = path.c_str();
    expectRefused({
        {"one: path", [&] { return SWM_DelBasePackageInfo("", &wanted); }},
        {"one: key", [&] { return SWM_DelBasePackageInfo(file, nullptr); }},
        {"nodes of a file: root", [&] { return SWM_DelMatchPackageNodeByCcFile(nullptr, "/a"); }},
        {"nodes of a file: file", [&] { return SWM_DelMatchPackageNodeByCcFile(doc.root(), ""); }},
        {"file: path", [&] { return SWM_DelBasePackageInfoByCcNameAndPath(nullptr, "/a"); }},
        {"file: file", [&] { return SWM_DelBasePackageInfoByCcNameAndPath(file, nullptr); }},
        {"nodes of a name: root", [&] { return SWM_DelMatchPackageNodeByPkgName(nullptr, "p"); }},
        {"nodes of a name: name", [&] { return SWM_DelMatchPackageNodeByPkgName(doc.root(), ""); }},
        {"name: path", [&] { return SWM_DelBasePackageInfoByName("", "p"); }},
        {"name: name", [&] { return SWM_DelBasePackageInfoByName(file, ""); }},
        {"patch: path", [&] { return SWM_DelPatchPackageInfo(nullptr, "p", "x"); }},
        {"patch: package", [&] { return SWM_DelPatchPackageInfo(file, "", "x"); }},
        {"patch: patch", [&] { return SWM_DelPatchPackageInfo(file, "p", nullptr); }},
        {"mod: path", [&] { return SWM_DelModPackageInfo("", "p", "x"); }},
        {"mod: package", [&] { return SWM_DelModPackageInfo(file, nullptr, "x"); }},
        {"mod: mod", [&] { return SWM_DelModPackageInfo(file, "p", ""); }},
    });
    char buffer[8] = "kept";
    EXPECT_EQ(SWM_ParseXmlBasePkgName(nullptr, buffer, 8), F);
    EXPECT_EQ(SWM_ParseXmlBasePkgName("", buffer, 8), F);
    EXPECT_EQ(SWM_ParseXmlBasePkgName(file, nullptr, 8), F);
    EXPECT_EQ(SWM_ParseXmlBasePkgName(file, buffer, 0), F);
    EXPECT_TRUE(logged(Lines(4, xmlError("Input para NULL or 0."))));
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(left(doc.root()), "p1.0a.cc ");
    expectUnchanged(before);
}

} // namespace
} // namespace tarn::test
