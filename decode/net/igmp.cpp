// SPDX-License-Identifier: GPL-2.0-only
// IGMP versions 1 to 3 (RFC 1112, RFC 2236, RFC 3376).
#include "capture/packet.h"
#include "config/settings.h"
#include "decode/net/net.h"

namespace {

inline constexpr int32_t igmp_length = 8;
inline constexpr int32_t v3_query_length = 12;
inline constexpr int32_t address_length = 4;

enum igmp_type : uint8_t {
	membership_query = 0x11,
	v1_report = 0x12,
	v2_report = 0x16,
	leave_group = 0x17,
	v3_report = 0x22,
};

constexpr name_row<uint8_t> type_names[] = {
	{membership_query, "query"},
	{v1_report, "v1-report"},
	{v2_report, "v2-report"},
	{leave_group, "host-leave"},
};

int32_t decode_one_line(debug_pkt_ctx *ctx, const uint8_t *data)
{
	const wire::header<igmp_length> igmp(data);
	emit<"    #igmp: type %s(%d) group %d.%d.%d.%d\n">(ctx, find_name(type_names, igmp[0], "other"), igmp[0], igmp.ipv4(4));
	return igmp_length;
}

int32_t decode_v3_query(debug_pkt_ctx *ctx, const uint8_t *data, int32_t end)
{
	const wire::header<v3_query_length> query(data);
	const uint16_t source_count = query.u16(10);
	emit<"    #igmp: type v3-query code %d nsrc %d group %d.%d.%d.%d\n">(ctx, query[1], source_count, query.ipv4(4));
	int32_t pos = v3_query_length;
	for (uint32_t i = 0; i < source_count && wire::starts_before(data, pos, end); ++i, pos += address_length) {
		const wire::header<address_length> source(data + pos);
		if (i == 0)
			emit<"      #v3-query: source %d.%d.%d.%d\n">(ctx, source.ipv4(0));
		else
			emit<"                 source %d.%d.%d.%d\n">(ctx, source.ipv4(0));
	}
	return pos;
}

int32_t decode_v3_report(debug_pkt_ctx *ctx, const uint8_t *data, int32_t end)
{
	const uint16_t group_count = wire::header<igmp_length>(data).u16(6);
	emit<"    #igmp: type v3-report ngrp %d\n">(ctx, group_count);
	int32_t pos = igmp_length;
	for (uint32_t i = 0; i < group_count && wire::starts_before(data, pos, end); ++i) {
		const wire::header<8> record(data + pos);
		const uint16_t source_count = record.u16(2);
		if (i == 0)
			emit<"      #v3-report: record type %d nsrc %d group %d.%d.%d.%d\n">(ctx, record[0], source_count,
											     record.ipv4(4));
		else
			emit<"                  record type %d nsrc %d group %d.%d.%d.%d\n">(ctx, record[0], source_count,
											     record.ipv4(4));
		pos += 8;
		for (uint32_t j = 0; j < source_count && wire::starts_before(data, pos, end); ++j, pos += address_length)
			emit<"                       source %d.%d.%d.%d\n">(ctx, wire::header<address_length>(data + pos).ipv4(0));
		pos += record[1]; // auxiliary data, counted in bytes here
	}
	return pos;
}

} // namespace

uint32_t debug_pkt_igmp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len, uint32_t flag)
{
	ctx->type |= type_igmp;
	if (flag)
		return 0;
	const uint8_t type = wire::read_u8(data);
	const int32_t end = static_cast<int32_t>(len);
	int32_t consumed;
	if (type == membership_query && len >= static_cast<uint32_t>(v3_query_length))
		consumed = decode_v3_query(ctx, data, end);
	else if (type == v3_report)
		consumed = decode_v3_report(ctx, data, end);
	else
		consumed = decode_one_line(ctx, data);
	return static_cast<uint32_t>(consumed);
}
