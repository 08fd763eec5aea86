// tarn db: the database of installed software.
#include "db/commands.h"

namespace tarn::tool {

void addDbGroup(CLI::App &app, Globals &globals)
{
    CLI::App &group = addGroup(app, "db", "Show, check and change the database of installed software");
    addDbCreate(group, globals);
    addDbCheck(group, globals);
    addDbList(group, globals);
    addDbShow(group, globals);
    addDbStartup(group, globals);
    addDbCcFiles(group, globals);
    addDbPackageCommands(group, globals);
    addDbPartCommands(group, globals);
    addDbRemoveCommands(group, globals);
    addDbBackupCommands(group, globals);
}

} // namespace tarn::tool
