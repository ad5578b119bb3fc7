// SPDX-License-Identifier: MIT
#include "operations/Authenticate.h"

#include "core/Digest.h"
#include "core/Failure.h"
#include "httpd/Address.h"
#include "operations/Service.h"
#include "store/People.h"
#include "wire/Authorization.h"

namespace kinloomd {

namespace {

constexpr std::string_view IDENTIFIER = "KL_AUTH_V1";
constexpr std::string_view APP_TYPE = "dtv";
constexpr std::string_view TOKEN_TYPE = "user";

/// \return whether the signature is that of the session's values, or, for a session that is just beginning, of empty ones.
bool isSignatureRight(const Authorization& authorization, bool firstOfSession)
{
    if (equalsInConstantTime(authorization.signature, requestSignature(authorization.appId, authorization.token)))
        return true;
    return firstOfSession && equalsInConstantTime(authorization.signature, requestSignature("", ""));
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
    const auto connection = service.database().read();
    const auto device = findDevice(connection, authorization->duid);
    if (!device)
        throw ServiceError(refusal);
    const bool known = equalsInConstantTime(toHex(sha256(authorization->token)), device->tokenHash) &&
                       equalsInConstantTime(authorization->appId, device->appId);
    if (!known || !isSignatureRight(*authorization, firstOfSession))
        throw ServiceError(refusal);
    return {device->id, device->registered, device->signedIn, device->person};
}

/// A comment comes with an appToken header alone, which is empty for sessions of devices. It is credited to the device that last
/// signed in from the same address. The header must still be there: a page in a browser cannot send it unasked.
Caller authenticateByAddress(Service& service, const Request& request)
{
    if (request.header("Authorization"))
        return authenticateSigned(service, request, false);
    if (!request.header("appToken"))
        throw ServiceError(Failure::NOT_SIGNED, "The request carries no appToken header.");
    const auto connection = service.database().read();
    const auto signIn = lastSignIn(connection, request.head.address);
    if (!signIn)
        throw ServiceError(Failure::NOT_SIGNED_IN);
    Caller caller;
    caller.device = signIn->device;
    caller.person = signIn->person;
    return caller;
}

} // namespace

Caller authenticate(Service& service, const Request& request, Access access)
{
    switch (access) {
    case Access::SIGNED:
        return authenticateSigned(service, request, false);
    case Access::SIGN_IN:
        return authenticateSigned(service, request, true);
    case Access::ADDRESS:
        return authenticateByAddress(service, request);
    case Access::LOOPBACK_ONLY:
        // Without the option there is no such path at all.
        if (!service.options().control)
            throw ServiceError(Failure::NOT_FOUND);
        if (!httpd::isLoopback(request.head.address))
            throw ServiceError(Failure::FORBIDDEN, "Only this computer may do that.");
        return {};
    case Access::KEY:
        return {};
    }
    throw ServiceError(Failure::INTERNAL);
}

} // namespace kinloomd
