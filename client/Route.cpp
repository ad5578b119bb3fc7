// SPDX-License-Identifier: MIT
#include "kinloom/Route.h"

#include "kinloom/Failure.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <iterator>
#include <netinet/in.h>
#include <optional>
#include <string_view>
#include <vector>

namespace kinloom {

namespace {

constexpr unsigned int portOf(std::string_view scheme) { return scheme == "https" ? 443 : 80; }

[[noreturn]] void refuse(const std::string& detail) { throw CallError({FailureKind::INVALID, W::WSTATUS_OK, "", "", detail}); }

[[noreturn]] void refuseAddress(const std::string& text)
{
    refuse("'" + text + "' is no service's address: it should look like http://127.0.0.1:8750");
}

/// In small letters, as schemes and hosts are compared.
std::string inSmallLetters(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return text;
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

bool isIpv6(const std::string& text)
{
    in6_addr address{};
    return text.find('\0') == std::string::npos && inet_pton(AF_INET6, text.c_str(), &address) == 1; // which reads up to a NUL
}

bool isHost(std::string_view host)
{
    constexpr std::string_view ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
    if (host.size() > 2 && host.front() == '[' && host.back() == ']')
        return isIpv6(std::string(host.substr(1, host.size() - 2)));
    return !host.empty() && host.find_first_not_of(ALLOWED) == std::string_view::npos;
}

/// The four parts of a connect-to line; colons inside brackets do not count.
struct Route {
    std::string host;
    std::string port;
    std::string toHost;
    std::string toPort;

    explicit Route(const std::string& line)
    {
        std::string* const parts[] = {&host, &port, &toHost, &toPort};
        std::size_t part = 0;
        bool inBrackets = false;
        for (const char c : line) {
            inBrackets = c == '[' || (inBrackets && c != ']');
            if (c == ':' && !inBrackets && part + 1 < std::size(parts))
                ++part;
            else
                *parts[part] += c;
        }
    }
    bool matches(const ServiceUrl& url) const
    {
        return (host.empty() || inSmallLetters(host) == url.host) && (port.empty() || port == std::to_string(url.port));
    }
};

std::string routeBetween(const ServiceUrl& from, const std::string& text)
{
    const ServiceUrl to = ServiceUrl::parse(text);
    if (to.scheme != from.scheme)
        refuse("this build speaks " + from.scheme + " to " + from.text() + ", so '" + text + "' cannot stand in for it");
    return from.host + ":" + std::to_string(from.port) + ":" + to.host + ":" + std::to_string(to.port);
}

/// The two sides of a line of W::HttpOptions::leadTo, each as ServiceUrl writes it; empty where it is none.
struct LeadSides {
    std::string from;
    std::string to;
};

LeadSides leadFrom(const std::string& line)
{
    const std::size_t sign = line.find('=');
    if (sign == std::string::npos)
        return {};
    try {
        return {ServiceUrl::parse(line.substr(0, sign)).text(), ServiceUrl::parse(line.substr(sign + 1)).text()};
    } catch (const CallError&) {
        return {}; // another program's: hosts lead more than services
    }
}

/// Where the options lead an origin; empty when they do not.
std::string leadOf(const W::HttpOptions& options, const ServiceUrl& origin)
{
    for (const std::string& line : options.leadTo)
        if (const LeadSides sides = leadFrom(line); sides.from == origin.text())
            return sides.to;
    return {};
}

/// All origins that mean the service at \p to, which stands in for \p from. A service that TLS is taken from on the way, by a
/// proxy, writes its own addresses with http, and maybe without the port.
std::vector<ServiceUrl> namesOf(const ServiceUrl& from, const ServiceUrl& to)
{
    const std::string other = from.scheme == "http" ? "https" : "http";
    return {from, {other, from.host, portOf(other)}, {"http", to.host, to.port}, {"http", to.host, portOf("http")}};
}

} // namespace

std::string ServiceUrl::text() const { return scheme + "://" + host + (port == portOf(scheme) ? "" : ":" + std::to_string(port)); }

ServiceUrl ServiceUrl::parse(const std::string& text)
{
    ServiceUrl url;
    const std::size_t colon = text.find("://");
    url.scheme = inSmallLetters(text.substr(0, colon));
    if (colon == std::string::npos || (url.scheme != "http" && url.scheme != "https"))
        refuseAddress(text);
    std::string authority = text.substr(colon + 3);
    if (!authority.empty() && authority.back() == '/')
        authority.pop_back();
    const std::size_t bracket = authority.rfind(']');
    const std::size_t port = authority.find(':', bracket == std::string::npos ? 0 : bracket);
    url.host = inSmallLetters(authority.substr(0, port));
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

std::string routeTo(const std::string& text) { return routeBetween(endpoint(), text); }

void leadTo(W::HttpOptions& options, const std::string& text, const ServiceUrl& from)
{
    const ServiceUrl to = ServiceUrl::parse(text);
    const bool encrypted = to.scheme == "https";
    const std::string route = encrypted ? std::string() : routeBetween(from, text);

    // What was led to the service that there was before comes from its own address as well.
    const std::string before = leadOf(options, from);
    const auto belongs = [&](const std::string& line) { return !before.empty() && leadFrom(line).to == before; };
    options.leadTo.erase(std::remove_if(options.leadTo.begin(), options.leadTo.end(), belongs), options.leadTo.end());
    const auto leads = [&](const std::string& line) { return Route(line).matches(from); };
    options.connectTo.erase(std::remove_if(options.connectTo.begin(), options.connectTo.end(), leads), options.connectTo.end());

    if (!encrypted) {
        options.connectTo.insert(options.connectTo.begin(), route);
        return;
    }
    for (const ServiceUrl& origin : namesOf(from, to)) {
        const std::string line = origin.text() + "=" + to.text();
        if (origin.text() != to.text() && std::count(options.leadTo.begin(), options.leadTo.end(), line) == 0)
            options.leadTo.push_back(line);
    }
}

void leadTo(W::ConfigFile& file, const std::string& text, const ServiceUrl& from)
{
    const W::HttpOptions before = file.httpOptions();
    W::HttpOptions client = before;
    leadTo(client, text, from);
    for (const W::ClientOption& option : W::clientOptions())
        if (option.text(client) != option.text(before))
            file.setClientOption(option.key, option.text(client));
}

std::string addressOf(const W::HttpOptions& options) { return addressOf(options, endpoint()); }

std::string addressOf(const W::HttpOptions& options, const std::string& url)
{
    constexpr std::string_view SLASHES = "://";
    const std::size_t colon = url.find(SLASHES);
    if (colon == std::string::npos)
        return url;
    const std::string scheme = url.substr(0, colon);
    std::string authority = url.substr(colon + SLASHES.size());
    authority.resize(std::min(authority.find_first_of("/?#"), authority.size()));
    authority.erase(0, authority.rfind('@') + 1); // a name and a password are nobody's business
    const std::string origin = scheme + "://" + authority;
    try {
        return addressOf(options, ServiceUrl::parse(origin));
    } catch (const CallError&) {
        return origin; // no service's, but the way it is written
    }
}

std::string addressOf(const W::HttpOptions& options, const ServiceUrl& own)
{
    if (const std::string lead = leadOf(options, own); !lead.empty())
        return lead;
    for (const std::string& line : options.connectTo) {
        const Route route(line);
        if (!route.matches(own))
            continue;
        ServiceUrl target = own;
        if (!route.toHost.empty())
            target.host = route.toHost;
        if (const auto number = wholeNumber(route.toPort))
            target.port = static_cast<unsigned int>(*number);
        return target.text();
    }
    return own.text();
}

} // namespace kinloom
