#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Three kinloomd over one PostgreSQL and one object store behind HAProxy, on this computer and in one folder, for tests and trials.

Usage: tests/engines/cluster.py start DIR KINLOOMD [ARGUMENT...]   begins all of it, in a new folder
       tests/engines/cluster.py kill DIR MEMBER                    ends a member as a failure of its computer would
       tests/engines/cluster.py begin DIR [MEMBER]                 begins it, or all that do not run, again, where they were
       tests/engines/cluster.py await DIR                          waits until every service is well
       tests/engines/cluster.py end DIR                            ends the services in order
       tests/engines/cluster.py stop DIR                           ends everything; the folder stays

A member is postgresql, store, balancer, kinloomd-1, kinloomd-2 or kinloomd-3. start prints where everything is, as lines NAME=VALUE
that a shell can take; ARGUMENTs are further ones of each kinloomd. The balancer's configuration is that of docs/cluster.md.

Everything listens on this computer alone. Needs the packages that scripts/setup --for engines installs. Run by the super-user,
PostgreSQL and the store run as the users postgres and swift, who must be able to reach the folder.
"""

import contextlib
import glob
import http.client
import json
import os
import pwd
import random
import re
import signal
import socket
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SWIFT = os.path.join(HERE, "swift")
GUIDE = os.path.join(HERE, "..", "..", "docs", "cluster.md")
SERVICES = ("kinloomd-1", "kinloomd-2", "kinloomd-3")
STORE_SERVERS = ("proxy", "object", "container", "account")
BUCKET = "s3://family/photos"
PATIENCE = 60  # seconds, for anything to answer

# What is acknowledged outlives a program's end. The computer itself does not fail here, so nothing waits for the disk.
POSTGRESQL_OPTIONS = ("fsync=off", "full_page_writes=off", "max_connections=100", "shared_buffers=32MB", "max_wal_size=64MB",
                      "min_wal_size=32MB", "restart_after_crash=on")

# A line to an engine, which can be cut and held like one.
LINE = """defaults
    mode tcp
    timeout connect 5s
    timeout client 1h
    timeout server 1h
listen line
    bind 127.0.0.1:{port}
    server engine 127.0.0.1:{to}
