// SPDX-License-Identifier: MIT
/// \file Sets of network addresses, as options name them.
#ifndef HTTPD_ADDRESSRANGE_H
#define HTTPD_ADDRESSRANGE_H

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace httpd {

/// One address or all that begin alike: "192.0.2.7", "10.0.0.0/8", "fd00::/8".
class AddressRange {
public:
    /// \return nothing when the text is no such range.
    static std::optional<AddressRange> parse(std::string_view text);

    /// \param address as RequestHead holds it: without port and brackets. Texts that are no address are in no range.
    bool contains(std::string_view address) const;

private:
    using Bytes = std::array<unsigned char, 16>;

    AddressRange(const Bytes& first, unsigned bits) : m_first(first), m_bits(bits) {}
    static std::optional<Bytes> bytesOf(std::string_view address);

    Bytes m_first;   ///< IPv4 addresses as IPv6 writes them
    unsigned m_bits; ///< how many of the first must be the same
};

/// \return whether one of the ranges holds the address.
bool isInAny(const std::vector<AddressRange>& ranges, std::string_view address);

/// \return whether the address is that of this computer to itself, or one that the internet does not carry: such as homes use.
bool isPrivate(std::string_view address);

} // namespace httpd

#endif
