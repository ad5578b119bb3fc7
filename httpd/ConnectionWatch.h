// SPDX-License-Identifier: MIT
/// \file Connections and the time that they are given. Of the library alone.
#ifndef HTTPD_CONNECTIONWATCH_H
#define HTTPD_CONNECTIONWATCH_H

#include "httpd/Limits.h"
#include "httpd/StopSignal.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace httpd {

/// Watches over all connections. The HTTP library ends those on which nothing moves; this ends those on which too little moves: a
/// client may take a fixed time for the headers of its next request, and for a body or a reply a time in proportion to its size.
class ConnectionWatch {
public:
    explicit ConnectionWatch(const Limits& limits);
    ConnectionWatch(const ConnectionWatch&) = delete;
    ConnectionWatch& operator=(const ConnectionWatch&) = delete;
    ~ConnectionWatch();

    void opened(int socket);
    /// Before the socket is closed.
    void closed(int socket);

    /// A request has begun: its headers are whole.
    void requestBegun(int socket);
    /// So many bytes are about to pass in either direction.
    void transferring(int socket, std::int64_t bytes);
    /// The server itself keeps the client waiting: no time runs until the next of these calls.
    void hold(int socket);
    /// The reply is through, or the request has ended otherwise.
    void requestEnded(int socket);

    /// Waits until no request is under way, at most that long.
    void waitForRequests(std::chrono::milliseconds time);

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point deadline(std::int64_t bytes) const;
    void watch();
    void endOverdue();

    const Limits m_limits;
    StopSignal m_stop;
    std::mutex m_mutex;
    std::condition_variable m_quiet;
    std::map<int, Clock::time_point> m_deadlines; // guarded by m_mutex
    std::size_t m_requests = 0;                   // guarded by m_mutex
    std::thread m_watcher;
};

} // namespace httpd

#endif
