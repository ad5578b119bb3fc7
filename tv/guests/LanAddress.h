// SPDX-License-Identifier: MIT
/// \file This computer's addresses in the home's network.
#ifndef KINLOOM_TV_GUESTS_LANADDRESS_H
#define KINLOOM_TV_GUESTS_LANADDRESS_H

#include <string>
#include <string_view>

namespace tv {

/// The authority at which telephones in the network find a listener: its own, or, where it listens on all addresses, with the one
/// that this computer has in the network.
std::string lanAuthority(const std::string& listening);

/// \return whether a Host header names the listener: by one of the addresses that it has here, as a number, and its port. No name
/// is one: whoever owns a name could have it lead here.
bool isOwnHost(std::string_view host, const std::string& listening);

} // namespace tv

#endif
