// tarn db create: a database without packages.
#include <memory>
#include <sys/stat.h>

#include <tarn_boot/database.h>

#include "db/change.h"
#include "db/commands.h"
#include "db/file.h"
#include "json.h"
#include "library_log.h"
#include "text.h"

namespace tarn::tool {

namespace {

namespace fs = std::filesystem;

// The owner changes it, the group reads it, to all others it is closed.
constexpr mode_t kUmask = 027;

// The library would write over a database that is there.
void refuseExisting(const fs::path &path, const std::string &shown)
{
    if (fs::exists(fs::symlink_status(path))) {
        failWith(escaped(shown) + ": is there already; a database is never overwritten",
                 "\"tarn db check " + escaped(shown) + "\" tells whether it can be used");
    }
}

std::string emptyDatabase(const std::string &shown)
{
    const PrivateCopy copy("");
    takeLibraryReason();
    const uint32_t result = SWM_CreateXmlFile(copy.path().c_str());
    std::string bytes = copy.bytes();
    const DbReading reading = readDatabase(bytes);
    if (result != SWM_OK || !reading.isSound() || !(reading.contents == DbContents())) {
        Failure failure;
        failure.what = escaped(shown) + ": not created, SWM_CreateXmlFile failed";
        failure.reason = takeLibraryReason();
        throw failure;
    }
    return bytes;
}

ExitStatus run(const DbChangeOptions &options, const Globals &globals)
{
    refuseDatabasePath(options.database);
    const unsigned seconds = secondsToWait(options);
    refuseExisting(options.database, options.database);
    const fs::path place = placeOfDatabase(options.database);
    umask(kUmask);
    const std::string bytes = emptyDatabase(options.database);
    if (!options.isDryRun) {
        const DatabaseLock lock(place, seconds);
        refuseExisting(place, options.database);
        packaging::OutputFile output(place);
        output.write(bytes.data(), bytes.size());
        output.commit();
    }
    if (globals.json) {
        Json json;
        putName(json, "database", options.database);
        json.update({{"created", !options.isDryRun}, {"dry_run", options.isDryRun}});
        printJson(json);
    } else {
        printOut(escaped(options.database) + (options.isDryRun ? ": would be" : ":") + " created, without packages\n");
    }
    return ExitStatus::Done;
}

} // namespace

void addDbCreate(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "create", "DB", "Create a database without packages",
        "Mode 0640 at most. A directory of the same name with \"bak\" behind it, made beside the database's own, will\n"
        "take the copies that changes make first.\n"
        "Exit status: 0 created; 2 wrong usage; 3 could not be created, or is there already."};
    const auto options = std::make_shared<DbChangeOptions>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    addChangeOptions(command, *options);
}

} // namespace tarn::tool
