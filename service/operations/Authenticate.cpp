// SPDX-License-Identifier: MIT
#include "operations/Authenticate.h"

#include "core/Digest.h"
#include "core/Failure.h"
#include "operations/LocalAccess.h"
#include "operations/Service.h"
#include "operations/page/Browser.h"
#include "store/People.h"
#include "wire/Authorization.h"

namespace kinloomd {

namespace {

constexpr std::string_view IDENTIFIER = "KL_AUTH_V1";
constexpr std::string_view APP_TYPE = "dtv";
constexpr std::string_view TOKEN_TYPE = "user";

/// \return whether the header proves that the request comes from the device: its token and application id are the device's, and the
/// signature is that of these values, or, for a session that is just beginning, of empty ones. All of it is looked at in any case:
/// the time that a refusal takes must not tell what was wrong, nor whether there is such a device.
bool isProof(const Authorization& sent, const NamedDevice& named, bool firstOfSession)
{
    const bool token = equalsInConstantTime(toHex(sha256(sent.token)), named.device.tokenHash);
    const bool application = equalsInConstantTime(sent.appId, named.device.appId);
    const bool ofSession = equalsInConstantTime(sent.signature, requestSignature(sent.appId, sent.token));
    const bool ofNothing = equalsInConstantTime(sent.signature, requestSignature("", ""));
    return named.known && token && application && (ofSession || (firstOfSession && ofNothing));
}

Caller callerOf(const Device& device) { return {device.id, 0, device.registered, device.signedIn, device.person}; }

NamedDevice lookUp(Service& service, const std::string& duid)
{
    const auto connection = service.database().read();
    return lookUpDevice(connection, duid);
}

Caller authenticateSigned(Service& service, const Request& request, bool firstOfSession)
{
    const auto header = request.header("Authorization");
    if (!header)
        throw ServiceError(Failure::NOT_SIGNED, "The request carries no Authorization header.");
    const auto authorization = parseAuthorization(*header);
    if (!authorization)
        throw ServiceError(Failure::NOT_SIGNED, "The Authorization header cannot be read.");
    const Failure refusal = firstOfSession ? Failure::REFUSED_DEVICE : Failure::NOT_SIGNED;
    if (authorization->identifier != IDENTIFIER || authorization->appType != APP_TYPE || authorization->tokenType != TOKEN_TYPE)
        throw ServiceError(refusal);
    const NamedDevice named = lookUp(service, authorization->duid);
    if (!isProof(*authorization, named, firstOfSession))
        throw ServiceError(refusal);
    service.noteSigner(request.head, authorization->duid);
    return callerOf(named.device);
}

/// A comment comes with an appToken header alone, which is empty for sessions of devices. It is credited to the device that the
/// signed requests beside it come from, as far as that is certain. The header must still be there: a page in a browser cannot send
/// it unasked.
Caller authenticateByNeighbours(Service& service, const Request& request)
{
    if (request.header("Authorization"))
        return authenticateSigned(service, request, false);
    if (!request.header("appToken"))
        throw ServiceError(Failure::NOT_SIGNED, "The request carries no appToken header.");
    const std::string duid = service.creditedSigner(request.head);
    if (duid.empty())
        throw ServiceError(Failure::NOT_SIGNED_IN);
    const auto connection = service.database().read();
    // It may have been removed since it signed.
    const auto device = findDevice(connection, duid);
    if (!device)
        throw ServiceError(Failure::NOT_SIGNED_IN);
    return callerOf(*device);
}

} // namespace

Caller authenticate(Service& service, Request& request, Access access)
{
    switch (access) {
    case Access::SIGNED:
        return authenticateSigned(service, request, false);
    case Access::SIGN_IN:
        return authenticateSigned(service, request, true);
    case Access::NEIGHBOURS:
        return authenticateByNeighbours(service, request);
    case Access::LOOPBACK_ONLY:
        // Without the option there is no such path at all.
        if (!service.options().control)
            throw ServiceError(Failure::NOT_FOUND);
        requireLocal(request.head);
        return {};
    case Access::KEY:
        return {};
    case Access::BROWSER:
        requireOwnPage(service.options(), request.head);
        return authenticateBrowser(service, request);
    case Access::VISITOR:
        requireOwnPage(service.options(), request.head);
        return {};
    case Access::NEW_DEVICE:
        refuseOtherPages(service.options(), request.head);
        return {};
    }
    throw ServiceError(Failure::INTERNAL);
}

} // namespace kinloomd
