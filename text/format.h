// SPDX-License-Identifier: GPL-2.0-only
// The bounded formatter: printf formats, parsed and checked against their arguments at compile time.
//
//   uint32_t n = text::format<"  #vlan %d, prio %d, etype %04x\n">(out, room, vid, prio, inner);
//
// Result and cutting are those of the kernel's snprintf: at most room - 1 characters and always a NUL are stored (nothing
// when room is 0), the result is the length of the whole line. Bytes behind the NUL but inside the room may be overwritten.
//
// Conversions: %d %u %x with optional zero padding (%02x), %ld, %s, %pI6 (eight full groups), %pI6c (compressed).
// Arguments: 8, 16 and 32-bit integers as wide as the field (the type bounds the line's length), text::octets<N> (N packet
// bytes that feed N integer conversions), text::word, text::name, text::choice, text::when or a NUL-terminated string for %s,
// text::ip6 for %pI6 and %pI6c.
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace text {

// A run of characters that is not NUL-terminated. The constructor from a literal is free of cost.
struct word {
	const char *chars;
	uint32_t length;

	constexpr word() : chars(""), length(0) {}
	constexpr word(const char *start, uint32_t count) : chars(start), length(count) {}
	constexpr word(const char *terminated) : chars(terminated), length(static_cast<uint32_t>(__builtin_strlen(terminated))) {}
};

// At most name_size characters, at the start of as many bytes: written by one copy of them all.
struct name {
	const char *chars;
	uint32_t length;

	constexpr name(const char *start, uint32_t count) : chars(start), length(count) {}
	explicit constexpr name(const char *terminated) : name(terminated, static_cast<uint32_t>(__builtin_strlen(terminated))) {}
};
inline constexpr uint32_t name_size = 16;

// N bytes in packet order, one integer conversion each: the four of an IPv4 address, the six of a MAC address.
template <unsigned N> struct octets {
	const uint8_t *bytes;
	explicit constexpr octets(const uint8_t *start) : bytes(start) {}
};

// 16 bytes of an IPv6 address in network byte order.
struct ip6 {
	const uint8_t *bytes;
	explicit constexpr ip6(const uint8_t *start) : bytes(start) {}
};

// Characters of the longest IPv6 addresses; the compressed one has six groups and the dotted form, as ISATAP can give it.
inline constexpr uint32_t longest_ip6 = sizeof "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" - 1;
inline constexpr uint32_t longest_ip6_compressed = sizeof "ffff:ffff:ffff:ffff:200:5efe:255.255.255.255" - 1;

// What the unrolled writer may store behind a line's end, inside the room.
inline constexpr uint32_t slack = 24;
static_assert(name_size <= slack);

enum class kind : uint8_t { chars, signed_decimal, unsigned_decimal, hexadecimal, string, ip6_full, ip6_compressed };

// One run of literal characters or one conversion of a format.
struct piece {
	kind what;
	uint8_t width;
	bool is_long;
	uint8_t length;
	uint16_t begin;
};

// A format string as a template argument, padded so that its runs can be copied in whole steps.
template <size_t N> struct literal {
	char chars[N + slack] = {};
	consteval literal(const char (&format)[N])
	{
		for (size_t i = 0; i < N; ++i)
			chars[i] = format[i];
	}
	static constexpr size_t length = N - 1;
};

// A name that is known beforehand.
template <literal F> consteval name name_of()
{
	static_assert(F.length <= name_size);
	return {F.chars, static_cast<uint32_t>(F.length)};
}

namespace detail {

// The second is chosen by true; behind each there is room.
template <size_t N> struct two_runs {
	char chars[2][N];
};
template <size_t N, size_t A, size_t B> consteval two_runs<N> join(const literal<A> &first, const literal<B> &second)
{
	two_runs<N> both{};
	for (size_t i = 0; i < first.length; ++i)
		both.chars[0][i] = first.chars[i];
	for (size_t i = 0; i < second.length; ++i)
		both.chars[1][i] = second.chars[i];
	return both;
}
template <literal Yes, literal No, size_t N> inline constexpr two_runs<N> runs_of = join<N>(No, Yes);

} // namespace detail

// One of two runs of characters that are known beforehand: written without a branch.
template <literal Yes, literal No = ""> struct choice {
	bool yes;
	explicit constexpr choice(bool condition) : yes(condition) {}
	static constexpr uint32_t longest = Yes.length > No.length ? Yes.length : No.length;
	// There are as many as the longest has, and room behind them.
	constexpr const char *chars() const
	{
		if constexpr (No.length == 0)
			return Yes.chars;
		else
			return detail::runs_of<Yes, No, longest + slack>.chars[yes];
	}
	constexpr uint32_t length() const { return static_cast<uint32_t>(yes ? Yes.length : No.length); }
};
template <literal Yes> using when = choice<Yes>;

struct value {
	const void *pointer;
	unsigned long number;
};

inline constexpr uint32_t most_pieces = 96;
inline constexpr uint32_t longest_run = UINT8_MAX; // a longer run takes several pieces
struct piece_list {
	piece pieces[most_pieces];
	uint32_t count;
};

// Writers of one conversion each: store at p without a bound and return the end.
// They may store up to `slack` bytes behind it.
char *put_word(char *p, word characters);
char *put_decimal(char *p, uint16_t number);
char *put_decimal(char *p, uint32_t number);
char *put_hex(char *p, uint16_t number);
char *put_hex(char *p, uint32_t number);
char *put_six_digits(char *p, uint32_t number); // below 1000000
char *put_padded(char *p, unsigned long number, bool negative, unsigned base, unsigned width);
char *put_ip6(char *p, const uint8_t *address);
char *put_ip6_compressed(char *p, const uint8_t *address);

// Two hex digits for each of count bytes, without a NUL; the characters stored.
uint32_t put_hex_bytes(char *p, const uint8_t *bytes, uint32_t count);

// The line that may not fit: the same pieces, cut at the room.
uint32_t render(char *out, uint32_t room, const char *format, const piece *pieces, uint32_t count, const value *values);

// A number below 1000 without and with leading zeros: a longer one is written in such groups.
struct short_decimal {
	char digits[3];
	uint8_t length;
};
struct digit_tables {
	short_decimal numbers[1000];
	char groups[1000][4]; // three digits and room
	char hex_pairs[256][2];
};
extern const digit_tables digits;

namespace detail {

// Not constexpr on purpose: reaching one of these while a format is parsed or checked is the compile error.
void unknown_conversion();
void conversion_without_argument();
void argument_without_conversion();
void argument_of_another_type();
void argument_type_not_supported();
void too_many_pieces();

consteval bool is_digit(char c)
{
	return c >= '0' && c <= '9';
}

template <size_t N> consteval piece_list parse(const literal<N> &format)
{
	piece_list list{};
	size_t at = 0;
	while (at < format.length) {
		if (list.count == most_pieces)
			too_many_pieces();
		piece &next = list.pieces[list.count++];
		next.begin = static_cast<uint16_t>(at);
		if (format.chars[at] != '%') {
			while (at < format.length && format.chars[at] != '%' && at - next.begin < longest_run)
				++at;
			next.what = kind::chars;
			next.length = static_cast<uint8_t>(at - next.begin);
			continue;
		}
		++at;
		if (format.chars[at] == '0') {
			++at;
			if (!is_digit(format.chars[at]))
				unknown_conversion();
			next.width = static_cast<uint8_t>(format.chars[at++] - '0');
		}
		if (format.chars[at] == 'l') {
			next.is_long = true;
			++at;
		}
		switch (format.chars[at++]) {
		case 'd':
			next.what = kind::signed_decimal;
			break;
		case 'u':
			next.what = kind::unsigned_decimal;
			break;
		case 'x':
			next.what = kind::hexadecimal;
			break;
		case 's':
			next.what = kind::string;
			break;
		case 'p':
			if (format.chars[at] != 'I' || format.chars[at + 1] != '6')
				unknown_conversion();
			at += 2;
			next.what = kind::ip6_full;
			if (format.chars[at] == 'c') {
				next.what = kind::ip6_compressed;
				++at;
			}
			break;
		default:
			unknown_conversion();
		}
		if ((next.is_long || next.width) && (next.what == kind::string || next.what >= kind::ip6_full))
			unknown_conversion();
	}
	return list;
}

template <literal F> inline constexpr piece_list pieces_of = parse(F);

// The same without its empty end, for what looks at a format at run time.
template <uint32_t N> struct piece_table {
	piece pieces[N];
};
template <uint32_t N> consteval piece_table<N> trim(const piece_list &list)
{
	piece_table<N> table{};
	for (uint32_t i = 0; i < N; ++i)
		table.pieces[i] = list.pieces[i];
	return table;
}
template <literal F> inline constexpr auto table_of = trim<pieces_of<F>.count>(pieces_of<F>);

template <class T, class U> inline constexpr bool same = false;
template <class T> inline constexpr bool same<T, T> = true;
template <class T> inline constexpr bool is_word = same<T, word> || same<T, name>;
template <class T> inline constexpr bool is_octets = false;
template <unsigned N> inline constexpr bool is_octets<octets<N>> = true;
template <class T> inline constexpr bool is_choice = false;
template <literal Yes, literal No> inline constexpr bool is_choice<choice<Yes, No>> = true;
template <class T> inline constexpr unsigned conversions_of = 1;
template <unsigned N> inline constexpr unsigned conversions_of<octets<N>> = N;

enum class shape : uint8_t { integer, octets, string, ip6, unsupported };

// What a conversion needs to know of its argument's type.
struct argument_type {
	shape form;
	uint8_t size;
	bool is_signed;
	bool is_long;
	uint8_t conversions;
};

template <class T> consteval argument_type describe()
{
	if constexpr (is_word<T> || is_choice<T>)
		return {shape::string, 0, false, false, 1};
	else if constexpr (same<T, ip6>)
		return {shape::ip6, 0, false, false, 1};
	else if constexpr (is_octets<T>)
		return {shape::octets, 1, false, false, conversions_of<T>};
	else if constexpr (same<T, long> || same<T, unsigned long>)
		return {shape::integer, sizeof(T), same<T, long>, true, 1};
	else if constexpr (same<T, uint8_t> || same<T, uint16_t> || same<T, uint32_t> || same<T, int32_t>)
		return {shape::integer, sizeof(T), same<T, int32_t>, false, 1};
	else
		return {shape::unsupported, 0, false, false, 1};
}

// What printf would promote without a change of value.
consteval bool accepts(const piece &conversion, const argument_type &argument)
{
	if (conversion.what == kind::string)
		return argument.form == shape::string;
	if (conversion.what >= kind::ip6_full)
		return argument.form == shape::ip6;
	if (argument.form > shape::octets || argument.is_long != conversion.is_long)
		return false;
	if (argument.size < sizeof(int))
		return true;
	return argument.is_signed == (conversion.what == kind::signed_decimal);
}

// Longest form of one conversion, without the characters of a %s.
consteval uint32_t longest(const piece &conversion, const argument_type &argument)
{
	if (conversion.what == kind::string)
		return 0;
	if (conversion.what == kind::ip6_full)
		return longest_ip6;
	if (conversion.what == kind::ip6_compressed)
		return longest_ip6_compressed;
	uint32_t length = argument.size == 1 ? 3 : argument.size == 2 ? 5 : argument.size == 4 ? 10 : 20;
	if (conversion.what == kind::hexadecimal)
		length = argument.size * 2u;
	length += argument.is_signed;
	return length > conversion.width ? length : conversion.width;
}

template <literal F, class... A> consteval uint32_t check_and_measure()
{
	const argument_type arguments[] = {describe<A>()..., {}};
	uint32_t length = 0, argument = 0, used = 0;
	for (uint32_t i = 0; i < pieces_of<F>.count; ++i) {
		const piece &next = pieces_of<F>.pieces[i];
		if (next.what == kind::chars) {
			length += next.length;
			continue;
		}
		if (argument == sizeof...(A))
			conversion_without_argument();
		if (arguments[argument].form == shape::unsupported)
			argument_type_not_supported();
		if (!accepts(next, arguments[argument]))
			argument_of_another_type();
		length += longest(next, arguments[argument]);
		if (++used == arguments[argument].conversions) {
			++argument;
			used = 0;
		}
	}
	if (argument != sizeof...(A))
		argument_without_conversion();
	return length;
}

#if defined(__x86_64__) || defined(__aarch64__) || defined(__ARM_FEATURE_UNALIGNED)
inline constexpr uint32_t step = sizeof(long);
#else
inline constexpr uint32_t step = 1;
#endif

// A few bytes at any address: where they cannot be stored in one piece, a call is shorter.
#if defined(__x86_64__) || defined(__aarch64__) || defined(__ARM_FEATURE_UNALIGNED)
#define TEXT_FEW_BYTES [[gnu::always_inline]]
#else
#define TEXT_FEW_BYTES [[gnu::noinline]]
#endif

template <uint32_t N> [[gnu::always_inline]] inline char *put_chars(char *p, const char *chars)
{
	__builtin_memcpy(p, chars, (N + step - 1) / step * step);
	return p + N;
}

template <literal Yes, literal No> [[gnu::always_inline]] inline char *put_choice(char *p, choice<Yes, No> argument)
{
	// More than its length is stored, also where that is 0: the next characters go over it.
	static_assert((argument.longest + step - 1) / step * step <= slack);
	put_chars<argument.longest>(p, argument.chars());
	return p + argument.length();
}

TEXT_FEW_BYTES inline char *put_hex_pair(char *p, uint8_t number)
{
	__builtin_memcpy(p, digits.hex_pairs[number], 2);
	return p + 2;
}

// Below 1000.
TEXT_FEW_BYTES inline char *put_short_decimal(char *p, uint32_t number)
{
	__builtin_memcpy(p, &digits.numbers[number], 4);
	return p + digits.numbers[number].length;
}

template <piece P, class T> [[gnu::always_inline]] inline char *put_integer(char *p, T number)
{
	if constexpr (P.what == kind::hexadecimal) {
		if constexpr (P.width == 2 && sizeof(T) == 1) {
			return put_hex_pair(p, number);
		} else if constexpr (P.width == 4 && sizeof(T) == 2) {
			p = put_hex_pair(p, static_cast<uint8_t>(number >> 8));
			return put_hex_pair(p, static_cast<uint8_t>(number));
		} else if constexpr (P.width == 8 && sizeof(T) == 4) {
			p = put_hex_pair(p, static_cast<uint8_t>(number >> 24));
			p = put_hex_pair(p, static_cast<uint8_t>(number >> 16));
			p = put_hex_pair(p, static_cast<uint8_t>(number >> 8));
			return put_hex_pair(p, static_cast<uint8_t>(number));
		} else if constexpr (P.width == 0 && sizeof(T) == 1) {
			return put_hex(p, static_cast<uint16_t>(number));
		} else if constexpr (P.width == 0 && sizeof(T) <= sizeof(uint32_t)) {
			return put_hex(p, number);
		} else {
			return put_padded(p, number, false, 16, P.width);
		}
	} else if constexpr (P.width == 2 && sizeof(T) == 1) {
		if (number >= 100)
			return put_short_decimal(p, number);
		__builtin_memcpy(p, digits.groups[number] + 1, 2);
		return p + 2;
	} else if constexpr (P.width != 0 || sizeof(T) > 4) {
		if (P.width == 6 && number >= T(0) && number < T(1000000))
			return put_six_digits(p, static_cast<uint32_t>(number));
		const bool negative = P.what == kind::signed_decimal && number < T(0);
		const unsigned long size = static_cast<unsigned long>(number);
		return put_padded(p, negative ? 0 - size : size, negative, 10, P.width);
	} else if constexpr (sizeof(T) == 1) {
		return put_short_decimal(p, number);
	} else if constexpr (sizeof(T) == 2) {
		return put_decimal(p, number);
	} else {
		uint32_t size = static_cast<uint32_t>(number);
		if (P.what == kind::signed_decimal && number < T(0)) {
			*p++ = '-';
			size = 0 - size;
		}
		return put_decimal(p, size);
	}
}

template <piece P, class T> [[gnu::always_inline]] inline char *put_one(char *p, T argument)
{
	if constexpr (is_choice<T>) {
		return put_choice(p, argument);
	} else if constexpr (same<T, name>) {
		put_chars<name_size>(p, argument.chars);
		return p + argument.length;
	} else if constexpr (P.what == kind::string) {
		return put_word(p, argument);
	} else if constexpr (P.what == kind::ip6_full) {
		return put_ip6(p, argument.bytes);
	} else if constexpr (P.what == kind::ip6_compressed) {
		return put_ip6_compressed(p, argument.bytes);
	} else if constexpr (is_octets<T>) {
		return put_integer<P, uint8_t>(p, *argument.bytes);
	} else {
		return put_integer<P, T>(p, argument);
	}
}

template <literal F, uint32_t I> [[gnu::always_inline]] inline char *put(char *p)
{
	constexpr const piece_list &list = pieces_of<F>;
	if constexpr (I < list.count)
		return put_chars<list.pieces[I].length>(p, F.chars + list.pieces[I].begin);
	else
		return p;
}

template <literal F, uint32_t I, class First, class... Rest>
[[gnu::always_inline]] inline char *put(char *p, First first, Rest... rest)
{
	constexpr const piece_list &list = pieces_of<F>;
	if constexpr (list.pieces[I].what == kind::chars) {
		p = put_chars<list.pieces[I].length>(p, F.chars + list.pieces[I].begin);
		return put<F, I + 1>(p, first, rest...);
	} else {
		p = put_one<list.pieces[I]>(p, first);
		if constexpr (conversions_of < First >> 1)
			return put<F, I + 1>(p, octets<conversions_of<First> - 1>(first.bytes + 1), rest...);
		else
			return put<F, I + 1>(p, rest...);
	}
}

template <class T> [[gnu::always_inline]] inline value *pack(value *next, T argument)
{
	if constexpr (is_word<T>) {
		*next++ = {argument.chars, argument.length};
	} else if constexpr (is_choice<T>) {
		*next++ = {argument.chars(), argument.length()};
	} else if constexpr (same<T, ip6>) {
		*next++ = {argument.bytes, 0};
	} else if constexpr (is_octets<T>) {
		for (unsigned i = 0; i < conversions_of<T>; ++i)
			*next++ = {nullptr, argument.bytes[i]};
	} else {
		*next++ = {nullptr, static_cast<unsigned long>(static_cast<long>(argument))};
	}
	return next;
}

template <literal F, class... A> [[gnu::cold, gnu::noinline]] uint32_t render_line(char *out, uint32_t room, A... arguments)
{
	value values[(conversions_of<A> + ... + 1)];
	[[maybe_unused]] value *next = values;
	((next = pack(next, arguments)), ...);
	*next = {};
	return render(out, room, F.chars, table_of<F>.pieces, pieces_of<F>.count, values);
}

template <class T> [[gnu::always_inline]] inline uint32_t characters(T argument)
{
	if constexpr (is_word<T>)
		return argument.length;
	else if constexpr (is_choice<T>)
		return argument.longest;
	else
		return 0;
}

template <class T> struct argument_of {
	using type = T;
};
template <> struct argument_of<const char *> {
	using type = word;
};
template <> struct argument_of<char *> {
	using type = word;
};
template <size_t N> struct argument_of<char[N]> {
	using type = word;
};

} // namespace detail

// Longest line that the format can give for these argument types, the characters of its %s left out.
template <literal F, class... A>
inline constexpr uint32_t longest_line = detail::check_and_measure<F, typename detail::argument_of<A>::type...>();

namespace detail {

template <literal F, bool clipped, class... A>
[[gnu::always_inline]] inline uint32_t format_arguments(char *out, uint32_t room, A... arguments)
{
	const uint32_t longest = longest_line<F, A...> + (characters(arguments) + ... + 0);
	if (__builtin_expect(room <= longest + slack, 0)) {
		const uint32_t length = render_line<F>(out, room, arguments...);
		return clipped && length > room ? room : length;
	}
	char *end = put<F, 0>(out, arguments...);
	*end = 0;
	return static_cast<uint32_t>(end - out);
}

} // namespace detail

template <literal F, class... A> [[gnu::always_inline]] inline uint32_t format(char *out, uint32_t room, const A &...arguments)
{
	return detail::format_arguments<F, false>(out, room, static_cast<typename detail::argument_of<A>::type>(arguments)...);
}

// The same, but the result is at most the room.
template <literal F, class... A>
[[gnu::always_inline]] inline uint32_t format_clipped(char *out, uint32_t room, const A &...arguments)
{
	return detail::format_arguments<F, true>(out, room, static_cast<typename detail::argument_of<A>::type>(arguments)...);
}

} // namespace text
