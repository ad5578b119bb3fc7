// SPDX-License-Identifier: MIT
#include "tv/core/Favourites.h"

#include "tv/core/Calendar.h"
#include "tv/core/Keeping.h"
#include "tv/core/Log.h"

#include <algorithm>

namespace tv {

namespace {

std::unordered_map<std::string, std::int64_t> readSet(const Json& document, const char* name)
{
    std::unordered_map<std::string, std::int64_t> set;
    const auto member = document.find(name);
    if (member == document.end() || !member->is_object())
        return set;
    for (const auto& [content, time] : member->items())
        if (time.is_number_integer())
            set.emplace(content, time.get<std::int64_t>());
    return set;
}

} // namespace

Favourites::Favourites(std::string path) : m_path(std::move(path))
{
    const Json document = readKept(m_path);
    if (!document.is_object() || !document.contains("owner") || !document["owner"].is_string())
        return;
    m_owner = document["owner"].get<std::string>();
    m_marked = readSet(document, "marked");
    m_hidden = readSet(document, "hidden");
}

std::string Favourites::owner() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_owner;
}

void Favourites::beginFor(const std::string& owner)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (owner == m_owner)
        return;
    m_owner = owner;
    m_marked.clear();
    m_hidden.clear();
    try {
        write();
    } catch (const std::exception& error) {
        log(error.what());
    }
}

bool Favourites::is(Kind kind, const std::string& content) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return setOf(kind).count(content) != 0;
}

bool Favourites::set(Kind kind, const std::string& content, bool on)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool changed = on ? setOf(kind).emplace(content, present()).second : setOf(kind).erase(content) != 0;
    if (changed || !m_kept)
        write();
    return changed;
}

void Favourites::keepAgain() noexcept
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_kept)
        return;
    try {
        write();
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): it was told when it failed first
    }
}

std::vector<std::string> Favourites::list(Kind kind) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::pair<std::int64_t, std::string>> timed;
    for (const auto& [content, time] : setOf(kind))
        timed.emplace_back(-time, content);
    std::sort(timed.begin(), timed.end());
    std::vector<std::string> contents;
    contents.reserve(timed.size());
    for (auto& [time, content] : timed)
        contents.push_back(std::move(content));
    return contents;
}

/// With the lock held.
void Favourites::write()
{
    m_kept = false;
    keep(m_path, {{"owner", m_owner}, {"marked", m_marked}, {"hidden", m_hidden}});
    m_kept = true;
}

} // namespace tv
