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
    SIZE_MISMATCH,
    NOT_SIGNED,
    REFUSED_DEVICE,
    NOT_SIGNED_IN,
    FORBIDDEN,
    NOT_FOUND,
    WRONG_METHOD,
    TOO_SLOW,
    CONFLICT,
    TOO_LARGE,
    HEADERS_TOO_LARGE,
    TOO_MANY_REQUESTS,
    INTERNAL,
    UNAVAILABLE,
};

/// How a failure looks on the wire.
struct FailureEntry {
    Failure failure;
    unsigned httpStatus;
    const char* code;        ///< the service's own code, in the vocabulary that clients map
    const char* description; ///< one sentence for people
};

/// The entry of a failure.
const FailureEntry& describe(Failure failure);

/// Ends the handling of a request. \c what() is the sentence for the reply document.
class ServiceError : public std::exception {
public:
    explicit ServiceError(Failure failure) : m_failure(failure), m_detail(describe(failure).description) {}
    ServiceError(Failure failure, std::string detail) : m_failure(failure), m_detail(std::move(detail)) {}

    Failure failure() const { return m_failure; }
    const char* what() const noexcept override { return m_detail.c_str(); }

private:
    Failure m_failure;
    std::string m_detail;
};

} // namespace kinloomd

#endif
