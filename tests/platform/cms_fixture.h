// Keys, certificates, revocation lists and CMS signatures, sound and with one defect at a time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

namespace tarn::test {

using Key = std::shared_ptr<EVP_PKEY>;
using Cert = std::shared_ptr<X509>;

struct Identity {
    Key key;
    Cert certificate;
};

struct CertificateTraits {
    std::string basicConstraints = "critical,CA:FALSE"; // empty: none
    std::string keyUsage = "";
    std::string extendedKeyUsage = "";
    const EVP_MD *hash = EVP_sha256();
    bool isExpired = false;
};

// RSA keys by purpose, made once per program: "root", "issuer", "signer" of 2048 bits, "short" of 2047, "weak" of
// 1024; "curve" is EC.
Key keyOf(const std::string &name);
// Self-signed without an issuer.
Identity certify(const std::string &name, const Key &key, const CertificateTraits &traits,
                 const Identity *issuer = nullptr);
Identity makeRoot(const std::string &name = "root");
Identity makeIssuer(const Identity &root, const CertificateTraits *traits = nullptr);
CertificateTraits issuerTraits();
CertificateTraits signerTraits();
Identity makeSigner(const Identity &issuer);

// What a signature is made of; the default is a good one.
struct SignatureRecipe {
    std::string content;
    std::vector<Identity> signers;
    std::vector<Cert> others = {}; // further certificates in the message
    unsigned flags = CMS_DETACHED | CMS_BINARY;
    const EVP_MD *hash = EVP_sha256();
    const EVP_MD *maskHash = nullptr; // null: as hash
    int salt = -1;                    // as long as the hash
    bool isPss = true;
    int contentType = NID_pkcs7_data;
    // What becomes of the signer once it has signed.
    std::function<void(CMS_SignerInfo *)> change = nullptr;
};
std::string sign(const SignatureRecipe &recipe);
// A CMS message that is no signature.
std::string plainData();

std::string pem(const std::vector<Cert> &certificates);
// A revocation list of the issuer naming these certificates.
std::string revocationPem(const Identity &issuer, const std::vector<Cert> &revoked);

} // namespace tarn::test
