// The kernel tells of loop devices under /sys/block.
#include "package/loop_device.h"

#include <algorithm>
#include <fstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr unsigned kLoopMajor = 7;
constexpr char kPrefix[] = "loop";
constexpr char kDeleted[] = " (deleted)";

bool isNumber(const std::string &text)
{
    return !text.empty() && text.size() <= 9 &&
           std::all_of(text.begin(), text.end(), [](char character) { return character >= '0' && character <= '9'; });
}

std::string numberOf(const fs::path &entry)
{
    const std::string name = entry.filename().string();
    return name.rfind(kPrefix, 0) == 0 ? name.substr(sizeof(kPrefix) - 1) : "";
}

// A device that is not attached has no such file.
std::optional<LoopDevice> readDevice(const fs::path &entry)
{
    std::ifstream file(entry / "loop/backing_file", std::ios::binary);
    LoopDevice device{"/dev/" + entry.filename().string(), {std::istreambuf_iterator<char>(file), {}}};
    if (!device.file.empty() && device.file.back() == '\n') {
        device.file.pop_back();
    }
    const size_t suffix = sizeof(kDeleted) - 1;
    if (device.file.size() > suffix && device.file.compare(device.file.size() - suffix, suffix, kDeleted) == 0) {
        device.isDeleted = true;
        device.file.resize(device.file.size() - suffix);
    }
    return device.file.empty() ? std::nullopt : std::optional(device);
}

} // namespace

std::vector<LoopDevice> attachedLoopDevices(const fs::path &sysBlock)
{
    std::vector<std::pair<unsigned long, LoopDevice>> found;
    std::error_code error;
    for (fs::directory_iterator entry(sysBlock, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string number = numberOf(entry->path());
        const auto device = isNumber(number) ? readDevice(entry->path()) : std::nullopt;
        if (device) {
            found.emplace_back(std::stoul(number), *device);
        }
    }
    std::sort(found.begin(), found.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<LoopDevice> devices;
    devices.reserve(found.size());
    for (auto &[number, device] : found) {
        devices.push_back(std::move(device));
    }
    return devices;
}

std::optional<std::string> loopDeviceAt(const fs::path &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || !S_ISBLK(status.st_mode) || major(status.st_rdev) != kLoopMajor) {
        return std::nullopt;
    }
    std::error_code error;
    const fs::path device = fs::canonical(path, error);
    return error ? std::nullopt : std::optional(device.string());
}

bool isAttached(const std::string &device)
{
    return readDevice("/sys/block" / fs::path(device).filename()).has_value();
}

} // namespace tarn::tool
