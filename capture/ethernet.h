// SPDX-License-Identifier: GPL-2.0-only
// Where decoding starts: an Ethernet frame or the payload of a known ethertype, and the layer-2 table.
#pragma once

#include "capture/context.h"

enum class ethertype : uint32_t {
	ipv4 = 0x0800,
	arp = 0x0806,
	vlan = 0x8100,
	ipv6 = 0x86dd,
	pppoe_discovery = 0x8863,
	pppoe_session = 0x8864,
	ap_message = 0x8ffd,
};

// A frame-level decoder: its header's first byte, the bytes from there to the packet's end (may have wrapped); bytes consumed.
using frame_decoder = uint32_t(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len);

struct l2_entry {
	ethertype type;
	frame_decoder *decode;
};
extern const l2_entry debug_pkt_l2_list[7];

// level 0: an Ethernet frame. level 1: the payload of the ethertype, which is left in the context's proto. Others: nothing, 0.
uint32_t debug_pkt_parse(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t level, uint32_t ethertype);

frame_decoder debug_pkt_eth;
// data: the 4 bytes behind a 0x8100 type field.
frame_decoder debug_pkt_vlan_match;
