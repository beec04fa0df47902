// SPDX-License-Identifier: GPL-2.0-only
#include "capture/datapath.h"
#include "capture/ifname.h"
#include "tests/unit/capture_support.h"

#include <csignal>
#include <random>
#include <sys/mman.h>
#include <thread>

namespace test {

static constexpr int64_t moment = 1700000000; // 2023-11-14 22:13:20

class dump_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		eth0 = host::add_device("eth0", 3);
		host::set_clock(moment, 123456789);
		want_everything();
		debug_pkt_buf_end = debug_pkt_buf;
	}

	static void capture(arrival &packet, uint32_t hook = 4, uint32_t level = 0, uint32_t ethertype = 0)
	{
		debug_pkt_dump(&packet.desc, "rx", 77, " uol entry", level, ethertype, hook);
	}
	static void follow_up(const char *label = " routed", uint32_t hook = 4, uint32_t level = 0, uint32_t ethertype = 0)
	{
		debug_pkt_dump(nullptr, "next", 88, label, level, ethertype, hook);
	}

	static void expect_not_matched()
	{
		EXPECT_EQ(debug_pkt_matched, 0);
		EXPECT_EQ(last_matched_pkt, nullptr);
	}

	net_device *eth0;
};

static const std::string received_uol = "\nUOL received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n";
static const std::string request_lines =
	received_uol + "[rx(77): uol entry] len 42, vlan 0, egress CP, ingress eth0:\n" + arp_request_text;
static const std::string request_follow_up = "[next(88): routed] len 42, vlan 0, egress CP, ingress eth0:\n";

// --- Switched off, no memory, the limit ---

TEST_F(dump_test, nothing_at_all_happens_while_capture_is_off)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	EXPECT_EQ(take_text(), request_lines);
	debug_pkt_type_flags = 0;
	debug_pkt_max_count = 1;
	host::set_fault(host::fault_point::alloc_atomic, 1000);

	arrival other(unknown_frame(), eth0);
	capture(other);
	follow_up();
	follow_up("T+ done");
	EXPECT_EQ(host::faults_hit(host::fault_point::alloc_atomic), 0u);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(last_matched_pkt, &packet.desc);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(hdrlen, 42u);
}

TEST_F(dump_test, without_memory_a_capture_call_leaves_everything_as_it_was)
{
	arrival packet(arp_request(), eth0), other(unknown_frame(), eth0);
	capture(packet);
	take_text();
	const debug_pkt_counters before = debug_pkt_stats;
	debug_pkt_max_count = 1; // not even the limit is looked at
	host::set_fault(host::fault_point::alloc_atomic, 1);
	capture(other);
	EXPECT_EQ(host::faults_hit(host::fault_point::alloc_atomic), 1u);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_type_flags, 0xffffffff);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(last_matched_pkt, &packet.desc);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(hdrlen, 42u);
	EXPECT_EQ(std::memcmp(&debug_pkt_stats, &before, sizeof before), 0);
	EXPECT_TRUE(host::take_log().empty());
}

TEST_F(dump_test, without_memory_a_follow_up_call_does_nothing)
{
	arrival packet(arp_request(), eth0);
	capture(packet, 2);
	take_text();
	host::set_fault(host::fault_point::alloc_atomic, 1);
	packet.desc.ingress = 1;
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(packet.desc.egress, 0u);
	follow_up(" routed", 4);
	EXPECT_EQ(take_text(), request_follow_up);
	EXPECT_EQ(host::live_allocations(), 0);
}

TEST_F(dump_test, the_call_after_the_limit_switches_capture_off)
{
	arrival packet(arp_request(), eth0), fourth(unknown_frame(), eth0);
	debug_pkt_max_count = 3;
	for (int i = 1; i <= 3; ++i) {
		capture(packet);
		EXPECT_EQ(take_text(), request_lines);
		EXPECT_EQ(debug_pkt_cur_count, i);
		EXPECT_EQ(debug_pkt_type_flags, 0xffffffff);
	}
	capture(fourth);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_type_flags, 0u);
	EXPECT_EQ(debug_pkt_cur_count, 3);

	// The limit comes before this CPU's state is cleared: the third packet is still the last one that passed.
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(last_matched_pkt, &packet.desc);
	follow_up();
	EXPECT_EQ(take_text(), "");
	debug_pkt_type_flags = 0x1;
	follow_up();
	EXPECT_EQ(take_text(), request_follow_up);
	EXPECT_EQ(debug_pkt_type_flags, 0x1u);
	EXPECT_EQ(host::live_allocations(), 0);

	char line[debug_pkt_settings_size];
	capture(fourth);
	debug_pkt_get_sysctl(line);
	EXPECT_STREQ(line, "mirror 0.0.0.0, dev all, mac 00:00:00:00:00:00, ip 0.0.0.0, ipv6 "
			   "0000:0000:0000:0000:0000:0000:0000:0000, vlan 0, proto 0x0, port 0, match none, type none, count 3");
}

TEST_F(dump_test, only_a_count_equal_to_the_limit_stops_capture)
{
	arrival packet(arp_request(), eth0);
	debug_pkt_max_count = 3;
	debug_pkt_cur_count = 4;
	capture(packet);
	EXPECT_EQ(take_text(), request_lines);
	EXPECT_EQ(debug_pkt_cur_count, 5);
	EXPECT_EQ(debug_pkt_type_flags, 0xffffffff);

	debug_pkt_max_count = 0; // no limit
	debug_pkt_cur_count = 0;
	capture(packet);
	EXPECT_EQ(take_text(), request_lines);

	debug_pkt_max_count = debug_pkt_cur_count = -1;
	capture(packet);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_type_flags, 0u);
	EXPECT_EQ(debug_pkt_cur_count, -1);
}

TEST_F(dump_test, refused_packets_and_follow_up_calls_do_not_count)
{
	arrival packet(arp_request(), eth0), refused(unknown_frame(), eth0);
	debug_pkt_type_flags = 0x1;
	debug_pkt_max_count = 1;
	capture(refused);
	EXPECT_EQ(debug_pkt_cur_count, 0);
	capture(packet);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	take_text();
	follow_up();
	follow_up("T+");
	EXPECT_EQ(take_text(), request_follow_up + "UOL[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n");
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(debug_pkt_type_flags, 0x1u);
}

// --- The two header lines ---

TEST_F(dump_test, header_lines_of_every_hook)
{
	static const struct {
		uint32_t hook;
		const char *tag;
	} rows[] = {{0, "OTHER"}, {1, "ASAP"},  {3, "OTHER"}, {4, "UOL"},           {5, "OTHER"},
		    {6, "OTHER"}, {7, "OTHER"}, {8, "OTHER"}, {0xffffffff, "OTHER"}};
	arrival packet(arp_request(), eth0);
	packet.desc.vlan = 65535;
	packet.desc.egress = 17409;
	packet.desc.ingress = 8; // not shown here
	for (const auto &row : rows) {
		SCOPED_TRACE(row.hook);
		capture(packet, row.hook);
		EXPECT_EQ(take_text(), std::string("\n") + row.tag +
					       " received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
					       "[rx(77): uol entry] len 42, vlan 65535, egress pbr-nhl 1, ingress eth0:\n" +
					       arp_request_text);
	}
	capture(packet, 2);
	EXPECT_EQ(take_text(), std::string("\nASFP received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
					   "[rx(77): uol entry] len 42, egress pbr-nhl 1, ingress eth0: \n") +
				       arp_request_text);
}

