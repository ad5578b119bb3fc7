# SPDX-License-Identifier: MIT
"""A device that speaks the service's protocol, and addresses at a store that anybody may use for a while."""

import hashlib
import hmac
import http.client
import re
import secrets
import time
import urllib.parse

BASE = "/openapi/service/kinloom/"
BOUNDARY = "------------------------" + secrets.token_hex(12)


class Device:
    """Sends signed requests on a connection of its own. For one thread at a time."""

    def __init__(self, port, credentials):
        self._connection = http.client.HTTPConnection("127.0.0.1", port, timeout=600)
        app, token, duid = (credentials[name] for name in ("app_id", "AuthToken", "duid"))
        signature = hmac.new(app.encode(), token.encode() + b"\0", hashlib.sha1).hexdigest()
        self.headers = {"Authorization": f'auth_identifier="KL_AUTH_V1", app_id="{app}", app_type="dtv", token="{token}", '
                                         f'token_type="user", duid="{duid}", signature="{signature}"'}

    def request(self, method, target, body=None, headers=None):
        """Returns the body of the reply. Raises unless it is a good one."""
        self._connection.request(method, target, body, self.headers | (headers or {}))
        reply = self._connection.getresponse()
        text = reply.read()
        if reply.status != 200:
            raise RuntimeError(f"{method} {target}: {reply.status} {text[:500]!r}")
        return text

    def location(self, address):
        """Where an address redirects to."""
        self._connection.request("GET", target_of(address))
        reply = self._connection.getresponse()
        reply.read()
        return reply.headers["Location"]

    def get(self, operation):
        return self.request("GET", BASE + operation)

    def post(self, operation, form):
        return self.request("POST", BASE + operation, urllib.parse.urlencode(form),
                            {"Content-Type": "application/x-www-form-urlencoded"})

    def create_group(self, name):
        return field(self.post("me/group.create", {"group_name": name}), "groupId")

    def page(self, group, count, more=""):
        return self.get(f"{group}/feeds?search_before=latest&search_count={count}{more}")

    def comment(self, content, text):
        return self.post(f"{content}/comment", {"commentText": text})

    def reserve(self, group, size):
        """Announces a photo. Returns where it is to be sent."""
        return field(self.post(f"{group}/upload", {"type": "photo", "file_size": size}), "uploadUrl")

    def send(self, address, photo):
        """Sends a photo, given as bytes. Returns the content's number."""
        head = (f'--{BOUNDARY}\r\nContent-Disposition: form-data; name="filename"; filename="photo.jpg"\r\n'
                "Content-Type: image/jpeg\r\n\r\n").encode()
        body = head + photo + f"\r\n--{BOUNDARY}--\r\n".encode()
        reply = self.request("POST", target_of(address), body, {"Content-Type": f"multipart/form-data; boundary={BOUNDARY}"})
        return field(reply, "contentId")

    def upload(self, group, photo):
        return self.send(self.reserve(group, len(photo)), photo)


def target_of(address):
    return re.sub(r"^https?://[^/]*", "", address)


def field(reply, name):
    """The first field of that name in a document."""
    return re.search(rf"<{name}>([^<]*)</{name}>", reply.decode())[1].replace("&amp;", "&")


def presigned(method, endpoint, path, environment, life=3600):
    """The address at a store by which a request may be sent that far ahead, without further headers (AWS Signature Version 4)."""
    host = endpoint.split("//")[1]
    moment = time.strftime("%Y%m%dT%H%M%SZ", time.gmtime())
    scope = f"{moment[:8]}/{environment['S3_REGION']}/s3/aws4_request"
    query = urllib.parse.urlencode(sorted({
        "X-Amz-Algorithm": "AWS4-HMAC-SHA256", "X-Amz-Credential": f"{environment['AWS_ACCESS_KEY_ID']}/{scope}", "X-Amz-Date": moment,
        "X-Amz-Expires": str(life), "X-Amz-SignedHeaders": "host"}.items()), quote_via=urllib.parse.quote, safe="")
    asked = "\n".join([method, urllib.parse.quote(path), query, f"host:{host}\n", "host", "UNSIGNED-PAYLOAD"])
    text = "\n".join(["AWS4-HMAC-SHA256", moment, scope, hashlib.sha256(asked.encode()).hexdigest()])
    key = f"AWS4{environment['AWS_SECRET_ACCESS_KEY']}".encode()
    for part in scope.split("/"):
        key = hmac.new(key, part.encode(), hashlib.sha256).digest()
    return f"{endpoint}{urllib.parse.quote(path)}?{query}&X-Amz-Signature={hmac.new(key, text.encode(), hashlib.sha256).hexdigest()}"
