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
    bool verbose = false;
    bool json = false;
    bool noColour = false;
    bool tables = false;
};

/// The connect-to line that leads to a service. \throw Failure (usage) when the text is no address of one.
std::string wayTo(const std::string& address);

/// What a command works with.
class Context {
public:
    Context(const GlobalOptions& options, Output& output, const Interrupt& interrupt);

    const GlobalOptions& options;
    Output& output;
    const Interrupt& interrupt;

    /// The configuration file as it was found. \throw Failure when it cannot be read.
    W::ConfigFile& config();
    /// The lane that the calls of this program go through, with the host's configuration in force. \throw Failure (not signed in)
    /// when an option that the plugin needs is missing.
    Lane& lane();
    /// Registers this device, and sees whether the service accepts it now. \throw Failure (not signed in).
    void registerDevice();
    /// Signs in, at the first call. \throw Failure (not signed in) when the service does not accept this device.
    void signIn();
    /// Makes a call, signed in. \throw Failure; Interrupted.
    template <class Order>
    typename Order::Result call(Order order, std::function<void(double done, double total)> progress = nullptr)
    {
        signIn();
        return make(std::move(order), std::move(progress));
    }

    /// Writes a result: the document with --json, else what \p show writes.
    template <class Show> void result(const Json& document, Show show)
    {
        if (options.json)
            output.json(document);
        else
            show();
    }
    /// A result of one sentence.
    void say(const Json& document, const std::string& sentence);

private:
    template <class Order>
    typename Order::Result make(Order order, std::function<void(double done, double total)> progress = nullptr)
    {
        CallOptions callOptions;
        callOptions.interruption = interrupt.interruption();
        callOptions.progress = std::move(progress);
        auto outcome = lane().call(std::move(order), callOptions);
        if (!outcome)
            throwFailure(outcome.failure(), interrupt.exitCode());
        return std::move(outcome).value();
    }
    template <class Order> void makeAccountCall();

    std::optional<W::ConfigFile> m_config;
    std::unique_ptr<Lane> m_lane;
    bool m_signedIn = false;
};

} // namespace kinloom

#endif
