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

/// What one client may ask of the service, beyond what every HTTP server must bound.
struct Limits {
    std::size_t formBytes = 64 * 1024;                         ///< the body of a request that is no upload
    std::int64_t uploadBytes = std::int64_t{4} << 30;          ///< the file of an upload
    std::int64_t pixels = std::int64_t{1} << 28;               ///< width times height of a picture
    std::chrono::milliseconds slotTime{std::chrono::hours(1)}; ///< until a reserved upload that never came is forgotten
    unsigned pageRecords = 20'000;                             ///< the largest page that can be asked for
};

struct Options {
    std::string dataFolder;
    std::string publicUrl; ///< scheme and authority of the addresses in replies; empty takes the request's Host header
    ReplyShape replyShape = ReplyShape::ELEMENTS;
    std::vector<std::string> faults;
    bool control = false;
    bool logRequests = false;
    Limits limits;
};

} // namespace kinloomd

#endif
