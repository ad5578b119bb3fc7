// SPDX-License-Identifier: MIT
// The configuration: what this device is, and how the host's client works.
#include "commands/Command.h"
#include "commands/Options.h"
#include "core/Text.h"
#include "kinloom/Route.h"
#include "output/Table.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <sys/mman.h>
#include <unistd.h>

namespace kinloom {

namespace {

constexpr const char* SERVICE = "service";
constexpr std::size_t MOST_INPUT = 64 << 10; // of a configuration that is piped in

struct SetOptions {
    std::string key;
    std::string value;
};
struct GetOptions {
    std::string key;
};
struct NoOptions {};

bool isProviderKey(const std::string& key)
{
    return std::any_of(std::begin(PROVIDER_KEYS), std::end(PROVIDER_KEYS), [&](const char* known) { return key == known; });
}

const W::ClientOption* findClientOption(const std::string& key)
{
    const std::vector<W::ClientOption>& all = W::clientOptions();
    const auto found = std::find_if(all.begin(), all.end(), [&](const W::ClientOption& option) { return key == option.key; });
    return found == all.end() ? nullptr : &*found;
}

[[noreturn]] void refuseKey(const std::string& key)
{
    std::string known = SERVICE;
    for (const char* name : PROVIDER_KEYS)
        known.append(", ").append(name);
    for (const W::ClientOption& option : W::clientOptions())
        known.append(", ").append(option.key);
    throw Failure(Exit::USAGE, "there is no option '" + key + "'; there are " + known);
}

/// Everything from standard input, up to a limit.
std::string readInput()
{
    std::string input;
    char block[4096];
    while (true) {
        const ssize_t count = read(STDIN_FILENO, block, sizeof block);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw fileFailure("standard input", "cannot be read", errno);
        if (count == 0)
            return input;
        input.append(block, static_cast<std::size_t>(count));
        if (input.size() > MOST_INPUT)
            throw Failure(Exit::USAGE, "standard input: is too long for a configuration");
    }
}

/// One line from standard input, without its end.
std::string readLine()
{
    std::string line = readInput();
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    return line;
}

std::string optionText(W::ConfigFile& file, const std::string& key)
{
    if (isProviderKey(key))
        return file.option(PROVIDER_NAME, key).value_or("");
    if (key == SERVICE)
        return addressOf(file.httpOptions());
    const W::ClientOption* const client = findClientOption(key);
    if (client == nullptr)
        refuseKey(key);
    return client->text(file.httpOptions());
}

void setOption(W::ConfigFile& file, const std::string& key, const std::string& value)
{
    if (isProviderKey(key))
        file.setOption(PROVIDER_NAME, key, value);
    else if (key == SERVICE)
        file.setClientOption("connect_to", wayTo(value));
    else if (findClientOption(key) != nullptr)
        file.setClientOption(key, value);
    else
        refuseKey(key);
}

void save(const W::ConfigFile& file)
{
    try {
        file.save();
    } catch (const W::ConfigError& error) {
        throw Failure(Exit::LOCAL_FILE, error.what());
    }
}

Exit set(Context& context, const SetOptions& options)
{
    W::ConfigFile& file = context.config();
    try {
        setOption(file, options.key, options.value == "-" ? readLine() : options.value);
    } catch (const W::ConfigError& error) {
        throw Failure(Exit::USAGE, error.what());
    }
    save(file);
    const std::string text = masked(options.key, optionText(file, options.key));
    context.say({{"key", options.key}, {"value", text}, {"path", file.path()}}, options.key + " is now " + neutralised(text));
    return Exit::OK;
}

Exit get(Context& context, const GetOptions& options)
{
    const std::string text = optionText(context.config(), options.key);
    if (text.empty())
        throw Failure(Exit::NOT_SIGNED_IN, options.key + " is not set in " + context.config().path());
    const std::string shown = masked(options.key, text);
    context.say({{"key", options.key}, {"value", shown}}, neutralised(shown));
    return Exit::OK;
}

Exit show(Context& context, const NoOptions&)
{
    W::ConfigFile& file = context.config();
    Json provider = Json::object();
    Sheet sheet;
    sheet.add("file", file.path());
    sheet.add(SERVICE, addressOf(file.httpOptions()));
    for (const char* key : PROVIDER_KEYS) {
        const std::string text = masked(key, optionText(file, key));
        provider[key] = text.empty() ? Json(nullptr) : Json(text);
        sheet.add(key, text.empty() ? "(not set)" : text);
    }
    Json client = Json::object();
    const W::HttpOptions defaults;
    const W::HttpOptions options = file.httpOptions();
    for (const W::ClientOption& option : W::clientOptions()) {
        const std::string text = masked(option.key, option.text(options));
        client[option.key] = text;
        if (option.text(options) != option.text(defaults))
            sheet.add(option.key, text);
    }
    const Json document = {
        {"path", file.path()}, {"service", addressOf(options)}, {"provider", std::move(provider)}, {"client", std::move(client)}};
    context.result(document, [&] { sheet.print(context.output); });
    return Exit::OK;
}

/// Text in a file in memory, which ends with its descriptor. The text holds a token, which must not be left behind on a disk.
class NamelessFile {
public:
    explicit NamelessFile(const std::string& text) : m_file(memfd_create("configuration", MFD_CLOEXEC))
    {
        if (!m_file || write(m_file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw fileFailure("standard input", "cannot be kept", errno);
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(m_file.get()); }

private:
    Descriptor m_file;
};

Exit import(Context& context, const NoOptions&)
{
    const NamelessFile input(readInput());
    W::ConfigFile piped(input.path());
    W::ConfigFile& file = context.config();
    std::size_t taken = 0;
    try {
        piped.load();
        for (const char* key : PROVIDER_KEYS) {
            if (const auto value = piped.option(PROVIDER_NAME, key)) {
                file.setOption(PROVIDER_NAME, key, *value);
                ++taken;
            }
        }
        const W::HttpOptions defaults;
        const W::HttpOptions client = piped.httpOptions();
        for (const W::ClientOption& option : W::clientOptions())
            if (option.text(client) != option.text(defaults))
                file.setClientOption(option.key, option.text(client));
    } catch (const W::ConfigError& error) {
        std::string message = error.what();
        if (const std::size_t at = message.find(input.path()); at != std::string::npos)
            message.replace(at, input.path().size(), "standard input");
        throw Failure(Exit::USAGE, message);
    }
    if (taken == 0)
        throw Failure(Exit::USAGE, "standard input holds no section [provider.Kinloom]; 'kinloomd device add' prints one");
    save(file);
    context.say({{"options", taken}, {"path", file.path()}},
                "Took " + std::to_string(taken) + " options over into " + file.path() + ".");
    return Exit::OK;
}

} // namespace

void addConfigCommands(CLI::App& app, Action& action)
{
    CLI::App* const config = app.add_subcommand("config", "Sets and shows what this device is");
    config->require_subcommand(1);

    CLI::App* const setCommand =
        config->add_subcommand("set", "Sets an option: app_id, AuthToken, duid, service, or one of the client's");
    const auto setOptions = onCommand(*setCommand, action, set);
    setCommand->add_option("KEY", setOptions->key, "The option")->required();
    setCommand->add_option("VALUE", setOptions->value, "Its value; - reads it from standard input, as is wise for a token")
        ->required();

    CLI::App* const getCommand = config->add_subcommand("get", "Prints an option; a token is masked");
    const auto getOptions = onCommand(*getCommand, action, get);
    getCommand->add_option("KEY", getOptions->key, "The option")->required();

    onCommand(*config->add_subcommand("show", "Prints all options; a token is masked"), action, show);
    onCommand(*config->add_subcommand("import", "Takes over the section that 'kinloomd device add' prints, from standard input"),
              action, import);
}

} // namespace kinloom
