// SPDX-License-Identifier: MIT
/// \file A line for each request, and for each sign-in that fails, without secrets.
#ifndef KINLOOMD_OPERATIONS_ACCESSLOG_H
#define KINLOOMD_OPERATIONS_ACCESSLOG_H

#include "core/Failure.h"
#include "core/Log.h"
#include "httpd/Request.h"

#include <chrono>
#include <optional>

namespace kinloomd {

/// Logs "ADDRESS METHOD TARGET STATUS TIMEms"; "-" stands for a status that no reply had. What the client chose is made printable,
/// and the keys of media addresses are left out.
void logRequest(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::duration<double, std::milli> time);

/// A target as the log may show it: a media address without its key, in whatever way its path is written.
std::string withoutKeys(std::string_view target);

/// Logs that a request has not proven who it comes from: address, the device that it names, and why.
void logFailedSignIn(const httpd::RequestHead& head, const ServiceError& reason, LogThrottle& throttle);

} // namespace kinloomd

#endif
