// SPDX-License-Identifier: GPL-2.0-only
#include "capture/context.h"
#include "tests/unit/support.h"
#include "text/format.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdio>
#include <cstring>
#include <random>
#include <tuple>

namespace test {

namespace {

// A string argument of both formatters.
struct characters {
	std::string value;
};

template <class T> T to_core(T argument)
{
	return argument;
}
text::word to_core(const characters &argument)
{
	return {argument.value.data(), static_cast<uint32_t>(argument.value.size())};
}

template <class T> std::tuple<T> to_printf(T argument)
{
	return {argument};
}
std::tuple<const char *> to_printf(const characters &argument)
{
	return {argument.value.c_str()};
}
template <unsigned N> auto to_printf(text::octets<N> argument)
{
	return [&]<size_t... I>(std::index_sequence<I...>)
	{
		return std::tuple((argument.bytes[I])...);
	}
	(std::make_index_sequence<N>());
}

template <class... A> std::string printf_text(const char *format, A... arguments)
{
	char line[2048];
	const int length = snprintf(line, sizeof line, format, arguments...);
	EXPECT_GE(length, 0);
	EXPECT_LT(length, static_cast<int>(sizeof line));
	return line;
}

// One call with a given room: the characters, the NUL, the result, and nothing outside the room.
template <text::literal F, class... A> bool room_is_right(const std::string &expected, size_t room, const A &...arguments)
{
	constexpr size_t guard = 32;
	std::vector<char> area(guard + room + guard, '\x5a');
	char *const out = area.data() + guard;
	const uint32_t result = text::format<F>(out, static_cast<uint32_t>(room), arguments...);
	const auto untouched = [](char c) { return c == '\x5a'; };
	const bool outside = std::all_of(area.begin(), area.begin() + guard, untouched) &&
			     std::all_of(area.end() - guard, area.end(), untouched);
	const size_t stored = std::min(expected.size(), room ? room - 1 : 0);
	const bool inside = room == 0 || (std::memcmp(out, expected.data(), stored) == 0 && out[stored] == 0);
	EXPECT_TRUE(outside) << "bytes outside the room were written";
	EXPECT_EQ(result, expected.size());
	EXPECT_TRUE(inside) << "stored: " << std::string(out, std::min(stored, room))
			    << "\nexpected: " << expected.substr(0, stored);
	return outside && inside && result == expected.size();
}

// Every room up to the line's length + 2, and those around the one from which on the line is written without checks.
template <text::literal F, class... A> bool all_rooms_are_right(const std::string &expected, const A &...arguments)
{
	std::vector<size_t> rooms(expected.size() + 3);
	for (size_t room = 0; room < rooms.size(); ++room)
		rooms[room] = room;
	const size_t checked_below = text::longest_line<F, A...> + expected.size() + text::slack + 2;
	for (size_t room = expected.size() + 3; room <= checked_below; ++room)
		rooms.push_back(room);
	rooms.push_back(4095);
	for (const size_t room : rooms)
		if (!room_is_right<F>(expected, room, arguments...)) {
			ADD_FAILURE() << "format " << F.chars << " with room " << room;
			return false;
		}
	return true;
}

template <text::literal F, class... A> bool prints_as_printf(const A &...arguments)
{
	const std::string expected =
		std::apply([](auto... flat) { return printf_text(F.chars, flat...); }, std::tuple_cat(to_printf(arguments)...));
	return all_rooms_are_right<F>(expected, to_core(arguments)...);
}

// Numbers of every length, and those beside each power of ten and two.
class numbers {
public:
	template <class T> T any()
	{
		const uint64_t bits = engine();
		switch (engine() % 4) {
		case 0: {
			uint64_t power = 1;
			for (uint64_t count = bits % 20; count; --count)
				power *= 10;
			return static_cast<T>(power + (bits >> 32) % 3 - 1);
		}
		case 1:
			return static_cast<T>((uint64_t(1) << bits % 64) + (bits >> 32) % 3 - 1);
		case 2:
			return static_cast<T>(0 - (bits >> bits % 64));
		default:
			return static_cast<T>(bits >> bits % 64);
		}
	}
	characters text(size_t longest)
	{
		std::string value(engine() % (longest + 1), ' ');
		for (char &c : value)
			c = static_cast<char>(1 + engine() % 255);
		return {value};
	}
	std::array<uint8_t, 16> address()
	{
		std::array<uint8_t, 16> result;
		for (uint8_t &byte : result)
			byte = any<uint8_t>();
		return result;
	}
	std::mt19937_64 engine{20240229};
};

// One conversion with one argument type, alone and between characters.
template <text::literal Alone, text::literal Between, class T> void conversion_prints_as_printf(int times)
{
	numbers random;
	for (int i = 0; i < times; ++i) {
		const T number = random.any<T>();
		if (!prints_as_printf<Alone>(number) || !prints_as_printf<Between>(number)) {
			ADD_FAILURE() << "number " << +number;
			return;
		}
	}
}

template <text::literal F, class T> void every_value_prints_as_printf()
{
	for (uint32_t number = 0; number <= static_cast<T>(-1); ++number)
		if (!prints_as_printf<F>(static_cast<T>(number)))
			return;
}

inline constexpr int rounds = 3000;

} // namespace

TEST(format_test, decimal)
{
	conversion_prints_as_printf<"%d", "  len %d, ", uint8_t>(rounds);
	conversion_prints_as_printf<"%d", "  len %d, ", uint16_t>(rounds);
	conversion_prints_as_printf<"%d", "  len %d, ", int32_t>(rounds);
	conversion_prints_as_printf<"%u", "(%u)\n", uint8_t>(rounds);
	conversion_prints_as_printf<"%u", "(%u)\n", uint16_t>(rounds);
	conversion_prints_as_printf<"%u", "(%u)\n", uint32_t>(rounds);
}

TEST(format_test, hexadecimal)
{
	conversion_prints_as_printf<"%x", "flags 0x%x)\n", uint8_t>(rounds);
	conversion_prints_as_printf<"%x", "flags 0x%x)\n", uint16_t>(rounds);
	conversion_prints_as_printf<"%x", "flags 0x%x)\n", uint32_t>(rounds);
	conversion_prints_as_printf<"%02x", "-%02x-", uint8_t>(rounds);
	conversion_prints_as_printf<"%02x", "-%02x-", uint16_t>(rounds);
	conversion_prints_as_printf<"%02x", "-%02x-", uint32_t>(rounds);
	conversion_prints_as_printf<"%04x", "etype %04x\n", uint8_t>(rounds);
	conversion_prints_as_printf<"%04x", "etype %04x\n", uint16_t>(rounds);
	conversion_prints_as_printf<"%04x", "etype %04x\n", uint32_t>(rounds);
	conversion_prints_as_printf<"%08x", "id %08x,", uint8_t>(rounds);
	conversion_prints_as_printf<"%08x", "id %08x,", uint16_t>(rounds);
	conversion_prints_as_printf<"%08x", "id %08x,", uint32_t>(rounds);
}

TEST(format_test, zero_padded_decimal)
{
	conversion_prints_as_printf<"%02u", ":%02u:", uint8_t>(rounds);
	conversion_prints_as_printf<"%02u", ":%02u:", uint16_t>(rounds);
	conversion_prints_as_printf<"%02u", ":%02u:", uint32_t>(rounds);
	conversion_prints_as_printf<"%03d", "(%03d)", uint8_t>(rounds);
	conversion_prints_as_printf<"%03d", "(%03d)", uint16_t>(rounds);
	conversion_prints_as_printf<"%03d", "(%03d)", int32_t>(rounds);
}

TEST(format_test, long_numbers)
{
	conversion_prints_as_printf<"%06ld", ":%06ld))\n", long>(rounds);
	conversion_prints_as_printf<"%ld", "%ld.", long>(rounds);
	conversion_prints_as_printf<"%lu", "%lu.", unsigned long>(rounds);
	conversion_prints_as_printf<"%lx", "%08lx.", unsigned long>(rounds);
}

TEST(format_test, every_byte)
{
	every_value_prints_as_printf<"%d", uint8_t>();
	every_value_prints_as_printf<"%u", uint8_t>();
	every_value_prints_as_printf<"%x", uint8_t>();
	every_value_prints_as_printf<"%02x", uint8_t>();
	every_value_prints_as_printf<"%02u", uint8_t>();
	every_value_prints_as_printf<"%03d", uint8_t>();
}

TEST(format_test, every_16_bit_number)
{
	for (uint32_t number = 0; number <= 0xffff; ++number) {
		char decimal[64], hex[64], padded[64];
		const uint16_t value = static_cast<uint16_t>(number);
		text::format<"%d">(decimal, sizeof decimal, value);
		text::format<"%x">(hex, sizeof hex, value);
		text::format<"%04x">(padded, sizeof padded, value);
		ASSERT_EQ(decimal, printf_text("%d", value));
		ASSERT_EQ(hex, printf_text("%x", value));
		ASSERT_EQ(padded, printf_text("%04x", value));
	}
}

TEST(format_test, smallest_and_largest_numbers)
{
	EXPECT_TRUE((all_rooms_are_right<"%d">("-2147483648", INT32_MIN)));
	EXPECT_TRUE((all_rooms_are_right<"%d">("2147483647", INT32_MAX)));
	EXPECT_TRUE((all_rooms_are_right<"%u">("4294967295", UINT32_MAX)));
	EXPECT_TRUE((all_rooms_are_right<"%x">("ffffffff", UINT32_MAX)));
	EXPECT_TRUE((all_rooms_are_right<"%x">("0", uint32_t(0))));
	EXPECT_TRUE((all_rooms_are_right<"%d">("0", int32_t(0))));
	EXPECT_TRUE((all_rooms_are_right<"%03d">("-05", int32_t(-5))));
	EXPECT_TRUE((all_rooms_are_right<"%03d">("-2147483648", INT32_MIN)));
	EXPECT_TRUE((all_rooms_are_right<"%06ld">("-00001", -1l)));
}

TEST(format_test, octets)
{
	numbers random;
	for (int i = 0; i < rounds; ++i) {
		const std::array<uint8_t, 16> address = random.address();
		const uint8_t *const at = address.data();
		ASSERT_TRUE((prints_as_printf<"sip %d.%d.%d.%d,">(text::octets<4>(at))));
		ASSERT_TRUE((prints_as_printf<"%02x:%02x:%02x:%02x:%02x:%02x">(text::octets<6>(at))));
		ASSERT_TRUE((prints_as_printf<"%d.%d.%d.%d -> %d.%d.%d.%d\n">(text::octets<4>(at), text::octets<4>(at + 4))));
		ASSERT_TRUE((prints_as_printf<"%x %u %03d">(text::octets<3>(at))));
	}
}

TEST(format_test, strings_of_every_length)
{
	std::string value;
	for (unsigned length = 0; length <= 80; ++length) {
		const characters word = {value};
		ASSERT_TRUE((prints_as_printf<"%s">(word)));
		ASSERT_TRUE((prints_as_printf<"  #sip: %s\n">(word)));
		ASSERT_TRUE((prints_as_printf<"%s(%d)%s">(word, int32_t(-length), word)));
		value.push_back(static_cast<char>('!' + length % 90));
	}
	numbers random;
	for (int i = 0; i < 300; ++i)
		ASSERT_TRUE((prints_as_printf<"[%s] %s, %02x">(random.text(300), random.text(20), random.any<uint8_t>())));
}

TEST(format_test, string_arguments)
{
	const char *const pointer = "pointer";
	char array[12] = "array";
	const char packet[] = {'w', 'o', 'r', 'd', 0, '!', '?'};
	EXPECT_TRUE((all_rooms_are_right<"%s">("pointer", text::word(pointer))));
	char line[64];
	EXPECT_EQ((text::format<"%s %s %s">(line, sizeof line, pointer, array, "literal")), 21u);
	EXPECT_STREQ(line, "pointer array literal");
	EXPECT_EQ((text::format<"%s|%s">(line, sizeof line, text::word(packet, 4), text::word(packet + 5, 1))), 6u);
	EXPECT_STREQ(line, "word|!");
	EXPECT_EQ((text::format<"<%s>">(line, sizeof line, text::word(packet, 7))), 9u);
	EXPECT_EQ(std::memcmp(line, "<word\0!?>", 10), 0);
	EXPECT_EQ((text::format<"%s%s%s">(line, sizeof line, text::when<" ip">(true), text::when<" mac">(false), text::word())),
		  3u);
	EXPECT_STREQ(line, " ip");
}

// 16 bytes are read, come what may, and not more.
TEST(format_test, names_of_every_length)
{
	for (uint32_t length = 0; length <= text::name_size; ++length) {
		const std::vector<char> chars(text::name_size, static_cast<char>('a' + length));
		const text::name name(chars.data(), length);
		const std::string expected(chars.data(), length);
		EXPECT_TRUE((all_rooms_are_right<"%s">(expected, name)));
		EXPECT_TRUE((all_rooms_are_right<"[%s](%d) %s">("[" + expected + "](-7) " + expected, name, int32_t(-7), name)));
	}
	constexpr text::name longest = text::name_of<"0123456789abcdef">(), none = text::name_of<"">();
	EXPECT_TRUE((all_rooms_are_right<"%s, %s\n">("0123456789abcdef, \n", longest, none)));
	char terminated[text::name_size] = "eth0";
	EXPECT_TRUE((all_rooms_are_right<"%s">("eth0", text::name(terminated))));
}

// The longer run may be the one that is not shown, and longer than the room behind the line.
TEST(format_test, one_of_two_runs)
{
	using answer = text::choice<"yes", "by no means whatsoever">;
	char line[64];
	EXPECT_EQ((text::format<"%s, %s">(line, sizeof line, answer(true), answer(false))), 27u);
	EXPECT_STREQ(line, "yes, by no means whatsoever");
	EXPECT_EQ((text::format<"%s">(line, 10, answer(false))), 22u);
	EXPECT_STREQ(line, "by no mea");
	EXPECT_EQ((text::format<"%s%s">(line, 4, answer(true), text::when<"!">(true))), 4u);
	EXPECT_STREQ(line, "yes");
	EXPECT_EQ((text::format<"%s%s|">(line, sizeof line, text::when<"shown">(true), text::when<"not shown">(false))), 6u);
	EXPECT_STREQ(line, "shown|");
}

TEST(format_test, characters_only)
{
	EXPECT_TRUE((all_rooms_are_right<"">("")));
	EXPECT_TRUE((all_rooms_are_right<"\n">("\n")));
	EXPECT_TRUE((all_rooms_are_right<"  #payload:\n">("  #payload:\n")));
}

// A run of characters longer than what one piece counts.
TEST(format_test, long_run_of_characters)
{
#define FIFTY "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMN"
	EXPECT_TRUE((all_rooms_are_right<FIFTY FIFTY FIFTY FIFTY FIFTY FIFTY "%d" FIFTY>(
		FIFTY FIFTY FIFTY FIFTY FIFTY FIFTY "7" FIFTY, int32_t(7))));
	EXPECT_TRUE((all_rooms_are_right<FIFTY FIFTY FIFTY FIFTY FIFTY "vwxyz">(FIFTY FIFTY FIFTY FIFTY FIFTY "vwxyz")));
#undef FIFTY
}

TEST(format_test, whole_lines)
{
	numbers random;
	for (int i = 0; i < rounds; ++i) {
		const std::array<uint8_t, 16> address = random.address();
		const uint8_t *const at = address.data();
		ASSERT_TRUE((prints_as_printf<"  #vlan %d, prio %d, etype %04x\n">(random.any<uint16_t>(), random.any<uint8_t>(),
										   random.any<uint16_t>())));
		ASSERT_TRUE(
			(prints_as_printf<"\n%s received packet from %s ([cpu %d] timestamp (%d-%d-%d %02u:%02u:%02u:%06ld))\n">(
				random.text(6), random.text(15), random.any<int32_t>(), random.any<uint16_t>(),
				random.any<uint8_t>(), random.any<uint8_t>(), random.any<uint8_t>(), random.any<uint8_t>(),
				random.any<uint8_t>(), random.any<long>())));
		ASSERT_TRUE((prints_as_printf<"  #arp: opcode %s(%d), sip %d.%d.%d.%d, smac %02x:%02x:%02x:%02x:%02x:%02x\n">(
			random.text(10), random.any<uint16_t>(), text::octets<4>(at), text::octets<6>(at + 4))));
	}
}

// --- The two forms of an IPv6 address ---

namespace {

using ip6_bytes = std::array<uint8_t, 16>;

ip6_bytes ip6(const std::array<uint16_t, 8> &groups)
{
	ip6_bytes address;
	for (unsigned i = 0; i < 8; ++i) {
		address[2 * i] = static_cast<uint8_t>(groups[i] >> 8);
		address[2 * i + 1] = static_cast<uint8_t>(groups[i]);
	}
	return address;
}

uint32_t group(const ip6_bytes &address, unsigned i)
{
	return static_cast<uint32_t>(address[2 * i] << 8 | address[2 * i + 1]);
}

bool is_isatap(const ip6_bytes &address)
{
	return (group(address, 4) == 0x0000 || group(address, 4) == 0x0200) && group(address, 5) == 0x5efe;
}

bool starts_with_zero_groups(const ip6_bytes &address, unsigned count)
{
	return std::all_of(address.begin(), address.begin() + 2 * count, [](uint8_t byte) { return byte == 0; });
}

// The plain way: hexadecimal groups without leading zeros, the first of the longest runs of at least two zero groups
// as "::"; v4-mapped and ISATAP addresses have six groups and a dotted end.
std::string compressed(const ip6_bytes &address)
{
	const bool mapped = starts_with_zero_groups(address, 5) && group(address, 5) == 0xffff;
	const bool dotted = mapped || is_isatap(address);
	const unsigned groups = dotted ? 6 : 8;
	std::vector<std::string> words;
	for (unsigned i = 0; i < groups; ++i)
		words.push_back(printf_text("%x", group(address, i)));
	if (dotted)
		words.push_back(printf_text("%d.%d.%d.%d", address[12], address[13], address[14], address[15]));
	for (unsigned length = groups; length >= 2; --length)
		for (unsigned start = 0; start + length <= groups; ++start) {
			const bool all_zero = std::all_of(words.begin() + start, words.begin() + start + length,
							  [](const std::string &word) { return word == "0"; });
			if (!all_zero)
				continue;
			std::string left, right;
			for (unsigned i = 0; i < start; ++i)
				left += (i ? ":" : "") + words[i];
			for (size_t i = start + length; i < words.size(); ++i)
				right += (i == start + length ? "" : ":") + words[i];
			return left + "::" + right;
		}
	std::string whole = words[0];
	for (size_t i = 1; i < words.size(); ++i)
		whole += ":" + words[i];
	return whole;
}

std::string full(const ip6_bytes &address)
{
	std::string whole;
	for (unsigned i = 0; i < 8; ++i)
		whole += printf_text(i ? ":%04x" : "%04x", group(address, i));
	return whole;
}

void expect_ip6(const std::array<uint16_t, 8> &groups, const std::string &full_text, const std::string &compressed_text)
{
	SCOPED_TRACE(full_text);
	const ip6_bytes address = ip6(groups);
	EXPECT_TRUE((all_rooms_are_right<"%pI6">(full_text, text::ip6(address.data()))));
	EXPECT_TRUE((all_rooms_are_right<"%pI6c">(compressed_text, text::ip6(address.data()))));
	EXPECT_TRUE((all_rooms_are_right<"  #ip6: %pI6, %d\n">("  #ip6: " + full_text + ", -1\n", text::ip6(address.data()),
							       int32_t(-1))));
	EXPECT_TRUE((all_rooms_are_right<"target %pI6c\n">("target " + compressed_text + "\n", text::ip6(address.data()))));
	EXPECT_EQ(compressed(address), compressed_text);
	EXPECT_EQ(full(address), full_text);
}

// Addresses with runs of zero groups and with the beginnings of every special kind.
ip6_bytes random_address(numbers &random)
{
	std::array<uint16_t, 8> groups;
	for (uint16_t &each : groups)
		each = random.engine() % 2 ? uint16_t(0) : random.any<uint16_t>();
	switch (random.engine() % 4) {
	case 0:
		groups[0] = groups[1] = groups[2] = groups[3] = groups[4] = 0;
		groups[5] = random.engine() % 4 ? 0xffff : 0xfffe;
		break;
	case 1:
		groups[4] = random.engine() % 2 ? 0x0200 : 0x0000;
		groups[5] = random.engine() % 4 ? 0x5efe : 0x5eff;
		break;
	default:
		break;
	}
	return ip6(groups);
}

} // namespace

TEST(format_test, ip6_by_hand)
{
	expect_ip6({0, 0, 0, 0, 0, 0, 0, 0}, "0000:0000:0000:0000:0000:0000:0000:0000", "::");
	expect_ip6({0, 0, 0, 0, 0, 0, 0, 1}, "0000:0000:0000:0000:0000:0000:0000:0001", "::1");
	expect_ip6({1, 0, 0, 0, 0, 0, 0, 0}, "0001:0000:0000:0000:0000:0000:0000:0000", "1::");
	expect_ip6({0x2001, 0xdb8, 0, 0, 0, 0, 0, 1}, "2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1");
	expect_ip6({0xff02, 0, 0, 0, 0, 1, 0xff00, 1}, "ff02:0000:0000:0000:0000:0001:ff00:0001", "ff02::1:ff00:1");
	expect_ip6({0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff}, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
		   "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
	expect_ip6({0x0102, 0x0304, 0x0506, 0x0708, 0x090a, 0x0b0c, 0x0d0e, 0x0f10}, "0102:0304:0506:0708:090a:0b0c:0d0e:0f10",
		   "102:304:506:708:90a:b0c:d0e:f10");
	expect_ip6({0x1000, 0x0100, 0x0010, 0x0001, 0xabcd, 0x0bcd, 0x00cd, 0x000d}, "1000:0100:0010:0001:abcd:0bcd:00cd:000d",
		   "1000:100:10:1:abcd:bcd:cd:d");
}

TEST(format_test, ip6_runs_of_zero_groups)
{
	// A single zero group stays.
	expect_ip6({0x2001, 0xdb8, 0, 1, 1, 1, 1, 1}, "2001:0db8:0000:0001:0001:0001:0001:0001", "2001:db8:0:1:1:1:1:1");
	expect_ip6({0, 1, 2, 3, 4, 5, 6, 7}, "0000:0001:0002:0003:0004:0005:0006:0007", "0:1:2:3:4:5:6:7");
	expect_ip6({1, 2, 3, 4, 5, 6, 7, 0}, "0001:0002:0003:0004:0005:0006:0007:0000", "1:2:3:4:5:6:7:0");
	// The first of two that are equally long.
	expect_ip6({0x2001, 0, 0, 1, 0, 0, 0x5, 0x6}, "2001:0000:0000:0001:0000:0000:0005:0006", "2001::1:0:0:5:6");
	expect_ip6({0, 0, 1, 2, 3, 4, 0, 0}, "0000:0000:0001:0002:0003:0004:0000:0000", "::1:2:3:4:0:0");
	// The longer one, wherever it is.
	expect_ip6({0x2001, 0, 0, 1, 0, 0, 0, 1}, "2001:0000:0000:0001:0000:0000:0000:0001", "2001:0:0:1::1");
	expect_ip6({0, 0, 1, 2, 3, 0, 0, 0}, "0000:0000:0001:0002:0003:0000:0000:0000", "0:0:1:2:3::");
	expect_ip6({0, 0, 0, 1, 2, 3, 0, 0}, "0000:0000:0000:0001:0002:0003:0000:0000", "::1:2:3:0:0");
}

TEST(format_test, ip6_with_an_ipv4_address)
{
	// v4-mapped.
	expect_ip6({0, 0, 0, 0, 0, 0xffff, 0xc000, 0x0201}, "0000:0000:0000:0000:0000:ffff:c000:0201", "::ffff:192.0.2.1");
	expect_ip6({0, 0, 0, 0, 0, 0xffff, 0, 0}, "0000:0000:0000:0000:0000:ffff:0000:0000", "::ffff:0.0.0.0");
	// Nearly so.
	expect_ip6({0, 0, 0, 0, 1, 0xffff, 0xc000, 0x0201}, "0000:0000:0000:0000:0001:ffff:c000:0201", "::1:ffff:c000:201");
	expect_ip6({0x100, 0, 0, 0, 0, 0xffff, 0xc000, 0x0201}, "0100:0000:0000:0000:0000:ffff:c000:0201", "100::ffff:c000:201");
	expect_ip6({0, 0, 0, 0, 0, 0xfffe, 0xc000, 0x0201}, "0000:0000:0000:0000:0000:fffe:c000:0201", "::fffe:c000:201");
	expect_ip6({0, 0, 0, 0, 0, 0x0fff, 0xc000, 0x0201}, "0000:0000:0000:0000:0000:0fff:c000:0201", "::fff:c000:201");
	// v4-compatible addresses stay hexadecimal.
	expect_ip6({0, 0, 0, 0, 0, 0, 0xc000, 0x0201}, "0000:0000:0000:0000:0000:0000:c000:0201", "::c000:201");
	// ISATAP; the run of zero groups is looked for in the first six.
	expect_ip6({0xfe80, 0, 0, 0, 0, 0x5efe, 0xc000, 0x0201}, "fe80:0000:0000:0000:0000:5efe:c000:0201", "fe80::5efe:192.0.2.1");
	expect_ip6({0xfe80, 0, 0, 0, 0x200, 0x5efe, 0xa00, 1}, "fe80:0000:0000:0000:0200:5efe:0a00:0001",
		   "fe80::200:5efe:10.0.0.1");
	expect_ip6({0x2001, 0xdb8, 0, 1, 0, 0x5efe, 0, 0}, "2001:0db8:0000:0001:0000:5efe:0000:0000",
		   "2001:db8:0:1:0:5efe:0.0.0.0");
	expect_ip6({0, 0, 0, 0, 0, 0x5efe, 0x0102, 0x0304}, "0000:0000:0000:0000:0000:5efe:0102:0304", "::5efe:1.2.3.4");
	// The longest text that there is.
	expect_ip6({0xffff, 0xffff, 0xffff, 0xffff, 0x200, 0x5efe, 0xffff, 0xffff}, "ffff:ffff:ffff:ffff:0200:5efe:ffff:ffff",
		   "ffff:ffff:ffff:ffff:200:5efe:255.255.255.255");
	// Nearly so.
	expect_ip6({0xfe80, 0, 0, 0, 0x300, 0x5efe, 0xa00, 1}, "fe80:0000:0000:0000:0300:5efe:0a00:0001", "fe80::300:5efe:a00:1");
	expect_ip6({0xfe80, 0, 0, 0, 0x201, 0x5efe, 0xa00, 1}, "fe80:0000:0000:0000:0201:5efe:0a00:0001", "fe80::201:5efe:a00:1");
	expect_ip6({0xfe80, 0, 0, 0, 0, 0x5eff, 0xa00, 1}, "fe80:0000:0000:0000:0000:5eff:0a00:0001", "fe80::5eff:a00:1");
}

TEST(format_test, ip6_against_the_reference)
{
	numbers random;
	for (int i = 0; i < 20000; ++i) {
		const ip6_bytes address = random_address(random);
		const text::ip6 argument(address.data());
		ASSERT_TRUE((room_is_right<"%pI6">(full(address), 128, argument)));
		ASSERT_TRUE((room_is_right<"%pI6c">(compressed(address), 128, argument)));
		if (i % 20 == 0) {
			ASSERT_TRUE((all_rooms_are_right<"%pI6 ">(full(address) + " ", argument)));
			ASSERT_TRUE((all_rooms_are_right<"%pI6c ">(compressed(address) + " ", argument)));
		}
	}
}

// The C library prints the same but for v4-compatible addresses (dotted there) and ISATAP ones (not dotted there).
TEST(format_test, ip6_against_the_library)
{
	numbers random;
	int compared = 0;
	for (int i = 0; i < 20000; ++i) {
		const ip6_bytes address = random_address(random);
		const bool compatible = starts_with_zero_groups(address, 6) && group(address, 6) != 0;
		if (compatible || is_isatap(address))
			continue;
		++compared;
		char expected[INET6_ADDRSTRLEN], line[128];
		ASSERT_NE(inet_ntop(AF_INET6, address.data(), expected, sizeof expected), nullptr);
		text::format<"%pI6c">(line, sizeof line, text::ip6(address.data()));
		ASSERT_STREQ(line, expected);
	}
	EXPECT_GT(compared, 10000);
}

// The bound that decides whether a line is written without checks holds for the longest line of each argument type.
TEST(format_test, longest_line_is_a_bound)
{
	EXPECT_EQ((text::longest_line<"%d", int32_t>), std::string("-2147483648").size());
	EXPECT_EQ((text::longest_line<"%u %d", uint8_t, uint16_t>), std::string("255 65535").size());
	EXPECT_EQ((text::longest_line<"%x %04x %08x", uint8_t, uint16_t, uint32_t>), std::string("ff ffff ffffffff").size());
	EXPECT_EQ((text::longest_line<"%08x", uint8_t>), 8u);
	EXPECT_EQ((text::longest_line<"%d.%d.%d.%d", text::octets<4>>), std::string("255.255.255.255").size());
	EXPECT_EQ((text::longest_line<"%pI6", text::ip6>), 39u);
	EXPECT_EQ((text::longest_line<"%pI6c", text::ip6>), std::string("ffff:ffff:ffff:ffff:200:5efe:255.255.255.255").size());
	EXPECT_EQ((text::longest_line<"<%s>", text::word>), 2u);
	EXPECT_EQ((text::longest_line<"<%s>", text::name>), 2u);
}

// Three of the longest addresses in one line.
TEST(format_test, several_longest_addresses)
{
	const ip6_bytes address = ip6({0xffff, 0xffff, 0xffff, 0xffff, 0x200, 0x5efe, 0xffff, 0xffff});
	const std::string one = "ffff:ffff:ffff:ffff:200:5efe:255.255.255.255";
	const text::ip6 argument(address.data());
	EXPECT_TRUE((all_rooms_are_right<"%pI6c, %pI6c, %pI6c, end\n">(one + ", " + one + ", " + one + ", end\n", argument,
								       argument, argument)));
}

// --- Lines of a dump context ---

namespace {

std::unique_ptr<debug_pkt_ctx> context_with(uint32_t len)
{
	auto ctx = std::make_unique<debug_pkt_ctx>();
	std::memset(ctx.get(), 0x5a, sizeof *ctx);
	ctx->len = len;
	return ctx;
}

} // namespace

TEST(format_test, fresh_context)
{
	const auto ctx = context_with(77);
	debug_pkt_ctx_reset(ctx.get());
	const char zero[4112] = {};
	EXPECT_EQ(std::memcmp(ctx.get(), zero, sizeof zero), 0);
	EXPECT_EQ(sizeof *ctx, sizeof zero);
	EXPECT_EQ(ctx->len, 0u);
	EXPECT_EQ(ctx->match, 0u);
	EXPECT_EQ(ctx->type, 0u);
	EXPECT_EQ(ctx->proto, 0u);
}

TEST(format_test, line_cut_at_the_end_of_the_text)
{
	const auto ctx = context_with(4090);
	emit<"  #snap: dsap %02x %d\n">(ctx.get(), uint8_t(0xaa), int32_t(12));
	EXPECT_EQ(ctx->len, 4095u);
	EXPECT_EQ(std::string(ctx->buf + 4090, 6), std::string("  #s\0\x5a", 6));
	emit<"next line\n">(ctx.get());
	EXPECT_EQ(ctx->len, 4095u);
	EXPECT_EQ(std::string(ctx->buf + 4090, 6), std::string("  #s\0\x5a", 6));
}

TEST(format_test, line_that_exactly_fills_the_text)
{
	// One less than the room: all of it is stored.
	const auto fits = context_with(4085);
	emit<"%d789%s">(fits.get(), int32_t(123456), "");
	EXPECT_EQ(fits->len, 4094u);
	EXPECT_EQ(std::string(fits->buf + 4085, 11), std::string("123456789\0\x5a", 11));
	// The room: its last character is lost.
	const auto fills = context_with(4085);
	emit<"%d789%s">(fills.get(), int32_t(123456), "x");
	EXPECT_EQ(fills->len, 4095u);
	EXPECT_EQ(std::string(fills->buf + 4085, 11), std::string("123456789\0\x5a", 11));
	// One more.
	const auto exceeds = context_with(4085);
	emit<"%d789%s">(exceeds.get(), int32_t(123456), "xy");
	EXPECT_EQ(exceeds->len, 4095u);
	EXPECT_EQ(std::string(exceeds->buf + 4085, 11), std::string("123456789\0\x5a", 11));
}

TEST(format_test, room_for_the_end_only)
{
	const auto ctx = context_with(4094);
	emit<"%s">(ctx.get(), "");
	EXPECT_EQ(ctx->len, 4094u);
	EXPECT_EQ(ctx->buf[4094], 0);
	ctx->buf[4094] = 0x5a;
	emit<"x">(ctx.get());
	EXPECT_EQ(ctx->len, 4095u);
	EXPECT_EQ(ctx->buf[4094], 0);
	EXPECT_EQ(ctx->buf[4095], 0x5a);
	const auto full = context_with(4095);
	emit<"%s%d">(full.get(), "line", int32_t(7));
	EXPECT_EQ(full->len, 4095u);
	EXPECT_EQ(full->buf[4094], 0x5a);
	EXPECT_EQ(full->buf[4095], 0x5a);
}

TEST(format_test, longest_line_of_a_fresh_text)
{
	const std::string longest(5000, 'x');
	const auto ctx = context_with(0);
	emit<"%s">(ctx.get(), text::word(longest.data(), 5000));
	EXPECT_EQ(ctx->len, 4095u);
	EXPECT_EQ(std::string(ctx->buf, 4096), longest.substr(0, 4094) + std::string("\0\x5a", 2));
}

} // namespace test
