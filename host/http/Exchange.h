// SPDX-License-Identifier: MIT
/// \file What is kept of an exchange when it has ended.
#ifndef HTTP_EXCHANGE_H
#define HTTP_EXCHANGE_H

#include "http/RequestImpl.h"

namespace W {
namespace WHOST_INTERNAL http {

/// Forgets the exchange before, at the beginning of another.
void beginExchange(HttpRequest& request) noexcept;

/// Keeps how an exchange went that has ended by itself, and tells the program. Before the response is dropped and while the handle
/// holds the last hop. What there is no memory for is left out.
void noteExchange(HttpRequest& request, CURLcode result, SESSION_STATUS status) noexcept;

/// Keeps why an exchange does not begin, and tells the program. \return the status.
SESSION_STATUS refuseExchange(HttpRequest& request, SESSION_STATUS status, const std::string& cause);

} // namespace http
} // namespace W

#endif
