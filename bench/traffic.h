// SPDX-License-Identifier: GPL-2.0-only
// Traffic with a seed: the same frames on every machine.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace bench {

enum class traffic_kind { mix, tcp, tcp_options, udp, dns, dhcp, dhcp6, icmp, icmp6, arp, vlan, igmp, vxlan };
// NULL-terminated list of the names, in the enumerators' order.
extern const char *const traffic_names[];

class traffic {
public:
	// hosts: how many conversations, each with addresses and ports of its own, the frames belong to.
	traffic(traffic_kind kind, uint64_t seed, uint32_t hosts);
	// The next Ethernet frame, valid until the next call.
	const std::vector<uint8_t> &next();

private:
	uint64_t random();
	uint32_t below(uint32_t bound);
	void u8(uint32_t value);
	void u16(uint32_t value);
	void u32(uint32_t value);
	void bytes(std::initializer_list<uint8_t> values);
	void fill(uint32_t count, uint8_t value);
	void text(std::string_view characters);
	void ethernet(uint32_t type);
	void ipv4(uint32_t protocol, uint32_t payload);
	void ipv6(uint32_t next_header, uint32_t payload);
	void choose_conversation();
	uint32_t sum(size_t start, size_t count) const;
	void put_checksum(size_t at, uint32_t total);
	void finish_transport(size_t offset, uint32_t pseudo_header);
	void ipv4_address();
	void ipv6_address();
	void tcp_segment(uint32_t payload, bool options);
	void udp_header(uint32_t source, uint32_t destination, uint32_t payload);
	void dns_name();
	void add(traffic_kind kind);

	const traffic_kind kind;
	const uint32_t hosts;
	uint64_t state;
	std::vector<uint8_t> frame;
	uint32_t conversation = 0;
	size_t transport = 0; // where the transport header begins
	uint32_t pseudo_sum = 0;
};

} // namespace bench
