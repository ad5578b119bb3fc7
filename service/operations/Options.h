// SPDX-License-Identifier: MIT
/// \file What can be set when the service is started.
#ifndef KINLOOMD_OPERATIONS_OPTIONS_H
#define KINLOOMD_OPERATIONS_OPTIONS_H

#include "wire/XmlWriter.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace kinloomd {

/// What one client may ask of the service.
struct Limits {
    std::size_t headerBytes = 32 * 1024;              ///< all headers of a request
    std::size_t formBytes = 64 * 1024;                ///< the body of a request that is no upload
    std::int64_t uploadBytes = std::int64_t{4} << 30; ///< the file of an upload
    std::int64_t pixels = std::int64_t{1} << 28;      ///< width times height of a picture
    unsigned connections = 512;                       ///< in all
    unsigned connectionsPerAddress = 256;             ///< from one address
    unsigned requestsPerSecond = 0;                   ///< from one address; 0 sets no limit
    std::chrono::milliseconds idleTime{30'000};       ///< without a byte in either direction
    std::chrono::milliseconds headerTime{60'000};     ///< until the headers of the next request are whole
    std::int64_t bytesPerSecond = 4 * 1024;           ///< a body or reply may take its size divided by this, and headerTime
    std::chrono::milliseconds slotTime{std::chrono::hours(1)}; ///< until a reserved upload that never came is forgotten
    unsigned pageRecords = 20'000;                             ///< the largest page that can be asked for
};

struct Options {
    std::string dataFolder;
    std::string listenAddress = "127.0.0.1:8750";
    std::string publicUrl; ///< scheme and authority of the addresses in replies; empty takes the request's Host header
    ReplyShape replyShape = ReplyShape::ELEMENTS;
    std::vector<std::string> faults;
    bool control = false;
    bool logRequests = false;
    Limits limits;
};

} // namespace kinloomd

#endif
