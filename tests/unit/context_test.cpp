// SPDX-License-Identifier: GPL-2.0-only
#include "capture/context.h"
#include "capture/ethernet.h"
#include "decode/net/net.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

class context_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_ctx_reset(&ctx);
	}

	// The text area behind `from`, NUL bytes included.
	std::string area(size_t from, size_t count) const { return std::string(ctx.buf + from, count); }

	debug_pkt_ctx ctx;
};

template <ip_decoder &decode_packet> static uint32_t in_full(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return decode_packet(ctx, data, len, 0);
}

static uint32_t vxlan(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_vxlan(ctx, data, static_cast<uint16_t>(len), nullptr);
}

TEST_F(context_test, reset_clears_the_whole_record)
{
	std::memset(&ctx, 0xff, sizeof ctx);
	debug_pkt_ctx_reset(&ctx);
	EXPECT_EQ(ctx.proto, 0u);
	EXPECT_EQ(ctx.match, 0u);
	EXPECT_EQ(ctx.type, 0u);
	EXPECT_EQ(ctx.len, 0u);
	const bytes all(4112);
	EXPECT_EQ(std::memcmp(&ctx, all.data(), sizeof ctx), 0);
	EXPECT_EQ(sizeof ctx, 4112u);
}

TEST_F(context_test, lines_stand_back_to_back)
{
	emit<"one %d\n">(&ctx, int32_t(-1));
	EXPECT_EQ(ctx.len, 7u);
	emit<"two %s\n">(&ctx, "x");
	EXPECT_EQ(ctx.len, 13u);
	EXPECT_EQ(area(0, 14), std::string("one -1\ntwo x\n") + '\0');
}

TEST_F(context_test, an_empty_line_changes_nothing)
{
	emit<"%s">(&ctx, "");
	EXPECT_EQ(ctx.len, 0u);
	ctx.len = 4094;
	emit<"%s">(&ctx, "");
	EXPECT_EQ(ctx.len, 4094u);
	EXPECT_EQ(ctx.buf[4094], 0);
}

TEST_F(context_test, a_line_at_4090_stores_4_characters)
{
	std::memset(ctx.buf, 'z', sizeof ctx.buf);
	ctx.len = 4090;
	emit<"0123456789%s\n">(&ctx, "012345678"); // 20 characters
	EXPECT_EQ(ctx.len, 4095u);
	EXPECT_EQ(area(4088, 8), std::string("zz0123") + '\0' + 'z');
	emit<"more %d\n">(&ctx, uint8_t(1));
	EXPECT_EQ(ctx.len, 4095u);
	EXPECT_EQ(area(4088, 8), std::string("zz0123") + '\0' + 'z');
}

TEST_F(context_test, a_line_at_4094_stores_only_its_nul)
{
	std::memset(ctx.buf, 'z', sizeof ctx.buf);
	ctx.len = 4094;
	emit<"x">(&ctx);
	EXPECT_EQ(ctx.len, 4095u);
	EXPECT_EQ(area(4092, 4), std::string("zz") + '\0' + 'z');
}

TEST_F(context_test, room_for_the_line_and_its_nul)
{
	static const struct {
		uint32_t start, len;
		const char *stored;
	} rows[] = {{4088, 4093, "1234\n"}, {4089, 4094, "1234\n"}, {4090, 4095, "1234"}, {4091, 4095, "123"}, {4094, 4095, ""}};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.start);
		std::memset(ctx.buf, 'z', sizeof ctx.buf);
		ctx.len = row.start;
		emit<"%d\n">(&ctx, uint16_t(1234));
		EXPECT_EQ(ctx.len, row.len);
		EXPECT_STREQ(ctx.buf + row.start, row.stored);
		EXPECT_EQ(ctx.buf[row.start - 1], 'z');
		EXPECT_EQ(ctx.buf[4095], 'z');
	}
}

TEST_F(context_test, a_full_text_stays_as_it_is)
{
	std::memset(ctx.buf, 'z', sizeof ctx.buf);
	ctx.len = 4095;
	EXPECT_FALSE(has_room(&ctx));
	emit<"x">(&ctx);
	EXPECT_EQ(ctx.len, 4095u);
	EXPECT_EQ(area(0, 4096), std::string(4096, 'z'));
	ctx.len = 4094;
	EXPECT_TRUE(has_room(&ctx));
}

TEST_F(context_test, a_line_longer_than_the_text_area_fills_it)
{
	const std::string longest(100000, 'q');
	emit<"%s\n">(&ctx, longest.c_str());
	EXPECT_EQ(ctx.len, 4095u);
	EXPECT_EQ(area(0, 4096), std::string(4094, 'q') + '\0' + '\0');
}

TEST_F(context_test, names_are_found_or_fall_back)
{
	static constexpr name_row<uint8_t> rows[] = {{1, "one"}, {2, "two"}, {1, "again"}};
	const auto name = [](uint8_t value) {
		const text::word word = find_name(rows, value, "other");
		return std::string(word.chars, word.length);
	};
	EXPECT_EQ(name(1), "one");
	EXPECT_EQ(name(2), "two");
	EXPECT_EQ(name(3), "other");
}

