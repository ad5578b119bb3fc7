// SPDX-License-Identifier: MIT
// The configuration: what this device is, and how the host's client works.
#include "commands/Command.h"
#include "commands/Options.h"
#include "core/Text.h"
#include "kinloom/Route.h"
#include "output/Table.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>
#include <sys/mman.h>
#include <unistd.h>

namespace kinloom {

namespace {

constexpr const char* SERVICE = "service";
constexpr const char* AUTHORITIES = "ca_file";
constexpr const char* ROUTES[] = {"connect_to", "lead_to"}; // the client's options that say together where requests go
constexpr std::size_t MOST_INPUT = 64 << 10;                // of a configuration that is piped in

struct SetOptions {
    std::string key;
    std::string value;
};
struct GetOptions {
    std::string key;
};

template <std::size_t COUNT> bool isOneOf(const char* const (&keys)[COUNT], const std::string& key)
{
    return std::any_of(std::begin(keys), std::end(keys), [&](const char* known) { return key == known; });
}

bool isProviderKey(const std::string& key) { return isOneOf(PROVIDER_KEYS, key); }

const W::ClientOption* findClientOption(const std::string& key)
{
    const std::vector<W::ClientOption>& all = W::clientOptions();
    const auto found = std::find_if(all.begin(), all.end(), [&](const W::ClientOption& option) { return key == option.key; });
    return found == all.end() ? nullptr : &*found;
}

[[noreturn]] void refuseKey(const std::string& key)
{
    std::string known;
    for (const std::string& name : configKeys())
        known.append(known.empty() ? "" : ", ").append(name);
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

/// A file as it is found from any folder.
std::string absoluteFile(const std::string& path)
{
    const std::string absolute = path.empty() ? path : std::filesystem::absolute(path).lexically_normal().string();
    requireAuthorities(absolute);
    return absolute;
}

void setOption(W::ConfigFile& file, const std::string& key, const std::string& value)
{
    if (isProviderKey(key))
        file.setOption(PROVIDER_NAME, key, value);
    else if (key == SERVICE)
        setService(file, value);
    else if (findClientOption(key) != nullptr)
        file.setClientOption(key, key == AUTHORITIES ? absoluteFile(value) : value);
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
    context.confirm({{"key", options.key}, {"value", text}, {"path", file.path()}}, options.key + " is now " + neutralised(text));
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

Exit showConfiguration(Context& context, const NoOptions&)
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

/// Takes over the client's options that differ from the defaults. Where one of them says where requests go, so does the other: what
/// is left of another way would lead the new credentials to the service before.
void takeClientOptions(W::ConfigFile& file, const W::HttpOptions& taken)
{
    const W::HttpOptions defaults;
    const std::vector<W::ClientOption>& all = W::clientOptions();
    const auto differs = [&](const W::ClientOption& option) { return option.text(taken) != option.text(defaults); };
    const auto isRoute = [](const W::ClientOption& option) { return isOneOf(ROUTES, option.key); };
    const bool routed =
        std::any_of(all.begin(), all.end(), [&](const W::ClientOption& option) { return isRoute(option) && differs(option); });
    for (const W::ClientOption& option : all)
        if (differs(option) || (routed && isRoute(option)))
            file.setClientOption(option.key, option.text(taken));
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
        takeClientOptions(file, piped.httpOptions());
    } catch (const W::ConfigError& error) {
        std::string message = error.what();
        if (const std::size_t at = message.find(input.path()); at != std::string::npos)
            message.replace(at, input.path().size(), "standard input");
        throw Failure(Exit::USAGE, message);
    }
    if (taken == 0)
        throw Failure(Exit::USAGE, "standard input holds no section [provider.Kinloom]; 'kinloomd device add' prints one");
    save(file);
    context.confirm({{"options", taken}, {"path", file.path()}},
                    "Took " + std::to_string(taken) + " options over into " + file.path() + ".");
    return Exit::OK;
}

} // namespace

std::vector<std::string> configKeys()
{
    std::vector<std::string> keys = {SERVICE};
    keys.insert(keys.end(), std::begin(PROVIDER_KEYS), std::end(PROVIDER_KEYS));
    for (const W::ClientOption& option : W::clientOptions())
        keys.emplace_back(option.key);
    return keys;
}

void addConfigCommands(commandline::Command program, Action& action)
{
    const commandline::Command config = program.command("config", "Sets and shows what this device is");
    config.needsCommand();

    const commandline::Command setCommand =
        config.command("set", "Sets an option: app_id, AuthToken, duid, service, or one of the client's");
    const auto setOptions = onCommand(setCommand, action, set);
    setCommand.option("KEY", setOptions->key, "The option").required();
    setCommand.option("VALUE", setOptions->value, "Its value; - reads it from standard input, as is wise for a token").required();

    const commandline::Command getCommand = config.command("get", "Prints an option; a token is masked");
    const auto getOptions = onCommand(getCommand, action, get);
    getCommand.option("KEY", getOptions->key, "The option").required();

    onCommand(config.command("show", "Prints all options; a token is masked"), action, showConfiguration);
    onCommand(config.command("import", "Takes over the section that 'kinloomd device add' prints, from standard input"), action,
              import);
}

} // namespace kinloom
