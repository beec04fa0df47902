// SPDX-License-Identifier: GPL-2.0-only
#include "config/settings.h"
#include "tests/unit/support.h"

#include <array>
#include <climits>
#include <cstring>

namespace test {

using settings_test = core_test;

namespace {

using mac_bytes = std::array<uint8_t, 6>;
using ip6_bytes = std::array<uint8_t, 16>;

std::string line()
{
	char text[debug_pkt_settings_size];
	std::memset(text, 0x5a, sizeof text);
	EXPECT_EQ(debug_pkt_get_sysctl(text), 0);
	EXPECT_LT(strnlen(text, sizeof text), sizeof text);
	return text;
}

// In an exactly sized block: nothing behind the NUL is read.
void set(const std::string &text)
{
	const packet exact(test::text(text + '\0'));
	EXPECT_EQ(debug_pkt_set_sysctl(reinterpret_cast<const char *>(exact.data())), 0);
}

bytes address_bytes(uint32_t address)
{
	bytes result(4);
	std::memcpy(result.data(), &address, 4);
	return result;
}

bytes mac_setting()
{
	return bytes(debug_pkt_mac, debug_pkt_mac + 6);
}

bytes ip6_setting()
{
	return bytes(debug_pkt_ip6, debug_pkt_ip6 + 16);
}

bytes aton(const std::string &text)
{
	return address_bytes(in_aton(text.c_str()));
}

// What a MAC and an IPv6 address become that were not scanned: a NUL is 0 as a high digit and 0xd0 as a low one.
const bytes unscanned_mac(6, 0xd0);
const bytes unscanned_ip6(16, 0xd0);

// Twelve fields, none of them a default.
const char other_settings[] =
	"1.2.3.4 eth0 00:11:22:aa:BB:cc 0000:0000:0000:0000:0000:0000:0000:0001 10.0.0.1 5 17 53 127 128 100 9";

} // namespace

TEST_F(settings_test, defaults)
{
	EXPECT_EQ(debug_pkt_mirror_ip, 0u);
	EXPECT_EQ(std::string(debug_pkt_dev, 12), std::string("all\0\0\0\0\0\0\0\0\0", 12));
	EXPECT_EQ(mac_setting(), zeros(6));
	EXPECT_EQ(debug_pkt_ip, 0u);
	EXPECT_EQ(ip6_setting(), zeros(16));
	EXPECT_EQ(debug_pkt_vlan, 0);
	EXPECT_EQ(debug_pkt_proto, 0);
	EXPECT_EQ(debug_pkt_port, 0);
	EXPECT_EQ(debug_pkt_match_flags, 0xffffffffu);
	EXPECT_EQ(debug_pkt_type_flags, 0u);
	EXPECT_EQ(debug_pkt_max_count, 0);
	EXPECT_EQ(debug_pkt_cur_count, 0);
	EXPECT_EQ(debug_pkt_mod, 7u);
	EXPECT_EQ(gre_type, 0);
	EXPECT_EQ(
		line(),
		"mirror 0.0.0.0, dev all, mac 00:00:00:00:00:00, ip 0.0.0.0, ipv6 0000:0000:0000:0000:0000:0000:0000:0000, vlan 0, "
		"proto 0x0, port 0, match dev mac ip vlan proto port, type none, count 0");
}

// Every CPU writes the count at every packet that passes, and reads the others.
TEST_F(settings_test, the_count_has_a_cache_line_to_itself)
{
	const auto line_of = [](const auto &setting) { return reinterpret_cast<uintptr_t>(&setting) / 64; };
	const uintptr_t others[] = {line_of(debug_pkt_mirror_ip),  line_of(debug_pkt_dev),       line_of(debug_pkt_mac),
				    line_of(debug_pkt_ip),         line_of(debug_pkt_ip6),       line_of(debug_pkt_vlan),
				    line_of(debug_pkt_proto),      line_of(debug_pkt_port),      line_of(debug_pkt_match_flags),
				    line_of(debug_pkt_type_flags), line_of(debug_pkt_max_count), line_of(gre_type)};
	for (const uintptr_t other : others)
		EXPECT_NE(other, line_of(debug_pkt_cur_count));
}

TEST_F(settings_test, whole_line)
{
	debug_pkt_cur_count = 42;
	gre_type = 0x88be;
	set("1.2.3.4 eth0 00:11:22:aa:BB:cc 0000:0000:0000:0000:0000:0000:0000:0001 10.0.0.1 5 17 53 127 128 100 7");
	EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), hex("01 02 03 04"));
	EXPECT_STREQ(debug_pkt_dev, "eth0");
	EXPECT_EQ(mac_setting(), hex("00 11 22 aa bb cc"));
	EXPECT_EQ(ip6_setting(), zeros(15) + hex("01"));
	EXPECT_EQ(address_bytes(debug_pkt_ip), hex("0a 00 00 01"));
	EXPECT_EQ(debug_pkt_vlan, 5);
	EXPECT_EQ(debug_pkt_proto, 17);
	EXPECT_EQ(debug_pkt_port, 53);
	EXPECT_EQ(debug_pkt_match_flags, 0x7fu);
	EXPECT_EQ(debug_pkt_type_flags, 0x80u);
	EXPECT_EQ(debug_pkt_max_count, 100);
	EXPECT_EQ(debug_pkt_cur_count, 0);
	EXPECT_EQ(debug_pkt_mod, 7u);
	EXPECT_EQ(gre_type, 0x88be);
	EXPECT_EQ(line(),
		  "mirror 1.2.3.4, dev eth0, mac 00:11:22:aa:bb:cc, ip 10.0.0.1, ipv6 0000:0000:0000:0000:0000:0000:0000:0001, "
		  "vlan 5, proto 0x11, port 53, match dev mac ip vlan proto port, type udp, count 100");
}

