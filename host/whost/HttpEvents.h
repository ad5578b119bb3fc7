// SPDX-License-Identifier: MIT
/// \file What the stand-alone host's HTTP client tells of requests beyond statuses, to the programs that run it.
#ifndef WHOST_HTTPEVENTS_H
#define WHOST_HTTPEVENTS_H

#include "W/Http.h"

#include <functional>
#include <string>

namespace W {

/// How an exchange went, for a host that wants to say or do more about a failure than a status can tell.
struct HttpExchange {
    unsigned long long id = 0; ///< the request's tag
    SESSION_STATUS status = SESSION_DONE;
    UINT32 code = 0; ///< HTTP code of the last reply, also of one that was cut off; 0: none began
    /// Seconds that the last reply asks to wait before another try (Retry-After, as a number or as a date); negative: it asks for
    /// nothing.
    long retryAfter = -1;
    std::string cause; ///< what broke the exchange, on one line; empty when a reply arrived whole, or the status says all
    /// The cause is a sentence for people, such as "the certificate of photos.example has expired". Otherwise it is libcurl's.
    bool explained = false;
    std::string body; ///< the beginning of a whole reply whose code is 400 or above; another reply, if it is short
};

/// A request that goes out as it is, with an Authorization field that anyone on its way can read.
struct HttpPlainRequest {
    std::string origin;  ///< "http://photos.example:8750", without the name and the password that the URL may hold
    std::string address; ///< of the peer, as a number; of the proxy, where there is one
    bool proxied = false;
};

/// What to call. The functions run on the threads that drive requests, for several threads at once; they must return soon, must not
/// throw and make no request. An empty one is not called.
struct HttpEvents {
    /// An exchange has ended by itself: with a whole reply, with a broken connection, or before it began because the options allow
    /// none. Before the request's completion, or before execute returns.
    std::function<void(const HttpExchange&)> ended;
    /// When the connection is there, before anything of the request has been sent.
    std::function<void(const HttpPlainRequest&)> unencrypted;
};

/// Replaces what is called. Those that were set before may be called for a moment longer. Any thread.
void setHttpEvents(HttpEvents events);

} // namespace W

#endif
