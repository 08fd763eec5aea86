// Owners of OpenSSL objects, and its last error in words.
#pragma once

#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include "packaging/error.h"

namespace tarn::packaging {

template <auto release> struct Releaser {
    template <typename T> void operator()(T *object) const { release(object); }
};

using BioPtr = std::unique_ptr<BIO, Releaser<BIO_free_all>>;
using CertificatePtr = std::unique_ptr<X509, Releaser<X509_free>>;
using CmsPtr = std::unique_ptr<CMS_ContentInfo, Releaser<CMS_ContentInfo_free>>;
using DigestContextPtr = std::unique_ptr<EVP_MD_CTX, Releaser<EVP_MD_CTX_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;

// Throws PackagingError "<what>: <why>" unless the OpenSSL call that gave `status` worked.
inline void requireOpenssl(bool status, const std::string &what)
{
    if (status) {
        return;
    }
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    const std::string text = what + ": " + (reason == nullptr ? "OpenSSL gives no reason" : reason);
    ERR_clear_error();
    throw PackagingError(text);
}

} // namespace tarn::packaging
