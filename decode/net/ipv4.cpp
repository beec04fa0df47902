// SPDX-License-Identifier: GPL-2.0-only
// IPv4 (RFC 791).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr uint32_t fixed_length = 20;
inline constexpr uint8_t dont_fragment = 0x40, more_fragments = 0x20;

struct dispatch {
	uint32_t header_length;
	uint8_t protocol;
	bool later_fragment;
};

[[gnu::noinline]] dispatch emit_ipv4(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<fixed_length> ip(data);
	if (equals_filter_ip(ip.at(12)) || equals_filter_ip(ip.at(16)))
		ctx->match |= match_ip;

	const uint8_t header_length = static_cast<uint8_t>((ip[0] & 0x0f) * 4), protocol = ip[9];
	const uint32_t fragment_offset = (ip.u16(6) & 0x1fffu) * 8;
	emit<"  #ip: sip %d.%d.%d.%d, dip %d.%d.%d.%d, proto %d hdr len %d\n"
	     "       len %d, id %d, cksum %x, ttl %d, dscp %d\n"
	     "       %s, %s, frag off %d\n">(
		ctx, ip.ipv4(12), ip.ipv4(16), protocol, header_length, ip.u16(2), ip.u16(4), ip.u16(10), ip[8],
		static_cast<uint8_t>(ip[1] >> 2), text::choice<"dont fragment", "fragment ok">(ip[6] & dont_fragment),
		text::choice<"more fragments", "last fragment">(ip[6] & more_fragments), static_cast<uint16_t>(fragment_offset));
	return {header_length, protocol, fragment_offset != 0};
}

} // namespace

uint32_t debug_pkt_ipv4(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	const dispatch next = emit_ipv4(ctx, data);
	ip_decoder *const decode = find_ip_decoder(next.protocol);
	if (!decode)
		return next.header_length;
	return next.header_length + decode(ctx, data + next.header_length, len - next.header_length, next.later_fragment);
}
