// SPDX-License-Identifier: MIT
/// \file One plugin with one session, for one call at a time.
#ifndef KINLOOM_LANE_H
#define KINLOOM_LANE_H

#include "kinloom/Call.h"
#include "kinloom/Settings.h"

#include <memory>
#include <string>

namespace kinloom {

/// A plugin, its session, and one call at a time.
///
/// A request of the plugin that fails, is cancelled or signs in takes every other request of the service in its process with it.
/// So a process runs one call at a time: calls of all lanes that live in it take turns, in the order in which they came. Lanes in
/// helper processes run beside each other and beside that one.
///
/// A call that is given up leaves nothing behind: the lane makes its plugin object anew and signs in again before the next call.
/// No call that has begun is ever repeated.
class KINLOOM_CLIENT_API Lane {
public:
    enum class Place {
        HERE,   ///< in this process, on the threads that call; the settings become those of the process's host
        HELPER, ///< in a process of its own; see runLaneIfAsked()
    };

    /// Loads nothing and starts nothing yet: that is the first call's.
    explicit Lane(Settings settings, Place place = Place::HERE);
    /// No call may be under way.
    ~Lane();
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;

    /// Makes a call and waits for its end. Calls of several threads take turns. The lane signs in first when it has to.
    template <class Order> Outcome<typename Order::Result> call(Order order, const CallOptions& options = {})
    {
        return Call<typename Order::Result>::outcomeOf(run(Operation(std::move(order)), options));
    }

    /// The service's address, for messages.
    const std::string& address() const;
    const Settings& settings() const;

private:
    CallResult run(Operation operation, const CallOptions& options);

    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// Makes this program able to be a lane's helper: to be called first in main, before any thread is started. When the program was
/// started as a helper, it works as one and ends there; else this returns at once.
KINLOOM_CLIENT_API void runLaneIfAsked(int argc, char** argv);

} // namespace kinloom

#endif
