// SPDX-License-Identifier: MIT
/// \file A lane in this process.
#ifndef KINLOOM_CLIENT_LOCALLANE_H
#define KINLOOM_CLIENT_LOCALLANE_H

#include "core/Bell.h"
#include "kinloom/Settings.h"
#include "plugin/LaneEngine.h"
#include "plugin/Library.h"
#include "plugin/PluginCall.h"
#include "whost/HttpEvents.h"

#include <functional>
#include <memory>
#include <string>

namespace kinloom {

class Fetch;

/// One plugin object, and the waiting for its callbacks.
///
/// A call that is given up (out of patience, or with a cancel that does not end) leaves its request behind in the host, whose late
/// failure would drop whatever the process asks for by then. So the plugin object ends before the call does: its destructor drops
/// the request, and no callback follows.
class LocalLane : public LaneEngine {
public:
    /// The settings become those of the process's host. \param address of the service.
    LocalLane(Settings settings, std::string address);
    ~LocalLane() override;

    void run(const Operation& operation, CallState& state) override;

    // For operations, while a call runs. All throw CallError.

    W::WKinloomOAI& plugin() { return **m_plugin; }
    const W::WContentProvider& provider() const { return m_plugin->provider(); }
    const Settings& settings() const { return m_settings; }
    bool isSignedIn();

    /// Makes one request of the plugin and waits for its callback. \return its result.
    /// \param start calls the plugin, and returns what it returned.
    template <class Value, class Start> Value ask(const std::string& attempt, Start start, bool transfer = false)
    {
        const auto call = std::make_shared<ResultCall<Value>>(*m_bell);
        request(attempt, call, start, transfer);
        return std::move(call->value);
    }
    /// The same for a request that changes something at the service.
    template <class Value, class Start> Value change(const std::string& attempt, Start start, bool transfer = false)
    {
        m_changing = true;
        return ask<Value>(attempt, start, transfer);
    }
    /// Makes one request of the host's client, without the plugin.
    void await(const std::string& attempt, Fetch& fetch);
    /// The bell that requests ring when they have ended.
    std::shared_ptr<Bell> bell() const { return m_bell; }

    CallError error(FailureKind kind, W::WSTATUS status, const std::string& attempt, std::string detail = {}) const;
    /// The failure of a request of the plugin, with what its exchange says of it.
    CallError pluginError(FailureKind kind, W::WSTATUS status, const std::string& attempt);
    /// What the last failure was made of.
    const W::HttpExchange& exchange() const { return m_exchange; }
    /// The failure of a request of the host's client: a negative status, or a code that is no success.
    CallError fetchError(const Fetch& fetch, const std::string& attempt);

private:
    bool prepare(const Operation& operation);
    CallResult resultOf(const Operation& operation);
    void request(const std::string& attempt, const std::shared_ptr<PluginCall>& call,
                 const std::function<W::WSTATUS(W::VOID*)>& start, bool transfer);
    void awaitEnd(PluginCall& call, const std::string& attempt, bool transfer);
    void cancel(PluginCall& call, const std::string& attempt, bool transfer);
    void checkWish(const std::string& attempt) const;
    CallError wishError(const std::string& attempt) const;
    std::chrono::milliseconds patience() const;

    const Settings m_settings;
    const std::string m_address;
    const std::shared_ptr<Bell> m_bell; ///< whoever rings it may do so for a moment longer than this object is there
    CallState* m_state = nullptr;       ///< of the call that runs
    std::atomic<bool> m_dropped{false};
    bool m_stale = false; ///< the plugin object has a request that nobody waits for
    bool m_signedIn = false;
    bool m_changing = false;            ///< the call that runs has come to what it changes at the service
    W::HttpExchange m_exchange;         ///< behind the failure of the call that runs
    std::shared_ptr<PluginCall> m_call; ///< whose callback may still come; it lives as long as the plugin object may call it
    std::unique_ptr<Plugin> m_plugin;
};

} // namespace kinloom

#endif
