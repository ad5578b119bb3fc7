# SPDX-License-Identifier: MIT
"""A database with a synchronous standby, which takes over when the first one is killed."""

import os
import subprocess
import time

from clients import Client
from cluster import Cluster, Postgresql, fail, free_port, read, wait_until, write
from ledger import require

STANDBY = "postgresql-standby"


class Standby(Postgresql):
    """A copy of the database that follows it."""

    def lay_out(self):
        """While the database runs."""
        place = f"{self.cluster.folder}/{self.name}"
        primary = self.cluster.ports["postgresql"]
        programs = os.path.dirname(read(f"{self.cluster.folder}/postgresql.program"))
        os.makedirs(place, mode=0o700)
        os.chown(place, self.user().pw_uid, self.user().pw_gid)
        command = [f"{programs}/pg_basebackup", "--pgdata", place, "--write-recovery-conf", "--checkpoint=fast", "--no-sync", "--dbname",
                   f"host=127.0.0.1 port={primary} user=kinloom application_name=standby"]
        if os.geteuid() == 0:
            command = ["setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups", *command]
        done = subprocess.run(command, capture_output=True, text=True, cwd="/", check=False)
        if done.returncode:
            fail(f"pg_basebackup: {done.stderr}")
        settings = f"{place}/postgresql.conf"
        write(settings, read(settings) + f"port={self.cluster.ports[self.name]}\n")

    def begin(self):
        if not self.pid():
            self.spawn([read(f"{self.cluster.folder}/postgresql.program"), "-D", f"{self.cluster.folder}/{self.name}"], self.user())


class ClusterWithStandby(Cluster):
    """Services know both databases, and look for the one that takes changes."""

    def __init__(self, folder, program):
        super().__init__(folder, program)
        self.ports[STANDBY] = free_port(self.ports.values())
        self.standby = Standby(self, STANDBY)

    def database_address(self, line=False):
        hosts = ",".join(f"127.0.0.1:{self.ports[name]}" for name in ("postgresql", STANDBY) if name in self.ports)
        return f"postgresql://{hosts}/kinloom?user=kinloom&target_session_attrs=read-write"

    def sql(self, member, text):
        done = subprocess.run(["psql", "-qAt", f"postgresql://127.0.0.1:{self.ports[member]}/kinloom?user=kinloom", "-c", text],
                              capture_output=True, text=True, check=False)
        return done.stdout.strip() if done.returncode == 0 else done.stderr

    def begin_standby(self):
        self.standby.lay_out()
        self.standby.begin()
        self.sql("postgresql", "ALTER SYSTEM SET synchronous_standby_names = 'standby'")
        self.sql("postgresql", "SELECT pg_reload_conf()")
        wait_until(lambda: self.sql("postgresql", "SELECT sync_state FROM pg_stat_replication") == "sync", "the standby follows")

    def take_over(self):
        self.members["postgresql"].kill()
        require(self.sql(STANDBY, "SELECT pg_promote()") == "t", "the standby does not take over")

    def stop(self):
        super().stop()
        self.standby.kill()


def drill(cluster, devices, group, ledger, auditor, prover):
    """People go on using the service meanwhile."""
    cluster.begin_standby()
    clients = [Client(f"client {i}", devices[i % len(devices)], group, ledger, f"failover/{i}") for i in range(4)]
    for client in clients:
        client.start()
    wait_until(lambda: ledger.counts()[0] > 20 or not all(client.is_alive() for client in clients), "clients get on")
    begin = time.monotonic()
    cluster.take_over()
    taken = time.monotonic()
    cluster.await_well(12)
    well = time.monotonic()
    count = ledger.counts()[0]
    wait_until(lambda: ledger.counts()[0] > count + 10 or not all(client.is_alive() for client in clients), "clients go on")
    for client in clients:
        client.stopping.set()
    for client in clients:
        client.join()
        require(not client.violation, client.violation)
    prover.prove()
    auditor.audit(everything=True)
    print(f"drill: the standby took over after {taken - begin:.1f} s, services were well {well - taken:.1f} s later", flush=True)
