// SPDX-License-Identifier: MIT
#include "httpd/Listener.h"

#include "httpd/Address.h"
#include "httpd/AddressRange.h"
#include "httpd/Text.h"

#include <cerrno>
#include <memory>
#include <netdb.h>
#include <optional>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>

namespace httpd {

namespace {

constexpr int BACKLOG = 256;

struct HostAndPort {
    std::string host;
    std::string port;
};

std::optional<HostAndPort> splitAddress(const std::string& text)
{
    const auto colon = text.rfind(':');
    const std::string host = text.substr(0, colon);
    const bool bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    const auto port =
        colon == std::string::npos ? std::nullopt : parseDecimal<std::uint16_t>(std::string_view(text).substr(colon + 1));
    if (!port || host.empty() || (!bracketed && host.find(':') != std::string::npos))
        return std::nullopt;
    return HostAndPort{bracketed ? host.substr(1, host.size() - 2) : host, std::to_string(*port)};
}

UniqueFd listenOn(const std::string& address)
{
    const auto parts = splitAddress(address);
    if (!parts)
        throw std::runtime_error("'" + address + "' " + Listener::complaintAbout(address));
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (const int error = ::getaddrinfo(parts->host.c_str(), parts->port.c_str(), &hints, &found); error != 0)
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

} // namespace

std::string Listener::complaintAbout(const std::string& address)
{
    return splitAddress(address) ? "" : "is not an address; it looks like 127.0.0.1:8750 or [::1]:8750";
}

Listener::Listener(const std::string& address) : m_socket(listenOn(address))
{
    sockaddr_storage storage{};
    auto* const name = reinterpret_cast<sockaddr*>(&storage);
    socklen_t length = sizeof storage;
    if (::getsockname(m_socket.get(), name, &length) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot look at the listening socket");
    const std::string text = addressText(name);
    m_address = authorityOf(text, portOf(name));
    m_onPrivate = isPrivate(text);
    m_onLoopback = isLoopback(text);
}

} // namespace httpd
