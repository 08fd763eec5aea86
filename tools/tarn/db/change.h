// How every command changes a database: checked before, copied, changed through the library, checked after.
#pragma once

#include <functional>
#include <string>

#include "command.h"
#include "db/contents.h"
#include "db/file.h"

namespace tarn::tool {

struct DbChangeOptions {
    std::string database;
    std::string wait;
    bool isDryRun = false;
};

// The operand DB and the options that all changes share.
void addChangeOptions(Command &command, DbChangeOptions &options);
unsigned secondsToWait(const DbChangeOptions &options);

// A library that reads damage leniently and saves what it read makes the damage permanent: throws Failure for it;
// `consequence` is what is not done.
DbReading readUndamaged(const DatabaseFile &database, const char *consequence);

struct DbPlan {
    const char *operation;                           // the library's, by name
    std::function<uint32_t(const char *path)> apply; // calls it
    DbContents expected;                             // what the database holds then
};

// Works out the change for what the database holds; throws Failure when there is nothing to change it in.
using DbPlanner = std::function<DbPlan(const DbContents &before)>;

// The database has what was asked for, or is as it was.
ExitStatus changeDatabase(const DbChangeOptions &options, const Globals &globals, const DbPlanner &planner);

// What a change did, for people and for programs.
Json changesJson(const DbContents &before, const DbContents &after);
std::string changesText(const Json &changes);

// The first entry of that name and, when given, version, by the texts as the library reads them; null for none.
const DbPackage *findPackage(const DbContents &contents, const std::string &name, const std::string &version);
// The same, where none ends the command.
DbPackage &requirePackage(DbContents &contents, const DbChangeOptions &options, const std::string &name,
                          const std::string &version = "");
size_t countPackages(const DbContents &contents, const std::string &name);

} // namespace tarn::tool
