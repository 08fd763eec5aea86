// tarn db add-patch, add-mod, remove-patch, remove-mod. The library finds the package by its name alone, and the first
// entry of that name counts.
#include <algorithm>
#include <memory>

#include <tarn_boot/database.h>

#include "db/change.h"
#include "db/commands.h"
#include "db/values.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    DbChangeOptions change;
    PartKind kind = PartKind::Patch;
    std::string package;
    std::string name;
    std::string version;
    std::string source;
    std::string installPath;
    std::string poolPath;
};

std::string packageKey(const Options &options)
{
    return keyToFind("PACKAGE", options.package, baseFields()[kPackageName].room);
}

std::vector<DbRecord>::iterator findPart(std::vector<DbRecord> &parts, const Options &options)
{
    return std::find_if(parts.begin(), parts.end(), [&](const DbRecord &part) {
        return asLibraryReads(part, partFields(options.kind), kPartName) == options.name;
    });
}

// ---- Add ----

template <typename Info> Info recordOf(const Options &options, char (Info::*nameField)[128])
{
    const auto fields = partFields(options.kind);
    const auto text = [&](PartField field, const std::string &value) {
        return valueToWrite(fields[field].element, value, fields[field].room);
    };
    Info record = {};
    fill(record.*nameField, text(kPartName, options.name));
    fill(record.Version, text(kPartVersion, options.version));
    fill(record.SrcFilePath, text(kSrcFilePath, options.source));
    fill(record.InstallPath, text(kPartInstallPath, options.installPath));
    fill(record.PkgPoolPath, text(kPartPoolPath, options.poolPath));
    return record;
}

void useAddition(DbPlan &plan, const Options &options)
{
    const std::string package = packageKey(options);
    if (options.kind == PartKind::Patch) {
        const auto record = recordOf(options, &SwmPatchInfo::PatchName);
        plan.operation = "SWM_AddPatchPackageInfo";
        plan.apply = [=](const char *path) { return SWM_AddPatchPackageInfo(path, package.c_str(), &record); };
    } else {
        const auto record = recordOf(options, &SwmModInfo::ModName);
        plan.operation = "SWM_AddModPackageInfo";
        plan.apply = [=](const char *path) { return SWM_AddModPackageInfo(path, package.c_str(), &record); };
    }
}

DbRecord addedPart(const Options &options)
{
    DbRecord part;
    part.values.resize(partFields(options.kind).size());
    part.values[kPartName] = options.name;
    part.values[kPartVersion] = options.version;
    part.values[kSrcFilePath] = options.source;
    part.values[kPartInstallPath] = options.installPath;
    part.values[kPartPoolPath] = options.poolPath;
    return part;
}

DbPlan planAddition(const Options &options, const DbContents &before)
{
    DbPlan plan = {"", {}, before};
    useAddition(plan, options);
    DbPackage &package = requirePackage(plan.expected, options.change, options.package);
    std::vector<DbRecord> &parts = package.parts(options.kind);
    // The library would append a second one, which no search ever finds.
    if (findPart(parts, options) != parts.end()) {
        failWith(escaped(options.change.database) + ": package " + inQuotes(package.name()) + " has a " +
                     partWord(options.kind) + " " + inQuotes(options.name) + " already",
                 std::string("remove it first, with remove-") + partWord(options.kind), ExitStatus::No);
    }
    parts.push_back(addedPart(options));
    return plan;
}

ExitStatus runAddition(const Options &options, const Globals &globals)
{
    DbPlan unused = {"", {}, {}};
    useAddition(unused, options); // refuses what does not fit before anything is opened
    return changeDatabase(options.change, globals,
                          [&](const DbContents &before) { return planAddition(options, before); });
}

void addAddition(CLI::App &group, Globals &globals, PartKind kind, const CommandText &text)
{
    const auto options = std::make_shared<Options>();
    options->kind = kind;
    Command command(group, globals, text, [options, &globals] { return runAddition(*options, globals); });
    addChangeOptions(command, options->change);
    command.operand("PACKAGE", "The package it belongs to, by name: the first entry of that name gets it",
                    options->package);
    command.operand("NAME", "Its name", options->name);
    command.operand("VERSION", "Its version", options->version);
    command.requiredOption("--source", options->source, "PATH", "Where it came from");
    command.requiredOption("--install-path", options->installPath, "DIR", "Where it is installed");
    command.requiredOption("--pool-path", options->poolPath, "DIR", "Its directory in the package pool");
}

// ---- Remove ----

DbPlan planRemoval(const Options &options, const DbContents &before)
{
    const std::string package = packageKey(options);
    const std::string name = keyToFind("NAME", options.name, partFields(options.kind)[kPartName].room);
    const bool isPatch = options.kind == PartKind::Patch;
    DbPlan plan = {isPatch ? "SWM_DelPatchPackageInfo" : "SWM_DelModPackageInfo",
                   [=](const char *path) {
                       return isPatch ? SWM_DelPatchPackageInfo(path, package.c_str(), name.c_str())
                                      : SWM_DelModPackageInfo(path, package.c_str(), name.c_str());
                   },
                   before};
    DbPackage &owner = requirePackage(plan.expected, options.change, options.package);
    std::vector<DbRecord> &parts = owner.parts(options.kind);
    const auto found = findPart(parts, options);
    if (found == parts.end()) {
        failWith(escaped(options.change.database) + ": package " + inQuotes(owner.name()) + " has no " +
                     partWord(options.kind) + " " + inQuotes(name),
                 "\"tarn db show " + escaped(options.change.database) + " " + escaped(package) + "\" shows what it has",
                 ExitStatus::No);
    }
    parts.erase(found);
    return plan;
}

void addRemoval(CLI::App &group, Globals &globals, PartKind kind, const CommandText &text)
{
    const auto options = std::make_shared<Options>();
    options->kind = kind;
    Command command(group, globals, text, [options, &globals] {
        return changeDatabase(options->change, globals,
                              [&](const DbContents &before) { return planRemoval(*options, before); });
    });
    addChangeOptions(command, options->change);
    command.operand("PACKAGE", "The package it belongs to, by name: the first entry of that name is looked into",
                    options->package);
    command.operand("NAME", "Its name", options->name);
}

constexpr char kAdding[] =
    "The library's listing of all packages cannot read what is added: it looks for other elements.\n"
    "Exit status: 0 added; 1 the package is not installed or has one of that name; 2 wrong usage; 3 could not be\n"
    "carried out, and the database is as it was.";
constexpr char kRemoving[] = "Exit status: 0 removed; 1 there is none of that name; 2 wrong usage; 3 could not be\n"
                             "carried out, and the database is as it was.";

} // namespace

void addDbPartCommands(CLI::App &group, Globals &globals)
{
    addAddition(group, globals, PartKind::Patch,
                {"add-patch", "DB PACKAGE NAME VERSION", "Add a patch to an installed package", kAdding});
    addAddition(group, globals, PartKind::Mod,
                {"add-mod", "DB PACKAGE NAME VERSION", "Add a mod to an installed package", kAdding});
    addRemoval(group, globals, PartKind::Patch,
               {"remove-patch", "DB PACKAGE NAME", "Remove a patch of an installed package", kRemoving});
    addRemoval(group, globals, PartKind::Mod,
               {"remove-mod", "DB PACKAGE NAME", "Remove a mod of an installed package", kRemoving});
}

} // namespace tarn::tool
