// SPDX-License-Identifier: MIT
/// \file Network addresses as text.
#ifndef KINLOOMD_SERVER_ADDRESS_H
#define KINLOOMD_SERVER_ADDRESS_H

#include "core/Files.h"

#include <string>
#include <string_view>
#include <sys/socket.h>

namespace kinloomd {

/// The address of a peer without its port; an IPv4 address that comes through an IPv6 socket is written as IPv4.
std::string addressText(const sockaddr* address);

/// Listens on "ADDR:PORT" ("127.0.0.1:8750", "[::1]:0", "localhost:80"); port 0 takes a free one.
/// Throws std::runtime_error with a sentence that names the address.
UniqueFd listenOn(const std::string& address);

/// "ADDR:PORT" of a listening socket, an IPv6 address in brackets.
std::string boundAddress(int socket);

/// \return whether a listening socket can be reached from this computer alone.
bool isBoundToLoopback(int socket);

/// \return whether the text can be the value of a Host header: a name or address and perhaps a port.
bool isHostHeader(std::string_view text);

} // namespace kinloomd

#endif
