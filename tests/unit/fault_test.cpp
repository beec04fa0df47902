// SPDX-License-Identifier: GPL-2.0-only
// Every operation of the platform that can fail, failing at each place where it is called, once and again and again: what is
// logged, what is kept, what is counted, and that the next packet is served. docs/reliability.md has the table.
#include "capture/datapath.h"
#include "capture/ifname.h"
#include "output/buffer.h"
#include "output/mirror.h"
#include "tests/unit/capture_support.h"

// Messages that are lost when there is no br0.
extern "C" const char *__lsan_default_suppressions()
{
	return "leak:debug_pkt_send2stack";
}

namespace test {

namespace {

using strings = std::vector<std::string>;
using host::fault_point;

constexpr uint32_t many = 1000;
constexpr uint32_t eth1_code = 8450 + 5;

strings take_log()
{
	strings lines;
	for (const host::log_line &line : host::take_log()) {
		EXPECT_FALSE(line.information);
		lines.push_back(line.text);
	}
	return lines;
}

// A message as it goes out behind an append.
std::string sent(const std::string &text)
{
	return "\1" + text + '\0';
}

std::string pending_text()
{
	return debug_pkt_buf_end > debug_pkt_buf ? std::string(debug_pkt_buf, debug_pkt_buf_end) : "";
}

// What is counted where nothing is but these.
debug_pkt_counters counted(std::initializer_list<std::pair<uint64_t debug_pkt_counters::*, uint64_t>> counters)
{
	debug_pkt_counters sum = {};
	for (const auto &[counter, count] : counters)
		sum.*counter = count;
	return sum;
}

} // namespace

class fault_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		eth0 = host::add_device("eth0", 3);
		host::add_device("eth1", 5);
		wan0 = host::add_device("wan0", 7);
		br0 = host::add_device("br0", 9);
		host::set_route(wan0, in_aton("192.0.2.1"));
		host::set_receiver(receive, this);
		host::set_output(output, this);
		host::set_clock(1700000000, 123456789); // 2023-11-14 22:13:20
		want_everything();
	}
	// Whatever failed: memory, routes and devices are given back, but for what a missing bridge takes.
	void TearDown() override
	{
		EXPECT_EQ(host::live_allocations(), allocations);
		EXPECT_EQ(host::live_buffers(), buffers + static_cast<long>(debug_pkt_stats.delivery_no_bridge));
		EXPECT_EQ(host::route()->references, 0);
		EXPECT_EQ(eth0->references, 0);
		EXPECT_EQ(wan0->references, 0);
		EXPECT_EQ(static_cast<uint64_t>(br0->references), debug_pkt_stats.delivered + debug_pkt_stats.delivery_refused);
		core_test::TearDown();
	}

	static int receive(void *context, sk_buff *skb)
	{
		static_cast<fault_test *>(context)->messages.emplace_back(reinterpret_cast<const char *>(skb->data), skb->len);
		host::free_skb(skb);
		return 0;
	}
	static int output(void *context, sk_buff *skb)
	{
		static_cast<fault_test *>(context)->mirrored.emplace_back(skb->data + 24, skb->data + skb->len);
		host::free_skb(skb);
		return 0;
	}
	strings take_messages() { return std::exchange(messages, {}); }

	static void capture(arrival &packet, uint32_t hook = 4)
	{
		debug_pkt_dump(&packet.desc, "rx", 77, " uol entry", 0, 0, hook);
	}
	static void follow_up(uint32_t hook = 4) { debug_pkt_dump(nullptr, "next", 88, " routed", 0, 0, hook); }
	static void expect_counted(const debug_pkt_counters &expected)
	{
		EXPECT_EQ(std::memcmp(&debug_pkt_stats, &expected, sizeof expected), 0);
	}

	// As many captures as the buffer holds without a delivery; its text.
	static std::string fill_buffer(arrival &packet, const std::string &text)
	{
		std::string pending;
		while (pending.size() + text.size() < 4096) {
			capture(packet);
			pending += text;
		}
		EXPECT_EQ(pending_text(), pending);
		return pending;
	}

	net_device *eth0, *wan0, *br0;
	strings messages;
	std::vector<bytes> mirrored;
	const long allocations = host::live_allocations(), buffers = host::live_buffers();
};

static const std::string request_lines =
	std::string("\nUOL received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
		    "[rx(77): uol entry] len 42, vlan 0, egress CP, ingress eth0:\n") +
	arp_request_text;