TEST_F(settings_test, every_field_prints_its_own_setting)
{
	debug_pkt_mirror_ip = in_aton("192.168.0.254");
	std::memcpy(debug_pkt_dev, "wlan-guest0", 12);
	std::memcpy(debug_pkt_mac, "\x00\x0f\xf0\xff\x09\xa0", 6);
	debug_pkt_ip = in_aton("255.1.20.0");
	std::memcpy(debug_pkt_ip6, "\x20\x01\x0d\xb8\x00\x0a\xb0\x00\x0f\xff\xc0\xde\x00\x10\x01\x00", 16);
	debug_pkt_vlan = -1;
	debug_pkt_proto = -2;
	debug_pkt_port = 65535;
	debug_pkt_match_flags = 0x10;
	debug_pkt_type_flags = 0x41;
	debug_pkt_max_count = -3;
	debug_pkt_cur_count = 5;
	EXPECT_EQ(line(),
		  "mirror 192.168.0.254, dev wlan-guest0, mac 00:0f:f0:ff:09:a0, ip 255.1.20.0, "
		  "ipv6 2001:0db8:000a:b000:0fff:c0de:0010:0100, vlan -1, proto 0xfffffffe, port 65535, match vlan, type arp tcp, "
		  "count -3");
}

TEST_F(settings_test, empty_device_name)
{
	std::memset(debug_pkt_dev, 0, sizeof debug_pkt_dev);
	EXPECT_EQ(line().substr(0, 24), "mirror 0.0.0.0, dev , ma");
}

// --- The names of the criteria and of the packet types ---

namespace {

std::string words(uint32_t match, uint32_t type)
{
	debug_pkt_match_flags = match;
	debug_pkt_type_flags = type;
	const std::string whole = line();
	const size_t start = whole.find(", match") + 2, end = whole.find(", count");
	return whole.substr(start, end - start);
}

} // namespace

TEST_F(settings_test, each_match_word)
{
	const std::vector<std::pair<uint32_t, std::string>> names = {{0x1, " dev"},   {0x2, " mac"},    {0x4, " ip"},
								     {0x10, " vlan"}, {0x20, " proto"}, {0x40, " port"}};
	uint32_t named = 0;
	for (const auto &[bit, name] : names) {
		EXPECT_EQ(words(bit, 0x1), "match" + name + ", type arp");
		named |= bit;
	}
	for (uint32_t bit = 1; bit; bit <<= 1)
		if (!(named & bit)) {
			EXPECT_EQ(words(bit, 0x1), "match, type arp") << bit;
		}
	EXPECT_EQ(words(0, 0x1), "match none, type arp");
	EXPECT_EQ(words(0x7f, 0x1), "match dev mac ip vlan proto port, type arp");
	EXPECT_EQ(words(0x77, 0x1), "match dev mac ip vlan proto port, type arp");
	EXPECT_EQ(words(0xffffffff, 0x1), "match dev mac ip vlan proto port, type arp");
	EXPECT_EQ(words(0x42, 0x1), "match mac port, type arp");
	EXPECT_EQ(words(0xffffff88, 0x1), "match, type arp");
}

