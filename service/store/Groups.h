// SPDX-License-Identifier: MIT
/// \file Groups and their members.
#ifndef KINLOOMD_STORE_GROUPS_H
#define KINLOOMD_STORE_GROUPS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

enum class GroupSort : int {
    ALPHABETICAL, ///< by name, upper and lower case alike
    CREATED_TIME, ///< newest first
    RECENT_USED,  ///< last upload, comment or creation first
};

/// A page of the groups of a person, at most \p count of them from the \p index-th on. With \p sharedWith, only those groups that
/// this other person is a member of too.
std::vector<Group> listGroups(DatabaseConnection& connection, Id person, Id sharedWith, GroupSort sort, std::int64_t index,
                              std::int64_t count);

std::optional<Group> findGroup(DatabaseConnection& connection, Id id);
/// The groups of that name, at most two.
std::vector<Id> findGroupsByName(DatabaseConnection& connection, const std::string& name);
std::vector<Group> listAllGroups(DatabaseConnection& connection);
std::vector<Person> listMembers(DatabaseConnection& connection, Id group);
std::vector<Id> listContentIds(DatabaseConnection& connection, Id group);
Role roleInGroup(DatabaseConnection& connection, Id group, Id person);
std::int64_t mediaEpochOf(DatabaseConnection& connection, Id group);

// Within a transaction:

/// Makes a group with its master as the only member.
Id addGroup(DatabaseConnection& connection, const std::string& name, const std::string& description, Id master);
/// Removes a group with everything in it.
void deleteGroup(DatabaseConnection& connection, Id id);
/// \return whether the person was not a member before.
bool addMember(DatabaseConnection& connection, const Group& group, Id person);
/// \return whether the person was a member. The group's media addresses change, so that those the person knows lead nowhere.
bool removeMember(DatabaseConnection& connection, Id group, Id person);
/// Puts the group first among those recently used.
void noteUse(DatabaseConnection& connection, Id group, Millis at);

} // namespace kinloomd

#endif
