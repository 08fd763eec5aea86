// tarn list verify: the installed files of a list, all of them whatever is found.
#include <memory>

#include "json.h"
#include "list/commands.h"
#include "list/installed.h"
#include "packaging/error.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string list;
    std::string root;
};

constexpr size_t kVerdicts = 5;

struct Words {
    const char *shown;
    const char *key;
};

Words wordsOf(InstalledVerdict verdict)
{
    static constexpr Words kWords[kVerdicts] = {{"ok", "ok"},
                                                {"missing", "missing"},
                                                {"damaged", "damaged"},
                                                {"wrong type", "wrong_type"},
                                                {"unreadable", "unreadable"}};
    return kWords[static_cast<size_t>(verdict)];
}

Json problemJson(const FilelistTxtRecord &record, const InstalledProblem &problem)
{
    Json json;
    putName(json, "pool_name", record.poolName);
    putName(json, "path", installedPath(record));
    json["verdict"] = wordsOf(problem.verdict).key;
    if (!problem.expected.empty()) {
        json["expected"] = problem.expected;
        json["found"] = problem.found;
    }
    return json;
}

std::string problemText(const FilelistTxtRecord &record, const InstalledProblem &problem)
{
    std::string line = inColour(Colour::Bad, format("%-10s", wordsOf(problem.verdict).shown)) + "  " +
                       escaped(installedPath(record)) + "\n";
    if (!problem.expected.empty()) {
        line += "            listed " + problem.expected + "\n            found  " + problem.found + "\n";
    }
    return line;
}

struct Tally {
    size_t counts[kVerdicts] = {};
    Json problems = Json::array();

    size_t of(InstalledVerdict verdict) const { return counts[static_cast<size_t>(verdict)]; }
};

Tally checkAll(const LoadedList &list, bool json)
{
    Tally tally;
    Progress progress("verifying", [&] { return installedBytes(list); });
    for (const SwmListNode *node : list.nodes()) {
        const FilelistTxtRecord &record = fileRecord(*node);
        const InstalledProblem problem = judgeInstalled(record);
        ++tally.counts[static_cast<size_t>(problem.verdict)];
        if (problem.verdict == InstalledVerdict::Ok) {
            continue;
        }
        if (json) {
            tally.problems.push_back(problemJson(record, problem));
        } else {
            progress.print(problemText(record, problem));
        }
    }
    return tally;
}

Json reportOf(const LoadedList &list, const Options &options, const Tally &tally)
{
    Json report;
    putName(report, "list", list.path);
    putName(report, "root", options.root);
    report["valid"] = tally.of(InstalledVerdict::Ok) == list.head.count;
    report["checked"] = list.head.count;
    for (size_t verdict = 0; verdict < kVerdicts; ++verdict) {
        report[wordsOf(static_cast<InstalledVerdict>(verdict)).key] = tally.counts[verdict];
    }
    report["problems"] = tally.problems;
    return report;
}

// Files that could not be looked at are no answer, unless others are wrong anyhow.
Failure makeFailure(const LoadedList &list, const Options &options, const Tally &tally)
{
    const size_t unreadable = tally.of(InstalledVerdict::Unreadable);
    const bool isAnswer = tally.of(InstalledVerdict::Ok) + unreadable < list.head.count;
    Failure failure;
    failure.status = isAnswer ? ExitStatus::No : ExitStatus::Failed;
    failure.what = format("%s: %zu missing, %zu damaged, %zu of the wrong type, ", escaped(list.path).c_str(),
                          tally.of(InstalledVerdict::Missing), tally.of(InstalledVerdict::Damaged),
                          tally.of(InstalledVerdict::WrongType));
    failure.what += (unreadable == 0 ? "" : std::to_string(unreadable) + " unreadable, ") +
                    std::to_string(tally.of(InstalledVerdict::Ok)) + " as listed";
    failure.next = isAnswer ? "install these anew" : "check permissions, then try again";
    setReport(failure, reportOf(list, options, tally));
    return failure;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const ListFile file(options.list);
    LoadedList list(file, fileListKind());
    warnOfRemarks(list);
    moveBelow(options.root, list);
    const Tally tally = checkAll(list, globals.json);
    if (tally.of(InstalledVerdict::Ok) != list.head.count) {
        throw makeFailure(list, options, tally);
    }
    if (globals.json) {
        printJson(reportOf(list, options, tally));
    } else {
        printOut(escaped(list.path) + ": " + inColour(Colour::Good, "valid") + ", " +
                 counted(list.head.count, "record") + " as listed\n");
    }
    return ExitStatus::Done;
}

} // namespace

void addListVerify(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "verify", "FILE", "Check every installed file of a file list; creates nothing",
        "Symbolic links are followed as they stand, also below the DIR of --root.\n"
        "Exit status: 0 all as listed; 1 files are missing, damaged or of the wrong type, or no valid list; 2 wrong\n"
        "usage; 3 could not be checked."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("--root", options->root, "DIR", "Look the installed paths up below DIR");
    command.operand("FILE", "The file list", options->list);
}

} // namespace tarn::tool
