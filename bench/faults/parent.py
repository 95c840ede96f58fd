# SPDX-License-Identifier: MIT
"""A parent application whose service, link and player can be mistreated one by one."""

import base64
import json
import os
import socket
import struct
import sys
import time
import uuid

from bench.faults.home import PROGRAMS, identifierOf
from bench.faults.processes import require, until

PATIENCE = 30  # seconds, for whatever the service owes


def coded(value):
    return base64.b64encode(json.dumps(value).encode()).decode()


def deviceArchive(uid, name):
    return {"version": 1, "uid": uid, "name": name, "hidden": True, "airPlay": True, "inputChannels": 2,
            "outputChannels": 2}


def codedDevice(uid, name):
    """A device as messages have it."""
    return {"data": coded(deviceArchive(uid, name)), "name": name}


def nameOf(device):
    return device.get("name") or json.loads(base64.b64decode(device["data"]))["name"]


class Parent:
    """One service, and both ports between it and us. `log` takes the service's words, a file or a pipe's end."""

    PLAYED = "matrix"  # UID of the device that is played into

    def __init__(self, home, log=None, environment=None):
        self.home = home
        self.serviceName, self.parentName = (f"matrix.{uuid.uuid4()}" for _ in range(2))
        self.listener = self.listen()
        configuration = {"pid": os.getpid(), "bundle": f"file://{PROGRAMS}",
                         "device": codedDevice(self.PLAYED, "matrix"), "supportsGroupedAirPlay": False,
                         "localPort": self.parentName, "remotePort": self.serviceName}
        self.service = home.start(*home.serviceCommand(coded(configuration)), environment=environment,
                                  stdout=log or home.stack.enter_context(open(home.log, "ab")))
        self.connectLink()

    def listen(self):
        ports = self.home.runtime / "ports"
        ports.mkdir(mode=0o700, exist_ok=True)
        self.ports = os.open(ports, os.O_RDONLY | os.O_DIRECTORY)
        self.home.stack.callback(os.close, self.ports)
        listener = self.home.stack.enter_context(socket.socket(socket.AF_UNIX))
        listener.bind(self.address(self.parentName))
        self.home.stack.callback(os.unlink, ports / self.parentName)
        listener.listen()
        listener.settimeout(PATIENCE)
        return listener

    def address(self, name):
        """Short enough for a socket, however deep the directory."""
        return f"/proc/self/fd/{self.ports}/{name}"

    def connectLink(self):
        self.outgoing = until(lambda: self.tryToConnect(self.address(self.serviceName)), PATIENCE, "the service's port")
        self.outgoing.sendall(b"ORBPORT1")
        connection = self.home.stack.enter_context(self.listener.accept()[0])
        connection.settimeout(PATIENCE)
        self.incoming = self.home.stack.enter_context(connection.makefile("rb"))
        require(self.incoming.read(8) == b"ORBPORT1", "the service does not greet")

    def tryToConnect(self, address):
        candidate = socket.socket(socket.AF_UNIX)
        candidate.settimeout(PATIENCE)
        try:
            candidate.connect(address)
        except (FileNotFoundError, ConnectionRefusedError):
            candidate.close()
            return None
        return self.home.stack.enter_context(candidate)

    def send(self, message):
        """The identifier under which the reply will come."""
        identifier = str(uuid.uuid4()).upper()
        text = json.dumps({"uuid": identifier, "payload": coded(message)}).encode()
        self.outgoing.sendall(struct.pack("<Ii", len(text), 0) + text)
        return identifier

    def receive(self):
        """The next message: its identifier and what it says."""
        length, _ = struct.unpack("<Ii", self.incoming.read(8))
        envelope = json.loads(self.incoming.read(length))
        return envelope["uuid"], json.loads(base64.b64decode(envelope["payload"]))

    def replyTo(self, identifier):
        while True:
            received, message = self.receive()
            if received == identifier:
                return message

    def device(self, number, name):
        """The device that stands for the receiver of that number in the receivers file."""
        identifier = identifierOf(number)
        uid = f"com.fernwick.Orbweaver::{identifier}"
        directory = self.home.runtime / "devices" / uid
        directory.mkdir(mode=0o700, parents=True, exist_ok=True)
        (self.home.runtime / "devices").chmod(0o700)
        overrides = {"ORBDeviceID": identifier, "ORBServiceName": name, "ORBServiceType": "_airplay._tcp",
                     "ORBTxtRecord": {"deviceid": identifier}}
        state = {"version": 1, "volume": 1.0, "muted": False, "overrides": overrides}
        (directory / "device.json").write_text(json.dumps(deviceArchive(uid, name)))
        (directory / "state.json").write_text(json.dumps(state))
        return codedDevice(uid, name)

    def route(self, *devices):
        """Asks for these devices, and gives the reply."""
        return self.replyTo(self.send({"updateDevices": {"devices": list(devices)}}))

    def routeOne(self, number, name):
        reply = self.route(self.device(number, name))
        routed = [nameOf(device) for device in reply] if isinstance(reply, list) else []
        require(routed == [name], f"{name} is not routed: {reply}")

    def startPlayer(self, manner="patient"):
        """A process that plays the described sound; "pressing" never waits."""
        socketPath = self.home.runtime / "devices" / self.PLAYED / "player.sock"
        return self.home.start(sys.executable, "-B", "-m", "bench.faults.player", socketPath, manner)


def timed(work):
    """What `work` gives, and how many seconds it took."""
    begin = time.monotonic()
    return work(), time.monotonic() - begin
