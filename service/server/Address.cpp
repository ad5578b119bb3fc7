// SPDX-License-Identifier: MIT
#include "server/Address.h"

#include "core/Text.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <stdexcept>
#include <system_error>

namespace kinloomd {

namespace {

constexpr int BACKLOG = 256;
constexpr std::size_t HOST_BYTES = 255;

struct HostAndPort {
    std::string host;
    std::string port;
};

HostAndPort splitAddress(const std::string& text)
{
    const auto colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    const auto port = colon == std::string::npos ? std::nullopt : parseUnsigned(text.substr(colon + 1));
    if (!port || *port > 65535 || host.empty() || (!bracketed && host.find(':') != std::string::npos))
        throw std::runtime_error("'" + text + "' is not an address; it looks like 127.0.0.1:8750 or [::1]:8750");
    return {bracketed ? host.substr(1, host.size() - 2) : host, std::to_string(*port)};
}

sockaddr_storage nameOf(int socket)
{
    sockaddr_storage name{};
    socklen_t length = sizeof name;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &length) != 0)
        throwSystemError("look at", "the listening socket");
    return name;
}

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

UniqueFd listenOn(const std::string& address)
{
    const HostAndPort parts = splitAddress(address);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (const int error = ::getaddrinfo(parts.host.c_str(), parts.port.c_str(), &hints, &found); error != 0)
        throw std::runtime_error("cannot listen on " + address + ": " + ::gai_strerror(error));
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    int error = 0;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        UniqueFd socket(::socket(entry->ai_family, entry->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, entry->ai_protocol));
        const int on = 1;
        if (socket && ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
            ::bind(socket.get(), entry->ai_addr, entry->ai_addrlen) == 0 && ::listen(socket.get(), BACKLOG) == 0)
            return socket;
        error = errno;
    }
    throw std::runtime_error("cannot listen on " + address + ": " + std::generic_category().message(error));
}

std::string boundAddress(int socket)
{
    const sockaddr_storage name = nameOf(socket);
    const auto* const address = reinterpret_cast<const sockaddr*>(&name);
    if (name.ss_family == AF_INET6)
        return "[" + addressText(address) + "]:" + std::to_string(ntohs(as<sockaddr_in6>(&name).sin6_port));
    return addressText(address) + ":" + std::to_string(ntohs(as<sockaddr_in>(&name).sin_port));
}

bool isBoundToLoopback(int socket)
{
    const sockaddr_storage name = nameOf(socket);
    const std::string text = addressText(reinterpret_cast<const sockaddr*>(&name));
    return text == "::1" || text.compare(0, 4, "127.") == 0;
}

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
        const auto port = parseUnsigned(host.substr(colon + 1));
        if (!port || *port > 65535)
            return false;
        host = host.substr(0, colon);
        if (host.empty())
            return text.front() == '[';
    }
    constexpr std::string_view NAME = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
    return host.find_first_not_of(NAME) == std::string_view::npos;
}

} // namespace kinloomd
