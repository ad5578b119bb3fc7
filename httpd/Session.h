// SPDX-License-Identifier: MIT
/// \file One connection, from its first byte to its last. Of the library alone.
#ifndef HTTPD_SESSION_H
#define HTTPD_SESSION_H

#include "httpd/Exchange.h"

namespace httpd {

/// The client's end of a connection.
struct Peer {
    std::string address;
    std::uint16_t port = 0;
    std::uint64_t number = 0; ///< of the connection: each has its own
};

/// Serves the requests of one connection, one after the other.
class Session {
public:
    Session(Serving& serving, Transport& transport, Peer peer)
        : m_serving(serving), m_transport(transport), m_intake(transport), m_peer(std::move(peer))
    {
    }

    /// Returns when the connection is to be closed.
    void run();

private:
    bool readHead(Incoming& incoming);

    Serving& m_serving;
    Transport& m_transport;
    Intake m_intake;
    const Peer m_peer;
};

} // namespace httpd

#endif
