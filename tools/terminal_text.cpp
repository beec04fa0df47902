// SPDX-License-Identifier: GPL-2.0-only
#include "tools/terminal_text.h"

namespace {

inline constexpr char heading[] = "\033[1m", link[] = "\033[36m", network[] = "\033[32m", transport[] = "\033[33m",
		      application[] = "\033[35m", plain[] = "\033[0m";

// What opens a layer; other lines belong to the layer above them.
struct layer_tag {
	std::string_view tag;
	const char *colour;
};
constexpr layer_tag layer_tags[] = {
	{"#mac:", link},
	{"#vlan ", link},
	{"#snap:", link},
	{"#arp:", link},
	{"#pppoe ", link},
	{"#apmsg:", link},
	{"#ip:", network},
	{"#ipv6:", network},
	{"#extension header:", network},
	{"#icmp:", network},
	{"#icmpv6:", network},
	{"#igmp:", network},
	{"#udp:", transport},
	{"#tcp:", transport},
	{"#gre:", transport},
	{"#VXLAN Flags:", transport},
	{"#esp:", transport},
	{"#dhcp:", application},
	{"#dhcp-option:", application},
	{"#dhcpv6:", application},
	{"#dhcpv6-option:", application},
	{"#dns:", application},
	{"#sip:", application},
	{"#http:", application},
	{"#ftp:", application},
};

// As cat -v shows it; tabs stay.
void append_visible(std::string &shown, std::string_view text)
{
	for (const char each : text) {
		const unsigned char byte = static_cast<unsigned char>(each);
		if ((byte < 0x20 && byte != '\t') || byte == 0x7f) {
			shown += '^';
			shown += static_cast<char>(byte ^ 0x40);
		} else {
			shown += each;
		}
	}
}

} // namespace

const char *terminal_text::colour_of(std::string_view line)
{
	const size_t indent = line.find_first_not_of(' ');
	if (indent == 0)
		return layer_colour = heading;
	if (indent != std::string_view::npos)
		for (const layer_tag &each : layer_tags)
			if (line.substr(indent).starts_with(each.tag))
				return layer_colour = each.colour;
	return layer_colour;
}

std::string terminal_text::dress(std::string_view text)
{
	std::string shown;
	while (!text.empty()) {
		const size_t end = text.find('\n');
		const std::string_view line = text.substr(0, end);
		const bool coloured = with_colours && !line.empty();
		if (coloured)
			shown += colour_of(line);
		append_visible(shown, line);
		if (coloured)
			shown += plain;
		if (end == std::string_view::npos)
			break;
		shown += '\n';
		text.remove_prefix(end + 1);
	}
	return shown;
}
