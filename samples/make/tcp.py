#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only
"""Connections that end in different ways: tcp.py serve | ADDRESS [WAY...]."""
import socket
import struct
import sys
import time

PORT = 7000


def serve():
    """Answer each line, close after the peer has."""
    server = socket.create_server(("::", PORT), family=socket.AF_INET6,
                                  dualstack_ipv6=True)
    while True:
        client, _ = server.accept()
        try:
            while True:
                data = client.recv(4096)
                if not data:
                    break
                client.sendall(b"got " + data)
        except ConnectionError:
            pass
        client.close()


def connect(port=PORT):
    """A connection to the server."""
    return socket.create_connection((sys.argv[1], port), 5)


def close():
    """Talk, then end in order."""
    line = connect()
    line.sendall(b"hello\n")
    line.recv(100)
    line.close()
    time.sleep(0.2)


def urgent():
    """One byte out of band."""
    line = connect()
    line.send(b"!", socket.MSG_OOB)
    time.sleep(0.1)
    line.close()
    time.sleep(0.2)


def reset():
    """Cut."""
    line = connect()
    line.sendall(b"bye\n")
    line.recv(100)
    line.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER,
                    struct.pack("ii", 1, 0))
    line.close()
    time.sleep(0.2)


def refused():
    """No such port."""
    try:
        connect(7001)
    except ConnectionError:
        pass


if sys.argv[1] == "serve":
    serve()
for way in sys.argv[2:] or ["close", "reset", "refused"]:
    {"close": close, "urgent": urgent, "reset": reset,
     "refused": refused}[way]()
