// Making copies of databases and judging them.
#include "db/backup.h"

#include <ctime>
#include <sys/stat.h>

#include <tarn_boot/database.h>

#include "command.h"
#include "json.h"
#include "library_log.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

// The library's own buffers: a longer path would be cut, and another file written.
constexpr size_t kDirectoryRoom = 256;
constexpr size_t kPathRoom = 384;

// In UTC; "" when it cannot be told.
std::string modificationTime(const fs::path &path)
{
    struct stat status = {};
    struct tm time = {};
    char text[32] = "";
    if (stat(path.c_str(), &status) == 0 && gmtime_r(&status.st_mtime, &time) != nullptr) {
        static_cast<void>(strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &time));
    }
    return text;
}

bool isSame(const BackupCopy &copy, const std::optional<DatabaseFile> &database)
{
    return database && database->bytes == copy.bytes;
}

} // namespace

BackupPlace::BackupPlace(const fs::path &database)
    : directory(database.parent_path().string() + "bak"), file(directory / database.filename())
{
    char buffer[kDirectoryRoom] = "";
    const bool fits = directory.native().size() < kDirectoryRoom && file.native().size() < kPathRoom;
    isThere = fits && SWM_GetBackupPath(database.parent_path().c_str(), buffer, sizeof(buffer)) == SWM_OK;
}

void makeBackup(const DatabaseFile &database, const BackupPlace &place, const char *consequence)
{
    Failure failure;
    failure.what = escaped(database.shown) + ": its copy " + escaped(place.file.string());
    failure.next = "check space and permissions, then try again";
    takeLibraryReason();
    std::error_code error;
    // The platform would move its copy into a directory's place, or fail without words.
    const bool isTaken = fs::exists(place.file, error) && !fs::is_regular_file(place.file, error);
    if (isTaken || SWM_BackupFile(database.real.c_str()) != SWM_OK) {
        failure.what += std::string(" cannot be made") + (isTaken ? ", what is there is no file" : "") + consequence;
        failure.reason = takeLibraryReason();
        throw failure;
    }
    takeLibraryReason();
    if (readWhole(place.file) != database.bytes) {
        failure.what += std::string(" does not read as it was written") + consequence;
        failure.next = "check the disk";
        throw failure;
    }
}

std::optional<BackupCopy> findBackup(const BackupPlace &place)
{
    std::error_code error;
    if (!place.isThere || !fs::exists(fs::symlink_status(place.file, error))) {
        return std::nullopt;
    }
    BackupCopy copy;
    copy.path = place.file;
    try {
        copy.bytes = readWhole(place.file);
        copy.reading = readDatabase(copy.bytes);
        const DbProblem *damage = copy.reading.damage();
        copy.fault = damage == nullptr ? "" : "damaged, " + problemText(*damage);
    } catch (const packaging::PackagingError &fault) {
        copy.fault = escaped(fault.what());
    }
    return copy;
}

Json backupJson(const BackupCopy &copy, const std::optional<DatabaseFile> &database)
{
    Json json;
    putName(json, "path", copy.path.string());
    json.update({{"usable", copy.isUsable()},
                 {"same", isSame(copy, database)},
                 {"packages", copy.reading.contents.packages.size()},
                 {"modified", modificationTime(copy.path)},
                 {"problems", problemsJson(copy.reading.problems)}});
    json["fault"] = copy.isUsable() ? Json() : Json(copy.fault);
    return json;
}

std::string backupText(const BackupCopy &copy, const std::optional<DatabaseFile> &database)
{
    if (!copy.isUsable()) {
        return copy.fault;
    }
    std::string text =
        counted(copy.reading.contents.packages.size(), "package") + ", of " + modificationTime(copy.path);
    if (database) {
        text += isSame(copy, database) ? ", the same as the database" : ", not the same as the database";
    }
    return text;
}

} // namespace tarn::tool
