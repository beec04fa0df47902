// SPDX-License-Identifier: GPL-2.0-only
#include "text/format.h"

namespace text {

namespace {

consteval digit_tables make_digits()
{
	digit_tables tables{};
	for (unsigned i = 0; i < 1000; ++i) {
		const char three[] = {static_cast<char>('0' + i / 100), static_cast<char>('0' + i / 10 % 10),
				      static_cast<char>('0' + i % 10)};
		short_decimal &number = tables.numbers[i];
		for (unsigned place = i >= 100 ? 0 : i >= 10 ? 1 : 2; place < 3; ++place)
			number.digits[number.length++] = three[place];
		for (unsigned place = 0; place < 3; ++place)
			tables.groups[i][place] = three[place];
	}
	for (unsigned i = 0; i < 256; ++i) {
		tables.hex_pairs[i][0] = "0123456789abcdef"[i >> 4];
		tables.hex_pairs[i][1] = "0123456789abcdef"[i & 15];
	}
	return tables;
}

TEXT_FEW_BYTES inline char *put_group(char *p, uint32_t number)
{
	__builtin_memcpy(p, digits.groups[number], 4);
	return p + 3;
}

// length is between N and 2 * N.
template <uint32_t N> void copy_both_ends(char *p, const char *from, uint32_t length)
{
	char first[N], last[N];
	__builtin_memcpy(first, from, N);
	__builtin_memcpy(last, from + length - N, N);
	__builtin_memcpy(p, first, N);
	__builtin_memcpy(p + length - N, last, N);
}

// By itself, so that the short ones need no room on the stack.
[[gnu::noinline]] char *put_long_word(char *p, word characters)
{
	__builtin_memcpy(p, characters.chars, characters.length);
	return p + characters.length;
}

// One or two hex digits.
char *put_lead_hex(char *p, uint8_t number)
{
	if (number >= 16)
		return detail::put_hex_pair(p, number);
	*p = "0123456789abcdef"[number];
	return p + 1;
}

// The line cut at its room: `stored` characters so far, `length` it would have without the cut.
struct bounded_line {
	char *out;
	uint32_t room;
	uint32_t length;

	void append(const char *chars, uint32_t count)
	{
		if (length + 1 < room) {
			const uint32_t fits = room - 1 - length;
			__builtin_memcpy(out + length, chars, count < fits ? count : fits);
		}
		length += count;
	}
};

} // namespace

constinit const digit_tables digits = make_digits();

// Names are short: two copies that overlap do without the library's call.
char *put_word(char *p, word characters)
{
	const char *const from = characters.chars;
	const uint32_t length = characters.length;
	if (length < 8) {
		if (length >= 4) {
			copy_both_ends<4>(p, from, length);
		} else if (length) {
			p[0] = from[0];
			p[length / 2] = from[length / 2];
			p[length - 1] = from[length - 1];
		}
	} else if (length <= 16) {
		copy_both_ends<8>(p, from, length);
	} else if (length <= 32) {
		copy_both_ends<16>(p, from, length);
	} else {
		return put_long_word(p, characters);
	}
	return p + length;
}

char *put_decimal(char *p, uint16_t number)
{
	if (number < 1000)
		return detail::put_short_decimal(p, number);
	const uint32_t thousands = number / 1000u;
	return put_group(detail::put_short_decimal(p, thousands), number - thousands * 1000);
}

char *put_decimal(char *p, uint32_t number)
{
	const uint32_t thousands = number / 1000, millions = number / 1000000, thousand_millions = number / 1000000000;
	if (thousands == 0)
		return detail::put_short_decimal(p, number);
	if (millions == 0) {
		p = detail::put_short_decimal(p, thousands);
	} else {
		if (thousand_millions == 0)
			p = detail::put_short_decimal(p, millions);
		else
			p = put_group(detail::put_short_decimal(p, thousand_millions), millions - thousand_millions * 1000);
		p = put_group(p, thousands - millions * 1000);
	}
	return put_group(p, number - thousands * 1000);
}

char *put_hex(char *p, uint16_t number)
{
	const uint8_t high = static_cast<uint8_t>(number >> 8), low = static_cast<uint8_t>(number);
	if (high)
		return detail::put_hex_pair(put_lead_hex(p, high), low);
	return put_lead_hex(p, low);
}

char *put_hex(char *p, uint32_t number)
{
	const uint16_t high = static_cast<uint16_t>(number >> 16), low = static_cast<uint16_t>(number);
	if (!high)
		return put_hex(p, low);
	p = detail::put_hex_pair(put_hex(p, high), static_cast<uint8_t>(low >> 8));
	return detail::put_hex_pair(p, static_cast<uint8_t>(low));
}

char *put_six_digits(char *p, uint32_t number)
{
	const uint32_t thousands = number / 1000;
	return put_group(put_group(p, thousands), number - thousands * 1000);
}

uint32_t put_hex_bytes(char *p, const uint8_t *bytes, uint32_t count)
{
	for (uint32_t i = 0; i < count; ++i)
		p = detail::put_hex_pair(p, bytes[i]);
	return 2 * count;
}

char *put_padded(char *p, unsigned long number, bool negative, unsigned base, unsigned width)
{
	char reversed[20];
	unsigned count = 0;
	do {
		const unsigned digit = static_cast<unsigned>(base == 16 ? number % 16 : number % 10);
		reversed[count++] = "0123456789abcdef"[digit];
		number = base == 16 ? number / 16 : number / 10;
	} while (number);
	if (negative)
		*p++ = '-';
	for (unsigned filled = count + negative; filled < width; ++filled)
		*p++ = '0';
	while (count)
		*p++ = reversed[--count];
	return p;
}

uint32_t render(char *out, uint32_t room, const char *format, const piece *pieces, uint32_t count, const value *values)
{
	bounded_line line{out, room, 0};
	for (const piece *next = pieces; next != pieces + count; ++next) {
		if (next->what == kind::chars) {
			line.append(format + next->begin, next->length);
			continue;
		}
		const value argument = *values++;
		if (next->what == kind::string) {
			line.append(static_cast<const char *>(argument.pointer), static_cast<uint32_t>(argument.number));
			continue;
		}
		char conversion[longest_ip6_compressed + slack];
		char *end;
		if (next->what == kind::ip6_full) {
			end = put_ip6(conversion, static_cast<const uint8_t *>(argument.pointer));
		} else if (next->what == kind::ip6_compressed) {
			end = put_ip6_compressed(conversion, static_cast<const uint8_t *>(argument.pointer));
		} else if (next->what == kind::signed_decimal) {
			const bool negative = static_cast<long>(argument.number) < 0;
			end = put_padded(conversion, negative ? 0 - argument.number : argument.number, negative, 10, next->width);
		} else {
			const unsigned long number = next->is_long ? argument.number : static_cast<uint32_t>(argument.number);
			end = put_padded(conversion, number, false, next->what == kind::hexadecimal ? 16 : 10, next->width);
		}
		line.append(conversion, static_cast<uint32_t>(end - conversion));
	}
	if (room)
		out[line.length < room ? line.length : room - 1] = 0;
	return line.length;
}

} // namespace text
