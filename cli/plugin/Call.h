// SPDX-License-Identifier: MIT
/// \file Calls of the plugin that are under way.
#ifndef KINLOOM_PLUGIN_CALL_H
#define KINLOOM_PLUGIN_CALL_H

#include "W/WKinloomOAI.h"
#include "W/WStatus.h"
#include "core/Bell.h"

#include <atomic>

namespace kinloom {

/// One call of a plugin's operation, from its start to its callback. The plugin gets its address as user data, so that the plugin's
/// cancel callback, which is given the user data of the call that it ended, finds it too.
class Call {
public:
    explicit Call(Bell& bell) : m_bell(bell) {}
    virtual ~Call() = default;
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// What the plugin is to be given.
    W::VOID* userData() { return this; }
    static Call& of(W::VOID* userData) { return *static_cast<Call*>(userData); }

    /// For callbacks: takes the results over, and says that the call has ended.
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
template <class Value> class ResultCall : public Call {
public:
    using Call::Call;

    static ResultCall& of(W::VOID* userData) { return static_cast<ResultCall&>(Call::of(userData)); }

    /// The outcome, and a copy of the result: what a callback is given lives during the callback only.
    void finish(W::WSTATUS status, const Value& result)
    {
        Call::finish(status, [&] { value = result; });
    }

    Value value{};
};

} // namespace kinloom

#endif
