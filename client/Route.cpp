// SPDX-License-Identifier: MIT
#include "kinloom/Route.h"

#include "kinloom/Failure.h"

#include <array>
#include <charconv>
#include <optional>

namespace kinloom {

namespace {

constexpr unsigned int portOf(std::string_view scheme) { return scheme == "https" ? 443 : 80; }

[[noreturn]] void refuse(const std::string& detail) { throw CallError({FailureKind::INVALID, W::WSTATUS_OK, "", "", detail}); }

[[noreturn]] void refuseAddress(const std::string& text)
{
    refuse("'" + text + "' is no service's address: it should look like http://127.0.0.1:8750");
}

/// A decimal number and nothing else.
std::optional<unsigned long> wholeNumber(std::string_view text)
{
    unsigned long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

bool isHost(std::string_view host)
{
    constexpr std::string_view ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        return host.substr(1, host.size() - 2).find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
    return !host.empty() && host.find_first_not_of(ALLOWED) == std::string_view::npos;
}

/// The four parts of a connect-to line; colons inside brackets do not count.
std::array<std::string, 4> partsOf(const std::string& line)
{
    std::array<std::string, 4> parts;
    std::size_t part = 0;
    bool inBrackets = false;
    for (const char c : line) {
        inBrackets = c == '[' || (inBrackets && c != ']');
        if (c == ':' && !inBrackets && part + 1 < parts.size())
            ++part;
        else
            parts[part] += c;
    }
    return parts;
}

} // namespace

std::string ServiceUrl::text() const { return scheme + "://" + host + (port == portOf(scheme) ? "" : ":" + std::to_string(port)); }

ServiceUrl ServiceUrl::parse(const std::string& text)
{
    ServiceUrl url;
    const std::size_t colon = text.find("://");
    url.scheme = text.substr(0, colon);
    if (colon == std::string::npos || (url.scheme != "http" && url.scheme != "https"))
        refuseAddress(text);
    std::string authority = text.substr(colon + 3);
    if (!authority.empty() && authority.back() == '/')
        authority.pop_back();
    const std::size_t bracket = authority.rfind(']');
    const std::size_t port = authority.find(':', bracket == std::string::npos ? 0 : bracket);
    url.host = authority.substr(0, port);
    url.port = portOf(url.scheme);
    if (port != std::string::npos) {
        const auto number = wholeNumber(std::string_view(authority).substr(port + 1));
        if (!number || *number == 0 || *number > 65535)
            refuseAddress(text);
        url.port = static_cast<unsigned int>(*number);
    }
    if (!isHost(url.host))
        refuseAddress(text);
    return url;
}

const ServiceUrl& endpoint()
{
    static const ServiceUrl url = ServiceUrl::parse(KINLOOM_ENDPOINT);
    return url;
}

std::string routeTo(const std::string& text)
{
    const ServiceUrl url = ServiceUrl::parse(text);
    if (url.scheme != endpoint().scheme)
        refuse("this build speaks " + endpoint().scheme + " to " + endpoint().text() + ", so '" + text +
               "' cannot stand in for it");
    return "::" + url.host + ":" + std::to_string(url.port);
}

std::string addressOf(const W::HttpOptions& options)
{
    const ServiceUrl& own = endpoint();
    for (const std::string& line : options.connectTo) {
        const auto [host, port, toHost, toPort] = partsOf(line);
        const bool matches = (host.empty() || host == own.host) && (port.empty() || port == std::to_string(own.port));
        if (!matches)
            continue;
        ServiceUrl target = own;
        if (!toHost.empty())
            target.host = toHost;
        if (const auto number = wholeNumber(toPort))
            target.port = static_cast<unsigned int>(*number);
        return target.text();
    }
    return own.text();
}

} // namespace kinloom
