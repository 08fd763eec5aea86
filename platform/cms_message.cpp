// The form that a list's signature must have (RFC 5652, RFC 4056), and its value. The content is hashed here rather
// than by CMS_verify: the message names the hashes that CMS_verify would compute, and an unsigned message can name very
// many.
#include "cms_message.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "common.h"

namespace tarn::basic {
namespace {

constexpr int kMinKeyBits = 2048;

// The encoding must be the one that DER has for this message; BER would leave room for bytes that nobody looks at.
CmsMessage parseDer(Bytes signature)
{
    const uint8_t *at = signature.data();
    CmsMessage message(d2i_CMS_ContentInfo(nullptr, &at, static_cast<long>(signature.size())));
    if (message == nullptr || at != signature.data() + signature.size()) {
        return nullptr;
    }
    uint8_t *encoded = nullptr;
    const int length = i2d_CMS_ContentInfo(message.get(), &encoded);
    const bool isSame = length >= 0 && static_cast<size_t>(length) == signature.size() &&
                        CRYPTO_memcmp(encoded, signature.data(), signature.size()) == 0;
    OPENSSL_free(encoded);
    return isSame ? std::move(message) : nullptr;
}

SwmCmsResult checkForm(CMS_ContentInfo *message)
{
    if (OBJ_obj2nid(CMS_get0_type(message)) != NID_pkcs7_signed) {
        return SWM_CMS_NOT_SIGNED_DATA;
    }
    if (OBJ_obj2nid(CMS_get0_eContentType(message)) != NID_pkcs7_data) {
        return SWM_CMS_CONTENT_TYPE;
    }
    if (CMS_is_detached(message) != 1) {
        return SWM_CMS_NOT_DETACHED;
    }
    return sk_CMS_SignerInfo_num(CMS_get0_SignerInfos(message)) == 1 ? SWM_CMS_VALID : SWM_CMS_SIGNER_COUNT;
}

int nidOf(const X509_ALGOR *algorithm)
{
    const ASN1_OBJECT *object = nullptr;
    X509_ALGOR_get0(&object, nullptr, nullptr, algorithm);
    return OBJ_obj2nid(object);
}

const EVP_MD *acceptedHash(int nid)
{
    switch (nid) {
    case NID_sha256:
        return EVP_sha256();
    case NID_sha384:
        return EVP_sha384();
    case NID_sha512:
        return EVP_sha512();
    default:
        return nullptr;
    }
}

// The parameters of an algorithm identifier, decoded; null unless they are one sequence of that type.
template <auto Decode> auto parametersOf(const X509_ALGOR *algorithm) -> decltype(Decode(nullptr, nullptr, 0))
{
    int type = V_ASN1_UNDEF;
    const void *value = nullptr;
    X509_ALGOR_get0(nullptr, &type, &value, algorithm);
    if (type != V_ASN1_SEQUENCE) {
        return nullptr;
    }
    const auto *sequence = static_cast<const ASN1_STRING *>(value);
    const unsigned char *at = ASN1_STRING_get0_data(sequence);
    return Decode(nullptr, &at, ASN1_STRING_length(sequence));
}

// Absent fields mean SHA-1 and 20 bytes of salt, so they are refused like any other weak choice.
SwmCmsResult checkPss(const X509_ALGOR *signatureAlgorithm, int contentHash)
{
    const PssParameters pss(parametersOf<d2i_RSA_PSS_PARAMS>(signatureAlgorithm));
    if (pss == nullptr) {
        return SWM_CMS_NOT_PSS;
    }
    const EVP_MD *hash = acceptedHash(contentHash);
    const bool isMgf1 = pss->maskGenAlgorithm != nullptr && nidOf(pss->maskGenAlgorithm) == NID_mgf1;
    const Algorithm maskHash(isMgf1 ? parametersOf<d2i_X509_ALGOR>(pss->maskGenAlgorithm) : nullptr);
    if (hash == nullptr || pss->hashAlgorithm == nullptr || nidOf(pss->hashAlgorithm) != contentHash ||
        maskHash == nullptr || nidOf(maskHash.get()) != contentHash) {
        return SWM_CMS_HASH;
    }
    int64_t salt = 0;
    if (pss->saltLength == nullptr || ASN1_INTEGER_get_int64(&salt, pss->saltLength) != 1 ||
        salt < EVP_MD_get_size(hash)) {
        return SWM_CMS_SALT;
    }
    return SWM_CMS_VALID;
}

// The one value of a signed attribute that must occur exactly once.
const void *signedValue(CMS_SignerInfo *signer, int attribute, int type)
{
    constexpr int kOnceWithOneValue = -3;
    return CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(attribute), kOnceWithOneValue, type);
}

SwmCmsResult checkContent(CMS_SignerInfo *signer, Bytes list, const EVP_MD *hash)
{
    const auto *type = static_cast<const ASN1_OBJECT *>(signedValue(signer, NID_pkcs9_contentType, V_ASN1_OBJECT));
    if (type == nullptr || OBJ_obj2nid(type) != NID_pkcs7_data) {
        return SWM_CMS_CONTENT_TYPE;
    }
    const auto *stated =
        static_cast<const ASN1_OCTET_STRING *>(signedValue(signer, NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING));
    uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    if (EVP_Digest(list.data(), list.size(), digest, &length, hash, nullptr) != 1) {
        return SWM_CMS_NO_MEMORY;
    }
    const bool isSame = stated != nullptr && ASN1_STRING_length(stated) == static_cast<int>(length) &&
                        CRYPTO_memcmp(ASN1_STRING_get0_data(stated), digest, length) == 0;
    return isSame ? SWM_CMS_VALID : SWM_CMS_CONTENT_CHANGED;
}

SwmCmsResult checkAlgorithms(CMS_SignerInfo *signer, const EVP_MD **hash)
{
    if (CMS_signed_get_attr_count(signer) <= 0) {
        return SWM_CMS_NO_SIGNED_ATTRIBUTES;
    }
    X509_ALGOR *contentHash = nullptr;
    X509_ALGOR *signature = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &contentHash, &signature);
    if (nidOf(signature) != NID_rsassaPss) {
        return SWM_CMS_NOT_PSS;
    }
    *hash = acceptedHash(nidOf(contentHash));
    return checkPss(signature, nidOf(contentHash));
}

