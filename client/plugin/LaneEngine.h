// SPDX-License-Identifier: MIT
/// \file What drives the calls of a lane.
#ifndef KINLOOM_CLIENT_LANEENGINE_H
#define KINLOOM_CLIENT_LANEENGINE_H

#include "core/CallState.h"

namespace kinloom {

/// One plugin and one session, somewhere. One thread at a time runs calls.
class LaneEngine {
public:
    LaneEngine() = default;
    virtual ~LaneEngine() = default;
    LaneEngine(const LaneEngine&) = delete;
    LaneEngine& operator=(const LaneEngine&) = delete;

    /// Drives a call to its end; returns when the lane is ready for the next one, which may be a little later. Nothing is thrown.
    virtual void run(const Operation& operation, CallState& state) = 0;

    bool hasReached = false; ///< whether its service was there in an earlier call; for whoever makes calls again
};

} // namespace kinloom

#endif