static const std::string request_follow_up = "[next(88): routed] len 42, vlan 0, egress CP, ingress eth0:\n";

// --- Memory of the packet path ---

TEST_F(fault_test, captures_without_memory)
{
	arrival packet(arp_request(), eth0), other(unknown_frame(), eth0);
	capture(packet);
	const debug_pkt_counters before = debug_pkt_stats;
	for (const uint32_t times : {1u, 2u, many}) {
		host::set_fault(fault_point::alloc_atomic, times);
		for (uint32_t i = 0; i < times; ++i)
			capture(other);
		EXPECT_EQ(pending_text(), request_lines);
		EXPECT_EQ(debug_pkt_matched, 1);
		EXPECT_EQ(last_matched_pkt, &packet.desc);
		EXPECT_EQ(debug_pkt_cur_count, 1);
		EXPECT_EQ(hdrlen, 42u);
		expect_counted(before);
	}
	EXPECT_EQ(host::faults_hit(fault_point::alloc_atomic), 3 + many);
	take_text();
	capture(packet);
	EXPECT_EQ(take_text(), request_lines);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(fault_test, follow_up_calls_without_memory)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	const debug_pkt_counters before = debug_pkt_stats;
	packet.desc.ingress = 1;
	host::set_fault(fault_point::alloc_atomic, many);
	for (uint32_t i = 0; i < many; ++i)
		follow_up(2);
	EXPECT_EQ(host::faults_hit(fault_point::alloc_atomic), many);
	EXPECT_EQ(pending_text(), request_lines);
	EXPECT_EQ(packet.desc.egress, 0u);
	expect_counted(before);
	follow_up();
	EXPECT_EQ(take_text(), request_lines + request_follow_up);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(fault_test, text_exports_without_memory)
{
	arrival packet(arp_request(), eth0);
	char out[512] = "before";
	host::set_fault(fault_point::alloc_atomic, many);
	for (uint32_t i = 0; i < many; ++i)
		EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out), 0u);
	EXPECT_STREQ(out, "before");
	const std::string text = std::string("len 42, vlan 0, egress CP, ingress eth0:\n") + arp_request_text;
	EXPECT_EQ(debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out), text.size());
	EXPECT_EQ(out, text);
	EXPECT_TRUE(take_log().empty());
}

// --- Deliveries ---

// What fails before the message is handed over keeps the text; the texts that then do not fit are dropped whole.
struct kept_text_fault {
	fault_point point;
	const char *line;
	uint64_t debug_pkt_counters::*counter;
};
std::ostream &operator<<(std::ostream &out, const kept_text_fault &fault)
{
	return out << host::fault_name(fault.point);
}
class kept_text_test : public fault_test, public ::testing::WithParamInterface<kept_text_fault> {};
INSTANTIATE_TEST_SUITE_P(fault_test, kept_text_test,
			 ::testing::Values(kept_text_fault{fault_point::skb_alloc, "alloc skb failed can't send message to cli\n",
							   &debug_pkt_counters::delivery_no_buffer},
					   kept_text_fault{fault_point::dev_get_by_name, "failed to get bridge net device \n",
							   &debug_pkt_counters::delivery_no_bridge}),
			 [](const ::testing::TestParamInfo<kept_text_fault> &fault) {
				 return std::string(host::fault_name(fault.param.point));
			 });

TEST_P(kept_text_test, captures_that_cannot_deliver)
{
	arrival packet(arp_request(), eth0);
	for (const uint32_t times : {1u, 2u, 100u}) {
		debug_pkt_set_buffer();
		const std::string pending = fill_buffer(packet, request_lines);
		debug_pkt_counters expected = debug_pkt_stats;
		host::set_fault(GetParam().point, times);
		for (uint32_t i = 0; i < times; ++i) {
			capture(packet);
			EXPECT_EQ(take_log(), strings{GetParam().line});
			EXPECT_EQ(pending_text(), pending);
			EXPECT_EQ(*debug_pkt_buf_end, 0);
			// The packet has passed all the same.
			EXPECT_EQ(debug_pkt_matched, 1);
			EXPECT_EQ(last_matched_pkt, &packet.desc);
			++(expected.*GetParam().counter);
			++expected.matched;
			++expected.rendered;
			++expected.dropped_texts;
			expect_counted(expected);
		}
		// A shorter text still fits.
		debug_pkt_buf_append("more\n", 5);
		EXPECT_TRUE(take_messages().empty());
		capture(packet);
		EXPECT_EQ(take_messages(), strings{sent(pending + "more\n")});
		EXPECT_EQ(pending_text(), request_lines);
		EXPECT_TRUE(take_log().empty());
	}
}

