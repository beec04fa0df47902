// SPDX-License-Identifier: GPL-2.0-only
#include "decode/net/net.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

using icmp6_test = core_test;

static uint32_t icmp6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_icmp6(ctx, data, len, 0);
}

// The decoder with another length than the packet's.
static decoder icmp6_of(uint32_t length)
{
	return [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) { return debug_pkt_icmp6(ctx, data, length, 0); };
}

static void set_filter(const bytes &address)
{
	ASSERT_EQ(address.size(), 16u);
	std::memcpy(debug_pkt_ip6, address.data(), 16);
}

// 2001:db8::<last>, ff02::<last>
static bytes unicast(uint8_t last)
{
	return hex("20010db8 00000000 00000000 000000") + bytes{last};
}

static bytes group(uint8_t last)
{
	return hex("ff020000 00000000 00000000 000000") + bytes{last};
}

#define GROUP "ff02:0000:0000:0000:0000:0000:0000:00"
#define UNICAST "2001:0db8:0000:0000:0000:0000:0000:00"
#define ZERO_ADDRESS "0000:0000:0000:0000:0000:0000:0000:0000"

TEST_F(icmp6_test, echo_request)
{
	const bytes content = hex("80 00 0000 0001 0002");
	const result echo = decode(icmp6, content, 0, 0x86dd);
	EXPECT_EQ(echo.consumed, 8u);
	EXPECT_EQ(echo.type, 0x10u | 0x8000);
	EXPECT_EQ(echo.match, 0u);
	EXPECT_EQ(echo.proto, 0x86ddu);
	check_decoder(icmp6, content,
		      "    #icmpv6: type echo-req(128) code 0\n"
		      "      #echo: id 1 seq 2\n");
}

// Each type on a message of 8 bytes: what it reads behind them is zero, and so is the filter address.
TEST_F(icmp6_test, every_type)
{
	const struct {
		uint8_t type;
		const char *lines;
		uint32_t consumed, type_bits, match;
	} named[] = {
		{1, "    #icmpv6: type dst-unreachable(1) code 255\n", 8, 0x10, 0},
		{2, "    #icmpv6: type pkt-too-big(2) code 255\n", 8, 0x10, 0},
		{3, "    #icmpv6: type ttl-exceeded(3) code 255\n", 8, 0x10, 0},
		{4, "    #icmpv6: type param-problem(4) code 255\n", 8, 0x10, 0},
		{128, "    #icmpv6: type echo-req(128) code 255\n      #echo: id 65535 seq 22136\n", 8, 0x8010, 0},
		{129, "    #icmpv6: type echo-reply(129) code 255\n      #echo: id 65535 seq 22136\n", 8, 0x8010, 0},
		{130, "    #icmpv6: type mld-query(130) code 255\n      #mld: group " ZERO_ADDRESS "\n", 24, 0x40010, 0x8},
		{131, "    #icmpv6: type mld-report(131) code 255\n      #mld: group " ZERO_ADDRESS "\n", 24, 0x40010, 0x8},
		{132, "    #icmpv6: type mld-done(132) code 255\n      #mld: group " ZERO_ADDRESS "\n", 24, 0x40010, 0x8},
		{133, "    #icmpv6: type router-solicitation(133) code 255\n", 8, 0x20010, 0},
		{134,
		 "    #icmpv6: type router-advertisement(134) code 255\n"
		 "      #rtr-adv: hop limit 255 flags 0xff rlt 22136\n",
		 16, 0x20010, 0},
		{135, "    #icmpv6: type nbr-solicitation(135) code 255\n      #nbr-sol: tip " ZERO_ADDRESS "\n", 24, 0x10010, 0x8},
		{136, "    #icmpv6: type nbr-advertisement(136) code 255\n", 8, 0x10010, 0},
		{143, "    #icmpv6: type mldv2-report(143) code 255\n      #mld: ngrp 22136\n", 8, 0x40010, 0},
	};
	for (uint32_t type = 0; type < 256; ++type) {
		SCOPED_TRACE(type);
		std::string expected = "    #icmpv6: type other(" + std::to_string(type) + ") code 255\n";
		uint32_t consumed = 8, type_bits = 0x10, match = 0;
		for (const auto &row : named) {
			if (row.type != type)
				continue;
			expected = row.lines;
			consumed = row.consumed;
			type_bits = row.type_bits;
			match = row.match;
		}
		const result got = decode(icmp6, bytes{static_cast<uint8_t>(type)} + hex("ff 0000 ffff 5678"), 0, 0x86dd);
		EXPECT_EQ(got.text, expected);
		EXPECT_EQ(got.consumed, consumed);
		EXPECT_EQ(got.type, type_bits);
		EXPECT_EQ(got.match, match);
		EXPECT_EQ(got.proto, 0x86ddu);
	}
}

