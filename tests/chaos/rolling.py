# SPDX-License-Identifier: MIT
"""Services that are restarted one after the other, as docs/cluster.md says, while people use them: nobody notices."""

import http.client
import re
import socket
import time

from clients import Client
from cluster import SERVICES, wait_until
from ledger import require

NAMES = dict(zip(SERVICES, ("one", "two", "three")))  # of the guide's configuration


def tell_balancer(cluster, command):
    with socket.socket(socket.AF_UNIX) as line:
        line.connect(f"{cluster.folder}/run/balancer.sock")
        line.sendall(command.encode() + b"\n")
        line.shutdown(socket.SHUT_WR)
        return b"".join(iter(lambda: line.recv(65536), b"")).decode()


def set_state(cluster, name, state):
    for server in (NAMES[name], f"{NAMES[name]}-in-need"):
        said = tell_balancer(cluster, f"set server kinloomd/{server} state {state}")
        require(not said.strip(), f"HAProxy: {said}")


def uploads(cluster, name):
    """How many files are on their way to a service."""
    connection = http.client.HTTPConnection("127.0.0.1", cluster.ports[name], timeout=5)
    try:
        connection.request("GET", "/metrics")
        return int(re.search(r"^kinloomd_uploads (\d+)$", connection.getresponse().read().decode(), re.MULTILINE).group(1))
    finally:
        connection.close()


def drill(cluster, devices, group, ledger, auditor, prover):
    clients = [Client(f"client {i}", devices[i % len(devices)], group, ledger, f"rolling/{i}", patient=False) for i in range(4)]

    def await_more():
        enough = ledger.counts()[0] + 10
        wait_until(lambda: ledger.counts()[0] >= enough or not all(client.is_alive() for client in clients), "clients go on")

    for client in clients:
        client.start()
    begin = time.monotonic()
    for name in SERVICES:
        await_more()
        set_state(cluster, name, "drain")
        wait_until(lambda: uploads(cluster, name) == 0, f"{name} is left alone")
        cluster.members[name].end()
        cluster.members[name].await_ready()
        set_state(cluster, name, "ready")
    await_more()
    for client in clients:
        client.stopping.set()
    for client in clients:
        client.join()
        require(not client.violation, client.violation)
    prover.prove()
    auditor.audit(everything=True)
    print(f"drill: all services were restarted within {time.monotonic() - begin:.1f} s, and nobody noticed", flush=True)
