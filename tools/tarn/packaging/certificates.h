// Certificates and revocation lists as facts, for display and examination. Nothing is decided here about trust.
#pragma once

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tarn::packaging {

struct CertificateFacts {
    std::string subject; // RFC 2253
    std::string issuer;
    std::string serial; // hexadecimal
    std::string keyType;
    int keyBits = 0;
    bool isWeak = false; // under 112 bits of security
    time_t notBefore = 0;
    time_t notAfter = 0;
    bool mayIssue = false;   // a CA, and a key usage that lets it sign certificates
    bool maySign = false;    // a key usage that lets it sign lists
    bool isLimited = false;  // it has extended key usages
    bool hasPurpose = false; // the one asked for, or any, is among them
};

struct RevocationFacts {
    std::string issuer;
    time_t thisUpdate = 0;
    std::optional<time_t> nextUpdate;
    int revoked = 0;
};

// The PEM objects of a file, all of which have to be of the one type, and at least one. `purpose`: an extended key
// usage by name or number, "" for none. Throw PackagingError.
std::vector<CertificateFacts> readCertificates(const std::filesystem::path &path, const std::string &purpose);
std::vector<RevocationFacts> readRevocationLists(const std::filesystem::path &path);

// Whether OpenSSL knows an extended key usage by this name or number.
bool isKnownPurpose(const std::string &purpose);

// The certificate of the only signer of a CMS message in DER; nothing when there is none. Not verified.
std::optional<CertificateFacts> signerOf(const std::string &cms);

} // namespace tarn::packaging
