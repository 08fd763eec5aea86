#include "cms_fixture.h"

#include <cstdlib>
#include <iostream>
#include <map>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

namespace tarn::test {
namespace {

// The fixture itself must not fail quietly: tests of refusals would pass for the wrong reason.
void require(bool isGood, const char *what)
{
    if (!isGood) {
        std::cerr << "cms_fixture: " << what << " failed\n";
        ERR_print_errors_fp(stderr);
        std::abort();
    }
}

Key makeKey(const std::string &name)
{
    const unsigned bits = name == "weak" ? 1024 : name == "short" ? 2047 : 2048;
    EVP_PKEY *key = name == "curve" ? EVP_EC_gen("P-256") : EVP_RSA_gen(bits);
    require(key != nullptr, "key");
    return Key(key, EVP_PKEY_free);
}

void addExtension(X509 *certificate, X509 *issuer, int nid, const std::string &value)
{
    if (value.empty()) {
        return;
    }
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION *extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1, "extension");
    X509_EXTENSION_free(extension);
}

std::string textOf(BIO *bio)
{
    char *data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    std::string text(data, static_cast<size_t>(length));
    BIO_free(bio);
    return text;
}

std::string derOf(CMS_ContentInfo *message)
{
    BIO *out = BIO_new(BIO_s_mem());
    require(i2d_CMS_bio(out, message) == 1, "encoding");
    CMS_ContentInfo_free(message);
    return textOf(out);
}

void setPss(CMS_SignerInfo *signer, const SignatureRecipe &recipe)
{
    EVP_PKEY_CTX *context = CMS_SignerInfo_get0_pkey_ctx(signer);
    require(EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) == 1, "padding");
    require(EVP_PKEY_CTX_set_rsa_pss_saltlen(context, recipe.salt) == 1, "salt");
    require(EVP_PKEY_CTX_set_rsa_mgf1_md(context, recipe.maskHash != nullptr ? recipe.maskHash : recipe.hash) == 1,
            "mask");
}

} // namespace

Key keyOf(const std::string &name)
{
    static std::map<std::string, Key> keys;
    Key &key = keys[name];
    if (key == nullptr) {
        key = makeKey(name);
    }
    return key;
}

Identity certify(const std::string &name, const Key &key, const CertificateTraits &traits, const Identity *issuer)
{
    static long serial = 1;
    Cert certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), ++serial);
    const long day = 24 * 3600;
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), traits.isExpired ? -20 * day : -day);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), traits.isExpired ? -10 * day : 10 * day);
    X509_set_pubkey(certificate.get(), key.get());
    X509_NAME *subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8, reinterpret_cast<const unsigned char *>(name.c_str()), -1,
                               -1, 0);
    X509 *issuerCertificate = issuer != nullptr ? issuer->certificate.get() : certificate.get();
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuerCertificate));
    addExtension(certificate.get(), issuerCertificate, NID_basic_constraints, traits.basicConstraints);
    addExtension(certificate.get(), issuerCertificate, NID_key_usage, traits.keyUsage);
    addExtension(certificate.get(), issuerCertificate, NID_ext_key_usage, traits.extendedKeyUsage);
    addExtension(certificate.get(), issuerCertificate, NID_subject_key_identifier, "hash");
    EVP_PKEY *signingKey = issuer != nullptr ? issuer->key.get() : key.get();
    require(X509_sign(certificate.get(), signingKey, traits.hash) > 0, "certificate");
    return {key, certificate};
}

CertificateTraits issuerTraits()
{
    return {.basicConstraints = "critical,CA:TRUE", .keyUsage = "critical,keyCertSign,cRLSign"};
}

CertificateTraits signerTraits()
{
    return {.keyUsage = "critical,digitalSignature", .extendedKeyUsage = "codeSigning"};
}

Identity makeRoot(const std::string &name)
{
    return certify(name, keyOf("root"), issuerTraits());
}

Identity makeIssuer(const Identity &root, const CertificateTraits *traits)
{
    return certify("issuer", keyOf("issuer"), traits != nullptr ? *traits : issuerTraits(), &root);
}

Identity makeSigner(const Identity &issuer)
{
    return certify("signer", keyOf("signer"), signerTraits(), &issuer);
}

std::string sign(const SignatureRecipe &recipe)
{
    CMS_ContentInfo *message = CMS_sign(nullptr, nullptr, nullptr, nullptr, recipe.flags | CMS_PARTIAL);
    require(message != nullptr, "message");
    for (const Identity &identity : recipe.signers) {
        const unsigned flags = recipe.flags | CMS_PARTIAL | CMS_KEY_PARAM;
        CMS_SignerInfo *signer =
            CMS_add1_signer(message, identity.certificate.get(), identity.key.get(), recipe.hash, flags);
        require(signer != nullptr, "signer");
        if (recipe.isPss) {
            setPss(signer, recipe);
        }
    }
    for (const Cert &certificate : recipe.others) {
        require(CMS_add1_cert(message, certificate.get()) == 1, "further certificate");
    }
    if (recipe.contentType != NID_pkcs7_data) {
        require(CMS_set1_eContentType(message, OBJ_nid2obj(recipe.contentType)) == 1, "content type");
    }
    if (recipe.signers.empty()) {
        return derOf(message); // nothing to compute
    }
    BIO *content = BIO_new_mem_buf(recipe.content.data(), static_cast<int>(recipe.content.size()));
    require(CMS_final(message, content, nullptr, recipe.flags) == 1, "signature");
    BIO_free(content);
    if (recipe.change) {
        recipe.change(sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message), 0));
    }
    return derOf(message);
}

std::string plainData()
{
    BIO *content = BIO_new_mem_buf("data", 4);
    CMS_ContentInfo *message = CMS_data_create(content, CMS_BINARY);
    require(message != nullptr, "data");
    BIO_free(content);
    return derOf(message);
}

std::string pem(const std::vector<Cert> &certificates)
{
    BIO *out = BIO_new(BIO_s_mem());
    for (const Cert &certificate : certificates) {
        require(PEM_write_bio_X509(out, certificate.get()) == 1, "PEM");
    }
    return textOf(out);
}

std::string revocationPem(const Identity &issuer, const std::vector<Cert> &revoked)
{
    const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(X509_CRL_new(), X509_CRL_free);
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> then(X509_gmtime_adj(nullptr, -20L * 24 * 3600),
                                                                     ASN1_TIME_free);
    // Long out of date: nobody asks for the time.
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> next(X509_gmtime_adj(nullptr, -10L * 24 * 3600),
                                                                     ASN1_TIME_free);
    X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
    X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(issuer.certificate.get()));
    X509_CRL_set1_lastUpdate(list.get(), then.get());
    X509_CRL_set1_nextUpdate(list.get(), next.get());
    for (const Cert &certificate : revoked) {
        X509_REVOKED *entry = X509_REVOKED_new();
        X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(certificate.get()));
        X509_REVOKED_set_revocationDate(entry, then.get());
        require(X509_CRL_add0_revoked(list.get(), entry) == 1, "revocation");
    }
    require(X509_CRL_sign(list.get(), issuer.key.get(), EVP_sha256()) > 0, "revocation list");
    BIO *out = BIO_new(BIO_s_mem());
    require(PEM_write_bio_X509_CRL(out, list.get()) == 1, "PEM");
    return textOf(out);
}

} // namespace tarn::test
