// SPDX-License-Identifier: GPL-2.0-only
// Reads rendered text back: which line is which, and the values in it. Total on any bytes: a packet chooses much of the text, with
// line breaks in it if it likes, so a line counts only where the capture could have written it. What is left is kept and marked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// In the order of layer_names.
enum class layer : uint8_t {
	head, // what the capture says of the call
	mac,
	vlan,
	snap,
	arp,
	pppoe,
	apmsg,
	ip,
	ipv6,
	icmp,
	igmp,
	icmpv6,
	udp,
	tcp,
	gre,
	vxlan,
	esp,
	sip,
	http,
	ftp,
	dhcp,
	dhcpv6,
	dns,
};
std::string_view layer_name(layer which);

enum class field_kind : uint8_t { number, flag, text, time, addresses, options };

struct rendered_field {
	std::string_view name;
	field_kind kind;
	std::string_view text; // as it stands in the line
	int64_t number;        // of a number; of a flag, 0 or 1
};

// How one line prints: "<name:type>" is a field, "<name=text>" one with a fixed value, "<name?text|other>" a flag, the rest stands
// as it is. The first line of a layer has step 0; steps rise within it, and a line of a list may come again and again.
struct line_format {
	layer in;
	uint8_t step;
	std::string_view list; // the list that the line is an entry of; "+NAME": more of its last entry
	std::string_view form;
};

struct rendered_line {
	const line_format *format; // NULL: none, or the line is cut
	std::string_view text;     // without its newline; with those inside when a value has some
	std::vector<rendered_field> fields;
};

enum class text_kind : uint8_t { capture, checkpoint, done, exported, unknown };

// The text of one call of the capture.
struct rendered_text {
	text_kind kind = text_kind::unknown;
	std::string_view text;
	std::vector<rendered_field> head;
	std::vector<rendered_line> lines; // the decoders'
	bool cut = false;                 // ends within a line
	bool doubtful = false;            // a line stands where it cannot, is none, or could be read in two ways
	bool has_packet_text = false;     // what follows might be the packet's own words
};

rendered_text parse_text(std::string_view text);

// Of the texts of several calls, one behind the other, the first: how many bytes it has. More than one call never gives more than
// 4094; that is also where a cut text ends, which has no newline.
size_t first_text_length(std::string_view texts);

const rendered_field *find_field(const std::vector<rendered_field> &fields, std::string_view name);
// Empty, or 0, when there is none.
std::string_view field_text(const std::vector<rendered_field> &fields, std::string_view name);
int64_t field_number(const std::vector<rendered_field> &fields, std::string_view name);

// For whoever wants all of them.
struct line_format_list {
	const line_format *first;
	size_t count;
	const line_format *begin() const { return first; }
	const line_format *end() const { return first + count; }
};
line_format_list all_line_formats();
