// tarn package verify: a whole package in one answer, or member by member.
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

#include <tarn_boot/container.h>

#include "library_log.h"
#include "package.h"
#include "package_reader.h"
#include "packaging/deferred_signals.h"
#include "results.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kMaxPath = 384;
constexpr size_t kDigestTextSize = 65;

struct Options {
    std::string package;
    bool showMembers = false;
};

// The cache of the library, held for as long as its lists are looked at.
class CacheLock {
public:
    CacheLock()
    {
        if (ExtractProtectAction() != SWM_OK) {
            failWith("the library's cache cannot be locked");
        }
    }
    CacheLock(const CacheLock &) = delete;
    CacheLock &operator=(const CacheLock &) = delete;
    ~CacheLock() { static_cast<void>(ExtractUnProtectAction()); }
};

// Which members the verified list in the cache speaks of, looked up as the library does. Expects the lock.
struct Coverage {
    std::map<const PkgMemberRecord *, std::vector<const SignedFileRecord *>> listed;
    std::vector<std::string> missing; // in the list, not in the package

    Coverage()
    {
        for (const SignedFileRecord *record : recordsOf<SignedFileRecord>(g_pkgCacheInfo.signedList)) {
            const PkgMemberRecord *member = TARN_SafeFindTarget(&g_pkgCacheInfo.memberList, record->fileName);
            if (member == nullptr) {
                missing.emplace_back(record->fileName);
            } else {
                listed[member].push_back(record);
            }
        }
    }

    bool isUnlisted(const PkgMemberRecord *member) const
    {
        return listed.count(member) == 0 && !isSignatureMember(g_pkgCacheInfo.memberList, member);
    }

    std::vector<std::string> unlisted() const
    {
        std::vector<std::string> names;
        for (const PkgMemberRecord *member : recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList)) {
            if (isUnlisted(member)) {
                names.push_back(memberLabel(*member));
            }
        }
        return names;
    }
};

void warnUnlisted(const std::string &path, const std::vector<std::string> &names)
{
    for (const std::string &name : names) {
        printError(inErrorColour(Colour::Warning, "tarn: ") + "warning: " + escaped(path) + ": member " +
                   inQuotes(name) + " is not in the signed list, so nothing was checked of it\n");
    }
}

// ---- Failures ----

ExitStatus statusOf(uint32_t result, const std::string &path)
{
    if (result == TARN_VERIFY_MISMATCH || result == TARN_VERIFY_STRUCTURE) {
        return ExitStatus::No;
    }
    const bool isBadName = path.size() > kMaxPath || TARN_SafeIsPkgFile(path.c_str()) == 0;
    return result == TARN_VERIFY_PARAM && isBadName ? ExitStatus::Usage : ExitStatus::Failed;
}

std::string nextStep(uint32_t result, bool isBadName)
{
    switch (result) {
    case TARN_VERIFY_MISMATCH:
        return "do not use it; --members names what differs; a good package from an unknown signer needs its anchor in "
               "--config";
    case TARN_VERIFY_STRUCTURE:
        return "do not use it; \"tarn package header\" shows where it breaks";
    case TARN_VERIFY_PARAM:
        return isBadName ? "packages have names in .cc, .CC, .ccx or .cch and paths of at most 384 bytes"
                         : "check the path";
    case TARN_VERIFY_INTERNAL:
        return "check that /tmp is writable and has space";
    default:
        return "check path and permissions";
    }
}

Failure makeFailure(const std::string &path, uint32_t result, std::string reason)
{
    Failure failure;
    failure.status = statusOf(result, path);
    failure.result = &verifyResult(result);
    failure.what = escaped(path) + ": " + (failure.status == ExitStatus::No ? "not valid: " : "not checked: ") +
                   failure.result->meaning;
    failure.reason = std::move(reason);
    failure.next = nextStep(result, failure.status == ExitStatus::Usage);
    failure.report = {{"package", path}, {"valid", false}};
    return failure;
}

// ---- The whole package ----

