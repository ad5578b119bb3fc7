// SPDX-License-Identifier: MIT
/// \file Which addresses lie within a house.
#ifndef KINLOOM_CLIENT_HOMENETWORK_H
#define KINLOOM_CLIENT_HOMENETWORK_H

#include "whost/HttpEvents.h"

#include <string>

namespace kinloom {

/// True for an address of this computer or of a private network, as a number: 127/8, 10/8, 172.16/12, 192.168/16, 169.254/16,
/// 100.64/10, ::1, fc00::/7, fe80::/10, and the first ones written as IPv6 addresses.
bool isHomeAddress(const std::string& address);

/// True when a request does not leave this computer and private networks: by the address that it goes to, and where a proxy takes
/// it on, by the address that it names. A name that a proxy looks up may be anywhere.
bool staysAtHome(const W::HttpPlainRequest& request);

} // namespace kinloom

#endif
