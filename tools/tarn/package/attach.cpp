// tarn package attach, detach: a member as a read-only loop device.
#include <cerrno>
#include <filesystem>
#include <memory>
#include <unistd.h>

#include <tarn_basic/device.h>
#include <tarn_boot/container.h>

#include "json.h"
#include "library_log.h"
#include "package/commands.h"
#include "package/loop_device.h"
#include "package/names.h"
#include "package/reader.h"
#include "packaging/deferred_signals.h"
#include "packaging/error.h"
#include "platform_config.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kControl[] = "/dev/loop-control";

struct Options {
    std::string package;
    std::string name;
    std::string directory;
};

void requireLoopDevices()
{
    std::error_code error;
    if (!fs::exists(kControl, error)) {
        failWith(std::string("this machine has no loop devices: there is no ") + kControl,
                 "load the kernel's module \"loop\", or in a container hand the device in; \"tarn package extract\" "
                 "needs none");
    }
    if (access(kControl, R_OK | W_OK) != 0) {
        failWith(std::string("loop devices are not for this user: ") + kControl + ": " + packaging::errorText(errno),
                 "run the command as root");
    }
}

// The library makes the link last: without it a device stays attached that nobody knows of.
void requireDirectory(const Options &options)
{
    std::error_code error;
    if (!fs::is_directory(options.directory, error)) {
        failWith(escaped(options.directory) + ": not a directory", "name an existing directory for the link");
    }
    if (access(options.directory.c_str(), W_OK | X_OK) != 0) {
        failWith(escaped(options.directory) + ": cannot be written: " + packaging::errorText(errno),
                 "name a directory that you may write");
    }
}

// The library removes whatever is in the way; only a link of an earlier attachment may go.
void refuseInTheWay(const fs::path &link)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(link, error);
    if (!fs::exists(status) || (fs::is_symlink(status) && loopDeviceAt(link))) {
        return;
    }
    failWith(escaped(link.string()) + ": is in the way, and no link to a loop device",
             "remove it, or name another directory");
}

// What the library would refuse with one number for everything, told apart.
uint32_t findMember(const Options &options)
{
    const OpenPackage package = openPackage(options.package);
    takeLibraryReason();
    uint32_t length = 0;
    uint32_t offset = 0;
    const uint32_t result = SWM_FindFileFromCc(package.descriptor.get(), options.name.c_str(), &length, &offset);
    if (result == SWM_OK) {
        return offset;
    }
    Failure failure;
    failure.status = ExitStatus::No;
    failure.what = escaped(options.package) + ": member " + inQuotes(options.name) + ": not attached";
    failure.next = "\"tarn package verify\" and \"tarn package list\" show what the package is";
    if (explainFailure(failure)) {
        failure.what += ": it could not be judged";
    }
    setReport(failure, {{"package", options.package}});
    throw failure;
}

void attachMember(const Options &options, const fs::path &link)
{
    takeLibraryReason();
    const packaging::DeferredSignals uninterrupted;
    if (SWM_ExtractFileByLoop(options.package.c_str(), options.name.c_str(), options.directory.c_str()) == SWM_OK &&
        loopDeviceAt(link)) {
        return;
    }
    Failure failure;
    failure.what = escaped(options.package) + ": member " + inQuotes(options.name) + ": could not be attached";
    failure.reason = takeLibraryReason();
    failure.next = "\"tarn doctor\" shows the loop devices in use";
    throw failure;
}

ExitStatus attach(const Options &options, const Globals &globals)
{
    requirePlainName(options.name);
    const fs::path link = fs::path(options.directory) / options.name;
    requireLibraryPath(link);
    checkPlatformConfig();
    const uint32_t offset = findMember(options);
    requireDirectory(options);
    refuseInTheWay(link);
    requireLoopDevices();
    attachMember(options, link);
    const std::string device = loopDeviceAt(link).value_or("");
    if (globals.json) {
        Json json = {{"package", options.package}};
        putName(json, "name", options.name);
        putName(json, "path", link.string());
        json.update({{"device", device}, {"offset", offset}});
        printJson(json);
    } else {
        printOut(escaped(link.string()) + " -> " + device + "\n");
    }
    return ExitStatus::Done;
}

// ---- Detaching ----

bool isLink(const fs::path &path)
{
    std::error_code error;
    return fs::is_symlink(fs::symlink_status(path, error));
}

std::string deviceToDetach(const std::string &path)
{
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) {
        failWith(escaped(path) + ": " + packaging::errorText(ENOENT),
                 "name the link that \"tarn package attach\" has printed, or the loop device");
    }
    const auto device = loopDeviceAt(path);
    if (!device) {
        failWith(escaped(path) + ": not a loop device, and no link to one: left as it is",
                 "name the link that \"tarn package attach\" has printed, or the loop device");
    }
    if (!isLink(path) && !isAttached(*device)) {
        failWith(escaped(path) + ": not attached to anything", "\"tarn doctor\" shows the loop devices in use",
                 ExitStatus::No);
    }
    return *device;
}

// The library detaches what a link leads to and removes the link. By the same operation a device would lose its node.
bool detachDevice(const std::string &path)
{
    const packaging::DeferredSignals uninterrupted;
    return isLink(path) ? SWM_DelExistFile(path.c_str()) == SWM_OK : TARN_DelLoopDev(path.c_str()) == 0;
}

ExitStatus detach(const std::string &path, const Globals &globals)
{
    requireLibraryPath(path);
    const std::string device = deviceToDetach(path);
    if (access(device.c_str(), R_OK) != 0) {
        failWith(escaped(path) + ": " + device + ": " + packaging::errorText(errno), "run the command as root");
    }
    takeLibraryReason();
    if (!detachDevice(path)) {
        Failure failure;
        failure.what = escaped(path) + ": could not be detached from " + device;
        failure.reason = takeLibraryReason();
        failure.next = "check who uses the device, and that you may remove the link";
        throw failure;
    }
    const bool isInUse = isAttached(device);
    if (globals.json) {
        Json json;
        putName(json, "path", path);
        json.update({{"device", device}, {"in_use", isInUse}});
        printJson(json);
    } else {
        printOut(escaped(path) + ": " + device +
                 (isInUse ? " is still in use: it goes free when its last user is gone, for example at umount\n"
                          : " detached\n"));
    }
    return ExitStatus::Done;
}

} // namespace

void addPackageAttach(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "attach", "PACKAGE NAME DIR",
        "Attach a member, an image of a file system, to a read-only loop device; DIR/NAME becomes a link to it",
        "The signature is checked and that the signed list names the member, but no digest: \"tarn package verify\"\n"
        "does that. The device runs from the member to the end of the package. A link of an earlier attachment is\n"
        "replaced, its device detached. Needs root and loop devices.\n"
        "Exit status: 0 attached; 1 no such member, or not signed; 2 wrong usage; 3 could not be carried out."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return attach(*options, globals); });
    command.operand("PACKAGE", "The package", options->package);
    command.operand("NAME", "The member's subfile name or file name", options->name);
    command.operand("DIR", "Existing directory for the link", options->directory);
}

void addPackageDetach(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "detach", "PATH", "Detach a loop device, and remove the link to it",
        "Nothing but loop devices and links to them is touched. Needs root.\n"
        "Exit status: 0 detached; 1 not attached; 2 wrong usage; 3 could not be carried out."};
    const auto path = std::make_shared<std::string>();
    Command command(group, globals, kText, [path, &globals] { return detach(*path, globals); });
    command.operand("PATH", "The link that \"attach\" made, or a loop device", *path);
}

} // namespace tarn::tool
