// Owning handles of libcrypto's types.
#pragma once

#include <memory>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace tarn::basic {

template <auto Release> struct CryptoDeleter {
    template <typename T> void operator()(T *object) const { Release(object); }
};

inline void freeCertificates(STACK_OF(X509) * certificates)
{
    sk_X509_pop_free(certificates, X509_free);
}

using Bio = std::unique_ptr<BIO, CryptoDeleter<BIO_free>>;
using CmsMessage = std::unique_ptr<CMS_ContentInfo, CryptoDeleter<CMS_ContentInfo_free>>;
using Certificate = std::unique_ptr<X509, CryptoDeleter<X509_free>>;
using Certificates = std::unique_ptr<STACK_OF(X509), CryptoDeleter<freeCertificates>>;
using RevocationList = std::unique_ptr<X509_CRL, CryptoDeleter<X509_CRL_free>>;
using Store = std::unique_ptr<X509_STORE, CryptoDeleter<X509_STORE_free>>;
using StoreContext = std::unique_ptr<X509_STORE_CTX, CryptoDeleter<X509_STORE_CTX_free>>;
using PssParameters = std::unique_ptr<RSA_PSS_PARAMS, CryptoDeleter<RSA_PSS_PARAMS_free>>;
using Algorithm = std::unique_ptr<X509_ALGOR, CryptoDeleter<X509_ALGOR_free>>;
using Purpose = std::unique_ptr<ASN1_OBJECT, CryptoDeleter<ASN1_OBJECT_free>>;
using Purposes = std::unique_ptr<EXTENDED_KEY_USAGE, CryptoDeleter<EXTENDED_KEY_USAGE_free>>;

} // namespace tarn::basic
