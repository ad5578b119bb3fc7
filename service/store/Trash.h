// SPDX-License-Identifier: MIT
/// \file What was deleted: kept for a while, and shown to nobody but who runs the service.
///
/// A thing in the trash stays whole, and is marked: a group by itself alone, however much is in it. Its members are set aside, so
/// that whoever asks what someone is to the group finds a stranger.
#ifndef KINLOOMD_STORE_TRASH_H
#define KINLOOMD_STORE_TRASH_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

inline constexpr Millis DAY = Millis{24} * 60 * 60 * 1000;
inline constexpr Millis TRASH_TIME = 30 * DAY; ///< how long what was deleted is kept

struct TrashEntry {
    Id id = 0; ///< counts deletions; no thing's identifier
    TrashKind kind = TrashKind::GROUP;
    Id thing = 0;
    Id group = 0;   ///< of a group, content or comment
    Id content = 0; ///< of a content or comment
    Millis at = 0;
    Id byId = 0;       ///< 0 when it was no person, but who runs the service
    std::string by;    ///< empty then
    std::string name;  ///< what people know it by: a name, a description or a text
    std::string place; ///< the name of the group, or of the device's person
};

/// Everything in the trash, in the order in which it came there.
std::vector<TrashEntry> listTrash(DatabaseConnection& connection);
std::optional<TrashEntry> findTrash(DatabaseConnection& connection, Id id);
/// The deletion of a thing that is in the trash.
std::optional<TrashEntry> findTrashOf(DatabaseConnection& connection, TrashKind kind, Id thing);
/// What has been there longest, when that is since before a time.
std::optional<TrashEntry> oldestTrash(DatabaseConnection& connection, Millis before);

/// The master of a group, in the trash or not; 0 when there is no such group.
Id masterOf(DatabaseConnection& connection, Id group);

// Within a transaction. What puts something into the trash returns false when there is no such thing, or it is there already; \p by
// is the person who deletes it, or 0.

bool trashGroup(DatabaseConnection& connection, Id group, Id by);
bool trashContent(DatabaseConnection& connection, Id content, Id by);
bool trashComment(DatabaseConnection& connection, const Standing& comment, Id id, Id by);
/// Ends the memberships and devices of a person. What he or she has made stays.
bool trashPerson(DatabaseConnection& connection, Id person, Id by);
bool trashDevice(DatabaseConnection& connection, const std::string& duid, Id by);

/// What a thing needs that is not there, so that it cannot come back.
enum class Obstacle {
    NONE,
    GROUP,   ///< its group is in the trash
    CONTENT, ///< its content is in the trash
    MASTER,  ///< the master of the group was removed
    PERSON,  ///< the person of the device was removed
    GOING,   ///< it is being deleted for good
};
/// Brings a thing back as it was, as far as nothing is in the way. \return what is in the way.
Obstacle restoreTrash(DatabaseConnection& connection, const TrashEntry& entry);

/// Deletes some of what an entry holds for good; a large group takes several transactions. \return whether the entry is gone with
/// that. The files of \p contents, and the picture \p image of the entry's person, can be removed then.
struct Purged {
    bool whole = false;
    std::vector<OriginalName> contents;
    std::int64_t image = 0;
};
Purged purgeSome(DatabaseConnection& connection, const TrashEntry& entry);

} // namespace kinloomd

#endif
