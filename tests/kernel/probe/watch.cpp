// SPDX-License-Identifier: GPL-2.0-only
// Whether the text that the module delivers on br0 is, character for character, what the same capture gives in user space for the
// frames that a tap has seen at the same time. Timestamps are taken over from the text, once they lie inside the watch.
#include "tests/kernel/probe/probe.h"

#include "capture/percpu.h"
#include "config/sysctl.h"
#include "platform/host/host.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <ifaddrs.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <map>
#include <net/if.h>
#include <string_view>

namespace {

struct route {
	bytes prefix;
	unsigned length;
	std::string device;
};

struct device {
	net_device *shown;
	bytes mac;
};

struct totals {
	unsigned frames, captured, texts, forwarded, local;
};

std::map<int, device> devices; // of the machine, by index
std::vector<int> watched;
std::vector<route> routes;
std::vector<bytes> own_addresses;
time_t watch_start, watch_end;
totals sum;

void read_devices()
{
	ifaddrs *list;
	if (getifaddrs(&list))
		fail_errno("getifaddrs");
	for (const ifaddrs *each = list; each; each = each->ifa_next) {
		if (!each->ifa_addr)
			continue;
		if (each->ifa_addr->sa_family == AF_PACKET) {
			const sockaddr_ll *const link = reinterpret_cast<const sockaddr_ll *>(each->ifa_addr);
			devices[link->sll_ifindex] = {host::add_device(each->ifa_name, link->sll_ifindex),
						      bytes(link->sll_addr, link->sll_addr + 6)};
		} else if (each->ifa_addr->sa_family == AF_INET) {
			const uint8_t *const start =
				reinterpret_cast<const uint8_t *>(&reinterpret_cast<const sockaddr_in *>(each->ifa_addr)->sin_addr);
			own_addresses.emplace_back(start, start + 4);
		} else if (each->ifa_addr->sa_family == AF_INET6) {
			const uint8_t *const start = reinterpret_cast<const sockaddr_in6 *>(each->ifa_addr)->sin6_addr.s6_addr;
			own_addresses.emplace_back(start, start + 16);
		}
	}
	freeifaddrs(list);
}

// PREFIX/LENGTH=DEVICE
void add_route(const std::string &text)
{
	const size_t slash = text.find('/'), equals = text.find('=');
	uint8_t address[16];
	const bool is_ip6 = text.find(':') != std::string::npos;
	if (slash == std::string::npos || equals == std::string::npos ||
	    inet_pton(is_ip6 ? AF_INET6 : AF_INET, text.substr(0, slash).c_str(), address) != 1)
		fail("no route: %s", text.c_str());
	routes.push_back({bytes(address, address + (is_ip6 ? 16 : 4)), static_cast<unsigned>(std::stoi(text.substr(slash + 1))),
			  text.substr(equals + 1)});
}

bool in_prefix(const bytes &address, const route &way)
{
	if (address.size() != way.prefix.size())
		return false;
	for (unsigned bit = 0; bit < way.length; ++bit)
		if ((address[bit / 8] ^ way.prefix[bit / 8]) >> (7 - bit % 8) & 1)
			return false;
	return true;
}

const route *find_route(const bytes &address)
{
	for (const route &way : routes)
		if (in_prefix(address, way))
			return &way;
	return nullptr;
}

// One frame on its way, as the machine's stack has it at each checkpoint.
class passage {
public:
	explicit passage(const seen_frame &frame) : seen(frame), data(frame.data)
	{
		skb.dev = devices.at(seen.ifindex).shown;
		skb.skb_iif = seen.ifindex;
		update();
	}

	size_t network_header() const { return ETH_HLEN + (seen.tagged ? 4u : 0u); }
	uint16_t protocol() const { return get_u16(&data[network_header() - 2]); }
	bool is_ipv4() const { return protocol() == ETH_P_IP && data.size() >= network_header() + 20; }
	bool is_ipv6() const { return protocol() == ETH_P_IPV6 && data.size() >= network_header() + 40; }
	bool is_for_this_host() const { return std::equal(data.begin(), data.begin() + 6, devices.at(seen.ifindex).mac.begin()); }
	bytes destination() const
	{
		const auto ip = data.begin() + static_cast<long>(network_header());
		return is_ipv4() ? bytes(ip + 16, ip + 20) : bytes(ip + 24, ip + 40);
	}

