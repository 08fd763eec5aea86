// tarn list gather: the board's and its images' file records of a package version in the pool. The library's own
// gathering creates the directories that it finds listed; this goes the same way and creates nothing.
#include <memory>

#include <tarn_basic/device.h>
#include <tarn_basic/path.h>
#include <tarn_basic/pool.h>

#include "json.h"
#include "list/commands.h"
#include "list/load.h"
#include "platform_config.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kPathSize = 384;
constexpr size_t kDirSize = 256;
constexpr size_t kMaxHardTypeDigits = 8;

struct Options {
    std::string name;
    std::string version;
    std::string hardType;
};

// A file that may hold records, or names of images.
struct Source {
    std::string path;
    std::string image;                // "" for the board's own
    std::unique_ptr<LoadedList> list; // null: no such file
};

struct Gathered {
    Source images;
    std::vector<Source> sources; // the board's, then each image's
    size_t records = 0;
};

// "0x01a" is the board that files are named "1A" for.
std::string checkedHardType(const std::string &given)
{
    const bool hasPrefix = given.rfind("0x", 0) == 0 || given.rfind("0X", 0) == 0;
    const std::string digits = given.substr(hasPrefix ? 2 : 0);
    if (digits.empty() || digits.size() > kMaxHardTypeDigits ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        refuseUsage("--hard-type " + escaped(given) + ": not a hexadecimal number of at most 8 digits",
                    "write for example 1A");
    }
    return format("%lX", std::stoul(digits, nullptr, 16));
}

// The directory of the version's lists. Throws Failure when there is no such version.
std::string descriptionDir(const Options &options)
{
    const std::string label = escaped(options.name) + " " + escaped(options.version);
    char versionDir[kDirSize] = "";
    char descDir[kDirSize] = "";
    if (SWM_GetPkgPoolPackageVersionPath(options.name.c_str(), options.version.c_str(), versionDir, kDirSize) != 0 ||
        SWM_GetPkgPoolPackageVerDescFileLocalPath(options.name.c_str(), options.version.c_str(), descDir, kDirSize) !=
            0) {
        refuseUsage(label + ": not a name and a version that the package pool can have",
                    "both are single words of a path, without \"/\" or control characters, and not too long");
    }
    if (SWM_IsDirExist(versionDir) == 0) {
        failWith(label + ": not in the package pool: no directory " + escaped(versionDir),
                 "check name, version and package_pool in " + escaped(platformConfigInUse()), ExitStatus::No);
    }
    return descDir;
}

// A list that is not there holds nothing.
void load(Source &source, const ListKind &kind)
{
    if (SWM_IsFileExist(source.path.c_str()) != 0) {
        source.list = std::make_unique<LoadedList>(ListFile(source.path), kind);
        warnOfRemarks(*source.list);
    }
}

std::vector<std::string> imageNames(const Gathered &gathered)
{
    std::vector<std::string> names;
    if (gathered.images.list) {
        for (const SwmListNode *node : gathered.images.list->nodes()) {
            names.emplace_back(imageRecord(*node).name);
        }
    }
    return names;
}

void gatherImages(const std::string &descDir, Gathered &gathered)
{
    for (const std::string &image : imageNames(gathered)) {
        std::string path = descDir;
        path += "/" + image + "_board_filelist.txt";
        if (path.size() >= kDirSize) {
            warnAbout(path, "over 255 bytes, so that the library passes it over");
            continue;
        }
        gathered.sources.push_back({path, image, nullptr});
        load(gathered.sources.back(), fileListKind());
    }
}

void gather(const Options &options, const std::string &hardType, Gathered &gathered)
{
    const std::string descDir = descriptionDir(options);
    char path[kPathSize] = "";
    SWM_GetImageFilelistFullpathByHardtype(hardType.c_str(), options.name.c_str(), options.version.c_str(), path,
                                           sizeof(path));
    gathered.images.path = path;
    SWM_GetBoardFilelistFullpathByHardtype(hardType.c_str(), options.name.c_str(), options.version.c_str(), path,
                                           sizeof(path));
    gathered.sources.push_back({path, "", nullptr});
    load(gathered.sources.back(), fileListKind());
    load(gathered.images, imageListKind());
    gatherImages(descDir, gathered);
    for (const Source &source : gathered.sources) {
        gathered.records += source.list ? source.list->head.count : 0;
    }
}

void warnOfUnknownProcessor()
{
    uint32_t cpuId = 0;
    if (SWM_GetCpuId(&cpuId) != 0) {
        warnAbout(platformConfigInUse(), "no processor id (cpu_id), 0 is taken for it");
    }
}

// ---- The report ----

Json sourceJson(const Source &source)
{
    Json json;
    putName(json, "path", source.path);
    json.update({{"image", Json()}, {"present", source.list != nullptr}, {"records", Json::array()}});
    if (!source.image.empty()) {
        putName(json, "image", source.image);
    }
    if (source.list) {
        for (const SwmListNode *node : source.list->nodes()) {
            json["records"].push_back(source.list->kind.json(*node));
        }
    }
    return json;
}

Json reportOf(const Options &options, const std::string &hardType, const Gathered &gathered)
{
    Json report;
    putName(report, "package", options.name);
    putName(report, "version", options.version);
    report["hard_type"] = hardType;
    putName(report, "image_list", gathered.images.path);
    report["image_list_present"] = gathered.images.list != nullptr;
    putNames(report, "images", imageNames(gathered));
    report["count"] = gathered.records;
    report["lists"] = Json::array();
    for (const Source &source : gathered.sources) {
        report["lists"].push_back(sourceJson(source));
    }
    return report;
}

void printSource(const Source &source)
{
    printOut((source.image.empty() ? std::string("board") : "image " + escaped(source.image)) + ": " +
             escaped(source.path) + ": " +
             (source.list ? counted(source.list->head.count, "record") : std::string("not there")) + "\n");
    if (source.list) {
        printOut(recordTable(source.list->kind, source.list->nodes()));
    }
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const std::string hardType = checkedHardType(options.hardType);
    checkPlatformConfig();
    Gathered gathered;
    gather(options, hardType, gathered);
    warnOfUnknownProcessor();
    if (globals.json) {
        printJson(reportOf(options, hardType, gathered));
        return ExitStatus::Done;
    }
    for (const Source &source : gathered.sources) {
        printSource(source);
    }
    printOut(escaped(options.name) + " " + escaped(options.version) + ", board " + hardType + ": " +
             counted(gathered.records, "record") + ", " + counted(imageNames(gathered).size(), "image") + "\n");
    return ExitStatus::Done;
}

} // namespace

void addListGather(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "gather", "NAME VERSION --hard-type HEX",
        "Show the file records of a package version for a board and its images",
        "The package pool and the processor id are the configuration's. Creates nothing.\n"
        "Exit status: 0 shown; 1 not in the pool, or one of the lists is not valid; 2 wrong usage; 3 cannot be read."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.requiredOption("--hard-type", options->hardType, "HEX", "Hardware type of the board");
    command.operand("NAME", "The package's name", options->name);
    command.operand("VERSION", "Its version", options->version);
}

} // namespace tarn::tool
