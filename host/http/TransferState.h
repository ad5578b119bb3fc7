// SPDX-License-Identifier: MIT
/// \file What a request's transfer remembers while it runs.
#ifndef HTTP_TRANSFERSTATE_H
#define HTTP_TRANSFERSTATE_H

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
using Clock = std::chrono::steady_clock;

struct FormDeleter {
    void operator()(curl_httppost* form) const { curl_formfree(form); }
};
using Form = std::unique_ptr<curl_httppost, FormDeleter>;

/// The state of one exchange with a server, from the request to the end of the last redirect. One thread at a time works on it:
/// the one that drives the transfer.
struct TransferState {
    /// Where the body of the present reply goes.
    enum class Body { UNDECIDED, MEMORY, FILE, NOWHERE };

    std::shared_ptr<const ClientOptions> options; ///< in force when the request was queued
    std::string wireUrl;                          ///< the URL of the present hop; empty: the request's own

    SESSION_STATUS status = SESSION_DONE;  ///< how the transfer ended
    SESSION_STATUS failure = SESSION_DONE; ///< what a callback found wrong, before libcurl reports it its own way
    std::string cause;                     ///< why it failed, in words, where the status does not say all
    Body body = Body::UNDECIDED;
    FileSink file;
    std::uint64_t bodyBytes = 0;
    std::size_t headerBytes = 0;
    bool lengthSeen = false; ///< the present reply had a Content-Length
    bool headEnded = false;  ///< the blank line after the present reply's head was there
    /// The hop needs a fresh connection: it is a POST, or is repeated because a kept connection turned out to be unusable.
    bool mustConnect = false;
    bool usedUp = false;    ///< the kept connection that the hop was given had been closed; nothing was sent on it
    bool connected = false; ///< the hop's request has gone out on a connection

    long redirects = 0;
    bool foreign = false; ///< a redirect led to another origin: the caller's fields are not sent any more

    Clock::time_point started;
    // For the stall limit: bytes of any kind, when they last came fast enough, and how many there were at the last look.
    std::uint64_t bytesMoved = 0;
    std::uint64_t bytesAtLook = 0;
    Clock::time_point lastLook;
    Clock::time_point lastFastEnough;
};

} // namespace http
} // namespace W

#endif
