// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

// The function of three arguments: the one of four is another.
static uint32_t decode_ipv4(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_ipv4(ctx, data, len);
}

// A header without options from 10.0.0.1 to 10.0.0.2, and what follows it.
static bytes ipv4(uint8_t protocol, const bytes &payload, uint32_t fragment = 0)
{
	return hex("45 00") + big16(static_cast<uint32_t>(20 + payload.size())) + hex("0001") + big16(fragment) + hex("40") +
	       bytes{protocol} + hex("00c6") + ip4("10.0.0.1") + ip4("10.0.0.2") + payload;
}

static const bytes udp = hex("1388 1389 0008 0000");

class ipv4_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_port = 4001;
		debug_pkt_ip = in_aton("192.0.2.1");
	}
};

TEST_F(ipv4_test, protocol_table)
{
	const std::pair<uint32_t, ip_decoder *> expected[] = {
		{1, debug_pkt_icmp}, {2, debug_pkt_igmp}, {17, debug_pkt_udp},
		{6, debug_pkt_tcp},  {47, debug_pkt_gre}, {58, debug_pkt_icmp6},
	};
	ASSERT_EQ(std::size(debug_pkt_ip_list), std::size(expected));
	for (size_t i = 0; i < std::size(expected); ++i) {
		EXPECT_EQ(static_cast<uint32_t>(debug_pkt_ip_list[i].protocol), expected[i].first);
		EXPECT_EQ(debug_pkt_ip_list[i].decode, expected[i].second);
		EXPECT_EQ(find_ip_decoder(static_cast<uint8_t>(expected[i].first)), expected[i].second);
	}
	unsigned found = 0;
	for (unsigned protocol = 0; protocol < 256; ++protocol)
		found += find_ip_decoder(static_cast<uint8_t>(protocol)) != nullptr;
	EXPECT_EQ(found, 6u);
}

TEST_F(ipv4_test, header_and_udp)
{
	EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(17, udp), 0, 0x0800)), (outcome{28, 0, 0x80, 0x0800}));
	check_decoder(decode_ipv4, ipv4(17, udp),
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv4_test, protocol_without_a_decoder)
{
	EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(89, udp))), (outcome{20, 0, 0, 0}));
	check_decoder(decode_ipv4, ipv4(89, udp),
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
		      "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n");
}

TEST_F(ipv4_test, largest_fields)
{
	EXPECT_EQ(decode(decode_ipv4, bytes(60, 0xff)).consumed, 60u);
	check_decoder(decode_ipv4, bytes(60, 0xff),
		      "  #ip: sip 255.255.255.255, dip 255.255.255.255, proto 255 hdr len 60\n"
		      "       len 65535, id 65535, cksum ffff, ttl 255, dscp 63\n"
		      "       dont fragment, more fragments, frag off 65528\n");
}

TEST_F(ipv4_test, smallest_fields)
{
	EXPECT_EQ(decode(decode_ipv4, zeros(20)).consumed, 0u);
	check_decoder(decode_ipv4, zeros(20),
		      "  #ip: sip 0.0.0.0, dip 0.0.0.0, proto 0 hdr len 0\n"
		      "       len 0, id 0, cksum 0, ttl 0, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n");
}

TEST_F(ipv4_test, service_class_without_its_low_bits)
{
	bytes packet = ipv4(89, {});
	packet[1] = 0xbb;
	EXPECT_EQ(decode(decode_ipv4, packet).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
						    "       len 20, id 1, cksum c6, ttl 64, dscp 46\n"
						    "       fragment ok, last fragment, frag off 0\n");
}

