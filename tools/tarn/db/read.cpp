// The strict reading: elements into records, and everything that does not belong there into problems.
#include <algorithm>
#include <cstring>
#include <map>

#include "db/contents.h"
#include "db/parse.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr DbField kStartup[] = {{"CcFile", "cc_file", 128}};

const char *nameOf(const xmlNode *node)
{
    return reinterpret_cast<const char *>(node->name);
}

bool isNamed(const xmlNode *node, const char *name)
{
    return strcmp(nameOf(node), name) == 0;
}

std::string inTag(const xmlNode *node)
{
    return "<" + escaped(nameOf(node)) + ">";
}

bool isText(const xmlNode *node)
{
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

std::string_view contentOf(const xmlNode *node)
{
    return node->content == nullptr ? "" : reinterpret_cast<const char *>(node->content);
}

// The parser knows the line where a text ends.
long lineOfText(const xmlNode *text)
{
    const std::string_view content = contentOf(text);
    const auto first = content.begin() + static_cast<std::ptrdiff_t>(content.find_first_not_of(" \t\r\n"));
    return std::max(xmlGetLineNo(text) - std::count(first, content.end(), '\n'), xmlGetLineNo(text->parent));
}

class Reader {
public:
    explicit Reader(const std::string &databaseBytes) : bytes(databaseBytes) {}

    DbReading read()
    {
        const ParsedDatabase parsed = parseDatabase(bytes);
        reading.problems = parsed.problems;
        reading.moreProblems = parsed.moreProblems;
        const xmlNode *root = parsed.document ? xmlDocGetRootElement(parsed.document.get()) : nullptr;
        if (root == nullptr || !isNamed(root, "Product")) {
            noteRoot(root);
        } else {
            checkEncoding(*parsed.document);
            readRoot(root);
            findDuplicates();
        }
        std::stable_sort(reading.problems.begin(), reading.problems.end(),
                         [](const DbProblem &a, const DbProblem &b) { return a.line < b.line; });
        return std::move(reading);
    }

private:
    void add(long line, const char *kind, std::string message, const char *hint)
    {
        reading.problems.push_back({line, kind, std::move(message), hint, false, package});
    }

    void noteRoot(const xmlNode *root)
    {
        const std::string found = root == nullptr ? "there is no root element" : "the root element is " + inTag(root);
        reading.problems.push_back(
            {root == nullptr ? 1 : xmlGetLineNo(root), "wrong_root", found + ", it should be <Product>",
             "not a database of installed software: check the path, or put the copy back", true, std::nullopt});
    }

    // Deleting saves in the declared encoding: what is not declared is rewritten as character references.
    void checkEncoding(const xmlDoc &document)
    {
        const auto isHigh = [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; };
        const auto found = std::find_if(bytes.begin(), bytes.end(), isHigh);
        const bool isMarked = found == bytes.begin(); // a byte order mark declares it, too
        if (document.encoding == nullptr && found != bytes.end() && !isMarked) {
            add(1 + std::count(bytes.begin(), found, '\n'), "undeclared_encoding",
                "bytes beyond ASCII, but the first line declares no encoding",
                "begin the file with <?xml version=\"1.0\" encoding=\"UTF-8\"?>");
        }
    }

    void checkPlain(const xmlNode *element)
    {
        if (element->properties != nullptr) {
            add(xmlGetLineNo(element), "attribute", inTag(element) + " has attributes, of which nothing is read",
                "remove them");
        }
        if (element->ns != nullptr || element->nsDef != nullptr) {
            add(xmlGetLineNo(element), "namespace",
                inTag(element) + " has to do with a namespace, which is passed over", "remove prefix and declaration");
        }
    }

    // Calls `take` for each element in `parent`; between elements there is nothing but blanks.
    template <typename Take> void eachElement(const xmlNode *parent, Take take)
    {
        checkPlain(parent);
        for (const xmlNode *node = parent->children; node != nullptr; node = node->next) {
            if (node->type == XML_ELEMENT_NODE) {
                take(node);
            } else if (isText(node) && contentOf(node).find_first_not_of(" \t\r\n") != std::string_view::npos) {
                add(lineOfText(node), "stray_text", "text between the elements of " + inTag(parent), "remove it");
            }
        }
    }

    void noteUnknown(const xmlNode *element, const xmlNode *parent, std::vector<std::string> *unknown)
    {
        add(xmlGetLineNo(element), "unknown_element", inTag(element) + " does not belong into " + inTag(parent),
            "correct its name, or remove it");
        if (unknown != nullptr) {
            unknown->emplace_back(nameOf(element));
        }
    }

    std::string leafText(const xmlNode *leaf)
    {
        checkPlain(leaf);
        std::string text;
        for (const xmlNode *node = leaf->children; node != nullptr; node = node->next) {
            if (isText(node)) {
                text += contentOf(node);
            } else if (node->type == XML_ELEMENT_NODE) {
                add(xmlGetLineNo(node), "not_plain", inTag(leaf) + " holds the element " + inTag(node),
                    "a value is plain text: remove the element");
            }
        }
        return text;
    }

    void takeLeaf(const xmlNode *leaf, const DbField &field, std::optional<std::string> &value)
    {
        if (value) {
            add(xmlGetLineNo(leaf), "repeated_element", inTag(leaf) + " is there again; only the first one counts",
                "remove the one too many");
            return;
        }
        value = leafText(leaf);
        if (value->size() >= field.room) {
            add(xmlGetLineNo(leaf), "too_long",
                inTag(leaf) +
                    format(" has %zu bytes, its field holds %zu: it reads as empty", value->size(), field.room - 1),
                "shorten it");
        }
    }

    DbRecord readRecord(const xmlNode *element, std::span<const DbField> fields)
    {
        DbRecord record{xmlGetLineNo(element), {}};
        record.values.resize(fields.size());
        eachElement(element, [&](const xmlNode *leaf) {
            const auto field = std::find_if(fields.begin(), fields.end(),
                                            [&](const DbField &known) { return isNamed(leaf, known.element); });
            if (field == fields.end()) {
                noteUnknown(leaf, element, nullptr);
            } else {
                takeLeaf(leaf, *field, record.values[static_cast<size_t>(field - fields.begin())]);
            }
        });
        return record;
    }

    void require(const DbRecord &record, const char *element, std::span<const DbField> fields, size_t field,
                 const char *consequence)
    {
        if (!record.values[field]) {
            add(record.line, "missing_element",
                format("<%s> has no <%s>: %s", element, fields[field].element, consequence), "add it, if only empty");
        }
    }

    DbRecord readBase(const xmlNode *element)
    {
        DbRecord base = readRecord(element, baseFields());
        for (size_t field = 0; field < kActiveTime; ++field) {
            require(base, "Base", baseFields(), field, "searches and listings end here");
        }
        if (base.values[kPackageName] && base.values[kPackageName]->empty()) {
            add(base.line, "no_name", "the package has an empty name", "name it, or remove the package");
        }
        return base;
    }

    DbRecord readPart(const xmlNode *element, PartKind kind)
    {
        const auto fields = partFields(kind);
        DbRecord part = readRecord(element, fields);
        const bool isListed = part.values[kPatchPath].has_value();
        for (size_t field = 0; field < kPatchPath; ++field) {
            if (!isListed || field <= kPartVersion) {
                require(part, nameOf(element), fields, field, "it cannot be found or updated");
            }
        }
        if (!isListed || (kind == PartKind::Mod && !part.values[kListedModName])) {
            add(part.line, "not_listable",
                format("%s %s cannot be read by the library's listing, which looks for <PatchName>, <Version> and "
                       "<PatchPath>",
                       partWord(kind), inQuotes(part.text(kPartName)).c_str()),
                "listing all packages fails with it; remove it, or add what is looked for");
        }
        return part;
    }

    void readPackage(const xmlNode *element)
    {
        package = reading.contents.packages.size();
        DbPackage read;
        read.base.line = 0;
        eachElement(element, [&](const xmlNode *child) {
            if (isNamed(child, "Patch")) {
                read.patches.push_back(readPart(child, PartKind::Patch));
            } else if (isNamed(child, "Mod")) {
                read.mods.push_back(readPart(child, PartKind::Mod));
            } else if (isNamed(child, "Base") && read.base.values.empty()) {
                read.base = readBase(child);
            } else if (isNamed(child, "Base")) {
                add(xmlGetLineNo(child), "repeated_element", "<Base> is there again; only the first one counts",
                    "remove the one too many");
            } else {
                noteUnknown(child, element, &read.unknown);
            }
        });
        if (read.base.values.empty()) {
            read.base.values.resize(kBaseFields);
            add(xmlGetLineNo(element), "missing_element", "<Package> has no <Base>: searches and listings end here",
                "remove the package, or put the copy back");
        }
        read.base.line = xmlGetLineNo(element);
        reading.contents.packages.push_back(std::move(read));
        package.reset();
    }

    void readStartup(const xmlNode *element)
    {
        std::optional<std::string> ccFile;
        if (!reading.contents.startups.empty()) {
            add(xmlGetLineNo(element), "repeated_element", "<StartupPackage> is there again; the last one counts",
                "remove the one too many");
        }
        eachElement(element, [&](const xmlNode *child) {
            if (isNamed(child, "BasePackage") && !ccFile) {
                ccFile = readRecord(child, kStartup).values[0];
            } else {
                noteUnknown(child, element, nullptr);
            }
        });
        if (!ccFile) {
            add(xmlGetLineNo(element), "missing_element",
                "<StartupPackage> has no <BasePackage> with a <CcFile>: the startup package cannot be read",
                "add it, or remove the element");
        }
        reading.contents.startups.push_back(std::move(ccFile));
    }

    void readRoot(const xmlNode *root)
    {
        eachElement(root, [&](const xmlNode *child) {
            if (isNamed(child, "Package")) {
                readPackage(child);
            } else if (isNamed(child, "StartupPackage")) {
                readStartup(child);
            } else {
                noteUnknown(child, root, &reading.contents.unknown);
            }
        });
    }

    void findDuplicateParts(const DbPackage &owner, PartKind kind)
    {
        std::map<std::string, long> firsts;
        for (const DbRecord &part : owner.parts(kind)) {
            const auto [first, isNew] = firsts.try_emplace(part.text(kPartName), part.line);
            if (!isNew) {
                add(part.line, "duplicate",
                    format("%s %s of package %s is there already, line %ld", partWord(kind),
                           inQuotes(part.text(kPartName)).c_str(), inQuotes(owner.name()).c_str(), first->second),
                    "only the first one is found; remove the one too many");
            }
        }
    }

    void findDuplicates()
    {
        std::map<std::pair<std::string, std::string>, long> firsts;
        for (size_t index = 0; index < reading.contents.packages.size(); ++index) {
            package = index;
            const DbPackage &found = reading.contents.packages[index];
            const auto [first, isNew] = firsts.try_emplace({found.name(), found.version()}, found.base.line);
            if (!isNew && found.base.values[kPackageName]) {
                add(found.base.line, "duplicate",
                    "package " + inQuotes(found.name()) + " " + inQuotes(found.version()) +
                        format(" is there already, line %ld", first->second),
                    "only the first one is found; remove the one too many");
            }
            findDuplicateParts(found, PartKind::Patch);
            findDuplicateParts(found, PartKind::Mod);
        }
        package.reset();
    }

    const std::string &bytes;
    DbReading reading;
    std::optional<size_t> package; // the one being read
};

} // namespace

DbReading readDatabase(const std::string &bytes)
{
    return Reader(bytes).read();
}

} // namespace tarn::tool
