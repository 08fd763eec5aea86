// The commands of the group "list".
#pragma once

#include "command.h"

namespace tarn::tool {

void addListShow(CLI::App &group, Globals &globals);
void addListDiff(CLI::App &group, Globals &globals);
void addListVerify(CLI::App &group, Globals &globals);
void addListMake(CLI::App &group, Globals &globals);
void addListGather(CLI::App &group, Globals &globals);

} // namespace tarn::tool
