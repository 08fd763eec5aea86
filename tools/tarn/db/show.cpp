// tarn db list, show, startup, cc-files: what a database says, as far as it can be read.
#include <algorithm>
#include <memory>
#include <set>

#include <tarn_boot/database.h>

#include "db/commands.h"
#include "db/contents.h"
#include "db/file.h"
#include "json.h"
#include "library_log.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string database;
    std::string name;
    std::string version;
};

struct Opened {
    explicit Opened(const std::string &path) : file((refuseDatabasePath(path), path)), reading(readDatabase(file.bytes))
    {
    }
    DatabaseFile file;
    DbReading reading;
};

// What is shown of a damaged file may not be all there was.
ExitStatus statusOf(const DbReading &reading)
{
    return reading.damage() == nullptr ? ExitStatus::Done : ExitStatus::No;
}

void warn(const Opened &opened, const std::string &what)
{
    printError(inErrorColour(Colour::Warning, "tarn: ") + "warning: " + escaped(opened.file.shown) + ": " + what +
               "\n");
}

void warnOfProblems(const Opened &opened)
{
    for (const DbProblem &problem : opened.reading.problems) {
        warn(opened, problemText(problem));
    }
    if (opened.reading.damage() != nullptr) {
        warn(opened, "damaged, shown as far as it can be read");
    }
}

bool hasProblem(const DbReading &reading, size_t package)
{
    return std::any_of(reading.problems.begin(), reading.problems.end(),
                       [=](const DbProblem &problem) { return problem.package == package; });
}

Json packageReport(const DbReading &reading, size_t index)
{
    Json json = packageJson(reading.contents.packages[index]);
    json["problems"] = Json::array();
    for (const DbProblem &problem : reading.problems) {
        if (problem.package == index) {
            json["problems"].push_back(problemJson(problem));
        }
    }
    return json;
}

Json reportHead(const Opened &opened)
{
    Json report;
    putName(report, "database", opened.file.shown);
    report.update({{"sound", opened.reading.isSound()},
                   {"damaged", opened.reading.damage() != nullptr},
                   {"problems", problemsJson(opened.reading.problems)}});
    return report;
}

// ---- List ----

std::string orMark(const std::optional<std::string> &value)
{
    return value ? escaped(*value) : "(missing)";
}

std::string table(const DbReading &reading)
{
    Table rows("lllllrr");
    rows.add({"", "name", "version", "CC file", "installed in", "patches", "mods"});
    for (size_t index = 0; index < reading.contents.packages.size(); ++index) {
        const DbPackage &package = reading.contents.packages[index];
        const auto &values = package.base.values;
        rows.add({hasProblem(reading, index) ? "!" : "", orMark(values[kPackageName]), orMark(values[kVersion]),
                  orMark(values[kCcFile]), orMark(values[kInstallPath]), std::to_string(package.patches.size()),
                  std::to_string(package.mods.size())});
    }
    return reading.contents.packages.empty() ? "" : rows.text();
}

ExitStatus runList(const Options &options, const Globals &globals)
{
    const Opened opened(options.database);
    const size_t count = opened.reading.contents.packages.size();
    if (globals.json) {
        Json packages = Json::array();
        for (size_t index = 0; index < count; ++index) {
            packages.push_back(packageReport(opened.reading, index));
        }
        Json report = reportHead(opened);
        report["packages"] = packages;
        printJson(report);
    } else {
        printOut(table(opened.reading) + escaped(opened.file.shown) + ": " + counted(count, "package") + "\n");
    }
    warnOfProblems(opened);
    return statusOf(opened.reading);
}

// ---- Show ----

void addRows(Table &rows, const std::string &indent, const DbRecord &record, std::span<const DbField> fields)
{
    for (size_t index = 0; index < fields.size(); ++index) {
        // What only the library's listing looks for is worth a line when it is there.
        if (record.values[index] || index < kPatchPath) {
            rows.add({indent + fields[index].element, orMark(record.values[index])});
        }
    }
}

std::string details(const DbReading &reading, size_t index)
{
    const DbPackage &package = reading.contents.packages[index];
    Table rows("ll");
    addRows(rows, "", package.base, baseFields());
    for (const PartKind kind : {PartKind::Patch, PartKind::Mod}) {
        for (const DbRecord &part : package.parts(kind)) {
            rows.add({partWord(kind), ""});
            addRows(rows, "  ", part, partFields(kind));
        }
    }
    return rows.text();
}

ExitStatus runShow(const Options &options, const Globals &globals)
{
    const Opened opened(options.database);
    Json packages = Json::array();
    std::string text;
    for (size_t index = 0; index < opened.reading.contents.packages.size(); ++index) {
        const DbPackage &package = opened.reading.contents.packages[index];
        if (package.name() == options.name && (options.version.empty() || package.version() == options.version)) {
            packages.push_back(packageReport(opened.reading, index));
            text += (text.empty() ? "" : "\n") + details(opened.reading, index);
        }
    }
    Json report = reportHead(opened);
    report["packages"] = packages;
    if (packages.empty()) {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = escaped(options.database) + ": package " + inQuotes(options.name) +
                       (options.version.empty() ? "" : " " + inQuotes(options.version)) + " is not installed";
        failure.next = opened.reading.damage() != nullptr
                           ? "the database is damaged: \"tarn db check " + escaped(options.database) + "\""
                           : "\"tarn db list " + escaped(options.database) + "\" shows what is";
        setReport(failure, report);
        throw failure;
    }
    if (globals.json) {
        printJson(report);
    } else {
        printOut(text);
    }
    warnOfProblems(opened);
    return statusOf(opened.reading);
}

