// SPDX-License-Identifier: GPL-2.0-only
#include "capture/percpu.h"
#include "output/buffer.h"
#include "tests/unit/support.h"

#include <cstring>
#include <thread>

// The message that is lost when there is no br0.
extern "C" const char *__lsan_default_suppressions()
{
	return "leak:debug_pkt_send2stack";
}

namespace test {

namespace {

struct message {
	std::string data;
	net_device *dev;
	std::string protocol; // the two bytes as they lie in the buffer
	uint32_t mac_header, data_offset;
	uint8_t pkt_type;
};

class buffer_test : public core_test {
protected:
	void SetUp() override
	{
		core_test::SetUp();
		host::set_receiver(receive, this);
		br0 = host::add_device("br0");
		allocations = host::live_allocations();
		buffers = host::live_buffers();
	}
	void TearDown() override
	{
		EXPECT_EQ(host::live_allocations(), allocations);
		core_test::TearDown();
	}
	static int receive(void *context, sk_buff *skb)
	{
		buffer_test *const self = static_cast<buffer_test *>(context);
		message received = {std::string(reinterpret_cast<const char *>(skb->data), skb->len),
				    skb->dev,
				    std::string(2, 0),
				    skb->mac_header,
				    static_cast<uint32_t>(skb->data - skb->head),
				    skb->pkt_type};
		std::memcpy(received.protocol.data(), &skb->protocol, 2);
		self->messages.push_back(received);
		host::free_skb(skb);
		return self->answer;
	}
	// The data of the messages received since the last call.
	std::vector<std::string> take_messages()
	{
		std::vector<std::string> all;
		for (const message &each : messages)
			all.push_back(each.data);
		messages.clear();
		return all;
	}

	net_device *br0;
	std::vector<message> messages;
	int answer = 0;
	long allocations, buffers;
};

using strings = std::vector<std::string>;

// In an exactly sized block: nothing behind the text is read.
void append(const std::string &content)
{
	const packet exact(text(content));
	debug_pkt_buf_append(reinterpret_cast<const char *>(exact.data()), exact.size());
}

uint32_t pending()
{
	return static_cast<uint32_t>(debug_pkt_buf_end - debug_pkt_buf);
}

std::string pending_text()
{
	return std::string(debug_pkt_buf, pending());
}

std::string some_text(size_t length)
{
	std::string result(length, ' ');
	for (size_t i = 0; i < length; ++i)
		result[i] = static_cast<char>('!' + i % 91);
	return result;
}

// A message as it goes out behind an append.
std::string sent(const std::string &content, char flag = 1)
{
	return std::string(1, flag) + content + '\0';
}

strings take_log()
{
	strings lines;
	for (const host::log_line &line : host::take_log()) {
		EXPECT_FALSE(line.information);
		lines.push_back(line.text);
	}
	return lines;
}

} // namespace

// --- Append ---

TEST_F(buffer_test, starts_unset)
{
	EXPECT_EQ(debug_pkt_buf_end, nullptr);
	EXPECT_EQ(sizeof debug_pkt_buf, 4096u);
}

TEST_F(buffer_test, append_to_an_empty_buffer)
{
	debug_pkt_set_buffer();
	std::memset(debug_pkt_buf, 0x5a, sizeof debug_pkt_buf);
	append("0123456789");
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf + 10);
	EXPECT_EQ(std::string(debug_pkt_buf, 12), std::string("0123456789\0\x5a", 12));
	EXPECT_TRUE(take_messages().empty());
	append("ab");
	EXPECT_EQ(std::string(debug_pkt_buf, 14), std::string("0123456789ab\0\x5a", 14));
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf + 12);
	EXPECT_TRUE(take_messages().empty());
	EXPECT_TRUE(take_log().empty());
}

