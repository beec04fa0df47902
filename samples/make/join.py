#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only
"""Join a group on eth0, hold it, leave it: join.py GROUP[,SOURCE|,!SOURCE]."""
import socket
import struct
import sys
import time

MCAST_JOIN_GROUP = 42
MCAST_BLOCK_SOURCE = 43
MCAST_LEAVE_GROUP = 45
MCAST_JOIN_SOURCE_GROUP = 46
MCAST_LEAVE_SOURCE_GROUP = 47


def storage(text):
    """A struct sockaddr_storage."""
    if ":" in text:
        head = struct.pack("=HHI", socket.AF_INET6, 0, 0)
        packed = head + socket.inet_pton(socket.AF_INET6, text)
    else:
        head = struct.pack("=HH", socket.AF_INET, 0)
        packed = head + socket.inet_pton(socket.AF_INET, text)
    return packed.ljust(128, b"\0")


group, _, source = sys.argv[1].partition(",")
if ":" in group:
    family, level = socket.AF_INET6, socket.IPPROTO_IPV6
else:
    family, level = socket.AF_INET, socket.IPPROTO_IP
request = struct.pack(
    "@Q", socket.if_nametoindex("eth0")) + storage(group)
member = socket.socket(family, socket.SOCK_DGRAM)
if source and not source.startswith("!"):
    member.setsockopt(level, MCAST_JOIN_SOURCE_GROUP, request + storage(source))
    time.sleep(1.5)
    member.setsockopt(level, MCAST_LEAVE_SOURCE_GROUP, request + storage(source))
else:
    member.setsockopt(level, MCAST_JOIN_GROUP, request)
    if source:
        time.sleep(0.5)
        member.setsockopt(level, MCAST_BLOCK_SOURCE,
                          request + storage(source[1:]))
    time.sleep(1.5)
    member.setsockopt(level, MCAST_LEAVE_GROUP, request)
