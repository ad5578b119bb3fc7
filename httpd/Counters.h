// SPDX-License-Identifier: MIT
/// \file What a server has done so far.
#ifndef HTTPD_COUNTERS_H
#define HTTPD_COUNTERS_H

#include <atomic>
#include <cstdint>

namespace httpd {

/// Counts of one server since it began. Any thread may read them while they rise.
struct Counters {
    std::atomic<std::uint64_t> open{0};             ///< connections right now
    std::atomic<std::uint64_t> accepted{0};         ///< connections
    std::atomic<std::uint64_t> turnedAway{0};       ///< connections that were one too many
    std::atomic<std::uint64_t> gaveWay{0};          ///< connections that were ended for others' sake
    std::atomic<std::uint64_t> timedOut{0};         ///< connections that took too long
    std::atomic<std::uint64_t> failedHandshakes{0}; ///< connections that agreed on no encryption
    std::atomic<std::uint64_t> bytesReceived{0};    ///< of requests, before encryption
    std::atomic<std::uint64_t> bytesSent{0};        ///< of replies, before encryption
};

} // namespace httpd

#endif
