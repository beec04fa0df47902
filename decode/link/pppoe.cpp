// SPDX-License-Identifier: GPL-2.0-only
// PPPoE discovery and session stage (RFC 2516).
#include "capture/ethernet.h"
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/link/link.h"

namespace {

inline constexpr uint32_t pppoe_length = 6;
inline constexpr uint32_t session_length = pppoe_length + 2; // and the PPP protocol

inline constexpr uint16_t ppp_ipv4 = 0x0021, ppp_ipv6 = 0x0057;

constexpr name_row<uint8_t> code_names[] = {
	{0x09, "initiation"}, {0x07, "offer"}, {0x19, "request"}, {0x65, "confirmation"}, {0xa7, "terminate"},
};

constexpr name_row<uint16_t> protocol_names[] = {
	{ppp_ipv4, "ipv4"},
	{ppp_ipv6, "ipv6"},
	{0xc021, "link-control"},
	{0xc023, "passwd-auth"},
	{0xc025, "link-quality-report"},
	{0xc223, "challenge-handshake-auth"},
};

} // namespace

uint32_t debug_pkt_pppoed(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t)
{
	const wire::header<pppoe_length> pppoe(data);
	ctx->type |= type_pppoe;
	emit<"  #pppoe discovery %s (%x), session id %d\n">(ctx, find_name(code_names, pppoe[1], "unknown"), pppoe[1],
							    pppoe.u16(2));
	return pppoe_length;
}

uint32_t debug_pkt_pppoes(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t)
{
	const wire::header<session_length> pppoe(data);
	ctx->type |= type_pppoe;
	const uint16_t protocol = pppoe.u16(6);
	if (read_setting(debug_pkt_proto) == protocol)
		ctx->match |= match_proto;

	// The layer-2 walk goes on with what stands in proto; another PPP protocol leaves it as it was.
	if (protocol == ppp_ipv4)
		ctx->proto = static_cast<uint32_t>(ethertype::ipv4);
	else if (protocol == ppp_ipv6)
		ctx->proto = static_cast<uint32_t>(ethertype::ipv6);

	emit<"  #pppoe protocol %s(0x%x), session id %d\n">(ctx, find_name(protocol_names, protocol, "other"), protocol,
							    pppoe.u16(2));
	return session_length;
}
