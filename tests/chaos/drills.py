# SPDX-License-Identifier: MIT
"""An engine that stands still for a while: nobody hangs, what does not need it goes on, and so does all by itself afterwards."""

import concurrent.futures
import time

from ledger import require
from wire import Cut, picture

CROWD = 40          # requests at a time
LONGEST = 32        # seconds, until the last of them has its answer
QUICK = 3           # seconds, for what needs nothing of the engine
RECOVERY = 12       # seconds, until all is well again


def timed(ask):
    begin = time.monotonic()
    try:
        reply = ask()
        return reply, time.monotonic() - begin
    except Cut as cut:
        return cut, time.monotonic() - begin


def require_put_off(outcomes, word):
    for reply, seconds in outcomes:
        require(not isinstance(reply, Cut) and reply.status == 503 and reply.headers.get("Retry-After"),
                f"{word}: {reply if isinstance(reply, Cut) else (reply.status, reply.body[:200])} after {seconds:.1f} s")
        require(seconds < LONGEST, f"{word}: an answer took {seconds:.1f} s")


class Drills:
    def __init__(self, cluster, device, group, ledger, prover):
        self.cluster, self.device, self.group, self.ledger, self.prover = cluster, device, group, ledger, prover
        self.url = None

    def prepare(self):
        data = picture("drill")
        upload = self.ledger.begin_upload(self.device, data)
        reply = self.device.send(self.device.reserve(self.group, len(data)).field("uploadUrl"), data)
        require(reply.status == 200, f"an upload: {reply.status}")
        self.url = reply.field("contentUrl")
        self.ledger.stored(upload, reply.field("contentId"), self.url)

    def feed(self):
        return self.device.get(f"{self.group}/feeds?&search_before=latest&search_count=10")

    def medium(self):
        return self.device.medium(self.url)

    def health(self):
        """What all services say of themselves, at the same time."""
        with concurrent.futures.ThreadPoolExecutor() as pool:
            return list(pool.map(lambda service: service.health(20), self.cluster.services))

    def still(self, name, crowd, says, meanwhile=None):
        """crowd: what needs the engine; says: how services call it; meanwhile: what needs it not."""
        member = self.cluster.members[name]
        member.hold()
        begin = time.monotonic()
        try:
            with concurrent.futures.ThreadPoolExecutor(CROWD) as pool:
                asked = [pool.submit(timed, crowd) for _ in range(CROWD)]
                if meanwhile:
                    for _ in range(20):
                        reply, seconds = timed(meanwhile)
                        require(not isinstance(reply, Cut) and reply.status == 200 and seconds < QUICK,
                                f"{name} stands still: {reply} after {seconds:.1f} s")
                for status, text in self.health():
                    require(status == 503 and text == f"the {says} does not answer\n",
                            f"{name} stands still, and services say {status} {text!r}")
                require_put_off([each.result() for each in asked], f"{name} stands still")
        finally:
            member.go_on()
        stood = time.monotonic() - begin
        back = time.monotonic()
        self.cluster.await_well(RECOVERY)
        for _ in range(20):
            require(self.feed().status == 200 and self.medium().status == 200, f"{name} is back, and not everything is well")
        self.prover.prove()
        print(f"drill: {name} stood still for {stood:.0f} s, all was well {time.monotonic() - back:.1f} s later", flush=True)

    def run(self):
        self.prepare()
        self.still("store-line", self.medium, "store of media", self.feed)
        self.still("database-line", self.feed, "database")
        self.still("postgresql", self.feed, "database")