TEST_F(ipv4_test, options)
{
	bytes packet = ipv4(17, hex("94040000") + udp);
	packet[0] = 0x46;
	EXPECT_EQ(decode(decode_ipv4, packet).consumed, 32u);
	check_decoder(decode_ipv4, packet,
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 24\n"
		      "       len 32, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv4_test, header_length_may_be_too_small)
{
	// The payload of a header of length 0 is the header itself: an IGMP message of type 0x40 with group 0.1.0.0.
	bytes packet = ipv4(2, {});
	packet[0] = 0x40;
	EXPECT_EQ(outcome_of(decode(decode_ipv4, packet)), (outcome{8, 0, 0x20, 0}));
	check_decoder(decode_ipv4, packet,
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 2 hdr len 0\n"
		      "       len 20, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n"
		      "    #igmp: type other(64) group 0.1.0.0\n");
}

TEST_F(ipv4_test, version_is_not_checked)
{
	bytes packet = ipv4(17, udp);
	packet[0] = 0x65;
	EXPECT_EQ(outcome_of(decode(decode_ipv4, packet)), outcome_of(decode(decode_ipv4, ipv4(17, udp))));
	EXPECT_EQ(decode(decode_ipv4, packet).text, decode(decode_ipv4, ipv4(17, udp)).text);
}

TEST_F(ipv4_test, first_fragment_is_decoded_in_full)
{
	EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(17, udp, 0x2000))), (outcome{28, 0, 0x80, 0}));
	check_decoder(decode_ipv4, ipv4(17, udp, 0x2000),
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, more fragments, frag off 0\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv4_test, later_fragment_only_marks_its_type)
{
	debug_pkt_port = 5000;
	EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(17, udp, 0x00b9))), (outcome{20, 0, 0x80, 0}));
	check_decoder(decode_ipv4, ipv4(17, udp, 0x00b9),
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 1480\n");
	// In the middle of its datagram.
	EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(17, udp, 0x2001))), (outcome{20, 0, 0x80, 0}));
	EXPECT_EQ(decode(decode_ipv4, ipv4(17, udp, 0x2001)).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
								   "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
								   "       fragment ok, more fragments, frag off 8\n");
	// The high bits of the offset alone.
	EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(17, udp, 0x1000))), (outcome{20, 0, 0x80, 0}));
	EXPECT_EQ(decode(decode_ipv4, ipv4(17, udp, 0x1000)).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
								   "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
								   "       fragment ok, last fragment, frag off 32768\n");
}

TEST_F(ipv4_test, flags)
{
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {}, 0x4000)).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
								  "       len 20, id 1, cksum c6, ttl 64, dscp 0\n"
								  "       dont fragment, last fragment, frag off 0\n");
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {}, 0x6000)).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
								  "       len 20, id 1, cksum c6, ttl 64, dscp 0\n"
								  "       dont fragment, more fragments, frag off 0\n");
	// The offset's bits are no flags.
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {}, 0x1fff)).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
								  "       len 20, id 1, cksum c6, ttl 64, dscp 0\n"
								  "       fragment ok, last fragment, frag off 65528\n");
	// The reserved flag is neither shown nor part of the offset.
	EXPECT_EQ(decode(decode_ipv4, ipv4(17, udp, 0x8000)).consumed, 28u);
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {}, 0x8000)).text, "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
								  "       len 20, id 1, cksum c6, ttl 64, dscp 0\n"
								  "       fragment ok, last fragment, frag off 0\n");
}

TEST_F(ipv4_test, every_protocol_of_the_table)
{
	struct row {
		uint8_t protocol;
		bytes payload;
		outcome whole;
		const char *text;
	};
	gre_type = 0x6558;
	debug_pkt_proto = debug_pkt_port = 1;
	const row rows[] = {
		{1, hex("0d 00 0000 1234 0001"), {28, 0, 0x8, 0x0800}, "    #icmp: type other(13) code 0 id 4660 seq 1\n"},
		{2, hex("16 00 0000 ef010101"), {28, 0, 0x20, 0x0800}, "    #igmp: type v2-report(22) group 239.1.1.1\n"},
		{17, udp, {28, 0, 0x80, 0x0800}, "    #udp: sport 5000 dport 5001 len 8\n"},
		{6,
		 hex("1388 1389 00000001 00000002 50 02 ffff 00ab 0000"),
		 {40, 0, 0x40, 0x0800},
		 "    #tcp: sport 5000 dport 5001, seq 1, ack 2, cksum ab, hdr len 20, syn\n"},
		{47, hex("2000 88a8"), {24, 0, 0x100, 0x88a8}, "    #gre: flag 0x2000 proto 88a8\n"},
		{58, hex("85 00 0000 0000 0000"), {28, 0, 0x20010, 0x0800}, "    #icmpv6: type router-solicitation(133) code 0\n"},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(static_cast<unsigned>(row.protocol));
		const result whole = decode(decode_ipv4, ipv4(row.protocol, row.payload), 0, 0x0800);
		EXPECT_EQ(outcome_of(whole), row.whole);
		EXPECT_EQ(whole.text.substr(whole.text.find("    #")), row.text);
		// A later fragment has the protocol's own type bit alone.
		const outcome later{20, 0, row.protocol == 58 ? 0x10 : row.whole.type, 0x0800};
		EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(row.protocol, row.payload, 1), 0, 0x0800)), later);
		EXPECT_EQ(outcome_of(decode(decode_ipv4, ipv4(row.protocol, row.payload, 1), 4095, 0x0800)), later);
	}
}

