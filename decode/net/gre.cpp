// SPDX-License-Identifier: GPL-2.0-only
// GRE (RFC 2784), always taken to be 4 bytes: the optional fields that its flags announce are not skipped.
#include "capture/ethernet.h"
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr uint32_t gre_length = 4;

[[gnu::noinline]] uint16_t emit_gre(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<gre_length> gre(data);
	const uint16_t protocol = gre.u16(2);
	if (read_setting(debug_pkt_proto) == protocol)
		ctx->match |= match_proto;
	emit<"    #gre: flag 0x%02x%02x proto %04x\n">(ctx, gre[0], gre[1], protocol);
	return protocol;
}

bool carries_ethernet(uint16_t protocol)
{
	return protocol == 0x8ffd || protocol == read_setting(gre_type) || (protocol >= 0x8800 && protocol <= 0x887f);
}

} // namespace

uint32_t debug_pkt_gre(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag)
{
	ctx->type |= type_gre;
	if (flag)
		return 0;
	// What stays in proto is where the layer-2 walk goes on.
	ctx->proto = emit_gre(ctx, data);
	if (!carries_ethernet(static_cast<uint16_t>(ctx->proto)))
		return gre_length;
	const wire::nested_packet inner;
	return inner.entered ? gre_length + debug_pkt_eth(ctx, data + gre_length, len - gre_length) : gre_length;
}
