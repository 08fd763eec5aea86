// Calls of the platform library into libc that can be made to fail, to be interrupted or to move less than asked for.
#pragma once

#include <functional>

namespace tarn::test {

enum class Call {
    Malloc,
    Realloc,
    Open, // openat and the fortified forms too
    Read,
    Write,
    Fstat,
    Fsync,
    Fchmod,
    Fchown,
    Ftruncate,
    Rename,
    Mkdir,
    Unlink,
    Pipe,
    Strdup,
    Fdopen,
    Ioctl,
    Count
};

// The nth call from now on fails with this error; nth 1 is the next.
void failCall(Call call, unsigned nth, int error);
// Whether it has failed meanwhile. Disarms.
bool hasFailed();
// While set, each read and write is interrupted once and then moves one byte.
void setSlow(bool isSlow);

// Told of each call before it is made: the flags of one that opens, else the descriptor; 0 where there is neither.
using Observer = std::function<void(Call call, int number)>;
void setObserver(Observer observer);

// While set, the loop driver is this function: its devices can be opened, and it answers their ioctls as those would.
using LoopDriver = std::function<int(unsigned long request, void *argument)>;
void setLoopDriver(LoopDriver driver);

} // namespace tarn::test
