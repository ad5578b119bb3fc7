// SPDX-License-Identifier: MIT
/// \file Connections and the time that they are given.
#ifndef KINLOOMD_SERVER_CONNECTIONS_H
#define KINLOOMD_SERVER_CONNECTIONS_H

#include "core/StopSignal.h"
#include "operations/Options.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace kinloomd {

/// Watches over all connections. The HTTP library ends those on which nothing moves; this ends those on which too little moves: a
/// client may take a fixed time for the headers of its next request, and for a body or a reply a time in proportion to its size.
class Connections {
public:
    Connections(const Limits& limits, const StopSignal& stop);
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;
    ~Connections();

    void opened(int socket);
    /// Before the socket is closed.
    void closed(int socket);

    /// A request has begun: its headers are whole, and a body of that size follows.
    void requestBegun(int socket, std::int64_t bodyBytes);
    /// Its reply, of that size, is about to be sent.
    void replying(int socket, std::int64_t replyBytes);
    /// The service itself keeps the client waiting: no time runs until the next of these calls.
    void hold(int socket);
    /// The reply is through, or the request has ended otherwise.
    void requestEnded(int socket);

    /// Waits until no request is under way, at most that long.
    void waitForRequests(std::chrono::milliseconds time);

    /// Counts a request from that address. \return false when there are too many of them.
    bool admit(const std::string& address);

private:
    using Clock = std::chrono::steady_clock;
    struct Bucket {
        double tokens;
        Clock::time_point filled;
    };

    Clock::time_point deadline(std::int64_t bytes) const;
    void watch();
    void endOverdue();

    const Limits m_limits;
    const StopSignal& m_stop;
    std::mutex m_mutex;
    std::condition_variable m_quiet;
    std::map<int, Clock::time_point> m_deadlines; // guarded by m_mutex
    std::size_t m_requests = 0;                   // guarded by m_mutex
    std::mutex m_bucketsMutex;
    std::map<std::string, Bucket> m_buckets; // guarded by m_bucketsMutex
    std::thread m_watcher;
};

} // namespace kinloomd

#endif
