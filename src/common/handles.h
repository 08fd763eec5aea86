// Owners of what an operation takes: descriptors, streams, INI profiles, heap blocks. Each releases once, on every
// path, and keeps errno.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <utility>

#include <tarn_basic/file.h>
#include <tarn_basic/ini.h>

#include "common/log.h"

namespace tarn {

class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int32_t descriptor) : fd(descriptor) {}
    UniqueFd(UniqueFd &&other) noexcept : fd(std::exchange(other.fd, -1)) {}
    UniqueFd &operator=(UniqueFd &&other) noexcept
    {
        reset();
        fd = std::exchange(other.fd, -1);
        return *this;
    }
    ~UniqueFd() { reset(); }

    int32_t get() const { return fd; }
    void reset()
    {
        if (fd >= 0) {
            const ErrnoKeeper keeper;
            static_cast<void>(::close(std::exchange(fd, -1)));
        }
    }

private:
    int32_t fd = -1;
};

template <auto release> struct Releaser {
    template <class T> void operator()(T *resource) const
    {
        const ErrnoKeeper keeper;
        static_cast<void>(release(resource));
    }
};

using UniqueStream = std::unique_ptr<FILE, Releaser<fclose>>;
using UniqueProfile = std::unique_ptr<SwmIniSection, Releaser<SWM_FreeProfile>>;
template <class T> using HeapBlock = std::unique_ptr<T, Releaser<free>>;

// Heap memory for `count` elements of T; null when there is none. Uninitialised.
template <class T> HeapBlock<T> allocate(size_t count = 1)
{
    return HeapBlock<T>(static_cast<T *>(malloc(count * sizeof(T))));
}

// What a failed open left in its output is not a descriptor of ours.
template <class... Mode> uint32_t openFile(const char *path, int32_t flags, UniqueFd &out, Mode... mode)
{
    int32_t fd = -1;
    const uint32_t status = SWM_Open(path, flags, &fd, mode...);
    if (status == 0) {
        out = UniqueFd(fd);
    }
    return status;
}

inline uint32_t openStream(const char *path, const char *mode, UniqueStream &out)
{
    FILE *stream = nullptr;
    const uint32_t status = SWM_Fopen(path, mode, &stream);
    if (status == 0) {
        out.reset(stream);
    }
    return status;
}

} // namespace tarn
