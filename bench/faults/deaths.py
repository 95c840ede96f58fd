# SPDX-License-Identifier: MIT
"""One of the processes is killed, or stands still for a while."""

import signal
import time

from bench.faults import described_sound
from bench.faults.described_sound import RATE
from bench.faults.home import group
from bench.faults.judging import (requireAlike, requireBeginning, requireExact, requireInterrupted, requireReadable,
                                  seconds)
from bench.faults.parent import Parent
from bench.faults.processes import require

ROOMS = ("Hall", "Kitchen")
LEAD = 3  # s: so much silence stands before the sound in a file, about
CHUNK = 8192  # frames that are rendered at once
PAUSE = 5  # s, for which a process stands still
LATENCY = 2  # s, by which rendering runs behind capture


def startPlaying(home, length, *entries, to=("Hall",)):
    """orbctl plays `length` seconds to the group and to further receivers, and has been heard for two seconds."""
    home.writeReceivers(*group(*ROOMS), *entries)
    described_sound.writeWave(home.directory / "sound.wav", length)
    parent = home.play(home.directory / "sound.wav", to=to)
    services = home.servicesOf(parent, len(to))
    home.waitForSound(ROOMS[0], (LEAD + 2) * RATE)
    return parent, services


def startOwn(home, environment=None):
    """A parent and a player apart, and a room that has heard two seconds of it."""
    home.writeReceivers({"name": "Hall"})
    parent = Parent(home, environment=environment)
    parent.routeOne(1, "Hall")
    player = parent.startPlayer()
    home.waitForSound("Hall", (LEAD + 2) * RATE)
    return parent, player


def endInOrder(home, parent):
    parent.service.signal(signal.SIGTERM)
    require(parent.service.exitStatus() == 0, f"the service ended with {parent.service.exitStatus()}")
    require(not home.failures(), f"logged: {home.failures()}")


def parentKilled(home):
    parent, (service,) = startPlaying(home, 30)
    stored = home.storedFrames(ROOMS[0])
    parent.signal(signal.SIGKILL)
    ended = service.waitForEnd(5)
    require(service.exitStatus() == 0, f"the service ended with {service.exitStatus()}")
    require(ended <= 0.2, f"the service lived on for {ended:.3f} s")
    parent.exitStatus()
    requireReadable(home, ROOMS)
    requireBeginning(home, ROOMS, stored)
    status, said = home.run("watch", "--once")
    require(status == 0, f"orbctl watch: {said}")
    left = [path for path in home.leftOver() if not path.startswith(("ports/parent-", "prompts/", "notifications/"))]
    require(not left, f"left behind: {left}")
    return f"the service ended {ended * 1000:.0f} ms later with status 0"


def serviceKilled(home):
    parent, services = startPlaying(home, 12, {"name": "Bath"}, to=("Hall", "Bath"))
    stored = home.storedFrames(ROOMS[0])
    killed = next(service for service in services if home.writesInto(service.pid, ROOMS[0]))
    killed.signal(signal.SIGKILL)
    status = parent.exitStatus(30)
    require(status == 1, f"orbctl ended with {status}")
    require("orbctl: Hall: the service " in home.said(), f"orbctl said: {home.said()}")
    requireReadable(home, ROOMS, stored - RATE)
    requireBeginning(home, ROOMS, stored - RATE)
    requireExact(home, ["Bath"], 12 * RATE)
    return "the other job played on, exact to its end; orbctl said so and ended with status 1"


def playerKilled(home):
    parent, player = startOwn(home)
    player.signal(signal.SIGKILL)
    player.exitStatus()
    time.sleep(2 * LATENCY)  # what it had sent plays out
    successor = parent.startPlayer()
    time.sleep(LATENCY + 3)
    endInOrder(home, parent)
    successor.exitStatus()
    segments = requireAlike(home, ["Hall"])
    require([segment.sourceFrame for segment in segments] == [0, 0], f"heard: {segments}")
    requireReadable(home, ["Hall"])
    before, after = (seconds(segment.frames) for segment in segments)
    return f"heard {before} of it; then {after} of the next player, from its first frame on"


def standStill(process):
    process.signal(signal.SIGSTOP)
    time.sleep(PAUSE)
    process.signal(signal.SIGCONT)


def parentStopped(home):
    parent, _ = startPlaying(home, 12)
    standStill(parent)
    require(parent.exitStatus(40) == 0, f"orbctl ended with {parent.exitStatus()}: {home.said()}")
    home.requireNothingLeft()
    return requireInterrupted(home, ROOMS, 12 * RATE, PAUSE, mostLost=0)


def serviceStopped(home):
    parent, (service,) = startPlaying(home, 12)
    standStill(service)
    require(parent.exitStatus(40) == 0, f"orbctl ended with {parent.exitStatus()}: {home.said()}")
    home.requireNothingLeft()
    return requireInterrupted(home, ROOMS, 12 * RATE, PAUSE, mostLost=2 * CHUNK)


def playerStopped(home):
    parent, player = startOwn(home)
    standStill(player)
    time.sleep(LATENCY + 3)
    endInOrder(home, parent)
    return requireInterrupted(home, ["Hall"], None, PAUSE, mostLost=0)
