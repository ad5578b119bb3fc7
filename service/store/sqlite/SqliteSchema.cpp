// SPDX-License-Identifier: MIT
#include "store/sqlite/SqliteSchema.h"

#include "store/People.h"
#include "store/sqlite/SqliteConnection.h"

#include <sqlite3.h>
#include <stdexcept>
#include <string>

namespace kinloomd {

namespace {

// Identifiers of people, groups, contents, comments and events come from one sequence, since requests name a content and a comment
// in the same place. Sort keys and times of a group are repeated in its memberships, so that each order in which a person's groups
// are listed is an index. The column "state" holds a ContentState.
constexpr const char* TABLES = R"sql(
CREATE TABLE setting (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;

CREATE TABLE entity (id INTEGER PRIMARY KEY AUTOINCREMENT, kind INTEGER NOT NULL);

CREATE TABLE person (
    id INTEGER PRIMARY KEY REFERENCES entity(id),
    name TEXT NOT NULL UNIQUE,
    phone TEXT NOT NULL,
    created INTEGER NOT NULL,
    image INTEGER NOT NULL DEFAULT 0
);

CREATE TABLE device (
    id INTEGER PRIMARY KEY,
    person_id INTEGER NOT NULL REFERENCES person(id) ON DELETE CASCADE,
    duid TEXT NOT NULL UNIQUE,
    app_id TEXT NOT NULL,
    token_hash TEXT NOT NULL,
    created INTEGER NOT NULL,
    registered INTEGER,
    signed_in INTEGER
);
CREATE INDEX device_by_person ON device(person_id);

CREATE TABLE sign_in (
    address TEXT PRIMARY KEY,
    device_id INTEGER NOT NULL REFERENCES device(id) ON DELETE CASCADE,
    at INTEGER NOT NULL
) WITHOUT ROWID;
CREATE INDEX sign_in_by_device ON sign_in(device_id);

CREATE TABLE family (
    id INTEGER PRIMARY KEY REFERENCES entity(id),
    name TEXT NOT NULL,
    description TEXT NOT NULL,
    master_id INTEGER NOT NULL REFERENCES person(id),
    created INTEGER NOT NULL,
    total_count INTEGER NOT NULL DEFAULT 0,
    photo_count INTEGER NOT NULL DEFAULT 0,
    audio_count INTEGER NOT NULL DEFAULT 0,
    video_count INTEGER NOT NULL DEFAULT 0,
    comment_count INTEGER NOT NULL DEFAULT 0,
    media_epoch INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX family_by_master ON family(master_id);

CREATE TABLE member (
    person_id INTEGER NOT NULL REFERENCES person(id) ON DELETE CASCADE,
    group_id INTEGER NOT NULL REFERENCES family(id) ON DELETE CASCADE,
    name_key TEXT NOT NULL,
    created INTEGER NOT NULL,
    used INTEGER NOT NULL,
    PRIMARY KEY (person_id, group_id)
) WITHOUT ROWID;
CREATE INDEX member_by_group ON member(group_id, person_id);
CREATE INDEX member_by_name ON member(person_id, name_key, group_id);
CREATE INDEX member_by_creation ON member(person_id, created, group_id);
CREATE INDEX member_by_use ON member(person_id, used, group_id);

CREATE TABLE content (
    id INTEGER PRIMARY KEY REFERENCES entity(id),
    group_id INTEGER NOT NULL REFERENCES family(id) ON DELETE CASCADE,
    creator_id INTEGER NOT NULL REFERENCES person(id),
    state INTEGER NOT NULL,
    type INTEGER NOT NULL,
    reserved INTEGER NOT NULL,
    announced_size INTEGER,
    description TEXT NOT NULL,
    file_name TEXT NOT NULL DEFAULT '',
    format INTEGER NOT NULL DEFAULT 0,
    size INTEGER NOT NULL DEFAULT 0,
    width INTEGER NOT NULL DEFAULT 0,
    height INTEGER NOT NULL DEFAULT 0,
    created INTEGER NOT NULL DEFAULT 0,
    uploaded INTEGER NOT NULL DEFAULT 0,
    comment_count INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX content_by_group ON content(group_id, id) WHERE state = 1;
CREATE INDEX content_by_creation ON content(group_id, created, id) WHERE state = 1;
CREATE INDEX content_by_upload ON content(group_id, uploaded, id) WHERE state = 1;
CREATE INDEX content_of_type_by_group ON content(group_id, type, id) WHERE state = 1;
CREATE INDEX content_of_type_by_creation ON content(group_id, type, created, id) WHERE state = 1;
CREATE INDEX content_of_type_by_upload ON content(group_id, type, uploaded, id) WHERE state = 1;
CREATE INDEX content_of_family ON content(group_id);
CREATE INDEX content_by_creator ON content(creator_id);
CREATE INDEX slot_by_age ON content(reserved) WHERE state = 0;

CREATE TABLE comment (
    id INTEGER PRIMARY KEY REFERENCES entity(id),
    content_id INTEGER NOT NULL REFERENCES content(id) ON DELETE CASCADE,
    author_id INTEGER NOT NULL REFERENCES person(id),
    text TEXT NOT NULL,
    created INTEGER NOT NULL
);
CREATE INDEX comment_by_content ON comment(content_id, id);
CREATE INDEX comment_by_author ON comment(author_id);

CREATE TABLE event (
    id INTEGER PRIMARY KEY REFERENCES entity(id),
    content_id INTEGER NOT NULL REFERENCES content(id) ON DELETE CASCADE,
    member_id INTEGER NOT NULL REFERENCES person(id),
    title TEXT NOT NULL,
    type TEXT NOT NULL,
    description TEXT NOT NULL,
    starts INTEGER NOT NULL,
    ends INTEGER NOT NULL,
    created INTEGER NOT NULL
);
CREATE INDEX event_by_content ON event(content_id, id);
CREATE INDEX event_by_member ON event(member_id);
)sql";

// What is deleted is marked first, and kept in the trash for a while. Memberships of a group or person in the trash are set aside,
// so that whatever asks for members finds none. Names of people may repeat. Identifiers of devices are never given twice, since
// addresses name devices. Who signed where is kept from the end of a service to its next start only; one of before kept nobody.
constexpr const char* TRASH = R"sql(
DROP TABLE sign_in;
CREATE TABLE signer (
    address TEXT NOT NULL,
    duid TEXT NOT NULL,
    at INTEGER NOT NULL,
    PRIMARY KEY (address, duid)
) WITHOUT ROWID;
INSERT INTO setting (name, value) SELECT 'signers_in_use', '' WHERE EXISTS (SELECT 1 FROM setting);

CREATE TABLE new_person (
    id INTEGER PRIMARY KEY REFERENCES entity(id),
    name TEXT NOT NULL,
    phone TEXT NOT NULL,
    created INTEGER NOT NULL,
    image INTEGER NOT NULL DEFAULT 0,
    removed INTEGER NOT NULL DEFAULT 0
);
INSERT INTO new_person (id, name, phone, created, image) SELECT id, name, phone, created, image FROM person;
DROP TABLE person;
ALTER TABLE new_person RENAME TO person;
CREATE INDEX person_by_name ON person(name);

CREATE TABLE new_device (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    person_id INTEGER NOT NULL REFERENCES person(id) ON DELETE CASCADE,
    duid TEXT NOT NULL UNIQUE,
    app_id TEXT NOT NULL,
    token_hash TEXT NOT NULL,
    created INTEGER NOT NULL,
    registered INTEGER,
    signed_in INTEGER,
    removed INTEGER NOT NULL DEFAULT 0
);
INSERT INTO new_device (id, person_id, duid, app_id, token_hash, created, registered, signed_in)
    SELECT id, person_id, duid, app_id, token_hash, created, registered, signed_in FROM device ORDER BY id;
DROP TABLE device;
ALTER TABLE new_device RENAME TO device;
CREATE INDEX device_by_person ON device(person_id);

ALTER TABLE family ADD COLUMN trashed INTEGER NOT NULL DEFAULT 0;
ALTER TABLE comment ADD COLUMN trashed INTEGER NOT NULL DEFAULT 0;

CREATE TABLE trash (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    kind INTEGER NOT NULL,
    thing_id INTEGER NOT NULL,
    group_id INTEGER REFERENCES family(id) ON DELETE CASCADE,
    content_id INTEGER REFERENCES content(id) ON DELETE CASCADE,
    by_id INTEGER REFERENCES person(id) ON DELETE SET NULL,
    at INTEGER NOT NULL
);
CREATE UNIQUE INDEX trash_by_thing ON trash(kind, thing_id);
CREATE INDEX trash_by_age ON trash(at, id);
CREATE INDEX trash_by_group ON trash(group_id);
CREATE INDEX trash_by_content ON trash(content_id);
CREATE INDEX trash_by_person ON trash(by_id);

CREATE TABLE set_aside (
    trash_id INTEGER NOT NULL REFERENCES trash(id) ON DELETE CASCADE,
    person_id INTEGER NOT NULL REFERENCES person(id) ON DELETE CASCADE,
    group_id INTEGER NOT NULL REFERENCES family(id) ON DELETE CASCADE,
    name_key TEXT NOT NULL,
    created INTEGER NOT NULL,
    used INTEGER NOT NULL,
    PRIMARY KEY (person_id, group_id)
) WITHOUT ROWID;
CREATE INDEX set_aside_by_trash ON set_aside(trash_id);
CREATE INDEX set_aside_by_group ON set_aside(group_id);
)sql";

// Thumbnails follow an upload: "thumbnails" holds a Thumbnails value; contents of before have theirs. With the digest of its bytes
// and the device that sent it, an upload that comes again is known again.
constexpr const char* MEDIA = R"sql(
ALTER TABLE content ADD COLUMN thumbnails INTEGER NOT NULL DEFAULT 1;
ALTER TABLE content ADD COLUMN digest TEXT;
ALTER TABLE content ADD COLUMN device_id INTEGER REFERENCES device(id) ON DELETE SET NULL;
CREATE INDEX content_pending ON content(id) WHERE thumbnails = 0;
CREATE INDEX content_by_device ON content(device_id, group_id, digest) WHERE device_id IS NOT NULL;
)sql";

// The room that a person's files take is counted where a record gets its file or loses it, whatever statement does that: in state 0
// a content has none yet, in state 2 no more; in the trash it keeps it. The places for uploads that a person holds are counted when
// one more is asked for.
constexpr const char* USED_BYTES = R"sql(
ALTER TABLE person ADD COLUMN used_bytes INTEGER NOT NULL DEFAULT 0;
UPDATE person SET used_bytes =
    (SELECT coalesce(sum(size), 0) FROM content WHERE creator_id = person.id AND state NOT IN (0, 2));

CREATE TRIGGER content_added AFTER INSERT ON content WHEN new.state NOT IN (0, 2) BEGIN
    UPDATE person SET used_bytes = used_bytes + new.size WHERE id = new.creator_id;
END;
CREATE TRIGGER content_changed AFTER UPDATE OF state, size, creator_id ON content BEGIN
    UPDATE person SET used_bytes = used_bytes - old.size WHERE id = old.creator_id AND old.state NOT IN (0, 2);
    UPDATE person SET used_bytes = used_bytes + new.size WHERE id = new.creator_id AND new.state NOT IN (0, 2);
END;
CREATE TRIGGER content_removed AFTER DELETE ON content WHEN old.state NOT IN (0, 2) BEGIN
    UPDATE person SET used_bytes = used_bytes - old.size WHERE id = old.creator_id;
END;

CREATE INDEX slot_by_creator ON content(creator_id, state) WHERE state = 0;
)sql";

// What the family's page needs. Keys that browsers and devices show are kept as SHA-256 in hexadecimal digits. Everything is kept
// here and nothing in a process. Numbers in "change" rise with every change of a group's contents and comments that is to be told
// of: who follows them remembers the last one. A guess is a code of a pairing that somebody made up; "network" is what limits for
// addresses count by.
constexpr const char* PAGE = R"sql(
ALTER TABLE device ADD COLUMN name TEXT NOT NULL DEFAULT '';
CREATE INDEX content_by_digest ON content(group_id, digest) WHERE state = 1 AND digest IS NOT NULL;

CREATE TABLE session (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    person_id INTEGER NOT NULL REFERENCES person(id) ON DELETE CASCADE,
    key_hash TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    address TEXT NOT NULL,
    created INTEGER NOT NULL,
    used INTEGER NOT NULL
);
CREATE INDEX session_by_person ON session(person_id, id);
CREATE INDEX session_by_use ON session(used);

CREATE TABLE invitation (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    key_hash TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    person_id INTEGER REFERENCES person(id) ON DELETE CASCADE,
    group_id INTEGER REFERENCES family(id) ON DELETE CASCADE,
    inviter_id INTEGER REFERENCES person(id) ON DELETE CASCADE,
    expires INTEGER NOT NULL,
    used INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX invitation_by_person ON invitation(person_id);
CREATE INDEX invitation_by_group ON invitation(group_id);
CREATE INDEX invitation_by_inviter ON invitation(inviter_id, expires);
CREATE INDEX invitation_by_end ON invitation(expires);

CREATE TABLE pairing (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    key_hash TEXT NOT NULL UNIQUE,
    user_code TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    address TEXT NOT NULL,
    network TEXT NOT NULL,
    expires INTEGER NOT NULL,
    pause INTEGER NOT NULL,
    polled INTEGER NOT NULL DEFAULT 0,
    state INTEGER NOT NULL DEFAULT 0,
    person_id INTEGER REFERENCES person(id) ON DELETE CASCADE
);
CREATE INDEX pairing_by_network ON pairing(network, expires);
CREATE INDEX pairing_by_end ON pairing(expires);
CREATE INDEX pairing_by_person ON pairing(person_id);

CREATE TABLE guess (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    network TEXT NOT NULL,
    person_id INTEGER NOT NULL REFERENCES person(id) ON DELETE CASCADE,
    at INTEGER NOT NULL
);
CREATE INDEX guess_by_network ON guess(network, at);
CREATE INDEX guess_by_person ON guess(person_id, at);
CREATE INDEX guess_by_age ON guess(at);

CREATE TABLE change (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    kind INTEGER NOT NULL,
    group_id INTEGER NOT NULL REFERENCES family(id) ON DELETE CASCADE,
    content_id INTEGER NOT NULL,
    comment_id INTEGER NOT NULL,
    at INTEGER NOT NULL
);
CREATE INDEX change_by_group ON change(group_id);
CREATE INDEX change_by_age ON change(at);
)sql";

// Counted by the statements that change what is counted, and by nothing behind their back. The time of a group's last upload stands
// with its totals, whatever becomes of that content.
constexpr const char* COUNTS = R"sql(
DROP TRIGGER content_added;
DROP TRIGGER content_changed;
DROP TRIGGER content_removed;

ALTER TABLE family ADD COLUMN last_upload INTEGER NOT NULL DEFAULT 0;
UPDATE family SET last_upload = (SELECT coalesce(max(uploaded), 0) FROM content WHERE group_id = family.id);
)sql";

