// SPDX-License-Identifier: GPL-2.0-only
// The frames that cost most: counts that lie, entries of no length, walks that reach the packet's end again at each of eight
// levels.
#pragma once

#include "tests/unit/support.h"

#include <algorithm>

namespace test {

struct named_frame {
	std::string name;
	bytes content;
};

// Repeats a pattern up to a size.
inline bytes fill(const bytes &pattern, size_t size)
{
	bytes content;
	content.reserve(size + pattern.size());
	while (content.size() < size)
		content.insert(content.end(), pattern.begin(), pattern.end());
	content.resize(size);
	return content;
}

inline bytes up_to(const bytes &start, const bytes &pattern, size_t size)
{
	return start.size() < size ? start + fill(pattern, size - start.size())
				   : bytes(start.begin(), start.begin() + static_cast<ptrdiff_t>(size));
}

inline bytes ethernet(const char *type)
{
	return zeros(12) + hex(type);
}

// Headers whose unused fields are 0.
inline bytes ipv4_header(uint8_t protocol)
{
	return hex("4500 0000 0000 0000 00") + bytes{protocol} + zeros(10);
}

inline bytes ipv6_header(uint8_t next)
{
	return hex("60000000 ffff") + bytes{next, 0} + zeros(32);
}

inline bytes udp_header(uint32_t source, uint32_t destination)
{
	return big16(source) + big16(destination) + hex("ffff 0000");
}

inline bytes in_udp(uint32_t source, uint32_t destination, const bytes &message)
{
	return ethernet("0800") + ipv4_header(17) + udp_header(source, destination) + message;
}

// What a datapath sees all day: a TCP segment of 1500 bytes with a page of text.
inline bytes ordinary_frame()
{
	const bytes segment = hex("c000 0050 00000001 00000002 5018 ffff 0000 0000");
	return up_to(ethernet("0800") + hex("4500 05dc 0001 4000 40 06 0000 0a000001 0a000002") + segment,
		     text("Host: www.example.org and some more of it\r\n"), 1514);
}

// A DHCP message in front of its options.
inline bytes bootp()
{
	return hex("01") + zeros(235) + hex("63825363");
}

// At each of the levels an application walks to the packet's end; what is between is read as options without harm.
inline bytes nested_dhcp(unsigned levels)
{
	bytes content = in_udp(67, 4789, bootp());
	for (unsigned i = 0; i < levels; ++i)
		content = content + zeros(8) + in_udp(67, i + 1 < levels ? 4789 : 68, bootp());
	return content;
}

inline bytes nested_vxlan(unsigned levels, const bytes &innermost)
{
	bytes content;
	for (unsigned i = 0; i < levels; ++i)
		content = content + in_udp(49152, 4789, hex("8c0000000000 0000"));
	return content + innermost;
}

// A client identifier of one byte moves the walk of each level past the next level's headers.
inline bytes nested_dhcp6(unsigned levels)
{
	bytes content;
	for (unsigned i = 0; i <= levels; ++i)
		content = content + hex("000000000000 000900010000 0800") + ipv4_header(17) +
			  udp_header(546, i < levels ? 4789 : 547) + zeros(8);
	return content;
}

inline bytes nested_gre(unsigned levels, const bytes &innermost)
{
	bytes content;
	for (unsigned i = 0; i < levels; ++i)
		content = content + ethernet("0800") + ipv4_header(47) + hex("0000 8800");
	return content + innermost;
}

inline bytes nested_icmp(unsigned levels)
{
	bytes content = ethernet("0800");
	for (unsigned i = 0; i < levels; ++i)
		content = content + ipv4_header(1) + hex("0b00000000000000");
	return content + ipv4_header(6);
}

inline bytes nested_icmp6(unsigned levels)
{
	bytes content = ethernet("86dd");
	for (unsigned i = 0; i < levels; ++i)
		content = content + ipv6_header(58) + hex("0300000000000000");
	return content + ipv6_header(6);
}

inline std::vector<named_frame> worst_frames(size_t size)
{
	const bytes dns_response = hex("0001 8000 0001 ffff 0000 0000"), question = hex("00 0001 0001"),
		    ap_message = hex("c2c9") + zeros(46), many_tags = hex("8100 0001"), icmp6 = ethernet("86dd") + ipv6_header(58);
	const struct {
		const char *name;
		bytes start, filling;
	} rows[] = {
		{"zeros", {}, zeros(1)},
		{"tags", ethernet("8100"), many_tags},
		{"dhcp options without length", in_udp(67, 68, bootp()), hex("0d00")},
		{"dhcp options of length 1", in_udp(67, 68, bootp()), hex("0d0100")},
		{"dhcp padding", in_udp(67, 68, bootp()), zeros(1)},
		{"dhcp relay sub-options", in_udp(67, 68, bootp() + hex("52ff")), hex("0300")},
		{"dhcp long names", in_udp(67, 68, hex("01") + zeros(43)), text("n")},
		{"dhcpv6 code 0", in_udp(546, 547, hex("01000000")), zeros(1)},
		{"dhcpv6 options without length", in_udp(546, 547, hex("01000000")), hex("00630000")},
		{"dhcpv6 lists", in_udp(546, 547, hex("01000000 00010004 00010001 0006ffff")), hex("0063")},
		{"dhcpv6 name", in_udp(546, 547, hex("01000000 0027ffff")), hex("01")},
		{"dns answers without length", in_udp(53, 53, dns_response + question), hex("00 0001 0001 00000000 0000")},
		{"dns names", in_udp(53, 53, dns_response + question), hex("00 000c 0001 00000000 0000 01 61")},
		{"dns owner name", in_udp(53, 53, dns_response + question), text("n")},
		{"dns labels", in_udp(53, 53, dns_response), hex("01 61")},
		{"ap domains", ethernet("8ffd") + ap_message + hex("09 00 0000 ffff"), hex("01 61")},
		{"ap domain addresses", ethernet("8ffd") + ap_message + hex("09 00 0000 0001") + zeros(256) + hex("ffff 0000"),
		 zeros(1)},
		{"ap sessions", ethernet("8ffd") + ap_message + hex("01") + zeros(137) + hex("ffff") + zeros(22) + hex("ff 0000"),
		 hex("01")},
		{"ap names", ethernet("8ffd") + ap_message + hex("01"), text("n")},
		{"igmp report", ethernet("0800") + ipv4_header(2) + hex("2200 0000 0000 ffff"), zeros(1)},
		{"igmp query", ethernet("0800") + ipv4_header(2) + hex("1100 0000 00000000 0000 ffff"), zeros(1)},
		{"mld report", icmp6 + hex("8f00 0000 0000 ffff"), zeros(1)},
		{"mld query", icmp6 + hex("8200 0000") + zeros(18) + hex("ffff"), zeros(1)},
		{"router advertisement", icmp6 + hex("8600 0000 00000000 00000000 00000000"), hex("0101 000000000000")},
		{"router advertisement prefixes", icmp6 + hex("8600 0000 00000000 00000000 00000000"), hex("0301 000000000000")},
		{"extension headers", ethernet("86dd") + ipv6_header(0), zeros(1)},
		{"tcp options", ethernet("0800") + ipv4_header(6) + hex("0050 0015 00000000 00000000 f000 0000 00000000"),
		 zeros(1)},
		{"text of short lines", ethernet("0800") + ipv4_header(6) + hex("0050 0015 00000000 00000000 5000 0000 00000000"),
		 text("a\n")},
		{"text of one line", ethernet("0800") + ipv4_header(6) + hex("0050 0015 00000000 00000000 5000 0000 00000000"),
		 text("a")},
		{"sip text", in_udp(5060, 4500, {}), text("a\n")},
		{"frames in vxlan", nested_vxlan(8, ethernet("8100")), many_tags},
		{"frames in gre", nested_gre(8, ethernet("8100")), many_tags},
		{"errors in errors", nested_icmp(8), zeros(1)},
		{"errors in errors, IPv6", nested_icmp6(8), zeros(1)},
		{"dhcp in eight frames", nested_dhcp(8), hex("0d00")},
		{"dhcp padding in eight frames", nested_dhcp(8), zeros(1)},
		{"dhcpv6 code 0 in eight frames", nested_dhcp6(8), zeros(1)},
		{"dhcpv6 in eight frames", nested_dhcp6(8), hex("00630000")},
		{"ap domains in eight frames", nested_vxlan(8, ethernet("8ffd") + ap_message + hex("09 00 0000 ffff")),
		 hex("01 61")},
		{"dns in eight frames", nested_vxlan(8, in_udp(53, 53, dns_response + question)),
		 hex("00 0001 0001 00000000 0000")},
	};
	std::vector<named_frame> frames;
	for (const auto &row : rows)
		frames.push_back({row.name, up_to(row.start, row.filling, size)});
	return frames;
}

} // namespace test
