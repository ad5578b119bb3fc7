# SPDX-License-Identifier: MIT
"""What clients have asked for and what was acknowledged, and how a service is compared with that."""

import hashlib
import threading


class Violated(Exception):
    """What must hold did not."""


class Upload:
    def __init__(self, device, data):
        self.device = device  # of a client, which may delete it; None where only who has made it does
        self.digest = hashlib.sha256(data).hexdigest()
        self.size = len(data)
        self.content = None   # its number, once it was acknowledged or seen
        self.url = None       # of its bytes
        self.round = 0
        self.deletion = None  # "asked" from when on it may be gone, "acknowledged" from when on it must be


class Comment:
    def __init__(self, upload, text):
        self.upload = upload
        self.text = text
        self.id = None
        self.deletion = None


class Ledger:
    """All of it. Safe for several threads."""

    def __init__(self):
        self.lock = threading.Lock()
        self.uploads = {}   # by the digests of their bytes
        self.contents = {}  # those with a number, by it
        self.comments = {}  # by their texts
        self.round = 0

    def begin_upload(self, device, data):
        upload = Upload(device, data)
        upload.round = self.round
        with self.lock:
            self.uploads[upload.digest] = upload
        return upload

    def stored(self, upload, content, url):
        with self.lock:
            if upload.content not in (None, content):
                raise Violated(f"the bytes of content {upload.content} are content {content} too")
            upload.content, upload.url = content, url
            self.contents[content] = upload

    def begin_comment(self, upload, text):
        comment = Comment(upload, text)
        with self.lock:
            self.comments[text] = comment
        return comment

    def claim(self, thing):
        """Whether nobody has asked yet for the deletion of a content or comment. From now on somebody has."""
        with self.lock:
            mine = thing.deletion is None
            thing.deletion = thing.deletion or "asked"
            return mine

    def present(self):
        """Contents that must be there: acknowledged, and nobody has asked for their deletion."""
        with self.lock:
            return [upload for upload in self.contents.values() if upload.deletion is None]

    def present_comments(self):
        with self.lock:
            return [comment for comment in self.comments.values() if comment.id and comment.deletion is None]

    def counts(self):
        with self.lock:
            return (len(self.contents), sum(1 for comment in self.comments.values() if comment.id),
                    sum(1 for each in [*self.contents.values(), *self.comments.values()] if each.deletion == "acknowledged"))


def require(holds, text):
    if not holds:
        raise Violated(text)


def well(reply, what):
    require(reply.status == 200, f"{what}: {reply.status} {reply.body[:200]!r} while everything is well")
    return reply


class Auditor:
    """Compares a service that is well with the ledger."""

    def __init__(self, ledger, device, group):
        self.ledger, self.device, self.group = ledger, device, group

    def group_totals(self):
        for group in well(self.device.get("me/group.list?option_include=usage"), "the groups").document().iter("group"):
            if group.findtext("groupId") == self.group:
                return int(group.findtext("totalContentCount")), int(group.findtext("commentCount"))
        raise Violated("the group is not listed")

    def feed(self):
        reply = well(self.device.get(f"{self.group}/feeds?&search_before=latest&search_count=20000"), "the feed")
        return {content.findtext("contentId"): content for content in reply.document().iter("content")}

    def audit(self, everything):
        """everything: also the bytes and comments of what older rounds have left."""
        for _ in range(20):
            before = self.group_totals()
            feed = self.feed()
            if self.group_totals() == before:
                break  # nothing that was cut off ends meanwhile
        else:
            raise Violated("the group never comes to rest")
        contents, comments = before
        require(contents == len(feed), f"the group counts {contents} contents, and its feed has {len(feed)}")
        listed = sum(int(content.findtext("commentCount")) for content in feed.values())
        require(comments == listed, f"the group counts {comments} comments, and its contents {listed}")
        self.identify(feed)
        with self.ledger.lock:
            known = list(self.ledger.contents.values())
        for upload in known:
            if upload.deletion is None:
                require(upload.content in feed, f"content {upload.content} was acknowledged and is not in the feed")
            if upload.deletion == "acknowledged":
                require(upload.content not in feed, f"content {upload.content} was deleted and is in the feed")
            if upload.content in feed and (everything or upload.round == self.ledger.round):
                self.audit_content(upload, feed[upload.content])

    def identify(self, feed):
        """Contents that nobody has acknowledged are those of uploads whose answer was lost, once each."""
        for number, content in feed.items():
            if number in self.ledger.contents:
                continue
            url = content.findtext(".//contentUrl")
            digest = hashlib.sha256(well(self.device.medium(url), f"content {number}").body).hexdigest()
            require(digest in self.ledger.uploads, f"content {number} is nobody's")
            self.ledger.stored(self.ledger.uploads[digest], number, url)

    def audit_content(self, upload, content):
        number = upload.content
        data = well(self.device.medium(upload.url), f"content {number}").body
        require(hashlib.sha256(data).hexdigest() == upload.digest, f"content {number} has other bytes: {len(data)} of {upload.size}")
        reply = well(self.device.get(f"{number}/comment.list?"), f"the comments of {number}")
        texts = [comment.findtext("commentText") for comment in reply.document().iter("comment")]
        require(len(texts) == int(content.findtext("commentCount")), f"content {number} counts other comments than it lists")
        require(len(set(texts)) == len(texts), f"content {number} has a comment twice")
        with self.ledger.lock:
            mine = {comment.text: comment for comment in self.ledger.comments.values() if comment.upload is upload}
        for text in texts:
            require(text in mine, f"content {number} has a comment that is nobody's")
            require(mine[text].deletion != "acknowledged", f"content {number} has a comment that was deleted")
        for text, comment in mine.items():
            require(text in texts or not comment.id or comment.deletion, f"content {number} lacks comment {comment.id}")
