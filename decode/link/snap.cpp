// SPDX-License-Identifier: GPL-2.0-only
// LLC and SNAP headers (IEEE 802.2, RFC 1042).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/link/link.h"

namespace {

inline constexpr uint16_t snap_saps = 0xaaaa;
inline constexpr uint16_t unnumbered_information = 0x0300; // control 03 and the first OUI byte 00

// The lines are counted by their nominal lengths; all their fields are of fixed width, so the formatter's result is the same.
static_assert(text::longest_line<"    #snap: sap %04x\n", uint16_t> == 20);
static_assert(text::longest_line<"    #snap: sap %04x ctl %04x\n", uint16_t, uint16_t> == 29);
static_assert(text::longest_line<"           encap %04x etype %04x/%04x\n", uint16_t, uint16_t, uint16_t> == 38);

// Bytes of header, and the value to dispatch on in proto.
uint32_t decode_llc(debug_pkt_ctx *ctx, const wire::header<8> &llc)
{
	const uint16_t saps = llc.u16(0), control = llc.u16(2), type = llc.u16(6);
	if (saps != snap_saps) {
		ctx->proto = saps;
		emit<"    #snap: sap %04x\n">(ctx, saps);
		return 2;
	}
	emit<"    #snap: sap %04x ctl %04x\n">(ctx, saps, control);
	if (control != unnumbered_information) {
		ctx->proto = control;
		return 4;
	}
	ctx->proto = type;
	emit<"           encap %04x etype %04x/%04x\n">(ctx, llc.u16(4), type, static_cast<uint16_t>(ctx->proto));
	return 8;
}

} // namespace

uint32_t debug_pkt_snap(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t)
{
	const wire::header<8> llc(data);
	const uint32_t consumed = decode_llc(ctx, llc);
	if (static_cast<uint32_t>(read_setting(debug_pkt_proto)) == ctx->proto)
		ctx->match |= match_proto;
	return consumed;
}
