// SPDX-License-Identifier: GPL-2.0-only
// VXLAN (RFC 7348) with the group-policy extension.
#include "capture/ethernet.h"
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr uint32_t vxlan_length = 8;
inline constexpr uint8_t group_policy = 0x80, network_id = 0x08, personal_area_network = 0x04;

[[gnu::noinline]] void emit_vxlan(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<vxlan_length> vxlan(data);
	const uint8_t flags = vxlan[0];
	emit<"      #VXLAN Flags: %s%s%s\n">(ctx, text::when<"GBP Extension, ">(flags & group_policy),
					     text::when<"VXLAN Network ID, ">(flags & network_id),
					     text::when<"Personal Area Network">(flags & personal_area_network));
	if (flags & group_policy)
		emit<"      #Group Policy ID: %u\n">(ctx, vxlan.u16(2));
	if (flags & network_id)
		emit<"      #VXLAN Network Id: %u\n">(ctx, vxlan.u32(4) >> 8);
	if (flags & personal_area_network)
		emit<"      #PAN Id: %u\n">(ctx, vxlan.u32(0) & 0xffffff);
}

} // namespace

uint32_t debug_pkt_vxlan(debug_pkt_ctx *ctx, const uint8_t *data, uint16_t len, const uint8_t *)
{
	ctx->type |= type_vxlan;
	emit_vxlan(ctx, data);
	const wire::nested_packet inner;
	return inner.entered ? vxlan_length + debug_pkt_eth(ctx, data + vxlan_length, len - vxlan_length) : vxlan_length;
}