TEST_F(ipv4_test, address_criterion)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {})).match, 0x4u) << "source";
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {}), 4095).match, 0x4u) << "source, no room";
	debug_pkt_ip = in_aton("10.0.0.2");
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {})).match, 0x4u) << "destination";
	for (const char *near : {"11.0.0.1", "10.1.0.1", "10.0.1.1", "10.0.0.3", "1.0.0.10"}) {
		debug_pkt_ip = in_aton(near);
		EXPECT_EQ(decode(decode_ipv4, ipv4(89, {})).match, 0u) << near;
	}
	debug_pkt_ip = 0;
	EXPECT_EQ(decode(decode_ipv4, ipv4(89, {})).match, 0u);
	EXPECT_EQ(decode(decode_ipv4, zeros(20)).match, 0x4u) << "the unset filter equals the unspecified address";
}

TEST_F(ipv4_test, bits_are_added)
{
	debug_pkt_ip = in_aton("10.0.0.2");
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->match = 0x20;
		ctx->type = 0x2;
		return debug_pkt_ipv4(ctx, data, len);
	};
	EXPECT_EQ(outcome_of(decode(behind_others, ipv4(17, udp))), (outcome{28, 0x24, 0x82, 0}));
}

TEST_F(ipv4_test, a_fourth_argument_is_ignored)
{
	const decoder with_flag = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		return debug_pkt_ipv4(ctx, data, len, 1);
	};
	EXPECT_EQ(outcome_of(decode(with_flag, ipv4(17, udp))), (outcome{28, 0, 0x80, 0}));
	EXPECT_EQ(decode(with_flag, ipv4(17, udp)).text, decode(decode_ipv4, ipv4(17, udp)).text);
}

TEST_F(ipv4_test, length_handed_on_wraps)
{
	// 20 - 10 bytes short: the IGMP decoder is told 4294967286 bytes and takes its long query form, without any source.
	const decoder short_length = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) {
		return debug_pkt_ipv4(ctx, data, 10);
	};
	const bytes query = ipv4(2, hex("11 64 0000 ef010101 02 7d 0001 0a000001"));
	EXPECT_EQ(outcome_of(decode(short_length, query)), (outcome{32, 0, 0x20, 0}));
	check_decoder(short_length, query,
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 2 hdr len 20\n"
		      "       len 36, id 1, cksum c6, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 0\n"
		      "    #igmp: type v3-query code 100 nsrc 1 group 239.1.1.1\n");
}

TEST_F(ipv4_test, bytes_behind_the_packet_read_as_zero)
{
	const bytes whole = ipv4(17, udp), cut(whole.begin(), whole.begin() + 17);
	const result shown = decode(decode_ipv4, cut);
	EXPECT_EQ(shown.text, "  #ip: sip 10.0.0.1, dip 10.0.0.0, proto 17 hdr len 20\n"
			      "       len 28, id 1, cksum c6, ttl 64, dscp 0\n"
			      "       fragment ok, last fragment, frag off 0\n"
			      "    #udp: sport 0 dport 0 len 0\n");
	EXPECT_EQ(shown.consumed, 28u);
}

} // namespace test
