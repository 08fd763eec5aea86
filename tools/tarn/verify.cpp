// tarn verify: packages, signed lists and installed files of a device, all of them whatever is found.
#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

#include <tarn_basic/pool.h>
#include <tarn_boot/container.h>
#include <tarn_boot/verification.h>

#include "command.h"
#include "json.h"
#include "library_log.h"
#include "list/installed.h"
#include "packaging/names.h"
#include "packaging/output_file.h"
#include "platform_config.h"
#include "results.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kCcPackage = 1;

struct Options {
    std::string root;
    std::vector<std::string> packages;
    std::vector<std::string> lists;
    std::vector<std::string> signedLists;

    bool isEmpty() const { return packages.empty() && lists.empty() && signedLists.empty(); }
};

enum class Verdict { Good, Bad, Unchecked };

struct Item {
    const char *type = "";
    std::string path;
    Verdict verdict = Verdict::Good;
    std::string reason; // what is wrong, or what was checked
};

const char *verdictWord(Verdict verdict)
{
    static constexpr const char *kWords[] = {"good", "bad", "unchecked"};
    return kWords[static_cast<size_t>(verdict)];
}

Colour verdictColour(Verdict verdict)
{
    return verdict == Verdict::Good ? Colour::Good : verdict == Verdict::Bad ? Colour::Bad : Colour::Warning;
}

// ---- Packages ----

// What the child answers through its pipe.
struct Answer {
    Verdict verdict = Verdict::Unchecked;
    std::array<char, 1024> reason = {};
};

Answer verifyHere(const std::string &path)
{
    takeLibraryReason();
    Answer answer;
    Failure failure;
    failure.status = ExitStatus::No;
    answer.verdict = SWM_VerifyPackage(kCcPackage, path.c_str()) == SWM_OK ? Verdict::Good : Verdict::Bad;
    if (answer.verdict == Verdict::Bad && explainFailure(failure)) {
        answer.verdict = Verdict::Unchecked;
    }
    failure.reason.copy(answer.reason.data(), answer.reason.size() - 1);
    return answer;
}

// In a process of its own: a failed verification keeps the library's cache locked for good.
Item verifyPackage(const std::string &path)
{
    Item item = {"package", path, Verdict::Unchecked, "the verification could not be started"};
    std::array<int, 2> ends = {};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return item;
    }
    const packaging::Descriptor input(ends[0]);
    packaging::Descriptor output(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        const Answer answer = verifyHere(path);
        const bool isWritten = write(output.get(), &answer, sizeof(answer)) == sizeof(answer);
        _exit(isWritten ? 0 : 1);
    }
    output = packaging::Descriptor();
    Answer answer;
    const bool isRead = child > 0 && read(input.get(), &answer, sizeof(answer)) == sizeof(answer);
    if (child > 0) {
        while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    if (isRead) {
        item.verdict = answer.verdict;
        item.reason = answer.verdict == Verdict::Good ? "structure, signature and digests" : answer.reason.data();
    }
    return item;
}

// ---- Signed lists ----

Item verifySignedList(const std::string &path)
{
    Item item = {"signed list", path, Verdict::Good, "signature"};
    const fs::path list(path);
    const fs::path directory = list.has_parent_path() ? list.parent_path() : ".";
    if (list.filename() != packaging::kListName) {
        return {item.type, path, Verdict::Unchecked,
                format("is not called %s, as verification takes it", packaging::kListName)};
    }
    const uint32_t status = SWM_VerifyDigitalSignatureFileList(directory.c_str());
    if (status == SWM_OK) {
        return item;
    }
    const SignatureMeaning *meaning = signatureMeaning(status);
    item.verdict = meaning == nullptr || meaning->fault == SignatureFault::Package ? Verdict::Bad : Verdict::Unchecked;
    item.reason = status == SWM_E_FILE_MISSING ? "list or signature is missing"
                  : meaning != nullptr         ? meaning->text
                                               : format("refused with 0x%x", status);
    return item;
}

// ---- Installed files ----

Item verifyInstalled(const std::string &path, const std::string &root)
{
    Item item = {"installed files", path, Verdict::Good, ""};
    try {
        const ListFile file(path);
        LoadedList list(file, fileListKind());
        moveBelow(root, list);
        size_t unreadable = 0;
        size_t wrong = 0;
        std::string first;
        for (const SwmListNode *node : list.nodes()) {
            const InstalledVerdict verdict = judgeInstalled(fileRecord(*node)).verdict;
            unreadable += verdict == InstalledVerdict::Unreadable ? 1 : 0;
            wrong += verdict != InstalledVerdict::Ok && verdict != InstalledVerdict::Unreadable ? 1 : 0;
            if (verdict != InstalledVerdict::Ok && first.empty()) {
                first = ", the first: " + escaped(installedPath(fileRecord(*node)));
            }
        }
        item.verdict = wrong > 0 ? Verdict::Bad : unreadable > 0 ? Verdict::Unchecked : Verdict::Good;
        item.reason = format("%zu of %u not as listed, %zu unreadable", wrong, list.head.count, unreadable) + first;
    } catch (const Failure &failure) {
        item.verdict = failure.status == ExitStatus::No ? Verdict::Bad : Verdict::Unchecked;
        item.reason = failure.what;
    }
    return item;
}

// ---- What there is ----

// The pool's directory: two levels above any version's.
fs::path poolBelow(const fs::path &root)
{
    constexpr uint32_t kPathSize = 256;
    char version[kPathSize] = "";
    static_cast<void>(SWM_GetPkgPoolPackageVersionPath("package", "version", version, kPathSize));
    return root / fs::path(version).parent_path().parent_path().relative_path();
}

