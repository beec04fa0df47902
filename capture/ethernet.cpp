// SPDX-License-Identifier: GPL-2.0-only
// Ethernet II and 802.3 frames (IEEE 802.3) and 802.1Q tags (IEEE 802.1Q).
#include "capture/ethernet.h"

#include "capture/packet.h"
#include "config/settings.h"
#include "decode/link/link.h"
#include "decode/net/net.h"

const l2_entry debug_pkt_l2_list[7] = {
	{ethertype::vlan, debug_pkt_vlan_match},
	{ethertype::pppoe_discovery, debug_pkt_pppoed},
	{ethertype::pppoe_session, debug_pkt_pppoes},
	{ethertype::ap_message, debug_pkt_apmsg},
	{ethertype::arp, debug_pkt_arp},
	{ethertype::ipv4, debug_pkt_ipv4},
	{ethertype::ipv6, debug_pkt_ipv6},
};

namespace {

inline constexpr uint32_t ethernet_length = 14;
inline constexpr uint32_t tag_length = 4;
inline constexpr uint32_t longest_8023_length = 1499;

// Private ethertypes carry IPv4.
uint16_t dispatch_type(uint16_t type)
{
	return type >= 0x8e00 && type <= 0x8f5f ? static_cast<uint16_t>(ethertype::ipv4) : type;
}

frame_decoder *find_decoder(uint32_t type)
{
#pragma GCC unroll 7
	for (const l2_entry &entry : debug_pkt_l2_list)
		if (entry.type == static_cast<ethertype>(type))
			return entry.decode;
	return nullptr;
}

void match_protocol(debug_pkt_ctx *ctx, uint32_t type)
{
	if (static_cast<uint32_t>(read_setting(debug_pkt_proto)) == type)
		ctx->match |= match_proto;
}

[[gnu::noinline]] void emit_ethernet(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<ethernet_length> frame(data);
	ctx->proto = dispatch_type(frame.u16(12));
	match_protocol(ctx, ctx->proto);
	if (equals_filter_mac(frame.at(0)) || equals_filter_mac(frame.at(6)))
		ctx->match |= match_mac;
	emit<"  #mac: etype %02x%02x smac %02x:%02x:%02x:%02x:%02x:%02x dmac %02x:%02x:%02x:%02x:%02x:%02x\n">(
		ctx, text::octets<2>(frame.at(12)), frame.mac(6), frame.mac(0));
}

// Renders the tag and leaves the ethertype to go on with in proto.
[[gnu::noinline]] void emit_tag(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<tag_length> tag(data);
	const uint16_t vid = tag.u16(0) & 0x0fff, inner = tag.u16(2);
	if (read_setting(debug_pkt_vlan) == vid)
		ctx->match |= match_vlan;
	emit<"  #vlan %d, prio %d, etype %04x\n">(ctx, vid, static_cast<uint8_t>(tag[0] >> 5), inner);
	ctx->proto = dispatch_type(inner);
	match_protocol(ctx, ctx->proto);
}

} // namespace

uint32_t debug_pkt_parse(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t level, uint32_t ethertype)
{
	if (level == 0)
		return debug_pkt_eth(ctx, data, len);
	if (level != 1)
		return 0;
	ctx->proto = static_cast<uint16_t>(ethertype);
	frame_decoder *const decode = find_decoder(ethertype);
	return decode ? decode(ctx, data, len) : 0;
}

uint32_t debug_pkt_eth(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	emit_ethernet(ctx, data);
	uint32_t consumed = ethernet_length;
	// The LLC decoder gets the frame's first byte, not the byte behind this header: the two share their start.
	if (ctx->proto <= longest_8023_length)
		consumed += debug_pkt_snap(ctx, data, len - ethernet_length);
		// proto is read afresh for every entry: a decoder that leaves the type of a later one hands the rest over to it.
#pragma GCC unroll 7
	for (const l2_entry &entry : debug_pkt_l2_list)
		if (entry.type == static_cast<enum ethertype>(ctx->proto))
			consumed += entry.decode(ctx, data + consumed, len - consumed);
	ctx->proto = 0;
	return consumed;
}

uint32_t debug_pkt_vlan_match(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	uint32_t consumed = 0;
	do {
		emit_tag(ctx, data + consumed);
		consumed += tag_length;
	} while (ctx->proto == static_cast<uint32_t>(ethertype::vlan));
	if (frame_decoder *const decode = find_decoder(ctx->proto))
		consumed += decode(ctx, data + consumed, len - consumed);
	ctx->proto = 0;
	return consumed;
}
