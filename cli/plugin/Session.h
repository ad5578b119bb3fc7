// SPDX-License-Identifier: MIT
/// \file A plugin in use.
#ifndef KINLOOM_PLUGIN_SESSION_H
#define KINLOOM_PLUGIN_SESSION_H

#include "core/Interrupt.h"
#include "plugin/Call.h"
#include "plugin/Library.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kinloom {

/// One plugin object, and the waiting for its callbacks. All members belong to the main thread.
class Session {
public:
    /// Told of bytes done and bytes expected, again and again while a transfer runs.
    using ProgressFunction = std::function<void(double done, double total)>;

    struct Settings {
        std::string plugin;                   ///< path of the library
        std::string address;                  ///< of the service, for messages
        std::chrono::milliseconds patience{}; ///< the longest wait for a reply; a transfer may take its time while it moves
    };

    /// Loads the library. \throw Failure.
    Session(Settings settings, Bell& bell, const Interrupt& interrupt);
    /// Drops what is still under way.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    W::WKinloomOAI& plugin() { return *m_plugin; }
    const W::WContentProvider& provider() const { return m_plugin->getContentProvider(); }
    const std::string& address() const { return m_settings.address; }

    /// A call to give to run().
    template <class Value> std::shared_ptr<ResultCall<Value>> call() { return std::make_shared<ResultCall<Value>>(m_bell); }

    /// Starts a call, waits for its callback, and gives its status, which is not negative.
    /// \param attempt what the message says when it fails, such as "cannot list the groups".
    /// \param start calls the operation, and returns what it returned.
    /// \param progress set for transfers, which are waited for as long as they move.
    /// \throw Failure when the call was refused or failed; Interrupted when the person wants the program to end, after what was
    /// under way has been cancelled.
    W::WSTATUS run(const std::string& attempt, const std::shared_ptr<Call>& call, const std::function<W::WSTATUS(W::VOID*)>& start,
                   const ProgressFunction& progress = nullptr);

    /// Registers this device. The service's refusal shows in the next sign-in.
    void registerDevice();
    /// Signs this device in, and makes sure of it. \throw Failure (not signed in) when the service does not accept it.
    void signIn();

private:
    void awaitEnd(Call& call, const std::string& attempt, const ProgressFunction& progress);
    [[noreturn]] void cancel(Call& call);
    bool isSignedIn();
    void account(const std::string& attempt, W::WSTATUS (W::WKinloomOAI::*operation)(W::WStatusCallback, W::VOID*));

    const Settings m_settings;
    Bell& m_bell;
    const Interrupt& m_interrupt;
    /// Calls whose callbacks may still come; they live as long as the plugin.
    std::vector<std::shared_ptr<Call>> m_calls;
    Library m_library;
    Library::Plugin m_plugin;
};

} // namespace kinloom

#endif
