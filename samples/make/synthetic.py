#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only
"""Captures of what no program at hand sends: synthetic.py DIRECTORY.

Plain and deterministic: the same bytes each time. To add a capture, write a
builder (a function that yields frames, Ethernet header first) and put it into
BUILDERS at the end.
"""
import os
import socket
import struct
import sys

START = 1700000000      # seconds; each frame is STEP microseconds later
STEP = 1500

MAC_A = bytes.fromhex("02005e100101")
MAC_B = bytes.fromhex("02005e100102")
MAC_INNER_A = bytes.fromhex("02005e200001")
MAC_INNER_B = bytes.fromhex("02005e200002")

V4_A, V4_B = "192.0.2.1", "192.0.2.2"
V6_A, V6_B = "2001:db8::1", "2001:db8::2"

ICMP, TCP, UDP, GRE, ESP, AH, ICMP6 = 1, 6, 17, 47, 50, 51, 58
HOP, ROUTING, FRAGMENT, NO_NEXT, DESTINATION = 0, 43, 44, 59, 60
HOST_INTERNAL, MOBILITY, SHIM6 = 61, 135, 140

T_IPV4, T_ARP, T_VLAN, T_IPV6 = 0x0800, 0x0806, 0x8100, 0x86dd


# ---------------------------------------------------------------- the file

