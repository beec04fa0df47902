#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only
"""Send UDP and TCP behind IPv6 extension headers: ext6.py ADDRESS.

The kernel builds the headers from ancillary data, and fragments what does
not fit.
"""
import socket
import sys
import time

LEVEL = socket.IPPROTO_IPV6
PADN = bytes([1, 4, 0, 0, 0, 0])
ALERT = bytes([5, 2, 0, 0, 1, 0])       # router alert, PadN of no length
TUNNEL_LIMIT = bytes([4, 1, 4, 1, 1, 0])
HOME_ADDRESS = bytes([1, 2, 0, 0, 0xc9, 16]) + socket.inet_pton(
    socket.AF_INET6, "2001:db8:c0a::1")


def options(*parts):
    """An options header; the kernel fills in what comes next."""
    body = b"".join(parts)
    assert (len(body) + 2) % 8 == 0
    return bytes([0, (len(body) + 2) // 8 - 1]) + body


def route(address):
    """A routing header of type 2, one segment."""
    return bytes([0, 2, 2, 1, 0, 0, 0, 0]) + socket.inet_pton(
        socket.AF_INET6, address)


peer = (sys.argv[1], 9)
hop = (LEVEL, socket.IPV6_HOPOPTS, options(ALERT))
before = (LEVEL, socket.IPV6_RTHDRDSTOPTS, options(PADN))
last = (LEVEL, socket.IPV6_DSTOPTS, options(TUNNEL_LIMIT))
home = (LEVEL, socket.IPV6_DSTOPTS, options(HOME_ADDRESS))
via = (LEVEL, socket.IPV6_RTHDR, route(sys.argv[1]))

udp = socket.socket(socket.AF_INET6, socket.SOCK_DGRAM)
for name, extra, size in [
        ("hop", [hop], 32),
        ("destination", [last], 32),
        ("home", [home], 32),
        ("routing", [via], 32),
        ("all", [hop, before, via, last], 32),
        ("fragments", [], 2000),
        ("all-fragments", [hop, before, via, last], 2000),
        ]:
    udp.sendmsg([name.encode().ljust(size, b".")], extra, 0, peer)
    time.sleep(0.2)

# TCP keeps the headers for each of its segments.
listener = socket.socket(socket.AF_INET6, socket.SOCK_STREAM)
listener.setsockopt(*last)
listener.settimeout(1)
try:
    listener.connect((sys.argv[1], 81))
except OSError:
    pass
