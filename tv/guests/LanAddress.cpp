// SPDX-License-Identifier: MIT
#include "tv/guests/LanAddress.h"

#include "common/UniqueFd.h"
#include "httpd/Address.h"
#include "httpd/Text.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <ifaddrs.h>
#include <memory>
#include <net/if.h> // IWYU pragma: keep // IFF_UP
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <vector>

namespace tv {

namespace {

struct Authority {
    std::string address; ///< canonical
    std::uint16_t port = 0;
};

std::optional<Authority> parse(std::string_view text)
{
    // Where the port is that of the scheme, clients leave it out.
    constexpr std::uint16_t USUAL_PORT = 80;
    const auto colon = text.rfind(':');
    const bool hasPort = colon != std::string_view::npos && text.find(']', colon) == std::string_view::npos;
    const auto port = hasPort ? httpd::parseDecimal<std::uint16_t>(text.substr(colon + 1)) : std::optional(USUAL_PORT);
    std::string_view address = hasPort ? text.substr(0, colon) : text;
    if (address.size() >= 2 && address.front() == '[' && address.back() == ']')
        address = address.substr(1, address.size() - 2);
    const std::string canonical = httpd::canonicalAddress(address);
    if (!port || canonical.empty())
        return std::nullopt;
    return Authority{canonical, *port};
}

bool standsForAll(const std::string& address) { return address == "0.0.0.0" || address == "::"; }

/// The addresses of the interfaces that are up.
std::vector<std::string> ownAddresses()
{
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0)
        return {};
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(first, &::freeifaddrs);
    std::vector<std::string> addresses;
    for (const ifaddrs* one = first; one != nullptr; one = one->ifa_next) {
        const std::string text = (one->ifa_flags & IFF_UP) != 0 ? httpd::addressText(one->ifa_addr) : std::string();
        if (!text.empty())
            addresses.push_back(text);
    }
    return addresses;
}

/// The address that this computer has on its way to others; empty where there is none. Sends nothing.
std::string addressOnTheWay()
{
    const common::UniqueFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in elsewhere{};
    elsewhere.sin_family = AF_INET;
    elsewhere.sin_port = htons(9);
    ::inet_pton(AF_INET, "192.0.2.1", &elsewhere.sin_addr); // an address of nobody's
    sockaddr_in own{};
    socklen_t size = sizeof own;
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&elsewhere), sizeof elsewhere) != 0 ||
        ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&own), &size) != 0)
        return {};
    return httpd::addressText(reinterpret_cast<const sockaddr*>(&own));
}

} // namespace

std::string lanAuthority(const std::string& listening)
{
    const auto authority = parse(listening);
    if (!authority || !standsForAll(authority->address))
        return listening;
    std::string address = addressOnTheWay();
    if (address.empty()) {
        const std::vector<std::string> own = ownAddresses();
        const auto isOfOthersToo = [](const std::string& one) {
            return !httpd::isLoopback(one) && one.find(':') == std::string::npos;
        };
        const auto found = std::find_if(own.begin(), own.end(), isOfOthersToo);
        address = found == own.end() ? "127.0.0.1" : *found;
    }
    return httpd::authorityOf(address, authority->port);
}

bool isOwnHost(std::string_view host, const std::string& listening)
{
    const auto named = parse(host);
    const auto own = parse(listening);
    if (!named || !own || named->port != own->port)
        return false;
    if (!standsForAll(own->address))
        return named->address == own->address;
    const std::vector<std::string> addresses = ownAddresses();
    return std::find(addresses.begin(), addresses.end(), named->address) != addresses.end();
}

} // namespace tv
