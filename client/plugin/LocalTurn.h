// SPDX-License-Identifier: MIT
/// \file The one call of the plugin that this process may have under way.
#ifndef KINLOOM_CLIENT_LOCALTURN_H
#define KINLOOM_CLIENT_LOCALTURN_H

#include "core/Turn.h"
#include "plugin/Library.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace kinloom {

/// Plugin objects of one process drop each other's requests: when one of their requests fails, is cancelled or signs in, and when
/// one of them ends. So calls take turns, and objects end between them.
class LocalTurn {
public:
    /// The process's; never destroyed.
    static LocalTurn& instance();

    /// Waits for the turn. \return false when somebody wanted the call's end before.
    bool take(CallState& state) { return m_turn.take(state); }
    /// Gives the turn back, after the objects that waited for it have ended.
    void give();
    /// Ends a plugin object between two calls: now, or when the call that has the turn is over.
    void retire(std::unique_ptr<Plugin> plugin);

    /// Has a function called when the requests of a plugin object are dropped by the end of another one. Null ends it.
    void watch(const Plugin* plugin, std::function<void()> dropped);
    /// A plugin object has ended, and with it every request of the service.
    void flushed(const Plugin& ended);

private:
    Turn m_turn;
    std::vector<std::unique_ptr<Plugin>> m_retired; // guarded by the turn's lock

    std::mutex m_watchMutex;
    const Plugin* m_watched = nullptr; // guarded by m_watchMutex, like the next
    std::function<void()> m_dropped;
};

} // namespace kinloom

#endif
