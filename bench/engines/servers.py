# SPDX-License-Identifier: MIT
"""What keeps a service's records and media, and the service itself, each in folders and processes of its own.

The environment names the programs: KINLOOMD, KINLOOM_MAKE_PHOTO, KINLOOM_BENCH_SOURCES (the project's folder).
"""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request

from device import Device
from rows import PostgresqlRecords

sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "tests/engines"))

from ending import exit_when_ended  # noqa: E402

DISK = os.environ.get("KINLOOM_BENCH_DISK", "/var/tmp")
MEMORY = os.environ.get("KINLOOM_BENCH_MEMORY", "/dev/shm")
TICKS = os.sysconf("SC_CLK_TCK")


exit_when_ended()


def run(*command, **options):
    """Runs a command to its end. Returns what it wrote; raises when it fails."""
    return subprocess.run([str(word) for word in command], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                          **options).stdout


def source(path):
    return pathlib.Path(os.environ["KINLOOM_BENCH_SOURCES"], path)


@contextlib.contextmanager
def folder(parent=DISK):
    """A folder, on the disk unless told otherwise, which others may look into, as the users that servers run as must."""
    with tempfile.TemporaryDirectory(dir=parent, prefix="kinloom-bench-") as path:
        os.chmod(path, 0o755)
        yield pathlib.Path(path)


def make_photo(path, width=64, height=48, seed=1):
    run(os.environ["KINLOOM_MAKE_PHOTO"], path, "--width", width, "--height", height, "--seed", seed)


def processes_under(root):
    """The numbers of a process and of all that it has started."""
    parents = {}
    for entry in pathlib.Path("/proc").iterdir():
        if entry.name.isdigit():
            with contextlib.suppress(OSError):
                parents[int(entry.name)] = int((entry / "stat").read_text().rsplit(")", 1)[1].split()[1])
    found = {root}
    while True:
        more = {pid for pid, parent in parents.items() if parent in found} - found
        if not more:
            return found
        found |= more


def processor_seconds(pids):
    """User and system time of processes, and of their children that have ended."""
    total = 0
    for pid in pids:
        with contextlib.suppress(OSError):
            fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
            total += sum(map(int, fields[11:15]))
    return total / TICKS


class Postgresql:
    """A server of its own on the real disk, which brings each change there before it says that it is done."""

    def __init__(self, where):
        self.folder = pathlib.Path(where, "postgresql")
        run(source("tests/service/postgresql"), "start", self.folder, os.environ["KINLOOMD"], "durable")
        self.pid = int((self.folder / "data/postmaster.pid").read_text().split()[0])
        self._made = 0

    def new_database(self):
        """The address of an empty one."""
        self._made += 1
        name = f"bench{self._made}"
        run("createdb", "-h", self.folder, "-U", "kinloom", name)
        return f"postgresql:///{name}?user=kinloom&host={self.folder}"

    def log_statements(self, address, on):
        """Has each statement that is sent to a database by those who connect from now on written to the log, or not."""
        name = re.search(r"///(\w+)", address)[1]
        PostgresqlRecords(address).run(f"ALTER DATABASE {name} SET log_statement = '{'all' if on else 'none'}'")

    def log(self):
        return (self.folder / "server.log").read_text(errors="replace")

    def processor_seconds(self):
        return processor_seconds(processes_under(self.pid))

    def close(self):
        run(source("tests/service/postgresql"), "stop", self.folder)


class Swift:
    """A store of objects, and what speaks to it without the service."""

    def __init__(self, where):
        self.folder = pathlib.Path(where, "swift")
        lines = run(source("tests/engines/swift"), "start", self.folder)
        self.environment = dict(line.split("=", 1) for line in lines.splitlines())
        self.endpoint = self.environment["S3_ENDPOINT"]

    def arguments(self, bucket):
        """What a service is told to keep its media here."""
        return ["--media", f"s3://{bucket}/family", "--s3-endpoint", self.endpoint, "--s3-region", self.environment["S3_REGION"]]

    def processor_seconds(self):
        pids = [int(path.read_text()) for path in (self.folder / "run").glob("*.pid")]
        return processor_seconds(set().union(*map(processes_under, pids)))

    def close(self):
        run(source("tests/engines/swift"), "remove", self.folder)


class Kinloomd:
    """A service, and the device of a person, Ada."""

    def __init__(self, where, database=None, media=(), environment=None, program=None):
        self.data = pathlib.Path(where)
        self._program = program or os.environ["KINLOOMD"]
        self._where = ["--data", self.data, *(["--database", database] if database else [])]
        self._media = list(media)
        self._environment = os.environ | (environment or {})
        self.credentials = dict(re.findall(r'^(\w+) = "(.*)"$', self.command("device", "add", person="Ada"), re.MULTILINE))
        self.start()

    def command(self, *words, **options):
        named = [word for name, value in options.items() for word in (f"--{name}", value)]
        return run(self._program, *words[:2], *self._where, *named, *words[2:], env=self._environment)

    def new_device(self, person):
        return dict(re.findall(r'^(\w+) = "(.*)"$', self.command("device", "add", person=person), re.MULTILINE))

    def start(self, *more):
        command = [self._program, "serve", *self._where, *self._media, *more, "--listen", "127.0.0.1:0", "--max-upload", 1 << 40]
        self._process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                         stderr=subprocess.DEVNULL, text=True, env=self._environment)
        line = self._process.stdout.readline()
        if "listening" not in line:
            raise RuntimeError("the service did not start")
        self.port = int(line.rsplit(":", 1)[1])
        self.pid = self._process.pid

    def device(self, credentials=None):
        return Device(self.port, credentials or self.credentials)

    def processor_seconds(self):
        """Of the service alone, without the processes that decode pictures."""
        return processor_seconds({self.pid}) - self._ended_children()

    def _ended_children(self):
        fields = pathlib.Path(f"/proc/{self.pid}/stat").read_text().rsplit(")", 1)[1].split()
        return sum(map(int, fields[13:15])) / TICKS

    def pictures_seconds(self):
        """Of the processes that decode pictures."""
        return processor_seconds(processes_under(self.pid) - {self.pid}) + self._ended_children()

    def status(self, name):
        """A line of the process's status, in bytes: VmHWM, VmRSS."""
        text = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(rf"^{name}:\s+(\d+) kB", text, re.MULTILINE)[1]) * 1024

    def metric(self, name):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/metrics") as reply:
            text = reply.read().decode()
        return sum(float(value) for value in re.findall(rf"^{name}(?:{{[^}}]*}})? (\S+)$", text, re.MULTILINE))

    def await_thumbnails(self):
        """Until nothing is left to be made in the background. There is no event to wait for from outside."""
        while self.metric("kinloomd_jobs_waiting") > 0:
            time.sleep(0.02)

    def end(self):
        self._process.send_signal(signal.SIGTERM)
        self._process.wait()
        self._process.stdout.close()

    def close(self):
        if self._process.poll() is None:
            self.end()
        shutil.rmtree(self.data, ignore_errors=True)
