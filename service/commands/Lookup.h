// SPDX-License-Identifier: MIT
/// \file People and groups as they are named on a command line: by a number, which always means the thing of that number, or by a
/// name that only one has.
#ifndef KINLOOMD_COMMANDS_LOOKUP_H
#define KINLOOMD_COMMANDS_LOOKUP_H

#include "store/Database.h"
#include "store/Records.h"

#include <optional>
#include <string>

namespace kinloomd {

/// The person of that number or name, if any. Throws std::runtime_error when several have the name.
std::optional<Person> lookUpPerson(DatabaseConnection& connection, const std::string& nameOrId);

/// The person of that number or name. Throws std::runtime_error when there is none, or more than one of the name.
Person requirePerson(DatabaseConnection& connection, const std::string& nameOrId);
Person requirePerson(Database& database, const std::string& nameOrId);

/// The group of that number or name. Throws std::runtime_error when there is none, or more than one of the name.
Group requireGroup(DatabaseConnection& connection, const std::string& nameOrId);
Group requireGroup(Database& database, const std::string& nameOrId);

/// The person of that number or name, or a new one of the name. Within a transaction. \param option stands before a number in
/// advice. Throws std::runtime_error for a number that nobody has, and for a name that resembles somebody's.
Person personOrNew(DatabaseConnection& connection, const std::string& name, const std::string& option);

/// A person whose name differs from this one in case or blanks alone, if any.
std::optional<Person> lookAlike(DatabaseConnection& connection, const std::string& name);

} // namespace kinloomd

#endif