TEST_P(kept_text_test, forced_deliveries)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	debug_pkt_counters expected = debug_pkt_stats;
	host::set_fault(GetParam().point, 100);
	for (int i = 0; i < 100; ++i) {
		debug_pkt_send2stack(1);
		EXPECT_EQ(take_log(), strings{GetParam().line});
		EXPECT_EQ(pending_text(), request_lines);
		++(expected.*GetParam().counter);
		expect_counted(expected);
	}
	capture(packet);
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent(request_lines + request_lines)});
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
}

// An unset buffer asks for nothing.
TEST_P(kept_text_test, first_delivery)
{
	host::set_fault(GetParam().point, 1);
	debug_pkt_send2stack(1);
	EXPECT_EQ(host::faults_hit(GetParam().point), 0u);
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_log(), strings{GetParam().line});
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_TRUE(take_messages().empty());
}

TEST_F(fault_test, captures_whose_delivery_is_refused)
{
	arrival packet(arp_request(), eth0);
	const std::string pending = fill_buffer(packet, request_lines);
	debug_pkt_counters expected = debug_pkt_stats;
	for (int i = 0; i < 20; ++i) {
		host::set_fault(fault_point::netif_rx, 1);
		capture(packet);
		EXPECT_EQ(take_log(), strings{"netif_rx failed can't send message to stm(1:1849)\n"});
		EXPECT_EQ(pending_text(), request_lines);
		++expected.delivery_refused;
		expected.discarded_bytes += pending.size();
		++expected.matched;
		++expected.rendered;
		expect_counted(expected);
		debug_pkt_set_buffer();
		expected.discarded_bytes += request_lines.size();
		EXPECT_EQ(fill_buffer(packet, request_lines), pending);
		expected.matched += pending.size() / request_lines.size();
		expected.rendered += pending.size() / request_lines.size();
	}
	EXPECT_TRUE(take_messages().empty());
	capture(packet);
	EXPECT_EQ(take_messages(), strings{sent(pending)});
	EXPECT_EQ(pending_text(), request_lines);
}

TEST_F(fault_test, deliveries_that_fail_one_way_after_the_other)
{
	arrival packet(arp_request(), eth0);
	const std::string pending = fill_buffer(packet, request_lines);
	host::set_fault(fault_point::skb_alloc, 1);
	host::set_fault(fault_point::dev_get_by_name, 1);
	host::set_fault(fault_point::netif_rx, 1);
	capture(packet);
	capture(packet);
	EXPECT_EQ(pending_text(), pending);
	capture(packet);
	EXPECT_EQ(pending_text(), request_lines);
	EXPECT_EQ(take_log(), (strings{"alloc skb failed can't send message to cli\n", "failed to get bridge net device \n",
				       "netif_rx failed can't send message to stm(1:1849)\n"}));
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 2u);
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, pending.size());
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent(request_lines)});
	EXPECT_EQ(debug_pkt_stats.delivered, 1u);
}

// --- Device look-ups by index: the egress side's name, then the device that the buffer came in by ---

TEST_F(fault_test, device_look_ups_of_a_capture)
{
	const struct {
		uint32_t times, after;
		const char *egress, *ingress;
	} rows[] = {{0, 0, "eth1", "wan0"}, {1, 0, "unknown", "wan0"}, {1, 1, "eth1", "eth0"}, {2, 0, "unknown", "eth0"}};
	arrival packet(arp_request(), eth0, 7);
	packet.desc.egress = eth1_code;
	packet.desc.ingress = 8453;
	for (const auto &row : rows) {
		const std::string egress = row.egress, ingress = row.ingress,
				  sides = "egress " + egress + ", ingress " + ingress + ": \n";
		host::clear_faults();
		host::set_fault(fault_point::dev_get_by_index, row.times, row.after);
		capture(packet, 2);
		EXPECT_EQ(host::faults_hit(fault_point::dev_get_by_index), row.times);
		EXPECT_EQ(take_text(), "\nASFP received packet from " + ingress +
					       " ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
					       "[rx(77): uol entry] len 42, " +
					       sides + arp_request_text);
		host::set_fault(fault_point::dev_get_by_index, row.times, row.after);
		follow_up(2);
		EXPECT_EQ(take_text(), "[next(88): routed] len 42, " + sides);
	}
	host::set_fault(fault_point::dev_get_by_index, 2 * many);
	for (uint32_t i = 0; i < many; ++i) {
		follow_up(2);
		EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress unknown, ingress eth0: \n");
	}
	follow_up(2);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress eth1, ingress wan0: \n");
	EXPECT_TRUE(take_log().empty());
}

