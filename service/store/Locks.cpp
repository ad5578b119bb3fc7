// SPDX-License-Identifier: MIT
#include "store/Locks.h"

namespace kinloomd {

void lockGroup(DatabaseConnection& connection, Id group) { Query(connection, Sql::GROUP_LOCK).bind(group).step(); }

Id lockGroupOfContent(DatabaseConnection& connection, Id content)
{
    Query query(connection, Sql::GROUP_LOCK_OF_CONTENT);
    return query.bind(content).step() ? query.integer(0) : 0;
}

void lockGroupAndPerson(DatabaseConnection& connection, Id group, Id person)
{
    Query(connection, Sql::UPLOAD_LOCK).bind(group, person).step();
}

void lockPerson(DatabaseConnection& connection, Id person) { Query(connection, Sql::PERSON_LOCK).bind(person).step(); }

} // namespace kinloomd
