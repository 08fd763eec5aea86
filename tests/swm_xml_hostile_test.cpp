// Documents that nobody's installer wrote: no crash, no fetch, bounded time and memory.
#include <chrono>

#include <sys/resource.h>
#include <sys/stat.h>

#include "support/xml_test.h"

namespace tarn::test {
namespace {

constexpr uint32_t F = SWM_FAIL;

std::string repeated(const std::string &text, size_t times)
{
    std::string all;
    all.reserve(text.size() * times);
    for (size_t i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

std::string entityBomb()
{
    std::string text = "<!DOCTYPE Product [<!ENTITY e0 \"" + std::string(100, 'b') + "\">";
    for (int i = 1; i < 12; ++i) {
        text += "<!ENTITY e" + std::to_string(i) + " \"" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "\">";
    }
    return text + "]><Product>" + packageText(package("p")) +
           element("Package", element("Base", element("PackageName", "&e11;"))) + "</Product>";
}

struct HostileRow {
    const char *name;
    std::string text;
};

std::vector<HostileRow> hostileTexts()
{
    const std::string sound = product(packageText(package("p"), patchText("x") + modText("x")));
    return {
        {"empty", ""},
        {"one byte", "<"},
        {"declaration only", "<?xml version=\"1.0\"?>"},
        {"deep", "<Product>" + repeated("<Package>", 100000)},
        {"deep and closed", "<Product>" + repeated("<Base>", 5000) + repeated("</Base>", 5000) + "</Product>"},
        {"entity bomb", entityBomb()},
        {"entity of itself", "<!DOCTYPE Product [<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">]><Product>" +
                                 packageText(package("&a;")) + "</Product>"},
        {"many packages, no leaves", "<Product>" + repeated("<Package><Base/></Package>", 20000) + "</Product>"},
        {"a name of a megabyte", "<Product><" + std::string(1 << 20, 'n') + "/></Product>"},
        {"a text of twelve megabytes",
         product(packageText(package("p")) + element("Note", std::string(12 << 20, 't')))},
        {"a leaf of a megabyte",
         product(element("Package", element("Base", element("PackageName", std::string(1 << 20, 'p')))))},
        {"NUL in a leaf",
         std::string("<Product><Package><Base><PackageName>p\0q</PackageName></Base></Package></Product>", 74)},
        {"only NULs", std::string(4096, '\0')},
        {"invalid UTF-8", product(packageText(package("p\xFF\xC0\x80")))},
        {"cut UTF-8", product(packageText(package("p\xE4")))},
        {"encoding nobody knows", "<?xml version=\"1.0\" encoding=\"X-NONE\"?>" + sound.substr(39)},
        {"UTF-16 of odd length", std::string("\xFF\xFE<\0P\0r", 7)},
        {"attributes and namespaces", "<a:Product xmlns:a=\"u\"><Package x='1' xmlns='v'/></a:Product>"},
        {"comments and instructions",
         "<Product><!-- Package --><?Package x?><![CDATA[<Package/>]]>text&#65;<Package/></Product>"},
        {"unknown entity", "<Product>" + packageText(package("&nobody;")) + "</Product>"},
        {"binary", std::string("\x7F"
                               "ELF\x02\x01\x01\x00\x00\x00",
                               10) +
                       sound},
    };
}

// Every operation that reads or changes a database; their results are those of any other document.
void runAll(const char *path)
{
    SwmPackageInfo *records = nullptr;
    SwmCcInfo *infos = nullptr;
    uint32_t count = 0;
    const SwmPackageInfo info = package("p", "2");
    const SwmPackageInfo wanted = key("p", "2");
    const SwmPatchInfo onePatch = patch("x", "2");
    const SwmModInfo oneMod = mod("x", "2");
    char buffer[128];
    if (SWM_MallocAndGetAllPackageInfo(path, &records, &count) == SWM_OK) {
        SWM_FreePackageInfo(records, count);
    }
    if (SWM_MallocAndGetAllCcInfo(path, &infos, &count) == SWM_OK) {
        free(infos);
    }
    if (SWM_MallocAndGetChosenPackageInfo(path, &records, "p", "1.0") == SWM_OK) {
        SWM_FreePackageInfo(records, 1);
    }
    for (uint32_t level = 0; level < 3; ++level) {
        SWM_IsPackageInstalled(path, &wanted, level);
    }
    SWM_ParseXmlBasePkgName(path, buffer, sizeof(buffer));
    SWM_UpdateBaseInfo(path, &info, 0);
    SWM_UpdatePatchInfo(path, &onePatch, "p");
    SWM_UpdateModInfo(path, &oneMod, "p");
    SWM_DelPatchPackageInfo(path, "p", "x");
    SWM_DelModPackageInfo(path, "p", "x");
    SWM_AddBasePackageInfo(path, &info, 1);
    SWM_AddPatchPackageInfo(path, "p", &onePatch);
    SWM_AddModPackageInfo(path, "p", &oneMod);
    SWM_DelBasePackageInfo(path, &wanted);
    SWM_DelBasePackageInfoByCcNameAndPath(path, "/cc/a.cc");
    SWM_DelBasePackageInfoByName(path, "p");
}

TEST_F(XmlTest, HostileDocumentsDoNoHarm)
{
    for (const HostileRow &row : hostileTexts()) {
        SCOPED_TRACE(row.name);
        writeFile(path, row.text);
        const auto start = std::chrono::steady_clock::now();
        runAll(path.c_str());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
        takeLog();
        EXPECT_EQ(liveBlocks(), 0);
    }
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    RecordProperty("peakMemory", std::to_string(usage.ru_maxrss));
}

TEST_F(XmlTest, EveryTruncationOfADatabase)
{
    const std::string whole = product(packageText(package("p"), readablePatch("x") + readablePatch("m", "Mod")));
    for (size_t length = 0; length < whole.size(); length += 7) {
        SCOPED_TRACE(length);
        writeFile(path, whole.substr(0, length));
        const std::string before = readFile(path);
        SwmPackageInfo *records = nullptr;
        uint32_t count = 0;
        const uint32_t status = SWM_MallocAndGetAllPackageInfo(path.c_str(), &records, &count);
        if (status == SWM_OK) {
            SWM_FreePackageInfo(records, count);
        } else {
            EXPECT_TRUE(status == F || status == SWM_NOT_INSTALLED) << status;
            EXPECT_EQ(records, nullptr);
        }
        expectUnchanged(before);
        takeLog();
    }
}

// A FIFO that nobody writes to: whoever opened it would wait for ever.
TEST_F(XmlTest, ExternalEntitiesAreNotFetched)
{
    const fs::path fifo = dir / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string system = "SYSTEM \"" + fifo.string() + "\"";
    for (const std::string &type :
         {"<!DOCTYPE Product " + system + ">", "<!DOCTYPE Product [<!ENTITY e " + system + ">]>",
          "<!DOCTYPE Product [<!ENTITY % e " + system + "> %e;]>",
          std::string("<!DOCTYPE Product SYSTEM \"http://127.0.0.1:9/p.dtd\">")}) {
        SCOPED_TRACE(type);
        const std::string content = type + "<Product>" + packageText(package("p")) +
                                    "<StartupPackage><BasePackage><CcFile>f&e;</CcFile></BasePackage></StartupPackage>"
                                    "</Product>";
        writeFile(path, content);
        EXPECT_EQ(runInChild(
                      [&] {
                          char buffer[16] = "";
                          const SwmPackageInfo wanted = key("p");
                          return SWM_ParseXmlBasePkgName(path.c_str(), buffer, sizeof(buffer)) != SWM_OK ||
                                 std::string(buffer) != "f" || SWM_DelBasePackageInfo(path.c_str(), &wanted) != SWM_OK;
                      },
                      10000),
                  0);
    }
}

std::string withEntities(const std::string &declarations, const std::string &content)
{
    return "<!DOCTYPE Product [" + declarations + "]><Product>" + content + "</Product>";
}

// What bears an element's name without being one.
TEST_F(XmlTest, ReferencesAndInstructionsAreNoElements)
{
    SwmPackageInfo info = {};
    uint32_t count = 99;
    writeFile(path, product("<?Package x?>" + packageText(package("p"))));
    EXPECT_EQ(SWM_GetPackageNodeNum(path.c_str(), &count), SWM_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(SWM_GetChosenPackageInfo(path.c_str(), &info, "p", nullptr), SWM_OK);

    // A reference of a leaf's name beside no such leaf: nothing is set through it.
    const std::string leaf = withEntities(
        "<!ENTITY Version \"xyz\">", element("Package", element("Base", element("PackageName", "p") + "&Version;")));
    writeFile(path, leaf);
    EXPECT_EQ(SWM_UpdateBaseInfo(path.c_str(), &info, 0), F);
    EXPECT_EQ(readFile(path), leaf);

    // One of a package's name: below it stand the declarations, not the document's elements.
    const std::string root = withEntities("<!ENTITY Package \"a\"><!ENTITY Patch \"b\"><!ENTITY Base \"" +
                                              element("PackageName", "p") + "\">",
                                          "&Package;");
    writeFile(path, root);
    EXPECT_EQ(SWM_GetPackageNodeNum(path.c_str(), &count), SWM_OK);
    EXPECT_EQ(count, 0u);
    SwmPatchInfo patch = {};
    EXPECT_EQ(SWM_AddPatchInfo(path.c_str(), &patch, "p"), F);
    EXPECT_EQ(readFile(path), root);
    takeLog();
}

int maxResidentKiB()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<int>(usage.ru_maxrss);
}

// An entity of 100 kB, referred to ten thousand times: libxml2 expands it only when the text is asked for.
TEST_F(XmlTest, ATextThatEntitiesBlowUpIsNotRead)
{
    SwmPackageInfo info = {};
    writeFile(path, withEntities("<!ENTITY e \"" + std::string(100000, 'e') + "\">",
                                 element("Package", element("Base", element("PackageName", repeated("&e;", 10000))))));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(SWM_GetChosenPackageInfo(path.c_str(), &info, "p", nullptr), F);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    EXPECT_LT(maxResidentKiB(), 900 * 1024);
    // A modest one is read.
    writeFile(path, withEntities("<!ENTITY e \"p\">", packageText(package("&e;"))));
    EXPECT_EQ(SWM_GetChosenPackageInfo(path.c_str(), &info, "p", nullptr), SWM_OK);
    takeLog();
}

TEST_F(XmlTest, ATextThatEntitiesBlowUpIsNotParsedOver)
{
    writeFile(path, withEntities("<!ENTITY e \"" + std::string(100000, 'e') + "\"><!ENTITY s \"short\">",
                                 element("Note", repeated("&e;", 10000)) + element("Note", "a &s;")));
    xmlDoc *doc = nullptr;
    xmlNode *root = nullptr;
    ASSERT_EQ(SWM_XmlReadFileAndGetRootElement(path.c_str(), &doc, &root), SWM_OK);
    char buffer[16] = "old";
    SWM_ParseOverString(doc, root->children, buffer, sizeof(buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_TRUE(logged({xmlError("[XML]: Parse node '%s' value fail!", "Note")}));
    EXPECT_LT(maxResidentKiB(), 900 * 1024);
    // A modest one is, and what stands in other elements does not count.
    SWM_ParseOverString(doc, root->children->next, buffer, sizeof(buffer));
    EXPECT_STREQ(buffer, "a short");
    xmlFreeDoc(doc);
}

} // namespace
} // namespace tarn::test
