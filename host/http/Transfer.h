// SPDX-License-Identifier: MIT
/// \file One exchange with a server, hop by hop, whatever loop drives it.
#ifndef HTTP_TRANSFER_H
#define HTTP_TRANSFER_H

#include "http/TransferState.h"

namespace W {
namespace WHOST_INTERNAL http {

class Connections;

/// Sets the request's handle up for its first hop.
/// \param connections of the loop that will drive the transfer; it outlives all handles.
/// \return SESSION_DONE, or why the transfer ends before it began.
SESSION_STATUS beginTransfer(HttpRequest& request, Connections& connections, Clock::time_point now) noexcept;

/// Looks at the end of a hop.
/// \return true when the transfer has ended: its status and the response are final. False: the handle is set up for another hop.
bool endHop(HttpRequest& request, CURLcode result, Clock::time_point now) noexcept;

/// Ends a transfer for a reason of the client's own; the handle must not be in use by libcurl.
void endTransfer(HttpRequest& request, SESSION_STATUS status) noexcept;

/// How often stalls() wants to be asked; zero: never.
Clock::duration stallInterval(const ClientOptions& options);

/// True when a running transfer has been too slow for too long.
bool stalls(HttpRequest& request, Clock::time_point now);

} // namespace http
} // namespace W

#endif
