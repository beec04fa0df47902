// SPDX-License-Identifier: GPL-2.0-only
#include "tests/unit/support.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <thread>

namespace test {

using host_platform_test = core_test;
using host::fault_point;

static void on_another_thread(const std::function<void()> &work)
{
	std::thread(work).join();
}

// --- CPUs ---

TEST_F(host_platform_test, a_thread_is_the_cpu_that_it_is_bound_to)
{
	EXPECT_EQ(platform_cpu(), 0u);
	host::bind_cpu(5);
	EXPECT_EQ(platform_cpu(), 5u);
	on_another_thread([] {
		EXPECT_EQ(platform_cpu(), 0u);
		host::bind_cpu(2);
		EXPECT_EQ(platform_cpu(), 2u);
	});
	EXPECT_EQ(platform_cpu(), 5u);
	host::reset();
	EXPECT_EQ(platform_cpu(), 0u);
}

TEST_F(host_platform_test, allowed_cpus)
{
	EXPECT_EQ(platform_cpus_allowed(), ~0ul);
	EXPECT_EQ(platform_set_cpus_allowed(6), 0);
	EXPECT_EQ(platform_cpus_allowed(), 6ul);
	host::set_fault(fault_point::set_cpus_allowed, 1);
	EXPECT_EQ(platform_set_cpus_allowed(1), -22);
	EXPECT_EQ(platform_cpus_allowed(), 6ul);
	on_another_thread([] { EXPECT_EQ(platform_cpus_allowed(), ~0ul); });
	host::reset();
	EXPECT_EQ(platform_cpus_allowed(), ~0ul);
}

TEST_F(host_platform_test, the_lock_lets_one_in_at_a_time)
{
	int shared = 0;
	const auto add = [&] {
		for (int i = 0; i < 10000; ++i) {
			platform_lock_bh(&debug_pkt_s2s_lock);
			++shared;
			platform_unlock_bh(&debug_pkt_s2s_lock);
		}
	};
	std::thread one(add), other(add);
	one.join();
	other.join();
	EXPECT_EQ(shared, 20000);
}

// --- Memory ---

TEST_F(host_platform_test, memory_is_counted_until_it_is_given_back)
{
	EXPECT_EQ(host::live_allocations(), 0);
	void *const first = platform_alloc_atomic(4112), *const second = platform_alloc(1);
	ASSERT_NE(first, nullptr);
	ASSERT_NE(second, nullptr);
	EXPECT_EQ(host::live_allocations(), 2);
	EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % alignof(std::max_align_t), 0u);
	EXPECT_EQ(reinterpret_cast<uintptr_t>(second) % alignof(std::max_align_t), 0u);
	std::memset(first, 0xff, 4112);
	platform_free_atomic(first, 4112);
	EXPECT_EQ(host::live_allocations(), 1);
	platform_free(nullptr);
	EXPECT_EQ(host::live_allocations(), 1);
	// Two at once, as of an interruption; given back by another thread.
	void *const again = platform_alloc_atomic(4112), *const another = platform_alloc_atomic(4112);
	std::memset(again, 0xff, 4112);
	std::memset(another, 0xff, 4112);
	EXPECT_EQ(host::live_allocations(), 3);
	on_another_thread([&] {
		platform_free_atomic(again, 4112);
		platform_free_atomic(another, 4112);
		EXPECT_EQ(host::live_allocations(), 1);
	});
	platform_free(second);
	EXPECT_EQ(host::live_allocations(), 0);
}

TEST_F(host_platform_test, memory_of_the_packet_path_is_zero)
{
	const std::vector<uint8_t> zero(4112);
	for (size_t used : {size_t(0), size_t(1), size_t(500), size_t(4112)}) {
		void *const memory = platform_alloc_atomic(4112);
		ASSERT_NE(memory, nullptr);
		EXPECT_EQ(std::memcmp(memory, zero.data(), zero.size()), 0);
		std::memset(memory, 0xff, used);
		platform_free_atomic(memory, used);
	}
	void *const memory = platform_alloc_atomic(4112);
	EXPECT_EQ(std::memcmp(memory, zero.data(), zero.size()), 0);
	platform_free_atomic(memory, 0);
}

