// SPDX-License-Identifier: GPL-2.0-only
#include "tools/filter.h"

#include "config/settings.h"
#include "tools/nearest.h"

#include <fmt/format.h>

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <netdb.h>
#include <string_view>

const std::array<filter_option, 11> filter_options = {{
	{"dev", "NAME", "device that the packet is on; at most 11 characters"},
	{"mac", "MAC", "a source or destination MAC address"},
	{"ip", "ADDRESS", "an IPv4 address"},
	{"ip6", "ADDRESS", "an IPv6 address, in any form"},
	{"vlan", "ID", "VLAN id of a tag, 0 to 4095"},
	{"proto", "NAME|NUMBER", "ethertype, PPP or GRE protocol: arp, ipv4, ipv6, vlan, pppoe, pppoe-discovery, 0x8899"},
	{"port", "NAME|NUMBER", "TCP or UDP port: dns, sip, 8080"},
	{"type", "NAMES", "packet types, separated by commas: tcp,udp,dhcp,nbr, a bit as a number, all or none (default all)"},
	{"count", "N", "stop after N packets (0: no limit)"},
	{"mirror", "ADDRESS", "send the frames to this collector instead of text to the CLI"},
	{"mode", "NUMBER", "mode word for other datapath modules (left out: it stays as it is)"},
}};