	// Behind the first checkpoint the VLAN device, where there is one, takes a tagged packet over, and IP cuts the padding off.
	void enter_stack()
	{
		trim();
		if (!seen.tagged)
			return;
		const std::string name =
			std::string(devices.at(seen.ifindex).shown->name) + "." + std::to_string(get_u16(&data[14]) & 0xfff);
		for (const auto &[index, each] : devices)
			if (name == each.shown->name) {
				skb.skb_iif = index;
				skb.dev = each.shown;
			}
	}

	// One hop less, and the IPv4 checksum corrected for it.
	void forward()
	{
		uint8_t *const ip = &data[network_header()];
		if (is_ipv6()) {
			--ip[7];
			return;
		}
		--ip[8];
		uint32_t check = get_u16(ip + 10) + 0x0100u;
		check += check >= 0xffff;
		ip[10] = static_cast<uint8_t>(check >> 8);
		ip[11] = static_cast<uint8_t>(check);
	}

	void leave_by(const std::string &name) { skb.dev = devices.at(index_of(name)).shown; }

	sk_buff skb = {};

private:
	void trim()
	{
		const size_t ip = network_header();
		size_t length = data.size();
		if (is_ipv4())
			length = ip + get_u16(&data[ip + 2]);
		else if (is_ipv6() && get_u16(&data[ip + 4]))
			length = ip + 40 + get_u16(&data[ip + 4]);
		if (length < data.size() && length >= ip + 20) {
			data.resize(length);
			update();
		}
	}
	void update()
	{
		skb.data = data.data();
		skb.len = static_cast<uint32_t>(data.size());
	}

	const seen_frame &seen;
	bytes data;
};

// What is pending in the capture's own buffer here, taken out.
std::string take_text()
{
	const std::string text(debug_pkt_buf, debug_pkt_buf_end > debug_pkt_buf ? debug_pkt_buf_end : debug_pkt_buf);
	debug_pkt_buf_end = debug_pkt_buf;
	return text;
}

// The text of one CPU, compared from its start on.
class text_stream {
public:
	text_stream(std::string text, unsigned number) : all(std::move(text)), cpu(number) {}

	bool at_start() const { return at == 0; }
	bool at_end() const { return at == all.size(); }
	bool starts_with(std::string_view start) const { return std::string_view(all).substr(at).starts_with(start); }

	// The caller's line, the number in the next round brackets behind the function's name.
	int32_t line_of(std::string_view function) const
	{
		const size_t found = all.find("[" + std::string(function) + "(", at);
		return found == std::string::npos
			       ? 0
			       : static_cast<int32_t>(std::strtol(&all[found + function.size() + 2], nullptr, 10));
	}

	// Sets the clock here to the next timestamp there.
	void take_clock() const
	{
		const size_t found = all.find("timestamp (", at);
		tm date = {};
		long microseconds;
		if (found == std::string::npos ||
		    std::sscanf(&all[found], "timestamp (%d-%d-%d %d:%d:%d:%ld", &date.tm_year, &date.tm_mon, &date.tm_mday,
				&date.tm_hour, &date.tm_min, &date.tm_sec, &microseconds) != 7)
			return;
		date.tm_year -= 1900;
		date.tm_mon -= 1;
		const time_t seconds = timegm(&date);
		if (seconds < watch_start || seconds > watch_end)
			fail("a timestamp lies outside the watch: %s", all.substr(found, 50).c_str());
		host::set_clock(seconds, microseconds * 1000);
	}

