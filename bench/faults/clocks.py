# SPDX-License-Identifier: MIT
"""The wall clock jumps, for the programs of one row only: the machine's own stays as it is."""

import json
import re
import signal
import struct
import time
from concurrent.futures import ThreadPoolExecutor

from bench.faults import described_sound
from bench.faults.deaths import LEAD, ROOMS, startOwn
from bench.faults.described_sound import RATE
from bench.faults.home import PROGRAMS, Home, group
from bench.faults.judging import requireExact
from bench.faults.parent import Parent, timed
from bench.faults.processes import require, until
from bench.faults.resources import serviceArgument

STEPS = (3600, -3600)  # s
STOP_TIMEOUT = 120  # s after which a pause is shown as the end
PARENT_PATIENCE = 30  # s for which a service looks for its parent
ANSWER_PATIENCE = 20  # s for which a receiver may say nothing


class WallClock:
    """What a home's programs take for the time of day. All other clocks are the machine's."""

    def __init__(self, home):
        self.home = home
        self.control = home.directory / "clock"
        self.control.write_bytes(struct.pack("<q", 0))
        self.environment = home.environment(LD_PRELOAD=str(PROGRAMS / "SteppedClock.so"),
                                            STEPPED_CLOCK_FILE=str(self.control))

    def step(self, seconds):
        """Sets it off by so many seconds."""
        with open(self.control, "r+b", buffering=0) as file:
            file.write(struct.pack("<q", seconds))

    def requireStepped(self):
        """That the programs have seen it: their log jumps by an hour between two lines."""
        hours = [int(hour) for hour in re.findall(r"^\d{4}-\d\d-\d\dT(\d\d):", self.home.logged(), re.MULTILINE)]
        require(any(before != after for before, after in zip(hours, hours[1:])), "the clock was not seen to jump")


def inBoth(home, check):
    """The check with a step forward and one backward, side by side, each in a home of its own."""
    def tried(step):
        with Home(home.directory / f"{step:+d}") as own:
            return check(own, WallClock(own), step)
    with ThreadPoolExecutor() as pool:
        return "; ".join(f"{step // 3600:+d} h: {text}" for step, text in zip(STEPS, pool.map(tried, STEPS)))


def requireAbout(measured, wanted, tolerance, what):
    require(abs(measured - wanted) <= tolerance, f"{what} took {measured:.2f} s, not {wanted} s")


def stepLater(clock, seconds, step):
    """Steps the clock in the middle of whatever comes next."""
    pool = ThreadPoolExecutor(1)

    def work():
        time.sleep(seconds)
        clock.step(step)
    clock.home.stack.callback(pool.shutdown)
    pool.submit(work)


def whilePlaying(home):
    return inBoth(home, playing)


def playing(home, clock, step):
    home.writeReceivers(*group(*ROOMS))
    described_sound.writeWave(home.directory / "sound.wav", 12)
    parent = home.play(home.directory / "sound.wav", environment=clock.environment)
    home.waitForSound(ROOMS[0], (LEAD + 2) * RATE)
    clock.step(step)
    require(parent.exitStatus(40) == 0, f"orbctl ended with {parent.exitStatus()}: {home.said()}")
    requireExact(home, ROOMS, 12 * RATE)
    clock.requireStepped()
    require("startup sync correction" not in home.logged(), "the sound was moved")
    return "exact"


def whileConnecting(home):
    return inBoth(home, connecting)


def connecting(home, clock, step):
    """A receiver that takes 4 s, and one that never answers."""
    home.writeReceivers({"name": "Slow", "connectDelay": 4}, {"name": "Dumb", "outcome": "never"})
    parent = Parent(home, environment=clock.environment)
    slow, dumb = parent.device(1, "Slow"), parent.device(2, "Dumb")
    stepLater(clock, 2, step)
    reply, took = timed(lambda: parent.route(slow))
    require(isinstance(reply, list), f"it replied {reply}")
    requireAbout(took, 4.5, 0.6, "a receiver that takes 4 s")
    parent.route()
    time.sleep(0.5)
    stepLater(clock, 5, 0)
    reply, silent = timed(lambda: parent.route(dumb))
    require("timeoutWaitingForDevice" in reply, f"it replied {reply}")
    requireAbout(silent, ANSWER_PATIENCE + 0.5, 1, "a receiver that says nothing")
    clock.requireStepped()
    return f"{took:.1f} s and {silent:.1f} s"


def whileAsking(home):
    return inBoth(home, asking)


def asking(home, clock, step):
    """The user needs 4 s to answer a receiver's question."""
    home.writeReceivers({"name": "Locked", "code": "1234", "answers": [{"after": 4, "text": "1234"}]})
    parent = Parent(home, environment=clock.environment)
    locked = parent.device(1, "Locked")
    stepLater(clock, 2, step)
    reply, took = timed(lambda: parent.route(locked))
    require(isinstance(reply, list), f"it replied {reply}")
    requireAbout(took, 4.6, 0.7, "the answer of a user who takes 4 s")
    clock.requireStepped()
    return f"{took:.1f} s"


def whileWaitingForParent(home):
    return inBoth(home, waitingForParent)


def waitingForParent(home, clock, step):
    service = home.start(*home.serviceCommand(serviceArgument()), environment=clock.environment,
                         stdout=home.stack.enter_context(open(home.log, "ab")))
    stepLater(clock, 10, step)
    took = service.waitForEnd(60)
    require(service.exitStatus() == 255, f"it ended with {service.exitStatus()}")
    requireAbout(took, PARENT_PATIENCE, 1, "the wait for a parent")
    clock.requireStepped()
    return f"{took:.1f} s"


def afterPause(home):
    return inBoth(home, pausing)


def pausing(home, clock, step):
    """The user pauses; two minutes later that is shown as the end."""
    home.writeReceivers({"name": "Hall"})
    nowPlaying(home, 1)
    parent, player = startOwn(home, clock.environment)
    shown = home.runtime / "devices" / Parent.PLAYED / "now-playing.json"
    until(lambda: shownState(shown) == "playing", 5, "what plays is shown")
    nowPlaying(home, 0)
    until(lambda: shownState(shown) == "paused", 5, "the pause is shown")
    begin = time.monotonic()
    time.sleep(30)
    clock.step(step)
    time.sleep(60)
    require(shownState(shown) == "paused", f"after 90 s it is shown as {shownState(shown)}")
    until(lambda: shownState(shown) == "stopped", STOP_TIMEOUT, "the end of the pause is shown")
    took = time.monotonic() - begin
    requireAbout(took, STOP_TIMEOUT, 2, "a pause until it counted as the end")
    player.close()
    parent.service.signal(signal.SIGTERM)
    require(parent.service.exitStatus() == 0, f"the service ended with {parent.service.exitStatus()}")
    clock.requireStepped()
    return f"{took:.1f} s"


def nowPlaying(home, playing):
    """What the user's media application says."""
    path = home.runtime / "now-playing.json"
    unfinished = home.runtime / "now-playing.new"
    unfinished.write_text(json.dumps({"version": 1, "info": {"title": "Song", "duration": 600.0, "elapsedTime": 1.0,
                                                             "playing": playing}}), encoding="utf-8")
    unfinished.replace(path)


def shownState(path):
    """Of the played device, as others see it."""
    try:
        return json.loads(path.read_text(encoding="utf-8")).get("playbackState")
    except (FileNotFoundError, ValueError):
        return None
