// The commands of the group "package".
#pragma once

#include "command.h"

namespace tarn::tool {

void addPackageCreate(CLI::App &group, Globals &globals);
void addPackageList(CLI::App &group, Globals &globals);
void addPackageVerify(CLI::App &group, Globals &globals);
void addPackageExtract(CLI::App &group, Globals &globals);
void addPackageInfo(CLI::App &group, Globals &globals);
void addPackageHeader(CLI::App &group, Globals &globals);
void addPackageAttach(CLI::App &group, Globals &globals);
void addPackageDetach(CLI::App &group, Globals &globals);
void addPackageSignature(CLI::App &group, Globals &globals);

} // namespace tarn::tool
