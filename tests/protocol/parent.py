#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A parent application on one page: it asks a service for devices, and prints what it hears.

Written from docs/PROTOCOL.md and Python's standard library alone.
Usage: ORB_RUNTIME_DIR=DIRECTORY parent.py SERVICE-PORT PARENT-PORT
"""

import base64
import json
import os
import socket
import struct
import sys
import time
import uuid

PATIENCE = 20  # seconds, for whatever the service owes
ERRORS = """alreadyConnecting timedOutWaitingForPicker timeoutWaitingForDevice timedOutWaitingForDeviceCheckbox
    expectedDeviceMismatch connectionRejectectedMessage userCancelledConnection alertMessagePresented sliderNotFound
    deviceNotFoundInContext deviceWithMatchingFeaturesNotFoundInContext groupableDeviceNotFoundInContext
    noParentGroupObtained expectedDeviceNotFound noPickerWindow deviceNotConnected passwordRequired
    incompleteTXTRecord""".split()  # in the order of their codes, from 1 on
TEXTS = {2: "Connection timed out", 3: "Connection timed out for “{}”", 4: "Connection timed out for “{}”",
         17: "A password is required to connect to “{}”"}


class Link:
    """Both ports of a parent and its service; made when the service is there and has found its parent."""

    def __init__(self, service, parent):
        ports = os.path.join(os.environ["ORB_RUNTIME_DIR"], "ports")
        os.makedirs(ports, 0o700, exist_ok=True)
        directory = f"/proc/self/fd/{os.open(ports, os.O_RDONLY | os.O_DIRECTORY)}/"
        listener = socket.socket(socket.AF_UNIX)
        listener.bind(directory + parent)
        listener.listen()
        listener.settimeout(PATIENCE)
        self.outgoing = self.find(directory + service)
        self.outgoing.sendall(b"ORBPORT1")
        self.connection = self.judged(listener.accept()[0])
        self.incoming = self.connection.makefile("rb")
        assert self.incoming.read(8) == b"ORBPORT1"

    def find(self, address):
        for _ in range(PATIENCE * 10):
            try:
                candidate = socket.socket(socket.AF_UNIX)
                candidate.connect(address)
                return self.judged(candidate)
            except (FileNotFoundError, ConnectionRefusedError):
                time.sleep(0.1)
        sys.exit("there is no service")

    @staticmethod
    def judged(connection):
        _, user, _ = struct.unpack("3i", connection.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))
        assert user == os.geteuid()
        connection.settimeout(PATIENCE)
        return connection

    def send(self, text):
        self.outgoing.sendall(struct.pack("<Ii", len(text), 0) + text)

    def receive(self):
        length, _ = struct.unpack("<Ii", self.incoming.read(8))
        envelope = json.loads(self.incoming.read(length))
        payload = json.loads(base64.b64decode(envelope["payload"], validate=True))
        return uuid.UUID(envelope["uuid"]), payload

    def request(self, message):
        """The reply; what comes before it is told."""
        identifier = uuid.uuid4()
        payload = base64.b64encode(json.dumps(message).encode()).decode()
        self.send(json.dumps({"uuid": str(identifier).upper(), "payload": payload}).encode())
        received, message = self.receive()
        while received != identifier:
            tell(message)
            received, message = self.receive()
        return message


def device(identifier, name, shownName=None):
    archive = {"version": 1, "uid": "com.fernwick.Orbweaver::" + identifier, "name": name, "hidden": True,
               "airPlay": True, "inputChannels": 2, "outputChannels": 2}
    data = base64.b64encode(json.dumps(archive).encode()).decode()
    return {"data": data, "name": shownName} if shownName else {"data": data}


def nameOf(device):
    return device.get("name") or json.loads(base64.b64decode(device["data"]))["name"]


def tell(message):
    match message:
        case {"deviceConnecting": {"devices": devices}}:
            print("connecting:", ", ".join(sorted(map(nameOf, devices))))
        case {"deviceConnected": {"device": one}}:
            print("connected:", nameOf(one))
        case {"deviceWasDisconnected": {"device": one}}:
            print("disconnected:", nameOf(one))
        case {"error": text, "uuid": _}:
            print("notice:", text)


def tellReply(reply):
    match reply:
        case list():
            print("routed:", ", ".join(sorted(map(nameOf, reply))))
        case dict() if len(cases := reply.keys() & set(ERRORS)) == 1:
            case = cases.pop()
            code = ERRORS.index(case) + 1
            first = reply[case].get("device") or reply[case].get("expected")
            text = TEXTS.get(code, "Failed to connect to “{}”" if first else "Failed to connect")
            print(f"error {code}:", text.format(first and nameOf(first)))
        case {"error": text, "uuid": _} | {"operationTimedOut": {"operation": text}}:
            print("failed:", text)
        case _:
            print("given up" if isinstance(reply, dict) else "unreadable")


if __name__ == "__main__":
    link = Link(*sys.argv[1:])
    kitchen, bath = device("A1:B2:C3:D4:E5:F6", "Kitchen", "Küche/Süd"), device("A1:B2:C3:D4:E5:F7", "Bad")
    tellReply(link.request({"updateDevices": {"devices": [kitchen, bath, kitchen]}}))
    tellReply(link.request({"updateDevices": {"devices": [bath]}}))
    link.send(b'{"payload":"e30="}')
    tell(link.receive()[1])
    sys.stdout.flush()
    print("ended" if link.outgoing.recv(1) == b"" else "the port answers")
