#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only
"""Send one packet of any protocol: raw.py 4|6 ADDRESS PROTOCOL HEX...

For ICMP the checksum is put in.
"""
import socket
import struct
import sys
import time

family = socket.AF_INET6 if sys.argv[1] == "6" else socket.AF_INET
raw = socket.socket(family, socket.SOCK_RAW, int(sys.argv[3]))
data = bytearray.fromhex("".join(sys.argv[4:]))
if sys.argv[3] == "1":
    total = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    total = (total & 0xffff) + (total >> 16)
    struct.pack_into("!H", data, 2, ~(total + (total >> 16)) & 0xffff)
raw.sendto(data, (sys.argv[2], 0))
time.sleep(0.5)
