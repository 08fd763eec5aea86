// What processes have left behind: loop devices and work directories.
#include <algorithm>
#include <array>
#include <sys/stat.h>

#include <tarn_boot/container.h>

#include "doctor/findings.h"
#include "package/loop_device.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kLoopArea[] = "loop devices";
constexpr char kWorkArea[] = "work directories";

void examineLoopDevices(const Examined &examined, Findings &findings)
{
    const size_t before = findings.size();
    size_t others = 0;
    for (const LoopDevice &device : attachedLoopDevices(examined.at("/sys/block"))) {
        const std::string next = "if nobody uses it: tarn package detach " + device.path;
        if (device.isDeleted) {
            findings.push_back({Severity::Warning, kLoopArea, device.path,
                                "attached to a deleted file, " + inQuotes(device.file),
                                "it keeps the file's space, and what it shows is no longer installed", next});
        } else if (TARN_SafeIsPkgFile(device.file.c_str()) != 0) {
            findings.push_back({Severity::Note, kLoopArea, device.path,
                                "attached to the package " + inQuotes(device.file),
                                "the package cannot be given up while it is in use", next});
        } else {
            ++others;
        }
    }
    if (findings.size() == before) {
        findings.push_back({Severity::Ok, kLoopArea, examined.at("/sys/block").string(),
                            "none on packages or deleted files, " + counted(others, "other"), "", ""});
    }
}

// The process a work directory belongs to; "" when it is none.
std::string ownerOf(const std::string &name)
{
    for (const char *prefix : {"extract_", "verify_"}) {
        std::string number = name.rfind(prefix, 0) == 0 ? name.substr(std::string(prefix).size()) : "";
        if (!number.empty() && std::all_of(number.begin(), number.end(),
                                           [](char character) { return character >= '0' && character <= '9'; })) {
            return number;
        }
    }
    return "";
}

void examineWorkDirectories(const Examined &examined, Findings &findings)
{
    const size_t before = findings.size();
    const fs::path temporary = examined.at("/tmp");
    std::error_code error;
    for (fs::directory_iterator entry(temporary, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string owner = ownerOf(entry->path().filename().string());
        std::error_code ignored;
        if (!owner.empty() && !fs::exists(examined.at("/proc") / owner, ignored)) {
            findings.push_back({Severity::Warning, kWorkArea, entry->path().string(),
                                "left by process " + owner + ", which has ended",
                                "a later process of this number fails on it if it is another user's, or not empty",
                                "remove the directory"});
        }
    }
    if (error) {
        findings.push_back({Severity::Warning, kWorkArea, temporary.string(),
                            "cannot be looked through: " + error.message(),
                            "nothing verifies and nothing is extracted without it", "check that it is a directory"});
    } else if (findings.size() == before) {
        findings.push_back({Severity::Ok, kWorkArea, temporary.string(), "nothing left behind", "", ""});
    }
}

void examineListDirectory(const Examined &examined, const Configuration &configuration, Findings &findings)
{
    const fs::path directory = examined.at(configuration.rootPath) / "swm/workdir/temp";
    std::error_code error;
    if (fs::exists(fs::symlink_status(directory, error))) {
        findings.push_back({Severity::Note, kWorkArea, directory.string(), "there is one for an older signature list",
                            "a process is at work with it, or one has ended early",
                            "remove it when nothing is being installed"});
    }
}

} // namespace

void examineLeftovers(const Examined &examined, const Configuration &configuration, Findings &findings)
{
    examineLoopDevices(examined, findings);
    examineWorkDirectories(examined, findings);
    examineListDirectory(examined, configuration, findings);
}

} // namespace tarn::tool
