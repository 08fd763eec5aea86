// tarn package verify: a whole package in one answer, or member by member.
#include <algorithm>
#include <memory>

#include <tarn_boot/container.h>
#include <tarn_boot/verification.h>

#include "json.h"
#include "library_log.h"
#include "package/commands.h"
#include "package/reader.h"
#include "package/verify.h"
#include "packaging/deferred_signals.h"
#include "platform_config.h"
#include "results.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kMaxPath = 384;
constexpr size_t kDigestTextSize = 65;
constexpr uint32_t kCcPackage = 1; // the type that installers ask for

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

// By the verified list in the cache. Expects the lock.
Coverage cachedCoverage()
{
    std::vector<packaging::ListedFile> files;
    for (const SignedFileRecord *record : recordsOf<SignedFileRecord>(g_pkgCacheInfo.signedList)) {
        files.push_back({record->fileName, record->digest});
    }
    return {g_pkgCacheInfo.memberList, files};
}

std::vector<std::string> labels(const std::vector<const PkgMemberRecord *> &members)
{
    std::vector<std::string> names;
    std::transform(members.begin(), members.end(), std::back_inserter(names),
                   [](const PkgMemberRecord *member) { return memberLabel(*member); });
    return names;
}

// ---- Reports ----

// The same members whichever way was taken; what was not found out is null or empty.
Json reportOf(const std::string &path, uint32_t result)
{
    Json report;
    putName(report, "package", path);
    report.update({{"valid", result == TARN_VERIFY_OK},
                   {"result", result},
                   {"result_name", verifyResult(result).name},
                   {"matching", Json()},
                   {"missing", Json::array()},
                   {"unlisted", Json::array()},
                   {"overlong", Json::array()}});
    return report;
}

Json reportOf(const std::string &path, uint32_t result, size_t matching, const Coverage &coverage)
{
    Json report = reportOf(path, result);
    report["matching"] = matching;
    putNames(report, "missing", coverage.missing());
    putNames(report, "unlisted", labels(coverage.unlisted()));
    putNames(report, "overlong", labels(coverage.overlong()));
    return report;
}

void warn(const std::string &path, const PkgMemberRecord &member, const std::string &what)
{
    printError(inErrorColour(Colour::Warning, "tarn: ") + "warning: " + escaped(path) + ": member " +
               inQuotes(memberLabel(member)) + " " + what + "\n");
}

void warnOfGaps(const std::string &path, const Coverage &coverage)
{
    for (const PkgMemberRecord *member : coverage.unlisted()) {
        warn(path, *member,
             coverage.standing(member) == Standing::Shadowed
                 ? "has a name of an earlier one and is not in the signed list, so nothing was checked of it"
                 : "is not in the signed list, so nothing was checked of it");
    }
    for (const PkgMemberRecord *member : coverage.overlong()) {
        warn(path, *member,
             "claims " + counted(member->payloadLength, "byte") +
                 " of content, more than it has: what lies behind it was not signed for it");
    }
}

void printValid(const std::string &path, size_t matching)
{
    printOut(escaped(path) + ": " + inColour(Colour::Good, "valid") + ", signature trusted, " +
             counted(matching, "member") + " as signed\n");
}

// ---- Failures ----

// Nothing of that name would ever be verified: the form of the command line.
bool isBadName(const std::string &path)
{
    return path.size() > kMaxPath || TARN_SafeIsPkgFile(path.c_str()) == 0;
}

ExitStatus statusOf(uint32_t result, const std::string &path)
{
    if (result == TARN_VERIFY_MISMATCH || result == TARN_VERIFY_STRUCTURE) {
        return ExitStatus::No;
    }
    return result == TARN_VERIFY_PARAM && isBadName(path) ? ExitStatus::Usage : ExitStatus::Failed;
}

std::string nextStep(uint32_t result, bool isUsage)
{
    switch (result) {
    case TARN_VERIFY_MISMATCH:
        return "do not use it; --members names what differs; a good package from an unknown signer needs its anchor "
               "in " +
               escaped(platformConfigInUse());
    case TARN_VERIFY_STRUCTURE:
        return "do not use it; \"tarn package header\" shows where it breaks";
    case TARN_VERIFY_PARAM:
        return isUsage ? "packages have names in .cc, .CC, .ccx or .cch and paths of at most 384 bytes"
                       : "check the path";
    case TARN_VERIFY_INTERNAL:
        return "check that /tmp is writable and has space";
    default:
        return "check path and permissions";
    }
}

// With the library's last words; to be called right after it.
Failure makeFailure(const std::string &path, uint32_t result)
{
    Failure failure;
    failure.status = statusOf(result, path);
    failure.result = &verifyResult(result);
    failure.next = nextStep(result, failure.status == ExitStatus::Usage);
    const bool isUndecided = explainFailure(failure);
    failure.what = escaped(path) + ": " + (failure.status == ExitStatus::No ? "not valid: " : "not checked: ") +
                   (isUndecided ? "the signature could not be judged" : failure.result->meaning);
    setReport(failure, reportOf(path, result));
    return failure;
}

// What the platform would pass over in silence, and what is no package file, is refused before the library is asked.
OpenPackage openForCheck(const std::string &path)
{
    checkPlatformConfig();
    takeLibraryReason();
    if (isBadName(path) && VerifyParamCheck(path.c_str()) != SWM_OK) {
        throw makeFailure(path, TARN_VERIFY_PARAM);
    }
    return openPackage(path);
}

// ---- The whole package ----