"""


class Failed(Exception):
    """Something that a person should read."""


def fail(text):
    raise Failed(text)


def free_port(taken):
    """A port that is free, and that no connection of this computer gets as its own end while a member is away."""
    while True:
        port = random.randrange(10_000, 32_000)
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", port))
            except OSError:
                continue
        if port not in taken:
            return port


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def wait_until(holds, what, patience=PATIENCE):
    end = time.monotonic() + patience
    while not holds():
        if time.monotonic() > end:
            fail(f"{what}: not within {patience} seconds")
        time.sleep(0.02)  # between two looks


def accepts(port):
    try:
        socket.create_connection(("127.0.0.1", port), timeout=5).close()
        return True
    except OSError:
        return False


def stat_of(number):
    """State and parent of a process; nothing when there is none."""
    try:
        fields = read(f"/proc/{number}/stat").rsplit(")", 1)[1].split()
        return fields[0], int(fields[1])
    except (OSError, IndexError):
        return None


def has_ended(number):
    return (stat_of(number) or "Z")[0] in "ZX"


def with_descendants(number):
    """A process and all that come from it, itself first."""
    children = {}
    for path in glob.glob("/proc/[0-9]*"):
        each = int(path[6:])
        stat = stat_of(each)
        if stat:
            children.setdefault(stat[1], []).append(each)
    found = [number]
    for each in found:
        found += children.get(each, [])
    return found


def arguments_of(number):
    """The command line of a process; nothing when there is none."""
    try:
        with open(f"/proc/{number}/cmdline", "rb") as file:
            return file.read().decode(errors="replace").split("\0")
    except OSError:
        return []


class Member:
    """A program of the cluster: itself and its processes. What it says is in run/NAME.log."""

    ENDING = signal.SIGTERM

    def __init__(self, cluster, name):
        self.cluster = cluster
        self.name = name
        self.pid_file = f"{cluster.folder}/run/{name}.pid"
        self.process = None

    def marks(self):
        """Arguments by which its first process is known, all of them together: its number may be another program's by now."""
        return {f"{self.cluster.folder}/{self.name}"}

    def pid(self):
        """Of its first process; 0 when it does not run."""
        try:
            number = int(read(self.pid_file))
        except (OSError, ValueError):
            return 0
        if self.process and self.process.pid == number:
            self.process.poll()
        return number if not has_ended(number) and self.marks().issubset(arguments_of(number)) else 0

    def forget(self):
        """Once it has ended."""
        with contextlib.suppress(FileNotFoundError):
            os.unlink(self.pid_file)

    def spawn(self, command, user=None, environment=None):
        def become():
            if user and os.geteuid() == 0:
                os.setgroups([])
                os.setgid(user.pw_gid)
                os.setuid(user.pw_uid)

        with open(f"{self.cluster.folder}/run/{self.name}.log", "ab") as log:
            self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, preexec_fn=become,
                                            start_new_session=True, env={**os.environ, **(environment or {})})
        write(self.pid_file, str(self.process.pid))

    def send(self, number):
        pid = self.pid()
        for each in with_descendants(pid) if pid else []:
            try:
                os.kill(each, number)
            except ProcessLookupError:
                pass

    def kill(self):
        """Ends it, and everything that it has begun, without a word."""
        pid = self.pid()
        everything = with_descendants(pid) if pid else []
        for each in everything:
            try:
                os.kill(each, signal.SIGKILL)
            except ProcessLookupError:
                pass
        wait_until(lambda: self.pid() == 0 and all(has_ended(each) for each in everything), f"{self.name} ends")
        self.forget()

    def end(self):
        """Ends it in order."""
        pid = self.pid()
        if pid:
            os.kill(pid, self.ENDING)
            # One that ends has no arguments any more before it lets go of its files.
            wait_until(lambda: self.pid() == 0 and has_ended(pid), f"{self.name} ends")
        self.forget()

    def hold(self):
        """It does nothing more until it goes on."""
        self.send(signal.SIGSTOP)

    def go_on(self):
        self.send(signal.SIGCONT)

    def begin(self):
        """Begins it, unless it runs."""
        raise NotImplementedError

    def answers(self):
        return accepts(self.cluster.ports[self.name])

    def await_ready(self, patience=PATIENCE):
        """Begins it again when it has ended, as whatever keeps programs running does."""
        def is_ready():
            self.begin()
            return self.answers()
        try:
            wait_until(is_ready, f"{self.name} answers", patience)
        except Failed as failure:
            fail(f"{failure}; it has said:\n{self.log()}")

    def log(self):
        return read(f"{self.cluster.folder}/run/{self.name}.log")[-3000:]


class Postgresql(Member):
    ENDING = signal.SIGINT

    def lay_out(self):
        programs = sorted(glob.glob("/usr/lib/postgresql/*/bin"), key=lambda path: int(path.split("/")[4]))
        if not programs:
            fail("there is no PostgreSQL here: scripts/setup --for engines installs it")
        data = f"{self.cluster.folder}/postgresql"
        os.makedirs(data, mode=0o700, exist_ok=True)
        os.chmod(data, 0o700)
        user = self.user()
        os.chown(data, user.pw_uid, user.pw_gid)
        command = [f"{programs[-1]}/initdb", "-D", data, "-U", "kinloom", "--auth=trust", "--locale=C.UTF-8", "--encoding=UTF8",
                   "--no-sync"]
        if os.geteuid() == 0:
            command = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups", *command]
        done = subprocess.run(command, capture_output=True, text=True, cwd="/", check=False)
        if done.returncode:
            fail(f"initdb: {done.stdout}{done.stderr}")
        with open(f"{data}/postgresql.conf", "a", encoding="utf-8") as file:
            file.write("\n".join([*POSTGRESQL_OPTIONS, "listen_addresses='127.0.0.1'", "unix_socket_directories=''",
                                  f"port={self.cluster.ports[self.name]}"]) + "\n")
        write(f"{self.cluster.folder}/postgresql.program", f"{programs[-1]}/postgres")

    @staticmethod
    def user():
        return pwd.getpwnam("postgres") if os.geteuid() == 0 else pwd.getpwuid(os.geteuid())

    def begin(self):
        if not self.pid():
            program = read(f"{self.cluster.folder}/postgresql.program")
            self.spawn([program, "-D", f"{self.cluster.folder}/postgresql"], self.user())

    def answers(self):
        address = self.cluster.database_address().replace("/kinloom?", "/postgres?")
        return subprocess.run(["psql", "-qAt", address, "-c", "SELECT 1"], capture_output=True, check=False).returncode == 0


