// SPDX-License-Identifier: MIT
/// \file Network addresses as text.
#ifndef HTTPD_ADDRESS_H
#define HTTPD_ADDRESS_H

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/socket.h>

namespace httpd {

/// The address of a peer without its port; an IPv4 address that comes through an IPv6 socket is written as IPv4. Empty for a null
/// pointer and for other families.
std::string addressText(const sockaddr* address);

/// The port of a peer; 0 for a null pointer and for other families.
std::uint16_t portOf(const sockaddr* address);

/// A numeric address as \c addressText writes it, so that one address is one text; empty for what is no address.
std::string canonicalAddress(std::string_view address);

/// What one client has for itself of the addresses that there are: an IPv4 address, or of an IPv6 address the first 64 bits,
/// written as "2001:db8:0:7::/64": the rest of them it chooses at will. Texts that are no address stay as they are.
std::string networkOf(const std::string& address);

/// "ADDR:PORT", an IPv6 address in brackets.
std::string authorityOf(std::string_view address, std::uint16_t port);

/// \return whether such an address is that of this computer to itself.
bool isLoopback(std::string_view address);

/// \return whether the text can be the value of a Host header: a name or address and perhaps a port.
bool isHostHeader(std::string_view text);

} // namespace httpd

#endif