TEST_F(fault_test, device_look_up_of_a_text_export)
{
	arrival packet(unknown_frame(), eth0);
	packet.desc.egress = eth1_code;
	char out[256];
	for (int i = 0; i < 3; ++i) {
		host::set_fault(fault_point::dev_get_by_index, 1);
		debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out);
		EXPECT_EQ(out, std::string("len 22, vlan 0, egress unknown, ingress eth0:\n") + unknown_frame_text);
	}
	debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out);
	EXPECT_EQ(out, std::string("len 22, vlan 0, egress eth1, ingress eth0:\n") + unknown_frame_text);
}

// --- Mirroring ---

TEST_F(fault_test, captures_that_cannot_be_mirrored)
{
	const struct {
		fault_point point;
		uint64_t debug_pkt_counters::*counter;
	} rows[] = {{fault_point::route_output_null, &debug_pkt_counters::mirror_no_route},
		    {fault_point::route_output_error, &debug_pkt_counters::mirror_no_route},
		    {fault_point::skb_alloc, &debug_pkt_counters::mirror_no_buffer}};
	arrival packet(arp_request(), eth0);
	debug_pkt_mirror_ip = in_aton("198.51.100.7");
	debug_pkt_counters expected = {};
	for (const auto &row : rows) {
		SCOPED_TRACE(host::fault_name(row.point));
		const uint32_t next_id = iphdrid;
		host::set_fault(row.point, many);
		for (uint32_t i = 0; i < many; ++i) {
			capture(packet);
			++expected.matched;
			++(expected.*row.counter);
			expect_counted(expected);
			EXPECT_EQ(debug_pkt_matched, 1);
		}
		EXPECT_TRUE(mirrored.empty());
		EXPECT_EQ(iphdrid, next_id);
		capture(packet);
		++expected.matched;
		++expected.mirrored;
		expect_counted(expected);
		EXPECT_EQ(std::exchange(mirrored, {}), std::vector<bytes>{arp_request()});
	}
	EXPECT_EQ(debug_pkt_cur_count, static_cast<int32_t>(3 * (many + 1)));
	EXPECT_EQ(pending_text(), "");
	EXPECT_EQ(hdrlen, 0u);
	EXPECT_TRUE(take_log().empty());
}

// --- A frame in several pieces, and no memory for a copy of it ---

TEST_F(fault_test, a_frame_without_its_end_is_shown_with_zeros)
{
	const std::string received = "\nUOL received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
				     "[rx(77): uol entry] len 28, vlan 0, egress CP, ingress eth0:\n";
	const std::string cut_ping_text = "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 1 hdr len 20\n"
					  "       len 28, id 7, cksum abcd, ttl 64, dscp 0\n"
					  "       dont fragment, last fragment, frag off 0\n"
					  "    #icmp: type echo-reply(0) code 0 id 0 seq 0\n";
	const std::string next = "[next(88): routed] len 28, vlan 0, egress CP, ingress eth0:\n";
	arrival packet(ping(), eth0);
	const auto pass = [&] {
		debug_pkt_dump(&packet.desc, "rx", 77, " uol entry", 1, 0x0800, 4);
		debug_pkt_dump(nullptr, "next", 88, " routed", 1, 0x0800, 4);
		return take_text();
	};
	host::set_linear_limit(20);
	// Whether bytes that are not there have changed is not known: the checkpoint decodes again.
	for (int i = 0; i < 3; ++i)
		EXPECT_EQ(pass(), received + cut_ping_text + next + cut_ping_text);
	EXPECT_EQ(hdrlen, 28u);
	EXPECT_EQ(bytes(hdrcache, hdrcache + 28), bytes(packet.skb.data, packet.skb.data + 20) + zeros(8));
	char out[512];
	debug_pkt_to_str(&packet.desc, 1, 0x0800, out, sizeof out);
	EXPECT_EQ(out, "len 28, vlan 0, egress CP, ingress eth0:\n" + cut_ping_text);

	host::set_linear_limit(UINT32_MAX);
	EXPECT_EQ(pass(), received + ping_text + next);
}

