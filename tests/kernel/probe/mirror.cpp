// SPDX-License-Identifier: GPL-2.0-only
// Whether every frame arrives at the collector once, whole, in the datagram that it should be in.
#include "tests/kernel/probe/probe.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <map>
#include <numeric>
#include <sys/socket.h>

namespace {

inline constexpr size_t outer_length = 24;

int open_receiver(int family, int protocol, int ifindex)
{
	const int fd = socket(family, SOCK_RAW, protocol);
	if (fd < 0)
		fail_errno("collector's socket");
	const int size = 64 << 20;
	setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size);
	if (family == AF_PACKET) {
		sockaddr_ll address = {};
		address.sll_family = AF_PACKET;
		address.sll_protocol = htons(static_cast<uint16_t>(ETH_P_IP));
		address.sll_ifindex = ifindex;
		if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address))
			fail_errno("bind");
	}
	return fd;
}

void receive_all(int fd, std::vector<bytes> &packets)
{
	static uint8_t buffer[1 << 17];
	for (ssize_t size; (size = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT)) >= 0;)
		packets.emplace_back(buffer, buffer + size);
}

uint64_t count_mirrored()
{
	const std::vector<uint64_t> counts = read_counter("mirrored");
	return std::accumulate(counts.begin(), counts.end(), uint64_t(0));
}

uint16_t checksum(const uint8_t *header)
{
	uint32_t total = 0;
	for (unsigned i = 0; i < 20; i += 2)
		total += get_u16(header + i);
	while (total >> 16)
		total = (total & 0xffff) + (total >> 16);
	return static_cast<uint16_t>(~total);
}

// One IPv4 datagram or fragment as it was on the collector's wire.
void check_on_wire(const bytes &frame, in_addr_t source, in_addr_t collector)
{
	const uint8_t *const ip = &frame[ETH_HLEN];
	if (ip[0] != 0x45 || ip[1] != 0 || ip[8] != 64 || std::memcmp(ip + 12, &source, 4) || std::memcmp(ip + 16, &collector, 4))
		fail("a mirror packet's header: version %02x tos %d ttl %d from %d.%d.%d.%d", ip[0], ip[1], ip[8], ip[12], ip[13],
		     ip[14], ip[15]);
	if (checksum(ip))
		fail("a mirror packet's checksum is wrong");
	if (static_cast<size_t>(get_u16(ip + 2)) + ETH_HLEN != frame.size())
		fail("a mirror packet of %zu bytes says %d", frame.size() - ETH_HLEN, get_u16(ip + 2));
}

} // namespace

int watch_mirror(int count, char **arguments)
{
	if (count < 5)
		fail("mirror: PID DEVICE COLLECTOR SOURCE DEVICE…");
	std::vector<int> watched;
	for (int i = 4; i < count; ++i)
		watched.push_back(index_of(arguments[i]));
	const in_addr_t collector = inet_addr(arguments[2]), source = inet_addr(arguments[3]);
	const uint64_t mirrored_before = count_mirrored();
	tap eyes;
	enter_namespace_of(arguments[0]);
	const int wire = open_receiver(AF_PACKET, 0, index_of(arguments[1]));
	const int datagrams = open_receiver(AF_INET, IPPROTO_GRE, 0);
	announce_start();
	wait_for_end();
	std::vector<bytes> received;
	const uint64_t mirrored = count_mirrored() - mirrored_before;
	wait_until(
		[&] {
			receive_all(datagrams, received);
			return received.size() >= mirrored;
		},
		"frames that were mirrored do not arrive");

	eyes.look();
	std::map<bytes, int> frames;
	unsigned total = 0, longest = 0;
	for (unsigned cpu = 0; cpu < eyes.cpus(); ++cpu)
		for (const seen_frame &each : eyes.seen(cpu))
			if (std::ranges::count(watched, each.ifindex)) {
				++frames[each.data];
				++total;
				longest = std::max(longest, static_cast<unsigned>(each.data.size()));
			}
	unsigned on_wire = 0, arrived = 0;
	std::vector<bytes> frames_on_wire;
	receive_all(wire, frames_on_wire);
	for (const bytes &frame : frames_on_wire)
		if (frame.size() > ETH_HLEN + 20 && frame[ETH_HLEN + 9] == IPPROTO_GRE) {
			check_on_wire(frame, source, collector);
			++on_wire;
		}
	for (const bytes &datagram : received) {
		if (datagram.size() < outer_length || get_u16(&datagram[20]) != 0 || get_u16(&datagram[22]) != 0x6558)
			fail("a GRE header that is not the mirror's");
		const bytes inner(datagram.begin() + outer_length, datagram.end());
		const auto found = frames.find(inner);
		if (found == frames.end() || found->second == 0)
			fail("the collector got a frame of %zu bytes that did not come in, or got it twice", inner.size());
		--found->second;
		++arrived;
	}
	std::printf("frames=%u arrived=%u on_wire=%u longest=%u\n", total, arrived, on_wire, longest);
	return 0;
}
