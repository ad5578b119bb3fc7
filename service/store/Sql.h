// SPDX-License-Identifier: MIT
/// \file Every statement that the service runs, by name.
#ifndef KINLOOMD_STORE_SQL_H
#define KINLOOMD_STORE_SQL_H

#include <cstddef>

namespace kinloomd {

enum class Sql : std::size_t {
    SETTING_GET,
    SETTING_SET,
    ENTITY_ADD,
    ENTITY_KIND,

    PERSON_ADD,
    PERSON_BY_ID,
    PERSON_BY_NAME,
    PERSON_LIST,
    PERSON_SET_IMAGE,
    PERSON_SHARES_GROUP,

    DEVICE_ADD,
    DEVICE_BY_DUID,
    DEVICE_LIST,
    DEVICE_REMOVE,
    DEVICE_REGISTERED,
    DEVICE_SIGNED_IN,
    SIGN_IN_GET,
    SIGN_IN_SET,

    GROUP_ADD,
    GROUP_DELETE,
    GROUP_BY_ID,
    GROUP_ID_BY_NAME,
    GROUP_LIST_ALL,
    GROUP_ROLE,
    GROUP_USED,
    GROUP_NEW_EPOCH,
    GROUP_EPOCH,
    GROUPS_BY_NAME,
    GROUPS_BY_CREATION,
    GROUPS_BY_USE,
    SHARED_GROUPS_BY_NAME,
    SHARED_GROUPS_BY_CREATION,
    SHARED_GROUPS_BY_USE,
    GROUP_CONTENT_IDS,
    MEMBER_ADD,
    MEMBER_REMOVE,
    MEMBERS_OF_GROUP,

    SLOT_ADD,
    SLOT_GET,
    SLOTS_EXPIRE,
    CONTENT_COMMIT,
    CONTENT_LATEST_UPLOAD,
    CONTENT_COUNTED,
    CONTENT_BY_ID,
    CONTENT_MEDIA,
    CONTENT_ROLE,
    CONTENT_MARKER,
    CONTENT_DELETE,
    CONTENT_UNCOUNTED,
    CONTENT_LIVE_IDS,

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
    COMMENT_BY_ID,
    COMMENT_ROLE,
    COMMENT_DELETE,
    COMMENTS_OF_CONTENT,
    COMMENTS_LATEST,
    COMMENTS_DELETE_OF_CONTENT,
    CONTENT_COMMENTED,
    GROUP_COMMENTED,

    EVENT_ADD,
    EVENTS_OF_CONTENT,
    EVENTS_DELETE_OF_CONTENT,

    CHECK_COUNTS,
    CHECK_GROUP_TOTALS,
    CHECK_COMMENT_COUNTS,

    COUNT,
};

struct SqlEntry {
    Sql sql;
    bool wholeTable; ///< meant to visit every row: the lists and checks of the administrator's commands
    const char* text;
};

/// The entry of a statement.
const SqlEntry& entryOf(Sql sql);

inline const char* textOf(Sql sql) { return entryOf(sql).text; }

} // namespace kinloomd

#endif
