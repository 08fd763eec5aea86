// The copy of a database's former state: in the directory of the same name with "bak" behind it, which is never made.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "db/contents.h"
#include "db/file.h"

namespace tarn::tool {

struct BackupPlace {
    explicit BackupPlace(const std::filesystem::path &database);
    std::filesystem::path directory;
    std::filesystem::path file;
    bool isThere = false; // the directory, and the library can take such long paths
};

// The library's own backup, and a look at what it made. Throws Failure; `consequence` ends its first line.
void makeBackup(const DatabaseFile &database, const BackupPlace &place, const char *consequence);

// A copy and its health.
struct BackupCopy {
    std::filesystem::path path;
    std::string bytes;
    DbReading reading;
    std::string fault; // why it cannot be put back; "" when it can

    bool isUsable() const { return fault.empty(); }
};

// Nothing when there is none.
std::optional<BackupCopy> findBackup(const BackupPlace &place);

Json backupJson(const BackupCopy &copy, const std::optional<DatabaseFile> &database);
// "3 packages, the same as the database"
std::string backupText(const BackupCopy &copy, const std::optional<DatabaseFile> &database);

} // namespace tarn::tool
