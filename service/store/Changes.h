// SPDX-License-Identifier: MIT
/// \file What has changed in groups, in the order in which it did, for those who follow it.
#ifndef KINLOOMD_STORE_CHANGES_H
#define KINLOOMD_STORE_CHANGES_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

enum class ChangeKind : int {
    CONTENT = 1,         ///< one has come, or come back
    COMMENT = 2,         ///< the same
    CONTENT_DELETED = 3, ///< with its comments
    COMMENT_DELETED = 4,
};

struct Change {
    Id id = 0; ///< counts changes; no thing's identifier
    ChangeKind kind = ChangeKind::CONTENT;
    Id group = 0;
    Id content = 0;
    Id comment = 0; ///< 0 for what happened to a content
};

/// Notes a change. Within the transaction that makes it.
void addChange(DatabaseConnection& connection, const Change& change);
/// The number of the last change; 0 before the first.
Id lastChange(DatabaseConnection& connection);
/// \return whether everything is known that changed behind that one.
bool knowsChangesSince(DatabaseConnection& connection, Id change);
/// Changes in a person's groups behind one of them, so many at most, in their order.
std::vector<Change> listChanges(DatabaseConnection& connection, Id person, Id after, int count);
/// Removes changes that nobody follows any more.
void forgetChanges(DatabaseConnection& connection);

} // namespace kinloomd

#endif
