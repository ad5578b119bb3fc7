// SPDX-License-Identifier: MIT
#include "http/Connections.h"

#include <algorithm>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

int localPortOf(curl_socket_t socket)
{
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return -1;
    if (address.ss_family == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
    if (address.ss_family == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6&>(address).sin6_port);
    return -1;
}

} // namespace

void Connections::add(curl_socket_t socket, int localPort, int remotePort)
{
    // Of several addresses tried at once, the last socket made need not be the one that won.
    if (socket != CURL_SOCKET_BAD && localPortOf(socket) == localPort)
        m_entries.push_back({socket, localPort, remotePort});
}

bool Connections::isUsedUp(int localPort, int remotePort) const
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
        return entry.localPort == localPort && entry.remotePort == remotePort;
    });
    if (found == m_entries.end())
        return false;
    char byte;
    return recv(found->socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0 || (errno != EAGAIN && errno != EINTR);
}

int Connections::close(void* connections, curl_socket_t socket) noexcept
{
    std::vector<Entry>& entries = static_cast<Connections*>(connections)->m_entries;
    entries.erase(std::remove_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.socket == socket; }),
                  entries.end());
    return ::close(socket);
}

} // namespace http
} // namespace W
