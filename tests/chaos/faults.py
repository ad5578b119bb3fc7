# SPDX-License-Identifier: MIT
"""What may fail in a cluster, and how it is mended."""

import contextlib
import os
import subprocess

from cluster import SERVICES

MIB = 1 << 20
TRIES = 20  # until a disk counts as full


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


def refusal_of(*command):
    """Runs it. What it has said when it failed; nothing when it has not."""
    try:
        done = subprocess.run(command, capture_output=True, text=True, stdin=subprocess.DEVNULL, check=False)
    except OSError as error:
        return f"{command[0]}: {error.strerror}"
    return " ".join(done.stderr.split()) or f"{command[0]} fails" if done.returncode else ""


def has_attributes(folder):
    """Whether what lies in it can have attributes of users'. File systems in memory have them since Linux 6.6."""
    try:
        os.setxattr(folder, "user.kinloom.probe", b"1")
        os.removexattr(folder, "user.kinloom.probe")
        return True
    except OSError:
        return False


class Disk:
    """A small file system for what a member keeps: in memory, or in a file where it needs attributes that there are none of in
    memory."""

    def __init__(self, place, size, attributes=False):
        self.place, self.size, self.attributes = place, size, attributes
        self.ballast = f"{place}/ballast"
        self.image = f"{place}.ext4"

    def mount(self):
        """Returns why it is not there; nothing when it is."""
        os.makedirs(self.place, exist_ok=True)
        return self.mount_memory() and self.mount_image() if self.attributes else self.mount_memory()

    def mount_memory(self):
        # One that only its owner can pass is none for a server of another user.
        refusal = refusal_of("mount", "-t", "tmpfs", "-o", f"size={self.size},mode=711", "chaos", self.place)
        if not refusal and self.attributes and not has_attributes(self.place):
            self.unmount()
            return "file systems in memory have no attributes here"
        return refusal

    def mount_image(self):
        with open(self.image, "wb") as file:
            file.truncate(self.size)
        refusal = (refusal_of("mkfs.ext4", "-q", "-F", "-m", "0", self.image) or
                   refusal_of("mount", "-t", "ext4", "-o", "loop", self.image, self.place))
        if refusal:
            os.unlink(self.image)
            return refusal
        os.chmod(self.place, 0o711)
        os.rmdir(f"{self.place}/lost+found")
        return ""

    def unmount(self):
        refusal_of("umount", "--lazy", self.place)
        if os.path.exists(self.image):
            os.unlink(self.image)


class Fill(Fault):
    """No byte more fits onto its disk."""

    WORD = "fill the disk of"

    def __init__(self, member, disk):
        super().__init__(member)
        self.disk = disk

    def begin(self):
        with open(self.disk.ballast, "wb") as file:
            size = 0
            # Others take some of it meanwhile, and a file system some for its own lists.
            for _ in range(TRIES):
                room = os.statvfs(self.disk.place)
                more = room.f_bavail * room.f_frsize
                if more == 0:
                    break
                with contextlib.suppress(OSError):
                    os.posix_fallocate(file.fileno(), size, more)
                size = os.fstat(file.fileno()).st_size

    def mend(self):
        os.unlink(self.disk.ballast)


def disks_of(cluster):
    """Disks for the members that keep something, in the order in which they are mounted."""
    return {"postgresql": Disk(f"{cluster.folder}/postgresql", 256 * MIB),
            "store-object": Disk(f"{cluster.folder}/store/devices", 512 * MIB, attributes=True),
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