TEST_F(fault_test, a_frame_without_its_end_is_not_mirrored)
{
	arrival packet(arp_request(), eth0);
	debug_pkt_mirror_ip = in_aton("198.51.100.7");
	host::set_linear_limit(41);
	for (uint64_t count = 1; count <= 3; ++count) {
		capture(packet);
		expect_counted(counted({{&debug_pkt_counters::matched, count}, {&debug_pkt_counters::mirror_no_buffer, count}}));
	}
	EXPECT_TRUE(mirrored.empty());
	host::set_linear_limit(42);
	capture(packet);
	EXPECT_EQ(mirrored, std::vector<bytes>{arp_request()});
}

// No room is large enough for it, but that is not why.
TEST_F(fault_test, a_long_frame_without_its_end_is_too_long)
{
	debug_pkt_mirror_ip = in_aton("198.51.100.7");
	host::set_linear_limit(65511);
	arrival longest(arp_request() + zeros(65512 - arp_request().size()), eth0);
	capture(longest);
	expect_counted(counted({{&debug_pkt_counters::matched, 1}, {&debug_pkt_counters::mirror_too_long, 1}}));
	longest.rewrite(arp_request() + zeros(65511 - arp_request().size()));
	host::set_linear_limit(65510);
	capture(longest);
	expect_counted(counted({{&debug_pkt_counters::matched, 2},
				{&debug_pkt_counters::mirror_too_long, 1},
				{&debug_pkt_counters::mirror_no_buffer, 1}}));
	EXPECT_TRUE(mirrored.empty());
}

// --- Loading ---

TEST_F(fault_test, loading_without_a_tree_and_again)
{
	for (int i = 0; i < 2; ++i) {
		host::set_fault(fault_point::alloc, 1);
		EXPECT_EQ(init_module(), 0);
		EXPECT_EQ(take_log(), strings{"debug_pkt_sysctl_register: no memory for sysctl table!\n"});
		host::set_fault(fault_point::register_sysctl, 1);
		EXPECT_EQ(init_module(), 0);
		EXPECT_EQ(take_log(), strings{"debug_pkt_sysctl_register: failed to register sysctls!\n"});
		EXPECT_EQ(debug_pkt_sysctls, nullptr);
		EXPECT_EQ(debug_pkt_sysctl_header, nullptr);
		EXPECT_EQ(host::live_allocations(), allocations);
		std::string text;
		EXPECT_EQ(host::sysctl_read("net/fw/gre_type", text), -2);
	}
	// The rest of the module works.
	arrival packet(arp_request(), eth0);
	capture(packet);
	EXPECT_EQ(take_text(), request_lines);
	EXPECT_EQ(init_module(), 0);
	EXPECT_EQ(host::sysctl_write("net/fw/gre_type", "7"), 0);
	EXPECT_EQ(gre_type, 7);
	EXPECT_TRUE(take_log().empty());
	platform_free(std::exchange(debug_pkt_sysctls, nullptr));
	host::sysctl_reset();
}

// --- Reads and writes of the entries ---

TEST_F(fault_test, entries_that_cannot_be_read_or_written)
{
	init_module();
	arrival packet(arp_request(), eth0);
	capture(packet);
	const debug_pkt_counters before = debug_pkt_stats;
	std::string line;
	ASSERT_EQ(host::sysctl_read("net/fw/debug_pkt_params", line), 0);
	const struct {
		fault_point point;
		int error;
	} rows[] = {{fault_point::alloc, -12}, {fault_point::proc_dostring, -14}};
	for (const auto &row : rows)
		for (const char *path : {"net/fw/debug_pkt_params", "net/fw/debug_pkt_set_buff", "net/fw/gre_type"}) {
			SCOPED_TRACE(std::string(host::fault_name(row.point)) + " " + path);
			host::set_fault(row.point, 200);
			for (int i = 0; i < 100; ++i) {
				std::string text;
				EXPECT_EQ(host::sysctl_write(path, "1 2 3 4 5 6 7 8 9 10 11 12"), row.error);
				EXPECT_EQ(host::sysctl_read(path, text), row.error);
				EXPECT_EQ(text, "");
			}
		}
	EXPECT_EQ(host::faults_hit(fault_point::alloc), 600u);
	EXPECT_EQ(host::faults_hit(fault_point::proc_dostring), 600u);
	// Nothing was acted on.
	std::string text;
	EXPECT_EQ(host::sysctl_read("net/fw/debug_pkt_params", text), 0);
	EXPECT_EQ(text, line);
	EXPECT_EQ(gre_type, 0);
	EXPECT_EQ(debug_pkt_mod, 7u);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(pending_text(), request_lines);
	expect_counted(before);
	EXPECT_TRUE(take_log().empty());
	// The next ones are.
	EXPECT_EQ(host::sysctl_write("net/fw/gre_type", "25"), 0);
	EXPECT_EQ(gre_type, 25);
	EXPECT_EQ(host::sysctl_write("net/fw/debug_pkt_set_buff", ""), 0);
	EXPECT_EQ(pending_text(), "");
	EXPECT_EQ(debug_pkt_cur_count, 0);
	platform_free(std::exchange(debug_pkt_sysctls, nullptr));
}

