// SPDX-License-Identifier: GPL-2.0-only
// Mutated frames by the million on every CPU, with settings, resets, forced deliveries and failing operations in between. Ends with
// an error when a frame is not accounted for, a text is not delivered as it was appended, or memory grows.
#include "capture/datapath.h"
#include "capture/percpu.h"
#include "config/sysctl.h"
#include "platform/host/host.h"
#include "tools/capture_file.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <thread>
#include <unistd.h>

// Messages that are lost when there is no br0.
extern "C" const char *__lsan_default_suppressions()
{
	return "leak:debug_pkt_send2stack";
}

namespace {

using frame = std::vector<uint8_t>;
std::vector<frame> samples;
net_device *devices[4], *bridge;

void require(bool condition, const char *promise)
{
	if (condition)
		return;
	std::fprintf(stderr, "soak: this does not hold: %s\n", promise);
	std::_Exit(1);
}

// splitmix64: the same numbers from the same seed everywhere.
class random_numbers {
public:
	explicit random_numbers(uint64_t seed) : state(seed) {}
	uint64_t next()
	{
		uint64_t z = state += 0x9e3779b97f4a7c15;
		z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9;
		z = (z ^ z >> 27) * 0x94d049bb133111eb;
		return z ^ z >> 31;
	}
	uint32_t below(size_t n) { return static_cast<uint32_t>(next() % n); }
	bool one_in(uint32_t n) { return below(n) == 0; }
	template <class T, size_t N> T any_of(const T (&all)[N]) { return all[below(N)]; }

private:
	uint64_t state;
};

// A stream of text, by its length and hash.
struct stream {
	uint64_t length = 0, hash = 0xcbf29ce484222325;
	void add(const char *text, size_t size)
	{
		length += size;
		for (size_t i = 0; i < size; ++i)
			hash = (hash ^ static_cast<uint8_t>(text[i])) * 0x100000001b3;
	}
	bool operator==(const stream &) const = default;
};

constexpr uint32_t longest_frame = 9216;

const char *const settings_lines[] = {
	"0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 -1 0 7",
	"0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 -1 0 7",
	"0 all 02:00:00:00:00:01 2001:0db8:0000:0000:0000:0000:0000:0001 192.0.2.1 100 17 53 0 4194303 0 7",
	"0 eth1 02:00:00:00:00:01 2001:0db8:0000:0000:0000:0000:0000:0001 192.0.2.1 100 6 80 1 -1 0 7",
	"0 all 02:00:00:00:00:01 2001:0db8:0000:0000:0000:0000:0000:0001 192.0.2.1 100 17 53 32 192 0 7",
	"0 all 00:00:00:00:00:00 fe80:0000:0000:0000:0000:0000:0000:0001 10.0.0.1 0 0 67 0 3604 100 7",
	"198.51.100.7 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 -1 0 7",
	"0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 0 0 7",
};
constexpr host::fault_point faults[] = {host::fault_point::alloc_atomic,      host::fault_point::alloc,
					host::fault_point::skb_alloc,         host::fault_point::dev_get_by_index,
					host::fault_point::route_output_null, host::fault_point::route_output_error,
					host::fault_point::proc_dostring};

uint32_t pending()
{
	return debug_pkt_buf_end > debug_pkt_buf ? static_cast<uint32_t>(debug_pkt_buf_end - debug_pkt_buf) : 0;
}

// The ways on that a captured frame can take, each counted.
uint64_t ways_taken(const debug_pkt_counters &counters)
{
	return counters.rendered + counters.mirrored + counters.mirror_no_route + counters.mirror_own_packet +
	       counters.mirror_no_buffer + counters.mirror_too_long;
}

// One CPU and its own account.
class cpu {
public:
	cpu(uint32_t own_number, uint64_t seed, uint64_t share) : random(seed + own_number), number(own_number), frames(share) {}

	void run()
	{
		running = this;
		host::bind_cpu(number);
		skb.data = content;
		desc.data = content;
		desc.skb = &skb;
		for (uint64_t i = 0; i < frames; ++i) {
			one_frame();
			// What a missing bridge takes is gone: not too often, and before the memory is looked at.
			if (i < frames / 20 && random.one_in(2048))
				host::set_fault(host::fault_point::dev_get_by_name, 1);
			done.store(i + 1, std::memory_order_relaxed);
		}
		left.add(debug_pkt_buf, pending());
		debug_pkt_buf_end = debug_pkt_buf;
		counters = debug_pkt_stats;
		require(appended == left, "every text leaves its buffer once, whole and in its order");
		require(counters.delivered == delivered, "delivered messages are counted");
		require(counters.delivery_refused == refused, "refused messages are counted");
		require(counters.discarded_bytes == discarded_bytes, "discarded bytes are counted");
		require(counters.mirrored == datagrams, "mirrored frames are counted");
	}

