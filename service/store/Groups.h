// SPDX-License-Identifier: MIT
/// \file Groups and their members. Groups in the trash have no members, and are found by nothing here.
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
std::vector<Id> listGroupIds(DatabaseConnection& connection, Id person, Id sharedWith, GroupSort sort, std::int64_t index,
                             std::int64_t count);
/// The group, when that person is a member of it.
std::optional<Group> findGroupOf(DatabaseConnection& connection, Id id, Id person);
/// How many groups a person is the master of; those in the trash do not count.
std::int64_t countGroups(DatabaseConnection& connection, Id master);

std::optional<Group> findGroup(DatabaseConnection& connection, Id id);
/// The groups of exactly that name, in the order in which they were made.
std::vector<Group> findGroupsByName(DatabaseConnection& connection, const std::string& name);
/// The groups that a person is the master of.
std::vector<Group> listMastered(DatabaseConnection& connection, Id person);
std::vector<Group> listAllGroups(DatabaseConnection& connection);
std::vector<Person> listMembers(DatabaseConnection& connection, Id group);

/// The members of a group behind one of them; 0 is before all.
struct MemberPage {
    Id group = 0;
    Id after = 0;
};
/// Reads on in a page, and moves it past each person that is taken. \return whether nothing is left of the page.
bool readMembers(DatabaseConnection& connection, MemberPage& page, const Taker<Person>& take);

Role roleInGroup(DatabaseConnection& connection, Id group, Id person);
std::int64_t mediaEpochOf(DatabaseConnection& connection, Id group);

// Within a transaction:

/// Makes a group with its master as the only member.
Id addGroup(DatabaseConnection& connection, const std::string& name, const std::string& description, Id master);
/// Makes a member of the group its master.
void setMaster(DatabaseConnection& connection, Id group, Id person);
/// \return whether the person was not a member before, and is one now: nobody joins a group in the trash.
bool addMember(DatabaseConnection& connection, const Group& group, Id person);
/// \return whether the person was a member. The group's media addresses change, so that those the person knows lead nowhere.
bool removeMember(DatabaseConnection& connection, Id group, Id person);
/// Puts the group first among those recently used.
void noteUse(DatabaseConnection& connection, Id group, Millis at);

} // namespace kinloomd

#endif
