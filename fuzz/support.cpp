// SPDX-License-Identifier: GPL-2.0-only
#include "fuzz/support.h"

#include "capture/ifname.h"
#include "capture/percpu.h"
#include "config/settings.h"
#include "config/sysctl.h"
#include "output/mirror.h"
#include "platform/host/host.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require(bool condition, const char *promise, const char *file, int line)
{
	if (condition)
		return;
	std::fprintf(stderr, "%s:%d: broken: %s\n", file, line, promise);
	std::abort();
}

void input::take(void *target, size_t size)
{
	const size_t count = std::min(size, left);
	if (count)
		std::memcpy(target, next, count);
	std::memset(static_cast<char *>(target) + count, 0, size - count);
	next += count;
	left -= count;
}

std::string input::bytes(size_t most)
{
	std::string content(std::min(most, left), '\0');
	take(content.data(), content.size());
	return content;
}

void start()
{
	host::reset();
	platform_free(debug_pkt_sysctls);
	debug_pkt_sysctls = nullptr;
	debug_pkt_sysctl_header = nullptr;
	debug_pkt_mirror_ip = debug_pkt_ip = iphdrid = 0;
	std::memcpy(debug_pkt_dev, "all\0\0\0\0\0\0\0\0", sizeof debug_pkt_dev);
	std::memset(debug_pkt_mac, 0, sizeof debug_pkt_mac);
	std::memset(debug_pkt_ip6, 0, sizeof debug_pkt_ip6);
	debug_pkt_vlan = debug_pkt_proto = debug_pkt_port = gre_type = 0;
	debug_pkt_match_flags = 0xffffffff;
	debug_pkt_type_flags = 0;
	debug_pkt_max_count = debug_pkt_cur_count = 0;
	debug_pkt_mod = 7;
	firewall_cp_ifindex = 0;
	debug_pkt_matched = 0;
	last_matched_pkt = nullptr;
	std::memset(hdrcache, 0, sizeof hdrcache);
	hdrlen = 0;
	sbeth = {};
	std::memset(debug_pkt_buf, 0, sizeof debug_pkt_buf);
	debug_pkt_buf_end = nullptr;
	debug_pkt_stats = {};
}

void take_filter(input &in)
{
	in.take(debug_pkt_mac, sizeof debug_pkt_mac);
	debug_pkt_ip = in.u32();
	in.take(debug_pkt_ip6, sizeof debug_pkt_ip6);
	debug_pkt_vlan = in.u16();
	debug_pkt_proto = in.u16();
	debug_pkt_port = in.u16();
	gre_type = in.u16();
}

void require_idle()
{
	require(debug_pkt_packet.end == UINTPTR_MAX, "no packet stays announced");
	require(debug_pkt_packet.depth == 0, "no nesting stays counted");
	require(host::live_allocations() == (debug_pkt_sysctls ? 1 : 0), "no memory stays taken");
}

} // namespace fuzz