namespace {

struct named {
	uint32_t value;
	const char *name;
};

// The first name of a value is the one that is shown.
constexpr named proto_names[] = {
	{0x0806, "arp"}, {0x0800, "ipv4"}, {0x86dd, "ipv6"}, {0x8100, "vlan"}, {0x8864, "pppoe"}, {0x8863, "pppoe-discovery"},
};
constexpr named port_names[] = {
	{21, "ftp"},     {53, "dns"},      {67, "dhcp"},    {80, "http"},    {443, "https"},
	{547, "dhcpv6"}, {1812, "radius"}, {4500, "nat-t"}, {4789, "vxlan"}, {5060, "sip"},
};
constexpr named type_names[] = {
	{type_arp, "arp"},           {type_pppoe, "pppoe"},
	{type_mobility, "mobility"}, {type_icmp, "icmp"},
	{type_icmpv6, "icmpv6"},     {type_igmp, "igmp"},
	{type_tcp, "tcp"},           {type_udp, "udp"},
	{type_gre, "gre"},           {type_dhcp, "dhcp"},
	{type_dhcpv6, "dhcpv6"},     {type_dns, "dns"},
	{type_radius, "radius"},     {type_http, "http"},
	{type_https, "https"},       {type_echo, "echo"},
	{type_nbr, "nbr"},           {type_rtr, "rtr"},
	{type_mld, "mld"},           {type_vxlan, "vxlan"},
	{type_apmsg, "apmsg"},       {type_ap_hierarchy, "aphier"},
};
constexpr named match_names[] = {
	{match_dev, "dev"},   {match_mac, "mac"},     {match_ip, "ip"},
	{match_vlan, "vlan"}, {match_proto, "proto"}, {match_port, "port"},
};
// What the readable line has words for.
constexpr uint32_t readable_types = type_arp | type_pppoe | type_mobility | type_icmp | type_icmpv6 | type_igmp | type_tcp |
				    type_udp | type_gre | type_dhcp | type_dhcpv6 | type_dns | type_radius | type_http | type_https;
constexpr uint32_t known_criteria = match_dev | match_mac | match_ip | match_ipv6 | match_vlan | match_proto | match_port;
constexpr uint32_t known_types = 0x3fffff;
constexpr size_t longest_dev = sizeof debug_pkt_dev - 1;
constexpr uint32_t unreadable_types = known_types & ~readable_types;
constexpr int32_t ppp_ipv4 = 0x21, ppp_ipv6 = 0x57;
constexpr named ip_protocols[] = {
	{1, "icmp"}, {2, "igmp"}, {6, "tcp"}, {17, "udp"}, {47, "gre"}, {58, "icmpv6"},
};

template <size_t N> const named *find_value(const named (&names)[N], uint32_t value)
{
	const auto *const found = std::find_if(names, names + N, [&](const named &row) { return row.value == value; });
	return found == names + N ? nullptr : found;
}

template <size_t N> const named *find_named(const named (&names)[N], const std::string &name)
{
	const auto *const found =
		std::find_if(names, names + N, [&](const named &row) { return strcasecmp(row.name, name.c_str()) == 0; });
	return found == names + N ? nullptr : found;
}

// Decimal, or hexadecimal after 0x.
std::optional<uint32_t> read_number(std::string_view text)
{
	const bool hex = text.starts_with("0x") || text.starts_with("0X");
	if (hex)
		text.remove_prefix(2);
	uint32_t value = 0;
	const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
	if (error != std::errc() || stop != text.data() + text.size())
		return std::nullopt;
	return value;
}

// Two hexadecimal digits each, with ":" or "-" between them.
bool read_mac(const std::string &text, std::array<uint8_t, 6> &mac)
{
	if (text.size() != 17)
		return false;
	for (size_t i = 0; i < 6; ++i) {
		const char *const digits = text.data() + 3 * i;
		const auto [stop, error] = std::from_chars(digits, digits + 2, mac[i], 16);
		if (error != std::errc() || stop != digits + 2 || (i < 5 && digits[2] != ':' && digits[2] != '-'))
			return false;
	}
	return true;
}

std::string mac_text(const std::array<uint8_t, 6> &mac)
{
	return fmt::format("{:02x}", fmt::join(mac, ":"));
}

std::string ip_text(const std::array<uint8_t, 4> &ip)
{
	return fmt::format("{}", fmt::join(ip, "."));
}

std::string ip6_text(const std::array<uint8_t, 16> &ip6)
{
	char text[INET6_ADDRSTRLEN];
	return inet_ntop(AF_INET6, ip6.data(), text, sizeof text);
}

// The only form that the module reads.
std::string full_ip6_text(const std::array<uint8_t, 16> &ip6)
{
	std::string text;
	for (size_t i = 0; i < 16; i += 2)
		text += fmt::format("{}{:02x}{:02x}", i ? ":" : "", ip6[i], ip6[i + 1]);
	return text;
}

std::string proto_text(int32_t proto)
{
	const named *const name = find_value(proto_names, static_cast<uint32_t>(proto));
	return name ? name->name : fmt::format("{:#x}", static_cast<uint32_t>(proto));
}

std::string port_text(int32_t port)
{
	const named *const name = find_value(port_names, static_cast<uint32_t>(port));
	return name ? name->name : std::to_string(port);
}

// "dns,udp"; bits that no decoder sets follow as one number.
std::string types_text(uint32_t types, const char *separator)
{
	if (types == all_types || types == 0)
		return types ? "all" : "none";
	std::string text;
	for (const named &row : type_names)
		if (types & row.value)
			text += fmt::format("{}{}", text.empty() ? "" : separator, row.name);
	if (types & ~known_types)
		text += fmt::format("{}{:#x}", text.empty() ? "" : separator, types & ~known_types);
	return text;
}

bool is_zero(const auto &address)
{
	return std::all_of(address.begin(), address.end(), [](uint8_t byte) { return byte == 0; });
}

std::string quoted(const std::string &word)
{
	constexpr char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._:@+,-";
	if (word.find_first_not_of(plain) == word.npos)
		return word;
	std::string text = "'";
	for (const char c : word)
		text += c == '\'' ? std::string("'\\''") : std::string(1, c);
	return text + "'";
}

std::string read_dev(const std::string &text, filter_settings &settings)
{
	if (text.empty() || text.find_first_of(" \t\n\v\f\r/") != text.npos)
		return fmt::format("--dev: \"{}\" is no device name", text);
	if (text.size() > longest_dev)
		return fmt::format(
			"--dev: {} has {} characters, the filter holds {}: nothing could match; rename the device (ip link set)"
			" or filter by --mac or --vlan",
			text, text.size(), longest_dev);
	settings.dev = text;
	return "";
}

std::string read_proto(const std::string &text, filter_settings &settings)
{
	if (const named *const known = find_named(proto_names, text)) {
		settings.proto = static_cast<int32_t>(known->value);
		return "";
	}
	const std::optional<uint32_t> number = read_number(text);
	if (number && *number <= 0xffff) {
		settings.proto = static_cast<int32_t>(*number);
		return "";
	}
	if (find_named(type_names, text) || getprotobyname(text.c_str()))
		return fmt::format("--proto: {} is no ethertype; only link and tunnel layers compare it: {}", text,
				   find_named(type_names, text) ? "--type " + text + " is meant" : "choose by --type");
	return fmt::format("--proto: {} is neither a number up to 0xffff nor one of arp, ipv4, ipv6, vlan, pppoe, pppoe-discovery",
			   text);
}

std::string read_port(const std::string &text, filter_settings &settings)
{
	if (const named *const known = find_named(port_names, text)) {
		settings.port = static_cast<int32_t>(known->value);
		return "";
	}
	const std::optional<uint32_t> number = read_number(text);
	if (number && *number <= 65535) {
		settings.port = static_cast<int32_t>(*number);
		return "";
	}
	const servent *const service = number ? nullptr : getservbyname(text.c_str(), nullptr);
	if (!service)
		return fmt::format("--port: {} is neither a number up to 65535 nor the name of a service", text);
	settings.port = ntohs(static_cast<uint16_t>(service->s_port));
	return "";
}

std::vector<std::string> type_list()
{
	std::vector<std::string> names = {"all", "none"};
	for (const named &row : type_names)
		names.emplace_back(row.name);
	return names;
}

std::string read_types(const std::string &text, filter_settings &settings)
{
	settings.type = 0;
	for (size_t at = 0; at <= text.size();) {
		const size_t end = std::min(text.find(',', at), text.size());
		const size_t start = std::min(text.find_first_not_of(' ', at), end);
		const std::string name = text.substr(start, end - start);
		at = end + 1;
		if (const named *const known = find_named(type_names, name)) {
			settings.type |= known->value;
		} else if (const std::optional<uint32_t> number = read_number(name)) {
			settings.type |= *number;
		} else if (name == "all") {
			settings.type = all_types;
		} else if (name != "none" || text != "none") {
			return fmt::format("--type: \"{}\" is no packet type{}; known are {}, all and none", name,
					   hint(name, type_list()), types_text(known_types, ", "));
		}
	}
	return "";
}

std::string read_count(const std::string &text, filter_settings &settings)
{
	const std::optional<uint32_t> number = read_number(text);
	if (!number || *number > 0x7fffffff)
		return fmt::format("--count: {} is no number from 0 to 2147483647", text);
	settings.limit = static_cast<int32_t>(*number);
	return "";
}

std::string read_address(int family, const std::string &name, const std::string &text, uint8_t *address)
{
	if (inet_pton(family, text.c_str(), address) == 1)
		return "";
	uint8_t other[16];
	const bool is_other = inet_pton(family == AF_INET ? AF_INET6 : AF_INET, text.c_str(), other) == 1;
	const std::string reason = fmt::format("--{}: {} is no {} address", name, text, family == AF_INET ? "IPv4" : "IPv6");
	if (is_other && name != "mirror")
		return reason + (family == AF_INET ? "; --ip6 is meant" : "; --ip is meant");
	return reason + (is_other            ? "; the module mirrors over IPv4 alone"
			 : family == AF_INET ? "; 192.0.2.1 is the form"
					     : "; 2001:db8::1 is the form");
}

// One option's text.
std::string read_word(const std::string &name, const std::string &text, filter_settings &settings)
{
	const std::optional<uint32_t> number = read_number(text);
	if (name == "dev")
		return read_dev(text, settings);
	if (name == "mac")
		return read_mac(text, settings.mac)
			       ? ""
			       : fmt::format("--mac: {} is no MAC address; 02:00:5e:10:00:01 is the form", text);
	if (name == "ip")
		return read_address(AF_INET, name, text, settings.ip.data());
	if (name == "ip6")
		return read_address(AF_INET6, name, text, settings.ip6.data());
	if (name == "proto")
		return read_proto(text, settings);
	if (name == "port")
		return read_port(text, settings);
	if (name == "type")
		return read_types(text, settings);
	if (name == "count")
		return read_count(text, settings);
	if (name == "mirror")
		return read_address(AF_INET, name, text, settings.mirror.data());
	if (name == "vlan") {
		if (!number || *number > 4095)
			return fmt::format("--vlan: {} is no VLAN id from 0 to 4095", text);
		settings.vlan = static_cast<int32_t>(*number);
		return "";
	}
	if (name == "mode") {
		if (!number)
			return fmt::format("--mode: {} is no number from 0 to 4294967295", text);
		settings.mode = *number;
		return "";
	}
	return "there is no filter option " + name;
}

// Blank-separated words, as the module's scan splits them.
std::string next_word(const char *&at)
{
	constexpr char blanks[] = "\t\n\v\f\r ";
	at += std::strspn(at, blanks);
	const size_t length = std::strcspn(at, blanks);
	std::string word(at, length);
	at += length;
	return word;
}

void note_address(const char *field, bool same, const std::string &given, const std::string &read, std::vector<std::string> &notes,
		  const char *form)
{
	if (!same)
		notes.push_back(fmt::format("{} {} is read as {}; {}", field, given, read, form));
}

std::string read_raw_line(const std::string &line, filter_settings &settings, std::vector<std::string> &notes)
{
	const char *at = line.c_str();
	const std::string mirror = next_word(at), dev = next_word(at), mac = next_word(at), ip6 = next_word(at), ip = next_word(at);
	int32_t match = 0, type = 0, mode = 0;
	const struct {
		const char *name;
		int32_t *value;
	} numbers[] = {{"vlan", &settings.vlan}, {"proto", &settings.proto}, {"port", &settings.port}, {"match", &match},
		       {"type", &type},          {"limit", &settings.limit}, {"mode", &mode}};
	for (const auto &number : numbers) {
		if (scan_number(at, *number.value)) {
			if (number.value == &mode)
				settings.mode = static_cast<uint32_t>(mode);
			continue;
		}
		const std::string found = next_word(at);
		if (number.value == &settings.limit && found.empty())
			notes.push_back("the line gives no limit: the module keeps its own, which is taken as none");
		if ((number.value == &settings.limit || number.value == &mode) && found.empty())
			break;
		return fmt::format(
			"the module reads this line only up to the field {}, {}; fields: mirror device mac ipv6 ipv4 vlan "
			"proto port match type [limit [mode]]",
			number.name, found.empty() ? "which is missing" : "where \"" + found + "\" is no decimal number");
	}
	if (const std::string more = settings.mode ? next_word(at) : ""; !more.empty())
		notes.push_back("the module does not read what follows the mode: " + more);
	settings.match = static_cast<uint32_t>(match);
	settings.type = static_cast<uint32_t>(type);

	settings.dev = dev.substr(0, longest_dev);
	if (dev.size() > longest_dev)
		notes.push_back(
			fmt::format("device {} is cut to {}: the filter holds {} characters", dev, settings.dev, longest_dev));
	// The texts as the module cuts them, in buffers that are cleared before.
	char mac_field[18] = {}, ip6_field[40] = {};
	mac.copy(mac_field, sizeof mac_field - 1);
	ip6.copy(ip6_field, sizeof ip6_field - 1);
	atomac(mac_field, settings.mac.data());
	atoipv6(ip6_field, settings.ip6.data());
	// "0" holds the place of a value that is not compared.
	if (mac == "0" && !(settings.match & match_mac))
		settings.mac = {};
	if (ip6 == "0" && !(settings.match & match_ipv6))
		settings.ip6 = {};
	const uint32_t mirror_word = in_aton(mirror.substr(0, 15).c_str()), ip_word = in_aton(ip.substr(0, 15).c_str());
	std::memcpy(settings.mirror.data(), &mirror_word, 4);
	std::memcpy(settings.ip.data(), &ip_word, 4);

	filter_settings meant;
	if (settings.match & match_mac)
		note_address("mac", read_mac(mac, meant.mac) && meant.mac == settings.mac, mac, mac_text(settings.mac), notes,
			     "two digits for each byte are needed");
	if (settings.match & match_ipv6)
		note_address("ipv6", inet_pton(AF_INET6, ip6.c_str(), meant.ip6.data()) == 1 && meant.ip6 == settings.ip6, ip6,
			     full_ip6_text(settings.ip6), notes, "eight groups of four digits are needed");
	if ((settings.match & match_ip) && ip != "0")
		note_address("ip", inet_pton(AF_INET, ip.c_str(), meant.ip.data()) == 1 && meant.ip == settings.ip, ip,
			     ip_text(settings.ip), notes, "four decimal numbers are needed");
	if (mirror != "0")
		note_address("mirror",
			     inet_pton(AF_INET, mirror.c_str(), meant.mirror.data()) == 1 && meant.mirror == settings.mirror,
			     mirror, ip_text(settings.mirror), notes, "four decimal numbers are needed");
	return "";
}

// The text between key and what follows it, at the front of rest; false when it is not there.
bool take_field(std::string_view &rest, std::string_view key, std::string_view end, std::string &field)
{
	if (!rest.starts_with(key))
		return false;
	const size_t stop = end.empty() ? rest.size() : rest.find(end, key.size());
	if (stop == rest.npos)
		return false;
	field = rest.substr(key.size(), stop - key.size());
	rest.remove_prefix(stop);
	return true;
}

template <size_t N> bool read_names(const std::string &text, const named (&names)[N], uint32_t &bits)
{
	const char *at = text.c_str();
	for (std::string name = next_word(at); !name.empty(); name = next_word(at)) {
		const named *const known = find_named(names, name);
		if (!known && name != "none")
			return false;
		bits |= known ? known->value : 0;
	}
	return true;
}

bool read_readable_fields(std::string_view rest, filter_settings &settings, std::string &match, std::string &type)
{
	std::string mirror, mac, ip, ip6, vlan, proto, port, limit;
	settings.match = settings.type = 0;
	if (!take_field(rest, "mirror ", ", dev ", mirror) || !take_field(rest, ", dev ", ", mac ", settings.dev) ||
	    !take_field(rest, ", mac ", ", ip ", mac) || !take_field(rest, ", ip ", ", ipv6 ", ip) ||
	    !take_field(rest, ", ipv6 ", ", vlan ", ip6) || !take_field(rest, ", vlan ", ", proto ", vlan) ||
	    !take_field(rest, ", proto ", ", port ", proto) || !take_field(rest, ", port ", ", match", port) ||
	    !take_field(rest, ", match", ", type", match) || !take_field(rest, ", type", ", count ", type) ||
	    !take_field(rest, ", count ", "", limit))
		return false;
	const char *vlan_at = vlan.c_str(), *port_at = port.c_str(), *limit_at = limit.c_str();
	const std::optional<uint32_t> proto_number = read_number(proto);
	if (!proto_number)
		return false;
	settings.proto = static_cast<int32_t>(*proto_number);
	return inet_pton(AF_INET, mirror.c_str(), settings.mirror.data()) == 1 && read_mac(mac, settings.mac) &&
	       inet_pton(AF_INET, ip.c_str(), settings.ip.data()) == 1 &&
	       inet_pton(AF_INET6, ip6.c_str(), settings.ip6.data()) == 1 && scan_number(vlan_at, settings.vlan) && !*vlan_at &&
	       scan_number(port_at, settings.port) && !*port_at && scan_number(limit_at, settings.limit) && !*limit_at &&
	       read_names(match, match_names, settings.match) && read_names(type, type_names, settings.type);
}

std::string read_readable_line(const std::string &line, filter_settings &settings, std::vector<std::string> &notes)
{
	std::string match, type;
	if (!read_readable_fields(line, settings, match, type))
		return "the line is neither twelve fields nor what debug_pkt_params reads as";
	// What the digit rules make of a "0" in the place of a value that is not compared.
	std::array<uint8_t, 6> zero_mac;
	std::array<uint8_t, 16> zero_ip6;
	atomac(std::array<char, 18>{"0"}.data(), zero_mac.data());
	atoipv6(std::array<char, 40>{"0"}.data(), zero_ip6.data());
	if (settings.ip6 == zero_ip6)
		settings.ip6 = {};
	if (settings.mac == zero_mac && !(settings.match & match_mac))
		settings.mac = {};

	if (match.empty() || (match != " none" && !is_zero(settings.ip6))) {
		settings.match |= match_ipv6;
		notes.push_back(
			fmt::format("the line does not show whether the criterion IPv6 (0x8) is active: taken as active, as {}",
				    match.empty() ? "the match word is not 0" : "there is an address"));
	} else if (match != " none") {
		notes.push_back("the line does not show whether the criterion IPv6 (0x8) is active");
	}
	if (type.empty()) {
		settings.type = unreadable_types;
		notes.push_back("types are wanted that the line has no word for: taken as all of these");
	} else if (settings.type == readable_types) {
		settings.type = all_types;
		notes.push_back("every type that the line has a word for is wanted: taken as all types");
	} else if (type != " none") {
		notes.push_back("the line does not show the types echo, nbr, rtr, mld, vxlan, apmsg and aphier");
	}
	notes.push_back(mode_not_shown);
	return "";
}

} // namespace

