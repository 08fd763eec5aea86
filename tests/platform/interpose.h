// Calls of the platform library into libc that can be made to fail, to be interrupted or to move less than asked for.
#pragma once

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
    Count
};

// The nth call from now on fails with this error; nth 1 is the next.
void failCall(Call call, unsigned nth, int error);
// Whether it has failed meanwhile. Disarms.
bool hasFailed();
// While set, each read and write is interrupted once and then moves one byte.
void setSlow(bool isSlow);

} // namespace tarn::test