uint64_t sizeOf(const std::string &path)
{
    std::error_code unknown;
    const auto size = std::filesystem::file_size(path, unknown);
    return unknown ? 0 : size;
}

// A digest that differs leaves the library's cache locked for good: nothing may touch it after a failure.
ExitStatus verifyWhole(const Options &options, const Globals &globals)
{
    takeLibraryReason();
    uint32_t result = TARN_VERIFY_OK;
    {
        const Progress progress("verifying", [&] { return sizeOf(options.package); });
        const packaging::DeferredSignals uninterrupted; // the work directory must not be left
        result = TARN_PackageVerify(options.package.c_str());
    }
    if (result != TARN_VERIFY_OK) {
        throw makeFailure(options.package, result, takeLibraryReason());
    }
    const CacheLock lock;
    const Coverage coverage;
    const std::vector<std::string> unlisted = coverage.unlisted();
    if (globals.json) {
        printJson({{"package", options.package},
                   {"valid", true},
                   {"result", result},
                   {"result_name", verifyResult(result).name},
                   {"matching", coverage.listed.size()},
                   {"unlisted", unlisted}});
    } else {
        printOut(escaped(options.package) + ": " + inColour(Colour::Good, "valid") + ", signature trusted, " +
                 counted(coverage.listed.size(), "member") + " as signed\n");
    }
    warnUnlisted(options.package, unlisted);
    return ExitStatus::Done;
}

// ---- Member by member ----

enum class Verdict { Ok, Differs, Unreadable, Signature, Unlisted };

const char *verdictWord(Verdict verdict)
{
    static constexpr const char *kWords[] = {"ok", "differs", "unreadable", "signature", "not listed"};
    return kWords[static_cast<size_t>(verdict)];
}

Colour verdictColour(Verdict verdict)
{
    return verdict == Verdict::Ok || verdict == Verdict::Signature ? Colour::Good
           : verdict == Verdict::Unlisted                          ? Colour::Warning
                                                                   : Colour::Bad;
}

struct MemberVerdict {
    Verdict verdict = Verdict::Ok;
    std::string digest;
    std::string expected; // the listed digest that differs
};

MemberVerdict judge(int fd, const PkgMemberRecord *member, const Coverage &coverage)
{
    MemberVerdict result;
    const auto listed = coverage.listed.find(member);
    if (listed == coverage.listed.end()) {
        result.verdict = coverage.isUnlisted(member) ? Verdict::Unlisted : Verdict::Signature;
        return result;
    }
    char digest[kDigestTextSize] = "";
    if (TARN_SafeGetFileHash(fd, member, digest, sizeof(digest)) != SWM_OK) {
        result.verdict = Verdict::Unreadable;
        return result;
    }
    result.digest = digest;
    for (const SignedFileRecord *record : listed->second) {
        if (strcmp(record->digest, digest) != 0) {
            result.verdict = Verdict::Differs;
            result.expected = record->digest;
        }
    }
    return result;
}

Json verdictJson(const PkgMemberRecord &member, const MemberVerdict &verdict)
{
    Json json = {{"subfile_name", member.subfileName},
                 {"file_name", member.fileName},
                 {"size", member.memberLength},
                 {"verdict", verdictWord(verdict.verdict)}};
    if (!verdict.digest.empty()) {
        json["digest"] = verdict.digest;
    }
    if (verdict.verdict == Verdict::Differs) {
        json["signed_digest"] = verdict.expected;
    }
    return json;
}

void printVerdict(const PkgMemberRecord &member, const MemberVerdict &verdict)
{
    std::string line = inColour(verdictColour(verdict.verdict), format("%-10s", verdictWord(verdict.verdict))) + "  " +
                       escaped(memberLabel(member)) + ", " + humanSize(member.memberLength) + "\n";
    if (verdict.verdict == Verdict::Differs) {
        line += "            signed " + escaped(verdict.expected) + "\n            found  " + verdict.digest + "\n";
    }
    printOut(line);
    static_cast<void>(fflush(stdout));
}

