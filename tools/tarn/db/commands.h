// The commands of the group "db".
#pragma once

#include "command.h"

namespace tarn::tool {

void addDbCreate(CLI::App &group, Globals &globals);
void addDbCheck(CLI::App &group, Globals &globals);
void addDbList(CLI::App &group, Globals &globals);
void addDbShow(CLI::App &group, Globals &globals);
void addDbStartup(CLI::App &group, Globals &globals);
void addDbCcFiles(CLI::App &group, Globals &globals);
void addDbBackupCommands(CLI::App &group, Globals &globals);  // backup, backups, restore
void addDbPackageCommands(CLI::App &group, Globals &globals); // add, update
void addDbPartCommands(CLI::App &group, Globals &globals);    // add-patch, add-mod, remove-patch, remove-mod
void addDbRemoveCommands(CLI::App &group, Globals &globals);  // remove, remove-cc

} // namespace tarn::tool
