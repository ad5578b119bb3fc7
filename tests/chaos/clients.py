# SPDX-License-Identifier: MIT
"""People who use the service while it fails, and write down what it has acknowledged."""

import hashlib
import random
import threading
import traceback

from ledger import Violated, require
from wire import Cut, picture

LARGE = 9_000_000  # bytes: more than one request to the store


class Client(threading.Thread):
    """Does one thing after the other until it is stopped. What must not be ends it, and stands in violation."""

    def __init__(self, name, device, group, ledger, seed, patient=True):
        """patient: it puts up with what is put off, and comes again."""
        super().__init__(name=name, daemon=True)
        self.patient = patient
        self.device, self.group, self.ledger = device, group, ledger
        self.random = random.Random(seed)
        self.seed = seed
        self.made = 0
        self.stopping = threading.Event()
        self.violation = None
        self.actions = [(self.upload, 25), (self.comment, 20), (self.read, 25), (self.list, 15), (self.delete_content, 6),
                        (self.delete_comment, 4)]

    def run(self):
        try:
            while not self.stopping.is_set():
                actions, weights = zip(*self.actions)
                try:
                    self.random.choices(actions, weights)[0]()
                except Cut as cut:
                    # Nobody is there: a moment later somebody may be.
                    require(self.patient, f"{self.name}: {cut}")
                    self.stopping.wait(0.05)
        except Violated as violation:
            self.violation = str(violation)
        except Exception:  # of the test itself: it is to be seen as well
            self.violation = traceback.format_exc()

    def passed(self, reply, what, also=()):
        """Whether it was done; False when it was put off. Anything else must not be."""
        if reply.status == 200:
            return True
        require((reply.is_passing and self.patient) or reply.status in also, f"{self.name}: {what}: {reply.status} {reply.body[:300]!r}")
        if reply.status == 503:
            require(reply.headers.get("Retry-After"), f"{self.name}: {what}: 503 without Retry-After")
        if not also or reply.is_passing:
            self.stopping.wait(0.05)
        return False

    def any_content(self):
        present = self.ledger.present()
        return self.random.choice(present) if present else None

    def upload(self):
        self.made += 1
        data = picture(f"{self.seed} {self.made}", LARGE if self.random.random() < 0.02 else 0)
        upload = self.ledger.begin_upload(self.device, data)
        slot = None
        for _ in range(self.random.randint(1, 4)):
            if slot is None or self.random.random() < 0.5:
                reply = self.device.reserve(self.group, len(data))
                if not self.passed(reply, "an upload is announced"):
                    continue
                slot = reply.field("uploadUrl")
            try:
                reply = self.device.send(slot, data)
            except Cut:
                if not self.patient:
                    raise
                continue
            # 409: the attempt before is still under way somewhere.
            if self.passed(reply, "an upload", also=(409,)):
                self.ledger.stored(upload, reply.field("contentId"), reply.field("contentUrl"))
                return

    def comment(self):
        content = self.any_content()
        if not content:
            return
        self.made += 1
        comment = self.ledger.begin_comment(content, f"comment {self.seed} {self.made}")
        reply = self.device.comment(content.content, comment.text)
        if self.passed(reply, "a comment", also=(404,)):
            comment.id = reply.field("commentId")
        elif reply.status == 404:
            require(content.deletion, f"{self.name}: content {content.content} takes no comment: it is not there")

    def read(self):
        content = self.any_content()
        if not content:
            return
        reply = self.device.medium(content.url)
        if self.passed(reply, f"content {content.content}", also=(404,)):
            require(hashlib.sha256(reply.body).hexdigest() == content.digest,
                    f"{self.name}: content {content.content} has other bytes")
        elif reply.status == 404:
            require(content.deletion, f"{self.name}: content {content.content} is not there")

    def list(self):
        before = self.ledger.present()
        reply = self.device.get(f"{self.group}/feeds?&search_before=latest&search_count=20000")
        if self.passed(reply, "the feed"):
            listed = {content.text for content in reply.document().iter("contentId")}
            for upload in before:
                require(upload.content in listed or upload.deletion, f"{self.name}: the feed lacks content {upload.content}")

    def delete_content(self):
        content = self.any_content()
        # A content is deleted by who has made it.
        if content and content.device is self.device and self.ledger.claim(content):
            if self.passed(self.device.post(f"{content.content}/delete"), f"content {content.content} is deleted"):
                content.deletion = "acknowledged"

    def delete_comment(self):
        present = self.ledger.present_comments()
        comment = self.random.choice(present) if present else None
        if comment and comment.text.startswith(f"comment {self.seed} ") and self.ledger.claim(comment):
            reply = self.device.post(f"{comment.id}/delete")
            if self.passed(reply, f"comment {comment.id} is deleted", also=(404,)):
                comment.deletion = "acknowledged"
            elif reply.status == 404:
                require(comment.upload.deletion, f"{self.name}: comment {comment.id} is not there")
