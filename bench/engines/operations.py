# SPDX-License-Identifier: MIT
"""What people and televisions do all day, as operations on a service that can be done again and again."""

import os

import rows
from device import field, target_of
from servers import make_photo

PHOTO_BYTES = 3_000_000
GROUPS = 2     # of the person
COMMENTS = 30  # on the content that is looked at


class Household:
    """A person with a service, some groups, one of which holds very many photos, and one photo that was really sent."""

    def __init__(self, service, records, contents):
        self.service = service
        device = service.device()
        self.groups = [device.create_group(f"Group {number}") for number in range(GROUPS)]
        self.group = self.groups[0]
        service.end()
        master = records.run(f"SELECT master_id FROM family WHERE id = {self.group}")[0][0]
        rows.add_contents(records, int(self.group), master, contents)
        records.settle()
        service.start()
        path = service.data / "photo.jpg"
        make_photo(path, 4000, 3000)
        self._photo = path.read_bytes()
        path.unlink()
        # What stands behind a photo's end is sent and kept, and changes nothing else.
        self._photo += os.urandom(PHOTO_BYTES - 8 - len(self._photo))
        self.sent = 0
        self.begin()
        self.content = self.upload()
        service.await_thumbnails()
        for number in range(COMMENTS):
            self.device.comment(self.content, f"comment {number}")
        newest = self.device.page(self.group, 1)
        self.original = target_of(field(newest, "contentUrl"))
        self.screen = target_of(field(newest, "contentThumbnail_1920X1080"))
        self.tile = target_of(field(newest, "contentThumbnail_540X405"))

    def begin(self):
        """Connects to the service, which has been started again."""
        self.device = self.service.device()

    def upload(self):
        self.sent += 1
        return self.device.upload(self.group, self._photo + self.sent.to_bytes(8, "big"))

    def poll(self):
        """What a television asks every 20 seconds: what is new in each group, and the list of groups."""
        for group in self.groups:
            self.device.get(f"{group}/feeds?search_after={self.content if group == self.group else 'earliest'}"
                            "&search_base=upload_time&search_count=1000")
        self.device.get("me/group.list")

    def comment(self):
        self.sent += 1
        self.device.comment(self.content, f"comment {self.sent}")


# Name, how often it is done for a measurement, what it is.
OPERATIONS = (
    ("groups", 2000, lambda home: home.device.get("me/group.list")),
    ("poll", 500, lambda home: home.poll()),
    ("page_30", 2000, lambda home: home.device.page(home.group, 30)),
    ("page_1000", 100, lambda home: home.device.page(home.group, 1000)),
    ("comments", 2000, lambda home: home.device.get(f"{home.content}/comment.list?search_count=30")),
    ("comment", 1000, lambda home: home.comment()),
    ("upload", 60, lambda home: home.upload()),
    ("original", 500, lambda home: home.device.request("GET", home.original)),
    ("screen", 1000, lambda home: home.device.request("GET", home.screen)),
    ("tile", 2000, lambda home: home.device.request("GET", home.tile)),
)
