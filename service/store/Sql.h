// SPDX-License-Identifier: MIT
/// \file Every statement that the service runs, by name.
#ifndef KINLOOMD_STORE_SQL_H
#define KINLOOMD_STORE_SQL_H

#include <cstddef>
#include <string>

namespace kinloomd {

enum class Sql : std::size_t {
    SETTING_GET,
    SETTING_SET,
    SETTING_CHANGE,
    SETTING_REMOVE,
    ENTITY_ADD,
    ENTITY_KIND,

    PERSON_ADD,
    PERSON_BY_ID,
    PERSON_BY_NAME,
    PERSON_LIST,
    PERSON_IMAGE,
    PERSON_KEPT_IMAGES,
    PERSON_SET_IMAGE,
    PERSON_RENAME,
    PERSON_SHARES_GROUP,
    PERSON_USAGE,
    PERSON_USED_BYTES,
    PERSON_USES_BYTES,

    DEVICE_ADD,
    DEVICE_BY_DUID,
    DEVICE_LIST,
    DEVICE_IS_LIVE,
    DEVICE_IS_OF_PERSON,
    DEVICES_OF_PERSON,
    DEVICE_REGISTERED,
    DEVICE_SIGNED_IN,
    SIGNER_ADD,
    SIGNER_LIST,
    SIGNERS_FORGET,
    SIGNERS_AT,
    SIGNERS_FORGET_OLD,

    GROUP_ADD,
    GROUP_BY_ID,
    GROUP_OF_MEMBER,
    GROUPS_OF_NAME,
    GROUP_LIST_ALL,
    GROUP_ROLE,
    FEED_ENTRY,
    PAGE_ENTRY,
    GROUP_USED,
    GROUP_NEW_EPOCH,
    GROUP_EPOCH,
    GROUP_SET_MASTER,
    GROUPS_OF_MASTER,
    GROUP_COUNT_OF_MASTER,
    GROUPS_BY_NAME,
    GROUPS_BY_CREATION,
    GROUPS_BY_USE,
    SHARED_GROUPS_BY_NAME,
    SHARED_GROUPS_BY_CREATION,
    SHARED_GROUPS_BY_USE,
    MEMBER_ADD,
    MEMBER_REMOVE,
    MEMBERS_OF_GROUP,

    SLOT_ADD,
    SLOT_GET,
    SLOTS_EXPIRE,
    SLOTS_OF_PERSON,
    SLOT_DROP,
    UPLOAD_COUNTED,
    CONTENT_COMMIT,
    UPLOAD_WRITE,
    CONTENT_COUNTED,
    CONTENT_BY_ID,
    CONTENT_MEDIA,
    CONTENT_FILE,
    CONTENT_ATTEMPT,
    CONTENT_ROLE,
    CONTENT_ORIGINALS,
    CONTENT_KEPT_BEHIND,
    CONTENT_SENT_BEFORE,
    CONTENT_OF_DIGEST,
    CONTENT_NEWEST_BEFORE,
    CONTENT_COUNT_BETWEEN,
    CONTENT_INDEX,
    CONTENT_FILES_BETWEEN,
    CONTENT_LARGEST_SENT_BEFORE,
    SLOT_ANSWERED,
    SLOTS_ANSWERED_REMOVE,
    CONTENT_SET_THUMBNAILS,
    CONTENTS_PENDING,
    THUMBNAILS_TAKE,
    THUMBNAILS_TAKE_ONE,
    THUMBNAILS_ARE_PENDING,
    THUMBNAILS_PUT_OFF,
    THUMBNAILS_GIVE_BACK,

    // Pages of a feed: 3 bases x 2 directions x (all types, one type), in the order that feedStatement() computes.
    FEED_BY_CREATION_BEFORE,
    FEED_BY_CREATION_BEFORE_OF_TYPE,
    FEED_BY_CREATION_AFTER,
    FEED_BY_CREATION_AFTER_OF_TYPE,
    FEED_BY_UPLOAD_BEFORE,
    FEED_BY_UPLOAD_BEFORE_OF_TYPE,
    FEED_BY_UPLOAD_AFTER,
    FEED_BY_UPLOAD_AFTER_OF_TYPE,
    FEED_BY_ID_BEFORE,
    FEED_BY_ID_BEFORE_OF_TYPE,
    FEED_BY_ID_AFTER,
    FEED_BY_ID_AFTER_OF_TYPE,

