// Base of the tests of the installed-package database: databases as text, nodes by name, libxml2 under watch.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <memory>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <tarn_basic/log.h>
#include <tarn_boot/database.h>

#include "support/boot_test.h"

namespace tarn::test {

using Lines = std::vector<LogLine>;

// ---- Expected lines ----

inline LogLine xmlLine(uint32_t level, const char *name, const char *format, va_list arguments)
    __attribute__((format(printf, 3, 0)));

inline LogLine xmlLine(uint32_t level, const char *name, const char *format, va_list arguments)
{
    char text[4096];
    vsnprintf(text, sizeof(text), format, arguments);
    const std::string head = std::string("[BOOT][SWM_XML][") + name + "]: ";
    return {0, level, head + format, head + text};
}

__attribute__((format(printf, 1, 2))) inline LogLine xmlError(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogLine line = xmlLine(SWM_LOG_ERROR, "ERROR", format, arguments);
    va_end(arguments);
    return line;
}

__attribute__((format(printf, 1, 2))) inline LogLine xmlWarning(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogLine line = xmlLine(SWM_LOG_WARNING, "WARNING", format, arguments);
    va_end(arguments);
    return line;
}

__attribute__((format(printf, 1, 2))) inline LogLine xmlInfo(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogLine line = xmlLine(SWM_LOG_INFO, "INFO", format, arguments);
    va_end(arguments);
    return line;
}

inline LogLine nullArgument()
{
    return xmlError("Input para NULL.");
}

// What every operation that opens a database says when it cannot.
inline Lines notReadable(const fs::path &path)
{
    return {xmlWarning("Read xml file %s unsuccessfully.", path.c_str()),
            xmlWarning("Read xml file and get root node from %s unsuccessfully.", path.c_str())};
}

inline Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// ---- Records and their text ----

template <size_t N> void fill(char (&field)[N], const std::string &value)
{
    snprintf(field, N, "%s", value.c_str());
}

inline SwmPackageInfo package(const std::string &name, const std::string &version = "1.0",
                              const std::string &ccFile = "a.cc", const std::string &ccPath = "/cc")
{
    SwmPackageInfo info = {};
    fill(info.PackageName, name);
    fill(info.Version, version);
    fill(info.CcFile, ccFile);
    fill(info.CcPath, ccPath);
    fill(info.InstallPath, "/opt/" + name);
    fill(info.PkgPoolPath, "/pool/" + name);
    fill(info.ActiveTime, "2026-01-02");
    return info;
}

// A key of level 2: its path field holds the file name.
inline SwmPackageInfo key(const std::string &name, const std::string &version = "1.0",
                          const std::string &ccFile = "a.cc")
{
    SwmPackageInfo info = {};
    fill(info.PackageName, name);
    fill(info.Version, version);
    fill(info.CcPath, ccFile);
    return info;
}

inline SwmPatchInfo patch(const std::string &name, const std::string &version = "1.1")
{
    SwmPatchInfo info = {};
    fill(info.PatchName, name);
    fill(info.Version, version);
    fill(info.SrcFilePath, "/src/" + name);
    fill(info.InstallPath, "/opt/" + name);
    fill(info.PkgPoolPath, "/pool/" + name);
    return info;
}

inline SwmModInfo mod(const std::string &name, const std::string &version = "1.1")
{
    const SwmPatchInfo same = patch(name, version);
    SwmModInfo info;
    static_assert(sizeof(info) == sizeof(same));
    memcpy(&info, &same, sizeof(info));
    return info;
}

inline std::string element(const std::string &name, const std::string &content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

// A package as text, without the leaf named `without`.
inline std::string packageText(const SwmPackageInfo &info, const std::string &more = "",
                               const std::string &without = "")
{
    const std::pair<const char *, const char *> leaves[] = {
        {"PackageName", info.PackageName}, {"Version", info.Version},         {"CcFile", info.CcFile},
        {"CcPath", info.CcPath},           {"InstallPath", info.InstallPath}, {"PkgPoolPath", info.PkgPoolPath},
        {"ActiveTime", info.ActiveTime}};
    std::string base;
    for (const auto &[name, value] : leaves) {
        base += name == without ? "" : element(name, value);
    }
    return element("Package", element("Base", base) + more);
}

// What the listings can read, which is not what the additions write.
inline std::string readablePatch(const std::string &name, const std::string &kind = "Patch")
{
    return element(kind,
                   element("PatchName", name) + element("Version", "v" + name) + element("PatchPath", "/p/" + name));
}

inline std::string patchText(const std::string &name)
{
    return element("Patch", element("PatchName", name) + "<Version>1</Version><SrcFilePath>s</SrcFilePath>" +
                                "<InstallPath>i</InstallPath><PkgPoolPath>p</PkgPoolPath>");
}

inline std::string modText(const std::string &name)
{
    return element("Mod", element("ModName", name) + "<Version>1</Version><SrcFilePath>s</SrcFilePath>" +
                              "<InstallPath>i</InstallPath><PkgPoolPath>p</PkgPoolPath>");
}

inline std::string product(const std::string &content)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + element("Product", content) + "\n";
}

// ---- libxml2 ----

// Its allocator: counts blocks and fails the nth.
struct XmlMemory {
    static inline std::atomic<long> live = 0;
    static inline std::atomic<unsigned> untilFailure = 0; // 0: none
    static inline std::atomic<bool> hit = false;

