// SPDX-License-Identifier: GPL-2.0-only
// The network, transport, tunnel and text-payload decoders. data is their header's first byte, len the bytes from there to the
// packet's end (it may have wrapped); the result is the bytes they consumed.
#pragma once

#include "capture/context.h"

enum class ip_protocol : uint8_t {
	icmp = 1,
	igmp = 2,
	tcp = 6,
	udp = 17,
	gre = 47,
	icmp6 = 58,
};

// flag: not 0 for a later fragment; the decoder then only sets its type bit and returns 0.
using ip_decoder = uint32_t(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag);

struct ip_entry {
	ip_protocol protocol;
	ip_decoder *decode;
};
extern const ip_entry debug_pkt_ip_list[6];
// NULL: no decoder.
ip_decoder *find_ip_decoder(uint8_t protocol);

uint32_t debug_pkt_ipv4(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len);
uint32_t debug_pkt_ipv6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len);
// A fourth argument is ignored.
inline uint32_t debug_pkt_ipv4(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t)
{
	return debug_pkt_ipv4(ctx, data, len);
}
inline uint32_t debug_pkt_ipv6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t)
{
	return debug_pkt_ipv6(ctx, data, len);
}

ip_decoder debug_pkt_icmp;
ip_decoder debug_pkt_igmp;
ip_decoder debug_pkt_udp;
ip_decoder debug_pkt_tcp;
ip_decoder debug_pkt_gre;
ip_decoder debug_pkt_icmp6;

// Behind a UDP header; udp_header is not used.
uint32_t debug_pkt_vxlan(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header);
uint32_t debug_pkt_esp(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *udp_header);
// Renders the printable lines of the first 512 bytes under a label; the bytes examined.
uint32_t debug_pkt_text_line(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, const char *label);
