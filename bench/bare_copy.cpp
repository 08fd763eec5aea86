#include "bare_copy.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr size_t kHashChunk = 128 * 1024;
constexpr size_t kCopyChunk = 32768;

void require(bool holds, const char *what)
{
    if (!holds) {
        perror(what);
        exit(1);
    }
}

void hashRange(int fd, off_t offset, size_t length, std::vector<unsigned char> &buffer)
{
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    require(EVP_DigestInit_ex(context, EVP_sha256(), nullptr) == 1, "digest");
    for (size_t done = 0; done < length;) {
        const ssize_t got =
            pread(fd, buffer.data(), std::min(length - done, kHashChunk), offset + static_cast<off_t>(done));
        require(got > 0, "read");
        EVP_DigestUpdate(context, buffer.data(), static_cast<size_t>(got));
        done += static_cast<size_t>(got);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    require(EVP_DigestFinal_ex(context, digest, nullptr) == 1, "digest");
    EVP_MD_CTX_free(context);
}

} // namespace

void bareHashCopySync(const char *source, off_t offset, size_t length, const char *destination)
{
    std::vector<unsigned char> buffer(kHashChunk);
    const int in = open(source, O_RDONLY | O_CLOEXEC);
    require(in >= 0, source);
    hashRange(in, offset, length, buffer);
    unlink(destination);
    const int out = open(destination, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0440);
    require(out >= 0, destination);
    for (size_t done = 0; done < length;) {
        const ssize_t got =
            pread(in, buffer.data(), std::min(length - done, kCopyChunk), offset + static_cast<off_t>(done));
        require(got > 0 && write(out, buffer.data(), static_cast<size_t>(got)) == got, "copy");
        done += static_cast<size_t>(got);
    }
    require(fsync(out) == 0, "fsync");
    close(out);
    close(in);
}
