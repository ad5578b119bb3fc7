// SPDX-License-Identifier: MIT
/// \file A server that says exactly what a test wants, byte by byte, and keeps exactly what it was told.
#ifndef SUPPORT_RAWSERVER_H
#define SUPPORT_RAWSERVER_H

#include "support/Wait.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace test {

/// What the server does in answer to a request: steps, one after the other. A reply that ends without close(), reset() or stall()
/// leaves the connection open for the next request.
///
///     server.onRequest([](const RawRequest&) { return RawReply::ok("hello"); });
///     server.reply(RawReply().send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf").reset());
class RawReply {
public:
    /// Sends bytes as they are.
    RawReply& send(std::string bytes);
    /// Sends the same bytes again and again, up to so many in all, or until the peer closes.
    RawReply& sendEndlessly(std::string bytes, std::uint64_t limit = UINT64_MAX);
    /// Sends bytes in pieces, with a pause after each.
    RawReply& drip(std::string bytes, std::size_t piece, std::chrono::milliseconds pause);
    /// Waits until the test calls RawServer::release, the peer closes, or the server stops.
    RawReply& hold();
    /// Sends nothing more and leaves the connection open until the peer closes or the server stops.
    RawReply& stall();
    /// Ends the connection in good order.
    RawReply& close();
    /// Breaks the connection: the peer gets a reset.
    RawReply& reset();

    /// A whole reply with a Content-Length, further header lines ("Name: value"), and a body; the connection stays open.
    static RawReply ok(const std::string& body = "", const std::vector<std::string>& header = {});
    static RawReply status(int code, const std::string& body = "", const std::vector<std::string>& header = {});

private:
    friend class RawServer;
    enum class Kind { SEND, ENDLESS, DRIP, HOLD, STALL, CLOSE, RESET };
    struct Step {
        Kind kind;
        std::string bytes;
        std::uint64_t amount = 0;
        std::chrono::milliseconds pause{0};
    };
    RawReply& add(Step step);
    std::vector<Step> m_steps;
};

/// A request as it arrived.
struct RawRequest {
    std::size_t connection = 0; ///< the connection's number, in the order of acceptance, from 0
    std::string bytes;          ///< everything: head and body, as sent
    std::string head;           ///< request line and header fields, up to and with the blank line
    std::string body;           ///< as sent, chunked coding included; empty when it was discarded
    std::uint64_t bodySize = 0; ///< its size, kept or discarded

    /// The request line without its line break.
    std::string line() const;
    /// The second word of the request line.
    std::string target() const;
    /// The header lines as sent, without line breaks, in their order.
    std::vector<std::string> fields() const;
    /// True when there is such a field; names are compared without regard to case.
    bool has(const std::string& name) const;
    /// The first such field's value exactly as sent, all that stands between colon and line break; empty when there is none.
    std::string field(const std::string& name) const;
};

/// Listens on a free port of 127.0.0.1 and serves every connection on a thread of its own. A request is read whole (its body by
/// Content-Length or chunked coding), kept, and answered by the first of: what reply() queued, what onRequest() says, an empty 200.
/// All functions may be called from any thread; those that wait return false after the patience given.
class RawServer {
public:
    /// What happens on a connection before any request is read.
    enum class Greeting {
        READ,   ///< requests are read
        RESET,  ///< the connection is broken at once
        CLOSE,  ///< the connection is closed at once
        IGNORE, ///< nothing is ever read or sent
    };

    /// \throw std::runtime_error when no port is to be had.
    RawServer();
    /// Closes all connections and joins all threads.
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    std::uint16_t port() const;
    /// "http://127.0.0.1:PORT" with something behind it.
    std::string url(const std::string& rest = "/") const;

    /// Answers the next request that has no answer yet; several line up.
    void reply(RawReply reply);
    /// Answers all requests that reply() has no answer for. Runs on the connection's thread.
    void onRequest(std::function<RawReply(const RawRequest&)> rule);
    /// For connections accepted from now on.
    void greet(Greeting greeting);
    /// Counts bodies instead of keeping them, for large uploads.
    void discardBodies(bool discard);
    /// Lets one hold() that waits, or the next one that comes, go on.
    void release();

    /// All requests so far, in the order in which they were whole.
    std::vector<RawRequest> requests() const;
    std::size_t requestCount() const;
    /// The last whole request; throws std::out_of_range when there was none.
    RawRequest last() const;
    /// Connections accepted so far, and those of them that are over.
    std::size_t connectionCount() const;
    std::size_t closedCount() const;
    /// Connections that wait in a hold() or a stall().
    std::size_t waitingCount() const;
    /// Bytes of replies that the system has taken; over loopback the peer's socket has them then.
    std::uint64_t sentBytes() const;

    bool waitForRequests(std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;
    bool waitForConnections(std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;
    bool waitForClosed(std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;
    bool waitForWaiting(std::size_t count, std::chrono::milliseconds patience = PATIENCE) const;
    bool waitForSent(std::uint64_t bytes, std::chrono::milliseconds patience = PATIENCE) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace test

#endif