TEST_F(dump_test, hook_2_shows_the_device_that_the_buffer_came_in_by)
{
	net_device *const wan0 = host::add_device("wan0", 7);
	arrival packet(arp_request(), eth0, 7);
	const std::string other_hook = "\nOTHER received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
				       "[rx(77): uol entry] len 42, vlan 0, egress CP, ingress eth0:\n";
	const std::string own = "\nASFP received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
				"[rx(77): uol entry] len 42, egress CP, ingress eth0: \n";
	capture(packet, 2);
	EXPECT_EQ(take_text(), std::string("\nASFP received packet from wan0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
					   "[rx(77): uol entry] len 42, egress CP, ingress wan0: \n") +
				       arp_request_text);
	EXPECT_EQ(wan0->references, 0);
	EXPECT_EQ(eth0->references, 0);
	capture(packet, 3);
	EXPECT_EQ(take_text(), other_hook + arp_request_text);

	packet.skb.skb_iif = 99; // names no device
	capture(packet, 2);
	EXPECT_EQ(take_text(), own + arp_request_text);
	packet.skb.skb_iif = 0;
	capture(packet, 2);
	EXPECT_EQ(take_text(), own + arp_request_text);

	// One look-up serves both lines.
	packet.skb.skb_iif = 7;
	host::set_fault(host::fault_point::dev_get_by_index, 1);
	capture(packet, 2);
	EXPECT_EQ(take_text(), own + arp_request_text);
	EXPECT_EQ(host::faults_hit(host::fault_point::dev_get_by_index), 1u);
}

TEST_F(dump_test, egress_names_of_devices_are_not_cut)
{
	host::add_device("abcdefghijklmno", 50);
	arrival packet(unknown_frame(), eth0);
	packet.desc.egress = 8500;
	capture(packet);
	EXPECT_EQ(take_text(), received_uol + "[rx(77): uol entry] len 22, vlan 0, egress abcdefghijklmno, ingress eth0:\n" +
				       unknown_frame_text);
	packet.desc.egress = 462848;
	capture(packet);
	EXPECT_EQ(take_text(),
		  received_uol + "[rx(77): uol entry] len 22, vlan 0, egress ipsecmap 4096, ingress eth0:\n" + unknown_frame_text);
	packet.desc.egress = 8451;
	capture(packet);
	EXPECT_EQ(take_text(),
		  received_uol + "[rx(77): uol entry] len 22, vlan 0, egress unknown, ingress eth0:\n" + unknown_frame_text);
}

TEST_F(dump_test, the_caller_is_printed_as_it_names_itself)
{
	arrival packet(unknown_frame(), eth0);
	debug_pkt_dump(&packet.desc, "", -2147483647 - 1, "", 0, 0, 1);
	EXPECT_EQ(take_text(), std::string("\nASAP received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
					   "[(-2147483648):] len 22, vlan 0, egress CP, ingress eth0:\n") +
				       unknown_frame_text);
	// A label that begins with T+ means nothing in a capture call.
	debug_pkt_dump(&packet.desc, "f", 0, "T+ %s", 0, 0, 1);
	EXPECT_EQ(take_text(), std::string("\nASAP received packet from eth0 ([cpu 0] timestamp (2023-11-14 22:13:20:123456))\n"
					   "[f(0):T+ %s] len 22, vlan 0, egress CP, ingress eth0:\n") +
				       unknown_frame_text);
}

TEST_F(dump_test, the_packet_is_the_buffers_not_the_descriptors)
{
	arrival packet(arp_request(), eth0);
	packet.desc.data = nullptr;
	capture(packet);
	EXPECT_EQ(take_text(), request_lines);
	EXPECT_EQ(hdrlen, 42u);
}

TEST_F(dump_test, levels)
{
	const std::string lines = received_uol + "[rx(77): uol entry] len 28, vlan 0, egress CP, ingress eth0:\n";
	arrival packet(ping(), eth0);
	capture(packet, 4, 1, 0x0800);
	EXPECT_EQ(take_text(), lines + ping_text);
	EXPECT_EQ(hdrlen, 28u);
	// Nothing is decoded: two lines, and no headers.
	capture(packet, 4, 1, 0x1234);
	EXPECT_EQ(take_text(), lines);
	EXPECT_EQ(hdrlen, 0u);
	capture(packet, 4, 2, 0x0800);
	EXPECT_EQ(take_text(), lines);
	EXPECT_EQ(hdrlen, 0u);
}

TEST_F(dump_test, a_text_that_does_not_fit_is_cut_and_the_packet_decoded_all_the_same)
{
	const std::string func(5000, 'f');
	arrival packet(arp_request(), eth0);
	debug_pkt_type_flags = 0x1;
	debug_pkt_dump(&packet.desc, func.c_str(), 77, " uol entry", 0, 0, 4);
	EXPECT_EQ(take_text(), (received_uol + "[" + func).substr(0, 4094) + '\0');
	EXPECT_EQ(hdrlen, 42u);
	EXPECT_EQ(debug_pkt_matched, 1);

	debug_pkt_dump(nullptr, func.c_str(), 77, "T+", 0, 0, 4);
	EXPECT_EQ(take_text(), ("UOL[" + func).substr(0, 4094) + '\0');
	packet.rewrite(unknown_frame());
	debug_pkt_dump(nullptr, func.c_str(), 77, "", 0, 0, 4);
	EXPECT_EQ(take_text(), ("[" + func).substr(0, 4094) + '\0');
	EXPECT_EQ(hdrlen, 14u);
	EXPECT_EQ(debug_pkt_stats.rendered, 3u);
	EXPECT_EQ(debug_pkt_stats.cut_texts, 3u);
	EXPECT_EQ(debug_pkt_stats.matched, 1u);
}

// --- Local time ---

