# SPDX-License-Identifier: MIT
"""A player as a process of its own: sends the described sound into a device for as long as it takes any.

Usage: python3 -m bench.faults.player SOCKET patient|pressing
"""

import contextlib
import json
import os
import pathlib
import socket
import sys

from bench.faults.described_sound import RATE, Frames
from bench.faults.processes import require, until

BLOCK = 4096  # frames sent at once
LEAD_IN = bytes(RATE // 2 * 4)  # half a second of silence: the service drops some, in which its devices settle


def connect(path):
    """A connection to a device, however long its path."""
    directory = os.open(path.parent, os.O_RDONLY | os.O_DIRECTORY)
    player = socket.socket(socket.AF_UNIX)

    def attempt():
        with contextlib.suppress(FileNotFoundError, ConnectionRefusedError):
            player.connect(f"/proc/self/fd/{directory}/{path.name}")
            return True

    until(attempt, 10, "the device takes players")
    os.close(directory)
    return player


def introduce(player):
    form = {"sampleType": "int16", "sampleRate": RATE, "channels": 2}
    player.sendall(json.dumps({"version": 1, "name": "player", "format": form}).encode() + b"\n")
    answer = json.loads(player.makefile("rb").readline())
    require(answer.get("accepted"), f"the device refuses a player: {answer}")


def press(player, block):
    """Sends without ever waiting: whatever the socket takes, again and again."""
    sent = 0
    while sent < len(block):
        with contextlib.suppress(BlockingIOError):
            sent += player.send(block[sent:], socket.MSG_DONTWAIT)


def play(player, send):
    frames, first = Frames.played(), 0
    send(player, LEAD_IN)
    while True:
        send(player, frames.stretch(first, BLOCK))
        first += BLOCK


if __name__ == "__main__":
    connection = connect(pathlib.Path(sys.argv[1]))
    introduce(connection)
    with contextlib.suppress(BrokenPipeError, ConnectionResetError):
        play(connection, press if sys.argv[2] == "pressing" else socket.socket.sendall)
