// Work that a signal must not cut in two.
#pragma once

#include <csignal>

namespace tarn::packaging {

// Puts INT, TERM and HUP off while the object lives: they act when it is gone. For the calling thread and the threads
// it starts; a program's other threads must have them off as well.
class DeferredSignals {
public:
    DeferredSignals()
    {
        sigset_t deferred;
        sigemptyset(&deferred);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            sigaddset(&deferred, signal);
        }
        pthread_sigmask(SIG_BLOCK, &deferred, &before);
    }
    DeferredSignals(const DeferredSignals &) = delete;
    DeferredSignals &operator=(const DeferredSignals &) = delete;
    ~DeferredSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before;
};

} // namespace tarn::packaging
