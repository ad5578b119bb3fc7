// SPDX-License-Identifier: MIT
/// \file What the host tells this library of its requests.
#ifndef KINLOOM_CLIENT_HOSTEVENTS_H
#define KINLOOM_CLIENT_HOSTEVENTS_H

#include "W/Http.h"
#include "W/WStatus.h"
#include "whost/HttpEvents.h"
#include "whost/HttpOptions.h"

#include <functional>
#include <mutex>
#include <string>

namespace kinloom {

/// The status that a transfer's end stands for.
W::WSTATUS statusOf(W::SESSION_STATUS session);

/// What a person is told of a request that goes out as it is, with the address that it really goes to.
std::string warningOf(const W::HttpPlainRequest& request, const W::HttpOptions& options);

/// Keeps how the last request of a plugin went, which the plugin does not tell, and passes warnings on. All members may be called
/// from any thread.
class HostEvents {
public:
    /// Lives as long as the process; the host tells it of everything from the first call on. Whoever sets the host's events after
    /// that takes its place.
    static HostEvents& instance();

    /// Forgets the last exchange, before a request.
    void forget();
    /// The last exchange of this process that was a plugin's. One call at a time makes requests of plugins here (see LocalTurn), so
    /// it is that call's.
    W::HttpExchange lastOfPlugins() const;

    void onWarning(std::function<void(const std::string&)> told);
    /// Passes a warning on, if it is the first one.
    void warn(const std::string& sentence);

private:
    HostEvents();

    mutable std::mutex m_mutex;
    W::HttpExchange m_exchange; // guarded by m_mutex, like all below
    std::function<void(const std::string&)> m_warned;
    bool m_hasWarned = false;
};

} // namespace kinloom

#endif
