// SPDX-License-Identifier: GPL-2.0-only
#include "capture/ethernet.h"
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using gre_test = core_test;

static uint32_t gre(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_gre(ctx, data, len, 0);
}

static bytes header(uint32_t protocol)
{
	return hex("0000") + big16(protocol);
}

// A frame of a type that nobody decodes.
static const bytes frame = hex("ffffffffffff 020000000001 1234 55");
static const char frame_text[] = "  #mac: etype 1234 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n";

TEST_F(gre_test, transparent_ethernet)
{
	const bytes content = header(0x6558) + frame;
	const result outer = decode(gre, content, 0, 0x0800);
	EXPECT_EQ(outer.consumed, 4u);
	EXPECT_EQ(outer.type, 0x100u);
	EXPECT_EQ(outer.match, 0u);
	EXPECT_EQ(outer.proto, 0x6558u);
	check_decoder(gre, content, "    #gre: flag 0x0000 proto 6558\n");
	gre_type = 0x6558;
	const result inner = decode(gre, content, 0, 0x0800);
	EXPECT_EQ(inner.consumed, 4u + 14);
	EXPECT_EQ(inner.type, 0x100u);
	EXPECT_EQ(inner.proto, 0u);
	check_decoder(gre, content, std::string("    #gre: flag 0x0000 proto 6558\n") + frame_text);
}

// The header is 4 bytes whatever its flags announce.
TEST_F(gre_test, optional_fields_are_not_skipped)
{
	const bytes content = hex("b0 87 8800") + frame;
	EXPECT_EQ(decode(gre, content).consumed, 18u);
	check_decoder(gre, content, std::string("    #gre: flag 0xb087 proto 8800\n") + frame_text);
	EXPECT_EQ(decode(gre, hex("0f f0 0800")).text, "    #gre: flag 0x0ff0 proto 0800\n");
	EXPECT_EQ(decode(gre, hex("ff ff ffff")).text, "    #gre: flag 0xffff proto ffff\n");
}

static bool carries_ethernet(uint32_t protocol)
{
	const result got = decode(gre, header(protocol) + frame);
	EXPECT_EQ(got.type, 0x100u);
	if (got.consumed == 18) {
		EXPECT_EQ(got.proto, 0u);
		return true;
	}
	EXPECT_EQ(got.consumed, 4u);
	EXPECT_EQ(got.proto, protocol);
	return false;
}

TEST_F(gre_test, every_protocol)
{
	gre_type = 0x6558;
	for (uint32_t protocol = 0; protocol <= 0xffff; ++protocol)
		ASSERT_EQ(carries_ethernet(protocol),
			  protocol == 0x6558 || protocol == 0x8ffd || (protocol >= 0x8800 && protocol <= 0x887f))
			<< protocol;
	for (uint32_t protocol : {0x8800u, 0x8847u, 0x8863u, 0x887fu, 0x8ffdu})
		EXPECT_TRUE(carries_ethernet(protocol)) << protocol;
	for (uint32_t protocol : {0u, 0x0800u, 0x6557u, 0x6559u, 0x8100u, 0x86ddu, 0x87ffu, 0x8880u, 0x8ffcu, 0x8ffeu, 0xffffu})
		EXPECT_FALSE(carries_ethernet(protocol)) << protocol;
}

TEST_F(gre_test, gre_type_is_compared_whole)
{
	EXPECT_TRUE(carries_ethernet(0)) << "the value that nobody has set";
	gre_type = 1;
	EXPECT_FALSE(carries_ethernet(0));
	gre_type = 0x16558;
	EXPECT_FALSE(carries_ethernet(0x6558));
	gre_type = -1;
	EXPECT_FALSE(carries_ethernet(0xffff));
	gre_type = 0xffff;
	EXPECT_TRUE(carries_ethernet(0xffff));
	EXPECT_TRUE(carries_ethernet(0x8ffd)) << "the others stay";
}

TEST_F(gre_test, protocol_zero)
{
	const bytes content = header(0) + frame;
	EXPECT_EQ(decode(gre, content).match, 0x20u) << "the protocol filter is zero";
	check_decoder(gre, content, std::string("    #gre: flag 0x0000 proto 0000\n") + frame_text);
}

TEST_F(gre_test, protocol_filter_is_compared_whole)
{
	const auto match = [](uint32_t protocol) { return decode(gre, header(protocol) + frame).match; };
	EXPECT_EQ(match(0x6558), 0u);
	debug_pkt_proto = 0x6558;
	EXPECT_EQ(match(0x6558), 0x20u);
	EXPECT_EQ(match(0x6559), 0u);
	EXPECT_EQ(decode(gre, header(0x6558), 4095).match, 0x20u);
	debug_pkt_proto = 0x16558;
	EXPECT_EQ(match(0x6558), 0u);
	debug_pkt_proto = -1;
	EXPECT_EQ(match(0xffff), 0u);
	debug_pkt_proto = 0xffff;
	EXPECT_EQ(match(0xffff), 0x20u);
	// The inner frame's type is compared too.
	debug_pkt_proto = 0x1234;
	EXPECT_EQ(match(0x8800), 0x20u);
	EXPECT_EQ(match(0x6558), 0u);
}