TEST_F(dump_test, local_time)
{
	static const struct {
		int64_t seconds;
		long nanoseconds;
		int32_t minutes_west, dst;
		const char *stamp;
	} rows[] = {
		{0, 0, 0, 0, "1970-1-1 00:00:00:000000"},
		{moment, 5000, 0, 0, "2023-11-14 22:13:20:000005"}, // the fields of one second are kept: for that second only
		{moment, 999999999, 0, 0, "2023-11-14 22:13:20:999999"},
		{moment + 1, 0, 0, 0, "2023-11-14 22:13:21:000000"},
		{moment + 39, 0, 0, 0, "2023-11-14 22:13:59:000000"},
		{moment + 40, 0, 0, 0, "2023-11-14 22:14:00:000000"},
		{moment + 39, 0, 0, 0, "2023-11-14 22:13:59:000000"},      // a clock that is set back, over the minute
		{moment + 2, 0, 0, 0, "2023-11-14 22:13:22:000000"},       // and within it
		{moment, 123456789, 300, 0, "2023-11-14 17:13:20:123456"}, // west
		{moment, 123456789, 300, 1, "2023-11-14 18:13:20:123456"}, // the DST word counts hours
		{moment, 123456789, 300, 2, "2023-11-14 19:13:20:123456"},
		{moment, 123456789, 300, 4, "2023-11-14 21:13:20:123456"},
		{moment, 123456789, 300, -1, "2023-11-14 16:13:20:123456"},
		{moment, 123456789, -60, 0, "2023-11-14 23:13:20:123456"}, // east
		{moment, 123456789, -330, 0, "2023-11-15 03:43:20:123456"},
		{951782399, 0, 0, 0, "2000-2-28 23:59:59:000000"}, // a leap year
		{951782400, 0, 0, 0, "2000-2-29 00:00:00:000000"},
		{951868799, 0, 0, 0, "2000-2-29 23:59:59:000000"},
		{951868800, 0, 0, 0, "2000-3-1 00:00:00:000000"},
		{1704067199, 999999999, 0, 0, "2023-12-31 23:59:59:999999"},
		{1704067199, 0, -1, 0, "2024-1-1 00:00:59:000000"},
		{1704067200, 0, 1, 0, "2023-12-31 23:59:00:000000"},
		{1709251200, 0, 0, -24, "2024-2-29 00:00:00:000000"},
		{4107542399, 0, 0, 0, "2100-2-28 23:59:59:000000"}, // no leap year
		{4107542400, 0, 0, 0, "2100-3-1 00:00:00:000000"},
		{4294967295, 0, 0, 0, "2106-2-7 06:28:15:000000"}, // 32 bits of seconds
		{4294967296, 0, 0, 0, "1970-1-1 00:00:00:000000"},
		{4294967296 + moment, 0, 0, 0, "2023-11-14 22:13:20:000000"},
		{4294967295, 0, -1, 0, "1970-1-1 00:00:59:000000"},
		{INT64_MAX, 0, 0, 0, "2106-2-7 06:28:15:000000"},
		{-1, 0, 0, 0, "2106-2-7 06:28:15:000000"},
		{0, 0, 1, 0, "2106-2-7 06:27:16:000000"},
		{0, 0, 0, -1, "2106-2-7 05:28:16:000000"},
		{0, 0, INT32_MAX, 0, "1970-1-1 00:01:00:000000"},
		{0, 0, INT32_MIN, 0, "1970-1-1 00:00:00:000000"},
		{3600, 0, 0, INT32_MAX, "1970-1-1 00:00:00:000000"},
		{0, 999, 0, 0, "1970-1-1 00:00:00:000000"},
		{0, 1000, 0, 0, "1970-1-1 00:00:00:000001"},
		{0, 2000000000, 0, 0, "1970-1-1 00:00:00:2000000"},
		{0, -999, 0, 0, "1970-1-1 00:00:00:000000"}, // signed division
		{0, -1000, 0, 0, "1970-1-1 00:00:00:-00001"},
		{0, -1999, 0, 0, "1970-1-1 00:00:00:-00001"},
		{0, -999999999, 0, 0, "1970-1-1 00:00:00:-999999"},
	};
	arrival packet(unknown_frame(), eth0);
	for (const auto &row : rows) {
		SCOPED_TRACE(row.stamp);
		host::set_clock(row.seconds, row.nanoseconds);
		host::set_time_zone(row.minutes_west, row.dst);
		capture(packet);
		EXPECT_EQ(take_text(), std::string("\nUOL received packet from eth0 ([cpu 0] timestamp (") + row.stamp +
					       "))\n[rx(77): uol entry] len 22, vlan 0, egress CP, ingress eth0:\n" +
					       unknown_frame_text);
		follow_up("T+", 2);
		EXPECT_EQ(take_text(), std::string("ASFP[next(88)] process done(timestamp (") + row.stamp + "))\n");
	}
}

// --- The gates ---

TEST_F(dump_test, type_gate)
{
	arrival request(arp_request(), eth0), unknown(unknown_frame(), eth0);
	const auto passes = [](arrival &packet, uint32_t types) {
		debug_pkt_type_flags = types;
		capture(packet);
		EXPECT_EQ(debug_pkt_type_flags, types);
		const bool passed = !take_text().empty();
		EXPECT_EQ(debug_pkt_matched, passed);
		EXPECT_EQ(last_matched_pkt, passed ? &packet.desc : nullptr);
		return passed;
	};
	EXPECT_TRUE(passes(request, 0x1));
	EXPECT_TRUE(passes(request, 0x80000001));
	EXPECT_TRUE(passes(request, 0xffffffff));
	EXPECT_FALSE(passes(request, 0xfffffffe));
	EXPECT_FALSE(passes(request, 0x2));
	// A packet without any type passes only where all are wanted.
	EXPECT_TRUE(passes(unknown, 0xffffffff));
	EXPECT_FALSE(passes(unknown, 0x7fffffff));
	EXPECT_FALSE(passes(unknown, 0xfffffffe));
	EXPECT_EQ(debug_pkt_cur_count, 4);
}

TEST_F(dump_test, match_gate)
{
	arrival packet(arp_request(), eth0);
	const auto passes = [&](uint32_t criteria, const char *dev, int32_t proto) {
		debug_pkt_match_flags = criteria;
		std::snprintf(debug_pkt_dev, sizeof debug_pkt_dev, "%s", dev);
		debug_pkt_proto = proto;
		capture(packet);
		const bool passed = take_text() == request_lines;
		EXPECT_EQ(debug_pkt_matched, passed);
		EXPECT_EQ(last_matched_pkt, passed ? &packet.desc : nullptr);
		return passed;
	};
	for (uint32_t types : {0xffffffff, 0x1u}) {
		debug_pkt_type_flags = types;
		EXPECT_TRUE(passes(0x21, "eth0", 0x0806));
		EXPECT_FALSE(passes(0x21, "eth0", 0x0800));
		EXPECT_FALSE(passes(0x21, "eth1", 0x0806));
		EXPECT_FALSE(passes(0x21, "eth1", 0x0800));
		EXPECT_TRUE(passes(0, "eth1", 0x0800));
		EXPECT_TRUE(passes(0x1, "eth0", 0x0800));
		EXPECT_TRUE(passes(0x20, "eth1", 0x0806));
		EXPECT_FALSE(passes(0x80, "eth0", 0x0806)); // no packet has this bit
		EXPECT_FALSE(passes(0xffffffff, "eth0", 0x0806));
	}
}

