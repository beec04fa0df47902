// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

namespace test {

using icmp_test = core_test;

static uint32_t icmp(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_icmp(ctx, data, len, 0);
}

static bytes message(uint8_t type)
{
	return bytes{type} + hex("ff 0000 1234 ffff");
}

// 10.0.0.1 to 10.0.0.2, 20 bytes.
static bytes quoted_ipv4(uint8_t protocol, uint16_t fragment = 0x4000)
{
	return hex("45 00 0024 0001") + big16(fragment) + bytes{64, protocol} + hex("1234") + ip4("10.0.0.1") + ip4("10.0.0.2");
}

static const char quoted_text[] = "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 89 hdr len 20\n"
				  "       len 36, id 1, cksum 1234, ttl 64, dscp 0\n"
				  "       dont fragment, last fragment, frag off 0\n";

TEST_F(icmp_test, echo_request)
{
	debug_pkt_port = 4660;
	const bytes content = hex("08 00 0000 1234 0001");
	const result echo = decode(icmp, content, 0, 0x0800);
	EXPECT_EQ(echo.consumed, 8u);
	EXPECT_EQ(echo.type, 0x8008u);
	EXPECT_EQ(echo.match, 0u);
	EXPECT_EQ(echo.proto, 0x0800u);
	check_decoder(icmp, content, "    #icmp: type echo-request(8) code 0 id 4660 seq 1\n");
}

// What stands behind the 8 bytes of any message but an error's is not looked at.
TEST_F(icmp_test, every_type)
{
	const struct {
		uint8_t type;
		const char *line;
		uint32_t consumed, type_bits;
	} named[] = {
		{0, "    #icmp: type echo-reply(0) code 255 id 4660 seq 65535\n", 8, 0x8008},
		{3, "    #icmp: type dst-unreachable(3) code 255 id 4660 seq 65535\n", 28, 0x8},
		{4, "    #icmp: type src-quench(4) code 255 id 4660 seq 65535\n", 28, 0x8},
		{5, "    #icmp: type redirect(5) code 255 id 4660 seq 65535\n", 28, 0x8},
		{8, "    #icmp: type echo-request(8) code 255 id 4660 seq 65535\n", 8, 0x8008},
		{11, "    #icmp: type ttl-exceeded(11) code 255 id 4660 seq 65535\n", 28, 0x8},
		{12, "    #icmp: type param-problem(12) code 255 id 4660 seq 65535\n", 28, 0x8},
	};
	for (uint32_t type = 0; type < 256; ++type) {
		SCOPED_TRACE(type);
		std::string expected = "    #icmp: type other(" + std::to_string(type) + ") code 255 id 4660 seq 65535\n";
		uint32_t consumed = 8, type_bits = 0x8;
		for (const auto &row : named) {
			if (row.type != type)
				continue;
			expected = row.line;
			if (row.consumed == 28)
				expected += quoted_text;
			consumed = row.consumed;
			type_bits = row.type_bits;
		}
		const result got = decode(icmp, message(static_cast<uint8_t>(type)) + quoted_ipv4(89));
		EXPECT_EQ(got.text, expected);
		EXPECT_EQ(got.consumed, consumed);
		EXPECT_EQ(got.type, type_bits);
		EXPECT_EQ(got.match, 0u);
	}
}

TEST_F(icmp_test, timestamp_has_no_name)
{
	const bytes content = hex("0d 00 0000 0000 0000");
	EXPECT_EQ(decode(icmp, content).consumed, 8u);
	EXPECT_EQ(decode(icmp, content).type, 0x8u);
	check_decoder(icmp, content, "    #icmp: type other(13) code 0 id 0 seq 0\n");
}

static const bytes unreachable_port = hex("03 03 0000 0000 0000") + quoted_ipv4(17) + hex("0400 829a 0010 0000");

TEST_F(icmp_test, error_quoting_udp)
{
	const result error = decode(icmp, unreachable_port);
	EXPECT_EQ(error.consumed, 8u + 20 + 8);
	EXPECT_EQ(error.type, 0x8u | 0x80);
	EXPECT_EQ(error.match, 0u);
	check_decoder(icmp, unreachable_port,
		      "    #icmp: type dst-unreachable(3) code 3 id 0 seq 0\n"
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 36, id 1, cksum 1234, ttl 64, dscp 0\n"
		      "       dont fragment, last fragment, frag off 0\n"
		      "    #udp: sport 1024 dport 33434 len 16\n");
}

TEST_F(icmp_test, quoted_addresses_and_ports_meet_the_filter)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	EXPECT_EQ(decode(icmp, unreachable_port).match, 0x4u);
	debug_pkt_ip = in_aton("10.0.0.2");
	EXPECT_EQ(decode(icmp, unreachable_port).match, 0x4u);
	debug_pkt_port = 33434;
	EXPECT_EQ(decode(icmp, unreachable_port).match, 0x44u);
	debug_pkt_ip = in_aton("10.0.0.3");
	EXPECT_EQ(decode(icmp, unreachable_port).match, 0x40u);
}

// Only the addresses of the quoted header are compared, never those of an echo.
TEST_F(icmp_test, echo_meets_no_filter)
{
	debug_pkt_ip = in_aton("10.0.0.1");
	const result echo = decode(icmp, hex("08 00 0000 0000 0000") + quoted_ipv4(17));
	EXPECT_EQ(echo.match, 0u);
	EXPECT_EQ(echo.consumed, 8u);
	EXPECT_EQ(echo.text, "    #icmp: type echo-request(8) code 0 id 0 seq 0\n");
}