TEST_F(settings_test, each_type_word)
{
	const std::vector<std::pair<uint32_t, std::string>> names = {
		{0x1, " arp"},      {0x2, " pppoe"}, {0x100000, " mobility"}, {0x8, " icmp"},    {0x10, " icmpv6"},
		{0x20, " igmp"},    {0x40, " tcp"},  {0x80, " udp"},          {0x100, " gre"},   {0x200, " dhcp"},
		{0x400, " dhcpv6"}, {0x800, " dns"}, {0x1000, " radius"},     {0x2000, " http"}, {0x4000, " https"}};
	uint32_t named = 0;
	for (const auto &[bit, name] : names) {
		EXPECT_EQ(words(0x1, bit), "match dev, type" + name);
		named |= bit;
	}
	for (uint32_t bit = 1; bit; bit <<= 1)
		if (!(named & bit)) {
			EXPECT_EQ(words(0x1, bit), "match dev, type") << bit;
		}
	EXPECT_EQ(words(0x1, 0), "match dev, type none");
	EXPECT_EQ(words(0, 0), "match none, type none");
	EXPECT_EQ(words(0x8, 0x4), "match, type");
	EXPECT_EQ(words(0x1, 0xffffffff),
		  "match dev, type arp pppoe mobility icmp icmpv6 igmp tcp udp gre dhcp dhcpv6 dns radius http https");
	EXPECT_EQ(words(0x1, 0x107ffb),
		  "match dev, type arp pppoe mobility icmp icmpv6 igmp tcp udp gre dhcp dhcpv6 dns radius http https");
	EXPECT_EQ(words(0x1, 0x100009), "match dev, type arp mobility icmp");
}

TEST_F(settings_test, type_without_a_name_prints_nothing)
{
	debug_pkt_type_flags = 0x4;
	EXPECT_EQ(
		line(),
		"mirror 0.0.0.0, dev all, mac 00:00:00:00:00:00, ip 0.0.0.0, ipv6 0000:0000:0000:0000:0000:0000:0000:0000, vlan 0, "
		"proto 0x0, port 0, match dev mac ip vlan proto port, type, count 0");
	debug_pkt_type_flags = 0x100000;
	debug_pkt_match_flags = 0;
	EXPECT_EQ(
		line(),
		"mirror 0.0.0.0, dev all, mac 00:00:00:00:00:00, ip 0.0.0.0, ipv6 0000:0000:0000:0000:0000:0000:0000:0000, vlan 0, "
		"proto 0x0, port 0, match none, type mobility, count 0");
}

TEST_F(settings_test, longest_line)
{
	debug_pkt_mirror_ip = debug_pkt_ip = 0xffffffff;
	std::memset(debug_pkt_dev, 'w', sizeof debug_pkt_dev); // as a reader may find it while it is written
	std::memset(debug_pkt_mac, 0xff, 6);
	std::memset(debug_pkt_ip6, 0xff, 16);
	debug_pkt_vlan = debug_pkt_port = debug_pkt_max_count = INT_MIN;
	debug_pkt_proto = -1;
	debug_pkt_match_flags = debug_pkt_type_flags = 0xffffffff;
	EXPECT_EQ(line(), "mirror 255.255.255.255, dev wwwwwwwwwww, mac ff:ff:ff:ff:ff:ff, ip 255.255.255.255, "
			  "ipv6 ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff, vlan -2147483648, proto 0xffffffff, port -2147483648, "
			  "match dev mac ip vlan proto port, type arp pppoe mobility icmp icmpv6 igmp tcp udp gre dhcp dhcpv6 dns "
			  "radius http "
			  "https, count -2147483648");
	EXPECT_LT(line().size(), debug_pkt_settings_size);
}

// --- The scan of a settings line ---

TEST_F(settings_test, missing_fields_keep_their_values)
{
	const std::vector<std::string> fields = {"9.8.7.6",
						 "wan1",
						 "0a:0b:0c:0d:0e:0f",
						 "fe80:0001:0002:0003:0004:0005:0006:0007",
						 "172.16.0.9",
						 "4094",
						 "2048",
						 "1812",
						 "3",
						 "512",
						 "10",
						 "1"};
	std::string text;
	for (size_t count = 0; count <= fields.size(); ++count) {
		SCOPED_TRACE(std::to_string(count) + " fields: " + text);
		for (const char *end : {"", " ", "\n", " \t\v\f\r\n "}) {
			set(other_settings);
			debug_pkt_cur_count = 7;
			set(text + end);
			EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), count >= 1 ? hex("09 08 07 06") : zeros(4));
			EXPECT_STREQ(debug_pkt_dev, count >= 2 ? "wan1" : "eth0");
			EXPECT_EQ(mac_setting(), count >= 3 ? hex("0a 0b 0c 0d 0e 0f") : unscanned_mac);
			EXPECT_EQ(ip6_setting(), count >= 4 ? hex("fe80 0001 0002 0003 0004 0005 0006 0007") : unscanned_ip6);
			EXPECT_EQ(address_bytes(debug_pkt_ip), count >= 5 ? hex("ac 10 00 09") : zeros(4));
			EXPECT_EQ(debug_pkt_vlan, count >= 6 ? 4094 : 5);
			EXPECT_EQ(debug_pkt_proto, count >= 7 ? 2048 : 17);
			EXPECT_EQ(debug_pkt_port, count >= 8 ? 1812 : 53);
			EXPECT_EQ(debug_pkt_match_flags, count >= 9 ? 3u : 127u);
			EXPECT_EQ(debug_pkt_type_flags, count >= 10 ? 512u : 128u);
			EXPECT_EQ(debug_pkt_max_count, count >= 11 ? 10 : 100);
			EXPECT_EQ(debug_pkt_mod, count >= 12 ? 1u : 9u);
			EXPECT_EQ(debug_pkt_cur_count, 0);
		}
		if (count < fields.size())
			text += (count ? " " : "") + fields[count];
	}
}

