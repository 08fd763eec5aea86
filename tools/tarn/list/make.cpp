// tarn list make: a file list from a directory tree.
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <grp.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <system_error>

#include <tarn_boot/records.h>

#include "json.h"
#include "list/commands.h"
#include "list/installed.h"
#include "packaging/digest.h"
#include "packaging/error.h"
#include "packaging/output_file.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr size_t kRoomForName = sizeof(FilelistTxtRecord::fileName) - 1;
constexpr size_t kRoomForDirectory = sizeof(FilelistTxtRecord::installDir) - 1;
constexpr size_t kRoomForPoolName = sizeof(FilelistTxtRecord::poolName) - 1;
constexpr size_t kRoomForOwner = sizeof(FilelistTxtRecord::owner) - 1;
constexpr size_t kKeyDigits = 16;
constexpr mode_t kModeBits = 07777;
constexpr char kNoDigest[] = "0000000000000000000000000000000000000000000000000000000000000000";

struct Options {
    std::string directory;
    std::string output;
    std::string prefix = "/";
};

struct Entry {
    fs::path source;
    std::string installDir;
    std::string fileName;
    std::string poolName;
    struct stat status = {};

    bool isDirectory() const { return S_ISDIR(status.st_mode); }
};

// ---- What a list can hold ----

// A column ends at a space; what is no visible character could end a line or be trimmed away.
bool isColumn(const std::string &text)
{
    return !text.empty() && std::none_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte <= 0x20 || byte == 0x7F;
    });
}

[[noreturn]] void refuseEntry(const fs::path &path, const std::string &reason, const std::string &next)
{
    failWith(escaped(path.string()) + ": " + reason, next + "; nothing was written");
}

void checkEntry(const Entry &entry)
{
    if (!isColumn(entry.fileName)) {
        refuseEntry(entry.source, "a list cannot hold names with spaces or control characters", "rename it");
    }
    if (entry.fileName.size() > kRoomForName) {
        refuseEntry(entry.source,
                    format("the name has %zu bytes, a list holds %zu", entry.fileName.size(), kRoomForName),
                    "rename it");
    }
    if (entry.installDir.size() > kRoomForDirectory) {
        refuseEntry(entry.source,
                    format("its directory has %zu bytes, a list holds %zu", entry.installDir.size(), kRoomForDirectory),
                    "use shorter names or another --prefix");
    }
    if (!S_ISREG(entry.status.st_mode) && !entry.isDirectory()) {
        refuseEntry(entry.source, "neither a file nor a directory", "take it out of the tree");
    }
    if ((entry.status.st_mode & kModeBits) == 0) {
        refuseEntry(entry.source, "a list cannot hold mode 0", "give it a mode");
    }
}

// The path from the tree's root, which no two entries share. One that is too long keeps its beginning.
std::string poolNameFor(const std::string &relative)
{
    if (relative.size() <= kRoomForPoolName) {
        return relative;
    }
    packaging::Sha256 digest;
    digest.update(relative.data(), relative.size());
    return relative.substr(0, kRoomForPoolName - kKeyDigits - 1) + "-" + digest.text().substr(0, kKeyDigits);
}

// ---- The tree ----

class Tree {
public:
    explicit Tree(const Options &chosen) : options(chosen) { walk(options.directory, ""); }

    std::vector<Entry> entries; // sorted by pool name
    std::vector<std::string> links;

private:
    // `below` is "" or "dir/", as seen from the tree's root.
    void walk(const fs::path &directory, const std::string &below)
    {
        std::error_code error;
        for (fs::directory_iterator item(directory, error), end; !error && item != end; item.increment(error)) {
            take(item->path(), below);
        }
        if (error) {
            failWith(escaped(directory.string()) + ": cannot read: " + error.message(),
                     "name a directory that you may read");
        }
    }

    void take(const fs::path &path, const std::string &below)
    {
        Entry entry;
        entry.source = path;
        if (lstat(path.c_str(), &entry.status) != 0) {
            failWith(escaped(path.string()) + ": cannot examine: " + packaging::errorText(errno), "try again");
        }
        if (S_ISLNK(entry.status.st_mode)) {
            links.push_back(path.string());
            return;
        }
        entry.fileName = path.filename().string();
        entry.installDir = installDirOf(below);
        entry.poolName = poolNameFor(below + entry.fileName);
        checkEntry(entry);
        refuseOutput(path);
        const bool isDirectory = entry.isDirectory();
        entries.push_back(std::move(entry));
        if (isDirectory) {
            walk(path, below + path.filename().string() + "/");
        }
    }

    std::string installDirOf(const std::string &below) const
    {
        const std::string parent = below.empty() ? "" : "/" + below.substr(0, below.size() - 1);
        const std::string prefix = options.prefix == "/" ? "" : options.prefix;
        return prefix + parent == "" ? "/" : prefix + parent;
    }

    void refuseOutput(const fs::path &path) const
    {
        std::error_code ignored;
        if (!options.output.empty() && fs::equivalent(path, options.output, ignored)) {
            refuseUsage(escaped(options.output) + ": both the list to make and a file of the tree",
                        "let the list lie outside of " + escaped(options.directory));
        }
    }

