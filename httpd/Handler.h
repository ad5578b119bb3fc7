// SPDX-License-Identifier: MIT
/// \file What the user of a server hands in: what becomes of each request.
#ifndef HTTPD_HANDLER_H
#define HTTPD_HANDLER_H

#include "httpd/Reply.h"
#include "httpd/Request.h"

#include <chrono>
#include <functional>
#include <string_view>

namespace httpd {

/// Takes a body as it arrives. Destroyed without \c finish when the request ends before its body is whole.
class BodySink {
public:
    BodySink() = default;
    BodySink(const BodySink&) = delete;
    BodySink& operator=(const BodySink&) = delete;
    virtual ~BodySink() = default;

    /// Takes the next bytes. \return nothing to go on; a reply to take no more of them.
    virtual std::optional<Reply> feed(std::string_view bytes) = 0;
    /// The body is whole. \return the reply.
    virtual Reply finish() = 0;
};

/// A body that is collected in memory.
struct BodyInMemory {
    std::size_t limit = 0;                         ///< in bytes
    std::function<Reply(std::string body)> handle; ///< called with the whole of it
    std::function<Reply()> tooLarge = nullptr;     ///< called beyond the limit; without it Handler::refusal is
};

/// The connection is ended with a reset in place of a reply: what the client has not read yet is lost to it.
struct Reset {};

/// What becomes of a request, decided by its head.
struct Decision {
    /// How much of a body that nobody wants is read and dropped, since a client that is cut off while it sends never sees its
    /// reply. Beyond it the connection is closed after the reply.
    static constexpr std::uint64_t DROP_LIMIT = 1 << 20;

    Decision(Reply reply) : what(std::move(reply)) {}
    Decision(BodyInMemory body) : what(std::move(body)) {}
    Decision(std::unique_ptr<BodySink> sink) : what(std::move(sink)) {}
    Decision(Reset) : what(Reset()) {}

    std::variant<Reply, BodyInMemory, std::unique_ptr<BodySink>, Reset> what; ///< a reply drops the body
    std::uint64_t dropLimit = DROP_LIMIT;
    /// The handler knows whose request it is: the connection counts as one that works from here on, and not only from a reply that
    /// refuses nothing.
    bool known = false;
};

/// A request that the server refuses without asking.
struct Refusal {
    unsigned status;    ///< 400, 413, 429, 431, 505, or 500 when the handler has thrown something
    const char* reason; ///< a sentence
};

/// What a server serves. It must outlive the server. Its functions are called on the threads of connections, several at a time;
/// where nothing else is said they may block.
class Handler {
public:
    Handler() = default;
    Handler(const Handler&) = delete;
    Handler& operator=(const Handler&) = delete;
    virtual ~Handler() = default;

    /// The head of a request is there, is sound, and comes from a client that keeps within its rate. Head and connection are good
    /// until the request ends: what the decision holds may refer to them. What this and what the decision holds throws is
    /// answered with a refusal, 500.
    virtual Decision decide(const RequestHead& head, Connection& connection) = 0;

    /// The reply to a request that the server refuses; a line of text unless it is overridden. Of a head that cannot be read, parts
    /// may be missing.
    virtual Reply refusal(const RequestHead& head, const Refusal& refusal);

    /// A request has ended; its sink and source are gone already. \param status that of the reply; nothing when there was none.
    /// \param time since its first line. Must not throw.
    virtual void ended(const RequestHead& head, std::optional<unsigned> status, std::chrono::steady_clock::duration time);

    /// The server is being ended, and the requests that still run have had their time: whatever they wait for must end now.
    virtual void stopping() {}
};

} // namespace httpd

#endif