std::string read_filter(const filter_words &words, filter_settings &settings)
{
	constexpr named criteria[] = {
		{match_dev, "dev"},   {match_mac, "mac"},     {match_ip, "ip"},     {match_ipv6, "ip6"},
		{match_vlan, "vlan"}, {match_proto, "proto"}, {match_port, "port"},
	};
	for (const auto &[name, text] : words) {
		std::string reason = read_word(name, text, settings);
		if (!reason.empty())
			return reason;
		if (const named *const criterion = find_named(criteria, name))
			settings.match |= criterion->value;
	}
	return "";
}

std::string read_settings(const std::string &text, filter_settings &settings, std::vector<std::string> &notes)
{
	const size_t end = text.find_last_not_of(" \t\n\v\f\r");
	const std::string line = end == text.npos ? "" : text.substr(0, end + 1);
	settings = filter_settings();
	return line.starts_with("mirror ") ? read_readable_line(line, settings, notes) : read_raw_line(line, settings, notes);
}

std::string settings_line(const filter_settings &settings)
{
	const std::string line =
		fmt::format("{} {} {} {} {} {} {} {} {} {} {}", ip_text(settings.mirror), settings.dev, mac_text(settings.mac),
			    full_ip6_text(settings.ip6), ip_text(settings.ip), settings.vlan, settings.proto, settings.port,
			    settings.match, settings.type, settings.limit);
	return settings.mode ? fmt::format("{} {}", line, *settings.mode) : line;
}

