// SPDX-License-Identifier: MIT
#include "operations/Signers.h"

#include "core/Dates.h"

#include <algorithm>
#include <utility>

namespace kinloomd {

template <typename Value> Value& Signers::Memory<Value>::at(const std::string& key)
{
    const auto known = older.find(key);
    if (known == older.end())
        return recent[key];
    Value& value = recent.try_emplace(key, std::move(known->second)).first->second;
    older.erase(known);
    return value;
}

template <typename Value> const Value* Signers::Memory<Value>::find(const std::string& key) const
{
    for (const auto* map : {&recent, &older}) {
        const auto found = map->find(key);
        if (found != map->end())
            return &found->second;
    }
    return nullptr;
}

template <typename Value> bool Signers::Memory<Value>::makeRoom()
{
    if (recent.size() < REMEMBERED)
        return false;
    const bool forgets = !older.empty();
    older = std::exchange(recent, {});
    return forgets;
}

Signers::Signers(const RecentSigners& earlier, bool alone)
{
    const Clock::time_point present = Clock::now();
    const Millis time = now();
    bool whole = earlier.whole;
    for (const Signer& signer : earlier.signers) {
        // When the clock was set back meanwhile, nobody knows how long ago that was.
        if (signer.at <= time)
            noteAddress(signer.address, signer.duid, present - std::chrono::milliseconds(time - signer.at));
        else
            whole = false;
    }
    // Better nobody is credited for a while than the wrong one.
    if (!alone)
        m_uncertainUntil = Clock::time_point::max();
    else if (!whole)
        m_uncertainUntil = present + WINDOW;
}

void Signers::note(const httpd::RequestHead& head, const std::string& duid, Clock::time_point at)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!head.connection.empty()) {
        m_connections.makeRoom();
        m_connections.at(head.connection) = {duid, at};
    }
    noteAddress(head.address, duid, at);
}

void Signers::noteAddress(const std::string& address, const std::string& duid, Clock::time_point at)
{
    if (m_addresses.makeRoom())
        m_uncertainUntil = std::max(m_uncertainUntil, at + WINDOW);
    Traces& traces = m_addresses.at(address);
    if (traces.last.duid != duid)
        traces.other = std::exchange(traces.last, {duid, at});
    traces.last.at = at;
}

std::string Signers::credited(const httpd::RequestHead& head, Clock::time_point at) const
{
    if (head.connection.empty())
        return {};
    const std::lock_guard<std::mutex> lock(m_mutex);
    const Trace* const trace = m_connections.find(head.connection);
    // Behind a proxy another connection may have the same address and port later.
    if (trace != nullptr && (!head.forwarded || at - trace->at <= WINDOW))
        return trace->duid;
    const Traces* const traces = m_addresses.find(head.address);
    if (traces == nullptr || at < m_uncertainUntil || at - traces->last.at > WINDOW)
        return {};
    const bool alone = traces->other.duid.empty() || at - traces->other.at > WINDOW;
    return alone ? traces->last.duid : std::string();
}

RecentSigners Signers::recent(Clock::time_point at) const
{
    const Millis time = now();
    RecentSigners recent;
    const std::lock_guard<std::mutex> lock(m_mutex);
    recent.whole = at >= m_uncertainUntil;
    for (const auto* map : {&m_addresses.recent, &m_addresses.older}) {
        for (const auto& [address, traces] : *map) {
            for (const Trace& trace : {traces.last, traces.other}) {
                const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(at - trace.at);
                if (!trace.duid.empty() && age <= WINDOW)
                    recent.signers.push_back({address, trace.duid, time - age.count()});
            }
        }
    }
    return recent;
}

} // namespace kinloomd
