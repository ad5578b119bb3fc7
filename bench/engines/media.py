#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Media in an object store: what comes and goes through the service, beside the same straight to the store and back.

Usage: bench_media [--quick] [--out FILE]
"""

import argparse
import concurrent.futures
import contextlib
import os
import pathlib
import shutil
import threading
import time
import urllib.parse

from device import field, presigned
from figures import Figures, in_turns, ratios
from servers import DISK, MEMORY, Kinloomd, Swift, folder, make_photo, run

MIB = 1 << 20
CROWD = 64  # uploads at a time


class Choice:
    """How much is measured."""

    def __init__(self, quick):
        self.size = (64 if quick else 1024) * MIB
        self.uploads = 2 if quick else 5
        self.downloads = 2 if quick else 7
        self.crowd = (16 if quick else 256) * MIB


def make_large_photo(path, size):
    """A photo with so much behind its end: it is taken as it is, and nothing reads it twice."""
    make_photo(path)
    with open(path, "r+b") as file:
        file.seek(0, os.SEEK_END)
        block = os.urandom(MIB)
        while file.tell() < size:
            file.write(block[:min(MIB, size - file.tell())])


def mark(path, number):
    """Makes it another photo: the same one would not be kept twice."""
    with open(path, "r+b") as file:
        file.seek(-8, os.SEEK_END)
        file.write(number.to_bytes(8, "big"))


def timed(*command):
    """Seconds that a command takes."""
    begin = time.perf_counter()
    run(*command)
    return time.perf_counter() - begin


def curl(*words):
    return ["curl", "-sS", "--fail", "-o", "/dev/null", *words]


def send_with_curl(device, address, photo):
    return curl("-H", f"Authorization: {device.headers['Authorization']}", "-H", "Expect:", "-F", f"filename=@{photo};type=image/jpeg",
                address)


class Bench:
    """A store with a bucket, and services over it."""

    def __init__(self, where, stack):
        self.where = where
        self._stack = stack
        self.store = Swift(where)
        stack.callback(self.store.close)
        # Without the program beside it that decodes pictures: it would fetch each photo again while the next one is measured.
        self.program = where / "kinloomd"
        shutil.copy(os.environ["KINLOOMD"], self.program)

    def service(self, name, *more):
        service = Kinloomd(self.where / name, None, [*self.store.arguments(f"bench-{name}"), *more], self.store.environment,
                           self.program)
        self._stack.callback(service.close)
        return service

    def straight(self, method, path):
        return presigned(method, self.store.endpoint, path, self.store.environment)


def measure_transfers(figures, choice, bench):
    service = bench.service("transfers")
    device = service.device()
    group = device.create_group("Everything")
    photo = bench.where / "photo.jpg"
    make_large_photo(photo, choice.size)
    sent = 0

    def through():
        nonlocal sent
        sent += 1
        mark(photo, sent)
        taken = timed(*send_with_curl(device, device.reserve(group, choice.size), photo))
        service.await_thumbnails()  # the photo is fetched for them, which must not happen beside what is measured next
        return taken

    def straight():
        return timed(*curl("-H", "Expect:", "-T", photo, bench.straight("PUT", "/bench-transfers/straight")))

    through(), straight()
    times = in_turns(choice.uploads, (through, straight))
    speed = choice.size / 1e6
    figures.add("store_upload", ratios(*times), "x", 1.15)
    figures.add("store_upload_speed", [speed / value for value in times[0]], "MB/s", None, "higher")
    figures.add("store_upload_speed_straight", [speed / value for value in times[1]], "MB/s", None, "higher")

    # The very object: one that came in parts is slower to read than one that came at once.
    service.end()
    service.start("--media-redirect")
    stored = urllib.parse.urlsplit(service.device().location(field(service.device().page(group, 1), "contentUrl"))).path
    for name, goal, more in (("store_download", 1.2, ()), ("store_redirect", 1.05, ("--media-redirect",))):
        service.end()
        service.start(*more)
        address = field(service.device().page(group, 1), "contentUrl")
        commands = (curl("-L", address), curl(bench.straight("GET", stored)))
        for command in commands:
            timed(*command)
        times = in_turns(choice.downloads, [lambda command=command: timed(*command) for command in commands])
        figures.add(name, ratios(*times), "x", goal)
        figures.add(f"{name}_speed", [speed / value for value in times[0]], "MB/s", None, "higher")
        figures.add(f"{name}_speed_straight", [speed / value for value in times[1]], "MB/s", None, "higher")
    photo.unlink()


def largest_file(place, stopped):
    """The most room that one file on its way has taken on this computer's disk, in bytes, until it is stopped."""
    largest = 0
    while not stopped.wait(0.05):
        for path in place.iterdir():
            with contextlib.suppress(FileNotFoundError):
                largest = max(largest, path.stat().st_blocks * 512)
    return largest


def measure_crowd(figures, choice, bench):
    service = bench.service("crowd")
    device = service.device()
    # The same photo is kept once in each group.
    groups = [device.create_group(f"Group {number}") for number in range(CROWD)]
    photo = bench.where / "photo.jpg"
    make_large_photo(photo, choice.crowd)
    addresses = [device.reserve(group, choice.crowd) for group in groups]
    stopped = threading.Event()
    with concurrent.futures.ThreadPoolExecutor(CROWD + 1) as pool:
        watch = pool.submit(largest_file, service.data / "tmp", stopped)
        uploads = [pool.submit(run, *send_with_curl(device, address, photo)) for address in addresses]
        try:
            for upload in concurrent.futures.as_completed(uploads):
                upload.result()
        finally:
            stopped.set()
    figures.add("store_crowd_memory", [service.status("VmHWM") / 1e6], "MB", 80)
    figures.add("store_crowd_disk", [watch.result() / 1e6], "MB", 20)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--quick", action="store_true", help="fewer rounds and smaller files")
    parser.add_argument("--out", type=pathlib.Path, help="the file that figures are appended to [standard error]")
    arguments = parser.parse_args()
    figures, choice = Figures(arguments.out), Choice(arguments.quick)
    # Disks are left out where speed is compared: the one of the store would be most of it, and is another one each time.
    for measure, place in ((measure_transfers, MEMORY), (measure_crowd, DISK)):
        with folder(place) as where, contextlib.ExitStack() as stack:
            measure(figures, choice, Bench(where, stack))


if __name__ == "__main__":
    main()
