// SPDX-License-Identifier: MIT
/// \file Signals kept away from a thread.
#ifndef HTTP_SIGNALBLOCK_H
#define HTTP_SIGNALBLOCK_H

#include "Internal.h"

#include <csignal>
#include <ctime>

namespace W {
namespace WHOST_INTERNAL http {

/// Blocks all signals in the calling thread for a while; a thread that is started meanwhile never gets any.
class AllSignalsBlocked {
public:
    AllSignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t m_before;
};

/// Keeps the SIGPIPE of a connection that breaks under TLS from the calling thread. One that came from elsewhere stays pending.
class PipeSignalBlocked {
public:
    PipeSignalBlocked()
    {
        sigset_t pending;
        sigpending(&pending);
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before);
    }
    ~PipeSignalBlocked()
    {
        const timespec now{};
        if (!m_wasPending)
            sigtimedwait(&m_pipe, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    PipeSignalBlocked(const PipeSignalBlocked&) = delete;
    PipeSignalBlocked& operator=(const PipeSignalBlocked&) = delete;

private:
    sigset_t m_pipe;
    sigset_t m_before;
    bool m_wasPending = false;
};

} // namespace http
} // namespace W

#endif
