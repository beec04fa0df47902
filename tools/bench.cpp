// SPDX-License-Identifier: GPL-2.0-only
#include "tools/bench.h"

#include "capture/datapath.h"
#include "config/settings.h"
#include "include/debug_pkt_dump.h"
#include "tools/appliance.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace {

// A TCP connection's first segment, with four options.
constexpr uint8_t frame[] = {
	0x02, 0x00, 0x5e, 0x10, 0x00, 0x02, 0x02, 0x00, 0x5e, 0x10, 0x00, 0x01, 0x08, 0x00, // Ethernet
	0x45, 0x00, 0x00, 0x3c, 0x12, 0x34, 0x40, 0x00, 0x40, 0x06, 0xa4, 0x83, 0xc0, 0x00,
	0x02, 0x01, 0xc0, 0x00, 0x02, 0x02, // IPv4
	0x9c, 0x40, 0x1f, 0x90, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0xa0, 0x02,
	0xfa, 0xf0, 0x5e, 0x1f, 0x00, 0x00, // TCP
	0x02, 0x04, 0x05, 0xb4, 0x04, 0x02, 0x08, 0x0a, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00,
	0x00, 0x00, 0x01, 0x03, 0x03, 0x07, // options
};
constexpr int64_t time_of_day = 1'700'000'000; // 2023-11-14 22:13:20

constexpr char off[] = "0 all 0 0 0 0 0 0 0 0 0 7";
constexpr char no_match[] = "0 all 0 0 10.9.8.7 0 0 0 4 64 0 7";
constexpr char match[] = "0 all 0 0 192.0.2.1 0 0 0 4 64 0 7";

// The peer: the C library prints what the decoders print, with every value at hand.
int print_lines(char *text, size_t room)
{
	return std::snprintf(text, room,
			     "  #mac: etype %02x%02x smac %02x:%02x:%02x:%02x:%02x:%02x dmac %02x:%02x:%02x:%02x:%02x:%02x\n"
			     "  #ip: sip %d.%d.%d.%d, dip %d.%d.%d.%d, proto %d hdr len %d\n"
			     "       len %d, id %d, cksum %x, ttl %d, dscp %d\n"
			     "       %s, %s, frag off %d\n"
			     "    #tcp: sport %d dport %d, seq %u, ack %u, cksum %x, hdr len %d%s%s%s%s%s%s\n"
			     "    #tcp: option type %d len %d %d\n"
			     "    #tcp: option type %d len %d \n"
			     "    #tcp: option type %d len %d %02x%02x%02x%02x%02x%02x%02x%02x\n"
			     "    #tcp: option type %d len %d %d\n",
			     frame[12], frame[13], frame[6], frame[7], frame[8], frame[9], frame[10], frame[11], frame[0], frame[1],
			     frame[2], frame[3], frame[4], frame[5], frame[26], frame[27], frame[28], frame[29], frame[30],
			     frame[31], frame[32], frame[33], frame[23], 20, 60, 0x1234, 0xa483, frame[22], frame[15] >> 2,
			     "dont fragment", "last fragment", 0, 40000, 8080, 1u, 0u, 0x5e1f, 40, "", ", syn", "", "", "", "", 2,
			     4, 1460, 4, 2, 8, 10, frame[62], frame[63], frame[64], frame[65], frame[66], frame[67], frame[68],
			     frame[69], 3, 3, 7);
}

int print_export(char *text, size_t room)
{
	const int head = std::snprintf(text, room, "len %d, vlan %d, egress %s, ingress %s:\n", static_cast<int>(sizeof frame), 0,
				       "CP", "eth0");
	return head + print_lines(text + head, room - static_cast<size_t>(head));
}

int print_capture(char *text, size_t room)
{
	const int head = std::snprintf(text, room,
				       "\n%s received packet from %s ([cpu %d] timestamp (%d-%d-%d %02u:%02u:%02u:%06ld))\n"
				       "[%s(%d):%s] len %d, vlan %d, egress %s, ingress %s:\n",
				       "UOL", "eth0", 0, 2023, 11, 14, 22u, 13u, 20u, 0l, "frame", 1, " uol entry",
				       static_cast<int>(sizeof frame), 0, "CP", "eth0");
	return head + print_lines(text + head, room - static_cast<size_t>(head));
}

struct bed {
	sk_buff skb = {};
	debug_pkt_desc desc = {};
	std::string delivered;
	char text[4096];
};

int take_message(void *context, sk_buff *message)
{
	static_cast<bed *>(context)->delivered = message_text(message->data, message->len);
	host::free_skb(message);
	return 0;
}

[[gnu::noinline]] void nothing()
{
	asm volatile("");
}

void guarded_call(bed &on)
{
	if (debug_pkt_enabled())
		uol_debug_pkt_dump(&on.skb, "frame", 1);
	asm volatile("" ::: "memory");
}

struct measurement {
	const char *what;
	const char *settings;                     // written before
	std::function<void(bed &, unsigned)> run; // so many times
	int peer;                                 // row of what it is compared with
	std::vector<double> nanoseconds;          // of each round
};

