// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

// The function of three arguments: the one of four is another.
static uint32_t decode_ipv6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_ipv6(ctx, data, len);
}

static const bytes source = hex("20010db8 00000000 00000000 00000001"), destination = hex("20010db8 00000000 00000000 00000002");

// From 2001:db8::1 to 2001:db8::2, with hop limit 64.
static bytes header(uint32_t payload_length, uint8_t next)
{
	return hex("60000000") + big16(payload_length) + bytes{next} + hex("40") + source + destination;
}

static bytes ipv6(uint8_t next, const bytes &payload)
{
	return header(static_cast<uint32_t>(payload.size()), next) + payload;
}

// An extension header that takes up count * 4 + 8 bytes.
static bytes extension(uint8_t next, uint8_t count)
{
	return bytes{next, count} + zeros(count * 4u + 6);
}

static const bytes udp = hex("1388 1389 0008 0000");

class ipv6_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		debug_pkt_port = 4001;
		filter(hex("fe80 0000 0000 0000 0000 0000 0000 0001"));
	}
	static void filter(const bytes &address) { std::memcpy(debug_pkt_ip6, address.data(), 16); }
};

TEST_F(ipv6_test, header_and_udp)
{
	EXPECT_EQ(outcome_of(decode(decode_ipv6, ipv6(17, udp), 0, 0x86dd)), (outcome{48, 0, 0x80, 0x86dd}));
	check_decoder(decode_ipv6, ipv6(17, udp),
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 8 next hdr 17\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv6_test, no_payload_length)
{
	// A jumbogram, or nothing at all: what follows is not looked at.
	const bytes packet = header(0, 17) + udp;
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{40, 0, 0, 0}));
	check_decoder(decode_ipv6, packet,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 0 next hdr 17\n");
	EXPECT_EQ(decode(decode_ipv6, header(0, 0) + extension(17, 0)).consumed, 40u);
}

