// Access to the database file and to the texts of its nodes. The schema: docs/formats.md.
#include <cstring>
#include <pthread.h>

#include <tarn_basic/bounded.h>
#include <tarn_basic/path.h>

#include "common/bounded_text.h"
#include "swm_xml/xml_tree.h"

using namespace tarn;

namespace {

constexpr const char *kRoot = "Product";

// XML_PARSE_RECOVER, _NOERROR, _NOWARNING, _NOBLANKS: a damaged file is read as far as it goes, and the children of a
// node are its elements.
constexpr int kReadOptions = XML_PARSE_RECOVER | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOBLANKS;
static_assert(kReadOptions == 353);

#if LIBXML_VERSION >= 21200
using XmlErrorRecord = const xmlError;
#else
using XmlErrorRecord = xmlError;
#endif

void noteError(void *lackedMemory, XmlErrorRecord *error)
{
    if (error != nullptr && error->code == XML_ERR_NO_MEMORY) {
        *static_cast<bool *>(lackedMemory) = true;
    }
}

// The first parse is not safe in several threads. There is no matching clean-up: the process may use libxml2 too.
void initialiseXml()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    static_cast<void>(pthread_once(&once, xmlInitParser));
}

// What could be read before memory ran out, or up to a text beyond libxml2's limit, is no document: the next change
// would save it.
XmlDocument readDocument(const char *path)
{
    if (isNullOrEmpty(path) || SWM_IsFileExist(path) == 0) {
        return nullptr;
    }
    const QuietXml quiet;
    XmlDocument document(xmlReadFile(path, nullptr, kReadOptions));
    return quiet.outOfMemory() ? nullptr : std::move(document);
}

// libxml2's limit for one text, which it does not apply to what entities expand to.
constexpr size_t kMaxText = 10'000'000;
constexpr size_t kCostOfNode = 16;

bool charge(size_t &budget, size_t cost)
{
    const bool isCovered = cost <= budget;
    budget = isCovered ? budget - cost : 0;
    return isCovered;
}

// Whether the text of a node, entities expanded, stays within the budget. Below a reference stands the entity, below
// that its content where it has been parsed.
bool isAffordable(const xmlNode *node, size_t &budget, int depth = 0) // NOLINT(misc-no-recursion): bounded
{
    constexpr int kMaxDepth = 300;
    if (depth > kMaxDepth || !charge(budget, kCostOfNode)) {
        return false;
    }
    switch (node->type) {
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
        return node->content == nullptr || charge(budget, strlen(reinterpret_cast<const char *>(node->content)));
    case XML_ENTITY_REF_NODE:
        return node->children == nullptr || isAffordable(node->children, budget, depth + 1);
    case XML_ENTITY_DECL:
        if (node->children == nullptr) {
            return charge(budget, static_cast<size_t>(reinterpret_cast<const xmlEntity *>(node)->length));
        }
        break;
    default:
        break;
    }
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (!isAffordable(child, budget, depth + 1)) {
            return false;
        }
    }
    return true;
}

// Null for a node without content, and for one whose content does not fit into memory or would be unreasonably long.
XmlText contentOf(const xmlNode *node)
{
    size_t budget = kMaxText;
    if (!isAffordable(node, budget)) {
        return nullptr;
    }
    const QuietXml quiet;
    XmlText text(xmlNodeGetContent(node));
    return quiet.outOfMemory() ? nullptr : std::move(text);
}

// Of the node's own texts and references only: what stands in its elements is not its text.
XmlText childrenText(xmlDoc *document, const xmlNode *node)
{
    size_t budget = kMaxText;
    for (const xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE && !isAffordable(child, budget)) {
            return nullptr;
        }
    }
    const QuietXml quiet;
    XmlText text(xmlNodeListGetString(document, node->children, 1));
    return quiet.outOfMemory() ? nullptr : std::move(text);
}

// Before 2.13 a lack of memory shows by its error only.
bool setContent(xmlNode *node, const char *text)
{
#if LIBXML_VERSION >= 21300
    return xmlNodeSetContent(node, xmlText(text)) == 0;
#else
    xmlNodeSetContent(node, xmlText(text));
    return true;
#endif
}

XmlDocument emptyDatabase()
{
    const QuietXml quiet;
    XmlDocument document(xmlNewDoc(xmlText("1.0")));
    XmlNode root(xmlNewNode(nullptr, xmlText(kRoot)));
    if (!document || !root) {
        return nullptr;
    }
    xmlDocSetRootElement(document.get(), root.release());
    return quiet.outOfMemory() ? nullptr : std::move(document);
}

void makeEmpty(char *buffer, uint32_t length)
{
    if (length > 0) {
        *buffer = '\0';
    }
}

// The parent of node/firstName/secondName.
xmlNode *holderOf(xmlNode *node, const char *firstName, const char *secondName)
{
    return secondName == nullptr ? node : firstChild(node, firstName);
}

} // namespace

QuietXml::QuietXml()
{
    initialiseXml();
    oldContext = xmlStructuredErrorContext;
    oldHandler = xmlStructuredError;
    xmlSetStructuredErrorFunc(&lackedMemory, noteError);
}

int tarn::saveDocument(const char *path, xmlDoc *document, const char *encoding)
{
    const QuietXml quiet;
    const int result = xmlSaveFormatFileEnc(path, document, encoding, 1);
    return quiet.outOfMemory() && result >= 0 ? -1 : result;
}