    const Options &options;
};

// ---- Lines ----

// A name that a list cannot hold, or that the system does not know, is its number.
std::string identity(const char *name, unsigned number)
{
    const std::string known = name == nullptr ? "" : name;
    const bool fits = isColumn(known) && known.size() <= kRoomForOwner && known.find(':') == std::string::npos;
    return (fits ? known : std::to_string(number)) + ":" + std::to_string(number);
}

std::string ownerOf(const struct stat &status)
{
    const passwd *user = getpwuid(status.st_uid); // NOLINT(concurrency-mt-unsafe): nobody else asks
    return identity(user == nullptr ? nullptr : user->pw_name, status.st_uid);
}

std::string groupOf(const struct stat &status)
{
    const group *found = getgrgid(status.st_gid); // NOLINT(concurrency-mt-unsafe): nobody else asks
    return identity(found == nullptr ? nullptr : found->gr_name, status.st_gid);
}

// 14 columns: digest, entry, directory, pool name, file name, number, tag, owner, group, mode, option text, creation
// flag, extra text, extra number.
std::string lineOf(const Entry &entry)
{
    std::string line = entry.isDirectory() ? kNoDigest : fileDigest(entry.source.string());
    for (const std::string &column :
         {entry.isDirectory() ? std::string("/") : entry.fileName, entry.installDir, entry.poolName, entry.fileName,
          std::string("0"), std::string("NA"), ownerOf(entry.status), groupOf(entry.status),
          format("%04o", static_cast<unsigned>(entry.status.st_mode & kModeBits)), std::string("NA"), std::string("0"),
          std::string("NA"), std::string("0")}) {
        line += " " + column;
    }
    return line + "\n";
}

uint64_t bytesOf(const Tree &tree)
{
    uint64_t total = 0;
    for (const Entry &entry : tree.entries) {
        total += entry.isDirectory() ? 0 : static_cast<uint64_t>(entry.status.st_size);
    }
    return total;
}

std::string textOf(const Tree &tree)
{
    const Progress progress("hashing", [&] { return bytesOf(tree); });
    std::string text;
    for (const Entry &entry : tree.entries) {
        text += lineOf(entry);
    }
    return text;
}

// ---- The command ----

std::string checkedPrefix(std::string prefix)
{
    while (prefix.size() > 1 && prefix.back() == '/') {
        prefix.pop_back();
    }
    const fs::path path = prefix;
    if (!isColumn(prefix) || !path.is_absolute() || prefix != path.lexically_normal().string()) {
        refuseUsage("--prefix " + escaped(prefix) + ": not a plain path from the root",
                    "write for example /opt/app, without spaces, \"..\" or doubled slashes");
    }
    return prefix;
}

void report(const Options &options, const Tree &tree, const Globals &globals)
{
    const auto directories = static_cast<size_t>(std::count_if(tree.entries.begin(), tree.entries.end(),
                                                               [](const Entry &entry) { return entry.isDirectory(); }));
    if (globals.json) {
        Json json;
        putName(json, "list", options.output);
        json.update({{"records", tree.entries.size()}, {"directories", directories}});
        putNames(json, "links_left_out", tree.links);
        printJson(json);
    } else if (!options.output.empty()) {
        printOut(escaped(options.output) + ": " + counted(tree.entries.size(), "record") + ", " +
                 std::to_string(directories) + " of them for directories\n");
    }
}

void write(const std::string &path, const std::string &text)
{
    if (path.empty()) {
        printOut(text);
        return;
    }
    packaging::OutputFile file(path);
    file.write(text.data(), text.size());
    file.commit();
}

ExitStatus run(Options &options, const Globals &globals)
{
    options.prefix = checkedPrefix(options.prefix);
    if (globals.json && options.output.empty()) {
        refuseUsage("--json without --output: both reports would go to stdout", "name the list's file with -o");
    }
    Tree tree(options);
    if (tree.entries.empty()) {
        failWith(escaped(options.directory) + ": nothing to list, and an empty file is no file list",
                 "put files into it");
    }
    std::sort(tree.entries.begin(), tree.entries.end(),
              [](const Entry &a, const Entry &b) { return a.poolName < b.poolName; });
    write(options.output, textOf(tree));
    for (const std::string &link : tree.links) {
        printError("tarn: note: " + escaped(link) + ": a symbolic link, left out; links belong in a link list\n");
    }
    report(options, tree, globals);
    return ExitStatus::Done;
}

} // namespace

void addListMake(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "make", "DIR", "Write a file list of all files and directories below DIR",
        "Records are named by their path from DIR; one over 127 bytes keeps its beginning and part of its SHA-256.\n"
        "DIR itself and symbolic links are left out. A name that a list cannot hold, and a special file, ends it.\n"
        "Exit status: 0 made; 2 wrong usage; 3 could not be made, and nothing was."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("-o,--output", options->output, "FILE", "The list to write; stdout by default");
    command.option("--prefix", options->prefix, "DIR", "Where the tree is installed; / by default");
    command.operand("DIR", "The tree", options->directory);
}

} // namespace tarn::tool