	static int receive(void *, sk_buff *message)
	{
		const char *const data = reinterpret_cast<const char *>(message->data);
		require(data[0] == 1 && message->len >= 2 && message->len <= 4097 && message->dev == bridge,
			"messages have their form");
		require(message->len == 2 || data[message->len - 1] == 0, "a message ends in a NUL");
		running->left.add(data + 1, message->len - 2);
		running->handed_over = true;
		const bool refuse = running->random.one_in(16);
		running->refused += refuse;
		running->discarded_bytes += refuse ? message->len - 2 : 0;
		running->delivered += !refuse;
		host::free_skb(message);
		return refuse ? -105 : 0;
	}
	static int output(void *, sk_buff *datagram)
	{
		require(datagram->len == 24 + running->skb.len &&
				std::memcmp(datagram->data + 24, running->content, running->skb.len) == 0,
			"a mirrored frame is the captured one");
		++running->datagrams;
		host::free_skb(datagram);
		return 0;
	}

	std::atomic<uint64_t> done = 0;
	debug_pkt_counters counters = {};
	stream appended, left;

private:
	// One call that may append a text.
	template <class Call> void append(const Call &call)
	{
		const debug_pkt_counters before = debug_pkt_stats;
		const uint32_t was_pending = pending();
		handed_over = false;
		call();
		const uint64_t rendered = debug_pkt_stats.rendered - before.rendered,
			       dropped = debug_pkt_stats.dropped_texts - before.dropped_texts;
		const uint32_t start = handed_over ? 0 : was_pending;
		require(rendered <= 1 && dropped <= rendered && start <= pending() && pending() < sizeof debug_pkt_buf,
			"a call appends one text, which fits");
		require((rendered > dropped) == (pending() > start), "a text is appended, or dropped and counted");
		appended.add(debug_pkt_buf + start, pending() - start);
	}

	void mutate()
	{
		const frame &sample = samples[random.below(samples.size())];
		skb.len = static_cast<uint32_t>(std::min<size_t>(sample.size(), longest_frame));
		std::copy_n(sample.begin(), skb.len, content);
		if (random.one_in(4))
			return;
		if (random.one_in(16)) { // a tail of another frame
			const frame &other = samples[random.below(samples.size())];
			const uint32_t at = random.below(skb.len + 1),
				       size = static_cast<uint32_t>(std::min<size_t>(other.size(), longest_frame - at));
			std::copy_n(other.begin(), size, content + at);
			skb.len = at + size;
		}
		if (random.one_in(16))
			skb.len = random.one_in(2) ? random.below(skb.len + 1) : random.below(longest_frame + 1);
		if (!skb.len)
			return;
		static constexpr uint8_t edges[] = {0x00, 0x01, 0x7f, 0x80, 0xff};
		for (uint32_t changes = random.below(6); changes; --changes) {
			uint8_t &byte = content[random.below(random.one_in(2) ? std::min(skb.len, 128u) : skb.len)];
			byte = random.one_in(2) ? random.any_of(edges) : static_cast<uint8_t>(random.next());
		}
	}

	void capture(const char *label, bool follow_up)
	{
		static constexpr uint32_t hooks[] = {1, 2, 4, 4, 9};
		static const std::string long_name(4000, 'f');
		const char *const func = random.one_in(256) ? long_name.c_str() + random.below(2000) : "soak";
		const uint32_t level = random.one_in(16);
		const uint32_t hook = random.any_of(hooks);
		append([&] { debug_pkt_dump(follow_up ? nullptr : &desc, func, 1, label, level, level ? 0x0800 : 0, hook); });
	}

