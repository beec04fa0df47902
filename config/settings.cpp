// SPDX-License-Identifier: GPL-2.0-only
#include "config/settings.h"

#include "text/format.h"

uint32_t debug_pkt_mirror_ip;
char debug_pkt_dev[12] = "all";
alignas(4) uint8_t debug_pkt_mac[6];
uint32_t debug_pkt_ip;
alignas(16) uint8_t debug_pkt_ip6[16]; // what every user of the declaration may count on
int32_t debug_pkt_vlan;
int32_t debug_pkt_proto;
int32_t debug_pkt_port;
uint32_t debug_pkt_match_flags = 0xffffffff;
uint32_t debug_pkt_type_flags;
int32_t debug_pkt_max_count;
uint32_t debug_pkt_mod = 7;
int32_t gre_type;

// Every CPU writes the count at every packet that passes: it has its cache line to itself, away from what all of them read.
extern "C" {
alignas(64) int32_t debug_pkt_count_line[16];
}
extern int32_t debug_pkt_cur_count __attribute__((alias("debug_pkt_count_line")));

namespace {

// Addresses are compared and stored in the widest units that their alignment gives.
typedef uint32_t __attribute__((may_alias)) word32;
typedef uint16_t __attribute__((may_alias)) word16;

template <class Unit> bool unit_equals(const uint8_t *p, const uint8_t *setting)
{
	Unit value;
	__builtin_memcpy(&value, p, sizeof value);
	return value == read_setting(*reinterpret_cast<const Unit *>(setting));
}

template <class Unit> void write_unit(uint8_t *setting, const uint8_t *p)
{
	Unit value;
	__builtin_memcpy(&value, p, sizeof value);
	write_setting(*reinterpret_cast<Unit *>(setting), value);
}

bool is_blank(char c)
{
	return c == ' ' || (c >= 9 && c <= 13);
}

const char *skip_blanks(const char *text)
{
	while (is_blank(*text))
		++text;
	return text;
}

// "%s" of the scan: a run of other characters than blanks, cut to what the buffer holds; the rest of the run is skipped.
template <uint32_t N> bool scan_token(const char *&text, char (&token)[N])
{
	if (!*text)
		return false;
	text = skip_blanks(text);
	uint32_t length = 0;
	for (; *text && !is_blank(*text); ++text)
		if (length < N - 1)
			write_setting(token[length++], *text);
	write_setting(token[length], '\0');
	text = skip_blanks(text);
	return true;
}

bool scan_setting(const char *&text, uint32_t &setting)
{
	int32_t value;
	if (!scan_number(text, value))
		return false;
	write_setting(setting, value);
	return true;
}

bool scan_setting(const char *&text, int32_t &setting)
{
	return scan_setting(text, reinterpret_cast<uint32_t &>(setting));
}

unsigned low_digit(uint8_t c)
{
	return c < 65 ? c - 48u : c < 97 ? c - 55u : c - 87u;
}

uint8_t high_digit(uint8_t c)
{
	return static_cast<uint8_t>((c < 65 ? c & 0x0fu : low_digit(c)) << 4);
}

#define SETTINGS_LINE                                                                                                     \
	"mirror %d.%d.%d.%d, dev %s, mac %02x:%02x:%02x:%02x:%02x:%02x, ip %d.%d.%d.%d, ipv6 %pI6, vlan %d, proto 0x%x, " \
	"port %d, match%s%s%s%s%s%s%s, type%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s, count %d"

} // namespace

bool equals_filter_mac(const uint8_t *p)
{
	return unit_equals<word32>(p, debug_pkt_mac) && unit_equals<word16>(p + 4, debug_pkt_mac + 4);
}

bool equals_filter_ip6(const uint8_t *p)
{
	for (unsigned i = 0; i < 16; i += 4)
		if (!unit_equals<word32>(p + i, debug_pkt_ip6 + i))
			return false;
	return true;
}

bool equals_filter_dev(const char *name)
{
	for (unsigned i = 0; i < sizeof debug_pkt_dev; ++i) {
		const char c = read_setting(debug_pkt_dev[i]);
		if (name[i] != c)
			return false;
		if (!c)
			return true;
	}
	return false;
}

void atomac(const char *text, uint8_t *mac)
{
	const uint8_t *digits = reinterpret_cast<const uint8_t *>(text);
	for (unsigned i = 0; i < 6; ++i, digits += 3)
		mac[i] = static_cast<uint8_t>(high_digit(digits[0]) + low_digit(digits[1]));
}

void atoipv6(const char *text, uint8_t *ip6)
{
	const uint8_t *digits = reinterpret_cast<const uint8_t *>(text);
	for (unsigned i = 0; i < 16; i += 2, digits += 5) {
		ip6[i] = static_cast<uint8_t>(high_digit(digits[0]) | low_digit(digits[1]));
		ip6[i + 1] = static_cast<uint8_t>(high_digit(digits[2]) | low_digit(digits[3]));
	}
}

uint32_t in_aton(const char *text)
{
	uint32_t address = 0;
	for (unsigned i = 0; i < 4; ++i) {
		address <<= 8;
		if (!*text)
			continue;
		uint32_t field = 0;
		for (; *text && *text != '.' && *text != '\n'; ++text)
			field = field * 10 + static_cast<uint8_t>(*text) - '0';
		address |= field;
		if (*text)
			++text;
	}
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
	address = __builtin_bswap32(address);
#endif
	return address;
}