// --- Each call of each operation, in one course of events that makes all of them ---

class course_test : public fault_test {
protected:
	// What can be seen from outside, but for what was lost with a call that failed.
	std::string run()
	{
		std::string seen;
		init_module();
		for (const char *entry : {"debug_pkt_set_buff", "debug_pkt_params", "gre_type"}) {
			const std::string path = std::string("net/fw/") + entry;
			host::sysctl_write(path, "0 all 02:00:00:00:00:01 0 10.0.0.1 0 0 0 0 -1 0 7");
			std::string text;
			host::sysctl_read(path, text);
			seen += text;
		}
		want_everything(); // whether the operator got through or not
		arrival packet(arp_request(), eth0, 7);
		packet.desc.egress = eth1_code;
		for (int i = 0; i < 40; ++i) {
			capture(packet, i % 2 ? 2 : 4);
			follow_up(2);
		}
		debug_pkt_send2stack(1);
		debug_pkt_mirror_ip = in_aton("198.51.100.7");
		for (int i = 0; i < 3; ++i)
			capture(packet);
		debug_pkt_mirror_ip = 0;
		char out[256];
		seen.append(out, debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out));
		unsigned long saved;
		debug_pkt_bind_task_cpu_save(1, &saved);
		debug_pkt_bind_task_cpu_restore(saved);
		for (const std::string &each : take_messages())
			seen += each;
		for (const bytes &each : std::exchange(mirrored, {}))
			seen.append(each.begin(), each.end());
		check_counters();
		platform_free(std::exchange(debug_pkt_sysctls, nullptr));
		host::sysctl_reset();
		return seen;
	}
	// Every frame and every failure is somewhere.
	static void check_counters()
	{
		const debug_pkt_counters &counters = debug_pkt_stats;
		const uint64_t failed = counters.delivery_no_buffer + counters.delivery_no_bridge + counters.delivery_refused;
		size_t delivery_lines = 0;
		for (const std::string &line : take_log())
			delivery_lines += line.find("sysctl") == line.npos;
		EXPECT_EQ(delivery_lines, failed - failures_seen);
		failures_seen = failed;
		EXPECT_LE(counters.dropped_texts, counters.delivery_no_buffer + counters.delivery_no_bridge);
		EXPECT_EQ(counters.cut_texts, 0u);
	}
	static inline uint64_t failures_seen;
};

TEST_F(course_test, every_call_of_every_operation)
{
	failures_seen = 0;
	const std::string whole = run();
	EXPECT_EQ(run(), whole);
	for (unsigned number = 0; number < static_cast<unsigned>(fault_point::count_of_points); ++number) {
		const fault_point point = static_cast<fault_point>(number);
		SCOPED_TRACE(host::fault_name(point));
		unsigned places = 0;
		for (;; ++places) {
			host::set_fault(point, 1, places);
			run();
			const bool reached = host::faults_hit(point) != 0;
			host::clear_faults();
			debug_pkt_set_buffer();
			ASSERT_EQ(run(), whole) << "after the failure of call " << places;
			if (!reached)
				break;
		}
		EXPECT_GT(places, 0u);
		// All of them at once.
		host::set_fault(point, UINT32_MAX);
		run();
		EXPECT_GE(host::faults_hit(point), 1u);
		host::clear_faults();
		debug_pkt_set_buffer();
		ASSERT_EQ(run(), whole) << "after every call failed";
	}
}

} // namespace test
