// database make N FILE | lookup FILE | add FILE | remove FILE | bare-add FILE | bare-remove FILE | cc FILE
// One job on a database of N packages, for comparison as a whole command; "bare" does what the library's operation does
// with libxml2 alone.
#include <cstring>
#include <string>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <tarn_boot/database.h>

#include "measure.h"

using namespace tarn::bench;

namespace {

constexpr int kParseOptions = XML_PARSE_RECOVER | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS;
constexpr char kNewName[] = "newcomer";
constexpr char kFirstName[] = "package-000000";

const xmlChar *toXml(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

void make(unsigned packages, const char *path)
{
    FILE *file = fopen(path, "w");
    require(file != nullptr, path);
    fputs("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n", file);
    for (unsigned number = 0; number < packages; ++number) {
        fprintf(
            file,
            "  <Package>\n    <Base>\n      <PackageName>package-%06u</PackageName>\n"
            "      <Version>1.%u</Version>\n      <CcFile>package-%06u.cc</CcFile>\n"
            "      <CcPath>/opt/vendor/packages</CcPath>\n      <InstallPath>/opt/vendor/package-%06u</InstallPath>\n"
            "      <PkgPoolPath>/opt/tarn/pool/package-%06u/1.%u</PkgPoolPath>\n"
            "      <ActiveTime>2024-01-01 00:00:00</ActiveTime>\n    </Base>\n  </Package>\n",
            number, number % 10, number, number, number, number % 10);
    }
    fputs("</Product>\n", file);
    require(fclose(file) == 0, path);
}

void lookUp(const char *path)
{
    SwmPackageInfo *info = nullptr;
    require(SWM_MallocAndGetChosenPackageInfo(path, &info, kFirstName, nullptr) == SWM_OK, "the package is found");
    SWM_FreePackageInfo(info, 1);
}

void addPackage(const char *path)
{
    SwmPackageInfo info = {};
    strcpy(info.PackageName, kNewName);
    strcpy(info.Version, "1.0");
    require(SWM_AddBasePackageInfo(path, &info, 0) == SWM_OK, "the package is added");
}

void removePackage(const char *path)
{
    require(SWM_DelBasePackageInfoByName(path, kFirstName) == SWM_OK, "the package is removed");
}

xmlDoc *parse(const char *path)
{
    xmlDoc *doc = xmlReadFile(path, nullptr, kParseOptions);
    require(doc != nullptr, path);
    return doc;
}

bool isPackage(const xmlNode *package, const char *name)
{
    const xmlNode *base = package->children;
    xmlChar *text = base != nullptr ? xmlNodeGetContent(base->children) : nullptr;
    const bool isSame = text != nullptr && xmlStrcmp(text, toXml(name)) == 0;
    xmlFree(text);
    return isSame;
}

xmlNode *find(xmlDoc *doc, const char *name)
{
    xmlNode *package = xmlDocGetRootElement(doc)->children;
    while (package != nullptr && !isPackage(package, name)) {
        package = package->next;
    }
    return package;
}

void save(const char *path, xmlDoc *doc, const char *encoding)
{
    require(xmlSaveFormatFileEnc(path, doc, encoding, 1) > 0, path);
    xmlFreeDoc(doc);
}

void bareAdd(const char *path)
{
    xmlDoc *looked = parse(path);
    require(find(looked, kNewName) == nullptr, "the package is new");
    xmlFreeDoc(looked);
    xmlDoc *doc = parse(path);
    xmlNode *package = xmlNewChild(xmlDocGetRootElement(doc), nullptr, toXml("Package"), nullptr);
    xmlNode *base = xmlNewChild(package, nullptr, toXml("Base"), nullptr);
    for (const char *leaf :
         {"PackageName", "Version", "CcFile", "CcPath", "InstallPath", "PkgPoolPath", "ActiveTime"}) {
        xmlNewChild(base, nullptr, toXml(leaf), toXml(leaf));
    }
    save(path, doc, "UTF-8");
}

void bareRemove(const char *path)
{
    xmlDoc *doc = parse(path);
    for (xmlNode *package = xmlDocGetRootElement(doc)->children; package != nullptr;) {
        xmlNode *next = package->next;
        if (isPackage(package, kFirstName)) {
            xmlUnlinkNode(package);
            xmlFreeNode(package);
        }
        package = next;
    }
    save(path, doc, nullptr);
}

void listCcFiles(const char *path)
{
    SwmCcInfo *infos = nullptr;
    uint32_t count = 0;
    const double seconds =
        secondsOf([&] { require(SWM_MallocAndGetAllCcInfo(path, &infos, &count) == SWM_OK, "CC files are listed"); });
    free(infos);
    printf("  %6u distinct CC files: %8.2f ms, %.0f ns each\n", count, seconds * 1e3, seconds * 1e9 / count);
}

} // namespace

int main(int argc, char **argv)
{
    const std::string job = argc > 2 ? argv[1] : "";
    const char *path = argv[argc - 1];
    if (job == "make" && argc == 4) {
        make(static_cast<unsigned>(atoi(argv[2])), path);
    } else if (job == "lookup") {
        lookUp(path);
    } else if (job == "add") {
        addPackage(path);
    } else if (job == "remove") {
        removePackage(path);
    } else if (job == "bare-add") {
        bareAdd(path);
    } else if (job == "bare-remove") {
        bareRemove(path);
    } else if (job == "cc") {
        listCcFiles(path);
    } else {
        require(false, "a job and a file are given");
    }
    return 0;
}
