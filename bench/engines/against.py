#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Two builds of the service, each with its records and media in a folder, side by side: what an operation costs the one, beside what
it costs the other.

Usage: bench_against --base KINLOOMD [--quick] [--out FILE]
    --base    the program of the build that this one is compared with
"""

import argparse
import pathlib
import time

import rows
from figures import Figures, in_turns, ratios
from operations import OPERATIONS, Household
from servers import MEMORY, Kinloomd, folder

GOAL = 1.05
SHARE = 20  # of an operation's count are done in a round


def round_of(home, operation, count):
    """Seconds of so many operations."""
    begin = time.perf_counter()
    for _ in range(count):
        operation(home)
    taken = time.perf_counter() - begin
    home.service.await_thumbnails()
    return taken


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--base", type=pathlib.Path, required=True)
    parser.add_argument("--quick", action="store_true", help="fewer rounds")
    parser.add_argument("--out", type=pathlib.Path, help="the file that figures are appended to [standard error]")
    arguments = parser.parse_args()
    figures = Figures(arguments.out)
    rounds, contents = (4, 20_000) if arguments.quick else (24, 100_000)
    # A disk would take most of the time of what changes something, and another one each time.
    with folder(MEMORY) as where:
        services = [Kinloomd(where / "present"), Kinloomd(where / "base", program=arguments.base)]
        try:
            homes = [Household(service, rows.SqliteRecords(service.data / "kinloomd.db"), contents) for service in services]
            for name, count, operation in OPERATIONS:
                sides = [lambda home=home: round_of(home, operation, max(1, count // SHARE)) for home in homes]
                for side in sides:
                    side()
                before = [service.processor_seconds() for service in services]
                times = in_turns(rounds, sides)
                spent = [service.processor_seconds() - begin for service, begin in zip(services, before, strict=True)]
                figures.add(f"against_{name}", ratios(*times), "x", GOAL)
                figures.add(f"against_{name}_cpu", [spent[0] / spent[1]], "x", GOAL)
            figures.add("against_memory", [services[0].status("VmHWM") / services[1].status("VmHWM")], "x", GOAL)
        finally:
            for service in services:
                service.close()


if __name__ == "__main__":
    main()
