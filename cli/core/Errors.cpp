// SPDX-License-Identifier: MIT
#include "core/Errors.h"

#include <cstring>
#include <iterator>

namespace kinloom {

namespace {

constexpr StatusMeaning MEANINGS[] = {
    {W::WSTATUS_FAILED, Exit::FAILED, "the service's reply reports a failure or makes no sense",
     "'kinloom --verbose' shows what the plugin says of it."},
    {W::WSTATUS_INVALID_ARGUMENT, Exit::FAILED, "the plugin or the service refuses an argument", "Check what you typed."},
    {W::WSTATUS_NOT_CREATED, Exit::FAILED, "this computer has no resources left for a request", "Try again later."},
    {W::WSTATUS_OUT_OF_MEMORY, Exit::FAILED, "this computer has no memory left", "Try again later."},
    {W::WSTATUS_FILE_ERROR, Exit::LOCAL_FILE, "a file of this computer cannot be read or written",
     "Is the disk full, or the folder gone?"},
    {W::WSTATUS_EXCEPTION_PENDING, Exit::NOT_SIGNED_IN, "the service asks for an answer before it lets this device in",
     "Sign the device in at the service once."},
    {W::WSTATUS_LIMIT_EXCEEDED, Exit::FAILED, "the reply is larger than this host accepts",
     "'kinloom config set max_memory_body BYTES' raises the limit."},
    {W::WSTATUS_CANCEL_PENDING, Exit::FAILED, "another cancel is still under way", "Try again."},
    {W::WSTATUS_NOT_SUPPORTED, Exit::FAILED, "the service does not offer this", "There is nothing to do about it."},
    {W::WSTATUS_UNREACHABLE, Exit::UNREACHABLE, "the service at {address} cannot be reached",
     "Is kinloomd running there? --service URL names another address."},
    {W::WSTATUS_TIMED_OUT, Exit::UNREACHABLE, "the service at {address} did not answer in time", "--timeout SECONDS waits longer."},
    {W::WSTATUS_CONNECTION_LOST, Exit::UNREACHABLE, "the service at {address} failed or broke the connection off",
     "Try again; the service's own log says more."},
    {W::WSTATUS_CANCELLED, Exit::INTERRUPTED, "the transfer was cancelled", "Nothing of it is left."},
    {W::WSTATUS_LOGIN_REFUSED, Exit::NOT_SIGNED_IN, "the service refuses this device's credentials",
     "'kinloom config show' shows what is set."},
    {W::WSTATUS_NOT_LOGGED_IN, Exit::NOT_SIGNED_IN, "the service does not accept this device",
     "'kinloom config show' shows what is set; 'kinloom register' registers the device."},
    {W::WSTATUS_CONFLICT, Exit::FAILED, "the service's state forbids it", "Look at the list again: it may have changed."},
    {W::WSTATUS_REJECTED, Exit::FAILED, "the service refuses it: there is no such thing, or it is not yours to touch",
     "Check the identifier, and whose it is."},
    {W::WSTATUS_AUTH_FAILED, Exit::NOT_SIGNED_IN, "the service does not know this device",
     "'kinloom config show' shows what is set; 'kinloom register' registers the device."},
    {W::WSTATUS_CHALLENGE_REQUIRED, Exit::NOT_SIGNED_IN, "the service asks for an answer before it lets this device in",
     "Sign the device in at the service once."},
};

std::string withAddress(std::string_view text, std::string_view address)
{
    constexpr std::string_view PLACE = "{address}";
    std::string filled(text);
    if (const std::size_t at = filled.find(PLACE); at != std::string::npos)
        filled.replace(at, PLACE.size(), address);
    return filled;
}

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
    message.append(": ").append(withAddress(entry.meaning, address));
    message.append(" (").append(W::WSTATUS2STRING(static_cast<unsigned int>(status))).append(", ");
    message.append(std::to_string(status)).append("). ").append(withAddress(entry.advice, address));
    return Failure(entry.exit, message, status);
}

Failure fileFailure(const std::string& path, const std::string& problem, int error)
{
    std::string message = path + ": " + problem;
    if (error != 0)
        message.append(": ").append(std::strerror(error)); // NOLINT(concurrency-mt-unsafe): glibc's is safe for known errors
    return Failure(Exit::LOCAL_FILE, message);
}

} // namespace kinloom
