// SPDX-License-Identifier: GPL-2.0-only
#include "tests/kernel/probe/probe.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <memory>
#include <random>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace {

struct file_header {
	uint32_t magic;
	uint16_t major, minor;
	uint32_t zone, accuracy, most, link_type;
};
struct record_header {
	uint32_t seconds, fraction, captured, length;
};

inline constexpr uint32_t microseconds = 0xa1b2c3d4, nanoseconds = 0xa1b23c4d;
inline constexpr uint32_t ethernet = 1, raw_ip = 101, cooked = 113, raw_ipv4 = 228, raw_ipv6 = 229;

// The packet as a frame: what has no Ethernet header gets one. Nothing of a link type that is none of these.
bytes to_frame(uint32_t link_type, const bytes &packet)
{
	const size_t type_at = ETH_ALEN + ETH_ALEN, cooked_type_at = 14;
	if (link_type == ethernet)
		return packet;
	bytes frame(type_at);
	if (link_type == cooked && packet.size() >= cooked_type_at) {
		frame.insert(frame.end(), packet.begin() + cooked_type_at, packet.end());
	} else if (link_type == raw_ip || link_type == raw_ipv4 || link_type == raw_ipv6) {
		const bool is_ipv6 = link_type == raw_ipv6 || (link_type == raw_ip && !packet.empty() && packet[0] >> 4 == 6);
		const uint16_t type = is_ipv6 ? ETH_P_IPV6 : ETH_P_IP;
		frame.push_back(static_cast<uint8_t>(type >> 8));
		frame.push_back(static_cast<uint8_t>(type));
		frame.insert(frame.end(), packet.begin(), packet.end());
	}
	return frame;
}

// Frames of a file; none of one in the other byte order.
void read_file(const char *name, std::vector<bytes> &frames)
{
	const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(name, "rb"), std::fclose);
	file_header header;
	if (!file || std::fread(&header, sizeof header, 1, file.get()) != 1)
		fail("%s: no capture", name);
	if (header.magic != microseconds && header.magic != nanoseconds)
		return;
	record_header record;
	while (std::fread(&record, sizeof record, 1, file.get()) == 1 && record.captured <= 1 << 16) {
		bytes data(record.captured);
		if (std::fread(data.data(), 1, data.size(), file.get()) != data.size())
			break;
		bytes frame = to_frame(header.link_type, data);
		if (frame.size() >= ETH_HLEN)
			frames.push_back(std::move(frame));
	}
}

// A few bytes behind the addresses changed, and sometimes the end cut off.
bytes spoil(bytes data, std::minstd_rand &random)
{
	if (random() % 4 == 0)
		data.resize(ETH_HLEN + random() % (data.size() - ETH_HLEN + 1));
	for (unsigned changes = static_cast<unsigned>(random() % 4); changes && data.size() > ETH_HLEN; --changes)
		data[12 + random() % (data.size() - 12)] = static_cast<uint8_t>(random());
	return data;
}

// The stack throws a frame away unseen whose VLAN tag, and the type behind it, are not all there.
bool is_tag_cut(const bytes &frame)
{
	const size_t type_at = ETH_ALEN + ETH_ALEN;
	const unsigned type = frame[type_at] << 8 | frame[type_at + 1];
	return (type == ETH_P_8021Q || type == ETH_P_8021AD) && frame.size() < ETH_HLEN + 6;
}

} // namespace

int replay(int count, char **arguments)
{
	if (count < 3)
		fail("replay: DEVICE ROUNDS FILE…");
	const int fd = socket(AF_PACKET, SOCK_RAW, 0);
	sockaddr_ll address = {};
	address.sll_family = AF_PACKET;
	address.sll_ifindex = index_of(arguments[0]);
	if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address))
		fail_errno("packet socket");
	std::vector<bytes> frames;
	for (int i = 2; i < count; ++i)
		read_file(arguments[i], frames);

	std::minstd_rand random;
	unsigned sent = 0;
	const int rounds = std::atoi(arguments[1]);
	for (int round = 0; round <= rounds; ++round)
		for (const bytes &frame : frames) {
			const bytes &data = round ? spoil(frame, random) : frame;
			if (is_tag_cut(data))
				continue;
			if (send(fd, data.data(), data.size(), 0) >= 0)
				++sent;
			// The receiver's queue is no longer than a thousand frames.
			if (sent % 100 == 0)
				usleep(20000);
		}
	std::printf("%u\n", sent);
	return sent ? 0 : 1;
}
