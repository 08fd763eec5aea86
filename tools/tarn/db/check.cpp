// tarn db check: everything that is wrong with a database, and how to put back its copy.
#include <memory>

#include "db/commands.h"
#include "db/contents.h"
#include "db/file.h"
#include "packaging/error.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

// ---- The copy ----

struct Copy {
    std::string path;
    bool isUsable = false; // for changes
    bool isSame = false;
    size_t packages = 0;
    std::string fault;
};

// Null when there is none.
std::optional<Copy> findCopy(const DatabaseFile &database)
{
    const BackupPlace place(database.real);
    std::error_code error;
    if (!place.isThere || !std::filesystem::exists(place.file, error)) {
        return std::nullopt;
    }
    Copy copy;
    copy.path = place.file.string();
    try {
        const std::string bytes = readWhole(place.file);
        const DbReading reading = readDatabase(bytes);
        const DbProblem *damage = reading.damage();
        copy.isUsable = damage == nullptr;
        copy.isSame = bytes == database.bytes;
        copy.packages = reading.contents.packages.size();
        copy.fault = damage == nullptr ? "" : problemText(*damage);
    } catch (const packaging::PackagingError &fault) {
        copy.fault = escaped(fault.what());
    }
    return copy;
}

// For a shell to read.
std::string quoted(const std::string &path)
{
    std::string text = "'";
    for (const char character : path) {
        text += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return text + "'";
}

// In one step, like every change. The copy has the database's owner and mode.
std::string restoreCommand(const DatabaseFile &database, const Copy &copy)
{
    const std::string real = database.real.string();
    return "cp -p " + quoted(copy.path) + " " + quoted(real + ".new") + " && sync " + quoted(real + ".new") +
           " && mv " + quoted(real + ".new") + " " + quoted(real);
}

// ---- Report ----

std::string copyText(const DatabaseFile &database, const std::optional<Copy> &copy)
{
    if (!copy) {
        return "copy of a former state: none, in " + escaped(BackupPlace(database.real).directory.string()) + "\n";
    }
    const std::string text = "copy of a former state: " + escaped(copy->path) + ": ";
    if (!copy->isUsable) {
        return text + "damaged, " + copy->fault + "\n";
    }
    return text + counted(copy->packages, "package") + (copy->isSame ? ", the same as the database" : "") +
           (copy->isSame ? "\n" : "; to put it back: " + escaped(restoreCommand(database, *copy)) + "\n");
}

std::string text(const DatabaseFile &database, const DbReading &reading, const std::optional<Copy> &copy)
{
    const std::string name = escaped(database.shown) + ": ";
    if (reading.isSound()) {
        return name + inColour(Colour::Good, "sound") + ", " + counted(reading.contents.packages.size(), "package") +
               "\n";
    }
    std::string lines;
    for (const DbProblem &problem : reading.problems) {
        lines += name + problemText(problem) + " -- " + problem.hint + "\n";
    }
    lines += name + inColour(Colour::Bad, reading.damage() != nullptr ? "damaged" : "not sound") + ", " +
             counted(reading.problems.size() + reading.moreProblems, "problem") +
             (reading.damage() != nullptr ? "; it is not changed until it is mended\n" : "\n");
    return lines + (reading.damage() != nullptr ? copyText(database, copy) : "");
}

Json json(const DatabaseFile &database, const DbReading &reading, const std::optional<Copy> &copy)
{
    Json report;
    putName(report, "database", database.shown);
    report.update({{"sound", reading.isSound()},
                   {"damaged", reading.damage() != nullptr},
                   {"packages", reading.contents.packages.size()},
                   {"problems", problemsJson(reading.problems)},
                   {"more_problems", reading.moreProblems},
                   {"copy", nullptr}});
    if (copy) {
        Json found;
        putName(found, "path", copy->path);
        found.update({{"usable", copy->isUsable}, {"same", copy->isSame}, {"packages", copy->packages}});
        if (copy->isUsable && !copy->isSame) {
            found["restore"] = restoreCommand(database, *copy);
        }
        report["copy"] = found;
    }
    return report;
}

ExitStatus run(const std::string &path, const Globals &globals)
{
    refuseDatabasePath(path);
    const DatabaseFile database(path);
    const DbReading reading = readDatabase(database.bytes);
    const std::optional<Copy> copy = findCopy(database);
    if (globals.json) {
        printJson(json(database, reading, copy));
    } else {
        printOut(text(database, reading, copy));
    }
    return reading.isSound() ? ExitStatus::Done : ExitStatus::No;
}

} // namespace

void addDbCheck(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "check", "DB", "Read a database strictly and tell everything that is wrong, line by line",
        "Damage keeps a database from being changed; the copy of a former state is named then, and how to put it "
        "back.\n"
        "Exit status: 0 sound; 1 something is wrong; 2 wrong usage; 3 cannot be read."};
    const auto database = std::make_shared<std::string>();
    Command command(group, globals, kText, [database, &globals] { return run(*database, globals); });
    command.operand("DB", "The database", *database);
}

} // namespace tarn::tool
