// SPDX-License-Identifier: GPL-2.0-only
// Packets in packets: at most 8 inner frames and quoted headers are decoded inside one another.
#include "capture/ethernet.h"
#include "capture/percpu.h"
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using nesting_test = core_test;

// One header and its lines.
struct layer {
	bytes header;
	std::string lines;
};

static layer operator+(const layer &outer, const layer &inner)
{
	return {outer.header + inner.header, outer.lines + inner.lines};
}

static layer operator*(int count, const layer &repeated)
{
	layer all;
	while (count-- > 0)
		all = all + repeated;
	return all;
}

static layer ipv4(uint8_t protocol)
{
	return {hex("45 00 0100 0001 0000 40") + bytes{protocol} + hex("1234") + ip4("10.0.0.1") + ip4("10.0.0.2"),
		"  #ip: sip 10.0.0.1, dip 10.0.0.2, proto " + std::to_string(protocol) +
			" hdr len 20\n"
			"       len 256, id 1, cksum 1234, ttl 64, dscp 0\n"
			"       fragment ok, last fragment, frag off 0\n"};
}

static layer ipv6(uint8_t next_header)
{
	return {hex("60000000 2000") + bytes{next_header, 64} + hex("20010db8 00000000 00000000 00000001") +
			hex("20010db8 00000000 00000000 00000002"),
		"  #ipv6: sip 2001:db8::1\n"
		"         dip 2001:db8::2\n"
		"         hoplimit 64 payload len 8192 next hdr " +
			std::to_string(next_header) + "\n"};
}

static const layer frame_of_ipv4 = {hex("020000000002 020000000001 0800"),
				    "  #mac: etype 0800 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"};
static const layer frame_of_ipv6 = {hex("020000000002 020000000001 86dd"),
				    "  #mac: etype 86dd smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"};
static const layer icmp_error = {hex("03 01 0000 00000000"), "    #icmp: type dst-unreachable(3) code 1 id 0 seq 0\n"};
static const layer icmp_echo = {hex("08 00 0000 0001 0002"), "    #icmp: type echo-request(8) code 0 id 1 seq 2\n"};
static const layer icmp6_error = {hex("02 00 0000 000005dc"), "    #icmpv6: type pkt-too-big(2) code 0\n"};
static const layer icmp6_echo = {hex("80 00 0000 0001 0002"), "    #icmpv6: type echo-req(128) code 0\n"
							      "      #echo: id 1 seq 2\n"};
static const layer gre = {hex("0000 8ffd"), "    #gre: flag 0x0000 proto 8ffd\n"};
static const layer vxlan = {hex("00 000000 000000 00"), "      #VXLAN Flags: \n"};
static const layer udp_to_vxlan = {hex("0400 12b5 0100 0000"), "    #udp: sport 1024 dport 4789 len 256\n"};
static const layer udp = {hex("0400 0401 0008 0000"), "    #udp: sport 1024 dport 1025 len 8\n"};

static uint32_t decode_icmp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_icmp(ctx, data, len, 0);
}

static uint32_t decode_icmp6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_icmp6(ctx, data, len, 0);
}

static uint32_t decode_gre(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_gre(ctx, data, len, 0);
}

static uint32_t decode_vxlan(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_vxlan(ctx, data, static_cast<uint16_t>(len), nullptr);
}

// The packet is rendered as lines says, with the text full it consumes as much, and the CPU's state is as it was.
static void expect_decoded(const decoder &decode_packet, const layer &packet, const std::string &lines, size_t consumed,
			   uint32_t type_bits)
{
	const result got = decode(decode_packet, packet.header);
	EXPECT_EQ(got.text, lines);
	EXPECT_EQ(got.consumed, consumed);
	EXPECT_EQ(got.type, type_bits);
	EXPECT_EQ(debug_pkt_packet.depth, 0u);
	EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
	EXPECT_EQ(decode(decode_packet, packet.header, 4095).consumed, consumed);
	EXPECT_EQ(debug_pkt_packet.depth, 0u);
}

