// SPDX-License-Identifier: MIT
/// \file What every command works with.
#ifndef KINLOOM_COMMANDS_CONTEXT_H
#define KINLOOM_COMMANDS_CONTEXT_H

#include "core/Errors.h"
#include "core/Interrupt.h"
#include "output/Output.h"
#include "plugin/Operations.h"
#include "whost/ConfigFile.h"

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

/// What a command works with.
class Context {
public:
    Context(const GlobalOptions& options, Output& output, Bell& bell, const Interrupt& interrupt);

    const GlobalOptions& options;
    Output& output;
    const Interrupt& interrupt;

    /// The configuration file as it was found. \throw Failure when it cannot be read.
    W::ConfigFile& config();
    /// The loaded plugin with the host's configuration in force, not signed in. \throw Failure (not signed in) when an option that
    /// the plugin needs is missing.
    Session& session();
    /// The operations, signed in. Signs in at the first call.
    Operations& operations();

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
    Bell& m_bell;
    std::optional<W::ConfigFile> m_config;
    std::unique_ptr<Session> m_session;
    std::optional<Operations> m_operations;
};

} // namespace kinloom

#endif
