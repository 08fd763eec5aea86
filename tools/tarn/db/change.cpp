// One change of a database, from the lock to the last look at the disk.
#include "db/change.h"

#include <algorithm>
#include <memory>

#include <tarn_boot/common.h>

#include "db/backup.h"
#include "json.h"
#include "library_log.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr unsigned kDefaultWait = 10;
constexpr unsigned kMaxWait = 3600;

constexpr LibraryResult kFailed = {SWM_FAIL, "SWM_FAIL", "failed"};

std::string checkCommand(const DatabaseFile &database)
{
    return "\"tarn db check " + escaped(database.shown) + "\"";
}

[[noreturn]] void failOfLibrary(const DatabaseFile &database, const DbPlan &plan, const PrivateCopy &copy)
{
    Failure failure;
    failure.what = escaped(database.shown) + ": not changed, " + plan.operation + " failed";
    failure.result = &kFailed;
    failure.reason = takeLibraryReason();
    const size_t place = failure.reason.find(copy.path());
    if (place != std::string::npos) {
        failure.reason.replace(place, copy.path().size(), database.shown);
    }
    failure.next = checkCommand(database) + " tells what is wrong with it";
    throw failure;
}

// The bytes to write: what the library made of a private copy, when that is what was asked for and nothing else.
std::string changedBytes(const DatabaseFile &database, const DbPlan &plan)
{
    const PrivateCopy copy(database.bytes);
    takeLibraryReason();
    if (plan.apply(copy.path().c_str()) != SWM_OK) {
        failOfLibrary(database, plan, copy);
    }
    std::string bytes = copy.bytes();
    const DbReading after = readDatabase(bytes);
    if (const DbProblem *damage = after.damage()) {
        failWith(escaped(database.shown) + ": not changed, " + plan.operation +
                     " would have damaged it: " + problemText(*damage),
                 "keep the database and report this");
    }
    if (!(after.contents == plan.expected)) {
        failWith(escaped(database.shown) + ": not changed, " + plan.operation +
                     " would not have left in it what was asked for",
                 checkCommand(database) + " tells what may be in its way");
    }
    return bytes;
}

// ---- Writing ----

void writeChange(const DatabaseFile &database, const BackupPlace &backup, const std::string &bytes)
{
    if (!database.isUnchanged()) {
        failWith(escaped(database.shown) + ": not changed, another program has changed it meanwhile", "try again");
    }
    try {
        if (backup.isThere) {
            makeBackup(database, backup, ", so that nothing was changed");
        }
        database.replace(bytes);
    } catch (const packaging::PackagingError &error) {
        failWith(escaped(database.shown) + ": not changed: " + escaped(error.what()),
                 "check space and permissions, then try again");
    }
}

// ---- Report ----

void report(const DatabaseFile &database, const DbChangeOptions &options, const BackupPlace &backup,
            const Json &changes, const Globals &globals)
{
    const bool isWritten = !options.isDryRun && !changes.empty();
    const bool isCopied = isWritten && backup.isThere;
    if (globals.json) {
        Json json;
        putName(json, "database", database.shown);
        json.update({{"changed", !changes.empty()}, {"dry_run", options.isDryRun}, {"changes", changes}});
        json["backup"] = isCopied ? Json(backup.file.string()) : Json();
        printJson(json);
        return;
    }
    std::string text = escaped(database.shown);
    text += changes.empty() ? ": nothing to change\n" : options.isDryRun ? ": would have\n" : ":\n";
    text += changesText(changes);
    if (isWritten) {
        text += isCopied
                    ? "its former state: " + escaped(backup.file.string()) + "\n"
                    : "no copy of its former state: there is no directory " + escaped(backup.directory.string()) + "\n";
    }
    printOut(text);
}

} // namespace

void addChangeOptions(Command &command, DbChangeOptions &options)
{
    command.flag("--dry-run", options.isDryRun, "Show what would change, and write nothing");
    command.option("--wait", options.wait, "SECONDS",
                   "How long to wait for another tarn that changes the database; 10 by default");
    command.operand("DB", "The database", options.database);
}

DbReading readUndamaged(const DatabaseFile &database, const char *consequence)
{
    DbReading reading = readDatabase(database.bytes);
    if (const DbProblem *damage = reading.damage()) {
        failWith(escaped(database.shown) + ": " + consequence + ", it is damaged: " + problemText(*damage),
                 checkCommand(database) + " tells all, and whether a copy can be put back");
    }
    return reading;
}

unsigned secondsToWait(const DbChangeOptions &options)
{
    if (options.wait.empty()) {
        return kDefaultWait;
    }
    const bool isNumber = options.wait.find_first_not_of("0123456789") == std::string::npos && options.wait.size() <= 4;
    const unsigned long seconds = isNumber ? strtoul(options.wait.c_str(), nullptr, 10) : kMaxWait + 1;
    if (seconds > kMaxWait) {
        refuseUsage("--wait " + escaped(options.wait) + ": no number of seconds from 0 to 3600", "give one");
    }
    return static_cast<unsigned>(seconds);
}

ExitStatus changeDatabase(const DbChangeOptions &options, const Globals &globals, const DbPlanner &planner)
{
    refuseDatabasePath(options.database);
    const unsigned seconds = secondsToWait(options);
    std::optional<DatabaseLock> lock;
    if (!options.isDryRun) {
        // Read only behind the lock: what was there before is another's to change.
        lock.emplace(DatabaseFile(options.database).real, seconds);
    }
    const DatabaseFile database(options.database);
    database.refuseUnlessChangeable();
    const DbReading before = readUndamaged(database, "not changed");
    const DbPlan plan = planner(before.contents);
    const std::string bytes = changedBytes(database, plan);
    const Json changes = changesJson(before.contents, plan.expected);
    const BackupPlace backup(database.real);
    if (!options.isDryRun && !changes.empty()) {
        writeChange(database, backup, bytes);
    }
    report(database, options, backup, changes, globals);
    return ExitStatus::Done;
}

const DbPackage *findPackage(const DbContents &contents, const std::string &name, const std::string &version)
{
    const auto found = std::find_if(contents.packages.begin(), contents.packages.end(), [&](const DbPackage &package) {
        return asLibraryReads(package.base, baseFields(), kPackageName) == name &&
               (version.empty() || asLibraryReads(package.base, baseFields(), kVersion) == version);
    });
    return found == contents.packages.end() ? nullptr : &*found;
}

DbPackage &requirePackage(DbContents &contents, const DbChangeOptions &options, const std::string &name,
                          const std::string &version)
{
    const DbPackage *found = findPackage(contents, name, version);
    if (found == nullptr) {
        failWith(escaped(options.database) + ": package " + inQuotes(name) +
                     (version.empty() ? "" : " " + inQuotes(version)) + " is not installed",
                 "\"tarn db list " + escaped(options.database) + "\" shows what is", ExitStatus::No);
    }
    return contents.packages[static_cast<size_t>(found - contents.packages.data())];
}

size_t countPackages(const DbContents &contents, const std::string &name)
{
    return static_cast<size_t>(
        std::count_if(contents.packages.begin(), contents.packages.end(), [&](const DbPackage &package) {
            return asLibraryReads(package.base, baseFields(), kPackageName) == name;
        }));
}

} // namespace tarn::tool
