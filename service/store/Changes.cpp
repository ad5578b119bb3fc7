// SPDX-License-Identifier: MIT
#include "store/Changes.h"

#include <algorithm>
#include <limits>

namespace kinloomd {

namespace {

constexpr Millis CHANGE_MEMORY = Millis{7} * 24 * 60 * 60 * 1000;

Id firstOf(DatabaseConnection& connection, Sql sql)
{
    Query query(connection, sql);
    return query.step() ? query.integer(0) : 0;
}

} // namespace

void addChange(DatabaseConnection& connection, const Change& change)
{
    Query(connection, Sql::CHANGE_ADD)
        .bind(static_cast<int>(change.kind), change.group, change.content, change.comment, now())
        .run();
}

Id lastChange(DatabaseConnection& connection)
{
    // When all are forgotten, their numbers still count.
    const Id last = firstOf(connection, Sql::CHANGE_LAST);
    return last != 0 ? last : firstOf(connection, Sql::CHANGE_LAST_EVER);
}

bool knowsChangesSince(DatabaseConnection& connection, Id change)
{
    const Id last = lastChange(connection);
    const Id first = firstOf(connection, Sql::CHANGE_FIRST);
    return change <= last && change >= (first == 0 ? last : first - 1);
}

std::vector<Change> listChanges(DatabaseConnection& connection, Id person, Id after, int count)
{
    std::vector<Change> changes;
    Query query(connection, Sql::CHANGES_OF_PERSON);
    query.bind(person, after, count);
    while (query.step())
        changes.push_back(
            {query.integer(0), static_cast<ChangeKind>(query.integer(1)), query.integer(2), query.integer(3), query.integer(4)});
    return changes;
}

std::int64_t countChanges(DatabaseConnection& connection, Id after)
{
    Query query(connection, Sql::CHANGES_BEHIND);
    query.bind(after).step();
    return query.integer(0);
}

Id settledChange(DatabaseConnection& connection, std::chrono::milliseconds longestChange)
{
    if (longestChange == std::chrono::milliseconds::zero())
        return lastChange(connection);
    Query query(connection, Sql::CHANGE_LAST_BEFORE);
    return query.bind(now() - longestChange.count()).step() ? query.integer(0) : 0;
}

void ChangeHorizon::see(Id last, Clock::time_point present)
{
    if (m_seen.empty() || last > m_seen.back().second)
        m_seen.emplace_back(present, last);
    // What was given a smaller number was begun before that moment, and has ended.
    for (; !m_seen.empty() && present - m_seen.front().first >= m_longestChange; m_seen.pop_front())
        m_settled = std::max(m_settled, m_seen.front().second);
}

void ChangeReader::skip(DatabaseConnection& connection, Id person)
{
    for (const Change& change : listChanges(connection, person, m_horizon.settled(), std::numeric_limits<int>::max()))
        m_told.insert(change.id);
}

std::vector<Change> ChangeReader::read(DatabaseConnection& connection, Id person, int most,
                                       ChangeHorizon::Clock::time_point present)
{
    const Id last = lastChange(connection);
    std::vector<Change> news;
    for (const Change& change : listChanges(connection, person, m_horizon.settled(), most + static_cast<int>(m_told.size()))) {
        if (m_told.insert(change.id).second)
            news.push_back(change);
    }
    m_horizon.see(last, present);
    m_told.erase(m_told.begin(), m_told.upper_bound(m_horizon.settled()));
    return news;
}

void forgetChanges(DatabaseConnection& connection) { Query(connection, Sql::CHANGES_FORGET).bind(now() - CHANGE_MEMORY).run(); }

} // namespace kinloomd
