// tarn signed-list: the lists that signatures are over.
#include "signed_list/commands.h"

namespace tarn::tool {

void addSignedListGroup(CLI::App &app, Globals &globals)
{
    CLI::App &group = addGroup(app, "signed-list", "Show and check signed file lists");
    addSignedListShow(group, globals);
    addSignedListCheck(group, globals);
}

} // namespace tarn::tool
