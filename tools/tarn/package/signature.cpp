// tarn package signature: who signed a package, what the signature covers, and the older signature list.
#include <algorithm>
#include <filesystem>
#include <memory>

#include <tarn_boot/container.h>

#include "json.h"
#include "library_log.h"
#include "package/commands.h"
#include "package/reader.h"
#include "packaging/certificates.h"
#include "packaging/deferred_signals.h"
#include "packaging/names.h"
#include "platform_config.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kLegacyList[] = "signature_filelist";
constexpr size_t kMaxCms = 1u << 20; // as the platform bounds it

struct Options {
    std::string package;
    std::string output;
};

// Extracted by the library into its own directory, which is gone again when the object is.
class LegacyList {
public:
    explicit LegacyList(const std::string &package)
    {
        constexpr uint32_t kDirectorySize = 256;
        constexpr uint32_t kPathSize = 384;
        char directory[kDirectorySize] = "";
        SWM_GetWorkdirTempPath(directory, kDirectorySize);
        refuseExisting(directory);
        takeLibraryReason();
        char path[kPathSize] = "";
        if (SWM_ExtractCcSignature(package.c_str(), path, kPathSize) != SWM_OK) {
            fail(package, directory);
        }
        extracted = path;
    }
    LegacyList(const LegacyList &) = delete;
    LegacyList &operator=(const LegacyList &) = delete;
    ~LegacyList() { SWM_ClearCcSignaturePath(extracted.c_str()); }

    std::string text() const
    {
        const OpenPackage file = openPackage(extracted);
        return readAt(file, 0, file.size);
    }

private:
    // The library removes the whole directory at the end, whoever has put something into it.
    static void refuseExisting(const fs::path &directory)
    {
        std::error_code error;
        if (fs::exists(fs::symlink_status(directory, error))) {
            failWith(escaped(directory.string()) +
                         ": is there already: another process is at work, or one has ended early",
                     "remove it when nothing is being installed");
        }
    }

    [[noreturn]] static void fail(const std::string &package, const fs::path &directory)
    {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = escaped(package) + ": member " + inQuotes(kLegacyList) + ": could not be extracted";
        failure.next = "do not use this package; \"tarn package verify --members\" shows which members are good";
        std::error_code error;
        const bool isMade = fs::exists(directory.parent_path(), error);
        if (!explainFailure(failure) && !isMade) {
            failure.status = ExitStatus::Failed;
            failure.next = "run the command as root, or let \"root\" in [paths] of " + escaped(platformConfigInUse()) +
                           " name a directory that is yours";
        }
        throw failure;
    }

    std::string extracted;
    const packaging::DeferredSignals uninterrupted;
};

struct Findings {
    std::optional<packaging::CertificateFacts> signer;
    std::vector<std::string> covered;
    std::vector<std::string> missing;
    std::vector<std::string> notCovered;
    bool hasLegacyList = false;
    std::vector<packaging::ListedFile> legacyFiles;
};

std::optional<packaging::CertificateFacts> readSigner(const OpenPackage &package, const MemberList &list)
{
    const PkgMemberRecord *member = TARN_SafeFindTarget(&list.list(), packaging::kSignatureName);
    if (member == nullptr || member->payloadLength > kMaxCms) {
        return std::nullopt;
    }
    const uint64_t payload = static_cast<uint64_t>(member->memberOffset) + sizeof(MemberFileHeader);
    return packaging::signerOf(readAt(package, payload, member->payloadLength));
}

void addCoverage(const OpenPackage &package, const MemberList &list, Findings &findings)
{
    const UnverifiedList names = readUnverifiedList(package, list.list());
    const Coverage coverage(list.list(), names.files);
    for (const PkgMemberRecord *member : list.members()) {
        switch (coverage.standing(member)) {
        case Standing::Listed:
            findings.covered.push_back(memberLabel(*member));
            break;
        case Standing::Signature:
            break;
        default:
            findings.notCovered.push_back(memberLabel(*member));
        }
    }
    findings.missing = coverage.missing();
}

// ---- Reports ----

Json signerJson(const std::optional<packaging::CertificateFacts> &signer)
{
    if (!signer) {
        return nullptr;
    }
    return {{"subject", signer->subject},
            {"issuer", signer->issuer},
            {"serial", signer->serial},
            {"key", signer->keyType},
            {"bits", signer->keyBits}};
}

Json reportJson(const Options &options, bool isValid, const Findings &findings)
{
    Json json = {{"package", options.package}, {"valid", isValid}, {"signer", signerJson(findings.signer)}};
    putNames(json, "covered", findings.covered);
    putNames(json, "not_covered", findings.notCovered);
    putNames(json, "missing", findings.missing);
    Json legacy = nullptr;
    if (findings.hasLegacyList) {
        legacy = Json::array();
        for (const packaging::ListedFile &file : findings.legacyFiles) {
            Json entry;
            putName(entry, "file_name", file.fileName);
            entry["digest"] = file.digest;
            legacy.push_back(entry);
        }
    }
    json["legacy_list"] = legacy;
    return json;
}

