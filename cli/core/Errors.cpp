// SPDX-License-Identifier: MIT
#include "core/Errors.h"

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

} // namespace

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
    const StatusMeaning& entry = meaningOf(status);
    std::string message(attempt);
    message.append(": ").append(statusText(status, address));
    message.append(" (").append(W::WSTATUS2STRING(static_cast<unsigned int>(status))).append(", ");
    message.append(std::to_string(status)).append("). ").append(entry.advice);
    return Failure(entry.exit, message, status);
}

void throwFailure(const CallFailure& failure, int interruptedExit)
{
    const std::string message = failure.attempt.empty() ? failure.detail : failure.attempt + ": " + failure.detail;
    switch (failure.kind) {
    case FailureKind::INTERRUPTED:
        throw Interrupted(interruptedExit);
    case FailureKind::INVALID:
        throw Failure(Exit::USAGE, message);
    case FailureKind::NOT_LOADED:
        throw Failure(Exit::LOCAL_FILE, message + ". --plugin PATH names another one.");
    case FailureKind::NOT_A_PLUGIN:
        throw Failure(Exit::LOCAL_FILE, message);
    default:
        if (failure.detail.empty())
            throw statusFailure(failure.attempt, failure.status, failure.address);
        throw Failure(Exit::FAILED, message, failure.status);
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
