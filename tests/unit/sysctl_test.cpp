// SPDX-License-Identifier: GPL-2.0-only
#include "capture/percpu.h"
#include "config/sysctl.h"
#include "output/buffer.h"
#include "tests/unit/support.h"

#include <cstring>
#include <thread>

namespace test {

namespace {

const char params_path[] = "net/fw/debug_pkt_params", set_buff_path[] = "net/fw/debug_pkt_set_buff",
	   gre_type_path[] = "net/fw/gre_type";

class sysctl_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		EXPECT_EQ(init_module(), 0);
		EXPECT_TRUE(host::take_log().empty());
		allocations = host::live_allocations();
	}
	// No call keeps its scratch buffer.
	void TearDown() override
	{
		EXPECT_EQ(host::live_allocations(), allocations);
		core_test::TearDown();
	}
	long allocations;
};

class registration_test : public core_test {};

std::string read_entry(std::string_view path)
{
	std::string text;
	EXPECT_EQ(host::sysctl_read(path, text), 0);
	return text;
}

// One system call.
struct call {
	int result;
	size_t length;
	long long position;
	bool operator==(const call &) const = default;
};
std::ostream &operator<<(std::ostream &out, const call &done)
{
	return out << "result " << done.result << ", length " << done.length << ", position " << done.position;
}

call write_at(std::string_view path, const bytes &content, long long position)
{
	const packet exact(content);
	size_t length = content.size();
	const int result = host::sysctl_write(path, exact.data(), length, position);
	return {result, length, position};
}

call write_at(std::string_view path, std::string_view content, long long position)
{
	return write_at(path, test::text(content), position);
}

call read_at(std::string_view path, std::string &content, size_t size, long long position)
{
	const std::unique_ptr<char[]> exact(new char[size]);
	size_t length = size;
	const int result = host::sysctl_read(path, exact.get(), length, position);
	content.assign(exact.get(), result == 0 ? length : 0);
	return {result, length, position};
}

struct logged {
	bool information;
	std::string text;
	bool operator==(const logged &) const = default;
};
std::vector<logged> take_log()
{
	std::vector<logged> lines;
	for (const host::log_line &line : host::take_log())
		lines.push_back({line.information, line.text});
	return lines;
}

const char default_line[] =
	"mirror 0.0.0.0, dev all, mac 00:00:00:00:00:00, ip 0.0.0.0, ipv6 0000:0000:0000:0000:0000:0000:0000:0000, vlan 0, "
	"proto 0x0, port 0, match dev mac ip vlan proto port, type none, count 0\n";
const char emptied_line[] =
	"mirror 0.0.0.0, dev all, mac d0:d0:d0:d0:d0:d0, ip 0.0.0.0, ipv6 d0d0:d0d0:d0d0:d0d0:d0d0:d0d0:d0d0:d0d0, vlan 0, "
	"proto 0x0, port 0, match dev mac ip vlan proto port, type none, count 0\n";

} // namespace

// --- Registration ---

