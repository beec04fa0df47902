// SPDX-License-Identifier: GPL-2.0-only
// ICMPv6 (RFC 4443), neighbour discovery (RFC 4861, RFC 8106) and multicast listener discovery (RFC 2710, RFC 3810).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr int32_t icmp6_length = 8;
inline constexpr int32_t target_length = 24; // a message with one address behind its first 8 bytes
inline constexpr int32_t address_length = 16;

enum icmp6_type : uint8_t {
	destination_unreachable = 1,
	packet_too_big = 2,
	time_exceeded = 3,
	parameter_problem = 4,
	echo_request = 128,
	echo_reply = 129,
	mld_query = 130,
	mld_report = 131,
	mld_done = 132,
	router_solicitation = 133,
	router_advertisement = 134,
	neighbour_solicitation = 135,
	neighbour_advertisement = 136,
	mld_v2_report = 143,
};

enum option_type : uint8_t { prefix_information = 3, recursive_dns_servers = 25 };

constexpr name_row<uint8_t> type_names[] = {
	{destination_unreachable, "dst-unreachable"},
	{packet_too_big, "pkt-too-big"},
	{time_exceeded, "ttl-exceeded"},
	{parameter_problem, "param-problem"},
	{echo_request, "echo-req"},
	{echo_reply, "echo-reply"},
	{mld_query, "mld-query"},
	{mld_report, "mld-report"},
	{mld_done, "mld-done"},
	{router_solicitation, "router-solicitation"},
	{router_advertisement, "router-advertisement"},
	{neighbour_solicitation, "nbr-solicitation"},
	{neighbour_advertisement, "nbr-advertisement"},
	{mld_v2_report, "mldv2-report"},
};

[[gnu::noinline]] uint8_t emit_icmp6(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<2> icmp6(data);
	emit<"    #icmpv6: type %s(%d) code %d\n">(ctx, find_name(type_names, icmp6[0], "other"), icmp6[0], icmp6[1]);
	return icmp6[0];
}

// The group at 4, the count at 22 and the sources from 24 on lie four bytes before the published layout's, on purpose.
int32_t decode_v2_query(debug_pkt_ctx *ctx, const uint8_t *data, int32_t end)
{
	const wire::header<24> query(data);
	const uint16_t source_count = query.u16(22);
	emit<"      #mld: code %d nsrc %d group %pI6\n">(ctx, query[1], source_count, query.ipv6(4));
	int32_t pos = 24;
	for (uint32_t i = 0; i < source_count && wire::starts_before(data, pos, end); ++i, pos += address_length) {
		const wire::header<address_length> source(data + pos);
		if (i == 0)
			emit<"      #v3-query: source %pI6\n">(ctx, source.ipv6(0));
		else
			emit<"                 source %pI6\n">(ctx, source.ipv6(0));
	}
	return pos;
}

int32_t decode_v2_report(debug_pkt_ctx *ctx, const uint8_t *data, int32_t end)
{
	const uint16_t group_count = wire::header<icmp6_length>(data).u16(6);
	emit<"      #mld: ngrp %d\n">(ctx, group_count);
	int32_t pos = icmp6_length;
	for (uint32_t i = 0; i < group_count && wire::starts_before(data, pos, end); ++i) {
		const wire::header<20> record(data + pos);
		const uint16_t source_count = record.u16(2);
		if (i == 0)
			emit<"        #v2-report: record type %d nsrc %d group %pI6\n">(ctx, record[0], source_count,
											record.ipv6(4));
		else
			emit<"                    record type %d nsrc %d group %pI6\n">(ctx, record[0], source_count,
											record.ipv6(4));
		pos += 20;
		for (uint32_t j = 0; j < source_count && wire::starts_before(data, pos, end); ++j, pos += address_length)
			emit<"                       source %pI6\n">(ctx, wire::header<address_length>(data + pos).ipv6(0));
		pos += record[1]; // auxiliary data, counted in bytes here
	}
	return pos;
}

// A version 1 listener message or a neighbour solicitation: the address behind the first 8 bytes is compared with the filter's.
template <text::literal F> int32_t decode_target(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<target_length> message(data);
	if (equals_filter_ip6(message.at(8)))
		ctx->match |= match_ipv6;
	emit<F>(ctx, message.ipv6(8));
	return target_length;
}

