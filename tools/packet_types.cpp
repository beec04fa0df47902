// SPDX-License-Identifier: GPL-2.0-only
#include "tools/packet_types.h"

#include <algorithm>
#include <initializer_list>

namespace {

void add_type(std::vector<std::string_view> &types, std::string_view name)
{
	if (std::find(types.begin(), types.end(), name) == types.end())
		types.push_back(name);
}

bool has_port(const rendered_line &line, int64_t lowest, int64_t highest)
{
	for (const char *const name : {"sport", "dport"}) {
		const int64_t port = field_number(line.fields, name);
		if (port >= lowest && port <= highest)
			return true;
	}
	return false;
}

void add_apmsg_types(std::vector<std::string_view> &types, const rendered_line &line)
{
	if (find_field(line.fields, "state"))
		add_type(types, "aphier");
	else if (find_field(line.fields, "message"))
		add_type(types, "mobility");
}

void add_icmpv6_types(std::vector<std::string_view> &types, int64_t type)
{
	if (type == 128 || type == 129)
		add_type(types, "echo");
	else if ((type >= 130 && type <= 132) || type == 143)
		add_type(types, "mld");
	else if (type == 133 || type == 134)
		add_type(types, "rtr");
	else if (type == 135 || type == 136)
		add_type(types, "nbr");
}

void add_line_types(std::vector<std::string_view> &types, const rendered_line &line)
{
	switch (line.format->in) {
	case layer::arp: // assigns the type word
		types = {"arp"};
		return;
	case layer::apmsg:
		add_type(types, "apmsg");
		add_apmsg_types(types, line);
		return;
	case layer::icmp:
		add_type(types, "icmp");
		if (field_number(line.fields, "type") == 0 || field_number(line.fields, "type") == 8)
			add_type(types, "echo");
		return;
	case layer::icmpv6:
		add_type(types, "icmpv6");
		if (line.format->step == 0)
			add_icmpv6_types(types, field_number(line.fields, "type"));
		return;
	case layer::udp:
		add_type(types, "udp");
		if (has_port(line, 1812, 1875))
			add_type(types, "radius");
		return;
	case layer::tcp:
		add_type(types, "tcp");
		if (line.format->step == 0 && has_port(line, 80, 80))
			add_type(types, "http");
		if (line.format->step == 0 && has_port(line, 443, 443))
			add_type(types, "https");
		return;
	case layer::pppoe:
	case layer::igmp:
	case layer::gre:
	case layer::vxlan:
	case layer::dhcp:
	case layer::dhcpv6:
	case layer::dns:
		add_type(types, layer_name(line.format->in));
		return;
	default:
		return;
	}
}

} // namespace

std::vector<std::string_view> packet_types(const rendered_text &text)
{
	std::vector<std::string_view> types;
	for (const rendered_line &line : text.lines) {
		if (line.format)
			add_line_types(types, line);
	}
	return types;
}
