// SPDX-License-Identifier: MIT
#include "whost/ConfigFile.h"

#include "W/WConfigManager.h"
#include "framework/ClientSection.h"
#include "framework/PrivateFile.h"
#include "framework/TomlNesting.h"
#include "framework/TomlWriter.h"

#include <cstdlib>
#include <pwd.h>
#include <toml++/toml.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace W {

namespace {

constexpr char PROVIDERS[] = "provider";
constexpr char CLIENT[] = "client";
constexpr char SERVICE_TYPE[] = "service_type";

std::string place(const std::string& path, unsigned int line) { return line == 0 ? path : path + ":" + std::to_string(line); }

[[noreturn]] void fail(const std::string& path, unsigned int line, const std::string& what)
{
    throw ConfigError(place(path, line) + ": " + what, line);
}

bool hasLineBreak(const std::string& text) { return text.find_first_of(std::string("\r\n\0", 3)) != std::string::npos; }

void refuseLineBreak(const std::string& path, unsigned int line, const std::string& name, const std::string& text)
{
    if (hasLineBreak(text))
        fail(path, line, "the value of \"" + name + "\" holds a line break or a NUL");
}

std::string readable(std::string message)
{
    for (char& c : message)
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
    return message;
}

unsigned int lineOf(const toml::node& node) { return node.source().begin.line; }

/// A value as the text that WConfigManager holds; nothing for arrays, tables and dates.
std::optional<WVariant> asVariant(const toml::node& node)
{
    if (const auto* const text = node.as_string())
        return WVariant(text->get());
    if (const auto* const number = node.as_integer())
        return WVariant(number->get());
    if (const auto* const truth = node.as_boolean())
        return WVariant(truth->get());
    if (const auto* const real = node.as_floating_point())
        return WVariant(real->get());
    return std::nullopt;
}

} // namespace

ConfigError::ConfigError(const std::string& message, unsigned int lineNumber)
    : std::runtime_error(readable(message)), m_line(lineNumber)
{
}

struct ConfigFile::Impl {
    std::string path;
    toml::table root;
    bool exposed = false;

    const toml::table* section(const std::string& provider) const { return root[PROVIDERS][provider].as_table(); }

    toml::table& sectionToChange(const std::string& provider)
    {
        if (!root[PROVIDERS].is_table())
            root.insert_or_assign(PROVIDERS, toml::table());
        toml::table& providers = *root[PROVIDERS].as_table();
        if (!providers[provider].is_table())
            providers.insert_or_assign(provider, toml::table());
        return *providers[provider].as_table();
    }

    WContentProvider::ServiceType serviceType(const toml::table& options) const
    {
        return static_cast<WContentProvider::ServiceType>(
            options[SERVICE_TYPE].value_or(static_cast<std::int64_t>(WContentProvider::SERVICE_KINLOOM)));
    }

    toml::table parse(std::string_view text) const
    {
        const auto refuseDepth = [this](unsigned int line) {
            if (line != 0)
                fail(path, line, "this is nested deeper than a configuration can be");
        };
        refuseDepth(lineNestedTooDeep(text));
        toml::table table;
        try {
            table = toml::parse(text, std::string_view(path));
        } catch (const toml::parse_error& error) {
            fail(path, error.source().begin.line, std::string(error.description()));
        }
        refuseDepth(lineNestedTooDeep(table));
        validate(table);
        return table;
    }

    /// Refuses what the rest of this class could not handle.
    void validate(const toml::table& table) const
    {
        if (const toml::node* const providers = table.get(PROVIDERS)) {
            if (!providers->is_table())
                fail(path, lineOf(*providers), "\"provider\" must be a table of sections such as [provider.Kinloom]");
            for (const auto& [name, section] : *providers->as_table())
                validateProvider(std::string(name.str()), section);
        }
        if (const toml::node* const client = table.get(CLIENT)) {
            if (!client->is_table())
                fail(path, lineOf(*client), "\"client\" must be a section [client]");
            HttpOptions scratch;
            readClientSection(*client->as_table(), path, scratch);
        }
    }

    void validateProvider(const std::string& name, const toml::node& section) const
    {
        if (!section.is_table())
            fail(path, lineOf(section), "\"" + name + "\" must be a section [provider." + name + "]");
        for (const auto& [key, value] : *section.as_table()) {
            const std::string option(key.str());
            const std::optional<WVariant> text = asVariant(value);
            if (!text)
                fail(path, lineOf(value), "the value of \"" + option + "\" must be a text or a number");
            refuseLineBreak(path, lineOf(value), option, text->toString());
            if (option == SERVICE_TYPE && (!value.is_integer() || *value.value<std::int64_t>() < 0 ||
                                           *value.value<std::int64_t>() > static_cast<std::int64_t>(UINT32_MAX)))
                fail(path, lineOf(value), "\"service_type\" must be a number from 0 to 4294967295");
        }
    }
};

