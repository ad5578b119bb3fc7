// SPDX-License-Identifier: MIT
#include "httpd/ConnectionWatch.h"

#include "httpd/Address.h"

#include <algorithm>
#include <linux/sockios.h>
#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <utility>

namespace httpd {

namespace {

constexpr std::chrono::milliseconds WATCH_INTERVAL{500};
constexpr std::chrono::seconds REST{5};              ///< that a connection may have between its requests where others wait
constexpr std::uint64_t LITTLE = 32 * 1024;          ///< bytes that a client takes between two looks, who holds its place with them
constexpr unsigned SLOW_LOOKS = 2;                   ///< in a row; a reply may have begun just before the first
constexpr std::int64_t LONGEST_TRANSFER = 1'000'000; ///< seconds; keeps sums of times in range

} // namespace

ConnectionWatch::ConnectionWatch(const Limits& limits, Counters& counters)
    : m_limits(limits), m_counters(counters), m_watcher([this] { watch(); })
{
}

ConnectionWatch::~ConnectionWatch()
{
    m_stop.give();
    m_watcher.join();
}

bool ConnectionWatch::opened(int socket, const std::string& address, bool countsAlone)
{
    std::string network = networkOf(address);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed || !makeRoom(network, countsAlone)) {
        ++m_counters.turnedAway;
        return false;
    }
    Watched connection;
    connection.network = std::move(network);
    connection.countsAlone = countsAlone;
    connection.opened = Clock::now();
    connection.deadline = deadline(0);
    m_connections[socket] = std::move(connection);
    ++m_counters.accepted;
    ++m_counters.open;
    return true;
}

void ConnectionWatch::closed(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections.erase(socket);
    --m_counters.open;
}

/// \return whether there is room for one more connection, of which another may have been ended.
bool ConnectionWatch::makeRoom(const std::string& network, bool countsAlone)
{
    std::size_t all = 0;
    std::size_t same = 0;
    for (const auto& [socket, connection] : m_connections) {
        all += connection.ended ? 0 : 1;
        same += !connection.ended && !connection.countsAlone && connection.network == network ? 1 : 0;
    }
    const bool tooManyOfOne = !countsAlone && same >= m_limits.connectionsPerAddress;
    if (!tooManyOfOne && all < m_limits.connections)
        return true;
    const auto victim = victimAmong(tooManyOfOne ? &network : nullptr);
    if (victim == m_connections.end())
        return false;
    end(victim->first, victim->second);
    ++m_counters.gaveWay;
    return true;
}

/// Whether a connection holds its place for nothing, or for next to nothing.
bool ConnectionWatch::isIdle(const Watched& connection) { return !connection.working || connection.slowLooks >= SLOW_LOOKS; }

/// The connection that gives way. First those that do nothing: of the network that has most of them, the oldest. Then those that
/// have worked and have been resting for a while. \param network only connections of this one, unless it is
/// null.
ConnectionWatch::Connections::iterator ConnectionWatch::victimAmong(const std::string* network)
{
    std::map<std::string, std::size_t> idlers;
    for (const auto& [socket, connection] : m_connections)
        idlers[connection.network] += connection.ended || !isIdle(connection) ? 0 : 1;
    const auto resting = Clock::now() - REST;
    const auto rank = [&](const Watched& connection) -> std::size_t {
        if (isIdle(connection))
            return 1 + idlers[connection.network];
        const bool rests = !connection.inRequest && connection.opened < resting;
        return rests ? 1 : 0;
    };
    auto victim = m_connections.end();
    for (auto entry = m_connections.begin(); entry != m_connections.end(); ++entry) {
        const Watched& connection = entry->second;
        const bool held = connection.deadline == Clock::time_point::max();
        const bool eligible = !connection.ended && !held && (network == nullptr || connection.network == *network);
        if (!eligible || rank(connection) == 0)
            continue;
        const bool first = victim == m_connections.end();
        if (first || rank(connection) > rank(victim->second) ||
            (rank(connection) == rank(victim->second) && connection.opened < victim->second.opened))
            victim = entry;
    }
    return victim;
}

/// With the lock, which keeps the socket open: none is closed before it is taken out of the map.
void ConnectionWatch::end(int socket, Watched& connection)
{
    ::shutdown(socket, SHUT_RDWR);
    connection.deadline = Clock::time_point::max();
    connection.ended = true;
}

void ConnectionWatch::requestBegun(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Watched& connection = m_connections[socket];
    connection.deadline = deadline(0);
    connection.inRequest = true;
    ++m_requests;
}

void ConnectionWatch::transferring(int socket, std::int64_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections[socket].deadline = deadline(bytes);
}

void ConnectionWatch::hold(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections[socket].deadline = Clock::time_point::max();
}

void ConnectionWatch::worked(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_connections[socket].working = true;
}

void ConnectionWatch::requestEnded(int socket)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Watched& connection = m_connections[socket];
    connection.deadline = deadline(0);
    connection.inRequest = false;
    // A client that is only ever refused has its first connection time run on.
    if (connection.working)
        connection.opened = Clock::now();
    if (--m_requests == 0)
        m_quiet.notify_all();
}

bool ConnectionWatch::forwardedBegun(const std::string& network)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    unsigned& count = m_forwarded[network];
    if (count >= m_limits.connectionsPerAddress)
        return false;
    ++count;
    return true;
}

void ConnectionWatch::forwardedEnded(const std::string& network)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_forwarded.find(network);
    if (--found->second == 0)
        m_forwarded.erase(found);
}

void ConnectionWatch::waitForRequests(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_quiet.wait_for(lock, time, [this] { return m_requests == 0; });
}

void ConnectionWatch::endAll()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    for (auto& [socket, connection] : m_connections)
        end(socket, connection);
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

/// Sees how much of what was sent the client has taken since the last look. The system's buffers hold short replies whole, so what
/// was written says nothing.
void ConnectionWatch::look(int socket, Watched& connection)
{
    tcp_info info{};
    socklen_t size = sizeof info;
    int waiting = 0;
    const bool seen = ::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 && ::ioctl(socket, SIOCOUTQ, &waiting) == 0;
    const bool slow = seen && waiting > 0 && info.tcpi_bytes_acked - connection.taken < LITTLE;
    connection.taken = info.tcpi_bytes_acked;
    connection.slowLooks = slow ? std::min(connection.slowLooks + 1, SLOW_LOOKS) : 0;
}

void ConnectionWatch::endOverdue()
{
    const auto present = Clock::now();
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [socket, connection] : m_connections) {
        if (!connection.ended)
            look(socket, connection);
        if (connection.ended || present < connection.deadline)
            continue;
        end(socket, connection);
        ++m_counters.timedOut;
    }
}

} // namespace httpd
