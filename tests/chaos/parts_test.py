#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Parts of the crash test and of the engines' scripts, without any engine."""

import contextlib
import os
import signal
import subprocess
import sys
import tempfile
import types
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
ENGINES = os.path.join(HERE, "..", "engines")
sys.path[:0] = [HERE, ENGINES]

from cluster import Member  # noqa: E402


class WithFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kinloom-chaos-parts-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name


class Members(WithFolder):
    def setUp(self):
        super().setUp()
        os.mkdir(f"{self.folder}/run")
        self.member = Member(types.SimpleNamespace(folder=self.folder), "someone")

    def test_signal_nobody_who_got_their_number(self):
        with subprocess.Popen(["cat"], stdin=subprocess.PIPE) as stranger:
            with open(self.member.pid_file, "w", encoding="utf-8") as file:
                file.write(str(stranger.pid))
            self.assertEqual(self.member.pid(), 0)
            self.member.hold()
            self.member.end()
            self.member.kill()
            self.assertIsNone(stranger.poll())
            stranger.stdin.close()
            self.assertEqual(stranger.wait(10), 0)

    def test_are_found_and_forgotten_when_they_end(self):
        with open(f"{self.folder}/someone", "wb"):
            pass
        for way in (self.member.end, self.member.kill):
            self.member.spawn(["tail", "-f", f"{self.folder}/someone"])
            self.assertEqual(self.member.pid(), self.member.process.pid)
            way()
            self.assertIsNotNone(self.member.process.poll())
            self.assertFalse(os.path.exists(self.member.pid_file))


ENDED = """
import signal, sys
signal.signal(signal.SIGHUP, signal.SIG_DFL)
sys.path.insert(0, sys.argv.pop(1))
import run

class Running:
    def stop(self):
        print("stopped", flush=True)

run.Cluster = lambda *_, **__: Running()
run.Chaos.run = lambda _: (print("begun", flush=True), signal.pause())
run.main()
"""


class CrashTest(unittest.TestCase):
    def test_that_is_ended_ends_what_it_has_begun(self):
        for number in (signal.SIGTERM, signal.SIGHUP):
            with subprocess.Popen([sys.executable, "-B", "-c", ENDED, HERE, "--kinloomd", "none"], stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, text=True) as program:
                folder = program.stdout.readline().split(" in ")[1].strip()
                self.assertEqual(program.stdout.readline(), "begun\n")
                program.send_signal(number)
                with contextlib.closing(program.stdout):
                    self.assertEqual(program.stdout.read(), "stopped\n")
                self.assertEqual(program.wait(10), 1)
                self.assertFalse(os.path.exists(folder))


if __name__ == "__main__":
    unittest.main()
