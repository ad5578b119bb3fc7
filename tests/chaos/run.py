#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Rounds of failures over a cluster that is in use, and what must hold after each. scripts/chaos tells how it is run."""

import argparse
import concurrent.futures
import os
import random
import shutil
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "engines"))

import failover  # noqa: E402
import rolling  # noqa: E402
from clients import Client  # noqa: E402
from cluster import Cluster, Failed  # noqa: E402
from drills import Drills  # noqa: E402
from ending import exit_when_ended  # noqa: E402
from faults import disks_of, possible  # noqa: E402
from ledger import Auditor, Ledger, Violated, require  # noqa: E402
from proof import Prover, require_growth  # noqa: E402
from wire import Device  # noqa: E402

CLIENTS = 4
LASTS = (2.0, 4.0)    # seconds, a round's failures
FAULTS = (2, 5)       # of a round
FAULT_LASTS = (0, 2)  # seconds
LATE = 5              # seconds for which a store may still keep what it was sent
UNRECORDED = "without record"
COUNTS = ("people ", "in the trash ")  # lines of `kinloomd check` that begin so tell what there is


def plan(source, faults):
    """When what begins and when it is mended: pairs of a time and something to do, with a word for it."""
    steps = []
    taken = set()
    for _ in range(source.randint(*FAULTS)):
        fault = source.choices([fault for fault, _ in faults], [weight for _, weight in faults])[0]
        begins = source.uniform(0.2, LASTS[0])
        ends = begins + source.uniform(*FAULT_LASTS)
        # One member, one failure.
        if fault.member.name not in taken:
            taken.add(fault.member.name)
            steps += [(begins, str(fault), fault.begin), (ends, f"mend {fault.member.name}", fault.mend)]
    return sorted(steps, key=lambda step: step[0])


def problems_in(text):
    """What `kinloomd check` has found, a line each, without its counts and the sum at its end."""
    return [line for line in text.splitlines() if not line.startswith(COUNTS) and not line.endswith(" problems")]


