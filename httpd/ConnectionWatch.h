// SPDX-License-Identifier: MIT
/// \file Connections: how many there may be, and the time that they are given. Of the library alone.
#ifndef HTTPD_CONNECTIONWATCH_H
#define HTTPD_CONNECTIONWATCH_H

#include "httpd/Counters.h"
#include "httpd/Limits.h"
#include "httpd/StopSignal.h"

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace httpd {

/// Watches over all connections. A transport ends those on which nothing moves; this ends those on which too little moves: a client
/// may take a fixed time for the headers of its next request, and for a body or a reply a time in proportion to its size.
///
/// Where there are too many connections, those that have not done anything that the handler cared for give way to new ones, the
/// oldest first, and so do those that hardly take what they are sent: somebody who opens all that there may be, and says or takes
/// little on them, keeps nobody else out.
class ConnectionWatch {
public:
    ConnectionWatch(const Limits& limits, Counters& counters);
    ConnectionWatch(const ConnectionWatch&) = delete;
    ConnectionWatch& operator=(const ConnectionWatch&) = delete;
    ~ConnectionWatch();

    /// A connection is there. The limit for each address holds for its network, see \c networkOf. \param countsAlone that limit
    /// does not hold for it. \return false when it is one too many and none gives way: it is not watched then.
    bool opened(int socket, const std::string& address, bool countsAlone);
    /// Before the socket is closed.
    void closed(int socket);

    /// A request has begun: its headers are whole.
    void requestBegun(int socket);
    /// So many bytes are about to pass in either direction.
    void transferring(int socket, std::int64_t bytes);
    /// The server itself keeps the client waiting: no time runs until the next of these calls.
    void hold(int socket);
    /// The handler wants the body of somebody whom it knows, or has answered and refused nothing: the connection is one that works.
    void worked(int socket);
    /// The reply is through, or the request has ended otherwise.
    void requestEnded(int socket);

    /// Enters a request that a proxy has forwarded for somebody in that network. \return false when there are as many as it may
    /// have connections.
    bool forwardedBegun(const std::string& network);
    void forwardedEnded(const std::string& network);

    /// Waits until no request is under way, at most that long.
    void waitForRequests(std::chrono::milliseconds time);
    /// Ends all connections; none is opened afterwards.
    void endAll();

    const Counters& counters() const { return m_counters; }

private:
    using Clock = std::chrono::steady_clock;

    struct Watched {
        std::string network;
        bool countsAlone = false;
        Clock::time_point opened;   ///< or when its last request ended
        Clock::time_point deadline; ///< when it is ended
        bool working = false;       ///< has done something that the handler cared for
        std::uint64_t taken = 0;    ///< bytes that the client had confirmed at the last look
        unsigned slowLooks = 0;     ///< so often in a row it had hardly taken anything of what was there for it
        bool inRequest = false;
        bool ended = false; ///< its socket is shut down; it counts no longer
    };

    using Connections = std::map<int, Watched>; ///< by socket

    Clock::time_point deadline(std::int64_t bytes) const;
    bool makeRoom(const std::string& network, bool countsAlone);
    Connections::iterator victimAmong(const std::string* network);
    static bool isIdle(const Watched& connection);
    static void look(int socket, Watched& connection);
    static void end(int socket, Watched& connection);
    void watch();
    void endOverdue();

    const Limits m_limits;
    Counters& m_counters;
    StopSignal m_stop;
    std::mutex m_mutex;
    std::condition_variable m_quiet;
    Connections m_connections;                   // guarded by m_mutex
    std::map<std::string, unsigned> m_forwarded; // by network; guarded by m_mutex
    std::size_t m_requests = 0;                  // guarded by m_mutex
    bool m_closed = false;                       // guarded by m_mutex
    std::thread m_watcher;
};

} // namespace httpd

#endif
