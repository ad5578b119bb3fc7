// SPDX-License-Identifier: MIT
/// \file The numbers that the plugin and its host agree on.
///
/// A television's headers fix these values and the types that carry them; what they call them differs from one television to the
/// next. So the plugin has names of its own, and uses none of its host's.
#ifndef KLSERVICE_HOSTVALUES_H
#define KLSERVICE_HOSTVALUES_H

#include "W/Http.h"
#include "W/WContentProvider.h"
#include "W/WDateTime.h"
#include "W/WException.h"

namespace W {

/// What operations return and callbacks report.
namespace wstatus {
constexpr WSTATUS OK = 0;
constexpr WSTATUS MORE_PAGES = 100;          ///< success, and the service holds more records
constexpr WSTATUS INVALID_ARGUMENT = -1;     ///< an argument or an option is empty or out of range
constexpr WSTATUS NOT_CREATED = -3;          ///< a request could not be created
constexpr WSTATUS OUT_OF_MEMORY = -4;        ///< an object could not be allocated
constexpr WSTATUS FILE_ERROR = -5;           ///< a local file could not be read or written
constexpr WSTATUS EXCEPTION_PENDING = -9;    ///< a service exception waits to be resolved
constexpr WSTATUS LIMIT_EXCEEDED = -13;      ///< a reply exceeds what the host accepts
constexpr WSTATUS CANCEL_PENDING = -14;      ///< a cancel is already pending
constexpr WSTATUS NOT_SUPPORTED = -15;       ///< the service does not offer the operation
constexpr WSTATUS FAILED = -16;              ///< general failure: malformed reply, wrong provider, unknown code
constexpr WSTATUS UNREACHABLE = -100;        ///< the service could not be reached
constexpr WSTATUS TIMED_OUT = -105;          ///< connecting or transferring took too long
constexpr WSTATUS CONNECTION_LOST = -107;    ///< the service failed (HTTP 500) or cut the connection
constexpr WSTATUS CANCELLED = -108;          ///< the transfer was cancelled
constexpr WSTATUS LOGIN_REFUSED = -200;      ///< the service refuses the credentials
constexpr WSTATUS NOT_LOGGED_IN = -202;      ///< the session is not signed in
constexpr WSTATUS CONFLICT = -203;           ///< the request conflicts with the state of the service
constexpr WSTATUS REJECTED = -205;           ///< bad request, forbidden, or no such resource
constexpr WSTATUS AUTH_FAILED = -208;        ///< device authentication failed
constexpr WSTATUS CHALLENGE_REQUIRED = -500; ///< the service asks the user to solve a challenge
} // namespace wstatus

namespace session_status {
constexpr auto DONE = static_cast<SESSION_STATUS>(0); ///< a reply arrived whole; every other value is a failed transfer
} // namespace session_status

namespace http_method {
constexpr auto GET = static_cast<HTTP_REQUEST_TYPE>(0);
constexpr auto POST = static_cast<HTTP_REQUEST_TYPE>(1);
} // namespace http_method

namespace http_code {
constexpr auto OK = static_cast<HTTP_RESPONSE_CODE>(200);
constexpr auto FORBIDDEN = static_cast<HTTP_RESPONSE_CODE>(403);
constexpr auto INTERNAL_SERVER_ERROR = static_cast<HTTP_RESPONSE_CODE>(500);
} // namespace http_code

namespace exception_type {
constexpr auto CAPTCHA = static_cast<ExceptionType_enum>(1);
} // namespace exception_type

namespace service_type {
constexpr auto KINLOOM = static_cast<WContentProvider::ServiceType>(12);
} // namespace service_type

/// How the service writes dates.
namespace date_format {
constexpr auto ISO8601 = static_cast<WDateTime::DATEFORMAT>(0);
} // namespace date_format
namespace time_zone {
constexpr auto UTC = static_cast<WDateTime::TIMEZONE>(1);
} // namespace time_zone

} // namespace W

#endif