TEST_F(settings_test, nothing_but_blanks)
{
	for (const char *text : {"", " ", "\t", "\n", "\v", "\f", "\r", " \t\n\v\f\r", "          "}) {
		set(other_settings);
		debug_pkt_cur_count = 3;
		set(text);
		EXPECT_EQ(line(), "mirror 0.0.0.0, dev eth0, mac d0:d0:d0:d0:d0:d0, ip 0.0.0.0, "
				  "ipv6 d0d0:d0d0:d0d0:d0d0:d0d0:d0d0:d0d0:d0d0, vlan 5, proto 0x11, port 53, "
				  "match dev mac ip vlan proto port, type udp, count 100");
		EXPECT_EQ(debug_pkt_mod, 9u);
		EXPECT_EQ(debug_pkt_cur_count, 0);
	}
}

TEST_F(settings_test, every_blank_separates)
{
	for (const char blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
		for (const size_t times : {1u, 2u, 5u}) {
			reset_all();
			const std::string gap(times, blank);
			std::string text = gap;
			for (const char *p = other_settings; *p; ++p)
				text += *p == ' ' ? gap : std::string(1, *p);
			set(text + gap);
			EXPECT_EQ(line(), "mirror 1.2.3.4, dev eth0, mac 00:11:22:aa:bb:cc, ip 10.0.0.1, "
					  "ipv6 0000:0000:0000:0000:0000:0000:0000:0001, vlan 5, proto 0x11, port 53, "
					  "match dev mac ip vlan proto port, type udp, count 100");
			EXPECT_EQ(debug_pkt_mod, 9u);
		}
	}
}

// Every other character is part of a token, 0xa0 and those around the blanks included.
TEST_F(settings_test, other_characters_are_no_blanks)
{
	for (unsigned c = 1; c < 256; ++c) {
		if (c == ' ' || (c >= 9 && c <= 13))
			continue;
		set(std::string("0 eth") + static_cast<char>(c) + "x " + "0");
		EXPECT_EQ(std::string(debug_pkt_dev), std::string("eth") + static_cast<char>(c) + "x");
	}
}

TEST_F(settings_test, mirror_token_is_cut_to_15_characters)
{
	set("123.123.123.123 eth0");
	EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), hex("7b 7b 7b 7b"));
	EXPECT_STREQ(debug_pkt_dev, "eth0");
	// The digits past the 15th are skipped, up to the next blank.
	set("123.123.123.1234567890.1.1.1 eth1");
	EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), hex("7b 7b 7b 7b"));
	EXPECT_STREQ(debug_pkt_dev, "eth1");
	set(std::string(10000, '0') + "1 eth2");
	EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), zeros(4));
	EXPECT_STREQ(debug_pkt_dev, "eth2");
}

TEST_F(settings_test, device_token_is_cut_to_11_characters)
{
	set("0 wlan-guest0 00:11:22:33:44:55");
	EXPECT_STREQ(debug_pkt_dev, "wlan-guest0");
	EXPECT_EQ(mac_setting(), hex("00 11 22 33 44 55"));
	set("0 wlan-guest01 00:11:22:33:44:66");
	EXPECT_EQ(std::string(debug_pkt_dev, 12), std::string("wlan-guest0\0", 12));
	EXPECT_EQ(mac_setting(), hex("00 11 22 33 44 66"));
	set("0 " + std::string(5000, 'e') + " 00:11:22:33:44:77");
	EXPECT_EQ(std::string(debug_pkt_dev, 12), std::string("eeeeeeeeeee\0", 12));
	EXPECT_EQ(mac_setting(), hex("00 11 22 33 44 77"));
	set("0 x");
	EXPECT_STREQ(debug_pkt_dev, "x");
}

