// SPDX-License-Identifier: GPL-2.0-only
#include "tests/kernel/probe/probe.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/if_ether.h>
#include <linux/if_link.h>
#include <linux/if_packet.h>
#include <linux/rtnetlink.h>
#include <linux/veth.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

void fail(const char *format, ...)
{
	va_list arguments;
	va_start(arguments, format);
	std::vfprintf(stdout, format, arguments);
	va_end(arguments);
	std::fputc('\n', stdout);
	std::exit(1);
}

void fail_errno(const std::string &what)
{
	fail("%s: %s", what.c_str(), std::strerror(errno));
}

int index_of(const std::string &device)
{
	const unsigned index = if_nametoindex(device.c_str());
	if (!index)
		fail("no device %s", device.c_str());
	return static_cast<int>(index);
}

void enter_namespace_of(const char *pid)
{
	const std::string path = std::string("/proc/") + pid + "/ns/net";
	const int fd = open(path.c_str(), O_RDONLY);
	if (fd < 0 || setns(fd, CLONE_NEWNET))
		fail_errno(path);
	close(fd);
}

void announce_start()
{
	sigset_t end;
	sigemptyset(&end);
	sigaddset(&end, SIGTERM);
	sigprocmask(SIG_BLOCK, &end, nullptr);
	std::puts("ready");
	std::fflush(stdout);
}

void wait_for_end()
{
	sigset_t end;
	sigemptyset(&end);
	sigaddset(&end, SIGTERM);
	int signal;
	sigwait(&end, &signal);
}

void wait_until(const std::function<bool()> &arrived, const char *what)
{
	for (unsigned tries = 0; !arrived(); ++tries) {
		if (tries == 6000)
			fail("%s", what);
		usleep(20000);
	}
}

namespace {

void set_option(int fd, int level, int name, int value)
{
	if (setsockopt(fd, level, name, &value, sizeof value))
		fail_errno("setsockopt");
}

bytes with_tag(const bytes &data, uint16_t protocol, uint16_t value)
{
	bytes tagged(data.begin(), data.begin() + 12);
	for (const uint16_t word : {protocol, value}) {
		tagged.push_back(static_cast<uint8_t>(word >> 8));
		tagged.push_back(static_cast<uint8_t>(word));
	}
	tagged.insert(tagged.end(), data.begin() + 12, data.end());
	return tagged;
}

} // namespace

tap::tap()
{
	const long cpus = sysconf(_SC_NPROCESSORS_CONF);
	for (long cpu = 0; cpu < cpus; ++cpu) {
		const int fd = socket(AF_PACKET, SOCK_RAW, 0);
		if (fd < 0)
			fail_errno("packet socket");
		set_option(fd, SOL_PACKET, PACKET_AUXDATA, 1);
		set_option(fd, SOL_SOCKET, SO_RCVBUFFORCE, 32 << 20);
		sockaddr_ll address = {};
		address.sll_family = AF_PACKET;
		address.sll_protocol = htons(ETH_P_ALL);
		if (bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address))
			fail_errno("bind");
		// The members of the group stand for the CPUs, in the order in which they join.
		set_option(fd, SOL_PACKET, PACKET_FANOUT, (getpid() & 0xffff) | PACKET_FANOUT_CPU << 16);
		sockets.push_back(fd);
	}
	// What came before all sockets had joined is on any of them.
	look();
	frames.assign(sockets.size(), {});
}

void tap::look()
{
	frames.resize(sockets.size());
	for (unsigned cpu = 0; cpu < cpus(); ++cpu)
		take(cpu);
}

