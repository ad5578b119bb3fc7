// SPDX-License-Identifier: MIT
/// \file What each operation does with a plugin.
#ifndef KINLOOM_CLIENT_EXECUTE_H
#define KINLOOM_CLIENT_EXECUTE_H

#include "kinloom/Operations.h"
#include "plugin/LocalLane.h"

#include <string>

namespace kinloom {

/// What a failure of the operation says was tried.
std::string attemptOf(const Operation& operation);

/// Whether the operation makes or deletes something at the service.
bool changesSomething(const Operation& operation);

/// Whether the call takes its time while it moves, and tells of its progress.
bool isTransfer(const Operation& operation);

/// Whether an operation signs its lane in.
bool signsIn(const Operation& operation);
/// Whether the operation works without a session.
bool worksSignedOut(const Operation& operation);

/// Carries an operation out, with one request after the other. \throw CallError.
CallValue execute(const Operation& operation, LocalLane& lane);

} // namespace kinloom

#endif