ExitStatus verifyWhole(const Options &options, const Globals &globals)
{
    requireVerified(options.package);
    const CacheLock lock;
    const Coverage coverage = cachedCoverage();
    if (globals.json) {
        printJson(reportOf(options.package, TARN_VERIFY_OK, coverage.listedCount(), coverage));
    } else {
        printValid(options.package, coverage.listedCount());
    }
    warnOfGaps(options.package, coverage);
    return ExitStatus::Done;
}

// ---- Member by member ----

enum class Verdict { Ok, Differs, Unreadable, Signature, Shadowed, Unlisted };

const char *verdictWord(Verdict verdict)
{
    static constexpr const char *kWords[] = {"ok", "differs", "unreadable", "signature", "shadowed", "not listed"};
    return kWords[static_cast<size_t>(verdict)];
}

Colour verdictColour(Verdict verdict)
{
    const bool isUnchecked = verdict == Verdict::Unlisted || verdict == Verdict::Shadowed;
    const bool isGood = verdict == Verdict::Ok || verdict == Verdict::Signature;
    return isGood ? Colour::Good : isUnchecked ? Colour::Warning : Colour::Bad;
}

struct MemberVerdict {
    Verdict verdict = Verdict::Ok;
    std::string digest;
    std::string expected; // the listed digest that differs
};

Verdict verdictUnlisted(Standing standing)
{
    return standing == Standing::Signature  ? Verdict::Signature
           : standing == Standing::Shadowed ? Verdict::Shadowed
                                            : Verdict::Unlisted;
}

MemberVerdict judge(int fd, const PkgMemberRecord *member, const Coverage &coverage)
{
    MemberVerdict result;
    if (coverage.standing(member) != Standing::Listed) {
        result.verdict = verdictUnlisted(coverage.standing(member));
        return result;
    }
    char digest[kDigestTextSize] = "";
    if (TARN_SafeGetFileHash(fd, member, digest, sizeof(digest)) != SWM_OK) {
        result.verdict = Verdict::Unreadable;
        return result;
    }
    result.digest = digest;
    for (const std::string &expected : coverage.digestsOf(member)) {
        if (expected != digest) {
            result.verdict = Verdict::Differs;
            result.expected = expected;
        }
    }
    return result;
}

Json verdictJson(const PkgMemberRecord &member, const MemberVerdict &verdict)
{
    Json json;
    putName(json, "subfile_name", member.subfileName);
    putName(json, "file_name", member.fileName);
    json.update({{"size", member.memberLength}, {"verdict", verdictWord(verdict.verdict)}});
    if (!verdict.digest.empty()) {
        json["digest"] = verdict.digest;
    }
    if (verdict.verdict == Verdict::Differs) {
        json["signed_digest"] = verdict.expected;
    }
    return json;
}

std::string verdictText(const PkgMemberRecord &member, const MemberVerdict &verdict)
{
    std::string line = inColour(verdictColour(verdict.verdict), format("%-10s", verdictWord(verdict.verdict))) + "  " +
                       escaped(memberLabel(member)) + ", " + humanSize(member.memberLength) + "\n";
    if (verdict.verdict == Verdict::Differs) {
        line += "            signed " + escaped(verdict.expected) + "\n            found  " + verdict.digest + "\n";
    }
    return line;
}

// Brings the verified list of the package into the cache, nothing reused. Expects the lock.
void loadCache(const Options &options, const OpenPackage &package)
{
    const packaging::DeferredSignals uninterrupted;
    ExtractCacheDrop();
    const uint32_t result = ExtractCacheUpdate(package.descriptor.get());
    if (result != TARN_EXTRACT_OK) {
        throw makeFailure(options.package, VerifyResultConvert(result));
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
            progress.print(verdictText(*member, verdict));
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
    Failure failure;
    failure.status = ExitStatus::No;
    failure.result = &verifyResult(TARN_VERIFY_MISMATCH);
    failure.what = escaped(options.package) + ": not valid: " + counted(report.bad, "member") + " not as signed, " +
                   std::to_string(missing) + " missing, " + std::to_string(report.good) + " good";
    failure.next = "do not use this package";
    setReport(failure, std::move(document));
    return failure;
}

ExitStatus verifyMembers(const Options &options, const Globals &globals)
{
    const OpenPackage package = openForCheck(options.package);
    const CacheLock lock;
    loadCache(options, package);
    const Coverage coverage = cachedCoverage();
    const MemberReport report = judgeMembers(package, coverage, globals.json);
    const bool isValid = report.bad == 0 && coverage.missing().empty();
    Json document = reportOf(options.package, isValid ? TARN_VERIFY_OK : TARN_VERIFY_MISMATCH, report.good, coverage);
    document["members"] = report.verdicts;
    if (!globals.json) {
        printMissing(coverage.missing());
    }
    if (!isValid) {
        throw membersFailure(options, report, coverage.missing().size(), std::move(document));
    }
    if (globals.json) {
        printJson(document);
    } else {
        printValid(options.package, report.good);
    }
    warnOfGaps(options.package, coverage);
    return ExitStatus::Done;
}

} // namespace

void requireVerified(const std::string &path)
{
    const uint64_t size = openForCheck(path).size;
    uint32_t result = TARN_VERIFY_OK;
    {
        const Progress progress("verifying", [=] { return size; });
        const packaging::DeferredSignals uninterrupted; // the work directory must not be left
        result = SWM_VerifyPackageByType(kCcPackage, path.c_str());
    }
    if (result != TARN_VERIFY_OK) {
        throw makeFailure(path, result);
    }
}

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
    command.flag("--members", options->showMembers, "Show the verdict on each member; goes on after a bad one");
}

} // namespace tarn::tool
