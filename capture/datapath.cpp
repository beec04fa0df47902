// SPDX-License-Identifier: GPL-2.0-only
// Entry points for datapath modules that hold only a packet buffer, and the text export.
#include "capture/datapath.h"

#include "capture/context.h"
#include "capture/ethernet.h"
#include "capture/ifname.h"
#include "capture/packet.h"
#include "config/settings.h"

static_assert(sizeof(debug_pkt_desc) == 96);
DEFINE_PER_CPU_STATE(debug_pkt_desc) sbeth;

namespace {

debug_pkt_desc *fill_descriptor(sk_buff *skb, uint32_t egress, uint32_t ingress)
{
	debug_pkt_desc &desc = this_cpu(sbeth);
	desc.skb = skb;
	desc.data = platform_skb_data(skb);
	desc.egress = egress;
	desc.ingress = ingress;
	return &desc;
}

} // namespace

void debug_pkt_get_cp_ifindex(uint32_t ifindex)
{
	write_setting(firewall_cp_ifindex, ifindex);
}

void asfp_debug_pkt_dump(sk_buff *skb, const char *func, int32_t line)
{
	debug_pkt_dump(fill_descriptor(skb, 0, interface_code(platform_skb_dev(skb))), func, line, " asfp entry", 0, 0, 2);
}

void uol_debug_pkt_dump(sk_buff *skb, const char *func, int32_t line)
{
	debug_pkt_dump(fill_descriptor(skb, 0, interface_code(platform_skb_dev(skb))), func, line, " uol entry", 0, 0, 4);
}

void uol_debug_pkt_dump_l3(sk_buff *skb, const char *func, int32_t line)
{
	debug_pkt_dump(fill_descriptor(skb, interface_code(platform_skb_dev(skb)), 0), func, line, " uol entry", 1, 2048, 4);
}

void asfp_update_egress(void)
{
	debug_pkt_desc *const desc = this_cpu(last_matched_pkt);
	desc->egress = interface_code(platform_skb_dev(desc->skb));
}

uint32_t debug_pkt_to_str(const debug_pkt_desc *desc, uint32_t level, uint32_t ethertype, char *out, uint32_t size)
{
	debug_pkt_ctx *const ctx = new_context();
	if (!ctx)
		return 0;
	interface_name_room room;
	const text::name egress = interface_name(desc->egress, room);
	const platform_packet packet = platform_skb_packet(desc->skb);
	emit<"len %d, vlan %d, egress %s, ingress %s:\n">(ctx, static_cast<int32_t>(packet.len), desc->vlan, egress,
							  device_name(packet.dev));
	const wire::announced_packet bounds(packet.data, packet.present);
	debug_pkt_parse(ctx, packet.data, packet.len, level, ethertype);

	const uint32_t n = ctx->len < size - 1 ? ctx->len : size - 1;
	__builtin_memcpy(out, ctx->buf, n);
	out[n] = 0;
	free_context(ctx);
	return n;
}
