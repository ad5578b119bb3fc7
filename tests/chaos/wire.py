# SPDX-License-Identifier: MIT
"""A device of the service, as far as the crash test needs one: with a signer and a reader of its own."""

import copy
import hashlib
import hmac
import http.client
import random
import re
import struct
import urllib.parse
import xml.etree.ElementTree
import zlib

SERVICE = "/openapi/service/kinloom/"
BOUNDARY = "------------------------0123456789abcdef"
PATIENCE = 40  # seconds, beyond all of the service's own time-outs


class Cut(Exception):
    """No whole reply has come: whether something was done is unknown."""


class Reply:
    def __init__(self, status, headers, body):
        self.status, self.headers, self.body = status, headers, body

    @property
    def is_passing(self):
        """Another time may be better; the balancer says so too."""
        return self.status in (502, 503, 504)

    def document(self):
        return xml.etree.ElementTree.fromstring(self.body)

    def field(self, name):
        found = self.document().find(f".//{name}")
        return found.text if found is not None else ""


class Device:
    """One that kinloomd has printed the section of."""

    def __init__(self, port, section, address):
        """address: where it asks from. Two devices have two: at one, the second gets ports that the first has had a moment before, and of
        a comment that comes without a signature nobody can tell then whose it is."""
        self.port, self.address = port, address
        self.app_id, self.token, self.duid = (re.search(rf'^{name} = "(.*)"$', section, re.MULTILINE).group(1)
                                              for name in ("app_id", "AuthToken", "duid"))

    def at(self, port):
        """The same device, asking somebody else."""
        other = copy.copy(self)
        other.port = port
        return other

    def authorization(self):
        signature = hmac.new(self.app_id.encode(), self.token.encode() + b"\0", hashlib.sha1).hexdigest()
        return (f' auth_identifier="KL_AUTH_V1", app_id="{self.app_id}", app_type="dtv", token="{self.token}", token_type="user", '
                f'duid="{self.duid}", signature="{signature}"')

    def ask(self, method, target, body=b"", headers=()):
        """Asks once. Throws Cut when there is no whole reply."""
        return self.ask_in_turn([(method, target, body, {"Authorization": self.authorization(), **dict(headers)})])

    def ask_in_turn(self, requests):
        """Asks one after the other on a connection, until one is not answered well. Returns the last reply."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE, source_address=(self.address, 0))
        try:
            for method, target, body, headers in requests:
                connection.request(method, target, body or None, headers)
                answer = connection.getresponse()
                reply = Reply(answer.status, answer.headers, answer.read())
                if reply.status != 200:
                    break
            return reply
        except (OSError, http.client.HTTPException) as error:
            raise Cut(f"{method} {target}: {error!r}") from error
        finally:
            connection.close()

    def get(self, path):
        return self.ask("GET", SERVICE + path)

    def post(self, path, **form):
        return self.ask("POST", SERVICE + path, urllib.parse.urlencode(form).encode())

    def comment(self, content, text):
        """As devices do it: without a signature, behind something signed on the same connection, whichever service gets which."""
        form = urllib.parse.urlencode({"commentText": text}).encode()
        return self.ask_in_turn([("GET", f"{SERVICE}{content}/view", b"", {"Authorization": self.authorization()}),
                                 ("POST", f"{SERVICE}{content}/comment", form, {"appToken": ""})])

    def reserve(self, group, size):
        return self.post(f"{group}/upload", type="photo", file_size=size)

    def send(self, upload_url, picture):
        body = (f'--{BOUNDARY}\r\nContent-Disposition: form-data; name="filename"; filename="a.png"\r\n'
                "Content-Type: image/png\r\n\r\n").encode() + picture + f"\r\n--{BOUNDARY}--\r\n".encode()
        return self.ask("POST", target_of(upload_url), body, {"Content-Type": f"multipart/form-data; boundary={BOUNDARY}"}.items())

    def medium(self, url):
        return self.ask("GET", target_of(url))


def target_of(url):
    return url[url.index("/", url.index("//") + 2):]


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def picture(seed, size=0):
    """The bytes of a PNG file that nobody else has; size: at least so many."""
    source = random.Random(seed)
    width, height = 24, 16
    rows = b"".join(b"\0" + source.randbytes(width * 3) for _ in range(height))
    bytes_ = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
              chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))
    return bytes_ + source.randbytes(max(0, size - len(bytes_)))
