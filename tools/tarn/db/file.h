// The database as a file: what the library must not do for its callers. It saves in place; the tool lets it do so on a
// private copy and gives the result the database's name in one step.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "packaging/output_file.h"

namespace tarn::tool {

// Refuses paths that the library would not read and write alike, wherever they are used.
void refuseDatabasePath(const std::string &path);

// The whole file. Throws PackagingError.
std::string readWhole(const std::filesystem::path &path);

// A copy that no other process sees and of which nothing is left, whatever happens.
class PrivateCopy {
public:
    explicit PrivateCopy(const std::string &bytes);
    const std::string &path() const { return link; }
    std::string bytes() const;

private:
    packaging::Descriptor descriptor;
    std::string link;
};

// Keeps other tools from changing the same database, by a lock on a file beside it. That file stays: who removed it
// would part those who wait from those who come.
class DatabaseLock {
public:
    DatabaseLock(const std::filesystem::path &database, unsigned secondsToWait);

private:
    packaging::Descriptor descriptor;
};

// Where the copy of a database's former state lies: in the directory of the same name with "bak" behind it.
struct BackupPlace {
    explicit BackupPlace(const std::filesystem::path &database);
    std::filesystem::path directory;
    std::filesystem::path file;
    bool isThere = false; // the directory
};

// A database as it was found.
class DatabaseFile {
public:
    // Throws PackagingError.
    explicit DatabaseFile(const std::string &path);

    const std::string shown; // as the command line names it
    const std::filesystem::path real;
    const std::string bytes;

    // Whether the file is still as it was found.
    bool isUnchanged() const;
    // Refuses what could not be replaced without losing something.
    void refuseUnlessChangeable() const;
    // Writes `content` to `target` under a temporary name first, with the database's owner and mode.
    void write(const std::filesystem::path &target, const std::string &content) const;
};

} // namespace tarn::tool