void tap::take(unsigned cpu)
{
	static uint8_t buffer[1 << 18];
	for (;;) {
		alignas(cmsghdr) char control[256];
		sockaddr_ll from;
		iovec place = {buffer, sizeof buffer};
		msghdr message = {};
		message.msg_name = &from;
		message.msg_namelen = sizeof from;
		message.msg_iov = &place;
		message.msg_iovlen = 1;
		message.msg_control = control;
		message.msg_controllen = sizeof control;
		const ssize_t size = recvmsg(sockets[cpu], &message, MSG_DONTWAIT);
		if (size < 0)
			break;
		if (from.sll_pkttype == PACKET_OUTGOING)
			continue;
		seen_frame frame = {from.sll_ifindex, false, bytes(buffer, buffer + size)};
		for (cmsghdr *part = CMSG_FIRSTHDR(&message); part; part = CMSG_NXTHDR(&message, part)) {
			tpacket_auxdata beside;
			if (part->cmsg_level != SOL_PACKET || part->cmsg_type != PACKET_AUXDATA)
				continue;
			std::memcpy(&beside, CMSG_DATA(part), sizeof beside);
			if (beside.tp_status & TP_STATUS_VLAN_VALID) {
				frame.tagged = true;
				frame.data = with_tag(frame.data, beside.tp_vlan_tpid, beside.tp_vlan_tci);
			}
		}
		frames[cpu].push_back(frame);
	}
	tpacket_stats counts = {};
	socklen_t length = sizeof counts;
	if (getsockopt(sockets[cpu], SOL_PACKET, PACKET_STATISTICS, &counts, &length))
		fail_errno("packet statistics");
	if (counts.tp_drops)
		fail("the tap lost %u frames", counts.tp_drops);
}

namespace {

// A netlink request that grows by attributes; nested ones are closed in reverse order.
struct request {
	bytes data;

	size_t open_attribute(uint16_t type)
	{
		const size_t at = data.size();
		const rtattr header = {0, type};
		append(&header, sizeof header);
		return at;
	}
	void close_attribute(size_t at)
	{
		const uint16_t length = static_cast<uint16_t>(data.size() - at);
		std::memcpy(&data[at], &length, sizeof length);
		data.resize((data.size() + 3) / 4 * 4);
	}
	void attribute(uint16_t type, const void *value, size_t size)
	{
		const size_t at = open_attribute(type);
		append(value, size);
		close_attribute(at);
	}
	void append(const void *value, size_t size)
	{
		const uint8_t *const start = static_cast<const uint8_t *>(value);
		data.insert(data.end(), start, start + size);
	}
};

} // namespace

int make_veth(int count, char **arguments)
{
	if (count < 2)
		fail("veth: NAME PEER [PID]");
	const std::string name = arguments[0], peer = arguments[1];
	request link;
	nlmsghdr header = {};
	header.nlmsg_type = RTM_NEWLINK;
	header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL;
	link.append(&header, sizeof header);
	const ifinfomsg none = {};
	link.append(&none, sizeof none);
	link.attribute(IFLA_IFNAME, name.c_str(), name.size() + 1);
	const size_t info = link.open_attribute(IFLA_LINKINFO);
	link.attribute(IFLA_INFO_KIND, "veth", 5);
	const size_t data = link.open_attribute(IFLA_INFO_DATA);
	const size_t other = link.open_attribute(VETH_INFO_PEER);
	link.append(&none, sizeof none);
	link.attribute(IFLA_IFNAME, peer.c_str(), peer.size() + 1);
	if (count > 2) {
		const uint32_t pid = static_cast<uint32_t>(std::atoi(arguments[2]));
		link.attribute(IFLA_NET_NS_PID, &pid, sizeof pid);
	}
	link.close_attribute(other);
	link.close_attribute(data);
	link.close_attribute(info);
	header.nlmsg_len = static_cast<uint32_t>(link.data.size());
	std::memcpy(link.data.data(), &header, sizeof header);

	const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE);
	if (fd < 0 || send(fd, link.data.data(), link.data.size(), 0) < 0)
		fail_errno("netlink");
	struct {
		nlmsghdr header;
		nlmsgerr error;
		char rest[512];
	} answer;
	if (recv(fd, &answer, sizeof answer, 0) < 0)
		fail_errno("netlink");
	if (answer.error.error)
		fail("veth %s: %s", name.c_str(), std::strerror(-answer.error.error));
	return 0;
}