TEST_F(icmp6_test, neighbour_solicitation)
{
	const bytes content = hex("87 00 0000 00000000") + unicast(1) + hex("0101 020000000001");
	check_decoder(icmp6, content,
		      "    #icmpv6: type nbr-solicitation(135) code 0\n"
		      "      #nbr-sol: tip " UNICAST "01\n");
	EXPECT_EQ(decode(icmp6, content).match, 0u);
	set_filter(unicast(1));
	const result met = decode(icmp6, content);
	EXPECT_EQ(met.consumed, 24u);
	EXPECT_EQ(met.type, 0x10u | 0x10000);
	EXPECT_EQ(met.match, 0x8u);
	EXPECT_EQ(decode(icmp6, content, 4095).match, 0x8u);
	for (size_t i = 0; i < 16; ++i) {
		set_filter(unicast(1));
		debug_pkt_ip6[i] ^= 0x10;
		EXPECT_EQ(decode(icmp6, content).match, 0u) << "byte " << i;
	}
}

TEST_F(icmp6_test, neighbour_advertisement_is_not_compared)
{
	const bytes content = hex("88 00 0000 60000000") + unicast(1);
	set_filter(unicast(1));
	const result got = decode(icmp6, content);
	EXPECT_EQ(got.consumed, 8u);
	EXPECT_EQ(got.type, 0x10u | 0x10000);
	EXPECT_EQ(got.match, 0u);
	check_decoder(icmp6, content, "    #icmpv6: type nbr-advertisement(136) code 0\n");
}

TEST_F(icmp6_test, router_solicitation)
{
	const bytes content = hex("85 00 0000 00000000 0101 020000000001");
	EXPECT_EQ(decode(icmp6, content).consumed, 8u);
	check_decoder(icmp6, content, "    #icmpv6: type router-solicitation(133) code 0\n");
}

TEST_F(icmp6_test, version_1_listener_messages)
{
	const struct {
		uint8_t type;
		const char *line;
	} rows[] = {
		{131, "    #icmpv6: type mld-report(131) code 0\n"},
		{132, "    #icmpv6: type mld-done(132) code 0\n"},
	};
	for (const auto &row : rows) {
		// Longer than a version 1 message: only a query changes by that.
		for (size_t more : {0u, 20u}) {
			const bytes content = bytes{row.type} + hex("00 0000 0000 0000") + group(0x42) + zeros(more);
			set_filter(zeros(16));
			EXPECT_EQ(decode(icmp6, content).match, 0u);
			set_filter(group(0x42));
			const result got = decode(icmp6, content);
			EXPECT_EQ(got.consumed, 24u);
			EXPECT_EQ(got.type, 0x10u | 0x40000);
			EXPECT_EQ(got.match, 0x8u);
			check_decoder(icmp6, content, std::string(row.line) + "      #mld: group " GROUP "42\n");
		}
	}
}

// Group at 4, count at 22, sources from 24.
static bytes v2_query(uint32_t source_count)
{
	return hex("82 07 0000") + hex("00112233 44556677 8899aabb ccddeeff") + hex("027d") + big16(source_count);
}