TEST_F(icmp_test, error_quoting_a_later_fragment)
{
	const bytes content = hex("0b 01 0000 0000 0000") + quoted_ipv4(17, 0x00b9) + hex("0400 829a 0010 0000");
	const result error = decode(icmp, content);
	EXPECT_EQ(error.consumed, 28u);
	EXPECT_EQ(error.type, 0x8u | 0x80);
	check_decoder(icmp, content,
		      "    #icmp: type ttl-exceeded(11) code 1 id 0 seq 0\n"
		      "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
		      "       len 36, id 1, cksum 1234, ttl 64, dscp 0\n"
		      "       fragment ok, last fragment, frag off 1480\n");
}

TEST_F(icmp_test, error_quoting_gre_leaves_its_protocol)
{
	const bytes content = hex("03 02 0000 0000 0000") + quoted_ipv4(47) + hex("0000 86dd");
	const result error = decode(icmp, content, 0, 0x0800);
	EXPECT_EQ(error.consumed, 32u);
	EXPECT_EQ(error.type, 0x8u | 0x100);
	EXPECT_EQ(error.proto, 0x86ddu);
}

static const char nothing_quoted[] = "  #ip: sip 0.0.0.0, dip 0.0.0.0, proto 0 hdr len 0\n"
				     "       len 0, id 0, cksum 0, ttl 0, dscp 0\n"
				     "       fragment ok, last fragment, frag off 0\n";

// The quoted header is decoded whatever the length: behind the packet's end it reads as zeros.
TEST_F(icmp_test, error_without_a_quoted_header)
{
	const bytes content = hex("05 01 0000 0a00 0001");
	const result error = decode(icmp, content);
	EXPECT_EQ(error.consumed, 8u);
	EXPECT_EQ(error.match, 0x4u) << "0.0.0.0 is the filter address that nobody has set";
	check_decoder(icmp, content, std::string("    #icmp: type redirect(5) code 1 id 2560 seq 1\n") + nothing_quoted);
}

TEST_F(icmp_test, cut_inside_the_header)
{
	EXPECT_EQ(decode(icmp, {}).text, "    #icmp: type echo-reply(0) code 0 id 0 seq 0\n");
	EXPECT_EQ(decode(icmp, {}).consumed, 8u);
	EXPECT_EQ(decode(icmp, {}).type, 0x8008u);
	EXPECT_EQ(decode(icmp, hex("08 07 0000 12")).text, "    #icmp: type echo-request(8) code 7 id 4608 seq 0\n");
	EXPECT_EQ(decode(icmp, hex("0c")).text,
		  std::string("    #icmp: type param-problem(12) code 0 id 0 seq 0\n") + nothing_quoted);
}

// A length below the headers wraps, and the quoted payload is then taken to be long.
TEST_F(icmp_test, length_that_wraps)
{
	const bytes content = hex("04 00 0000 0000 0000") + quoted_ipv4(17) + hex("13c4 0400 0010 0000") + text("OK\nNO\n");
	const auto with_length = [](uint32_t length) {
		return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_icmp(ctx, data, length, 0); };
	};
	const std::string headers = "    #icmp: type src-quench(4) code 0 id 0 seq 0\n"
				    "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 17 hdr len 20\n"
				    "       len 36, id 1, cksum 1234, ttl 64, dscp 0\n"
				    "       dont fragment, last fragment, frag off 0\n"
				    "    #udp: sport 5060 dport 1024 len 16\n";
	const result exact = decode(with_length(39), content);
	EXPECT_EQ(exact.consumed, 36u + 3);
	EXPECT_EQ(exact.text, headers + "      #sip: OK\n");
	const result none = decode(with_length(36), content);
	EXPECT_EQ(none.consumed, 36u);
	EXPECT_EQ(none.text, headers);
	for (uint32_t length : {0u, 7u, 8u, 27u, 35u}) {
		SCOPED_TRACE(length);
		const result wrapped = decode(with_length(length), content);
		EXPECT_EQ(wrapped.consumed, 36u + 7) << "the text ends at the 0 byte that is read behind the packet";
		EXPECT_EQ(wrapped.text, headers + "      #sip: OK\n      #sip: NO\n");
	}
}

TEST_F(icmp_test, later_fragment)
{
	for (uint32_t flag : {1u, 0x80000000u, 0xffffffffu})
		for (uint32_t start : {0u, 100u, 4095u}) {
			const result later = decode([flag](debug_pkt_ctx *ctx, const uint8_t *data,
							   uint32_t len) { return debug_pkt_icmp(ctx, data, len, flag); },
						    unreachable_port, start, 0x0800);
			EXPECT_EQ(later.consumed, 0u);
			EXPECT_EQ(later.type, 0x8u);
			EXPECT_EQ(later.match, 0u);
			EXPECT_EQ(later.proto, 0x0800u);
			EXPECT_EQ(later.len, start);
		}
	const result echo =
		decode([](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) { return debug_pkt_icmp(ctx, data, len, 1); },
		       hex("08 00 0000 0000 0000"));
	EXPECT_EQ(echo.type, 0x8u);
}

} // namespace test