TEST_F(host_platform_test, memory_can_fail)
{
	host::set_fault(fault_point::alloc_atomic, 1);
	void *const sleeping = platform_alloc(16);
	EXPECT_NE(sleeping, nullptr);
	EXPECT_EQ(platform_alloc_atomic(4112), nullptr);
	host::set_fault(fault_point::alloc, 1);
	void *const atomic = platform_alloc_atomic(4112);
	EXPECT_NE(atomic, nullptr);
	EXPECT_EQ(platform_alloc(16), nullptr);
	EXPECT_EQ(host::live_allocations(), 2);
	platform_free_atomic(atomic, 4112);
	platform_free(sleeping);
}

// --- Faults ---

TEST_F(host_platform_test, faults_come_after_as_many_calls_and_as_often_as_asked)
{
	const auto fails = [](int calls) {
		std::string pattern;
		for (int i = 0; i < calls; ++i)
			pattern += host::fails(fault_point::netif_rx) ? 'x' : '.';
		return pattern;
	};
	EXPECT_EQ(fails(3), "...");
	host::set_fault(fault_point::netif_rx, 2, 3);
	EXPECT_EQ(fails(7), "...xx..");
	EXPECT_EQ(host::faults_hit(fault_point::netif_rx), 2u);
	host::set_fault(fault_point::netif_rx, 1);
	EXPECT_EQ(fails(3), "x..");
	EXPECT_EQ(host::faults_hit(fault_point::netif_rx), 3u);
	host::set_fault(fault_point::netif_rx, 5);
	host::set_fault(fault_point::netif_rx, 0);
	EXPECT_EQ(fails(3), "...");
	host::set_fault(fault_point::netif_rx, 5);
	EXPECT_FALSE(host::fails(fault_point::alloc)); // another point
	host::clear_faults();
	EXPECT_EQ(fails(3), "...");
	EXPECT_EQ(host::faults_hit(fault_point::netif_rx), 0u);
}

TEST_F(host_platform_test, fault_points_have_names)
{
	static const struct {
		fault_point point;
		const char *name;
	} rows[] = {{fault_point::alloc_atomic, "alloc_atomic"},
		    {fault_point::alloc, "alloc"},
		    {fault_point::skb_alloc, "skb_alloc"},
		    {fault_point::dev_get_by_name, "dev_get_by_name"},
		    {fault_point::dev_get_by_index, "dev_get_by_index"},
		    {fault_point::netif_rx, "netif_rx"},
		    {fault_point::route_output_null, "route_output_null"},
		    {fault_point::route_output_error, "route_output_error"},
		    {fault_point::register_sysctl, "register_sysctl"},
		    {fault_point::proc_dostring, "proc_dostring"},
		    {fault_point::set_cpus_allowed, "set_cpus_allowed"}};
	EXPECT_EQ(std::size(rows), static_cast<size_t>(fault_point::count_of_points));
	for (const auto &row : rows)
		EXPECT_STREQ(host::fault_name(row.point), row.name);
	EXPECT_STREQ(host::fault_name(fault_point::count_of_points), "unknown");
}

// --- Devices ---

TEST_F(host_platform_test, devices_are_found_by_name_and_by_index)
{
	EXPECT_EQ(platform_dev_get_by_name("eth0"), nullptr);
	EXPECT_EQ(platform_dev_get_by_index(1), nullptr);
	net_device *const eth0 = host::add_device("eth0"), *const eth7 = host::add_device("eth7", 7),
			  *const eth8 = host::add_device("eth8");
	EXPECT_EQ(platform_dev_ifindex(eth0), 1);
	EXPECT_EQ(platform_dev_ifindex(eth7), 7);
	EXPECT_EQ(platform_dev_ifindex(eth8), 8);
	EXPECT_STREQ(platform_dev_name(eth7), "eth7");

	EXPECT_EQ(platform_dev_get_by_name("eth7"), eth7);
	EXPECT_EQ(platform_dev_get_by_index(7), eth7);
	EXPECT_EQ(eth7->references, 2);
	platform_dev_put(eth7);
	EXPECT_EQ(eth7->references, 1);
	EXPECT_EQ(platform_dev_get_by_name("eth"), nullptr);
	EXPECT_EQ(platform_dev_get_by_name("eth70"), nullptr);
	EXPECT_EQ(platform_dev_get_by_index(0), nullptr);
	EXPECT_EQ(eth0->references, 0);
	EXPECT_EQ(platform_dev_net(eth0), platform_dev_net(eth7));
	EXPECT_NE(platform_dev_net(eth0), nullptr);
}