    static bool fails()
    {
        if (untilFailure == 0 || --untilFailure != 0) {
            return false;
        }
        hit = true;
        return true;
    }
    static void *allocate(size_t size)
    {
        void *block = fails() ? nullptr : malloc(size);
        live += block != nullptr;
        return block;
    }
    static void *resize(void *block, size_t size)
    {
        if (block == nullptr) {
            return allocate(size);
        }
        return fails() ? nullptr : realloc(block, size);
    }
    static char *duplicate(const char *text)
    {
        auto *copy = static_cast<char *>(allocate(strlen(text) + 1));
        return copy == nullptr ? nullptr : strcpy(copy, text);
    }
    static void release(void *block)
    {
        live -= block != nullptr;
        free(block);
    }
    static void install()
    {
        static const bool done = [] {
            xmlMemSetup(release, allocate, resize, duplicate);
            xmlInitParser();
            return true;
        }();
        (void)done;
    }
    static void failNth(unsigned nth)
    {
        hit = false;
        untilFailure = nth;
    }
};

// A tree of the test's own; blank nodes are dropped as the library does.
class Document {
public:
    explicit Document(const std::string &text)
        : doc(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, kOptions))
    {
    }
    Document(const Document &) = delete;
    ~Document() { xmlFreeDoc(doc); }
    operator xmlDoc *() const { return doc; }
    xmlNode *root() const { return xmlDocGetRootElement(doc); }

private:
    static constexpr int kOptions = XML_PARSE_RECOVER | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS;
    xmlDoc *doc;
};

inline xmlNode *child(xmlNode *node, const char *name, unsigned index = 0)
{
    for (xmlNode *at = node->children; at != nullptr; at = at->next) {
        if (strcmp(reinterpret_cast<const char *>(at->name), name) == 0 && index-- == 0) {
            return at;
        }
    }
    return nullptr;
}

inline unsigned childCount(xmlNode *node)
{
    return static_cast<unsigned>(xmlChildElementCount(node));
}

inline std::string textOf(xmlNode *node)
{
    const std::unique_ptr<xmlChar, void (*)(xmlChar *)> text(xmlNodeGetContent(node), [](xmlChar *t) { xmlFree(t); });
    return text == nullptr ? "(none)" : reinterpret_cast<const char *>(text.get());
}

// A host program that uses libxml2 too: its handlers must neither see the library's errors nor be lost.
class XmlTest : public BootTest {
protected:
    const fs::path path = dir / "installed.xml";

    static void SetUpTestSuite() { XmlMemory::install(); }
    void SetUp() override
    {
        BootTest::SetUp();
        xmlSetGenericErrorFunc(this, genericError);
        xmlSetStructuredErrorFunc(this, structuredError);
        xmlResetLastError();
        liveBefore = XmlMemory::live;
    }
    void TearDown() override
    {
        XmlMemory::failNth(0);
        EXPECT_EQ(hostErrors, 0) << "libxml2's errors reached the host program";
        EXPECT_TRUE(xmlGenericError == genericError && xmlGenericErrorContext == this);
        EXPECT_TRUE(xmlStructuredError == structuredError && xmlStructuredErrorContext == this);
        xmlSetStructuredErrorFunc(nullptr, nullptr);
        xmlSetGenericErrorFunc(nullptr, nullptr);
        xmlResetLastError();
        EXPECT_EQ(XmlMemory::live, liveBefore) << "blocks of libxml2 were not released";
        BootTest::TearDown();
    }

    void writeDatabase(const std::string &content) const { writeFile(path, product(content)); }
    void expectUnchanged(const std::string &before) const { EXPECT_EQ(readFile(path), before); }

    int hostErrors = 0;

private:
    static void genericError(void *context, const char *, ...) { ++static_cast<XmlTest *>(context)->hostErrors; }
#if LIBXML_VERSION >= 21200
    static void structuredError(void *context, const xmlError *)
#else
    static void structuredError(void *context, ::xmlError *)
#endif
    {
        ++static_cast<XmlTest *>(context)->hostErrors;
    }
    long liveBefore = 0;
};

// A call that must fail for a null or empty argument, and say so in one line.
struct NullRow {
    const char *name;
    std::function<uint32_t()> run;
};

inline void expectRefused(const std::vector<NullRow> &rows)
{
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), SWM_FAIL) << row.name;
        EXPECT_TRUE(logged({nullArgument()})) << row.name;
    }
}

} // namespace tarn::test