std::string homeFolder()
{
    if (const char* const home = std::getenv("HOME"); home && home[0] == '/')
        return home;
    constexpr std::size_t ENOUGH = 16 << 10; // for an entry
    std::vector<char> buffer(ENOUGH);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found || !entry.pw_dir)
        return {};
    return entry.pw_dir[0] == '/' ? entry.pw_dir : "";
}

std::string ConfigFile::defaultPath()
{
    const char* const config = std::getenv("XDG_CONFIG_HOME");
    if (config && config[0] == '/')
        return std::string(config) + "/kinloom/host.toml";
    const std::string folder = homeFolder();
    return folder.empty() ? folder : folder + "/.config/kinloom/host.toml";
}

ConfigFile::ConfigFile(std::string path) : m_impl(std::make_unique<Impl>()) { m_impl->path = std::move(path); }
ConfigFile::~ConfigFile() = default;
ConfigFile::ConfigFile(ConfigFile&&) noexcept = default;
ConfigFile& ConfigFile::operator=(ConfigFile&&) noexcept = default;

const std::string& ConfigFile::path() const { return m_impl->path; }

void ConfigFile::load()
{
    bool exposed = false;
    const std::optional<std::string> text = readPrivateFile(m_impl->path, exposed);
    m_impl->root = text ? m_impl->parse(*text) : toml::table();
    m_impl->exposed = exposed;
}

void ConfigFile::save() const
{
    const std::string text = writeToml(m_impl->root);
    try {
        m_impl->parse(text);
    } catch (const ConfigError&) {
        fail(m_impl->path, 0, "a name or a value is no text that a configuration can hold");
    }
    writePrivateFile(m_impl->path, text);
}

bool ConfigFile::readableByOthers() const { return m_impl->exposed; }

std::vector<std::string> ConfigFile::providers() const
{
    std::vector<std::string> names;
    if (const toml::table* const providers = m_impl->root[PROVIDERS].as_table())
        for (const auto& [name, section] : *providers)
            names.emplace_back(name.str());
    return names;
}

std::map<std::string, std::string> ConfigFile::options(const std::string& provider) const
{
    std::map<std::string, std::string> result;
    if (const toml::table* const section = m_impl->section(provider))
        for (const auto& [key, value] : *section)
            if (key.str() != SERVICE_TYPE)
                result.emplace(key.str(), asVariant(value).value_or(WVariant()).toString());
    return result;
}

std::optional<std::string> ConfigFile::option(const std::string& provider, const std::string& key) const
{
    const std::map<std::string, std::string> all = options(provider);
    const auto found = all.find(key);
    return found == all.end() ? std::nullopt : std::optional<std::string>(found->second);
}

void ConfigFile::setOption(const std::string& provider, const std::string& key, const std::string& value)
{
    if (provider.empty() || key.empty() || hasLineBreak(provider) || hasLineBreak(key))
        fail(m_impl->path, 0, "a provider or an option without a usable name");
    if (key == SERVICE_TYPE)
        fail(m_impl->path, 0, "\"service_type\" is not an option of a provider");
    refuseLineBreak(m_impl->path, 0, key, value);
    m_impl->sectionToChange(provider).insert_or_assign(key, value);
}

bool ConfigFile::removeOption(const std::string& provider, const std::string& key)
{
    return m_impl->section(provider) && m_impl->sectionToChange(provider).erase(key) > 0;
}

HttpOptions ConfigFile::httpOptions(const HttpOptions& base) const
{
    HttpOptions options = base;
    if (const toml::table* const client = m_impl->root[CLIENT].as_table())
        readClientSection(*client, m_impl->path, options);
    return options;
}

void ConfigFile::setClientOption(const std::string& key, const std::string& value)
{
    refuseLineBreak(m_impl->path, 0, key, value);
    toml::table client;
    if (const toml::table* const present = m_impl->root[CLIENT].as_table())
        client = *present;
    writeClientOption(client, m_impl->path, key, value);
    m_impl->root.insert_or_assign(CLIENT, std::move(client));
}

void ConfigFile::apply() const
{
    WConfigManager& manager = *WConfigManager::getInstance();
    for (const std::string& name : providers()) {
        const toml::table& section = *m_impl->section(name);
        const WContentProvider provider(name, m_impl->serviceType(section));
        for (const auto& [key, value] : options(name))
            manager.setCPOption(provider, key, value);
    }
    setHttpOptions(httpOptions(W::httpOptions()));
}

void ConfigFile::capture(const WContentProvider& provider, const std::vector<std::string>& keys)
{
    WConfigManager& manager = *WConfigManager::getInstance();
    for (const std::string& key : keys) {
        const WVariant value = manager.getCPOption(provider, key);
        if (value.isEmpty())
            removeOption(provider.getName(), key);
        else
            setOption(provider.getName(), key, value.toString());
    }
    if (provider.getServiceType() != WContentProvider::SERVICE_KINLOOM)
        m_impl->sectionToChange(provider.getName())
            .insert_or_assign(SERVICE_TYPE, static_cast<std::int64_t>(provider.getServiceType()));
}

} // namespace W