TEST_F(registration_test, nine_records)
{
	const long before = host::live_allocations();
	debug_pkt_sysctl_register();
	EXPECT_TRUE(take_log().empty());
	EXPECT_EQ(host::live_allocations(), before + 1);
	EXPECT_NE(debug_pkt_sysctl_header, nullptr);
	const platform_sysctl_entry *const tree = debug_pkt_sysctls;
	ASSERT_NE(tree, nullptr);

	const auto expect_record = [&](int index, int32_t id, const char *name, uint16_t mode, const platform_sysctl_entry *child,
				       platform_sysctl_handler *handler) {
		SCOPED_TRACE(index);
		EXPECT_EQ(tree[index].id, id);
		EXPECT_STREQ(tree[index].name, name);
		EXPECT_EQ(tree[index].data, nullptr);
		EXPECT_EQ(tree[index].max_length, 0);
		EXPECT_EQ(tree[index].mode, mode);
		EXPECT_EQ(tree[index].child, child);
		EXPECT_EQ(tree[index].handler, handler);
	};
	expect_record(0, 3, "net", 0555, tree + 2, nullptr);
	expect_record(1, 0, nullptr, 0, nullptr, nullptr);
	expect_record(2, -2, "fw", 0555, tree + 4, nullptr);
	expect_record(3, 0, nullptr, 0, nullptr, nullptr);
	expect_record(4, 0, "debug_pkt_params", 0644, nullptr, debug_pkt_sysctl_hostport_smp);
	expect_record(5, 1, "debug_pkt_set_buff", 0644, nullptr, debug_pkt_sysctl_hostport_smp);
	expect_record(6, 2, "gre_type", 0644, nullptr, debug_pkt_sysctl_hostport_smp);
	expect_record(7, 0, nullptr, 0, nullptr, nullptr);
	expect_record(8, 0, nullptr, 0, nullptr, nullptr);
}

TEST_F(registration_test, the_template_stays_as_it_is)
{
	debug_pkt_sysctl_register();
	std::string text;
	EXPECT_EQ(host::sysctl_read(params_path, text), 0);
	const char *const names[] = {"debug_pkt_params", "debug_pkt_set_buff", "gre_type"};
	for (int i = 0; i < 3; ++i) {
		const platform_sysctl_entry &entry = debug_pkt_sysctl_template[i];
		EXPECT_EQ(entry.id, i);
		EXPECT_STREQ(entry.name, names[i]);
		EXPECT_EQ(entry.data, nullptr);
		EXPECT_EQ(entry.max_length, 0);
		EXPECT_EQ(entry.mode, 0644);
		EXPECT_EQ(entry.child, nullptr);
		EXPECT_EQ(entry.handler, debug_pkt_sysctl_hostport_smp);
	}
	EXPECT_EQ(debug_pkt_sysctl_template[3].name, nullptr);
}

TEST_F(registration_test, the_tree)
{
	EXPECT_TRUE(host::sysctl_paths().empty());
	EXPECT_EQ(init_module(), 0);
	EXPECT_EQ(host::sysctl_paths(), (std::vector<std::string>{params_path, set_buff_path, gre_type_path}));
	EXPECT_EQ(host::sysctl_mode("net"), 0555);
	EXPECT_EQ(host::sysctl_mode("net/fw"), 0555);
	EXPECT_EQ(host::sysctl_mode(params_path), 0644);
	EXPECT_EQ(host::sysctl_mode(set_buff_path), 0644);
	EXPECT_EQ(host::sysctl_mode(gre_type_path), 0644);
	std::string text;
	for (const char *path :
	     {"", "net/", "fw", "net/fw/", "net/fw/gre", "net/fw/gre_type2", "net/fw/gre_type/more", "gre_type"}) {
		EXPECT_EQ(host::sysctl_mode(path), 0) << path;
		EXPECT_EQ(host::sysctl_read(path, text), -2) << path;
		EXPECT_EQ(host::sysctl_write(path, "1"), -2) << path;
	}
	for (const char *path : {"net", "net/fw"}) {
		EXPECT_EQ(host::sysctl_read(path, text), -20);
		EXPECT_EQ(host::sysctl_write(path, "1"), -20);
	}
}

TEST_F(registration_test, no_memory)
{
	host::set_fault(host::fault_point::alloc, 1);
	EXPECT_EQ(init_module(), 0);
	EXPECT_EQ(take_log(), (std::vector<logged>{{false, "debug_pkt_sysctl_register: no memory for sysctl table!\n"}}));
	EXPECT_EQ(debug_pkt_sysctls, nullptr);
	EXPECT_EQ(debug_pkt_sysctl_header, nullptr);
	EXPECT_TRUE(host::sysctl_paths().empty());
	cleanup_module();
	EXPECT_TRUE(take_log().empty());
}