class Chaos:
    def __init__(self, arguments, cluster):
        self.arguments = arguments
        self.cluster = cluster
        self.disks = {}
        self.ledger = Ledger()

    def mount_disks(self):
        for name, disk in disks_of(self.cluster).items():
            refusal = disk.mount()
            if refusal:
                print(f"the disk of {name} is not filled: {refusal}", flush=True)
            else:
                self.disks[name] = disk

    def start(self):
        self.cluster.start()
        port = self.cluster.ports["balancer"]
        self.devices = [Device(port, self.administer("device", "add", "--person", person), address)
                        for person, address in (("Anna", "127.0.0.2"), ("Ben", "127.0.0.3"))]
        reply = self.devices[0].post("me/group.create", group_name="Family")
        self.group = reply.field("groupId")
        self.administer("member", "add", self.group, "Ben")
        self.auditor = Auditor(self.ledger, self.devices[0], self.group)
        self.prover = Prover({service.name: self.cluster.ports[service.name] for service in self.cluster.services}, self.devices[0],
                             self.group, self.ledger)

    def stop(self):
        self.cluster.stop()
        for disk in self.disks.values():
            disk.unmount()

    def administer(self, *arguments):
        status, text = self.cluster.administer(*arguments)
        require(status == 0, f"kinloomd {' '.join(arguments)}: exit code {status}\n{text}")
        return text

    def round(self, number):
        source = random.Random(f"{self.arguments.seed}/{number}")
        self.ledger.round = number
        steps = plan(source, possible(self.cluster, self.disks))
        clients = [Client(f"client {i}", self.devices[i % len(self.devices)], self.group, self.ledger,
                          f"{self.arguments.seed}/{number}/{i}") for i in range(CLIENTS)]
        lasts = source.uniform(*LASTS)
        print(f"round {number}: " + ", ".join(f"{word} at {at:.1f}" for at, word, _ in steps), flush=True)
        before = self.ledger.counts()
        begin = time.monotonic()
        for client in clients:
            client.start()
        for at, _, act in steps:
            time.sleep(max(0.0, begin + at - time.monotonic()))  # the plan's own time, which no event stands for
            act()
        time.sleep(max(0.0, begin + lasts - time.monotonic()))
        for client in clients:
            client.stopping.set()
        self.cluster.begin_all()
        for client in clients:
            client.join()
            require(not client.violation, client.violation)
        require_growth(before, self.ledger.counts())
        self.prover.prove()
        used = time.monotonic() - begin
        self.auditor.audit(everything=False)
        self.check_at_rest()
        contents, comments, deleted = self.ledger.counts()
        print(f"    {contents} contents, {comments} comments, {deleted} deletions acknowledged; {used:.1f} s, and "
              f"{time.monotonic() - begin - used:.1f} s for looking at all of it", flush=True)

    def check_at_rest(self):
        """Both ways, with no service running: no record without medium, and, collected, no medium without record."""
        with concurrent.futures.ThreadPoolExecutor() as pool:
            list(pool.map(lambda service: service.end(), self.cluster.services))
        # What a service that was killed had sent, a store may keep a moment later.
        end = time.monotonic() + LATE
        while True:
            self.administer("collect", "--older-than", "0")
            status, text = self.cluster.administer("check")
            if status == 0 or time.monotonic() > end or not all(UNRECORDED in line for line in problems_in(text)):
                break
        require(status == 0, f"kinloomd check: {text}")
        self.cluster.begin_all()

    def run_in_turn(self):
        self.start()
        rolling.drill(self.cluster, self.devices, self.group, self.ledger, self.auditor, self.prover)
        failover.drill(self.cluster, self.devices, self.group, self.ledger, self.auditor, self.prover)

    def run(self):
        self.mount_disks()
        self.start()
        if self.arguments.drills:
            Drills(self.cluster, self.devices[0], self.group, self.ledger, self.prover).run()
        for number in range(self.arguments.first, self.arguments.first + self.arguments.rounds):
            self.round(number)
        self.auditor.audit(everything=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", type=int, default=20)
    parser.add_argument("--first", type=int, default=1)
    parser.add_argument("--drills", action="store_true")
    parser.add_argument("--seed", type=int, default=random.randrange(1_000_000))
    parser.add_argument("--kinloomd", required=True)
    arguments = parser.parse_args()
    exit_when_ended()
    if arguments.drills:
        attempt(arguments, lambda folder: failover.ClusterWithStandby(folder, arguments.kinloomd), Chaos.run_in_turn)
    attempt(arguments, lambda folder: Cluster(folder, arguments.kinloomd, lines=True), Chaos.run)
    print(f"{arguments.rounds} rounds, and everything that was acknowledged is there")


def attempt(arguments, make_cluster, run):
    """Runs in a folder of its own, which stays when something is found."""
    folder = tempfile.mkdtemp(prefix="kinloom-chaos-")
    chaos = Chaos(arguments, make_cluster(folder))
    print(f"seed {arguments.seed}, in {folder}", flush=True)
    try:
        run(chaos)
    except (Violated, Failed) as problem:
        print(f"\nscripts/chaos: {problem}", file=sys.stderr)
        print(f"    Again: scripts/chaos --seed {arguments.seed} --rounds {arguments.rounds} --first {arguments.first}"
              f"{' --drills' if arguments.drills else ''}\n"
              f"    What the members said is in {folder}/run, and what they keep beside it.", file=sys.stderr)
        keep(chaos)
        sys.exit(1)
    except BaseException:
        chaos.stop()
        shutil.rmtree(folder, ignore_errors=True)
        raise
    chaos.stop()
    shutil.rmtree(folder)


def keep(chaos):
    """Ends the programs; what lies on disks in memory is copied out of them."""
    chaos.cluster.stop()
    for disk in chaos.disks.values():
        copy = f"{disk.place}.kept"
        shutil.copytree(disk.place, copy, symlinks=True, ignore_dangling_symlinks=True)
        disk.unmount()
        os.rmdir(disk.place)
        os.rename(copy, disk.place)


if __name__ == "__main__":
    main()
