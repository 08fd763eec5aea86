// Additions and updates of the database, each from its first line to the bytes it saves.
#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

const char kHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// An empty text is saved as an empty element.
std::string savedLeaf(const std::string &name, const std::string &value)
{
    return "      " + (value.empty() ? "<" + name + "/>" : element(name, value)) + "\n";
}

std::string savedPackage(const SwmPackageInfo &info, const std::string &more = "")
{
    return "  <Package>\n    <Base>\n" + savedLeaf("PackageName", info.PackageName) +
           savedLeaf("Version", info.Version) + savedLeaf("CcFile", info.CcFile) + savedLeaf("CcPath", info.CcPath) +
           savedLeaf("InstallPath", info.InstallPath) + savedLeaf("PkgPoolPath", info.PkgPoolPath) +
           savedLeaf("ActiveTime", info.ActiveTime) + "    </Base>\n" + more + "  </Package>\n";
}

std::string savedPart(const char *kind, const SwmPatchInfo &info)
{
    return std::string("    <") + kind + ">\n" + savedLeaf(std::string(kind) + "Name", info.PatchName) +
           savedLeaf("Version", info.Version) + savedLeaf("SrcFilePath", info.SrcFilePath) +
           savedLeaf("InstallPath", info.InstallPath) + savedLeaf("PkgPoolPath", info.PkgPoolPath) + "    </" + kind +
           ">\n";
}

std::string saved(const std::string &content)
{
    return kHead + ("<Product>\n" + content) + "</Product>\n";
}

// Patches and mods: the same operations under two names.
struct Kind {
    const char *element; // "Patch"
    const char *word;    // "patch"
    std::function<uint32_t(const char *, const SwmPatchInfo *, const char *)> add, update;
    std::function<uint32_t(const char *, const SwmPatchInfo *, const SwmPatchInfo *, int32_t, const char *)>
        addOrUpdate;
    std::function<uint32_t(const char *, const char *, const SwmPatchInfo *)> addPackage;
};

const SwmModInfo *asMod(const SwmPatchInfo *info)
{
    static_assert(sizeof(SwmModInfo) == sizeof(SwmPatchInfo));
    return reinterpret_cast<const SwmModInfo *>(info);
}

const Kind kKinds[] = {
    {"Patch", "patch", SWM_AddPatchInfo, SWM_UpdatePatchInfo, SWM_AddOrUpdatePatchInfo, SWM_AddPatchPackageInfo},
    {"Mod", "mod",
     [](const char *path, const SwmPatchInfo *info, const char *name) {
         return SWM_AddModInfo(path, asMod(info), name);
     },
     [](const char *path, const SwmPatchInfo *info, const char *name) {
         return SWM_UpdateModInfo(path, asMod(info), name);
     },
     [](const char *path, const SwmPatchInfo *info, const SwmPatchInfo *existing, int32_t count, const char *name) {
         return SWM_AddOrUpdateModInfo(path, asMod(info), asMod(existing), count, name);
     },
     [](const char *path, const char *name, const SwmPatchInfo *info) {
         return SWM_AddModPackageInfo(path, name, asMod(info));
     }}};

// A line whose literal has the word in it: "Add patch info ...", "Add mod info ...".
LogLine worded(LogLine line, const std::string &word)
{
    for (std::string *text : {&line.format, &line.text}) {
        for (size_t at; (at = text->find("WORD")) != std::string::npos;) {
            text->replace(at, 4, word);
        }
    }
    return line;
}

LogLine damagedContent()
{
    return xmlError("Get %s content of %s failed.", "PackageName", "Base");
}

Lines damagedPackage(const char *name)
{
    return {damagedContent(), xmlError("Match package name node of %s failed.", name),
            xmlError("Match and get package node of %s failed.", name)};
}

class XmlUpdateTest : public XmlTest {
protected:
    Lines notFound(const char *name, const char *why = nullptr)
    {
        Lines lines = why == nullptr ? Lines{} : damagedPackage(name);
        lines.push_back(xmlWarning("Get package info of %s from %s unsuccessfully.", name, path.c_str()));
        return lines;
    }
    Lines found(const char *name)
    {
        return {xmlInfo("Get package info of %s success.", name),
                xmlInfo("Malloc and get package info of %s from %s success.", name, path.c_str())};
    }
    Lines notSaved() { return {xmlError("Save xml file %s failed.", path.c_str())}; }
};