// Prefixes longer than 120 bits show as zero, on purpose.
void emit_prefix(debug_pkt_ctx *ctx, const uint8_t *option)
{
	const wire::header<32> info(option);
	const uint8_t prefix_length = info[2];
	uint8_t prefix[16] = {};
	if (prefix_length <= 120)
		__builtin_memcpy(prefix, info.at(16), (prefix_length + 7) / 8);
	emit<"        #rtr-adv-prefix-info: plen %d flags 0x%x vlft %d plft %d\n">(
		ctx, prefix_length, info[3], static_cast<int32_t>(info.u32(4)), static_cast<int32_t>(info.u32(8)));
	emit<"                              prefix %pI6\n">(ctx, text::ip6(prefix));
}

// Each address of which the option holds at least one byte.
void emit_dns_servers(debug_pkt_ctx *ctx, const uint8_t *data, int32_t option, int32_t option_length, int32_t end)
{
	emit<"        #rtr-adv-rdnss: lft %d\n">(ctx, static_cast<int32_t>(wire::header<8>(data + option).u32(4)));
	const int32_t option_end = option + option_length;
	for (int32_t pos = option + 8; pos < option_end && wire::starts_before(data, pos, end); pos += address_length)
		emit<"                    dns %pI6\n">(ctx, wire::header<address_length>(data + pos).ipv6(0));
}

int32_t decode_router_advertisement(debug_pkt_ctx *ctx, const uint8_t *data, int32_t end)
{
	const wire::header<8> advertisement(data);
	emit<"      #rtr-adv: hop limit %d flags 0x%x rlt %d\n">(ctx, advertisement[4], advertisement[5], advertisement.u16(6));
	int32_t pos = 16;
	while (wire::starts_before(data, pos, end)) {
		const wire::header<2> option(data + pos);
		const int32_t length = option[1] * 8;
		if (option[0] == prefix_information)
			emit_prefix(ctx, data + pos);
		else if (option[0] == recursive_dns_servers)
			emit_dns_servers(ctx, data, pos, length, end);
		else
			emit<"        #rtr-adv-option: type %d, len %d\n">(ctx, option[0], static_cast<uint16_t>(length));
		if (length == 0)
			break;
		pos += length;
	}
	return pos;
}

int32_t decode_echo(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<icmp6_length> echo(data);
	emit<"      #echo: id %d seq %d\n">(ctx, echo.u16(4), echo.u16(6));
	return icmp6_length;
}

bool quotes_packet(uint8_t type)
{
	return type >= destination_unreachable && type <= parameter_problem;
}

// What quotes no packet; bytes consumed.
[[gnu::noinline]] int32_t decode_message(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint8_t type)
{
	const int32_t end = static_cast<int32_t>(len);
	switch (type) {
	case echo_request:
	case echo_reply:
		ctx->type |= type_echo;
		return decode_echo(ctx, data);
	case mld_query:
		ctx->type |= type_mld;
		if (len >= 24)
			return decode_v2_query(ctx, data, end);
		return decode_target<"      #mld: group %pI6\n">(ctx, data);
	case mld_report:
	case mld_done:
		ctx->type |= type_mld;
		return decode_target<"      #mld: group %pI6\n">(ctx, data);
	case mld_v2_report:
		ctx->type |= type_mld;
		return decode_v2_report(ctx, data, end);
	case router_solicitation:
		ctx->type |= type_rtr;
		break;
	case router_advertisement:
		ctx->type |= type_rtr;
		return decode_router_advertisement(ctx, data, end);
	case neighbour_solicitation:
		ctx->type |= type_nbr;
		return decode_target<"      #nbr-sol: tip %pI6\n">(ctx, data);
	case neighbour_advertisement:
		ctx->type |= type_nbr;
		break;
	}
	return icmp6_length;
}

} // namespace

uint32_t debug_pkt_icmp6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag)
{
	ctx->type |= type_icmpv6;
	if (flag)
		return 0;
	const uint8_t type = emit_icmp6(ctx, data);
	if (!quotes_packet(type))
		return static_cast<uint32_t>(decode_message(ctx, data, len, type));
	const wire::nested_packet quoted;
	if (quoted.entered && len > static_cast<uint32_t>(icmp6_length))
		return icmp6_length + debug_pkt_ipv6(ctx, data + icmp6_length, len - icmp6_length);
	return icmp6_length;
}
