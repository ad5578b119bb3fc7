// SPDX-License-Identifier: MIT
#include "tv/api/ShowLists.h"

#include "tv/core/Shuffle.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace tv {

namespace {

constexpr std::int64_t CHUNK = 4096; ///< keys that are read at a time

/// Reads the keys of a stretch of a group, the newest first, some at a time.
class KeyReader {
public:
    KeyReader(Index& index, std::string group, const TimeRange* time) : m_index(index), m_group(std::move(group))
    {
        m_next = time == nullptr ? 0 : index.countSince(m_group, time->before);
        m_end = time == nullptr ? index.count(m_group) : index.countSince(m_group, time->from);
    }

    /// The next key; null at the end.
    const Key* key()
    {
        if (m_place == m_keys.size() && m_next < m_end) {
            m_keys = m_index.readKeys(m_group, m_next, std::min(CHUNK, m_end - m_next));
            m_next += CHUNK;
            m_place = 0;
        }
        return m_place < m_keys.size() ? &m_keys[m_place] : nullptr;
    }
    void goOn() { ++m_place; }

private:
    Index& m_index;
    std::string m_group;
    std::int64_t m_next = 0;
    std::int64_t m_end = 0;
    std::vector<Key> m_keys;
    std::size_t m_place = 0;
};

} // namespace

void ShowLists::List::add(const std::string& content)
{
    std::int64_t number = 0;
    if (const auto known = numberOf(content)) {
        number = *known;
    } else {
        const auto length = static_cast<std::uint32_t>(content.size());
        std::string text(reinterpret_cast<const char*>(&length), sizeof length);
        number = -m_texts.add(text + content) - 1;
    }
    m_numbers.add({reinterpret_cast<const char*>(&number), sizeof number});
    ++m_size;
}

void ShowLists::List::finish()
{
    m_numbers.finish();
    m_texts.finish();
}

std::string ShowLists::List::at(std::int64_t place) const
{
    std::int64_t number = 0;
    char bytes[sizeof number];
    m_numbers.read(bytes, sizeof bytes, place * static_cast<std::int64_t>(sizeof bytes));
    std::memcpy(&number, bytes, sizeof number);
    if (number >= 0)
        return std::to_string(number);
    std::uint32_t length = 0;
    char lengthBytes[sizeof length];
    m_texts.read(lengthBytes, sizeof lengthBytes, -number - 1);
    std::memcpy(&length, lengthBytes, sizeof length);
    std::string text(length, '\0');
    m_texts.read(text.data(), text.size(), -number - 1 + static_cast<std::int64_t>(sizeof length));
    return text;
}

/// Adds what the groups have of a stretch of time, all in one order.
void ShowLists::addGroups(const ShowOrder& order, const TimeRange* time, List& list) const
{
    std::vector<KeyReader> readers;
    for (const std::string& group : order.groups)
        readers.emplace_back(m_index, group, time);
    while (true) {
        KeyReader* newest = nullptr;
        for (KeyReader& reader : readers) {
            const Key* const key = reader.key();
            if (key != nullptr && (newest == nullptr || *newest->key() < *key))
                newest = &reader;
        }
        if (newest == nullptr)
            return;
        list.add(newest->key()->id);
        newest->goOn();
    }
}

ShowLists::List ShowLists::write(const ShowOrder& order, std::int64_t begin, std::int64_t round) const
{
    List list(m_folder, begin, round);
    for (const std::string& content : order.chosen)
        list.add(content);
    if (order.times.empty())
        addGroups(order, nullptr, list);
    for (const TimeRange& time : order.times)
        addGroups(order, &time, list);
    list.finish();
    return list;
}

/// The list of the round that a step belongs to. With the lock held.
ShowLists::List& ShowLists::listFor(const ShowOrder& order, std::int64_t step)
{
    auto show = std::find_if(m_shows.begin(), m_shows.end(), [&](const Show& one) { return one.name == order.name; });
    if (show == m_shows.end()) {
        List list = write(order, 0, 0);
        if (list.size() > 0 && step >= list.size())
            list = write(order, step - step % list.size(), step / list.size());
        m_shows.push_front({order.name, std::move(list)});
        letGo();
        return m_shows.front().list;
    }
    m_shows.splice(m_shows.begin(), m_shows, show);
    List& list = show->list;
    const bool behind = step >= list.begin() + list.size();
    if (list.size() == 0 || step < list.begin())
        list = write(order, 0, 0);
    else if (behind)
        list = write(order, list.begin() + list.size(), list.round() + 1);
    // A step far away: rounds are taken to be as long as this one.
    if (list.size() > 0 && step >= list.begin() + list.size())
        list = write(order, step - (step - list.begin()) % list.size(), list.round() + (step - list.begin()) / list.size());
    return list;
}

/// Of shows that were used long ago. With the lock held.
void ShowLists::letGo()
{
    std::size_t memory = 0;
    std::size_t count = 0;
    for (auto show = m_shows.begin(); show != m_shows.end();) {
        memory += show->list.inMemory();
        ++count;
        show = count > 1 && (count > KEPT || memory > MOST_MEMORY) ? m_shows.erase(show) : std::next(show);
    }
}

ShowLists::Page ShowLists::read(const ShowOrder& order, std::int64_t step, std::int64_t count)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const List& list = listFor(order, step);
    Page page;
    page.total = list.size();
    page.round = list.round();
    page.next = step;
    if (list.size() == 0)
        return page;
    const Shuffle shuffle(static_cast<std::uint64_t>(list.size()), order.seed);
    const std::int64_t end = std::min(list.begin() + list.size(), step + MOST_TRIED);
    while (page.next < end && static_cast<std::int64_t>(page.steps.size()) < count) {
        const std::int64_t turn = page.next - list.begin();
        const std::int64_t place =
            order.shuffled
                ? static_cast<std::int64_t>(shuffle.at(static_cast<std::uint64_t>(list.round()), static_cast<std::uint64_t>(turn)))
                : turn;
        auto found = m_index.find(list.at(place));
        if (found && !found->hidden)
            page.steps.push_back({page.next, std::move(found->entry)});
        ++page.next;
    }
    return page;
}

} // namespace tv
