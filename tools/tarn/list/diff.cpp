// tarn list diff: what the library would install and remove to get from one list to another, and why.
#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <tuple>

#include <tarn_basic/path.h>

#include "json.h"
#include "list/commands.h"
#include "list/installed.h"
#include "package/reader.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string oldList;
    std::string newList;
    std::string root;
    std::string type;
};

enum class Kind { Added, Removed, Modified, Refreshed, Listed };

struct Change {
    Kind kind = Kind::Added;
    std::string reason;
    std::string name; // pool name or link path
    std::string path; // installed path; "" for links
    Json oldRecord;
    Json newRecord;
};

struct Comparison {
    std::vector<Change> changes;
    size_t same = 0;
    std::vector<std::string> install; // as the library lists them
    std::vector<std::string> remove;

    size_t count(Kind kind) const
    {
        return static_cast<size_t>(
            std::count_if(changes.begin(), changes.end(), [=](const Change &change) { return change.kind == kind; }));
    }
    bool differs() const { return count(Kind::Listed) < changes.size(); }
};

const char *kindWord(Kind kind)
{
    static constexpr const char *kWords[] = {"added", "removed", "modified", "refreshed", "listed"};
    return kWords[static_cast<size_t>(kind)];
}

Colour kindColour(Kind kind)
{
    return kind == Kind::Added ? Colour::Good : kind == Kind::Removed ? Colour::Bad : Colour::Warning;
}

// What the two families of records have in common for a comparison.
struct FileTraits {
    using Record = FilelistTxtRecord;
    using Node = FilelistTxtNode;
    static constexpr auto compare = SWM_GetAllRecordNeedUpdate;
    static constexpr auto release = SWM_FreeFilelistTxtRecord;
    static constexpr auto json = fileJson;
    static const char *key(const Record &record) { return record.poolName; }
    static bool same(const Record &a, const Record &b) { return SWM_IsSameRecord(&a, &b) != 0; }
    static std::string path(const Record &record) { return installedPath(record); }
};

struct LinkTraits {
    using Record = LinklistRecord;
    using Node = LinklistNode;
    static constexpr auto compare = SWM_GetAllLinkNeedUpdate;
    static constexpr auto release = SWM_FreeLinklistRecord;
    static constexpr auto json = linkJson;
    static const char *key(const Record &record) { return record.linkPath; }
    static bool same(const Record &a, const Record &b) { return SWM_IsSameLinklistRecord(&a, &b) != 0; }
    static std::string path(const Record &) { return ""; }
};

// ---- Why ----

// The library hashes what is installed, and a directory has no digest: it counts as changed each time.
std::pair<Kind, std::string> damageOf(const FilelistTxtRecord &record)
{
    const FileState state = stateOf(installedPath(record));
    if (record.isDir != 0 && state == FileState::Directory) {
        return {Kind::Listed, "directories are listed each time"};
    }
    const bool hasRightType = (state == FileState::Directory) == (record.isDir != 0) && state != FileState::Special;
    return {Kind::Modified, state == FileState::Unreadable ? "file unreadable"
                            : hasRightType                 ? "file damaged"
                                                           : "wrong type on the disk"};
}

// Of two records of one name that the comparison did not take for the same.
std::pair<Kind, std::string> reasonOf(const FilelistTxtRecord &oldRecord, const FilelistTxtRecord &newRecord)
{
    switch (SWM_GetTxtRecordUpdateType(&oldRecord, &newRecord)) {
    case UPDATE_ADD:
        return {Kind::Added, SWM_IsFileExist(installedPath(oldRecord).c_str()) == 0
                                 ? "file missing"
                                 : "relinked: leads out of its patch's directory"};
    case UPDATE_MODIFY:
        return memcmp(oldRecord.digest, newRecord.digest, sizeof(oldRecord.digest)) != 0
                   ? std::pair{Kind::Modified, std::string("digest differs")}
                   : damageOf(oldRecord);
    case UPDATE_REFRESH:
        return {Kind::Refreshed, std::string("option text ") + newRecord.col10Text};
    default:
        return {Kind::Modified, "compared with another record of this name"};
    }
}

std::pair<Kind, std::string> reasonOf(const LinklistRecord &oldRecord, const LinklistRecord &newRecord)
{
    if (SWM_GetLinkUpdateType(&oldRecord, &newRecord) == UPDATE_SAME) {
        return {Kind::Modified, "compared with another record of this name"};
    }
    return {Kind::Modified, std::string("led to ") + oldRecord.linkSource};
}

// ---- The comparison ----

