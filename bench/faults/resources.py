# SPDX-License-Identifier: MIT
"""Disks that are full, directories that cannot be used, descriptors that run out, words that nobody reads."""

import fcntl
import json
import os
import resource
import shutil
import signal
import subprocess
import time

from bench.faults import described_sound, proc
from bench.faults.deaths import LATENCY, LEAD
from bench.faults.described_sound import RATE
from bench.faults.home import PREFERENCES, PROGRAMS, group
from bench.faults.judging import requireBeginning, requireExact, requireReadable
from bench.faults.parent import Parent, coded, codedDevice
from bench.faults.processes import Skipped, require, until

MOUNT = 'mount -t tmpfs -o "size=$1" tmpfs "$2" && echo mounted && exec sleep 600'
F_SETPIPE_SZ = 1031
SETTING = 1.5  # s of latency that the user has set


class SmallDisk:
    """A file system of its own over a directory, seen by those processes only that are started with `prefix`."""

    def __init__(self, home, directory, size):
        if os.geteuid() != 0 or not shutil.which("unshare") or not shutil.which("nsenter"):
            raise Skipped("needs root, unshare and nsenter, to mount a small disk for these processes only")
        self.holder = home.start("unshare", "-m", "sh", "-c", MOUNT, "sh", size, directory, stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL)
        if self.holder.popen.stdout.readline() != b"mounted\n":
            raise Skipped("nothing can be mounted here")
        self.prefix = ["nsenter", "-t", self.holder.pid, "-m", "--"]
        self.root = f"/proc/{self.holder.pid}/root"

    def seen(self, path):
        """Where a file of the disk is for us."""
        return self.root + str(path)

    def fill(self, directory):
        """Leaves not a byte."""
        with open(self.seen(directory / "filler"), "wb", buffering=0) as file:
            for size in (4096, 1):
                try:
                    while True:
                        file.write(b"x" * size)
                except OSError:
                    pass


def requireTold(text, *words):
    require(all(word in text for word in words), f"nobody is told of {words}: {text[-500:]}")


def fullUnderRooms(home):
    small = home.rooms / "small"
    small.mkdir()
    home.writeReceivers(*group("Hall"), group("Kitchen")[0] | {"file": str(small / "kitchen.wav")})
    disk = SmallDisk(home, small, "2m")
    described_sound.writeWave(home.directory / "sound.wav", 8)
    parent = home.play(home.directory / "sound.wav", "--report", home.directory / "page.html", prefix=disk.prefix)
    status = parent.exitStatus(40)
    requireExact(home, ["Hall"], 8 * RATE)
    requireTold("\n".join(home.failures()), str(small / "kitchen.wav"), "No space left")
    require(len(home.failures()) == 1, f"logged: {home.failures()}")
    require(status == 1, f"orbctl ended with {status}, though the report is not perfect")
    cut = described_sound.Recording(disk.seen(small / "kitchen.wav"))
    segments = cut.segments()
    require(cut.isWhole() and len(segments) == 1 and segments[0].sourceFrame == 0, f"Kitchen stored {segments}")
    return f"the other room is exact; of this one {segments[0].frames} frames are in the file, which is readable"


def fullUnderPreferences(home):
    home.writeReceivers({"name": "Hall"})
    receivers = home.directory / "receivers.json"
    shutil.copy(home.receivers, receivers)
    disk = SmallDisk(home, home.config, "64k")
    before = json.dumps({"_renderLatency": SETTING, "a key of others": "kept"})
    with open(disk.seen(home.config / PREFERENCES), "w", encoding="utf-8") as file:
        file.write(before)
    disk.fill(home.config)
    status, said = home.run("settings", "latency", 0.7, prefix=disk.prefix)
    require(status != 0, f"orbctl settings ended with 0: {said}")
    requireTold(said, str(home.config), "No space left")
    described_sound.writeWave(home.directory / "sound.wav", 3)
    parent = home.play(home.directory / "sound.wav", "--latency", 0.7, "--receivers", receivers, prefix=disk.prefix)
    status = parent.exitStatus(30)
    require(status == 0, f"orbctl play ended with {status}: {home.said()}")
    requireTold(home.said() + home.logged(), str(home.config), "No space left")
    requireExact(home, ["Hall"], 3 * RATE)
    with open(disk.seen(home.config / PREFERENCES), encoding="utf-8") as file:
        require(file.read() == before, "the preferences are not what they were")
    return "the settings are byte for byte what they were; it played all the same"


