// SPDX-License-Identifier: MIT
/// \file The host's configuration file.
#ifndef WHOST_CONFIGFILE_H
#define WHOST_CONFIGFILE_H

#include "W/WContentProvider.h"
#include "whost/HttpOptions.h"

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace W {

/// The person's home folder: what HOME names, else what the password database knows; empty when nobody names an absolute path.
std::string homeFolder();

/// A configuration that cannot be read, written or applied. what() is one readable line and names the file.
class ConfigError : public std::runtime_error {
public:
    /// Controls in the message become question marks: names come from the file, and may hold anything.
    explicit ConfigError(const std::string& message, unsigned int lineNumber = 0);
    /// The line of the file that is wrong, counted from 1; 0 when no one line is.
    unsigned int line() const { return m_line; }

private:
    unsigned int m_line;
};

/// One option of the HTTP client, as the [client] section of a configuration file holds it.
struct ClientOption {
    const char* key; ///< such as "connect_timeout_ms"
    /// What its value must be, in words that follow "must be", such as "a whole number, 1 or more".
    std::string kind;
    /// Its value in a set of options, as ConfigFile::setClientOption reads it: numbers in decimal, lists with commas.
    std::string (*text)(const HttpOptions& options);
};

/// All options of the HTTP client, one for each member of HttpOptions and in the same order. Never changes; any thread.
const std::vector<ClientOption>& clientOptions();

/// A TOML file with one section for each provider and one for the HTTP client:
///
///     [provider.Kinloom]
///     app_id = "..."
///     AuthToken = "..."
///     duid = "..."
///
///     [client]
///     connect_to = ["openapi.kinloom.example:80:127.0.0.1:8750"]
///     connect_timeout_ms = 10000
///     lead_to = ["http://openapi.kinloom.example=https://photos.example"]
///     ca_file = "/etc/kinloom/ca.pem"
///
/// Keys of [client] are the names of HttpOptions' members with underscores; clientOptions() lists them.
///
/// A provider's section may name its "service_type" as a number; without it the type is SERVICE_KINLOOM. Keys and sections that
/// this class does not know are kept when the file is written; comments are not. An object belongs to one thread at a time.
class ConfigFile {
public:
    /// $XDG_CONFIG_HOME/kinloom/host.toml, else ~/.config/kinloom/host.toml, at home in homeFolder(); empty when there is none.
    static std::string defaultPath();

    /// Reads nothing yet.
    explicit ConfigFile(std::string path = defaultPath());
    ~ConfigFile();
    ConfigFile(ConfigFile&&) noexcept;
    ConfigFile& operator=(ConfigFile&&) noexcept;

    const std::string& path() const;

    /// Reads the file in place of what this object held; a missing file is an empty configuration.
    /// \throw ConfigError when it cannot be read, is not TOML, or holds a value of the wrong kind or one with CR, LF or NUL. The
    /// object then holds what it held before.
    void load();

    /// Writes the file, whole or not at all, readable by its owner only. Missing folders are made, for the owner only.
    /// \throw ConfigError when that fails; an existing file is then as it was.
    void save() const;

    /// True when the file that load() read can be read or written by others than its owner, although it holds a token.
    bool readableByOthers() const;

    /// Names of the providers that have a section.
    std::vector<std::string> providers() const;
    /// All options of a provider as text; empty when it has no section.
    std::map<std::string, std::string> options(const std::string& provider) const;
    /// One option of a provider.
    std::optional<std::string> option(const std::string& provider, const std::string& key) const;
    /// Sets an option of a provider, in this object only. \throw ConfigError when a name is empty or name or value hold CR, LF or
    /// NUL.
    void setOption(const std::string& provider, const std::string& key, const std::string& value);
    /// \return false when there was none.
    bool removeOption(const std::string& provider, const std::string& key);

    /// The given options with what the [client] section says put over them.
    HttpOptions httpOptions(const HttpOptions& base = HttpOptions()) const;
    /// Writes one entry of the [client] section; the text is read as the entry's kind demands (lists: lines, with commas between
    /// them). \throw ConfigError when the key is not one of clientOptions() or the value does not fit it.
    void setClientOption(const std::string& key, const std::string& value);

    /// Hands everything to the process: the providers' options to WConfigManager, the client's to setHttpOptions, over those in
    /// force.
    void apply() const;
    /// Takes options of a provider over from WConfigManager; those that are not set there are removed here.
    void capture(const WContentProvider& provider, const std::vector<std::string>& keys);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace W

#endif