TEST_F(buffer_test, append_to_an_unset_buffer)
{
	std::memset(debug_pkt_buf, 0x5a, sizeof debug_pkt_buf);
	append("text");
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf + 4);
	EXPECT_EQ(std::string(debug_pkt_buf, 6), std::string("text\0\x5a", 6));
	EXPECT_TRUE(take_messages().empty());
}

TEST_F(buffer_test, append_of_nothing)
{
	std::memset(debug_pkt_buf, 0x5a, sizeof debug_pkt_buf);
	append("");
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_buf[0], 0);
	append("abc");
	append("");
	EXPECT_EQ(pending_text(), "abc");
	EXPECT_TRUE(take_messages().empty());
}

TEST_F(buffer_test, append_of_any_bytes)
{
	const std::string content("\0line\n\xff\x80\0", 9);
	append(content);
	append(content);
	EXPECT_EQ(pending_text(), content + content);
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent(content + content)});
}

TEST_F(buffer_test, append_that_just_fits)
{
	const std::string first = some_text(4090);
	append(first);
	append("abcde");
	EXPECT_TRUE(take_messages().empty());
	EXPECT_EQ(pending_text(), first + "abcde");
	EXPECT_EQ(debug_pkt_buf[4095], 0);
	// Nothing fits behind it, not even one character.
	append("f");
	EXPECT_EQ(take_messages(), strings{sent(first + "abcde")});
	EXPECT_EQ(pending_text(), "f");
	EXPECT_EQ(debug_pkt_stats.delivered, 1u);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 0u);
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 0u);
}

// No room for the NUL: delivered first.
TEST_F(buffer_test, append_that_fills_the_area)
{
	const std::string first = some_text(4090);
	append(first);
	append("abcdef");
	const strings received = take_messages();
	ASSERT_EQ(received, strings{sent(first)});
	EXPECT_EQ(received[0].size(), 4092u);
	EXPECT_EQ(pending_text(), "abcdef");
	EXPECT_EQ(debug_pkt_buf[6], 0);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(buffer_test, append_of_nothing_to_a_full_buffer)
{
	const std::string first = some_text(4095);
	append(first);
	append("");
	EXPECT_TRUE(take_messages().empty());
	EXPECT_EQ(pending_text(), first);
}

TEST_F(buffer_test, every_length_around_the_end)
{
	for (uint32_t first = 4080; first <= 4095; ++first)
		for (uint32_t second = 0; second <= 20; ++second) {
			SCOPED_TRACE(std::to_string(first) + " + " + std::to_string(second));
			debug_pkt_set_buffer();
			const std::string one = some_text(first), other(second, '~');
			append(one);
			append(other);
			if (first + second >= 4096) {
				ASSERT_EQ(take_messages(), strings{sent(one)});
				ASSERT_EQ(pending_text(), other);
			} else {
				ASSERT_TRUE(take_messages().empty());
				ASSERT_EQ(pending_text(), one + other);
			}
			ASSERT_EQ(*debug_pkt_buf_end, 0);
		}
}

TEST_F(buffer_test, longest_text)
{
	const std::string longest = some_text(4095);
	append(longest);
	EXPECT_TRUE(take_messages().empty());
	EXPECT_EQ(pending_text(), longest);
	EXPECT_EQ(debug_pkt_buf[4095], 0);
	append(longest);
	EXPECT_EQ(take_messages(), strings{sent(longest)});
	EXPECT_EQ(pending_text(), longest);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 0u);
}

TEST_F(buffer_test, text_that_never_fits)
{
	for (const size_t length : {4096u, 4097u, 5000u, 70000u}) {
		SCOPED_TRACE(length);
		const uint64_t dropped = debug_pkt_stats.dropped_texts;
		debug_pkt_set_buffer();
		append("pending");
		append(some_text(length));
		EXPECT_EQ(take_messages(), strings{sent("pending")});
		EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
		EXPECT_EQ(std::string(debug_pkt_buf, 8), std::string("pending\0", 8));
		EXPECT_EQ(debug_pkt_stats.dropped_texts, dropped + 1);
	}
	// The buffer's end is not reached by a length that wraps.
	debug_pkt_set_buffer();
	append("pending");
	debug_pkt_buf_append("x", 0xffffffff);
	EXPECT_EQ(take_messages(), strings{sent("pending")});
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 5u);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(buffer_test, text_that_never_fits_on_an_unset_buffer)
{
	append(some_text(4096));
	EXPECT_EQ(take_messages(), strings{std::string("\1\0", 2)});
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 1u);
}

