// SPDX-License-Identifier: MIT
#include "W/WStatus.h"

namespace W {

namespace {

struct StatusName {
    WSTATUS_CODE status;
    const char* name;
};

#define WHOST_STATUS(code)                                                                                                         \
    {                                                                                                                              \
        code, #code                                                                                                                \
    }

constexpr StatusName STATUS_NAMES[] = {
    WHOST_STATUS(WSTATUS_OK),
    WHOST_STATUS(WSTATUS_MORE_PAGES),
    WHOST_STATUS(WSTATUS_INVALID_ARGUMENT),
    WHOST_STATUS(WSTATUS_NOT_CREATED),
    WHOST_STATUS(WSTATUS_OUT_OF_MEMORY),
    WHOST_STATUS(WSTATUS_FILE_ERROR),
    WHOST_STATUS(WSTATUS_EXCEPTION_PENDING),
    WHOST_STATUS(WSTATUS_LIMIT_EXCEEDED),
    WHOST_STATUS(WSTATUS_CANCEL_PENDING),
    WHOST_STATUS(WSTATUS_NOT_SUPPORTED),
    WHOST_STATUS(WSTATUS_FAILED),
    WHOST_STATUS(WSTATUS_UNREACHABLE),
    WHOST_STATUS(WSTATUS_TIMED_OUT),
    WHOST_STATUS(WSTATUS_CONNECTION_LOST),
    WHOST_STATUS(WSTATUS_CANCELLED),
    WHOST_STATUS(WSTATUS_LOGIN_REFUSED),
    WHOST_STATUS(WSTATUS_NOT_LOGGED_IN),
    WHOST_STATUS(WSTATUS_CONFLICT),
    WHOST_STATUS(WSTATUS_REJECTED),
    WHOST_STATUS(WSTATUS_AUTH_FAILED),
    WHOST_STATUS(WSTATUS_CHALLENGE_REQUIRED),
};

#undef WHOST_STATUS

} // namespace

const char* WSTATUS2STRING(unsigned int status)
{
    for (const StatusName& entry : STATUS_NAMES)
        if (static_cast<unsigned int>(entry.status) == status)
            return entry.name;
    return "WSTATUS_UNKNOWN";
}

} // namespace W
