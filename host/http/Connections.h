// SPDX-License-Identifier: MIT
/// \file The sockets of a transfer loop's connections.
#ifndef HTTP_CONNECTIONS_H
#define HTTP_CONNECTIONS_H

#include "Internal.h"

#include <curl/curl.h>
#include <vector>

namespace W {
namespace WHOST_INTERNAL http {

/// Knows the sockets of the connections that one multi handle keeps, by their ports: libcurl does not tell which socket a request
/// is about to be sent on. Used by the owner of the multi handle only.
class Connections {
public:
    /// Notes the socket of a new connection, if it is the one with these ports.
    void add(curl_socket_t socket, int localPort, int remotePort);
    /// True when a kept connection is fit for no further request: the server has closed it, or has sent more than its last reply,
    /// which would be taken for the reply to the next request.
    bool isUsedUp(int localPort, int remotePort) const;

    /// For CURLOPT_CLOSESOCKETFUNCTION, with the object as its data: forgets the socket and closes it.
    static int close(void* connections, curl_socket_t socket) noexcept;

private:
    struct Entry {
        curl_socket_t socket;
        int localPort;
        int remotePort;
    };
    std::vector<Entry> m_entries;
};

} // namespace http
} // namespace W

#endif