TEST_F(icmp6_test, query_of_23_and_24_bytes)
{
	const bytes query = v2_query(0);
	check_decoder(icmp6, query,
		      "    #icmpv6: type mld-query(130) code 7\n"
		      "      #mld: code 7 nsrc 0 group 0011:2233:4455:6677:8899:aabb:ccdd:eeff\n");
	set_filter(hex("44556677 8899aabb ccddeeff 027d0000"));
	const result version_2 = decode(icmp6, query);
	EXPECT_EQ(version_2.consumed, 24u);
	EXPECT_EQ(version_2.type, 0x10u | 0x40000);
	EXPECT_EQ(version_2.match, 0u) << "a version 2 group is not compared";
	const result version_1 = decode(icmp6, bytes(query.begin(), query.begin() + 23));
	EXPECT_EQ(version_1.consumed, 24u);
	EXPECT_EQ(version_1.type, 0x10u | 0x40000);
	EXPECT_EQ(version_1.match, 0x8u);
	EXPECT_EQ(version_1.text, "    #icmpv6: type mld-query(130) code 7\n"
				  "      #mld: group 4455:6677:8899:aabb:ccdd:eeff:027d:0000\n");
	// The same by the length alone: byte 23 of the packet is then still read.
	const result by_length = decode(icmp6_of(23), v2_query(9));
	EXPECT_EQ(by_length.match, 0u);
	EXPECT_EQ(by_length.text, "    #icmpv6: type mld-query(130) code 7\n"
				  "      #mld: group 4455:6677:8899:aabb:ccdd:eeff:027d:0009\n");
}

