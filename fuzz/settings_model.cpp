// SPDX-License-Identifier: GPL-2.0-only
#include "fuzz/settings_model.h"

#include "config/settings.h"

#include <cstdio>
#include <cstring>

namespace fuzz {

namespace {

bool is_blank(char c)
{
	return c != '\0' && std::strchr(" \t\n\v\f\r", c) != nullptr;
}

void skip_blanks(const std::string &text, size_t &at)
{
	while (at < text.size() && is_blank(text[at]))
		++at;
}

// False, and token as it was, at the text's end.
bool scan_word(const std::string &text, size_t &at, size_t most, std::string &token)
{
	if (at == text.size())
		return false;
	skip_blanks(text, at);
	const size_t begin = at;
	while (at < text.size() && !is_blank(text[at]))
		++at;
	token = text.substr(begin, at - begin).substr(0, most);
	skip_blanks(text, at);
	return true;
}

unsigned digit(const std::string &text, size_t at, bool is_high)
{
	const unsigned c = at < text.size() ? static_cast<uint8_t>(text[at]) : 0u;
	if (c < 65)
		return is_high ? c & 0xf : c - 48;
	return c < 97 ? c - 55 : c - 87;
}

std::array<uint8_t, 4> dotted(const std::string &text)
{
	uint32_t address = 0;
	size_t at = 0;
	for (int field = 0; field < 4; ++field) {
		uint32_t value = 0;
		for (; at < text.size() && text[at] != '.'; ++at)
			value = value * 10 + static_cast<uint8_t>(text[at]) - 48u;
		address = (address << 8) | value;
		++at;
	}
	return {static_cast<uint8_t>(address >> 24), static_cast<uint8_t>(address >> 16), static_cast<uint8_t>(address >> 8),
		static_cast<uint8_t>(address)};
}

} // namespace

bool scan_number_slowly(const std::string &text, size_t &at, int32_t &value)
{
	size_t pos = at;
	skip_blanks(text, pos);
	const bool negative = pos < text.size() && text[pos] == '-';
	pos += negative;
	const size_t first = pos;
	uint32_t number = 0;
	for (; pos < text.size() && text[pos] >= '0' && text[pos] <= '9'; ++pos)
		number = number * 10 + static_cast<uint32_t>(text[pos] - '0');
	if (pos == first)
		return false;
	value = static_cast<int32_t>(negative ? 0 - number : number);
	at = pos;
	return true;
}

settings current_settings()
{
	settings now = {};
	std::memcpy(now.mirror.data(), &debug_pkt_mirror_ip, 4);
	std::memcpy(now.ip.data(), &debug_pkt_ip, 4);
	now.dev.assign(debug_pkt_dev, strnlen(debug_pkt_dev, sizeof debug_pkt_dev));
	std::memcpy(now.mac.data(), debug_pkt_mac, 6);
	std::memcpy(now.ip6.data(), debug_pkt_ip6, 16);
	now.vlan = debug_pkt_vlan;
	now.proto = debug_pkt_proto;
	now.port = debug_pkt_port;
	now.match = debug_pkt_match_flags;
	now.type = debug_pkt_type_flags;
	now.limit = debug_pkt_max_count;
	now.count = debug_pkt_cur_count;
	now.mod = debug_pkt_mod;
	return now;
}

settings after_line(settings set, const std::string &line)
{
	std::string mirror, mac, ip6, ip;
	size_t at = 0;
	const auto number = [&](auto &target) {
		int32_t value;
		if (!scan_number_slowly(line, at, value))
			return false;
		target = static_cast<std::remove_reference_t<decltype(target)>>(value);
		return true;
	};
	static_cast<void>(scan_word(line, at, 15, mirror) && scan_word(line, at, 11, set.dev) && scan_word(line, at, 17, mac) &&
			  scan_word(line, at, 39, ip6) && scan_word(line, at, 15, ip) && number(set.vlan) && number(set.proto) &&
			  number(set.port) && number(set.match) && number(set.type) && number(set.limit) && number(set.mod));
	for (size_t i = 0; i < 6; ++i)
		set.mac[i] = static_cast<uint8_t>(16 * digit(mac, 3 * i, true) + digit(mac, 3 * i + 1, false));
	set.mirror = dotted(mirror);
	set.ip = dotted(ip);
	for (size_t i = 0; i < 16; ++i) {
		const size_t first = i / 2 * 5 + i % 2 * 2;
		set.ip6[i] = static_cast<uint8_t>((digit(ip6, first, true) << 4) | digit(ip6, first + 1, false));
	}
	set.count = 0;
	return set;
}

std::string line_of(const settings &shown)
{
	static const char *const match_names[] = {" dev", " mac", " ip", "", " vlan", " proto", " port"};
	static const struct {
		unsigned bit;
		const char *name;
	} type_names[] = {
		{0, " arp"},     {1, " pppoe"}, {20, " mobility"}, {3, " icmp"},  {4, " icmpv6"},
		{5, " igmp"},    {6, " tcp"},   {7, " udp"},       {8, " gre"},   {9, " dhcp"},
		{10, " dhcpv6"}, {11, " dns"},  {12, " radius"},   {13, " http"}, {14, " https"},
	};
	char part[128];
	std::string line;
	const auto add = [&](auto... arguments) {
		std::snprintf(part, sizeof part, arguments...);
		line += part;
	};
	add("mirror %d.%d.%d.%d, dev ", shown.mirror[0], shown.mirror[1], shown.mirror[2], shown.mirror[3]);
	line += shown.dev;
	add(", mac %02x:%02x:%02x:%02x:%02x:%02x", shown.mac[0], shown.mac[1], shown.mac[2], shown.mac[3], shown.mac[4],
	    shown.mac[5]);
	add(", ip %d.%d.%d.%d, ipv6 ", shown.ip[0], shown.ip[1], shown.ip[2], shown.ip[3]);
	for (size_t i = 0; i < 16; i += 2)
		add(i ? ":%02x%02x" : "%02x%02x", shown.ip6[i], shown.ip6[i + 1]);
	add(", vlan %d, proto 0x%x, port %d, match", shown.vlan, static_cast<uint32_t>(shown.proto), shown.port);
	for (size_t i = 0; i < 7; ++i)
		if (shown.match >> i & 1)
			line += match_names[i];
	line += shown.match ? "" : " none";
	line += ", type";
	for (const auto &row : type_names)
		if (shown.type >> row.bit & 1)
			line += row.name;
	line += shown.type ? "" : " none";
	add(", count %d", shown.limit);
	return line;
}

std::string line_for(const settings &wanted)
{
	char part[160];
	const std::array<uint8_t, 4> &mirror = wanted.mirror, &ip = wanted.ip;
	std::snprintf(part, sizeof part, "%d.%d.%d.%d ", mirror[0], mirror[1], mirror[2], mirror[3]);
	std::string line = part + wanted.dev + " ";
	for (size_t i = 0; i < 6; ++i) {
		std::snprintf(part, sizeof part, i ? ":%02x" : "%02x", wanted.mac[i]);
		line += part;
	}
	for (size_t i = 0; i < 16; i += 2) {
		std::snprintf(part, sizeof part, i ? ":%02x%02X" : " %02x%02X", wanted.ip6[i], wanted.ip6[i + 1]);
		line += part;
	}
	std::snprintf(part, sizeof part, " %d.%d.%d.%d %d %d %d %u %u %d %u", ip[0], ip[1], ip[2], ip[3], wanted.vlan, wanted.proto,
		      wanted.port, wanted.match, wanted.type, wanted.limit, wanted.mod);
	return line + part;
}

} // namespace fuzz
