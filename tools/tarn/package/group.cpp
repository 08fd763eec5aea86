// tarn package: containers of members with a signed list of their digests.
#include "package/commands.h"

namespace tarn::tool {

void addPackageGroup(CLI::App &app, Globals &globals)
{
    CLI::App &group = addGroup(app, "package", "Build, inspect, verify and unpack packages");
    addPackageCreate(group, globals);
    addPackageList(group, globals);
    addPackageInfo(group, globals);
    addPackageVerify(group, globals);
    addPackageExtract(group, globals);
    addPackageHeader(group, globals);
    addPackageSignature(group, globals);
    addPackageAttach(group, globals);
    addPackageDetach(group, globals);
}

} // namespace tarn::tool
