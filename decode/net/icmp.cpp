// SPDX-License-Identifier: GPL-2.0-only
// ICMP (RFC 792).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr uint32_t icmp_length = 8;

enum icmp_type : uint8_t {
	echo_reply = 0,
	destination_unreachable = 3,
	source_quench = 4,
	redirect = 5,
	echo_request = 8,
	time_exceeded = 11,
	parameter_problem = 12,
};

constexpr name_row<uint8_t> type_names[] = {
	{echo_reply, "echo-reply"},           {destination_unreachable, "dst-unreachable"},
	{source_quench, "src-quench"},        {redirect, "redirect"},
	{echo_request, "echo-request"},       {time_exceeded, "ttl-exceeded"},
	{parameter_problem, "param-problem"},
};

[[gnu::noinline]] uint8_t emit_icmp(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<icmp_length> icmp(data);
	emit<"    #icmp: type %s(%d) code %d id %d seq %d\n">(ctx, find_name(type_names, icmp[0], "other"), icmp[0], icmp[1],
							      icmp.u16(4), icmp.u16(6));
	return icmp[0];
}

} // namespace

uint32_t debug_pkt_icmp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag)
{
	ctx->type |= type_icmp;
	if (flag)
		return 0;
	switch (emit_icmp(ctx, data)) {
	case destination_unreachable:
	case source_quench:
	case redirect:
	case time_exceeded:
	case parameter_problem: {
		const wire::nested_packet quoted;
		return quoted.entered ? icmp_length + debug_pkt_ipv4(ctx, data + icmp_length, len - icmp_length) : icmp_length;
	}
	case echo_reply:
	case echo_request:
		ctx->type |= type_echo;
		break;
	}
	return icmp_length;
}