TEST_F(buffer_test, many_appends)
{
	std::string all, arrived;
	for (size_t i = 0; i < 2000; ++i) {
		const std::string part = some_text(1 + i * 37 % 300);
		all += part;
		append(part);
	}
	debug_pkt_send2stack(1);
	for (const std::string &data : take_messages()) {
		ASSERT_LE(data.size(), 4097u);
		ASSERT_EQ(data.front(), 1);
		ASSERT_EQ(data.back(), 0);
		arrived += data.substr(1, data.size() - 2);
	}
	EXPECT_EQ(arrived, all);
}

// --- Delivery ---

TEST_F(buffer_test, message)
{
	append("line one\n");
	append("line two\n");
	debug_pkt_send2stack(1);
	ASSERT_EQ(messages.size(), 1u);
	EXPECT_EQ(messages[0].data, std::string("\1line one\nline two\n\0", 20));
	EXPECT_EQ(messages[0].dev, br0);
	EXPECT_EQ(messages[0].protocol, "\x8f\xfa");
	EXPECT_EQ(messages[0].mac_header, messages[0].data_offset);
	EXPECT_EQ(messages[0].pkt_type, 0);
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(host::live_buffers(), buffers);
	EXPECT_EQ(debug_pkt_stats.delivered, 1u);
	EXPECT_TRUE(take_log().empty());
}

TEST_F(buffer_test, flag)
{
	for (const int32_t flag : {1, 5, -1, 256, INT32_MIN}) {
		append("x");
		debug_pkt_send2stack(flag);
		EXPECT_EQ(take_messages(), strings{std::string("\1x\0", 3)}) << flag;
	}
	append("x");
	debug_pkt_send2stack(0);
	EXPECT_EQ(take_messages(), strings{std::string("\0x\0", 3)});
}

TEST_F(buffer_test, unset_buffer_sends_nothing)
{
	debug_pkt_send2stack(1);
	EXPECT_TRUE(take_messages().empty());
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(br0->references, 0);
	EXPECT_TRUE(take_log().empty());
	const debug_pkt_counters none = {};
	EXPECT_EQ(std::memcmp(&debug_pkt_stats, &none, sizeof none), 0);
	// The second one finds an empty buffer.
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{std::string("\1\0", 2)});
}

TEST_F(buffer_test, empty_buffer_sends_what_its_first_byte_is)
{
	debug_pkt_set_buffer();
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{std::string("\1\0", 2)});
	append("Hello");
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent("Hello")});
	EXPECT_EQ(std::string(debug_pkt_buf, 6), std::string("Hello\0", 6));
	debug_pkt_send2stack(0);
	EXPECT_EQ(take_messages(), strings{std::string("\0H", 2)});
	debug_pkt_set_buffer();
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{"\1H"});
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(debug_pkt_stats.delivered, 4u);
}

// Every message keeps its reference.
TEST_F(buffer_test, references_of_the_bridge)
{
	for (int count = 1; count <= 5; ++count) {
		append("x");
		debug_pkt_send2stack(1);
		EXPECT_EQ(br0->references, count);
	}
	answer = 1;
	debug_pkt_send2stack(1);
	EXPECT_EQ(br0->references, 6);
	host::set_fault(host::fault_point::skb_alloc, 1);
	debug_pkt_send2stack(1);
	EXPECT_EQ(br0->references, 6);
	take_log();
}

// --- Failures ---