TEST_F(registration_test, registration_fails)
{
	const long before = host::live_allocations();
	host::set_fault(host::fault_point::register_sysctl, 1);
	EXPECT_EQ(init_module(), 0);
	EXPECT_EQ(take_log(), (std::vector<logged>{{false, "debug_pkt_sysctl_register: failed to register sysctls!\n"}}));
	EXPECT_EQ(debug_pkt_sysctls, nullptr);
	EXPECT_EQ(debug_pkt_sysctl_header, nullptr);
	EXPECT_EQ(host::live_allocations(), before);
	EXPECT_TRUE(host::sysctl_paths().empty());
	cleanup_module();
	EXPECT_TRUE(take_log().empty());
}

static int count_message(void *context, sk_buff *skb)
{
	++*static_cast<int *>(context);
	host::free_skb(skb);
	return 0;
}

// A program's code stays, and so does the tree. Pending text is not delivered.
TEST_F(registration_test, unloading_undoes_nothing)
{
	int messages = 0;
	host::add_device("br0");
	host::set_receiver(count_message, &messages);
	init_module();
	debug_pkt_buf_append("text", 4);
	platform_sysctl_entry *const tree = debug_pkt_sysctls;
	platform_sysctl_header *const header = debug_pkt_sysctl_header;
	const long allocations = host::live_allocations();
	cleanup_module();
	EXPECT_EQ(debug_pkt_sysctls, tree);
	EXPECT_EQ(debug_pkt_sysctl_header, header);
	EXPECT_EQ(host::live_allocations(), allocations);
	EXPECT_EQ(read_entry(params_path), default_line);
	EXPECT_EQ(host::sysctl_write(gre_type_path, "5"), 0);
	EXPECT_EQ(gre_type, 5);
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf + 4);
	EXPECT_EQ(messages, 0);
	EXPECT_TRUE(take_log().empty());
}

// Where the code goes away, the tree goes too: once, and a later load registers a new one. Pending text is not delivered.
TEST_F(registration_test, unloading_where_the_code_goes_away)
{
	int messages = 0;
	host::add_device("br0");
	host::set_receiver(count_message, &messages);
	const long before = host::live_allocations();
	host::set_unload_takes_tree(true);
	for (int i = 0; i < 2; ++i) {
		init_module();
		debug_pkt_buf_append("text", 4);
		EXPECT_EQ(host::sysctl_write(gre_type_path, "5"), 0);
		cleanup_module();
		EXPECT_EQ(debug_pkt_sysctls, nullptr);
		EXPECT_EQ(debug_pkt_sysctl_header, nullptr);
		EXPECT_EQ(host::live_allocations(), before);
		EXPECT_TRUE(host::sysctl_paths().empty());
		cleanup_module();
	}
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf + 8);
	EXPECT_EQ(messages, 0);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(registration_test, loading_leaves_settings_and_buffer_alone)
{
	debug_pkt_cur_count = 4;
	init_module();
	EXPECT_EQ(debug_pkt_buf_end, nullptr);
	EXPECT_EQ(debug_pkt_cur_count, 4);
	EXPECT_EQ(debug_pkt_type_flags, 0u);
}

// --- The three entries ---

TEST_F(sysctl_test, settings_line)
{
	EXPECT_EQ(read_entry(params_path), default_line);
	debug_pkt_cur_count = 12;
	EXPECT_EQ(
		host::sysctl_write(
			params_path,
			"1.2.3.4 eth0 00:11:22:aa:BB:cc 0000:0000:0000:0000:0000:0000:0000:0001 10.0.0.1 5 17 53 127 128 100 8\n"),
		0);
	EXPECT_EQ(debug_pkt_cur_count, 0);
	EXPECT_EQ(debug_pkt_mod, 8u);
	EXPECT_EQ(read_entry(params_path), "mirror 1.2.3.4, dev eth0, mac 00:11:22:aa:bb:cc, ip 10.0.0.1, ipv6 "
					   "0000:0000:0000:0000:0000:0000:0000:0001, vlan 5, "
					   "proto 0x11, port 53, match dev mac ip vlan proto port, type udp, count 100\n");
	EXPECT_TRUE(take_log().empty());
}

