// SPDX-License-Identifier: GPL-2.0-only
#include "bench/rows.h"

#include "capture/context.h"
#include "capture/ethernet.h"
#include "capture/packet.h"
#include "config/sysctl.h"
#include "include/debug_pkt_dump.h"
#include "output/buffer.h"
#include "platform/host/host.h"

#include <string>

namespace bench {

namespace {

debug_pkt_ctx context;

void parse(const std::vector<uint8_t> &frame)
{
	context.len = 0;
	const uint32_t len = static_cast<uint32_t>(frame.size());
	const wire::announced_packet bounds(frame.data(), len);
	debug_pkt_parse(&context, frame.data(), len, 0, 0);
}

sk_buff buffer;

void capture_call(const std::vector<uint8_t> &frame)
{
	buffer.data = const_cast<uint8_t *>(frame.data());
	buffer.len = static_cast<uint32_t>(frame.size());
	uol_debug_pkt_dump(&buffer, "forward", 100);
}

void follow_up(const std::vector<uint8_t> &)
{
	debug_pkt_dump(nullptr, "forward", 120, " routed", 0, 0, 4);
}

// As long as a packet's text.
void append(const std::vector<uint8_t> &)
{
	static const std::string text(500, 'a');
	debug_pkt_buf_append(text.data(), static_cast<uint32_t>(text.size()));
}

// One message: a full buffer's text, its append left out of the buffer's own deliveries.
void deliver(const std::vector<uint8_t> &)
{
	static const std::string text(4000, 'a');
	debug_pkt_buf_append(text.data(), static_cast<uint32_t>(text.size()));
	debug_pkt_send2stack(1);
}

constexpr char everything[] = "0 all 0 0 0 0 0 0 0 4294967295 0 7";
constexpr char nothing[] = "0 all 0 0 10.255.255.255 0 0 0 4 4294967295 0 7";
constexpr char passing[] = "0 eth0 0 0 0 0 0 0 1 4294967295 0 7";
constexpr char mirrored[] = "192.0.2.9 eth0 0 0 0 0 0 0 1 4294967295 0 7";
constexpr char off[] = "0 all 0 0 0 0 0 0 0 0 0 7";

} // namespace

const row rows[row_count] = {
	{"parse_mix", traffic_kind::mix, everything, parse},
	{"parse_tcp", traffic_kind::tcp, everything, parse},
	{"parse_tcp_options", traffic_kind::tcp_options, everything, parse},
	{"parse_udp", traffic_kind::udp, everything, parse},
	{"parse_dns", traffic_kind::dns, everything, parse},
	{"parse_dhcp", traffic_kind::dhcp, everything, parse},
	{"parse_dhcp6", traffic_kind::dhcp6, everything, parse},
	{"parse_icmp", traffic_kind::icmp, everything, parse},
	{"parse_icmp6", traffic_kind::icmp6, everything, parse},
	{"parse_arp", traffic_kind::arp, everything, parse},
	{"parse_vlan", traffic_kind::vlan, everything, parse},
	{"parse_igmp", traffic_kind::igmp, everything, parse},
	{"parse_vxlan", traffic_kind::vxlan, everything, parse},
	{"capture_off", traffic_kind::mix, off, capture_call},
	{"capture_everything", traffic_kind::mix, everything, capture_call},
	{"capture_passing", traffic_kind::mix, passing, capture_call},
	{"capture_refused", traffic_kind::mix, nothing, capture_call},
	{"capture_mirrored", traffic_kind::mix, mirrored, capture_call},
	{"follow_up_unchanged", traffic_kind::tcp, everything, follow_up},
	{"append", traffic_kind::mix, everything, append},
	{"delivery", traffic_kind::mix, everything, deliver},
};

std::vector<std::vector<uint8_t>> prepare(const row &chosen, uint32_t count)
{
	host::reset();
	init_module();
	host::add_device("br0");
	buffer.dev = host::add_device("eth0");
	host::set_route(buffer.dev, 0x010200c0);
	host::set_clock(1700000000, 123456789);
	host::sysctl_write("net/fw/debug_pkt_params", chosen.settings);
	traffic source(chosen.kind, 1, 1000);
	std::vector<std::vector<uint8_t>> frames;
	for (uint32_t i = 0; i < count; ++i)
		frames.push_back(source.next());
	if (chosen.work == follow_up)
		capture_call(frames.front());
	return frames;
}

} // namespace bench
