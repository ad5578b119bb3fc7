// SPDX-License-Identifier: MIT
/// \file The end of the service, as something that can be waited for.
#ifndef KINLOOMD_CORE_STOPSIGNAL_H
#define KINLOOMD_CORE_STOPSIGNAL_H

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace kinloomd {

/// Given once; everything that waits goes on. Safe for several threads.
class StopSignal {
public:
    void give();
    bool isGiven() const;
    /// Waits for that long. \return false when the signal cut it short.
    bool sleepFor(std::chrono::milliseconds time) const;

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_change;
    bool m_given = false; // guarded by m_mutex
};

} // namespace kinloomd

#endif
