# SPDX-License-Identifier: MIT
"""The directories that one row of the matrix works in, and what runs there."""

import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import time

from bench.faults import proc
from bench.faults.described_sound import Recording
from bench.faults.processes import Process, Program, require, until

ROOT = pathlib.Path(__file__).resolve().parents[2]
PROGRAMS = ROOT / "build/release/bin"
PREFERENCES = "com.fernwick.Orbweaver.preferences.json"


class Home:
    """Runtime, configuration and sound files below one directory. Ends, on leaving, all that was started."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        shutil.rmtree(self.directory, ignore_errors=True)
        self.runtime = self.directory / "runtime"
        self.config = self.directory / "config"
        self.rooms = self.directory / "rooms"
        for path in (self.runtime, self.config, self.rooms):
            path.mkdir(mode=0o700, parents=True)
        self.receivers = self.config / "receivers.json"
        self.log = self.directory / "service.log"
        self.stack = contextlib.ExitStack()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stack.close()

    def environment(self, **added):
        own = {name: value for name, value in os.environ.items() if not name.startswith("ORB_")}
        return own | {"ORB_RUNTIME_DIR": str(self.runtime), "ORB_CONFIG_DIR": str(self.config),
                      "ORB_RECEIVERS_FILE": str(self.receivers)} | added

    def keep(self, process):
        """Ends it on leaving, if it has not ended by then."""
        self.stack.callback(process.close)
        return process

    def start(self, *command, environment=None, **streams):
        """A program, whose words go to a file unless `streams` says otherwise."""
        with open(self.directory / "said.txt", "ab") as words:
            streams = {"stdout": words, "stderr": subprocess.STDOUT, "cwd": ROOT} | streams
            return self.keep(Program(command, environment or self.environment(), **streams))

    @staticmethod
    def serviceCommand(argument):
        return [PROGRAMS / "ORBRouteService", argument]

    def orbctl(self, *words, prefix=(), environment=None, **streams):
        return self.start(*prefix, PROGRAMS / "orbctl", *words, environment=environment, **streams)

    def play(self, sound, *words, to=("Hall",), prefix=(), environment=None):
        """orbctl plays; the services' words go to the log."""
        targets = [word for name in to for word in ("--to", name)]
        return self.orbctl("play", sound, *targets, "--log", self.log, *words, prefix=prefix, environment=environment)

    def run(self, *words, prefix=(), patience=20):
        """A command of orbctl that ends by itself: its status and all that it said."""
        done = subprocess.run([*map(str, prefix), PROGRAMS / "orbctl", *map(str, words)], env=self.environment(),
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=patience, check=False)
        return done.returncode, done.stdout + done.stderr

    def said(self):
        """All that the programs said that were started."""
        path = self.directory / "said.txt"
        return path.read_text(encoding="utf-8", errors="replace") if path.exists() else ""

    def logged(self):
        return self.log.read_text(encoding="utf-8", errors="replace") if self.log.exists() else ""

    def failures(self, path=None):
        """The lines of level 4 in a log."""
        text = path.read_text(encoding="utf-8", errors="replace") if path else self.logged()
        return [line for line in text.splitlines() if line.split(" ")[1:2] == ["4"]]

    def serviceOf(self, parent, patience=10):
        """The service of a parent that has one."""
        return self.servicesOf(parent, 1, patience)[0]

    def servicesOf(self, parent, count, patience=10):
        found = until(lambda: len(pids := proc.servicesOf(parent.pid)) == count and pids, patience, "services start")
        return [self.keep(Process(pid)) for pid in found]

    def writeReceivers(self, *entries):
        """Replaces the receivers file; each entry has a name, whatever else it says."""
        whole = [{"id": identifierOf(number), "file": str(self.file(entry["name"]))} | entry
                 for number, entry in enumerate(entries, 1)]
        unfinished = self.receivers.with_suffix(".new")
        unfinished.write_text(json.dumps({"version": 1, "receivers": whole}), encoding="utf-8")
        os.replace(unfinished, self.receivers)

    def file(self, room):
        return self.rooms / (room.replace(" ", "-").lower() + ".wav")

    def recording(self, room):
        return Recording(self.file(room))

    def waitForSound(self, room, frames=1, patience=20):
        """Until a receiver has stored so many frames."""
        until(lambda: self.storedFrames(room) >= frames, patience, f"{room} hears something")

    def storedFrames(self, room):
        path = self.file(room)
        return path.stat().st_size // 8 if path.exists() else 0

    def writesInto(self, pid, room):
        """Whether a process has the room's file open."""
        return str(self.file(room)) in proc.openFiles(pid)

    def leftOver(self):
        """Sockets, jobs and played devices that are still in the runtime directory."""
        found = [path for path in self.runtime.rglob("*") if path.is_socket()]
        found += (self.runtime / "jobs").glob("*.json")
        found += (self.runtime / "devices").glob("com.fernwick.orbctl*")
        found += self.runtime.rglob("*.json.??????")
        return [str(path.relative_to(self.runtime)) for path in found]

    def requireNothingLeft(self, patience=2):
        deadline = time.monotonic() + patience
        while (left := self.leftOver()) and time.monotonic() < deadline:
            time.sleep(0.02)
        require(not left, f"left behind: {', '.join(left[:5])}")


def identifierOf(number):
    return f"A1:00:00:00:{number // 256:02X}:{number % 256:02X}"


def group(*names, **more):
    """Entries of receivers that play together."""
    return [{"name": name, "txt": {"gid": "group", "tsid": "all"}} | more for name in names]