TEST_F(dump_test, device_criterion)
{
	debug_pkt_match_flags = 0x1;
	arrival packet(arp_request(), eth0);
	const auto passes = [&](const char *name, const char *filter) {
		host::rename_device(eth0, name);
		std::memset(debug_pkt_dev, 'x', sizeof debug_pkt_dev);
		std::memcpy(debug_pkt_dev, filter, strnlen(filter, 11) + 1);
		debug_pkt_dev[11] = 0;
		capture(packet);
		return !take_text().empty();
	};
	EXPECT_TRUE(passes("eth0", "eth0"));
	EXPECT_FALSE(passes("eth0", "eth"));
	EXPECT_FALSE(passes("eth", "eth0"));
	EXPECT_FALSE(passes("eth0", "Eth0"));
	EXPECT_FALSE(passes("eth0", ""));
	EXPECT_TRUE(passes("", ""));
	EXPECT_FALSE(passes("eth0", "all")); // no wildcard
	EXPECT_TRUE(passes("all", "all"));
	EXPECT_TRUE(passes("elevenchars", "elevenchars"));
	EXPECT_FALSE(passes("twelve_chars", "twelve_char")); // the setting holds 11 characters
	EXPECT_FALSE(passes("fifteen_charact", "fifteen_cha"));
	EXPECT_FALSE(passes("twelve_char", "twelve_chax"));
}

TEST_F(dump_test, a_refused_packet_clears_what_the_one_before_left)
{
	arrival packet(arp_request(), eth0), refused(unknown_frame(), eth0);
	debug_pkt_type_flags = 0x1;
	capture(packet);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(take_text(), request_lines);
	capture(refused);
	EXPECT_EQ(take_text(), "");
	expect_not_matched();
	// The header cache keeps the last decoded headers.
	EXPECT_EQ(hdrlen, 42u);
	EXPECT_EQ(std::memcmp(hdrcache, arp_request().data(), 42), 0);
	follow_up();
	follow_up("T+");
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_stats.matched, 1u);
	EXPECT_EQ(debug_pkt_stats.rendered, 1u);
	EXPECT_EQ(host::live_allocations(), 0);
}

