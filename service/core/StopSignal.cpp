// SPDX-License-Identifier: MIT
#include "core/StopSignal.h"

namespace kinloomd {

void StopSignal::give()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_given = true;
    m_change.notify_all();
}

bool StopSignal::isGiven() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_given;
}

bool StopSignal::sleepFor(std::chrono::milliseconds time) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return !m_change.wait_for(lock, time, [this] { return m_given; });
}

} // namespace kinloomd
