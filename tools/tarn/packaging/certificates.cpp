// Facts out of certificates.
#include "packaging/certificates.h"

#include <algorithm>

#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "packaging/openssl_handles.h"
#include "packaging/output_file.h"

namespace tarn::packaging {

namespace fs = std::filesystem;

namespace {

constexpr size_t kMaxFile = 4u << 20; // as the platform bounds it
constexpr int kSecurityBits = 112;

using RevocationPtr = std::unique_ptr<X509_CRL, Releaser<X509_CRL_free>>;
using PurposePtr = std::unique_ptr<ASN1_OBJECT, Releaser<ASN1_OBJECT_free>>;
using UsagesPtr = std::unique_ptr<EXTENDED_KEY_USAGE, Releaser<EXTENDED_KEY_USAGE_free>>;

std::string nameText(const X509_NAME *name)
{
    const BioPtr bio(BIO_new(BIO_s_mem()));
    char *text = nullptr;
    if (bio == nullptr || X509_NAME_print_ex(bio.get(), name, 0, XN_FLAG_RFC2253) < 0) {
        return "";
    }
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<size_t>(size)};
}

std::string serialText(const X509 *certificate)
{
    const std::unique_ptr<BIGNUM, Releaser<BN_free>> number(
        ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
    char *digits = number == nullptr ? nullptr : BN_bn2hex(number.get());
    std::string text = digits == nullptr ? "" : digits;
    OPENSSL_free(digits);
    return text;
}

time_t timeOf(const ASN1_TIME *time)
{
    tm parts = {};
    return time != nullptr && ASN1_TIME_to_tm(time, &parts) == 1 ? timegm(&parts) : 0;
}

bool hasUsage(const X509 *certificate, const ASN1_OBJECT *purpose)
{
    const UsagesPtr usages(
        static_cast<EXTENDED_KEY_USAGE *>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    for (int i = 0; i < sk_ASN1_OBJECT_num(usages.get()); ++i) {
        const ASN1_OBJECT *usage = sk_ASN1_OBJECT_value(usages.get(), i);
        if (OBJ_cmp(usage, purpose) == 0 || OBJ_obj2nid(usage) == NID_anyExtendedKeyUsage) {
            return true;
        }
    }
    return false;
}

CertificateFacts factsOf(X509 *certificate, const std::string &purpose)
{
    CertificateFacts facts;
    facts.subject = nameText(X509_get_subject_name(certificate));
    facts.issuer = nameText(X509_get_issuer_name(certificate));
    facts.serial = serialText(certificate);
    const EVP_PKEY *key = X509_get0_pubkey(certificate);
    const char *type = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
    facts.keyType = type == nullptr ? "unknown" : type;
    facts.keyBits = key == nullptr ? 0 : EVP_PKEY_get_bits(key);
    facts.isWeak = key == nullptr || EVP_PKEY_get_security_bits(key) < kSecurityBits;
    facts.notBefore = timeOf(X509_get0_notBefore(certificate));
    facts.notAfter = timeOf(X509_get0_notAfter(certificate));
    const uint32_t usage = X509_get_key_usage(certificate); // all of them where they are not limited
    facts.mayIssue = X509_check_ca(certificate) > 0 && (usage & KU_KEY_CERT_SIGN) != 0;
    facts.maySign = (usage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) != 0;
    facts.isLimited = X509_get_ext_by_NID(certificate, NID_ext_key_usage, -1) >= 0;
    const PurposePtr wanted(purpose.empty() ? nullptr : OBJ_txt2obj(purpose.c_str(), 0));
    facts.hasPurpose = wanted != nullptr && hasUsage(certificate, wanted.get());
    return facts;
}

std::string readText(const fs::path &path)
{
    const Descriptor file = openSource(path);
    std::string text(kMaxFile + 1, '\0');
    text.resize(readFully(file, text.data(), text.size(), path));
    if (text.size() > kMaxFile) {
        throw PackagingError(path.string() + ": over 4 MiB");
    }
    return text;
}

int refusePassword(char *, int, int, void *)
{
    return -1;
}

// Lines with dashes frame objects, or did before they were damaged. The platform counts them likewise: one that
// belongs to no object it could read makes the file unusable.
size_t countFraming(const std::string &text)
{
    size_t count = 0;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        count += line.rfind('-', 0) == 0 || line.find("---") != std::string::npos ? 1 : 0;
        begin = end + 1;
    }
    return count;
}

template <typename Handle, auto Read, typename Add> void readPem(const fs::path &path, const char *what, Add add)
{
    const std::string text = readText(path);
    const BioPtr bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    requireOpenssl(bio != nullptr, path.string());
    ERR_clear_error();
    size_t objects = 0;
    for (Handle object(Read(bio.get(), nullptr, refusePassword, nullptr)); object != nullptr; ++objects) {
        add(object.get());
        object.reset(Read(bio.get(), nullptr, refusePassword, nullptr));
    }
    const bool isEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
    ERR_clear_error();
    if (!isEnd || objects == 0 || countFraming(text) != 2 * objects) {
        throw PackagingError(path.string() + ": " +
                             (objects == 0 ? std::string("no ") + what + " in PEM form"
                                           : std::string("something in it is no ") + what + " in PEM form"));
    }
}

} // namespace

std::vector<CertificateFacts> readCertificates(const fs::path &path, const std::string &purpose)
{
    std::vector<CertificateFacts> found;
    readPem<CertificatePtr, PEM_read_bio_X509>(
        path, "certificate", [&](X509 *certificate) { found.push_back(factsOf(certificate, purpose)); });
    return found;
}

std::vector<RevocationFacts> readRevocationLists(const fs::path &path)
{
    std::vector<RevocationFacts> found;
    readPem<RevocationPtr, PEM_read_bio_X509_CRL>(path, "revocation list", [&](X509_CRL *list) {
        const ASN1_TIME *next = X509_CRL_get0_nextUpdate(list);
        found.push_back({nameText(X509_CRL_get_issuer(list)), timeOf(X509_CRL_get0_lastUpdate(list)),
                         next == nullptr ? std::nullopt : std::optional(timeOf(next)),
                         std::max(0, sk_X509_REVOKED_num(X509_CRL_get_REVOKED(list)))});
    });
    return found;
}

bool isKnownPurpose(const std::string &purpose)
{
    const PurposePtr object(OBJ_txt2obj(purpose.c_str(), 0));
    ERR_clear_error();
    return object != nullptr;
}

std::optional<CertificateFacts> signerOf(const std::string &cms)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(cms.data());
    const CmsPtr message(d2i_CMS_ContentInfo(nullptr, &bytes, static_cast<long>(cms.size())));
    STACK_OF(CMS_SignerInfo) *signers = message == nullptr ? nullptr : CMS_get0_SignerInfos(message.get());
    STACK_OF(X509) *certificates = message == nullptr ? nullptr : CMS_get1_certs(message.get());
    std::optional<CertificateFacts> facts;
    for (int i = 0; sk_CMS_SignerInfo_num(signers) == 1 && i < sk_X509_num(certificates) && !facts; ++i) {
        X509 *certificate = sk_X509_value(certificates, i);
        if (CMS_SignerInfo_cert_cmp(sk_CMS_SignerInfo_value(signers, 0), certificate) == 0) {
            facts = factsOf(certificate, "");
        }
    }
    sk_X509_pop_free(certificates, X509_free);
    ERR_clear_error();
    return facts;
}

} // namespace tarn::packaging
