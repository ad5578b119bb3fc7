// SPDX-License-Identifier: MIT
/// \file What the stand-alone host's HTTP client knows and allows of single requests, beyond what every host offers.
#ifndef WHOST_HTTPREQUESTS_H
#define WHOST_HTTPREQUESTS_H

#include "whost/HttpEvents.h"

#include <cstdint>

namespace W {

/// How the exchange of a request went. Valid as long as the request, and to be asked once it has ended: in its completion, or when
/// execute has returned. An exchange that a limit of the client or a cancel ended is as it was before it began.
const HttpExchange& exchangeOf(const HttpRequest& request);

/// Limits what a request may bring with success (2xx): one more byte, be it announced or sent, ends it with SESSION_TOO_LARGE. The
/// client's own limits hold too. To be called before the request is queued or executed.
/// \param bytes of the decoded body, in memory or in a file; 0: the client's limits only.
void limitBody(HttpRequest& request, std::uint64_t bytes);

} // namespace W

#endif
