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
    // Gives the file another content in one step, and looks at what is on the disk then: when that is not what was
    // written, what was found is put back, and Failure says so. Throws PackagingError when nothing was written.
    void replace(const std::string &content) const;
};

// Writes the file in one step, with owner and mode of `model`. Throws PackagingError.
void writeLike(const std::filesystem::path &model, const std::filesystem::path &target, const std::string &content);
// Whether the file reads so.
bool holds(const std::filesystem::path &path, const std::string &content);

// Where a database is, or would be: links followed. Throws Failure.
std::filesystem::path placeOfDatabase(const std::string &path);

} // namespace tarn::tool