// A packet that cannot be read at first: whoever reads it first triggers what the operator writes meanwhile.
class watched_packet {
public:
	watched_packet(arrival &packet, std::function<void()> meanwhile) : on_read(std::move(meanwhile))
	{
		page = static_cast<uint8_t *>(mmap(nullptr, page_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
		EXPECT_NE(page, MAP_FAILED);
		std::memcpy(page, packet.skb.data, packet.skb.len);
		packet.skb.data = page;
		mprotect(page, page_size, PROT_NONE);
		current = this;
		struct sigaction action = {};
		action.sa_handler = handle;
		sigaction(SIGSEGV, &action, &previous);
	}
	~watched_packet()
	{
		sigaction(SIGSEGV, &previous, nullptr);
		munmap(page, page_size);
	}
	watched_packet(const watched_packet &) = delete;
	watched_packet &operator=(const watched_packet &) = delete;

private:
	static void handle(int)
	{
		mprotect(current->page, page_size, PROT_READ);
		current->on_read();
	}

	static constexpr size_t page_size = 4096;
	static watched_packet *current;
	uint8_t *page;
	std::function<void()> on_read;
	struct sigaction previous;
};
watched_packet *watched_packet::current;

TEST_F(dump_test, the_settings_that_judge_are_those_after_decoding)
{
	static const struct {
		uint32_t types, criteria, types_then, criteria_then;
		bool passes;
	} rows[] = {
		{0xffffffff, 0, 0, 0, false},    {0xffffffff, 0, 0x2, 0, false}, {0xffffffff, 0, 0xffffffff, 0x2, false},
		{0xffffffff, 0, 0x1, 0x0, true}, {0x1, 0, 0x40, 0, false},       {0x40, 0, 0x1, 0, true},
		{0x40, 0, 0xffffffff, 0, true},  {0x1, 0x2, 0x1, 0, true},
	};
	for (const auto &row : rows) {
		SCOPED_TRACE(&row - rows);
		arrival packet(arp_request(), eth0);
		const watched_packet watched(packet, [&] {
			debug_pkt_type_flags = row.types_then;
			debug_pkt_match_flags = row.criteria_then;
		});
		debug_pkt_mac[0] = 0x77;
		debug_pkt_type_flags = row.types;
		debug_pkt_match_flags = row.criteria;
		capture(packet);
		EXPECT_EQ(take_text(), row.passes ? request_lines : "");
		EXPECT_EQ(debug_pkt_matched, row.passes);
		EXPECT_EQ(debug_pkt_type_flags, row.types_then);
	}
}

// --- Filters that may refuse decode twice: nobody can tell ---

class packet_maker {
public:
	bytes next()
	{
		static const bytes starts[] = {
			hex("0806 0001 0800 06 04 0001"),
			hex("8100 2064 0800 45 00 0054 0000 4000 40 01 0000 0a000001 0a000002 03 01 0000 00000000 45"),
			hex("0800 45 00 0054 0000 2000 40 11 0000 0a000001 0a000002 0035 0035 0040 0000 0001 8180 0001 0002 0000 "
			    "0000"),
			hex("0800 45 00 0154 0000 0000 40 11 0000 0a000001 0a000002 0043 0044 0140 0000 02 01 06 00"),
			hex("0800 45 00 0154 0000 0000 40 11 0000 0a000001 0a000002 12b5 12b5 0140 0000 8c 00 0001 000002 00"),
			hex("0800 45 00 0154 0000 0000 40 11 0000 0a000001 0a000002 13c4 13c4 0140 0000 494e56495445"),
			hex("0800 45 00 0154 0000 0000 40 06 0000 0a000001 0a000002 0050 1234 00000001 00000002 8018 ffff"),
			hex("0800 46 00 0154 0000 0000 40 2f 0000 0a000001 0a000002 94040000 0000 8ffd ffffffffffff 020000000001"),
			hex("0800 45 00 0154 0000 0000 40 02 0000 0a000001 0a000002 22 00 0000 0000 0003 04 01 0002"),
			hex("86dd 60000000 0100 00 40 fe80000000000000 0000000000000001 ff02000000000000 0000000000000001 3a 00 "
			    "0502"),
			hex("86dd 60000000 0100 3a 40 fe80000000000000 0000000000000001 ff02000000000000 0000000000000001 86 00 "
			    "0000 40"),
			hex("86dd 60000000 0100 3a 40 fe80000000000000 0000000000000001 ff02000000000000 0000000000000001 8f 00 "
			    "0000 0000 0002"),
			hex("86dd 60000000 0100 11 40 fe80000000000000 0000000000000001 ff02000000000000 0000000000000001 0222 "
			    "0223 0100 0000 01"),
			hex("8863 11 09 0000 0010"),
			hex("8864 11 00 0001 0010 0021 45"),
			hex("8ffd c2c9 00 01"),
			hex("0100 aaaa 03 000000 0800"),
			hex("8e10 45"),
		};
		bytes frame = hex("020000000002 020000000001") + starts[random() % std::size(starts)];
		const size_t more = random() % 400;
		for (size_t i = 0; i < more; ++i)
			frame.push_back(static_cast<uint8_t>(random() % 3 ? random() % 8 : random()));
		for (size_t changes = random() % 4; changes; --changes)
			frame[random() % frame.size()] = static_cast<uint8_t>(random());
		return frame;
	}

private:
	std::mt19937 random{20231114};
};

TEST_F(dump_test, a_filter_does_not_change_the_text_of_what_it_lets_through)
{
	packet_maker make;
	std::memcpy(debug_pkt_dev, "eth0", 5);
	for (int i = 0; i < 3000; ++i) {
		SCOPED_TRACE(i);
		arrival packet(make.next(), eth0, 3);
		const uint32_t hook = static_cast<uint32_t>(i % 5), level = i % 7 == 0, ethertype = 0x0800;
		want_everything();
		std::memset(hdrcache, 0, sizeof hdrcache);
		capture(packet, hook, level, ethertype);
		const std::string text = take_text();
		const uint32_t length = hdrlen;
		const bytes headers(hdrcache, hdrcache + sizeof hdrcache);

		debug_pkt_match_flags = 0x1;
		std::memset(hdrcache, 0, sizeof hdrcache);
		hdrlen = 0;
		capture(packet, hook, level, ethertype);
		ASSERT_EQ(take_text(), text);
		ASSERT_EQ(hdrlen, length);
		ASSERT_EQ(bytes(hdrcache, hdrcache + sizeof hdrcache), headers);
	}
}

// Contexts are used again without being cleared whole: nothing may stay of what a call wrote.
TEST_F(dump_test, every_call_gets_a_clear_context)
{
	static const bytes clear(sizeof(debug_pkt_ctx));
	const auto is_clear = [] {
		debug_pkt_ctx *const ctx = new_context();
		const bool result = std::memcmp(ctx, clear.data(), sizeof *ctx) == 0;
		free_context(ctx);
		return result;
	};
	packet_maker make;
	for (int i = 0; i < 1000; ++i) {
		SCOPED_TRACE(i);
		arrival packet(make.next(), eth0, 3);
		debug_pkt_match_flags = i % 3 ? 0 : 0x1; // refused
		capture(packet, static_cast<uint32_t>(i % 5), i % 7 == 0, 0x0800);
		ASSERT_TRUE(is_clear());
		take_text();
		follow_up(i % 2 ? "T+" : "", static_cast<uint32_t>(i % 5));
		ASSERT_TRUE(is_clear());
		char out[4096];
		debug_pkt_to_str(&packet.desc, 0, 0, out, sizeof out);
		ASSERT_TRUE(is_clear());
		take_text();
	}
}

TEST_F(dump_test, the_text_of_a_tunnelled_packet_that_a_filter_lets_through)
{
	// GRE in IPv4 in a tag: the inner frame leaves nothing in the context that the second decoding would see.
	arrival packet(hex("020000000002 020000000001 8100 a064 0800"
			   "45 00 0046 0000 0000 40 2f 0000 0a000001 0a000002 0000 8ffd") +
			       arp_request(),
		       eth0);
	const std::string expected = received_uol +
				     "[rx(77): uol entry] len 84, vlan 0, egress CP, ingress eth0:\n"
				     "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n"
				     "  #vlan 100, prio 5, etype 0800\n"
				     "  #ip: sip 10.0.0.1, dip 10.0.0.2, proto 47 hdr len 20\n"
				     "       len 70, id 0, cksum 0, ttl 64, dscp 0\n"
				     "       fragment ok, last fragment, frag off 0\n"
				     "    #gre: flag 0x0000 proto 8ffd\n" +
				     arp_request_text;
	capture(packet);
	EXPECT_EQ(take_text(), expected);
	debug_pkt_type_flags = 0x1; // the inner frame's type
	debug_pkt_match_flags = 0x30;
	debug_pkt_vlan = 100;
	debug_pkt_proto = 0x0806; // the inner frame's ethertype
	capture(packet);
	EXPECT_EQ(take_text(), expected);
	EXPECT_EQ(hdrlen, 84u);
	debug_pkt_proto = 0x0807;
	capture(packet);
	EXPECT_EQ(take_text(), "");
}

// --- Short frames ---

TEST_F(dump_test, an_empty_frame_reads_as_zeros)
{
	const std::string lines = received_uol + "[rx(77): uol entry] len 0, vlan 0, egress CP, ingress eth0:\n";
	arrival packet({}, eth0);
	arrival without_block({}, eth0);
	without_block.skb.data = nullptr;
	for (arrival *each : {&packet, &without_block}) {
		capture(*each);
		EXPECT_EQ(take_text(), lines + "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
					       "    #snap: sap 0000\n");
		EXPECT_EQ(hdrlen, 16u);
		follow_up();
		EXPECT_EQ(take_text(), "[next(88): routed] len 0, vlan 0, egress CP, ingress eth0:\n"
				       "  #mac: etype 0000 smac 00:00:00:00:00:00 dmac 00:00:00:00:00:00\n"
				       "    #snap: sap 0000\n");
		capture(*each, 4, 1, 0x0800);
		EXPECT_EQ(take_text(), lines + "  #ip: sip 0.0.0.0, dip 0.0.0.0, proto 0 hdr len 0\n"
					       "       len 0, id 0, cksum 0, ttl 0, dscp 0\n"
					       "       fragment ok, last fragment, frag off 0\n");
		EXPECT_EQ(hdrlen, 0u);
	}
}

TEST_F(dump_test, frames_of_0_to_64_bytes_read_as_if_zeros_followed)
{
	const bytes whole = hex("020000000002 020000000001 0800") + ping() + zeros(22);
	ASSERT_EQ(whole.size(), 64u);
	const bytes payload(whole.begin() + 14, whole.end());
	const auto text_behind_the_header_lines = [&](const bytes &content, uint32_t level) {
		arrival packet(content, eth0);
		capture(packet, 4, level, 0x0800);
		const std::string text = take_text();
		const std::string lines = received_uol + "[rx(77): uol entry] len " + std::to_string(content.size()) +
					  ", vlan 0, egress CP, ingress eth0:\n";
		EXPECT_EQ(text.substr(0, lines.size()), lines);
		return text.substr(lines.size());
	};
	for (uint32_t level : {0u, 1u}) {
		const bytes &content = level ? payload : whole;
		for (size_t size = 0; size <= content.size(); ++size) {
			SCOPED_TRACE(size);
			const bytes cut(content.begin(), content.begin() + static_cast<ptrdiff_t>(size));
			want_everything();
			const std::string text = text_behind_the_header_lines(cut, level);
			EXPECT_EQ(text, text_behind_the_header_lines(cut + zeros(content.size() - size), level));
			debug_pkt_match_flags = 0x1;
			std::memcpy(debug_pkt_dev, "eth0", 5);
			EXPECT_EQ(text_behind_the_header_lines(cut, level), text);
		}
	}
	want_everything();
	EXPECT_EQ(text_behind_the_header_lines(whole, 0),
		  std::string("  #mac: etype 0800 smac 02:00:00:00:00:01 dmac 02:00:00:00:00:02\n") + ping_text);
}

TEST_F(dump_test, no_cut_of_any_frame_is_read_outside_its_block)
{
	packet_maker make;
	for (int i = 0; i < 300; ++i) {
		const bytes whole = make.next();
		for (size_t size = 0; size <= whole.size() && size <= 64; ++size) {
			arrival packet(bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)), eth0);
			for (uint32_t level : {0u, 1u}) {
				capture(packet, 4, level, 0x86dd);
				EXPECT_EQ(debug_pkt_matched, 1);
				EXPECT_GT(take_text().size(), received_uol.size());
			}
		}
	}
	EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
	EXPECT_EQ(debug_pkt_packet.depth, 0u);
}

