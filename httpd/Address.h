// SPDX-License-Identifier: MIT
/// \file Network addresses as text.
#ifndef HTTPD_ADDRESS_H
#define HTTPD_ADDRESS_H

#include <string>
#include <string_view>
#include <sys/socket.h>

namespace httpd {

/// The address of a peer without its port; an IPv4 address that comes through an IPv6 socket is written as IPv4. Empty for a null
/// pointer and for other families.
std::string addressText(const sockaddr* address);

/// \return whether such an address is that of this computer to itself.
bool isLoopback(std::string_view address);

/// \return whether the text can be the value of a Host header: a name or address and perhaps a port.
bool isHostHeader(std::string_view text);

} // namespace httpd

#endif