TEST_F(ipv6_test, capture_ends_behind_the_header)
{
	EXPECT_EQ(outcome_of(decode(decode_ipv6, header(8, 17))), (outcome{40, 0, 0, 0}));
	check_decoder(decode_ipv6, header(8, 17),
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 8 next hdr 17\n");
	// One byte more, and the payload is decoded.
	EXPECT_EQ(outcome_of(decode(decode_ipv6, header(8, 17) + hex("13"))), (outcome{48, 0, 0x80, 0})) << "one byte of payload";
}

TEST_F(ipv6_test, length_that_has_wrapped)
{
	for (uint32_t given : {0u, 39u, 40u, 0x80000000u, 0xfffffff0u, 0xffffffffu}) {
		SCOPED_TRACE(given);
		const decoder with_length = [given](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) {
			return debug_pkt_ipv6(ctx, data, given);
		};
		EXPECT_EQ(outcome_of(decode(with_length, ipv6(17, udp))), (outcome{40, 0, 0, 0}));
	}
}

TEST_F(ipv6_test, unknown_next_header)
{
	for (const uint8_t next : bytes{59, 89, 4, 41, 254}) {
		SCOPED_TRACE(static_cast<unsigned>(next));
		EXPECT_EQ(outcome_of(decode(decode_ipv6, ipv6(next, udp))), (outcome{40, 0, 0, 0}));
	}
	check_decoder(decode_ipv6, ipv6(59, udp),
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 8 next hdr 59\n");
}

TEST_F(ipv6_test, addresses_in_their_compressed_form)
{
	const bytes any = zeros(16), mapped = hex("00000000 00000000 0000ffff 0a000001");
	check_decoder(decode_ipv6, hex("60000000 ffff 3b ff") + any + mapped,
		      "  #ipv6: sip ::\n"
		      "         dip ::ffff:10.0.0.1\n"
		      "         hoplimit 255 payload len 65535 next hdr 59\n");
	check_decoder(decode_ipv6,
		      hex("60000000 0000 3b 00") + hex("fe80 0000 0000 0001 0000 0000 0000 0abc") +
			      hex("2001 0db8 1111 2222 3333 4444 5555 6666"),
		      "  #ipv6: sip fe80:0:0:1::abc\n"
		      "         dip 2001:db8:1111:2222:3333:4444:5555:6666\n"
		      "         hoplimit 0 payload len 0 next hdr 59\n");
}

TEST_F(ipv6_test, hop_by_hop)
{
	const bytes packet = ipv6(0, extension(17, 0) + udp);
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{56, 0, 0x80, 0}));
	check_decoder(decode_ipv6, packet,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 16 next hdr 0\n"
		      "  #extension header: type hop-by-hop len 8 next hdr 17\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv6_test, routing)
{
	const bytes packet = ipv6(43, extension(17, 2) + udp);
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{64, 0, 0x80, 0}));
	check_decoder(decode_ipv6, packet,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 24 next hdr 43\n"
		      "  #extension header: type routing len 16 next hdr 17\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv6_test, later_fragment_is_decoded)
{
	const bytes packet = ipv6(44, hex("11 00 05a9 00000001") + udp);
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{56, 0, 0x80, 0}));
	check_decoder(decode_ipv6, packet,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 16 next hdr 44\n"
		      "  #extension header: type fragmentation len 8 next hdr 17\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv6_test, esp_is_stepped_over_like_the_others)
{
	// The second byte belongs to the security parameter index: 0x01 makes 12 bytes, the next header is its first byte.
	const bytes packet = ipv6(50, hex("11 01 0203 00000001 aabbccdd") + udp);
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{60, 0, 0x80, 0}));
	check_decoder(decode_ipv6, packet,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 20 next hdr 50\n"
		      "  #extension header: type esp len 12 next hdr 17\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv6_test, all_nine_in_a_chain)
{
	const bytes packet = ipv6(0, extension(43, 0) + extension(44, 1) + extension(50, 0) + extension(51, 4) + extension(60, 1) +
					     extension(61, 0) + extension(135, 1) + extension(140, 0) + extension(60, 3) +
					     extension(17, 0) + udp);
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{168, 0, 0x80, 0}));
	check_decoder(decode_ipv6, packet,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 128 next hdr 0\n"
		      "  #extension header: type hop-by-hop len 8 next hdr 43\n"
		      "  #extension header: type routing len 12 next hdr 44\n"
		      "  #extension header: type fragmentation len 8 next hdr 50\n"
		      "  #extension header: type esp len 24 next hdr 51\n"
		      "  #extension header: type ah len 12 next hdr 60\n"
		      "  #extension header: type destination len 8 next hdr 61\n"
		      "  #extension header: type shim-old len 12 next hdr 135\n"
		      "  #extension header: type mobile-ipv6 len 8 next hdr 140\n"
		      "  #extension header: type shim len 20 next hdr 60\n"
		      "  #extension header: type destination len 8 next hdr 17\n"
		      "    #udp: sport 5000 dport 5001 len 8\n");
}

TEST_F(ipv6_test, longest_extension_header)
{
	const bytes packet = ipv6(60, extension(59, 255) + hex("00"));
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{1068, 0, 0, 0}));
	EXPECT_EQ(decode(decode_ipv6, packet).text, "  #ipv6: sip 2001:db8::1\n"
						    "         dip 2001:db8::2\n"
						    "         hoplimit 64 payload len 1029 next hdr 60\n"
						    "  #extension header: type destination len 1028 next hdr 59\n");
}

TEST_F(ipv6_test, payload_length_runs_out)
{
	// 8 bytes of payload are the extension header's own: UDP is not looked at, though it is there. With 9 it is.
	const bytes ends = header(8, 0) + extension(17, 0) + udp, reaches = header(9, 0) + extension(17, 0) + udp,
		    inside = header(7, 0) + extension(17, 0) + udp;
	EXPECT_EQ(outcome_of(decode(decode_ipv6, ends)), (outcome{48, 0, 0, 0}));
	EXPECT_EQ(outcome_of(decode(decode_ipv6, inside)), (outcome{48, 0, 0, 0}));
	EXPECT_EQ(outcome_of(decode(decode_ipv6, reaches)), (outcome{56, 0, 0x80, 0}));
	check_decoder(decode_ipv6, ends,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 8 next hdr 0\n"
		      "  #extension header: type hop-by-hop len 8 next hdr 17\n");
	// Nor is a further extension header.
	EXPECT_EQ(outcome_of(decode(decode_ipv6, header(8, 0) + extension(60, 0) + extension(17, 0) + udp)),
		  (outcome{48, 0, 0, 0}));
}