// Of several services that take uploads for one content at the same time each keeps the original under a number of its own. The
// record says which one is the content's; 0 is the name of before.
constexpr const char* ATTEMPTS = R"sql(
ALTER TABLE content ADD COLUMN attempt INTEGER NOT NULL DEFAULT 0;
)sql";

// Which service makes the thumbnails of a content that has none yet, until when no other one does, and how often one took that up
// (ThumbnailQueue.h).
constexpr const char* QUEUE = R"sql(
ALTER TABLE content ADD COLUMN taker INTEGER NOT NULL DEFAULT 0;
ALTER TABLE content ADD COLUMN taken_until INTEGER NOT NULL DEFAULT 0;
ALTER TABLE content ADD COLUMN tries INTEGER NOT NULL DEFAULT 0;
)sql";

constexpr const char* LEAST_SETTING = "schema_least";

int versionIn(SqliteConnection& connection) { return std::stoi(connection.execute("PRAGMA user_version").at(0).at(0)); }

/// Programs of before that wrote no such setting understood nothing but their own layout.
Layout layoutOf(SqliteConnection& connection)
{
    const int version = versionIn(connection);
    const std::string least = version == 0 ? std::string() : findSetting(connection, LEAST_SETTING);
    return {version, least.empty() ? version : std::stoi(least)};
}

