// SPDX-License-Identifier: MIT
/// \file What lanes work with.
#ifndef KINLOOM_SETTINGS_H
#define KINLOOM_SETTINGS_H

#include "kinloom/Export.h"
#include "whost/HttpOptions.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace kinloom {

/// Where the plugin is: \p chosen, else what the environment variable KINLOOM_PLUGIN names, else where the installation or the
/// build put it, seen from this library.
KINLOOM_CLIENT_API std::string pluginPath(const std::string& chosen = {});

/// Where the plugin's log, which it prints on standard output, goes in helper processes.
enum class PluginLog : std::uint8_t {
    NOWHERE,
    STANDARD_ERROR,
};

struct Settings {
    std::string plugin; ///< path of the library; empty: where pluginPath() finds it
    /// The provider's options that the plugin signs in with: "app_id", "AuthToken", "duid".
    std::map<std::string, std::string> options;
    W::HttpOptions client; ///< of the host's HTTP client
    /// The longest wait for the reply to one request. A transfer may take its time while it moves: the client's stall time limits
    /// it.
    std::chrono::milliseconds patience{45'000};
    PluginLog log = PluginLog::NOWHERE;
    /// A lane whose call fails because the service does not accept its sign-in signs in again before its next call.
    bool signInAgain = true;
    /// The program that is started as a helper; empty: this one.
    std::string helperProgram;

    /// Reads the host's configuration file.
    /// \param path empty: the ordinary place.
    /// \throw W::ConfigError when it cannot be read. A missing file is an empty configuration.
    KINLOOM_CLIENT_API static Settings fromConfigFile(const std::string& path = {});
};

/// The patience that suits a client's own limits: connecting, the longest stall, and some time on top.
KINLOOM_CLIENT_API std::chrono::milliseconds patienceFor(const W::HttpOptions& client);

} // namespace kinloom

#endif
