// What the units of the platform library share: statuses, owning handles, calls that are taken up again after a signal.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

namespace tarn::basic {

constexpr uint32_t kSuccess = 0;
constexpr uint32_t kFailure = 0xFFFFFFFF;

// Every descriptor: not inherited by programs we start, and never the controlling terminal.
constexpr int kOpenFlags = O_CLOEXEC | O_NOCTTY;
// For whatever may turn out to be a FIFO or a link planted by somebody else.
constexpr int kReadFlags = O_RDONLY | O_NONBLOCK | kOpenFlags;

// Sets errno for a refusal of our own.
inline uint32_t refuse(int error)
{
    errno = error;
    return kFailure;
}

class ErrnoKeeper {
public:
    ErrnoKeeper() : saved(errno) {}
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;
    ~ErrnoKeeper() { errno = saved; }

private:
    int saved;
};

// Closing never changes errno, so that the reason of a failure survives the way out.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : fd(descriptor) {}
    Descriptor(Descriptor &&other) noexcept : fd(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    ~Descriptor() { reset(-1); }

    explicit operator bool() const { return fd >= 0; }
    int get() const { return fd; }
    int release()
    {
        const int released = fd;
        fd = -1;
        return released;
    }

private:
    void reset(int next)
    {
        if (fd >= 0) {
            const ErrnoKeeper keeper;
            ::close(fd);
        }
        fd = next;
    }

    int fd = -1;
};

struct FreeBlock {
    void operator()(void *block) const { ::free(block); }
};
template <typename T> using Block = std::unique_ptr<T, FreeBlock>;

// Room for `count` bytes; null with ENOMEM.
inline Block<char> allocateBytes(size_t count)
{
    return Block<char>(static_cast<char *>(::malloc(count)));
}

struct CloseStream {
    void operator()(FILE *stream) const
    {
        const ErrnoKeeper keeper;
        ::fclose(stream);
    }
};
using Stream = std::unique_ptr<FILE, CloseStream>;

struct CloseDirectory {
    void operator()(DIR *directory) const
    {
        const ErrnoKeeper keeper;
        ::closedir(directory);
    }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

template <typename Call> auto retried(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace tarn::basic
