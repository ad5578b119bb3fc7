// SPDX-License-Identifier: MIT
#include "W/WConfigManager.h"

#include "Mutex.h"

#include <charconv>
#include <map>
#include <utility>

namespace W {

namespace {

using ProviderKey = std::pair<STRING, UINT32>;

struct Store {
    Mutex mutex;
    std::map<ProviderKey, std::map<STRING, WVariant>> options GUARDED_BY(mutex);
};

/// Never destroyed: a plugin's threads may still read options while the process exits.
Store& store()
{
    static Store* const instance = new Store;
    return *instance;
}

ProviderKey keyOf(const WContentProvider& provider) { return {provider.getName(), provider.getServiceType()}; }

} // namespace

WVariant::WVariant(double value)
{
    // The shortest text that reads back as the same number, whatever the locale. No double needs more characters than this.
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value);
    m_text.assign(text, end.ptr);
}

WConfigManager* WConfigManager::getInstance()
{
    static WConfigManager* const instance = new WConfigManager;
    return instance;
}

WVariant WConfigManager::getCPOption(const WContentProvider& provider, const STRING& key)
{
    Store& all = store();
    const MutexLock lock(all.mutex);
    const auto options = all.options.find(keyOf(provider));
    if (options == all.options.end())
        return {};
    const auto option = options->second.find(key);
    return option == options->second.end() ? WVariant() : option->second;
}

void WConfigManager::setCPOption(const WContentProvider& provider, const STRING& key, const WVariant& value)
{
    Store& all = store();
    const MutexLock lock(all.mutex);
    all.options[keyOf(provider)][key] = value;
}

} // namespace W
