// SPDX-License-Identifier: MIT
#include "httpd/AddressRange.h"

#include "httpd/Text.h"

#include <algorithm>
#include <arpa/inet.h>

namespace httpd {

namespace {

constexpr unsigned V4_OFFSET_BITS = 96; ///< of an IPv4 address within an IPv6 one
constexpr std::size_t V4_OFFSET = V4_OFFSET_BITS / 8;
constexpr unsigned ALL_BITS = 128;

constexpr const char* PRIVATE_RANGES[] = {"127.0.0.0/8",    "10.0.0.0/8", "172.16.0.0/12", "192.168.0.0/16",
                                          "169.254.0.0/16", "::1",        "fc00::/7",      "fe80::/10"};

} // namespace

std::optional<AddressRange::Bytes> AddressRange::bytesOf(std::string_view address)
{
    const std::string text(address);
    Bytes bytes{};
    if (text.find(':') != std::string::npos)
        return ::inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1 ? std::optional<Bytes>(bytes) : std::nullopt;
    bytes[V4_OFFSET - 2] = 0xFF;
    bytes[V4_OFFSET - 1] = 0xFF;
    return ::inet_pton(AF_INET, text.c_str(), &bytes[V4_OFFSET]) == 1 ? std::optional<Bytes>(bytes) : std::nullopt;
}

std::optional<AddressRange> AddressRange::parse(std::string_view text)
{
    const auto slash = text.find('/');
    const std::string_view address = text.substr(0, slash);
    const auto first = bytesOf(address);
    if (!first)
        return std::nullopt;
    if (slash == std::string_view::npos)
        return AddressRange(*first, ALL_BITS);
    const unsigned offset = address.find(':') == std::string_view::npos ? V4_OFFSET_BITS : 0;
    const auto bits = parseDecimal<unsigned>(text.substr(slash + 1));
    if (!bits || *bits > ALL_BITS - offset)
        return std::nullopt;
    return AddressRange(*first, offset + *bits);
}

bool AddressRange::contains(std::string_view address) const
{
    const auto bytes = bytesOf(address);
    if (!bytes)
        return false;
    const std::size_t whole = m_bits / 8;
    if (!std::equal(bytes->begin(), bytes->begin() + static_cast<std::ptrdiff_t>(whole), m_first.begin()))
        return false;
    const unsigned rest = m_bits % 8;
    return rest == 0 || ((*bytes)[whole] ^ m_first[whole]) >> (8 - rest) == 0;
}

bool isInAny(const std::vector<AddressRange>& ranges, std::string_view address)
{
    return std::any_of(ranges.begin(), ranges.end(), [&](const AddressRange& range) { return range.contains(address); });
}

bool isPrivate(std::string_view address)
{
    return std::any_of(std::begin(PRIVATE_RANGES), std::end(PRIVATE_RANGES),
                       [&](const char* range) { return AddressRange::parse(range)->contains(address); });
}

} // namespace httpd
