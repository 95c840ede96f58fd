# SPDX-License-Identifier: MIT
"""Too much of everything: requests, sound, receivers, jobs."""

import collections
import signal
import subprocess
import threading
import time

from bench.faults import described_sound, proc
from bench.faults.deaths import LEAD, endInOrder
from bench.faults.described_sound import RATE
from bench.faults.home import PROGRAMS, group
from bench.faults.judging import requireBeginning, requireExact, requireReadable
from bench.faults.parent import Parent, coded, codedDevice
from bench.faults.processes import require

EVENTS = {"deviceConnecting", "deviceConnected", "deviceWasDisconnected"}
REQUESTS = 1000  # at once, and again
FLOOD_GROWTH = 1024  # KiB: a tenth of what so many waiting requests take
ROUTED_AMONG = 100  # one request of so many routes a receiver, the others cannot be met
MEMBERS = 64
JOBS = 200
WARM_UP = 20  # jobs after which memory has found its size
GROWTH = 256  # KiB by which memory may differ then: some pages


def manyRequests(home):
    """More than a thousand at once, then as many again: each is answered once, and the second flood costs no memory."""
    home.writeReceivers({"name": "Hall"}, {"name": "Bath"})
    parent = Parent(home)
    devices = [parent.device(1, "Hall"), parent.device(2, "Bath")]
    begin, kinds, sizes = time.monotonic(), collections.Counter(), []
    for first in (0, REQUESTS):
        kinds += flood(parent, [requestNumber(number, devices) for number in range(first, first + REQUESTS)])
        sizes.append(proc.residentKiB(parent.service.pid))
    took = time.monotonic() - begin
    require(sizes[1] - sizes[0] <= FLOOD_GROWTH, f"memory was {sizes[0]} KiB, then {sizes[1]} KiB")
    parent.service.signal(signal.SIGTERM)
    require(parent.service.exitStatus() == 0, f"the service ended with {parent.service.exitStatus()}")
    told = ", ".join(f"{count} {kind}" for kind, count in kinds.most_common())
    return f"{2 * REQUESTS} answers ({told}) in {took:.0f} s; memory {sizes[0]} KiB, then {sizes[1]} KiB"


def flood(parent, requests):
    """Sends all without waiting, and counts the kinds of replies; each must come once."""
    asked = set()
    sender = threading.Thread(target=lambda: asked.update(map(parent.send, requests)), daemon=True)
    sender.start()
    answers, kinds = collections.Counter(), collections.Counter()
    while sum(answers.values()) < len(requests):
        identifier, message = parent.receive()
        if isinstance(message, dict) and set(message) & EVENTS:
            continue
        answers[identifier] += 1
        kinds["routed" if isinstance(message, list) else next(iter(message), "given up")] += 1
    sender.join()
    require(set(answers) == asked, f"{len(set(answers) - asked)} answers to nothing")
    require(max(answers.values()) == 1, "a request was answered twice")
    return kinds


def requestNumber(number, devices):
    """No two alike: devices without an address, archives that are none, now and then one that can be met."""
    if number % ROUTED_AMONG == 0:
        return {"updateDevices": {"devices": [devices[0]]}}
    kind = number % 3
    if kind == 0:
        wanted = {"data": coded({"version": 1, "uid": f"flood {number}"}), "name": f"broken {number}"}
    elif kind == 1:
        wanted = {"data": coded(number), "name": f"no archive {number}"}
    else:
        wanted = codedDevice(f"flood-{number % 50}", f"unknown {number}")
    return {"updateDevices": {"devices": [wanted]}}


def pressingPlayer(home):
    """A player that sends whatever the socket takes and never waits."""
    home.writeReceivers({"name": "Hall"})
    parent = Parent(home)
    parent.routeOne(1, "Hall")
    player = parent.startPlayer("pressing")
    home.waitForSound("Hall", LEAD * RATE)
    begin, stored, before = time.monotonic(), home.storedFrames("Hall"), proc.residentKiB(parent.service.pid)
    time.sleep(10)
    grown = proc.residentKiB(parent.service.pid) - before
    pace = (home.storedFrames("Hall") - stored) / RATE / (time.monotonic() - begin)
    player.close()
    endInOrder(home, parent)
    requireReadable(home, ["Hall"])
    frames = requireBeginning(home, ["Hall"], stored + 9 * RATE)
    require(abs(pace - 1) < 0.05, f"it was heard at {pace:.2f} times its speed")
    require(grown <= GROWTH, f"memory grew by {grown} KiB")
    return f"{frames / RATE:.1f} s exact, at {pace:.3f} times its speed; memory grew by {grown} KiB"


