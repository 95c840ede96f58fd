# SPDX-License-Identifier: MIT
"""Processes that are started, watched and ended, each by a descriptor of its own, never by name."""

import ctypes
import os
import select
import signal
import subprocess
import time

PR_SET_CHILD_SUBREAPER = 36


class Broken(Exception):
    """What was promised does not hold; the text says what did instead."""


class Skipped(Exception):
    """It cannot be tried here; the text says why."""


def require(holds, text):
    if not holds:
        raise Broken(text)


def adoptOrphans():
    """Lets processes whose parent dies become ours, so that their exit status can be had."""
    ctypes.CDLL(None, use_errno=True).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def until(condition, patience, what):
    """Looks until `condition` gives something true, and gives that; Broken after `patience` seconds."""
    deadline = time.monotonic() + patience
    while True:
        if value := condition():
            return value
        require(time.monotonic() < deadline, f"{what}: not within {patience} s")
        time.sleep(0.02)


class Process:
    """One process, known by its process descriptor: a number that is used again means nothing to it."""

    def __init__(self, pid):
        self.pid = pid
        self.descriptor = os.pidfd_open(pid)
        self.status = None

    def isAlive(self):
        return not select.select([self.descriptor], [], [], 0)[0]

    def signal(self, number):
        try:
            signal.pidfd_send_signal(self.descriptor, number)
        except ProcessLookupError:
            pass

    def waitForEnd(self, patience):
        """How many seconds it took to end."""
        begin = time.monotonic()
        ended = select.select([self.descriptor], [], [], patience)[0]
        require(ended, f"process {self.pid} lives on after {patience} s")
        return time.monotonic() - begin

    def exitStatus(self, patience=10):
        """Of a child, also an adopted one: what it returned, or minus the signal that ended it."""
        self.waitForEnd(patience)
        if self.status is None:
            self.status = os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])
        return self.status

    def close(self):
        """Ends it, if need be by force, and forgets it; once is enough."""
        if self.descriptor is None:
            return
        if self.isAlive():
            self.signal(signal.SIGCONT)
            self.signal(signal.SIGKILL)
        try:
            self.exitStatus()
        except ChildProcessError:
            pass  # somebody else's child
        os.close(self.descriptor)
        self.descriptor = None


class Program(Process):
    """A program that was started here."""

    def __init__(self, command, environment, **streams):
        streams.setdefault("stdin", subprocess.DEVNULL)
        self.popen = subprocess.Popen([str(word) for word in command], env=environment, **streams)
        super().__init__(self.popen.pid)

    def exitStatus(self, patience=10):
        self.waitForEnd(patience)
        self.status = self.popen.wait()
        return self.status
