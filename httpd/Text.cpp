// SPDX-License-Identifier: MIT
#include "httpd/Text.h"

#include <algorithm>

namespace httpd {

namespace {

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

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

bool isToken(std::string_view text)
{
    constexpr std::string_view MARKS = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        const char letter = lowerCase(c);
        return (letter >= 'a' && letter <= 'z') || (c >= '0' && c <= '9') || MARKS.find(c) != std::string_view::npos;
    });
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char letter = lowerCase(c);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

} // namespace httpd
