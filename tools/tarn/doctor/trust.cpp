// The trust store, as the verifier uses it and as a calendar sees it.
#include <algorithm>
#include <ctime>

#include "doctor/findings.h"
#include "packaging/certificates.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kArea[] = "trust";
constexpr int kMinimumBits = 2048;
constexpr time_t kDay = 24 * 60 * 60;
constexpr time_t kSoon = 60 * kDay;
constexpr time_t kOldList = 180 * kDay;

std::string dateText(time_t time)
{
    tm parts = {};
    char text[32] = "";
    gmtime_r(&time, &parts);
    return strftime(text, sizeof(text), "%Y-%m-%d", &parts) == 0 ? "?" : text;
}

struct Report {
    Findings &findings;
    std::string subject;

    void add(Severity severity, std::string what, const char *why, std::string next) const
    {
        findings.push_back({severity, kArea, subject, std::move(what), why, std::move(next)});
    }
};

// True when the file can be used as far as its place goes.
bool mayBeUsed(const fs::path &path, const Report &report)
{
    std::string next;
    const std::string fault = distrust(path, next);
    if (!fault.empty()) {
        report.add(Severity::Error, fault, "the verifier refuses the file, and with it every package", next);
    }
    return fault.empty();
}

void examineDates(const packaging::CertificateFacts &anchor, const std::string &name, time_t now, const Report &report)
{
    constexpr char kWhy[] = "the verifier looks at no dates, a booting device has no trusted clock: it goes on being "
                            "trusted, which its issuer no longer promises";
    if (anchor.notAfter < now) {
        report.add(Severity::Warning, name + ": expired on " + dateText(anchor.notAfter), kWhy,
                   "put a new anchor beside it, and remove it when no package needs it");
    } else if (anchor.notAfter - now < kSoon) {
        report.add(Severity::Warning, name + ": expires soon, on " + dateText(anchor.notAfter), kWhy,
                   "put its successor beside it now");
    }
    if (anchor.notBefore > now) {
        report.add(Severity::Warning, name + ": not valid before " + dateText(anchor.notBefore), kWhy,
                   "check the clock of this machine, or the certificate");
    }
}

void examineKey(const packaging::CertificateFacts &anchor, const std::string &name, const Report &report)
{
    if (anchor.keyType.rfind("RSA", 0) == 0 && anchor.keyBits < kMinimumBits) {
        report.add(Severity::Error,
                   name + format(": its key has %d bits, at least %d are needed", anchor.keyBits, kMinimumBits),
                   "the verifier refuses every chain that ends here", "replace it by an anchor with a longer key");
    } else if (anchor.isWeak) {
        report.add(Severity::Error, name + ": its key is too weak", "the verifier refuses every chain that ends here",
                   "replace it by an anchor with a stronger key");
    }
}

void examinePurpose(const packaging::CertificateFacts &anchor, const std::string &name, const std::string &purpose,
                    const Report &report)
{
    if (!purpose.empty() && anchor.isLimited && !anchor.hasPurpose) {
        report.add(Severity::Error, name + ": limited to other purposes than " + inQuotes(purpose),
                   "the verifier refuses every signer below it",
                   "issue it with that extended key usage, or correct signer_purpose");
    } else if (!anchor.mayIssue && !anchor.maySign) {
        report.add(Severity::Warning, name + ": may neither issue certificates nor sign",
                   "no signature can ever lead to it", "check whether it is the right certificate");
    }
}

void examineAnchors(const fs::path &path, const std::string &purpose, const Report &report)
{
    if (!mayBeUsed(path, report)) {
        return;
    }
    const size_t before = report.findings.size();
    std::vector<packaging::CertificateFacts> anchors;
    try {
        anchors = packaging::readCertificates(path, purpose);
    } catch (const packaging::PackagingError &error) {
        report.add(Severity::Error, escaped(error.what()), "the verifier refuses the file, and with it every package",
                   "leave nothing but whole PEM certificates in it");
        return;
    }
    const time_t now = time(nullptr);
    for (const packaging::CertificateFacts &anchor : anchors) {
        const std::string name = "anchor " + inQuotes(anchor.subject);
        examineDates(anchor, name, now, report);
        examineKey(anchor, name, report);
        examinePurpose(anchor, name, purpose, report);
    }
    if (report.findings.size() == before) {
        report.add(Severity::Ok,
                   counted(anchors.size(), "anchor") + ", good until " +
                       dateText(std::min_element(anchors.begin(), anchors.end(),
                                                 [](const auto &a, const auto &b) { return a.notAfter < b.notAfter; })
                                    ->notAfter),
                   "", "");
    }
}

void examineList(const packaging::RevocationFacts &list, time_t now, const Report &report)
{
    constexpr char kWhy[] = "certificates revoked since then still verify here";
    const std::string name = "revocation list of " + inQuotes(list.issuer) + ": ";
    if (list.nextUpdate && *list.nextUpdate < now) {
        report.add(Severity::Warning, name + "the next one was due on " + dateText(*list.nextUpdate), kWhy,
                   "fetch the current list from its issuer");
    } else if (now - list.thisUpdate > kOldList) {
        report.add(Severity::Warning, name + "old, of " + dateText(list.thisUpdate), kWhy,
                   "fetch the current list from its issuer");
    } else {
        report.add(Severity::Ok,
                   name + "of " + dateText(list.thisUpdate) + ", " +
                       counted(static_cast<uint64_t>(list.revoked), "entry") +
                       (list.nextUpdate ? ", next on " + dateText(*list.nextUpdate) : ""),
                   "", "");
    }
}

void examineRevocation(const fs::path &path, const Report &report)
{
    if (!mayBeUsed(path, report)) {
        return;
    }
    try {
        for (const packaging::RevocationFacts &list : packaging::readRevocationLists(path)) {
            examineList(list, time(nullptr), report);
        }
    } catch (const packaging::PackagingError &error) {
        report.add(Severity::Error, escaped(error.what()), "the verifier refuses the file, and with it every package",
                   "leave nothing but whole PEM revocation lists in it");
    }
}

} // namespace

void examineTrust(const Examined &examined, const Configuration &configuration, Findings &findings)
{
    if (configuration.anchors.empty()) {
        Report{findings, examined.config.string()}.add(Severity::Warning, "no trust anchors are configured",
                                                       "no package verifies",
                                                       "let \"anchors\" in [trust] name a file of certificates");
    } else {
        const fs::path path = examined.at(configuration.anchors);
        examineAnchors(path, configuration.purpose, {findings, path.string()});
    }
    if (!configuration.revocation.empty()) {
        const fs::path path = examined.at(configuration.revocation);
        examineRevocation(path, {findings, path.string()});
    }
    if (configuration.purpose.empty()) {
        Report{findings, examined.config.string()}.add(Severity::Note, "signer_purpose is empty",
                                                       "certificates for any purpose, of web servers for example, may "
                                                       "sign packages",
                                                       "leave the line out, or name codeSigning");
    }
}

} // namespace tarn::tool