bool Database::open(const char *path)
{
    xmlDoc *parsed = nullptr;
    if (SWM_XmlReadFileAndGetRootElement(path, &parsed, &rootNode) != SWM_OK) {
        XML_WARNING("Read xml file and get root node from %s unsuccessfully.", path);
        return false;
    }
    document.reset(parsed);
    file = path;
    return true;
}

bool Database::save(const char *encoding)
{
    if (saveDocument(file, document.get(), encoding) < 0) {
        XML_ERROR("Save xml file %s failed.", file);
        return false;
    }
    return true;
}

xmlDoc *SWM_XmlReadFile(const char *path) noexcept
{
    return readDocument(path).release();
}

xmlDoc *SWM_ParseAndCheckXmlFile(const char *path, const char *expectedRoot, xmlNode **rootOut) noexcept
{
    if (isNullOrEmpty(path) || expectedRoot == nullptr || rootOut == nullptr) {
        XML_ERROR("Input para NULL.");
        return nullptr;
    }
    XmlDocument document(SWM_XmlReadFile(path));
    if (!document) {
        XML_WARNING("Read xml file %s unsuccessfully.", path);
        return nullptr;
    }
    xmlNode *root = xmlDocGetRootElement(document.get());
    if (root == nullptr) {
        XML_ERROR("Get root node from %s failed.", path);
        return nullptr;
    }
    if (xmlStrcmp(root->name, xmlText(expectedRoot)) != 0) {
        // The line says "Product" whatever was expected: log filters know it so.
        XML_ERROR("Check root node name in %s failed, name is %s, it should be %s.", path, nameOf(root), kRoot);
        return nullptr;
    }
    *rootOut = root;
    return document.release();
}

uint32_t SWM_XmlReadFileAndGetRootElement(const char *path, xmlDoc **docOut, xmlNode **rootOut) noexcept
{
    if (isNullOrEmpty(path) || docOut == nullptr || rootOut == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    xmlDoc *document = SWM_ParseAndCheckXmlFile(path, kRoot, rootOut);
    if (document == nullptr) {
        return SWM_FAIL;
    }
    *docOut = document;
    return SWM_OK;
}

void SWM_ParseOverString(xmlDoc *doc, xmlNode *node, char *buffer, uint32_t length) noexcept
{
    if (doc == nullptr || node == nullptr || buffer == nullptr) {
        XML_ERROR("Input para NULL.");
        return;
    }
    const XmlText text = childrenText(doc, node);
    if (!text) {
        XML_ERROR("[XML]: Parse node '%s' value fail!", nameOf(node));
        makeEmpty(buffer, length);
        return;
    }
    if (length == 0 || strncpy_s(buffer, length, reinterpret_cast<const char *>(text.get()), length - 1) != 0) {
        XML_ERROR("[XML]: strncpy_s node '%s' value fail!", nameOf(node));
        makeEmpty(buffer, length);
        return;
    }
    buffer[length - 1] = '\0';
}

uint32_t SWM_GetChildNodeContent(xmlNode *node, const char *childName, char *buffer, uint32_t length) noexcept
{
    if (node == nullptr || childName == nullptr || buffer == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    const xmlNode *child = firstChild(node, childName);
    const XmlText text = child == nullptr ? nullptr : contentOf(child);
    if (!text) {
        return SWM_FAIL;
    }
    // A text too long reads as "", not as its beginning, which could be another's name: callers rely on it.
    if (strcpy_s(buffer, length, reinterpret_cast<const char *>(text.get())) != 0) {
        COMMON_WARNING("strcpy failed: %s, line: %d", __func__, __LINE__);
        makeEmpty(buffer, length);
    }
    return SWM_OK;
}

uint32_t SWM_GetNodeContent(xmlNode *node, const char *firstName, const char *secondName, char *buffer,
                            uint32_t length) noexcept
{
    if (node == nullptr || firstName == nullptr || buffer == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    xmlNode *holder = holderOf(node, firstName, secondName);
    if (holder == nullptr) {
        return SWM_FAIL;
    }
    return SWM_GetChildNodeContent(holder, secondName == nullptr ? firstName : secondName, buffer, length);
}

uint32_t SWM_SetChildNodeContent(xmlNode *node, const char *childName, const char *text) noexcept
{
    if (node == nullptr || childName == nullptr || text == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    xmlNode *child = firstChild(node, childName);
    if (child == nullptr) {
        return SWM_FAIL;
    }
    const QuietXml quiet;
    const bool isSet = setContent(child, text);
    return !isSet || quiet.outOfMemory() ? SWM_FAIL : SWM_OK;
}

uint32_t SWM_SetNodeContent(xmlNode *node, const char *firstName, const char *secondName, const char *text) noexcept
{
    if (node == nullptr || firstName == nullptr || text == nullptr) {
        return XML_FAIL("Input para NULL.");
    }
    xmlNode *holder = holderOf(node, firstName, secondName);
    if (holder == nullptr) {
        return SWM_FAIL;
    }
    return SWM_SetChildNodeContent(holder, secondName == nullptr ? firstName : secondName, text);
}

uint32_t SWM_CreateXmlFile(const char *path) noexcept
{
    if (isNullOrEmpty(path)) {
        return XML_FAIL("Input para error, pcXmlFile.");
    }
    const XmlDocument document = emptyDatabase();
    if (!document) {
        return SWM_FAIL;
    }
    const int result = saveDocument(path, document.get(), kUtf8);
    if (result < 0) {
        return XML_FAIL("Save xml file %s failed, iRet=%d.", path, result);
    }
    XML_INFO("Create xml file %s success.", path);
    return SWM_OK;
}
