// SPDX-License-Identifier: MIT
/// \file Values of headers, parameters and options, compared and read.
#ifndef HTTPD_TEXT_H
#define HTTPD_TEXT_H

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace httpd {

/// \return whether two texts are equal when the case of ASCII letters is ignored.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// The text without blanks and tabs at its ends.
std::string_view trim(std::string_view text);

/// \return whether the text can be a method or the name of a header: one character or more, no blanks, separators or controls.
bool isToken(std::string_view text);

/// The value of a hexadecimal digit in either case; -1 for anything else.
int hexDigit(char c);

/// A decimal number that the type holds: digits alone, no sign, no blanks.
template <typename Number> std::optional<Number> parseDecimal(std::string_view text)
{
    Number value{};
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace httpd

#endif