// Brings the verified list of the package into the cache, nothing reused. Expects the lock.
void loadCache(const Options &options, const OpenPackage &package)
{
    takeLibraryReason();
    const packaging::DeferredSignals uninterrupted;
    ExtractCacheDrop();
    const uint32_t result = ExtractCacheUpdate(package.descriptor.get());
    if (result != TARN_EXTRACT_OK) {
        throw makeFailure(options.package, VerifyResultConvert(result), takeLibraryReason());
    }
}

struct MemberReport {
    Json verdicts = Json::array();
    size_t good = 0;
    size_t bad = 0;
};

MemberReport judgeMembers(const OpenPackage &package, const Coverage &coverage, bool json)
{
    MemberReport report;
    Progress progress("verifying", [&] { return package.size; });
    for (const PkgMemberRecord *member : recordsOf<PkgMemberRecord>(g_pkgCacheInfo.memberList)) {
        const MemberVerdict verdict = judge(package.descriptor.get(), member, coverage);
        report.verdicts.push_back(verdictJson(*member, verdict));
        report.good += verdict.verdict == Verdict::Ok ? 1 : 0;
        report.bad += verdict.verdict == Verdict::Differs || verdict.verdict == Verdict::Unreadable ? 1 : 0;
        if (!json) {
            progress.clear();
            printVerdict(*member, verdict);
        }
    }
    return report;
}

void printMissing(const std::vector<std::string> &names)
{
    for (const std::string &name : names) {
        printOut(inColour(Colour::Bad, format("%-10s", "missing")) + "  " + escaped(name) + "\n");
    }
}

Failure membersFailure(const Options &options, const MemberReport &report, size_t missing, Json document)
{
    Failure failure = makeFailure(options.package, TARN_VERIFY_MISMATCH, "");
    failure.what = escaped(options.package) + ": not valid: " + counted(report.bad, "member") + " not as signed, " +
                   std::to_string(missing) + " missing, " + std::to_string(report.good) + " good";
    failure.next = "do not use this package";
    failure.report = std::move(document);
    return failure;
}

ExitStatus verifyMembers(const Options &options, const Globals &globals)
{
    takeLibraryReason();
    if (VerifyParamCheck(options.package.c_str()) != SWM_OK) {
        throw makeFailure(options.package, TARN_VERIFY_PARAM, takeLibraryReason());
    }
    const OpenPackage package = openPackage(options.package);
    const CacheLock lock;
    loadCache(options, package);
    const Coverage coverage;
    const MemberReport report = judgeMembers(package, coverage, globals.json);
    const bool isValid = report.bad == 0 && coverage.missing.empty();
    Json document = {{"package", options.package},  {"valid", isValid},
                     {"matching", report.good},     {"unlisted", coverage.unlisted()},
                     {"missing", coverage.missing}, {"members", report.verdicts}};
    if (!globals.json) {
        printMissing(coverage.missing);
    }
    if (!isValid) {
        throw membersFailure(options, report, coverage.missing.size(), std::move(document));
    }
    if (globals.json) {
        printJson(document);
    } else {
        printOut(escaped(options.package) + ": " + inColour(Colour::Good, "valid") + ", signature trusted, " +
                 counted(report.good, "member") + " as signed\n");
    }
    warnUnlisted(options.package, coverage.unlisted());
    return ExitStatus::Done;
}

} // namespace

void addPackageVerify(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "verify", "PACKAGE", "Check structure, signature and the digest of every signed member",
        "PACKAGE ends in .cc, .CC, .ccx or .cch.\n"
        "Exit status: 0 valid; 1 not valid; 2 wrong usage; 3 could not be checked, also for want of trust anchors."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] {
        return options->showMembers ? verifyMembers(*options, globals) : verifyWhole(*options, globals);
    });
    command.operand("PACKAGE", "The package", options->package);
    command.app.add_flag("--members", options->showMembers, "Show the verdict on each member; goes on after a bad one");
}

} // namespace tarn::tool
