// SPDX-License-Identifier: MIT
#include "kinloom/Settings.h"

#include "plugin/Provider.h"
#include "whost/ConfigFile.h"

namespace kinloom {

namespace {

using std::chrono::milliseconds;

/// What a reply may take beyond the waits for connection and first byte before it is given up.
constexpr milliseconds SLACK{5'000};

} // namespace

Settings Settings::fromConfigFile(const std::string& path)
{
    W::ConfigFile file(path.empty() ? W::ConfigFile::defaultPath() : path);
    file.load();
    Settings settings;
    settings.options = file.options(PROVIDER);
    settings.client = file.httpOptions();
    settings.patience = patienceFor(settings.client);
    return settings;
}

milliseconds patienceFor(const W::HttpOptions& client)
{
    // A stall time of 0 waits for ever; so does this then, for all that a person will notice.
    const long stall = client.stallTimeoutMs > 0 ? client.stallTimeoutMs : milliseconds(std::chrono::hours(24)).count();
    return milliseconds(client.connectTimeoutMs + stall) + SLACK;
}

} // namespace kinloom
