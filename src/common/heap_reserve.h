// Where the memory of a very long list comes from. A record is a block of its own, so that it can be freed on its own;
// but 200,000 of them lie on 64,000 pages, and having the kernel hand out and clear those one by one takes longer than
// reading the list. A hint to malloc and the kernel: nothing fails when they do not take it. It is given for lists only
// that are longer than what malloc keeps after they are freed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <sys/mman.h>

#include "common/handles.h"

namespace tarn {

constexpr size_t kHugePage = size_t{2} << 20;

inline void preferHugePages(void *block, size_t size)
{
    const auto start = reinterpret_cast<uintptr_t>(block);
    const uintptr_t first = (start + kHugePage - 1) / kHugePage * kHugePage;
    const uintptr_t end = (start + size) / kHugePage * kHugePage;
    if (first < end) {
        const ErrnoKeeper keeper;
        static_cast<void>(madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE));
    }
}

// Call next() before each of `count` blocks of `size` bytes is taken.
class HeapReserve {
public:
    HeapReserve(size_t count, size_t size)
        : perBlock(size + kOverhead), left(count * perBlock), isWorthwhile(left >= kWorthwhile)
    {
    }

    void next()
    {
        if (ready < perBlock && isWorthwhile) {
            ready = std::min(left, kStep);
            extendHeap(ready);
        }
        ready -= std::min(ready, perBlock);
        left -= std::min(left, perBlock);
    }

private:
    static constexpr size_t kOverhead = 16;
    static constexpr size_t kWorthwhile = 32 * kHugePage;
    static constexpr size_t kStep = 8 * kHugePage;

    // glibc maps a large block on its own until one of its size has been freed; from then on such a block, and what is
    // carved from it when it has been freed again, is part of the heap, which it gives back above twice that size.
    static void extendHeap(size_t size)
    {
        const ErrnoKeeper keeper;
        HeapBlock<char> mapped = allocate<char>(size);
        __asm__ volatile("" : : "r"(mapped.get()) : "memory"); // a block that nobody uses need not be taken at all
        mapped.reset();
        const HeapBlock<char> block = allocate<char>(size);
        if (block) {
            preferHugePages(block.get(), size);
        }
    }

    size_t perBlock;
    size_t left;
    bool isWorthwhile;
    size_t ready = 0;
};

} // namespace tarn