TEST_F(context_test, with_the_text_full_bits_and_dispatch_go_on)
{
	debug_pkt_proto = 0x0806;
	debug_pkt_ip = in_aton("10.0.0.2");
	std::memcpy(debug_pkt_mac, hex("020000000001").data(), 6);
	const result full = decode(debug_pkt_eth,
				   hex("ffffffffffff 020000000001 0806"
				       "0001 0800 06 04 0001 020000000001 0a000001 000000000000 0a000002"),
				   4095);
	EXPECT_EQ(full.len, 4095u);
	EXPECT_EQ(full.text, "");
	EXPECT_EQ(full.type, 0x1u);
	EXPECT_EQ(full.match, 0x26u);
	EXPECT_EQ(full.consumed, 42u);
}

TEST_F(context_test, a_later_fragment_only_sets_its_type)
{
	static const struct {
		ip_decoder *decode;
		uint32_t type;
	} rows[] = {{debug_pkt_icmp, 0x8}, {debug_pkt_igmp, 0x20}, {debug_pkt_udp, 0x80},
		    {debug_pkt_tcp, 0x40}, {debug_pkt_gre, 0x100}, {debug_pkt_icmp6, 0x10}};
	for (const auto &row : rows) {
		for (uint32_t flag : {1u, 0x80000000u}) {
			const result later = decode([&](debug_pkt_ctx *context, const uint8_t *data,
							uint32_t len) { return row.decode(context, data, len, flag); },
						    zeros(64), 17, 0x4242);
			EXPECT_EQ(later.consumed, 0u);
			EXPECT_EQ(later.type, row.type);
			EXPECT_EQ(later.match, 0u);
			EXPECT_EQ(later.proto, 0x4242u);
			EXPECT_EQ(later.len, 17u);
		}
	}
}

// What outer layers have set stays. Fields of zero meet the filter values, which nobody has set.
TEST_F(context_test, bits_are_added)
{
	static const struct {
		const char *name;
		decoder decode;
		bytes packet;
		uint32_t match, type;
	} rows[] = {
		{"echo reply", in_full<debug_pkt_icmp>, zeros(8), 0, 0x8008},
		{"icmp error", in_full<debug_pkt_icmp>, hex("03") + zeros(27), 0x4, 0x8},
		{"igmp", in_full<debug_pkt_igmp>, zeros(8), 0, 0x20},
		{"udp", in_full<debug_pkt_udp>, zeros(8), 0x40, 0x80},
		{"radius", in_full<debug_pkt_udp>, hex("0714 0000") + zeros(4), 0x40, 0x1080},
		{"tcp", in_full<debug_pkt_tcp>, zeros(20), 0x40, 0x40},
		{"http and https", in_full<debug_pkt_tcp>, hex("0050 01bb") + zeros(16), 0, 0x6040},
		{"gre", in_full<debug_pkt_gre>, zeros(4) + hex("ffffffffffff 020000000001 88cc"), 0x20, 0x100},
		{"vxlan", vxlan, zeros(8) + hex("ffffffffffff 020000000001 88cc"), 0, 0x200000},
		{"icmpv6 error", in_full<debug_pkt_icmp6>, hex("01") + zeros(47), 0x8, 0x10},
		{"icmpv6 echo", in_full<debug_pkt_icmp6>, hex("80") + zeros(7), 0, 0x8010},
		{"version 1 listener", in_full<debug_pkt_icmp6>, hex("83") + zeros(23), 0x8, 0x40010},
		{"version 2 query", in_full<debug_pkt_icmp6>, hex("82") + zeros(23), 0, 0x40010},
		{"version 2 report", in_full<debug_pkt_icmp6>, hex("8f") + zeros(7), 0, 0x40010},
		{"router solicitation", in_full<debug_pkt_icmp6>, hex("85") + zeros(7), 0, 0x20010},
		{"router advertisement", in_full<debug_pkt_icmp6>, hex("86") + zeros(15), 0, 0x20010},
		{"neighbour solicitation", in_full<debug_pkt_icmp6>, hex("87") + zeros(23), 0x8, 0x10010},
		{"neighbour advertisement", in_full<debug_pkt_icmp6>, hex("88") + zeros(7), 0, 0x10010},
	};
	constexpr uint32_t outer_match = 0x80000011, outer_type = 0x80000003;
	for (const auto &row : rows) {
		SCOPED_TRACE(row.name);
		const result got = decode(
			[&](debug_pkt_ctx *context, const uint8_t *data, uint32_t len) {
				context->match = outer_match;
				context->type = outer_type;
				return row.decode(context, data, len);
			},
			row.packet);
		EXPECT_EQ(got.match, outer_match | row.match);
		EXPECT_EQ(got.type, outer_type | row.type);
	}
}

} // namespace test
