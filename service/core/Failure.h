// SPDX-License-Identifier: MIT
/// \file What can go wrong with a request, and how each failure is answered.
#ifndef KINLOOMD_CORE_FAILURE_H
#define KINLOOMD_CORE_FAILURE_H

#include <exception>
#include <string>

namespace kinloomd {

/// Every failure that a request can end with.
enum class Failure {
    MALFORMED_REQUEST,
    BAD_PARAMETER,
    MISSING_PARAMETER,
    UNSUPPORTED_TYPE,
    BROKEN_PICTURE,
    EMPTY_FILE,
    SIZE_MISMATCH,
    NOT_SIGNED,
    REFUSED_DEVICE,
    NOT_SIGNED_IN,
    SIGNED_OUT,
    FORBIDDEN,
    TOO_MANY_GROUPS,
    NO_ROOM,
    NOT_FOUND,
    WRONG_METHOD,
    TOO_SLOW,
    WRONG_CODE,
    CONFLICT,
    NAME_TAKEN,
    USED,
    EXPIRED,
    GONE,
    TOO_LARGE,
    HEADERS_TOO_LARGE,
    TOO_MANY_REQUESTS,
    TOO_MANY_SLOTS,
    INTERNAL,
    UNAVAILABLE,
    DISK_FULL,
};

/// How a failure looks on the wire.
struct FailureEntry {
    Failure failure;
    unsigned httpStatus;
    const char* code;        ///< the service's own code, in the vocabulary that clients map
    const char* word;        ///< what pages and devices that are being paired know it by
    const char* description; ///< one sentence for people
};

/// The entry of a failure.
const FailureEntry& describe(Failure failure);

/// Ends the handling of a request. \c what() is the sentence for the reply document.
class ServiceError : public std::exception {
public:
    explicit ServiceError(Failure failure) : m_failure(failure), m_detail(describe(failure).description) {}
    ServiceError(Failure failure, std::string detail) : m_failure(failure), m_detail(std::move(detail)) {}
    /// \param retrySeconds after which it is worth trying again; otherwise nothing is known of that
    ServiceError(Failure failure, std::string detail, unsigned retrySeconds)
        : m_failure(failure), m_detail(std::move(detail)), m_retrySeconds(retrySeconds)
    {
    }

    Failure failure() const { return m_failure; }
    unsigned retrySeconds() const { return m_retrySeconds; }
    const char* what() const noexcept override { return m_detail.c_str(); }

private:
    Failure m_failure;
    std::string m_detail;
    unsigned m_retrySeconds = 0;
};

} // namespace kinloomd

#endif