TEST_F(settings_test, mac_token_is_cut_to_17_characters)
{
	set("0 all 00:11:22:33:44:557777 fe80:0000:0000:0000:0000:0000:0000:0001");
	EXPECT_EQ(mac_setting(), hex("00 11 22 33 44 55"));
	EXPECT_EQ(ip6_setting(), hex("fe80 0000 0000 0000 0000 0000 0000 0001"));
}

TEST_F(settings_test, ip6_token_is_cut_to_39_characters)
{
	set("0 all 0 fe80:0000:0000:0000:0000:0000:0000:0001/64:ffff 10.1.2.3");
	EXPECT_EQ(ip6_setting(), hex("fe80 0000 0000 0000 0000 0000 0000 0001"));
	EXPECT_EQ(address_bytes(debug_pkt_ip), hex("0a 01 02 03"));
}

TEST_F(settings_test, ip_token_is_cut_to_15_characters)
{
	set("0 all 0 0 100.100.100.100999 4 5");
	EXPECT_EQ(address_bytes(debug_pkt_ip), hex("64 64 64 64"));
	EXPECT_EQ(debug_pkt_vlan, 4);
	EXPECT_EQ(debug_pkt_proto, 5);
}

TEST_F(settings_test, shorter_addresses_end_in_cleared_buffers)
{
	set(other_settings);
	set("0 all 1 2 3");
	EXPECT_EQ(mac_setting(), hex("e0 d0 d0 d0 d0 d0"));
	EXPECT_EQ(ip6_setting(), hex("f0d0 d0d0 d0d0 d0d0 d0d0 d0d0 d0d0 d0d0"));
	EXPECT_EQ(address_bytes(debug_pkt_ip), hex("03 00 00 00"));
	// The text is shorter than what was in the buffers before.
	set("0 all aa:bb fe80 1.2");
	EXPECT_EQ(mac_setting(), hex("aa bb d0 d0 d0 d0"));
	EXPECT_EQ(ip6_setting(), hex("fe80 d0d0 d0d0 d0d0 d0d0 d0d0 d0d0 d0d0"));
	EXPECT_EQ(address_bytes(debug_pkt_ip), hex("01 02 00 00"));
}

TEST_F(settings_test, mirror_of_0_turns_mirroring_off)
{
	set("1.2.3.4");
	EXPECT_NE(debug_pkt_mirror_ip, 0u);
	set("0");
	EXPECT_EQ(debug_pkt_mirror_ip, 0u);
}

TEST_F(settings_test, characters_of_the_upper_half_in_addresses)
{
	set("\xb1.2.3.4 all \xff\xff:\x80\x80:00:00:00:00 \xff\x80\xa0\xc3:0000:0000:0000:0000:0000:0000:0000 1.\xb1.0.0");
	EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), hex("81 02 03 04")); // 0xb1 - 0x30
	EXPECT_EQ(address_bytes(debug_pkt_ip), hex("01 81 00 00"));
	// 0xff - 87 = 0xa8, 0x80 - 87 = 0x29: 0xa80 + 0xa8 and 0x290 + 0x29.
	EXPECT_EQ(mac_setting(), hex("28 b9 00 00 00 00"));
	// 0x80 | 0x29, and 0xa0 - 87 = 0x49, 0xc3 - 87 = 0x6c: 0x90 | 0x6c.
	EXPECT_EQ(ip6_setting(), hex("a9fc 0000 0000 0000 0000 0000 0000 0000"));
}

// --- Numbers ---

TEST_F(settings_test, numbers)
{
	const auto vlan = [](const std::string &number) {
		debug_pkt_vlan = 777;
		set("0 all 0 0 0 " + number);
		return debug_pkt_vlan;
	};
	EXPECT_EQ(vlan("0"), 0);
	EXPECT_EQ(vlan("000012"), 12);
	EXPECT_EQ(vlan("-1"), -1);
	EXPECT_EQ(vlan("-0"), 0);
	EXPECT_EQ(vlan("2147483647"), INT_MAX);
	EXPECT_EQ(vlan("2147483648"), INT_MIN);
	EXPECT_EQ(vlan("-2147483648"), INT_MIN);
	EXPECT_EQ(vlan("4294967295"), -1);
	EXPECT_EQ(vlan("-4294967295"), 1);
	EXPECT_EQ(vlan("4294967296"), 0);
	EXPECT_EQ(vlan("4294967301"), 5);
	EXPECT_EQ(vlan("18446744073709551617"), 1);
	EXPECT_EQ(vlan("100000000000000000000"), 1661992960); // 10^20 modulo 2^32
	EXPECT_EQ(vlan("0x10"), 0);
	// No number: the value stays.
	for (const char *text : {"+5", "abc", "-", "--5", "-+5", "- 5", ".5", "x0", "\xb2", "/", ":", "\x80"})
		EXPECT_EQ(vlan(text), 777) << text;
}

