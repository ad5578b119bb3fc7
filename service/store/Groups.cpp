// SPDX-License-Identifier: MIT
#include "store/Groups.h"

#include "core/Text.h"
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

std::vector<Group> readGroups(Query& query)
{
    std::vector<Group> groups;
    while (query.step())
        groups.push_back(readGroup(query));
    return groups;
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

std::vector<Group> listGroups(DatabaseConnection& connection, Id person, Id sharedWith, GroupSort sort, std::int64_t index,
                              std::int64_t count)
{
    const PageEntry& page = PAGES[static_cast<int>(sort)];
    Query query(connection, sharedWith == 0 ? page.own : page.shared);
    if (sharedWith == 0)
        query.bind(person, count, index);
    else
        query.bind(person, count, index, sharedWith);
    return readGroups(query);
}

std::optional<Group> findGroup(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::GROUP_BY_ID);
    query.bind(id);
    if (!query.step())
        return std::nullopt;
    return readGroup(query);
}

std::vector<Id> findGroupsByName(DatabaseConnection& connection, const std::string& name)
{
    std::vector<Id> ids;
    Query query(connection, Sql::GROUP_ID_BY_NAME);
    query.bind(name);
    while (query.step())
        ids.push_back(query.integer(0));
    return ids;
}

std::vector<Group> listAllGroups(DatabaseConnection& connection)
{
    Query query(connection, Sql::GROUP_LIST_ALL);
    return readGroups(query);
}

std::vector<Person> listMembers(DatabaseConnection& connection, Id group)
{
    std::vector<Person> people;
    Query query(connection, Sql::MEMBERS_OF_GROUP);
    query.bind(group);
    while (query.step())
        people.push_back(readPerson(query, 0));
    return people;
}

std::vector<Id> listContentIds(DatabaseConnection& connection, Id group)
{
    std::vector<Id> ids;
    Query query(connection, Sql::GROUP_CONTENT_IDS);
    query.bind(group);
    while (query.step())
        ids.push_back(query.integer(0));
    return ids;
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

void deleteGroup(DatabaseConnection& connection, Id id) { Query(connection, Sql::GROUP_DELETE).bind(id).run(); }

bool addMember(DatabaseConnection& connection, const Group& group, Id person)
{
    const std::string key = foldForSorting(group.name);
    return Query(connection, Sql::MEMBER_ADD).bind(person, group.id, key, group.created, now()).run() > 0;
}

bool removeMember(DatabaseConnection& connection, Id group, Id person)
{
    if (Query(connection, Sql::MEMBER_REMOVE).bind(person, group).run() == 0)
        return false;
    Query(connection, Sql::GROUP_NEW_EPOCH).bind(group).run();
    return true;
}

void noteUse(DatabaseConnection& connection, Id group, Millis at) { Query(connection, Sql::GROUP_USED).bind(group, at).run(); }

} // namespace kinloomd
