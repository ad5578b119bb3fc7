#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Records on PostgreSQL: a page beside SQLite's, and what the database does of uploads beside the same statements by pgbench.

Usage: bench_records [--quick] [--out FILE]
"""

import argparse
import contextlib
import os
import pathlib
import re
import tempfile
import time

import rows
from figures import Figures, in_turns, ratios
from servers import Kinloomd, Postgresql, folder, make_photo, run

THREADS = 16  # connections of a service, and as many requests that can change something at a time
MEMBERS = 5   # of a group
ORDERS = ("created_time", "upload_time", "content_id")


class Choice:
    """How much is measured."""

    def __init__(self, quick):
        self.contents = 50_000 if quick else 1_000_000
        self.pages = 4 if quick else 31
        self.rounds = 2 if quick else 7
        self.seconds = 1 if quick else 3
        self.slots = 40_000 if quick else 60_000  # more than anything fills in that time


# --- Pages --------------------------------------------------------------------------------------------------------------------


def with_large_group(where, records_of, database, contents):
    """A service with one group of so many photos. Returns the service and the group."""
    service = Kinloomd(where, database)
    group = service.device().create_group("Everything")
    service.end()
    records = records_of(database or where / "kinloomd.db")
    person = records.run(f"SELECT master_id FROM family WHERE id = {group}")[0][0]
    rows.add_contents(records, int(group), person, contents)
    records.settle()
    service.start()
    return service, group


def page_time(device, group, turn):
    order = ORDERS[next(turn) % len(ORDERS)]
    begin = time.perf_counter()
    reply = device.page(group, 1000, f"&search_base={order}")
    taken = time.perf_counter() - begin
    if reply.count(b"<content>") < 1000:
        raise RuntimeError("the page is not whole")
    return taken


def counter():
    number = 0
    while True:
        yield number
        number += 1


def measure_pages(figures, choice, where, server):
    with contextlib.ExitStack() as stack:
        sides, services = [], []
        for name, database, records_of in (("postgresql", server.new_database(), rows.PostgresqlRecords),
                                           ("sqlite", None, rows.SqliteRecords)):
            service, group = with_large_group(where / name, records_of, database, choice.contents)
            stack.callback(service.close)
            device, turn = service.device(), counter()
            services.append(service)
            sides.append(lambda device=device, group=group, turn=turn: page_time(device, group, turn))
            for _ in ORDERS:
                sides[-1]()
        before = [service.processor_seconds() for service in services]
        engine = server.processor_seconds()
        times = in_turns(choice.pages * len(ORDERS), sides)
        engine = server.processor_seconds() - engine
        spent = [service.processor_seconds() - begin for service, begin in zip(services, before, strict=True)]
    count = len(times[0])
    figures.add("engine_page", ratios(*times), "x", 1.5)
    for name, taken, seconds in zip(("postgresql", "sqlite"), times, spent, strict=True):
        figures.add(f"engine_page_{name}", [1e3 * value for value in taken], "ms")
        figures.add(f"engine_page_{name}_cpu", [1e3 * seconds / count], "ms")
    figures.add("engine_page_server_cpu", [1e3 * engine / count], "ms")


# --- Statements ---------------------------------------------------------------------------------------------------------------


def measure_statements(figures, where, server):
    service = Kinloomd(where / "statements", server.new_database())
    try:
        device = service.device()
        group = device.create_group("Everything")
        path = where / "statements.jpg"
        make_photo(path)
        photo, count = path.read_bytes(), 50
        content = device.upload(group, photo)
        addresses = [device.reserve(group, 0) for _ in range(count)]
        # What stands behind a photo's end makes it another one.
        photos = [photo + number.to_bytes(4, "big") for number in range(count)]
        for name, most, operation in (
                ("page", 3, lambda _: device.page(group, 1000)),
                ("comment", 4, lambda number: device.comment(content, f"comment {number}")),
                ("upload", 4, lambda number: device.send(addresses[number], photos[number]))):
            figures.add(f"statements_{name}", [statements_of(service, operation, count)], "", most)
    finally:
        service.close()


def statements_of(service, operation, count):
    """How many statements an operation sends, its transactions' ends not counted."""
    begin = service.metric("kinloomd_database_statements_total")
    for number in range(count):
        operation(number)
    return (service.metric("kinloomd_database_statements_total") - begin) / count


# --- Uploads ------------------------------------------------------------------------------------------------------------------


class Slots:
    """A database with groups and people, and slots that are filled from the first on."""

    def __init__(self, records, groups):
        self._records = records
        self.groups = groups
        self.person = rows.add_people(records, groups * MEMBERS)
        self.group = rows.add_groups(records, groups, self.person, MEMBERS)

    def take(self, count):
        """Announces so many photos. Returns what bench_uploads wants to know of them."""
        self.first = rows.add_slots(self._records, count, self.group, self.groups, self.person, MEMBERS)
        return [count, self.first, self.group, self.groups, self.person, MEMBERS]

    def filled(self, first):
        return self._records.run(f"SELECT count(*) FROM content WHERE id >= {first} AND state = {rows.STORED}")[0][0]