TEST_F(host_platform_test, devices_come_and_go)
{
	net_device *const eth0 = host::add_device("eth0", 1), *const eth1 = host::add_device("eth1", 2);
	host::remove_device(eth0);
	EXPECT_EQ(platform_dev_get_by_name("eth0"), nullptr);
	EXPECT_EQ(platform_dev_get_by_index(1), nullptr);
	EXPECT_EQ(platform_dev_get_by_index(2), eth1);
	EXPECT_STREQ(platform_dev_name(eth0), "eth0"); // the record stays
	host::rename_device(eth1, "uplink");
	EXPECT_EQ(platform_dev_get_by_name("eth1"), nullptr);
	EXPECT_EQ(platform_dev_get_by_name("uplink"), eth1);
	host::remove_all_devices();
	EXPECT_EQ(platform_dev_get_by_name("uplink"), nullptr);
	EXPECT_EQ(platform_dev_ifindex(host::add_device("first")), 1);
}

TEST_F(host_platform_test, a_device_name_has_15_characters)
{
	net_device *const dev = host::add_device("0123456789abcdefgh");
	EXPECT_STREQ(platform_dev_name(dev), "0123456789abcde");
	EXPECT_EQ(platform_dev_get_by_name("0123456789abcde"), dev);
	host::rename_device(dev, "x");
	EXPECT_EQ(std::string(dev->name, sizeof dev->name), "x" + std::string(15, '\0'));
}

TEST_F(host_platform_test, places_of_removed_devices_are_used_again)
{
	for (int i = 0; i < 3000; ++i) {
		net_device *const dev = host::add_device("come-and-go", 1);
		ASSERT_NE(dev, nullptr);
		ASSERT_EQ(platform_dev_get_by_index(1), dev);
		host::remove_device(dev);
	}
	for (int i = 0; i < 1024; ++i)
		ASSERT_NE(host::add_device("stay"), nullptr);
	EXPECT_EQ(host::add_device("one too many"), nullptr);
}

TEST_F(host_platform_test, device_look_ups_can_fail)
{
	net_device *const dev = host::add_device("eth0", 1);
	host::set_fault(fault_point::dev_get_by_name, 1);
	host::set_fault(fault_point::dev_get_by_index, 1);
	EXPECT_EQ(platform_dev_get_by_name("eth0"), nullptr);
	EXPECT_EQ(platform_dev_get_by_index(1), nullptr);
	EXPECT_EQ(dev->references, 0);
	EXPECT_EQ(platform_dev_get_by_name("eth0"), dev);
	EXPECT_EQ(platform_dev_get_by_index(1), dev);
}

// --- Time ---

TEST_F(host_platform_test, the_clock_is_the_systems_until_it_is_fixed)
{
	const time_t before = std::time(nullptr);
	const platform_time now = platform_clock();
	timespec after;
	clock_gettime(CLOCK_REALTIME, &after);
	EXPECT_GE(now.seconds, before);
	EXPECT_LE(now.seconds, after.tv_sec);
	EXPECT_GE(now.nanoseconds, 0);
	EXPECT_LT(now.nanoseconds, 1000000000);

	host::set_clock(-5, 17);
	EXPECT_EQ(platform_clock().seconds, -5);
	EXPECT_EQ(platform_clock().nanoseconds, 17);
	on_another_thread([&] { EXPECT_GE(platform_clock().seconds, before); });
	host::use_system_clock();
	EXPECT_GE(platform_clock().seconds, before);
	host::set_clock(1, 2);
	host::reset();
	EXPECT_GE(platform_clock().seconds, before);
}

TEST_F(host_platform_test, time_zone)
{
	int32_t minutes_west = 1, dst = 1;
	platform_time_zone(&minutes_west, &dst);
	EXPECT_EQ(minutes_west, 0);
	EXPECT_EQ(dst, 0);
	host::set_time_zone(-330, 2);
	platform_time_zone(&minutes_west, &dst);
	EXPECT_EQ(minutes_west, -330);
	EXPECT_EQ(dst, 2);
}