TEST_F(nesting_test, icmp_in_icmp)
{
	const layer quoted = icmp_error + ipv4(1);
	const layer deep = 8 * quoted + icmp_echo;
	expect_decoded(decode_icmp, deep, deep.lines, 8 * 28 + 8, 0x8 | 0x8000);
	check_decoder(decode_icmp, deep.header, deep.lines);
	const layer deepest = 7 * quoted + icmp_error + ipv4(17) + udp;
	expect_decoded(decode_icmp, deepest, deepest.lines, 8 * 28 + 8, 0x8 | 0x80);
	// The ninth error is rendered; what it quotes is not.
	const layer entered = 8 * quoted + icmp_error;
	const layer too_deep = entered + ipv4(17) + udp;
	expect_decoded(decode_icmp, too_deep, entered.lines, 8 * 28 + 8, 0x8);
	check_decoder(decode_icmp, too_deep.header, entered.lines);
}

TEST_F(nesting_test, icmp6_in_icmp6)
{
	const layer quoted = icmp6_error + ipv6(58);
	const layer deep = 8 * quoted + icmp6_echo;
	expect_decoded(decode_icmp6, deep, deep.lines, 8 * 48 + 8, 0x10 | 0x8000);
	check_decoder(decode_icmp6, deep.header, deep.lines);
	const layer entered = 8 * quoted + icmp6_error;
	const layer too_deep = entered + ipv6(17) + udp;
	expect_decoded(decode_icmp6, too_deep, entered.lines, 8 * 48 + 8, 0x10);
	check_decoder(decode_icmp6, too_deep.header, entered.lines);
}

TEST_F(nesting_test, gre_in_gre)
{
	const layer inner = gre + frame_of_ipv4 + ipv4(47);
	const layer deep = 7 * inner + gre + frame_of_ipv4 + ipv4(17) + udp;
	expect_decoded(decode_gre, deep, deep.lines, 8 * 38 + 8, 0x100 | 0x80);
	check_decoder(decode_gre, deep.header, deep.lines);
	const layer entered = 8 * inner + gre;
	const layer too_deep = entered + frame_of_ipv4 + ipv4(17) + udp;
	expect_decoded(decode_gre, too_deep, entered.lines, 8 * 38 + 4, 0x100);
	check_decoder(decode_gre, too_deep.header, entered.lines);
}

TEST_F(nesting_test, vxlan_in_vxlan)
{
	const layer inner = vxlan + frame_of_ipv4 + ipv4(17) + udp_to_vxlan;
	const layer deep = 7 * inner + vxlan + frame_of_ipv4 + ipv4(17) + udp;
	expect_decoded(decode_vxlan, deep, deep.lines, 8 * 50, 0x200000 | 0x80);
	check_decoder(decode_vxlan, deep.header, deep.lines);
	const layer entered = 8 * inner + vxlan;
	const layer too_deep = entered + frame_of_ipv4 + ipv4(1) + icmp_echo;
	expect_decoded(decode_vxlan, too_deep, entered.lines, 8 * 50 + 8, 0x200000 | 0x80);
	check_decoder(decode_vxlan, too_deep.header, entered.lines);
}

// All kinds count as one.
TEST_F(nesting_test, mixed)
{
	const layer four = vxlan + frame_of_ipv4 + ipv4(47) + gre + frame_of_ipv4 + ipv4(1) + icmp_error + ipv4(47) + gre +
			   frame_of_ipv6 + ipv6(17) + udp_to_vxlan;
	const size_t four_size = 8 + 14 + 20 + 4 + 14 + 20 + 8 + 20 + 4 + 14 + 40 + 8;
	const uint32_t tunnels = 0x200000 | 0x100 | 0x8 | 0x80;
	const layer entered = 2 * four + vxlan;
	expect_decoded(decode_vxlan, entered + frame_of_ipv4 + ipv4(2), entered.lines, 2 * four_size + 8, tunnels);
	check_decoder(decode_vxlan, (entered + frame_of_ipv4).header, entered.lines);

	// The ninth in turn: an ICMP error, GRE, an ICMPv6 error.
	const layer eight = frame_of_ipv4 + ipv4(17) + udp_to_vxlan + 2 * four;
	const size_t to_the_last_udp = 14 + 20 + 8 + 2 * four_size - 8;
	layer icmp_last = eight, gre_last = eight, icmp6_last = eight;
	const auto replace_last_headers = [&](layer &packet, const layer &headers) {
		const size_t old_headers = ipv6(17).header.size() + udp_to_vxlan.header.size(),
			     old_lines = ipv6(17).lines.size() + udp_to_vxlan.lines.size();
		packet.header.resize(packet.header.size() - old_headers);
		packet.lines.resize(packet.lines.size() - old_lines);
		packet = packet + headers;
	};
	replace_last_headers(icmp_last, ipv6(1) + icmp_error);
	expect_decoded(debug_pkt_eth, icmp_last + ipv4(2), icmp_last.lines, to_the_last_udp + 8, tunnels);
	replace_last_headers(gre_last, ipv6(47) + gre);
	expect_decoded(debug_pkt_eth, gre_last + frame_of_ipv4, gre_last.lines, to_the_last_udp + 4, tunnels);
	replace_last_headers(icmp6_last, ipv6(58) + icmp6_error);
	expect_decoded(debug_pkt_eth, icmp6_last + ipv6(17) + udp, icmp6_last.lines, to_the_last_udp + 8, tunnels | 0x10);
}

