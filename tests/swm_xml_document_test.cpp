// The database as a document: reading and checking it, elements by name, texts in and out, an empty one.
#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

// ---- Reading ----

TEST_F(XmlTest, NoFileGivesNoDocumentAndNoLine)
{
    for (const std::string &name : {std::string(), (dir / "missing").string(), (dir / "missing/file").string()}) {
        EXPECT_EQ(SWM_XmlReadFile(name.c_str()), nullptr) << name;
    }
    EXPECT_EQ(SWM_XmlReadFile(nullptr), nullptr);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, BlanksBetweenElementsAreDropped)
{
    for (const char *text :
         {"<Product><A>1</A><B>2</B></Product>", "<Product>\n\t<A>1</A>\r\n  <B>2</B>\n</Product>\n"}) {
        writeFile(path, text);
        xmlDoc *doc = SWM_XmlReadFile(path.c_str());
        ASSERT_NE(doc, nullptr);
        xmlNode *first = xmlDocGetRootElement(doc)->children;
        EXPECT_STREQ(reinterpret_cast<const char *>(first->name), "A");
        EXPECT_STREQ(reinterpret_cast<const char *>(first->next->name), "B");
        EXPECT_EQ(first->next->next, nullptr);
        xmlFreeDoc(doc);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, BrokenTextIsRecovered)
{
    writeFile(path, "<Product><Package><Base><PackageName>p</PackageName><Version>1");
    xmlDoc *doc = SWM_XmlReadFile(path.c_str());
    ASSERT_NE(doc, nullptr);
    xmlNode *base = child(child(xmlDocGetRootElement(doc), "Package"), "Base");
    EXPECT_EQ(textOf(child(base, "PackageName")), "p");
    EXPECT_EQ(textOf(child(base, "Version")), "1");
    xmlFreeDoc(doc);
    EXPECT_TRUE(nothingLogged());
}

struct CheckRow {
    const char *name;
    const char *text; // null: no file
    const char *expectedRoot;
    std::function<Lines(const char *)> lines; // null: it loads
};

Lines notRead(const char *path)
{
    return {xmlWarning("Read xml file %s unsuccessfully.", path)};
}

Lines noRoot(const char *path)
{
    return {xmlError("Get root node from %s failed.", path)};
}

std::function<Lines(const char *)> wrongRoot(const char *name)
{
    return [name](const char *path) {
        return Lines{
            xmlError("Check root node name in %s failed, name is %s, it should be %s.", path, name, "Product")};
    };
}

const CheckRow kChecks[] = {
    {"sound", "<Product/>", "Product", nullptr},
    {"another root that is expected", "<Other/>", "Other", nullptr},
    {"comment before the root", "<!-- c --><Product><A/></Product>", "Product", nullptr},
    {"truncated", "<Product><A", "Product", nullptr},
    {"no file", nullptr, "Product", notRead},
    {"no bytes", "", "Product", notRead},
    {"no element", "no element at all", "Product", noRoot},
    {"comment only", "<!-- c -->", "Product", noRoot},
    {"another root", "<Prod/>", "Product", wrongRoot("Prod")},
    {"case counts", "<product/>", "Product", wrongRoot("product")},
    {"the line says Product whatever was expected", "<Product/>", "Other", wrongRoot("Product")},
};

TEST_F(XmlTest, RootIsChecked)
{
    for (const CheckRow &row : kChecks) {
        SCOPED_TRACE(row.name);
        fs::remove(path);
        if (row.text != nullptr) {
            writeFile(path, row.text);
        }
        xmlNode *const untouched = reinterpret_cast<xmlNode *>(&hostErrors);
        xmlNode *root = untouched;
        xmlDoc *doc = SWM_ParseAndCheckXmlFile(path.c_str(), row.expectedRoot, &root);
        EXPECT_EQ(doc == nullptr, row.lines != nullptr);
        EXPECT_EQ(root, doc == nullptr ? untouched : xmlDocGetRootElement(doc));
        EXPECT_TRUE(logged(row.lines == nullptr ? Lines{} : row.lines(path.c_str())));
        xmlFreeDoc(doc);
    }
}

TEST_F(XmlTest, DatabaseIsReadOrRefused)
{
    for (const CheckRow &row : kChecks) {
        if (std::string_view(row.expectedRoot) != "Product") {
            continue;
        }
        SCOPED_TRACE(row.name);
        fs::remove(path);
        if (row.text != nullptr) {
            writeFile(path, row.text);
        }
        xmlDoc *doc = nullptr;
        xmlNode *root = nullptr;
        EXPECT_EQ(SWM_XmlReadFileAndGetRootElement(path.c_str(), &doc, &root), row.lines == nullptr ? SWM_OK : F);
        EXPECT_EQ(doc == nullptr, row.lines != nullptr);
        EXPECT_EQ(root, doc == nullptr ? nullptr : xmlDocGetRootElement(doc));
        EXPECT_TRUE(logged(row.lines == nullptr ? Lines{} : row.lines(path.c_str())));
        xmlFreeDoc(doc);
    }
}

TEST_F(XmlTest, DirectoryIsNoDatabase)
{
    xmlNode *root = nullptr;
    EXPECT_EQ(SWM_ParseAndCheckXmlFile(fs::path(dir).c_str(), "Product", &root), nullptr);
    EXPECT_TRUE(logged({xmlWarning("Read xml file %s unsuccessfully.", fs::path(dir).c_str())}));
}

// ---- Texts out ----

const std::string k127(127, 'x');
const std::string k128(128, 'y');

struct ContentRow {
    const char *name;
    std::string text; // of the children of the node
    const char *wanted;
    uint32_t status;
    std::string content; // in a buffer of 128; on failure it stays as it was
    bool warned = false;
};

const ContentRow kContents[] = {
    {"plain", "<A>1</A><B>2</B>", "B", 0, "2"},
    {"first of two", "<B>1</B><B>2</B>", "B", 0, "1"},
    {"no text", "<B/>", "B", 0, ""},
    {"inner texts are joined", "<B>x<C>y</C>z</B>", "B", 0, "xyz"},
    {"CDATA", "<B><![CDATA[<&>]]></B>", "B", 0, "<&>"},
    {"entities", "<B>a&amp;b&lt;&#65;</B>", "B", 0, "a&b<A"},
    {"blanks around it stay", "<B> x\n</B>", "B", 0, " x\n"},
    {"just fits", "<B>" + k127 + "</B>", "B", 0, k127},
    {"one too long", "<B>" + k128 + "</B>", "B", 0, "", true},
    {"the first is too long", "<B>" + k128 + "</B><B>2</B>", "B", 0, "", true},
    {"none", "<A>1</A>", "B", F, "kept"},
    {"not below the children", "<A><B>1</B></A>", "B", F, "kept"},
    {"case counts", "<b>1</b>", "B", F, "kept"},
    {"no prefix", "<BB>1</BB>", "B", F, "kept"},
    {"no children", "", "B", F, "kept"},
};

TEST_F(XmlTest, ContentOfAChild)
{
    for (const ContentRow &row : kContents) {
        SCOPED_TRACE(row.name);
        const Document doc(element("R", row.text));
        char buffer[129] = "kept";
        buffer[128] = '!';
        EXPECT_EQ(SWM_GetChildNodeContent(doc.root(), row.wanted, buffer, 128), row.status);
        EXPECT_EQ(std::string(buffer), row.content);
        EXPECT_EQ(buffer[128], '!');
        EXPECT_TRUE(logged(row.warned ? Lines{copyWarning("strcpy", "SWM_GetChildNodeContent")} : Lines{}));
    }
}

TEST_F(XmlTest, ContentOfAGrandchild)
{
    for (const ContentRow &row : kContents) {
        SCOPED_TRACE(row.name);
        const Document doc(element("R", "<X/>" + element("Base", row.text) + "<Base><B>second</B></Base>"));
        char buffer[128] = "kept";
        EXPECT_EQ(SWM_GetNodeContent(doc.root(), "Base", row.wanted, buffer, 128), row.status);
        EXPECT_EQ(std::string(buffer), row.content);
        EXPECT_TRUE(logged(row.warned ? Lines{copyWarning("strcpy", "SWM_GetChildNodeContent")} : Lines{}));
        fill(buffer, "kept");
        EXPECT_EQ(SWM_GetNodeContent(child(doc.root(), "Base"), row.wanted, nullptr, buffer, 128), row.status);
        EXPECT_EQ(std::string(buffer), row.content);
        takeLog();
        EXPECT_EQ(SWM_GetNodeContent(doc.root(), "NoBase", row.wanted, buffer, 128), F);
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(XmlTest, LengthZeroWritesNothing)
{
    const Document doc("<R><B>text</B></R>");
    char buffer[] = "kept";
    EXPECT_EQ(SWM_GetChildNodeContent(doc.root(), "B", buffer, 0), SWM_OK);
    SWM_ParseOverString(doc, child(doc.root(), "B"), buffer, 0);
    EXPECT_STREQ(buffer, "kept");
}

struct OverStringRow {
    const char *name;
    const char *text;
    uint32_t length;
    const char *content;
    bool fails = false;
};

const OverStringRow kOverStrings[] = {
    {"fits", "<B>text</B>", 8, "text"},
    {"just fits", "<B>text</B>", 5, "text"},
    {"cut by one", "<B>text</B>", 4, "tex"},
    {"cut to nothing", "<B>text</B>", 1, ""},
    {"entities", "<B>a&amp;b</B>", 8, "a&b"},
    {"no children", "<B/>", 8, "", true},
    {"elements only", "<B><C>x</C></B>", 8, "", true},
    {"texts between elements", "<B>x<C>y</C>z</B>", 8, "xz"},
};

TEST_F(XmlTest, OverlongTextIsCut)
{
    for (const OverStringRow &row : kOverStrings) {
        SCOPED_TRACE(row.name);
        const Document doc(row.text);
        char buffer[9];
        memset(buffer, '!', sizeof(buffer));
        SWM_ParseOverString(doc, doc.root(), buffer, row.length);
        EXPECT_STREQ(buffer, row.content);
        EXPECT_EQ(buffer[row.length], '!');
        EXPECT_TRUE(logged(row.fails ? Lines{xmlError("[XML]: Parse node '%s' value fail!", "B")} : Lines{}));
    }
}

TEST_F(XmlTest, CutThatFailsLeavesNothing)
{
    const Document doc("<B>text</B>");
    char buffer[8] = "kept";
    failCall(Call::Strncpy, 1);
    SWM_ParseOverString(doc, doc.root(), buffer, 8);
    EXPECT_TRUE(faultHit());
    EXPECT_STREQ(buffer, "");
    EXPECT_TRUE(logged({xmlError("[XML]: strncpy_s node '%s' value fail!", "B")}));
}

// ---- Texts in ----

struct SetRow {
    const char *name;
    const char *before;
    const char *text;
    uint32_t status;
    const char *after;
};

const SetRow kSets[] = {
    {"replaced", "<A>1</A><B>2</B>", "new", 0, "<A>1</A><B>new</B>"},
    {"first of two", "<B>1</B><B>2</B>", "new", 0, "<B>new</B><B>2</B>"},
    {"all former content goes", "<B>x<C>y</C>z</B>", "new", 0, "<B>new</B>"},
    {"nothing there before", "<B/>", "new", 0, "<B>new</B>"},
    {"emptied", "<B>1</B>", "", 0, "<B/>"},
    {"entities are understood", "<B>1</B>", "a&amp;b", 0, "<B>a&amp;b</B>"},
    {"no element comes of it", "<B>1</B>", "<C>", 0, "<B>&lt;C&gt;</B>"},
    {"never created", "<A>1</A>", "new", F, "<A>1</A>"},
    {"not below the children", "<A><B>1</B></A>", "new", F, "<A><B>1</B></A>"},
};

std::string dump(xmlDoc *doc)
{
    xmlBuffer *buffer = xmlBufferCreate();
    xmlNodeDump(buffer, doc, xmlDocGetRootElement(doc), 0, 0);
    std::string text = reinterpret_cast<const char *>(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
    return text;
}

TEST_F(XmlTest, TextOfAChildIsReplaced)
{
    for (const SetRow &row : kSets) {
        SCOPED_TRACE(row.name);
        const Document doc(element("R", row.before));
        EXPECT_EQ(SWM_SetChildNodeContent(doc.root(), "B", row.text), row.status);
        EXPECT_EQ(dump(doc), element("R", row.after));
        const Document same(element("R", row.before));
        EXPECT_EQ(SWM_SetNodeContent(same.root(), "B", nullptr, row.text), row.status);
        EXPECT_EQ(dump(same), element("R", row.after));
        const Document deep("<R>" + element("X", row.before) + "<X><B>2</B></X></R>");
        EXPECT_EQ(SWM_SetNodeContent(deep.root(), "X", "B", row.text), row.status);
        EXPECT_EQ(dump(deep), "<R>" + element("X", row.after) + "<X><B>2</B></X></R>");
        EXPECT_EQ(SWM_SetNodeContent(deep.root(), "Y", "B", row.text), F);
        EXPECT_EQ(dump(deep), "<R>" + element("X", row.after) + "<X><B>2</B></X></R>");
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, BareAmpersandHarmsNothingElse)
{
    const Document doc("<R><A>1</A><B>2</B></R>");
    EXPECT_EQ(SWM_SetChildNodeContent(doc.root(), "B", "a&b"), SWM_OK);
    EXPECT_EQ(textOf(child(doc.root(), "A")), "1");
    EXPECT_EQ(childCount(doc.root()), 2u);
    EXPECT_TRUE(nothingLogged());
}

// ---- Null arguments ----

TEST_F(XmlTest, NullArgumentsOfDocumentAccess)
{
    const Document doc("<R><B>text</B></R>");
    xmlNode *root = doc.root();
    xmlNode *node = nullptr;
    xmlDoc *out = nullptr;
    char buffer[8] = "kept";
    writeDatabase("");
    const char *file = path.c_str();
    auto given = [](const xmlDoc *document) { return document == nullptr ? F : SWM_OK; };
    expectRefused({
        {"check: path", [&] { return given(SWM_ParseAndCheckXmlFile(nullptr, "Product", &node)); }},
        {"check: empty path", [&] { return given(SWM_ParseAndCheckXmlFile("", "Product", &node)); }},
        {"check: name", [&] { return given(SWM_ParseAndCheckXmlFile(file, nullptr, &node)); }},
        {"check: root", [&] { return given(SWM_ParseAndCheckXmlFile(file, "Product", nullptr)); }},
        {"read: path", [&] { return SWM_XmlReadFileAndGetRootElement(nullptr, &out, &node); }},
        {"read: empty path", [&] { return SWM_XmlReadFileAndGetRootElement("", &out, &node); }},
        {"read: document", [&] { return SWM_XmlReadFileAndGetRootElement(file, nullptr, &node); }},
        {"read: root", [&] { return SWM_XmlReadFileAndGetRootElement(file, &out, nullptr); }},
        {"child: node", [&] { return SWM_GetChildNodeContent(nullptr, "B", buffer, 8); }},
        {"child: name", [&] { return SWM_GetChildNodeContent(root, nullptr, buffer, 8); }},
        {"child: buffer", [&] { return SWM_GetChildNodeContent(root, "B", nullptr, 8); }},
        {"grandchild: node", [&] { return SWM_GetNodeContent(nullptr, "B", nullptr, buffer, 8); }},
        {"grandchild: name", [&] { return SWM_GetNodeContent(root, nullptr, "B", buffer, 8); }},
        {"grandchild: buffer", [&] { return SWM_GetNodeContent(root, "B", nullptr, nullptr, 8); }},
        {"set: node", [&] { return SWM_SetChildNodeContent(nullptr, "B", "x"); }},
        {"set: name", [&] { return SWM_SetChildNodeContent(root, nullptr, "x"); }},
        {"set: text", [&] { return SWM_SetChildNodeContent(root, "B", nullptr); }},
        {"set below: node", [&] { return SWM_SetNodeContent(nullptr, "B", nullptr, "x"); }},
        {"set below: name", [&] { return SWM_SetNodeContent(root, nullptr, "B", "x"); }},
        {"set below: text", [&] { return SWM_SetNodeContent(root, "B", nullptr, nullptr); }},
        {"over-long: document", [&] { return SWM_ParseOverString(nullptr, root, buffer, 8), F; }},
        {"over-long: node", [&] { return SWM_ParseOverString(doc, nullptr, buffer, 8), F; }},
        {"over-long: buffer", [&] { return SWM_ParseOverString(doc, root, nullptr, 8), F; }},
    });
    EXPECT_STREQ(buffer, "kept");
    EXPECT_EQ(textOf(root), "text");
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(out, nullptr);
}

// ---- An empty database ----

TEST_F(XmlTest, EmptyDatabaseIsMade)
{
    EXPECT_EQ(SWM_CreateXmlFile(path.c_str()), SWM_OK);
    EXPECT_EQ(readFile(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product/>\n");
    EXPECT_EQ(modeOf(path), 0644u);
    EXPECT_TRUE(logged({xmlInfo("Create xml file %s success.", path.c_str())}));
}

TEST_F(XmlTest, EmptyDatabaseReplacesWhatWasThere)
{
    writeFile(path, "anything, and longer than an empty database is, so that a rest would show: " + k128);
    fs::permissions(path, fs::perms(0600));
    fs::create_hard_link(path, dir / "link");
    EXPECT_EQ(SWM_CreateXmlFile(path.c_str()), SWM_OK);
    EXPECT_EQ(readFile(dir / "link"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product/>\n");
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_TRUE(logged({xmlInfo("Create xml file %s success.", path.c_str())}));
}

TEST_F(XmlTest, EmptyDatabaseThatCannotBeSaved)
{
    for (const std::string &name :
         {(dir / "missing/file").string(), fs::path(dir).string(), std::string("/dev/full")}) {
        EXPECT_EQ(SWM_CreateXmlFile(name.c_str()), F) << name;
        EXPECT_TRUE(logged({xmlError("Save xml file %s failed, iRet=%d.", name.c_str(), kAnyNumber)}));
    }
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(SWM_CreateXmlFile(none), F);
        EXPECT_TRUE(logged({xmlError("Input para error, pcXmlFile.")}));
    }
}

} // namespace
} // namespace tarn::test
