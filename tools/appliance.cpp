// SPDX-License-Identifier: GPL-2.0-only
#include "tools/appliance.h"

#include "capture/ifname.h"
#include "config/sysctl.h"
#include "include/debug_pkt_dump.h"
#include "tools/message.h"

#include <cstring>

namespace {

inline constexpr uint32_t hook_uol = 4;

struct counter_name {
	uint64_t debug_pkt_counters::*counter;
	const char *meaning;
	bool always;
};
constexpr counter_name counter_names[] = {
	{&debug_pkt_counters::matched, "matched", true},
	{&debug_pkt_counters::rendered, "texts rendered", true},
	{&debug_pkt_counters::cut_texts, "cut", true},
	{&debug_pkt_counters::dropped_texts, "dropped", true},
	{&debug_pkt_counters::delivered, "messages delivered", true},
	{&debug_pkt_counters::mirrored, "frames mirrored", true},
	{&debug_pkt_counters::discarded_bytes, "text bytes discarded", false},
	{&debug_pkt_counters::delivery_no_buffer, "deliveries without a packet buffer", false},
	{&debug_pkt_counters::delivery_no_bridge, "deliveries without br0", false},
	{&debug_pkt_counters::delivery_refused, "deliveries refused", false},
	{&debug_pkt_counters::mirror_no_route, "frames without a route to the collector", false},
	{&debug_pkt_counters::mirror_own_packet, "frames not mirrored again", false},
	{&debug_pkt_counters::mirror_no_buffer, "frames without a packet buffer", false},
	{&debug_pkt_counters::mirror_too_long, "frames too long to mirror", false},
};

void show_log_line(void *, const host::log_line &line)
{
	message("kernel log: {}", line.text.substr(0, line.text.find('\n')));
}

} // namespace

net_device *start_appliance(const capture_options &options, const std::string &port, int32_t ifindex, uint32_t mirror_source)
{
	host::set_log(show_log_line, nullptr);
	if (port != "lo")
		host::add_device("lo", ifindex == 1 ? 0 : 1);
	net_device *const device = host::add_device(port, ifindex);
	if (port != "br0")
		host::add_device("br0");
	host::set_route(device, mirror_source);
	host::set_time_zone(options.minutes_west, options.dst);

	init_module();
	const int result = host::sysctl_write("net/fw/debug_pkt_set_buff", "") |
			   host::sysctl_write("net/fw/gre_type", std::to_string(options.gre_type)) |
			   host::sysctl_write("net/fw/debug_pkt_params", options.settings);
	if (result == 0)
		return device;
	message("the settings could not be written: {}", std::strerror(-result));
	return nullptr;
}

void deliver_pending()
{
	if (this_cpu(debug_pkt_buf_end) > this_cpu(debug_pkt_buf))
		debug_pkt_send2stack(0);
}

// A packet that is no Ethernet frame comes as from a layer-3 datapath, whose port is the egress.
void datapath::take(net_device *port, const captured_packet &packet, int32_t number)
{
	host::set_clock(packet.seconds, packet.nanoseconds);
	skb.dev = port;
	skb.skb_iif = port->ifindex;
	skb.data = const_cast<uint8_t *>(packet.data);
	skb.len = packet.len;
	if (packet.level == 0) {
		uol_debug_pkt_dump(&skb, "frame", number);
	} else {
		layer3.data = skb.data;
		layer3.skb = &skb;
		layer3.egress = interface_code(port);
		debug_pkt_dump(&layer3, "frame", number, " uol entry", packet.level, packet.ethertype, hook_uol);
	}
	if (alone)
		deliver_pending();
	if (follow_ups) {
		follow(packet, number, " forward");
		follow(packet, number, "T+ done");
	}
}

void datapath::follow(const captured_packet &packet, int32_t number, const char *label)
{
	debug_pkt_dump(nullptr, "frame", number, label, packet.level, packet.ethertype, hook_uol);
	if (alone)
		deliver_pending();
}

std::string_view message_text(const uint8_t *message, size_t length)
{
	if (length <= 2)
		return {};
	const char *const text = reinterpret_cast<const char *>(message) + 1;
	return {text, strnlen(text, length - 2)};
}

void add_counters(debug_pkt_counters &sum)
{
	for (const counter_name &each : counter_names)
		sum.*each.counter += this_cpu(debug_pkt_stats).*each.counter;
}

std::string counters_text(const debug_pkt_counters &counters)
{
	std::string text;
	for (const counter_name &each : counter_names) {
		const uint64_t value = counters.*each.counter;
		if (each.always || value)
			text += fmt::format(", {} {}", each.meaning, value);
	}
	return text;
}