TEST_F(icmp6_test, version_2_query_sources)
{
	const std::string header = "    #icmpv6: type mld-query(130) code 7\n"
				   "      #mld: code 7 nsrc 3 group 0011:2233:4455:6677:8899:aabb:ccdd:eeff\n";
	const bytes all = v2_query(3) + unicast(1) + unicast(2) + unicast(3) + unicast(4);
	const auto first = [&](size_t size) { return bytes(all.begin(), all.begin() + static_cast<ptrdiff_t>(size)); };
	EXPECT_EQ(decode(icmp6, first(24)).text, header);
	EXPECT_EQ(decode(icmp6, first(24)).consumed, 24u);
	// A source is shown when its first byte is there.
	EXPECT_EQ(decode(icmp6, first(25)).text, header + "      #v3-query: source 2000:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(decode(icmp6, first(25)).consumed, 40u);
	EXPECT_EQ(decode(icmp6_of(25), all).text, header + "      #v3-query: source " UNICAST "01\n");
	EXPECT_EQ(decode(icmp6, first(40)).consumed, 40u);
	EXPECT_EQ(decode(icmp6, first(41)).consumed, 56u);
	EXPECT_EQ(decode(icmp6, all).consumed, 24u + 3 * 16);
	check_decoder(icmp6, all,
		      header + "      #v3-query: source " UNICAST "01\n"
			       "                 source " UNICAST "02\n"
			       "                 source " UNICAST "03\n");
}

static bytes advertisement()
{
	return hex("86 00 0000 40 c0 0708 00000000 00000000");
}

static const std::string advertisement_text = "    #icmpv6: type router-advertisement(134) code 0\n"
					      "      #rtr-adv: hop limit 64 flags 0xc0 rlt 1800\n";

static bytes prefix_option(uint8_t length, uint8_t prefix_length, const bytes &prefix)
{
	return bytes{3, length, prefix_length, 0xc0} + big32(2592000) + big32(604800) + zeros(4) + prefix;
}

TEST_F(icmp6_test, router_advertisement_without_options)
{
	EXPECT_EQ(decode(icmp6, advertisement()).consumed, 16u);
	EXPECT_EQ(decode(icmp6, advertisement()).type, 0x10u | 0x20000);
	check_decoder(icmp6, advertisement(), advertisement_text);
	// Cut in front of where its options start: those 16 bytes count as consumed all the same.
	EXPECT_EQ(decode(icmp6, hex("86 00 0000 40")).consumed, 16u);
	EXPECT_EQ(decode(icmp6, hex("86 00 0000 40")).text, "    #icmpv6: type router-advertisement(134) code 0\n"
							    "      #rtr-adv: hop limit 64 flags 0x0 rlt 0\n");
}

TEST_F(icmp6_test, router_advertisement_with_a_prefix)
{
	const bytes prefix = hex("20010db8 00010002 00000000 00000000");
	const bytes content = advertisement() + prefix_option(4, 64, prefix);
	set_filter(prefix);
	const result got = decode(icmp6, content, 0, 0x86dd);
	EXPECT_EQ(got.consumed, 48u);
	EXPECT_EQ(got.type, 0x10u | 0x20000);
	EXPECT_EQ(got.match, 0u);
	EXPECT_EQ(got.proto, 0x86ddu);
	check_decoder(icmp6, content,
		      advertisement_text + "        #rtr-adv-prefix-info: plen 64 flags 0xc0 vlft 2592000 plft 604800\n"
					   "                              prefix 2001:0db8:0001:0002:0000:0000:0000:0000\n");
}

// Whole bytes of the prefix are shown, and none at all of one longer than 120 bits.
TEST_F(icmp6_test, every_prefix_length)
{
	const bytes prefix = hex("f1f2f3f4 f5f6f7f8 f9fafbfc fdfeff01");
	const auto shown = [&](uint8_t prefix_length) {
		const std::string text = decode(icmp6, advertisement() + prefix_option(4, prefix_length, prefix)).text;
		const std::string options = advertisement_text + "        #rtr-adv-prefix-info: plen " +
					    std::to_string(prefix_length) +
					    " flags 0xc0 vlft 2592000 plft 604800\n"
					    "                              prefix ";
		EXPECT_EQ(text.substr(0, options.size()), options);
		return text.substr(options.size());
	};
	const char *by_bytes[] = {
		"0000:0000:0000:0000:0000:0000:0000:0000\n", "f100:0000:0000:0000:0000:0000:0000:0000\n",
		"f1f2:0000:0000:0000:0000:0000:0000:0000\n", "f1f2:f300:0000:0000:0000:0000:0000:0000\n",
		"f1f2:f3f4:0000:0000:0000:0000:0000:0000\n", "f1f2:f3f4:f500:0000:0000:0000:0000:0000\n",
		"f1f2:f3f4:f5f6:0000:0000:0000:0000:0000\n", "f1f2:f3f4:f5f6:f700:0000:0000:0000:0000\n",
		"f1f2:f3f4:f5f6:f7f8:0000:0000:0000:0000\n", "f1f2:f3f4:f5f6:f7f8:f900:0000:0000:0000\n",
		"f1f2:f3f4:f5f6:f7f8:f9fa:0000:0000:0000\n", "f1f2:f3f4:f5f6:f7f8:f9fa:fb00:0000:0000\n",
		"f1f2:f3f4:f5f6:f7f8:f9fa:fbfc:0000:0000\n", "f1f2:f3f4:f5f6:f7f8:f9fa:fbfc:fd00:0000\n",
		"f1f2:f3f4:f5f6:f7f8:f9fa:fbfc:fdfe:0000\n", "f1f2:f3f4:f5f6:f7f8:f9fa:fbfc:fdfe:ff00\n",
	};
	EXPECT_EQ(shown(0), by_bytes[0]);
	for (uint32_t bits = 1; bits <= 120; ++bits)
		EXPECT_EQ(shown(static_cast<uint8_t>(bits)), by_bytes[(bits - 1) / 8 + 1]) << bits;
	for (uint32_t bits = 121; bits <= 255; ++bits)
		EXPECT_EQ(shown(static_cast<uint8_t>(bits)), by_bytes[0]) << bits;
}

// Each prefix starts from zeros, whatever the one before it held.
TEST_F(icmp6_test, two_prefixes)
{
	const bytes content =
		advertisement() + prefix_option(4, 120, bytes(16, 0xff)) + prefix_option(4, 9, hex("2002") + zeros(14));
	check_decoder(icmp6, content,
		      advertisement_text + "        #rtr-adv-prefix-info: plen 120 flags 0xc0 vlft 2592000 plft 604800\n"
					   "                              prefix ffff:ffff:ffff:ffff:ffff:ffff:ffff:ff00\n"
					   "        #rtr-adv-prefix-info: plen 9 flags 0xc0 vlft 2592000 plft 604800\n"
					   "                              prefix 2002:0000:0000:0000:0000:0000:0000:0000\n");
}

TEST_F(icmp6_test, infinite_lifetimes)
{
	const bytes content = advertisement() + hex("03 04 40 00 ffffffff 80000000 00000000") + unicast(0) +
			      hex("19 03 0000 ffffffff") + unicast(1) + hex("19 03 0000 7fffffff") + unicast(2);
	check_decoder(icmp6, content,
		      advertisement_text + "        #rtr-adv-prefix-info: plen 64 flags 0x0 vlft -1 plft -2147483648\n"
					   "                              prefix " UNICAST "00\n"
					   "        #rtr-adv-rdnss: lft -1\n"
					   "                    dns " UNICAST "01\n"
					   "        #rtr-adv-rdnss: lft 2147483647\n"
					   "                    dns " UNICAST "02\n");
}

TEST_F(icmp6_test, rdnss_with_two_servers)
{
	const bytes content = advertisement() + hex("19 05 0000 00000e10") + unicast(0x53) + unicast(0x54);
	set_filter(unicast(0x53));
	const result got = decode(icmp6, content);
	EXPECT_EQ(got.consumed, 56u);
	EXPECT_EQ(got.match, 0u);
	check_decoder(icmp6, content,
		      advertisement_text + "        #rtr-adv-rdnss: lft 3600\n"
					   "                    dns " UNICAST "53\n"
					   "                    dns " UNICAST "54\n");
}

// A slot of which at least one byte lies in the option is shown whole.
TEST_F(icmp6_test, rdnss_slots_by_option_length)
{
	const uint32_t servers[] = {0, 0, 1, 1, 2, 2, 3, 3, 4};
	const char *lines[] = {"                    dns " UNICAST "01\n", "                    dns " UNICAST "02\n",
			       "                    dns " UNICAST "03\n", "                    dns " UNICAST "04\n"};
	const bytes addresses = unicast(1) + unicast(2) + unicast(3) + unicast(4);
	for (uint8_t units = 1; units <= 8; ++units) {
		SCOPED_TRACE(units * 8);
		const bytes content = advertisement() + bytes{25, units} + hex("0000 00000e10") + addresses;
		std::string expected = advertisement_text + "        #rtr-adv-rdnss: lft 3600\n";
		for (uint32_t i = 0; i < servers[units]; ++i)
			expected += lines[i];
		// Up to the option's end: an address that reaches over it is read from what the packet still holds.
		const result got = decode(icmp6_of(16 + units * 8u), content);
		EXPECT_EQ(got.text, expected);
		EXPECT_EQ(got.consumed, 16u + units * 8u);
	}
}

TEST_F(icmp6_test, rdnss_cut)
{
	const bytes all = advertisement() + hex("19 05 0000 00000e10") + unicast(1) + unicast(2);
	const auto of_size = [&](size_t size) {
		return decode(icmp6, bytes(all.begin(), all.begin() + static_cast<ptrdiff_t>(size)));
	};
	const std::string lifetime = advertisement_text + "        #rtr-adv-rdnss: lft 3600\n";
	EXPECT_EQ(of_size(17).text, advertisement_text + "        #rtr-adv-rdnss: lft 0\n");
	EXPECT_EQ(of_size(17).consumed, 16u) << "a length byte that is not there is 0";
	EXPECT_EQ(of_size(24).text, lifetime);
	EXPECT_EQ(of_size(25).text, lifetime + "                    dns 2000:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(of_size(40).text, lifetime + "                    dns " UNICAST "01\n");
	EXPECT_EQ(of_size(42).text, lifetime + "                    dns " UNICAST "01\n"
					       "                    dns 2001:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(of_size(42).consumed, 56u);
}

TEST_F(icmp6_test, other_options)
{
	const bytes content =
		advertisement() + hex("01 01 020000000001 05 01 0000 000005dc 00 02") + zeros(14) + hex("ff ff") + zeros(6);
	EXPECT_EQ(decode(icmp6, content).consumed, 16u + 8 + 8 + 16 + 2040);
	check_decoder(icmp6, content,
		      advertisement_text + "        #rtr-adv-option: type 1, len 8\n"
					   "        #rtr-adv-option: type 5, len 8\n"
					   "        #rtr-adv-option: type 0, len 16\n"
					   "        #rtr-adv-option: type 255, len 2040\n");
}

// An option of length 0 is rendered in its own form and ends the walk where it starts.
TEST_F(icmp6_test, options_of_length_zero)
{
	const bytes before = advertisement() + hex("01 01 020000000001"), after = hex("05 01 0000 000005dc");
	const std::string text = advertisement_text + "        #rtr-adv-option: type 1, len 8\n";
	const bytes other = before + hex("05 00 0000 000005dc") + after;
	EXPECT_EQ(decode(icmp6, other).consumed, 24u);
	check_decoder(icmp6, other, text + "        #rtr-adv-option: type 5, len 0\n");
	const bytes prefix = before + prefix_option(0, 64, unicast(0)) + after;
	EXPECT_EQ(decode(icmp6, prefix).consumed, 24u);
	check_decoder(icmp6, prefix,
		      text + "        #rtr-adv-prefix-info: plen 64 flags 0xc0 vlft 2592000 plft 604800\n"
			     "                              prefix " UNICAST "00\n");
	const bytes servers = before + hex("19 00 0000 00000e10") + unicast(1) + after;
	EXPECT_EQ(decode(icmp6, servers).consumed, 24u);
	check_decoder(icmp6, servers, text + "        #rtr-adv-rdnss: lft 3600\n");
}

TEST_F(icmp6_test, option_that_starts_at_the_end)
{
	const bytes option = hex("01 01 020000000001");
	EXPECT_EQ(decode(icmp6, advertisement() + option).text, advertisement_text + "        #rtr-adv-option: type 1, len 8\n");
	EXPECT_EQ(decode(icmp6_of(24), advertisement() + option + option).text,
		  advertisement_text + "        #rtr-adv-option: type 1, len 8\n");
	EXPECT_EQ(decode(icmp6_of(25), advertisement() + option + option).consumed, 32u);
	EXPECT_EQ(decode(icmp6_of(16), advertisement() + option).text, advertisement_text);
	EXPECT_EQ(decode(icmp6_of(17), advertisement() + option).consumed, 24u);
}

static bytes v2_report(uint32_t group_count)
{
	return hex("8f 00 0000 0000") + big16(group_count);
}

static bytes record(uint8_t type, uint8_t auxiliary, uint32_t source_count, const bytes &address)
{
	return bytes{type, auxiliary} + big16(source_count) + address;
}

static const std::string report_text = "    #icmpv6: type mldv2-report(143) code 0\n";

TEST_F(icmp6_test, version_2_report)
{
	const bytes content = v2_report(3) + record(4, 4, 1, group(1)) + unicast(1) + hex("aabbccdd") + record(3, 1, 0, group(2)) +
			      hex("ee") + record(255, 0, 2, group(3)) + unicast(2) + unicast(3);
	set_filter(group(1));
	const result got = decode(icmp6, content);
	EXPECT_EQ(got.consumed, 8u + 40 + 21 + 52);
	EXPECT_EQ(got.type, 0x10u | 0x40000);
	EXPECT_EQ(got.match, 0u) << "the groups of a version 2 report are not compared";
	check_decoder(icmp6, content,
		      report_text + "      #mld: ngrp 3\n"
				    "        #v2-report: record type 4 nsrc 1 group " GROUP "01\n"
				    "                       source " UNICAST "01\n"
				    "                    record type 3 nsrc 0 group " GROUP "02\n"
				    "                    record type 255 nsrc 2 group " GROUP "03\n"
				    "                       source " UNICAST "02\n"
				    "                       source " UNICAST "03\n");
}

TEST_F(icmp6_test, version_2_report_without_records)
{
	EXPECT_EQ(decode(icmp6, v2_report(0) + record(1, 0, 0, group(1))).text, report_text + "      #mld: ngrp 0\n");
	EXPECT_EQ(decode(icmp6, v2_report(0) + record(1, 0, 0, group(1))).consumed, 8u);
	EXPECT_EQ(decode(icmp6, v2_report(65535)).text, report_text + "      #mld: ngrp 65535\n");
	EXPECT_EQ(decode(icmp6, v2_report(65535)).consumed, 8u);
	EXPECT_EQ(decode(icmp6_of(8), v2_report(1) + record(1, 0, 0, group(1))).text, report_text + "      #mld: ngrp 1\n");
}

TEST_F(icmp6_test, version_2_report_that_ends_early)
{
	// Fewer records than counted, and fewer sources; auxiliary data counts also behind the end.
	const result sources = decode(icmp6, v2_report(2) + record(1, 7, 65535, group(1)) + unicast(1) + hex("20"));
	EXPECT_EQ(sources.consumed, 8u + 20 + 32 + 7);
	EXPECT_EQ(sources.text, report_text + "      #mld: ngrp 2\n"
					      "        #v2-report: record type 1 nsrc 65535 group " GROUP "01\n"
					      "                       source " UNICAST "01\n"
					      "                       source 2000:0000:0000:0000:0000:0000:0000:0000\n");
	const result none = decode(icmp6, v2_report(1) + record(1, 0, 1, group(1)));
	EXPECT_EQ(none.consumed, 28u);
	EXPECT_EQ(none.text, report_text + "      #mld: ngrp 1\n"
					   "        #v2-report: record type 1 nsrc 1 group " GROUP "01\n");
	const result cut = decode(icmp6, v2_report(2) + record(1, 0, 0, group(1)) + hex("05"));
	EXPECT_EQ(cut.consumed, 48u);
	EXPECT_EQ(cut.text, report_text + "      #mld: ngrp 2\n"
					  "        #v2-report: record type 1 nsrc 0 group " GROUP "01\n"
					  "                    record type 5 nsrc 0 group " ZERO_ADDRESS "\n");
	const result counted = decode(icmp6, v2_report(1) + record(1, 0, 0, group(1)) + record(1, 0, 0, group(2)));
	EXPECT_EQ(counted.consumed, 28u);
	EXPECT_EQ(counted.text, report_text + "      #mld: ngrp 1\n"
					      "        #v2-report: record type 1 nsrc 0 group " GROUP "01\n");
}

static bytes quoted_ipv6()
{
	return hex("60000000 0008 11 40") + unicast(1) + unicast(2) + hex("0400 829a 0008 0000");
}

static const char quoted_text[] = "  #ipv6: sip 2001:db8::1\n"
				  "         dip 2001:db8::2\n"
				  "         hoplimit 64 payload len 8 next hdr 17\n"
				  "    #udp: sport 1024 dport 33434 len 8\n";

TEST_F(icmp6_test, errors_quoting_udp)
{
	const struct {
		uint8_t type;
		const char *line;
	} rows[] = {
		{1, "    #icmpv6: type dst-unreachable(1) code 4\n"},
		{2, "    #icmpv6: type pkt-too-big(2) code 4\n"},
		{3, "    #icmpv6: type ttl-exceeded(3) code 4\n"},
		{4, "    #icmpv6: type param-problem(4) code 4\n"},
	};
	for (const auto &row : rows) {
		const bytes content = bytes{row.type} + hex("04 0000 00000000") + quoted_ipv6();
		const result error = decode(icmp6, content);
		EXPECT_EQ(error.consumed, 8u + 40 + 8);
		EXPECT_EQ(error.type, 0x10u | 0x80);
		EXPECT_EQ(error.match, 0u);
		check_decoder(icmp6, content, std::string(row.line) + quoted_text);
	}
	const bytes content = hex("01 04 0000 00000000") + quoted_ipv6();
	set_filter(unicast(1));
	EXPECT_EQ(decode(icmp6, content).match, 0x8u);
	set_filter(unicast(2));
	EXPECT_EQ(decode(icmp6, content).match, 0x8u);
	debug_pkt_port = 1024;
	EXPECT_EQ(decode(icmp6, content).match, 0x48u);
}

// The quoted header is decoded when there is any of it: by the length, not by what the packet holds.
TEST_F(icmp6_test, errors_of_8_and_9_bytes)
{
	const bytes eight = hex("03 00 0000 00000000");
	const result none = decode(icmp6, eight);
	EXPECT_EQ(none.consumed, 8u);
	EXPECT_EQ(none.match, 0u);
	EXPECT_EQ(none.text, "    #icmpv6: type ttl-exceeded(3) code 0\n");
	const result one = decode(icmp6, eight + hex("60"));
	EXPECT_EQ(one.consumed, 48u);
	EXPECT_EQ(one.match, 0x8u) << ":: is the filter address that nobody has set";
	EXPECT_EQ(one.text, "    #icmpv6: type ttl-exceeded(3) code 0\n"
			    "  #ipv6: sip ::\n"
			    "         dip ::\n"
			    "         hoplimit 0 payload len 0 next hdr 0\n");
	for (uint32_t length : {0u, 1u, 7u, 8u}) {
		const result short_length = decode(icmp6_of(length), eight + quoted_ipv6());
		EXPECT_EQ(short_length.consumed, 8u);
		EXPECT_EQ(short_length.text, "    #icmpv6: type ttl-exceeded(3) code 0\n");
	}
	const result by_length = decode(icmp6_of(9), eight + quoted_ipv6());
	EXPECT_EQ(by_length.consumed, 48u);
	EXPECT_EQ(by_length.text, "    #icmpv6: type ttl-exceeded(3) code 0\n"
				  "  #ipv6: sip 2001:db8::1\n"
				  "         dip 2001:db8::2\n"
				  "         hoplimit 64 payload len 8 next hdr 17\n");
}

// A length that has wrapped is an end in front of the data: no lists, no upper layer of a quoted header.
TEST_F(icmp6_test, length_that_wraps)
{
	for (uint32_t length : {0x80000000u, 0xffffff00u, 0xffffffffu}) {
		SCOPED_TRACE(length);
		const result query = decode(icmp6_of(length), v2_query(1) + unicast(1));
		EXPECT_EQ(query.consumed, 24u);
		EXPECT_EQ(query.text, "    #icmpv6: type mld-query(130) code 7\n"
				      "      #mld: code 7 nsrc 1 group 0011:2233:4455:6677:8899:aabb:ccdd:eeff\n");
		const result adv = decode(icmp6_of(length), advertisement() + hex("01 01 020000000001"));
		EXPECT_EQ(adv.consumed, 16u);
		EXPECT_EQ(adv.text, advertisement_text);
		const result report = decode(icmp6_of(length), v2_report(1) + record(1, 0, 0, group(1)));
		EXPECT_EQ(report.consumed, 8u);
		EXPECT_EQ(report.text, report_text + "      #mld: ngrp 1\n");
		if (length == 0x80000000u)
			continue;
		const result error = decode(icmp6_of(length), hex("01 00 0000 00000000") + quoted_ipv6());
		EXPECT_EQ(error.consumed, 48u);
		EXPECT_EQ(error.type, 0x10u);
	}
	// 8 less than the most negative length is the longest one: the packet's end is the end then.
	const result error = decode(icmp6_of(0x80000000u), hex("01 00 0000 00000000") + quoted_ipv6());
	EXPECT_EQ(error.consumed, 56u);
	EXPECT_EQ(error.type, 0x10u | 0x80);
}

TEST_F(icmp6_test, cut_inside_the_header)
{
	EXPECT_EQ(decode(icmp6, {}).text, "    #icmpv6: type other(0) code 0\n");
	EXPECT_EQ(decode(icmp6, {}).consumed, 8u);
	EXPECT_EQ(decode(icmp6, {}).match, 0u);
	EXPECT_EQ(decode(icmp6, hex("81 00 0000 01")).text, "    #icmpv6: type echo-reply(129) code 0\n"
							    "      #echo: id 256 seq 0\n");
	EXPECT_EQ(decode(icmp6, hex("87 00 0000 00000000 2001")).text,
		  "    #icmpv6: type nbr-solicitation(135) code 0\n"
		  "      #nbr-sol: tip 2001:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(decode(icmp6, hex("87 00 0000 00000000 2001")).consumed, 24u);
}

TEST_F(icmp6_test, later_fragment)
{
	set_filter(unicast(1));
	const bytes content = hex("87 00 0000 00000000") + unicast(1);
	for (uint32_t start : {0u, 100u, 4095u}) {
		const result later = decode(
			[](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) { return debug_pkt_icmp6(ctx, data, len, 1); },
			content, start, 0x86dd);
		EXPECT_EQ(later.consumed, 0u);
		EXPECT_EQ(later.type, 0x10u);
		EXPECT_EQ(later.match, 0u);
		EXPECT_EQ(later.proto, 0x86ddu);
		EXPECT_EQ(later.len, start);
	}
}

} // namespace test
