// SPDX-License-Identifier: GPL-2.0-only
#include "config/settings.h"
#include "config/sysctl.h"
#include "platform/host/host.h"
#include "tests/unit/support.h"
#include "tools/filter.h"

#include <cstring>

namespace test {

using filter_test = core_test;

namespace {

filter_settings filter(const filter_words &words)
{
	filter_settings settings;
	EXPECT_EQ(read_filter(words, settings), "");
	return settings;
}

// The words, through the line and the module's own entry, have become the module's variables.
void expect_set(const filter_settings &settings)
{
	SCOPED_TRACE(settings_line(settings));
	EXPECT_EQ(host::sysctl_write("net/fw/debug_pkt_params", settings_line(settings)), 0);
	EXPECT_EQ(std::memcmp(&debug_pkt_mirror_ip, settings.mirror.data(), 4), 0);
	EXPECT_EQ(std::string(debug_pkt_dev), settings.dev);
	EXPECT_EQ(std::memcmp(debug_pkt_mac, settings.mac.data(), 6), 0);
	EXPECT_EQ(std::memcmp(debug_pkt_ip6, settings.ip6.data(), 16), 0);
	EXPECT_EQ(std::memcmp(&debug_pkt_ip, settings.ip.data(), 4), 0);
	EXPECT_EQ(debug_pkt_vlan, settings.vlan);
	EXPECT_EQ(debug_pkt_proto, settings.proto);
	EXPECT_EQ(debug_pkt_port, settings.port);
	EXPECT_EQ(debug_pkt_match_flags, settings.match);
	EXPECT_EQ(debug_pkt_type_flags, settings.type);
	EXPECT_EQ(debug_pkt_max_count, settings.limit);
	EXPECT_EQ(debug_pkt_mod, settings.mode.value_or(7));
	debug_pkt_mod = 7;

	filter_settings again;
	std::vector<std::string> notes;
	EXPECT_EQ(read_settings(settings_line(settings), again, notes), "");
	EXPECT_EQ(again, settings);
	EXPECT_EQ(notes, std::vector<std::string>());
}

// Splits "debug-pkt set --NAME VALUE …" back into words.
filter_words words_of(const std::string &command)
{
	filter_words words;
	for (size_t at = command.find(" --"); at != command.npos;) {
		const size_t blank = command.find(' ', at + 3), next = command.find(" --", blank);
		words[command.substr(at + 3, blank - at - 3)] =
			command.substr(blank + 1, next == command.npos ? next : next - blank - 1);
		at = next;
	}
	return words;
}

} // namespace

TEST_F(filter_test, every_field_reaches_its_variable)
{
	ASSERT_EQ(init_module(), 0);
	const filter_settings settings = filter({{"dev", "eth0"},
						 {"mac", "02:00:5E:10:00:01"},
						 {"ip", "10.0.0.1"},
						 {"ip6", "2001:db8::1"},
						 {"vlan", "5"},
						 {"proto", "arp"},
						 {"port", "dns"},
						 {"type", "tcp,udp,dhcp,nbr,vxlan"},
						 {"count", "100"},
						 {"mirror", "192.0.2.9"},
						 {"mode", "3"}});
	EXPECT_EQ(settings_line(settings), "192.0.2.9 eth0 02:00:5e:10:00:01 2001:0db8:0000:0000:0000:0000:0000:0001 10.0.0.1 "
					   "5 2054 53 127 2163392 100 3");
	expect_set(settings);
	EXPECT_EQ(debug_pkt_mac[0], 0x02);
	EXPECT_EQ(debug_pkt_mac[2], 0x5e);
	EXPECT_EQ(debug_pkt_ip6[1], 0x01);
	EXPECT_EQ(debug_pkt_ip6[15], 0x01);
	EXPECT_EQ(debug_pkt_proto, 0x806);
	EXPECT_EQ(debug_pkt_type_flags, 0x2102c0u);
}

TEST_F(filter_test, all_combinations_of_criteria_come_back)
{
	ASSERT_EQ(init_module(), 0);
	const filter_words all = {{"dev", "br-lan"}, {"mac", "ff:fe:09:a0:0f:f0"}, {"ip", "255.254.10.9"}, {"ip6", "fe80::a:0:9"},
				  {"vlan", "4095"},  {"proto", "0xffff"},          {"port", "65535"},      {"type", "igmp,rtr"},
				  {"count", "9"},    {"mirror", "198.51.100.255"}, {"mode", "4294967295"}};
	for (unsigned chosen = 0; chosen < 1u << all.size(); ++chosen) {
		filter_words words;
		unsigned bit = 0;
		for (const auto &word : all)
			if (chosen >> bit++ & 1)
				words.insert(word);
		const filter_settings settings = filter(words);
		expect_set(settings);
		EXPECT_EQ(words_of(command_line(settings)), words);
	}
}

TEST_F(filter_test, every_type_has_a_name)
{
	const char *const names[] = {"arp", "pppoe", "apmsg",  "icmp",   "icmpv6",   "igmp", "tcp",   "udp",
				     "gre", "dhcp",  "dhcpv6", "dns",    "radius",   "http", "https", "echo",
				     "nbr", "rtr",   "mld",    "aphier", "mobility", "vxlan"};
	for (unsigned bit = 0; bit < std::size(names); ++bit) {
		const filter_settings settings = filter({{"type", names[bit]}});
		EXPECT_EQ(settings.type, 1u << bit) << names[bit];
		EXPECT_EQ(command_line(settings), std::string("debug-pkt set --type ") + names[bit]);
	}
	EXPECT_EQ(filter({{"type", "all"}}).type, 0xffffffffu);
	EXPECT_EQ(filter({{"type", "none"}}).type, 0u);
	EXPECT_EQ(filter({{"type", "arp,0x400000"}}).type, 0x400001u);
}

TEST_F(filter_test, names_of_ports_and_ethertypes)
{
	EXPECT_EQ(filter({{"port", "ftp"}}).port, 21);
	EXPECT_EQ(filter({{"port", "https"}}).port, 443);
	EXPECT_EQ(filter({{"port", "vxlan"}}).port, 4789);
	EXPECT_EQ(filter({{"port", "sip"}}).port, 5060);
	EXPECT_EQ(filter({{"proto", "ipv4"}}).proto, 0x800);
	EXPECT_EQ(filter({{"proto", "ipv6"}}).proto, 0x86dd);
	EXPECT_EQ(filter({{"proto", "vlan"}}).proto, 0x8100);
	EXPECT_EQ(filter({{"proto", "pppoe"}}).proto, 0x8864);
	EXPECT_EQ(filter({{"proto", "pppoe-discovery"}}).proto, 0x8863);
	EXPECT_EQ(filter({{"proto", "0x806"}}).proto, 0x806);
}

// The module's own text, for the filter that was asked for.
TEST_F(filter_test, what_the_entry_reads_as_comes_back)
{
	ASSERT_EQ(init_module(), 0);
	const filter_settings settings = filter({{"dev", "eth0"},
						 {"ip6", "2001:db8::1"},
						 {"vlan", "5"},
						 {"proto", "0x8899"},
						 {"type", "dns,https,echo"},
						 {"count", "4"},
						 {"mirror", "192.0.2.9"}});
	ASSERT_EQ(host::sysctl_write("net/fw/debug_pkt_params", settings_line(settings)), 0);
	std::string line;
	ASSERT_EQ(host::sysctl_read("net/fw/debug_pkt_params", line), 0);
	filter_settings again;
	std::vector<std::string> notes;
	ASSERT_EQ(read_settings(line, again, notes), "");
	const std::vector<std::string> unknown = {
		"the line does not show whether the criterion IPv6 (0x8) is active: taken as active, "
		"as there is an address",
		"the line does not show the types echo, nbr, rtr, mld, vxlan, apmsg and aphier", "the line does not show the mode"};
	EXPECT_EQ(notes, unknown);
	filter_settings shown = settings;
	shown.type &= ~type_echo;
	EXPECT_EQ(again, shown);
}

// A word that is not 0 and of which nothing shows, and what the digit rules make of a "0".
TEST_F(filter_test, words_that_the_entry_has_no_names_for)
{
	ASSERT_EQ(init_module(), 0);
	ASSERT_EQ(host::sysctl_write("net/fw/debug_pkt_params", "0 all 0 0 0 0 0 0 8 32768 0"), 0);
	std::string line;
	ASSERT_EQ(host::sysctl_read("net/fw/debug_pkt_params", line), 0);
	filter_settings settings;
	std::vector<std::string> notes;
	ASSERT_EQ(read_settings(line, settings, notes), "");
	EXPECT_EQ(settings.match, match_ipv6);
	EXPECT_EQ(settings.type, 0x2f8004u);
	EXPECT_EQ(settings.ip6, (std::array<uint8_t, 16>()));
	EXPECT_EQ(settings.mac, (std::array<uint8_t, 6>()));
	EXPECT_EQ(notes.size(), 3u);
}

// What a line gets the module to hold and what explain says of it are the same, also where the line is spoilt.
TEST_F(filter_test, spoilt_addresses_are_read_as_the_module_reads_them)
{
	ASSERT_EQ(init_module(), 0);
	const std::string line = "1.2.3 interface-name-0 0:11:22:33:44:55 ::1 300.1.1.1 5 6 7 15 1 0";
	ASSERT_EQ(host::sysctl_write("net/fw/debug_pkt_params", line), 0);
	filter_settings settings;
	std::vector<std::string> notes;
	ASSERT_EQ(read_settings(line, settings, notes), "");
	EXPECT_EQ(std::memcmp(&debug_pkt_mirror_ip, settings.mirror.data(), 4), 0);
	EXPECT_EQ(std::string(debug_pkt_dev), settings.dev);
	EXPECT_EQ(std::memcmp(debug_pkt_mac, settings.mac.data(), 6), 0);
	EXPECT_EQ(std::memcmp(debug_pkt_ip6, settings.ip6.data(), 16), 0);
	EXPECT_EQ(std::memcmp(&debug_pkt_ip, settings.ip.data(), 4), 0);
	EXPECT_EQ(notes.size(), 5u);
}

TEST_F(filter_test, limits_of_what_can_match)
{
	EXPECT_EQ(impossible(filter({{"vlan", "4095"}, {"proto", "65535"}, {"type", "vxlan"}})), std::vector<std::string>());
	filter_settings settings;
	settings.match = match_vlan | match_proto | 0x80;
	settings.type = 0x400000;
	settings.vlan = 4096;
	settings.proto = 0x10000;
	const std::vector<std::string> reasons = {"no packet hits the criteria 0x80, which have no meaning",
						  "no packet has the types 0x400000", "no tag carries VLAN 4096",
						  "no protocol field holds 0x10000"};
	EXPECT_EQ(impossible(settings), reasons);
	EXPECT_EQ(command_line(settings), "");
}

} // namespace test
