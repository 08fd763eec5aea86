// Reading, telling the kind, loading, explaining.
#include "list/load.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

#include "command.h"
#include "json.h"
#include "library_log.h"
#include "package/reader.h"
#include "packaging/error.h"
#include "packaging/output_file.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr uint64_t kMaxListSize = 0x7FFFFFFE; // the library loads no larger file list
constexpr size_t kMaxWarnings = 10;
constexpr LibraryResult kNotLoaded = {SWM_FAIL, "SWM_FAIL", "the list could not be loaded"};

std::string contentOf(const std::string &path)
{
    try {
        const packaging::Descriptor file = packaging::openSource(path);
        struct stat status = {};
        if (fstat(file.get(), &status) != 0 || static_cast<uint64_t>(status.st_size) > kMaxListSize) {
            failWith(escaped(path) + ": over 2 GiB, which no list is", "name a record list", ExitStatus::No);
        }
        std::string content(static_cast<size_t>(status.st_size), '\0');
        content.resize(packaging::readFully(file, content.data(), content.size(), path));
        return content;
    } catch (const packaging::PackagingError &error) {
        failWith(escaped(error.what()), "name an existing list that you may read");
    }
}

// One line about all that is wrong.
std::string faultText(const LoadedList &list, const ListFile &file)
{
    const Examination &found = list.examination;
    if (file.content.empty() && list.kind.format.atOnce == 0) {
        return "empty, a file list has at least one byte";
    }
    if (found.faultCount == 0) {
        return std::string("not loaded as a ") + list.kind.title;
    }
    return noteText(found.faults.front()) +
           (found.faultCount == 1 ? "" : " (and " + counted(found.faultCount - 1, "more fault") + ")");
}

[[noreturn]] void refuseList(const LoadedList &list, const ListFile &file)
{
    Failure failure;
    failure.status = ExitStatus::No;
    failure.what = escaped(file.path) + ": " + faultText(list, file);
    failure.result = &kNotLoaded;
    failure.reason = takeLibraryReason();
    failure.next = "correct it, or say with \"tarn list show --type\" what it is";
    Json report;
    putName(report, "list", file.path);
    report.update({{"type", list.kind.name},
                   {"valid", false},
                   {"fault_count", list.examination.faultCount},
                   {"faults", notesJson(list.examination.faults)}});
    setReport(failure, std::move(report));
    throw failure;
}

} // namespace

ListFile::ListFile(std::string listPath) : path(std::move(listPath)), content(contentOf(path)) {}

const ListKind &kindByName(const std::string &typeName)
{
    const auto kinds = listKinds();
    const auto found =
        std::find_if(kinds.begin(), kinds.end(), [&](const ListKind &kind) { return typeName == kind.name; });
    if (found == kinds.end()) {
        refuseUsage("--type " + escaped(typeName) + ": no such type of list", "use " + listKindNames());
    }
    return *found;
}

const ListKind *detectKind(const ListFile &file)
{
    const std::string name = std::filesystem::path(file.path).filename();
    const std::vector<std::string_view> columns = firstColumns(file.content);
    for (const ListKind &kind : listKinds()) {
        if (kind.nameHint != nullptr && name.find(kind.nameHint) != std::string::npos) {
            return &kind;
        }
    }
    for (const ListKind &kind : listKinds()) {
        if (!columns.empty() && kind.fits(columns)) {
            return &kind;
        }
    }
    return nullptr;
}

KindChoice chooseKind(const std::string &typeName, const ListFile &file)
{
    if (!typeName.empty()) {
        return {&kindByName(typeName), false};
    }
    const ListKind *detected = detectKind(file);
    if (detected != nullptr) {
        return {detected, true};
    }
    const size_t columns = firstColumns(file.content).size();
    const std::string next = "say with --type what it is: " + listKindNames();
    if (columns == 0) {
        failWith(escaped(file.path) + ": no line that would tell the type of the list", next);
    }
    failWith(escaped(file.path) + ": the first line has " + counted(columns, "column") + ", as no type of list has",
             next, ExitStatus::No);
}

LoadedList::LoadedList(const ListFile &file, const ListKind &listKind) : kind(listKind), path(file.path)
{
    takeLibraryReason();
    examination = examine(file.content, kind.format);
    if (kind.load(path.c_str(), &head) != SWM_OK) {
        refuseList(*this, file);
    }
    // The verdict is the library's; a platform of a device's own may take what ours refuses.
    Examination &found = examination;
    found.remarks.insert(found.remarks.end(), found.faults.begin(), found.faults.end());
    found.remarkCount += found.faultCount;
}

std::vector<const SwmListNode *> LoadedList::nodes() const
{
    return recordsOf<SwmListNode>(head);
}

void warnAbout(const std::string &path, const std::string &what)
{
    printError(inErrorColour(Colour::Warning, "tarn: ") + "warning: " + escaped(path) + ": " + what + "\n");
}

void warnOfRemarks(const LoadedList &list)
{
    const Examination &found = list.examination;
    const size_t shown = std::min(found.remarks.size(), kMaxWarnings);
    for (size_t index = 0; index < shown; ++index) {
        warnAbout(list.path, noteText(found.remarks[index]));
    }
    if (found.remarkCount > shown) {
        warnAbout(list.path, "and " + counted(found.remarkCount - shown, "more remark"));
    }
}

} // namespace tarn::tool
