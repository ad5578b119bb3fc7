// SPDX-License-Identifier: MIT
/// \file One state of the session.
#ifndef KLSERVICE_SESSION_H
#define KLSERVICE_SESSION_H

#include "W/WTypes.h"

#include <memory>
#include <tuple>

namespace W {

/// Who is signed in, and how that signs a request. Never changes once it is in force: a new sign-in makes a new one, so that an
/// operation that reads it beside a completion sees one credential or the other, never a mixture.
struct Session {
    STRING userID;
    STRING appID;
    STRING authToken;
    STRING appToken;
    STRING duid;

    // Both follow from the fields above; made once per session, since they would be a fifth of the cost of a request.
    STRING signature;
    STRING authorization;

    /// The state before the first sign-in. That one is signed too, with the empty values.
    static std::shared_ptr<const Session> signedOut();

    /// Makes signature and authorization anew.
    void sign();

    friend bool operator==(const Session& a, const Session& b)
    {
        return std::tie(a.userID, a.appID, a.authToken, a.appToken, a.duid) ==
               std::tie(b.userID, b.appID, b.authToken, b.appToken, b.duid);
    }
};

} // namespace W

#endif