// ---- One patch, three times ----

TEST_F(XmlUpdateTest, APatchIsAddedThenLeftAloneThenUpdated)
{
    writeDatabase(packageText(package("p")));
    const SwmPatchInfo first = patch("fix", "1");
    ASSERT_EQ(SWM_AddOrUpdatePatchInfo(path.c_str(), &first, nullptr, 0, "p"), SWM_OK);
    EXPECT_NE(readFile(path).find(element("PatchName", "fix")), std::string::npos);
    const std::string before = readFile(path);
    ASSERT_EQ(SWM_AddOrUpdatePatchInfo(path.c_str(), &first, &first, 1, "p"), SWM_OK);
    expectUnchanged(before);
    const SwmPatchInfo second = patch("fix", "2");
    ASSERT_EQ(SWM_AddOrUpdatePatchInfo(path.c_str(), &second, &first, 1, "p"), SWM_OK);
    std::string after = before;
    const std::string old = element("PatchName", "fix") + "\n      " + element("Version", "1");
    ASSERT_NE(after.find(old), std::string::npos) << after;
    after.replace(after.find(old), old.size(), element("PatchName", "fix") + "\n      " + element("Version", "2"));
    EXPECT_EQ(readFile(path), after);
}

// ---- Base packages ----

TEST_F(XmlUpdateTest, BaseIsAddedWithoutALookForDuplicates)
{
    writeDatabase("<StartupPackage/>");
    SwmPackageInfo info = package("p");
    EXPECT_EQ(SWM_AddBaseInfo(path.c_str(), &info), SWM_OK);
    EXPECT_EQ(readFile(path), saved("  <StartupPackage/>\n" + savedPackage(info)));
    info.ActiveTime[0] = '\0';
    EXPECT_EQ(SWM_AddBaseInfo(path.c_str(), &info), SWM_OK);
    EXPECT_EQ(readFile(path), saved("  <StartupPackage/>\n" + savedPackage(package("p")) + savedPackage(info)));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlUpdateTest, AdditionLogsAWarningOnItsWay)
{
    EXPECT_EQ(SWM_CreateXmlFile(path.c_str()), SWM_OK);
    takeLog();
    const SwmPackageInfo info = package("p");
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &info, 0), SWM_OK);
    EXPECT_TRUE(logged(notFound("p")));
    EXPECT_EQ(readFile(path), saved(savedPackage(info)));
}

TEST_F(XmlUpdateTest, SameBaseAgainWritesNothing)
{
    writeDatabase(packageText(package("p")));
    const std::string before = readFile(path);
    setModified(path, 1000000);
    SwmPackageInfo info = package("p");
    fill(info.ActiveTime, "another time");
    for (const uint32_t withVersion : {0u, 1u, 9u}) {
        EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &info, withVersion), SWM_OK);
        EXPECT_TRUE(logged(found("p")));
    }
    expectUnchanged(before);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mtime, 1000000);
}

TEST_F(XmlUpdateTest, NewVersionReplacesOrStandsBeside)
{
    const SwmPackageInfo old = package("p", "1");
    const SwmPackageInfo next = package("p", "2", "2.cc");
    writeDatabase(packageText(old));
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &next, 1), SWM_OK);
    EXPECT_TRUE(logged(notFound("p")));
    EXPECT_EQ(readFile(path), saved(savedPackage(old) + savedPackage(next)));
    writeDatabase(packageText(old, readablePatch("x")) + "<StartupPackage/>");
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &next, 0), SWM_OK);
    EXPECT_TRUE(logged(found("p") + Lines{xmlInfo("Update base info of %s success.", "p")}));
    const std::string kept = "    <Patch>\n      <PatchName>x</PatchName>\n      <Version>vx</Version>\n"
                             "      <PatchPath>/p/x</PatchPath>\n    </Patch>\n";
    EXPECT_EQ(readFile(path), saved(savedPackage(next, kept) + "  <StartupPackage/>\n"));
}