// --- Mirror ---

struct mirror_output {
	std::vector<bytes> datagrams;

	static int keep(void *context, sk_buff *skb)
	{
		static_cast<mirror_output *>(context)->datagrams.emplace_back(skb->data, skb->data + skb->len);
		host::free_skb(skb);
		return 0;
	}
};

TEST_F(dump_test, a_mirrored_packet_leaves_no_text_and_no_headers)
{
	mirror_output output;
	host::set_output(mirror_output::keep, &output);
	uint32_t source;
	std::memcpy(&source, ip4("192.0.2.1").data(), 4);
	host::set_route(eth0, source);

	arrival packet(arp_request(), eth0), before(unknown_frame(), eth0);
	capture(before);
	take_text();
	const bytes copy(64, 0xc5); // what the descriptor points at is what is mirrored
	packet.desc.data = copy.data();
	debug_pkt_mirror_ip = in_aton("198.51.100.9");
	capture(packet);
	EXPECT_EQ(take_text(), "");
	ASSERT_EQ(output.datagrams.size(), 1u);
	EXPECT_EQ(bytes(output.datagrams[0].begin() + 24, output.datagrams[0].end()), bytes(42, 0xc5));
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(last_matched_pkt, &packet.desc);
	EXPECT_EQ(debug_pkt_cur_count, 2);
	EXPECT_EQ(hdrlen, 14u);
	EXPECT_EQ(std::memcmp(hdrcache, unknown_frame().data(), 14), 0);
	EXPECT_EQ(debug_pkt_stats.matched, 2u);
	EXPECT_EQ(debug_pkt_stats.rendered, 1u);
	EXPECT_EQ(debug_pkt_stats.mirrored, 1u);

	// No follow-up while mirroring; the packet is still known when it ends.
	follow_up();
	follow_up("T+");
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(output.datagrams.size(), 1u);
	debug_pkt_mirror_ip = 0;
	follow_up();
	EXPECT_EQ(take_text(), request_follow_up + arp_request_text);
	EXPECT_EQ(hdrlen, 42u);
	EXPECT_EQ(host::live_allocations(), 0);
}

TEST_F(dump_test, filters_judge_what_is_mirrored)
{
	mirror_output output;
	host::set_output(mirror_output::keep, &output);
	host::set_route(eth0, 1);
	debug_pkt_mirror_ip = in_aton("198.51.100.9");
	arrival packet(arp_request(), eth0), refused(unknown_frame(), eth0);
	debug_pkt_type_flags = 0x1;
	capture(refused);
	EXPECT_TRUE(output.datagrams.empty());
	expect_not_matched();
	debug_pkt_match_flags = 0x2;
	capture(packet);
	EXPECT_TRUE(output.datagrams.empty());
	expect_not_matched();
	std::memcpy(debug_pkt_mac, hex("020000000001").data(), 6);
	capture(packet);
	ASSERT_EQ(output.datagrams.size(), 1u);
	EXPECT_EQ(bytes(output.datagrams[0].begin() + 24, output.datagrams[0].end()), arp_request());
	EXPECT_EQ(debug_pkt_cur_count, 1);
}

TEST_F(dump_test, the_text_is_discarded_also_when_there_is_no_way_to_the_collector)
{
	debug_pkt_mirror_ip = in_aton("198.51.100.9");
	arrival packet(arp_request(), eth0);
	capture(packet);
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(hdrlen, 0u);
	EXPECT_EQ(debug_pkt_stats.mirror_no_route, 1u);
	EXPECT_EQ(debug_pkt_stats.matched, 1u);
	EXPECT_EQ(debug_pkt_stats.rendered, 0u);
}

TEST_F(dump_test, mirroring_a_frame_without_bytes)
{
	mirror_output output;
	host::set_output(mirror_output::keep, &output);
	host::set_route(eth0, 1);
	debug_pkt_mirror_ip = in_aton("198.51.100.9");
	arrival packet({}, eth0);
	packet.skb.data = nullptr;
	packet.desc.data = nullptr;
	capture(packet);
	ASSERT_EQ(output.datagrams.size(), 1u);
	EXPECT_EQ(output.datagrams[0].size(), 24u);
}

// --- The header cache ---

static bytes tags(size_t count)
{
	bytes frame = hex("ffffffffffff 020000000001 8100");
	for (size_t i = 1; i < count; ++i)
		frame = frame + hex("0000 8100");
	return frame + hex("0000 1234") + zeros(8);
}

TEST_F(dump_test, at_most_1023_bytes_of_headers_are_kept)
{
	static const struct {
		size_t tags;
		uint32_t kept;
	} rows[] = {{252, 1022}, {253, 1023}, {300, 1023}};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.tags);
		const bytes frame = tags(row.tags);
		arrival packet(frame, eth0);
		hdrcache[1023] = 0x7e;
		capture(packet);
		EXPECT_EQ(hdrlen, row.kept);
		EXPECT_EQ(bytes(hdrcache, hdrcache + row.kept), bytes(frame.begin(), frame.begin() + row.kept));
		EXPECT_EQ(hdrcache[1023], 0x7e);

		std::string text = received_uol + "[rx(77): uol entry] len " + std::to_string(frame.size()) +
				   ", vlan 0, egress CP, ingress eth0:\n"
				   "  #mac: etype 8100 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n";
		for (size_t i = 1; i < row.tags; ++i)
			text += "  #vlan 0, prio 0, etype 8100\n";
		EXPECT_EQ(take_text(), text.substr(0, 4094) + '\0');
	}
}

TEST_F(dump_test, only_the_bytes_that_are_kept_are_compared)
{
	bytes frame = tags(300);
	const std::string line = "[next(88): routed] len 1222, vlan 0, egress CP, ingress eth0:\n";
	arrival packet(frame, eth0);
	capture(packet);
	take_text();
	frame[1023] = 0x21; // the first byte that is not kept
	packet.rewrite(frame);
	follow_up();
	EXPECT_EQ(take_text(), line);
	frame[1022] = 0x21; // the last one that is
	packet.rewrite(frame);
	follow_up();
	EXPECT_EQ(take_text().substr(0, line.size() + 6), line + "  #mac");
	follow_up();
	EXPECT_EQ(take_text(), line);
}