TEST_F(sysctl_test, a_write_ends_at_its_first_newline_or_nul)
{
	using namespace std::string_literals;
	EXPECT_EQ(write_at(gre_type_path, "12\n345"s, 0), (call{0, 6, 6}));
	EXPECT_EQ(gre_type, 12);
	EXPECT_EQ(write_at(gre_type_path, "34\0005"s, 0), (call{0, 4, 4}));
	EXPECT_EQ(gre_type, 34);
	EXPECT_EQ(write_at(gre_type_path, "\n56"s, 0), (call{0, 3, 3}));
	EXPECT_EQ(gre_type, 34);
	EXPECT_EQ(write_at(params_path, "0 lan\n0 wan"s, 0), (call{0, 11, 11}));
	EXPECT_STREQ(debug_pkt_dev, "lan");
}

TEST_F(sysctl_test, a_write_needs_no_newline)
{
	EXPECT_EQ(write_at(gre_type_path, "88", 0), (call{0, 2, 2}));
	EXPECT_EQ(gre_type, 88);
}

TEST_F(sysctl_test, a_write_behind_the_text_acts_on_an_empty_text)
{
	gre_type = 9;
	EXPECT_EQ(write_at(gre_type_path, "12", 1), (call{0, 2, 1}));
	EXPECT_EQ(gre_type, 9);
	EXPECT_EQ(write_at(gre_type_path, "12", -1), (call{0, 2, -1}));
	EXPECT_EQ(gre_type, 9);

	debug_pkt_cur_count = 3;
	EXPECT_EQ(write_at(params_path, "0 eth7 00:11:22:33:44:55", 4), (call{0, 24, 4}));
	EXPECT_EQ(read_entry(params_path), emptied_line);
	EXPECT_EQ(debug_pkt_cur_count, 0);

	debug_pkt_cur_count = 3;
	EXPECT_EQ(write_at(set_buff_path, "1", 1 << 20), (call{0, 1, 1 << 20}));
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_cur_count, 0);
}

TEST_F(sysctl_test, a_write_of_nothing_acts_on_an_empty_text)
{
	gre_type = 9;
	EXPECT_EQ(write_at(gre_type_path, "", 0), (call{0, 0, 0}));
	EXPECT_EQ(gre_type, 9);
	debug_pkt_cur_count = 3;
	EXPECT_EQ(write_at(params_path, "", 0), (call{0, 0, 0}));
	EXPECT_EQ(read_entry(params_path), emptied_line);
	EXPECT_EQ(debug_pkt_cur_count, 0);
	debug_pkt_matched = 1;
	EXPECT_EQ(write_at(set_buff_path, "", 0), (call{0, 0, 0}));
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_matched, 0);
}

// The buffer of 16048 bytes holds a text of 16047.
TEST_F(sysctl_test, longest_write)
{
	const std::string blanks(16040, ' ');
	EXPECT_EQ(write_at(gre_type_path, blanks + "1234567", 0), (call{0, 16047, 16047}));
	EXPECT_EQ(gre_type, 1234567);
	EXPECT_EQ(write_at(gre_type_path, blanks + " 7654321", 0), (call{0, 16048, 16048}));
	EXPECT_EQ(gre_type, 765432);
	EXPECT_EQ(write_at(gre_type_path, blanks + blanks + "1", 0), (call{0, 32081, 32081}));
	EXPECT_EQ(gre_type, 765432);
	// One long token, cut where the settings cut it.
	EXPECT_EQ(write_at(params_path, "0 " + std::string(16046, 'e'), 0), (call{0, 16048, 16048}));
	EXPECT_STREQ(debug_pkt_dev, "eeeeeeeeeee");
}

