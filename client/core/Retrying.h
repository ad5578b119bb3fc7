// SPDX-License-Identifier: MIT
/// \file The loop of a call that is made again.
#ifndef KINLOOM_CLIENT_RETRYING_H
#define KINLOOM_CLIENT_RETRYING_H

#include "kinloom/Retries.h"
#include "plugin/LaneEngine.h"

#include <chrono>
#include <functional>
#include <optional>

namespace kinloom {

/// What the loop takes from its surroundings.
struct RetryTools {
    /// Waits as long as nobody wants the call's end. \return false when somebody does.
    std::function<bool(CallState& state, std::chrono::milliseconds time)> wait;
    std::function<double()> random; ///< between 0 and 1
};

/// The clock, and chance.
const RetryTools& realRetryTools();

/// The wait before the next try of a call that has failed; nothing when that is how it ends.
/// \param made how many tries were made again already.
std::optional<std::chrono::milliseconds> nextTry(const CallFailure& failure, const Retries& retries, unsigned int made,
                                                 double random);

/// Runs a call, again as often as its options want it. Like LaneEngine::run.
void runAgainAndAgain(LaneEngine& engine, const Operation& operation, CallState& state, const RetryTools& tools = realRetryTools());

} // namespace kinloom

#endif