template <class Traits> class Index {
public:
    using Record = typename Traits::Record;

    explicit Index(const std::vector<const SwmListNode *> &nodes)
    {
        for (const SwmListNode *node : nodes) {
            const Record &record = reinterpret_cast<const typename Traits::Node *>(node)->record;
            records[Traits::key(record)].push_back(&record);
            inOrder.push_back(&record);
        }
    }

    const std::vector<const Record *> &all() const { return inOrder; }

    // The first of that name, or null.
    const Record *find(const Record &other) const
    {
        const auto found = records.find(Traits::key(other));
        return found == records.end() ? nullptr : found->second.front();
    }

    bool has(const Record &other) const
    {
        const auto found = records.find(Traits::key(other));
        return found != records.end() &&
               std::any_of(found->second.begin(), found->second.end(),
                           [&](const Record *record) { return Traits::same(*record, other); });
    }

private:
    std::map<std::string_view, std::vector<const Record *>> records;
    std::vector<const Record *> inOrder;
};

// The library's two output lists.
template <class Traits> struct Outcome {
    Outcome(const LoadedList &oldList, const LoadedList &newList)
    {
        if (Traits::compare(&oldList.head, &newList.head, &install, &remove) != SWM_OK) {
            Traits::release(&install);
            Traits::release(&remove);
            failWith("the lists could not be compared: out of memory", "try with more memory");
        }
    }
    Outcome(const Outcome &) = delete;
    Outcome &operator=(const Outcome &) = delete;
    ~Outcome()
    {
        Traits::release(&install);
        Traits::release(&remove);
    }

    SwmListHead install = {};
    SwmListHead remove = {};
};

template <class Traits>
Change changeOf(const typename Traits::Record &newRecord, const typename Traits::Record *oldRecord, bool withRecords)
{
    Change change;
    change.name = Traits::key(newRecord);
    change.path = Traits::path(newRecord);
    change.newRecord = withRecords ? Traits::json(newRecord) : Json();
    if (oldRecord == nullptr) {
        change.reason = "only in the new list";
        return change;
    }
    change.oldRecord = withRecords ? Traits::json(*oldRecord) : Json();
    std::tie(change.kind, change.reason) = reasonOf(*oldRecord, newRecord);
    return change;
}

template <class Traits> Change removalOf(const typename Traits::Record &oldRecord, bool withRecords)
{
    Change change;
    change.kind = Kind::Removed;
    change.reason = "only in the old list";
    change.name = Traits::key(oldRecord);
    change.path = Traits::path(oldRecord);
    change.oldRecord = withRecords ? Traits::json(oldRecord) : Json();
    return change;
}

template <class Traits> std::vector<std::string> namesOf(const Index<Traits> &index)
{
    std::vector<std::string> names;
    for (const auto *record : index.all()) {
        names.emplace_back(Traits::key(*record));
    }
    return names;
}

// The records themselves are only kept for a report that shows them.
template <class Traits> Comparison compare(const LoadedList &oldList, const LoadedList &newList, bool withRecords)
{
    const Outcome<Traits> outcome(oldList, newList);
    const Index<Traits> oldRecords(oldList.nodes());
    const Index<Traits> newRecords(newList.nodes());
    const Index<Traits> install(recordsOf<SwmListNode>(outcome.install));
    const Index<Traits> remove(recordsOf<SwmListNode>(outcome.remove));
    Comparison comparison;
    comparison.install = namesOf(install);
    comparison.remove = namesOf(remove);
    for (const auto *record : newRecords.all()) {
        comparison.same += install.has(*record) ? 0 : 1;
    }
    for (const auto *record : install.all()) {
        comparison.changes.push_back(changeOf<Traits>(*record, oldRecords.find(*record), withRecords));
    }
    // A record of a name that stays is removed only to be installed anew, which is told already.
    for (const auto *record : remove.all()) {
        if (newRecords.find(*record) == nullptr) {
            comparison.changes.push_back(removalOf<Traits>(*record, withRecords));
        }
    }
    std::stable_sort(comparison.changes.begin(), comparison.changes.end(),
                     [](const Change &a, const Change &b) { return a.name < b.name; });
    return comparison;
}

// The comparison of links takes the order of the file for the order of the paths.
void warnUnlessSorted(const LoadedList &list)
{
    const std::vector<const SwmListNode *> nodes = list.nodes();
    for (size_t index = 1; index < nodes.size(); ++index) {
        const std::string_view path = linkRecord(*nodes[index]).linkPath;
        if (path < linkRecord(*nodes[index - 1]).linkPath) {
            warnAbout(list.path, "not sorted: " + inQuotes(path) + " comes behind " +
                                     inQuotes(linkRecord(*nodes[index - 1]).linkPath) +
                                     ", so the comparison takes links for added and removed that are not");
            return;
        }
    }
}

