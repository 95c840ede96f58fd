# SPDX-License-Identifier: MIT
"""Sound in which each frame says which frame it is, and the reading of files that receivers played it into.

Frame n carries the number n + 1: its low 16 bits on the left, its high 16 bits on the right, as signed samples. No
frame is silent, and any 27 hours of it are unique, so whatever is lost, doubled, moved or torn shows.
"""

import array
import dataclasses
import struct
import sys

RATE = 44100  # frames per second
FRAME_IN = 4  # bytes of a frame that is played: two 16-bit samples
FRAME_OUT = 8  # bytes of a frame that a receiver stores: two 32-bit floats
FULL_SCALE = 32768.0
NUMBERS = 65536  # that a sample tells apart
BLOCK = 65536  # frames looked at together

assert sys.byteorder == "little", "sound files are little-endian, and so must be the machine"


def signed(number):
    """The sample that stands for a number of 16 bits."""
    return number - NUMBERS if number >= NUMBERS // 2 else number


class Frames:
    """Makes stretches of the sound, of one sample type."""

    def __init__(self, code, scale):
        self.code = code
        self.scale = scale
        self.ramp = array.array(code, [scale(signed(number)) for number in range(NUMBERS)])

    @classmethod
    def played(cls):
        """16-bit integers, as a player sends them."""
        return cls("h", int)

    @classmethod
    def heard(cls):
        """32-bit floats, as a receiver stores them."""
        return cls("f", lambda sample: sample / FULL_SCALE)

    def stretch(self, first, count):
        """The bytes of `count` frames from frame `first` on."""
        parts = []
        number, end = first + 1, first + 1 + count
        while number < end:
            until = min(end, (number // NUMBERS + 1) * NUMBERS)
            parts.append(self.part(number, until - number))
            number = until
        return b"".join(parts)

    def part(self, number, count):
        """Frames with the same high bits."""
        low = number % NUMBERS
        both = array.array(self.code, [self.scale(signed(number // NUMBERS % NUMBERS))]) * (2 * count)
        both[0::2] = self.ramp[low:low + count]
        return both.tobytes()


def waveHeader(frames):
    """Of a 16-bit stereo WAV; for a stream whose length is not known, any large number of frames."""
    size = min(frames * FRAME_IN, 0xFFFFFFFF - 36)
    return struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + size, b"WAVE", b"fmt ", 16, 1, 2, RATE, RATE * FRAME_IN,
                       FRAME_IN, 16, b"data", size)


def writeWave(path, seconds):
    """A sound file of the first `seconds`."""
    frames, played = int(seconds * RATE), Frames.played()
    with open(path, "wb") as file:
        file.write(waveHeader(frames))
        for first in range(0, frames, BLOCK):
            file.write(played.stretch(first, min(BLOCK, frames - first)))


@dataclasses.dataclass
class Segment:
    """A run of frames that were heard one after the other as they are in the sound."""

    fileFrame: int
    sourceFrame: int
    frames: int

    @property
    def fileEnd(self):
        return self.fileFrame + self.frames

    @property
    def sourceEnd(self):
        return self.sourceFrame + self.frames


class TornSound(Exception):
    """Something was heard that is neither silence nor a frame of the sound."""


class Listener:
    """Takes what a receiver stored, block after block, and knows which segments of the sound it is."""

    def __init__(self):
        self.heard = Frames.heard()
        self.segments = []
        self.position = 0  # frames taken
        self.isInSound = False

    def take(self, block):
        """Any number of whole frames."""
        offset = 0
        while offset < len(block):
            step = self.follow if self.isInSound else self.search
            offset += step(block, offset)

    def follow(self, block, offset):
        """Goes along while frame follows frame; the bytes that did."""
        segment = self.segments[-1]
        wanted = self.heard.stretch(segment.sourceEnd, min(BLOCK, (len(block) - offset) // FRAME_OUT))
        found = block[offset:offset + len(wanted)]
        frames = len(wanted) // FRAME_OUT
        if found != wanted:
            frames = equalBytes(found, wanted) // FRAME_OUT
            self.isInSound = False
        segment.frames += frames
        self.position += frames
        return frames * FRAME_OUT

    def search(self, block, offset):
        """Passes over silence to the next frame, where a segment begins; the bytes of the silence."""
        rest = block[offset:]
        silent = (len(rest) - len(rest.lstrip(b"\0"))) // FRAME_OUT * FRAME_OUT
        self.position += silent // FRAME_OUT
        if silent < len(rest):
            self.segments.append(Segment(self.position, self.frameAt(rest, silent), 0))
            self.isInSound = True
        return silent

    def frameAt(self, block, offset):
        """The number that a frame carries."""
        low, high = (sample * FULL_SCALE for sample in struct.unpack_from("<ff", block, offset))
        if low != int(low) or high != int(high) or not all(-32768 <= sample < 32768 for sample in (low, high)):
            raise TornSound(f"frame {self.position} is no frame of the sound")
        return (int(high) % NUMBERS * NUMBERS + int(low) % NUMBERS) - 1


def equalBytes(one, other):
    """How many bytes two blocks have alike from their beginning on."""
    alike, end = 0, min(len(one), len(other))
    while alike < end:
        half = alike + (end - alike + 1) // 2
        if one[alike:half] == other[alike:half]:
            alike = half
        elif half - alike == 1:
            break
        else:
            end = half
    return alike


class Recording:
    """A receiver's sound file, which may still grow."""

    def __init__(self, path):
        self.path = path
        self.begin, self.announced = self.findSamples()

    def findSamples(self):
        """Where the samples begin, and how many bytes of them the header promises."""
        with open(self.path, "rb") as file:
            kind, _, form = struct.unpack("<4sI4s", file.read(12))
            if kind not in (b"RIFF", b"RF64") or form != b"WAVE":
                raise TornSound(f"{self.path} is no sound file")
            longSize = None
            while True:
                name, size = struct.unpack("<4sI", file.read(8))
                if name == b"data":
                    return file.tell(), longSize if kind == b"RF64" else size
                content = file.read(size + size % 2)
                if name == b"ds64":
                    longSize = struct.unpack_from("<Q", content, 8)[0]

    def blocks(self, offset=0):
        """Its whole frames from a number of frames on, in blocks."""
        with open(self.path, "rb") as file:
            file.seek(self.begin + offset * FRAME_OUT)
            while block := file.read(BLOCK * FRAME_OUT):
                yield block[:len(block) // FRAME_OUT * FRAME_OUT]

    def isWhole(self):
        """Whether the header promises what is there, so that any program can read it."""
        with open(self.path, "rb") as file:
            return file.seek(0, 2) - self.begin == self.announced

    def segments(self):
        """What of the sound is in it."""
        listener = Listener()
        for block in self.blocks():
            listener.take(block)
        return listener.segments
