// SPDX-License-Identifier: MIT
/// \file From what the host knows of an exchange to why a call failed.
#ifndef KINLOOM_CLIENT_CAUSES_H
#define KINLOOM_CLIENT_CAUSES_H

#include "kinloom/Failure.h"
#include "kinloom/Operations.h"
#include "whost/HttpEvents.h"

namespace kinloom {

/// Says in a failure what its exchange says of it: the code, when to come again, what broke it, and the service's own words.
void tell(CallFailure& failure, const W::HttpExchange& exchange);

/// Puts reason, words, HTTP code and wait into a failure of the operation, when the exchange behind it tells more than the
/// failure does. A failure of the program's own (a cancel, an input that makes no sense) stays as it is.
void explain(CallFailure& failure, const Operation& operation, const W::HttpExchange& exchange);

/// Whether an operation that changes something may have done so although it failed: its request was sent, and no whole answer that
/// refuses it came back.
bool mayHaveTakenEffect(const CallFailure& failure, const W::HttpExchange& exchange);

} // namespace kinloom

#endif
