// SPDX-License-Identifier: MIT
#include "objects/Retries.h"

#include <algorithm>
#include <poll.h>
#include <random>

namespace objects {

namespace {

using std::chrono::milliseconds;

milliseconds randomUpTo(milliseconds most)
{
    thread_local std::minstd_rand generator{std::random_device()()};
    return milliseconds(std::uniform_int_distribution<milliseconds::rep>(0, most.count())(generator));
}

} // namespace

bool RetryBudget::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_left < PRICE)
        return false;
    m_left -= PRICE;
    return true;
}

void RetryBudget::giveBack()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_left = std::min(m_left + 1, m_size);
}

bool Retries::next(std::optional<std::chrono::seconds> wish)
{
    if (m_made >= m_limits->attempts || !m_budget->take())
        return false;
    milliseconds most = m_limits->firstPause;
    for (unsigned i = 1; i < m_made && most < m_limits->longestPause; ++i)
        most *= 2;
    ++m_made;
    milliseconds pause = randomUpTo(std::min(most, m_limits->longestPause));
    // What the store asks for is the least; those who heard it together still come back apart.
    if (wish)
        pause += std::min<milliseconds>(*wish, m_limits->longestPause);
    if (std::chrono::steady_clock::now() + pause >= m_deadline)
        return false;
    pollfd stop{m_stop, POLLIN, 0};
    return ::poll(&stop, 1, static_cast<int>(pause.count())) == 0;
}

} // namespace objects
