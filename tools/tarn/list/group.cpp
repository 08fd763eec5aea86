// tarn list: the record lists that say what a package installs.
#include "list/commands.h"

namespace tarn::tool {

void addListGroup(CLI::App &app, Globals &globals)
{
    CLI::App &group = addGroup(app, "list", "Show, compare, check, make and gather record lists");
    addListShow(group, globals);
    addListDiff(group, globals);
    addListVerify(group, globals);
    addListMake(group, globals);
    addListGather(group, globals);
}

} // namespace tarn::tool
