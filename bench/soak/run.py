# SPDX-License-Identifier: MIT
"""One soak: a group that plays all the time, and everything that goes on beside it."""

import subprocess
import time

from bench.faults.home import Home, group
from bench.faults.processes import require
from bench.soak.disturbances import Disturbances
from bench.soak.figures import Ledger
from bench.soak.rooms import Room, Source

ROOMS = ("Hall", "Kitchen")
LOOK = 1  # s between two looks
GRACE = 30  # s beyond the sound in which all must have ended
MOST_ON_DISK = 64  # MiB: what is compared leaves the disk


class Soak:
    """Owns the long job; its receivers file is shared with jobs that come and go."""

    def __init__(self, home, seconds):
        self.home = home
        self.seconds = seconds
        self.rooms = [Room(name, home.file(name)) for name in ROOMS]
        self.mostOnDisk = 0

    def play(self):
        """Until the sound has ended; Broken if it does not go on as it should."""
        self.home.writeReceivers(*group(*ROOMS), {"name": "Bath"}, {"name": "Attic"})
        self.parent = self.home.orbctl("play", "-", "--to", ROOMS[0], "--log", self.home.log, stdin=subprocess.PIPE)
        self.source = Source(self.parent.popen.stdin, self.seconds)
        service = self.home.serviceOf(self.parent)
        self.ledgers = [Ledger("orbctl", self.parent.pid), Ledger("service", service.pid)]
        for name in ROOMS:
            self.home.waitForSound(name)
        with Home(self.home.directory / "elsewhere") as elsewhere:
            self.disturbances = Disturbances(self.home, elsewhere, ROOMS)
            self.follow()
            self.disturbances.end()
        self.status = self.parent.exitStatus(GRACE)
        self.listen()

    def follow(self):
        begin = time.monotonic()
        while self.parent.isAlive():
            since = time.monotonic() - begin
            require(since < self.seconds + GRACE, "the sound does not end")
            if since < self.seconds - 2 * LOOK:
                self.disturbances.go()
                self.look()
            time.sleep(LOOK)

    def look(self):
        for ledger in self.ledgers:
            ledger.look()
        self.listen()

    def listen(self):
        for room in self.rooms:
            room.listen()
        self.mostOnDisk = max(self.mostOnDisk, *(room.onDisk() for room in self.rooms))

    def result(self):
        return {"faults": self.soundFaults() + self.processFaults(),
                "heard": {room.name: [vars(segment) for segment in room.listener.segments] for room in self.rooms},
                "figures": {ledger.name: ledger.summary() for ledger in self.ledgers},
                "disturbances": dict(self.disturbances.counts), "mostOnDiskMiB": round(self.mostOnDisk, 1)}

    def soundFaults(self):
        """Each room must have heard the source, whole, and at the same frames of its file."""
        first = self.rooms[0].listener.segments
        isWhole = len(first) == 1 and (first[0].sourceFrame, first[0].frames) == (0, self.source.frames)
        found = [] if isWhole else [f"{ROOMS[0]} did not hear the source from its first frame to its last"]
        return found + [f"{room.name} heard something else than {ROOMS[0]}"
                        for room in self.rooms[1:] if room.listener.segments != first]

    def processFaults(self):
        found = [] if self.status == 0 else [f"orbctl ended with {self.status}"]
        found += [fault for ledger in self.ledgers for fault in ledger.faults()]
        found += [f"logged: {line}" for line in self.home.failures()]
        found += [f"left behind: {path}" for path in self.home.leftOver()]
        if self.mostOnDisk > MOST_ON_DISK:
            found.append(f"a sound file took {self.mostOnDisk:.0f} MiB of the disk")
        return found + self.disturbances.faults
