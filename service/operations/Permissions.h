// SPDX-License-Identifier: MIT
/// \file Who may do what.
#ifndef KINLOOMD_OPERATIONS_PERMISSIONS_H
#define KINLOOMD_OPERATIONS_PERMISSIONS_H

#include "store/Records.h"

#include <array>

namespace kinloomd {

/// What can be done to a thing that belongs to people.
enum class Action {
    LIST_GROUPS_OF_PERSON,
    CREATE_GROUP_FOR_PERSON,
    DELETE_GROUP,
    READ_FEED,
    RESERVE_UPLOAD,
    SEND_UPLOAD,
    VIEW_CONTENT,
    DELETE_CONTENT,
    WRITE_COMMENT,
    LIST_COMMENTS,
    VIEW_COMMENT,
    DELETE_COMMENT,
    INVITE,
    RESTORE,
    SEE_PERSON,
    END_SIGN_IN,
};

/// The HTTP status that an action ends with, for each role. A stranger is told that there is nothing, so that nobody learns which
/// identifiers exist. Of a person, the author is that person, and a member is someone in the same group.
struct Permission {
    Action action;
    std::array<unsigned, 4> outcome; ///< for Role::STRANGER, MEMBER, AUTHOR, MASTER
};

inline constexpr unsigned IMPOSSIBLE = 0; ///< no one can be in that role there

inline constexpr Permission PERMISSIONS[] = {
    // action                         stranger  member  author  master
    {Action::LIST_GROUPS_OF_PERSON, {{404, 200, 200, IMPOSSIBLE}}}, // members see the groups that they share
    {Action::CREATE_GROUP_FOR_PERSON, {{404, 403, 200, IMPOSSIBLE}}},
    {Action::DELETE_GROUP, {{404, 403, IMPOSSIBLE, 200}}},
    {Action::READ_FEED, {{404, 200, IMPOSSIBLE, 200}}},
    {Action::RESERVE_UPLOAD, {{404, 200, IMPOSSIBLE, 200}}},
    {Action::SEND_UPLOAD, {{404, 404, 200, 404}}}, // a slot is its owner's alone
    {Action::VIEW_CONTENT, {{404, 200, 200, 200}}},
    {Action::DELETE_CONTENT, {{404, 403, 200, 200}}},
    {Action::WRITE_COMMENT, {{404, 200, 200, 200}}},
    {Action::LIST_COMMENTS, {{404, 200, 200, 200}}},
    {Action::VIEW_COMMENT, {{404, 200, 200, 200}}},
    {Action::DELETE_COMMENT, {{404, 403, 200, 200}}},
    {Action::INVITE, {{404, 403, IMPOSSIBLE, 200}}},
    {Action::RESTORE, {{404, 404, 200, 404}}}, // of a deletion, the author is who has deleted
    {Action::SEE_PERSON, {{404, 200, 200, IMPOSSIBLE}}},
    {Action::END_SIGN_IN, {{404, 404, 200, IMPOSSIBLE}}}, // a device and a browser are their person's alone
};

/// \return whether the table allows an action.
bool isPermitted(Action action, Role role);

/// Throws the ServiceError that the table names, unless it allows the action.
void requirePermission(Action action, Role role);

} // namespace kinloomd

#endif
