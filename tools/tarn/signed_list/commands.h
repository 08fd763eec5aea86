// The commands of the group "signed-list".
#pragma once

#include "command.h"

namespace tarn::tool {

void addSignedListShow(CLI::App &group, Globals &globals);
void addSignedListCheck(CLI::App &group, Globals &globals);

} // namespace tarn::tool
