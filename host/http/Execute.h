// SPDX-License-Identifier: MIT
/// \file Requests that run on their caller's thread.
#ifndef HTTP_EXECUTE_H
#define HTTP_EXECUTE_H

#include "Internal.h"
#include "W/Http.h"

namespace W {
namespace WHOST_INTERNAL http {

/// Performs a request that passed checkRequest on the calling thread, under the options in force, and fills its response.
/// Any thread, the worker's included. \return how it ended.
SESSION_STATUS executeHere(HttpRequest& request) noexcept;

} // namespace http
} // namespace W

#endif
