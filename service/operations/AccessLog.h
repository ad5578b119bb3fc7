// SPDX-License-Identifier: MIT
/// \file A line for each request, without secrets.
#ifndef KINLOOMD_OPERATIONS_ACCESSLOG_H
#define KINLOOMD_OPERATIONS_ACCESSLOG_H

#include "httpd/Request.h"

#include <chrono>
#include <optional>

namespace kinloomd {

/// Writes "ADDRESS METHOD TARGET STATUS TIMEms" on standard error; "-" stands for a status that no reply had. What the client chose
/// is made printable, and the keys of media addresses are left out.
void logRequest(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::duration<double, std::milli> time);

} // namespace kinloomd

#endif
