// SPDX-License-Identifier: MIT
/// \file One request of the plugin, from its start to its callback.
#ifndef KINLOOM_CLIENT_PLUGINCALL_H
#define KINLOOM_CLIENT_PLUGINCALL_H

#include "W/WContentProvider.h"
#include "W/WStatus.h"
#include "core/Bell.h"

#include <atomic>

namespace kinloom {

/// The plugin gets its address as user data, so that the plugin's cancel callback, which is given the user data of the call that it
/// ended, finds it too.
class PluginCall {
public:
    explicit PluginCall(Bell& bell) : m_bell(bell) {}
    virtual ~PluginCall() = default;
    PluginCall(const PluginCall&) = delete;
    PluginCall& operator=(const PluginCall&) = delete;

    /// What the plugin is to be given.
    W::VOID* userData() { return this; }
    static PluginCall& of(W::VOID* userData) { return *static_cast<PluginCall*>(userData); }

    /// For callbacks: takes the results over, and says that the call has ended. Nothing of this object is touched once the bell's
    /// other side can know.
    template <class Keep> void finish(W::WSTATUS status, Keep keep)
    {
        m_bell.ring([&] {
            keep();
            m_status = status;
            m_finished = true;
        });
    }
    /// The plugin's cancel callback.
    static W::VOID cancelled(W::WSTATUS, const W::WContentProvider&, W::VOID* userData)
    {
        of(userData).finish(W::WSTATUS_CANCELLED, [] {});
    }

    bool finished() const { return m_finished; }
    /// The outcome, once the call has finished.
    W::WSTATUS status() const { return m_status; }

private:
    Bell& m_bell;
    std::atomic<bool> m_finished{false};
    W::WSTATUS m_status = W::WSTATUS_OK;
};

/// A call with a result.
template <class Value> class ResultCall : public PluginCall {
public:
    using PluginCall::PluginCall;

    static ResultCall& of(W::VOID* userData) { return static_cast<ResultCall&>(PluginCall::of(userData)); }

    /// The outcome, and a copy of the result: what a callback is given lives during the callback only.
    void finish(W::WSTATUS status, const Value& result)
    {
        PluginCall::finish(status, [&] { value = result; });
    }

    Value value{};
};

} // namespace kinloom

#endif