TEST_F(XmlUpdateTest, BaseThatCannotBeAdded)
{
    const SwmPackageInfo info = package("p");
    const LogLine notGot = xmlError("Get package info of %s from %s failed.", "p", path.c_str());
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &info, 0), F);
    EXPECT_TRUE(logged(notReadable(path) + notFound("p") + Lines{notGot}));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(SWM_AddBaseInfo(path.c_str(), &info), F);
    EXPECT_TRUE(logged(notReadable(path)));
    EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &info, 0), F);
    EXPECT_TRUE(logged(notReadable(path)));
    writeDatabase("<Package/>");
    const std::string before = readFile(path);
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &info, 0), F);
    EXPECT_TRUE(logged(notFound("p", "damaged") + Lines{notGot}));
    EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &info, 0), F);
    EXPECT_TRUE(logged(damagedPackage("p")));
    expectUnchanged(before);
}

TEST_F(XmlUpdateTest, NodeOfABase)
{
    const Document doc(product(packageText(package("p", "1")) + packageText(package("p", "2"))));
    const SwmPackageInfo wanted = package("p", "2");
    for (const auto &[flag, index] : {std::pair{0, 0u}, {1, 1u}, {-1, 1u}}) {
        xmlNode *node = nullptr;
        EXPECT_EQ(SWM_GetPackageNodeByBaseInfo(&wanted, flag, &node, doc.root()), SWM_OK);
        EXPECT_EQ(node, child(doc.root(), "Package", index));
    }
    const SwmPackageInfo other = package("p", "3");
    xmlNode *node = doc.root();
    EXPECT_EQ(SWM_GetPackageNodeByBaseInfo(&other, 1, &node, doc.root()), SWM_OK);
    EXPECT_EQ(node, nullptr);
    EXPECT_TRUE(nothingLogged());
    const Document damaged("<Product><Package/></Product>");
    EXPECT_EQ(SWM_GetPackageNodeByBaseInfo(&wanted, 0, &node, damaged.root()), F);
    EXPECT_TRUE(logged(damagedPackage("p")));
}

TEST_F(XmlUpdateTest, BaseIsUpdatedByNameOrVersion)
{
    const SwmPackageInfo one = package("p", "1");
    const SwmPackageInfo two = package("p", "2");
    SwmPackageInfo changed = package("p", "2", "new.cc", "/new");
    fill(changed.InstallPath, "");
    fill(changed.PkgPoolPath, "/n");
    fill(changed.ActiveTime, "now");
    writeDatabase(packageText(one) + packageText(two));
    EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &changed, 1), SWM_OK);
    EXPECT_EQ(readFile(path), saved(savedPackage(one) + savedPackage(changed)));
    EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &changed, 0), SWM_OK);
    EXPECT_EQ(readFile(path), saved(savedPackage(changed) + savedPackage(changed)));
    EXPECT_TRUE(logged(Lines(2, xmlInfo("Update base info of %s success.", "p"))));
}

TEST_F(XmlUpdateTest, LeavesThatAreNotThereToUpdate)
{
    const char *leaves[] = {"Version", "CcFile", "CcPath", "InstallPath", "PkgPoolPath", "ActiveTime"};
    const SwmPackageInfo changed = package("p", "2", "new.cc", "/new");
    for (unsigned missing = 0; missing < 6; ++missing) {
        SCOPED_TRACE(leaves[missing]);
        writeDatabase(packageText(package("p", "1"), "", leaves[missing]));
        const std::string before = readFile(path);
        const bool optional = missing == 5;
        EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &changed, 0), optional ? SWM_OK : F);
        EXPECT_TRUE(logged({optional ? xmlInfo("Update base info of %s success.", "p")
                                     : xmlError("Set base content failed, index %u.", missing)}));
        if (!optional) {
            expectUnchanged(before);
            continue;
        }
        std::string expected = savedPackage(changed);
        const std::string time = "      " + element("ActiveTime", changed.ActiveTime) + "\n";
        EXPECT_EQ(readFile(path), saved(expected.erase(expected.find(time), time.size())));
    }
}