// What each makes of a ninth place, and of an eighth.
TEST_F(nesting_test, ninth_is_not_entered)
{
	const struct {
		decoder decode_packet;
		layer outer, inner;
	} rows[] = {
		{decode_icmp, icmp_error, ipv4(89)},
		{decode_icmp6, icmp6_error, ipv6(89)},
		{decode_gre,
		 gre,
		 {hex("020000000002 020000000001 1234"), "  #mac: etype 1234 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"}},
		{decode_vxlan,
		 vxlan,
		 {hex("020000000002 020000000001 1234"), "  #mac: etype 1234 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"}},
	};
	for (const auto &row : rows) {
		const layer packet = row.outer + row.inner;
		debug_pkt_packet.depth = 8;
		const result ninth = decode(row.decode_packet, packet.header, 0, 0x0800);
		EXPECT_EQ(ninth.text, row.outer.lines);
		EXPECT_EQ(ninth.consumed, row.outer.header.size());
		EXPECT_EQ(ninth.proto, row.outer.header.size() == 4 ? 0x8ffdu : 0x0800u);
		EXPECT_EQ(ninth.match, 0u);
		EXPECT_EQ(debug_pkt_packet.depth, 8u);
		debug_pkt_packet.depth = 7;
		const result eighth = decode(row.decode_packet, packet.header, 0, 0x0800);
		EXPECT_EQ(eighth.text, packet.lines);
		EXPECT_EQ(eighth.consumed, packet.header.size());
		EXPECT_EQ(debug_pkt_packet.depth, 7u);
	}
}

// A GRE header in the ninth place leaves its protocol, and the walk around it goes on with that.
TEST_F(nesting_test, protocol_left_by_the_ninth)
{
	gre_type = 0x86dd;
	const layer last = {hex("0000 86dd"), "    #gre: flag 0x0000 proto 86dd\n"};
	const layer entered = 8 * (gre + frame_of_ipv4 + ipv4(47)) + last + ipv6(17) + udp;
	expect_decoded(decode_gre, entered, entered.lines, 8 * 38 + 4 + 40 + 8, 0x100 | 0x80);
	EXPECT_EQ(decode(decode_gre, entered.header).proto, 0u);
}

// The depth counts, not the number: two chains of 8 in one frame.
TEST_F(nesting_test, two_chains)
{
	const layer to_ipv6 = {hex("0000 86dd"), "    #gre: flag 0x0000 proto 86dd\n"};
	const layer first = frame_of_ipv4 + ipv4(1) + 7 * (icmp_error + ipv4(1)) + icmp_error + ipv4(47) + to_ipv6;
	const layer second = ipv6(58) + 8 * (icmp6_error + ipv6(58)) + icmp6_echo;
	const layer both = first + second;
	ASSERT_LT(both.lines.size(), 4095u);
	expect_decoded(debug_pkt_eth, both, both.lines, 14 + 20 + 8 * 28 + 4 + 40 + 8 * 48 + 8, 0x8 | 0x100 | 0x10 | 0x8000);
	const layer entered = first + ipv6(58) + 8 * (icmp6_error + ipv6(58)) + icmp6_error;
	expect_decoded(debug_pkt_eth, entered + ipv6(17) + udp, entered.lines, 14 + 20 + 8 * 28 + 4 + 40 + 8 * 48 + 8,
		       0x8 | 0x100 | 0x10);
}

