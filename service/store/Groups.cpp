// SPDX-License-Identifier: MIT
#include "store/Groups.h"

#include "core/Text.h"
#include "store/Locks.h"
#include "store/Parts.h"
#include "store/People.h"

namespace kinloomd {

namespace {

Group readGroup(const Query& query)
{
    Group group;
    group.id = query.integer(0);
    group.name = query.text(1);
    group.description = query.text(2);
    group.created = query.integer(3);
    group.total = query.integer(4);
    group.photos = query.integer(5);
    group.audios = query.integer(6);
    group.videos = query.integer(7);
    group.comments = query.integer(8);
    group.mediaEpoch = query.integer(9);
    group.master = readShortPerson(query, 10);
    group.cover = query.isNull(13) ? 0 : query.integer(13);
    return group;
}

std::optional<Group> firstGroup(Query& query)
{
    if (!query.step())
        return std::nullopt;
    return readGroup(query);
}

std::vector<Group> readGroups(Query& query)
{
    std::vector<Group> groups;
    while (query.step())
        groups.push_back(readGroup(query));
    return groups;
}

std::vector<Id> readIds(Query& query)
{
    std::vector<Id> ids;
    while (query.step())
        ids.push_back(query.integer(0));
    return ids;
}

struct PageEntry {
    GroupSort sort;
    Sql own;
    Sql shared;
};

constexpr PageEntry PAGES[] = {
    {GroupSort::ALPHABETICAL, Sql::GROUPS_BY_NAME, Sql::SHARED_GROUPS_BY_NAME},
    {GroupSort::CREATED_TIME, Sql::GROUPS_BY_CREATION, Sql::SHARED_GROUPS_BY_CREATION},
    {GroupSort::RECENT_USED, Sql::GROUPS_BY_USE, Sql::SHARED_GROUPS_BY_USE},
};

} // namespace

std::vector<Id> listGroupIds(DatabaseConnection& connection, Id person, Id sharedWith, GroupSort sort, std::int64_t index,
                             std::int64_t count)
{
    const PageEntry& page = PAGES[static_cast<int>(sort)];
    Query query(connection, sharedWith == 0 ? page.own : page.shared);
    if (sharedWith == 0)
        query.bind(person, count, index);
    else
        query.bind(person, count, index, sharedWith);
    return readIds(query);
}

std::optional<Group> findGroup(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::GROUP_BY_ID);
    return firstGroup(query.bind(id));
}

std::optional<Group> findGroupOf(DatabaseConnection& connection, Id id, Id person)
{
    Query query(connection, Sql::GROUP_OF_MEMBER);
    return firstGroup(query.bind(id, person));
}

std::int64_t countGroups(DatabaseConnection& connection, Id master)
{
    Query query(connection, Sql::GROUP_COUNT_OF_MASTER);
    query.bind(master).step();
    return query.integer(0);
}

std::vector<Group> findGroupsByName(DatabaseConnection& connection, const std::string& name)
{
    Query query(connection, Sql::GROUPS_OF_NAME);
    return readGroups(query.bind(name));
}

std::vector<Group> listMastered(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::GROUPS_OF_MASTER);
    return readGroups(query.bind(person));
}

std::vector<Group> listAllGroups(DatabaseConnection& connection)
{
    std::vector<Group> groups;
    Query query(connection, Sql::GROUP_LIST_ALL);
    while (query.step())
        groups.push_back(readGroup(query));
    return groups;
}

std::vector<Person> listMembers(DatabaseConnection& connection, Id group)
{
    std::vector<Person> people;
    MemberPage page{group, 0};
    readMembers(connection, page, [&people](const Person& person) {
        people.push_back(person);
        return true;
    });
    return people;
}

bool readMembers(DatabaseConnection& connection, MemberPage& page, const Taker<Person>& take)
{
    return readInParts(ALL_ROWS, [&](std::int64_t count) {
        Query query(connection, Sql::MEMBERS_OF_GROUP);
        query.bind(page.group, page.after, count);
        return takeRows(query, [&] {
            const Person person = readPerson(query, 0);
            page.after = person.id;
            return take(person);
        });
    });
}

Role roleInGroup(DatabaseConnection& connection, Id group, Id person)
{
    Query query(connection, Sql::GROUP_ROLE);
    query.bind(group, person);
    if (!query.step())
        return Role::STRANGER;
    return query.integer(0) != 0 ? Role::MASTER : Role::MEMBER;
}

std::int64_t mediaEpochOf(DatabaseConnection& connection, Id group)
{
    Query query(connection, Sql::GROUP_EPOCH);
    query.bind(group);
    return query.step() ? query.integer(0) : 0;
}

Id addGroup(DatabaseConnection& connection, const std::string& name, const std::string& description, Id master)
{
    Group group;
    group.id = addEntity(connection, EntityKind::GROUP);
    group.name = name;
    group.created = now();
    Query(connection, Sql::GROUP_ADD).bind(group.id, name, description, master, group.created).run();
    addMember(connection, group, master);
    return group.id;
}

void setMaster(DatabaseConnection& connection, Id group, Id person)
{
    Query(connection, Sql::GROUP_SET_MASTER).bind(group, person).run();
}

bool addMember(DatabaseConnection& connection, const Group& group, Id person)
{
    lockGroup(connection, group.id);
    lockPerson(connection, person);
    const std::string key = foldForSorting(group.name);
    return Query(connection, Sql::MEMBER_ADD).bind(person, group.id, key, group.created, now()).run() > 0;
}

bool removeMember(DatabaseConnection& connection, Id group, Id person)
{
    lockGroup(connection, group);
    if (Query(connection, Sql::MEMBER_REMOVE).bind(person, group).run() == 0)
        return false;
    Query(connection, Sql::GROUP_NEW_EPOCH).bind(group).run();
    return true;
}

void noteUse(DatabaseConnection& connection, Id group, Millis at) { Query(connection, Sql::GROUP_USED).bind(group, at).run(); }

} // namespace kinloomd