std::string command_line(const filter_settings &settings)
{
	filter_settings same;
	const bool is_device = !(settings.match & match_dev) || read_dev(settings.dev, same).empty();
	if (!is_device || settings.limit < 0 || !impossible(settings).empty())
		return "";
	std::string line = "debug-pkt set";
	const auto option = [&line](bool given, const char *name, const auto &value) {
		if (given)
			line += fmt::format(" --{} {}", name, value);
	};
	option(settings.match & match_dev, "dev", quoted(settings.dev));
	option(settings.match & match_mac, "mac", mac_text(settings.mac));
	option(settings.match & match_ip, "ip", ip_text(settings.ip));
	option(settings.match & match_ipv6, "ip6", ip6_text(settings.ip6));
	option(settings.match & match_vlan, "vlan", settings.vlan);
	option(settings.match & match_proto, "proto", proto_text(settings.proto));
	option(settings.match & match_port, "port", port_text(settings.port & 0xffff));
	option(settings.type != all_types, "type", types_text(settings.type, ","));
	option(settings.limit != 0, "count", settings.limit);
	option(!is_zero(settings.mirror), "mirror", ip_text(settings.mirror));
	option(settings.mode.has_value(), "mode", settings.mode.value_or(0));
	return line;
}

std::vector<std::string> in_words(const filter_settings &settings, bool mode_hidden)
{
	std::vector<std::string> words;
	const auto criterion = [&](uint32_t bit, const std::string &text) {
		if (settings.match & bit)
			words.push_back("criterion: " + text);
	};
	if (!settings.type)
		words.push_back("capture: off");
	else if (settings.type == all_types)
		words.push_back("types: all, and packets without a type");
	else
		words.push_back(fmt::format("types: any of {}", types_text(settings.type, ", ")));
	if (!settings.match)
		words.push_back("criteria: none");
	const auto in_brackets = [](const named *name) { return name ? fmt::format(" ({})", name->name) : ""; };
	criterion(match_dev, fmt::format("on device {}", settings.dev));
	criterion(match_mac, fmt::format("MAC address {}", mac_text(settings.mac)));
	criterion(match_ip, fmt::format("IPv4 address {}", ip_text(settings.ip)));
	criterion(match_ipv6, fmt::format("IPv6 address {}", ip6_text(settings.ip6)));
	criterion(match_vlan, fmt::format("tagged with VLAN {}", settings.vlan));
	const uint32_t proto = static_cast<uint32_t>(settings.proto);
	criterion(match_proto,
		  fmt::format("ethertype, PPP or GRE protocol {:#x}{}", proto, in_brackets(find_value(proto_names, proto))));
	const uint16_t port = static_cast<uint16_t>(settings.port);
	criterion(match_port, fmt::format("TCP or UDP port {}{}", port, in_brackets(find_value(port_names, port))));
	words.push_back(settings.limit ? fmt::format("limit: {} packets", settings.limit) : "limit: none");
	words.push_back(is_zero(settings.mirror) ? "output: text to the CLI"
						 : fmt::format("output: frames mirrored to {}, no text", ip_text(settings.mirror)));
	words.push_back(settings.mode ? fmt::format("mode: {}", *settings.mode)
			: mode_hidden ? "mode: unknown, the line does not show it"
				      : "mode: not given, stays as it is");
	return words;
}