TEST_F(host_platform_test, calendar_fields_agree_with_the_c_library)
{
	const auto check = [](int64_t seconds) {
		SCOPED_TRACE(seconds);
		const time_t moment = seconds;
		tm expected;
		gmtime_r(&moment, &expected);
		platform_calendar fields;
		platform_calendar_fields(seconds, &fields);
		EXPECT_EQ(fields.year, expected.tm_year);
		EXPECT_EQ(fields.month, expected.tm_mon);
		EXPECT_EQ(fields.day, expected.tm_mday);
		EXPECT_EQ(fields.hour, expected.tm_hour);
		EXPECT_EQ(fields.minute, expected.tm_min);
		EXPECT_EQ(fields.second, expected.tm_sec);
		return !HasFailure();
	};
	// Both ends of every day from 1899 to 2200, and far away.
	for (int64_t day = -26000; day < 84000; ++day)
		if (!check(day * 86400) || !check(day * 86400 + 86399))
			return;
	for (int64_t seconds : {int64_t(-62135596800), int64_t(-62135596801), int64_t(4294967295), int64_t(253402300799)})
		check(seconds);
	for (int64_t seconds = 0; seconds < 86400; ++seconds)
		if (!check(seconds) || !check(-1 - seconds))
			return;
}

// --- Packet buffers ---

TEST_F(host_platform_test, a_buffer_grows_at_both_ends)
{
	net_device *const dev = host::add_device("eth0");
	sk_buff *const skb = platform_skb_alloc(100);
	ASSERT_NE(skb, nullptr);
	EXPECT_EQ(host::live_buffers(), 1);
	EXPECT_EQ(platform_skb_packet(skb).len, 0u);
	EXPECT_EQ(platform_skb_dev(skb), nullptr);
	EXPECT_EQ(platform_skb_iif(skb), 0);
	const uint8_t *const head = platform_skb_data(skb);
	platform_skb_reserve(skb, 30);
	EXPECT_EQ(platform_skb_data(skb), head + 30);
	EXPECT_EQ(platform_skb_put(skb, 40), head + 30);
	EXPECT_EQ(platform_skb_put(skb, 30), head + 70);
	EXPECT_EQ(platform_skb_packet(skb).len, 70u);
	platform_skb_mark_mac_header(skb);
	EXPECT_EQ(platform_skb_push(skb, 24), head + 6);
	platform_skb_mark_network_header(skb);
	EXPECT_EQ(platform_skb_push(skb, 6), head);
	EXPECT_EQ(platform_skb_data(skb), head);
	EXPECT_EQ(platform_skb_packet(skb).len, 100u);
	EXPECT_EQ(skb->mac_header, 30u);
	EXPECT_EQ(skb->network_header, 6u);
	std::memset(const_cast<uint8_t *>(head), 0xff, 100);

	platform_skb_set_dev(skb, dev);
	EXPECT_EQ(platform_skb_dev(skb), dev);
	platform_skb_set_protocol(skb, 0x8ffa);
	EXPECT_EQ(std::memcmp(&skb->protocol, "\x8f\xfa", 2), 0); // network order
	skb->pkt_type = 3;
	platform_skb_set_type_host(skb);
	EXPECT_EQ(skb->pkt_type, 0);
	skb->ip_summed = 2;
	platform_skb_set_checksum_none(skb);
	EXPECT_EQ(skb->ip_summed, 0);
	host::free_skb(skb);
	EXPECT_EQ(host::live_buffers(), 0);
}

TEST_F(host_platform_test, the_room_of_a_buffer_must_be_there)
{
	::testing::FLAGS_gtest_death_test_style = "threadsafe"; // a sanitizer may run a thread of its own
	sk_buff *const skb = platform_skb_alloc(10);
	platform_skb_reserve(skb, 4);
	EXPECT_DEATH(platform_skb_put(skb, 7), "");
	EXPECT_DEATH(platform_skb_push(skb, 5), "");
	EXPECT_DEATH(platform_skb_reserve(skb, 7), "");
	platform_skb_put(skb, 6);
	platform_skb_push(skb, 4);
	EXPECT_EQ(platform_skb_packet(skb).len, 10u);
	host::free_skb(skb);
	sk_buff *const empty = platform_skb_alloc(0);
	ASSERT_NE(empty, nullptr);
	EXPECT_DEATH(platform_skb_put(empty, 1), "");
	host::free_skb(empty);
}

