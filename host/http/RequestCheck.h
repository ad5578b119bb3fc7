// SPDX-License-Identifier: MIT
/// \file Which requests the client takes.
#ifndef HTTP_REQUESTCHECK_H
#define HTTP_REQUESTCHECK_H

#include "Internal.h"
#include "W/Http.h"

namespace W {
namespace WHOST_INTERNAL http {

/// Tells whether the client can run a request, and prepares its URL. Touches nothing on the network.
/// \return 0, or the negative status that addRequest and execute return.
WSTATUS checkRequest(HttpRequest& request);

} // namespace http
} // namespace W

#endif
