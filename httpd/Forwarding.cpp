// SPDX-License-Identifier: MIT
#include "httpd/Forwarding.h"

#include "httpd/Address.h"
#include "httpd/Text.h"

#include <algorithm>

namespace httpd {

namespace {

/// What one proxy tells of whom it was asked by.
struct Hop {
    std::string address; ///< empty when it is not told
    std::uint16_t port = 0;
    std::string scheme; ///< empty when it is not told
};

/// The values of all headers of that name, as one list; nothing when there is none.
std::optional<std::string> listOf(const RequestHead& head, std::string_view name)
{
    std::optional<std::string> list;
    for (const Header& header : head.headers) {
        if (equalsIgnoringCase(header.name, name))
            list = list ? *list + "," + header.value : header.value;
    }
    return list;
}

/// Reads "192.0.2.7", "192.0.2.7:80", "[2001:db8::1]", "[2001:db8::1]:80", and where \p bare is set "2001:db8::1" too. Names that
/// hide an address ("unknown", "_hidden") leave it empty. \return false when the text is nothing of that.
bool readNode(std::string_view node, bool bare, Hop& hop)
{
    if (equalsIgnoringCase(node, "unknown") || (node.size() > 1 && node[0] == '_'))
        return true;
    std::string_view address = node;
    std::string_view port;
    const auto colon = node.rfind(':');
    if (!node.empty() && node[0] == '[') {
        const auto end = node.find(']');
        if (end == std::string_view::npos)
            return false;
        address = node.substr(1, end - 1);
        port = node.substr(end + 1);
        if (address.find(':') == std::string_view::npos || (!port.empty() && port[0] != ':'))
            return false;
    } else if (colon != std::string_view::npos && node.find(':') == colon) {
        address = node.substr(0, colon);
        port = node.substr(colon);
    } else if (colon != std::string_view::npos && !bare) {
        return false;
    }
    hop.address = canonicalAddress(address);
    if (hop.address.empty())
        return false;
    if (port.empty() || (port.size() > 2 && port[1] == '_'))
        return true;
    const auto number = parseDecimal<std::uint16_t>(port.substr(1));
    hop.port = number.value_or(0);
    return number.has_value();
}

bool readScheme(std::string_view text, Hop& hop)
{
    for (const char* scheme : {"http", "https"}) {
        if (equalsIgnoringCase(text, scheme))
            hop.scheme = scheme;
    }
    return !hop.scheme.empty();
}

/// Reads the Forwarded header from its beginning to its end.
class ForwardedReader {
public:
    explicit ForwardedReader(std::string_view text) : m_rest(text) {}

    /// \return the hops, the client's side first; nothing when the header breaks its grammar.
    std::optional<std::vector<Hop>> read()
    {
        std::vector<Hop> hops;
        do {
            Hop hop;
            do {
                skipBlanks();
                if (!atEndOfPair() && !readPair(hop))
                    return std::nullopt;
                skipBlanks();
            } while (take(';'));
            hops.push_back(std::move(hop));
        } while (take(','));
        if (!m_rest.empty())
            return std::nullopt;
        return hops;
    }

private:
    bool atEndOfPair() const { return m_rest.empty() || m_rest[0] == ',' || m_rest[0] == ';'; }
    void skipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(" \t"), m_rest.size())); }

    bool take(char c)
    {
        if (m_rest.empty() || m_rest[0] != c)
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    bool readPair(Hop& hop)
    {
        const auto end = m_rest.find('=');
        if (end == std::string_view::npos || !isToken(m_rest.substr(0, end)))
            return false;
        const std::string_view name = m_rest.substr(0, end);
        m_rest.remove_prefix(end + 1);
        const auto value = readValue();
        if (!value)
            return false;
        if (equalsIgnoringCase(name, "for"))
            return hop.address.empty() && readNode(*value, false, hop);
        if (equalsIgnoringCase(name, "proto"))
            return hop.scheme.empty() && readScheme(*value, hop);
        return true;
    }

    std::optional<std::string> readValue()
    {
        std::string value;
        if (!take('"')) {
            // Addresses with ports ought to be quoted; there are proxies that do not.
            const auto end = std::min(m_rest.find_first_of(",; \t\""), m_rest.size());
            value = m_rest.substr(0, end);
            m_rest.remove_prefix(end);
            return value.empty() ? std::nullopt : std::optional<std::string>(value);
        }
        while (!m_rest.empty() && m_rest[0] != '"') {
            take('\\');
            if (m_rest.empty())
                return std::nullopt;
            value += m_rest[0];
            m_rest.remove_prefix(1);
        }
        return take('"') ? std::optional<std::string>(value) : std::nullopt;
    }

    std::string_view m_rest;
};

