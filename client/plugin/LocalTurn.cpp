// SPDX-License-Identifier: MIT
#include "plugin/LocalTurn.h"

namespace kinloom {

LocalTurn& LocalTurn::instance()
{
    static LocalTurn& turn = *new LocalTurn;
    return turn;
}

void LocalTurn::give()
{
    m_turn.give([this](std::unique_lock<std::mutex>& lock) {
        std::vector<std::unique_ptr<Plugin>> retired;
        retired.swap(m_retired);
        if (retired.empty())
            return false;
        lock.unlock();
        retired.clear();
        lock.lock();
        return true;
    });
}

void LocalTurn::retire(std::unique_ptr<Plugin> plugin)
{
    if (!plugin || !m_turn.takeAtOnce([&] { m_retired.push_back(std::move(plugin)); }))
        return;
    plugin.reset();
    give();
}

void LocalTurn::watch(const Plugin* plugin, std::function<void()> dropped)
{
    const std::lock_guard<std::mutex> lock(m_watchMutex);
    m_watched = plugin;
    m_dropped = std::move(dropped);
}

void LocalTurn::flushed(const Plugin& ended)
{
    const std::lock_guard<std::mutex> lock(m_watchMutex);
    if (m_watched != nullptr && m_watched != &ended && m_dropped)
        m_dropped();
}

} // namespace kinloom
