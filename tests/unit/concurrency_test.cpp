// SPDX-License-Identifier: GPL-2.0-only
// Many CPUs at once: every text that a CPU appended, and that was not dropped and counted, leaves its buffer once, whole and in
// its order, whatever the other CPUs, the operator and other modules do meanwhile.
#include "output/mirror.h"
#include "tests/unit/capture_support.h"

#include <random>
#include <thread>

// Messages that are lost when there is no br0.
extern "C" const char *__lsan_default_suppressions()
{
	return "leak:debug_pkt_send2stack";
}

namespace test {

namespace {

constexpr uint32_t cpus = 4;
constexpr int32_t packets = 1500;
constexpr int64_t moment = 1700000000; // 2023-11-14 22:13:20

// What one CPU appended, and what left its buffer: delivered, refused, discarded by a reset, or pending at the end.
struct account {
	std::string appended, left;
	uint64_t delivered = 0, refused = 0, refused_bytes = 0, datagrams = 0;
	const bytes *frame = nullptr; // the one being captured
};
thread_local account *own;

// Runs work(cpu) on every CPU at once.
template <class Work> void on_all_cpus(uint32_t count, const Work &work)
{
	std::atomic<uint32_t> ready = 0;
	std::vector<std::thread> threads;
	for (uint32_t cpu = 0; cpu < count; ++cpu)
		threads.emplace_back([&, cpu] {
			host::bind_cpu(cpu);
			host::set_clock(moment, 123456789);
			for (++ready; ready < count;)
				std::this_thread::yield();
			work(cpu);
		});
	for (std::thread &each : threads)
		each.join();
}

// An echo request whose id and sequence number are the packet's number.
bytes numbered_ping(int32_t number)
{
	return hex("45 00 001c 0007 4000 40 01 abcd 0a000001 0a000002 08 00 f7fd") + big32(static_cast<uint32_t>(number));
}

// What its capture call prints.
std::string capture_text(uint32_t cpu, const std::string &func, int32_t number)
{
	const std::string n = std::to_string(cpu);
	return "\nUOL received packet from eth" + n + " ([cpu " + n + "] timestamp (2023-11-14 22:13:20:123456))\n" + "[" + func +
	       "(" + std::to_string(number) + "): uol entry] len 28, vlan " + n + ", egress CP, ingress eth" + n + ":\n" +
	       "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 1 hdr len 20\n"
	       "       len 28, id 7, cksum abcd, ttl 64, dscp 0\n"
	       "       dont fragment, last fragment, frag off 0\n"
	       "    #icmp: type echo-request(8) code 0 id " +
	       std::to_string(number >> 16) + " seq " + std::to_string(number & 0xffff) + "\n";
}

std::string checkpoint_text(uint32_t cpu, const std::string &func, int32_t number)
{
	const std::string n = std::to_string(cpu);
	return "[" + func + "(" + std::to_string(number) + "): routed] len 28, vlan " + n + ", egress CP, ingress eth" + n + ":\n";
}

std::string done_text(const std::string &func, int32_t number)
{
	return "UOL[" + func + "(" + std::to_string(number) + ")] process done(timestamp (2023-11-14 22:13:20:123456))\n";
}

// Texts of all lengths, now and then one that nearly fills a buffer.
std::string caller_name(int32_t number)
{
	return std::string(number % 16 == 0 ? 1000 + static_cast<size_t>(number) * 7 % 2700 : static_cast<size_t>(number) % 61,
			   'f');
}

uint64_t frames_accounted_for(const debug_pkt_counters &counters)
{
	return counters.rendered + counters.mirrored + counters.mirror_no_route + counters.mirror_own_packet +
	       counters.mirror_no_buffer + counters.mirror_too_long;
}

class concurrency_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		for (uint32_t cpu = 0; cpu < cpus; ++cpu)
			devices.push_back(host::add_device("eth" + std::to_string(cpu), static_cast<int32_t>(3 + cpu)));
		br0 = host::add_device("br0", 20);
		host::set_receiver(receive, this);
		host::set_output(output, nullptr);
		EXPECT_EQ(init_module(), 0);
		want_everything();
	}

