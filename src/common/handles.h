// Owners of what an operation takes: descriptors, streams, INI profiles, heap blocks, the pieces of a split text. Each
// releases once, on every path, and keeps errno.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>
#include <utility>

#include <tarn_basic/file.h>
#include <tarn_basic/ini.h>
#include <tarn_basic/text.h>

#include "common/log.h"

namespace tarn {

template <auto closeDescriptor> class UniqueDescriptor {
public:
    UniqueDescriptor() = default;
    explicit UniqueDescriptor(int32_t descriptor) : fd(descriptor) {}
    UniqueDescriptor(UniqueDescriptor &&other) noexcept : fd(std::exchange(other.fd, -1)) {}
    UniqueDescriptor &operator=(UniqueDescriptor &&other) noexcept
    {
        reset();
        fd = std::exchange(other.fd, -1);
        return *this;
    }
    ~UniqueDescriptor() { reset(); }

    int32_t get() const { return fd; }
    void reset()
    {
        if (fd >= 0) {
            const ErrnoKeeper keeper;
            static_cast<void>(closeDescriptor(std::exchange(fd, -1)));
        }
    }

private:
    int32_t fd = -1;
};

using UniqueFd = UniqueDescriptor<::close>;
using CanonicalFd = UniqueDescriptor<TARN_CanonicalClose>;

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

// The pieces of a text; there may be none. They are valid as long as this lives.
class Pieces {
public:
    // False, and no pieces, when the platform cannot split.
    bool split(const char *text, const char *separators)
    {
        char **found = nullptr;
        uint32_t number = 0;
        if (SWM_TransString2Array(text, separators, &found, &number) != 0) {
            return false;
        }
        array.reset(found);
        pieces = number;
        return true;
    }
    uint32_t count() const { return pieces; }
    char *const *data() const { return array.get(); }
    char *operator[](uint32_t index) const { return array.get()[index]; }

private:
    HeapBlock<char *> array;
    uint32_t pieces = 0;
};

} // namespace tarn
