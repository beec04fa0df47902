// SPDX-License-Identifier: GPL-2.0-only
#include "bench/traffic.h"

namespace bench {

namespace {

struct share {
	traffic_kind kind;
	uint32_t percent;
};
constexpr share mix[] = {
	{traffic_kind::tcp_options, 40}, {traffic_kind::udp, 20},  {traffic_kind::dns, 8},  {traffic_kind::icmp, 6},
	{traffic_kind::arp, 5},          {traffic_kind::vlan, 5},  {traffic_kind::dhcp, 4}, {traffic_kind::icmp6, 4},
	{traffic_kind::dhcp6, 3},        {traffic_kind::vxlan, 3}, {traffic_kind::igmp, 2},
};

constexpr uint32_t tcp_fixed = 20, tcp_with_options = 32, udp_fixed = 8;

} // namespace

const char *const traffic_names[] = {"mix",  "tcp",   "tcp_options", "udp",  "dns",  "dhcp",  "dhcp6",
				     "icmp", "icmp6", "arp",         "vlan", "igmp", "vxlan", nullptr};

traffic::traffic(traffic_kind wanted, uint64_t seed, uint32_t host_count) : kind(wanted), hosts(host_count), state(seed) {}

// splitmix64
uint64_t traffic::random()
{
	uint64_t z = state += 0x9e3779b97f4a7c15;
	z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
	z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
	return z ^ (z >> 31);
}

uint32_t traffic::below(uint32_t bound)
{
	return static_cast<uint32_t>((random() >> 32) * bound >> 32);
}

void traffic::u8(uint32_t value)
{
	frame.push_back(static_cast<uint8_t>(value));
}

void traffic::u16(uint32_t value)
{
	u8(value >> 8);
	u8(value);
}

void traffic::u32(uint32_t value)
{
	u16(value >> 16);
	u16(value);
}

void traffic::bytes(std::initializer_list<uint8_t> values)
{
	frame.insert(frame.end(), values);
}

void traffic::fill(uint32_t count, uint8_t value)
{
	frame.insert(frame.end(), count, value);
}

void traffic::text(std::string_view characters)
{
	frame.insert(frame.end(), characters.begin(), characters.end());
}

void traffic::ethernet(uint32_t type)
{
	for (unsigned i = 0; i < 2; ++i) {
		u16(0x0200);
		u32(below(hosts));
	}
	u16(type);
}

void traffic::ipv4_address()
{
	u32(0x0a000000 + below(hosts));
}

// Every conversation has its own two addresses and ports.
void traffic::choose_conversation()
{
	conversation = below(hosts);
}

void traffic::ipv6_address()
{
	bytes({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0});
	u32(below(hosts));
}

void traffic::ipv4(uint32_t protocol, uint32_t payload)
{
	bytes({0x45, 0});
	u16(20 + payload);
	u16(below(65536));
	u16(below(2) * 0x4000);
	u8(64);
	u8(protocol);
	u16(0);
	choose_conversation();
	u32(0x0a000000 + conversation);
	u32(0x0b000000 + conversation);
	const size_t header = frame.size() - 20;
	put_checksum(header + 10, sum(header, 20));
	transport = frame.size();
	pseudo_sum = sum(header + 12, 8) + protocol + payload;
}

void traffic::ipv6(uint32_t next_header, uint32_t payload)
{
	bytes({0x60, 0, 0, 0});
	u16(payload);
	u8(next_header);
	u8(64);
	choose_conversation();
	for (uint32_t side = 1; side <= 2; ++side) {
		bytes({0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, static_cast<uint8_t>(side), 0, 0, 0, 0});
		u32(conversation);
	}
	transport = frame.size();
	pseudo_sum = sum(transport - 32, 32) + next_header + payload;
}

// The Internet checksum's sum over bytes of the frame (RFC 1071).
uint32_t traffic::sum(size_t start, size_t count) const
{
	uint32_t total = 0;
	for (size_t i = 0; i < count; ++i)
		total += static_cast<uint32_t>(frame[start + i]) << (i % 2 ? 0 : 8);
	return total;
}

void traffic::put_checksum(size_t at, uint32_t total)
{
	while (total >> 16)
		total = (total & 0xffff) + (total >> 16);
	frame[at] = static_cast<uint8_t>(~total >> 8);
	frame[at + 1] = static_cast<uint8_t>(~total);
}

// The frame is complete: fills the transport header's checksum, at offset in it.
void traffic::finish_transport(size_t offset, uint32_t pseudo_header)
{
	put_checksum(transport + offset, pseudo_header + sum(transport, frame.size() - transport));
}

void traffic::tcp_segment(uint32_t payload, bool options)
{
	u16(20000 + conversation % 10000);
	u16(443);
	u32(static_cast<uint32_t>(random()));
	u32(static_cast<uint32_t>(random()));
	u8((options ? tcp_with_options : tcp_fixed) << 2);
	u8(below(5) ? 0x10 : 0x18);
	u16(below(65536));
	u16(0);
	u16(0);
	if (options) {
		bytes({1, 1, 8, 10});
		u32(static_cast<uint32_t>(random()));
		u32(static_cast<uint32_t>(random()));
	}
	fill(payload, 0x5a);
	finish_transport(16, pseudo_sum);
}

void traffic::udp_header(uint32_t source, uint32_t destination, uint32_t payload)
{
	u16(source);
	u16(destination);
	u16(udp_fixed + payload);
	u16(0);
}

void traffic::dns_name()
{
	bytes({3, 'w', 'w', 'w', 8, 'h', 'o', 's', 't'});
	for (unsigned i = 0; i < 4; ++i)
		u8('a' + below(26));
	bytes({7, 'e', 'x', 'a', 'm', 'p', 'l', 'e', 3, 'c', 'o', 'm', 0});
}

void traffic::add(traffic_kind wanted)
{
	switch (wanted) {
	case traffic_kind::mix: {
		uint32_t left = below(100);
		const share *chosen = mix;
		for (; left >= chosen->percent; ++chosen)
			left -= chosen->percent;
		add(chosen->kind);
		break;
	}
	case traffic_kind::tcp: {
		const uint32_t payload = 10 + below(1437);
		ethernet(0x0800);
		ipv4(6, tcp_fixed + payload);
		tcp_segment(payload, false);
		break;
	}
	case traffic_kind::tcp_options: {
		const uint32_t payload = below(1400);
		if (below(4)) {
			ethernet(0x0800);
			ipv4(6, tcp_with_options + payload);
		} else {
			ethernet(0x86dd);
			ipv6(6, tcp_with_options + payload);
		}
		tcp_segment(payload, true);
		break;
	}
	case traffic_kind::udp: {
		const uint32_t payload = 20 + below(1200);
		ethernet(0x0800);
		ipv4(17, udp_fixed + payload);
		udp_header(20000 + conversation % 10000, 40000, payload);
		fill(payload, 0xa5);
		finish_transport(6, pseudo_sum);
		break;
	}
	case traffic_kind::dns: {
		const bool response = below(2);
		const uint32_t answers = response ? 1 + below(2) : 0, payload = 12 + 30 + 4 + answers * 16;
		ethernet(0x0800);
		ipv4(17, udp_fixed + payload);
		udp_header(response ? 53 : 30000, response ? 30000 : 53, payload);
		u16(below(65536));
		u16(response ? 0x8180 : 0x0100);
		u16(1);
		u16(answers);
		u32(0);
		dns_name();
		u16(1);
		u16(1);
		for (uint32_t i = 0; i < answers; ++i) {
			u16(0xc00c);
			u16(1);
			u16(1);
			u32(60 + below(3600));
			u16(4);
			ipv4_address();
		}
		finish_transport(6, pseudo_sum);
		break;
	}
	case traffic_kind::dhcp: {
		const uint32_t payload = 240 + 60;
		ethernet(0x0800);
		ipv4(17, udp_fixed + payload);
		udp_header(67, 68, payload);
		bytes({2, 1, 6, 0});
		u32(static_cast<uint32_t>(random()));
		u32(0);
		u32(0);
		ipv4_address();
		ipv4_address();
		u32(0);
		u16(0x0200);
		u32(below(hosts));
		fill(10 + 64 + 128, 0);
		bytes({0x63, 0x82, 0x53, 0x63, 53, 1, 5, 54, 4});
		ipv4_address();
		bytes({51, 4, 0, 1, 0x51, 0x80, 1, 4, 255, 255, 255, 0, 3, 4});
		ipv4_address();
		bytes({6, 8});
		ipv4_address();
		ipv4_address();
		bytes({15, 11});
		text("example.com");
		u8(255);
		fill(3, 0);
		finish_transport(6, pseudo_sum);
		break;
	}
	case traffic_kind::dhcp6: {
		const uint32_t payload = 4 + 14 + 14 + 40 + 6 + 10;
		ethernet(0x86dd);
		ipv6(17, udp_fixed + payload);
		udp_header(546, 547, payload);
		u32(0x01000000 | below(0x1000000));
		for (uint8_t option = 1; option <= 2; ++option) {
			bytes({0, option, 0, 10, 0, 3, 0, 1, 2, 0});
			u32(below(hosts));
		}
		bytes({0, 3, 0, 36});
		u32(static_cast<uint32_t>(random()));
		u32(3600);
		u32(5400);
		bytes({0, 5, 0, 20});
		ipv6_address();
		u32(7200);
		bytes({0, 8, 0, 2, 0, 100, 0, 6, 0, 6, 0, 23, 0, 24, 0, 39});
		finish_transport(6, pseudo_sum);
		break;
	}
	case traffic_kind::icmp:
		ethernet(0x0800);
		ipv4(1, 8 + 56);
		u8(below(2) * 8);
		u8(0);
		u16(0);
		u16(below(65536));
		u16(below(65536));
		fill(56, 0x33);
		finish_transport(2, 0);
		break;
	case traffic_kind::icmp6:
		ethernet(0x86dd);
		if (below(2)) {
			ipv6(58, 24 + 8);
			bytes({135, 0, 0, 0});
			u32(0);
			ipv6_address();
			bytes({1, 1, 2, 0});
			u32(below(hosts));
		} else {
			ipv6(58, 8 + 56);
			u8(128 + below(2));
			u8(0);
			u16(0);
			u16(below(65536));
			u16(below(65536));
			fill(56, 0x33);
		}
		finish_transport(2, pseudo_sum);
		break;
	case traffic_kind::arp:
		ethernet(0x0806);
		bytes({0, 1, 8, 0, 6, 4});
		u16(1 + below(2));
		for (unsigned i = 0; i < 2; ++i) {
			u16(0x0200);
			u32(below(hosts));
			ipv4_address();
		}
		fill(18, 0);
		break;
	case traffic_kind::vlan: {
		const uint32_t payload = below(1400);
		ethernet(0x8100);
		u16(below(8) << 13 | (1 + below(4000)));
		u16(0x0800);
		ipv4(6, tcp_with_options + payload);
		tcp_segment(payload, true);
		break;
	}
	case traffic_kind::igmp:
		ethernet(0x0800);
		ipv4(2, 16);
		bytes({0x22, 0, 0, 0, 0, 0, 0, 1, 4, 0, 0, 0});
		u32(0xef000000 + below(hosts));
		finish_transport(2, 0);
		break;
	case traffic_kind::vxlan: {
		const uint32_t payload = below(1300);
		ethernet(0x0800);
		ipv4(17, udp_fixed + 8 + 14 + 20 + tcp_fixed + payload);
		udp_header(30000 + conversation % 10000, 4789, 8 + 14 + 20 + tcp_fixed + payload);
		u32(0x08000000);
		u32(below(0x1000000) << 8);
		ethernet(0x0800);
		ipv4(6, tcp_fixed + payload);
		tcp_segment(payload, false);
		break;
	}
	}
}

const std::vector<uint8_t> &traffic::next()
{
	frame.clear();
	add(kind);
	if (frame.size() < 60)
		frame.resize(60);
	return frame;
}

} // namespace bench