	// Deliveries come one at a time: what they share needs no lock.
	static int receive(void *context, sk_buff *skb)
	{
		concurrency_test *const self = static_cast<concurrency_test *>(context);
		++self->messages;
		const bool refused = self->refuse_every && self->messages % self->refuse_every == 0;
		EXPECT_EQ(skb->dev, self->br0);
		const char *const data = reinterpret_cast<const char *>(skb->data);
		EXPECT_EQ(data[0], 1);
		if (own) {
			if (skb->len > 2) {
				EXPECT_EQ(data[skb->len - 1], 0);
			}
			own->left.append(data + 1, skb->len - 2);
			own->refused_bytes += refused ? skb->len - 2 : 0;
			++(refused ? own->refused : own->delivered);
		}
		host::free_skb(skb);
		return refused;
	}

	static int output(void *, sk_buff *skb)
	{
		++own->datagrams;
		EXPECT_EQ(bytes(skb->data + 24, skb->data + skb->len), *own->frame);
		host::free_skb(skb);
		return 0;
	}

	// One call, whose text is expected unless the counters say that there is none.
	template <class Call> static void expect(const Call &call, const std::string &text)
	{
		const debug_pkt_counters before = debug_pkt_stats;
		call();
		const uint64_t rendered = debug_pkt_stats.rendered - before.rendered,
			       dropped = debug_pkt_stats.dropped_texts - before.dropped_texts;
		ASSERT_LE(dropped, rendered);
		ASSERT_LE(rendered, 1u);
		if (rendered > dropped)
			own->appended += text;
	}

	// A packet's life: capture, and now and then checkpoints.
	void pass(arrival &packet, uint32_t cpu, int32_t number)
	{
		const bytes frame = numbered_ping(number);
		own->frame = &frame;
		packet.rewrite(frame);
		packet.desc.vlan = static_cast<uint16_t>(cpu);
		const std::string func = caller_name(number);
		const debug_pkt_counters before = debug_pkt_stats;
		expect([&] { debug_pkt_dump(&packet.desc, func.c_str(), number, " uol entry", 1, 0x0800, 4); },
		       capture_text(cpu, func, number));
		const uint64_t matched = debug_pkt_stats.matched - before.matched;
		ASSERT_LE(matched, 1u);
		ASSERT_EQ(frames_accounted_for(debug_pkt_stats) - frames_accounted_for(before), matched);
		if (debug_pkt_stats.rendered == before.rendered)
			return;
		if (number % 3 == 0)
			expect([&] { debug_pkt_dump(nullptr, func.c_str(), number, " routed", 1, 0x0800, 4); },
			       checkpoint_text(cpu, func, number));
		if (number % 5 == 0)
			expect([&] { debug_pkt_dump(nullptr, func.c_str(), number, "T+ done", 1, 0x0800, 4); },
			       done_text(func, number));
	}

	std::vector<net_device *> devices;
	net_device *br0;
	uint64_t messages = 0; // under the delivery lock
	uint64_t refuse_every = 0;
};

const char all_packets[] = "0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 -1 0 7";

} // namespace

TEST_F(concurrency_test, every_text_arrives_once_whole_and_in_order)
{
	std::atomic<uint64_t> delivered = 0;
	std::atomic<uint32_t> capturing = cpus;
	on_all_cpus(cpus + 1, [&](uint32_t cpu) {
		// One CPU captures nothing; a module on it forces deliveries.
		if (cpu == cpus) {
			do {
				debug_pkt_send2stack(1);
			} while (capturing);
			EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
			delivered += debug_pkt_stats.delivered;
			return;
		}
		account mine;
		own = &mine;
		arrival packet({}, devices[cpu]);
		for (int32_t number = 0; number < packets; ++number) {
			pass(packet, cpu, number);
			if (number % 101 == 0)
				debug_pkt_send2stack(1);
		}
		mine.left += take_text();
		EXPECT_TRUE(mine.left == mine.appended);
		EXPECT_EQ(debug_pkt_stats.matched, static_cast<uint64_t>(packets));
		EXPECT_EQ(debug_pkt_stats.rendered, static_cast<uint64_t>(packets + packets / 3 + packets / 5));
		EXPECT_EQ(debug_pkt_stats.dropped_texts, 0u);
		EXPECT_EQ(debug_pkt_stats.discarded_bytes, 0u);
		EXPECT_EQ(debug_pkt_stats.delivered, mine.delivered);
		delivered += mine.delivered;
		--capturing;
	});
	EXPECT_EQ(debug_pkt_cur_count, static_cast<int32_t>(cpus) * packets);
	EXPECT_EQ(messages, delivered);
	EXPECT_EQ(static_cast<uint64_t>(br0->references), messages);
	EXPECT_TRUE(host::take_log().empty());
}

