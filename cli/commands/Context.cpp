// SPDX-License-Identifier: MIT
#include "commands/Context.h"
#include "commands/Options.h"
#include "core/Text.h"
#include "kinloom/Route.h"

#include "W/WConfigManager.h"

namespace kinloom {

namespace {

using std::chrono::milliseconds;

/// The client's options with what the command line says put over them.
W::HttpOptions clientOptions(const GlobalOptions& options)
{
    W::HttpOptions client = W::httpOptions();
    client.userAgent = "kinloom/" KINLOOM_VERSION;
    if (!options.service.empty())
        client.connectTo = {wayTo(options.service)};
    if (options.timeout) {
        const auto limit = static_cast<long>(*options.timeout * 1000);
        client.connectTimeoutMs = limit;
        client.stallTimeoutMs = limit;
    }
    return client;
}

milliseconds patienceOf(const GlobalOptions& options, const W::HttpOptions& client)
{
    return options.timeout ? milliseconds(static_cast<long>(*options.timeout * 1000)) : patienceFor(client);
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

std::string wayTo(const std::string& address)
{
    try {
        return routeTo(address);
    } catch (const CallError& error) {
        throw Failure(Exit::USAGE, neutralised(error.failure().detail));
    }
}

Context::Context(const GlobalOptions& globalOptions, Output& out, const Interrupt& interruption)
    : options(globalOptions), output(out), interrupt(interruption)
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

Lane& Context::lane()
{
    if (m_lane)
        return *m_lane;
    config().apply();
    Settings settings;
    settings.client = clientOptions(options);
    W::setHttpOptions(settings.client);
    const W::WContentProvider provider(PROVIDER_NAME, W::WContentProvider::SERVICE_KINLOOM);
    requireOptions(provider, config().path());
    for (const char* key : PROVIDER_KEYS)
        settings.options[key] = W::WConfigManager::getInstance()->getCPOption(provider, key).toString();
    output.divertLog(options.verbose);
    settings.plugin = pluginPath(options.plugin);
    settings.patience = patienceOf(options, settings.client);
    settings.signInAgain = false; // a command that is not accepted any more ends
    if (options.verbose)
        Output::note("the service is at " + addressOf(settings.client) + ", the plugin is " + settings.plugin);
    m_lane = std::make_unique<Lane>(std::move(settings));
    return *m_lane;
}

/// Whatever the service has against an account request, it is this device that it does not accept.
template <class Order> void Context::makeAccountCall()
{
    try {
        make(Order());
    } catch (const Interrupted&) {
        throw;
    } catch (const Failure& failure) {
        if (failure.exitCode() != Exit::FAILED)
            throw;
        throw Failure(Exit::NOT_SIGNED_IN, failure.what(), failure.status());
    }
}

void Context::registerDevice()
{
    makeAccountCall<RegisterDevice>();
    // The plugin reports a registration that the service has refused like one that it has accepted; a sign-in tells.
    signIn();
}

void Context::signIn()
{
    if (!m_signedIn)
        makeAccountCall<SignIn>();
    m_signedIn = true;
}

void Context::say(const Json& document, const std::string& sentence)
{
    result(document, [&] { output.line(sentence); });
}

} // namespace kinloom
