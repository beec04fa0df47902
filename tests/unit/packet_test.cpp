// SPDX-License-Identifier: GPL-2.0-only
#include "capture/packet.h"
#include "tests/unit/support.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace test {

using packet_test = core_test;

static std::string string_of(const text::word &word)
{
	return std::string(word.chars, word.length);
}

TEST_F(packet_test, bytes_at_and_past_the_end_read_as_0)
{
	const packet block(hex("11 22 33"));
	const uint8_t *const p = block.data();
	const wire::announced_packet bounds(p, block.size());
	EXPECT_EQ(wire::read_u8(p), 0x11);
	EXPECT_EQ(wire::read_u8(p + 2), 0x33);
	EXPECT_EQ(wire::read_u8(p + 3), 0);
	EXPECT_EQ(wire::read_u8(p + 1000), 0);
	EXPECT_EQ(wire::read_u16(p), 0x1122);
	EXPECT_EQ(wire::read_u16(p + 1), 0x2233);
	EXPECT_EQ(wire::read_u16(p + 2), 0x3300);
	EXPECT_EQ(wire::read_u16(p + 3), 0);
	EXPECT_TRUE(wire::in_packet(p));
	EXPECT_TRUE(wire::in_packet(p + 2));
	EXPECT_FALSE(wire::in_packet(p + 3));
}

TEST_F(packet_test, headers_are_read_in_place_or_filled_up_with_zeros)
{
	const packet block(hex("01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 11 12"));
	const uint8_t *const p = block.data();
	const wire::announced_packet bounds(p, block.size());
	for (uint32_t start = 0; start <= 24; ++start) {
		SCOPED_TRACE(start);
		const wire::header<8> header(p + start);
		EXPECT_EQ(header.at(0) == p + start, start <= 10);
		for (uint32_t i = 0; i < 8; ++i) {
			const uint8_t expected = start + i < 18 ? static_cast<uint8_t>(start + i + 1) : uint8_t(0);
			EXPECT_EQ(header[i], expected);
			EXPECT_EQ(*header.at(i), expected);
		}
	}
	const wire::header<8> first(p);
	EXPECT_EQ(first.u16(0), 0x0102);
	EXPECT_EQ(first.u16(1), 0x0203);
	EXPECT_EQ(first.u16(6), 0x0708);
	EXPECT_EQ(first.u32(0), 0x01020304u);
	EXPECT_EQ(first.u32(3), 0x04050607u);
	EXPECT_EQ(first.ipv4(4).bytes, p + 4);
	EXPECT_EQ(first.mac(2).bytes, p + 2);
	EXPECT_EQ(wire::header<16>(p).ipv6(0).bytes, p);
	const wire::header<8> last(p + 14);
	EXPECT_EQ(last.u16(2), 0x1112);
	EXPECT_EQ(last.u16(3), 0x1200);
	EXPECT_EQ(last.u32(0), 0x0f101112u);
	EXPECT_EQ(last.u32(2), 0x11120000u);
	EXPECT_EQ(last.u32(4), 0u);
}

// A buffer without bytes may have no address either: its end is then less than any header's size.
TEST_F(packet_test, a_packet_of_nothing_at_address_0)
{
	const wire::announced_packet bounds(nullptr, 0);
	EXPECT_EQ(wire::read_u8(nullptr), 0);
	const wire::header<1> one(nullptr);
	EXPECT_EQ(one[0], 0);
	const wire::header<14> ethernet(nullptr);
	for (uint32_t i = 0; i < 14; ++i)
		EXPECT_EQ(ethernet[i], 0);
	EXPECT_EQ(wire::available(nullptr, 512), 0u);
	EXPECT_EQ(string_of(wire::read_string(nullptr, 512)), "");
}

