#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A parent that only listens: tells when its service has found it, and waits until it is killed."""

import os
import socket
import sys
import time

ports = os.path.join(os.environ["ORB_RUNTIME_DIR"], "ports")
os.makedirs(ports, 0o700, exist_ok=True)
listener = socket.socket(socket.AF_UNIX)
listener.bind(f"/proc/self/fd/{os.open(ports, os.O_RDONLY | os.O_DIRECTORY)}/{sys.argv[1]}")
listener.listen()
connection, _ = listener.accept()
connection.recv(8)  # the preface: before it a parent that dies was not found yet
print("found", flush=True)
time.sleep(60)
