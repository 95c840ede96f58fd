# SPDX-License-Identifier: MIT
"""What goes on beside a job that must not notice: load, volumes, other jobs, other settings."""

import collections
import itertools
import signal
import sys
import time

from bench.faults import described_sound
from bench.faults.home import group
from bench.faults.processes import Program

INTERVAL = 2  # s between two of them
BUSY = "import time\nend = time.monotonic() + {}\nwhile time.monotonic() < end: pass"
EXPECTED = "Device reconnction failed"  # logged where a receiver is taken away
SIDE_SOUND = 120  # s: longer than any job beside


class Disturbances:
    """Goes through them in turn. `elsewhere` is a home with settings of its own."""

    def __init__(self, home, elsewhere, rooms):
        self.home = home
        self.elsewhere = elsewhere
        self.rooms = rooms
        self.counts = collections.Counter()
        self.faults = []
        self.jobs = {}
        self.busy = []
        self.volumes = itertools.cycle((0.2, 0.9, 0.5))
        self.knobs = itertools.cycle((0.7, 0.3, 1))
        self.order = itertools.cycle((self.startBeside, self.load, self.moveVolume, self.turnKnob, self.takeAway,
                                      self.startElsewhere, self.changeSetting, self.giveBack, self.load,
                                      self.putSettingBack, self.endBeside, self.endElsewhere))
        self.next = 0
        described_sound.writeWave(home.directory / "side.wav", SIDE_SOUND)
        self.elsewhere.writeReceivers({"name": "Shed"})

    def go(self):
        """The next one, when it is time."""
        if time.monotonic() >= self.next:
            self.next = time.monotonic() + INTERVAL
            disturbance = next(self.order)
            disturbance()
            self.counts[disturbance.__name__] += 1

    def end(self):
        self.endBeside()
        self.endElsewhere()
        for program in self.busy:
            program.close()

    def require(self, holds, text):
        if not holds:
            self.faults.append(text)

    def load(self):
        """One more busy process for a while; those that are done go."""
        self.busy = [program for program in self.busy if program.isAlive() or program.close()]
        seconds = 1 + self.counts["load"] % 5
        self.busy.append(self.home.keep(Program([sys.executable, "-c", BUSY.format(seconds)], None)))

    def moveVolume(self):
        volume = next(self.volumes)
        status, said = self.home.run("volume", volume, "--to", self.rooms[0])
        self.require(status == 0 and str(volume) in said, f"orbctl volume: {said}")

    def turnKnob(self):
        self.writeReceivers(knob=next(self.knobs))

    def takeAway(self):
        self.writeReceivers(others=("Attic",))

    def giveBack(self):
        self.writeReceivers()

    def writeReceivers(self, others=("Bath", "Attic"), knob=1):
        """The group is the same each time but for its knob."""
        numbers = {"Bath": "A1:00:00:00:00:03", "Attic": "A1:00:00:00:00:04"}
        self.home.writeReceivers(*group(*self.rooms, volume=knob),
                                 *({"name": name, "id": numbers[name]} for name in others))

    def startBeside(self):
        self.start("beside", self.home, "--to", "Bath", "--to", "Attic")

    def endBeside(self):
        self.stop("beside")

    def startElsewhere(self):
        self.start("elsewhere", self.elsewhere, "--to", "Shed")

    def endElsewhere(self):
        self.stop("elsewhere")
        self.require(not self.elsewhere.leftOver(), f"left behind: {self.elsewhere.leftOver()}")

    def changeSetting(self):
        self.set(1.2)

    def putSettingBack(self):
        self.set(2)

    def set(self, latency):
        status, said = self.elsewhere.run("settings", "latency", latency)
        self.require(status == 0, f"orbctl settings: {said}")

    def start(self, name, home, *to):
        log = self.home.directory / f"{name}.log"
        self.jobs[name] = home.orbctl("play", self.home.directory / "side.wav", *to, "--log", log), log

    def stop(self, name):
        """Ends a job as Ctrl-C does, if it is there."""
        if name not in self.jobs:
            return
        program, log = self.jobs.pop(name)
        program.signal(signal.SIGINT)
        status = program.exitStatus(15)
        self.require(status == 130, f"the job {name} ended with {status}")
        unexpected = [line for line in self.home.failures(log) if EXPECTED not in line]
        self.require(not unexpected, f"the job {name} logged {unexpected[:3]}")
        program.close()
        log.unlink(missing_ok=True)