TEST_F(gre_test, inner_ipv4)
{
	debug_pkt_ip = in_aton("10.0.0.2");
	debug_pkt_mac[0] = 2;
	debug_pkt_mac[5] = 1;
	const bytes content = header(0x8ffd) + hex("ffffffffffff 020000000001 0800") + hex("45b8 001c 00ff 2000 40 11 000f") +
			      ip4("10.0.0.1") + ip4("10.0.0.2") + hex("0400 0401 0008 0000");
	const result got = decode(gre, content, 0, 0x0800);
	EXPECT_EQ(got.consumed, 4u + 14 + 20 + 8);
	EXPECT_EQ(got.type, 0x100u | 0x80);
	EXPECT_EQ(got.match, 0x6u);
	EXPECT_EQ(got.proto, 0u);
	check_decoder(gre, content,
		      "    #gre: flag 0x0000 proto 8ffd\n"
		      "  #mac: etype 0800 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 28, id 255, cksum f, ttl 64, dscp 46\n"
		      "       fragment ok, more fragments, frag off 0\n"
		      "    #udp: sport 1024 dport 1025 len 8\n");
}

// What GRE leaves in proto is where the walk through the layer-2 table goes on: IPv6 comes behind IPv4 there, IPv4 does not.
TEST_F(gre_test, protocol_left_to_the_frame_around_it)
{
	const auto in_frame = [](uint32_t protocol) {
		return hex("020000000002 020000000001 0800") + hex("4500 0018 0001 0000 40 2f 1234") + ip4("10.0.0.1") +
		       ip4("10.0.0.2") + header(protocol) + hex("60000000 0000 3b 40") +
		       hex("20010db8 00000000 00000000 00000001") + hex("20010db8 00000000 00000000 00000002");
	};
	const std::string headers = "  #mac: etype 0800 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
				    "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 47 hdr len 20\n"
				    "       len 24, id 1, cksum 1234, ttl 64, dscp 0\n"
				    "       fragment ok, last fragment, frag off 0\n";
	const result ipv6 = decode(debug_pkt_eth, in_frame(0x86dd));
	EXPECT_EQ(ipv6.consumed, 14u + 20 + 4 + 40);
	EXPECT_EQ(ipv6.proto, 0u);
	check_decoder(debug_pkt_eth, in_frame(0x86dd),
		      headers + "    #gre: flag 0x0000 proto 86dd\n"
				"  #ipv6: sip 2001:db8::1\n"
				"         dip 2001:db8::2\n"
				"         hoplimit 64 payload len 0 next hdr 59\n");
	const result ipv4 = decode(debug_pkt_eth, in_frame(0x0800));
	EXPECT_EQ(ipv4.consumed, 14u + 20 + 4);
	EXPECT_EQ(ipv4.proto, 0u);
	EXPECT_EQ(ipv4.text, headers + "    #gre: flag 0x0000 proto 0800\n");
}

// Only IPv6 looks at the length of an inner frame.
TEST_F(gre_test, length_of_the_inner_frame)
{
	const bytes content = header(0x8800) + hex("ffffffffffff 020000000001 86dd") + hex("60000000 0008 11 40") + zeros(32) +
			      hex("0400 0401 0008 0000");
	const auto consumed = [&](uint32_t length) {
		return decode([length](debug_pkt_ctx *ctx, const uint8_t *data,
				       uint32_t) { return debug_pkt_gre(ctx, data, length, 0); },
			      content)
			.consumed;
	};
	EXPECT_EQ(consumed(66), 66u);
	EXPECT_EQ(consumed(59), 66u);
	EXPECT_EQ(consumed(58), 58u);
	EXPECT_EQ(consumed(4), 58u);
	EXPECT_EQ(consumed(3), 58u) << "wrapped: an end in front of the frame";
	EXPECT_EQ(consumed(0), 58u);
	EXPECT_EQ(consumed(0x10000 + 58), 66u) << "not cut to 16 bits";
}

TEST_F(gre_test, cut)
{
	const result none = decode(gre, {});
	EXPECT_EQ(none.consumed, 4u + 14 + 2);
	EXPECT_EQ(none.text, "    #gre: flag 0x0000 proto 0000\n"
			     "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
			     "    #snap: sap 0000\n");
	EXPECT_EQ(decode(gre, hex("2000 88")).text, "    #gre: flag 0x2000 proto 8800\n"
						    "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
						    "    #snap: sap 0000\n");
	EXPECT_EQ(decode(gre, header(0x8847) + hex("0102")).text,
		  "    #gre: flag 0x0000 proto 8847\n"
		  "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 01:02:00:00:00:00\n"
		  "    #snap: sap 0102\n");
}

TEST_F(gre_test, later_fragment)
{
	for (uint32_t flag : {1u, 0xffffffffu})
		for (uint32_t start : {0u, 100u, 4095u}) {
			const result later = decode([flag](debug_pkt_ctx *ctx, const uint8_t *data,
							   uint32_t len) { return debug_pkt_gre(ctx, data, len, flag); },
						    header(0) + frame, start, 0x0800);
			EXPECT_EQ(later.consumed, 0u);
			EXPECT_EQ(later.type, 0x100u);
			EXPECT_EQ(later.match, 0u);
			EXPECT_EQ(later.proto, 0x0800u);
			EXPECT_EQ(later.len, start);
		}
}

} // namespace test
