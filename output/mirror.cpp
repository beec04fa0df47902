// SPDX-License-Identifier: GPL-2.0-only
#include "output/mirror.h"

#include "capture/packet.h"
#include "config/settings.h"

uint32_t iphdrid;

namespace {

inline constexpr uint32_t ipv4_header_length = 20;
inline constexpr uint32_t outer_length = ipv4_header_length + 4; // IPv4 and GRE
inline constexpr uint32_t headroom = 64;
static_assert(longest_mirrored_frame + outer_length == UINT16_MAX);
inline constexpr uint16_t transparent_ethernet = 0x6558;
inline constexpr uint8_t protocol_gre = 47;

bool is_error(const rtable *route)
{
	return reinterpret_cast<uintptr_t>(route) >= static_cast<uintptr_t>(-4095);
}

bool same_address(const uint8_t *p, uint32_t address)
{
	return __builtin_memcmp(p, &address, sizeof address) == 0;
}

void put_u16(uint8_t *p, uint32_t value)
{
	p[0] = static_cast<uint8_t>(value >> 8);
	p[1] = static_cast<uint8_t>(value);
}

// The tag test compares with 0x0081, not the 0x8100 of a tagged frame: those are never looked into.
bool is_own_packet(const uint8_t *frame, uint32_t length, const platform_flow &flow)
{
	const wire::announced_packet bounds(frame, length);
	const wire::header<18> ethernet(frame);
	const bool tagged = ethernet.u16(12) == 0x0081;
	const wire::header<outer_length> ip(frame + (tagged ? 18 : 14));
	return ethernet.u16(tagged ? 16 : 12) == 0x0800 && (ip[0] & 0x0f) == 5 && ip[9] == protocol_gre &&
	       same_address(ip.at(16), flow.destination) && same_address(ip.at(12), flow.source) &&
	       ip.u16(22) == transparent_ethernet;
}

void fill_outer_headers(uint8_t *ip, uint32_t length, const platform_flow &flow)
{
	__builtin_memset(ip, 0, outer_length);
	ip[0] = 0x45;
	put_u16(ip + 2, outer_length + length);
	const uint32_t id = read_setting(iphdrid);
	put_u16(ip + 4, id);
	write_setting(iphdrid, id + 1);
	ip[8] = 64;
	ip[9] = protocol_gre;
	__builtin_memcpy(ip + 12, &flow.source, 4);
	__builtin_memcpy(ip + 16, &flow.destination, 4);
	put_u16(ip + 22, transparent_ethernet);
	platform_ip_send_check(ip);
}

} // namespace

int debug_pkt_ip_frag_send(net *net, sock *sk, sk_buff *skb)
{
	return platform_dst_output(net, sk, skb);
}

void debug_pkt_mirror_send(const uint8_t *frame, uint32_t length)
{
	if (length > longest_mirrored_frame) {
		count_event(&debug_pkt_counters::mirror_too_long);
		return;
	}
	platform_flow flow = {};
	flow.destination = read_setting(debug_pkt_mirror_ip);
	flow.protocol = protocol_gre;
	rtable *const route = platform_route_output(&flow);
	if (!route || is_error(route)) {
		count_event(&debug_pkt_counters::mirror_no_route);
		return;
	}
	if (is_own_packet(frame, length, flow)) {
		count_event(&debug_pkt_counters::mirror_own_packet);
		platform_route_release(route);
		return;
	}
	sk_buff *const skb = platform_skb_alloc(length + headroom);
	if (!skb) {
		count_event(&debug_pkt_counters::mirror_no_buffer);
		platform_route_release(route);
		return;
	}
	platform_skb_reserve(skb, headroom);
	__builtin_memcpy(platform_skb_put(skb, length), frame, length);
	platform_skb_mark_mac_header(skb);
	uint8_t *const ip = platform_skb_push(skb, outer_length);
	platform_skb_mark_network_header(skb);

	net_device *const dev = platform_route_dev(route);
	platform_skb_set_route(skb, route);
	platform_skb_set_dev(skb, dev);
	platform_skb_set_checksum_none(skb);
	fill_outer_headers(ip, length, flow);

	count_event(&debug_pkt_counters::mirrored);
	if (!platform_has_local_out_hooks(dev) || platform_run_local_out_hooks(skb, dev, debug_pkt_ip_frag_send) == 1)
		platform_dst_output(platform_dev_net(dev), nullptr, skb);
}
