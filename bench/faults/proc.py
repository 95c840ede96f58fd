# SPDX-License-Identifier: MIT
"""What the kernel tells of processes: their children, memory and descriptors."""

import os


def parents():
    """The parent of each process that there is."""
    found = {}
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{name}/stat", encoding="utf-8", errors="replace") as file:
                # The program's name, in brackets, may hold anything.
                found[int(name)] = int(file.read().rpartition(")")[2].split()[1])
        except OSError:
            pass
    return found


def childrenOf(pid):
    return [child for child, parent in parents().items() if parent == pid]


def commandOf(pid):
    with open(f"/proc/{pid}/cmdline", "rb") as file:
        return file.read().split(b"\0")[0].decode()


def servicesOf(pid):
    """The children of a parent application that are services; a tool may stand between."""
    found = []
    for child in childrenOf(pid):
        try:
            found += [child] if commandOf(child).endswith("/ORBRouteService") else servicesOf(child)
        except OSError:
            pass
    return found


def residentKiB(pid):
    with open(f"/proc/{pid}/status", encoding="utf-8") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmRSS:"))


def descriptors(pid):
    """How many a process has open."""
    return len(os.listdir(f"/proc/{pid}/fd"))


def openFiles(pid):
    """The names of the files that it has open."""
    found = []
    for name in os.listdir(f"/proc/{pid}/fd"):
        try:
            found.append(os.readlink(f"/proc/{pid}/fd/{name}"))
        except OSError:
            pass  # closed meanwhile
    return found


def threads(pid):
    return len(os.listdir(f"/proc/{pid}/task"))
