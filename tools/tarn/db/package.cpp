// tarn db add, update: entries of packages.
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
    std::string cc;
    std::string installPath;
    std::string poolPath;
    std::string activeTime;
    std::string which;
    bool isSideBySide = false;
};

constexpr char kWriting[] =
    "Exit status: 0 the database has it; 1 the package is not installed; 2 wrong usage; 3 could\n"
    "not be carried out, and the database is as it was.";

// ---- Records ----

struct CcPlace {
    std::string file;
    std::string directory;
};

// The parts that the deletion by CC file looks for: those of basename and dirname.
CcPlace splitCcPath(const std::string &path)
{
    const size_t slash = path.rfind('/');
    const size_t end = slash == std::string::npos ? slash : path.find_last_not_of('/', slash);
    if (slash + 1 == path.size()) {
        refuseUsage("--cc " + inQuotes(path) + ": ends with a slash", "name the CC package's file");
    }
    if (slash == std::string::npos) {
        return {path, "."};
    }
    return {path.substr(slash + 1), end == std::string::npos ? "/" : path.substr(0, end + 1)};
}

// The texts of a base as they will read.
using Base = std::vector<std::optional<std::string>>;

SwmPackageInfo recordOf(const Base &base)
{
    const auto fields = baseFields();
    const auto text = [&](BaseField field) {
        return valueToWrite(fields[field].element, base[field].value_or(""), fields[field].room);
    };
    SwmPackageInfo record = {};
    fill(record.PackageName, text(kPackageName));
    fill(record.Version, text(kVersion));
    fill(record.CcFile, text(kCcFile));
    fill(record.CcPath, text(kCcPath));
    fill(record.InstallPath, text(kInstallPath));
    fill(record.PkgPoolPath, text(kPkgPoolPath));
    fill(record.ActiveTime, text(kActiveTime));
    return record;
}

// What an update leaves: it never renames, and makes no "ActiveTime".
void updateBase(DbRecord &base, const Base &values)
{
    for (size_t field = kVersion; field <= kActiveTime; ++field) {
        if (base.values[field]) {
            base.values[field] = values[field];
        }
    }
}

// ---- Add ----

// As the library compares: name and time of activation do not count.
bool isSame(const DbRecord &installed, const Base &values)
{
    for (size_t field = kVersion; field <= kPkgPoolPath; ++field) {
        if (asLibraryReads(installed, baseFields(), field) != asEntityText(values[field].value_or(""))) {
            return false;
        }
    }
    return true;
}

Base valuesToAdd(const Options &options)
{
    const CcPlace cc = splitCcPath(options.cc);
    return {options.name,        options.version,  cc.file,           cc.directory,
            options.installPath, options.poolPath, options.activeTime};
}

DbPlan planAdd(const Options &options, const Base &values, const DbContents &before)
{
    const SwmPackageInfo record = recordOf(values);
    const uint32_t withVersion = options.isSideBySide ? 1 : 0;
    DbPlan plan = {"SWM_AddBasePackageInfo",
                   [=](const char *path) { return SWM_AddBasePackageInfo(path, &record, withVersion); }, before};
    const DbPackage *found = findPackage(before, options.name, options.isSideBySide ? options.version : "");
    if (found == nullptr) {
        DbPackage added;
        added.base.values = values;
        plan.expected.packages.push_back(added);
    } else if (!isSame(found->base, values)) {
        updateBase(plan.expected.packages[static_cast<size_t>(found - before.packages.data())].base, values);
    }
    return plan;
}

ExitStatus runAdd(const Options &options, const Globals &globals)
{
    refuseAmpersand("NAME", options.name);
    if (options.isSideBySide) {
        refuseAmpersand("VERSION", options.version);
    }
    const Base values = valuesToAdd(options);
    static_cast<void>(recordOf(values)); // refuses what does not fit before anything is opened
    return changeDatabase(options.change, globals,
                          [&](const DbContents &before) { return planAdd(options, values, before); });
}