std::vector<std::string> impossible(const filter_settings &settings)
{
	std::vector<std::string> reasons;
	if (settings.match & ~known_criteria)
		reasons.push_back(
			fmt::format("no packet hits the criteria {:#x}, which have no meaning", settings.match & ~known_criteria));
	if (settings.type && !(settings.type & known_types))
		reasons.push_back(fmt::format("no packet has the types {:#x}", settings.type));
	if ((settings.match & match_vlan) && (settings.vlan < 0 || settings.vlan > 4095))
		reasons.push_back(fmt::format("no tag carries VLAN {}", settings.vlan));
	if ((settings.match & match_proto) && (settings.proto < 0 || settings.proto > 0xffff))
		reasons.push_back(fmt::format("no protocol field holds {:#x}", static_cast<uint32_t>(settings.proto)));
	return reasons;
}

std::vector<std::string> surprises(const filter_settings &settings)
{
	constexpr uint32_t with_ports = type_pppoe | type_tcp | type_udp | type_dhcp | type_dhcpv6 | type_dns | type_radius |
					type_http | type_https | type_vxlan;
	constexpr uint32_t over_ipv4 = type_icmp | type_igmp | type_dhcp | type_arp;
	constexpr uint32_t over_ipv6 = type_icmpv6 | type_dhcpv6 | type_nbr | type_rtr | type_mld;
	const uint32_t match = settings.match;
	std::vector<std::string> notes;
	const auto zero = [&](uint32_t bit, bool is, const char *field) {
		if ((match & bit) && is)
			notes.push_back(fmt::format("zero is no wildcard: only a packet whose {} is zero passes", field));
		else if (!(match & bit) && !is)
			notes.push_back(
				fmt::format("a value for the {} is given, but its criterion is off: nothing compares it", field));
	};
	if (settings.type == all_types && !match)
		notes.push_back(fmt::format("everything matches: every packet that passes is captured{}",
					    settings.limit ? "" : ", without a limit"));
	if ((match & match_dev) && settings.dev == "all")
		notes.push_back("the name all is no wildcard: only a packet on a device that is called all passes");
	if (!(match & match_dev) && settings.dev != "all")
		notes.push_back("a value for the device is given, but its criterion is off: nothing compares it");
	zero(match_mac, is_zero(settings.mac), "MAC address");
	zero(match_ip, is_zero(settings.ip), "IPv4 address");
	zero(match_ipv6, is_zero(settings.ip6), "IPv6 address");
	zero(match_vlan, settings.vlan == 0, "VLAN id");
	zero(match_proto, settings.proto == 0, "protocol");
	zero(match_port, static_cast<uint16_t>(settings.port) == 0, "port");
	if ((match & match_port) && (settings.port < 0 || settings.port > 65535))
		notes.push_back(fmt::format("port {} is compared as {}", settings.port, static_cast<uint16_t>(settings.port)));
	if ((match & match_proto) && settings.proto > 0 && settings.proto < 256 && settings.proto != ppp_ipv4 &&
	    settings.proto != ppp_ipv6) {
		const uint32_t proto = static_cast<uint32_t>(settings.proto);
		const named *const type = find_value(ip_protocols, proto);
		notes.push_back(
			fmt::format("protocol {:#x}: IP protocols are never compared, only ethertypes, PPP and GRE protocols; {}",
				    proto, type ? fmt::format("--type {} is meant", type->name) : "for an IP protocol use --type"));
	}
	if ((match & match_proto) && settings.proto >= 0x8e00 && settings.proto <= 0x8f5f)
		notes.push_back("ethertypes 0x8e00 to 0x8f5f are taken for IPv4 (0x800) before they are compared");
	if (settings.type && settings.type != all_types) {
		if ((match & match_port) && !(settings.type & with_ports))
			notes.push_back("only TCP and UDP have ports: with these types only tunnels and quoted headers can match");
		if ((match & match_ip) && !(settings.type & ~over_ipv6))
			notes.push_back("the types travel over IPv6: with an IPv4 address hardly anything but tunnels can match");
		if ((match & match_ipv6) && !(settings.type & ~over_ipv4))
			notes.push_back("the types travel over IPv4: with an IPv6 address hardly anything but tunnels can match");
	}
	// ARP takes away the types of what carries it.
	if ((match & match_proto) && settings.proto == 0x806 && settings.type && !(settings.type & type_arp))
		notes.push_back("ARP packets have the type arp: with these types hardly anything but tunnels and PPP can match");
	if ((match & match_proto) && settings.type && settings.type != all_types) {
		if (settings.proto == 0x86dd && !(settings.type & ~over_ipv4))
			notes.push_back("the types travel over IPv4: with the protocol ipv6 hardly anything but tunnels can match");
		if (settings.proto == 0x800 && !(settings.type & ~over_ipv6))
			notes.push_back("the types travel over IPv6: with the protocol ipv4 hardly anything but tunnels can match");
	}
	if ((match & match_ip) && (match & match_ipv6))
		notes.push_back(
			"every criterion must hit: hardly anything but tunnels and DNS answers has an IPv4 and an IPv6 address");
	if (settings.limit < 0)
		notes.push_back("a negative limit is never reached");
	return notes;
}