TEST_F(packet_test, copies_hold_what_the_packet_has)
{
	const packet block(hex("aa bb cc dd"));
	const uint8_t *const p = block.data();
	const wire::announced_packet bounds(p, block.size());
	for (uint32_t start = 0; start <= 6; ++start) {
		for (uint32_t size = 0; size <= 8; ++size) {
			SCOPED_TRACE(std::to_string(start) + ", " + std::to_string(size));
			uint8_t copy[9];
			std::memset(copy, 0x5a, sizeof copy);
			EXPECT_EQ(wire::copy_clipped(p + start, size, copy), copy);
			bytes expected;
			for (uint32_t i = 0; i < size; ++i)
				expected.push_back(start + i < 4 ? p[start + i] : uint8_t(0));
			EXPECT_EQ(bytes(copy, copy + size), expected);
			EXPECT_EQ(copy[size], 0x5a);
		}
	}
}

TEST_F(packet_test, what_is_available)
{
	const packet block(hex("01 02 03"));
	const uint8_t *const p = block.data();
	const wire::announced_packet bounds(p, block.size());
	EXPECT_EQ(wire::available(p, 0), 0u);
	EXPECT_EQ(wire::available(p, 2), 2u);
	EXPECT_EQ(wire::available(p, 3), 3u);
	EXPECT_EQ(wire::available(p, 4), 3u);
	EXPECT_EQ(wire::available(p + 2, UINT32_MAX), 1u);
	EXPECT_EQ(wire::available(p + 3, 5), 0u);
	EXPECT_EQ(wire::available(p + 4, 5), 0u);
}

TEST_F(packet_test, list_entries_start_before_both_ends)
{
	const packet block(zeros(4));
	const uint8_t *const p = block.data();
	const wire::announced_packet bounds(p, block.size());
	EXPECT_TRUE(wire::starts_before(p, 0, 1));
	EXPECT_TRUE(wire::starts_before(p, 3, 100));
	EXPECT_FALSE(wire::starts_before(p, 4, 100)); // the packet's end
	EXPECT_FALSE(wire::starts_before(p, 2, 2));   // the list's
	EXPECT_FALSE(wire::starts_before(p, 0, 0));
	EXPECT_FALSE(wire::starts_before(p, 0, -1));
}

TEST_F(packet_test, strings_end_at_their_nul_the_packets_end_or_the_most)
{
	const packet block(text(std::string("one\0two", 7)));
	const uint8_t *const p = block.data();
	const wire::announced_packet bounds(p, block.size());
	EXPECT_EQ(string_of(wire::read_string(p, 100)), "one");
	EXPECT_EQ(string_of(wire::read_string(p, 3)), "one");
	EXPECT_EQ(string_of(wire::read_string(p, 2)), "on");
	EXPECT_EQ(string_of(wire::read_string(p, 0)), "");
	EXPECT_EQ(string_of(wire::read_string(p + 3, 100)), "");
	EXPECT_EQ(string_of(wire::read_string(p + 4, 100)), "two");
	EXPECT_EQ(string_of(wire::read_string(p + 4, 2)), "tw");
	EXPECT_EQ(string_of(wire::read_string(p + 7, 100)), "");
	EXPECT_EQ(string_of(wire::read_string(p + 70, 100)), "");
	EXPECT_EQ(wire::read_string(p + 4, 100).chars, reinterpret_cast<const char *>(p + 4));
}

TEST_F(packet_test, without_an_announced_packet_everything_is_read)
{
	EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
	const bytes content = hex("61 62 63 00 64");
	const uint8_t *const p = content.data();
	EXPECT_TRUE(wire::in_packet(p + 4));
	EXPECT_EQ(wire::read_u16(p), 0x6162);
	EXPECT_EQ(wire::read_u8(p + 4), 0x64);
	EXPECT_EQ(wire::available(p, 5), 5u);
	EXPECT_EQ(wire::available(p, UINT32_MAX), UINT32_MAX);
	EXPECT_EQ(wire::header<5>(p).at(0), p);
	EXPECT_EQ(string_of(wire::read_string(p, 1000)), "abc");
}