TEST_F(XmlUpdateTest, BaseThatIsNotThereIsNotUpdated)
{
    writeDatabase(packageText(package("q")));
    const std::string before = readFile(path);
    const SwmPackageInfo info = package("p");
    EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &info, 0), F);
    EXPECT_TRUE(logged({xmlError("Match and get NULL package node of %s.", "p")}));
    expectUnchanged(before);
    // Found by name, but not readable.
    writeDatabase(packageText(package("p"), "", "CcFile"));
    const std::string damaged = readFile(path);
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &info, 0), F);
    EXPECT_TRUE(logged({xmlError("Get base content failed, index %u.", 2u), xmlError("Get base info failed."),
                        xmlError("Get package info of %s failed.", "p"),
                        xmlWarning("Get package info of %s from %s unsuccessfully.", "p", path.c_str()),
                        xmlError("Get package info of %s from %s failed.", "p", path.c_str())}));
    expectUnchanged(damaged);
}

// ---- Patches and mods ----

TEST_F(XmlUpdateTest, PartsAreAppendedToTheFirstPackage)
{
    for (const Kind &kind : kKinds) {
        SCOPED_TRACE(kind.element);
        writeDatabase(packageText(package("o")) + packageText(package("p", "1")) + packageText(package("p", "2")));
        const SwmPatchInfo one = patch("x");
        EXPECT_EQ(kind.add(path.c_str(), &one, "p"), SWM_OK);
        EXPECT_EQ(kind.add(path.c_str(), &one, "p"), SWM_OK);
        EXPECT_EQ(readFile(path),
                  saved(savedPackage(package("o")) +
                        savedPackage(package("p", "1"), savedPart(kind.element, one) + savedPart(kind.element, one)) +
                        savedPackage(package("p", "2"))));
        EXPECT_TRUE(logged(Lines(2, worded(xmlInfo("Add WORD info of %s success.", "p"), kind.word))));
    }
}

TEST_F(XmlUpdateTest, PartsOfWhatIsNotThere)
{
    const SwmPatchInfo info = patch("x");
    for (const Kind &kind : kKinds) {
        SCOPED_TRACE(kind.element);
        fs::remove(path);
        EXPECT_EQ(kind.add(path.c_str(), &info, "p"), F);
        EXPECT_TRUE(logged(notReadable(path)));
        EXPECT_EQ(kind.update(path.c_str(), &info, "p"), F);
        EXPECT_TRUE(logged(notReadable(path)));
        writeDatabase(packageText(package("q")));
        const std::string before = readFile(path);
        EXPECT_EQ(kind.add(path.c_str(), &info, "p"), F);
        EXPECT_TRUE(logged({xmlError("Match and get NULL package node of %s.", "p")}));
        const Lines noPart = {
            worded(xmlError("Match and get NULL WORD node of package %s WORD %s.", "p", "x"), kind.word)};
        EXPECT_EQ(kind.update(path.c_str(), &info, "p"), F);
        EXPECT_TRUE(logged(noPart));
        expectUnchanged(before);
        writeDatabase("<Package/>");
        EXPECT_EQ(kind.add(path.c_str(), &info, "p"), F);
        EXPECT_TRUE(logged(damagedPackage("p")));
        EXPECT_EQ(kind.update(path.c_str(), &info, "p"), F);
        EXPECT_TRUE(logged(
            damagedPackage("p") +
            Lines{worded(xmlError("Match and get WORD node of package %s WORD %s failed.", "p", "x"), kind.word)}));
        expectUnchanged(product("<Package/>"));
    }
}

TEST_F(XmlUpdateTest, PartsAreUpdatedLeafByLeaf)
{
    const char *leaves[] = {"Version", "SrcFilePath", "InstallPath", "PkgPoolPath"};
    const SwmPatchInfo info = patch("x", "9");
    for (const Kind &kind : kKinds) {
        for (unsigned missing = 0; missing < 5; ++missing) {
            SCOPED_TRACE(missing);
            std::string part = element(std::string(kind.element) + "Name", "x");
            for (unsigned i = 0; i < 4; ++i) {
                part += i == missing ? "" : element(leaves[i], "old");
            }
            writeDatabase(packageText(package("p"), element(kind.element, part)));
            const std::string before = readFile(path);
            const bool whole = missing == 4;
            EXPECT_EQ(kind.update(path.c_str(), &info, "p"), whole ? SWM_OK : F);
            EXPECT_TRUE(logged({worded(whole ? xmlInfo("Update WORD info of %s success.", "p")
                                             : xmlError("Set WORD content failed, index %u.", missing),
                                       kind.word)}));
            if (whole) {
                EXPECT_EQ(readFile(path), saved(savedPackage(package("p"), savedPart(kind.element, info))));
            } else {
                expectUnchanged(before);
            }
        }
    }
}

