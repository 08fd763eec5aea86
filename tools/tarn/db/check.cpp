// tarn db check: everything that is wrong with a database, and how to put back its copy.
#include <memory>

#include "db/backup.h"
#include "db/commands.h"
#include "db/contents.h"
#include "json.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

std::string copyText(const DatabaseFile &database, const BackupPlace &place, const std::optional<BackupCopy> &copy)
{
    const std::string head = "copy of a former state: ";
    if (!copy) {
        return head + "none in " + escaped(place.directory.string()) + "\n";
    }
    const std::string found = head + escaped(copy->path.string()) + ": " + backupText(*copy, database) + "\n";
    return copy->isUsable() ? found + "\"tarn db restore " + escaped(database.shown) + "\" puts it back\n" : found;
}

std::string text(const DatabaseFile &database, const DbReading &reading, const BackupPlace &place,
                 const std::optional<BackupCopy> &copy)
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
    return lines + (reading.damage() != nullptr ? copyText(database, place, copy) : "");
}

Json json(const DatabaseFile &database, const DbReading &reading, const std::optional<BackupCopy> &copy)
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
        report["copy"] = backupJson(*copy, database);
    }
    return report;
}

ExitStatus run(const std::string &path, const Globals &globals)
{
    refuseDatabasePath(path);
    const DatabaseFile database(path);
    const DbReading reading = readDatabase(database.bytes);
    const BackupPlace place(database.real);
    const std::optional<BackupCopy> copy = findBackup(place);
    if (globals.json) {
        printJson(json(database, reading, copy));
    } else {
        printOut(text(database, reading, place, copy));
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
