// SPDX-License-Identifier: MIT
#include "commands/Commands.h"
#include "commands/Listing.h"
#include "commands/Lookup.h"
#include "core/Text.h"
#include "media/DataFolder.h"
#include "store/Groups.h"
#include "store/Locks.h"

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace kinloomd {

namespace {

Listing::Json toJson(const Person& person) { return {{"id", person.id}, {"name", person.name}}; }

/// A group and a person as they are named on a command line, and their names as they can be shown. What is done with them is done
/// in the transaction that they were looked up in: they may be deleted at any time.
struct GroupAndPerson {
    GroupAndPerson(DatabaseConnection& connection, const std::string& groupName, const std::string& personName)
        : group(requireGroup(connection, groupName)),
          person(requirePerson(connection, personName)),
          groupText(visibleText(group.name)),
          personText(visibleText(person.name))
    {
        lockGroup(connection, group.id);
        lockPerson(connection, person.id);
    }

    Group group;
    Person person;
    std::string groupText;
    std::string personText;
};

} // namespace

void listGroups(const DataPlace& data, ListForm form)
{
    Database database(DataFolder::existing(data).database());
    const auto connection = database.read();
    Listing list(form);
    for (const Group& group : listAllGroups(connection)) {
        Listing::Json members = Listing::Json::array();
        std::string names;
        for (const Person& member : listMembers(connection, group.id)) {
            members.push_back(toJson(member));
            names += (names.empty() ? "" : ", ") + member.name;
        }
        list.record()
            .value("id", group.id)
            .value("name", group.name)
            .hidden("description", group.description)
            .hidden("created", formatTime(group.created))
            .value("master", toJson(group.master), group.master.name, "master")
            .value("members", members, names, "members")
            .value("contents", group.total, "contents")
            .value("comments", group.comments, "comments");
    }
    list.print();
}

void handOverGroup(const DataPlace& data, const std::string& groupName, const std::string& personName)
{
    Database database(DataFolder::existing(data).database());
    const auto named = database.change([&](DatabaseConnection& connection) {
        GroupAndPerson found(connection, groupName, personName);
        const Role role = roleInGroup(connection, found.group.id, found.person.id);
        if (role == Role::MASTER)
            throw std::runtime_error(found.personText + " is the master of " + found.groupText + " already");
        if (role == Role::STRANGER)
            throw std::runtime_error(found.personText + " is not a member of " + found.groupText +
                                     "; 'kinloomd member add' makes members");
        setMaster(connection, found.group.id, found.person.id);
        return found;
    });
    std::printf("%s is now the master of %s; %s is still a member\n", named.personText.c_str(), named.groupText.c_str(),
                visibleText(named.group.master.name).c_str());
}

void listMembers(const DataPlace& data, const std::string& groupName, ListForm form)
{
    Database database(DataFolder::existing(data).database());
    const Group group = requireGroup(database, groupName);
    const auto connection = database.read();
    Listing list(form);
    for (const Person& person : listMembers(connection, group.id)) {
        const bool master = person.id == group.master.id;
        list.record()
            .value("id", person.id)
            .value("name", person.name)
            .value("master", master, std::string(master ? "master" : "member"), "");
    }
    list.print();
}

void addMember(const DataPlace& data, const std::string& groupName, const std::string& personName)
{
    Database database(DataFolder::existing(data).database());
    const auto [named, added] = database.change([&](DatabaseConnection& connection) {
        GroupAndPerson found(connection, groupName, personName);
        const bool isNew = addMember(connection, found.group, found.person.id);
        return std::pair(std::move(found), isNew);
    });
    std::printf(added ? "%s is now a member of %s\n" : "%s was a member of %s before\n", named.personText.c_str(),
                named.groupText.c_str());
}

void removeMember(const DataPlace& data, const std::string& groupName, const std::string& personName)
{
    Database database(DataFolder::existing(data).database());
    const auto [named, removed] = database.change([&](DatabaseConnection& connection) {
        GroupAndPerson found(connection, groupName, personName);
        if (roleInGroup(connection, found.group.id, found.person.id) == Role::MASTER)
            throw std::runtime_error(found.personText + " is the master of " + found.groupText +
                                     "; a group cannot be without its master: 'kinloomd group hand-over' gives it another one");
        const bool wasMember = removeMember(connection, found.group.id, found.person.id);
        return std::pair(std::move(found), wasMember);
    });
    std::printf(removed ? "%s is no longer a member of %s\n" : "%s was not a member of %s\n", named.personText.c_str(),
                named.groupText.c_str());
}

} // namespace kinloomd
