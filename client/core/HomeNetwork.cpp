// SPDX-License-Identifier: MIT
#include "core/HomeNetwork.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <netinet/in.h>

namespace kinloom {

namespace {

/// An address as its 16 bytes; those of IPv4 stand behind their prefix in IPv6.
using Bytes = std::array<unsigned char, 16>;

struct Network {
    Bytes base;
    unsigned int bits; ///< of the base that count
};

constexpr Network four(unsigned char a, unsigned char b, unsigned int bits)
{
    return {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, a, b, 0, 0}, 96 + bits};
}

constexpr Network HOME[] = {
    four(127, 0, 8),
    four(10, 0, 8),
    four(172, 16, 12),
    four(192, 168, 16),
    four(169, 254, 16),
    four(100, 64, 10),
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 128},
    {{0xFC}, 7},
    {{0xFE, 0x80}, 10},
};

bool holds(const Network& network, const Bytes& address)
{
    const std::size_t whole = network.bits / 8;
    const unsigned int rest = network.bits % 8;
    if (!std::equal(address.begin(), address.begin() + static_cast<std::ptrdiff_t>(whole), network.base.begin()))
        return false;
    return rest == 0 || ((address[whole] ^ network.base[whole]) >> (8 - rest)) == 0;
}

} // namespace

bool isHomeAddress(const std::string& address)
{
    Bytes bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    const std::string number = address.substr(0, address.find('%')); // a zone is this computer's own affair
    if (inet_pton(AF_INET, number.c_str(), bytes.data() + 12) != 1 && inet_pton(AF_INET6, number.c_str(), bytes.data()) != 1)
        return false;
    return std::any_of(std::begin(HOME), std::end(HOME), [&](const Network& network) { return holds(network, bytes); });
}

bool staysAtHome(const W::HttpPlainRequest& request)
{
    if (!isHomeAddress(request.address))
        return false;
    if (!request.proxied)
        return true;
    std::string host = request.origin.substr(request.origin.find("://") + 3);
    if (!host.empty() && host.front() == '[')
        host = host.substr(1, host.find(']') - 1);
    else
        host = host.substr(0, host.find(':'));
    return isHomeAddress(host);
}

} // namespace kinloom
