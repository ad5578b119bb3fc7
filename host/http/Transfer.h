// SPDX-License-Identifier: MIT
/// \file One exchange with a server, from the request to the end of the last redirect, whatever loop drives it.
#ifndef HTTP_TRANSFER_H
#define HTTP_TRANSFER_H

#include "Internal.h"
#include "W/Http.h"
#include "http/FileSink.h"

#include <chrono>
#include <curl/curl.h>
#include <memory>
#include <string>

namespace W {
namespace WHOST_INTERNAL http {

class ClientOptions;
class Connections;
using Clock = std::chrono::steady_clock;

struct FormDeleter {
    void operator()(curl_httppost* form) const { curl_formfree(form); }
};
using Form = std::unique_ptr<curl_httppost, FormDeleter>;

/// The state of a request's transfer. One thread at a time works on it: the loop that drives the transfer.
struct Transfer {
    /// Where the body of the present reply goes.
    enum class Body { UNDECIDED, MEMORY, FILE, NOWHERE };

    std::shared_ptr<const ClientOptions> options; ///< in force when the request was queued
    std::string wireUrl;                          ///< the URL of the present hop; empty: the request's own

    SESSION_STATUS status = SESSION_DONE;  ///< how the transfer ended
    SESSION_STATUS failure = SESSION_DONE; ///< what a callback found wrong, before libcurl reports it its own way
    Body body = Body::UNDECIDED;
    FileSink file;
    std::uint64_t bodyBytes = 0;
    std::size_t headerBytes = 0;
    bool lengthSeen = false;  ///< the present reply had a Content-Length
    bool headEnded = false;   ///< the blank line after the present reply's head was there
    bool mustConnect = false; ///< a kept connection turned out to be unusable: the hop is repeated on a fresh one

    long redirects = 0;
    bool foreign = false; ///< a redirect led to another origin: the caller's fields are not sent any more

    Clock::time_point started;
    // For the stall limit: bytes of any kind, when they last came fast enough, and how many there were at the last look.
    std::uint64_t bytesMoved = 0;
    std::uint64_t bytesAtLook = 0;
    Clock::time_point lastLook;
    Clock::time_point lastFastEnough;
};

/// Tells whether the client can run a request, and prepares its URL. Touches nothing on the network.
/// \return 0, or the negative status that addRequest and execute return.
WSTATUS checkRequest(HttpRequest& request);

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
