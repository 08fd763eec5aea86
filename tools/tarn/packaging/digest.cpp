// SHA-256 by OpenSSL.
#include "packaging/digest.h"

#include "packaging/error.h"

namespace tarn::packaging {

namespace {

void require(int status)
{
    if (status != 1) {
        throw PackagingError("SHA-256 is not available: check the OpenSSL installation");
    }
}

} // namespace

Sha256::Sha256() : context(EVP_MD_CTX_new())
{
    require(EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr));
}

void Sha256::update(const void *data, size_t size)
{
    require(EVP_DigestUpdate(context.get(), data, size));
}

std::string Sha256::text()
{
    static constexpr char kDigits[] = "0123456789abcdef";
    unsigned char digest[32] = {};
    require(EVP_DigestFinal_ex(context.get(), digest, nullptr));
    std::string text;
    for (const unsigned char byte : digest) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

} // namespace tarn::packaging
