// SPDX-License-Identifier: MIT
/// \file What one client may ask of a server.
#ifndef HTTPD_LIMITS_H
#define HTTPD_LIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace httpd {

struct Limits {
    std::size_t headerBytes = 32 * 1024;          ///< all headers of a request
    unsigned connections = 512;                   ///< in all
    unsigned connectionsPerAddress = 256;         ///< from one address
    unsigned requestsPerSecond = 0;               ///< from one address; 0 sets none on loopback, and 500 elsewhere
    std::chrono::milliseconds idleTime{30'000};   ///< without a byte in either direction
    std::chrono::milliseconds headerTime{60'000}; ///< until the headers of the next request are whole
    std::int64_t bytesPerSecond = 4 * 1024;       ///< a body or reply may take its size divided by this, and headerTime; above 0
    std::int64_t chunkedBytes = 64 * 1024;        ///< the size that a chunked body is taken to have when its time is reckoned
};

} // namespace httpd

#endif
