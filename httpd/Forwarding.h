// SPDX-License-Identifier: MIT
/// \file What a proxy tells of the client that it stands before. Of the library alone.
#ifndef HTTPD_FORWARDING_H
#define HTTPD_FORWARDING_H

#include "httpd/AddressRange.h"
#include "httpd/Request.h"

namespace httpd {

/// Whether the request holds a sign of a proxy, whoever wrote it.
bool isForwarded(const RequestHead& head);

/// Puts the client of a forwarded request in the place of the proxy that it came through: its address, port and scheme, as the
/// Forwarded header tells them (RFC 7239), or X-Forwarded-For and X-Forwarded-Proto where it does not. A request of an address
/// that is not trusted is left as it is, and so is one that holds no sign of a proxy.
///
/// Where several proxies stand in a row, the client is the last address that none of the trusted ones has. What stands before it
/// may be anybody's invention.
///
/// Where Forwarded and X-Forwarded-For are both there, the port is told only when both tell the same, and so it is with schemes
/// that two headers tell: a proxy that writes one may pass on what a client wrote into the other.
///
/// \return a sentence when the headers cannot be read, or tell of two clients; null when all is well.
const char* applyForwarding(RequestHead& head, const std::vector<AddressRange>& trusted);

} // namespace httpd

#endif
