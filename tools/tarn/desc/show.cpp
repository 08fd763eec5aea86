// tarn desc show: the values, requirements and files of a descriptor, as the library reads them.
#include <memory>

#include <tarn_boot/descriptor.h>

#include "desc/commands.h"
#include "desc/report.h"
#include "json.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string file;
    std::string type;
};

ExitStatus run(const Options &options, const Globals &globals)
{
    const ListFile file(options.file);
    const DescKind kind = chooseDescKind(options.type, file);
    const DescReport report = readDescriptor(file, kind);
    if (!report.isAccepted) {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = escaped(file.path) + ": not accepted as a " + descKindName(kind) + " description";
        failure.reason = report.reason;
        failure.next = "\"tarn desc check " + escaped(file.path) + "\" tells what is wrong";
        setReport(failure, report.json);
        throw failure;
    }
    if (globals.json) {
        printJson(report.json);
    } else {
        printOut(report.text);
    }
    return ExitStatus::Done;
}

} // namespace

void addDescShow(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "show", "FILE", "Show what the library reads from a descriptor",
        "A key that is missing reads as empty.\n"
        "Exit status: 0 shown; 1 the library does not accept it; 2 wrong usage; 3 cannot be read."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("--type", options->type, "TYPE", "What it is: cc, package or rpm; by default told by its lines");
    command.operand("FILE", "The descriptor", options->file);
}

} // namespace tarn::tool
