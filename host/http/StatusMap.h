// SPDX-License-Identifier: MIT
/// \file What libcurl's results mean to the client's callers.
#ifndef HTTP_STATUSMAP_H
#define HTTP_STATUSMAP_H

#include "Internal.h"
#include "W/Http.h"

#include <curl/curl.h>

namespace W {
namespace WHOST_INTERNAL http {

/// How a transfer ended for which libcurl reports this; SESSION_DONE for CURLE_OK only.
SESSION_STATUS sessionStatusOf(CURLcode result);

/// True for the results that say that there is no encrypted connection to the peer.
bool isTlsFailure(CURLcode result);

/// The status that execute returns for a transfer that ended so; 0 for SESSION_DONE only.
WSTATUS statusOf(SESSION_STATUS status);

} // namespace http
} // namespace W

#endif