class StoreServer(Member):
    """One of the servers of the store, which its own script begins."""

    def __init__(self, cluster, name):
        super().__init__(cluster, f"store-{name}")
        self.server = name
        self.pid_file = f"{cluster.folder}/store/run/{name}.pid"

    def marks(self):
        return {f"{self.cluster.folder}/store", self.server}

    def begin(self):
        if not self.pid():
            self.cluster.begin_store()

    def answers(self):
        return True  # its script has waited


class Service(Member):
    def begin(self):
        cluster = self.cluster
        if self.pid():
            return
        self.spawn([cluster.program, "serve", "--data", f"{cluster.folder}/{self.name}", "--database",
                    cluster.database_address(cluster.lines), "--media", BUCKET, "--s3-endpoint",
                    cluster.store_address(cluster.lines), "--listen", f"127.0.0.1:{cluster.ports[self.name]}", "--public-url",
                    cluster.url, "--trusted-proxy", "127.0.0.1", "--log-requests", *cluster.arguments], environment=cluster.keys())

    def answers(self):
        return self.health()[0] == 200

    def health(self, patience=5):
        """Status and text of what it says of itself; 0 when it says nothing."""
        connection = http.client.HTTPConnection("127.0.0.1", self.cluster.ports[self.name], timeout=patience)
        try:
            connection.request("GET", "/healthz")
            reply = connection.getresponse()
            return reply.status, reply.read().decode()
        except (OSError, http.client.HTTPException):
            return 0, ""
        finally:
            connection.close()


class Balancer(Member):
    def path(self):
        return f"{self.cluster.folder}/{self.name}.cfg"

    def marks(self):
        return {self.path()}

    def begin(self):
        if self.pid():
            return
        write(self.path(), self.configuration())
        self.spawn(["/usr/sbin/haproxy", "-db", "-f", self.path()])

    def configuration(self):
        raise NotImplementedError


class Front(Balancer):
    """What clients reach, as the guide has it, but for addresses, and without a certificate."""

    def configuration(self):
        block = re.search(r"```haproxy\n(.*?)\n```", read(GUIDE), re.DOTALL)
        text = block.group(1) + "\n" if block else fail(f"{GUIDE} holds no configuration")
        cluster = self.cluster
        replaced = [("bind :443 ssl crt /etc/haproxy/photos.example.pem ssl-min-ver TLSv1.2 alpn http/1.1",
                     f"bind 127.0.0.1:{cluster.ports[self.name]}"),
                    ("proto=https", "proto=http"),
                    ("/run/haproxy/admin.sock", f"{cluster.folder}/run/balancer.sock")]
        replaced += [(f"10.0.0.{i}:8750", f"127.0.0.1:{cluster.ports[name]}") for i, name in enumerate(SERVICES, 1)]
        for old, new in replaced:
            if old not in text:
                fail(f"{GUIDE}: the configuration holds no {old}")
            text = text.replace(old, new)
        return text


class Line(Balancer):
    """The line between the services and an engine."""

    def __init__(self, cluster, name, to):
        super().__init__(cluster, name)
        self.to = to

    def configuration(self):
        to = self.to()
        return LINE.format(port=self.cluster.ports[self.name], to=to)