// Tags in tags and extension headers are no nesting.
TEST_F(nesting_test, tags_and_extension_headers_do_not_count)
{
	layer tagged = {hex("020000000002 020000000001 8100"),
			"  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"};
	tagged = tagged + 9 * layer{hex("0001 8100"), "  #vlan 1, prio 0, etype 8100\n"} +
		 layer{hex("2002 86dd"), "  #vlan 2, prio 1, etype 86dd\n"};
	const layer extensions = ipv6(60) +
				 9 * layer{hex("3c00 000000000000"), "  #extension header: type destination len 8 next hdr 60\n"} +
				 layer{hex("3a00 000000000000"), "  #extension header: type destination len 8 next hdr 58\n"};
	const layer chain = 8 * (icmp6_error + ipv6(58)) + icmp6_echo;
	const layer all = tagged + extensions + chain;
	expect_decoded(debug_pkt_eth, all, all.lines, 14 + 40 + 40 + 80 + 8 * 48 + 8, 0x10 | 0x8000);
}

// Every level sees the packet's end, and cuts itself off where it lies.
TEST_F(nesting_test, cut_in_the_innermost)
{
	const layer around = 8 * (icmp_error + ipv4(1));
	const result got = decode(decode_icmp, around.header + hex("08 07 0000 12"));
	EXPECT_EQ(got.text, around.lines + "    #icmp: type echo-request(8) code 7 id 4608 seq 0\n");
	EXPECT_EQ(got.consumed, 8u * 28 + 8);
	EXPECT_EQ(debug_pkt_packet.depth, 0u);
}

// The longest chains that a frame of 9000 bytes can hold.
TEST_F(nesting_test, frames_of_9000_bytes)
{
	const struct {
		const char *name;
		layer front, repeated;
		size_t consumed_behind; // of the ninth
	} rows[] = {
		{"icmp", frame_of_ipv4 + ipv4(1), icmp_error + ipv4(1), 8},
		{"icmp6", frame_of_ipv6 + ipv6(58), icmp6_error + ipv6(58), 8},
		{"gre", frame_of_ipv4 + ipv4(47), gre + frame_of_ipv4 + ipv4(47), 4},
		{"vxlan", frame_of_ipv4 + ipv4(17) + udp_to_vxlan, vxlan + frame_of_ipv4 + ipv4(17) + udp_to_vxlan, 8},
		{"vxlan in ipv6", frame_of_ipv6 + ipv6(17) + udp_to_vxlan, vxlan + frame_of_ipv6 + ipv6(17) + udp_to_vxlan, 8},
	};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.name);
		bytes frame = row.front.header;
		while (frame.size() < 9000)
			frame = frame + row.repeated.header;
		frame.resize(9000);
		const size_t entered = row.front.header.size() + 8 * row.repeated.header.size() + row.consumed_behind;
		for (uint32_t start : {0u, 4000u, 4095u}) {
			const result got = decode([](debug_pkt_ctx *ctx, const uint8_t *data,
						     uint32_t len) { return debug_pkt_parse(ctx, data, len, 0, 0); },
						  frame, start);
			EXPECT_EQ(got.consumed, entered);
			EXPECT_EQ(debug_pkt_packet.depth, 0u);
			EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
		}
	}
	// A frame of tags alone, between them the deepest chain of tunnels: neither is a recursion.
	layer tags = {hex("020000000002 020000000001 8100"), ""};
	while (tags.header.size() < 8000)
		tags.header = tags.header + hex("0001 8100");
	bytes frame = tags.header + hex("0001 0800") + ipv4(17).header + udp_to_vxlan.header;
	while (frame.size() < 9000)
		frame = frame + (vxlan + frame_of_ipv4 + ipv4(17) + udp_to_vxlan).header;
	const result got = decode(debug_pkt_eth, frame);
	EXPECT_EQ(got.consumed, tags.header.size() + 4 + 28 + 8 * 50 + 8);
	EXPECT_EQ(got.len, 4095u);
	EXPECT_EQ(got.type, 0x200000u | 0x80);
}

} // namespace test
