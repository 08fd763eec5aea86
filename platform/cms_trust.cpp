// The chain of a signer. There is no store but the configured one, and no clock: times in certificates and revocation
// lists are not looked at.
#include "cms_trust.h"

#include <string_view>

#include <openssl/err.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "config.h"

namespace tarn::basic {
namespace {

constexpr size_t kMaxTrustFile = 4 * 1024 * 1024;
// At least 112 bits: RSA from 2048 bits, no SHA-1, throughout the chain.
constexpr int kSecurityLevel = 2;

struct Trust {
    Store store;
    bool hasRevocation = false;
    Purpose purpose; // null: any
};

// A configured file is never worth a question on the terminal.
int refusePassword(char *, int, int, void *)
{
    return -1;
}

// The lines that frame objects, or did before they were damaged. Comments between the objects have no such dashes.
size_t countFraming(std::string_view text)
{
    size_t count = 0;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        count += line.starts_with('-') || line.find("---") != std::string_view::npos;
        text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    }
    return count;
}

// Hands each PEM object of a file to add(), which takes a reference. False unless there is one and every object is of
// that type and can be read. libcrypto skips other types and whatever stands behind a damaged first line, so the
// framing is counted: a revocation list that gets lost would make a revoked certificate valid again.
template <typename Handle, auto Read, typename Add> bool readPem(const char *path, Add add)
{
    size_t size = 0;
    const Block<char> text = readTrustedFile(path, kMaxTrustFile, &size);
    const Bio source(text != nullptr ? BIO_new_mem_buf(text.get(), static_cast<int>(size)) : nullptr);
    if (source == nullptr) {
        return false;
    }
    for (size_t objects = 0;; ++objects) {
        const Handle object(Read(source.get(), nullptr, refusePassword, nullptr));
        if (object == nullptr) {
            // The end of the file, and not an object that is damaged.
            const bool isEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
            return isEnd && objects > 0 && countFraming({text.get(), size}) == 2 * objects;
        }
        if (!add(object.get())) {
            return false;
        }
    }
}

bool loadAnchors(const char *path, X509_STORE *store)
{
    return readPem<Certificate, PEM_read_bio_X509>(
        path, [store](X509 *anchor) { return X509_STORE_add_cert(store, anchor) == 1; });
}

bool loadRevocation(const char *path, X509_STORE *store)
{
    return readPem<RevocationList, PEM_read_bio_X509_CRL>(
        path, [store](X509_CRL *list) { return X509_STORE_add_crl(store, list) == 1; });
}

SwmCmsResult loadTrust(Trust *trust)
{
    Config config;
    if (!config.load()) {
        return SWM_CMS_CONFIGURATION;
    }
    const char *anchors = config.text("[trust]", "anchors", "");
    const char *revocation = config.text("[trust]", "crl", "");
    const char *purpose = config.text("[trust]", "signer_purpose", "codeSigning");
    if (*anchors == '\0') {
        return SWM_CMS_NO_ANCHORS;
    }
    trust->store.reset(X509_STORE_new());
    if (trust->store == nullptr) {
        return SWM_CMS_NO_MEMORY;
    }
    if (!loadAnchors(anchors, trust->store.get())) {
        return SWM_CMS_BAD_ANCHORS;
    }
    trust->hasRevocation = *revocation != '\0';
    if (trust->hasRevocation && !loadRevocation(revocation, trust->store.get())) {
        return SWM_CMS_BAD_REVOCATION;
    }
    if (*purpose != '\0') {
        trust->purpose.reset(OBJ_txt2obj(purpose, 0));
        return trust->purpose != nullptr ? SWM_CMS_VALID : SWM_CMS_CONFIGURATION;
    }
    return SWM_CMS_VALID;
}

// The signer must be covered by a list. Its issuers are checked against the lists there are, but an anchor's list is
// not demanded of every device.
int tolerateMissingIssuerList(int isOk, X509_STORE_CTX *context)
{
    const bool isMissing = X509_STORE_CTX_get_error(context) == X509_V_ERR_UNABLE_TO_GET_CRL;
    if (isOk == 0 && isMissing && X509_STORE_CTX_get_error_depth(context) > 0) {
        X509_STORE_CTX_set_error(context, X509_V_OK);
        return 1;
    }
    return isOk;
}

SwmCmsResult refusalOf(int error)
{
    switch (error) {
    case X509_V_ERR_OUT_OF_MEM:
        return SWM_CMS_NO_MEMORY;
    case X509_V_ERR_CERT_REVOKED:
        return SWM_CMS_REVOKED;
    case X509_V_ERR_UNABLE_TO_GET_CRL:
    case X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER:
    case X509_V_ERR_UNABLE_TO_DECODE_ISSUER_PUBLIC_KEY:
    case X509_V_ERR_UNABLE_TO_DECRYPT_CRL_SIGNATURE:
    case X509_V_ERR_CRL_SIGNATURE_FAILURE:
    case X509_V_ERR_KEYUSAGE_NO_CRL_SIGN:
    case X509_V_ERR_UNHANDLED_CRITICAL_CRL_EXTENSION:
    case X509_V_ERR_DIFFERENT_CRL_SCOPE:
    case X509_V_ERR_CRL_PATH_VALIDATION_ERROR:
        return SWM_CMS_NOT_COVERED;
    default:
        return SWM_CMS_CHAIN;
    }
}

bool hasPurpose(const X509 *certificate, const ASN1_OBJECT *purpose)
{
    const Purposes purposes(
        static_cast<EXTENDED_KEY_USAGE *>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    for (int i = 0; i < sk_ASN1_OBJECT_num(purposes.get()); ++i) {
        if (OBJ_cmp(sk_ASN1_OBJECT_value(purposes.get(), i), purpose) == 0) {
            return true;
        }
    }
    return false;
}

// What an issuer's certificate is limited to limits what it certifies.
bool mayIssueFor(const X509 *issuer, const ASN1_OBJECT *purpose)
{
    const bool isLimited = X509_get_ext_by_NID(issuer, NID_ext_key_usage, -1) >= 0;
    return !isLimited || hasPurpose(issuer, purpose) || hasPurpose(issuer, OBJ_nid2obj(NID_anyExtendedKeyUsage));
}

// libcrypto also takes old certificates without basic constraints for issuers; that is good enough for an anchor
// only, which somebody has chosen.
bool areIssuers(const STACK_OF(X509) * chain)
{
    constexpr int kCaByBasicConstraints = 1;
    for (int i = 1; i < sk_X509_num(chain) - 1; ++i) {
        if (X509_check_ca(sk_X509_value(chain, i)) != kCaByBasicConstraints) {
            return false;
        }
    }
    return true;
}

bool isCertifiedFor(const STACK_OF(X509) * chain, const ASN1_OBJECT *purpose)
{
    X509 *signer = sk_X509_value(chain, 0);
    // All usages where the certificate does not limit them.
    if ((X509_get_key_usage(signer) & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) == 0) {
        return false;
    }
    if (purpose == nullptr) {
        return true;
    }
    for (int i = 1; i < sk_X509_num(chain); ++i) {
        if (!mayIssueFor(sk_X509_value(chain, i), purpose)) {
            return false;
        }
    }
    return hasPurpose(signer, purpose);
}

} // namespace

SwmCmsResult checkTrust(X509 *signer, STACK_OF(X509) * others)
{
    Trust trust;
    const SwmCmsResult loaded = loadTrust(&trust);
    if (loaded != SWM_CMS_VALID) {
        return loaded;
    }
    const StoreContext context(X509_STORE_CTX_new());
    if (context == nullptr || X509_STORE_CTX_init(context.get(), trust.store.get(), signer, others) != 1) {
        return SWM_CMS_NO_MEMORY;
    }
    // An anchor ends a chain whether or not it is self-signed: that is what naming it means.
    unsigned long flags = X509_V_FLAG_NO_CHECK_TIME | X509_V_FLAG_PARTIAL_CHAIN;
    if (trust.hasRevocation) {
        flags |= X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL;
    }
    X509_STORE_CTX_set_flags(context.get(), flags);
    X509_VERIFY_PARAM_set_auth_level(X509_STORE_CTX_get0_param(context.get()), kSecurityLevel);
    X509_STORE_CTX_set_verify_cb(context.get(), tolerateMissingIssuerList);
    if (X509_verify_cert(context.get()) != 1) {
        return refusalOf(X509_STORE_CTX_get_error(context.get()));
    }
    const STACK_OF(X509) *chain = X509_STORE_CTX_get0_chain(context.get());
    if (!areIssuers(chain)) {
        return SWM_CMS_CHAIN;
    }
    return isCertifiedFor(chain, trust.purpose.get()) ? SWM_CMS_VALID : SWM_CMS_PURPOSE;
}

} // namespace tarn::basic
