// SPDX-License-Identifier: GPL-2.0-only
#include "tools/gre_socket.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

inline constexpr unsigned batch_size = 32;
inline constexpr size_t longest_datagram = 65536;
inline constexpr int receive_buffer = 64 << 20;
inline constexpr size_t ipv4_source = 12, ipv4_destination = 16;

void set_option(int descriptor, int level, int name, int value)
{
	setsockopt(descriptor, level, name, &value, sizeof value);
}

template <class Value> bool find_control(msghdr &header, int level, int type, Value &value)
{
	for (cmsghdr *part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
		if (part->cmsg_level == level && part->cmsg_type == type) {
			std::memcpy(&value, CMSG_DATA(part), sizeof value);
			return true;
		}
	}
	return false;
}

std::string_view bytes_of(const in6_addr &address)
{
	return {reinterpret_cast<const char *>(&address), sizeof address};
}

} // namespace

struct gre_socket::batch {
	struct place {
		alignas(cmsghdr) char control[128];
		sockaddr_in6 from;
		in6_pktinfo to;
		iovec where;
	};
	std::unique_ptr<char[]> bytes{new char[batch_size * longest_datagram]};
	place places[batch_size];
	mmsghdr headers[batch_size];
	unsigned next = 0, count = 0;
};

gre_socket::gre_socket() : received(new batch) {}

gre_socket::~gre_socket()
{
	if (socket_descriptor >= 0)
		close(socket_descriptor);
}

bool gre_socket::open(int address_family)
{
	family = address_family;
	socket_descriptor = socket(family, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_GRE);
	if (socket_descriptor < 0)
		return false;
	set_option(socket_descriptor, SOL_SOCKET, SO_RCVBUFFORCE, receive_buffer);
	set_option(socket_descriptor, SOL_SOCKET, SO_TIMESTAMPNS, 1);
	if (family == AF_INET6)
		set_option(socket_descriptor, IPPROTO_IPV6, IPV6_RECVPKTINFO, 1);
	return true;
}

bool gre_socket::fill()
{
	batch &all = *received;
	for (unsigned i = 0; i < batch_size; ++i) {
		batch::place &place = all.places[i];
		place.where = {all.bytes.get() + i * longest_datagram, longest_datagram};
		all.headers[i] = {};
		msghdr &header = all.headers[i].msg_hdr;
		header.msg_name = &place.from;
		header.msg_namelen = sizeof place.from;
		header.msg_iov = &place.where;
		header.msg_iovlen = 1;
		header.msg_control = place.control;
		header.msg_controllen = sizeof place.control;
	}
	const int count = recvmmsg(socket_descriptor, all.headers, batch_size, MSG_DONTWAIT, nullptr);
	all.next = 0;
	all.count = count > 0 ? static_cast<unsigned>(count) : 0;
	return count > 0;
}

bool gre_socket::next(received_datagram &datagram)
{
	batch &all = *received;
	if (socket_descriptor < 0 || (all.next == all.count && !fill()))
		return false;
	batch::place &place = all.places[all.next];
	mmsghdr &header = all.headers[all.next++];
	std::string_view bytes(static_cast<const char *>(place.where.iov_base), header.msg_len);
	timespec when;
	if (!find_control(header.msg_hdr, SOL_SOCKET, SO_TIMESTAMPNS, when))
		clock_gettime(CLOCK_REALTIME, &when);
	datagram.seconds = when.tv_sec;
	datagram.nanoseconds = when.tv_nsec;
	if (family == AF_INET6) {
		place.to = {};
		find_control(header.msg_hdr, IPPROTO_IPV6, IPV6_PKTINFO, place.to);
		datagram.source = bytes_of(place.from.sin6_addr);
		datagram.destination = bytes_of(place.to.ipi6_addr);
	} else {
		// With its header, which the kernel has checked.
		datagram.source = bytes.substr(ipv4_source, 4);
		datagram.destination = bytes.substr(ipv4_destination, 4);
		bytes.remove_prefix(static_cast<size_t>(bytes[0] & 0x0f) * 4);
	}
	datagram.payload = bytes;
	return true;
}

uint64_t gre_socket::dropped() const
{
	uint32_t memory[SK_MEMINFO_VARS] = {};
	socklen_t length = sizeof memory;
	if (socket_descriptor < 0 || getsockopt(socket_descriptor, SOL_SOCKET, SO_MEMINFO, memory, &length) != 0)
		return 0;
	return memory[SK_MEMINFO_DROPS];
}