	void expect(const std::string &text)
	{
		if (all.compare(at, text.size(), text) != 0)
			fail("cpu %u, character %zu of its text\n--- expected\n%s\n--- found\n%s", cpu, at, text.c_str(),
			     all.substr(at, text.size() + 200).c_str());
		at += text.size();
	}

private:
	const std::string all;
	const unsigned cpu;
	size_t at = 0;
};

void expect_follow_up(text_stream &found, const char *function, const char *label)
{
	// Capture may go off between two checkpoints. That no text is missing here, the number of texts tells.
	if (found.at_end())
		return;
	found.take_clock();
	debug_pkt_dump(nullptr, function, found.line_of(function), label, 0, 0, 2);
	found.expect(take_text());
	++sum.texts;
}

void expect_end(text_stream &found, const char *function, const char *label)
{
	expect_follow_up(found, function, label);
	debug_pkt_matched = 0;
}

void check_frame(text_stream &found, const seen_frame &frame)
{
	passage packet(frame);
	++sum.frames;
	found.take_clock();
	asfp_debug_pkt_dump(&packet.skb, "ingress", found.line_of("ingress"));
	const std::string text = take_text();
	if (text.empty())
		return;
	// Capture is switched on after the watch has begun, and off before it ends.
	if ((found.at_start() && !found.starts_with(text)) || found.at_end())
		return;
	found.expect(text);
	++sum.captured;
	++sum.texts;

	packet.enter_stack();
	const bool is_ip = packet.is_ipv4() || packet.is_ipv6();
	const route *const way = is_ip && packet.is_for_this_host() ? find_route(packet.destination()) : nullptr;
	const bool is_own = is_ip && packet.is_for_this_host() && std::ranges::count(own_addresses, packet.destination());
	if (way && !is_own) {
		packet.forward();
		expect_follow_up(found, "forward", " asfp forward");
		packet.leave_by(way->device);
		asfp_update_egress();
		expect_follow_up(found, "egress", " asfp egress");
		expect_end(found, "egress", "T+ egress");
		++sum.forwarded;
	} else if (found.starts_with("ASFP[local_in(")) {
		expect_end(found, "local_in", "T+ local");
		++sum.local;
	} else if (is_own && packet.is_ipv4() && !found.at_end()) {
		fail("a packet for this host has no end");
	}
}

void check_cpu(unsigned cpu, const std::vector<seen_frame> &seen, const std::string &text)
{
	host::bind_cpu(cpu);
	text_stream found(text, cpu);
	for (const seen_frame &each : seen)
		if (std::ranges::count(watched, each.ifindex))
			check_frame(found, each);
	if (!found.at_end())
		fail("cpu %u: text that no frame explains, %d characters of it", cpu, static_cast<int>(text.size()));
}

} // namespace

int watch(int count, char **arguments)
{
	if (count < 2)
		fail("watch: SETTINGS DEVICE… [-r PREFIX=DEVICE]… [-c DEVICE]");
	for (int i = 1; i < count; ++i) {
		if (!std::strcmp(arguments[i], "-r") && i + 1 < count)
			add_route(arguments[++i]);
		else if (!std::strcmp(arguments[i], "-c") && i + 1 < count)
			debug_pkt_get_cp_ifindex(static_cast<uint32_t>(index_of(arguments[++i])));
		else
			watched.push_back(index_of(arguments[i]));
	}
	read_devices();
	init_module();
	if (host::sysctl_write("net/fw/debug_pkt_params", arguments[0]))
		fail("the settings are not taken");
	debug_pkt_buf_end = debug_pkt_buf;

	watch_start = time(nullptr);
	tap eyes;
	messages cli(eyes);
	announce_start();
	wait_for_end();
	cli.wait();
	watch_end = time(nullptr);

	for (unsigned cpu = 0; cpu < eyes.cpus(); ++cpu) {
		const unsigned frames_before = sum.frames;
		check_cpu(cpu, eyes.seen(cpu), cli.text(cpu));
		std::printf("cpu%u_frames=%u cpu%u_messages=%u ", cpu, sum.frames - frames_before, cpu,
			    static_cast<unsigned>(cli.count(cpu)));
	}
	std::printf("frames=%u captured=%u texts=%u forwarded=%u local=%u\n", sum.frames, sum.captured, sum.texts, sum.forwarded,
		    sum.local);
	return 0;
}