TEST_F(buffer_test, no_packet_buffer)
{
	append("kept");
	for (uint64_t count = 1; count <= 2; ++count) {
		host::set_fault(host::fault_point::skb_alloc, 1);
		debug_pkt_send2stack(1);
		EXPECT_EQ(take_log(), strings{"alloc skb failed can't send message to cli\n"});
		EXPECT_TRUE(take_messages().empty());
		EXPECT_EQ(pending_text(), "kept");
		EXPECT_EQ(*debug_pkt_buf_end, 0);
		EXPECT_EQ(debug_pkt_stats.delivery_no_buffer, count);
	}
	EXPECT_EQ(host::live_buffers(), buffers);
	append(" text");
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent("kept text")});
	EXPECT_EQ(debug_pkt_stats.delivered, 1u);
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 0u);
	EXPECT_TRUE(take_log().empty());
}

// The message is lost with its memory.
TEST_F(buffer_test, no_bridge)
{
	host::rename_device(br0, "br1");
	append("kept");
	for (int count = 1; count <= 3; ++count) {
		debug_pkt_send2stack(1);
		EXPECT_EQ(take_log(), strings{"failed to get bridge net device \n"});
		EXPECT_EQ(pending_text(), "kept");
		EXPECT_EQ(*debug_pkt_buf_end, 0);
		EXPECT_EQ(host::live_buffers(), buffers + count);
		EXPECT_EQ(debug_pkt_stats.delivery_no_bridge, static_cast<uint64_t>(count));
	}
	EXPECT_TRUE(take_messages().empty());
	EXPECT_EQ(br0->references, 0);
	host::rename_device(br0, "br0");
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent("kept")});
	EXPECT_EQ(host::live_buffers(), buffers + 3);
	EXPECT_EQ(debug_pkt_stats.delivered, 1u);
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 0u);
}

// The packet buffer is asked for first.
TEST_F(buffer_test, neither_packet_buffer_nor_bridge)
{
	host::rename_device(br0, "br1");
	debug_pkt_set_buffer();
	host::set_fault(host::fault_point::skb_alloc, 1);
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_log(), strings{"alloc skb failed can't send message to cli\n"});
	EXPECT_EQ(debug_pkt_stats.delivery_no_bridge, 0u);
}

TEST_F(buffer_test, refused)
{
	const std::vector<std::pair<int, std::string>> answers = {
		{1, "1"}, {-105, "-105"}, {INT32_MIN, "-2147483648"}, {INT32_MAX, "2147483647"}};
	uint64_t count = 0;
	for (const auto &[result, number] : answers) {
		answer = result;
		append("lost");
		debug_pkt_send2stack(0);
		EXPECT_EQ(take_log(), strings{"netif_rx failed can't send message to stm(" + number + ":1849)\n"});
		EXPECT_EQ(take_messages(), strings{sent("lost", 0)});
		EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
		EXPECT_EQ(debug_pkt_stats.delivery_refused, ++count);
		EXPECT_EQ(debug_pkt_stats.discarded_bytes, 4 * count);
	}
	EXPECT_EQ(debug_pkt_stats.delivered, 0u);
	EXPECT_EQ(host::live_buffers(), buffers);
	answer = 0;
	append("next");
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent("next")});
}

TEST_F(buffer_test, refused_by_the_stack_itself)
{
	append("lost");
	host::set_fault(host::fault_point::netif_rx, 1);
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_log(), strings{"netif_rx failed can't send message to stm(1:1849)\n"});
	EXPECT_EQ(debug_pkt_buf_end, debug_pkt_buf);
	EXPECT_EQ(host::live_buffers(), buffers);
}

TEST_F(buffer_test, append_after_a_refused_delivery)
{
	append(some_text(4000));
	answer = 7;
	append(std::string(200, 'x'));
	EXPECT_EQ(take_log(), strings{"netif_rx failed can't send message to stm(7:1849)\n"});
	EXPECT_EQ(pending_text(), std::string(200, 'x'));
	EXPECT_EQ(debug_pkt_stats.discarded_bytes, 4000u);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 0u);
}