class Cluster:
    """All members, by their names, in the order in which they begin. lines: the engines are reached through lines of their own."""

    def __init__(self, folder, program=None, arguments=(), lines=False):
        self.folder = os.path.realpath(folder)
        self.is_new = program is not None
        if self.is_new:
            self.program, self.arguments, self.lines, self.ports = os.path.abspath(program), list(arguments), lines, {}
            names = ["postgresql", "balancer", "database-line", "store-line", *SERVICES]
            for name in names:
                self.ports[name] = free_port(self.ports.values())
        else:
            known = json.loads(read(f"{self.folder}/cluster.json"))
            self.program, self.arguments = known["program"], known["arguments"]
            self.lines, self.ports = known["lines"], known["ports"]
        self.url = f"http://127.0.0.1:{self.ports['balancer']}"
        members = [Postgresql(self, "postgresql"), *(StoreServer(self, name) for name in STORE_SERVERS)]
        if self.lines:
            members += [Line(self, "database-line", lambda: self.ports["postgresql"]), Line(self, "store-line", self.store_port)]
        members += [*(Service(self, name) for name in SERVICES), Front(self, "balancer")]
        self.members = {member.name: member for member in members}
        self.services = [self.members[name] for name in SERVICES]

    def database_address(self, line=False):
        return f"postgresql://127.0.0.1:{self.ports['database-line' if line else 'postgresql']}/kinloom?user=kinloom"

    def store_environment(self):
        return dict(line.split("=", 1) for line in read(f"{self.folder}/store/environment").split())

    def store_port(self):
        return int(self.store_environment()["S3_ENDPOINT"].rsplit(":", 1)[1])

    def store_address(self, line=False):
        return f"http://127.0.0.1:{self.ports['store-line'] if line else self.store_port()}"

    def keys(self):
        return {name: value for name, value in self.store_environment().items() if name.startswith("AWS_")}

    def begin_store(self):
        done = subprocess.run([SWIFT, "start", f"{self.folder}/store"], capture_output=True, text=True, check=False)
        if done.returncode:
            fail(done.stderr.strip())

    def start(self):
        """Lays out what is not there yet, and begins everything."""
        os.makedirs(f"{self.folder}/run", exist_ok=True)
        # Servers of other users have their folders in it.
        os.chmod(self.folder, 0o711)
        write(f"{self.folder}/cluster.json", json.dumps({"program": self.program, "arguments": self.arguments, "lines": self.lines,
                                                         "ports": self.ports}))
        self.members["postgresql"].lay_out()
        self.members["postgresql"].begin()
        self.begin_store()
        self.members["postgresql"].await_ready()
        subprocess.run(["createdb", "--maintenance-db", self.database_address().replace("/kinloom?", "/postgres?"), "kinloom"],
                       check=True)
        self.begin_all()

    def begin_all(self):
        """Begins whatever does not run, and waits until all of it is well."""
        for member in self.members.values():
            member.begin()
            if not isinstance(member, Service):
                member.await_ready()
        self.await_well()

    def await_well(self, patience=PATIENCE):
        for service in self.services:
            service.await_ready(patience)

    def end_services(self):
        for service in self.services:
            service.end()

    def stop(self):
        for name in reversed([*self.members]):
            self.members[name].kill()
        subprocess.run([SWIFT, "stop", f"{self.folder}/store"], check=False)

    def administer(self, *arguments, patience=120):
        """Runs a command of kinloomd on the records. Returns its exit code and all that it says."""
        done = subprocess.run([self.program, *arguments, "--data", f"{self.folder}/administration", "--database",
                               self.database_address()], capture_output=True, text=True, env={**os.environ, **self.keys()}, timeout=patience,
                              stdin=subprocess.DEVNULL, check=False)
        return done.returncode, done.stdout + done.stderr

    def describe(self):
        return {"KINLOOM_URL": self.url, "KINLOOM_DATABASE": self.database_address(),
                "KINLOOM_DATA": f"{self.folder}/administration", **self.keys()}


def main(arguments):
    if arguments in (["-h"], ["--help"]):
        print(__doc__)
        return
    action, folder, rest = (arguments + ["", ""])[0], (arguments + ["", ""])[1], arguments[2:]
    if action == "start" and rest:
        cluster = Cluster(folder, rest[0], rest[1:])
        cluster.start()
        for name, value in cluster.describe().items():
            print(f"{name}='{value}'")
        return
    cluster = Cluster(folder)
    if action == "begin" and not rest:
        cluster.begin_all()
    elif action in ("kill", "begin") and rest:
        # The store is known by the server that clients speak to.
        member = cluster.members[rest[0] if rest[0] != "store" else "store-proxy"]
        if action == "kill":
            member.kill()
        else:
            member.begin()
    elif action == "await":
        cluster.await_well()
    elif action == "end":
        cluster.end_services()
    elif action == "stop":
        cluster.stop()
    else:
        fail("--help tells how this is used")


if __name__ == "__main__":
    try:
        main(sys.argv[1:])
    except Failed as failure:
        sys.exit(f"tests/engines/cluster.py: {failure}")