TEST_F(dump_test, headers_longer_than_the_frame_are_filled_up_with_zeros)
{
	const bytes frame = arp_request();
	const bytes cut(frame.begin(), frame.begin() + 20);
	std::memset(hdrcache, 0x7e, sizeof hdrcache);
	arrival packet(cut, eth0);
	capture(packet);
	const std::string decoded =
		"  #mac: etype 0806 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
		"  #arp: opcode other(0), sip 0.0.0.0, tip 0.0.0.0, smac 00:00:00:00:00:00, tmac 00:00:00:00:00:00\n";
	EXPECT_EQ(take_text(), received_uol + "[rx(77): uol entry] len 20, vlan 0, egress CP, ingress eth0:\n" + decoded);
	EXPECT_EQ(hdrlen, 42u);
	EXPECT_EQ(bytes(hdrcache, hdrcache + 43), cut + zeros(22) + bytes{0x7e});

	// A frame that is shorter than its headers is decoded at every checkpoint.
	follow_up();
	EXPECT_EQ(take_text(), "[next(88): routed] len 20, vlan 0, egress CP, ingress eth0:\n" + decoded);
	// The zeros are what a frame would hold that had them.
	packet.rewrite(cut + zeros(22));
	follow_up();
	EXPECT_EQ(take_text(), request_follow_up);
}

// --- Follow-up calls ---

TEST_F(dump_test, a_follow_up_call_before_any_capture_does_nothing)
{
	follow_up();
	follow_up("T+");
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "");
	expect_not_matched();
	EXPECT_EQ(debug_pkt_stats.rendered, 0u);
	EXPECT_EQ(host::live_allocations(), 0);
}

TEST_F(dump_test, with_unchanged_headers_a_follow_up_call_adds_one_line)
{
	arrival packet(arp_request() + hex("01020304"), eth0);
	packet.desc.vlan = 12;
	packet.desc.egress = 5;
	capture(packet);
	take_text();
	for (uint32_t hook : {0u, 1u, 3u, 4u, 8u}) {
		follow_up(" routed", hook);
		EXPECT_EQ(take_text(), "[next(88): routed] len 46, vlan 12, egress vlan 5, ingress eth0:\n");
	}
	// What is no header may change, and the packet may grow.
	packet.rewrite(arp_request() + hex("ffffffffffffffff"));
	follow_up();
	EXPECT_EQ(take_text(), "[next(88): routed] len 50, vlan 12, egress vlan 5, ingress eth0:\n");
	// Down to the headers themselves.
	packet.rewrite(arp_request());
	follow_up();
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, vlan 12, egress vlan 5, ingress eth0:\n");
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(last_matched_pkt, &packet.desc);
	EXPECT_EQ(debug_pkt_stats.rendered, 8u);
	EXPECT_EQ(debug_pkt_stats.matched, 1u);
}

TEST_F(dump_test, process_done)
{
	arrival packet(arp_request(), eth0, 3);
	packet.desc.ingress = 1;
	static const struct {
		uint32_t hook;
		const char *line;
	} rows[] = {
		{0, "OTHER[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n"},
		{1, "ASAP[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n"},
		{2, "ASFP[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n"},
		{4, "UOL[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n"},
		{5, "OTHER[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n"},
	};
	capture(packet);
	take_text();
	for (const auto &row : rows) {
		for (const char *label : {"T+", "T+ sent", "T++"}) {
			follow_up(label, row.hook);
			EXPECT_EQ(take_text(), row.line);
		}
	}
	EXPECT_EQ(packet.desc.egress, 0u);
	EXPECT_EQ(debug_pkt_matched, 1);
	// Its headers are checked like those of any other checkpoint.
	packet.rewrite(unknown_frame());
	follow_up("T+");
	EXPECT_EQ(take_text(), std::string(rows[3].line) + unknown_frame_text);
	EXPECT_EQ(hdrlen, 14u);
}

TEST_F(dump_test, labels_that_do_not_end_the_packet)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	take_text();
	for (const char *label : {"", "T", "t+", " T+", "+T", "Tx+"}) {
		follow_up(label);
		EXPECT_EQ(take_text(), std::string("[next(88):") + label + "] len 42, vlan 0, egress CP, ingress eth0:\n");
	}
}

TEST_F(dump_test, hook_2_writes_the_egress_when_the_packet_has_moved)
{
	net_device *const wan0 = host::add_device("wan0", 7);
	arrival packet(arp_request(), eth0, 7);
	packet.desc.ingress = 8450 + 3;
	packet.desc.egress = 17409;
	capture(packet, 2);
	take_text();
	// Still on the device that it came in by: the egress stays.
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress pbr-nhl 1, ingress wan0: \n");
	EXPECT_EQ(packet.desc.egress, 17409u);
	// Other hooks never write it.
	packet.skb.dev = wan0;
	follow_up(" routed", 4);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, vlan 0, egress pbr-nhl 1, ingress wan0:\n");
	EXPECT_EQ(packet.desc.egress, 17409u);
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress wan0, ingress wan0: \n");
	EXPECT_EQ(packet.desc.egress, 8457u);
	EXPECT_EQ(packet.desc.ingress, 8453u);
	// The control plane's device has code 0.
	firewall_cp_ifindex = 7;
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress CP, ingress wan0: \n");
	EXPECT_EQ(packet.desc.egress, 0u);
	packet.desc.ingress = 0;
	packet.desc.egress = 4;
	packet.skb.skb_iif = 3;
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress vlan 4, ingress eth0: \n");
	// No device has the recorded index: the buffer's own.
	packet.skb.skb_iif = 1000;
	follow_up(" routed", 2);
	EXPECT_EQ(take_text(), "[next(88): routed] len 42, egress vlan 4, ingress wan0: \n");
	EXPECT_EQ(wan0->references, 0);
	EXPECT_EQ(eth0->references, 0);
}

