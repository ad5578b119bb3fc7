// SPDX-License-Identifier: MIT
/// \file What can be set when the service is started.
#ifndef KINLOOMD_OPERATIONS_OPTIONS_H
#define KINLOOMD_OPERATIONS_OPTIONS_H

#include "core/DataPlace.h"
#include "httpd/AddressRange.h"
#include "media/MediaPlace.h"
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
    unsigned slots = 1'000;                                    ///< uploads that a person has reserved and not sent
    unsigned groups = 1'000;                                   ///< groups that a person is the master of
    std::int64_t quotaBytes = 0;                               ///< the files of a person's contents together; 0 sets none
    std::size_t eventStreams = 256;                            ///< of pages that are open
    std::size_t eventStreamsPerAddress = 128;
    std::chrono::milliseconds sentBeforeTime{std::chrono::hours(1)}; ///< during which an upload that comes again is known again
};

struct Options {
    DataPlace data;
    MediaPlace media;
    std::string publicUrl;  ///< scheme and authority of the addresses in replies; empty takes the request's Host header
    std::string ownAddress; ///< the same of invitations and pairing, which never take a request's word for it
    std::string webFolder;  ///< of the family's page; empty for none
    ReplyShape replyShape = ReplyShape::ELEMENTS;
    std::vector<std::string> faults;
    bool control = false;
    bool logRequests = false;
    std::vector<httpd::AddressRange> metricsFrom; ///< who may ask for health and metrics, beside this computer
    std::string timeZone;                         ///< of pictures whose camera noted none; empty takes the system's
    Limits limits;
};

} // namespace kinloomd

#endif
