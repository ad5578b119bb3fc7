// SPDX-License-Identifier: MIT
#include "store/Sql.h"

#include "store/Records.h"

#include <cassert>
#include <string_view>

namespace kinloomd {

namespace {

// Statements are written so that both engines take them. What they take otherwise stands side by side, and two things follow a rule
// (postgresqlTextOf): parameters are ?1 here and $1 there; and where SQLite must be told which table to begin with, a CROSS JOIN
// has a condition here, while PostgreSQL, which counts rows, is told JOIN.

/// The rows of a query, locked until the end of the transaction against others that lock or change them. SQLite, where one change
/// follows the other, has nothing to lock. Rows that refer to them can be written by others meanwhile.
#define LOCKED(query) query, query " FOR NO KEY UPDATE"
/// A statement that wants the larger of two numbers.
#define WITH_LARGER(statement) statement("max"), statement("greatest")

// Values of content.state and content.type, as the statements name them. SQLite uses the partial indexes of the schema only for
// values that stand in the statement itself.
#define STATE_RESERVED "0"
#define STATE_STORED "1"
#define STATE_DELETED "2"
#define STATE_TRASHED "3"
#define TYPE_PHOTO "1"
#define TYPE_VIDEO "2"
#define TYPE_MUSIC "3"

// Values of trash.kind.
#define KIND_PERSON "1"
#define KIND_GROUP "2"
#define KIND_COMMENT "4"
#define KIND_DEVICE "5"

#define PAIRING_PENDING "0"
#define PAIRING_APPROVED "1"
#define PAIRING_DONE "3"

/// \return whether a digit is that of an enumerator.
template <typename Enumeration> constexpr bool isDigitOf(const char* digit, Enumeration value)
{
    return digit[0] - '0' == static_cast<int>(value) && digit[1] == 0;
}
static_assert(isDigitOf(STATE_RESERVED, ContentState::RESERVED) && isDigitOf(STATE_STORED, ContentState::STORED) &&
              isDigitOf(STATE_DELETED, ContentState::DELETED) && isDigitOf(STATE_TRASHED, ContentState::TRASHED));
static_assert(isDigitOf(KIND_PERSON, TrashKind::PERSON) && isDigitOf(KIND_GROUP, TrashKind::GROUP) &&
              isDigitOf(KIND_COMMENT, TrashKind::COMMENT) && isDigitOf(KIND_DEVICE, TrashKind::DEVICE));
static_assert(isDigitOf(TYPE_PHOTO, ContentType::PHOTO) && isDigitOf(TYPE_VIDEO, ContentType::VIDEO) &&
              isDigitOf(TYPE_MUSIC, ContentType::MUSIC));

// A truth as a number.
#define IS(value, other) "CASE WHEN " value " = " other " THEN 1 ELSE 0 END"

// The totals of a group, with some contents of one type more.
#define GROUP_COUNTS(type, step)                                                                                                   \
    "total_count = total_count + " step ", photo_count = photo_count + " step                                                      \
    " * " IS(type, TYPE_PHOTO) ", video_count = video_count + " step                                                               \
                               " * " IS(type, TYPE_VIDEO) ", audio_count = audio_count + " step " * " IS(type, TYPE_MUSIC)

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
#define DEVICE_COLUMNS "d.duid, p.id, p.name, d.created, d.registered, d.signed_in, d.name"
#define SESSION_COLUMNS "s.id, s.name, s.address, s.created, s.used, p.id, p.name, p.image, p.phone, p.created"
#define PAIRING_COLUMNS                                                                                                            \
    "id, user_code, name, address, expires, pause, polled, state, coalesce(person_id, 0), key_hash FROM pairing "
#define TRASH_COLUMNS                                                                                                              \
    "t.id, t.kind, t.thing_id, t.group_id, t.content_id, t.at, b.id, b.name, f.name, c.description, c.file_name, k.text, p.name, " \
    "d.duid, o.name FROM trash t LEFT JOIN person b ON b.id = t.by_id LEFT JOIN family f ON f.id = t.group_id "                    \
    "LEFT JOIN content c ON c.id = t.content_id LEFT JOIN comment k ON t.kind = " KIND_COMMENT " AND k.id = t.thing_id "           \
    "LEFT JOIN person p ON t.kind = " KIND_PERSON " AND p.id = t.thing_id "                                                        \
    "LEFT JOIN device d ON t.kind = " KIND_DEVICE " AND d.id = t.thing_id LEFT JOIN person o ON o.id = d.person_id "

#define DEVICE_NAMED(larger)                                                                                                       \
    "SELECT d.duid, d.removed + p.removed, d.id, d.app_id, d.token_hash, d.signed_in, d.registered, p.id, p.name, p.image, "       \
    "p.phone, p.created FROM device d CROSS JOIN person p ON p.id = d.person_id "                                                  \
    "WHERE d.id = " larger "(coalesce((SELECT id FROM device WHERE duid = ?1), 0), (SELECT min(id) FROM device))"
#define UPLOAD_COUNT(larger)                                                                                                       \
    "UPDATE family SET " GROUP_COUNTS(                                                                                             \
        "?2", "1") ", last_upload = " larger "(?3, last_upload + 1) WHERE id = ?1 AND trashed = 0 "                                \
                   "AND EXISTS (SELECT 1 FROM content c WHERE c.id = ?4 AND c.state = " STATE_RESERVED ") RETURNING last_upload"

// Contents that wait for thumbnails, which nobody makes right now; who takes them, and what that one is told.
#define FREE_TO_TAKE                                                                                                               \
    "SELECT id FROM content WHERE thumbnails = 0 AND state = " STATE_STORED                                                        \
    " AND taken_until < ?3 AND tries < ?4 AND taker <> ?1 ORDER BY id LIMIT ?5"
#define SET_TAKER(taker, until) "taker = " taker ", taken_until = " until ", tries = tries + 1"
#define TAKEN_COLUMNS "id, attempt, creator_id"

// Each membership goes to one entry only, even when two want it at the same time.
#define SET_ASIDE_COLUMNS "person_id, group_id, name_key, created, used"
#define SET_ASIDE(key)                                                                                                             \
    "INSERT INTO set_aside (trash_id, " SET_ASIDE_COLUMNS ") SELECT ?2, " SET_ASIDE_COLUMNS " FROM member WHERE " key " = ?1",     \
        "WITH gone AS (DELETE FROM member WHERE " key " = ?1 RETURNING " SET_ASIDE_COLUMNS ") "                                    \
        "INSERT INTO set_aside (trash_id, " SET_ASIDE_COLUMNS ") SELECT ?2, " SET_ASIDE_COLUMNS " FROM gone"

#define GROUP_PAGE(index) "SELECT m.group_id FROM member m WHERE m.person_id = ?1 ORDER BY " index " LIMIT ?2 OFFSET ?3"
#define SHARED_GROUP_PAGE(index)                                                                                                   \
    "SELECT m.group_id FROM member m CROSS JOIN member o ON o.person_id = ?4 AND o.group_id = m.group_id "                         \
    "WHERE m.person_id = ?1 ORDER BY " index " LIMIT ?2 OFFSET ?3"

#define FEED_EPOCH "(SELECT media_epoch FROM family WHERE id = ?1)"
#define FEED_PAGE(type, key, comparison, direction)                                                                                \
    "SELECT " CONTENT_COLUMNS ", " FEED_EPOCH " FROM content c CROSS JOIN person p ON p.id = c.creator_id "                        \
    "WHERE c.group_id = ?1 AND c.state = " STATE_STORED " " type "AND (c." key ", c.id) " comparison " (?2, ?3) "                  \
    "ORDER BY c." key " " direction ", c.id " direction " LIMIT ?4"
#define FEED_PAGE_BY_ID(type, comparison, direction)                                                                               \
    "SELECT " CONTENT_COLUMNS ", " FEED_EPOCH " FROM content c CROSS JOIN person p ON p.id = c.creator_id "                        \
    "WHERE c.group_id = ?1 AND c.state = " STATE_STORED " " type "AND ?2 IS NOT NULL AND c.id " comparison                         \
    " ?3 ORDER BY c.id " direction " LIMIT ?4"
#define OF_TYPE "AND c.type = ?5 "

constexpr SqlEntry STATEMENTS[] = {
    {Sql::SETTING_GET, false, "SELECT value FROM setting WHERE name = ?1"},
    {Sql::SETTING_SET, false, "INSERT INTO setting (name, value) VALUES (?1, ?2) ON CONFLICT DO NOTHING"},
    {Sql::SETTING_CHANGE, false,
     "INSERT INTO setting (name, value) VALUES (?1, ?2) ON CONFLICT (name) DO UPDATE SET value = excluded.value"},
    {Sql::SETTING_REMOVE, false, "DELETE FROM setting WHERE name = ?1"},
    {Sql::ENTITY_ADD, false, "INSERT INTO entity (kind) VALUES (?1) RETURNING id"},
    {Sql::ENTITY_KIND, false, "SELECT kind FROM entity WHERE id = ?1"},

    {Sql::PERSON_ADD, false, "INSERT INTO person (id, name, phone, created) VALUES (?1, ?2, ?3, ?4)"},
    {Sql::PERSON_BY_ID, false, "SELECT id, name, image, phone, created FROM person WHERE id = ?1 AND removed = 0"},
    {Sql::PERSON_BY_NAME, false, "SELECT id, name, image, phone, created FROM person WHERE name = ?1 AND removed = 0 ORDER BY id"},
    {Sql::PERSON_LIST, true, "SELECT id, name, image, phone, created FROM person WHERE removed = 0 ORDER BY name, id"},
    {Sql::PERSON_IMAGE, false, "SELECT image FROM person WHERE id = ?1"},
    {Sql::PERSON_KEPT_IMAGES, true, "SELECT id, image FROM person WHERE image <> 0 ORDER BY id"},
    {Sql::PERSON_SET_IMAGE, false, "UPDATE person SET image = ?2 WHERE id = ?1"},
    {Sql::PERSON_RENAME, false, "UPDATE person SET name = ?2 WHERE id = ?1"},
    {Sql::PERSON_SHARES_GROUP, false,
     "SELECT 1 FROM member a CROSS JOIN member b ON b.person_id = ?2 AND b.group_id = a.group_id WHERE a.person_id = ?1 LIMIT 1"},
    {Sql::PERSON_USAGE, false,
     "SELECT (SELECT count(*) FROM device WHERE person_id = ?1 AND removed = 0), "
     "(SELECT count(*) FROM content WHERE creator_id = ?1 AND state = " STATE_STORED
     "), (SELECT count(*) FROM comment WHERE author_id = ?1 AND trashed = 0)"},
    {Sql::PERSON_USED_BYTES, false, "SELECT used_bytes FROM person WHERE id = ?1"},
    {Sql::PERSON_USES_BYTES, false, "UPDATE person SET used_bytes = used_bytes + ?2 WHERE id = ?1"},

    {Sql::DEVICE_ADD, false,
     "INSERT INTO device (person_id, duid, app_id, token_hash, created, name) VALUES (?1, ?2, ?3, ?4, ?5, ?6)"},
    // The first device stands in for one that is not there, and both are looked up in any case.
    {Sql::DEVICE_BY_DUID, false, WITH_LARGER(DEVICE_NAMED)},
    {Sql::DEVICE_LIST, true,
     "SELECT " DEVICE_COLUMNS " FROM device d CROSS JOIN person p ON p.id = d.person_id "
     "WHERE d.removed = 0 AND p.removed = 0 ORDER BY d.id"},
    {Sql::DEVICE_IS_LIVE, false,
     "SELECT 1 FROM device d CROSS JOIN person p ON p.id = d.person_id WHERE d.id = ?1 AND d.removed = 0 AND p.removed = 0"},
    {Sql::DEVICE_IS_OF_PERSON, false, "SELECT 1 FROM device WHERE duid = ?1 AND person_id = ?2 AND removed = 0"},
    {Sql::DEVICES_OF_PERSON, false,
     "SELECT " DEVICE_COLUMNS " FROM device d CROSS JOIN person p ON p.id = d.person_id "
     "WHERE d.person_id = ?1 AND d.removed = 0 ORDER BY d.id"},
    {Sql::DEVICE_REGISTERED, false, "UPDATE device SET registered = ?2 WHERE id = ?1 AND registered IS NULL"},
    {Sql::DEVICE_SIGNED_IN, false, "UPDATE device SET signed_in = ?2 WHERE id = ?1"},
    {Sql::SIGNER_ADD, false,
     "INSERT INTO signer (address, duid, at) VALUES (?1, ?2, ?3) ON CONFLICT (address, duid) DO UPDATE SET at = excluded.at"},
    {Sql::SIGNER_LIST, true, "SELECT address, duid, at FROM signer ORDER BY at"},
    {Sql::SIGNERS_FORGET, true, "DELETE FROM signer"},
    {Sql::SIGNERS_AT, false, "SELECT address, duid, at FROM signer WHERE address IN (?1, ?2) AND at > ?3"},
    {Sql::SIGNERS_FORGET_OLD, true, "DELETE FROM signer WHERE at < ?1"},

    {Sql::GROUP_ADD, false, "INSERT INTO family (id, name, description, master_id, created) VALUES (?1, ?2, ?3, ?4, ?5)"},
    {Sql::GROUP_BY_ID, false,
     "SELECT " GROUP_COLUMNS " FROM family f CROSS JOIN person p ON p.id = f.master_id WHERE f.id = ?1 AND f.trashed = 0"},
    {Sql::GROUP_OF_MEMBER, false,
     "SELECT " GROUP_COLUMNS " FROM member m CROSS JOIN family f ON f.id = m.group_id CROSS JOIN person p ON p.id = f.master_id "
     "WHERE m.group_id = ?1 AND m.person_id = ?2"},
    {Sql::GROUPS_OF_NAME, true,
     "SELECT " GROUP_COLUMNS " FROM family f CROSS JOIN person p ON p.id = f.master_id WHERE f.name = ?1 AND f.trashed = 0 "
     "ORDER BY f.id"},
    {Sql::GROUP_LIST_ALL, true,
     "SELECT " GROUP_COLUMNS " FROM family f CROSS JOIN person p ON p.id = f.master_id WHERE f.trashed = 0 ORDER BY f.id"},
    {Sql::GROUP_ROLE, false,
     "SELECT " IS("f.master_id",
                  "?2") " FROM family f CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = f.id WHERE f.id = ?1"},
    // What a person is to a group, and the place of a content in its feed, with nothing where there is none.
    {Sql::FEED_ENTRY, false,
     "SELECT " IS("f.master_id", "?2") ", c.created, c.uploaded FROM family f "
                                       "CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = f.id "
                                       "LEFT JOIN content c ON c.id = ?3 AND c.group_id = f.id AND c.state <> " STATE_RESERVED
                                       " WHERE f.id = ?1"},
    // The same with how many contents there are, and the content at a place among them, which counts from 0, the newest first.
    {Sql::PAGE_ENTRY, false,
     "SELECT " IS("f.master_id",
                  "?2") ", f.total_count, c.created, c.id FROM family f "
                        "CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = f.id LEFT JOIN content c ON c.id = "
                        "(SELECT o.id FROM content o WHERE o.group_id = ?1 AND o.state = " STATE_STORED
                        " ORDER BY o.created DESC, o.id DESC LIMIT 1 OFFSET ?3) WHERE f.id = ?1"},
    {Sql::GROUP_USED, false, "UPDATE member SET used = ?2 WHERE group_id = ?1"},
    {Sql::GROUP_NEW_EPOCH, false, "UPDATE family SET media_epoch = media_epoch + 1 WHERE id = ?1"},
    {Sql::GROUP_EPOCH, false, "SELECT media_epoch FROM family WHERE id = ?1"},
    {Sql::GROUP_SET_MASTER, false, "UPDATE family SET master_id = ?2 WHERE id = ?1"},
    {Sql::GROUPS_OF_MASTER, false,
     "SELECT " GROUP_COLUMNS " FROM family f CROSS JOIN person p ON p.id = f.master_id WHERE f.master_id = ?1 AND f.trashed = 0 "
     "ORDER BY f.id"},
    {Sql::GROUP_COUNT_OF_MASTER, false, "SELECT count(*) FROM family WHERE master_id = ?1 AND trashed = 0"},
    {Sql::GROUPS_BY_NAME, false, GROUP_PAGE("m.name_key, m.group_id")},
    {Sql::GROUPS_BY_CREATION, false, GROUP_PAGE("m.created DESC, m.group_id DESC")},
    {Sql::GROUPS_BY_USE, false, GROUP_PAGE("m.used DESC, m.group_id DESC")},
    {Sql::SHARED_GROUPS_BY_NAME, false, SHARED_GROUP_PAGE("m.name_key, m.group_id")},
    {Sql::SHARED_GROUPS_BY_CREATION, false, SHARED_GROUP_PAGE("m.created DESC, m.group_id DESC")},
    {Sql::SHARED_GROUPS_BY_USE, false, SHARED_GROUP_PAGE("m.used DESC, m.group_id DESC")},
    {Sql::MEMBER_ADD, false,
     "INSERT INTO member (person_id, group_id, name_key, created, used) SELECT p.id, f.id, ?3, ?4, ?5 FROM family f "
     "CROSS JOIN person p ON p.id = ?1 AND p.removed = 0 WHERE f.id = ?2 AND f.trashed = 0 ON CONFLICT DO NOTHING"},
    {Sql::MEMBER_REMOVE, false, "DELETE FROM member WHERE person_id = ?1 AND group_id = ?2"},
    {Sql::MEMBERS_OF_GROUP, false,
     "SELECT p.id, p.name, p.image, p.phone, p.created FROM member m CROSS JOIN person p ON p.id = m.person_id "
     "WHERE m.group_id = ?1 AND m.person_id > ?2 ORDER BY m.person_id LIMIT ?3"},

    {Sql::SLOT_ADD, false,
     "INSERT INTO content (id, group_id, creator_id, state, type, reserved, announced_size, description) "
     "VALUES (?1, ?2, ?3, " STATE_RESERVED ", ?4, ?5, ?6, ?7)"},
    {Sql::SLOT_GET, false,
     "SELECT c.state, c.type, c.announced_size, c.group_id, p.used_bytes FROM content c "
     "CROSS JOIN person p ON p.id = c.creator_id CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id "
     "WHERE c.id = ?1 AND c.creator_id = ?2 AND c.state IN (" STATE_RESERVED ", " STATE_STORED ")"},
    {Sql::SLOTS_EXPIRE, false, "DELETE FROM content WHERE state = " STATE_RESERVED " AND reserved < ?1"},
    {Sql::SLOTS_OF_PERSON, false, "SELECT count(*) FROM content WHERE creator_id = ?1 AND state = " STATE_RESERVED},
    {Sql::SLOT_DROP, false, "DELETE FROM content WHERE id = ?1 AND state = " STATE_RESERVED},
    // The time of an upload is the present, but later than all uploads to the group before it even when a clock was set back, so
    // that a feed that is read by time never overlooks one.
    {Sql::UPLOAD_COUNTED, false, WITH_LARGER(UPLOAD_COUNT)},
    {Sql::CONTENT_COMMIT, false,
     "UPDATE content SET state = " STATE_STORED
     ", file_name = ?2, format = ?3, size = ?4, width = ?5, height = ?6, created = ?7, uploaded = ?8, thumbnails = ?9, "
     "digest = ?10, device_id = ?11, attempt = ?12, taker = ?13, taken_until = ?14 WHERE id = ?1 AND state = " STATE_RESERVED
     " RETURNING creator_id"},
    // All that an upload writes, unless something is in its way: the slot is filled or gone, its owner is no member any more or has
    // no room, or the bytes are a content already. Group and person are locked.
    {Sql::UPLOAD_WRITE, false, "",
     "WITH place AS (SELECT c.id, c.group_id, c.creator_id, c.type FROM content c "
     "JOIN family f ON f.id = c.group_id AND f.trashed = 0 JOIN person p ON p.id = c.creator_id "
     "JOIN member m ON m.person_id = c.creator_id AND m.group_id = c.group_id "
     "WHERE c.id = ?1 AND c.creator_id = ?2 AND c.state = " STATE_RESERVED
     " AND (CAST(?15 AS bigint) = 0 OR p.used_bytes + ?5 <= CAST(?15 AS bigint)) "
     "AND NOT EXISTS (SELECT 1 FROM content t WHERE t.group_id = c.group_id AND t.digest = ?10 AND t.state = " STATE_STORED
     " AND (CAST(?16 AS bigint) = 0 OR (t.device_id = CAST(?16 AS bigint) AND t.uploaded >= ?17)))), "
     "counted AS (UPDATE family SET " GROUP_COUNTS(
         "place.type",
         "1") ", last_upload = greatest(CAST(?14 AS bigint), last_upload + 1) FROM place "
              "WHERE family.id = place.group_id RETURNING last_upload, media_epoch), "
              "filled AS (UPDATE content SET state = " STATE_STORED
              ", file_name = ?3, format = ?4, size = ?5, width = ?6, height = ?7, "
              "created = coalesce(CAST(?8 AS bigint), counted.last_upload), uploaded = counted.last_upload, thumbnails = ?9, "
              "digest = ?10, "
              "device_id = ?11, attempt = ?12, taker = ?13, taken_until = ?18 FROM place, counted WHERE content.id = place.id "
              "RETURNING content.description, content.uploaded, content.created), "
              "charged AS (UPDATE person SET used_bytes = used_bytes + ?5 FROM place WHERE person.id = place.creator_id), "
              "used AS (UPDATE member SET used = counted.last_upload FROM place, counted WHERE member.group_id = place.group_id), "
              "told AS (INSERT INTO change (kind, group_id, content_id, comment_id, at) "
              "SELECT CAST(?19 AS bigint), place.group_id, place.id, 0, CAST(?14 AS bigint) FROM place) "
              "SELECT filled.description, filled.uploaded, filled.created, counted.media_epoch FROM filled, counted"},
    {Sql::CONTENT_COUNTED, false,
     "UPDATE family SET " GROUP_COUNTS("?2", "?4") ", comment_count = comment_count + ?4 * ?3 WHERE id = ?1"},
    {Sql::CONTENT_BY_ID, false,
     "SELECT " CONTENT_COLUMNS ", p.phone, p.created, f.media_epoch FROM content c CROSS JOIN person p ON p.id = c.creator_id "
     "CROSS JOIN family f ON f.id = c.group_id WHERE c.id = ?1 AND c.state = " STATE_STORED " AND f.trashed = 0"},
    {Sql::CONTENT_MEDIA, false,
     "SELECT c.format, c.size, f.media_epoch, c.creator_id, c.thumbnails, c.attempt FROM content c CROSS JOIN family f ON f.id = "
     "c.group_id "
     "WHERE c.id = ?1 AND c.state = " STATE_STORED " AND f.trashed = 0"},
    {Sql::CONTENT_FILE, false,
     "SELECT format, size, attempt FROM content WHERE id = ?1 AND state IN (" STATE_STORED ", " STATE_TRASHED ")"},
    {Sql::CONTENT_ATTEMPT, false, "SELECT attempt FROM content WHERE id = ?1"},
    {Sql::CONTENT_ROLE, false,
     "SELECT c.group_id, " IS("f.master_id", "?2") ", " IS(
         "c.creator_id",
         "?2") " FROM content c CROSS JOIN family f ON f.id = c.group_id "
               "CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id WHERE c.id = ?1 AND c.state = " STATE_STORED},
    {Sql::CONTENT_ORIGINALS, true,
     "SELECT id, attempt FROM content WHERE state IN (" STATE_STORED ", " STATE_TRASHED ") ORDER BY id"},
    {Sql::CONTENT_KEPT_BEHIND, false,
     "SELECT id, attempt, size, digest FROM content WHERE id > ?1 AND state IN (" STATE_STORED ", " STATE_TRASHED
     ") ORDER BY id LIMIT ?2"},
    {Sql::CONTENT_SENT_BEFORE, false,
     "SELECT id FROM content WHERE device_id = ?1 AND group_id = ?2 AND digest = ?3 AND state = " STATE_STORED
     " AND uploaded >= ?4 ORDER BY uploaded DESC LIMIT 1"},
    {Sql::CONTENT_OF_DIGEST, false,
     "SELECT id FROM content WHERE group_id = ?1 AND digest = ?2 AND state = " STATE_STORED " ORDER BY id LIMIT 1"},
    {Sql::CONTENT_NEWEST_BEFORE, false,
     "SELECT created FROM content WHERE group_id = ?1 AND state = " STATE_STORED " AND created < ?2 ORDER BY created DESC LIMIT 1"},
    {Sql::CONTENT_COUNT_BETWEEN, false,
     "SELECT count(*) FROM content WHERE group_id = ?1 AND state = " STATE_STORED " AND created >= ?2 AND created < ?3"},
    {Sql::CONTENT_INDEX, false,
     "SELECT count(*) FROM content WHERE group_id = ?1 AND state = " STATE_STORED " AND (created, id) > (?2, ?3)"},
    {Sql::CONTENT_FILES_BETWEEN, false,
     "SELECT id, attempt, file_name, size, created FROM content WHERE group_id = ?1 AND state = " STATE_STORED
     " AND created >= ?2 AND created < ?3 ORDER BY created, id"},
    {Sql::CONTENT_LARGEST_SENT_BEFORE, false,
     "SELECT max(size) FROM content WHERE group_id = ?2 AND state = " STATE_STORED " AND uploaded >= ?3 AND device_id = ?1"},
    {Sql::SLOT_ANSWERED, false, "UPDATE content SET digest = ?2 WHERE id = ?1 AND state = " STATE_RESERVED},
    {Sql::SLOTS_ANSWERED_REMOVE, false,
     "DELETE FROM content WHERE creator_id = ?1 AND state = " STATE_RESERVED " AND digest IS NOT NULL"},
    {Sql::CONTENT_SET_THUMBNAILS, false,
     "UPDATE content SET thumbnails = ?2, taker = 0, taken_until = 0 WHERE id = ?1 AND state <> " STATE_DELETED},
    {Sql::CONTENTS_PENDING, true,
     "SELECT id, attempt, creator_id FROM content WHERE thumbnails = 0 AND state = " STATE_STORED " ORDER BY id"},
    // On PostgreSQL several services take at the same time, each what no other one is taking.
    {Sql::THUMBNAILS_TAKE, true,
     "UPDATE content SET " SET_TAKER("?1", "?2") " WHERE id IN (" FREE_TO_TAKE ") RETURNING " TAKEN_COLUMNS,
     "WITH free AS MATERIALIZED (" FREE_TO_TAKE " FOR NO KEY UPDATE SKIP LOCKED) "
     "UPDATE content SET " SET_TAKER("?1", "?2") " FROM free WHERE content.id = free.id RETURNING content." TAKEN_COLUMNS},
    {Sql::THUMBNAILS_TAKE_ONE, false,
     "UPDATE content SET " SET_TAKER(
         "?2", "?3") " WHERE id = ?1 AND state = " STATE_STORED
                     " AND thumbnails <> 2 AND (taker IN (0, ?2) OR taken_until < ?4) RETURNING " TAKEN_COLUMNS},
    {Sql::THUMBNAILS_ARE_PENDING, false, "SELECT 1 FROM content WHERE id = ?1 AND state = " STATE_STORED " AND thumbnails = 0"},
    {Sql::THUMBNAILS_PUT_OFF, false,
     "UPDATE content SET taker = 0, taken_until = ?3 + (tries + 1) * ?4 WHERE id = ?1 AND taker = ?2"},
    {Sql::THUMBNAILS_GIVE_BACK, true,
     "UPDATE content SET taker = 0, taken_until = 0, tries = CASE WHEN tries > 0 THEN tries - 1 ELSE 0 END "
     "WHERE thumbnails = 0 AND taker = ?1"},

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
    // All that a comment writes, unless its author is no member or the content is gone. The group is locked.
    {Sql::COMMENT_WRITE, false, "",
     "WITH place AS (SELECT c.id, c.group_id FROM content c JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id "
     "WHERE c.id = ?1 AND c.state = " STATE_STORED "), "
     "thing AS (INSERT INTO entity (kind) SELECT CAST(?5 AS bigint) FROM place RETURNING id), "
     "added AS (INSERT INTO comment (id, content_id, author_id, text, created) "
     "SELECT thing.id, place.id, CAST(?2 AS bigint), CAST(?3 AS text), CAST(?4 AS bigint) FROM place, thing RETURNING id), "
     "counted AS (UPDATE content SET comment_count = comment_count + 1 FROM place WHERE content.id = place.id), "
     "grouped AS (UPDATE family SET comment_count = comment_count + 1 FROM place WHERE family.id = place.group_id), "
     "used AS (UPDATE member SET used = CAST(?4 AS bigint) FROM place WHERE member.group_id = place.group_id), "
     "told AS (INSERT INTO change (kind, group_id, content_id, comment_id, at) "
     "SELECT CAST(?6 AS bigint), place.group_id, place.id, added.id, CAST(?4 AS bigint) FROM place, added) "
     "SELECT id FROM added"},
    {Sql::COMMENT_BY_ID, false,
     "SELECT " COMMENT_COLUMNS " FROM comment k CROSS JOIN person p ON p.id = k.author_id WHERE k.id = ?1 AND k.trashed = 0"},
    {Sql::COMMENT_ROLE, false,
     "SELECT c.group_id, " IS("f.master_id", "?2") ", " IS(
         "k.author_id",
         "?2") ", k.content_id FROM comment k CROSS JOIN content c ON c.id = "
               "k.content_id "
               "CROSS JOIN family f ON f.id = c.group_id CROSS JOIN member m ON m.person_id = ?2 AND m.group_id = c.group_id "
               "WHERE k.id = ?1 AND k.trashed = 0 AND c.state = " STATE_STORED},
    {Sql::COMMENTS_OF_CONTENT, false,
     "SELECT " COMMENT_COLUMNS " FROM comment k CROSS JOIN person p ON p.id = k.author_id "
     "WHERE k.content_id = ?1 AND k.trashed = 0 AND k.id > ?2 ORDER BY k.id LIMIT ?3 OFFSET ?4"},
    {Sql::COMMENT_BEFORE_LATEST, false,
     "SELECT id FROM comment WHERE content_id = ?1 AND trashed = 0 ORDER BY id DESC LIMIT 1 OFFSET ?2"},
    {Sql::CONTENT_COMMENTED, false,
     "UPDATE content SET comment_count = comment_count + ?2 WHERE id = ?1 AND state = " STATE_STORED},
    {Sql::GROUP_COMMENTED, false, "UPDATE family SET comment_count = comment_count + ?2 WHERE id = ?1"},

    {Sql::EVENT_ADD, false,
     "INSERT INTO event (id, content_id, member_id, title, type, description, starts, ends, created) "
     "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)"},
    {Sql::EVENTS_OF_CONTENT, false,
     "SELECT e.id, e.title, e.type, e.description, e.starts, e.ends, e.created, p.id, p.name, p.image, p.phone, p.created "
     "FROM event e CROSS JOIN person p ON p.id = e.member_id WHERE e.content_id = ?1 AND e.id > ?2 "
     "ORDER BY e.id LIMIT ?3"},

    {Sql::SESSION_ADD, false,
     "INSERT INTO session (person_id, key_hash, name, address, created, used) VALUES (?1, ?2, ?3, ?4, ?5, ?5) RETURNING id"},
    {Sql::SESSION_BY_KEY, false,
     "SELECT " SESSION_COLUMNS ", s.key_hash FROM session s CROSS JOIN person p ON p.id = s.person_id "
     "WHERE s.key_hash = ?1 AND s.used > ?2 AND p.removed = 0"},
    {Sql::SESSION_IS_LIVE, false,
     "SELECT 1 FROM session s CROSS JOIN person p ON p.id = s.person_id WHERE s.id = ?1 AND s.used > ?2 AND p.removed = 0"},
    {Sql::SESSION_USED, false, "UPDATE session SET used = ?2, address = ?3 WHERE id = ?1"},
    {Sql::SESSION_LIST, true,
     "SELECT " SESSION_COLUMNS " FROM session s CROSS JOIN person p ON p.id = s.person_id "
     "WHERE s.used > ?1 AND p.removed = 0 ORDER BY s.id"},
    {Sql::SESSIONS_OF_PERSON, false,
     "SELECT " SESSION_COLUMNS " FROM session s CROSS JOIN person p ON p.id = s.person_id "
     "WHERE s.person_id = ?1 AND s.used > ?2 ORDER BY s.id"},
    {Sql::SESSION_END, false, "DELETE FROM session WHERE id = ?1"},
    {Sql::SESSION_END_OF_PERSON, false, "DELETE FROM session WHERE id = ?1 AND person_id = ?2"},
    {Sql::SESSIONS_FORGET, false, "DELETE FROM session WHERE used <= ?1"},
    {Sql::SESSIONS_SIGN, true,
     "SELECT coalesce(sum(s.id), 0) FROM session s CROSS JOIN person p ON p.id = s.person_id WHERE p.removed = 0"},
    {Sql::INVITATION_ADD, false,
     "INSERT INTO invitation (key_hash, name, person_id, group_id, inviter_id, expires) "
     "VALUES (?1, ?2, nullif(?3, 0), nullif(?4, 0), nullif(?5, 0), ?6)"},
    {Sql::INVITATION_BY_KEY, false,
     "SELECT v.id, v.name, coalesce(v.person_id, 0), coalesce(v.group_id, 0), coalesce(v.inviter_id, 0), i.name, v.expires, "
     "v.used, "
     "v.key_hash FROM invitation v LEFT JOIN person i ON i.id = v.inviter_id WHERE v.key_hash = ?1"},
    {Sql::INVITATION_USE, false, "UPDATE invitation SET used = ?2 WHERE id = ?1 AND used = 0 AND expires > ?2"},
    {Sql::INVITATIONS_OPEN_OF_INVITER, false,
     "SELECT count(*) FROM invitation WHERE inviter_id = ?1 AND expires > ?2 AND used = 0"},
    {Sql::INVITATIONS_FORGET, false, "DELETE FROM invitation WHERE expires < ?1"},

    {Sql::PAIRING_ADD, false,
     "INSERT INTO pairing (key_hash, user_code, name, address, network, expires, pause) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7) "
     "ON CONFLICT DO NOTHING RETURNING id"},
    {Sql::PAIRING_BY_KEY, false, "SELECT " PAIRING_COLUMNS "WHERE key_hash = ?1 AND state <> " PAIRING_DONE},
    {Sql::PAIRING_BY_CODE, false, "SELECT " PAIRING_COLUMNS "WHERE user_code = ?1"},
    // Of two who decide at the same time, one does.
    {Sql::PAIRING_DECIDE, false,
     "UPDATE pairing SET state = ?2, person_id = nullif(?3, 0) WHERE user_code = ?1 AND state = " PAIRING_PENDING
     " AND expires > ?4"},
    {Sql::PAIRING_POLLED, false, "UPDATE pairing SET polled = ?2, pause = ?3 WHERE id = ?1"},
    {Sql::PAIRING_TAKEN, false, "UPDATE pairing SET state = " PAIRING_DONE " WHERE id = ?1 AND state = " PAIRING_APPROVED},
    {Sql::PAIRINGS_PENDING, false, "SELECT count(*) FROM pairing WHERE expires > ?1 AND state = " PAIRING_PENDING},
    {Sql::PAIRINGS_PENDING_OF_NETWORK, false,
     "SELECT count(*) FROM pairing WHERE network = ?1 AND expires > ?2 AND state = " PAIRING_PENDING},
    {Sql::PAIRINGS_FORGET, false, "DELETE FROM pairing WHERE expires < ?1"},
    {Sql::GUESS_ADD, false, "INSERT INTO guess (network, person_id, at) VALUES (?1, ?2, ?3)"},
    {Sql::GUESSES, false, "SELECT count(*) FROM guess WHERE at > ?1"},
    {Sql::GUESSES_OF_NETWORK, false, "SELECT count(*) FROM guess WHERE network = ?1 AND at > ?2"},
    {Sql::GUESSES_OF_PERSON, false, "SELECT count(*) FROM guess WHERE person_id = ?1 AND at > ?2"},
    {Sql::GUESSES_FORGET, false, "DELETE FROM guess WHERE at < ?1"},

    {Sql::CHANGE_ADD, false, "INSERT INTO change (kind, group_id, content_id, comment_id, at) VALUES (?1, ?2, ?3, ?4, ?5)"},
    {Sql::CHANGE_LAST, false, "SELECT max(id) FROM change"},
    {Sql::CHANGE_LAST_EVER, true, "SELECT seq FROM sqlite_sequence WHERE name = 'change'",
     "SELECT CASE WHEN is_called THEN last_value ELSE 0 END FROM change_id_seq"},
    {Sql::CHANGE_FIRST, false, "SELECT min(id) FROM change"},
    {Sql::CHANGE_LAST_BEFORE, false, "SELECT id FROM change WHERE at < ?1 ORDER BY at DESC LIMIT 1"},
    {Sql::CHANGES_BEHIND, false, "SELECT count(*) FROM change WHERE id > ?1"},
    {Sql::CHANGES_OF_PERSON, false,
     "SELECT k.id, k.kind, k.group_id, k.content_id, k.comment_id FROM change k "
     "CROSS JOIN member m ON m.person_id = ?1 AND m.group_id = k.group_id WHERE k.id > ?2 ORDER BY k.id LIMIT ?3"},
    {Sql::CHANGES_FORGET, false, "DELETE FROM change WHERE at < ?1"},

    {Sql::GROUP_LOCK, false, LOCKED("SELECT 1 FROM family WHERE id = ?1")},
    {Sql::GROUP_LOCK_OF_CONTENT, false, LOCKED("SELECT id FROM family WHERE id = (SELECT group_id FROM content WHERE id = ?1)")},
    {Sql::UPLOAD_LOCK, false, "SELECT 1 FROM family f CROSS JOIN person p ON p.id = ?2 WHERE f.id = ?1",
     "SELECT 1 FROM family f CROSS JOIN person p ON p.id = ?2 WHERE f.id = ?1 FOR NO KEY UPDATE OF f, p"},
    {Sql::PERSON_LOCK, false, LOCKED("SELECT 1 FROM person WHERE id = ?1")},
    {Sql::TRASH_LOCK, false, LOCKED("SELECT 1 FROM trash WHERE id = ?1")},
    {Sql::SET_ASIDE_LOCK_GROUPS, false,
     LOCKED("SELECT id FROM family WHERE id IN (SELECT group_id FROM set_aside WHERE trash_id = ?1) ORDER BY id")},
    {Sql::SET_ASIDE_LOCK_PEOPLE, false,
     LOCKED("SELECT id FROM person WHERE id IN (SELECT person_id FROM set_aside WHERE trash_id = ?1) ORDER BY id")},

    {Sql::TRASH_ADD, false,
     "INSERT INTO trash (kind, thing_id, group_id, content_id, by_id, at) "
     "VALUES (?1, ?2, nullif(?3, 0), nullif(?4, 0), nullif(?5, 0), ?6) RETURNING id"},
    {Sql::TRASH_GET, false, "SELECT " TRASH_COLUMNS "WHERE t.id = ?1"},
    {Sql::TRASH_LIST, true, "SELECT " TRASH_COLUMNS "ORDER BY t.id"},
    {Sql::TRASH_OLDEST, false, "SELECT " TRASH_COLUMNS "WHERE t.at < ?1 ORDER BY t.at, t.id LIMIT 1"},
    {Sql::TRASH_OF_THING, false, "SELECT " TRASH_COLUMNS "WHERE t.kind = ?1 AND t.thing_id = ?2"},
    {Sql::TRASH_REMOVE, false, "DELETE FROM trash WHERE id = ?1"},
    {Sql::GROUP_TRASHED, false, "SELECT trashed FROM family WHERE id = ?1"},
    {Sql::GROUP_MASTER, false, "SELECT master_id FROM family WHERE id = ?1"},
    {Sql::GROUP_MASTER_IS_LIVE, false,
     "SELECT 1 FROM family f CROSS JOIN person p ON p.id = f.master_id WHERE f.id = ?1 AND p.removed = 0"},
    {Sql::GROUP_MARK, false, "UPDATE family SET trashed = ?3 WHERE id = ?1 AND trashed = ?2"},
    {Sql::CONTENT_MARK, false,
     "UPDATE content SET state = ?3 WHERE id = ?1 AND state = ?2 RETURNING group_id, type, comment_count"},
    {Sql::COMMENT_MARK, false,
     "UPDATE comment SET trashed = ?3 WHERE id = ?1 AND trashed = ?2 AND EXISTS (SELECT 1 FROM content c "
     "WHERE c.id = comment.content_id AND c.state = " STATE_STORED ") RETURNING content_id"},
    {Sql::PERSON_MARK, false, "UPDATE person SET removed = ?3 WHERE id = ?1 AND removed = ?2"},
    {Sql::DEVICE_MARK, false, "UPDATE device SET removed = 1 WHERE duid = ?1 AND removed = 0 RETURNING id"},
    {Sql::DEVICE_MARK_BY_ID, false, "UPDATE device SET removed = ?3 WHERE id = ?1 AND removed = ?2"},
    {Sql::DEVICE_OWNER_IS_LIVE, false,
     "SELECT 1 FROM device d CROSS JOIN person p ON p.id = d.person_id WHERE d.id = ?1 AND p.removed = 0"},
    {Sql::MEMBERS_SET_ASIDE_OF_GROUP, false, SET_ASIDE("group_id")},
    {Sql::MEMBERS_SET_ASIDE_OF_PERSON, false, SET_ASIDE("person_id")},
    {Sql::MEMBERS_REMOVE_OF_GROUP, false, "DELETE FROM member WHERE group_id = ?1"},
    {Sql::MEMBERS_REMOVE_OF_PERSON, false, "DELETE FROM member WHERE person_id = ?1"},
    {Sql::SET_ASIDE_GIVE_BACK, false,
     "INSERT INTO member (person_id, group_id, name_key, created, used) "
     "SELECT s.person_id, s.group_id, s.name_key, s.created, s.used FROM set_aside s "
     "CROSS JOIN family f ON f.id = s.group_id CROSS JOIN person p ON p.id = s.person_id "
     "WHERE s.trash_id = ?1 AND f.trashed = 0 AND p.removed = 0 ON CONFLICT DO NOTHING"},
    {Sql::SET_ASIDE_REMOVE, false,
     "DELETE FROM set_aside WHERE trash_id = ?1 AND EXISTS (SELECT 1 FROM family f WHERE f.id = group_id AND f.trashed = 0) "
     "AND EXISTS (SELECT 1 FROM person p WHERE p.id = person_id AND p.removed = 0)"},
    // What cannot come back yet comes back with the other thing that it needs.
    {Sql::SET_ASIDE_HAND_ON, false,
     "UPDATE set_aside SET trash_id = coalesce("
     "(SELECT t.id FROM trash t WHERE t.kind = " KIND_GROUP " AND t.thing_id = set_aside.group_id AND t.id <> ?1), "
     "(SELECT t.id FROM trash t WHERE t.kind = " KIND_PERSON " AND t.thing_id = set_aside.person_id AND t.id <> ?1), "
     "trash_id) WHERE trash_id = ?1"},

    {Sql::GROUP_SOME_CONTENTS, false, "SELECT id FROM content WHERE group_id = ?1 LIMIT ?2"},
    {Sql::GROUP_DELETE, false, "DELETE FROM family WHERE id = ?1"},
    {Sql::CONTENT_DELETE, false,
     "DELETE FROM content WHERE id = ?1 "
     "RETURNING creator_id, CASE WHEN state IN (" STATE_RESERVED ", " STATE_DELETED ") THEN 0 ELSE size END, attempt"},
    {Sql::CONTENT_FORGET, false,
     "UPDATE content SET state = " STATE_DELETED
     ", description = '', file_name = '', comment_count = 0 WHERE id = ?1 AND state = " STATE_TRASHED
     " RETURNING creator_id, size, attempt"},
    {Sql::COMMENT_DELETE, false, "DELETE FROM comment WHERE id = ?1"},
    {Sql::COMMENTS_DELETE_OF_CONTENT, false,
     "DELETE FROM comment WHERE id IN (SELECT id FROM comment WHERE content_id = ?1 LIMIT ?2)"},
    {Sql::EVENTS_DELETE_OF_CONTENT, false, "DELETE FROM event WHERE content_id = ?1"},
    {Sql::TRASH_REMOVE_OF_CONTENT, false, "DELETE FROM trash WHERE content_id = ?1"},
    {Sql::PERSON_DELETE, false,
     "DELETE FROM person WHERE id = ?1 AND NOT EXISTS (SELECT 1 FROM content WHERE creator_id = ?1) "
     "AND NOT EXISTS (SELECT 1 FROM comment WHERE author_id = ?1) AND NOT EXISTS (SELECT 1 FROM event WHERE member_id = ?1) "
     "AND NOT EXISTS (SELECT 1 FROM family WHERE master_id = ?1)"},
    {Sql::PERSON_FORGET, false, "UPDATE person SET removed = 2, phone = '', image = 0 WHERE id = ?1"},
    {Sql::SET_ASIDE_REMOVE_OF_PERSON, false, "DELETE FROM set_aside WHERE person_id = ?1"},
    {Sql::DEVICE_DELETE, false, "DELETE FROM device WHERE id = ?1"},
    {Sql::DEVICES_DELETE_OF_PERSON, false, "DELETE FROM device WHERE person_id = ?1"},

    {Sql::CHECK_COUNTS, true,
     "SELECT (SELECT count(*) FROM person WHERE removed = 0), "
     "(SELECT count(*) FROM device d CROSS JOIN person p ON p.id = d.person_id WHERE d.removed = 0 AND p.removed = 0), "
     "(SELECT count(*) FROM family WHERE trashed = 0), "
     "(SELECT count(*) FROM content c CROSS JOIN family f ON f.id = c.group_id WHERE c.state = " STATE_STORED
     " AND f.trashed = 0), "
     "(SELECT count(*) FROM content c CROSS JOIN family f ON f.id = c.group_id WHERE c.state = " STATE_RESERVED
     " AND f.trashed = 0), "
     "(SELECT coalesce(sum(comment_count), 0) FROM family WHERE trashed = 0), (SELECT count(*) FROM trash)"},
    {Sql::CHECK_GROUP_TOTALS, true,
     "SELECT f.id FROM family f LEFT JOIN (SELECT group_id, count(*) AS total, sum(" IS("type", TYPE_PHOTO) ") AS photo, sum(" IS(
         "type",
         TYPE_VIDEO) ") AS video, "
                     "sum(" IS("type",
                               TYPE_MUSIC) ") AS audio, sum(comment_count) AS comments FROM content WHERE state = " STATE_STORED
                                           " GROUP BY group_id) t "
                                           "ON t.group_id = f.id WHERE f.trashed <> 2 AND (f.total_count <> coalesce(t.total, 0) "
                                           "OR f.photo_count <> coalesce(t.photo, "
                                           "0) "
                                           "OR f.video_count <> coalesce(t.video, 0) OR f.audio_count <> coalesce(t.audio, 0) "
                                           "OR f.comment_count <> coalesce(t.comments, 0)) ORDER BY f.id"},
    {Sql::CHECK_COMMENT_COUNTS, true,
     "SELECT c.id FROM content c LEFT JOIN (SELECT content_id, count(*) AS total FROM comment WHERE trashed = 0 GROUP BY "
     "content_id) t "
     "ON t.content_id = c.id CROSS JOIN family f ON f.id = c.group_id WHERE c.state <> " STATE_DELETED
     " AND f.trashed <> 2 AND c.comment_count <> coalesce(t.total, 0) ORDER BY c.id"},
    {Sql::CHECK_USED_BYTES, true,
     "SELECT p.name FROM person p LEFT JOIN (SELECT creator_id, sum(size) AS total FROM content "
     "WHERE state NOT IN (" STATE_RESERVED ", " STATE_DELETED ") GROUP BY creator_id) t "
     "ON t.creator_id = p.id WHERE p.used_bytes <> coalesce(t.total, 0) ORDER BY p.id"},
    {Sql::CHECK_UNDECODABLE, true, "SELECT id FROM content WHERE thumbnails = 2 AND state = " STATE_STORED " ORDER BY id"},
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

std::string postgresqlTextOf(Sql sql)
{
    constexpr std::string_view ORDERED_JOIN = "CROSS JOIN";
    const SqlEntry& entry = entryOf(sql);
    const std::string_view text = entry.postgresql == nullptr ? entry.text : entry.postgresql;
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, ORDERED_JOIN.size(), ORDERED_JOIN) == 0)
            i += std::string_view("CROSS ").size();
        result += text[i] == '?' ? '$' : text[i];
    }
    return result;
}

} // namespace kinloomd
