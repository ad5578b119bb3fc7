// SPDX-License-Identifier: MIT
#include "httpd/ConnectionWatch.h"

#include <algorithm>
#include <sys/socket.h>

namespace httpd {

namespace {

constexpr std::chrono::milliseconds WATCH_INTERVAL{500};
constexpr std::int64_t LONGEST_TRANSFER = 1'000'000; ///< seconds; keeps sums of times in range

} // namespace

ConnectionWatch::ConnectionWatch(const Limits& limits) : m_limits(limits), m_watcher([this] { watch(); }) {}

ConnectionWatch::~ConnectionWatch()
{
    m_stop.give();
    m_watcher.join();
}

void ConnectionWatch::opened(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = deadline(0);
}

void ConnectionWatch::closed(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines.erase(socket);
}

void ConnectionWatch::requestBegun(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = deadline(0);
    ++m_requests;
}

void ConnectionWatch::transferring(int socket, std::int64_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = deadline(bytes);
}

void ConnectionWatch::hold(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = Clock::time_point::max();
}

void ConnectionWatch::requestEnded(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = deadline(0);
    if (--m_requests == 0)
        m_quiet.notify_all();
}

void ConnectionWatch::waitForRequests(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_quiet.wait_for(lock, time, [this] { return m_requests == 0; });
}

ConnectionWatch::Clock::time_point ConnectionWatch::deadline(std::int64_t bytes) const
{
    const std::int64_t seconds = std::min(bytes / m_limits.bytesPerSecond, LONGEST_TRANSFER);
    return Clock::now() + m_limits.headerTime + std::chrono::seconds(seconds);
}

void ConnectionWatch::watch()
{
    while (m_stop.sleepFor(WATCH_INTERVAL))
        endOverdue();
}

void ConnectionWatch::endOverdue()
{
    const auto present = Clock::now();
    // The lock keeps the sockets open: none is closed before it is taken out of the map.
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [socket, end] : m_deadlines) {
        if (present < end)
            continue;
        ::shutdown(socket, SHUT_RDWR);
        end = Clock::time_point::max();
    }
}

} // namespace httpd
