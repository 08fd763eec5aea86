// Detached CMS signatures: RSASSA-PSS, SHA-256 throughout, salt of 32 bytes, signed attributes without a signing time,
// so that nothing but the salt differs between two signatures.
#include "packaging/signer.h"

#include <algorithm>
#include <vector>

#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "packaging/openssl_handles.h"
#include "packaging/output_file.h"

namespace tarn::packaging {

namespace fs = std::filesystem;

namespace {

constexpr int kSaltLength = 32;
constexpr int kMinimumBits = 2048;

BioPtr openPem(const fs::path &path)
{
    // A reading error later on does not say which file, and a directory opens.
    static_cast<void>(openSource(path));
    BioPtr bio(BIO_new_file(path.c_str(), "r"));
    requireOpenssl(bio != nullptr, path.string() + ": cannot read");
    return bio;
}

int refusePassphrase(char *, int, int, void *asked)
{
    *static_cast<bool *>(asked) = true;
    return -1;
}

KeyPtr loadKey(const fs::path &path)
{
    const BioPtr bio = openPem(path);
    bool isEncrypted = false;
    KeyPtr key(PEM_read_bio_PrivateKey(bio.get(), nullptr, refusePassphrase, &isEncrypted));
    if (isEncrypted) {
        ERR_clear_error();
        throw PackagingError(path.string() + ": the key has a passphrase; decrypt it first (openssl pkey -in KEY)");
    }
    requireOpenssl(key != nullptr, path.string() + ": no private key in PEM form");
    const bool isRsa = EVP_PKEY_is_a(key.get(), "RSA") == 1 || EVP_PKEY_is_a(key.get(), "RSA-PSS") == 1;
    if (!isRsa || EVP_PKEY_get_bits(key.get()) < kMinimumBits) {
        throw PackagingError(path.string() + ": not an RSA key of at least " + std::to_string(kMinimumBits) + " bits");
    }
    return key;
}

std::vector<CertificatePtr> loadCertificates(const fs::path &path)
{
    const BioPtr bio = openPem(path);
    std::vector<CertificatePtr> certificates;
    while (true) {
        CertificatePtr certificate(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
        if (certificate == nullptr) {
            break;
        }
        certificates.push_back(std::move(certificate));
    }
    const bool isEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
    requireOpenssl(isEnd && !certificates.empty(), path.string() + ": no certificate in PEM form");
    ERR_clear_error();
    return certificates;
}

std::string encoded(const X509_ATTRIBUTE *attribute)
{
    unsigned char *der = nullptr;
    const int size = i2d_X509_ATTRIBUTE(attribute, &der);
    requireOpenssl(size > 0, "signing");
    std::string text(reinterpret_cast<const char *>(der), static_cast<size_t>(size));
    OPENSSL_free(der);
    return text;
}

// The signed attributes as they are signed: a DER "SET OF", whose elements stand in the order of their encodings.
std::string encodedAttributes(const CMS_SignerInfo *info)
{
    const int count = CMS_signed_get_attr_count(info);
    std::vector<std::string> attributes;
    attributes.reserve(static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        attributes.push_back(encoded(CMS_signed_get_attr(info, index)));
    }
    std::sort(attributes.begin(), attributes.end());
    std::string content;
    for (const std::string &attribute : attributes) {
        content += attribute;
    }
    std::string set(static_cast<size_t>(ASN1_object_size(1, static_cast<int>(content.size()), V_ASN1_SET)), '\0');
    auto *place = reinterpret_cast<unsigned char *>(set.data());
    ASN1_put_object(&place, 1, static_cast<int>(content.size()), V_ASN1_SET, V_ASN1_UNIVERSAL);
    std::copy(content.begin(), content.end(), place);
    return set;
}

void setPssParameters(EVP_PKEY_CTX *context)
{
    requireOpenssl(EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) == 1 &&
                       EVP_PKEY_CTX_set_rsa_mgf1_md(context, EVP_sha256()) == 1 &&
                       EVP_PKEY_CTX_set_rsa_pss_saltlen(context, kSaltLength) == 1,
                   "signing: the key does not allow RSASSA-PSS with SHA-256");
}

std::string pssSignature(EVP_PKEY *key, const std::string &text)
{
    const DigestContextPtr context(EVP_MD_CTX_new());
    EVP_PKEY_CTX *parameters = nullptr;
    requireOpenssl(EVP_DigestSignInit(context.get(), &parameters, EVP_sha256(), nullptr, key) == 1, "signing");
    setPssParameters(parameters);
    const auto *data = reinterpret_cast<const unsigned char *>(text.data());
    size_t size = 0;
    requireOpenssl(EVP_DigestSign(context.get(), nullptr, &size, data, text.size()) == 1, "signing");
    std::string signature(size, '\0');
    auto *place = reinterpret_cast<unsigned char *>(signature.data());
    requireOpenssl(EVP_DigestSign(context.get(), place, &size, data, text.size()) == 1, "signing");
    signature.resize(size);
    return signature;
}

// OpenSSL always adds a signing time. Without it the signature has to be made anew.
void removeSigningTime(CMS_SignerInfo *info, EVP_PKEY *key)
{
    const int index = CMS_signed_get_attr_by_NID(info, NID_pkcs9_signingTime, -1);
    if (index < 0) {
        return;
    }
    X509_ATTRIBUTE_free(CMS_signed_delete_attr(info, index));
    const std::string signature = pssSignature(key, encodedAttributes(info));
    requireOpenssl(
        ASN1_STRING_set(CMS_SignerInfo_get0_signature(info), signature.data(), static_cast<int>(signature.size())) == 1,
        "signing");
}

} // namespace

struct Signer::State {
    KeyPtr key;
    CertificatePtr certificate;
    std::vector<CertificatePtr> chain;

