// tarn desc: descriptor files.
#include "desc/commands.h"

namespace tarn::tool {

void addDescGroup(CLI::App &app, Globals &globals)
{
    CLI::App &group = addGroup(app, "desc", "Show and check descriptor files");
    addDescShow(group, globals);
    addDescCheck(group, globals);
}

} // namespace tarn::tool
