// Throw-away keys for development: a CA that signs itself and a signing certificate it has issued.
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include "packaging/names.h"
#include "packaging/openssl_handles.h"
#include "packaging/signer.h"

namespace tarn::packaging {

namespace fs = std::filesystem;

namespace {

constexpr long kLifetime = 10L * 365 * 24 * 60 * 60;
constexpr char kMaking[] = "making keys";

KeyPtr makeKey(unsigned bits)
{
    KeyPtr key(EVP_RSA_gen(bits));
    requireOpenssl(key != nullptr, kMaking);
    return key;
}

void addExtension(X509 *certificate, X509 *issuer, int nid, const char *value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>> extension(
        X509V3_EXT_conf_nid(nullptr, &context, nid, value));
    requireOpenssl(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, kMaking);
}

void setRandomSerial(X509 *certificate)
{
    unsigned char bytes[16];
    requireOpenssl(RAND_bytes(bytes, sizeof(bytes)) == 1, kMaking);
    bytes[0] = static_cast<unsigned char>((bytes[0] & 0x3F) | 0x40); // positive, always 16 bytes
    const std::unique_ptr<BIGNUM, Releaser<BN_free>> number(BN_bin2bn(bytes, sizeof(bytes), nullptr));
    requireOpenssl(number != nullptr && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
                   kMaking);
}

// A certificate without extensions and signature, issued by its own subject until told otherwise.
CertificatePtr makeCertificate(const char *commonName, EVP_PKEY *key)
{
    CertificatePtr certificate(X509_new());
    requireOpenssl(certificate != nullptr, kMaking);
    setRandomSerial(certificate.get());
    const auto *text = reinterpret_cast<const unsigned char *>(commonName);
    X509_NAME *subject = X509_get_subject_name(certificate.get());
    requireOpenssl(X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
                       X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0) != nullptr &&
                       X509_gmtime_adj(X509_getm_notAfter(certificate.get()), kLifetime) != nullptr &&
                       X509_set_pubkey(certificate.get(), key) == 1 &&
                       X509_NAME_add_entry_by_NID(subject, NID_commonName, MBSTRING_UTF8, text, -1, -1, 0) == 1 &&
                       X509_set_issuer_name(certificate.get(), subject) == 1,
                   kMaking);
    return certificate;
}

void signCertificate(X509 *certificate, EVP_PKEY *key)
{
    requireOpenssl(X509_sign(certificate, key, EVP_sha256()) > 0, kMaking);
}

CertificatePtr makeAnchor(EVP_PKEY *key)
{
    CertificatePtr anchor = makeCertificate("Development package CA, not for products", key);
    addExtension(anchor.get(), anchor.get(), NID_basic_constraints, "critical,CA:TRUE");
    addExtension(anchor.get(), anchor.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(anchor.get(), anchor.get(), NID_subject_key_identifier, "hash");
    signCertificate(anchor.get(), key);
    return anchor;
}

CertificatePtr makeSignerCertificate(EVP_PKEY *key, X509 *anchor, EVP_PKEY *anchorKey)
{
    CertificatePtr signer = makeCertificate("Development package signer, not for products", key);
    requireOpenssl(X509_set_issuer_name(signer.get(), X509_get_subject_name(anchor)) == 1, kMaking);
    addExtension(signer.get(), anchor, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(signer.get(), anchor, NID_key_usage, "critical,digitalSignature");
    addExtension(signer.get(), anchor, NID_ext_key_usage, "codeSigning");
    addExtension(signer.get(), anchor, NID_subject_key_identifier, "hash");
    addExtension(signer.get(), anchor, NID_authority_key_identifier, "keyid");
    signCertificate(signer.get(), anchorKey);
    return signer;
}

// Files made so far, removed again unless all of them could be made.
class NewFiles {
public:
    ~NewFiles()
    {
        for (const fs::path &path : made) {
            unlink(path.c_str());
        }
    }

    template <typename Write> void add(const fs::path &path, Write &&write)
    {
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0) {
            throw PackagingError(path.string() + ": cannot be made: " + errorText(errno));
        }
        made.push_back(path);
        const BioPtr bio(BIO_new_fd(fd, BIO_CLOSE));
        if (bio == nullptr) {
            close(fd);
        }
        requireOpenssl(bio != nullptr && write(bio.get()) == 1, path.string() + ": cannot be written");
    }

    void keep() { made.clear(); }

private:
    std::vector<fs::path> made;
};

// A configuration under which packages signed with the new key verify.
std::string configText(const fs::path &anchor)
{
    return "# Development configuration: trusts the throw-away CA beside it and nothing else.\n"
           "[trust]\nanchors = " +
           fs::absolute(anchor).lexically_normal().string() + "\nsigner_purpose = codeSigning\n";
}

void makeDirectory(const fs::path &dir)
{
    if (mkdir(dir.c_str(), 0700) != 0 && (errno != EEXIST || !fs::is_directory(dir))) {
        throw PackagingError(dir.string() + ": cannot be made: " + errorText(errno));
    }
}

void refuseExisting(const DevelopmentKeys &keys)
{
    for (const fs::path &path : {keys.anchor, keys.caKey, keys.certificate, keys.key, keys.config}) {
        struct stat status = {};
        if (lstat(path.c_str(), &status) == 0) {
            throw PackagingError(path.string() + ": is there already; keys are never overwritten");
        }
    }
}

} // namespace

DevelopmentKeys makeDevelopmentKeys(const fs::path &dir, unsigned bits)
{
    if (bits < 2048 || bits > 16384) {
        throw RequestError("--bits " + std::to_string(bits) + ": keys have 2048 to 16384 bits");
    }
    DevelopmentKeys keys = {dir / "ca.pem", dir / "ca.key", dir / "signer.pem", dir / "signer.key", dir / "basic.conf"};
    if (hasControlCharacters(dir.string())) {
        throw RequestError(dir.string() + ": control characters in the path; choose a directory without");
    }
    makeDirectory(dir);
    refuseExisting(keys);

    const KeyPtr anchorKey = makeKey(bits);
    const KeyPtr signerKey = makeKey(bits);
    const CertificatePtr anchor = makeAnchor(anchorKey.get());
    const CertificatePtr signer = makeSignerCertificate(signerKey.get(), anchor.get(), anchorKey.get());
    const auto keyWriter = [](EVP_PKEY *key) {
        return
            [key](BIO *bio) { return PEM_write_bio_PKCS8PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr); };
    };
    NewFiles files;
    files.add(keys.caKey, keyWriter(anchorKey.get()));
    files.add(keys.key, keyWriter(signerKey.get()));
    files.add(keys.anchor, [&](BIO *bio) { return PEM_write_bio_X509(bio, anchor.get()); });
    files.add(keys.certificate, [&](BIO *bio) { return PEM_write_bio_X509(bio, signer.get()); });
    files.add(keys.config, [&](BIO *bio) { return BIO_puts(bio, configText(keys.anchor).c_str()) > 0 ? 1 : 0; });
    files.keep();
    return keys;
}

} // namespace tarn::packaging
