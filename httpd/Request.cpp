// SPDX-License-Identifier: MIT
#include "httpd/Request.h"

#include "httpd/Text.h"

namespace httpd {

namespace {

std::string_view withoutAuthority(std::string_view target)
{
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (target.substr(0, scheme.size()) == scheme) {
            const auto slash = target.find('/', scheme.size());
            return slash == std::string_view::npos ? std::string_view("/") : target.substr(slash);
        }
    }
    return target;
}

} // namespace

std::string_view RequestHead::path() const
{
    const std::string_view rest = withoutAuthority(target);
    return rest.substr(0, rest.find('?'));
}

std::string_view RequestHead::query() const
{
    const std::string_view rest = withoutAuthority(target);
    const auto question = rest.find('?');
    return question == std::string_view::npos ? std::string_view() : rest.substr(question + 1);
}

std::optional<std::string> RequestHead::header(std::string_view name) const
{
    for (const Header& entry : headers) {
        if (equalsIgnoringCase(entry.name, name))
            return entry.value;
    }
    return std::nullopt;
}

} // namespace httpd
