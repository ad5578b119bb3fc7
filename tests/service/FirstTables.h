// SPDX-License-Identifier: MIT
/// \file The tables of the first version of the database, as it made them.
#ifndef TESTS_SERVICE_FIRSTTABLES_H
#define TESTS_SERVICE_FIRSTTABLES_H

namespace kinloomd_test {

inline constexpr const char* FIRST_TABLES = R"sql(
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

} // namespace kinloomd_test

#endif