TEST_F(XmlUpdateTest, AddOrUpdateDecides)
{
    const SwmPatchInfo info = patch("x", "9");
    const SwmPatchInfo old = patch("x", "1");
    for (const Kind &kind : kKinds) {
        SCOPED_TRACE(kind.element);
        const std::string stored = kind.element == std::string("Patch") ? patchText("x") : modText("x");
        writeDatabase(packageText(package("p"), stored));
        const std::string before = readFile(path);
        EXPECT_EQ(kind.addOrUpdate(path.c_str(), &info, &info, 1, "p"), SWM_OK);
        EXPECT_TRUE(logged({worded(xmlInfo("No need to update WORD info."), kind.word)}));
        expectUnchanged(before);
        EXPECT_EQ(kind.addOrUpdate(path.c_str(), &info, &old, 1, "p"), SWM_OK);
        EXPECT_TRUE(logged({worded(xmlInfo("Update WORD info of %s success.", "p"), kind.word),
                            worded(xmlInfo("Update WORD info success."), kind.word)}));
        EXPECT_EQ(readFile(path), saved(savedPackage(package("p"), savedPart(kind.element, info))));
        for (const int32_t none : {0, -1, INT32_MIN}) {
            writeDatabase(packageText(package("p")));
            EXPECT_EQ(kind.addOrUpdate(path.c_str(), &info, none == 0 ? nullptr : &info, none, "p"), SWM_OK);
            EXPECT_TRUE(logged({worded(xmlInfo("Add WORD info of %s success.", "p"), kind.word),
                                worded(xmlInfo("Add WORD info success."), kind.word)}));
            EXPECT_EQ(readFile(path), saved(savedPackage(package("p"), savedPart(kind.element, info))));
        }
    }
}

TEST_F(XmlUpdateTest, AddOrUpdateThatFails)
{
    const SwmPatchInfo info = patch("x", "9");
    const SwmPatchInfo old = patch("x", "1");
    writeDatabase("");
    const std::string before = readFile(path);
    for (const Kind &kind : kKinds) {
        EXPECT_EQ(kind.addOrUpdate(path.c_str(), &info, nullptr, 0, "p"), F);
        EXPECT_TRUE(logged({xmlError("Match and get NULL package node of %s.", "p"),
                            worded(xmlError("Add WORD info of %s failed.", "p"), kind.word)}));
        EXPECT_EQ(kind.addOrUpdate(path.c_str(), &info, &old, 1, "p"), F);
        EXPECT_TRUE(
            logged({worded(xmlError("Match and get NULL WORD node of package %s WORD %s.", "p", "x"), kind.word),
                    worded(xmlError("Update WORD info of %s failed.", "p"), kind.word)}));
        expectUnchanged(before);
    }
}

TEST_F(XmlUpdateTest, PartsAreAlwaysAppended)
{
    const SwmPatchInfo info = patch("x");
    for (const Kind &kind : kKinds) {
        SCOPED_TRACE(kind.element);
        writeDatabase(packageText(package("p")));
        const Lines lines =
            found("p") +
            Lines{worded(xmlInfo("Add WORD info of %s success.", "p"), kind.word),
                  worded(xmlInfo("Add WORD info success."), kind.word),
                  worded(xmlInfo("Add or update WORD info of %s to %s success.", "p", path.c_str()), kind.word)};
        EXPECT_EQ(kind.addPackage(path.c_str(), "p", &info), SWM_OK);
        EXPECT_EQ(kind.addPackage(path.c_str(), "p", &info), SWM_OK);
        EXPECT_TRUE(logged(lines + lines));
        const std::string part = savedPart(kind.element, info);
        EXPECT_EQ(readFile(path), saved(savedPackage(package("p"), part + part)));
    }
}