    COMMENT_ADD,
    COMMENT_WRITE,
    COMMENT_BY_ID,
    COMMENT_ROLE,
    COMMENTS_OF_CONTENT,
    COMMENT_BEFORE_LATEST,
    CONTENT_COMMENTED,
    GROUP_COMMENTED,

    EVENT_ADD,
    EVENTS_OF_CONTENT,

    // Who may use the page.
    SESSION_ADD,
    SESSION_BY_KEY,
    SESSION_IS_LIVE,
    SESSION_USED,
    SESSION_LIST,
    SESSIONS_OF_PERSON,
    SESSION_END,
    SESSION_END_OF_PERSON,
    SESSIONS_FORGET,
    SESSIONS_SIGN,
    INVITATION_ADD,
    INVITATION_BY_KEY,
    INVITATION_USE,
    INVITATIONS_OPEN_OF_INVITER,
    INVITATIONS_FORGET,

    // Devices that are being paired.
    PAIRING_ADD,
    PAIRING_BY_KEY,
    PAIRING_BY_CODE,
    PAIRING_DECIDE,
    PAIRING_POLLED,
    PAIRING_TAKEN,
    PAIRINGS_PENDING,
    PAIRINGS_PENDING_OF_NETWORK,
    PAIRINGS_FORGET,
    GUESS_ADD,
    GUESSES,
    GUESSES_OF_NETWORK,
    GUESSES_OF_PERSON,
    GUESSES_FORGET,

    // What has changed.
    CHANGE_ADD,
    CHANGE_LAST,
    CHANGE_LAST_EVER,
    CHANGE_FIRST,
    CHANGE_LAST_BEFORE,
    CHANGES_BEHIND,
    CHANGES_OF_PERSON,
    CHANGES_FORGET,

    // Rows that a change locks before it looks at them.
    GROUP_LOCK,
    GROUP_LOCK_OF_CONTENT,
    UPLOAD_LOCK,
    PERSON_LOCK,
    TRASH_LOCK,
    SET_ASIDE_LOCK_GROUPS,
    SET_ASIDE_LOCK_PEOPLE,

    // Into the trash, and back.
    TRASH_ADD,
    TRASH_GET,
    TRASH_LIST,
    TRASH_OLDEST,
    TRASH_OF_THING,
    TRASH_REMOVE,
    GROUP_TRASHED,
    GROUP_MASTER,
    GROUP_MASTER_IS_LIVE,
    GROUP_MARK,
    CONTENT_MARK,
    COMMENT_MARK,
    PERSON_MARK,
    DEVICE_MARK,
    DEVICE_MARK_BY_ID,
    DEVICE_OWNER_IS_LIVE,
    MEMBERS_SET_ASIDE_OF_GROUP,
    MEMBERS_SET_ASIDE_OF_PERSON,
    MEMBERS_REMOVE_OF_GROUP,
    MEMBERS_REMOVE_OF_PERSON,
    SET_ASIDE_GIVE_BACK,
    SET_ASIDE_REMOVE,
    SET_ASIDE_HAND_ON,

    // Out of the trash, for good.
    GROUP_SOME_CONTENTS,
    GROUP_DELETE,
    CONTENT_DELETE,
    CONTENT_FORGET,
    COMMENT_DELETE,
    COMMENTS_DELETE_OF_CONTENT,
    EVENTS_DELETE_OF_CONTENT,
    TRASH_REMOVE_OF_CONTENT,
    PERSON_DELETE,
    PERSON_FORGET,
    SET_ASIDE_REMOVE_OF_PERSON,
    DEVICE_DELETE,
    DEVICES_DELETE_OF_PERSON,

    CHECK_COUNTS,
    CHECK_GROUP_TOTALS,
    CHECK_COMMENT_COUNTS,
    CHECK_USED_BYTES,
    CHECK_UNDECODABLE,

    COUNT,
};

struct SqlEntry {
    Sql sql;
    /// Meant to visit every row: the lists and checks of the administrator's commands, what waits for its thumbnails, which has an
    /// index of its own, and once a second at most, while somebody waits for changes, the sessions, which are a few for each
    /// person.
    bool wholeTable;
    const char* text;                 ///< as SQLite takes it; empty for what it takes several statements for
    const char* postgresql = nullptr; ///< where PostgreSQL must be told otherwise; parameters and joins aside
};

/// The entry of a statement.
const SqlEntry& entryOf(Sql sql);

/// A statement as SQLite takes it.
inline const char* textOf(Sql sql) { return entryOf(sql).text; }
/// A statement as PostgreSQL takes it.
std::string postgresqlTextOf(Sql sql);

} // namespace kinloomd

#endif