/// Lets steps build tables anew, which must not take along what refers to the old ones. Outside of transactions only: within one
/// the setting does nothing.
class LooseReferences {
public:
    explicit LooseReferences(SqliteConnection& connection) : m_connection(connection)
    {
        connection.execute("PRAGMA foreign_keys = OFF");
    }
    LooseReferences(const LooseReferences&) = delete;
    LooseReferences& operator=(const LooseReferences&) = delete;
    ~LooseReferences() { sqlite3_exec(m_connection.raw(), "PRAGMA foreign_keys = ON", nullptr, nullptr, nullptr); }

private:
    SqliteConnection& m_connection;
};

void requireReferences(SqliteConnection& connection)
{
    const TextRows damaged = connection.execute("PRAGMA foreign_key_check");
    if (!damaged.empty())
        throw std::runtime_error("the database is damaged: a row of its table '" + damaged.front().front() +
                                 "' refers to nothing; it was left as it is");
}

} // namespace

const SchemaSteps& sqliteSteps()
{
    static const SchemaSteps steps = {
        {TABLES, 1}, {TRASH, 2}, {MEDIA, 3}, {USED_BYTES, 4}, {PAGE, 5}, {COUNTS, 6}, {ATTEMPTS, 7}, {QUEUE, 7},
    };
    return steps;
}

void prepareSchema(SqliteConnection& connection, const SchemaSteps& steps)
{
    if (versionIn(connection) == versionOf(steps))
        return;
    const LooseReferences loose(connection);
    // Two programs may find the same old folder at once; the second to get here must see what the first has done.
    Transaction transaction(connection, DatabaseConnection::Purpose::MOVE);
    const Layout found = layoutOf(connection);
    requireUnderstood(found, steps);
    if (found.version >= versionOf(steps))
        return;
    for (int step = found.version; step < versionOf(steps); ++step)
        connection.execute(steps.at(static_cast<std::size_t>(step)).text);
    requireReferences(connection);
    const Layout reached = layoutBehind(steps);
    changeSetting(connection, LEAST_SETTING, std::to_string(reached.least));
    connection.execute("PRAGMA user_version = " + std::to_string(reached.version));
    transaction.commit();
}

} // namespace kinloomd
