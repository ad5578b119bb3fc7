// SPDX-License-Identifier: MIT
/// \file Calls that are made again.
#ifndef KINLOOM_RETRIES_H
#define KINLOOM_RETRIES_H

#include "kinloom/Export.h"
#include "kinloom/Failure.h"
#include "kinloom/Operations.h"

#include <chrono>
#include <functional>

namespace kinloom {

/// A wait before a call is made again.
struct RetryWait {
    const CallFailure& failure; ///< how the call ended this time; valid during the function
    std::chrono::milliseconds time;
    unsigned int number; ///< of the try that follows: 1 for the first that is made again
    unsigned int count;  ///< how often it is tried again at most
};

/// Whether, when and how often a call is made again by itself.
///
/// Only what may come twice without harm is made again (mayComeTwice), and only when it failed in a way that passes: the service
/// answers 429, 502, 503 or 504, the connection broke, or the service that had signed this lane in cannot be reached any more.
/// Before each try there is a wait of any length between nothing and a limit, which doubles from try to try, so that many who were
/// refused at once do not come back at once. Where the service says when to come again, it is not asked before.
struct Retries {
    unsigned int count = 0; ///< how often at most; 0: never
    std::chrono::milliseconds first{500};
    std::chrono::milliseconds longest{20'000};
    /// When the service asks to wait longer than this, the call fails instead; CallFailure::retryAfter says how long.
    std::chrono::seconds longestAsked{60};
    /// Told before each wait, on the thread that drives the call. A cancel or an interruption ends the wait. Must not throw.
    std::function<void(const RetryWait&)> waiting;
};

/// Whether it makes no difference how often an operation arrives at the service: what only reads; signing in; and an upload, which
/// the service answers with the content that is there already.
KINLOOM_CLIENT_API bool mayComeTwice(const Operation& operation);

/// Whether a failure may pass by itself.
KINLOOM_CLIENT_API bool mayPass(const CallFailure& failure);

/// The wait before a try. \param number of the try, from 1. \param random between 0 and 1.
KINLOOM_CLIENT_API std::chrono::milliseconds waitBefore(unsigned int number, const CallFailure& failure, const Retries& retries,
                                                        double random);

} // namespace kinloom

#endif