	void one_frame()
	{
		mutate();
		skb.dev = devices[random.below(3)];
		skb.skb_iif = static_cast<int32_t>(random.below(6));
		desc.egress = random.one_in(2) ? 0 : 8450 + random.below(8);
		desc.vlan = static_cast<uint16_t>(random.next());
		const debug_pkt_counters before = debug_pkt_stats;
		capture(" soak entry", false);
		const uint64_t matched = debug_pkt_stats.matched - before.matched;
		require(matched <= 1 && ways_taken(debug_pkt_stats) - ways_taken(before) == matched,
			"a captured frame is counted once");
		if (debug_pkt_matched) {
			if (random.one_in(4))
				capture(" routed", true);
			if (random.one_in(16) && skb.len) {
				++content[random.below(skb.len)];
				asfp_update_egress();
				capture(" rewritten", true);
			}
			if (random.one_in(8))
				capture("T+ done", true);
		}
		in_between();
	}

	// What the operator and other modules do.
	void in_between()
	{
		const uint32_t event = random.below(4096);
		std::string text;
		if (event < 64) {
			append([] { debug_pkt_send2stack(1); });
		} else if (event < 128) {
			char out[512];
			const uint32_t size = 1 + random.below(sizeof out);
			require(debug_pkt_to_str(&desc, 0, 0, out, size) < size, "an export stays within its size");
		} else if (event < 160) {
			check_context();
		} else if (event < 168) {
			stream with_pending = left;
			with_pending.add(debug_pkt_buf, pending());
			const uint32_t bytes = pending();
			if (host::sysctl_write("net/fw/debug_pkt_set_buff", "1") == 0) {
				left = with_pending;
				discarded_bytes += bytes;
			}
		} else if (event < 172) {
			host::sysctl_write("net/fw/debug_pkt_params", random.any_of(settings_lines));
		} else if (event < 174) {
			host::sysctl_write("net/fw/gre_type", random.one_in(2) ? "25944" : "0");
			host::sysctl_read("net/fw/debug_pkt_params", text);
		} else if (event < 176) {
			host::set_fault(random.any_of(faults), 1 + random.below(3), random.below(8));
			debug_pkt_get_cp_ifindex(random.below(6));
		}
	}

	// A context comes clear, whatever the one before held.
	void check_context()
	{
		constexpr uint32_t size = 4112;
		uint8_t *const context = static_cast<uint8_t *>(platform_alloc_atomic(size));
		if (!context)
			return;
		require(std::all_of(context, context + size, [](uint8_t byte) { return byte == 0; }), "a context comes all 0");
		platform_free_atomic(context, 0);
	}