    bool isEmbedded(const X509 *candidate) const
    {
        return X509_cmp(candidate, certificate.get()) == 0 ||
               std::any_of(chain.begin(), chain.end(),
                           [=](const CertificatePtr &other) { return X509_cmp(candidate, other.get()) == 0; });
    }
};

Signer::Signer(const fs::path &key, const fs::path &certificate, const fs::path &chain)
    : state(std::make_unique<State>())
{
    state->key = loadKey(key);
    state->certificate = std::move(loadCertificates(certificate).front());
    if (X509_check_private_key(state->certificate.get(), state->key.get()) != 1) {
        ERR_clear_error();
        throw PackagingError(certificate.string() + ": not the certificate of the key " + key.string());
    }
    if (chain.empty()) {
        return;
    }
    for (CertificatePtr &link : loadCertificates(chain)) {
        // A chain file often starts with the signer; CMS holds each certificate once.
        if (!state->isEmbedded(link.get())) {
            state->chain.push_back(std::move(link));
        }
    }
}

Signer::Signer(Signer &&) noexcept = default;
Signer::~Signer() = default;

std::string Signer::sign(std::string_view content) const
{
    constexpr unsigned kFlags = CMS_PARTIAL | CMS_DETACHED | CMS_BINARY | CMS_NOSMIMECAP;
    const CmsPtr cms(CMS_sign(nullptr, nullptr, nullptr, nullptr, kFlags));
    requireOpenssl(cms != nullptr, "signing");
    CMS_SignerInfo *info =
        CMS_add1_signer(cms.get(), state->certificate.get(), state->key.get(), EVP_sha256(), kFlags | CMS_KEY_PARAM);
    requireOpenssl(info != nullptr, "signing");
    setPssParameters(CMS_SignerInfo_get0_pkey_ctx(info));
    for (const CertificatePtr &link : state->chain) {
        requireOpenssl(CMS_add1_cert(cms.get(), link.get()) == 1, "signing: chain");
    }
    const BioPtr data(BIO_new_mem_buf(content.data(), static_cast<int>(content.size())));
    requireOpenssl(CMS_final(cms.get(), data.get(), nullptr, kFlags) == 1, "signing");
    removeSigningTime(info, state->key.get());

    unsigned char *der = nullptr;
    const int size = i2d_CMS_ContentInfo(cms.get(), &der);
    requireOpenssl(size > 0, "signing");
    std::string signature(reinterpret_cast<const char *>(der), static_cast<size_t>(size));
    OPENSSL_free(der);
    return signature;
}

} // namespace tarn::packaging
