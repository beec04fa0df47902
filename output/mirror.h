// SPDX-License-Identifier: GPL-2.0-only
// Mirroring: the raw frame in GRE (RFC 2784, Transparent Ethernet Bridging 0x6558) over IPv4 to debug_pkt_mirror_ip.
#pragma once

#include "platform/platform.h"

// Module-wide IPv4 identification; the low 16 bits go out. Two CPUs may send the same one.
extern uint32_t iphdrid;

// What an IPv4 datagram can carry behind its header and GRE's.
inline constexpr uint32_t longest_mirrored_frame = 65535 - (20 + 4);

// Sends length bytes of an Ethernet frame to the collector; silently not when there is no route, no memory, the frame is a
// mirror packet itself, or an IPv4 datagram cannot carry it (above 65,511 bytes). Packet path.
void debug_pkt_mirror_send(const uint8_t *frame, uint32_t length);

// The hooks' continuation: sends the packet through its route; the output function's result.
extern "C" int debug_pkt_ip_frag_send(net *net, sock *sk, sk_buff *skb);
