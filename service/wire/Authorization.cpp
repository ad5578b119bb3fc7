// SPDX-License-Identifier: MIT
#include "wire/Authorization.h"

#include "core/Digest.h"
#include "core/Text.h"

namespace kinloomd {

namespace {

struct FieldEntry {
    std::string_view name;
    std::string Authorization::*member;
};

constexpr FieldEntry FIELDS[] = {
    {"auth_identifier", &Authorization::identifier}, {"app_id", &Authorization::appId},
    {"app_type", &Authorization::appType},           {"token", &Authorization::token},
    {"token_type", &Authorization::tokenType},       {"duid", &Authorization::duid},
    {"signature", &Authorization::signature},
};

/// The place of a field in the table, or its length for a name that is not in it.
std::size_t indexOf(std::string_view name)
{
    std::size_t index = 0;
    while (index < std::size(FIELDS) && FIELDS[index].name != name)
        ++index;
    return index;
}

} // namespace

std::optional<Authorization> parseAuthorization(std::string_view header)
{
    Authorization authorization;
    unsigned seen = 0;
    for (std::string_view rest = trim(header);;) {
        const auto equals = rest.find("=\"");
        if (equals == std::string_view::npos)
            return std::nullopt;
        const auto end = rest.find('"', equals + 2);
        if (end == std::string_view::npos)
            return std::nullopt;
        const std::string_view name = trim(rest.substr(0, equals));
        if (name.empty() || name.find_first_of(" \t,\"=") != std::string_view::npos)
            return std::nullopt;
        const std::size_t index = indexOf(name);
        if (index < std::size(FIELDS)) {
            if ((seen & (1U << index)) != 0)
                return std::nullopt;
            seen |= 1U << index;
            authorization.*FIELDS[index].member = rest.substr(equals + 2, end - equals - 2);
        }
        rest = trim(rest.substr(end + 1));
        if (rest.empty())
            return authorization;
        if (rest[0] != ',')
            return std::nullopt;
        rest = trim(rest.substr(1));
    }
}

std::string requestSignature(std::string_view appId, std::string_view token)
{
    std::string message(token);
    message += '\0';
    return toHex(hmacSha1(appId, message));
}

} // namespace kinloomd
