// SPDX-License-Identifier: MIT
#include "tv/index/Places.h"

#include "httpd/Text.h"

#include <algorithm>

namespace tv {

std::optional<std::int64_t> numberOf(const std::string& id)
{
    if (id.empty() || (id[0] == '0' && id.size() > 1))
        return std::nullopt;
    return httpd::parseDecimal<std::int64_t>(id);
}

bool operator<(const Key& a, const Key& b)
{
    if (a.created != b.created)
        return a.created < b.created;
    const auto first = numberOf(a.id);
    const auto second = numberOf(b.id);
    if (first && second)
        return *first < *second;
    return first.has_value() == second.has_value() ? a.id < b.id : first.has_value();
}

Places::Spot Places::spotOf(std::int64_t index) const
{
    for (const Block& block : m_blocks) {
        if (index < block.count)
            return {block.from, index};
        index -= block.count;
    }
    return {};
}

std::size_t Places::indexOfBlock(const Key& key) const
{
    // The last block that begins at the key or is newer; what is newer than all belongs to the first.
    const auto behind =
        std::partition_point(m_blocks.begin(), m_blocks.end(), [&](const Block& block) { return !(block.from < key); });
    return behind == m_blocks.begin() ? 0 : static_cast<std::size_t>(behind - m_blocks.begin()) - 1;
}

Places::Spot Places::blockOf(const Key& key) const
{
    if (m_blocks.empty())
        return {};
    const std::size_t found = indexOfBlock(key);
    Spot spot{m_blocks[found].from, 0};
    for (std::size_t before = 0; before < found; ++before)
        spot.offset += m_blocks[before].count;
    return spot;
}

std::vector<MonthEntry> Places::months() const
{
    std::vector<MonthEntry> months;
    months.reserve(m_months.size());
    std::int64_t index = 0;
    for (auto entry = m_months.rbegin(); entry != m_months.rend(); ++entry) {
        months.push_back({Month(entry->first / 12, entry->first % 12 + 1), entry->second, index});
        index += entry->second;
    }
    return months;
}

void Places::append(const Key& key, Month month)
{
    if (m_blocks.empty() || m_blocks.back().count >= BLOCK)
        m_blocks.push_back({key, 0});
    ++m_blocks.back().count;
    ++m_count;
    ++m_months[month.number()];
}

void Places::insert(const Key& key, Month month)
{
    if (m_blocks.empty())
        m_blocks.push_back({key, 0});
    Block& block = m_blocks[indexOfBlock(key)];
    if (block.from < key)
        block.from = key;
    ++block.count;
    ++m_count;
    ++m_months[month.number()];
}

void Places::settle(const std::function<Key(const Key& from, std::int64_t offset)>& keyBehind)
{
    for (std::size_t place = 0; place < m_blocks.size(); ++place) {
        if (m_blocks[place].count < 2 * BLOCK)
            continue;
        const std::int64_t rest = m_blocks[place].count - BLOCK;
        const Key middle = keyBehind(m_blocks[place].from, BLOCK);
        m_blocks[place].count = BLOCK;
        m_blocks.insert(m_blocks.begin() + static_cast<std::ptrdiff_t>(place) + 1, {middle, rest});
    }
}

void Places::erase(const Key& key, Month month)
{
    if (m_blocks.empty())
        return;
    const std::size_t found = indexOfBlock(key);
    --m_count;
    if (--m_blocks[found].count == 0)
        m_blocks.erase(m_blocks.begin() + static_cast<std::ptrdiff_t>(found));
    const auto counted = m_months.find(month.number());
    if (counted != m_months.end() && --counted->second == 0)
        m_months.erase(counted);
}

} // namespace tv
