// tarn package extract: verified members into a directory.
#include <algorithm>
#include <filesystem>
#include <memory>

#include <tarn_boot/container.h>

#include "json.h"
#include "library_log.h"
#include "package/commands.h"
#include "package/names.h"
#include "package/reader.h"
#include "package/whole_member.h"
#include "packaging/deferred_signals.h"
#include "platform_config.h"
#include "results.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kMaxMode = 07777;

struct Options {
    std::string package;
    std::vector<std::string> names;
    std::string directory;
    std::string mode;
    bool withHeader = false;
};

uint32_t parseMode(const std::string &text)
{
    const bool isOctal = !text.empty() && text.size() <= 6 && text.find_first_not_of("01234567") == std::string::npos;
    const unsigned long mode = isOctal ? std::stoul(text, nullptr, 8) : kMaxMode + 1;
    if (mode > kMaxMode) {
        refuseUsage("--mode " + escaped(text) + ": not an octal mode", "write for example 0640");
    }
    return static_cast<uint32_t>(mode);
}

uint32_t extractOne(const Options &options, const std::string &name)
{
    takeLibraryReason();
    // Cut in two, it would leave part of a file and the work directory.
    const packaging::DeferredSignals uninterrupted;
    if (options.withHeader) {
        copyWholeMember(options.package, name, options.directory,
                        options.mode.empty() ? 0440 : parseMode(options.mode));
        return TARN_EXTRACT_OK;
    }
    if (options.mode.empty()) {
        return TARN_ExtractFromPackage(options.package.c_str(), name.c_str(), options.directory.c_str());
    }
    return TARN_ExtractFromPackageAndChmod(options.package.c_str(), name.c_str(), options.directory.c_str(),
                                           parseMode(options.mode));
}

bool isAnswerNo(uint32_t result)
{
    return result == TARN_EXTRACT_NO_MEMBER || result == TARN_EXTRACT_DIGEST || result == TARN_EXTRACT_SIGNATURE ||
           result == TARN_EXTRACT_STRUCTURE;
}

std::string nextStep(uint32_t result)
{
    switch (result) {
    case TARN_EXTRACT_NO_MEMBER:
        return "\"tarn package list\" shows the names";
    case TARN_EXTRACT_DIGEST:
        return "do not use this package; \"tarn package verify --members\" shows which members are good";
    case TARN_EXTRACT_SIGNATURE:
        return "do not use this package unless the anchors of " + escaped(platformConfigInUse()) +
               " are the wrong ones";
    case TARN_EXTRACT_STRUCTURE:
        return "\"tarn package header\" shows where it breaks";
    case TARN_EXTRACT_WORKDIR:
        return "check that /tmp is writable";
    default:
        return "check path, permissions and free space";
    }
}

Failure makeFailure(const Options &options, const std::string &name, uint32_t result)
{
    Failure failure;
    failure.status = isAnswerNo(result) ? ExitStatus::No : ExitStatus::Failed;
    failure.result = &extractResult(result);
    failure.what = escaped(options.package) + ": member " + inQuotes(name) + ": " + failure.result->meaning;
    failure.next = nextStep(result);
    if (explainFailure(failure)) {
        failure.what += ": it could not be judged";
    }
    return failure;
}

// By subfile name the library takes as much as the member's header claims, and past the member's end nothing is signed.
void refuseOverlong(const Options &options, const std::string &name, const PkgMemberRecord &member)
{
    if (name != member.fileName && isOverlong(member)) {
        failWith(escaped(options.package) + ": member " + inQuotes(name) + ": not extracted: its header claims " +
                     counted(member.payloadLength, "byte") + " of content, more than the member has",
                 "do not use this package; what lies behind the member is not what was signed for it", ExitStatus::No);
    }
}

// Looks at the members before anything is done. Returns how much the library will read: each member twice, for its
// digest and for the copy. What is wrong with the structure as a whole is for the library to say.
uint64_t inspect(const Options &options)
{
    uint64_t total = 0;
    const OpenPackage package = openPackage(options.package);
    const MutedLog muted;
    const MemberList list(package);
    for (const std::string &name : options.names) {
        const PkgMemberRecord *member = TARN_SafeFindTarget(&list.list(), name.c_str());
        if (member != nullptr && list.isSound()) {
            refuseOverlong(options, name, *member);
            total += 2 * static_cast<uint64_t>(member->memberLength);
        }
    }
    return total;
}

Json extractedJson(const Options &options, const std::string &name)
{
    const fs::path path = fs::path(options.directory) / name;
    std::error_code unknown;
    const auto size = fs::file_size(path, unknown);
    Json json;
    putName(json, "name", name);
    putName(json, "path", path.string());
    json["size"] = unknown ? 0 : size;
    return json;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    std::for_each(options.names.begin(), options.names.end(), requirePlainName);
    if (!options.mode.empty()) {
        static_cast<void>(parseMode(options.mode));
    }
    Json extracted = Json::array();
    if (!options.withHeader) {
        checkPlatformConfig();
    }
    const uint64_t expectedReads = options.withHeader ? 0 : inspect(options);
    Progress progress("unpacking", [=] { return expectedReads; });
    for (const std::string &name : options.names) {
        const uint32_t result = extractOne(options, name);
        if (result != TARN_EXTRACT_OK) {
            Failure failure = makeFailure(options, name, result);
            setReport(failure, {{"package", options.package}, {"extracted", extracted}});
            throw failure;
        }
        extracted.push_back(extractedJson(options, name));
        if (!globals.json) {
            progress.print(inQuotes(name) + " -> " + escaped(extracted.back()["path"].get<std::string>()) + ", " +
                           counted(extracted.back()["size"].get<uint64_t>(), "byte") +
                           (options.withHeader ? ", header included, not verified\n" : "\n"));
        }
    }
    if (globals.json) {
        Json report = {{"package", options.package}, {"extracted", extracted}};
        if (options.withHeader) {
            report.update({{"with_header", true}, {"verified", false}});
        }
        printJson(report);
    }
    return ExitStatus::Done;
}

} // namespace

void addPackageExtract(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "extract", "-d DIR PACKAGE NAME...",
        "Verify members and write them to a directory, stopping at the first that fails",
        "An existing file of a member's name is replaced.\n"
        "With --with-header whole members are copied as they lie in the package, by either name. Nothing is verified\n"
        "then, neither structure nor signature nor digest.\n"
        "Exit status: 0 all extracted; 1 no such member, or not as signed; 2 wrong usage; 3 could not be carried out."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.operand("PACKAGE", "The package", options->package);
    command.operands("NAME...", "Subfile name: the content. File name: the content behind its header", options->names);
    command.requiredOption("-d,--directory", options->directory, "DIR", "Where to; made when missing");
    command.option("--mode", options->mode, "MODE", "Mode of the files, octal; 0440 by default");
    command.flag("--with-header", options->withHeader, "Whole members, header included, NOT VERIFIED");
}

} // namespace tarn::tool
