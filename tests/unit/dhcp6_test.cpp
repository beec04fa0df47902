// SPDX-License-Identifier: GPL-2.0-only
#include "decode/app/app.h"
#include "tests/unit/support.h"

#include <cstring>

namespace test {

using dhcp6_test = core_test;

// A UDP header whose length field says what is given, and a payload.
static bytes in_udp_of_length(uint32_t length, const bytes &payload)
{
	return big16(546) + big16(547) + big16(length) + big16(0) + payload;
}

static bytes in_udp(const bytes &payload)
{
	return in_udp_of_length(static_cast<uint32_t>(payload.size() + 8), payload);
}

static const bytes solicit = hex("01 0a0b0c");

static bytes option(uint32_t code, const bytes &value)
{
	return big16(code) + big16(static_cast<uint32_t>(value.size())) + value;
}

static bytes preference(uint8_t value)
{
	return option(7, {value});
}

// The decoder on a packet that begins with its UDP header.
static uint32_t dhcp6(debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len)
{
	return debug_pkt_dhcp6(ctx, data + 8, static_cast<uint16_t>(len - 8), data);
}

static const std::string solicit_line = "      #dhcpv6: message-type: solicit (1), xid 0a0b0c\n";

static void check_options(const bytes &options, const std::string &option_lines)
{
	check_decoder(dhcp6, in_udp(solicit + options), solicit_line + option_lines);
}

// The option lines of a solicit whose UDP length field says more or less than the packet has.
static std::string option_lines(uint32_t udp_length, const bytes &options)
{
	const result shown = decode(dhcp6, in_udp_of_length(udp_length, solicit + options));
	EXPECT_EQ(shown.text.substr(0, solicit_line.size()), solicit_line);
	return shown.text.substr(solicit_line.size());
}

static std::string repeated(const std::string &what, int count)
{
	std::string result;
	for (int i = 0; i < count; ++i)
		result += what;
	return result;
}

TEST_F(dhcp6_test, names_of_messages)
{
	const struct {
		const char *message;
		const char *line;
	} rows[] = {
		{"00 000000", "      #dhcpv6: message-type: unknown (0), xid 000000\n"},
		{"01 010203", "      #dhcpv6: message-type: solicit (1), xid 010203\n"},
		{"02 f00000", "      #dhcpv6: message-type: advertise (2), xid f00000\n"},
		{"03 00f000", "      #dhcpv6: message-type: request (3), xid 00f000\n"},
		{"04 0000f0", "      #dhcpv6: message-type: confirm (4), xid 0000f0\n"},
		{"05 ffffff", "      #dhcpv6: message-type: renew (5), xid ffffff\n"},
		{"06 0a0b0c", "      #dhcpv6: message-type: rebind (6), xid 0a0b0c\n"},
		{"07 0a0b0c", "      #dhcpv6: message-type: reply (7), xid 0a0b0c\n"},
		{"08 0a0b0c", "      #dhcpv6: message-type: release (8), xid 0a0b0c\n"},
		{"09 0a0b0c", "      #dhcpv6: message-type: decline (9), xid 0a0b0c\n"},
		{"0a 0a0b0c", "      #dhcpv6: message-type: reconfig (10), xid 0a0b0c\n"},
		{"0b 0a0b0c", "      #dhcpv6: message-type: info-req (11), xid 0a0b0c\n"},
		{"0c 0a0b0c", "      #dhcpv6: message-type: relay-fwd (12), xid 0a0b0c\n"},
		{"0d 0a0b0c", "      #dhcpv6: message-type: relay-reply (13), xid 0a0b0c\n"},
		{"0e 0a0b0c", "      #dhcpv6: message-type: unknown (14), xid 0a0b0c\n"},
		{"14 0a0b0c", "      #dhcpv6: message-type: unknown (20), xid 0a0b0c\n"},
		{"ff 0a0b0c", "      #dhcpv6: message-type: unknown (255), xid 0a0b0c\n"},
	};
	for (const auto &row : rows)
		check_decoder(dhcp6, in_udp(hex(row.message)), row.line);
}

TEST_F(dhcp6_test, result_and_bits)
{
	const result shown = decode(dhcp6, in_udp(solicit + preference(1)), 0, 0x86dd);
	EXPECT_EQ(shown.consumed, 4u);
	EXPECT_EQ(shown.type, 0x400u);
	EXPECT_EQ(shown.match, 0u);
	EXPECT_EQ(shown.proto, 0x86ddu);
}

TEST_F(dhcp6_test, every_option_in_its_fixed_order)
{
	const bytes client = option(1, hex("0003 0001 020000000001")), server = option(2, hex("0001 0001 11223344 0200000000fe")),
		    ia = option(3, hex("0e000001 00000e10 00001518")), temporary = option(4, hex("0f000002")),
		    address = option(5, hex("20010db8000000000000000000000001 00000e10 00001c20")),
		    requested = option(6, hex("0017 0018")), pref = preference(255), elapsed = option(8, hex("0096")),
		    unicast = option(11, hex("fe800000000000000000000000000002")),
		    status = option(12, hex("0002") + text("NoAddrsAvail")),
		    dns = option(23, hex("20010db8000000000000000000000035")), fqdn = option(39, hex("01 04") + text("host"));
	const std::string expected = "      #dhcpv6: message-type: reply (7), xid 123456\n"
				     "      #dhcpv6-option: client-id duid type ll(3)\n"
				     "      #dhcpv6-option: server-id duid type llt(1)\n"
				     "                      duid 00010001112233440200000000fe\n"
				     "                      ll-addr 02:00:00:00:00:fe\n"
				     "      #dhcpv6-option: ia 0e000001\n"
				     "      #dhcpv6-option: temp-ia 0f000002\n"
				     "      #dhcpv6-option: ia-addr 2001:0db8:0000:0000:0000:0000:0000:0001\n"
				     "      #dhcpv6-option: server-addr fe80:0000:0000:0000:0000:0000:0000:0002\n"
				     "      #dhcpv6-option: preference 255\n"
				     "      #dhcpv6-option: elapsed-time 1500 ms\n"
				     "      #dhcpv6-option: dns 2001:0db8:0000:0000:0000:0000:0000:0035\n"
				     "      #dhcpv6-option: client-fqdn host (flag 1)\n"
				     "      #dhcpv6-option: status-code 2,NoAddrsAvail\n"
				     "      #dhcpv6-option: req-opt dns-server(23), other(24)\n";
	const bytes reply = hex("07 123456");
	check_decoder(dhcp6,
		      in_udp(reply + client + server + ia + temporary + address + requested + pref + elapsed + unicast + status +
			     dns + fqdn),
		      expected);
	check_decoder(dhcp6,
		      in_udp(reply + fqdn + dns + status + unicast + elapsed + pref + requested + address + temporary + ia +
			     server + client),
		      expected);
}

TEST_F(dhcp6_test, options_without_a_line)
{
	check_options(option(13, hex("0002") + text("NoAddrs")), "");
	for (uint32_t code : {9u, 10u, 14u, 22u, 24u, 25u, 38u, 40u, 41u, 256u + 7u, 0x0700u, 65535u})
		check_options(option(code, hex("0007 0001 09")) + preference(5), "      #dhcpv6-option: preference 5\n");
}

TEST_F(dhcp6_test, the_last_of_an_option_counts)
{
	check_options(preference(1) + option(8, hex("0001")) + preference(2) + option(8, hex("0002")) + preference(3),
		      "      #dhcpv6-option: preference 3\n"
		      "      #dhcpv6-option: elapsed-time 20 ms\n");
}

TEST_F(dhcp6_test, code_0_moves_on_by_2_bytes)
{
	check_options(hex("0000") + preference(5), "      #dhcpv6-option: preference 5\n");
	check_options(hex("0000 0000 0000") + preference(5), "      #dhcpv6-option: preference 5\n");
	check_options(preference(5) + zeros(7), "      #dhcpv6-option: preference 5\n");
	// The walk is one byte off then: 00 00, 07 00 01 05 is an option 0x0700.
	check_options(zeros(3) + preference(5), "");
}

TEST_F(dhcp6_test, the_udp_length_ends_the_options)
{
	const bytes options = preference(5) + option(8, hex("0001"));
	EXPECT_EQ(option_lines(0, options), "");
	EXPECT_EQ(option_lines(11, options), "");
	EXPECT_EQ(option_lines(12, options), "");
	// An option that begins in front of the end counts, whatever its length.
	EXPECT_EQ(option_lines(13, options), "      #dhcpv6-option: preference 5\n");
	EXPECT_EQ(option_lines(17, options), "      #dhcpv6-option: preference 5\n");
	EXPECT_EQ(option_lines(18, options), "      #dhcpv6-option: preference 5\n      #dhcpv6-option: elapsed-time 10 ms\n");
	EXPECT_EQ(option_lines(256, options), "      #dhcpv6-option: preference 5\n      #dhcpv6-option: elapsed-time 10 ms\n");
	EXPECT_EQ(option_lines(65535, options), "      #dhcpv6-option: preference 5\n      #dhcpv6-option: elapsed-time 10 ms\n");
}

TEST_F(dhcp6_test, the_length_argument_is_not_looked_at)
{
	const bytes content = in_udp(solicit + preference(5));
	for (uint32_t length : {0u, 4u, 5u, 65528u, 65535u}) {
		const decoder of_length = [length](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t) {
			return debug_pkt_dhcp6(ctx, data + 8, static_cast<uint16_t>(length), data);
		};
		EXPECT_EQ(decode(of_length, content).text, solicit_line + "      #dhcpv6-option: preference 5\n");
	}
}

TEST_F(dhcp6_test, parse_records_each_code_in_its_slot)
{
	const uint8_t slot_codes[] = {1, 2, 3, 4, 5, 11, 6, 7, 8, 12, 23, 39};
	bytes options;
	for (uint32_t code = 1; code < 64; ++code)
		options = options + option(code, code == 3 ? zeros(12) : zeros(4));
	const packet packet(in_udp(solicit + options));
	dhcp6_options parsed = {};
	const uint8_t mark = 0;
	parsed.spare[0] = parsed.spare[3] = &mark;
	dhcp6_parse(packet.data(), 0, &parsed);
	const uint8_t *slots[16];
	static_assert(sizeof parsed == sizeof slots);
	std::memcpy(slots, &parsed, sizeof slots);
	for (size_t i = 0; i < 12; ++i) {
		const int in_front = slot_codes[i] - 1;
		EXPECT_EQ(slots[i], packet.data() + 12 + 8 * in_front + (in_front >= 3 ? 8 : 0)) << "slot " << i;
	}
	EXPECT_EQ(slots[12], &mark);
	EXPECT_EQ(slots[13], nullptr);
	EXPECT_EQ(slots[14], nullptr);
	EXPECT_EQ(slots[15], &mark);
}

TEST_F(dhcp6_test, parse_leaves_the_slots_of_options_that_it_does_not_meet)
{
	const uint8_t mark = 0;
	dhcp6_options options = {};
	options.elapsed = options.pref = &mark;
	const packet packet(in_udp(solicit + preference(5)));
	dhcp6_parse(packet.data(), 13, &options);
	EXPECT_EQ(options.pref, packet.data() + 12);
	EXPECT_EQ(options.elapsed, &mark);
	EXPECT_EQ(options.client_duid, nullptr);
}

TEST_F(dhcp6_test, solicit_with_a_link_layer_client_id)
{
	check_options(option(1, hex("0003 0001 020000000001")), "      #dhcpv6-option: client-id duid type ll(3)\n"
								"                      duid 00030001020000000001\n"
								"                      ll-addr 02:00:00:00:00:01\n");
	check_options(option(2, hex("0001 0001 2a2b2c2d 0011aabbccff")), "      #dhcpv6-option: server-id duid type llt(1)\n"
									 "                      duid 000100012a2b2c2d0011aabbccff\n"
									 "                      ll-addr 00:11:aa:bb:cc:ff\n");
}

TEST_F(dhcp6_test, types_of_duids)
{
	check_options(option(1, hex("0002 0001 00000009 0102030405060708")),
		      "      #dhcpv6-option: client-id duid type en(2)\n"
		      "                      duid 00020001000000090102030405060708\n");
	check_options(option(2, hex("0002 0001 00000009 0102030405060708")),
		      "      #dhcpv6-option: server-id duid type en(2)\n"
		      "                      duid 00020001000000090102030405060708\n");
	check_options(option(1, hex("0000 0001 020000000001")), "      #dhcpv6-option: client-id duid type other(0)\n"
								"                      duid 00000001020000000001\n");
	check_options(option(2, hex("0004 0001 020000000001")), "      #dhcpv6-option: server-id duid type other(4)\n"
								"                      duid 00040001020000000001\n");
	check_options(option(1, hex("0100 0001 020000000001")), "      #dhcpv6-option: client-id duid type other(256)\n"
								"                      duid 01000001020000000001\n");
	check_options(option(1, hex("ffff 0001 020000000001")), "      #dhcpv6-option: client-id duid type other(65535)\n"
								"                      duid ffff0001020000000001\n");
}

TEST_F(dhcp6_test, only_ethernet_gives_a_link_layer_address)
{
	check_options(option(1, hex("0003 0006 020000000001")), "      #dhcpv6-option: client-id duid type ll(3)\n"
								"                      duid 00030006020000000001\n");
	check_options(option(1, hex("0001 0100 2a2b2c2d 020000000001")),
		      "      #dhcpv6-option: client-id duid type llt(1)\n"
		      "                      duid 000101002a2b2c2d020000000001\n");
	check_options(option(2, hex("0003 0000 020000000001")), "      #dhcpv6-option: server-id duid type ll(3)\n"
								"                      duid 00030000020000000001\n");
	check_options(option(2, hex("0001 0002 2a2b2c2d 020000000001")),
		      "      #dhcpv6-option: server-id duid type llt(1)\n"
		      "                      duid 000100022a2b2c2d020000000001\n");
}

TEST_F(dhcp6_test, of_two_duids_the_server_is_shown_in_hex)
{
	const bytes client = option(1, hex("0003 0001 0200000000c1")), server = option(2, hex("0003 0001 0200000000e5"));
	const std::string expected = "      #dhcpv6-option: client-id duid type ll(3)\n"
				     "      #dhcpv6-option: server-id duid type ll(3)\n"
				     "                      duid 000300010200000000e5\n"
				     "                      ll-addr 02:00:00:00:00:e5\n";
	check_options(client + server, expected);
	check_options(server + client, expected);
}

TEST_F(dhcp6_test, a_server_without_an_ethernet_address_leaves_the_client_in_place)
{
	check_options(option(1, hex("0001 0001 2a2b2c2d 0200000000c1")) + option(2, hex("0002 00000009 aabb")),
		      "      #dhcpv6-option: client-id duid type llt(1)\n"
		      "      #dhcpv6-option: server-id duid type en(2)\n"
		      "                      duid 000200000009aabb\n"
		      "                      ll-addr 02:00:00:00:00:c1\n");
	check_options(option(1, hex("0003 0001 0200000000c1")) + option(2, hex("0003 0006 0200000000e5")),
		      "      #dhcpv6-option: client-id duid type ll(3)\n"
		      "      #dhcpv6-option: server-id duid type ll(3)\n"
		      "                      duid 000300060200000000e5\n"
		      "                      ll-addr 02:00:00:00:00:c1\n");
}

TEST_F(dhcp6_test, a_client_without_an_ethernet_address)
{
	check_options(option(1, hex("0002 00000009 aabb")) + option(2, hex("0003 0001 0200000000e5")),
		      "      #dhcpv6-option: client-id duid type en(2)\n"
		      "      #dhcpv6-option: server-id duid type ll(3)\n"
		      "                      duid 000300010200000000e5\n"
		      "                      ll-addr 02:00:00:00:00:e5\n");
	check_options(option(1, hex("0002 00000009 aabb")) + option(2, hex("0004 0001 0200000000e5")),
		      "      #dhcpv6-option: client-id duid type en(2)\n"
		      "      #dhcpv6-option: server-id duid type other(4)\n"
		      "                      duid 000400010200000000e5\n");
	// Only the last client-id is looked at.
	check_options(option(1, hex("0003 0001 0200000000c1")) + option(1, hex("0002 00000009 aabb")),
		      "      #dhcpv6-option: client-id duid type en(2)\n"
		      "                      duid 000200000009aabb\n");
}

TEST_F(dhcp6_test, at_most_127_bytes_of_a_duid)
{
	for (size_t length : {126u, 127u, 128u, 129u, 300u}) {
		const int shown = length < 127 ? static_cast<int>(length) : 127;
		check_options(option(1, hex("0004") + bytes(length - 2, 0xab)),
			      "      #dhcpv6-option: client-id duid type other(4)\n"
			      "                      duid 0004" +
				      repeated("ab", shown - 2) + "\n");
	}
}

TEST_F(dhcp6_test, fields_of_a_short_duid_are_read_behind_it)
{
	check_options(option(1, {}) + hex("0007 0001 05"), "      #dhcpv6-option: client-id duid type other(7)\n"
							   "                      duid \n"
							   "      #dhcpv6-option: preference 5\n");
	check_options(option(1, hex("0003 0001")) + hex("0007 0001 05 ff"), "      #dhcpv6-option: client-id duid type ll(3)\n"
									    "                      duid 00030001\n"
									    "                      ll-addr 00:07:00:01:05:ff\n"
									    "      #dhcpv6-option: preference 5\n");
	check_options(option(2, {}), "      #dhcpv6-option: server-id duid type other(0)\n"
				     "                      duid \n");
	// Behind the packet they are zero.
	EXPECT_EQ(option_lines(100, hex("0001 000a 0003 0001 02")), "      #dhcpv6-option: client-id duid type ll(3)\n"
								    "                      duid 00030001020000000000\n"
								    "                      ll-addr 02:00:00:00:00:00\n");
}

TEST_F(dhcp6_test, the_options_inside_an_ia_are_walked)
{
	const bytes address = option(5, hex("20010db8000000000000000000000001 00000e10 00001c20"));
	check_options(option(3, hex("0e000001 00000e10 00001518") + address),
		      "      #dhcpv6-option: ia 0e000001\n"
		      "      #dhcpv6-option: ia-addr 2001:0db8:0000:0000:0000:0000:0000:0001\n");
	check_options(option(4, hex("00ff00f2") + address),
		      "      #dhcpv6-option: temp-ia 00ff00f2\n"
		      "      #dhcpv6-option: ia-addr 2001:0db8:0000:0000:0000:0000:0000:0001\n");
	check_options(option(3, hex("0e000001 00000e10 00001518") + address + option(12, hex("0000") + text("ok"))) + preference(7),
		      "      #dhcpv6-option: ia 0e000001\n"
		      "      #dhcpv6-option: ia-addr 2001:0db8:0000:0000:0000:0000:0000:0001\n"
		      "      #dhcpv6-option: preference 7\n"
		      "      #dhcpv6-option: status-code 0,ok\n");
	// Their lengths are not looked at.
	check_options(hex("0003 ffff 0e000001 00000e10 00001518") + preference(7), "      #dhcpv6-option: ia 0e000001\n"
										   "      #dhcpv6-option: preference 7\n");
	check_options(hex("0004 0000 0f000002") + preference(7), "      #dhcpv6-option: temp-ia 0f000002\n"
								 "      #dhcpv6-option: preference 7\n");
}

TEST_F(dhcp6_test, relay_messages_are_walked_from_byte_4)
{
	check_decoder(dhcp6, in_udp(hex("0c 01 2001") + preference(9)),
		      "      #dhcpv6: message-type: relay-fwd (12), xid 012001\n"
		      "      #dhcpv6-option: preference 9\n");
	// A real one: the end of its link address, 2001:db8::1, and the start of its peer address are read as a client-id's header.
	check_decoder(dhcp6,
		      in_udp(hex("0d 00 2001 0db8000000000000000000000001 fe800000000000000000000000000002") + option(9, solicit)),
		      "      #dhcpv6: message-type: relay-reply (13), xid 002001\n"
		      "      #dhcpv6-option: client-id duid type other(0)\n"
		      "                      duid " +
			      repeated("00", 13) + "0200090004010a0b0c" + repeated("00", 105) + "\n");
}

TEST_F(dhcp6_test, preference_and_elapsed_time)
{
	check_options(preference(0), "      #dhcpv6-option: preference 0\n");
	check_options(hex("0007 0000 80"), "      #dhcpv6-option: preference 128\n");
	check_options(option(8, hex("0000")), "      #dhcpv6-option: elapsed-time 0 ms\n");
	check_options(option(8, hex("0096")), "      #dhcpv6-option: elapsed-time 1500 ms\n");
	check_options(option(8, hex("0100")), "      #dhcpv6-option: elapsed-time 2560 ms\n");
	check_options(option(8, hex("ffff")), "      #dhcpv6-option: elapsed-time 655350 ms\n");
}

TEST_F(dhcp6_test, dns_servers)
{
	const bytes one = hex("20010db8000000000000000000000035"), two = hex("20010db8000000000000000000000036"),
		    three = hex("ff02000000000000000000000000fffe");
	check_options(option(23, {}) + preference(1), "      #dhcpv6-option: preference 1\n");
	check_options(option(23, one), "      #dhcpv6-option: dns 2001:0db8:0000:0000:0000:0000:0000:0035\n");
	check_options(option(23, one + two), "      #dhcpv6-option: dns 2001:0db8:0000:0000:0000:0000:0000:0035\n"
					     "                      dns 2001:0db8:0000:0000:0000:0000:0000:0036\n");
	check_options(option(23, one + two + three), "      #dhcpv6-option: dns 2001:0db8:0000:0000:0000:0000:0000:0035\n"
						     "                      dns 2001:0db8:0000:0000:0000:0000:0000:0036\n"
						     "                      dns ff02:0000:0000:0000:0000:0000:0000:fffe\n");
	// A step that starts in front of the option's end shows a whole address.
	check_options(option(23, one + hex("fe")) + option(60, zeros(11)),
		      "      #dhcpv6-option: dns 2001:0db8:0000:0000:0000:0000:0000:0035\n"
		      "                      dns fe00:3c00:0b00:0000:0000:0000:0000:0000\n");
	check_options(hex("0017 0001") + hex("fe 003c 000b") + zeros(11),
		      "      #dhcpv6-option: dns fe00:3c00:0b00:0000:0000:0000:0000:0000\n");
}

TEST_F(dhcp6_test, dns_servers_end_with_the_packet)
{
	EXPECT_EQ(option_lines(100, hex("0017 0020")), "");
	EXPECT_EQ(option_lines(100, hex("0017 0020 fe")), "      #dhcpv6-option: dns fe00:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(option_lines(100, hex("0017 0020") + bytes(16, 0x11)),
		  "      #dhcpv6-option: dns 1111:1111:1111:1111:1111:1111:1111:1111\n");
	EXPECT_EQ(option_lines(100, hex("0017 0020") + bytes(17, 0x11)),
		  "      #dhcpv6-option: dns 1111:1111:1111:1111:1111:1111:1111:1111\n"
		  "                      dns 1100:0000:0000:0000:0000:0000:0000:0000\n");
}

TEST_F(dhcp6_test, ipv6_match)
{
	const bytes address = hex("20010db8000000000000000000000001");
	std::memcpy(debug_pkt_ip6, address.data(), 16);
	const struct {
		bytes options;
		uint32_t match;
	} rows[] = {
		{option(5, address), 0x8},
		{option(11, address), 0x8},
		{option(3, zeros(12) + option(5, address + zeros(8))), 0x8},
		{option(5, address) + option(11, zeros(16)), 0x8},
		{option(5, address) + option(5, zeros(16)), 0},
		{option(23, address), 0},
		{option(1, address), 0},
		{option(5, hex("20010db8000000000000000000000002")), 0},
		{option(11, hex("20010db9000000000000000000000001")), 0},
		{{}, 0},
	};
	for (const auto &row : rows) {
		const bytes content = in_udp(solicit + row.options);
		EXPECT_EQ(decode(dhcp6, content).match, row.match);
		const result full = decode(dhcp6, content, 4095);
		EXPECT_EQ(full.match, row.match);
		EXPECT_EQ(full.type, 0x400u);
		EXPECT_EQ(full.consumed, 4u);
		EXPECT_EQ(full.text, "");
	}
	std::memset(debug_pkt_ip6, 0, 16);
	EXPECT_EQ(decode(dhcp6, in_udp(solicit + option(5, zeros(16)))).match, 0x8u);
	EXPECT_EQ(decode(dhcp6, in_udp(solicit + option(11, address))).match, 0u);
	// An address behind the packet is zero.
	EXPECT_EQ(decode(dhcp6, in_udp(solicit + hex("0005 0010"))).match, 0x8u);
}

TEST_F(dhcp6_test, bits_are_added)
{
	const decoder behind_others = [](debug_pkt_ctx *ctx, const uint8_t *data, uint32_t len) {
		ctx->type = 0x80;
		ctx->match = 0x51;
		return dhcp6(ctx, data, len);
	};
	const result shown = decode(behind_others, in_udp(solicit + option(5, zeros(24))));
	EXPECT_EQ(shown.type, 0x480u);
	EXPECT_EQ(shown.match, 0x59u);
}

TEST_F(dhcp6_test, client_fqdn)
{
	check_options(option(39, hex("01") + text("name")) + option(0x4142, text("CD")),
		      "      #dhcpv6-option: client-fqdn name (flag 1)\n");
	check_options(option(39, hex("01 04") + text("host") + hex("07") + text("example") + hex("00")),
		      "      #dhcpv6-option: client-fqdn hostexample (flag 1)\n");
	check_options(option(39, hex("00 1f207e7f 80ff 0a 25 00 41")), "      #dhcpv6-option: client-fqdn  ~%A (flag 0)\n");
	check_options(option(39, hex("ff 25") + text("name")), "      #dhcpv6-option: client-fqdn %name (flag ff)\n");
	check_options(option(39, hex("10")), "      #dhcpv6-option: client-fqdn  (flag 10)\n");
	// Without a length the flags are what follows, and there is no name.
	check_options(option(39, {}) + hex("4142 0000"), "      #dhcpv6-option: client-fqdn  (flag 41)\n");
	check_options(option(39, {}), "      #dhcpv6-option: client-fqdn  (flag 0)\n");
	EXPECT_EQ(option_lines(100, hex("0027 0020 04 04") + text("ho")), "      #dhcpv6-option: client-fqdn ho (flag 4)\n");
	EXPECT_EQ(option_lines(100, hex("0027 0020")), "      #dhcpv6-option: client-fqdn  (flag 0)\n");
}

TEST_F(dhcp6_test, at_most_255_characters_of_a_client_fqdn)
{
	for (size_t length : {254u, 255u, 256u, 400u})
		check_options(option(39, hex("00") + bytes(length, 'f')) + preference(1),
			      "      #dhcpv6-option: preference 1\n"
			      "      #dhcpv6-option: client-fqdn " +
				      std::string(length < 255 ? length : 255, 'f') + " (flag 0)\n");
	// Only what is kept counts.
	check_options(option(39, hex("00") + zeros(200) + bytes(255, 'f') + zeros(100) + text("g")),
		      "      #dhcpv6-option: client-fqdn " + std::string(255, 'f') + " (flag 0)\n");
}

TEST_F(dhcp6_test, status_code)
{
	check_options(option(12, hex("0000")), "      #dhcpv6-option: status-code 0,\n");
	check_options(option(12, hex("0102") + text("no address")), "      #dhcpv6-option: status-code 258,no address\n");
	check_options(option(12, hex("ffff") + text("a") + hex("00") + text("b")), "      #dhcpv6-option: status-code 65535,a\n");
	check_options(option(12, hex("0001 4a80")) + preference(1), "      #dhcpv6-option: preference 1\n"
								    "      #dhcpv6-option: status-code 1,J\x80\n");
	// Two bytes are the code, the message is empty.
	check_options(option(12, hex("0001")) + option(0x4142, {}), "      #dhcpv6-option: status-code 1,\n");
}

TEST_F(dhcp6_test, at_most_255_characters_of_a_status)
{
	for (size_t length : {254u, 255u, 256u, 400u})
		check_options(option(12, hex("0001") + bytes(length, 's')),
			      "      #dhcpv6-option: status-code 1," + std::string(length < 255 ? length : 255, 's') + "\n");
}

TEST_F(dhcp6_test, a_status_too_short_for_its_code_shows_what_follows)
{
	// The bytes behind the code, up to a zero byte, are those of an option 0x4142.
	check_options(option(12, hex("07")) + hex("4142 4300"), "      #dhcpv6-option: status-code 1857,BC\n");
	check_options(option(12, {}) + hex("4142 4344") + text("rest") + zeros(1),
		      "      #dhcpv6-option: status-code 16706,CDrest\n");
	check_options(option(12, {}) + hex("4142") + bytes(300, 's'),
		      "      #dhcpv6-option: status-code 16706," + std::string(255, 's') + "\n");
	check_options(option(12, hex("00")) + hex("41") + bytes(300, 's'),
		      "      #dhcpv6-option: status-code 65," + std::string(255, 's') + "\n");
	check_options(option(12, {}), "      #dhcpv6-option: status-code 0,\n");
	EXPECT_EQ(option_lines(100, hex("000c 0014 0003") + text("cut")), "      #dhcpv6-option: status-code 3,cut\n");
}

TEST_F(dhcp6_test, names_of_requested_options)
{
	check_options(
		option(6, hex("0000 0001 0002 0003 0004 0005 0006 0007 0008 0009 000a 000b")),
		"      #dhcpv6-option: req-opt other(0), client-id(1), server-id(2), ia-na(3), temp-ia(4), other(5), other(6), "
		"preference(7), elapsed(8), relay-msg(9), auth(10), unicast(11)\n");
	check_options(option(6, hex("000c 000d 0016 0017 0018 0026 0027 0028 0100 ffff 0701")),
		      "      #dhcpv6-option: req-opt status(12), other(13), other(22), dns-server(23), other(24), other(38), "
		      "client-fqdn(39), "
		      "other(40), other(256), other(65535), other(1793)\n");
}

TEST_F(dhcp6_test, requested_options)
{
	check_options(option(6, hex("0017 0018")), "      #dhcpv6-option: req-opt dns-server(23), other(24)\n");
	check_options(option(6, hex("0017")), "      #dhcpv6-option: req-opt dns-server(23)\n");
	check_options(option(6, {}) + preference(1), "      #dhcpv6-option: preference 1\n"
						     "      #dhcpv6-option: req-opt \n");
	// An odd length takes one byte of what follows.
	check_options(option(6, hex("0017 00")) + hex("1800 0000"), "      #dhcpv6-option: req-opt dns-server(23), other(24)\n");
	check_options(option(6, hex("00")) + hex("0700 0000"), "      #dhcpv6-option: req-opt preference(7)\n");
	EXPECT_EQ(option_lines(100, hex("0006 0006")), "      #dhcpv6-option: req-opt \n");
	EXPECT_EQ(option_lines(100, hex("0006 0006 01")), "      #dhcpv6-option: req-opt other(256)\n");
	EXPECT_EQ(option_lines(100, hex("0006 0006 0017")), "      #dhcpv6-option: req-opt dns-server(23)\n");
	EXPECT_EQ(option_lines(100, hex("0006 0006 0017 01")), "      #dhcpv6-option: req-opt dns-server(23), other(256)\n");
}

static bytes codes(uint32_t code, int count)
{
	bytes result;
	for (int i = 0; i < count; ++i)
		result = result + big16(code);
	return result;
}

// "other(24)" has 9 characters and each further one 11 with its ", "; a digit more is a character more.
TEST_F(dhcp6_test, requested_options_are_cut_at_254_characters)
{
	const std::string head = "      #dhcpv6-option: req-opt other(24)";
	// 251 characters, and room for 3 more.
	check_options(option(6, codes(24, 23)), head + repeated(", other(24)", 22) + "\n");
	check_options(option(6, codes(24, 24)), head + repeated(", other(24)", 22) + ", o\n");
	check_options(option(6, codes(24, 300)), head + repeated(", other(24)", 22) + ", o\n");
	check_options(option(6, codes(24, 23) + codes(1, 1)), head + repeated(", other(24)", 22) + ", c\n");
	// 253 characters, and room for 1 more.
	check_options(option(6, codes(24, 21) + codes(100, 2)),
		      head + repeated(", other(24)", 20) + repeated(", other(100)", 2) + "\n");
	check_options(option(6, codes(24, 21) + codes(100, 3)),
		      head + repeated(", other(24)", 20) + repeated(", other(100)", 2) + ",\n");
	// 254 characters fill it.
	check_options(option(6, codes(24, 22) + codes(10000, 1)), head + repeated(", other(24)", 21) + ", other(10000)\n");
	check_options(option(6, codes(24, 22) + codes(10000, 2)), head + repeated(", other(24)", 21) + ", other(10000)\n");
	// Of 255 the last one is lost.
	check_options(option(6, codes(24, 21) + codes(1000, 2)),
		      head + repeated(", other(24)", 20) + ", other(1000), other(1000\n");
	check_options(option(6, codes(24, 21) + codes(1000, 4)),
		      head + repeated(", other(24)", 20) + ", other(1000), other(1000\n");
	// Of 256 the last two.
	check_options(option(6, codes(24, 21) + codes(1000, 1) + codes(10000, 1)),
		      head + repeated(", other(24)", 20) + ", other(1000), other(1000\n");
}

TEST_F(dhcp6_test, packets_that_end_early)
{
	for (size_t size : {0u, 5u, 8u}) {
		const result shown = decode(dhcp6, bytes(size, 0xff));
		EXPECT_EQ(shown.text, "      #dhcpv6: message-type: unknown (0), xid 000000\n");
		EXPECT_EQ(shown.consumed, 4u);
		EXPECT_EQ(shown.type, 0x400u);
	}
	EXPECT_EQ(decode(dhcp6, in_udp_of_length(100, hex("0b ab"))).text,
		  "      #dhcpv6: message-type: info-req (11), xid ab0000\n");
	EXPECT_EQ(option_lines(100, {}), "");
	EXPECT_EQ(option_lines(100, hex("00")), "");
	EXPECT_EQ(option_lines(100, hex("0003 000c 0e00")), "      #dhcpv6-option: ia 0e000000\n");
	EXPECT_EQ(option_lines(100, hex("0004")), "      #dhcpv6-option: temp-ia 00000000\n");
	EXPECT_EQ(option_lines(100, hex("0005 0018 2001")),
		  "      #dhcpv6-option: ia-addr 2001:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(option_lines(100, hex("000b 0010")),
		  "      #dhcpv6-option: server-addr 0000:0000:0000:0000:0000:0000:0000:0000\n");
	EXPECT_EQ(option_lines(100, hex("0007 0001")), "      #dhcpv6-option: preference 0\n");
	EXPECT_EQ(option_lines(100, hex("0008 0002 01")), "      #dhcpv6-option: elapsed-time 2560 ms\n");
}

TEST_F(dhcp6_test, without_an_announced_packet_it_reads_what_follows)
{
	const packet packet(in_udp_of_length(17, solicit + preference(5) + option(8, hex("0001"))));
	const auto ctx = std::make_unique<debug_pkt_ctx>();
	debug_pkt_ctx_reset(ctx.get());
	EXPECT_EQ(debug_pkt_dhcp6(ctx.get(), packet.data() + 8, 0, packet.data()), 4u);
	EXPECT_EQ(std::string(ctx->buf, ctx->len), solicit_line + "      #dhcpv6-option: preference 5\n");
}

} // namespace test
