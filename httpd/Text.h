// SPDX-License-Identifier: MIT
/// \file Header values, compared and read. Of the library alone.
#ifndef HTTPD_TEXT_H
#define HTTPD_TEXT_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace httpd {

/// \return whether two texts are equal when the case of ASCII letters is ignored.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// The text without blanks and tabs at its ends.
std::string_view trim(std::string_view text);

/// A decimal number of at most 63 bits, digits only.
std::optional<std::int64_t> parseSize(std::string_view text);

/// A decimal number from 0 to 65535, digits only.
std::optional<std::uint16_t> parsePort(std::string_view text);

} // namespace httpd

#endif
