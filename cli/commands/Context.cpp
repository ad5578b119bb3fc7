// SPDX-License-Identifier: MIT
#include "commands/Context.h"
#include "commands/Options.h"
#include "core/Text.h"
#include "core/Waiting.h"
#include "kinloom/Route.h"
#include "kinloom/Warning.h"

#include "W/WConfigManager.h"

#include <cerrno>
#include <unistd.h>

namespace kinloom {

namespace {

using std::chrono::milliseconds;

/// The client's options with what the command line says put over them.
W::HttpOptions clientOptions(const GlobalOptions& options)
{
    W::HttpOptions client = W::httpOptions();
    client.userAgent = "kinloom/" KINLOOM_VERSION;
    if (!options.service.empty())
        setService(client, options.service);
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
        throw Failure(
            Exit::NOT_SIGNED_IN,
            std::string("this device is not configured: ") + key + " is not set in " + path +
                ". 'kinloom pair URL' does that; so does 'kinloom config import', with what 'kinloomd device add' prints.");
    }
}

template <typename Target> void leadOrRefuse(Target& target, const std::string& address)
{
    try {
        leadTo(target, address);
    } catch (const CallError& error) {
        throw Failure(Exit::USAGE, neutralised(error.failure().detail));
    }
}

} // namespace

void setService(W::HttpOptions& client, const std::string& address) { leadOrRefuse(client, address); }

void setService(W::ConfigFile& file, const std::string& address) { leadOrRefuse(file, address); }

void requireAuthorities(const std::string& path)
{
    if (!path.empty() && access(path.c_str(), R_OK) != 0)
        throw fileFailure(path, "which ca_file names, cannot be read", errno);
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
    if (file.path().empty())
        throw Failure(Exit::LOCAL_FILE, "it is not known where the configuration is: HOME is not set, and this person has no home "
                                        "folder. --config FILE names it.");
    try {
        file.load();
    } catch (const W::ConfigError& error) {
        throw Failure(Exit::LOCAL_FILE, error.what());
    }
    if (file.readableByOthers())
        Output::hint("note: " + file.path() + " can be read by others, although it holds a token. 'chmod 600' mends that.");
    return m_config.emplace(std::move(file));
}

const W::HttpOptions& Context::client()
{
    if (m_client)
        return *m_client;
    config().apply();
    m_client = clientOptions(options);
    requireAuthorities(m_client->caFile);
    W::setHttpOptions(*m_client);
    return *m_client;
}

const Settings& Context::settings()
{
    if (m_settings)
        return *m_settings;
    Settings settings;
    settings.client = client();
    const W::WContentProvider provider(PROVIDER_NAME, W::WContentProvider::SERVICE_KINLOOM);
    requireOptions(provider, config().path());
    for (const char* key : PROVIDER_KEYS)
        settings.options[key] = W::WConfigManager::getInstance()->getCPOption(provider, key).toString();
    output.divertLog(options.verbose);
    settings.plugin = pluginPath(options.plugin);
    settings.patience = patienceOf(options, settings.client);
    settings.signInAgain = false; // when the service stops accepting the device, the command fails
    if (options.verbose)
        Output::note("the service is at " + addressOf(settings.client) + ", the plugin is " + settings.plugin);
    // Whoever wants quiet is told of this all the same: a token that others can read is worth a line.
    onWarning([](const std::string& sentence) { Output::note("note: " + sentence); });
    settings.log = options.verbose ? PluginLog::STANDARD_ERROR : PluginLog::NOWHERE;
    return m_settings.emplace(std::move(settings));
}

Lane& Context::lane()
{
    if (!m_lane)
        m_lane = std::make_unique<Lane>(settings());
    return *m_lane;
}

CallOptions Context::callOptions(std::function<void(double done, double total)> progress,
                                 std::function<void(const std::string& text)> note) const
{
    CallOptions callOptions;
    callOptions.interruption = interrupt.interruption();
    callOptions.progress = std::move(progress);
    callOptions.retries.count = options.retries;
    callOptions.retries.waiting = [note = std::move(note)](const RetryWait& wait) {
        if (note)
            note(waitingText(wait));
        else
            Output::hint(waitingText(wait));
    };
    return callOptions;
}

Failure Context::failureOf(const CallFailure& failure) const
{
    try {
        throwFailure(failure, interrupt.exitCode());
    } catch (const Failure& meaning) {
        return meaning;
    }
}

void Context::registerDevice()
{
    make(RegisterDevice(), callOptions());
    // The plugin reports success even when the service has refused the registration; signing in shows which it was.
    signIn();
}

void Context::signIn()
{
    if (!m_signedIn)
        make(SignIn(), callOptions());
    m_signedIn = true;
}

void Context::say(const Json& document, const std::string& sentence)
{
    result(document, [&] { output.line(neutralised(sentence)); });
}

void Context::confirm(const Json& document, const std::string& sentence)
{
    if (options.json || !options.quiet)
        say(document, sentence);
}

} // namespace kinloom
