// SHA-256 of files in constant memory, and digests as text.
#include "digest.h"

#include <atomic>
#include <cstring>

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <tarn_basic/crypto.h>

#include "characters.h"
#include "file_io.h"

namespace tarn::basic {
namespace {

// Large enough that the reads cost nothing beside the hashing, small enough to stay in a cache.
constexpr size_t kChunk = 64 * 1024;

struct FreeContext {
    void operator()(EVP_MD_CTX *context) const { EVP_MD_CTX_free(context); }
};

// Fetched once and kept: looking the algorithm up costs more than hashing a small member. A failed look-up is tried
// again the next time.
const EVP_MD *sha256()
{
    static std::atomic<EVP_MD *> kept = nullptr;
    EVP_MD *known = kept.load(std::memory_order_acquire);
    if (known != nullptr) {
        return known;
    }
    EVP_MD *fetched = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    if (fetched != nullptr && !kept.compare_exchange_strong(known, fetched, std::memory_order_acq_rel)) {
        EVP_MD_free(fetched);
        return known;
    }
    return fetched;
}

bool hashChunks(int fd, uint64_t limit, EVP_MD_CTX *context, uint64_t *hashed)
{
    const size_t room = limit < kChunk ? static_cast<size_t>(limit) : kChunk;
    const Block<char> chunk = allocateBytes(room + 1);
    if (chunk == nullptr) {
        return false;
    }
    uint64_t done = 0;
    // Nothing at all is read too: that tells whether the descriptor is one to read from.
    do {
        const size_t wanted = limit - done < room ? static_cast<size_t>(limit - done) : room;
        const ssize_t count = retried([&] { return ::read(fd, chunk.get(), wanted); });
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            break;
        }
        if (EVP_DigestUpdate(context, chunk.get(), static_cast<size_t>(count)) != 1) {
            errno = EIO;
            return false;
        }
        done += static_cast<uint64_t>(count);
    } while (done < limit);
    *hashed = done;
    return true;
}

void toHex(const uint8_t *bytes, size_t count, char *out)
{
    constexpr const char *kHex = "0123456789abcdef";
    for (size_t i = 0; i < count; ++i) {
        *out++ = kHex[bytes[i] >> 4];
        *out++ = kHex[bytes[i] & 15];
    }
    *out = '\0';
}

bool fromHex(const char *text, uint8_t *out, size_t count)
{
    if (strnlen(text, 2 * count + 1) != 2 * count) {
        return false;
    }
    for (size_t i = 0; i < count; ++i) {
        const int high = hexValue(text[2 * i]);
        const int low = hexValue(text[2 * i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        out[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

} // namespace

bool hashFile(int fd, uint64_t limit, uint8_t digest[kSha256Size], uint64_t *hashed)
{
    ERR_set_mark();
    const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
    const EVP_MD *algorithm = sha256();
    bool isDone =
        context != nullptr && algorithm != nullptr && EVP_DigestInit_ex2(context.get(), algorithm, nullptr) == 1;
    if (!isDone) {
        errno = ENOMEM;
    }
    isDone = isDone && hashChunks(fd, limit, context.get(), hashed);
    isDone = isDone && EVP_DigestFinal_ex(context.get(), digest, nullptr) == 1;
    ERR_pop_to_mark();
    return isDone;
}

} // namespace tarn::basic

using namespace tarn::basic;

uint32_t SWM_CalcFileSHA256ValueByFileHandleStr(int32_t fd, uint32_t length, char *out, uint32_t outSize)
{
    if (out == nullptr || outSize < 2 * kSha256Size + 1) {
        return refuse(EINVAL);
    }
    uint8_t digest[kSha256Size];
    uint64_t hashed = 0;
    if (!hashFile(fd, length, digest, &hashed)) {
        return kFailure;
    }
    if (hashed != length) {
        return refuse(EIO);
    }
    toHex(digest, sizeof digest, out);
    return kSuccess;
}

uint32_t SWM_GetShaVal(const char *hexText, uint8_t *out, uint32_t outSize)
{
    if (out == nullptr) {
        return refuse(EINVAL);
    }
    if (hexText == nullptr || outSize == 0 || !fromHex(hexText, out, outSize)) {
        memset(out, 0, outSize);
        return refuse(EINVAL);
    }
    return kSuccess;
}

uint32_t SWM_SHA_IsFileDamaged2(const char *path, const uint8_t *digest, uint32_t length)
{
    constexpr uint32_t kIntact = 0;
    constexpr uint32_t kDamaged = 1;
    if (path == nullptr || digest == nullptr || length != kSha256Size) {
        errno = EINVAL;
        return kDamaged;
    }
    const Descriptor fd = openRegular(path, O_RDONLY);
    uint8_t actual[kSha256Size];
    uint64_t hashed = 0;
    if (!fd || !hashFile(fd.get(), UINT64_MAX, actual, &hashed)) {
        return kDamaged;
    }
    return CRYPTO_memcmp(actual, digest, sizeof actual) == 0 ? kIntact : kDamaged;
}