bool scan_number(const char *&text, int32_t &value)
{
	const char *p = skip_blanks(text);
	const bool negative = *p == '-';
	p += negative;
	if (*p < '0' || *p > '9')
		return false;
	uint32_t number = 0;
	for (; *p >= '0' && *p <= '9'; ++p)
		number = number * 10 + static_cast<uint32_t>(*p - '0');
	value = static_cast<int32_t>(negative ? 0 - number : number);
	text = p;
	return true;
}

int debug_pkt_set_sysctl(const char *text)
{
	char mirror[16] = {}, mac[18] = {}, ip6[40] = {}, ip[16] = {};

	// The scan stops at the first field that is missing; what it did not reach stays as it was.
	const bool scanned = scan_token(text, mirror) && scan_token(text, debug_pkt_dev) && scan_token(text, mac) &&
			     scan_token(text, ip6) && scan_token(text, ip) && scan_setting(text, debug_pkt_vlan) &&
			     scan_setting(text, debug_pkt_proto) && scan_setting(text, debug_pkt_port) &&
			     scan_setting(text, debug_pkt_match_flags) && scan_setting(text, debug_pkt_type_flags) &&
			     scan_setting(text, debug_pkt_max_count) && scan_setting(text, debug_pkt_mod);
	static_cast<void>(scanned);

	alignas(4) uint8_t address[16];
	atomac(mac, address);
	write_unit<word32>(debug_pkt_mac, address);
	write_unit<word16>(debug_pkt_mac + 4, address + 4);
	write_setting(debug_pkt_mirror_ip, in_aton(mirror));
	write_setting(debug_pkt_ip, in_aton(ip));
	atoipv6(ip6, address);
	for (unsigned i = 0; i < 16; i += 4)
		write_unit<word32>(debug_pkt_ip6 + i, address + i);

	write_setting(debug_pkt_cur_count, 0);
	return 0;
}

// The longest line: what the format and its argument types bound, and the names that it can hold.
inline constexpr uint32_t longest_names =
	sizeof debug_pkt_dev + sizeof " dev mac ip vlan proto port none" +
	sizeof " arp pppoe mobility icmp icmpv6 igmp tcp udp gre dhcp dhcpv6 dns radius http https none";
template <class... Names>
inline constexpr uint32_t longest_settings_line =
	text::longest_line<SETTINGS_LINE, text::octets<4>, text::word, text::octets<6>, text::octets<4>, text::ip6, int32_t,
			   uint32_t, int32_t, Names..., int32_t>;
using name = text::word;
static_assert(debug_pkt_settings_size >
	      text::slack + longest_names +
		      longest_settings_line<name, name, name, name, name, name, name, name, name, name, name, name, name, name,
					    name, name, name, name, name, name, name, name, name>);

int debug_pkt_get_sysctl(char *dst)
{
	uint8_t mirror[4], ip[4], mac[6], ip6[16];
	char dev[sizeof debug_pkt_dev];
	const uint32_t mirror_word = read_setting(debug_pkt_mirror_ip), ip_word = read_setting(debug_pkt_ip);
	__builtin_memcpy(mirror, &mirror_word, 4);
	__builtin_memcpy(ip, &ip_word, 4);
	for (unsigned i = 0; i < sizeof mac; ++i)
		mac[i] = read_setting(debug_pkt_mac[i]);
	for (unsigned i = 0; i < sizeof ip6; ++i)
		ip6[i] = read_setting(debug_pkt_ip6[i]);
	for (unsigned i = 0; i < sizeof dev; ++i)
		dev[i] = read_setting(debug_pkt_dev[i]);
	dev[sizeof dev - 1] = 0;
	const uint32_t match = read_setting(debug_pkt_match_flags), type = read_setting(debug_pkt_type_flags);

	text::format<SETTINGS_LINE>(
		dst, debug_pkt_settings_size, text::octets<4>(mirror), dev, text::octets<6>(mac), text::octets<4>(ip),
		text::ip6(ip6), read_setting(debug_pkt_vlan), static_cast<uint32_t>(read_setting(debug_pkt_proto)),
		read_setting(debug_pkt_port), text::when<" dev">(match & match_dev), text::when<" mac">(match & match_mac),
		text::when<" ip">(match & match_ip), text::when<" vlan">(match & match_vlan),
		text::when<" proto">(match & match_proto), text::when<" port">(match & match_port), text::when<" none">(match == 0),
		text::when<" arp">(type & type_arp), text::when<" pppoe">(type & type_pppoe),
		text::when<" mobility">(type & type_mobility), text::when<" icmp">(type & type_icmp),
		text::when<" icmpv6">(type & type_icmpv6), text::when<" igmp">(type & type_igmp),
		text::when<" tcp">(type & type_tcp), text::when<" udp">(type & type_udp), text::when<" gre">(type & type_gre),
		text::when<" dhcp">(type & type_dhcp), text::when<" dhcpv6">(type & type_dhcpv6),
		text::when<" dns">(type & type_dns), text::when<" radius">(type & type_radius),
		text::when<" http">(type & type_http), text::when<" https">(type & type_https), text::when<" none">(type == 0),
		read_setting(debug_pkt_max_count));
	return 0;
}
