// SPDX-License-Identifier: MIT
/// \file What a change locks before it looks at it, so that what it saw still holds when it writes.
///
/// Changes of other processes go on between the statements of a transaction. So a change first locks the rows on which it decides:
/// those of its groups, then those of people, each by rising numbers, then others. Every statement behind that sees what others
/// have committed before, and those who want the same wait. What follows from it:
///
/// - totals of a group, the time of its last upload, who its members are, and whether it is in the trash change with its row
/// locked;
/// - the bytes that a person's contents take, the places that he or she has reserved, how many groups, invitations and guesses, and
///   whether the person was removed, with the person's row locked;
/// - an entry of the trash is brought back, or deleted for good, with its row locked;
/// - what is used once (an invitation, a code, a place for an upload) is used by a statement that says in which state it must be.
///
/// Two changes that lock in another order all the same are told by the engine, and one of them is done anew (Database::change).
#ifndef KINLOOMD_STORE_LOCKS_H
#define KINLOOMD_STORE_LOCKS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

// Within a transaction; nothing that is not there is locked.

void lockGroup(DatabaseConnection& connection, Id group);
/// Locks the group of a content. \return it; 0 when there is no such content.
Id lockGroupOfContent(DatabaseConnection& connection, Id content);
void lockPerson(DatabaseConnection& connection, Id person);
/// Locks both of an upload, in this order.
void lockGroupAndPerson(DatabaseConnection& connection, Id group, Id person);

} // namespace kinloomd

#endif
