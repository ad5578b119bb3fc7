// SPDX-License-Identifier: MIT
#include "store/Sql.h"

#include "store/Records.h"

#include <cassert>

namespace kinloomd {

namespace {

// Values of content.state and content.type, as the statements name them. SQLite uses the partial indexes of the schema only for
// values that stand in the statement itself.
#define STATE_RESERVED "0"
#define STATE_STORED "1"
#define STATE_DELETED "2"
#define TYPE_PHOTO "1"
#define TYPE_VIDEO "2"
#define TYPE_MUSIC "3"

/// \return whether a digit is that of an enumerator.
template <typename Enumeration> constexpr bool isDigitOf(const char* digit, Enumeration value)
{
    return digit[0] - '0' == static_cast<int>(value) && digit[1] == 0;
}
static_assert(isDigitOf(STATE_RESERVED, ContentState::RESERVED) && isDigitOf(STATE_STORED, ContentState::STORED) &&
              isDigitOf(STATE_DELETED, ContentState::DELETED));
static_assert(isDigitOf(TYPE_PHOTO, ContentType::PHOTO) && isDigitOf(TYPE_VIDEO, ContentType::VIDEO) &&
              isDigitOf(TYPE_MUSIC, ContentType::MUSIC));

// What one record of each kind is read from; the readers of the families name the columns in the same order.
#define GROUP_COLUMNS                                                                                                              \
    "f.id, f.name, f.description, f.created, f.total_count, f.photo_count, f.audio_count, f.video_count, f.comment_count, "        \
    "f.media_epoch, p.id, p.name, p.image, "                                                                                       \
    "(SELECT c.id FROM content c WHERE c.group_id = f.id AND c.state = " STATE_STORED " AND c.type = " TYPE_PHOTO                  \
    " ORDER BY c.uploaded DESC, c.id DESC "                                                                                        \
    "LIMIT 1)"
#define CONTENT_COLUMNS                                                                                                            \
    "c.id, c.group_id, c.type, c.description, c.file_name, c.format, c.size, c.width, c.height, c.created, c.uploaded, "           \
    "c.comment_count, p.id, p.name, p.image"
#define COMMENT_COLUMNS "k.id, k.content_id, k.text, k.created, p.id, p.name, p.image"

#define GROUP_PAGE(index)                                                                                                          \
    "SELECT " GROUP_COLUMNS " FROM member m CROSS JOIN family f ON f.id = m.group_id CROSS JOIN person p ON p.id = f.master_id "   \
    "WHERE m.person_id = ?1 ORDER BY " index " LIMIT ?2 OFFSET ?3"
#define SHARED_GROUP_PAGE(index)                                                                                                   \
    "SELECT " GROUP_COLUMNS " FROM member m CROSS JOIN member o ON o.person_id = ?4 AND o.group_id = m.group_id "                  \
    "CROSS JOIN family f ON f.id = m.group_id CROSS JOIN person p ON p.id = f.master_id "                                          \
    "WHERE m.person_id = ?1 ORDER BY " index " LIMIT ?2 OFFSET ?3"

#define FEED_PAGE(type, key, comparison, direction)                                                                                \
    "SELECT " CONTENT_COLUMNS " FROM content c CROSS JOIN person p ON p.id = c.creator_id "                                        \
    "WHERE c.group_id = ?1 AND c.state = " STATE_STORED " " type "AND (c." key ", c.id) " comparison " (?2, ?3) "                  \
    "ORDER BY c." key " " direction ", c.id " direction " LIMIT ?4"
#define FEED_PAGE_BY_ID(type, comparison, direction)                                                                               \
    "SELECT " CONTENT_COLUMNS " FROM content c CROSS JOIN person p ON p.id = c.creator_id "                                        \
    "WHERE c.group_id = ?1 AND c.state = " STATE_STORED " " type "AND ?2 IS NOT NULL AND c.id " comparison                         \
    " ?3 ORDER BY c.id " direction " LIMIT ?4"
#define OF_TYPE "AND c.type = ?5 "

constexpr SqlEntry STATEMENTS[] = {
    {Sql::SETTING_GET, false, "SELECT value FROM setting WHERE name = ?1"},
    {Sql::SETTING_SET, false, "INSERT OR IGNORE INTO setting (name, value) VALUES (?1, ?2)"},
    {Sql::ENTITY_ADD, false, "INSERT INTO entity (kind) VALUES (?1)"},
    {Sql::ENTITY_KIND, false, "SELECT kind FROM entity WHERE id = ?1"},

    {Sql::PERSON_ADD, false, "INSERT INTO person (id, name, phone, created) VALUES (?1, ?2, ?3, ?4)"},
    {Sql::PERSON_BY_ID, false, "SELECT id, name, image, phone, created FROM person WHERE id = ?1"},
    {Sql::PERSON_BY_NAME, false, "SELECT id, name, image, phone, created FROM person WHERE name = ?1"},
    {Sql::PERSON_LIST, true, "SELECT id, name, image, phone, created FROM person ORDER BY name"},
    {Sql::PERSON_SET_IMAGE, false, "UPDATE person SET image = ?2 WHERE id = ?1"},
    {Sql::PERSON_SHARES_GROUP, false,
     "SELECT EXISTS (SELECT 1 FROM member a CROSS JOIN member b ON b.person_id = ?2 AND b.group_id = a.group_id "
     "WHERE a.person_id = ?1)"},

    {Sql::DEVICE_ADD, false, "INSERT INTO device (person_id, duid, app_id, token_hash, created) VALUES (?1, ?2, ?3, ?4, ?5)"},
    {Sql::DEVICE_BY_DUID, false,
     "SELECT d.id, d.app_id, d.token_hash, d.signed_in, d.registered, p.id, p.name, p.image, p.phone, p.created "
     "FROM device d CROSS JOIN person p ON p.id = d.person_id WHERE d.duid = ?1"},
    {Sql::DEVICE_LIST, true,
     "SELECT d.duid, p.name, d.created, d.registered, d.signed_in FROM device d CROSS JOIN person p ON p.id = d.person_id "
     "ORDER BY d.id"},
    {Sql::DEVICE_REMOVE, false, "DELETE FROM device WHERE duid = ?1"},
    {Sql::DEVICE_REGISTERED, false, "UPDATE device SET registered = ?2 WHERE id = ?1 AND registered IS NULL"},
    {Sql::DEVICE_SIGNED_IN, false, "UPDATE device SET signed_in = ?2 WHERE id = ?1"},
    {Sql::SIGN_IN_GET, false,
     "SELECT s.device_id, p.id, p.name, p.image, p.phone, p.created FROM sign_in s CROSS JOIN device d ON d.id = s.device_id "
     "CROSS JOIN person p ON p.id = d.person_id WHERE s.address = ?1"},
    {Sql::SIGN_IN_SET, false,
     "INSERT INTO sign_in (address, device_id, at) VALUES (?1, ?2, ?3) "
     "ON CONFLICT (address) DO UPDATE SET device_id = excluded.device_id, at = excluded.at"},

    {Sql::GROUP_ADD, false, "INSERT INTO family (id, name, description, master_id, created) VALUES (?1, ?2, ?3, ?4, ?5)"},
    {Sql::GROUP_DELETE, false, "DELETE FROM family WHERE id = ?1"},
    {Sql::GROUP_BY_ID, false, "SELECT " GROUP_COLUMNS " FROM family f CROSS JOIN person p ON p.id = f.master_id WHERE f.id = ?1"},
    {Sql::GROUP_ID_BY_NAME, true, "SELECT id FROM family WHERE name = ?1 LIMIT 2"},
    {Sql::GROUP_LIST_ALL, true, "SELECT " GROUP_COLUMNS " FROM family f CROSS JOIN person p ON p.id = f.master_id ORDER BY f.id"},
    {Sql::GROUP_ROLE, false,
     "SELECT f.master_id = ?2 FROM family f CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = f.id WHERE f.id = ?1"},
    {Sql::GROUP_USED, false, "UPDATE member SET used = ?2 WHERE group_id = ?1"},
    {Sql::GROUP_NEW_EPOCH, false, "UPDATE family SET media_epoch = media_epoch + 1 WHERE id = ?1"},
    {Sql::GROUP_EPOCH, false, "SELECT media_epoch FROM family WHERE id = ?1"},
    {Sql::GROUPS_BY_NAME, false, GROUP_PAGE("m.name_key, m.group_id")},
    {Sql::GROUPS_BY_CREATION, false, GROUP_PAGE("m.created DESC, m.group_id DESC")},
    {Sql::GROUPS_BY_USE, false, GROUP_PAGE("m.used DESC, m.group_id DESC")},
    {Sql::SHARED_GROUPS_BY_NAME, false, SHARED_GROUP_PAGE("m.name_key, m.group_id")},
    {Sql::SHARED_GROUPS_BY_CREATION, false, SHARED_GROUP_PAGE("m.created DESC, m.group_id DESC")},
    {Sql::SHARED_GROUPS_BY_USE, false, SHARED_GROUP_PAGE("m.used DESC, m.group_id DESC")},
    {Sql::GROUP_CONTENT_IDS, false, "SELECT id FROM content WHERE group_id = ?1 AND state = " STATE_STORED},
    {Sql::MEMBER_ADD, false,
     "INSERT OR IGNORE INTO member (person_id, group_id, name_key, created, used) VALUES (?1, ?2, ?3, ?4, ?5)"},
    {Sql::MEMBER_REMOVE, false, "DELETE FROM member WHERE person_id = ?1 AND group_id = ?2"},
    {Sql::MEMBERS_OF_GROUP, false,
     "SELECT p.id, p.name, p.image, p.phone, p.created FROM member m CROSS JOIN person p ON p.id = m.person_id "
     "WHERE m.group_id = ?1 ORDER BY m.person_id"},

    {Sql::SLOT_ADD, false,
     "INSERT INTO content (id, group_id, creator_id, state, type, reserved, announced_size, description) "
     "VALUES (?1, ?2, ?3, " STATE_RESERVED ", ?4, ?5, ?6, ?7)"},
    {Sql::SLOT_GET, false,
     "SELECT c.state, c.type, c.announced_size, c.group_id, f.media_epoch FROM content c "
     "CROSS JOIN family f ON f.id = c.group_id CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id "
     "WHERE c.id = ?1 AND c.creator_id = ?2 AND c.state <> " STATE_DELETED},
    {Sql::SLOTS_EXPIRE, false, "DELETE FROM content WHERE state = " STATE_RESERVED " AND reserved < ?1"},
    {Sql::CONTENT_COMMIT, false,
     "UPDATE content SET state = " STATE_STORED
     ", file_name = ?2, format = ?3, size = ?4, width = ?5, height = ?6, created = ?7, uploaded = ?8 "
     "WHERE id = ?1 AND state = " STATE_RESERVED},
    {Sql::CONTENT_LATEST_UPLOAD, false,
     "SELECT uploaded FROM content WHERE group_id = ?1 AND state = " STATE_STORED " ORDER BY uploaded DESC LIMIT 1"},
    {Sql::CONTENT_COUNTED, false,
     "UPDATE family SET total_count = total_count + 1, photo_count = photo_count + (?2 = " TYPE_PHOTO "), "
     "video_count = video_count + (?2 = " TYPE_VIDEO "), audio_count = audio_count + (?2 = " TYPE_MUSIC ") WHERE id = ?1"},
    {Sql::CONTENT_BY_ID, false,
     "SELECT " CONTENT_COLUMNS ", p.phone, p.created, f.media_epoch FROM content c CROSS JOIN person p ON p.id = c.creator_id "
     "CROSS JOIN family f ON f.id = c.group_id WHERE c.id = ?1 AND c.state = " STATE_STORED},
    {Sql::CONTENT_MEDIA, false,
     "SELECT c.format, c.size, f.media_epoch FROM content c CROSS JOIN family f ON f.id = c.group_id "
     "WHERE c.id = ?1 AND c.state = " STATE_STORED},
    {Sql::CONTENT_ROLE, false,
     "SELECT c.group_id, f.master_id = ?2, c.creator_id = ?2 FROM content c CROSS JOIN family f ON f.id = c.group_id "
     "CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id WHERE c.id = ?1 AND c.state = " STATE_STORED},
    {Sql::CONTENT_MARKER, false,
     "SELECT created, uploaded FROM content WHERE id = ?1 AND group_id = ?2 AND state <> " STATE_RESERVED},
    {Sql::CONTENT_DELETE, false,
     "UPDATE content SET state = " STATE_DELETED
     ", description = '', file_name = '', comment_count = 0 WHERE id = ?1 AND state = " STATE_STORED " "
     "RETURNING group_id, type"},
    {Sql::CONTENT_UNCOUNTED, false,
     "UPDATE family SET total_count = total_count - 1, photo_count = photo_count - (?2 = " TYPE_PHOTO "), "
     "video_count = video_count - (?2 = " TYPE_VIDEO "), audio_count = audio_count - (?2 = " TYPE_MUSIC
     "), comment_count = comment_count - ?3 "
     "WHERE id = ?1"},
    {Sql::CONTENT_LIVE_IDS, true, "SELECT id FROM content WHERE state = " STATE_STORED " ORDER BY id"},

    {Sql::FEED_BY_CREATION_BEFORE, false, FEED_PAGE("", "created", "<", "DESC")},
    {Sql::FEED_BY_CREATION_BEFORE_OF_TYPE, false, FEED_PAGE(OF_TYPE, "created", "<", "DESC")},
    {Sql::FEED_BY_CREATION_AFTER, false, FEED_PAGE("", "created", ">", "ASC")},
    {Sql::FEED_BY_CREATION_AFTER_OF_TYPE, false, FEED_PAGE(OF_TYPE, "created", ">", "ASC")},
    {Sql::FEED_BY_UPLOAD_BEFORE, false, FEED_PAGE("", "uploaded", "<", "DESC")},
    {Sql::FEED_BY_UPLOAD_BEFORE_OF_TYPE, false, FEED_PAGE(OF_TYPE, "uploaded", "<", "DESC")},
    {Sql::FEED_BY_UPLOAD_AFTER, false, FEED_PAGE("", "uploaded", ">", "ASC")},
    {Sql::FEED_BY_UPLOAD_AFTER_OF_TYPE, false, FEED_PAGE(OF_TYPE, "uploaded", ">", "ASC")},
    {Sql::FEED_BY_ID_BEFORE, false, FEED_PAGE_BY_ID("", "<", "DESC")},
    {Sql::FEED_BY_ID_BEFORE_OF_TYPE, false, FEED_PAGE_BY_ID(OF_TYPE, "<", "DESC")},
    {Sql::FEED_BY_ID_AFTER, false, FEED_PAGE_BY_ID("", ">", "ASC")},
    {Sql::FEED_BY_ID_AFTER_OF_TYPE, false, FEED_PAGE_BY_ID(OF_TYPE, ">", "ASC")},

    {Sql::COMMENT_ADD, false, "INSERT INTO comment (id, content_id, author_id, text, created) VALUES (?1, ?2, ?3, ?4, ?5)"},
    {Sql::COMMENT_BY_ID, false,
     "SELECT " COMMENT_COLUMNS " FROM comment k CROSS JOIN person p ON p.id = k.author_id WHERE k.id = ?1"},
    {Sql::COMMENT_ROLE, false,
     "SELECT c.group_id, f.master_id = ?2, k.author_id = ?2, k.content_id FROM comment k CROSS JOIN content c ON c.id = "
     "k.content_id "
     "CROSS JOIN family f ON f.id = c.group_id CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id "
     "WHERE k.id = ?1"},
    {Sql::COMMENT_DELETE, false, "DELETE FROM comment WHERE id = ?1"},
    {Sql::COMMENTS_OF_CONTENT, false,
     "SELECT " COMMENT_COLUMNS " FROM comment k CROSS JOIN person p ON p.id = k.author_id WHERE k.content_id = ?1 "
     "ORDER BY k.id LIMIT ?2 OFFSET ?3"},
    {Sql::COMMENTS_LATEST, false,
     "SELECT " COMMENT_COLUMNS " FROM comment k CROSS JOIN person p ON p.id = k.author_id WHERE k.content_id = ?1 "
     "ORDER BY k.id DESC LIMIT ?2"},
    {Sql::COMMENTS_DELETE_OF_CONTENT, false, "DELETE FROM comment WHERE content_id = ?1"},
    {Sql::CONTENT_COMMENTED, false,
     "UPDATE content SET comment_count = comment_count + ?2 WHERE id = ?1 AND state = " STATE_STORED},
    {Sql::GROUP_COMMENTED, false, "UPDATE family SET comment_count = comment_count + ?2 WHERE id = ?1"},

    {Sql::EVENT_ADD, false,
     "INSERT INTO event (id, content_id, member_id, title, type, description, starts, ends, created) "
     "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)"},
    {Sql::EVENTS_OF_CONTENT, false,
     "SELECT e.id, e.title, e.type, e.description, e.starts, e.ends, e.created, p.id, p.name, p.image, p.phone, p.created "
     "FROM event e CROSS JOIN person p ON p.id = e.member_id WHERE e.content_id = ?1 ORDER BY e.id"},
    {Sql::EVENTS_DELETE_OF_CONTENT, false, "DELETE FROM event WHERE content_id = ?1"},

    {Sql::CHECK_COUNTS, true,
     "SELECT (SELECT count(*) FROM person), (SELECT count(*) FROM device), (SELECT count(*) FROM family), "
     "(SELECT count(*) FROM content WHERE state = " STATE_STORED "), (SELECT count(*) FROM content WHERE state = " STATE_RESERVED
     "), "
     "(SELECT count(*) FROM comment)"},
    {Sql::CHECK_GROUP_TOTALS, true,
     "SELECT f.id FROM family f LEFT JOIN (SELECT group_id, count(*) AS total, sum(type = " TYPE_PHOTO
     ") AS photo, sum(type = " TYPE_VIDEO ") AS video, "
     "sum(type = " TYPE_MUSIC ") AS audio, sum(comment_count) AS comments FROM content WHERE state = " STATE_STORED
     " GROUP BY group_id) t "
     "ON t.group_id = f.id WHERE f.total_count <> coalesce(t.total, 0) OR f.photo_count <> coalesce(t.photo, 0) "
     "OR f.video_count <> coalesce(t.video, 0) OR f.audio_count <> coalesce(t.audio, 0) "
     "OR f.comment_count <> coalesce(t.comments, 0) ORDER BY f.id"},
    {Sql::CHECK_COMMENT_COUNTS, true,
     "SELECT c.id FROM content c LEFT JOIN (SELECT content_id, count(*) AS total FROM comment GROUP BY content_id) t "
     "ON t.content_id = c.id WHERE c.comment_count <> coalesce(t.total, 0) ORDER BY c.id"},
};

/// \return whether each statement stands at the place of its name.
constexpr bool inOrder()
{
    std::size_t place = 0;
    for (const SqlEntry& entry : STATEMENTS) {
        if (static_cast<std::size_t>(entry.sql) != place++)
            return false;
    }
    return place == static_cast<std::size_t>(Sql::COUNT);
}
static_assert(inOrder(), "the table must hold every statement, in the order of the enumeration");

} // namespace

const SqlEntry& entryOf(Sql sql)
{
    assert(sql < Sql::COUNT);
    return STATEMENTS[static_cast<std::size_t>(sql)];
}

} // namespace kinloomd