// Captures that do nearly nothing but count.
TEST_F(concurrency_test, no_packet_is_missing_in_the_count)
{
	constexpr int32_t frames = 30000;
	debug_pkt_mirror_ip = in_aton("198.51.100.7");
	on_all_cpus(cpus, [&](uint32_t cpu) {
		arrival packet({}, devices[cpu]);
		for (int32_t i = 0; i < frames; ++i)
			debug_pkt_dump(&packet.desc, "rx", 1, " uol entry", 2, 0, 4);
		EXPECT_EQ(debug_pkt_stats.mirror_no_route, static_cast<uint64_t>(frames));
	});
	EXPECT_EQ(debug_pkt_cur_count, static_cast<int32_t>(cpus) * frames);
}

// Settings change, buffers are reset, memory runs out, messages are refused: a text is there as a whole, or not and counted.
TEST_F(concurrency_test, texts_stay_whole_while_everything_changes_and_fails)
{
	const std::string lines[] = {
		all_packets,
		"0 all 02:00:00:00:00:01 2001:0db8:0000:0000:0000:0000:0000:0001 10.0.0.1 0 1 0 36 8 0 7", // ICMP of an address
		all_packets,
		"0 eth1 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 1 -1 0 7",           // one device
		"198.51.100.7 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 -1 0 7", // mirrored
		"0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 -1 5 7",            // the next five
		"0 all 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 0 0 0 0 0 0 7",             // none
	};
	constexpr host::fault_point faults[] = {host::fault_point::alloc_atomic, host::fault_point::skb_alloc,
						host::fault_point::dev_get_by_name, host::fault_point::route_output_null,
						host::fault_point::route_output_error};
	refuse_every = 5;
	host::set_route(devices[0], in_aton("192.0.2.1"));
	std::atomic<uint32_t> capturing = cpus;
	std::atomic<uint64_t> no_bridge = 0, log_lines = 0;
	on_all_cpus(cpus + 2, [&](uint32_t cpu) {
		std::mt19937 random(cpu + 1);
		const auto below = [&](size_t n) { return static_cast<uint32_t>(random() % n); };
		if (cpu == cpus) { // the operator
			while (capturing) {
				EXPECT_EQ(host::sysctl_write("net/fw/debug_pkt_params", lines[below(std::size(lines))]), 0);
				EXPECT_EQ(host::sysctl_write("net/fw/gre_type", "25944"), 0);
				std::string line;
				EXPECT_EQ(host::sysctl_read("net/fw/debug_pkt_params", line), 0);
				EXPECT_TRUE(line.starts_with("mirror ") && line.ends_with("\n")) << line;
			}
			return;
		}
		if (cpu == cpus + 1) { // what fails, and a module that moves the control plane
			while (capturing) {
				host::set_fault(faults[below(std::size(faults))], 1 + below(3), below(20));
				debug_pkt_get_cp_ifindex(3 + below(cpus));
				std::this_thread::yield();
			}
			return;
		}
		account mine;
		own = &mine;
		arrival packet({}, devices[cpu]);
		uint64_t reset_bytes = 0;
		for (int32_t number = 0; number < 2 * packets; ++number) {
			pass(packet, cpu, number);
			if (below(50) == 0)
				debug_pkt_send2stack(1);
			if (below(100) == 0) {
				const std::string pending = take_text();
				debug_pkt_buf_end = debug_pkt_buf + pending.size();
				EXPECT_EQ(host::sysctl_write("net/fw/debug_pkt_set_buff", "1"), 0);
				EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
				EXPECT_EQ(debug_pkt_matched, 0);
				mine.left += pending;
				reset_bytes += pending.size();
			}
		}
		mine.left += take_text();
		EXPECT_TRUE(mine.left == mine.appended);
		const debug_pkt_counters &counters = debug_pkt_stats;
		EXPECT_EQ(counters.delivered, mine.delivered);
		EXPECT_EQ(counters.delivery_refused, mine.refused);
		EXPECT_EQ(counters.discarded_bytes, mine.refused_bytes + reset_bytes);
		EXPECT_EQ(counters.mirrored, mine.datagrams);
		no_bridge += counters.delivery_no_bridge;
		log_lines += counters.delivery_no_bridge + counters.delivery_no_buffer + counters.delivery_refused;
		--capturing;
	});
	host::clear_faults();
	EXPECT_EQ(host::route()->references, 0);
	EXPECT_EQ(host::live_buffers(), static_cast<long>(no_bridge));
	EXPECT_EQ(host::take_log().size(), log_lines);
}

} // namespace test
