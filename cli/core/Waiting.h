// SPDX-License-Identifier: MIT
/// \file What a person is told of waits.
#ifndef KINLOOM_CORE_WAITING_H
#define KINLOOM_CORE_WAITING_H

#include "core/Errors.h"
#include "kinloom/Retries.h"

#include <optional>
#include <string>

namespace kinloom {

/// "cannot list the groups: the service answers with HTTP 503; waiting 3 s, then trying again (2 of 4)".
std::string waitingText(const RetryWait& wait);

/// The failure of a call that the service wants to be made again much later; nothing when it wants no such thing.
std::optional<Failure> muchLater(const CallFailure& failure);

} // namespace kinloom

#endif