TEST_F(buffer_test, append_while_the_buffer_stays_full)
{
	const std::string kept = some_text(4090);
	append(kept);
	// No packet buffer, then no bridge: what does not fit is dropped whole, what does is kept.
	host::set_fault(host::fault_point::skb_alloc, 1);
	append("abcdef");
	EXPECT_EQ(take_log(), strings{"alloc skb failed can't send message to cli\n"});
	EXPECT_EQ(pending_text(), kept);
	EXPECT_EQ(debug_pkt_buf[4090], 0);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 1u);
	host::set_fault(host::fault_point::dev_get_by_name, 1);
	append(some_text(4095));
	EXPECT_EQ(take_log(), strings{"failed to get bridge net device \n"});
	EXPECT_EQ(pending_text(), kept);
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 2u);
	append("abcde");
	EXPECT_EQ(pending_text(), kept + "abcde");
	EXPECT_EQ(debug_pkt_buf[4095], 0);
	host::set_fault(host::fault_point::skb_alloc, 1);
	append("f");
	EXPECT_EQ(take_log(), strings{"alloc skb failed can't send message to cli\n"});
	EXPECT_EQ(pending_text(), kept + "abcde");
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 3u);
	EXPECT_TRUE(take_messages().empty());
	append("g");
	EXPECT_EQ(take_messages(), strings{sent(kept + "abcde")});
	EXPECT_EQ(pending_text(), "g");
	EXPECT_EQ(debug_pkt_stats.dropped_texts, 3u);
	EXPECT_EQ(debug_pkt_stats.delivery_no_buffer, 2u);
	EXPECT_EQ(debug_pkt_stats.delivery_no_bridge, 1u);
	EXPECT_EQ(debug_pkt_stats.delivered, 1u);
}

// The capture's counters are not the buffer's business.
TEST_F(buffer_test, the_capture_count_stays)
{
	debug_pkt_cur_count = 3;
	debug_pkt_max_count = 3;
	debug_pkt_matched = 1;
	append(some_text(4000));
	append(some_text(4000));
	debug_pkt_send2stack(1);
	EXPECT_EQ(debug_pkt_cur_count, 3);
	EXPECT_EQ(debug_pkt_max_count, 3);
	EXPECT_EQ(debug_pkt_matched, 1);
	EXPECT_EQ(debug_pkt_stats.matched, 0u);
	EXPECT_EQ(debug_pkt_stats.rendered, 0u);
}

// --- Several CPUs ---

TEST_F(buffer_test, every_cpu_has_its_own_buffer)
{
	append("zero");
	std::thread([] {
		host::bind_cpu(1);
		EXPECT_EQ(debug_pkt_buf_end, nullptr);
		append("one");
		debug_pkt_send2stack(1);
	}).join();
	EXPECT_EQ(take_messages(), strings{sent("one")});
	EXPECT_EQ(pending_text(), "zero");
	debug_pkt_send2stack(1);
	EXPECT_EQ(take_messages(), strings{sent("zero")});
}

// Deliveries come one after the other: the receiver needs no lock of its own.
TEST_F(buffer_test, deliveries_of_two_cpus)
{
	const auto run = [](uint32_t cpu, char c) {
		host::bind_cpu(cpu);
		for (int i = 0; i < 300; ++i) {
			append(std::string(100, c));
			debug_pkt_send2stack(1);
		}
	};
	std::thread first(run, 0, 'a'), second(run, 1, 'b');
	first.join();
	second.join();
	const strings received = take_messages();
	EXPECT_EQ(received.size(), 600u);
	EXPECT_EQ(std::count(received.begin(), received.end(), sent(std::string(100, 'a'))), 300);
	EXPECT_EQ(std::count(received.begin(), received.end(), sent(std::string(100, 'b'))), 300);
	EXPECT_EQ(br0->references, 600);
}

} // namespace test
