// SPDX-License-Identifier: MIT
/// \file The plugin's error line: its only log.
#ifndef KLSERVICE_LOG_H
#define KLSERVICE_LOG_H

#include "W/WTypes.h"

namespace W {

/// Prints one error line and an empty one on standard output. Lines of several threads do not mix.
/// \param source where the failure was noticed: "src/KLService" or "src/WKLOAI".
/// \return \p status, so that a caller can log and return in one statement.
WSTATUS logError(WSTATUS status, const char* source, int line);

/// The line numbers that the service reports. Field technicians look failures up by them, so they stay as they are whatever
/// happens to the source.
namespace log_line {
constexpr int LOGOUT_NOT_CREATED = 233;
constexpr int LOGOUT_REFUSED = 238;
constexpr int RESOLVE_BAD_TYPE = 279;
constexpr int RESOLVE_FAILED = 286;
constexpr int SYNC_POST_FAILED = 318;
constexpr int POST_NOT_CREATED = 360;
constexpr int POST_REFUSED = 365;
constexpr int UPLOAD_INPUT_MISSING = 404;
constexpr int UPLOAD_NOT_CREATED = 418;
constexpr int UPLOAD_REFUSED = 445;
constexpr int GET_NOT_CREATED = 607;
constexpr int GET_REFUSED = 612;
constexpr int DOWNLOAD_PATH_EMPTY = 645;
constexpr int DOWNLOAD_NOT_CREATED = 655;
constexpr int DOWNLOAD_REFUSED = 671;
constexpr int SYNC_GET_FAILED = 709;
constexpr int EXCEPTION_NOT_CREATED = 741;
constexpr int EXCEPTION_BAD_TYPE = 749;
} // namespace log_line

/// The error line of this folder.
inline WSTATUS logServiceError(WSTATUS status, int line) { return logError(status, "src/KLService", line); }

} // namespace W

#endif