TEST_F(settings_test, flags_take_the_whole_32_bits)
{
	set("0 all 0 0 0 0 0 0 4294967295 4294967295 0 4294967295");
	EXPECT_EQ(debug_pkt_match_flags, 0xffffffffu);
	EXPECT_EQ(debug_pkt_type_flags, 0xffffffffu);
	EXPECT_EQ(debug_pkt_mod, 0xffffffffu);
	set("0 all 0 0 0 0 0 0 -1 2147483648 0 -2");
	EXPECT_EQ(debug_pkt_match_flags, 0xffffffffu);
	EXPECT_EQ(debug_pkt_type_flags, 0x80000000u);
	EXPECT_EQ(debug_pkt_mod, 0xfffffffeu);
	// The same word as 0x7f.
	set("0 all 0 0 0 0 0 0 4294967423");
	EXPECT_EQ(debug_pkt_match_flags, 0x7fu);
}

TEST_F(settings_test, a_number_ends_at_its_last_digit)
{
	set(other_settings);
	set("0 all 0 0 0 12abc 6 7"); // "abc" is no number: the scan stops
	EXPECT_EQ(debug_pkt_vlan, 12);
	EXPECT_EQ(debug_pkt_proto, 17);
	EXPECT_EQ(debug_pkt_port, 53);
	set("0 all 0 0 0 12-3 7"); // two fields
	EXPECT_EQ(debug_pkt_vlan, 12);
	EXPECT_EQ(debug_pkt_proto, -3);
	EXPECT_EQ(debug_pkt_port, 7);
	EXPECT_EQ(debug_pkt_match_flags, 127u);
	set("0 all 0 0 0 1 2+3");
	EXPECT_EQ(debug_pkt_vlan, 1);
	EXPECT_EQ(debug_pkt_proto, 2);
	EXPECT_EQ(debug_pkt_port, 7);
}

TEST_F(settings_test, the_scan_stops_at_the_first_field_that_is_no_number)
{
	const std::string addresses = "5.6.7.8 wan1 0a:0b:0c:0d:0e:0f fe80:0000:0000:0000:0000:0000:0000:0001 172.16.0.9";
	for (int bad = 0; bad < 7; ++bad) {
		set(other_settings);
		std::string text = addresses;
		for (int i = 0; i < 7; ++i)
			text += i == bad ? " none" : " " + std::to_string(1000 + i);
		SCOPED_TRACE(text);
		set(text);
		EXPECT_EQ(address_bytes(debug_pkt_mirror_ip), hex("05 06 07 08"));
		EXPECT_STREQ(debug_pkt_dev, "wan1");
		EXPECT_EQ(mac_setting(), hex("0a 0b 0c 0d 0e 0f"));
		EXPECT_EQ(ip6_setting(), hex("fe80 0000 0000 0000 0000 0000 0000 0001"));
		EXPECT_EQ(address_bytes(debug_pkt_ip), hex("ac 10 00 09"));
		EXPECT_EQ(debug_pkt_vlan, bad > 0 ? 1000 : 5);
		EXPECT_EQ(debug_pkt_proto, bad > 1 ? 1001 : 17);
		EXPECT_EQ(debug_pkt_port, bad > 2 ? 1002 : 53);
		EXPECT_EQ(debug_pkt_match_flags, bad > 3 ? 1003u : 127u);
		EXPECT_EQ(debug_pkt_type_flags, bad > 4 ? 1004u : 128u);
		EXPECT_EQ(debug_pkt_max_count, bad > 5 ? 1005 : 100);
		EXPECT_EQ(debug_pkt_mod, 9u);
		EXPECT_EQ(debug_pkt_cur_count, 0);
	}
}

TEST_F(settings_test, what_follows_the_twelfth_field_is_not_looked_at)
{
	set(std::string(other_settings) + " 55 66 what ever");
	EXPECT_EQ(debug_pkt_mod, 9u);
	EXPECT_EQ(debug_pkt_max_count, 100);
}

