// SPDX-License-Identifier: MIT
#include "commands/Lookup.h"

#include "commands/Names.h"
#include "core/Text.h"
#include "store/Groups.h"
#include "store/People.h"

#include <stdexcept>

namespace kinloomd {

namespace {

std::string quoted(const std::string& name) { return "'" + visibleText(name) + "'"; }

/// What tells people, or groups, of the same name apart.
std::string describe(const Person& person) { return std::to_string(person.id) + " (since " + formatTime(person.created) + ")"; }
std::string describe(const Group& group) { return std::to_string(group.id) + " (of " + visibleText(group.master.name) + ")"; }

/// The only one of those that have a name. Throws std::runtime_error when there are several.
template <typename Thing> std::optional<Thing> theOnly(std::vector<Thing> things, const char* kind, const std::string& name)
{
    if (things.size() > 1) {
        std::string all;
        for (const Thing& thing : things)
            all += (all.empty() ? "" : ", ") + describe(thing);
        throw std::runtime_error("there is more than one " + std::string(kind) + " " + quoted(name) + ": " + all +
                                 "; name the right one by its number");
    }
    return things.empty() ? std::nullopt : std::optional<Thing>(std::move(things.front()));
}

std::optional<Group> lookUpGroup(DatabaseConnection& connection, const std::string& nameOrId)
{
    if (const auto id = parseId(nameOrId)) {
        if (auto group = findGroup(connection, *id))
            return group;
    }
    return theOnly(findGroupsByName(connection, nameOrId), "group", nameOrId);
}

} // namespace

std::optional<Person> lookUpPerson(DatabaseConnection& connection, const std::string& nameOrId)
{
    if (const auto id = parseId(nameOrId)) {
        if (auto person = findPerson(connection, *id))
            return person;
    }
    return theOnly(findPeopleByName(connection, nameOrId), "person", nameOrId);
}

Person requirePerson(DatabaseConnection& connection, const std::string& nameOrId)
{
    if (auto person = lookUpPerson(connection, nameOrId))
        return std::move(*person);
    throw std::runtime_error("there is no person " + quoted(nameOrId) + "; 'kinloomd person list' shows all");
}

Person personOrNew(DatabaseConnection& connection, const std::string& name, const std::string& option)
{
    if (auto person = lookUpPerson(connection, name))
        return std::move(*person);
    if (parseId(name))
        throw std::runtime_error("there is no person of the number " + name +
                                 "; 'kinloomd person list' shows all, and 'kinloomd person add' adds one who is called that");
    checkedName(name);
    if (const auto like = lookAlike(connection, name)) {
        const std::string known = visibleText(like->name);
        const std::string number = std::to_string(like->id);
        throw std::runtime_error(quoted(name) + " resembles '" + known + "' (number " + number + "): say '" + option + number +
                                 "' if that is who you mean, or add another person first with 'kinloomd person add'");
    }
    return addPerson(connection, name, "");
}

Group requireGroup(DatabaseConnection& connection, const std::string& nameOrId)
{
    if (auto group = lookUpGroup(connection, nameOrId))
        return std::move(*group);
    throw std::runtime_error("there is no group " + quoted(nameOrId) + "; 'kinloomd group list' shows all");
}

Person requirePerson(Database& database, const std::string& nameOrId)
{
    const auto connection = database.read();
    return requirePerson(connection, nameOrId);
}

Group requireGroup(Database& database, const std::string& nameOrId)
{
    const auto connection = database.read();
    return requireGroup(connection, nameOrId);
}

std::optional<Person> lookAlike(DatabaseConnection& connection, const std::string& name)
{
    const std::string key = foldForLikeness(name);
    for (Person& person : listPeople(connection)) {
        if (foldForLikeness(person.name) == key)
            return std::move(person);
    }
    return std::nullopt;
}

} // namespace kinloomd
