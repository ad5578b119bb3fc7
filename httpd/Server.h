// SPDX-License-Identifier: MIT
/// \file An HTTP server.
///
///     class Pages : public httpd::Handler {
///         httpd::Decision decide(const httpd::RequestHead& head, httpd::Connection&) override
///         {
///             httpd::Reply reply;
///             reply.contentType = "text/html; charset=utf-8";
///             reply.body = "<p>" + escaped(head.path()) + "</p>";
///             return reply;
///         }
///     };
///     Pages pages;
///     const httpd::Server server(httpd::Listener("127.0.0.1:0"), httpd::Limits(), pages);
#ifndef HTTPD_SERVER_H
#define HTTPD_SERVER_H

#include "httpd/Handler.h"
#include "httpd/Limits.h"
#include "httpd/Listener.h"

#include <memory>

namespace httpd {

/// Serves HTTP/1.1 from construction to destruction, each connection on a thread of its own.
///
/// Before a handler is asked, a request is checked: its framing, the size of its headers, the rate of its address. The process must
/// ignore SIGPIPE.
class Server {
public:
    /// The handler must outlive the server. Throws std::runtime_error when the server cannot be started.
    Server(Listener listener, const Limits& limits, Handler& handler);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// Takes no more connections, ends the streams that wait for something, gives other requests a second to end, calls
    /// Handler::stopping, and ends what is left. On a thread that is none of the connections'.
    ~Server();

    /// "ADDR:PORT", the port being the real one.
    const std::string& address() const;

private:
    struct Daemon;
    std::unique_ptr<Daemon> m_daemon;
};

} // namespace httpd

#endif