void addNames(Table &table, const char *what, const std::vector<std::string> &names)
{
    for (size_t index = 0; index < names.size(); ++index) {
        table.add({index == 0 ? what : "", escaped(names[index])});
    }
}

std::string reportText(const Options &options, const Findings &findings)
{
    Table table("ll");
    if (findings.signer) {
        table.add({"signer", escaped(findings.signer->subject)});
        table.add({"issued by", escaped(findings.signer->issuer)});
        table.add({"serial", findings.signer->serial});
        table.add({"key", format("%s, %d bits", findings.signer->keyType.c_str(), findings.signer->keyBits)});
    }
    addNames(table, "covers", findings.covered);
    addNames(table, "does not cover", findings.notCovered);
    addNames(table, "lists what is missing", findings.missing);
    if (findings.hasLegacyList) {
        std::vector<std::string> names;
        std::transform(findings.legacyFiles.begin(), findings.legacyFiles.end(), std::back_inserter(names),
                       [](const packaging::ListedFile &file) { return file.fileName; });
        addNames(table, kLegacyList, names);
    }
    return table.text() + escaped(options.package) + ": signature " + inColour(Colour::Good, "valid") +
           ", digests not compared; " +
           (findings.hasLegacyList
                ? format("%s names %s", kLegacyList, counted(findings.legacyFiles.size(), "file").c_str())
                : format("no %s", kLegacyList)) +
           "\n";
}

// The older access judges structure and signature before it finds the list.
void judge(const Options &options, const OpenPackage &package, const Findings &findings)
{
    takeLibraryReason();
    uint32_t length = 0;
    const uint32_t result = SWM_FindFileFromCc(package.descriptor.get(), packaging::kListName, &length, nullptr);
    if (result == SWM_OK) {
        return;
    }
    Failure failure;
    failure.status = ExitStatus::No;
    failure.what = escaped(options.package) + ": the signature is not valid";
    if (findings.signer) {
        failure.what += ", it claims to be by " + inQuotes(findings.signer->subject);
    }
    failure.next =
        "do not use this package unless the anchors of " + escaped(platformConfigInUse()) + " are the wrong ones";
    Json report = reportJson(options, false, findings);
    if (explainFailure(failure)) {
        failure.what = escaped(options.package) + ": the signature could not be judged";
        report["valid"] = nullptr;
    }
    setReport(failure, std::move(report));
    throw failure;
}

void writeList(const Options &options, const std::string &text)
{
    packaging::OutputFile file(options.output);
    file.write(text.data(), text.size());
    file.commit();
}

void takeLegacyList(const Options &options, const MemberList &list, Findings &findings)
{
    findings.hasLegacyList = TARN_SafeFindTarget(&list.list(), kLegacyList) != nullptr;
    if (findings.hasLegacyList) {
        const std::string text = LegacyList(options.package).text();
        findings.legacyFiles = parseSignedList(text).files;
        if (!options.output.empty()) {
            writeList(options, text);
        }
    } else if (!options.output.empty()) {
        failWith(escaped(options.package) + ": no member " + inQuotes(kLegacyList) + ": nothing written",
                 "\"tarn package extract\" takes out the members that there are", ExitStatus::No);
    }
}

ExitStatus run(const Options &options, const Globals &globals)
{
    checkPlatformConfig();
    const OpenPackage package = openPackage(options.package);
    const MemberList list(package);
    if (!list.isSound()) {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = escaped(options.package) + ": not a sound package";
        failure.reason = list.reason();
        failure.next = "\"tarn package header\" shows what can be read of it";
        throw failure;
    }
    Findings findings;
    findings.signer = readSigner(package, list);
    addCoverage(package, list, findings);
    judge(options, package, findings);
    takeLegacyList(options, list, findings);
    if (globals.json) {
        printJson(reportJson(options, true, findings));
    } else {
        printOut(reportText(options, findings));
    }
    return ExitStatus::Done;
}

} // namespace

void addPackageSignature(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "signature", "PACKAGE", "Show who signed a package and what the signature covers; compares no digests",
        "A package may hold an older list, \"signature_filelist\". It is extracted below \"root\" of the "
        "configuration,\n"
        "verified, shown, and removed there again.\n"
        "Exit status: 0 valid; 1 not valid, or no list to write; 2 wrong usage; 3 could not be carried out."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.operand("PACKAGE", "The package", options->package);
    command.option("-o,--output", options->output, "FILE", "Write the older list to a file");
}

} // namespace tarn::tool
