// Parsing with line numbers, every error noted, no document type.
#include "db/parse.h"

#include <climits>
#include <new>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include "text.h"

namespace tarn::tool {

namespace {

// The first error is the cause; most others follow from it.
constexpr size_t kMaxErrors = 20;

#if LIBXML_VERSION >= 21200
using XmlErrorRecord = const xmlError;
#else
using XmlErrorRecord = xmlError;
#endif

struct ContextRelease {
    void operator()(xmlParserCtxt *context) const { xmlFreeParserCtxt(context); }
};

// What the parser tells while it runs. It calls from C: nothing may be thrown.
struct Observer {
    std::vector<DbProblem> problems;
    size_t moreProblems = 0;
    bool lacksMemory = false;

    void add(long line, const char *kind, std::string message, const char *hint) noexcept
    try {
        if (problems.size() < kMaxErrors) {
            problems.push_back({line, kind, std::move(message), hint, true, {}});
        } else {
            ++moreProblems;
        }
    } catch (const std::bad_alloc &) {
        lacksMemory = true;
    }
};

const char *hintFor(int code)
{
    switch (code) {
    case XML_ERR_INVALID_ENCODING:
    case XML_ERR_UNKNOWN_ENCODING:
    case XML_ERR_UNSUPPORTED_ENCODING:
    case XML_I18N_CONV_FAILED:
        return "bytes that are no UTF-8: convert the file, or declare its encoding in the first line";
    case XML_ERR_UNDECLARED_ENTITY:
    case XML_WAR_UNDECLARED_ENTITY:
    case XML_ERR_ENTITYREF_SEMICOL_MISSING:
    case XML_ERR_NAME_REQUIRED:
        return "write \"&\" as \"&amp;\" and \"<\" as \"&lt;\"";
    case XML_ERR_INVALID_CHAR:
        return "remove the control character";
    case XML_ERR_DOCUMENT_EMPTY:
        return "the file is empty or no XML: put the copy back";
    case XML_ERR_TAG_NOT_FINISHED:
    case XML_ERR_DOCUMENT_END:
        return "the file ends early or behind its end comes more: put the copy back";
    default:
        return "mend this line, or put the copy back";
    }
}

Observer &observerOf(void *context)
{
    return *static_cast<Observer *>(static_cast<xmlParserCtxt *>(context)->_private);
}

std::string withoutLineEnd(const char *message)
{
    std::string text = message == nullptr ? "unknown error" : message;
    text.erase(text.find_last_not_of("\n ") + 1);
    return text;
}

void noteError(void *context, XmlErrorRecord *error)
{
    Observer &observer = observerOf(context);
    if (error->code == XML_ERR_NO_MEMORY) {
        observer.lacksMemory = true;
    } else {
        observer.add(error->line, "not_well_formed", "not well-formed: " + escaped(withoutLineEnd(error->message)),
                     hintFor(error->code));
    }
}

void noteDocumentType(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    const auto *parser = static_cast<xmlParserCtxt *>(context);
    observerOf(context).add(parser->input == nullptr ? 1 : parser->input->line, "doctype",
                            "a document type (DOCTYPE): it may declare entities that change or blow up what is read",
                            "remove the declaration; what stands in references to its entities is lost");
}

// No declaration reaches the tree: an entity that was never declared cannot be expanded.
void passOverDeclarations(xmlSAXHandler &handler)
{
    handler.internalSubset = noteDocumentType;
    handler.externalSubset = nullptr;
    handler.entityDecl = nullptr;
    handler.attributeDecl = nullptr;
    handler.elementDecl = nullptr;
    handler.notationDecl = nullptr;
    handler.unparsedEntityDecl = nullptr;
}

} // namespace

ParsedDatabase parseDatabase(const std::string &bytes)
{
    constexpr int kOptions = XML_PARSE_RECOVER | XML_PARSE_NONET | XML_PARSE_BIG_LINES;
    if (bytes.size() > INT_MAX) {
        failWith("the database has " + humanSize(bytes.size()) + ", more than can be read");
    }
    Observer observer;
    const std::unique_ptr<xmlParserCtxt, ContextRelease> context(xmlNewParserCtxt());
    if (!context) {
        throw std::bad_alloc();
    }
    context->_private = &observer;
    context->sax->serror = noteError;
    passOverDeclarations(*context->sax);
    ParsedDatabase parsed;
    parsed.document.reset(
        xmlCtxtReadMemory(context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, kOptions));
    if (observer.lacksMemory) {
        throw std::bad_alloc();
    }
    if (observer.problems.empty() && context->wellFormed == 0) {
        observer.add(1, "not_well_formed", "not well-formed", hintFor(XML_ERR_OK));
    }
    parsed.problems = std::move(observer.problems);
    parsed.moreProblems = observer.moreProblems;
    return parsed;
}

} // namespace tarn::tool
