// SPDX-License-Identifier: GPL-2.0-only
// IPv6 and its extension headers (RFC 8200).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr uint32_t fixed_length = 40;

// The next-header values that are extension headers.
constexpr name_row<uint8_t> extension_names[] = {
	{0, "hop-by-hop"},   {43, "routing"},  {44, "fragmentation"}, {50, "esp"},   {51, "ah"},
	{60, "destination"}, {61, "shim-old"}, {135, "mobile-ipv6"},  {140, "shim"},
};

struct dispatch {
	uint16_t payload_length;
	uint8_t next_header;
};

[[gnu::noinline]] dispatch emit_ipv6(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<fixed_length> ip(data);
	if (equals_filter_ip6(ip.at(8)) || equals_filter_ip6(ip.at(24)))
		ctx->match |= match_ipv6;
	emit<"  #ipv6: sip %pI6c\n"
	     "         dip %pI6c\n"
	     "         hoplimit %d payload len %d next hdr %d\n">(ctx, ip.ipv6(8), ip.ipv6(24), ip[7], ip.u16(4), ip[6]);
	return {ip.u16(4), ip[6]};
}

// Where the upper layer starts; false when there is none to go on with.
[[gnu::noinline]] bool walk_extensions(debug_pkt_ctx *ctx, const uint8_t *data, int32_t end, dispatch &next, int32_t &pos)
{
	int32_t payload_left = next.payload_length;
	for (;;) {
		const text::word name = find_name(extension_names, next.next_header, text::word());
		if (!name.length)
			return true;
		if (!wire::in_packet(data + pos))
			return false;
		const wire::header<2> extension(data + pos);
		// One rule for all nine, also where the second byte counts other units or is no length.
		const uint16_t length = static_cast<uint16_t>(extension[1] * 4 + 8);
		emit<"  #extension header: type %s len %d next hdr %d\n">(ctx, name, length, extension[0]);
		payload_left -= length;
		next.next_header = extension[0];
		pos += length;
		if (payload_left < 1 || pos >= end)
			return false;
	}
}

} // namespace

uint32_t debug_pkt_ipv6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	dispatch next = emit_ipv6(ctx, data);
	const int32_t end = static_cast<int32_t>(len);
	int32_t pos = fixed_length;
	if (next.payload_length == 0 || pos >= end)
		return fixed_length;
	if (!walk_extensions(ctx, data, end, next, pos))
		return static_cast<uint32_t>(pos);

	const uint32_t consumed = static_cast<uint32_t>(pos);
	ip_decoder *const decode = find_ip_decoder(next.next_header);
	return decode ? consumed + decode(ctx, data + consumed, len - consumed, 0) : consumed;
}