TEST_F(ipv6_test, capture_ends_in_the_chain)
{
	// Right behind the extension header, and inside it.
	EXPECT_EQ(outcome_of(decode(decode_ipv6, header(100, 0) + extension(17, 0))), (outcome{48, 0, 0, 0}));
	const bytes inside = header(100, 0) + hex("11 0a 0000 0000");
	EXPECT_EQ(outcome_of(decode(decode_ipv6, inside)), (outcome{88, 0, 0, 0}));
	check_decoder(decode_ipv6, inside,
		      "  #ipv6: sip 2001:db8::1\n"
		      "         dip 2001:db8::2\n"
		      "         hoplimit 64 payload len 100 next hdr 0\n"
		      "  #extension header: type hop-by-hop len 48 next hdr 17\n");
	// Behind its first byte: the length byte reads as 0.
	EXPECT_EQ(outcome_of(decode(decode_ipv6, header(100, 0) + hex("11"))), (outcome{48, 0, 0, 0}));
	EXPECT_EQ(decode(decode_ipv6, header(100, 0) + hex("11")).text, "  #ipv6: sip 2001:db8::1\n"
									"         dip 2001:db8::2\n"
									"         hoplimit 64 payload len 100 next hdr 0\n"
									"  #extension header: type hop-by-hop len 8 next hdr 17\n");
}

TEST_F(ipv6_test, no_extension_header_starts_behind_the_packet)
{
	// The length given is longer than the packet.
	const decoder too_long = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		return debug_pkt_ipv6(ctx, data, len + 1000);
	};
	EXPECT_EQ(outcome_of(decode(too_long, header(100, 0))), (outcome{40, 0, 0, 0}));
	EXPECT_EQ(decode(too_long, header(100, 0)).text, "  #ipv6: sip 2001:db8::1\n"
							 "         dip 2001:db8::2\n"
							 "         hoplimit 64 payload len 100 next hdr 0\n");
	EXPECT_EQ(outcome_of(decode(too_long, header(100, 0) + extension(60, 0))), (outcome{48, 0, 0, 0}));
}

TEST_F(ipv6_test, chain_without_another_bound)
{
	// 182 headers and half of one more in 1500 bytes.
	bytes packet = header(1460, 60);
	for (int i = 0; i < 182; ++i)
		packet = packet + extension(60, 0);
	packet = packet + hex("3c 00 0000");
	ASSERT_EQ(packet.size(), 1500u);
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet)), (outcome{1504, 0, 0, 0}));
	EXPECT_EQ(outcome_of(decode(decode_ipv6, packet, 4095)), (outcome{1504, 0, 0, 0}));
	std::string expected = "  #ipv6: sip 2001:db8::1\n"
			       "         dip 2001:db8::2\n"
			       "         hoplimit 64 payload len 1460 next hdr 60\n";
	for (int i = 0; i < 183; ++i)
		expected += "  #extension header: type destination len 8 next hdr 60\n";
	EXPECT_EQ(decode(decode_ipv6, packet).text, expected.substr(0, 4094) + '\0');
}

TEST_F(ipv6_test, every_protocol_of_the_table)
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
		{1, hex("0d 00 0000 1234 0001"), {48, 0, 0x8, 0x86dd}, "    #icmp: type other(13) code 0 id 4660 seq 1\n"},
		{2, hex("16 00 0000 ef010101"), {48, 0, 0x20, 0x86dd}, "    #igmp: type v2-report(22) group 239.1.1.1\n"},
		{17, udp, {48, 0, 0x80, 0x86dd}, "    #udp: sport 5000 dport 5001 len 8\n"},
		{6,
		 hex("1388 1389 00000001 00000002 50 02 ffff 00ab 0000"),
		 {60, 0, 0x40, 0x86dd},
		 "    #tcp: sport 5000 dport 5001, seq 1, ack 2, cksum ab, hdr len 20, syn\n"},
		{47, hex("2000 88a8"), {44, 0, 0x100, 0x88a8}, "    #gre: flag 0x2000 proto 88a8\n"},
		{58, hex("85 00 0000 0000 0000"), {48, 0, 0x20010, 0x86dd}, "    #icmpv6: type router-solicitation(133) code 0\n"},
	};
	for (const row &row : rows) {
		SCOPED_TRACE(static_cast<unsigned>(row.protocol));
		const result whole = decode(decode_ipv6, ipv6(row.protocol, row.payload), 0, 0x86dd);
		EXPECT_EQ(outcome_of(whole), row.whole);
		EXPECT_EQ(whole.text.substr(whole.text.find("    #")), row.text);
	}
}

