#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only
"""Hold the UDP port of ESP in UDP: nat-t.py ADDRESS [PEER].

The kernel takes ESP out of UDP only for a socket with this option set. With
a peer, send it a keep-alive and the header of a key exchange message.
"""
import socket
import struct
import sys
import time

UDP_ENCAP = 100
UDP_ENCAP_ESPINUDP = 2

port = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
port.bind((sys.argv[1], 4500))
port.setsockopt(socket.IPPROTO_UDP, UDP_ENCAP, UDP_ENCAP_ESPINUDP)
if len(sys.argv) > 2:
    time.sleep(1)
    # IKEv2 INFORMATIONAL, no payload, behind the non-ESP marker.
    message = struct.pack("!I8s8sBBBBII", 0, b"initiatr", b"respondr",
                          0, 0x20, 37, 0x08, 0, 28)
    port.sendto(message, (sys.argv[2], 4500))
    port.sendto(b"\xff", (sys.argv[2], 4500))
time.sleep(600)
