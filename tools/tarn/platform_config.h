// The platform library's configuration: chosen with --config, by the environment, or its default.
#pragma once

#include <string>

namespace tarn::tool {

// Where the platform looks unless told otherwise.
constexpr char kDefaultConfig[] = "/etc/tarn/basic.conf";

// Names the file to the platform library; to be called before anything of it. Throws Failure, when it is to be checked,
// for a file that the platform would pass over in silence.
void usePlatformConfig(const std::string &path, bool isChecked);

// The same conditions for a file that only the environment names: before whatever depends on it.
void checkPlatformConfig();

// The file the platform reads, there or not.
std::string platformConfigInUse();

} // namespace tarn::tool
