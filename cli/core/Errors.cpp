// SPDX-License-Identifier: MIT
#include "core/Errors.h"

#include "core/Waiting.h"

#include <cstring>

namespace kinloom {

namespace {

constexpr StatusMeaning MEANINGS[] = {
    {W::WSTATUS_FAILED, Exit::FAILED, "'kinloom --verbose' shows what the plugin says of it."},
    {W::WSTATUS_INVALID_ARGUMENT, Exit::FAILED, "Check what you typed."},
    {W::WSTATUS_NOT_CREATED, Exit::FAILED, "Try again later."},
    {W::WSTATUS_OUT_OF_MEMORY, Exit::FAILED, "Try again later."},
    {W::WSTATUS_FILE_ERROR, Exit::LOCAL_FILE, "Is the disk full, or the folder gone?"},
    {W::WSTATUS_EXCEPTION_PENDING, Exit::NOT_SIGNED_IN, "Sign the device in at the service once."},
    {W::WSTATUS_LIMIT_EXCEEDED, Exit::FAILED, "'kinloom config set max_memory_body BYTES' raises the limit."},
    {W::WSTATUS_CANCEL_PENDING, Exit::FAILED, "Try again."},
    {W::WSTATUS_NOT_SUPPORTED, Exit::FAILED, "There is nothing to do about it."},
    {W::WSTATUS_UNREACHABLE, Exit::UNREACHABLE, "Is kinloomd running there? --service URL names another address."},
    {W::WSTATUS_TIMED_OUT, Exit::UNREACHABLE, "--timeout SECONDS waits longer."},
    {W::WSTATUS_CONNECTION_LOST, Exit::UNREACHABLE, "Try again; the service's own log says more."},
    {W::WSTATUS_CANCELLED, Exit::INTERRUPTED, "Nothing of it is left."},
    {W::WSTATUS_LOGIN_REFUSED, Exit::NOT_SIGNED_IN, "'kinloom config show' shows what is set."},
    {W::WSTATUS_NOT_LOGGED_IN, Exit::NOT_SIGNED_IN,
     "'kinloom config show' shows what is set; 'kinloom register' registers the device."},
    {W::WSTATUS_CONFLICT, Exit::FAILED, "Look at the list again: it may have changed."},
    {W::WSTATUS_REJECTED, Exit::FAILED, "Check the identifier, and whose it is."},
    {W::WSTATUS_AUTH_FAILED, Exit::NOT_SIGNED_IN,
     "'kinloom config show' shows what is set; 'kinloom register' registers the device."},
    {W::WSTATUS_CHALLENGE_REQUIRED, Exit::NOT_SIGNED_IN, "Sign the device in at the service once."},
};

/// A sentence and the numbers behind it, where there are any.
std::string withNumbers(std::string sentence, const CallFailure& failure)
{
    const std::string numbers = numbersOf(failure);
    return numbers.empty() ? sentence : sentence.append(" (").append(numbers).append(").");
}

/// One row for each reason that is known; the texts themselves are the library's.
constexpr ReasonMeaning REASONS[] = {
    {FailureReason::SERVICE_FAILED, Exit::UNREACHABLE, "Try again later; the service's own log says more."},
    {FailureReason::NO_CONNECTION, Exit::UNREACHABLE,
     "Is kinloomd running there? --service URL names another address, 'kinloom config show' the one in force."},
    {FailureReason::DEVICE_REFUSED, Exit::NOT_SIGNED_IN,
     "'kinloom config show' shows what is set. Who runs the service makes a device anew with 'kinloomd device add', which prints "
     "what 'kinloom config import' takes."},
    {FailureReason::FORBIDDEN, Exit::FAILED, "Ask the person whose it is."},
    {FailureReason::NOT_FOUND, Exit::FAILED, "'kinloom groups' and 'kinloom feed GROUP' show what there is."},
    {FailureReason::NO_PLACE, Exit::FAILED, "'kinloom groups' shows yours."},
    {FailureReason::NOT_ALLOWED, Exit::FAILED, "Who runs the service sets its limits, and who leads a group says what others may."},
    {FailureReason::BAD_MARKER, Exit::FAILED,
     "A marker is the number of a content of this group, or a time such as 2024-07-14T20:31:05Z (not with --base id)."},
    {FailureReason::BAD_FILE, Exit::FAILED, "Photos are JPEG, PNG, WebP, GIF or HEIC files. Does a viewer open it?"},
    {FailureReason::BAD_VALUE, Exit::FAILED, "Check what you typed."},
    {FailureReason::CONFLICT, Exit::FAILED, "Look at the list again: it may have changed."},
    {FailureReason::TOO_LARGE, Exit::FAILED, "Who runs the service sets its limits."},
    {FailureReason::TOO_MANY, Exit::UNREACHABLE, "Try again later."},
    {FailureReason::UNAVAILABLE, Exit::UNREACHABLE, "Try again later. Is the service's disk full? Its own log says more."},
    {FailureReason::GATEWAY, Exit::UNREACHABLE, "Try again later. Is kinloomd running behind it?"},
    {FailureReason::UNEXPECTED_ANSWER, Exit::FAILED,
     "Is it a Kinloom service that answers there, and with this scheme, http or https? --service URL names another one."},
    {FailureReason::LEAVES_TLS, Exit::UNREACHABLE,
     "Who runs the service sets the addresses that it writes: 'kinloomd serve --public-url https://...'."},
};

/// What there is to do about a change of which nobody knows whether it was made.
constexpr std::string_view LOOK_FIRST = "It may have taken effect all the same: look before you do it again ('kinloom groups', "
                                        "'kinloom feed GROUP' and 'kinloom content show UID' show what there is).";

std::string adviceOf(const CallFailure& failure, std::string_view otherwise)
{
    if (failure.unsettled)
        return std::string(LOOK_FIRST);
    if (failure.retryAfter <= 0)
        return std::string(otherwise);
    return "Try again in " + std::to_string(failure.retryAfter) + (failure.retryAfter == 1 ? " second." : " seconds.");
}

Failure reasonFailure(const std::string& message, const CallFailure& failure)
{
    const ReasonMeaning& entry = meaningOf(failure.reason);
    std::string line = withNumbers(message, failure);
    if (line.back() != '.')
        line += '.';
    return Failure(entry.exit, line + " " + adviceOf(failure, entry.advice), failure.status, failure.httpCode);
}

Failure statusFailure(const CallFailure& failure)
{
    const StatusMeaning& entry = meaningOf(failure.status);
    const std::string sentence = failure.attempt + ": " + statusText(failure.status, failure.address);
    return Failure(entry.exit, withNumbers(sentence, failure) + " " + std::string(entry.advice), failure.status, failure.httpCode);
}

} // namespace

const ReasonMeaning& meaningOf(FailureReason reason)
{
    for (const ReasonMeaning& entry : REASONS) {
        if (entry.reason == reason)
            return entry;
    }
    return REASONS[0];
}

const StatusMeaning& meaningOf(W::WSTATUS status)
{
    for (const StatusMeaning& entry : MEANINGS) {
        if (entry.status == status)
            return entry;
    }
    return MEANINGS[0];
}

Failure statusFailure(std::string_view attempt, W::WSTATUS status, std::string_view address)
{
    return statusFailure({FailureKind::FAILED, status, std::string(attempt), std::string(address), ""});
}

void throwFailure(const CallFailure& failure, int interruptedExit)
{
    const std::string message = failure.attempt.empty() ? failure.detail : failure.attempt + ": " + failure.detail;
    switch (failure.kind) {
    case FailureKind::INTERRUPTED:
        throw Interrupted(interruptedExit, failure.unsettled);
    case FailureKind::INVALID:
        throw Failure(Exit::USAGE, message);
    case FailureKind::NOT_LOADED:
        throw Failure(Exit::LOCAL_FILE, message + ". --plugin PATH names another one.");
    case FailureKind::NOT_A_PLUGIN:
        throw Failure(Exit::LOCAL_FILE, message);
    default:
        if (const auto later = muchLater(failure))
            throw Failure(*later);
        if (failure.reason != FailureReason::UNKNOWN)
            throw reasonFailure(message, failure);
        if (failure.unsettled)
            throw Failure(meaningOf(failure.status).exit, failure.text() + ". " + adviceOf(failure, {}), failure.status,
                          failure.httpCode);
        if (failure.detail.empty())
            throw statusFailure(failure);
        // The detail says why, and what to do.
        throw Failure(meaningOf(failure.status).exit, withNumbers(message, failure), failure.status, failure.httpCode);
    }
}

Failure fileFailure(const std::string& path, const std::string& problem, int error)
{
    std::string message = path + ": " + problem;
    if (error != 0)
        message.append(": ").append(std::strerror(error)); // NOLINT(concurrency-mt-unsafe): glibc's is safe for known errors
    return Failure(Exit::LOCAL_FILE, message);
}

} // namespace kinloom