TEST_F(settings_test, scanned_number)
{
	const char *text = " \t\v-17rest";
	int32_t value = 1;
	EXPECT_TRUE(scan_number(text, value));
	EXPECT_EQ(value, -17);
	EXPECT_STREQ(text, "rest");
	EXPECT_FALSE(scan_number(text, value));
	EXPECT_EQ(value, -17);
	EXPECT_STREQ(text, "rest");
	const char *empty = "";
	EXPECT_FALSE(scan_number(empty, value));
	EXPECT_EQ(value, -17);
}

// --- The address parsers ---

namespace {

uint32_t high_digit(uint32_t c)
{
	return c < 65 ? c & 15 : c <= 96 ? c - 55 : c - 87;
}

uint32_t low_digit(uint32_t c)
{
	return c < 65 ? c - 48 : c <= 96 ? c - 55 : c - 87;
}

mac_bytes parsed_mac(const bytes &characters)
{
	const packet exact(characters);
	mac_bytes result;
	atomac(reinterpret_cast<const char *>(exact.data()), result.data());
	return result;
}

ip6_bytes parsed_ip6(const bytes &characters)
{
	const packet exact(characters);
	ip6_bytes result;
	atoipv6(reinterpret_cast<const char *>(exact.data()), result.data());
	return result;
}

} // namespace

TEST_F(settings_test, mac_addresses)
{
	EXPECT_EQ(parsed_mac(text("00:11:22:aa:BB:cC")), (mac_bytes{0x00, 0x11, 0x22, 0xaa, 0xbb, 0xcc}));
	EXPECT_EQ(parsed_mac(text("FE-dc.ba 98x76\n54")), (mac_bytes{0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54}));
	// "g" is 16, "Z" is 35, " " is 0 as a high digit and -16 as a low one.
	EXPECT_EQ(parsed_mac(text("gg:ZZ:  :0g:0Z:0 ")), (mac_bytes{0x10, 0x53, 0xf0, 0x10, 0x23, 0xf0}));
	EXPECT_EQ(parsed_mac(zeros(17)), (mac_bytes{0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0}));
}

