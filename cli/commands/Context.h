// SPDX-License-Identifier: MIT
/// \file What every command works with.
#ifndef KINLOOM_COMMANDS_CONTEXT_H
#define KINLOOM_COMMANDS_CONTEXT_H

#include "core/Errors.h"
#include "core/Interrupt.h"
#include "kinloom/Lane.h"
#include "output/Output.h"
#include "whost/ConfigFile.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kinloom {

/// Options that every command takes.
struct GlobalOptions {
    std::string service;
    std::string config;
    std::string plugin;
    std::optional<double> timeout;
    unsigned int retries = 4; ///< how often a call that failed in passing is made again
    bool verbose = false;
    bool json = false;
    bool noColour = false;
    bool tables = false;
    bool quiet = false;
};

/// Has the client's options lead to a service. \throw Failure (usage) when the text is no address of one.
void setService(W::HttpOptions& client, const std::string& address);
/// The same in a configuration file, as far as it changes anything there.
void setService(W::ConfigFile& file, const std::string& address);

/// \throw Failure (local file) when the file of authorities is not to be had. \param path empty: there is none.
void requireAuthorities(const std::string& path);

/// What a command works with.
class Context {
public:
    Context(const GlobalOptions& options, Output& output, const Interrupt& interrupt);

    const GlobalOptions& options;
    Output& output;
    const Interrupt& interrupt;

    /// The configuration file as it was found. \throw Failure when it cannot be read.
    W::ConfigFile& config();
    /// Puts the host's configuration, and what the command line says of the client, in force: all that a request needs that is no
    /// plugin's. \return the client's options. \throw as config().
    const W::HttpOptions& client();
    /// The lane that the calls of this program go through, with the host's configuration in force. \throw Failure (not signed in)
    /// when an option that the plugin needs is missing.
    Lane& lane();
    /// What lanes of this program work with, with the host's configuration in force. \throw as lane().
    const Settings& settings();
    /// Options of a call: what interrupts it, and how often it is made again.
    /// \param note tells a person that the call waits, on whichever thread drives it.
    CallOptions callOptions(std::function<void(double done, double total)> progress = nullptr,
                            std::function<void(const std::string& text)> note = nullptr) const;
    /// What a failed call means to the person at the keyboard.
    Failure failureOf(const CallFailure& failure) const;
    /// Registers this device, and sees whether the service accepts it now. \throw Failure (not signed in).
    void registerDevice();
    /// Signs in, at the first call. \throw Failure (not signed in) when the service does not accept this device.
    void signIn();
    /// Makes a call, signed in. \throw Failure; Interrupted.
    template <class Order> typename Order::Result call(Order order) { return call(std::move(order), callOptions()); }
    template <class Order> typename Order::Result call(Order order, const CallOptions& callOptions)
    {
        signIn();
        return make(std::move(order), callOptions);
    }

    /// Makes a call as a step of something else. \param attempt what a failure says was tried.
    template <class Order> typename Order::Result callTo(const char* attempt, Order order)
    {
        signIn();
        return make(std::move(order), callOptions(), attempt);
    }

    /// Writes a result: the document with --json, else what \p show writes.
    template <class Show> void result(const Json& document, Show show)
    {
        if (options.json)
            output.json(document);
        else
            show();
    }
    /// A result of one sentence, in any text.
    void say(const Json& document, const std::string& sentence);
    /// A sentence that says no more than that all went well: nothing when the person wants quiet.
    void confirm(const Json& document, const std::string& sentence);

private:
    template <class Order> typename Order::Result make(Order order, const CallOptions& callOptions, const char* attempt = nullptr)
    {
        auto outcome = lane().call(std::move(order), callOptions);
        if (!outcome) {
            CallFailure failure = outcome.failure();
            if (attempt != nullptr)
                failure.attempt = attempt;
            throwFailure(failure, interrupt.exitCode());
        }
        return std::move(outcome).value();
    }

    std::optional<W::ConfigFile> m_config;
    std::optional<W::HttpOptions> m_client;
    std::optional<Settings> m_settings;
    std::unique_ptr<Lane> m_lane;
    bool m_signedIn = false;
};

} // namespace kinloom

#endif