/// Reads "client, proxy, proxy".
std::optional<std::vector<Hop>> readForwardedFor(std::string_view list)
{
    std::vector<Hop> hops;
    while (true) {
        const auto comma = list.find(',');
        Hop hop;
        const std::string_view node = trim(list.substr(0, comma));
        if (node.empty() || !readNode(node, true, hop))
            return std::nullopt;
        hops.push_back(std::move(hop));
        if (comma == std::string_view::npos)
            return hops;
        list.remove_prefix(comma + 1);
    }
}

/// The hop that tells of the client. \return null when none of them does.
const Hop* clientOf(const std::vector<Hop>& hops, const std::vector<AddressRange>& trusted)
{
    for (auto hop = hops.rbegin(); hop != hops.rend(); ++hop) {
        if (hop->address.empty())
            return nullptr;
        if (!isInAny(trusted, hop->address) || std::next(hop) == hops.rend())
            return &*hop;
    }
    return nullptr;
}

} // namespace

bool isForwarded(const RequestHead& head)
{
    constexpr std::string_view SIGNS[] = {
        "Forwarded", "X-Forwarded-For", "X-Forwarded-Proto", "X-Forwarded-Host", "X-Forwarded-Port", "X-Real-IP", "Via"};
    return std::any_of(std::begin(SIGNS), std::end(SIGNS), [&](std::string_view sign) { return head.header(sign); });
}

const char* applyForwarding(RequestHead& head, const std::vector<AddressRange>& trusted)
{
    constexpr const char* UNREADABLE = "What the proxy tells of the client cannot be read.";
    if (!isInAny(trusted, head.address))
        return nullptr;
    head.forwarded = isForwarded(head);
    if (!head.forwarded)
        return nullptr;
    head.port = 0;
    head.connection.clear();
    const auto forwarded = listOf(head, "Forwarded");
    const auto forwardedFor = listOf(head, "X-Forwarded-For");
    const auto forwardedProto = listOf(head, "X-Forwarded-Proto");
    const auto hops = forwarded ? ForwardedReader(*forwarded).read() : std::nullopt;
    const auto others = forwardedFor ? readForwardedFor(*forwardedFor) : std::nullopt;
    if ((forwarded && !hops) || (forwardedFor && !others))
        return UNREADABLE;
    const Hop* const client = hops ? clientOf(*hops, trusted) : nullptr;
    const Hop* const other = others ? clientOf(*others, trusted) : nullptr;
    // A proxy that writes one of the two may pass on what a client wrote into the other.
    if (hops && others &&
        (client == nullptr ? std::string() : client->address) != (other == nullptr ? std::string() : other->address))
        return "Two headers tell of two clients.";
    const Hop* const known = hops ? client : other;
    if (known != nullptr) {
        head.address = known->address;
        // The same holds for its port: a client that chose one could pass for another behind the same address.
        head.port = !hops || !others || client->port == other->port ? known->port : 0;
    }
    Hop told;
    if (forwardedProto && !readScheme(trim(std::string_view(*forwardedProto).substr(forwardedProto->rfind(',') + 1)), told))
        return UNREADABLE;
    std::string scheme = hops ? (known != nullptr ? *known : hops->back()).scheme : "";
    if (scheme.empty())
        scheme = told.scheme;
    if (!scheme.empty() && (told.scheme.empty() || told.scheme == scheme))
        head.scheme = scheme;
    if (head.port != 0)
        head.connection = authorityOf(head.address, head.port);
    return nullptr;
}

} // namespace httpd