TEST_F(dump_test, changed_headers_are_decoded_again_and_kept)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	take_text();
	// The last header byte.
	bytes changed = arp_request();
	changed[41] = 9;
	packet.rewrite(changed);
	const std::string decoded =
		"  #mac: etype 0806 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
		"  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.9, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n";
	follow_up();
	EXPECT_EQ(take_text(), request_follow_up + decoded);
	follow_up();
	EXPECT_EQ(take_text(), request_follow_up);
	EXPECT_EQ(bytes(hdrcache, hdrcache + 42), changed);

	// One byte shorter than the headers.
	packet.rewrite(bytes(changed.begin(), changed.end() - 1));
	follow_up();
	EXPECT_EQ(take_text(),
		  "[next(88): routed] len 41, vlan 0, egress CP, ingress eth0:\n"
		  "  #mac: etype 0806 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
		  "  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.0, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n");

	// The same bytes, of which fewer belong to the packet now.
	packet.rewrite(arp_request());
	follow_up();
	EXPECT_EQ(take_text(), request_follow_up + arp_request_text);
	packet.skb.len = 41;
	follow_up();
	EXPECT_EQ(take_text(),
		  "[next(88): routed] len 41, vlan 0, egress CP, ingress eth0:\n"
		  "  #mac: etype 0806 smac 02:00:00:00:00:01 dmac ff:ff:ff:ff:ff:ff\n"
		  "  #arp: opcode request(1), sip 10.0.0.1, tip 10.0.0.0, smac 02:00:00:00:00:01, tmac 00:00:00:00:00:00\n");

	// The packet has lost its Ethernet header on the way: the checkpoint says how it starts now.
	packet.rewrite(ping());
	follow_up(" routed", 4, 1, 0x0800);
	EXPECT_EQ(take_text(), std::string("[next(88): routed] len 28, vlan 0, egress CP, ingress eth0:\n") + ping_text);
	EXPECT_EQ(hdrlen, 28u);
	// With the same headers, how it starts is not looked at.
	follow_up(" routed", 4, 0, 0);
	EXPECT_EQ(take_text(), "[next(88): routed] len 28, vlan 0, egress CP, ingress eth0:\n");
}

TEST_F(dump_test, without_known_headers_every_follow_up_call_decodes)
{
	arrival packet(ping(), eth0);
	const std::string line = "[next(88): routed] len 28, vlan 0, egress CP, ingress eth0:\n";
	capture(packet, 4, 1, 0x1234); // nothing is decoded
	EXPECT_EQ(hdrlen, 0u);
	take_text();
	follow_up(" routed", 4, 1, 0x1234);
	EXPECT_EQ(take_text(), line);
	EXPECT_EQ(hdrlen, 0u);
	follow_up(" routed", 4, 1, 0x0800);
	EXPECT_EQ(take_text(), line + ping_text);
	EXPECT_EQ(hdrlen, 28u);
	follow_up(" routed", 4, 1, 0x0800);
	EXPECT_EQ(take_text(), line);
}

TEST_F(dump_test, follow_up_calls_are_not_judged)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	take_text();
	debug_pkt_type_flags = 0x40;
	debug_pkt_match_flags = 0xffffffff;
	debug_pkt_max_count = 1; // reached
	packet.rewrite(unknown_frame());
	follow_up();
	EXPECT_EQ(take_text(), std::string("[next(88): routed] len 22, vlan 0, egress CP, ingress eth0:\n") + unknown_frame_text);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(debug_pkt_cur_count, 1);
	EXPECT_EQ(debug_pkt_type_flags, 0x40u);
}

TEST_F(dump_test, a_buffer_reset_ends_the_follow_up_calls)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	debug_pkt_set_buffer();
	follow_up();
	EXPECT_EQ(take_text(), "");
	EXPECT_EQ(debug_pkt_cur_count, 0);
}

TEST_F(dump_test, texts_of_several_calls_stand_back_to_back_in_the_buffer)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	follow_up();
	follow_up("T+");
	EXPECT_EQ(take_text(),
		  request_lines + request_follow_up + "UOL[next(88)] process done(timestamp (2023-11-14 22:13:20:123456))\n");
}

// --- Two CPUs ---

static void on_cpu(uint32_t cpu, const std::function<void()> &work)
{
	std::thread([&] {
		host::bind_cpu(cpu);
		work();
	}).join();
}

TEST_F(dump_test, another_cpu_knows_nothing_of_this_ones_packet)
{
	arrival packet(arp_request(), eth0);
	capture(packet);
	on_cpu(1, [&] {
		expect_not_matched();
		EXPECT_EQ(hdrlen, 0u);
		EXPECT_EQ(debug_pkt_buf_end, nullptr);
		follow_up();
		follow_up("T+");
		EXPECT_EQ(take_text(), "");

		arrival other(unknown_frame(), eth0);
		host::set_clock(0, 0);
		capture(other);
		EXPECT_EQ(take_text(),
			  std::string("\nUOL received packet from eth0 ([cpu 1] timestamp (1970-1-1 00:00:00:000000))\n"
				      "[rx(77): uol entry] len 22, vlan 0, egress CP, ingress eth0:\n") +
				  unknown_frame_text);
		EXPECT_EQ(last_matched_pkt, &other.desc);
		EXPECT_EQ(hdrlen, 14u);
		debug_pkt_type_flags = 0x2;
		capture(other); // refused
		expect_not_matched();
		EXPECT_EQ(debug_pkt_stats.matched, 1u);
	});
	EXPECT_EQ(debug_pkt_cur_count, 2);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(last_matched_pkt, &packet.desc);
	EXPECT_EQ(hdrlen, 42u);
	EXPECT_EQ(debug_pkt_stats.matched, 1u);
	follow_up();
	EXPECT_EQ(take_text(), request_lines + request_follow_up);
}

TEST_F(dump_test, cpus_capture_at_the_same_time)
{
	constexpr int packets = 2000;
	net_device *const devices[] = {eth0, host::add_device("eth1", 4)};
	std::atomic<int> ready = 0;
	const auto run = [&](uint32_t cpu) {
		host::bind_cpu(cpu);
		host::set_clock(moment + cpu, 0);
		const std::string number = std::to_string(cpu), name = devices[cpu]->name;
		const std::string lines = "\nUOL received packet from " + name + " ([cpu " + number +
					  "] timestamp (2023-11-14 22:13:2" + number + ":000000))\n";
		const std::string sides = ", vlan " + number + ", egress CP, ingress " + name + ":\n";
		arrival packet(cpu ? arp_request() : unknown_frame(), devices[cpu]);
		packet.desc.vlan = static_cast<uint16_t>(cpu);
		const std::string length = std::to_string(packet.skb.len);
		const std::string expected = lines + "[rx(77): uol entry] len " + length + sides +
					     (cpu ? arp_request_text : unknown_frame_text) + "[next(88): routed] len " + length +
					     sides;
		debug_pkt_buf_end = debug_pkt_buf;
		for (++ready; ready < 2;)
			std::this_thread::yield();
		for (int i = 0; i < packets; ++i) {
			capture(packet);
			follow_up();
			const std::string text = take_text();
			if (text != expected) {
				ADD_FAILURE() << text;
				return;
			}
		}
		EXPECT_EQ(last_matched_pkt, &packet.desc);
		EXPECT_EQ(debug_pkt_stats.matched, static_cast<uint64_t>(packets));
		EXPECT_EQ(debug_pkt_stats.rendered, 2u * packets);
	};
	std::thread first(run, 0), second(run, 1);
	first.join();
	second.join();
	EXPECT_EQ(debug_pkt_cur_count, 2 * packets);
	EXPECT_EQ(host::live_allocations(), 0);
}

} // namespace test
