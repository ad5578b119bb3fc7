// SPDX-License-Identifier: MIT
#include "operations/LocalAccess.h"

#include "core/Failure.h"
#include "core/Text.h"
#include "httpd/Address.h"
#include "httpd/Forwarding.h"

namespace kinloomd {

namespace {

/// The host of an authority, without its port and brackets.
std::string_view hostOf(std::string_view authority)
{
    if (authority.substr(0, 1) == "[")
        return authority.substr(1, authority.find(']') - 1);
    return authority.substr(0, authority.find(':'));
}

bool isLocalName(std::string_view host)
{
    return equalsIgnoringCase(host, "localhost") || (httpd::isLoopback(host) && !httpd::canonicalAddress(host).empty());
}

/// \return whether a page of another site may stand behind the request.
bool isForeign(const httpd::RequestHead& head)
{
    const auto origin = head.header("Origin");
    if (!origin)
        return false;
    const auto slashes = origin->find("//");
    return slashes == std::string::npos || !equalsIgnoringCase(origin->substr(slashes + 2), head.header("Host").value_or(""));
}

void refuseForeign(const httpd::RequestHead& head)
{
    if (isForeign(head))
        throw ServiceError(Failure::FORBIDDEN, "That is not for pages of other sites.");
}

} // namespace

void requireLocal(const httpd::RequestHead& head)
{
    // A proxy that nobody told of forwards from this computer too.
    if (!head.isLocal() || httpd::isForwarded(head))
        throw ServiceError(Failure::FORBIDDEN, "Only this computer may do that.");
    if (const auto host = head.header("Host"); host && !isLocalName(hostOf(*host)))
        throw ServiceError(Failure::FORBIDDEN, "Only this computer may do that, under a name of its own, such as localhost.");
    refuseForeign(head);
}

void requireLocalOr(const std::vector<httpd::AddressRange>& others, const httpd::RequestHead& head)
{
    const bool pretends = head.forwarded && httpd::isLoopback(head.address);
    if (pretends || !httpd::isInAny(others, head.address))
        return requireLocal(head);
    refuseForeign(head);
}

} // namespace kinloomd