TEST_F(sysctl_test, read_in_parts)
{
	const std::string whole = default_line;
	for (size_t size = 1; size <= whole.size() + 2; ++size) {
		SCOPED_TRACE(size);
		std::string text, part;
		long long position = 0;
		do {
			const long long before = position;
			const call done = read_at(params_path, part, size, position);
			ASSERT_EQ(done.result, 0);
			ASSERT_LE(done.length, size);
			position = done.position;
			ASSERT_EQ(position, before + static_cast<long long>(done.length));
			text += part;
		} while (!part.empty());
		ASSERT_EQ(text, whole);
	}
}

TEST_F(sysctl_test, read_at_a_position)
{
	gre_type = 421;
	std::string text;
	EXPECT_EQ(read_at(gre_type_path, text, 16, 0), (call{0, 4, 4}));
	EXPECT_EQ(text, "421\n");
	EXPECT_EQ(read_at(gre_type_path, text, 4, 0), (call{0, 4, 4}));
	EXPECT_EQ(text, "421\n");
	EXPECT_EQ(read_at(gre_type_path, text, 3, 0), (call{0, 3, 3}));
	EXPECT_EQ(text, "421");
	EXPECT_EQ(read_at(gre_type_path, text, 16, 2), (call{0, 2, 4}));
	EXPECT_EQ(text, "1\n");
	EXPECT_EQ(read_at(gre_type_path, text, 16, 3), (call{0, 1, 4}));
	EXPECT_EQ(text, "\n");
	EXPECT_EQ(read_at(gre_type_path, text, 16, 4), (call{0, 0, 4}));
	EXPECT_EQ(read_at(gre_type_path, text, 16, 4000), (call{0, 0, 4000}));
	EXPECT_EQ(read_at(gre_type_path, text, 16, -1), (call{0, 0, -1}));
	EXPECT_EQ(read_at(gre_type_path, text, 0, 0), (call{0, 0, 0}));
}

TEST_F(sysctl_test, gre_type_shows_three_digits)
{
	const auto shown = [](std::string_view written) {
		EXPECT_EQ(host::sysctl_write(gre_type_path, written), 0);
		return read_entry(gre_type_path);
	};
	EXPECT_EQ(read_entry(gre_type_path), "0\n");
	EXPECT_EQ(shown("7"), "7\n");
	EXPECT_EQ(shown("42"), "42\n");
	EXPECT_EQ(shown("999"), "999\n");
	EXPECT_EQ(shown("1000"), "100\n");
	EXPECT_EQ(shown("12345"), "123\n");
	EXPECT_EQ(gre_type, 12345);
	EXPECT_EQ(shown("-1"), "429\n"); // 4294967295
	EXPECT_EQ(gre_type, -1);
	EXPECT_EQ(shown("-2147483648"), "214\n");
	EXPECT_EQ(shown("4294967295"), "429\n");
	EXPECT_EQ(gre_type, -1);
	EXPECT_EQ(shown(" \t 25944 and more"), "259\n");
	EXPECT_EQ(gre_type, 25944);
	for (const char *text : {"", "none", "+5", "-", "x12", " "})
		EXPECT_EQ(shown(text), "259\n") << text;
	EXPECT_EQ(gre_type, 25944);
	EXPECT_EQ(shown("0x6558"), "0\n");
}

TEST_F(sysctl_test, buffer_reset)
{
	EXPECT_EQ(read_entry(set_buff_path), "\n");
	EXPECT_EQ(debug_pkt_buf_end, nullptr);
	for (const char *text : {"1\n", "0", "anything"}) {
		debug_pkt_buf_append("pending", 7);
		debug_pkt_matched = 1;
		debug_pkt_cur_count = 99;
		EXPECT_EQ(host::sysctl_write(set_buff_path, text), 0);
		EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
		EXPECT_EQ(debug_pkt_matched, 0);
		EXPECT_EQ(debug_pkt_cur_count, 0);
	}
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 21u);
	EXPECT_EQ(read_entry(set_buff_path), "\n");
	// Nothing else changes, and the text area keeps its bytes.
	EXPECT_EQ(std::string(debug_pkt_buf, 8), std::string("pending\0", 8));
	EXPECT_EQ(read_entry(params_path), default_line);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 0u);
}

