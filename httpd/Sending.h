// SPDX-License-Identifier: MIT
/// \file Replies on their way out. Of the library alone.
#ifndef HTTPD_SENDING_H
#define HTTPD_SENDING_H

#include "httpd/ConnectionWatch.h"
#include "httpd/Reply.h"
#include "httpd/Transport.h"

namespace httpd {

/// Writes one reply.
class Sender {
public:
    /// How a reply goes out.
    struct Manner {
        bool close = false;    ///< the connection is closed after it, and the client is told so
        bool headOnly = false; ///< the client wants no body
        bool chunks = true;    ///< the client understands chunks; without them a body of unknown length ends with the connection
    };

    Sender(Transport& transport, Connection& connection, ConnectionWatch& watch)
        : m_transport(transport), m_connection(connection), m_watch(watch)
    {
    }

    /// \return false when the client has not got all of it, or cannot be sent another one.
    bool send(Reply& reply, Manner manner);

private:
    bool sendBody(const std::string& text, bool chunks);
    bool sendBody(const FileBody& file, bool chunks);
    bool sendBody(const StreamBody& stream, bool chunks);

    Transport& m_transport;
    Connection& m_connection;
    ConnectionWatch& m_watch;
};

} // namespace httpd

#endif
