// SPDX-License-Identifier: MIT
#include "httpd/Address.h"

#include "httpd/Text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <iterator>
#include <netinet/in.h>

namespace httpd {

namespace {

constexpr std::size_t HOST_BYTES = 255;

template <typename Address> Address as(const void* address)
{
    Address copy{};
    std::memcpy(&copy, address, sizeof copy);
    return copy;
}

std::string textOf(int family, const void* bytes)
{
    char text[INET6_ADDRSTRLEN] = "";
    ::inet_ntop(family, bytes, text, sizeof text);
    return text;
}

} // namespace

std::string addressText(const sockaddr* address)
{
    if (address == nullptr)
        return {};
    if (address->sa_family == AF_INET) {
        const auto v4 = as<sockaddr_in>(address);
        return textOf(AF_INET, &v4.sin_addr);
    }
    if (address->sa_family == AF_INET6) {
        const auto v6 = as<sockaddr_in6>(address);
        if (IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr))
            return textOf(AF_INET, &v6.sin6_addr.s6_addr[12]);
        return textOf(AF_INET6, &v6.sin6_addr);
    }
    return {};
}

std::uint16_t portOf(const sockaddr* address)
{
    if (address != nullptr && address->sa_family == AF_INET)
        return ntohs(as<sockaddr_in>(address).sin_port);
    if (address != nullptr && address->sa_family == AF_INET6)
        return ntohs(as<sockaddr_in6>(address).sin6_port);
    return 0;
}

std::string canonicalAddress(std::string_view address)
{
    const std::string text(address);
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    if (::inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1)
        return addressText(reinterpret_cast<const sockaddr*>(&v4));
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    if (::inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1)
        return addressText(reinterpret_cast<const sockaddr*>(&v6));
    return {};
}

std::string networkOf(const std::string& address)
{
    constexpr std::size_t NETWORK_BYTES = 8;
    in6_addr v6{};
    if (::inet_pton(AF_INET6, address.c_str(), &v6) != 1)
        return address;
    std::fill(std::begin(v6.s6_addr) + NETWORK_BYTES, std::end(v6.s6_addr), static_cast<unsigned char>(0));
    return textOf(AF_INET6, &v6) + "/64";
}

std::string authorityOf(std::string_view address, std::uint16_t port)
{
    const bool brackets = address.find(':') != std::string_view::npos;
    return (brackets ? "[" : "") + std::string(address) + (brackets ? "]:" : ":") + std::to_string(port);
}

bool isLoopback(std::string_view address) { return address == "::1" || address.substr(0, 4) == "127."; }

bool isHostHeader(std::string_view text)
{
    if (text.empty() || text.size() > HOST_BYTES)
        return false;
    std::string_view host = text;
    if (host.front() == '[') {
        const auto end = host.find(']');
        if (end == std::string_view::npos || end < 3)
            return false;
        if (host.substr(1, end - 1).find_first_not_of("0123456789abcdefABCDEF:.") != std::string_view::npos)
            return false;
        host.remove_prefix(end + 1);
        if (host.empty())
            return true;
        if (host.front() != ':')
            return false;
    }
    const auto colon = host.find(':');
    if (colon != std::string_view::npos) {
        if (!parseDecimal<std::uint16_t>(host.substr(colon + 1)))
            return false;
        host = host.substr(0, colon);
        if (host.empty())
            return text.front() == '[';
    }
    constexpr std::string_view NAME = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
    return host.find_first_not_of(NAME) == std::string_view::npos;
}

} // namespace httpd
