// SPDX-License-Identifier: MIT
#include "core/Waiting.h"

#include "output/Progress.h"

namespace kinloom {

namespace {

/// Short waits are told in tenths of a second.
std::string timeText(std::chrono::milliseconds time)
{
    if (time >= std::chrono::seconds(1))
        return durationText(std::chrono::duration<double>(time).count());
    char text[16];
    std::snprintf(text, sizeof text, "0.%d s", static_cast<int>(time.count() / 100));
    return text;
}

/// What happened, in few words.
std::string causeText(const CallFailure& failure)
{
    if (failure.httpCode >= 400)
        return "the service answers with HTTP " + std::to_string(failure.httpCode);
    return failure.detail.empty() ? statusText(failure.status, failure.address) : failure.detail;
}

} // namespace

std::string waitingText(const RetryWait& wait)
{
    const std::string& attempt = wait.failure.attempt;
    return (attempt.empty() ? "" : attempt + ": ") + causeText(wait.failure) + "; waiting " + timeText(wait.time) +
           ", then trying again (" + std::to_string(wait.number) + " of " + std::to_string(wait.count) + ")";
}

std::optional<Failure> muchLater(const CallFailure& failure)
{
    if (std::chrono::seconds(failure.retryAfter) <= Retries().longestAsked || !mayPass(failure))
        return std::nullopt;
    return Failure(Exit::UNREACHABLE,
                   failure.attempt + ": " + causeText(failure) + " and asks to wait " +
                       durationText(static_cast<double>(failure.retryAfter)) + ". Try again then.",
                   failure.status, failure.httpCode);
}

} // namespace kinloom
