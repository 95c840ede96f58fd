# SPDX-License-Identifier: MIT
"""What rooms must have heard."""

from bench.faults.described_sound import RATE
from bench.faults.processes import require


def seconds(frames):
    return f"{frames / RATE:.2f} s"


def requireAlike(home, rooms):
    """That all rooms heard the same at the same time; the segments that they heard."""
    heard = [home.recording(room).segments() for room in rooms]
    for room, segments in zip(rooms[1:], heard[1:]):
        require(segments == heard[0], f"{room} heard {segments}, {rooms[0]} {heard[0]}")
    return heard[0]


def requireExact(home, rooms, frames):
    """That all rooms heard the first `frames` frames, whole and in step."""
    segments = requireAlike(home, rooms)
    require(len(segments) == 1 and segments[0].sourceFrame == 0 and segments[0].frames == frames,
            f"{rooms[0]} heard {segments} instead of {frames} frames")


def requireBeginning(home, rooms, least):
    """That all rooms heard the sound from its first frame on without a break, until frame `least` of their files."""
    segments = requireAlike(home, rooms)
    require(len(segments) == 1 and segments[0].sourceFrame == 0 and segments[0].fileEnd >= least,
            f"{rooms[0]} heard {segments} and not until frame {least} of its file")
    return segments[0].frames


def requireReadable(home, rooms, least=None):
    """That any program can read the rooms' files; with `least`, that so many frames of them can be read."""
    for room in rooms:
        recording = home.recording(room)
        if least is None:
            require(recording.isWhole(), f"the file of {room} announces {recording.announced} bytes and has others")
        else:
            readable = recording.announced // 8
            require(readable >= least, f"of the file of {room} only {readable} frames can be read, not {least}")


def requireInterrupted(home, rooms, frames, pause, mostLost):
    """That one interruption of `pause` seconds made one gap, which is no longer than itself; the texts of the figures.

    `frames` is the length of the whole sound, None where it has no end. Nothing before and after the gap may differ
    from the sound, and at most `mostLost` frames may be missing. Behind the sound the faintest of samples may stand
    alone: with it orbctl keeps a service awake that may have fallen behind.
    """
    segments = requireAlike(home, rooms)
    if frames is not None and (segments[-1].sourceFrame, segments[-1].frames) == (0, 1):
        segments = segments[:-1]
    require(len(segments) == 2 and segments[0].sourceFrame == 0, f"{rooms[0]} heard {segments}")
    before, after = segments
    require(frames is None or after.sourceEnd == frames, f"{rooms[0]} heard {segments}, not until frame {frames}")
    silence, lost = after.fileFrame - before.fileEnd, after.sourceFrame - before.sourceEnd
    require(0 <= silence <= pause * RATE, f"silent for {seconds(silence)}")
    require(0 <= lost <= mostLost, f"{lost} frames lost")
    return f"silent for {seconds(silence)}, {lost} frames lost"
