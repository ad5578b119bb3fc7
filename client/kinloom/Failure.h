// SPDX-License-Identifier: MIT
/// \file How a call ends when it does not end well, and what it gives when it does.
#ifndef KINLOOM_FAILURE_H
#define KINLOOM_FAILURE_H

#include "W/WStatus.h"
#include "kinloom/Export.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace kinloom {

enum class FailureKind : std::uint8_t {
    INVALID,          ///< an input makes no sense; nobody was asked
    REFUSED,          ///< the plugin did not take the call, or the service did not grant what it needs to begin
    FAILED,           ///< the service, the connection or this computer failed it; the status says how
    TIMED_OUT,        ///< no reply in time
    CANCELLED,        ///< cancelled by the program, or by the end of its pool
    INTERRUPTED,      ///< the interruption that was handed in has rung
    DROPPED,          ///< another plugin object of the process has taken the request with it
    LANE_DIED,        ///< the helper process of its lane has ended, or has broken the protocol
    LANE_NOT_STARTED, ///< no helper process could be started
    NOT_LOADED,       ///< the plugin's file cannot be loaded
    NOT_A_PLUGIN,     ///< the file is loaded, but is not the plugin that it should be
};

/// Why a call failed, as far as the service's answer tells, or the way to it. Beyond the status: many causes have one status.
enum class FailureReason : std::uint8_t {
    UNKNOWN,           ///< the status is all that is known
    NO_CONNECTION,     ///< none can be made, or none that may be trusted; the detail says why
    DEVICE_REFUSED,    ///< the service does not know this device (any more), or its token is wrong
    FORBIDDEN,         ///< the thing is there, but not for this person
    NOT_FOUND,         ///< there is no such thing, or none that this person may see
    NO_PLACE,          ///< no such group to share something with
    NOT_ALLOWED,       ///< the service does not allow it: a limit of its own, or a right; its words say which
    BAD_MARKER,        ///< a feed's marker is none
    BAD_FILE,          ///< the service takes no such file
    BAD_VALUE,         ///< the service cannot use what was asked
    CONFLICT,          ///< it was done already, or is being done
    TOO_LARGE,         ///< larger than the service takes
    TOO_MANY,          ///< too many requests; later they go through
    UNAVAILABLE,       ///< the service can do nothing right now: no room, no time
    GATEWAY,           ///< something in front of the service cannot reach it
    SERVICE_FAILED,    ///< the service has failed
    UNEXPECTED_ANSWER, ///< an answer that no such service gives
    LEAVES_TLS         ///< the service, which is spoken to over TLS, leads to an address that is not encrypted
};

/// The kind's name, such as "timed out".
KINLOOM_CLIENT_API const char* nameOf(FailureKind kind);

/// What a negative status means, in words, such as "the service at http://127.0.0.1:8750 cannot be reached".
/// \param address of the service.
KINLOOM_CLIENT_API std::string statusText(W::WSTATUS status, std::string_view address);

/// What went wrong with one call.
struct CallFailure {
    FailureKind kind = FailureKind::FAILED;
    W::WSTATUS status = W::WSTATUS_OK; ///< as the plugin or the host reported it; 0 when neither did
    std::string attempt;               ///< what was tried: "cannot list the groups"; may be empty
    std::string address;               ///< of the service
    /// What the status does not tell; may be empty. Like the attempt it may hold what people and services wrote, as it came.
    std::string detail;
    unsigned int httpCode = 0; ///< of the service's last reply to what failed; 0 when none came
    /// Seconds that the service asks to wait before another try; negative when it asks for nothing.
    long retryAfter = -1;
    /// What the service or the connection said of it, in their own words and as it came; may be empty. text() leaves it out.
    std::string cause = {};
    FailureReason reason = FailureReason::UNKNOWN; ///< when it is known, the detail tells it in words
    /// Whether it may have taken effect at the service all the same: the request was under way, and no whole answer came.
    bool unsettled = false;

    /// All of it in one readable line; controls in it become question marks.
    KINLOOM_CLIENT_API std::string text() const;
};

/// The numbers of a failure, for those who look things up: "WSTATUS_REJECTED, -205, HTTP 404". Empty when it has none.
KINLOOM_CLIENT_API std::string numbersOf(const CallFailure& failure);

/// A failure, thrown by those who ask for a value that is not there.
class KINLOOM_CLIENT_API CallError : public std::runtime_error {
public:
    explicit CallError(CallFailure failure) : std::runtime_error(failure.text()), m_failure(std::move(failure)) {}
    const CallFailure& failure() const { return m_failure; }

private:
    CallFailure m_failure;
};

/// A value, or the failure in its place.
template <class Value> class Outcome {
public:
    Outcome(Value value) : m_content(std::move(value)) {}
    Outcome(CallFailure failure) : m_content(std::move(failure)) {}

    bool ok() const { return m_content.index() == 0; }
    explicit operator bool() const { return ok(); }

    /// \throw CallError when there is none.
    const Value& value() const& { return require(), std::get<0>(m_content); }
    Value value() && { return require(), std::move(std::get<0>(m_content)); }

    /// Only when there is no value.
    const CallFailure& failure() const { return std::get<1>(m_content); }

private:
    void require() const
    {
        if (!ok())
            throw CallError(failure());
    }

    std::variant<Value, CallFailure> m_content;
};

} // namespace kinloom

#endif
