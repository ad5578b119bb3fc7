#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What each operation costs on each engine, in processor time, statements, rows and bytes, and what a record takes.

Usage: bench_costs FILE [--quick]
    FILE   takes everything as JSON, for bench/engines/plan.py
"""

import argparse
import contextlib
import json
import os
import pathlib
import time

import rows
from operations import OPERATIONS, PHOTO_BYTES, Household
from records import MEMBERS, THREADS, Slots, statements_of, uploads_a_second
from servers import MEMORY, Kinloomd, Postgresql, Swift, folder, run

COUNTED = 10       # operations whose statements are counted
CONNECTIONS = 200  # that rest, to see what one takes


class Counters:
    """What an engine has read and written so far."""

    def __init__(self, records):
        self._records = records

    def read(self):
        # It tells only once those who used it are gone, and nobody says when that is.
        while self._records.run("SELECT count(*) FROM pg_stat_activity WHERE application_name = 'kinloomd'")[0][0] > 0:
            time.sleep(0.01)
        read, written = self._records.run("SELECT sum(seq_tup_read + coalesce(idx_tup_fetch, 0)), sum(n_tup_ins + n_tup_upd + n_tup_del) "
                                          "FROM pg_stat_user_tables")[0]
        return [read, written, self._records.run("SELECT wal_bytes FROM pg_stat_wal")[0][0]]


def difference(after, before):
    return [end - begin for end, begin in zip(after, before, strict=True)]


class Setting:
    """A service over some engines, and who is asked for their processor time."""

    def __init__(self, name, where, server=None, store=None):
        self.name = name
        self.database = server.new_database() if server else None
        self.server, self.store = server, store
        media = store.arguments(f"bench-{name.replace('+', '-')}") if store else ()
        self.service = Kinloomd(where / f"service-{name}", self.database, media, store.environment if store else None)
        records = rows.PostgresqlRecords(self.database) if server else rows.SqliteRecords(self.service.data / "kinloomd.db")
        self.counters = Counters(records) if server else None
        self.records = records

    def spent(self):
        """Milliseconds of the service, of what decodes pictures, of the database and of the store."""
        seconds = [self.service.processor_seconds(), self.service.pictures_seconds(),
                   self.server.processor_seconds() if self.server else 0, self.store.processor_seconds() if self.store else 0]
        return [1e3 * value for value in seconds]

    def measure(self, home, count, operation):
        """The costs of one operation: the mean of very many."""
        self.service.end()
        begin = self.counters and self.counters.read()
        self.service.start()
        home.begin()
        spent = self.spent()
        for _ in range(count):
            operation(home)
        self.service.await_thumbnails()
        costs = dict(zip(("service", "pictures", "database", "store"),
                         (value / count for value in difference(self.spent(), spent)), strict=True))
        costs["sent"] = self.service.metric("kinloomd_sent_bytes_total") / count
        if self.counters:
            self.service.end()
            read, written, log = difference(self.counters.read(), begin)
            self.service.start()
            home.begin()
            costs |= {"read": read / count, "written": written / count, "log": log / count}
        return costs


def measure_operations(setting, contents, share):
    home = Household(setting.service, setting.records, contents)
    costs = {}
    if setting.counters:
        costs["nothing"] = setting.measure(home, 1, lambda _: None)
    for name, count, operation in OPERATIONS:
        costs[name] = setting.measure(home, max(5, count // share), operation)
        for kind in ("read", "written", "log") if setting.counters else ():
            # A service that begins looks at everything once.
            costs[name][kind] -= costs["nothing"][kind] / max(5, count // share)
    for name, _, operation in OPERATIONS:
        costs[name]["statements"] = statements_of(setting.service, lambda _, operation=operation: operation(home), COUNTED)
    setting.service.await_thumbnails()
    costs.pop("nothing", None)
    return costs


def measure_connection(service):
    """Bytes of the service's memory that a connection takes that rests."""
    before = service.status("VmRSS")
    devices = [service.device() for _ in range(CONNECTIONS)]
    for device in devices:
        device.get("me/group.list")
    return (service.status("VmRSS") - before) / CONNECTIONS


def measure_records(records, count):
    """Bytes that one of each kind takes, of rows and of indexes."""
    sizes = {}

    def grown(name, tables, number, add):
        before = [records.sizes(table) for table in tables]
        result = add()
        records.settle()
        after = [records.sizes(table) for table in tables]
        sizes[name] = [sum(end[kind] - begin[kind] for end, begin in zip(after, before, strict=True)) / number for kind in (0, 1)]
        return result

    person = grown("person", ("entity", "person"), count, lambda: rows.add_people(records, count))
    groups = count // MEMBERS
    group = grown("group", ("entity", "family"), groups, lambda: rows.add_groups(records, groups, person, MEMBERS))
    sizes["member"] = [value / (groups * MEMBERS) for value in records.sizes("member")]
    device = records.run("SELECT min(id) FROM device")[0][0]
    content = grown("content", ("entity", "content"), count, lambda: rows.add_contents(records, group, person, count, device))
    grown("comment", ("entity", "comment"), count, lambda: rows.add_comments(records, content, person, count))
    return sizes


def measure_rates(server, seconds):
    """Uploads a second that the database takes: of one group, and of a thousand."""
    rates = {}
    for name, groups in (("hot", 1), ("spread", 1000)):
        address = server.new_database()
        run(os.environ["KINLOOMD"], "device", "add", "--person", "Ada", "--data", server.folder.parent / "keys", "--database", address)
        slots = Slots(rows.PostgresqlRecords(address), groups)
        rates[name] = uploads_a_second(address, THREADS, seconds, slots.take(60_000))
    return rates


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("file", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true", help="less of everything")
    arguments = parser.parse_args()
    contents, share, count = (5_000, 20, 5_000) if arguments.quick else (50_000, 2, 50_000)
    found = {"photo": PHOTO_BYTES, "members": MEMBERS, "operations": {}, "records": {}}
    # Processor time does not tell how fast a disk is.
    with folder(MEMORY) as where, contextlib.ExitStack() as stack:
        server = stack.enter_context(contextlib.closing(Postgresql(where)))
        store = stack.enter_context(contextlib.closing(Swift(where)))
        for name, engines in (("sqlite", {}), ("postgresql", {"server": server}), ("postgresql+store", {"server": server, "store": store})):
            setting = Setting(name, where, **engines)
            with contextlib.closing(setting.service):
                found["operations"][name] = measure_operations(setting, contents, share)
                if name == "sqlite":
                    found["connection"] = measure_connection(setting.service)
                if name != "postgresql+store":
                    setting.service.end()
                    found["records"][name] = measure_records(setting.records, count)
    with folder() as where, contextlib.closing(Postgresql(where)) as server:
        found["rates"] = measure_rates(server, 1 if arguments.quick else 5)
    arguments.file.write_text(json.dumps(found, indent=1) + "\n")


if __name__ == "__main__":
    main()
