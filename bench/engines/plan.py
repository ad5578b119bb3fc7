#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What so many people need, computed from what was measured and from habits that are assumed.

Usage: plan.py COSTS [--docs FOLDER]
    COSTS    what bench_costs has written
    --docs   puts the tables into that folder's scale.md, instead of printing them

Every formula that the tables show is the one that is computed: to plan with other habits, change them here and run this again.
"""

import argparse
import json
import math
import pathlib

PEOPLE = (10**4, 10**6, 10**8)
ENGINES = ("sqlite", "postgresql+store", "postgresql+store")  # of each
OF_ENGINE = {"sqlite": "SQLite, folder", "postgresql": "PostgreSQL, folder", "postgresql+store": "PostgreSQL, store"}
MARKS = ("<!-- {}: written by bench/engines/plan.py -->", "<!-- {}: end -->")

# Name, value, what it is.
HABITS = (
    ("memberships", 2, "groups that a person is a member of"),
    ("members", 5, "people in a group"),
    ("photos", 2, "photos that a person sends in a day"),
    ("comments", 1, "comments that a person writes in a day"),
    ("openings", 5, "times a day that a person looks: the list of groups, a page of 30 and its tiles, five large pictures, the "
                    "comments of one"),
    ("fetched", 0.2, "originals that a person fetches in a day"),
    ("televisions", 0.4, "for each person"),
    ("hours", 4, "in a day that a television is on; it asks every 20 seconds what is new"),
    ("shown", 40, "pictures in a day that a television has not on its disk yet"),
    ("peak", 3, "times the mean: the busiest second"),
    ("years", 5, "until the sizes that are told"),
    ("node_cores", 8, "processors of a computer that runs the service"),
    ("node_connections", 10_000, "connections of such a computer, `--max-connections`"),
    ("node_gbit", 10, "its network, Gbit/s"),
    ("database_node_cores", 32, "processors of a computer that runs the database"),
    ("database_node_tb", 4, "its disk, TB"),
    ("database_node_log", 200, "MB of its log that it writes and sends on in a second"),
    ("used", 0.5, "of a computer at the peak, so that another one can fail"),
)

# Operation, how often in a person's day.
DAY = (
    ("groups", "openings"),
    ("page_30", "openings"),
    ("tile", "openings * 30"),
    ("screen", "openings * 5 + televisions * shown"),
    ("comments", "openings"),
    ("comment", "comments"),
    ("upload", "photos"),
    ("original", "fetched"),
    ("poll", "televisions * hours * 3600 / 20"),
)

# Name, formula, unit, what it is. Later ones use earlier ones.
QUANTITIES = (
    ("groups", "people * memberships / members", "", "groups"),
    ("requests_at_peak", "people * requests / 86400 * peak", "1/s", "operations"),
    ("uploads_at_peak", "people * photos / 86400 * peak", "1/s", "uploads"),
    ("statements_at_peak", "people * statements / 86400 * peak", "1/s", "statements to the database"),
    ("service_cores", "people * (service + pictures) / 1e3 / 86400 * peak", "", "processors of the service"),
    ("database_cores", "people * database / 1e3 / 86400 * peak", "", "processors of the database"),
    ("store_cores", "people * store / 1e3 / 86400 * peak", "", "processors of the store that was measured"),
    ("log_mb", "people * log / 1e6 / 86400 * peak", "MB/s", "log of the database"),
    ("in_gbit", "people * photos * photo * 8 / 1e9 / 86400 * peak", "Gbit/s", "network, from devices"),
    ("out_gbit", "people * sent * 8 / 1e9 / 86400 * peak", "Gbit/s", "network, to devices"),
    ("media_gbit", "people * sent_media * 8 / 1e9 / 86400 * peak", "Gbit/s", "of it media, which `--media-redirect` takes off the service"),
    ("televisions_on", "people * televisions * min(1, hours / 24 * peak)", "", "televisions that are on at the peak, a connection each"),
    ("connections_gb", "televisions_on * connection / 1e9", "GB", "memory that these connections take"),
    ("records_gb", "(people * (person + memberships * member) + groups * group + people * 365 * years * (photos * content + comments * "
                   "comment_row)) / 1e9", "GB", "records, with their indexes"),
    ("media_tb", "people * 365 * years * photos * (photo + thumbnails) / 1e12", "TB", "media"),
    ("processes", "max(1, ceil(service_cores / (node_cores * used)), ceil(televisions_on / node_connections), "
                  "ceil((in_gbit + out_gbit - media_gbit) / (node_gbit * used)))", "", "computers for the service, with "
                  "`--media-redirect`"),
    ("by_processor", "database_cores / (database_node_cores * used)", "", "databases, by their processors"),
    ("by_size", "records_gb / 1e3 / database_node_tb", "", "databases, by their size"),
    ("by_log", "log_mb / database_node_log", "", "databases, by their log"),
    ("databases", "max(1, ceil(max(by_processor, by_size, by_log)))", "", "databases, each with its replicas"),
)


def number(value):
    """Three significant digits, and no exponent."""
    if isinstance(value, str):
        return value
    if isinstance(value, int) or value == 0:
        return f"{value:,.0f}"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{round(value, 2 - math.floor(math.log10(abs(value)))):,.{digits}f}" if value < 1e15 else f"{value:.3g}"


def table(headings, rows):
    lines = ["| " + " | ".join(headings) + " |", "|" + "---|" * len(headings)]
    return "\n".join(lines + ["| " + " | ".join(number(cell) for cell in row) + " |" for row in rows])


def compute(formula, names):
    return eval(formula, {"__builtins__": {}, "ceil": math.ceil, "max": max, "min": min}, names)  # a constant of this file


KINDS = (("service", "service, ms"), ("pictures", "pictures, ms"), ("database", "database, ms"), ("store", "store, ms"),
         ("statements", "statements"), ("read", "rows read"), ("written", "rows written"), ("log", "log, bytes"), ("sent", "sent, bytes"))


def cost_table(found):
    rows = [[f"`{name}`", OF_ENGINE[engine], *(costs.get(kind, "") for kind, _ in KINDS)]
            for name in found["operations"]["sqlite"] for engine in OF_ENGINE for costs in [found["operations"][engine][name]]]
    return table(["operation", "engines", *(heading for _, heading in KINDS)], rows)


def record_table(found):
    rows = [[name, *(value for engine in ("sqlite", "postgresql") for value in found["records"][engine][name])]
            for name in found["records"]["sqlite"]]
    return table(["one", "SQLite: row", "indexes", "PostgreSQL: row", "indexes"], rows) + "\n\n" + table(
        ["measured", "", ""],
        [["uploads into one group", found["rates"]["hot"], "1/s"], ["uploads into 1,000 groups", found["rates"]["spread"], "1/s"],
         ["memory of a connection that rests", found["connection"], "bytes"]])


def names_for(found, people, engine):
    """Everything that a formula may name."""
    names = {name: value for name, value, _ in HABITS} | {"people": people, "photo": found["photo"], "connection": found["connection"]}
    sizes = {name: sum(value) for name, value in found["records"]["sqlite" if engine == "sqlite" else "postgresql"].items()}
    names |= {"person": sizes["person"], "member": sizes["member"], "group": sizes["group"], "content": sizes["content"],
              "comment_row": sizes["comment"]}
    costs = found["operations"][engine]
    # Of the four sizes the two that are looked at most take nearly everything.
    names["thumbnails"] = costs["screen"]["sent"] + costs["tile"]["sent"]
    times = {name: compute(often, names) for name, often in DAY}
    for kind, _ in KINDS:
        names[kind] = sum(count * costs[name].get(kind, 0) for name, count in times.items())
    names["sent_media"] = sum(times[name] * costs[name]["sent"] for name in ("tile", "screen", "original"))
    names["requests"] = sum(times.values())
    return names


def day_table(found):
    names = names_for(found, 1, "postgresql+store")
    costs = found["operations"]["postgresql+store"]
    rows = []
    for name, often in DAY:
        count = compute(often, names)
        rows.append([f"`{name}`", f"`{often}`", count, *(count * costs[name].get(kind, 0) for kind, _ in KINDS if kind not in ("read", "written"))])
    total = ["together", "", names["requests"], *(names[kind] for kind, _ in KINDS if kind not in ("read", "written"))]
    return table(["operation", "in a person's day", "", *(heading for kind, heading in KINDS if kind not in ("read", "written"))],
                 [*rows, total])


def plan_table(found):
    columns = []
    for people, engine in zip(PEOPLE, ENGINES, strict=True):
        names = names_for(found, people, engine)
        for name, formula, _, _ in QUANTITIES:
            names[name] = compute(formula, names)
        columns.append(names)
    rows = [["records and media on", "", "", *(OF_ENGINE[engine] for engine in ENGINES)]]
    rows += [[f"{what}" + (f", {unit}" if unit else ""), f"`{name}`", f"`{formula}`", *(names[name] for names in columns)]
             for name, formula, unit, what in QUANTITIES]
    rows.append(["what is full first", "", "the largest of these", *(first_full(names) for names in columns)])
    return table(["", "", "", *(f"{people:,} people" for people in PEOPLE)], rows)


def first_full(names):
    """Which part of one computer for each would be used most, and how far."""
    shares = {"the service's processor": names["service_cores"] / names["node_cores"],
              "the service's connections": names["televisions_on"] / names["node_connections"],
              "the service's network": (names["in_gbit"] + names["out_gbit"]) / names["node_gbit"],
              "the database's processor": names["database_cores"] / names["database_node_cores"],
              "the database's disk": names["records_gb"] / 1e3 / names["database_node_tb"],
              "the database's log": names["log_mb"] / names["database_node_log"]}
    name, share = max(shares.items(), key=lambda entry: entry[1])
    return f"{name}: {number(share)} of one computer's"


def habit_table(_):
    return table(["habit", "value", ""], [[f"`{name}`", value, what] for name, value, what in HABITS])


TABLES = {"costs": cost_table, "records": record_table, "habits": habit_table, "day": day_table, "plan": plan_table}


def write_docs(page, found):
    content = page.read_text()
    for name, make in TABLES.items():
        begin, end = (mark.format(name) for mark in MARKS)
        before, rest = content.split(begin)
        content = f"{before}{begin}\n\n{make(found)}\n\n{end}{rest.split(end)[1]}"
    page.write_text(content)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("costs", type=pathlib.Path)
    parser.add_argument("--docs", type=pathlib.Path)
    arguments = parser.parse_args()
    found = json.loads(arguments.costs.read_text())
    if arguments.docs:
        write_docs(arguments.docs / "scale.md", found)
    else:
        print("\n\n".join(f"{name}:\n\n{make(found)}" for name, make in TABLES.items()))


if __name__ == "__main__":
    main()