def uploads_a_second(address, threads, seconds, slots):
    filled, taken = run(os.environ["KINLOOM_BENCH_UPLOADS"], address, threads, seconds, *slots).split()
    return int(filled) / float(taken)


def transaction_of_upload(server, address, slots):
    """The statements of one upload as the service has sent them, as a script that sends them for each slot in turn."""
    server.log_statements(address, True)
    begin = len(server.log())
    place = slots.take(1)
    uploads_a_second(address, 1, 0, place)
    server.log_statements(address, False)
    lines = server.log()[begin:].splitlines()
    names = {str(slots.first): "slot", str(slots.group): "family", str(slots.person): "person", f"{slots.first:064d}": "digest"}
    script = [f"\\set i :n * {THREADS} + :client_id", "\\set n :n + 1", "\\set slot :first + :i",
              f"\\set family {slots.group} + :i % {slots.groups}",
              f"\\set person {slots.person} + :i % {slots.groups} * {MEMBERS} + :i / {slots.groups} % {MEMBERS}",
              f"\\set digest {10 ** 17} + :slot"]
    opened = False
    for line, following in zip(lines, [*lines[1:], ""], strict=True):
        found = re.search(r"LOG:  (?:statement|execute kinloomd_\d+): (.*)", line)
        if not found:
            continue
        text = found[1]
        opened = opened or text.startswith("BEGIN") and "WRITE" in text
        if opened:
            script.append(with_values(text, following, names) + ";")
        if opened and text == "COMMIT":
            return "\n".join(script) + "\n"
    raise RuntimeError("the log holds no upload")


def with_values(text, detail, names):
    """A statement with values in the places of its parameters: those that differ from slot to slot by name."""
    values = {}
    if "DETAIL:  parameters: " in detail:
        for number, value in re.findall(r"\$(\d+) = (NULL|'(?:[^']|'')*')", detail):
            bare = value.strip("'")
            kind = "text" if bare in names and names[bare] == "digest" or not bare.lstrip("-").isdigit() else "bigint"
            values[number] = value if value == "NULL" else f"{':' + names[bare] if bare in names else value}::{kind}"
    return re.sub(r"\$(\d+)", lambda place: values[place[1]], text)


def pgbench_rate(address, script, seconds, slots, count):
    slots.take(count)
    with tempfile.NamedTemporaryFile("w", suffix=".sql") as file:
        file.write(script)
        file.flush()
        output = run("pgbench", "-n", "-M", "prepared", "-c", THREADS, "-j", os.cpu_count(), "-T", seconds, "-f", file.name,
                     "-D", "n=0", "-D", f"first={slots.first}", address)
    done = int(re.search(r"actually processed: (\d+)", output)[1])
    # Those that were under way at the end are not counted.
    if not 0 < done <= slots.filled(slots.first) <= min(done + THREADS, count):
        raise RuntimeError("pgbench has not filled the slots that it was given")
    return float(re.search(r"tps = ([\d.]+)", output)[1])


def measure_uploads(figures, choice, server):
    for name, groups in (("hot", 1), ("spread", 1000)):
        address = server.new_database()
        run(os.environ["KINLOOMD"], "device", "add", "--person", "Ada", "--data", server.folder.parent / "keys", "--database", address)
        records = rows.PostgresqlRecords(address)
        slots = Slots(records, groups)
        script = transaction_of_upload(server, address, slots)
        records.settle()
        times = in_turns(choice.rounds, (
            lambda: uploads_a_second(address, THREADS, choice.seconds, slots.take(choice.slots)),
            lambda: pgbench_rate(address, script, choice.seconds, slots, choice.slots)))
        figures.add(f"engine_uploads_{name}", ratios(*times), "x", 0.7, "higher")
        figures.add(f"engine_uploads_{name}_rate", times[0], "1/s", None, "higher")
        figures.add(f"engine_uploads_{name}_rate_pgbench", times[1], "1/s", None, "higher")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="fewer rounds and less to look at")
    parser.add_argument("--out", type=pathlib.Path, help="the file that figures are appended to [standard error]")
    arguments = parser.parse_args()
    figures, choice = Figures(arguments.out), Choice(arguments.quick)
    with folder() as where, contextlib.closing(Postgresql(where)) as server:
        measure_statements(figures, where, server)
        measure_uploads(figures, choice, server)
        measure_pages(figures, choice, where, server)


if __name__ == "__main__":
    main()
