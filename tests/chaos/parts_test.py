#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Parts of the crash test and of the engines' scripts, without any engine."""

import concurrent.futures
import contextlib
import importlib.machinery
import importlib.util
import os
import signal
import socket
import subprocess
import sys
import tempfile
import types
import unittest
from unittest import mock

HERE = os.path.dirname(os.path.abspath(__file__))
ENGINES = os.path.join(HERE, "..", "engines")
sys.path[:0] = [HERE, ENGINES]

import faults  # noqa: E402
import proof  # noqa: E402
from cluster import Member  # noqa: E402
from ledger import Ledger, Violated  # noqa: E402
from run import problems_in  # noqa: E402
from wire import Cut, Device, Reply  # noqa: E402


class WithFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="kinloom-chaos-parts-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name


class Findings(unittest.TestCase):
    def test_are_told_from_counts(self):
        counts = ["people 2, devices 2, groups 1, contents 5, reserved uploads 0, comments 3", "in the trash 4"]
        for problems in (["file without record: 7-1"], ["content 7 has no file", "file without record: 8-1"]):
            self.assertEqual(problems_in("\n".join([*counts, *problems, f"{len(problems)} problems"])), problems)


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


class Disks(WithFolder):
    def mount(self, refused=(), attributes=True, needed=True):
        """Returns what came of it, and the programs that were run."""
        commands = []

        def run(*command):
            commands.append(" ".join(command[:3]))
            return "no" if commands[-1] in refused else ""

        disk = faults.Disk(f"{self.folder}/disk", 1 << 20, attributes=needed)
        os.makedirs(f"{self.folder}/disk/lost+found", exist_ok=True)
        with mock.patch.object(faults, "refusal_of", run), mock.patch.object(faults, "has_attributes", lambda _: attributes):
            return disk.mount(), [command.split(" -")[0] + command.split("mount -t")[-1] for command in commands], disk

    def test_are_in_memory_where_that_does(self):
        for attributes, needed in ((True, True), (False, False)):
            refusal, commands, _ = self.mount(attributes=attributes, needed=needed)
            self.assertEqual((refusal, commands), ("", ["mount tmpfs"]))

    def test_are_in_a_file_where_memory_has_no_attributes(self):
        refusal, commands, disk = self.mount(attributes=False)
        self.assertEqual((refusal, commands[-1]), ("", "mount ext4"))
        self.assertTrue(any(command.startswith("umount") for command in commands))
        self.assertEqual(os.path.getsize(disk.image), 1 << 20)

    def test_are_none_where_neither_can_be(self):
        refusal, _, disk = self.mount(attributes=False, refused=["mount -t ext4"])
        self.assertEqual(refusal, "no")
        self.assertFalse(os.path.exists(disk.image))


class Store(WithFolder):
    def test_looks_for_attributes_where_it_keeps_objects(self):
        loader = importlib.machinery.SourceFileLoader("swift_script", os.path.join(ENGINES, "swift"))
        script = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
        loader.exec_module(script)
        objects = f"{self.folder}/store/devices/d1"

        def refuse(place, *_):
            if str(place).startswith(objects):
                raise OSError(95, "Operation not supported")

        with mock.patch.object(script, "require_packages"), mock.patch.object(script, "lay_out", side_effect=AssertionError), \
                mock.patch.object(os, "setxattr", refuse), mock.patch.object(os, "removexattr"), \
                self.assertRaises(SystemExit) as end:
            script.start(f"{self.folder}/store")
        self.assertIn(objects, str(end.exception))


class Devices(unittest.TestCase):
    def test_have_addresses_of_their_own(self):
        section = 'app_id = "a"\nAuthToken = "t"\nduid = "d"\n'
        with socket.create_server(("127.0.0.1", 0)) as server, concurrent.futures.ThreadPoolExecutor() as pool:
            server.settimeout(10)
            asked = pool.submit(Device(server.getsockname()[1], section, "127.0.0.3").get, "me")
            line, (address, _) = server.accept()
            line.close()
            self.assertEqual(address, "127.0.0.3")
            with self.assertRaises(Cut):
                asked.result()


class OneThatAnswers:
    """A device whose service answers everything alike."""

    def __init__(self, reply):
        self.reply = reply

    def at(self, _):
        return self

    def reserve(self, *_):
        if isinstance(self.reply, Exception):
            raise self.reply
        return self.reply


class Proof(unittest.TestCase):
    def prove(self, reply):
        with mock.patch.object(proof, "RECOVERY", 0.05):
            proof.Prover({"kinloomd-1": 1}, OneThatAnswers(reply), "1", Ledger()).prove()

    def test_is_none_where_everything_is_put_off(self):
        for reply in (Reply(503, {}, b"later"), Cut("nobody")):
            with self.assertRaisesRegex(Violated, "kinloomd-1 takes no changes"):
                self.prove(reply)

    def test_is_none_where_something_is_refused(self):
        with self.assertRaisesRegex(Violated, "403"):
            self.prove(Reply(403, {}, b""))

    def test_needs_a_round_in_which_something_was_acknowledged(self):
        with self.assertRaisesRegex(Violated, "nothing was acknowledged"):
            proof.require_growth((3, 2, 1), (3, 2, 1))
        proof.require_growth((3, 2, 1), (3, 3, 1))


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