def fullUnderReports(home):
    small = home.directory / "small"
    small.mkdir()
    home.writeReceivers({"name": "Hall"})
    disk = SmallDisk(home, small, "64k")
    disk.fill(small)
    described_sound.writeWave(home.directory / "sound.wav", 3)
    parent = home.orbctl("play", home.directory / "sound.wav", "--to", "Hall", "--report", small / "page.html", "--log",
                         small / "service.log", prefix=disk.prefix)
    status = parent.exitStatus(30)
    require(status == 1, f"orbctl ended with {status}")
    requireTold(home.said(), str(small / "page.html"), str(small / "service.log"), "No space left")
    requireExact(home, ["Hall"], 3 * RATE)
    home.requireNothingLeft()
    return "the room is exact; orbctl names both files and ends with status 1"


def fullUnderRuntime(home):
    home.writeReceivers({"name": "Hall"})
    disk = SmallDisk(home, home.runtime, "256k,mode=700")
    described_sound.writeWave(home.directory / "sound.wav", 6)
    parent = home.play(home.directory / "sound.wav", prefix=disk.prefix)
    home.waitForSound("Hall", LEAD * RATE)
    disk.fill(home.runtime)
    status = parent.exitStatus(30)
    require(status == 0, f"orbctl ended with {status}: {home.said()}")
    requireTold(home.said(), "No space left")
    requireExact(home, ["Hall"], 6 * RATE)
    shutil.rmtree(disk.seen(home.runtime / "devices"))
    disk.fill(home.runtime)
    again = home.play(home.directory / "sound.wav", prefix=disk.prefix).exitStatus(30)
    require(again == 1, f"orbctl that finds the disk full ended with {again}")
    return "what plays goes on, exact to its end; what is to start says why it cannot"


def unusableRuntime(home):
    home.writeReceivers({"name": "Hall"})
    described_sound.writeWave(home.directory / "sound.wav", 2)
    argument = serviceArgument()
    kinds = {"is missing": home.directory / "nowhere" / "runtime", "is a file": home.directory / "file",
             "is open to others": home.directory / "open"}
    (home.directory / "file").touch()
    (home.directory / "open").mkdir()
    (home.directory / "open").chmod(0o755)
    for path in kinds.values():
        requireRefusal(home, home.environment(ORB_RUNTIME_DIR=str(path)), argument, path)
    requireRefusalOfReadOnly(home, argument)
    return f"{', '.join(kinds)}, is read-only: named by orbctl (status 1) and by the service (71)"


def requireRefusalOfReadOnly(home, argument):
    disk = SmallDisk(home, home.runtime, "64k,mode=700,ro")
    requireRefusal(home, home.environment(), argument, home.runtime, disk.prefix)


def requireRefusal(home, environment, argument, path, prefix=()):
    for command, wanted in ((["orbctl", "play", home.directory / "sound.wav", "--to", "Hall"], 1),
                            (["ORBRouteService", argument], 71)):
        program, *words = command
        done = subprocess.run([*map(str, prefix), PROGRAMS / program, *words], env=environment,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=20, check=False)
        require(done.returncode == wanted, f"{program} ended with {done.returncode}: {done.stderr}")
        requireTold(done.stderr, str(path))


def serviceArgument():
    """A configuration with nobody behind it."""
    return coded({"pid": 1, "bundle": "file:///", "device": codedDevice("nobody", "nobody"),
                  "supportsGroupedAirPlay": False, "localPort": "nobody", "remotePort": "nothing"})


def lostRuntime(home):
    """The runtime directory is removed while everything runs."""
    home.writeReceivers({"name": "Hall"})
    described_sound.writeWave(home.directory / "sound.wav", 6)
    parent = home.play(home.directory / "sound.wav")
    home.waitForSound("Hall", LEAD * RATE)
    shutil.rmtree(home.runtime)
    status = parent.exitStatus(30)
    require(status == 0, f"orbctl ended with {status}: {home.said()}")
    requireExact(home, ["Hall"], 6 * RATE)
    return "the sound went on, exact to its end; status 0"


