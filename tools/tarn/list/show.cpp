// tarn list show: the records of a list, as the library loads them.
#include <memory>

#include "json.h"
#include "list/commands.h"
#include "list/load.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string list;
    std::string type;
};

Json reportOf(const LoadedList &list, const KindChoice &choice)
{
    Json records = Json::array();
    for (const SwmListNode *node : list.nodes()) {
        records.push_back(list.kind.json(*node));
    }
    Json report;
    putName(report, "list", list.path);
    report.update({{"type", list.kind.name},
                   {"type_detected", choice.isDetected},
                   {"valid", true},
                   {"count", list.head.count},
                   {"records", records},
                   {"remark_count", list.examination.remarkCount},
                   {"remarks", notesJson(list.examination.remarks)}});
    return report;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const ListFile file(options.list);
    const KindChoice choice = chooseKind(options.type, file);
    const LoadedList list(file, *choice.kind);
    if (globals.json) {
        printJson(reportOf(list, choice));
    } else {
        printOut(recordTable(list.kind, list.nodes()) + escaped(list.path) + ": " + list.kind.title + ", " +
                 counted(list.head.count, "record") + "\n");
    }
    warnOfRemarks(list);
    return ExitStatus::Done;
}

} // namespace

void addListShow(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {"show", "FILE",
                                          "Show the records of a list, or the line that keeps it from loading",
                                          "File lists come sorted by pool name, the others in the order of the file.\n"
                                          "Exit status: 0 shown; 1 not a valid list; 2 wrong usage; 3 cannot be read."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("--type", options->type, "TYPE",
                   "What it is: " + listKindNames() + "; by default told by its lines");
    command.operand("FILE", "The list", options->list);
}

} // namespace tarn::tool
