// tarn db backup, backups, restore: the copy of a former state made, judged and put back.
#include <memory>
#include <sys/stat.h>

#include "db/backup.h"
#include "db/change.h"
#include "db/commands.h"
#include "json.h"
#include "packaging/error.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

namespace fs = std::filesystem;

struct Options {
    DbChangeOptions change;
    bool isForced = false;
};

[[noreturn]] void failWithoutDirectory(const std::string &shown, const BackupPlace &place)
{
    std::error_code error;
    const bool isThere = fs::is_directory(place.directory, error);
    failWith(escaped(shown) +
                 ": no copies: " + (isThere ? "the path is too long for the library" : "there is no directory ") +
                 (isThere ? "" : escaped(place.directory.string())),
             isThere ? "use a shorter path" : "make that directory");
}

std::optional<DatabaseFile> openIfThere(const std::string &path)
{
    std::optional<DatabaseFile> database;
    std::error_code error;
    if (fs::exists(path, error) || error) {
        database.emplace(path);
    }
    return database;
}

// ---- Backup ----

ExitStatus runBackup(const Options &options, const Globals &globals)
{
    const DbChangeOptions &change = options.change;
    refuseDatabasePath(change.database);
    const unsigned seconds = secondsToWait(change);
    std::optional<DatabaseLock> lock;
    if (!change.isDryRun) {
        lock.emplace(DatabaseFile(change.database).real, seconds);
    }
    const DatabaseFile database(change.database);
    const BackupPlace place(database.real);
    if (!place.isThere) {
        failWithoutDirectory(database.shown, place);
    }
    const DbReading reading = readUndamaged(database, "not copied over an earlier state");
    if (!change.isDryRun) {
        makeBackup(database, place, "");
    }
    const size_t count = reading.contents.packages.size();
    if (globals.json) {
        Json json;
        putName(json, "database", database.shown);
        putName(json, "copy", place.file.string());
        json.update({{"dry_run", change.isDryRun}, {"packages", count}});
        printJson(json);
    } else {
        printOut(escaped(database.shown) + (change.isDryRun ? ": would be copied to " : ": copied to ") +
                 escaped(place.file.string()) + ", " + counted(count, "package") + "\n");
    }
    return ExitStatus::Done;
}

// ---- Backups ----

ExitStatus runBackups(const Options &options, const Globals &globals)
{
    refuseDatabasePath(options.change.database);
    const BackupPlace place(placeOfDatabase(options.change.database));
    const std::optional<DatabaseFile> database = openIfThere(options.change.database);
    const std::optional<BackupCopy> copy = findBackup(place);
    if (globals.json) {
        Json json;
        putName(json, "database", options.change.database);
        putName(json, "directory", place.directory.string());
        json["directory_exists"] = place.isThere;
        json["copies"] = copy ? Json::array({backupJson(*copy, database)}) : Json::array();
        printJson(json);
    } else if (!copy) {
        printOut(escaped(options.change.database) + ": no copy in " + escaped(place.directory.string()) +
                 (place.isThere ? "\n" : ", which is no directory that can be used\n"));
    } else {
        const Colour colour = copy->isUsable() ? Colour::Good : Colour::Bad;
        printOut(escaped(copy->path.string()) + ": " + inColour(colour, copy->isUsable() ? "usable" : "not usable") +
                 ", " + backupText(*copy, database) + "\n");
    }
    return copy && copy->isUsable() ? ExitStatus::Done : ExitStatus::No;
}

// ---- Restore ----

BackupCopy requireBackup(const Options &options, const BackupPlace &place)
{
    std::optional<BackupCopy> copy = findBackup(place);
    if (!copy) {
        failWith(escaped(options.change.database) + ": there is no copy of it in " + escaped(place.directory.string()),
                 "restore it from elsewhere", ExitStatus::No);
    }
    return std::move(*copy);
}

const char *stateOf(const std::optional<DatabaseFile> &database, const DbReading &reading)
{
    return !database ? "missing" : reading.damage() != nullptr ? "damaged" : "good";
}

