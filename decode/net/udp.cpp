// SPDX-License-Identifier: GPL-2.0-only
// UDP (RFC 768) and the services that its ports choose.
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/app/app.h"
#include "decode/net/net.h"

namespace {

inline constexpr uint32_t udp_length = 8;

struct ports {
	uint16_t source, destination;

	bool either(uint16_t port) const { return source == port || destination == port; }
	bool either_in(uint16_t first, uint16_t last) const
	{
		return (source >= first && source <= last) || (destination >= first && destination <= last);
	}
};

[[gnu::noinline]] ports emit_udp(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<udp_length> udp(data);
	emit<"    #udp: sport %d dport %d len %d\n">(ctx, udp.u16(0), udp.u16(2), udp.u16(4));
	return {udp.u16(0), udp.u16(2)};
}

} // namespace

uint32_t debug_pkt_udp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag)
{
	ctx->type |= type_udp;
	if (flag)
		return 0;
	const ports port = emit_udp(ctx, data);

	// Every service whose port is there runs, in this order, where the one before has ended; the length stays the same for all.
	const uint8_t *payload = data + udp_length;
	const uint32_t length = len - udp_length;
	const uint16_t short_length = static_cast<uint16_t>(length);
	if (port.either(67) || port.either(68))
		payload += debug_pkt_dhcp(ctx, payload, short_length, data);
	if (port.either(53))
		payload += debug_pkt_dns(ctx, payload, short_length, data);
	if (port.either(4789))
		payload += debug_pkt_vxlan(ctx, payload, short_length, data);
	if (port.either_in(1812, 1875))
		ctx->type |= type_radius;
	if (port.either(546) || port.either(547))
		payload += debug_pkt_dhcp6(ctx, payload, short_length, data);
	if (port.either(5060))
		payload += debug_pkt_text_line(ctx, payload, length, "sip");
	if (port.either(4500))
		payload += debug_pkt_esp(ctx, payload, short_length, data);

	if (port.either(static_cast<uint16_t>(read_setting(debug_pkt_port))))
		ctx->match |= match_port;
	return static_cast<uint32_t>(payload - data);
}