TEST_F(sysctl_test, buffer_reset_of_an_unset_buffer)
{
	debug_pkt_set_buffer();
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 0u);
	debug_pkt_set_buffer();
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 0u);
}

TEST_F(sysctl_test, buffer_reset_acts_on_the_running_cpu)
{
	debug_pkt_buf_append("here", 4);
	debug_pkt_matched = 1;
	debug_pkt_cur_count = 5;
	std::thread([] {
		host::bind_cpu(1);
		debug_pkt_buf_append("there", 5);
		debug_pkt_matched = 1;
		EXPECT_EQ(host::sysctl_write(set_buff_path, "1"), 0);
		EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
		EXPECT_EQ(debug_pkt_matched, 0);
	}).join();
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf + 4);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(debug_pkt_cur_count, 0); // the count is everyone's
}

// --- Failures ---

TEST_F(sysctl_test, no_memory)
{
	gre_type = 6;
	debug_pkt_cur_count = 5;
	for (const char *path : {params_path, set_buff_path, gre_type_path}) {
		std::string text;
		host::set_fault(host::fault_point::alloc, 1);
		EXPECT_EQ(read_at(path, text, 64, 0), (call{-12, 64, 0}));
		host::set_fault(host::fault_point::alloc, 1);
		EXPECT_EQ(write_at(path, "77", 0), (call{-12, 2, 0}));
	}
	EXPECT_EQ(gre_type, 6);
	EXPECT_EQ(debug_pkt_cur_count, 5);
	EXPECT_EQ(debug_pkt_buf_end, nullptr);
	EXPECT_EQ(read_entry(params_path), default_line);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(sysctl_test, failing_copy)
{
	gre_type = 6;
	debug_pkt_cur_count = 5;
	for (const char *path : {params_path, set_buff_path, gre_type_path}) {
		host::set_fault(host::fault_point::proc_dostring, 1);
		EXPECT_EQ(write_at(path, "77", 0).result, -14);
		std::string text;
		host::set_fault(host::fault_point::proc_dostring, 1);
		EXPECT_EQ(read_at(path, text, 64, 0).result, -14);
	}
	EXPECT_EQ(gre_type, 6);
	EXPECT_EQ(debug_pkt_cur_count, 5);
	EXPECT_EQ(debug_pkt_buf_end, nullptr);
	EXPECT_EQ(read_entry(params_path), default_line);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(sysctl_test, unknown_entry)
{
	for (const int32_t id : {3, 77, -2, INT32_MIN}) {
		platform_sysctl_entry entry = debug_pkt_sysctl_template[0];
		entry.id = id;
		char text[8] = "12";
		size_t length = 2;
		long long position = 0;
		EXPECT_EQ(debug_pkt_sysctl_hostport_smp(&entry, 1, text, &length, &position), 0);
		EXPECT_EQ(position, 2);
		EXPECT_EQ(take_log(),
			  (std::vector<logged>{{true, "debug_pkt_sysctl_hostport: Unknown sysctl " + std::to_string(id) + "\n"}}));
		length = sizeof text;
		position = 0;
		EXPECT_EQ(debug_pkt_sysctl_hostport(&entry, 0, text, &length, &position), 0);
		EXPECT_EQ(std::string(text, length), "\n");
		EXPECT_TRUE(take_log().empty());
		// A failing copy: nothing is acted on.
		host::set_fault(host::fault_point::proc_dostring, 1);
		position = 0;
		EXPECT_EQ(debug_pkt_sysctl_hostport(&entry, 1, text, &length, &position), -14);
		EXPECT_TRUE(take_log().empty());
		EXPECT_EQ(entry.data, nullptr);
		EXPECT_EQ(entry.max_length, 0);
	}
}

// --- Two CPUs in the handler at once ---

TEST_F(sysctl_test, two_cpus_at_once)
{
	constexpr int rounds = 500;
	const auto run = [](uint32_t cpu, const std::string &dev, const std::string &number) {
		host::bind_cpu(cpu);
		const std::string settings = "0 " + dev + " 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 " + number;
		for (int i = 0; i < rounds; ++i) {
			ASSERT_EQ(host::sysctl_write(params_path, settings), 0);
			ASSERT_EQ(host::sysctl_write(gre_type_path, number), 0);
			ASSERT_EQ(host::sysctl_write(set_buff_path, "1"), 0);
			ASSERT_EQ(debug_pkt_buf_end, debug_pkt_buf);
			const std::string gre = read_entry(gre_type_path);
			ASSERT_TRUE(gre == "111\n" || gre == "222\n") << gre;
			const std::string line = read_entry(params_path);
			ASSERT_EQ(line.substr(0, 25), "mirror 0.0.0.0, dev eth0-");
			ASSERT_TRUE(line.ends_with(", match dev mac ip vlan proto port, type none, count 0\n")) << line;
			ASSERT_TRUE(line.find(", vlan 111, ") != line.npos || line.find(", vlan 222, ") != line.npos) << line;
			ASSERT_EQ(read_entry(set_buff_path), "\n");
		}
	};
	host::sysctl_write(params_path, "0 eth0-one 00:00:00:00:00:00 0000:0000:0000:0000:0000:0000:0000:0000 0 111");
	host::sysctl_write(gre_type_path, "111");
	std::thread first(run, 0, "eth0-one", "111"), second(run, 1, "eth0-two", "222");
	first.join();
	second.join();
	for (int i = 4; i < 7; ++i) {
		EXPECT_EQ(debug_pkt_sysctls[i].data, nullptr);
		EXPECT_EQ(debug_pkt_sysctls[i].max_length, 0);
	}
}

// --- CPU binding ---

TEST_F(sysctl_test, binding_to_a_cpu)
{
	platform_set_cpus_allowed(0xf);
	EXPECT_EQ(debug_pkt_bind_task_cpu(2), 0);
	EXPECT_EQ(platform_cpus_allowed(), 0x4ul);
	EXPECT_EQ(debug_pkt_bind_task_cpu(0), 0);
	EXPECT_EQ(platform_cpus_allowed(), 0x1ul);

	platform_set_cpus_allowed(0xb);
	unsigned long saved = 0;
	EXPECT_EQ(debug_pkt_bind_task_cpu_save(3, &saved), 0);
	EXPECT_EQ(saved, 0xbul);
	EXPECT_EQ(platform_cpus_allowed(), 0x8ul);
	EXPECT_EQ(debug_pkt_bind_task_cpu_restore(saved), 0);
	EXPECT_EQ(platform_cpus_allowed(), 0xbul);
}

TEST_F(sysctl_test, binding_reports_no_error)
{
	platform_set_cpus_allowed(0x3);
	host::set_fault(host::fault_point::set_cpus_allowed, 3);
	unsigned long saved = 0;
	EXPECT_EQ(debug_pkt_bind_task_cpu(1), 0);
	EXPECT_EQ(debug_pkt_bind_task_cpu_save(1, &saved), 0);
	EXPECT_EQ(saved, 0x3ul);
	EXPECT_EQ(debug_pkt_bind_task_cpu_restore(0x1), 0);
	EXPECT_EQ(platform_cpus_allowed(), 0x3ul);
	EXPECT_EQ(host::faults_hit(host::fault_point::set_cpus_allowed), 3u);
}

} // namespace test
