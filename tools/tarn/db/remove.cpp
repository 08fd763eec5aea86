// tarn db remove, remove-cc: packages out of the database.
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
    std::string name;
    std::string version;
    std::string ccPath;
    bool isAll = false;
};

bool reads(const DbPackage &package, BaseField field, const std::string &wanted)
{
    return asLibraryReads(package.base, baseFields(), field) == wanted;
}

// ---- By name ----

DbPlan planRemoveAll(const Options &options, const DbContents &before)
{
    const std::string name = options.name;
    DbPlan plan = {"SWM_DelBasePackageInfoByName",
                   [=](const char *path) { return SWM_DelBasePackageInfoByName(path, name.c_str()); }, before};
    const size_t count = countPackages(before, name);
    requirePackage(plan.expected, options.change, name);
    if (count > 1 && !options.isAll) {
        failWith(escaped(options.change.database) + format(": has %zu entries of package ", count) + inQuotes(name),
                 "choose one with --pkg-version, or remove them all with --all");
    }
    std::erase_if(plan.expected.packages, [&](const DbPackage &package) { return reads(package, kPackageName, name); });
    return plan;
}

// The library takes out the first package whose name, version and CC file match; the key has the CC file in CcPath.
DbPlan planRemoveVersion(const Options &options, const DbContents &before)
{
    DbPlan plan = {"SWM_DelBasePackageInfo", {}, before};
    const DbPackage &found = requirePackage(plan.expected, options.change, options.name, options.version);
    SwmPackageInfo key = {};
    fill(key.PackageName, options.name);
    fill(key.Version, options.version);
    fill(key.CcPath, asLibraryReads(found.base, baseFields(), kCcFile));
    plan.apply = [=](const char *path) { return SWM_DelBasePackageInfo(path, &key); };
    plan.expected.packages.erase(plan.expected.packages.begin() + (&found - plan.expected.packages.data()));
    return plan;
}

ExitStatus runRemove(const Options &options, const Globals &globals)
{
    keyToFind("NAME", options.name, baseFields()[kPackageName].room);
    keyToFind("--pkg-version", options.version, baseFields()[kVersion].room);
    if (options.isAll && !options.version.empty()) {
        refuseUsage("--all and --pkg-version exclude each other", "leave one of them out");
    }
    return changeDatabase(options.change, globals, [&](const DbContents &before) {
        return options.version.empty() ? planRemoveAll(options, before) : planRemoveVersion(options, before);
    });
}

// ---- By CC package ----

DbPlan planRemoveCc(const Options &options, const DbContents &before)
{
    const std::string ccPath = options.ccPath;
    const std::filesystem::path path(ccPath);
    const std::string file = path.filename();
    const std::string directory = path.has_parent_path() ? path.parent_path().string() : ".";
    DbPlan plan = {
        "SWM_DelBasePackageInfoByCcNameAndPath",
        [=](const char *database) { return SWM_DelBasePackageInfoByCcNameAndPath(database, ccPath.c_str()); }, before};
    const size_t removed = std::erase_if(plan.expected.packages, [&](const DbPackage &package) {
        return reads(package, kCcFile, file) && reads(package, kCcPath, directory);
    });
    if (removed == 0) {
        failWith(escaped(options.change.database) + ": has no package from " + inQuotes(ccPath),
                 "\"tarn db cc-files " + escaped(options.change.database) + "\" shows what they came from",
                 ExitStatus::No);
    }
    return plan;
}

ExitStatus runRemoveCc(const Options &options, const Globals &globals)
{
    keyToFind("CCPATH", options.ccPath, baseFields()[kCcPath].room);
    if (options.ccPath.back() == '/') {
        refuseUsage("CCPATH " + inQuotes(options.ccPath) + ": ends with a slash", "name the CC package's file");
    }
    return changeDatabase(options.change, globals,
                          [&](const DbContents &before) { return planRemoveCc(options, before); });
}

constexpr char kStatus[] =
    "Exit status: 0 removed; 1 not installed; 2 wrong usage; 3 could not be carried out, and the\n"
    "database is as it was.";

} // namespace

void addDbRemoveCommands(CLI::App &group, Globals &globals)
{
    const auto options = std::make_shared<Options>();
    Command remove(group, globals, {"remove", "DB NAME", "Remove a package with its patches and mods", kStatus},
                   [options, &globals] { return runRemove(*options, globals); });
    addChangeOptions(remove, options->change);
    remove.operand("NAME", "The package's name", options->name);
    remove.option("--pkg-version", options->version, "VERSION", "Only the entry of this version");
    remove.flag("--all", options->isAll, "Every entry of that name, when there are several");

    Command removeCc(group, globals,
                     {"remove-cc", "DB CCPATH", "Remove every package that came in one CC package", kStatus},
                     [options, &globals] { return runRemoveCc(*options, globals); });
    addChangeOptions(removeCc, options->change);
    removeCc.operand("CCPATH", "Path of the CC package's file, as it was installed from", options->ccPath);
}

} // namespace tarn::tool
