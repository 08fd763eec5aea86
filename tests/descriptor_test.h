// Base of the tests of descriptor files: one file of text, and what is said of lists that are made anew.
#pragma once

#include <cerrno>
#include <functional>

#include <tarn_boot/descriptor.h>

#include "line_list_test.h"

namespace tarn::test {

class DescriptorTest : public BootTest {
protected:
    const fs::path path = dir / "desc.txt";

    const char *write(const std::string &text) const
    {
        writeFile(path, text);
        return path.c_str();
    }
    // A FIFO opens at once and then has neither data nor an end.
    const char *fifo() const
    {
        if (mkfifo((dir / "fifo").c_str(), 0600) != 0 && errno != EEXIST) {
            throw std::runtime_error("no FIFO");
        }
        return fifoPath.c_str();
    }

private:
    const fs::path fifoPath = dir / "fifo";
};

// A list head as the caller may leave it: it must be made anew, or be left as it is.
inline SwmListHead garbageHead()
{
    return {reinterpret_cast<SwmListNode *>(0x10), reinterpret_cast<SwmListNode *>(0x20), 77};
}

inline bool isGarbageHead(const SwmListHead &head)
{
    const SwmListHead other = garbageHead();
    return head.next == other.next && head.prev == other.prev && head.count == other.count;
}

template <size_t size> std::string textOf(const char (&field)[size])
{
    EXPECT_NE(memchr(field, '\0', size), nullptr) << "not terminated";
    return {field, strnlen(field, size)};
}

// True when a field holds the text and zeroes behind it.
template <size_t size> bool isZeroFilled(const char (&field)[size])
{
    for (size_t i = strnlen(field, size); i < size; ++i) {
        if (field[i] != '\0') {
            return false;
        }
    }
    return true;
}

// How often the function says, over all runs in which one clear fails, that it could not clear.
inline unsigned failedClearsToldBy(const char *function, const std::function<void()> &run)
{
    const std::string start = std::string("[BOOT][SWM_COMMON][WARNING]: memset failed: ") + function + ", line: ";
    unsigned told = 0;
    for (unsigned nth = 1;; ++nth) {
        failCall(Call::Memset, nth);
        run();
        const bool hit = faultHit();
        for (const LogLine &line : takeLog()) {
            told += line.text.rfind(start, 0) == 0 ? 1 : 0;
        }
        if (!hit) {
            return told;
        }
    }
}

} // namespace tarn::test
