// SPDX-License-Identifier: MIT
/// \file What a thread that drives a call waits on.
#ifndef KINLOOM_CLIENT_BELL_H
#define KINLOOM_CLIENT_BELL_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kinloom {

/// A condition that any thread can say has changed.
class Bell {
public:
    using Clock = std::chrono::steady_clock;

    /// Changes something that waiters look at, and wakes them.
    template <class Change> void ring(Change change)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            change();
        }
        m_changed.notify_all();
    }

    /// Waits until \p happened holds, looking whenever the bell rings, or until the time comes.
    /// \return whether it holds.
    template <class Predicate> bool waitUntil(Clock::time_point time, Predicate happened)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_until(lock, time, happened);
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

} // namespace kinloom

#endif
