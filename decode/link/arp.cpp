// SPDX-License-Identifier: GPL-2.0-only
// ARP for Ethernet and IPv4 (RFC 826).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/link/link.h"

namespace {

inline constexpr uint32_t arp_length = 28;

constexpr name_row<uint16_t> opcode_names[] = {
	{1, "request"},
	{2, "response"},
};

} // namespace

uint32_t debug_pkt_arp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t)
{
	const wire::header<arp_length> arp(data);
	ctx->type = type_arp;
	if (equals_filter_ip(arp.at(14)) || equals_filter_ip(arp.at(24)))
		ctx->match |= match_ip;

	const uint16_t opcode = arp.u16(6);
	emit<"  #arp: opcode %s(%d), sip %d.%d.%d.%d, tip %d.%d.%d.%d, smac %02x:%02x:%02x:%02x:%02x:%02x, "
	     "tmac %02x:%02x:%02x:%02x:%02x:%02x\n">(ctx, find_name(opcode_names, opcode, "other"), opcode, arp.ipv4(14),
						     arp.ipv4(24), arp.mac(8), arp.mac(18));
	return arp_length;
}
