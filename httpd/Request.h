// SPDX-License-Identifier: MIT
/// \file A request up to its body.
#ifndef HTTPD_REQUEST_H
#define HTTPD_REQUEST_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace httpd {

/// A header as it was sent: the name's case is the client's, and a name may be there more than once.
struct Header {
    std::string name;
    std::string value;
};

/// What a client asks for, before its body. Address, port and scheme are those that a trusted proxy has told, where one stands
/// between.
struct RequestHead {
    std::string method;
    std::string target;          ///< the second word of the request line, as it was sent: nothing in it is decoded
    std::string address;         ///< the client's, without its port; IPv4 addresses are written as such on IPv6 sockets too
    std::uint16_t port = 0;      ///< the client's; 0 when a proxy has not told it
    std::string scheme = "http"; ///< "http" or "https": what the client itself speaks
    bool forwarded = false;      ///< a trusted proxy has passed it on; such a request never comes from this computer
    /// Names the connection that the request came on, differently for any two connections of a server's life: for those who tell
    /// clients of one address apart. What a trusted proxy forwards is named by the client's address and port; empty when the proxy
    /// has not told the port, since clients then share the proxy's connections.
    std::string connection;
    std::vector<Header> headers;
    std::optional<std::int64_t> bodySize = 0; ///< in bytes, 0 without a body; nothing when the body comes in chunks

    /// The target without its query, and without the scheme and authority that a client puts before it which takes this server
    /// for a proxy. Lives as long as the target.
    std::string_view path() const;
    /// What follows the target's question mark; empty without one. Lives as long as the target.
    std::string_view query() const;
    /// The value of the first header of that name, whose case does not matter.
    std::optional<std::string> header(std::string_view name) const;
    /// The authority that the target names before its path; empty for a target that is a path. Lives as long as the target.
    std::string_view authority() const;
    /// \return whether the request comes from this computer, and not through a proxy on it.
    bool isLocal() const;
};

} // namespace httpd

#endif