// A copy that cannot even be read is not put back by force either.
void refuseBad(const Options &options, const BackupCopy &copy, const char *state)
{
    if (copy.isUsable() || (options.isForced && copy.reading.damage() != nullptr)) {
        return;
    }
    failWith(escaped(options.change.database) + ": not restored: it is " + state + ", and its copy " +
                 escaped(copy.path.string()) + " is not usable: " + copy.fault,
             copy.reading.damage() != nullptr ? "--force puts back even that" : "check the copy");
}

void putBack(const Options &options, const std::optional<DatabaseFile> &database, const fs::path &place,
             const BackupCopy &copy)
{
    try {
        if (database) {
            database->refuseUnlessChangeable();
            database->replace(copy.bytes);
            return;
        }
        writeLike(copy.path, place, copy.bytes);
    } catch (const packaging::PackagingError &error) {
        failWith(escaped(options.change.database) + ": not restored: " + escaped(error.what()),
                 "check space and permissions, then try again");
    }
    if (!holds(place, copy.bytes)) {
        failWith(escaped(options.change.database) + ": does not read as it was written", "check the disk");
    }
}

void report(const Options &options, const Globals &globals, const char *state, const BackupCopy &copy, bool isNew)
{
    const bool isDryRun = options.change.isDryRun;
    const std::string name = escaped(options.change.database);
    if (!copy.isUsable()) {
        printError(inErrorColour(Colour::Warning, "tarn: ") + "warning: " + name +
                   ": put back by force: " + copy.fault + "\n");
    }
    if (globals.json) {
        Json json;
        putName(json, "database", options.change.database);
        json.update({{"changed", isNew}, {"dry_run", isDryRun}, {"was", state}, {"forced", !copy.isUsable()}});
        json["copy"] = backupJson(copy, std::nullopt);
        json["copy"].erase("same");
        printJson(json);
        return;
    }
    const std::string from = escaped(copy.path.string()) + ", " + backupText(copy, std::nullopt) + "\n";
    printOut(name +
             (isNew ? std::string(", which was ") + state + (isDryRun ? ", would be" : ", is") + " restored from "
                    : ": nothing to change, the same as ") +
             from);
}

ExitStatus runRestore(const Options &options, const Globals &globals)
{
    const DbChangeOptions &change = options.change;
    refuseDatabasePath(change.database);
    const unsigned seconds = secondsToWait(change);
    const fs::path real = placeOfDatabase(change.database);
    std::optional<DatabaseLock> lock;
    if (!change.isDryRun) {
        lock.emplace(real, seconds);
    }
    const std::optional<DatabaseFile> database = openIfThere(change.database);
    const BackupCopy copy = requireBackup(options, BackupPlace(real));
    const char *state = stateOf(database, database ? readDatabase(database->bytes) : DbReading());
    refuseBad(options, copy, state);
    const bool isNew = !database || database->bytes != copy.bytes;
    if (isNew && !change.isDryRun) {
        putBack(options, database, real, copy);
    }
    report(options, globals, state, copy, isNew);
    return ExitStatus::Done;
}

} // namespace

void addDbBackupCommands(CLI::App &group, Globals &globals)
{
    const auto options = std::make_shared<Options>();
    Command backup(group, globals,
                   {"backup", "DB", "Copy a database into the directory of the same name with \"bak\" behind it",
                    "Over an earlier copy, and only when the database is not damaged. The directory has to be there.\n"
                    "Exit status: 0 copied; 2 wrong usage; 3 could not be carried out."},
                   [options, &globals] { return runBackup(*options, globals); });
    addChangeOptions(backup, options->change);

    Command backups(group, globals,
                    {"backups", "DB", "Show the copy of a database, and whether it can be put back",
                     "Exit status: 0 it can; 1 there is none, or it is damaged; 2 wrong usage; 3 cannot be read."},
                    [options, &globals] { return runBackups(*options, globals); });
    backups.operand("DB", "The database; it may be missing", options->change.database);

    Command restore(group, globals,
                    {"restore", "DB", "Put the copy of a database back",
                     "The copy is checked first; what the database held since is lost.\n"
                     "Exit status: 0 the database is as its copy; 1 there is no copy; 2 wrong usage; 3 could not be "
                     "carried out,\nor the copy is damaged; the database is as it was."},
                    [options, &globals] { return runRestore(*options, globals); });
    addChangeOptions(restore, options->change);
    restore.flag("--force", options->isForced, "Put back a damaged copy all the same");
}

} // namespace tarn::tool
