// SPDX-License-Identifier: MIT
#include "store/Changes.h"

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

void forgetChanges(DatabaseConnection& connection) { Query(connection, Sql::CHANGES_FORGET).bind(now() - CHANGE_MEMORY).run(); }

} // namespace kinloomd
