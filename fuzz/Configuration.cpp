// SPDX-License-Identifier: MIT
// The configuration file of the stand-alone host.
#include "Targets.h"
#include "W/WConfigManager.h"
#include "support/TempDir.h"
#include "whost/ConfigFile.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace fuzz {

namespace {

using namespace W;

constexpr const char* PROVIDER = "Kinloom";
const std::set<STRING> OPTIONS = {"app_id", "AuthToken", "duid"};

auto members(const HttpOptions& o)
{
    return std::tie(o.connectTo, o.connectTimeoutMs, o.stallTimeoutMs, o.stallBytesPerSecond, o.totalTimeoutMs, o.maxRedirects,
                    o.maxMemoryBody, o.maxFileBody, o.maxHeaderBytes, o.maxTransfers, o.maxConnectionsPerHost, o.maxRequests,
                    o.downloadBufferBytes, o.uploadBufferBytes, o.userAgent, o.proxy, o.leadTo, o.caFile);
}

bool onOneLine(const STRING& text)
{
    return std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

void requireClear(const ConfigError& error, const STRING& path, std::string_view input)
{
    const STRING message = error.what();
    require(message.compare(0, path.size(), path) == 0, "a refusal names the file");
    require(onOneLine(message), "a refusal is one readable line");
    const auto lines = static_cast<std::size_t>(std::count(input.begin(), input.end(), '\n')) + 1;
    require(error.line() <= lines, "a refusal names a line of the file");
}

void requireSame(const ConfigFile& a, const ConfigFile& b)
{
    require(a.providers() == b.providers(), "the same providers are read again");
    for (const STRING& provider : a.providers())
        require(a.options(provider) == b.options(provider), "the same options are read again");
    const HttpOptions ours = a.httpOptions();
    const HttpOptions theirs = b.httpOptions();
    require(members(ours) == members(theirs), "the same limits and ways are read again");
}

void requireUsable(const ConfigFile& file)
{
    for (const STRING& provider : file.providers())
        for (const auto& [key, value] : file.options(provider))
            require(value.find_first_of(STRING("\r\n\0", 3)) == STRING::npos, "an option can stand in a header");
    const HttpOptions options = file.httpOptions();
    require(onOneLine(options.userAgent) && onOneLine(options.proxy), "a text can stand in a header");
    require(options.connectTimeoutMs > 0 && options.maxTransfers > 0 && options.maxRedirects >= 0, "a limit lets something pass");
    for (const STRING& line : options.connectTo)
        require(onOneLine(line) && std::count(line.begin(), line.end(), ':') >= 3, "a way has four parts");
}

/// Only what the process can forget again: an option of another name would stay in it.
bool canBeApplied(const ConfigFile& file, const STRING& written)
{
    const std::map<STRING, STRING> options = file.options(PROVIDER);
    return file.providers() == std::vector<STRING>{PROVIDER} && written.find("service_type") == STRING::npos &&
           std::all_of(options.begin(), options.end(), [](const auto& option) { return OPTIONS.count(option.first) != 0; });
}

void requireApplied(const ConfigFile& file)
{
    const WContentProvider provider(PROVIDER, WContentProvider::SERVICE_KINLOOM);
    for (const STRING& key : OPTIONS)
        WConfigManager::getInstance()->setCPOption(provider, key, "before");
    const HttpOptions before = httpOptions();
    file.apply();
    for (const STRING& key : OPTIONS)
        require(WConfigManager::getInstance()->getCPOption(provider, key).toString() ==
                    file.option(PROVIDER, key).value_or("before"),
                "what is applied is what was read");
    const HttpOptions after = httpOptions();
    const HttpOptions expected = file.httpOptions(before);
    setHttpOptions(before);
    require(members(after) == members(expected), "limits and ways are applied");
}

} // namespace

void configuration(std::string_view input)
{
    static const test::TempDir folder;
    const STRING path = folder.file("host.toml");
    test::writeFile(path, STRING(input));
    ConfigFile file(path);
    file.setOption("Before", "app_id", "id");
    try {
        file.load();
    } catch (const ConfigError& error) {
        requireClear(error, path, input);
        require(file.providers() == std::vector<STRING>{"Before"} && file.option("Before", "app_id") == "id",
                "a refused file changes nothing");
        return;
    }
    requireUsable(file);
    file.save();
    const STRING written = test::readFile(path);
    ConfigFile again(path);
    again.load();
    requireSame(file, again);
    again.save();
    require(test::readFile(path) == written, "a file that is read is written as it was");
    if (canBeApplied(file, written))
        requireApplied(file);
    again.setOption(PROVIDER, "duid", "device");
    require(again.option(PROVIDER, "duid") == "device", "an option can be set, whatever else the file holds");
}

} // namespace fuzz
