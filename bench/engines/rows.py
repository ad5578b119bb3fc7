# SPDX-License-Identifier: MIT
"""Many records at once, put into a database by statements that both engines take."""

import sqlite3
import subprocess

AT_ONCE = 100_000
FIRST_TIME = 1_600_000_000_000  # ms
MINUTE = 60_000  # ms
PHOTO, RESERVED, STORED = 1, 0, 1
KINDS = {"person": 1, "family": 2, "content": 3, "comment": 4}


def numbers(count):
    """A table n with a column i that counts from 0."""
    return f"WITH RECURSIVE n(i) AS (SELECT CAST(0 AS bigint) UNION ALL SELECT i + 1 FROM n WHERE i < {count - 1})"


class SqliteRecords:
    """The database in a file. No service may have it open."""

    def __init__(self, path):
        self._path = str(path)

    def run(self, text):
        connection = sqlite3.connect(self._path, timeout=60)
        try:
            rows = connection.execute(text).fetchall()
            connection.commit()
            return rows
        finally:
            connection.close()

    def fill(self, text):
        self.run(text)

    def settle(self):
        self.run("ANALYZE")
        self.run("PRAGMA wal_checkpoint(TRUNCATE)")

    def sizes(self, table):
        """Bytes of a table's rows, and of its indexes."""
        of = f"SELECT coalesce(sum(pgsize), 0) FROM dbstat WHERE name IN (SELECT name FROM sqlite_schema WHERE tbl_name = '{table}' AND type = "
        return tuple(self.run(of + kind)[0][0] for kind in ("'table')", "'index')"))


class PostgresqlRecords:
    """The database at an address."""

    def __init__(self, address):
        self._address = address

    def run(self, *texts):
        """Runs statements, each for itself. Returns the rows of all of them."""
        commands = [word for text in texts for word in ("-c", text)]
        output = subprocess.run(["psql", "-X", "-q", "-A", "-t", "-F", "\t", "-v", "ON_ERROR_STOP=1", *commands, self._address],
                                check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True).stdout
        return [[int(value) if value.lstrip("-").isdigit() else value for value in line.split("\t")] for line in output.splitlines()]

    def fill(self, text):
        # What is put in here belongs together; that needs no proof of each row.
        self.run("SET session_replication_role = replica", text)

    def settle(self):
        self.run("VACUUM ANALYZE", "CHECKPOINT")

    def sizes(self, table):
        return tuple(self.run(f"SELECT pg_table_size('{table}'), pg_indexes_size('{table}')")[0])


def add_entities(records, kind, count):
    """Takes identifiers, one behind the other. Returns the first."""
    last = records.run("SELECT coalesce(max(id), 0) FROM entity")[0][0]
    records.fill(f"INSERT INTO entity (kind) {numbers(count)} SELECT {KINDS[kind]} FROM n")
    first, end, found = records.run(f"SELECT min(id), max(id), count(*) FROM entity WHERE id > {last}")[0]
    if found != count or end - first + 1 != count:
        raise RuntimeError("others have taken identifiers at the same time")
    return first


def parts(count):
    """Where each part of a large number begins, and how long it is."""
    return [(begin, min(AT_ONCE, count - begin)) for begin in range(0, count, AT_ONCE)]


def add_people(records, count):
    first = add_entities(records, "person", count)
    records.fill(f"INSERT INTO person (id, name, phone, created) {numbers(count)} "
                 f"SELECT {first} + i, 'Person ' || i, '+49 30 5550000', {FIRST_TIME} FROM n")
    return first


def add_groups(records, count, first_person, members):
    """Groups of so many people each, the first of whom is the master. Returns the first group."""
    first = add_entities(records, "family", count)
    records.fill(f"INSERT INTO family (id, name, description, master_id, created) {numbers(count)} "
                 f"SELECT {first} + i, 'Group ' || i, 'What we have seen', {first_person} + i * {members}, {FIRST_TIME} FROM n")
    records.fill(f"INSERT INTO member (person_id, group_id, name_key, created, used) {numbers(count * members)} "
                 f"SELECT {first_person} + i, {first} + i / {members}, 'group ' || (i / {members}), {FIRST_TIME}, {FIRST_TIME} FROM n")
    return first


def add_contents(records, group, creator, count, device=None):
    """Stored photos of one person. Returns the first."""
    beginning = None
    for begin, size in parts(count):
        first = add_entities(records, "content", size)
        beginning = beginning or first
        when = f"{FIRST_TIME} + ({begin} + i) * {MINUTE}"
        records.fill(
            "INSERT INTO content (id, group_id, creator_id, state, type, reserved, description, file_name, format, size, width, height, "
            f"created, uploaded, digest, device_id) {numbers(size)} SELECT {first} + i, {group}, {creator}, {STORED}, {PHOTO}, {when}, "
            f"'A day by the sea', 'IMG_' || ({begin} + i) || '.jpg', 1, 3000000 + i, 4000, 3000, {when}, {when}, "
            f"'{'0' * 48}' || ({10 ** 15} + {begin} + i), {device if device is not None else 'NULL'} FROM n")
    records.fill(f"UPDATE family SET total_count = total_count + {count}, photo_count = photo_count + {count}, "
                 f"last_upload = {FIRST_TIME + count * MINUTE} WHERE id = {group}")
    return beginning


def add_slots(records, count, first_group, groups, first_person, members):
    """Announced photos, in turn for each group, and in turn for its members. Returns the first."""
    first = add_entities(records, "content", count)
    records.fill(
        f"INSERT INTO content (id, group_id, creator_id, state, type, reserved, announced_size, description) {numbers(count)} "
        f"SELECT {first} + i, {first_group} + i % {groups}, {first_person} + i % {groups} * {members} + i / {groups} % {members}, "
        f"{RESERVED}, {PHOTO}, {FIRST_TIME}, 3000000, 'A day by the sea' FROM n")
    return first


def add_comments(records, content, author, count):
    for _, size in parts(count):
        first = add_entities(records, "comment", size)
        records.fill(f"INSERT INTO comment (id, content_id, author_id, text, created) {numbers(size)} "
                     f"SELECT {first} + i, {content}, {author}, 'How well this has come out, and how long ago it is', {FIRST_TIME} + i FROM n")