def write_pcap(path, frames):
    """Write an Ethernet capture with microseconds. A frame may be a pair
    (bytes, length on the wire) to say that it was cut."""
    with open(path, "wb") as out:
        out.write(struct.pack("<IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 262144, 1))
        for number, frame in enumerate(frames):
            wire = len(frame)
            if isinstance(frame, tuple):
                frame, wire = frame
            time = number * STEP
            out.write(struct.pack("<IIII", START + time // 1000000,
                                  time % 1000000, len(frame), wire))
            out.write(frame)


# ------------------------------------------------------------- the layers

def checksum(data):
    """The Internet checksum."""
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    while total >> 16:
        total = (total & 0xffff) + (total >> 16)
    return ~total & 0xffff


def pseudo(source, target, protocol, length):
    """The header that checksums of IPv4 and IPv6 payloads begin with."""
    if ":" in source:
        return (socket.inet_pton(socket.AF_INET6, source) +
                socket.inet_pton(socket.AF_INET6, target) +
                struct.pack("!IxxxB", length, protocol))
    return (socket.inet_aton(source) + socket.inet_aton(target) +
            struct.pack("!xBH", protocol, length))


def ether(kind, payload, source=MAC_A, target=MAC_B):
    """An Ethernet frame, padded to 60 bytes as a wire needs."""
    return (target + source + struct.pack("!H", kind) + payload).ljust(
        60, b"\0")


def vlan(tag, kind, payload, priority=0):
    """What follows the type 0x8100."""
    return struct.pack("!HH", priority << 13 | tag, kind) + payload


def arp(source, target, mac=MAC_A):
    """A request."""
    return (struct.pack("!HHBBH", 1, T_IPV4, 6, 4, 1) + mac +
            socket.inet_aton(source) + bytes(6) + socket.inet_aton(target))


def ipv4(protocol, payload, source=V4_A, target=V4_B, ident=1, ttl=64,
         options=b""):
    """An IPv4 packet, not fragmented."""
    head = struct.pack("!BBHHHBBH4s4s", 0x45 + len(options) // 4, 0,
                       20 + len(options) + len(payload), ident, 0x4000, ttl,
                       protocol, 0, socket.inet_aton(source),
                       socket.inet_aton(target)) + options
    head = head[:10] + struct.pack("!H", checksum(head)) + head[12:]
    return head + payload


def ipv6(following, payload, source=V6_A, target=V6_B, hops=64, flow=0):
    """An IPv6 packet; FOLLOWING is the type of the first header after it."""
    return (struct.pack("!IHBB", 0x60000000 | flow, len(payload), following,
                        hops) +
            socket.inet_pton(socket.AF_INET6, source) +
            socket.inet_pton(socket.AF_INET6, target) + payload)


def udp(payload, source=V4_A, target=V4_B, ports=(40000, 9)):
    """A datagram."""
    length = 8 + len(payload)
    head = struct.pack("!HHHH", *ports, length, 0)
    total = checksum(pseudo(source, target, UDP, length) + head + payload)
    return head[:6] + struct.pack("!H", total or 0xffff) + payload


def tcp(payload, source=V4_A, target=V4_B, ports=(40000, 7000), flags=0x18):
    """A segment without options."""
    head = struct.pack("!HHIIBBHHH", *ports, 1000, 2000, 0x50, flags, 64240,
                       0, 0)
    total = checksum(pseudo(source, target, TCP, len(head) + len(payload)) +
                     head + payload)
    return head[:16] + struct.pack("!HH", total, 0) + payload


def echo(sequence, payload=b"abcdefghijklmnopqrstuvwabcdefghi", reply=False):
    """ICMP echo."""
    head = struct.pack("!BBHHH", 0 if reply else 8, 0, 0, 0x1234, sequence)
    total = checksum(head + payload)
    return head[:2] + struct.pack("!H", total) + head[4:] + payload


def echo6(sequence, payload=b"abcdefgh", source=V6_A, target=V6_B):
    """ICMPv6 echo request."""
    head = struct.pack("!BBHHH", 128, 0, 0, 0x1234, sequence)
    total = checksum(pseudo(source, target, ICMP6, 8 + len(payload)) + head +
                     payload)
    return head[:2] + struct.pack("!H", total) + head[4:] + payload


def gre(protocol, payload, key=None, sequence=None, summed=False):
    """A GRE header and what it carries."""
    flags = (0x8000 * summed | 0x2000 * (key is not None) |
             0x1000 * (sequence is not None))
    parts = struct.pack("!HH", flags, protocol)
    if summed:
        parts += bytes(4)
    if key is not None:
        parts += struct.pack("!I", key)
    if sequence is not None:
        parts += struct.pack("!I", sequence)
    if summed:
        total = checksum(parts + payload)
        parts = parts[:4] + struct.pack("!H", total) + parts[6:]
    return parts + payload


# ------------------------------------------------- IPv6 extension headers

def extension(following, body):
    """Next header, length in units of 8 bytes less one, body. PadN fills a
    body of options up; other bodies have to fit."""
    assert (2 + len(body)) % 8 == 0, len(body)
    return struct.pack("!BB", following, (2 + len(body)) // 8 - 1) + body


PADN4 = bytes([1, 4, 0, 0, 0, 0])


def shim_payload(following, tag):
    """Multihoming shim before a payload: a context tag of 47 bits."""
    head = struct.pack("!Q", 1 << 47 | tag)[2:]
    return struct.pack("!BB", following, 0) + head


def shim_control(kind, body):
    """Multihoming shim's own messages: type of 7 bits, checksum, body."""
    length = (6 + len(body)) // 8 - 1
    assert (6 + len(body)) % 8 == 0, (kind, len(body))
    head = struct.pack("!BBBBH", NO_NEXT, length, kind, 0, 0)
    total = checksum(head + body)
    return struct.pack("!BBBBH", NO_NEXT, length, kind, 0, total) + body


def mobility(kind, body, source=V6_A, target=V6_B):
    """A mobility header; nothing follows it."""
    length = (6 + len(body)) // 8 - 1
    assert (6 + len(body)) % 8 == 0, (kind, len(body))
    head = struct.pack("!BBBBH", NO_NEXT, length, kind, 0, 0)
    total = checksum(pseudo(source, target, MOBILITY, 6 + len(body)) + head +
                     body)
    return head[:4] + struct.pack("!H", total) + body


def auth(following, spi, sequence, size=12):
    """An authentication header; its length counts 4 bytes, less two."""
    value = bytes(range(0xa0, 0xa0 + size))
    return struct.pack("!BBHII", following, (12 + size) // 4 - 2, 0, spi,
                       sequence) + value


def esp(spi, sequence, size=48):
    """Encapsulated, so only this much can be known of it."""
    return struct.pack("!II", spi, sequence) + bytes(
        (7 * i + 13) & 0xff for i in range(size))


def udp6(text, ports=(40000, 9)):
    """A datagram between the two IPv6 hosts."""
    return udp(text, V6_A, V6_B, ports)


def frame6(following, payload):
    """An Ethernet frame with an IPv6 packet."""
    return ether(T_IPV6, ipv6(following, payload))


# --------------------------------------------------------------- builders

def build_ipv6_shim():
    """Next headers 61 and 140, before several payloads and each other."""
    yield frame6(SHIM6, shim_payload(UDP, 0x123456789abc) + udp6(b"shim"))
    yield frame6(SHIM6, shim_payload(ICMP6, 1) + echo6(1))
    yield frame6(SHIM6, shim_payload(TCP, 0x7fffffffffff) +
                 tcp(b"shim", V6_A, V6_B))
    yield frame6(SHIM6, shim_control(1, struct.pack("!HII", 0x1234, 0x56789abc,
                                                    0xcafe0001)))
    yield frame6(HOST_INTERNAL, extension(UDP, bytes(range(6))) +
                 udp6(b"one unit"))
    yield frame6(HOST_INTERNAL, extension(TCP, bytes(range(14))) +
                 tcp(b"two units", V6_A, V6_B))
    yield frame6(HOST_INTERNAL, extension(SHIM6, bytes(range(6))) +
                 shim_payload(ICMP6, 2) + echo6(2))
    yield frame6(HOP, extension(HOST_INTERNAL, PADN4) +
                 extension(SHIM6, bytes(range(22))) +
                 shim_payload(DESTINATION, 3) + extension(UDP, PADN4) +
                 udp6(b"all"))
    yield frame6(HOST_INTERNAL, extension(NO_NEXT, bytes(range(6))))


def build_ipv6_mobility():
    """One of each message, then one behind other headers."""
    cookie = bytes(range(0x10, 0x18))
    token = bytes(range(0x20, 0x28))
    yield frame6(MOBILITY, mobility(0, bytes(2)))                   # refresh
    yield frame6(MOBILITY, mobility(1, bytes(2) + cookie))          # HoTI
    yield frame6(MOBILITY, mobility(2, bytes(2) + cookie))          # CoTI
    yield frame6(MOBILITY, mobility(3, struct.pack("!H", 7) + cookie +
                                    token))                         # HoT
    yield frame6(MOBILITY, mobility(4, struct.pack("!H", 8) + cookie +
                                    token))                         # CoT
    care_of = bytes([3, 16]) + socket.inet_pton(
        socket.AF_INET6, "2001:db8:c0a::1")
    # Sequence, flags A and H, lifetime; the alternative care-of address.
    yield frame6(MOBILITY, mobility(5, struct.pack("!HHH", 1, 0xc000, 30) +
                                    bytes([1, 0]) + care_of))
    yield frame6(MOBILITY, mobility(6, struct.pack("!BBHH", 0, 0x80, 1, 30) +
                                    bytes([1, 2, 0, 0])))
    yield frame6(MOBILITY, mobility(7, bytes([1, 0]) + socket.inet_pton(
        socket.AF_INET6, "2001:db8:abc::1")))                       # error
    yield frame6(DESTINATION, extension(MOBILITY, PADN4) +
                 mobility(1, bytes(2) + cookie))
    yield frame6(DESTINATION, extension(
        UDP, bytes([1, 2, 0, 0, 0xc9, 16]) + socket.inet_pton(
            socket.AF_INET6, "2001:db8:c0a::2")) +
                 udp(b"home address", "2001:db8:c0a::2", V6_B))


def build_ipv6_ah_esp():
    """AH and ESP, alone, together, and among other headers."""
    yield frame6(AH, auth(UDP, 0x1000, 1) + udp6(b"authentic"))
    yield frame6(AH, auth(TCP, 0x1000, 2, 20) + tcp(b"longer", V6_A, V6_B))
    yield frame6(AH, auth(ESP, 0x1000, 3) + esp(0x2000, 1))
    yield frame6(ESP, esp(0x2000, 2))
    yield frame6(HOP, extension(AH, PADN4) + auth(ESP, 0x1000, 4) +
                 esp(0x2000, 3, 80))
    yield frame6(HOP, extension(DESTINATION, PADN4) +
                 extension(ROUTING, PADN4) +
                 extension(AH, bytes([0, 0, 0, 0, 0, 0])) +
                 auth(DESTINATION, 0x1000, 5) + extension(ICMP6, PADN4) +
                 echo6(5))
    yield frame6(FRAGMENT, struct.pack("!BBHI", AH, 0, 0, 0xfeedbeef) +
                 auth(UDP, 0x1000, 6) + udp6(b"an only fragment"))
    yield ether(T_IPV4, ipv4(AH, auth(ESP, 0x3000, 1) + esp(0x4000, 1)))


def build_private_ethertype():
    """Types 0x8e00 to 0x8f5f with IPv4 in them; their neighbours outside."""
    for number, kind in enumerate(
            [0x8e00, 0x8e01, 0x8e7f, 0x8eff, 0x8f00, 0x8f5e, 0x8f5f]):
        yield ether(kind, ipv4(ICMP, echo(number + 1), ident=number + 1))
    yield ether(0x8e10, ipv4(UDP, udp(b"private"), ident=8))
    yield ether(0x8f10, ipv4(TCP, tcp(b"private"), ident=9))
    yield ether(T_VLAN, vlan(7, 0x8e20, ipv4(ICMP, echo(10), ident=10), 5))
    yield ether(0x8dff, ipv4(ICMP, echo(11), ident=11))
    yield ether(0x8f60, ipv4(ICMP, echo(12), ident=12))


def build_gre_frame():
    """GRE of protocols 0x8ffd and 0x8800, an Ethernet frame inside."""
    def inside(kind, payload):
        return ether(kind, payload, MAC_INNER_A, MAC_INNER_B)

    frames = [
        inside(T_IPV4, ipv4(ICMP, echo(1), "198.51.100.1", "198.51.100.2")),
        inside(T_ARP, arp("198.51.100.1", "198.51.100.2", MAC_INNER_A)),
        inside(T_IPV6, ipv6(UDP, udp6(b"inside"))),
        inside(T_VLAN, vlan(100, T_IPV4, ipv4(
            UDP, udp(b"tagged", "198.51.100.1", "198.51.100.2"),
            "198.51.100.1", "198.51.100.2"), 3)),
    ]
    for protocol in (0x8ffd, 0x8800):
        for frame in frames:
            yield ether(T_IPV4, ipv4(GRE, gre(protocol, frame)))
        yield ether(T_IPV4, ipv4(GRE, gre(protocol, frames[0], key=0x1020304)))
        yield ether(T_IPV4, ipv4(GRE, gre(protocol, frames[0], key=9,
                                          sequence=1, summed=True)))
        yield frame6(GRE, gre(protocol, frames[0]))
    yield ether(T_IPV4, ipv4(GRE, gre(0x0801, b"some other protocol")))


def build_cut():
    """Frames that the capture cut, and headers longer than their packet."""
    whole = ether(T_IPV4, ipv4(UDP, udp(b"0123456789" * 5)))
    for size in (0, 5, 13, 14, 20, 33, 34, 38, 42, 60):
        yield (whole[:size], len(whole))
    whole6 = frame6(HOP, extension(DESTINATION, PADN4) +
                    extension(TCP, PADN4) + tcp(b"0123456789", V6_A, V6_B))
    for size in (30, 54, 58, 62, 70, 80):
        yield (whole6[:size], len(whole6))
    # Lengths that promise more than there is.
    packet = ipv4(UDP, udp(b"short"))
    yield ether(T_IPV4, b"\x4f" + packet[1:])
    yield ether(T_IPV4, b"\x44" + packet[1:])
    yield ether(T_IPV4, packet[:2] + b"\x05\xdc" + packet[4:])
    yield frame6(HOP, bytes([UDP, 200]) + bytes(14))
    segment = tcp(b"")
    yield ether(T_IPV4, ipv4(TCP, segment[:12] + b"\xf0" + segment[13:]))
    yield ether(T_IPV4, ipv4(TCP, segment[:12] + b"\x10" + segment[13:]))
    yield ether(T_ARP, arp(V4_A, V4_B)[:12])[:26]


# ------------------------------------------------------------ AP messages

AP_MESSAGE = 0x8ffd
CLIENT = bytes.fromhex("02005e00c1e7")
AP_ADDRESS, CONTROLLER, CLIENT_ADDRESS = "192.0.2.20", "192.0.2.2", "192.0.2.77"


class Fields:
    """A message filled at offsets; it grows as needed."""

    def __init__(self, subtype, version=1, magic=0xc2c9):
        self.data = bytearray(50)
        self.put(0, struct.pack("!HxB", magic, version))
        self.put(48, bytes([subtype]))

    def put(self, offset, content):
        missing = offset + len(content) - len(self.data)
        self.data += bytes(max(missing, 0))
        self.data[offset:offset + len(content)] = content

    def text(self, offset, text):
        self.put(offset, text.encode() + b"\0")

    def frame(self):
        return ether(AP_MESSAGE, bytes(self.data))


def ap_session_request(user):
    message = Fields(0)
    message.put(50, CLIENT)
    message.put(60, socket.inet_aton(AP_ADDRESS))
    message.text(97, user)
    return message


def ap_session(ports, protocol, flags, addresses, nat_port=0):
    """One flow of a session response, 60 bytes; IPv6 where the addresses
    are."""
    record = bytearray(60)
    struct.pack_into("!HHBxxxI", record, 0, *ports, protocol, flags[0])
    struct.pack_into("!HBB", record, 16, nat_port, ":" in addresses[0],
                     flags[2])
    struct.pack_into("!I", record, 52, flags[1])
    at = 20
    for address in addresses:
        kind = socket.AF_INET6 if ":" in address else socket.AF_INET
        packed = socket.inet_pton(kind, address)
        record[at:at + len(packed)] = packed
        at += len(packed)
    return bytes(record)


def ap_session_response(sessions, groups, entries, user):
    message = Fields(1)
    message.put(50, CLIENT)
    message.put(56, socket.inet_aton(CLIENT_ADDRESS))
    message.put(72, struct.pack("!H", 106))
    message.text(74, "guest-logon")
    message.put(138, struct.pack("!H", 100))
    message.text(141, "lobby")
    message.put(178, socket.inet_aton("192.0.2.1"))
    message.put(182, socket.inet_aton(AP_ADDRESS))
    message.put(186, bytes([len(groups), entries]))
    message.put(194, socket.inet_pton(socket.AF_INET6, "2001:db8::67"))
    message.put(210, bytes([len(sessions)]))
    rest = b"".join(sessions)
    rest += b"".join(socket.inet_aton(group) for group in groups)
    rest += bytes(16 * entries)
    message.put(213, rest)
    message.text(213 + len(rest), user)
    return message


def ap_foreign_session_response():
    message = Fields(6)
    message.put(50, CLIENT)
    message.put(56, struct.pack("<H", 100))
    message.put(58, socket.inet_aton(AP_ADDRESS) +
                socket.inet_aton(CONTROLLER))
    message.text(66, "lobby")
    return message


def ap_hierarchy(subtype, state, uptime):
    message = Fields(subtype)
    message.put(50, bytes([state]) + struct.pack("<I", uptime) +
                socket.inet_aton(AP_ADDRESS))
    return message


def ap_domain(name, addresses):
    """One entry of a DNS map: the labels, the two counts, the addresses."""
    labels = b"".join(bytes([len(label)]) + label.encode()
                      for label in name.split(".")) + b"\0"
    four = [socket.inet_aton(a) for a in addresses if ":" not in a]
    six = [socket.inet_pton(socket.AF_INET6, a) for a in addresses if ":" in a]
    return (labels.ljust(256, b"\0") + bytes([len(four), len(six), 0, 0]) +
            b"".join(four + six))


def ap_dns_map(old_count, entries):
    message = Fields(9)
    message.put(50, struct.pack("!HH", old_count, len(entries)))
    message.put(54, b"".join(entries))
    return message


def build_ap_messages():
    yield ap_session_request("alice").frame()
    yield ap_session_request("").frame()
    flows = [
        ap_session((49152, 443), TCP, (0x10, 0x2, 0x1),
                   ("192.0.2.77", "198.51.100.7", "203.0.113.5"), 61000),
        ap_session((5353, 53), UDP, (0x8000, 0, 0x80),
                   ("2001:db8::77", "2001:db8::53")),
    ]
    yield ap_session_response(flows, ["239.1.1.1"], 2, "alice").frame()
    yield ap_session_response([], [], 0, "").frame()
    yield ap_foreign_session_response().frame()
    for subtype, state in ((3, 2), (4, 0), (5, 1), (7, 3), (3, 9)):
        yield ap_hierarchy(subtype, state, 86400).frame()
    yield ap_dns_map(0, [
        ap_domain("www.example.com", ["198.51.100.7", "198.51.100.8",
                                      "2001:db8::7"]),
        ap_domain("printer", []),
    ]).frame()
    yield ap_dns_map(3, []).frame()
    yield ap_dns_map(0, []).frame()
    for subtype in (2, 8, 10):
        yield Fields(subtype).frame()
    yield Fields(0, magic=0x1234).frame()
    tagged = vlan(7, AP_MESSAGE, bytes(ap_hierarchy(4, 3, 60).data), 6)
    yield ether(T_VLAN, tagged)


# Name of the capture, the function that makes its frames. More go here.
BUILDERS = [
    ("ipv6-shim", build_ipv6_shim),
    ("ipv6-mobility", build_ipv6_mobility),
    ("ipv6-ah-esp", build_ipv6_ah_esp),
    ("private-ethertype", build_private_ethertype),
    ("gre-frame", build_gre_frame),
    ("cut", build_cut),
    ("ap-messages", build_ap_messages),
]


def main():
    """Write every capture."""
    for name, builder in BUILDERS:
        write_pcap(os.path.join(sys.argv[1], name + ".pcap"), builder())


if __name__ == "__main__":
    main()