void addDbAdd(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "add", "DB NAME VERSION", "Add a package, or bring the installed one of that name up to date",
        "With --side-by-side a version that is not there yet becomes an entry of its own beside the others.\n"
        "A package that differs in --active-time only counts as the same: nothing is written.\n"
        "Exit status: 0 the database has it; 2 wrong usage; 3 could not be carried out, and the database is as it "
        "was."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return runAdd(*options, globals); });
    addChangeOptions(command, options->change);
    command.operand("NAME", "The package's name", options->name);
    command.operand("VERSION", "Its version", options->version);
    command.requiredOption("--cc", options->cc, "PATH", "The CC package it came in: directory and file name");
    command.requiredOption("--install-path", options->installPath, "DIR", "Where it is installed");
    command.requiredOption("--pool-path", options->poolPath, "DIR", "Its directory in the package pool");
    command.option("--active-time", options->activeTime, "TEXT", "When it became active; empty by default");
    command.flag("--side-by-side", options->isSideBySide, "Keep other versions as entries of their own");
}

// ---- Update ----

void setIfGiven(std::optional<std::string> &value, const std::string &given)
{
    if (!given.empty()) {
        value = given;
    }
}

Base valuesToUpdate(const Options &options, const DbPackage &installed)
{
    Base values = installed.base.values;
    setIfGiven(values[kVersion], options.version);
    if (!options.cc.empty()) {
        const CcPlace cc = splitCcPath(options.cc);
        values[kCcFile] = cc.file;
        values[kCcPath] = cc.directory;
    }
    setIfGiven(values[kInstallPath], options.installPath);
    setIfGiven(values[kPkgPoolPath], options.poolPath);
    setIfGiven(values[kActiveTime], options.activeTime);
    return values;
}

void refuseUnclear(const Options &options, const DbContents &before)
{
    const size_t count = countPackages(before, options.name);
    if (options.which.empty() && count > 1) {
        failWith(escaped(options.change.database) + format(": has %zu entries of package ", count) +
                     inQuotes(options.name),
                 "choose one with --pkg-version");
    }
}

DbPlan planUpdate(const Options &options, const DbContents &before)
{
    DbPlan plan = {"SWM_UpdateBaseInfo", {}, before};
    DbPackage &package = requirePackage(plan.expected, options.change, options.name, options.which);
    refuseUnclear(options, before);
    if (!options.activeTime.empty() && !package.base.values[kActiveTime]) {
        failWith(escaped(options.change.database) + ": package " + inQuotes(options.name) +
                     " has no <ActiveTime>, and the library makes none",
                 "remove the package and add it again");
    }
    const Base values = valuesToUpdate(options, package);
    const SwmPackageInfo record = recordOf(values);
    updateBase(package.base, values);
    const uint32_t withVersion = options.which.empty() ? 0 : 1;
    plan.apply = [=](const char *path) { return SWM_UpdateBaseInfo(path, &record, withVersion); };
    return plan;
}

ExitStatus runUpdate(const Options &options, const Globals &globals)
{
    refuseAmpersand("NAME", options.name);
    refuseAmpersand("--pkg-version", options.which);
    if (!options.which.empty() && !options.version.empty()) {
        refuseUsage("--pkg-version and --new-version exclude each other: an entry chosen by its version keeps it",
                    "remove that entry and add the new version");
    }
    const bool hasValue = !options.version.empty() || !options.cc.empty() || !options.installPath.empty() ||
                          !options.poolPath.empty() || !options.activeTime.empty();
    if (!hasValue) {
        refuseUsage("nothing to update is given", "give --new-version, --cc, --install-path, --pool-path or "
                                                  "--active-time");
    }
    return changeDatabase(options.change, globals,
                          [&](const DbContents &before) { return planUpdate(options, before); });
}

void addDbUpdate(CLI::App &group, Globals &globals)
{
    static const std::string kFooter = std::string("What is not given stays as it is.\n") + kWriting;
    static const CommandText kText = {"update", "DB NAME", "Change what the database says of an installed package",
                                      kFooter.c_str()};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return runUpdate(*options, globals); });
    addChangeOptions(command, options->change);
    command.operand("NAME", "The package's name", options->name);
    command.option("--pkg-version", options->which, "VERSION", "Which one, when there are several of that name");
    command.option("--new-version", options->version, "VERSION", "Its new version");
    command.option("--cc", options->cc, "PATH", "The CC package it came in: directory and file name");
    command.option("--install-path", options->installPath, "DIR", "Where it is installed");
    command.option("--pool-path", options->poolPath, "DIR", "Its directory in the package pool");
    command.option("--active-time", options->activeTime, "TEXT", "When it became active");
}

} // namespace

void addDbPackageCommands(CLI::App &group, Globals &globals)
{
    addDbAdd(group, globals);
    addDbUpdate(group, globals);
}

} // namespace tarn::tool
