// SPDX-License-Identifier: MIT
#include "httpd/Framing.h"

#include "httpd/Address.h"
#include "httpd/Text.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

namespace httpd {

namespace {

constexpr std::string_view LENGTH = "Content-Length";
constexpr std::string_view ENCODING = "Transfer-Encoding";
/// Whoever reads the first of two and whoever reads the second would see two different requests.
constexpr std::string_view SINGLE_HEADERS[] = {"Host", "Authorization"};

std::vector<std::string_view> valuesOf(const std::vector<Header>& headers, std::string_view name)
{
    std::vector<std::string_view> values;
    for (const Header& header : headers) {
        if (equalsIgnoringCase(header.name, name))
            values.emplace_back(header.value);
    }
    return values;
}

/// \return whether a value holds what ends a line or a text for some readers, or any other control character.
bool holdsControl(std::string_view value)
{
    return std::any_of(value.begin(), value.end(), [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; });
}

} // namespace

Framing readFraming(const std::vector<Header>& headers)
{
    for (const Header& header : headers) {
        if (!isToken(header.name))
            return {"A header has no name, or one that holds what no name may."};
        if (holdsControl(header.value))
            return {"The value of a header holds a control character."};
    }
    const auto lengths = valuesOf(headers, LENGTH);
    const auto encodings = valuesOf(headers, ENCODING);
    if (lengths.size() + encodings.size() > 1)
        return {"The request says more than once how long it is."};
    if (!encodings.empty() && !equalsIgnoringCase(trim(encodings[0]), "chunked"))
        return {"The transfer encoding is not known."};
    for (const std::string_view name : SINGLE_HEADERS) {
        if (valuesOf(headers, name).size() > 1)
            return {"A header is there twice."};
    }
    const auto hosts = valuesOf(headers, "Host");
    if (!hosts.empty() && !isHostHeader(trim(hosts[0])))
        return {"The Host header is malformed."};
    if (!encodings.empty())
        return {nullptr, std::nullopt};
    if (lengths.empty())
        return {};
    const auto length = parseDecimal<std::int64_t>(trim(lengths[0]));
    if (!length)
        return {"The content length is not a number."};
    return {nullptr, length};
}

} // namespace httpd