// ---- The report ----

Json changeJson(const Change &change)
{
    Json json = {{"change", kindWord(change.kind)}, {"reason", change.reason}};
    putName(json, "name", change.name);
    if (!change.path.empty()) {
        putName(json, "path", change.path);
    }
    json.update({{"old", change.oldRecord}, {"new", change.newRecord}});
    return json;
}

Json reportOf(const Options &options, const ListKind &kind, const Comparison &comparison)
{
    Json report;
    putName(report, "old", options.oldList);
    putName(report, "new", options.newList);
    putName(report, "root", options.root);
    report.update({{"type", kind.name}, {"differs", comparison.differs()}});
    for (const Kind counted : {Kind::Added, Kind::Removed, Kind::Modified, Kind::Refreshed, Kind::Listed}) {
        report[kindWord(counted)] = comparison.count(counted);
    }
    report["same"] = comparison.same;
    report["changes"] = Json::array();
    for (const Change &change : comparison.changes) {
        report["changes"].push_back(changeJson(change));
    }
    putNames(report, "install", comparison.install);
    putNames(report, "remove", comparison.remove);
    return report;
}

void printReport(const Options &options, const ListKind &kind, const Comparison &comparison)
{
    Table table("lll");
    for (const Change &change : comparison.changes) {
        if (change.kind != Kind::Listed) {
            table.add({kindWord(change.kind), escaped(change.name), escaped(change.reason)});
        }
    }
    printOut(table.text());
    std::string counts;
    for (const Kind counted : {Kind::Added, Kind::Removed, Kind::Modified, Kind::Refreshed}) {
        const std::string text = std::to_string(comparison.count(counted)) + " " + kindWord(counted) + ", ";
        counts += comparison.count(counted) == 0 ? text : inColour(kindColour(counted), text);
    }
    const size_t listed = comparison.count(Kind::Listed);
    printOut(escaped(options.oldList) + " -> " + escaped(options.newList) + ": " + kind.title + "s, " + counts +
             std::to_string(comparison.same) + " the same" +
             (listed == 0   ? ""
              : listed == 1 ? ", 1 directory in place"
                            : ", " + std::to_string(listed) + " directories in place") +
             "\n");
}

// ---- The command ----

const ListKind &kindOf(const Options &options, const ListFile &oldFile, const ListFile &newFile)
{
    const ListKind *detected = detectKind(oldFile);
    const ListKind &kind =
        options.type.empty() && detected != nullptr ? *detected : *chooseKind(options.type, newFile).kind;
    if (&kind != &fileListKind() && &kind != &linkListKind()) {
        refuseUsage(escaped(options.oldList) + ": " + kind.title + "s cannot be compared",
                    "file lists and link lists can; --type says which");
    }
    if (&kind == &linkListKind() && !options.root.empty()) {
        refuseUsage("--root: link lists are compared without a look at the disk", "leave it out");
    }
    return kind;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const ListFile oldFile(options.oldList);
    const ListFile newFile(options.newList);
    const ListKind &kind = kindOf(options, oldFile, newFile);
    LoadedList oldList(oldFile, kind);
    LoadedList newList(newFile, kind);
    warnOfRemarks(oldList);
    warnOfRemarks(newList);
    Comparison comparison;
    if (&kind == &linkListKind()) {
        warnUnlessSorted(oldList);
        warnUnlessSorted(newList);
        comparison = compare<LinkTraits>(oldList, newList, globals.json);
    } else {
        moveBelow(options.root, oldList);
        moveBelow(options.root, newList);
        const Progress progress("comparing", [&] { return installedBytes(oldList); });
        comparison = compare<FileTraits>(oldList, newList, globals.json);
    }
    if (globals.json) {
        printJson(reportOf(options, kind, comparison));
    } else {
        printReport(options, kind, comparison);
    }
    return comparison.differs() ? ExitStatus::No : ExitStatus::Done;
}

} // namespace

void addListDiff(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "diff", "OLD NEW", "Show what differs between two file lists or link lists, and on the disk",
        "Files of equal digest are looked at where the old list has them: a missing file counts as added, a damaged\n"
        "one as modified, one with option text as refreshed. Owner, mode and what else a line has are not compared.\n"
        "Directories are only reported when they are not there.\n"
        "Exit status: 0 nothing differs; 1 something does, or no valid list; 2 wrong usage; 3 could not be compared."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("--root", options->root, "DIR", "Look the installed paths up below DIR");
    command.option("--type", options->type, "TYPE", "What they are: files or links; by default told by their lines");
    command.operand("OLD", "The list of what is installed", options->oldList);
    command.operand("NEW", "The new list", options->newList);
}

} // namespace tarn::tool
