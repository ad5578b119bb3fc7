# SPDX-License-Identifier: MIT
"""What may fail in a cluster, and how it is mended."""

import os
import subprocess

from cluster import SERVICES

MIB = 1 << 20


class Fault:
    """Something that happens to a member, and lasts until it is mended."""

    def __init__(self, member):
        self.member = member

    def __str__(self):
        return f"{self.WORD} {self.member.name}"


class Kill(Fault):
    WORD = "kill"

    def begin(self):
        self.member.kill()

    def mend(self):
        self.member.begin()


class Hold(Fault):
    """It stands still: what it is asked, it neither answers nor refuses."""

    WORD = "hold"

    def begin(self):
        self.member.hold()

    def mend(self):
        self.member.go_on()


class HoldAndKill(Hold):
    """It stands still, and never goes on."""

    WORD = "hold and then kill"

    def mend(self):
        self.member.kill()
        self.member.begin()


class Disk:
    """A small file system in memory for what a member keeps."""

    def __init__(self, place, size):
        self.place, self.size = place, size
        self.ballast = f"{place}/ballast"

    def mount(self):
        os.makedirs(self.place, exist_ok=True)
        # One that only its owner can pass is none for a server of another user.
        return subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={self.size},mode=711", "chaos", self.place],
                              capture_output=True, check=False).returncode == 0

    def unmount(self):
        subprocess.run(["umount", "--lazy", self.place], capture_output=True, check=False)


class Fill(Fault):
    """No byte more fits onto its disk."""

    WORD = "fill the disk of"

    def __init__(self, member, disk):
        super().__init__(member)
        self.disk = disk

    def begin(self):
        with open(self.disk.ballast, "wb") as file:
            room = os.statvfs(self.disk.place)
            try:
                os.posix_fallocate(file.fileno(), 0, max(room.f_bavail * room.f_frsize, 1))
            except OSError:
                pass  # others have taken some of it meanwhile, which fills it as well

    def mend(self):
        os.unlink(self.disk.ballast)


def disks_of(cluster):
    """Disks for the members that keep something, in the order in which they are mounted."""
    return {"postgresql": Disk(f"{cluster.folder}/postgresql", 256 * MIB),
            "store-object": Disk(f"{cluster.folder}/store/devices", 512 * MIB),
            "kinloomd-1": Disk(f"{cluster.folder}/kinloomd-1", 48 * MIB)}


def possible(cluster, disks):
    """Faults, each with how often it is chosen. disks: those that could be mounted."""
    member = cluster.members
    faults = [(Kill(member[name]), 3) for name in SERVICES]
    faults += [(Hold(member[name]), 1) for name in SERVICES]
    faults += [(Kill(member["postgresql"]), 3), (Hold(member["postgresql"]), 2)]
    faults += [(Kill(member[f"store-{name}"]), 2) for name in ("proxy", "object")]
    faults += [(Kill(member["store-container"]), 1), (Hold(member["store-proxy"]), 2), (Hold(member["store-object"]), 1)]
    for line in ("database-line", "store-line"):
        faults += [(Kill(member[line]), 2), (Hold(member[line]), 2), (HoldAndKill(member[line]), 1)]
    faults += [(Kill(member["balancer"]), 1)]
    faults += [(Fill(member[name], disk), 2) for name, disk in disks.items()]
    return faults
