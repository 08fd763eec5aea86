// Databases of installed software, and their copies.
#include <algorithm>
#include <cstring>
#include <optional>

#include "db/backup.h"
#include "db/contents.h"
#include "db/file.h"
#include "doctor/findings.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kArea[] = "database";

// Every patch that services add is one: nothing to attend to.
bool hasOnlyUnlistable(const DbReading &reading)
{
    return std::all_of(reading.problems.begin(), reading.problems.end(),
                       [](const DbProblem &problem) { return strcmp(problem.kind, "not_listable") == 0; });
}

// The bytes of a sound file. Anything else is a finding of `severity`.
std::optional<std::string> readSound(const fs::path &path, Severity severity, const char *why, const char *next,
                                     Findings &findings)
{
    try {
        const std::string bytes = readWhole(path);
        const DbReading reading = readDatabase(bytes);
        if (reading.isSound()) {
            return bytes;
        }
        if (hasOnlyUnlistable(reading)) {
            findings.push_back({Severity::Note, kArea, path.string(),
                                "has " + format("%zu patches or mods", reading.problems.size()) +
                                    " that the library's listing cannot read",
                                "listing all packages fails with them, as services know", "\"tarn db list\" reads on"});
            return bytes;
        }
        const DbProblem &first = reading.damage() != nullptr ? *reading.damage() : reading.problems.front();
        const bool isDamaged = reading.damage() != nullptr;
        findings.push_back({isDamaged ? severity : Severity::Warning, kArea, path.string(),
                            (isDamaged ? "damaged, " : "not sound, ") +
                                counted(reading.problems.size() + reading.moreProblems, "problem") + ": " +
                                problemText(first),
                            why, next});
    } catch (const packaging::PackagingError &error) {
        findings.push_back({severity, kArea, path.string(), escaped(error.what()), why, next});
    }
    return std::nullopt;
}

void compare(const fs::path &database, const fs::path &backup, bool isSame, Findings &findings)
{
    std::error_code error;
    const auto saved = fs::last_write_time(backup, error);
    const auto changed = error ? saved : fs::last_write_time(database, error);
    if (isSame) {
        findings.push_back({Severity::Ok, kArea, backup.string(), "the same as the database", "", ""});
    } else if (!error && saved > changed) {
        findings.push_back({Severity::Warning, kArea, backup.string(), "differs from the database and is newer",
                            "a backup is made before a change: the database may have been put back, or changed by hand",
                            "\"tarn db backups\" shows it"});
    } else {
        findings.push_back({Severity::Note, kArea, backup.string(), "differs from the database and is older",
                            "as it has to be after a change", "\"tarn db backups\" shows it"});
    }
}

void examineBackup(const fs::path &database, const std::optional<std::string> &bytes, Findings &findings)
{
    const BackupPlace place(database);
    std::error_code error;
    if (!place.isThere) {
        findings.push_back({Severity::Note, kArea, place.directory.string(), "there is no directory for backups",
                            "nothing is backed up: the library never makes it", "make the directory"});
    } else if (!fs::exists(fs::symlink_status(place.file, error))) {
        findings.push_back({Severity::Note, kArea, place.file.string(), "there is no backup",
                            "a damaged database could not be put back", "it is made before the next change"});
    } else {
        const auto backup = readSound(place.file, Severity::Warning, "a damaged database could not be put back",
                                      "remove it; it is made anew before the next change", findings);
        if (backup && bytes) {
            compare(database, place.file, *backup == *bytes, findings);
        }
    }
}

} // namespace

void examineDatabases(const Examined &examined, Findings &findings)
{
    for (const std::string &name : examined.databases) {
        std::error_code error;
        const fs::path real = fs::canonical(name, error);
        const fs::path path = error ? fs::path(name) : real;
        const auto bytes = readSound(path, Severity::Error, "what is installed is not known for certain",
                                     "\"tarn db check\" tells all, \"tarn db restore\" puts the copy back", findings);
        if (bytes) {
            findings.push_back({Severity::Ok, kArea, path.string(), "sound", "", ""});
        }
        examineBackup(path, bytes, findings);
    }
}

} // namespace tarn::tool
