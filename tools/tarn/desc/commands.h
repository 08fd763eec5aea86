// The commands of the group "desc".
#pragma once

#include "command.h"

namespace tarn::tool {

void addDescShow(CLI::App &group, Globals &globals);
void addDescCheck(CLI::App &group, Globals &globals);

} // namespace tarn::tool
