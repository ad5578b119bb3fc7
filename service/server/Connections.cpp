// SPDX-License-Identifier: MIT
#include "server/Connections.h"

#include <algorithm>
#include <sys/socket.h>

namespace kinloomd {

namespace {

constexpr std::chrono::milliseconds WATCH_INTERVAL{500};
constexpr std::int64_t LONGEST_TRANSFER = 1'000'000; ///< seconds; keeps sums of times in range
constexpr std::size_t MANY_ADDRESSES = 4096;

} // namespace

Connections::Connections(const Limits& limits, const StopSignal& stop)
    : m_limits(limits), m_stop(stop), m_watcher([this] { watch(); })
{
}

Connections::~Connections() { m_watcher.join(); }

void Connections::opened(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = Clock::now() + m_limits.headerTime;
}

void Connections::closed(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines.erase(socket);
}

void Connections::requestBegun(int socket, std::int64_t bodyBytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = deadline(bodyBytes);
    ++m_requests;
}

void Connections::replying(int socket, std::int64_t replyBytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = deadline(replyBytes);
}

void Connections::hold(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = Clock::time_point::max();
}

void Connections::requestEnded(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_deadlines[socket] = Clock::now() + m_limits.headerTime;
    if (--m_requests == 0)
        m_quiet.notify_all();
}

void Connections::waitForRequests(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_quiet.wait_for(lock, time, [this] { return m_requests == 0; });
}

bool Connections::admit(const std::string& address)
{
    if (m_limits.requestsPerSecond == 0)
        return true;
    const double capacity = m_limits.requestsPerSecond;
    const auto present = Clock::now();
    const std::lock_guard<std::mutex> lock(m_bucketsMutex);
    if (m_buckets.size() > MANY_ADDRESSES) {
        // A bucket that is full again says nothing.
        for (auto bucket = m_buckets.begin(); bucket != m_buckets.end();)
            bucket = present - bucket->second.filled > std::chrono::seconds(1) ? m_buckets.erase(bucket) : std::next(bucket);
    }
    Bucket& bucket = m_buckets.try_emplace(address, Bucket{capacity, present}).first->second;
    const std::chrono::duration<double> passed = present - bucket.filled;
    bucket.tokens = std::min(capacity, bucket.tokens + passed.count() * capacity);
    bucket.filled = present;
    if (bucket.tokens < 1)
        return false;
    bucket.tokens -= 1;
    return true;
}

Connections::Clock::time_point Connections::deadline(std::int64_t bytes) const
{
    const std::int64_t seconds = std::min(bytes / m_limits.bytesPerSecond, LONGEST_TRANSFER);
    return Clock::now() + m_limits.headerTime + std::chrono::seconds(seconds);
}

void Connections::watch()
{
    while (m_stop.sleepFor(WATCH_INTERVAL))
        endOverdue();
}

void Connections::endOverdue()
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

} // namespace kinloomd