TEST_F(settings_test, ip6_addresses)
{
	EXPECT_EQ(parsed_ip6(text("2001:0db8:0000:0000:0000:0000:0000:0001")),
		  (ip6_bytes{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
	EXPECT_EQ(parsed_ip6(text("0123-4567.89ab cdefxFEDC:BA98:7654:3210")),
		  (ip6_bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef, 0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10}));
	// "g" is 16: no carry into the high digit, but its bit.
	EXPECT_EQ(parsed_ip6(text("gg0g:0000:0000:0000:0000:0000:0000:0000")),
		  (ip6_bytes{0x10, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
	EXPECT_EQ(parsed_ip6(zeros(39)),
		  (ip6_bytes{0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0, 0xd0}));
}

TEST_F(settings_test, short_ip6_form_is_not_understood)
{
	set("0 all 0 ::1");
	// ":" is 10 in both places, then "1" and the cleared rest of the buffer: 0x10 | 0xd0.
	EXPECT_EQ(ip6_setting(), hex("aad0 d0d0 d0d0 d0d0 d0d0 d0d0 d0d0 d0d0"));
}

TEST_F(settings_test, every_character_as_a_digit)
{
	for (uint32_t high = 0; high < 256; ++high)
		for (uint32_t low = 0; low < 256; ++low) {
			const bytes pair = {static_cast<uint8_t>(high), static_cast<uint8_t>(low)};
			const uint8_t mac_byte = static_cast<uint8_t>(16 * high_digit(high) + low_digit(low));
			const uint8_t ip6_byte = static_cast<uint8_t>((high_digit(high) << 4 & 0xff) | low_digit(low));
			// First and last group.
			const mac_bytes mac = parsed_mac(pair + text(":00:00:00:00:") + pair);
			ASSERT_EQ(mac, (mac_bytes{mac_byte, 0, 0, 0, 0, mac_byte})) << high << ' ' << low;
			const ip6_bytes ip6 = parsed_ip6(pair + text("00:0000:0000:0000:0000:0000:0000:00") + pair);
			ASSERT_EQ(ip6, (ip6_bytes{ip6_byte, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, ip6_byte}))
				<< high << ' ' << low;
		}
}

TEST_F(settings_test, every_separator)
{
	for (unsigned c = 0; c < 256; ++c) {
		const bytes between = {static_cast<uint8_t>(c)};
		ASSERT_EQ(parsed_mac(text("01") + between + text("23:45:67:89:ab")),
			  (mac_bytes{0x01, 0x23, 0x45, 0x67, 0x89, 0xab}));
		const ip6_bytes ip6 = parsed_ip6(text("0123") + between + text("4567:0000:0000:0000:0000:0000:0000"));
		ASSERT_EQ(ip6, (ip6_bytes{0x01, 0x23, 0x45, 0x67, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
	}
}

TEST_F(settings_test, dotted_addresses)
{
	EXPECT_EQ(aton("1.2.3.4"), hex("01 02 03 04"));
	EXPECT_EQ(aton("255.255.255.255"), hex("ff ff ff ff"));
	EXPECT_EQ(aton("010.001.000.009"), hex("0a 01 00 09"));
	EXPECT_EQ(aton("0"), zeros(4));
	EXPECT_EQ(aton(""), zeros(4));
	// A missing field counts 0.
	EXPECT_EQ(aton("10"), hex("0a 00 00 00"));
	EXPECT_EQ(aton("10.1"), hex("0a 01 00 00"));
	EXPECT_EQ(aton("10.1.2"), hex("0a 01 02 00"));
	EXPECT_EQ(aton("10.1.2."), hex("0a 01 02 00"));
	EXPECT_EQ(aton("...4"), hex("00 00 00 04"));
	EXPECT_EQ(aton("1..3"), hex("01 00 03 00"));
	// Extra fields are not looked at.
	EXPECT_EQ(aton("1.2.3.4.5.6"), hex("01 02 03 04"));
	// A newline splits as the dot does.
	EXPECT_EQ(aton("1.2\n3.4"), hex("01 02 03 04"));
	// An oversized field spills into its left neighbour.
	EXPECT_EQ(aton("1.2.3.256"), hex("01 02 03 00"));
	EXPECT_EQ(aton("1.2.0.256"), hex("01 02 01 00"));
	EXPECT_EQ(aton("1.2.4.300"), hex("01 02 05 2c"));
	EXPECT_EQ(aton("0.0.0.16909060"), hex("01 02 03 04"));
	EXPECT_EQ(aton("256.0.0.1"), hex("00 00 00 01"));
	EXPECT_EQ(aton("0.0.0.4294967297"), hex("00 00 00 01"));
	// Any other character counts what its code is above "0".
	EXPECT_EQ(aton("a"), hex("31 00 00 00"));
	EXPECT_EQ(aton("1a.0.0.0"), hex("3b 00 00 00"));
	EXPECT_EQ(aton("0.0.0./"), hex("ff ff ff ff"));
	EXPECT_EQ(aton("\xff.0.0.0"), hex("cf 00 00 00"));
}

// --- What the decoders ask ---

TEST_F(settings_test, equal_addresses)
{
	set("0 all 00:11:22:33:44:55 2001:0db8:0001:0203:0405:0607:0809:0a0b 10.0.0.1");
	// At odd places, too.
	const bytes mac = hex("ff 00 11 22 33 44 55"), ip6 = hex("ff 2001 0db8 0001 0203 0405 0607 0809 0a0b"),
		    ip = hex("ff 0a 00 00 01");
	EXPECT_TRUE(equals_filter_mac(mac.data() + 1));
	EXPECT_TRUE(equals_filter_ip6(ip6.data() + 1));
	EXPECT_TRUE(equals_filter_ip(ip.data() + 1));
	for (size_t i = 1; i < 17; ++i) {
		bytes other_mac = mac, other_ip6 = ip6, other_ip = ip;
		other_ip6[i] ^= 0x80;
		EXPECT_FALSE(equals_filter_ip6(other_ip6.data() + 1));
		if (i < 7) {
			other_mac[i] ^= 1;
			EXPECT_FALSE(equals_filter_mac(other_mac.data() + 1));
		}
		if (i < 5) {
			other_ip[i] ^= 1;
			EXPECT_FALSE(equals_filter_ip(other_ip.data() + 1));
		}
	}
}

TEST_F(settings_test, equal_device_names)
{
	EXPECT_TRUE(equals_filter_dev("all"));
	EXPECT_FALSE(equals_filter_dev("al"));
	EXPECT_FALSE(equals_filter_dev("all0"));
	EXPECT_FALSE(equals_filter_dev(""));
	set("0 wlan-guest0");
	EXPECT_TRUE(equals_filter_dev("wlan-guest0"));
	EXPECT_FALSE(equals_filter_dev("wlan-guest"));
	EXPECT_FALSE(equals_filter_dev("wlan-guest01"));
	EXPECT_FALSE(equals_filter_dev("wlan-guest01234"));
	// Nothing is read behind the setting, also where something has overwritten its end.
	std::memset(debug_pkt_dev, 'x', sizeof debug_pkt_dev);
	EXPECT_FALSE(equals_filter_dev("xxxxxxxxxxxx"));
	EXPECT_FALSE(equals_filter_dev("xxxxxxxxxxxxxxx"));
}

} // namespace test
