// SPDX-License-Identifier: MIT
#include "commands/Lookup.h"

#include "core/Text.h"
#include "store/Groups.h"
#include "store/People.h"

namespace kinloomd {

Person requirePerson(Database& database, const std::string& nameOrId)
{
    const auto connection = database.read();
    if (const auto person = findPersonByName(connection, nameOrId))
        return *person;
    if (const auto id = parseId(nameOrId)) {
        if (const auto person = findPerson(connection, *id))
            return *person;
    }
    throw std::runtime_error("there is no person '" + nameOrId + "'; 'kinloomd person list' shows all");
}

Group requireGroup(Database& database, const std::string& nameOrId)
{
    const auto connection = database.read();
    const auto ids = findGroupsByName(connection, nameOrId);
    if (ids.size() > 1)
        throw std::runtime_error("there is more than one group '" + nameOrId + "'; name it by the number in 'kinloomd group list'");
    const auto id = ids.empty() ? parseId(nameOrId) : std::optional<Id>(ids.front());
    if (id) {
        if (const auto group = findGroup(connection, *id))
            return *group;
    }
    throw std::runtime_error("there is no group '" + nameOrId + "'; 'kinloomd group list' shows all");
}

} // namespace kinloomd