TEST_F(XmlUpdateTest, PartsOfPackagesThatAreNotInstalled)
{
    const SwmPatchInfo info = patch("x");
    const Lines lines = notFound("p") + Lines{xmlError("Get package info of %s from %s failed.", "p", path.c_str())};
    for (const Kind &kind : kKinds) {
        fs::remove(path);
        EXPECT_EQ(kind.addPackage(path.c_str(), "p", &info), F);
        EXPECT_TRUE(logged(notReadable(path) + lines));
        writeDatabase(packageText(package("q")));
        const std::string before = readFile(path);
        EXPECT_EQ(kind.addPackage(path.c_str(), "p", &info), F);
        EXPECT_TRUE(logged(lines));
        expectUnchanged(before);
    }
}

// What is added with a patch can no longer be listed.
TEST_F(XmlUpdateTest, AddedPatchesEndTheListing)
{
    EXPECT_EQ(SWM_CreateXmlFile(path.c_str()), SWM_OK);
    const SwmPackageInfo first = package("o");
    const SwmPackageInfo second = package("p");
    const SwmPatchInfo part = patch("x");
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &first, 1), SWM_OK);
    EXPECT_EQ(SWM_AddBasePackageInfo(path.c_str(), &second, 1), SWM_OK);
    EXPECT_EQ(SWM_AddPatchPackageInfo(path.c_str(), "p", &part), SWM_OK);
    takeLog();
    SwmPackageInfo *records = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count), F);
    EXPECT_TRUE(
        logged({xmlError("Get patch content failed, index %u.", 2u), xmlError("Get patch info failed, index %u.", 0u),
                xmlError("Get patch info failed, index %u.", 1u),
                xmlError("Get package info from %s failed.", path.c_str())}));
}

// ---- Arguments ----

TEST_F(XmlUpdateTest, NullArgumentsOfUpdates)
{
    writeDatabase(packageText(package("p"), patchText("x") + modText("x")));
    const std::string before = readFile(path);
    const char *file = path.c_str();
    const SwmPackageInfo info = package("p", "9");
    const SwmPatchInfo part = patch("x");
    const Document doc(before);
    xmlNode *node = nullptr;
    std::vector<NullRow> rows = {
        {"add base: path", [&] { return SWM_AddBaseInfo("", &info); }},
        {"add base: record", [&] { return SWM_AddBaseInfo(file, nullptr); }},
        {"node: record", [&] { return SWM_GetPackageNodeByBaseInfo(nullptr, 0, &node, doc.root()); }},
        {"node: out", [&] { return SWM_GetPackageNodeByBaseInfo(&info, 0, nullptr, doc.root()); }},
        {"node: root", [&] { return SWM_GetPackageNodeByBaseInfo(&info, 0, &node, nullptr); }},
        {"update base: path", [&] { return SWM_UpdateBaseInfo(nullptr, &info, 0); }},
        {"update base: record", [&] { return SWM_UpdateBaseInfo(file, nullptr, 0); }},
        {"add package: path", [&] { return SWM_AddBasePackageInfo(nullptr, &info, 0); }},
        {"add package: record", [&] { return SWM_AddBasePackageInfo(file, nullptr, 0); }},
    };
    for (const Kind &kind : kKinds) {
        rows.insert(rows.end(),
                    {
                        {"add: path", [&] { return kind.add("", &part, "p"); }},
                        {"add: record", [&] { return kind.add(file, nullptr, "p"); }},
                        {"add: name", [&] { return kind.add(file, &part, ""); }},
                        {"update: path", [&] { return kind.update(nullptr, &part, "p"); }},
                        {"update: record", [&] { return kind.update(file, nullptr, "p"); }},
                        {"update: name", [&] { return kind.update(file, &part, nullptr); }},
                        {"either: path", [&] { return kind.addOrUpdate("", &part, nullptr, 0, "p"); }},
                        {"either: record", [&] { return kind.addOrUpdate(file, nullptr, nullptr, 0, "p"); }},
                        {"either: name", [&] { return kind.addOrUpdate(file, &part, nullptr, 0, ""); }},
                        {"package: path", [&] { return kind.addPackage(nullptr, "p", &part); }},
                        {"package: name", [&] { return kind.addPackage(file, "", &part); }},
                        {"package: record", [&] { return kind.addPackage(file, "p", nullptr); }},
                    });
    }
    expectRefused(rows);
    expectUnchanged(before);
}

} // namespace
} // namespace tarn::test
