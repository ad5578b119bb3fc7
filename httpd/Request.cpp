// SPDX-License-Identifier: MIT
#include "httpd/Request.h"

#include "httpd/Address.h"
#include "httpd/Text.h"

#include <algorithm>

namespace httpd {

namespace {

/// How much of a target stands before its path: the scheme and authority that a client puts there which takes this server for a
/// proxy.
std::size_t originSize(std::string_view target)
{
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (equalsIgnoringCase(target.substr(0, scheme.size()), scheme))
            return std::min(target.find_first_of("/?", scheme.size()), target.size());
    }
    return 0;
}

std::string_view withoutOrigin(std::string_view target) { return target.substr(originSize(target)); }

} // namespace

std::string_view RequestHead::path() const
{
    const std::string_view rest = withoutOrigin(target);
    const std::string_view path = rest.substr(0, rest.find('?'));
    return path.empty() && !target.empty() ? std::string_view("/") : path;
}

std::string_view RequestHead::query() const
{
    const std::string_view rest = withoutOrigin(target);
    const auto question = rest.find('?');
    return question == std::string_view::npos ? std::string_view() : rest.substr(question + 1);
}

std::string_view RequestHead::authority() const
{
    const std::string_view origin = std::string_view(target).substr(0, originSize(target));
    return origin.empty() ? origin : origin.substr(origin.find("//") + 2);
}

bool RequestHead::isLocal() const { return !forwarded && isLoopback(address); }

std::optional<std::string> RequestHead::header(std::string_view name) const
{
    for (const Header& entry : headers) {
        if (equalsIgnoringCase(entry.name, name))
            return entry.value;
    }
    return std::nullopt;
}

} // namespace httpd
