// tarn package info: what a package says of itself, from the descriptors in it.
#include <algorithm>
#include <filesystem>
#include <memory>

#include <tarn_boot/container.h>
#include <tarn_boot/verification.h>

#include "desc/report.h"
#include "json.h"
#include "library_log.h"
#include "package/commands.h"
#include "package/reader.h"
#include "package/verify.h"
#include "packaging/deferred_signals.h"
#include "packaging/names.h"
#include "results.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kMaxDescriptor = 1u << 20;
constexpr char kPackageDesc[] = "package_desc.txt";

// A directory of its own, gone at the end whatever happens.
class TemporaryDirectory {
public:
    TemporaryDirectory()
    {
        std::string pattern = (fs::temp_directory_path() / "tarn-info.XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            failWith(escaped(pattern) + ": cannot make a directory there", "check that it is writable and has space");
        }
        directory = pattern;
    }
    TemporaryDirectory(const TemporaryDirectory &) = delete;
    TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        fs::remove_all(directory, ignored);
    }
    const fs::path &path() const { return directory; }

private:
    fs::path directory;
};

bool isDescriptorName(const PkgMemberRecord &member)
{
    const std::string name = memberLabel(member);
    return (name.find("desc") != std::string::npos || name.find("rpmlist") != std::string::npos) &&
           packaging::isPlainFileName(name) && member.payloadLength <= kMaxDescriptor && !isOverlong(member);
}

std::vector<std::string> descriptorNames(const OpenPackage &package)
{
    const MutedLog muted;
    const MemberList list(package);
    std::vector<std::string> names;
    for (const PkgMemberRecord *member : list.members()) {
        if (isDescriptorName(*member) && TARN_SafeFindTarget(&list.list(), memberLabel(*member).c_str()) == member) {
            names.push_back(memberLabel(*member));
        }
    }
    return names;
}

// The package has just been verified: what fails now is the machine's, or somebody has changed it meanwhile.
[[noreturn]] void refuse(const std::string &path, const std::string &name, uint32_t result)
{
    const bool isAnswer = result == TARN_EXTRACT_DIGEST || result == TARN_EXTRACT_SIGNATURE ||
                          result == TARN_EXTRACT_STRUCTURE || result == TARN_EXTRACT_NO_MEMBER;
    Failure failure;
    failure.status = isAnswer ? ExitStatus::No : ExitStatus::Failed;
    failure.result = &extractResult(result);
    failure.what = escaped(path) + ": member " + inQuotes(name) + ": " + failure.result->meaning;
    failure.next = isAnswer ? "do not use this package; \"tarn package verify --members\" shows which members are good"
                            : "check permissions and free space";
    if (explainFailure(failure)) {
        failure.what += ": it could not be judged";
    }
    throw failure;
}

// Extracted by the library, and so verified. Nothing for what is no descriptor after all.
std::optional<DescReport> readMember(const std::string &package, const std::string &name, const fs::path &directory)
{
    takeLibraryReason();
    const uint32_t result = TARN_ExtractFromPackage(package.c_str(), name.c_str(), directory.c_str());
    if (result != TARN_EXTRACT_OK) {
        refuse(package, name, result);
    }
    const ListFile file((directory / name).string());
    const std::optional<DescKind> kind = detectDescKind(file);
    if (!kind) {
        return std::nullopt;
    }
    DescReport report = readDescriptor(file, *kind);
    putName(report.json, "file", name);
    return report;
}

ExitStatus run(const std::string &path, const Globals &globals)
{
    requireVerified(path);
    const std::vector<std::string> names = descriptorNames(openPackage(path));
    Json descriptors = Json::array();
    std::string text;
    bool isAccepted = true;
    const packaging::DeferredSignals uninterrupted; // the directories must not be left
    const TemporaryDirectory directory;
    for (const std::string &name : names) {
        const auto report = readMember(path, name, directory.path());
        if (report) {
            descriptors.push_back(report->json);
            isAccepted = isAccepted && report->isAccepted;
            text += inQuotes(name) + ", " + report->json["type"].get<std::string>() + " description" +
                    (report->isAccepted ? "" : ", " + inColour(Colour::Bad, "not accepted: ") + report->reason) + "\n" +
                    report->text + "\n";
        }
    }
    const bool hasPackageDesc = std::find(names.begin(), names.end(), kPackageDesc) != names.end();
    if (globals.json) {
        Json json;
        putName(json, "package", path);
        json["descriptors"] = descriptors;
        json["has_package_desc"] = hasPackageDesc;
        printJson(json);
    } else {
        text += hasPackageDesc ? "" : "there is no member " + inQuotes(kPackageDesc) + "\n";
        printOut(text + escaped(path) + ": " + counted(descriptors.size(), "descriptor") + ", verified\n");
    }
    return isAccepted ? ExitStatus::Done : ExitStatus::No;
}

} // namespace

void addPackageInfo(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {"info", "PACKAGE",
                                          "Show the descriptors in a package: what it is, requires and brings",
                                          "The whole package is verified first; members with \"desc\" or \"rpmlist\" "
                                          "in their names are extracted aside and read.\n"
                                          "Exit status: 0 shown; 1 not valid, or a descriptor is not accepted; 2 wrong "
                                          "usage; 3 could not be read, also for want of trust anchors."};
    const auto path = std::make_shared<std::string>();
    Command command(group, globals, kText, [path, &globals] { return run(*path, globals); });
    command.operand("PACKAGE", "The package", *path);
}

} // namespace tarn::tool