TEST_F(ipv6_test, upper_layer_is_told_what_is_left)
{
	// An IGMP query of 11 bytes is short, one of 12 bytes long; the capture's end counts, not the payload length.
	const bytes chain = extension(2, 1), query = hex("11 64 0000 ef010101 0000 00");
	EXPECT_EQ(decode(decode_ipv6, header(1000, 0) + chain + query).text,
		  "  #ipv6: sip 2001:db8::1\n"
		  "         dip 2001:db8::2\n"
		  "         hoplimit 64 payload len 1000 next hdr 0\n"
		  "  #extension header: type hop-by-hop len 12 next hdr 2\n"
		  "    #igmp: type query(17) group 239.1.1.1\n");
	EXPECT_EQ(decode(decode_ipv6, header(13, 0) + chain + query + hex("00")).text,
		  "  #ipv6: sip 2001:db8::1\n"
		  "         dip 2001:db8::2\n"
		  "         hoplimit 64 payload len 13 next hdr 0\n"
		  "  #extension header: type hop-by-hop len 12 next hdr 2\n"
		  "    #igmp: type v3-query code 100 nsrc 0 group 239.1.1.1\n");
}

TEST_F(ipv6_test, address_criterion)
{
	const bytes packet = header(0, 59);
	filter(source);
	EXPECT_EQ(decode(decode_ipv6, packet).match, 0x8u) << "source";
	EXPECT_EQ(decode(decode_ipv6, packet, 4095).match, 0x8u) << "source, no room";
	filter(destination);
	EXPECT_EQ(decode(decode_ipv6, packet).match, 0x8u) << "destination";
	for (size_t i = 0; i < 16; ++i) {
		bytes near = source;
		near[i] ^= 0x80;
		filter(near);
		EXPECT_EQ(decode(decode_ipv6, packet).match, 0u) << "another byte " << i;
	}
	filter(zeros(16));
	EXPECT_EQ(decode(decode_ipv6, packet).match, 0u);
	EXPECT_EQ(decode(decode_ipv6, hex("60000000 0000 3b 40") + zeros(16) + destination).match, 0x8u)
		<< "the unset filter equals the unspecified address";
}

TEST_F(ipv6_test, bits_are_added)
{
	filter(destination);
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->match = 0x20;
		ctx->type = 0x2;
		return debug_pkt_ipv6(ctx, data, len);
	};
	EXPECT_EQ(outcome_of(decode(behind_others, ipv6(17, udp))), (outcome{48, 0x28, 0x82, 0}));
}

TEST_F(ipv6_test, a_fourth_argument_is_ignored)
{
	const decoder with_flag = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		return debug_pkt_ipv6(ctx, data, len, 1);
	};
	EXPECT_EQ(outcome_of(decode(with_flag, ipv6(17, udp))), (outcome{48, 0, 0x80, 0}));
	EXPECT_EQ(decode(with_flag, ipv6(17, udp)).text, decode(decode_ipv6, ipv6(17, udp)).text);
}

TEST_F(ipv6_test, bytes_behind_the_packet_read_as_zero)
{
	const bytes whole = ipv6(17, udp), cut(whole.begin(), whole.begin() + 24);
	const result shown = decode(decode_ipv6, cut);
	EXPECT_EQ(shown.text, "  #ipv6: sip 2001:db8::1\n"
			      "         dip ::\n"
			      "         hoplimit 64 payload len 8 next hdr 17\n");
	EXPECT_EQ(outcome_of(shown), (outcome{40, 0, 0, 0}));
}

} // namespace test