	static inline thread_local cpu *running;
	random_numbers random;
	const uint32_t number;
	const uint64_t frames;
	sk_buff skb{};
	debug_pkt_desc desc{};
	uint8_t content[longest_frame] = {}; // bytes behind a frame are those of frames before
	bool handed_over = false;
	uint64_t delivered = 0, refused = 0, discarded_bytes = 0, datagrams = 0;
};

// Samples are Ethernet frames in capture files.
void load_samples(const std::string &path)
{
	capture_file file(path);
	file.read([](const captured_packet &packet) {
		samples.emplace_back(packet.data, packet.data + packet.len);
		return true;
	});
	if (!file.error().empty()) {
		std::fprintf(stderr, "soak: %s: %s\n", path.c_str(), file.error().c_str());
		std::exit(2);
	}
}

long resident_kib()
{
	long pages = 0, resident = 0;
	std::ifstream("/proc/self/statm") >> pages >> resident;
	return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void count_line(void *count, const host::log_line &)
{
	++*static_cast<uint64_t *>(count); // one line at a time
}

constexpr const char *usage = "usage: soak [--frames N] [--cpus N] [--seed N] [--growth KIB] CAPTURE...\n"
			      "KIB: how much the resident memory may grow behind the first tenth; 0: it is not looked at\n";

struct options {
	uint64_t frames = 1000000, cpus = std::max(1u, std::thread::hardware_concurrency()), seed = 1, growth = 0;
};

options parse(int argc, char **argv)
{
	options wanted;
	const struct {
		std::string_view name;
		uint64_t &value;
	} names[] = {{"--frames", wanted.frames}, {"--cpus", wanted.cpus}, {"--seed", wanted.seed}, {"--growth", wanted.growth}};
	for (int i = 1; i < argc; ++i) {
		const auto option =
			std::find_if(std::begin(names), std::end(names), [&](auto &each) { return each.name == argv[i]; });
		if (option != std::end(names) && i + 1 < argc)
			option->value = std::strtoull(argv[++i], nullptr, 10);
		else if (argv[i][0] == '-')
			std::fputs(usage, stderr), std::exit(2);
		else
			load_samples(argv[i]);
	}
	if (samples.empty() || !wanted.cpus)
		std::fputs(usage, stderr), std::exit(2);
	return wanted;
}

} // namespace

int main(int argc, char **argv)
{
	const options wanted = parse(argc, argv);
	uint64_t log_lines = 0;
	for (int i = 0; i < 3; ++i)
		devices[i] = host::add_device("eth" + std::to_string(i), 1 + i);
	bridge = host::add_device("br0", 9);
	host::set_route(devices[0], 0x0100000a);
	host::set_receiver(cpu::receive, nullptr);
	host::set_output(cpu::output, nullptr);
	host::set_log(count_line, &log_lines);
	init_module();
	const long allocations = host::live_allocations();
	host::sysctl_write("net/fw/debug_pkt_params", settings_lines[0]);

	std::vector<std::unique_ptr<cpu>> cpus;
	for (uint32_t i = 0; i < wanted.cpus; ++i)
		cpus.push_back(
			std::make_unique<cpu>(i, wanted.seed, wanted.frames / wanted.cpus + (i < wanted.frames % wanted.cpus)));
	std::vector<std::thread> threads;
	for (const auto &each : cpus)
		threads.emplace_back([&each] { each->run(); });
	long resident_first = 0, resident_most = 0;
	for (uint64_t done = 0; done < wanted.frames;) {
		std::this_thread::sleep_for(std::chrono::milliseconds(20));
		done = 0;
		for (const auto &each : cpus)
			done += each->done.load(std::memory_order_relaxed);
		if (done < wanted.frames / 10)
			continue;
		const long now = resident_kib();
		if (!resident_first)
			resident_first = now;
		resident_most = std::max(resident_most, now);
	}
	for (std::thread &each : threads)
		each.join();

	debug_pkt_counters sum = {};
	uint64_t text_bytes = 0;
	constexpr size_t counters = sizeof sum / sizeof(uint64_t);
	for (const auto &each : cpus) {
		text_bytes += each->appended.length;
		uint64_t values[counters], own[counters];
		std::memcpy(values, &sum, sizeof sum);
		std::memcpy(own, &each->counters, sizeof sum);
		for (size_t i = 0; i < counters; ++i)
			values[i] += own[i];
		std::memcpy(&sum, values, sizeof sum);
	}
	const uint64_t mirror_failures = ways_taken(sum) - sum.rendered - sum.mirrored;
	std::printf("%" PRIu64 " frames on %" PRIu64 " CPUs: %" PRIu64 " captured, %" PRIu64
		    " refused by the filter or lost to a full limit or no memory\n"
		    "%" PRIu64 " texts rendered (%" PRIu64 " cut, %" PRIu64 " dropped), %" PRIu64 " bytes appended, %" PRIu64
		    " discarded\n"
		    "%" PRIu64 " messages delivered; %" PRIu64 " deliveries without buffer, %" PRIu64 " without br0, %" PRIu64
		    " refused\n"
		    "%" PRIu64 " frames mirrored, %" PRIu64 " could not be\n"
		    "memory: %ld allocations and %ld buffers over (br0 missing: %" PRIu64 "), resident %ld KiB, at most %ld KiB\n",
		    wanted.frames, wanted.cpus, sum.matched, wanted.frames - sum.matched, sum.rendered, sum.cut_texts,
		    sum.dropped_texts, text_bytes, sum.discarded_bytes, sum.delivered, sum.delivery_no_buffer,
		    sum.delivery_no_bridge, sum.delivery_refused, sum.mirrored, mirror_failures,
		    host::live_allocations() - allocations, host::live_buffers(), sum.delivery_no_bridge, resident_first,
		    resident_most);

	require(sum.matched && sum.cut_texts && sum.delivered && sum.mirrored, "the run does what it is for");
	require(log_lines == sum.delivery_no_buffer + sum.delivery_no_bridge + sum.delivery_refused,
		"every failed delivery is logged once");
	require(host::live_allocations() == allocations, "all memory is given back");
	require(host::live_buffers() == static_cast<long>(sum.delivery_no_bridge),
		"all buffers are given back but those without br0");
	require(static_cast<uint64_t>(bridge->references) == sum.delivered + sum.delivery_refused,
		"a message takes one reference on br0");
	require(host::route()->references == 0, "all routes are given back");
	for (const net_device *each : {devices[0], devices[1], devices[2]})
		require(each->references == 0, "all devices are given back");
	require(!wanted.growth || resident_most - resident_first <= static_cast<long>(wanted.growth),
		"the resident memory does not grow");
	platform_free(debug_pkt_sysctls);
}
