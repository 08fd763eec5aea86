// SHA-256 in pieces.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include <openssl/evp.h>

namespace tarn::packaging {

class Sha256 {
public:
    Sha256();
    void update(const void *data, size_t size);
    // 64 lower-case hexadecimal digits; ends the computation.
    std::string text();

private:
    struct Free {
        void operator()(EVP_MD_CTX *released) const { EVP_MD_CTX_free(released); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context;
};

} // namespace tarn::packaging
