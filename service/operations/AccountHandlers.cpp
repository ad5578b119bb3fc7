// SPDX-License-Identifier: MIT
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Service.h"
#include "store/People.h"

namespace kinloomd {

namespace {

constexpr Millis SIGN_IN_PRECISION = 60'000; ///< repeated sign-ins are not written down more often than this

bool isNoted(const Caller& caller) { return caller.signedIn && now() - *caller.signedIn < SIGN_IN_PRECISION; }

} // namespace

Reply handleAuth(Service& service, Request& request)
{
    if (!isNoted(request.caller)) {
        service.database().note([&](DatabaseConnection& connection) { noteSignIn(connection, request.caller.device, now()); });
    }
    return service.documentsFor(request).account(request.caller.person);
}

Reply handleRegister(Service& service, Request& request)
{
    if (!request.caller.registered) {
        service.database().note([&](DatabaseConnection& connection) { markRegistered(connection, request.caller.device, now()); });
    }
    return service.documentsFor(request).account(request.caller.person);
}

} // namespace kinloomd
