// SPDX-License-Identifier: MIT
/// \file A request as its handler sees it, and the reply that a handler gives.
#ifndef KINLOOMD_OPERATIONS_REQUEST_H
#define KINLOOMD_OPERATIONS_REQUEST_H

#include "httpd/Connection.h"
#include "httpd/Reply.h"
#include "httpd/Request.h"
#include "store/Records.h"
#include "wire/FormDecoder.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kinloomd {

/// The device or the browser that a request comes from, and its person.
struct Caller {
    Id device = 0;  ///< 0 for a browser
    Id session = 0; ///< of a browser; 0 for a device
    bool registered = false;
    std::optional<Millis> signedIn; ///< of a device
    Person person;
};

struct Request {
    explicit Request(const httpd::RequestHead& sent) : head(sent) {}

    const httpd::RequestHead& head;  ///< as the client sent it
    std::string subject;             ///< the identifier that the path names: "me", a number, or empty
    std::vector<std::string> pieces; ///< the pieces of a media path; those of another one that stand for something
    Parameters query;
    std::string body;                        ///< of requests that are no uploads
    Parameters form;                         ///< the body, decoded
    std::string baseUrl;                     ///< scheme and authority for addresses in the reply
    Caller caller;                           ///< of signed requests
    std::string cookie;                      ///< that the reply has the browser keep; empty for none
    httpd::Connection* connection = nullptr; ///< for those who keep the client waiting

    /// The value of a header, or nothing.
    std::optional<std::string> header(const char* name) const { return head.header(name); }
};

using Reply = httpd::Reply;

/// Takes the body of an upload as it arrives. Destroyed without \c finish when the request ends before its body is whole.
class BodySink {
public:
    BodySink() = default;
    BodySink(const BodySink&) = delete;
    BodySink& operator=(const BodySink&) = delete;
    virtual ~BodySink() = default;
    /// Throws ServiceError when the body cannot be taken.
    virtual void feed(std::string_view bytes) = 0;
    /// The body is whole. \return the reply.
    virtual Reply finish() = 0;
};

} // namespace kinloomd

#endif
