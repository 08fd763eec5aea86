// Loop devices as the kernel shows them.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::tool {

struct LoopDevice {
    std::string path; // "/dev/loop3"
    std::string file; // what it is attached to, as it was called then
    bool isDeleted = false;
};

// The attached ones below `sysBlock`, usually "/sys/block", in order of their numbers.
std::vector<LoopDevice> attachedLoopDevices(const std::filesystem::path &sysBlock);

// The path of the loop device that `path` is or leads to; empty when it is something else.
std::optional<std::string> loopDeviceAt(const std::filesystem::path &path);

bool isAttached(const std::string &device);

} // namespace tarn::tool
