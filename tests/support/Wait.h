// SPDX-License-Identifier: MIT
/// \file Waiting for what other threads do, with an end.
#ifndef SUPPORT_WAIT_H
#define SUPPORT_WAIT_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace test {

/// How long waiting functions wait before they give up; long enough for a loaded machine under a sanitizer.
constexpr std::chrono::milliseconds PATIENCE{60'000};

/// Something that one thread announces and others wait for.
class Signal {
public:
    void raise()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_raised = true;
        m_changed.notify_all();
    }
    /// \return false when it was not raised in time.
    bool wait()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, PATIENCE, [&] { return m_raised; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_raised = false;
};

/// Waits for something that nobody announces, such as a file that appears. \return false when it did not come about in time.
template <class Condition> bool comesTrue(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + PATIENCE;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace test

#endif
