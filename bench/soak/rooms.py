# SPDX-License-Identifier: MIT
"""The sound of a soak: made while it is played, compared while it is stored, and let go of then."""

import ctypes
import threading

from bench.faults.described_sound import BLOCK, FRAME_OUT, RATE, Frames, Listener, Recording, waveHeader
from bench.faults.processes import require

KEEP_SIZE_AND_PUNCH_HOLE = 0x01 | 0x02
HELD_BACK = 2 * RATE  # frames at the end of a file that are not let go of yet: they may still be on their way


class Source:
    """Writes the described sound into a pipe, from a thread; whoever plays from the pipe sets the pace."""

    def __init__(self, pipe, seconds):
        self.pipe = pipe
        self.frames = int(seconds * RATE)
        self.thread = threading.Thread(target=self.write, daemon=True)
        self.thread.start()

    def write(self):
        played = Frames.played()
        try:
            with self.pipe:
                self.pipe.write(waveHeader(self.frames))
                for first in range(0, self.frames, BLOCK):
                    self.pipe.write(played.stretch(first, min(BLOCK, self.frames - first)))
        except BrokenPipeError:
            pass  # nobody plays any more; the verdict says so


class Room:
    """A receiver's file that is read as it grows. What was compared leaves the disk: the file becomes a hole."""

    def __init__(self, name, path):
        self.name = name
        self.path = path
        self.listener = Listener()
        self.fallocate = ctypes.CDLL(None, use_errno=True).fallocate64
        self.fallocate.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_int64, ctypes.c_int64]

    def listen(self):
        """Takes what has come since."""
        recording = Recording(self.path)
        for block in recording.blocks(self.listener.position):
            self.listener.take(block)
        self.letGo(recording.begin, self.listener.position - HELD_BACK)

    def letGo(self, begin, frames):
        """Frees the disk of the first frames. The header stays: readers look at it."""
        first = 4096
        if begin + frames * FRAME_OUT > first:
            with open(self.path, "r+b") as file:
                length = begin + frames * FRAME_OUT - first
                done = self.fallocate(file.fileno(), KEEP_SIZE_AND_PUNCH_HOLE, first, length)
                require(done == 0, f"the disk cannot be freed below {self.path}: error {ctypes.get_errno()}")

    def onDisk(self):
        """MiB."""
        return self.path.stat().st_blocks * 512 / 2**20
