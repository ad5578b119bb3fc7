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
#include "httpd/Listener.h"
#include "httpd/Settings.h"

#include <memory>

namespace httpd {

/// Serves HTTP/1.1, plain or over TLS, from construction to destruction, each connection on a thread of its own.
///
/// Before a handler is asked, a request is checked: its syntax and framing, the size of its headers, the rate of its address. The
/// process must ignore SIGPIPE.
class Server {
public:
    /// The handler must outlive the server. Throws std::runtime_error when the server cannot be started, with a sentence that names
    /// the file where its certificate or its key cannot be used.
    Server(Listener listener, Settings settings, Handler& handler);
    /// Over plain HTTP, and with no proxy before it.
    Server(Listener listener, const Limits& limits, Handler& handler);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// Takes no more connections, ends the streams that wait for something, gives other requests a second to end, calls
    /// Handler::stopping, and ends what is left. On a thread that is none of the connections'.
    ~Server();

    /// "ADDR:PORT", the port being the real one.
    const std::string& address() const;

    /// Reads certificate and key again, for the connections to come; those that are there go on. Throws std::runtime_error with a
    /// sentence when they cannot be used: nothing changes then. \return false, with nothing done, without encryption.
    bool reloadTls();

private:
    class Daemon;
    std::unique_ptr<Daemon> m_daemon;
};

} // namespace httpd

#endif
