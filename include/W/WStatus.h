// SPDX-License-Identifier: MIT
/// \file The status vocabulary that hosts and plugins share.
#ifndef W_WSTATUS_H
#define W_WSTATUS_H

#include "W/WTypes.h"

namespace W {

/// The values of WSTATUS that have a name. Hosts compare numbers, so the numbers never change.
enum WSTATUS_CODE : WSTATUS {
    WSTATUS_OK = 0,
    WSTATUS_MORE_PAGES = 100,          ///< list callbacks: success, and the service holds more records
    WSTATUS_INVALID_ARGUMENT = -1,     ///< an argument or an option is empty or out of range
    WSTATUS_NOT_CREATED = -3,          ///< a request could not be created
    WSTATUS_OUT_OF_MEMORY = -4,        ///< an object could not be allocated
    WSTATUS_FILE_ERROR = -5,           ///< a local file could not be read or written
    WSTATUS_EXCEPTION_PENDING = -9,    ///< a service exception waits to be resolved
    WSTATUS_LIMIT_EXCEEDED = -13,      ///< a reply exceeds what the host accepts
    WSTATUS_CANCEL_PENDING = -14,      ///< a cancel is already pending
    WSTATUS_NOT_SUPPORTED = -15,       ///< the service does not offer the operation
    WSTATUS_FAILED = -16,              ///< general failure: malformed reply, wrong provider, unknown code
    WSTATUS_UNREACHABLE = -100,        ///< the service could not be reached
    WSTATUS_TIMED_OUT = -105,          ///< connecting or transferring took too long
    WSTATUS_CONNECTION_LOST = -107,    ///< the service failed (HTTP 500) or cut the connection
    WSTATUS_CANCELLED = -108,          ///< the transfer was cancelled
    WSTATUS_LOGIN_REFUSED = -200,      ///< the service refuses the credentials
    WSTATUS_NOT_LOGGED_IN = -202,      ///< the session is not signed in
    WSTATUS_CONFLICT = -203,           ///< the request conflicts with the state of the service
    WSTATUS_REJECTED = -205,           ///< bad request, forbidden, or no such resource
    WSTATUS_AUTH_FAILED = -208,        ///< device authentication failed
    WSTATUS_CHALLENGE_REQUIRED = -500, ///< the service asks the user to solve a challenge
};

/// Printable name of a status, such as "WSTATUS_NOT_LOGGED_IN".
/// \param status the WSTATUS, converted to unsigned; a value without a name gives "WSTATUS_UNKNOWN".
/// \return a zero-terminated string with static storage, never null. Callable from any thread.
const char* WSTATUS2STRING(unsigned int status);

} // namespace W

#endif