X509 *findSigner(CMS_SignerInfo *signer, const STACK_OF(X509) * certificates)
{
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        X509 *candidate = sk_X509_value(certificates, i);
        if (CMS_SignerInfo_cert_cmp(signer, candidate) == 0) {
            return candidate;
        }
    }
    return nullptr;
}

bool isStrongRsa(const X509 *certificate)
{
    const EVP_PKEY *key = X509_get0_pubkey(certificate);
    const int type = key != nullptr ? EVP_PKEY_get_base_id(key) : EVP_PKEY_NONE;
    return (type == EVP_PKEY_RSA || type == EVP_PKEY_RSA_PSS) && EVP_PKEY_get_bits(key) >= kMinKeyBits;
}

} // namespace

SwmCmsResult checkMessage(Bytes list, Bytes signature, SignedMessage *out)
{
    out->message = parseDer(signature);
    if (out->message == nullptr) {
        return SWM_CMS_NOT_DER;
    }
    SwmCmsResult result = checkForm(out->message.get());
    if (result != SWM_CMS_VALID) {
        return result;
    }
    CMS_SignerInfo *signer = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(out->message.get()), 0);
    const EVP_MD *hash = nullptr;
    result = checkAlgorithms(signer, &hash);
    result = result == SWM_CMS_VALID ? checkContent(signer, list, hash) : result;
    if (result != SWM_CMS_VALID) {
        return result;
    }
    out->certificates.reset(CMS_get1_certs(out->message.get()));
    out->signer = findSigner(signer, out->certificates.get());
    if (out->signer == nullptr) {
        return SWM_CMS_NO_SIGNER_CERTIFICATE;
    }
    if (!isStrongRsa(out->signer)) {
        return SWM_CMS_KEY;
    }
    CMS_SignerInfo_set1_signer_cert(signer, out->signer);
    return CMS_SignerInfo_verify(signer) == 1 ? SWM_CMS_VALID : SWM_CMS_BAD_SIGNATURE;
}

} // namespace tarn::basic
