// SPDX-License-Identifier: MIT
/// \file Everything that goes wrong, as one line and an exit code.
#ifndef KINLOOM_CORE_ERRORS_H
#define KINLOOM_CORE_ERRORS_H

#include "kinloom/Failure.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kinloom {

/// The program's exit codes; part of its interface.
enum class Exit : int {
    OK = 0,
    FAILED = 1,          ///< the service or the plugin refused the operation, or it failed
    USAGE = 2,           ///< the command line makes no sense
    NOT_SIGNED_IN = 3,   ///< not configured, or the service does not accept this device
    UNREACHABLE = 4,     ///< the service cannot be reached, does not answer in time, or breaks off
    LOCAL_FILE = 5,      ///< a file or folder of this computer cannot be used
    INTERRUPTED = 130,   ///< Ctrl-C
    OUTPUT_CLOSED = 141, ///< nobody reads standard output any more: 128 and SIGPIPE
};

/// A command has failed. what() is one readable line: what happened, and what to do about it.
class Failure : public std::runtime_error {
public:
    Failure(Exit exit, const std::string& message, W::WSTATUS status = W::WSTATUS_OK, std::uint32_t httpCode = 0)
        : std::runtime_error(message), m_exit(exit), m_status(status), m_httpCode(httpCode)
    {
    }

    Exit exitCode() const { return m_exit; }
    /// The status that the plugin reported; 0 when the failure is none of the plugin's.
    W::WSTATUS status() const { return m_status; }
    /// The HTTP code of the reply that it comes from; 0 when it comes from none.
    std::uint32_t httpCode() const { return m_httpCode; }

private:
    Exit m_exit;
    W::WSTATUS m_status;
    std::uint32_t m_httpCode;
};

/// The person wants the program to end.
class Interrupted : public Failure {
public:
    /// \param unsettled whether what was under way may have taken effect at the service.
    explicit Interrupted(int exit, bool unsettled = false)
        : Failure(static_cast<Exit>(exit),
                  unsettled
                      ? "interrupted; what was under way may have taken effect at the service all the same: look there before "
                        "you do it again"
                      : "interrupted; nothing is left of what was under way",
                  W::WSTATUS_CANCELLED)
    {
    }
};

/// Nobody reads standard output any more. The program ends without a message, as if the signal of it had ended it.
class OutputClosed : public Failure {
public:
    OutputClosed() : Failure(Exit::OUTPUT_CLOSED, "nobody reads the output") {}
};

/// What a status means to the person at the keyboard.
struct StatusMeaning {
    W::WSTATUS status;
    Exit exit;
    std::string_view advice;
};

/// The meaning of a negative status; one without a meaning of its own has that of the general failure.
const StatusMeaning& meaningOf(W::WSTATUS status);

/// What a reason means to the person at the keyboard.
struct ReasonMeaning {
    FailureReason reason;
    Exit exit;
    std::string_view advice;
};

/// The meaning of a reason that is known.
const ReasonMeaning& meaningOf(FailureReason reason);

/// The failure that a negative status stands for.
/// \param attempt what was tried, such as "cannot list the groups".
/// \param address of the service.
Failure statusFailure(std::string_view attempt, W::WSTATUS status, std::string_view address);

/// Throws the failure of a call as a Failure with a message and an exit code for the person at the keyboard.
/// \param interruptedExit the exit code of a call that was interrupted.
[[noreturn]] void throwFailure(const CallFailure& failure, int interruptedExit = static_cast<int>(Exit::INTERRUPTED));

/// A failure with a file of this computer. \param error an errno; 0 when there is none.
Failure fileFailure(const std::string& path, const std::string& problem, int error = 0);

} // namespace kinloom

#endif
