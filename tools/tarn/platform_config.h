// The platform library's configuration: chosen with --config, by the environment, or its default.
#pragma once

#include <string>

namespace tarn::tool {

// Names the file to the platform library; to be called before anything of it. Throws Failure for a file that the
// platform would pass over in silence.
void usePlatformConfig(const std::string &path);

// The same conditions for a file that only the environment names: before whatever depends on it.
void checkPlatformConfig();

// The file the platform reads, there or not.
std::string platformConfigInUse();

} // namespace tarn::tool
