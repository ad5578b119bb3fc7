// SPDX-License-Identifier: MIT
/// \file The socket that a server takes its connections from.
#ifndef HTTPD_LISTENER_H
#define HTTPD_LISTENER_H

#include "httpd/UniqueFd.h"

#include <string>

namespace httpd {

/// A listening socket. Connections wait in it until a server takes it over.
class Listener {
public:
    /// What is wrong with the form of an address; empty when nothing is.
    static std::string complaintAbout(const std::string& address);

    /// Listens on "ADDR:PORT" ("127.0.0.1:8750", "[::1]:0", "localhost:80"); port 0 takes a free one.
    /// Throws std::runtime_error with a sentence that names the address.
    explicit Listener(const std::string& address);

    /// "ADDR:PORT", the port being the real one, an IPv6 address in brackets.
    const std::string& address() const { return m_address; }
    /// \return whether only this computer can connect.
    bool isOnLoopback() const { return m_onLoopback; }
    /// \return whether its address is one that the internet does not carry. One that stands for all addresses is none.
    bool isOnPrivateNetwork() const { return m_onPrivate; }

    /// Gives the socket away.
    UniqueFd release() { return std::move(m_socket); }

private:
    UniqueFd m_socket;
    std::string m_address;
    bool m_onLoopback = false;
    bool m_onPrivate = false;
};

} // namespace httpd

#endif