def noDescriptorsInService(home):
    home.writeReceivers({"name": "Hall"}, {"name": "Bath"})
    parent = Parent(home)
    parent.routeOne(1, "Hall")
    player = parent.startPlayer()
    home.waitForSound("Hall", LEAD * RATE)
    pid = parent.service.pid
    usual = resource.prlimit(pid, resource.RLIMIT_NOFILE)
    resource.prlimit(pid, resource.RLIMIT_NOFILE, (proc.descriptors(pid), usual[1]))
    late = parent.startPlayer()
    until(lambda: "cannot accept a player" in home.logged(), 10, "the service says that it cannot accept")
    time.sleep(LATENCY)
    require(parent.service.isAlive(), "the service died")
    late.close()
    resource.prlimit(pid, resource.RLIMIT_NOFILE, usual)
    logged = len(home.failures())
    require(isinstance(parent.route(), list), "it does not obey any more")
    player.close()
    parent.service.signal(signal.SIGTERM)
    require(parent.service.exitStatus() == 0, f"the service ended with {parent.service.exitStatus()}")
    frames = requireBeginning(home, ["Hall"], LEAD * RATE)
    require(logged <= 6, f"{logged} lines of failure")
    return f"{frames / RATE:.1f} s exact meanwhile; told in {logged} lines; afterwards it obeys and ends as ever"


def noDescriptorsInParent(home):
    home.writeReceivers({"name": "Hall"})
    described_sound.writeWave(home.directory / "sound.wav", 0.5)
    if not shutil.which("prlimit"):
        raise Skipped("needs prlimit")
    for limit in [*range(4, 24), *range(24, 120, 4)]:
        before = len(home.said())
        parent = home.play(home.directory / "sound.wav", "--latency", 0.3, prefix=("prlimit", f"--nofile={limit}"))
        status = parent.exitStatus(60)  # a service that cannot listen looks 30 s for its parent
        said = home.said()[before:]
        if status == 0:
            break
        require(status > 0 and status < 128, f"with {limit} descriptors it ended with {status}: {said}")
        require("status 134" not in said, f"with {limit} descriptors the service broke down: {said}")
        isTold = "orbctl: " in said or "error while loading shared libraries" in said
        require(isTold, f"with {limit} descriptors nothing is said: {said}")
        home.requireNothingLeft()
    require(status == 0, f"with {limit} descriptors it still cannot play: {said}")
    requireExact(home, ["Hall"], RATE // 2)
    return f"with 4 to {limit - 1} it says that it cannot, and leaves nothing; with {limit} it plays"


def unreadLog(home):
    """A pipe takes the service's words, and nobody reads it."""
    home.writeReceivers({"name": "Hall"}, {"name": "Bath"})
    source, sink = os.pipe()
    home.stack.callback(os.close, source)
    fcntl.fcntl(sink, F_SETPIPE_SZ, 4096)
    parent = Parent(home, log=sink)
    os.close(sink)
    slowest = 0
    bath, hall = parent.device(2, "Bath"), parent.device(1, "Hall")
    for devices in ((bath,), (), (hall,)):
        begin = time.monotonic()
        reply = parent.route(*devices)
        slowest = max(slowest, time.monotonic() - begin)
        require(isinstance(reply, list), f"it replied {reply}")
        time.sleep(0.5)  # the service looks at its devices again 0.1 s after they have changed
    parent.startPlayer()
    enough = home.storedFrames("Hall") + (LEAD + 5) * RATE
    home.waitForSound("Hall", enough)
    begin = time.monotonic()
    parent.service.signal(signal.SIGTERM)
    require(parent.service.exitStatus() == 0, f"the service ended with {parent.service.exitStatus()}")
    ended = time.monotonic() - begin
    require(ended < 2, f"the end took {ended:.1f} s")
    requireReadable(home, ["Hall"])
    frames = requireBeginning(home, ["Hall"], enough)
    return f"{frames / RATE:.1f} s exact; requests took at most {slowest:.2f} s; it ended within {ended:.1f} s"
