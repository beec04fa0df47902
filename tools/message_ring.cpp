// SPDX-License-Identifier: GPL-2.0-only
#include "tools/message_ring.h"

#include <fmt/format.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/if_packet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

inline constexpr uint16_t cli_ethertype = 0x8ffa;
inline constexpr size_t block_size = 1 << 20;
inline constexpr size_t slot_size = 4224; // the longest message, 4097 bytes, behind the kernel's header
inline constexpr size_t slots_in_block = block_size / slot_size;
inline constexpr size_t most_blocks = 32;

std::string system_reason(const std::string &what)
{
	return fmt::format("{}: {}", what, std::strerror(errno));
}

} // namespace

message_ring::~message_ring()
{
	if (ring)
		munmap(ring, blocks * block_size);
	for (const int each : {socket_descriptor, news})
		if (each >= 0)
			close(each);
}

std::string message_ring::open(const std::string &device)
{
	name = device;
	// Without a protocol nothing comes before all is set up.
	socket_descriptor = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
	if (socket_descriptor < 0)
		return system_reason("packet socket") +
		       (errno == EPERM ? "; it needs the capability CAP_NET_RAW: run it as root" : "");
	const unsigned index = if_nametoindex(name.c_str());
	if (!index)
		return system_reason(name) + "; the module's messages come in on the bridge br0: ip link add br0 type bridge && " +
		       "ip link set br0 up";
	const int version = TPACKET_V2;
	if (setsockopt(socket_descriptor, SOL_PACKET, PACKET_VERSION, &version, sizeof version) != 0)
		return system_reason("packet ring");
	// A small machine gives less.
	for (blocks = most_blocks;; blocks /= 2) {
		tpacket_req wanted = {};
		wanted.tp_block_size = block_size;
		wanted.tp_block_nr = static_cast<unsigned>(blocks);
		wanted.tp_frame_size = slot_size;
		wanted.tp_frame_nr = static_cast<unsigned>(blocks * slots_in_block);
		if (setsockopt(socket_descriptor, SOL_PACKET, PACKET_RX_RING, &wanted, sizeof wanted) == 0)
			break;
		if (errno != ENOMEM || blocks == 1)
			return system_reason("packet ring");
	}
	slots = blocks * slots_in_block;
	void *const memory = mmap(nullptr, blocks * block_size, PROT_READ | PROT_WRITE, MAP_SHARED, socket_descriptor, 0);
	if (memory == MAP_FAILED)
		return system_reason("packet ring");
	ring = static_cast<uint8_t *>(memory);
	sockaddr_ll address = {};
	address.sll_family = AF_PACKET;
	address.sll_protocol = htons(cli_ethertype);
	address.sll_ifindex = static_cast<int>(index);
	if (bind(socket_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
		return system_reason(name);
	sockaddr_nl links = {};
	links.nl_family = AF_NETLINK;
	links.nl_groups = RTMGRP_LINK;
	news = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
	if (news < 0 || bind(news, reinterpret_cast<const sockaddr *>(&links), sizeof links) != 0)
		return system_reason("news of devices");
	return "";
}

uint8_t *message_ring::slot(size_t number) const
{
	return ring + number / slots_in_block * block_size + number % slots_in_block * slot_size;
}

bool message_ring::is_filled(size_t number) const
{
	const tpacket2_hdr *const header = reinterpret_cast<const tpacket2_hdr *>(slot(number));
	return (__atomic_load_n(&header->tp_status, __ATOMIC_ACQUIRE) & TP_STATUS_USER) != 0;
}

void message_ring::give_back()
{
	tpacket2_hdr *const header = reinterpret_cast<tpacket2_hdr *>(slot(current));
	__atomic_store_n(&header->tp_status, static_cast<uint32_t>(TP_STATUS_KERNEL), __ATOMIC_RELEASE);
	current = (current + 1) % slots;
	taken = false;
}

bool message_ring::next(message &oldest)
{
	if (taken)
		give_back();
	if (!is_filled(current))
		return false;
	const uint8_t *const start = slot(current);
	const tpacket2_hdr *const header = reinterpret_cast<const tpacket2_hdr *>(start);
	oldest = {start + header->tp_net, header->tp_snaplen};
	taken = true;
	return true;
}

size_t message_ring::waiting() const
{
	const size_t first = taken ? 1 : 0;
	size_t count = first;
	while (count < slots && is_filled((current + count) % slots))
		++count;
	return count - first;
}

uint64_t message_ring::dropped()
{
	// Each reading starts the kernel's count anew.
	tpacket_stats counts = {};
	socklen_t length = sizeof counts;
	if (getsockopt(socket_descriptor, SOL_PACKET, PACKET_STATISTICS, &counts, &length) == 0)
		drops += counts.tp_drops;
	return drops;
}

message_ring::device_state message_ring::state()
{
	// What the news say is looked up: some may have been lost.
	for (char some[4096]; recv(news, some, sizeof some, 0) >= 0 || errno == ENOBUFS;)
		;
	int error;
	socklen_t length = sizeof error;
	getsockopt(socket_descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
	sockaddr_ll address = {};
	length = sizeof address;
	ifreq request = {};
	if (getsockname(socket_descriptor, reinterpret_cast<sockaddr *>(&address), &length) != 0 ||
	    !if_indextoname(static_cast<unsigned>(address.sll_ifindex), request.ifr_name) ||
	    ioctl(socket_descriptor, SIOCGIFFLAGS, &request) != 0)
		return device_state::gone;
	present = request.ifr_name;
	if (present != name)
		return device_state::renamed;
	return request.ifr_flags & IFF_UP ? device_state::up : device_state::down;
}
