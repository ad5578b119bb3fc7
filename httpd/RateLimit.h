// SPDX-License-Identifier: MIT
/// \file How many requests one client may send. Of the library alone.
#ifndef HTTPD_RATELIMIT_H
#define HTTPD_RATELIMIT_H

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace httpd {

/// A token bucket for each network (see \c networkOf): it holds the requests of one second, and fills at that rate. Safe for
/// several threads.
class RateLimit {
public:
    /// \param requestsPerSecond 0 sets no limit.
    explicit RateLimit(unsigned requestsPerSecond) : m_requestsPerSecond(requestsPerSecond) {}

    /// Counts a request from that network. \return false when there are too many of them.
    bool admit(const std::string& network);

private:
    using Clock = std::chrono::steady_clock;
    struct Bucket {
        double tokens;
        Clock::time_point filled;
    };

    const unsigned m_requestsPerSecond;
    std::mutex m_mutex;
    std::map<std::string, Bucket> m_buckets; // guarded by m_mutex
    Clock::time_point m_swept;               // guarded by m_mutex
};

} // namespace httpd

#endif
