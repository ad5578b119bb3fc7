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

    /// All of it in one readable line; controls in it become question marks.
    KINLOOM_CLIENT_API std::string text() const;
};

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
