// Signing keys and detached CMS signatures (RFC 5652): RSASSA-PSS with SHA-256, DER.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace tarn::packaging {

class Signer {
public:
    // PEM files; `chain` (intermediate certificates to embed) may be empty. Throws PackagingError.
    Signer(const std::filesystem::path &key, const std::filesystem::path &certificate,
           const std::filesystem::path &chain = {});
    Signer(Signer &&) noexcept;
    ~Signer();

    // The detached signature of `content`.
    std::string sign(std::string_view content) const;

private:
    struct State;
    std::unique_ptr<State> state;
};

struct DevelopmentKeys {
    std::filesystem::path anchor;      // ca.pem, the trust anchor
    std::filesystem::path caKey;       // ca.key
    std::filesystem::path certificate; // signer.pem, issued by the anchor, for code signing
    std::filesystem::path key;         // signer.key
    std::filesystem::path config;      // basic.conf, a platform configuration that trusts the anchor
};

// Makes a throw-away CA, signing key and configuration in `dir` (made when missing; files 0600, none overwritten).
DevelopmentKeys makeDevelopmentKeys(const std::filesystem::path &dir, unsigned bits = 3072);

} // namespace tarn::packaging
