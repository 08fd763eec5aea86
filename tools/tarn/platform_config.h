// The platform library's configuration, as chosen with --config.
#pragma once

#include <string>

namespace tarn::tool {

// Names the file to the platform library; to be called before anything of it. Throws Failure for a file that the
// platform would pass over in silence.
void usePlatformConfig(const std::string &path);

} // namespace tarn::tool