// One that cannot be read is named in the report.
void takeIfFileList(const fs::path &path, Options &options)
{
    try {
        if (detectKind(ListFile(path.string())) == &fileListKind()) {
            options.lists.push_back(path);
        }
    } catch (const Failure &) {
        options.lists.push_back(path);
    }
}

// Links are not followed: what they lead to is another's.
void discover(Options &options)
{
    const fs::path pool = poolBelow(options.root);
    std::error_code error;
    fs::recursive_directory_iterator entry(pool, error);
    if (error) {
        failWith(escaped(pool.string()) + ": cannot look through the package pool: " + error.message(),
                 "check ROOT and package_pool in " + escaped(platformConfigInUse()) +
                     ", or name --package, --list and --signed-list");
    }
    for (; entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const fs::path &path = entry->path();
        std::error_code unknown;
        if (!fs::is_regular_file(fs::symlink_status(path, unknown))) {
            continue;
        }
        if (TARN_SafeIsPkgFile(path.c_str()) != 0) {
            options.packages.push_back(path);
        } else if (path.filename() == packaging::kListName) {
            options.signedLists.push_back(path);
        } else if (path.parent_path().filename() == "desc" && path.extension() == ".txt") {
            takeIfFileList(path, options);
        }
    }
    if (error) {
        failWith(escaped(pool.string()) + ": cannot look through all of the package pool: " + error.message(),
                 "check permissions, or name --package, --list and --signed-list");
    }
    if (options.isEmpty()) {
        failWith(escaped(pool.string()) + ": nothing there to verify",
                 "check package_pool in " + escaped(platformConfigInUse()) +
                     ", or name --package, --list and --signed-list");
    }
    for (auto *paths : {&options.packages, &options.lists, &options.signedLists}) {
        std::sort(paths->begin(), paths->end());
    }
}

// ---- Report ----

Json itemJson(const Item &item)
{
    Json json = {{"type", item.type}};
    putName(json, "path", item.path);
    json.update({{"verdict", verdictWord(item.verdict)}, {"reason", item.reason}});
    return json;
}

std::string itemText(const Item &item)
{
    return inColour(verdictColour(item.verdict), format("%-9s", verdictWord(item.verdict))) + "  " + item.type + " " +
           escaped(item.path) + ": " + item.reason + "\n";
}

size_t count(const std::vector<Item> &items, Verdict verdict)
{
    return static_cast<size_t>(
        std::count_if(items.begin(), items.end(), [=](const Item &item) { return item.verdict == verdict; }));
}

std::vector<Item> verifyAll(const Options &options, bool isQuiet)
{
    std::vector<Item> items;
    const auto take = [&](Item item) {
        if (!isQuiet) {
            printOut(itemText(item));
            static_cast<void>(fflush(stdout)); // before the next process is made
        }
        items.push_back(std::move(item));
    };
    std::for_each(options.packages.begin(), options.packages.end(),
                  [&](const std::string &path) { take(verifyPackage(path)); });
    std::for_each(options.signedLists.begin(), options.signedLists.end(),
                  [&](const std::string &path) { take(verifySignedList(path)); });
    std::for_each(options.lists.begin(), options.lists.end(),
                  [&](const std::string &path) { take(verifyInstalled(path, options.root)); });
    return items;
}

ExitStatus run(Options options, const Globals &globals)
{
    checkPlatformConfig();
    if (options.isEmpty()) {
        discover(options);
    }
    const std::vector<Item> items = verifyAll(options, globals.json);
    const size_t bad = count(items, Verdict::Bad);
    const size_t unchecked = count(items, Verdict::Unchecked);
    if (globals.json) {
        Json report;
        putName(report, "root", options.root);
        Json list = Json::array();
        std::transform(items.begin(), items.end(), std::back_inserter(list), itemJson);
        report.update({{"valid", bad + unchecked == 0},
                       {"good", count(items, Verdict::Good)},
                       {"bad", bad},
                       {"unchecked", unchecked},
                       {"items", list}});
        printJson(report);
    } else {
        printOut(escaped(options.root) +
                 format(": %zu good, %zu bad, %zu unchecked\n", count(items, Verdict::Good), bad, unchecked));
    }
    return bad > 0 ? ExitStatus::No : unchecked > 0 ? ExitStatus::Failed : ExitStatus::Done;
}

} // namespace

void addVerifyCommand(CLI::App &app, Globals &globals)
{
    static constexpr CommandText kText = {
        "verify", "ROOT", "Verify packages, signed lists and installed files of a device; goes on behind what is wrong",
        "Without --package, --list and --signed-list everything in the package pool below ROOT: packages, signed "
        "lists\n"
        "with their signatures, and the file lists in \"desc\" directories. Changes nothing.\n"
        "Exit status: 0 all good; 1 something is bad; 2 wrong usage; 3 something could not be checked, nothing is "
        "bad."};
    const auto options = std::make_shared<Options>();
    Command command(app, globals, kText, [options, &globals] { return run(*options, globals); });
    command.repeatedOption("--package", options->packages, "FILE", "A package; may be repeated");
    command.repeatedOption("--signed-list", options->signedLists, "FILE",
                           "A list signature_pss_filelist, its signature beside it; may be repeated");
    command.repeatedOption("--list", options->lists, "FILE",
                           "A file list, whose files are looked up below ROOT; may be repeated");
    command.operand("ROOT", "The root of the device's files; \"/\" for this machine", options->root);
}

} // namespace tarn::tool