def largeGroup(home):
    """As many as one file may well hold play together."""
    names = [f"Room {number}" for number in range(1, MEMBERS + 1)]
    home.writeReceivers(*group(*names))
    described_sound.writeWave(home.directory / "sound.wav", 6)
    parent = home.play(home.directory / "sound.wav", to=names[:1])
    require(parent.exitStatus(60) == 0, f"orbctl ended with {parent.exitStatus()}: {home.said()}")
    requireExact(home, names, 6 * RATE)
    home.requireNothingLeft()
    return f"{MEMBERS} files, alike to the byte where there is sound"


def largePicker(home):
    """As many in sight, each for itself; the last one is wanted."""
    names = [f"Room {number}" for number in range(1, MEMBERS + 1)]
    home.writeReceivers(*({"name": name} for name in names))
    status, said = home.run("receivers", "--json")
    require(status == 0 and said.count('"name"') >= MEMBERS, f"orbctl receivers: {said[:200]}")
    described_sound.writeWave(home.directory / "sound.wav", 3)
    parent = home.play(home.directory / "sound.wav", to=names[-1:])
    require(parent.exitStatus(40) == 0, f"orbctl ended with {parent.exitStatus()}: {home.said()}")
    requireExact(home, names[-1:], 3 * RATE)
    others = [name for name in names[:-1] if home.file(name).exists()]
    require(not others, f"{others} played as well")
    return f"of {MEMBERS} rows the last one played, and no other"


def longLatency(home):
    """More than the three seconds of silence after which a service drops what is on its way."""
    home.writeReceivers(*group("Hall", "Kitchen"))
    described_sound.writeWave(home.directory / "sound.wav", 4)
    parent = home.play(home.directory / "sound.wav", "--latency", 6)
    require(parent.exitStatus(40) == 0, f"orbctl ended with {parent.exitStatus()}: {home.said()}")
    requireExact(home, ["Hall", "Kitchen"], 4 * RATE)
    return "exact to the last frame"


def manyJobs(home):
    """One parent application starts and ends job after job."""
    home.writeReceivers({"name": "Hall"})
    parent = home.start(PROGRAMS / "JobSeries", str(JOBS), stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    begin, first = time.monotonic(), None
    for line in parent.popen.stdout:
        if line.strip() == str(WARM_UP).encode():
            first = figures(parent)
        if line.strip() == str(JOBS).encode():
            break
        require(line.strip().isdigit(), f"it says {line}")
    took = time.monotonic() - begin
    require(first is not None and parent.isAlive(), f"it ended: {home.said()}")
    last = figures(parent)
    # The last traces of a job go a moment after it.
    require(all(last[key] <= first[key] for key in ("descriptors", "threads")), f"{first} became {last}")
    require(last["KiB"] - first["KiB"] <= GROWTH, f"memory grew from {first['KiB']} to {last['KiB']} KiB")
    require(not proc.childrenOf(parent.pid), "services live on")
    names = [path for path in home.leftOver() if not path.startswith(f"notifications/{parent.pid}-")]
    require(not names, f"left behind: {names[:5]}")
    parent.popen.stdin.close()
    require(parent.exitStatus() == 0, f"the parent ended with {parent.exitStatus()}")
    home.requireNothingLeft()
    return (f"{JOBS} jobs in {took:.0f} s; from the {WARM_UP}th to the last: {first['descriptors']} descriptors, then "
            f"{last['descriptors']}; {first['KiB']} KiB, then {last['KiB']}")


def figures(process):
    return {"descriptors": proc.descriptors(process.pid), "threads": proc.threads(process.pid),
            "KiB": proc.residentKiB(process.pid)}
