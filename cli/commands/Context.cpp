// SPDX-License-Identifier: MIT
#include "commands/Context.h"
#include "commands/Options.h"
#include "plugin/Route.h"

#include "W/WConfigManager.h"

#include <algorithm>

namespace kinloom {

namespace {

using std::chrono::milliseconds;

/// What a reply may take beyond the waits for connection and first byte before it is given up.
constexpr milliseconds SLACK{5'000};

/// The client's options with what the command line says put over them.
W::HttpOptions clientOptions(const GlobalOptions& options)
{
    W::HttpOptions client = W::httpOptions();
    client.userAgent = "kinloom/" KINLOOM_VERSION;
    if (!options.service.empty())
        client.connectTo = {routeTo(options.service)};
    if (options.timeout) {
        const auto limit = static_cast<long>(*options.timeout * 1000);
        client.connectTimeoutMs = limit;
        client.stallTimeoutMs = limit;
    }
    return client;
}

milliseconds patienceOf(const GlobalOptions& options, const W::HttpOptions& client)
{
    if (options.timeout)
        return milliseconds(static_cast<long>(*options.timeout * 1000));
    // A stall time of 0 waits for ever; so does this then, for all that a person will notice.
    const long stall = client.stallTimeoutMs > 0 ? client.stallTimeoutMs : milliseconds(std::chrono::hours(24)).count();
    return milliseconds(client.connectTimeoutMs + stall) + SLACK;
}

void requireOptions(const W::WContentProvider& provider, const std::string& path)
{
    for (const char* key : PROVIDER_KEYS) {
        if (!W::WConfigManager::getInstance()->getCPOption(provider, key).isEmpty())
            continue;
        throw Failure(Exit::NOT_SIGNED_IN, std::string("this device is not configured: ") + key + " is not set in " + path +
                                               ". 'kinloomd device add' prints what 'kinloom config import' takes.");
    }
}

} // namespace

Context::Context(const GlobalOptions& globalOptions, Output& out, Bell& bell, const Interrupt& interruption)
    : options(globalOptions), output(out), interrupt(interruption), m_bell(bell)
{
}

W::ConfigFile& Context::config()
{
    if (m_config)
        return *m_config;
    W::ConfigFile file(options.config.empty() ? W::ConfigFile::defaultPath() : options.config);
    try {
        file.load();
    } catch (const W::ConfigError& error) {
        throw Failure(Exit::LOCAL_FILE, error.what());
    }
    if (file.readableByOthers())
        Output::note("note: " + file.path() + " can be read by others, although it holds a token. 'chmod 600' mends that.");
    return m_config.emplace(std::move(file));
}

Session& Context::session()
{
    if (m_session)
        return *m_session;
    config().apply();
    const W::HttpOptions client = clientOptions(options);
    W::setHttpOptions(client);
    const W::WContentProvider provider(PROVIDER_NAME, W::WContentProvider::SERVICE_KINLOOM);
    requireOptions(provider, config().path());
    output.divertLog(options.verbose);
    Session::Settings settings;
    settings.plugin = pluginPath(options.plugin);
    settings.address = addressOf(client);
    settings.patience = patienceOf(options, client);
    if (options.verbose)
        Output::note("the service is at " + settings.address + ", the plugin is " + settings.plugin);
    m_session = std::make_unique<Session>(settings, m_bell, interrupt);
    return *m_session;
}

Operations& Context::operations()
{
    if (!m_operations) {
        session().signIn();
        m_operations.emplace(session());
    }
    return *m_operations;
}

void Context::say(const Json& document, const std::string& sentence)
{
    result(document, [&] { output.line(sentence); });
}

} // namespace kinloom