// ---- Startup ----

ExitStatus runStartup(const Options &options, const Globals &globals)
{
    const Opened opened(options.database);
    const PrivateCopy copy(opened.file.bytes);
    char ccFile[sizeof(SwmPackageInfo::CcFile)] = "";
    takeLibraryReason();
    if (SWM_ParseXmlBasePkgName(copy.path().c_str(), ccFile, sizeof(ccFile)) != SWM_OK) {
        Failure failure;
        failure.what = escaped(options.database) + ": the startup package cannot be read";
        failure.reason = takeLibraryReason();
        failure.next = "\"tarn db check " + escaped(options.database) + "\" tells what is wrong";
        throw failure;
    }
    const bool isThere = ccFile[0] != '\0';
    if (globals.json) {
        Json report = reportHead(opened);
        report["startup"] = isThere ? Json(ccFile) : Json();
        printJson(report);
    } else {
        printOut(isThere ? escaped(ccFile) + "\n" : escaped(options.database) + ": no startup package\n");
    }
    warnOfProblems(opened);
    return isThere ? statusOf(opened.reading) : ExitStatus::No;
}

// ---- CC files ----

struct Release {
    void operator()(void *block) const { free(block); }
};

// Null when the library cannot list them: a patch or mod that it cannot read keeps it from that.
std::optional<std::vector<std::string>> libraryCcFiles(const Opened &opened)
{
    const PrivateCopy copy(opened.file.bytes);
    SwmCcInfo *infos = nullptr;
    uint32_t count = 0;
    takeLibraryReason();
    if (SWM_MallocAndGetAllCcInfo(copy.path().c_str(), &infos, &count) != SWM_OK) {
        return std::nullopt;
    }
    const std::unique_ptr<SwmCcInfo, Release> owned(infos);
    std::vector<std::string> files;
    std::transform(infos, infos + count, std::back_inserter(files),
                   [](const SwmCcInfo &info) { return std::string(info.CcFullPath); });
    return files;
}

// The same by the tool's own reading: one per file name, whatever its directory.
std::vector<std::string> readCcFiles(const DbContents &contents)
{
    std::vector<std::string> files;
    std::set<std::string> names;
    for (const DbPackage &package : contents.packages) {
        const std::string name = asLibraryReads(package.base, baseFields(), kCcFile);
        if (!name.empty() && names.insert(name).second) {
            files.push_back(asLibraryReads(package.base, baseFields(), kCcPath) + "/" + name);
        }
    }
    return files;
}

ExitStatus runCcFiles(const Options &options, const Globals &globals)
{
    const Opened opened(options.database);
    const auto listed = libraryCcFiles(opened);
    const std::vector<std::string> files = listed ? *listed : readCcFiles(opened.reading.contents);
    if (globals.json) {
        Json report = reportHead(opened);
        report["listed_by_library"] = listed.has_value();
        report["cc_files"] = files;
        printJson(report);
    } else {
        for (const std::string &file : files) {
            printOut(escaped(file) + "\n");
        }
    }
    warnOfProblems(opened);
    if (!listed && !files.empty()) {
        warn(opened, "the library cannot list it; this is the tool's own reading");
    }
    return statusOf(opened.reading);
}

void addReading(CLI::App &group, Globals &globals, const CommandText &text,
                ExitStatus (*run)(const Options &, const Globals &), bool isOfPackage)
{
    const auto options = std::make_shared<Options>();
    Command command(group, globals, text, [=, &globals] { return run(*options, globals); });
    command.operand("DB", "The database", options->database);
    if (isOfPackage) {
        command.operand("NAME", "The package's name", options->name);
        command.option("--pkg-version", options->version, "VERSION", "Only the entry of this version");
    }
}

} // namespace

void addDbList(CLI::App &group, Globals &globals)
{
    addReading(
        group, globals,
        {"list", "DB", "List the packages of a database",
         "A \"!\" marks an entry with a problem.\n"
         "Exit status: 0 shown; 1 damaged, and shown as far as it can be read; 2 wrong usage; 3 cannot be read."},
        runList, false);
}

void addDbShow(CLI::App &group, Globals &globals)
{
    addReading(group, globals,
               {"show", "DB NAME", "Show all that a database says of a package, patches and mods included",
                "Exit status: 0 shown; 1 not installed, or the database is damaged; 2 wrong usage; 3 cannot be read."},
               runShow, true);
}

void addDbStartup(CLI::App &group, Globals &globals)
{
    addReading(group, globals,
               {"startup", "DB", "Show the CC file of the startup package",
                "Exit status: 0 shown; 1 there is none, or the database is damaged; 2 wrong usage; 3 cannot be read."},
               runStartup, false);
}

void addDbCcFiles(CLI::App &group, Globals &globals)
{
    addReading(
        group, globals,
        {"cc-files", "DB", "List the CC packages that the packages came in",
         "One per file name; a second directory with the same file name is not listed.\n"
         "Exit status: 0 shown; 1 damaged, and shown as far as it can be read; 2 wrong usage; 3 cannot be read."},
        runCcFiles, false);
}

} // namespace tarn::tool
