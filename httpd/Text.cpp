// SPDX-License-Identifier: MIT
#include "httpd/Text.h"

#include <algorithm>
#include <charconv>

namespace httpd {

namespace {

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

template <typename Number> std::optional<Number> parseDigits(std::string_view text)
{
    Number value{};
    if (text.empty() || text[0] < '0' || text[0] > '9')
        return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

} // namespace

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lowerCase(x) == lowerCase(y); });
}

std::string_view trim(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::int64_t> parseSize(std::string_view text) { return parseDigits<std::int64_t>(text); }

std::optional<std::uint16_t> parsePort(std::string_view text) { return parseDigits<std::uint16_t>(text); }

} // namespace httpd