std::vector<measurement> all_measurements()
{
	const auto repeat = [](auto call) {
		return [call](bed &on, unsigned times) {
			for (unsigned i = 0; i < times; ++i)
				call(on);
		};
	};
	return {
		{"call of an empty function", off, repeat([](bed &) { nothing(); }), -1, {}},
		{"guarded call, capture off", off, repeat(guarded_call), 0, {}},
		{"snprintf of a packet's lines", off, repeat([](bed &on) { print_export(on.text, sizeof on.text); }), -1, {}},
		{"rendering alone, no filter, no delivery",
		 off,
		 repeat([](bed &on) { debug_pkt_to_str(&on.desc, 0, 0, on.text, sizeof on.text); }),
		 2,
		 {}},
		{"snprintf of a captured packet's text",
		 off,
		 repeat([](bed &on) { print_capture(on.text, sizeof on.text); }),
		 -1,
		 {}},
		{"call, armed, the packet does not match", no_match, repeat(guarded_call), 4, {}},
		{"call, armed, the packet matches", match, repeat(guarded_call), 4, {}},
		{"checkpoint, headers unchanged",
		 match,
		 repeat([](bed &) { debug_pkt_dump(nullptr, "frame", 1, " forward", 0, 0, 4); }),
		 4,
		 {}},
	};
}

double time_of(measurement &each, bed &on, unsigned times)
{
	using clock = std::chrono::steady_clock;
	const clock::time_point start = clock::now();
	each.run(on, times);
	return std::chrono::duration<double, std::nano>(clock::now() - start).count() / times;
}

// What is measured must do what it says: the texts are the peer's, and only a match renders.
std::string first_difference(bed &on)
{
	char peer[4096];
	print_export(peer, sizeof peer);
	debug_pkt_to_str(&on.desc, 0, 0, on.text, sizeof on.text);
	if (std::strcmp(on.text, peer) != 0)
		return fmt::format("rendered:\n{}snprintf:\n{}", on.text, peer);
	for (const char *const settings : {off, no_match, match}) {
		host::sysctl_write("net/fw/debug_pkt_params", settings);
		guarded_call(on);
	}
	on.delivered.clear();
	debug_pkt_send2stack(0);
	print_capture(peer, sizeof peer);
	return on.delivered == peer ? "" : fmt::format("rendered:\n{}snprintf:\n{}", on.delivered, peer);
}

std::string processor_name()
{
	std::ifstream list("/proc/cpuinfo");
	for (std::string line; std::getline(list, line);) {
		if (line.starts_with("model name"))
			return line.substr(std::min(line.find(": "), line.size() - 2) + 2);
	}
	return "unknown processor";
}

double part(const std::vector<double> &sorted, double share)
{
	return sorted[static_cast<size_t>(static_cast<double>(sorted.size() - 1) * share)];
}

void print_table(std::vector<measurement> &rows)
{
	for (measurement &row : rows)
		std::sort(row.nanoseconds.begin(), row.nanoseconds.end());
	std::printf("%-42s %10s %21s   %s\n", "", "ns a call", "10 % to 90 %", "against");
	for (const measurement &row : rows) {
		const double median = part(row.nanoseconds, 0.5);
		std::printf("%-42s %10.1f %10.1f %10.1f", row.what, median, part(row.nanoseconds, 0.1), part(row.nanoseconds, 0.9));
		if (row.peer >= 0) {
			const measurement &peer = rows[static_cast<size_t>(row.peer)];
			std::printf("   %.2f of: %s", median / part(peer.nanoseconds, 0.5), peer.what);
		}
		std::printf("\n");
	}
}

} // namespace

exit_status run_bench(const bench_options &options)
{
	capture_options capture;
	capture.settings = off;
	bed on;
	net_device *const device = start_appliance(capture, "eth0", 2, 0);
	if (!device)
		return exit_environment;
	host::set_receiver(take_message, &on);
	host::set_clock(time_of_day, 0);
	on.skb.dev = device;
	on.skb.skb_iif = device->ifindex;
	on.skb.data = const_cast<uint8_t *>(frame);
	on.skb.len = sizeof frame;
	on.desc.skb = &on.skb;
	on.desc.data = on.skb.data;
	if (const std::string difference = first_difference(on); !difference.empty()) {
		message("the texts differ, nothing is measured; {}", difference);
		return exit_environment;
	}

	constexpr double round_length = 2e6; // nanoseconds
	std::vector<measurement> rows = all_measurements();
	std::vector<unsigned> times(rows.size());
	for (unsigned round = 0; round <= options.rounds; ++round) {
		for (size_t i = 0; i < rows.size(); ++i) {
			host::sysctl_write("net/fw/debug_pkt_params", rows[i].settings);
			guarded_call(on);
			if (round == 0)
				times[i] =
					static_cast<unsigned>(std::clamp(round_length / time_of(rows[i], on, 10000), 100.0, 1e8));
			else
				rows[i].nanoseconds.push_back(time_of(rows[i], on, times[i]));
		}
	}
	std::printf("%s; median of %u rounds; a text of %d bytes, a frame of %zu\n", processor_name().c_str(), options.rounds,
		    print_capture(on.text, sizeof on.text), sizeof frame);
	print_table(rows);
	if (std::fflush(stdout) == 0)
		return exit_done;
	message("standard output cannot be written");
	return exit_environment;
}
