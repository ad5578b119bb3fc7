// SPDX-License-Identifier: MIT
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Service.h"
#include "store/People.h"

namespace kinloomd {

namespace {

constexpr Millis SIGN_IN_PRECISION = 60'000; ///< repeated sign-ins are not written down more often than this

bool isNoted(DatabaseConnection& connection, const Request& request)
{
    const auto last = lastSignIn(connection, request.head.address);
    return last && last->device == request.caller.device && request.caller.signedIn &&
           now() - *request.caller.signedIn < SIGN_IN_PRECISION;
}

} // namespace

Reply handleAuth(Service& service, Request& request)
{
    bool noted = false;
    {
        const auto connection = service.database().read();
        noted = isNoted(connection, request);
    }
    if (!noted) {
        const auto connection = service.database().write();
        Transaction transaction(connection);
        noteSignIn(connection, request.head.address, request.caller.device, now());
        transaction.commit();
    }
    return service.documentsFor(request).account(request.caller.person);
}

Reply handleRegister(Service& service, Request& request)
{
    if (!request.caller.registered) {
        const auto connection = service.database().write();
        markRegistered(connection, request.caller.device, now());
    }
    return service.documentsFor(request).account(request.caller.person);
}

} // namespace kinloomd