// More than a thread keeps, of a size that it keeps and of one that it does not; those that come again are as new.
TEST_F(host_platform_test, many_buffers_at_once)
{
	for (int round = 0; round < 2; ++round) {
		std::vector<sk_buff *> buffers;
		for (uint32_t i = 0; i < 600; ++i) {
			const uint32_t size = i % 2 ? 4097 : 9000;
			sk_buff *const skb = platform_skb_alloc(size);
			ASSERT_NE(skb, nullptr);
			EXPECT_EQ(skb->len, 0u);
			EXPECT_EQ(skb->dev, nullptr);
			EXPECT_EQ(skb->route, nullptr);
			EXPECT_EQ(reinterpret_cast<uintptr_t>(skb->head) % alignof(sk_buff), 0u);
			std::memset(platform_skb_put(skb, size), static_cast<int>(i), size);
			buffers.push_back(skb);
		}
		EXPECT_EQ(host::live_buffers(), 600);
		for (uint32_t i = 0; i < buffers.size(); ++i) {
			const uint8_t *const data = platform_skb_data(buffers[i]);
			EXPECT_EQ(std::count(data, data + buffers[i]->len, static_cast<uint8_t>(i)), buffers[i]->len);
			host::free_skb(buffers[i]);
		}
		EXPECT_EQ(host::live_buffers(), 0);
	}
}

TEST_F(host_platform_test, buffers_can_fail)
{
	host::set_fault(fault_point::skb_alloc, 1);
	EXPECT_EQ(platform_skb_alloc(10), nullptr);
	EXPECT_EQ(host::live_buffers(), 0);
}

TEST_F(host_platform_test, a_linear_view_is_the_data_itself)
{
	const bytes content = hex("01 02 03");
	sk_buff skb{};
	uint32_t size = 2;
	EXPECT_EQ(platform_skb_linear(&skb, content.data() + 1, &size), content.data() + 1);
	EXPECT_EQ(size, 2u);
	size = 0;
	EXPECT_NE(platform_skb_linear(&skb, nullptr, &size), nullptr); // a buffer without a block
	EXPECT_EQ(size, 0u);
}

struct receiver {
	std::vector<sk_buff *> packets;
	int result = 0;

	static int take(void *context, sk_buff *skb)
	{
		receiver *const self = static_cast<receiver *>(context);
		self->packets.push_back(skb);
		host::free_skb(skb);
		return self->result;
	}
};

TEST_F(host_platform_test, the_stack_takes_every_packet)
{
	EXPECT_EQ(platform_netif_rx(platform_skb_alloc(4)), 0);
	EXPECT_EQ(host::live_buffers(), 0);

	receiver stack;
	host::set_receiver(receiver::take, &stack);
	sk_buff *const accepted = platform_skb_alloc(4);
	EXPECT_EQ(platform_netif_rx(accepted), 0);
	EXPECT_EQ(stack.packets, std::vector<sk_buff *>{accepted});
	stack.result = 7;
	EXPECT_EQ(platform_netif_rx(platform_skb_alloc(4)), 7);
	EXPECT_EQ(stack.packets.size(), 2u);

	host::set_fault(fault_point::netif_rx, 1);
	EXPECT_EQ(platform_netif_rx(platform_skb_alloc(4)), 1);
	EXPECT_EQ(stack.packets.size(), 2u);
	EXPECT_EQ(host::live_buffers(), 0);

	host::reset();
	EXPECT_EQ(platform_netif_rx(platform_skb_alloc(4)), 0);
	EXPECT_EQ(stack.packets.size(), 2u);
}

// --- Log ---

TEST_F(host_platform_test, log_lines_are_kept_in_their_order)
{
	EXPECT_TRUE(host::take_log().empty());
	platform_log("one\n");
	platform_log_info("two\n");
	on_another_thread([] { platform_log("three\n"); });
	const std::vector<host::log_line> lines = host::take_log();
	ASSERT_EQ(lines.size(), 3u);
	EXPECT_EQ(lines[0].text, "one\n");
	EXPECT_FALSE(lines[0].information);
	EXPECT_EQ(lines[1].text, "two\n");
	EXPECT_TRUE(lines[1].information);
	EXPECT_EQ(lines[2].text, "three\n");
	EXPECT_FALSE(lines[2].information);
	EXPECT_TRUE(host::take_log().empty());
}

TEST_F(host_platform_test, log_lines_go_to_a_function_instead)
{
	std::string seen;
	host::set_log([](void *context, const host::log_line &line) { *static_cast<std::string *>(context) += line.text; }, &seen);
	platform_log("one\n");
	platform_log_info("two\n");
	EXPECT_EQ(seen, "one\ntwo\n");
	EXPECT_TRUE(host::take_log().empty());
	host::set_log(nullptr, nullptr);
	platform_log("three\n");
	EXPECT_EQ(seen, "one\ntwo\n");
	EXPECT_EQ(host::take_log().size(), 1u);
	platform_log("four\n");
	host::reset();
	EXPECT_TRUE(host::take_log().empty());
}

} // namespace test
