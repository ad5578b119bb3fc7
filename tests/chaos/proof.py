# SPDX-License-Identifier: MIT
"""That services take changes again when all is well: one that refused everything would lose nothing either."""

import concurrent.futures
import hashlib
import time

from ledger import Violated, require
from wire import Cut, picture

RECOVERY = 12  # seconds, until each service has answered everything well
BETWEEN = 0.2  # seconds, between two tries: each that is put off may leave a place for an upload behind, of which there are not many


class NotYet(Exception):
    """Something was put off."""


class Prover:
    """Asks each service itself, and not the balancer, which might ask another one. Safe for one thread."""

    def __init__(self, ports, device, group, ledger):
        """ports: of the services, by their names."""
        self.ports, self.group, self.ledger = ports, group, ledger
        self.devices = {name: device.at(port) for name, port in ports.items()}
        self.proofs = 0

    def prove(self):
        """Has an upload, a comment and a deletion answered well by each. Throws Violated when one does not in time."""
        self.proofs += 1
        with concurrent.futures.ThreadPoolExecutor() as pool:
            for proven in [pool.submit(self.prove_service, name) for name in self.ports]:
                proven.result()

    def prove_service(self, name):
        end = time.monotonic() + RECOVERY
        tries = 0
        while True:
            tries += 1
            try:
                self.ask_for_all(self.devices[name], f"proof {self.proofs} of {name}, {tries}")
                return
            except (Cut, NotYet) as problem:
                if time.monotonic() > end:
                    raise Violated(f"{name} takes no changes within {RECOVERY} seconds while everything is well: {problem}") from problem
                time.sleep(BETWEEN)

    def ask_for_all(self, device, word):
        """Of something new each time: what was cut off may have been done."""
        content = self.upload(device, f"{word}: kept")
        comment = self.ledger.begin_comment(content, word)
        comment.id = self.done(device.comment(content.content, word), "a comment").field("commentId")
        deleted = self.upload(device, f"{word}: deleted")
        self.ledger.claim(deleted)
        self.done(device.post(f"{deleted.content}/delete"), "a deletion")
        deleted.deletion = "acknowledged"

    def upload(self, device, seed):
        data = picture(seed)
        # No client's: none of them deletes it meanwhile.
        upload = self.ledger.begin_upload(None, data)
        slot = self.done(device.reserve(self.group, len(data)), "the announcement of an upload").field("uploadUrl")
        reply = self.done(device.send(slot, data), "an upload")
        self.ledger.stored(upload, reply.field("contentId"), reply.field("contentUrl"))
        seen = self.done(device.medium(upload.url), "a photo").body
        require(hashlib.sha256(seen).hexdigest() == upload.digest, f"content {upload.content} has other bytes")
        return upload

    @staticmethod
    def done(reply, what):
        if reply.is_passing:
            raise NotYet(f"{what}: {reply.status} {reply.body[:200]!r}")
        require(reply.status == 200, f"{what}: {reply.status} {reply.body[:200]!r} while everything is well")
        return reply


def require_growth(before, after):
    """before, after: counts of the ledger, at the beginning of a round and at its end."""
    require(sum(after) > sum(before), "nothing was acknowledged in the whole round")