TEST_F(packet_test, announcing_puts_the_previous_end_back)
{
	const packet outer(hex("01 02 03 04")), inner(hex("05 06"));
	{
		const wire::announced_packet first(outer.data(), 4);
		EXPECT_FALSE(wire::in_packet(outer.data() + 4));
		{
			const wire::announced_packet second(inner.data(), 2);
			EXPECT_EQ(wire::read_u16(inner.data() + 1), 0x0600);
			{
				const wire::announced_packet third(outer.data(), 1);
				EXPECT_EQ(wire::read_u16(outer.data()), 0x0100);
			}
			EXPECT_EQ(debug_pkt_packet.end, reinterpret_cast<uintptr_t>(inner.data()) + 2);
		}
		EXPECT_EQ(wire::read_u16(outer.data() + 2), 0x0304);
		EXPECT_EQ(wire::read_u16(outer.data() + 3), 0x0400);
	}
	EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
}

TEST_F(packet_test, lengths_are_signed_32_bit_values)
{
	const packet block(zeros(64));
	const uint8_t *const p = block.data() + 32;
	const uintptr_t start = reinterpret_cast<uintptr_t>(p);
	static const struct {
		uint32_t len;
		int64_t distance;
	} rows[] = {{0, 0}, {1, 1}, {0x7fffffff, 2147483647}, {0xffffffff, -1}, {0xfffffff2, -14}, {0x80000000, -2147483648}};
	for (const auto &row : rows) {
		SCOPED_TRACE(row.len);
		const wire::announced_packet bounds(p, row.len);
		EXPECT_EQ(debug_pkt_packet.end, start + static_cast<uintptr_t>(row.distance));
		EXPECT_EQ(wire::in_packet(p), row.distance > 0);
	}
	// An end before the start: nothing of the packet is read.
	const wire::announced_packet wrapped(p, 0xffffffff);
	EXPECT_EQ(wire::available(p, 10), 0u);
	const bytes ones(32, 0xff);
	std::memcpy(const_cast<uint8_t *>(p), ones.data(), ones.size());
	const wire::header<16> header(p);
	EXPECT_TRUE(std::all_of(header.at(0), header.at(0) + 16, [](uint8_t byte) { return byte == 0; }));
	EXPECT_EQ(wire::read_u8(p), 0);
	EXPECT_EQ(string_of(wire::read_string(p, 10)), "");
}

TEST_F(packet_test, at_most_8_packets_stand_inside_one_another)
{
	std::vector<std::unique_ptr<wire::nested_packet>> nested;
	for (uint32_t depth = 1; depth <= 8; ++depth) {
		nested.push_back(std::make_unique<wire::nested_packet>());
		EXPECT_TRUE(nested.back()->entered);
		EXPECT_EQ(debug_pkt_packet.depth, depth);
	}
	{
		const wire::nested_packet ninth;
		EXPECT_FALSE(ninth.entered);
		EXPECT_EQ(debug_pkt_packet.depth, 8u);
	}
	EXPECT_EQ(debug_pkt_packet.depth, 8u);
	// Depth, not count: one that has ended makes room for another.
	nested.pop_back();
	EXPECT_EQ(debug_pkt_packet.depth, 7u);
	{
		const wire::nested_packet again;
		EXPECT_TRUE(again.entered);
	}
	nested.clear();
	EXPECT_EQ(debug_pkt_packet.depth, 0u);
}

TEST_F(packet_test, a_cpu_announces_for_itself)
{
	const packet block(hex("01 02"));
	const wire::announced_packet bounds(block.data(), 1);
	const wire::nested_packet nested;
	std::thread([&] {
		EXPECT_EQ(debug_pkt_packet.end, UINTPTR_MAX);
		EXPECT_EQ(debug_pkt_packet.depth, 0u);
		EXPECT_EQ(wire::read_u16(block.data()), 0x0102);
		const wire::announced_packet none(block.data(), 0);
		EXPECT_EQ(wire::read_u8(block.data()), 0);
	}).join();
	EXPECT_EQ(wire::read_u16(block.data()), 0x0100);
	EXPECT_EQ(debug_pkt_packet.depth, 1u);
}

} // namespace test
