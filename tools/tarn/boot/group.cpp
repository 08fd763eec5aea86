// tarn boot: the markers that flag a package version for local boot.
#include <filesystem>
#include <memory>

#include <tarn_basic/pool.h>
#include <tarn_boot/database.h>

#include "command.h"
#include "json.h"
#include "library_log.h"
#include "packaging/deferred_signals.h"
#include "packaging/names.h"
#include "platform_config.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string name;
    std::string version;
};

struct Marker {
    fs::path path;
    bool isInPool = false;
    bool isSet = false;
};

std::string title(const Options &options)
{
    return "package " + inQuotes(options.name) + " " + inQuotes(options.version);
}

void requireIdentifier(const std::string &text)
{
    if (!packaging::isPlainFileName(text) || packaging::hasControlCharacters(text)) {
        refuseUsage(inQuotes(text) + ": no name or version that a package in the pool can have",
                    "give both as the pool's directories are called, <pool>/NAME/VERSION");
    }
}

// The library goes on with a path of its own for what has no place in the pool.
void requirePlace(const Options &options)
{
    constexpr uint32_t kPathSize = 256;
    char directory[kPathSize] = "";
    if (SWM_GetPkgPoolPackageVersionPath(options.name.c_str(), options.version.c_str(), directory, kPathSize) != 0) {
        failWith(title(options) + ": has no place in the pool: its path is too long, or the configuration unusable",
                 "check [paths] of " + escaped(platformConfigInUse()) + "; \"tarn doctor\" says more");
    }
}

Marker findMarker(const Options &options)
{
    requireIdentifier(options.name);
    requireIdentifier(options.version);
    checkPlatformConfig();
    requirePlace(options);
    constexpr uint32_t kPathSize = 384;
    char path[kPathSize] = "";
    SWM_GetPkgBootlocalPath(options.name.c_str(), options.version.c_str(), path, kPathSize);
    Marker marker{path};
    std::error_code error;
    marker.isInPool = fs::is_directory(marker.path.parent_path(), error);
    const fs::file_status status = fs::symlink_status(marker.path, error);
    marker.isSet = fs::is_regular_file(status);
    if (error && error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory) {
        failWith(escaped(path) + ": cannot be examined: " + error.message(), "run the command as root");
    }
    if (fs::exists(status) && !marker.isSet) {
        failWith(escaped(path) + ": is in the marker's place, and no file", "remove it");
    }
    return marker;
}

Json markerJson(const Options &options, const Marker &marker)
{
    Json json;
    putName(json, "name", options.name);
    putName(json, "version", options.version);
    putName(json, "path", marker.path.string());
    json.update({{"in_pool", marker.isInPool}, {"marked", marker.isSet}});
    return json;
}

void report(const Options &options, const Marker &marker, bool changed, const char *words, const Globals &globals)
{
    if (globals.json) {
        Json json = markerJson(options, marker);
        json["changed"] = changed;
        printJson(json);
    } else {
        printOut(title(options) + ": " + words + ": " + escaped(marker.path.string()) + "\n");
    }
}

[[noreturn]] void failToChange(const Options &options, const Marker &marker, const char *what)
{
    Failure failure;
    failure.what = title(options) + ": " + what + ": " + escaped(marker.path.string());
    failure.reason = takeLibraryReason();
    failure.next = "run the command as root: the marker belongs to the user \"swm\" and the group \"quorim\"";
    throw failure;
}

ExitStatus mark(const Options &options, const Globals &globals)
{
    Marker marker = findMarker(options);
    if (!marker.isInPool) {
        failWith(title(options) + ": not in the pool: there is no " + escaped(marker.path.parent_path().string()),
                 "install it first, or check name and version");
    }
    const bool changed = !marker.isSet;
    if (changed) {
        takeLibraryReason();
        const packaging::DeferredSignals uninterrupted;
        if (SWM_CreatePkgBootlocalFile(options.name.c_str(), options.version.c_str()) != SWM_OK) {
            failToChange(options, marker, "the marker could not be made");
        }
        marker.isSet = true;
    }
    report(options, marker, changed, changed ? "marked for local boot" : "was marked already", globals);
    return ExitStatus::Done;
}

ExitStatus unmark(const Options &options, const Globals &globals)
{
    Marker marker = findMarker(options);
    const bool changed = marker.isSet;
    if (changed) {
        takeLibraryReason();
        if (SWM_RemovePkgBootlocalFile(options.name.c_str(), options.version.c_str()) != SWM_OK) {
            failToChange(options, marker, "the marker could not be removed");
        }
        marker.isSet = false;
    }
    report(options, marker, changed, changed ? "no longer marked" : "was not marked", globals);
    return ExitStatus::Done;
}

ExitStatus status(const Options &options, const Globals &globals)
{
    const Marker marker = findMarker(options);
    const char *words = marker.isSet ? "marked for local boot" : "not marked for local boot";
    if (globals.json) {
        printJson(markerJson(options, marker));
    } else {
        printOut(title(options) + ": " + words + (marker.isInPool ? "" : ", and not in the pool") + ": " +
                 escaped(marker.path.string()) + "\n");
    }
    return marker.isSet ? ExitStatus::Done : ExitStatus::No;
}

using Run = ExitStatus (*)(const Options &, const Globals &);

void addCommand(CLI::App &group, Globals &globals, const CommandText &text, Run run)
{
    const auto options = std::make_shared<Options>();
    Command command(group, globals, text, [options, run, &globals] { return run(*options, globals); });
    command.operand("NAME", "Name of the package in the pool", options->name);
    command.operand("VERSION", "Its version", options->version);
}

} // namespace

void addBootGroup(CLI::App &app, Globals &globals)
{
    static constexpr CommandText kMark = {
        "mark", "NAME VERSION", "Mark a package version in the pool for local boot",
        "The marker is the file \"bootlocal\" in the version's directory. Marking what is marked is no error.\n"
        "Exit status: 0 marked; 2 wrong usage; 3 could not be carried out, also when it is not in the pool."};
    static constexpr CommandText kUnmark = {
        "unmark", "NAME VERSION", "Remove the marker",
        "Removing what is not there is no error.\n"
        "Exit status: 0 not marked any more; 2 wrong usage; 3 could not be carried out."};
    static constexpr CommandText kStatus = {
        "status", "NAME VERSION", "Tell whether a package version is marked",
        "Exit status: 0 marked; 1 not marked; 2 wrong usage; 3 could not be found out."};
    CLI::App &group = addGroup(app, "boot", "Mark package versions for local boot");
    addCommand(group, globals, kMark, mark);
    addCommand(group, globals, kUnmark, unmark);
    addCommand(group, globals, kStatus, status);
}

} // namespace tarn::tool
