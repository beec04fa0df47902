// SPDX-License-Identifier: GPL-2.0-only
#include "tools/lines.h"

#include "tools/line_formats.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>
#include <string>

namespace {

inline constexpr size_t longest_text = 4094; // without the NUL that a cut one ends with
inline constexpr size_t longest_interface = 15, longest_label = 255;
inline constexpr int most_breaks = 16; // that are looked for in one value with something behind it

constexpr std::string_view layer_names[] = {"head", "mac",  "vlan", "snap",   "arp",  "pppoe",  "apmsg", "ip",
					    "ipv6", "icmp", "igmp", "icmpv6", "udp",  "tcp",    "gre",   "vxlan",
					    "esp",  "sip",  "http", "ftp",    "dhcp", "dhcpv6", "dns"};

constexpr uint32_t bit(layer which)
{
	return 1u << static_cast<unsigned>(which);
}

template <class... Layers> constexpr uint32_t any_of(Layers... which)
{
	return (bit(which) | ...);
}

// What can stand directly before the first line of a layer.
uint32_t layers_before(layer which)
{
	constexpr uint32_t link = any_of(layer::head, layer::mac, layer::vlan, layer::snap);
	constexpr uint32_t network = any_of(layer::ip, layer::ipv6);
	constexpr uint32_t datagram = any_of(layer::udp, layer::dhcp, layer::dns);
	switch (which) {
	case layer::head:
		return 0;
	case layer::mac:
		return any_of(layer::head, layer::gre, layer::vxlan);
	case layer::snap:
		return bit(layer::mac);
	case layer::vlan:
	case layer::arp:
	case layer::pppoe:
	case layer::apmsg:
		return link;
	case layer::ip:
		return link | any_of(layer::pppoe, layer::icmp);
	case layer::ipv6: // a GRE header leaves its protocol to the frame around it
		return link | any_of(layer::pppoe, layer::icmpv6, layer::gre);
	case layer::icmp:
	case layer::igmp:
	case layer::icmpv6:
	case layer::udp:
	case layer::tcp:
	case layer::gre:
		return network;
	case layer::dhcp:
		return bit(layer::udp);
	case layer::dns:
		return any_of(layer::udp, layer::dhcp);
	case layer::vxlan:
		return datagram;
	case layer::dhcpv6:
		return datagram;
	case layer::sip:
		return datagram | bit(layer::dhcpv6);
	case layer::esp:
		return datagram | any_of(layer::dhcpv6, layer::sip);
	case layer::http:
		return bit(layer::tcp);
	case layer::ftp:
		return any_of(layer::tcp, layer::http);
	}
	return 0;
}

// Where the decoders stand in a text.
struct place {
	const line_format *last = nullptr; // NULL: behind the head
	bool in_tunnel = false;            // an inner frame was entered that the outer datagram may go on behind

	bool allows(const line_format &next) const
	{
		const layer before = last ? last->in : layer::head;
		if (last && next.in == before && (next.step > last->step || (next.step == last->step && !next.list.empty())))
			return true;
		if (next.step != 0)
			return false;
		if (in_tunnel && (bit(next.in) & any_of(layer::dhcpv6, layer::sip, layer::esp)))
			return true;
		return layers_before(next.in) & bit(before);
	}
	void pass(const line_format &line)
	{
		last = &line;
		in_tunnel = in_tunnel || line.in == layer::vxlan;
	}
};

bool is_digit(char c)
{
	return c >= '0' && c <= '9';
}
bool is_hex(char c)
{
	return is_digit(c) || (c >= 'a' && c <= 'f');
}
bool is_letter(char c)
{
	return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_name(char c)
{
	return is_letter(c) || is_digit(c) || c == '-';
}
bool is_phrase(char c)
{
	return is_name(c) || c == ' ';
}
bool is_token(char c)
{
	return c != ' ' && c != '\n';
}
bool is_function(char c)
{
	return is_token(c) && c != '(';
}
bool is_address(char c)
{
	return is_hex(c) || c == ':' || c == '.';
}
bool is_interface(char c)
{
	return c != ':' && c != '/' && c != '\n';
}
bool is_printable(char c)
{
	return c >= ' ' && c <= '~';
}
bool is_label(char c)
{
	return c != '\n';
}

size_t run(std::string_view text, bool (*belongs)(char))
{
	return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), belongs) - text.begin());
}

// Number of characters that a type takes from the text's start; 0 when it does not stand there.
size_t take_decimal(std::string_view text, bool may_be_negative, size_t padded, int64_t &value)
{
	const bool negative = may_be_negative && text.starts_with('-');
	const size_t digits = run(text.substr(negative), is_digit);
	if (digits == 0 || digits > 10 || digits < padded || (digits > std::max<size_t>(padded, 1) && text[negative] == '0'))
		return 0;
	std::from_chars(text.data(), text.data() + negative + digits, value);
	const int64_t highest = may_be_negative ? std::numeric_limits<int32_t>::max() : std::numeric_limits<uint32_t>::max();
	return value >= std::numeric_limits<int32_t>::min() && value <= highest ? negative + digits : 0;
}

size_t take_hex(std::string_view text, size_t digits, int64_t &value)
{
	const size_t there = run(text, is_hex);
	const size_t taken = digits ? digits : there;
	if (there < taken || taken == 0 || taken > 8 || (!digits && taken > 1 && text[0] == '0'))
		return 0;
	std::from_chars(text.data(), text.data() + taken, value, 16);
	return taken;
}

size_t take_ipv4(std::string_view text)
{
	size_t taken = 0;
	for (int i = 0; i < 4; ++i) {
		int64_t value;
		if (i && !text.substr(taken).starts_with('.'))
			return 0;
		taken += i != 0;
		const size_t digits = take_decimal(text.substr(taken), false, 0, value);
		if (!digits || value > 255)
			return 0;
		taken += digits;
	}
	return taken;
}

// count groups of so many hexadecimal digits, separated by ":".
size_t take_groups(std::string_view text, size_t count, size_t digits)
{
	const size_t length = count * (digits + 1) - 1;
	if (text.size() < length)
		return 0;
	for (size_t i = 0; i < length; ++i) {
		if (i % (digits + 1) == digits ? text[i] != ':' : !is_hex(text[i]))
			return 0;
	}
	return length;
}

size_t take_compressed_ip6(std::string_view text)
{
	const size_t length = run(text, is_address);
	in6_addr address;
	return length && inet_pton(AF_INET6, std::string(text.substr(0, length)).c_str(), &address) == 1 ? length : 0;
}

// YEAR-MONTH-DAY hh:mm:ss:microseconds
size_t take_time(std::string_view text)
{
	struct part {
		char before;
		size_t padded;
		int64_t lowest, highest;
	};
	constexpr part parts[] = {{0, 0, 1970, 2106}, {'-', 0, 1, 12}, {'-', 0, 1, 31},    {' ', 2, 0, 23},
				  {':', 2, 0, 59},    {':', 2, 0, 59}, {':', 6, 0, 999999}};
	size_t taken = 0;
	for (const part &each : parts) {
		int64_t value;
		if (each.before && !text.substr(taken).starts_with(each.before))
			return 0;
		taken += each.before != 0;
		const size_t digits = take_decimal(text.substr(taken), false, each.padded, value);
		if (!digits || value < each.lowest || value > each.highest)
			return 0;
		taken += digits;
	}
	return taken;
}

size_t take_addresses(std::string_view text)
{
	size_t taken = take_ipv4(text);
	while (taken && text.substr(taken).starts_with(',')) {
		const size_t next = take_ipv4(text.substr(taken + 1));
		if (!next)
			break;
		taken += 1 + next;
	}
	return taken;
}

// NAME(NUMBER), …: at most 254 characters, the last one may be cut there.
size_t take_options(std::string_view text)
{
	const size_t taken = run(text, [](char c) { return is_phrase(c) || c == '(' || c == ')' || c == ','; });
	return taken <= 255 ? taken : 0;
}

// A try to read a line as one of a form.
class matcher {
public:
	matcher(std::string_view line, bool shortest_first) : whole(line), texts_short_first(shortest_first) {}

	bool matches(std::string_view form) { return rest_matches(form, whole); }
	std::vector<rendered_field> fields;
	bool unfinished = false; // it might with more behind it: the packet's words had begun
	bool has_choice = false; // packet's words with something behind them

private:
	bool rest_matches(std::string_view form, std::string_view line)
	{
		while (!form.empty()) {
			if (form[0] != '<') {
				const size_t literal = std::min(form.find('<'), form.size());
				if (!line.starts_with(form.substr(0, literal)))
					return false;
				form.remove_prefix(literal);
				line.remove_prefix(literal);
				continue;
			}
			const size_t end = form.find('>');
			const std::string_view inside = form.substr(1, end - 1);
			form.remove_prefix(end + 1);
			const size_t name_end = inside.find_first_of(":=?");
			const std::string_view name = inside.substr(0, name_end), type = inside.substr(name_end + 1);
			if (inside[name_end] == ':' && is_open(type))
				return open_matches(name, type, form, line);
			if (!closed_matches(inside[name_end], name, type, line))
				return false;
		}
		return line.empty();
	}

	static bool is_open(std::string_view type)
	{
		return type == "text" || type == "line" || type == "label" || type == "interface";
	}

	static size_t longest_open(std::string_view type, std::string_view line)
	{
		if (type == "text")
			return line.size();
		if (type == "line")
			return run(line, is_printable);
		if (type == "interface")
			return std::min(run(line, is_interface), longest_interface);
		return std::min(run(line, is_label), longest_label);
	}

	// A value that only what stands behind it ends.
	bool open_matches(std::string_view name, std::string_view type, std::string_view form, std::string_view line)
	{
		const bool packet_text = type == "text";
		const size_t longest = longest_open(type, line);
		has_choice |= packet_text && !form.empty();
		fields.push_back({name, field_kind::text, {}, 0});
		const size_t depth = fields.size();
		const bool shortest_first = packet_text || type == "line" ? texts_short_first : true;
		if (form.empty() && longest == line.size()) {
			fields.back().text = line;
			return true;
		}
		for (size_t i = 0; i <= longest; ++i) {
			const size_t length = shortest_first ? i : longest - i;
			if (!form.empty() && form[0] != '<' && !line.substr(length).starts_with(form[0]))
				continue;
			fields.resize(depth);
			fields.back().text = line.substr(0, length);
			if (rest_matches(form, line.substr(length)))
				return true;
		}
		unfinished |= packet_text && longest == line.size();
		return false;
	}

	bool closed_matches(char mark, std::string_view name, std::string_view type, std::string_view &line)
	{
		rendered_field field = {name, field_kind::text, {}, 0};
		size_t length = 0;
		if (mark == '=') {
			if (!line.starts_with(type))
				return false;
			length = type.size();
		} else if (mark == '?') {
			const size_t middle = type.find('|');
			const std::string_view yes = type.substr(0, middle), no = type.substr(middle + 1);
			field.kind = field_kind::flag;
			field.number = line.starts_with(yes);
			if (!field.number && !line.starts_with(no))
				return false;
			length = field.number ? yes.size() : no.size();
		} else if (type == "option") {
			return option_value_matches(line);
		} else {
			length = take(type, line, field);
			if (length == 0 && type != "options" && type != "bytes")
				return false;
		}
		field.text = line.substr(0, length);
		line.remove_prefix(length);
		fields.push_back(field);
		return true;
	}

	static size_t take(std::string_view type, std::string_view line, rendered_field &field)
	{
		field.kind = field_kind::number;
		if (type == "u" || type == "d")
			return take_decimal(line, type == "d", 0, field.number);
		if (type == "u3")
			return take_decimal(line, false, 3, field.number);
		if (type.starts_with('x'))
			return take_hex(line, type.size() == 1 ? 0 : static_cast<size_t>(type[1] - '0'), field.number);
		field.kind = field_kind::text;
		if (type == "ipv4")
			return take_ipv4(line);
		if (type == "ip6")
			return take_groups(line, 8, 4);
		if (type == "ip6c")
			return take_compressed_ip6(line);
		if (type == "mac")
			return take_groups(line, 6, 2);
		if (type == "name")
			return run(line, is_name);
		if (type == "phrase")
			return run(line, is_phrase);
		if (type == "token")
			return run(line, is_token);
		if (type == "function")
			return run(line, is_function);
		if (type == "bytes")
			return run(line, is_hex) & ~size_t{1};
		if (type == "time") {
			field.kind = field_kind::time;
			return take_time(line);
		}
		if (type == "addresses") {
			field.kind = field_kind::addresses;
			return take_addresses(line);
		}
		field.kind = field_kind::options;
		return take_options(line);
	}

	// Of an option of one or two bytes nothing, of three or four a number, else bytes.
	bool option_value_matches(std::string_view &line)
	{
		const int64_t option_length = fields.back().number;
		rendered_field value = {"value", field_kind::text, line, 0};
		if (option_length > 4) {
			const auto bytes = static_cast<size_t>(std::min<int64_t>(option_length - 2, 15));
			if (run(line, is_hex) != 2 * bytes)
				return false;
		} else if (option_length > 2) {
			value.kind = field_kind::number;
			if (take_decimal(line, false, 0, value.number) != line.size())
				return false;
		}
		if (option_length > 2) {
			fields.push_back(value);
			line = {};
		}
		return true;
	}

	std::string_view whole;
	bool texts_short_first;
};

enum class verdict { no, unfinished, ambiguous, yes };

verdict try_format(const line_format &format, std::string_view line, std::vector<rendered_field> &fields)
{
	matcher longest(line, false);
	if (!longest.matches(format.form))
		return longest.unfinished ? verdict::unfinished : verdict::no;
	fields = std::move(longest.fields);
	if (!longest.has_choice)
		return verdict::yes;
	matcher shortest(line, true);
	shortest.matches(format.form);
	const auto same = [](const rendered_field &left, const rendered_field &right) { return left.text == right.text; };
	return std::equal(fields.begin(), fields.end(), shortest.fields.begin(), shortest.fields.end(), same) ? verdict::yes
													      : verdict::ambiguous;
}

bool ends_in_packet_text(const line_format &format)
{
	return format.form.ends_with(":text>");
}

std::string_view first_line(std::string_view text)
{
	return text.substr(0, text.find('\n'));
}

// The first row that the line is, of those that may stand here (or, not in_order, of the others).
verdict find_format(const place &here, bool in_order, std::string_view line, rendered_line &found)
{
	for (const line_format &format : line_formats) {
		if (format.in == layer::head || here.allows(format) != in_order)
			continue;
		const verdict result = try_format(format, line, found.fields);
		if (result == verdict::no || result == verdict::unfinished)
			continue;
		found.format = &format;
		return result;
	}
	return verdict::no;
}

// A line whose packet's words go on over line breaks; the text is what stands from its start to the text's end.
verdict find_broken_line(const place &here, std::string_view text, rendered_line &found)
{
	for (const line_format &format : line_formats) {
		if (format.in == layer::head || !here.allows(format))
			continue;
		if (try_format(format, first_line(text), found.fields) != verdict::unfinished)
			continue;
		size_t end = text.find('\n');
		for (int breaks = 0; breaks <= most_breaks && end != std::string_view::npos;
		     ++breaks, end = text.find('\n', end + 1)) {
			if (try_format(format, text.substr(0, end), found.fields) >= verdict::ambiguous) {
				found.format = &format;
				found.text = text.substr(0, end);
				return verdict::ambiguous;
			}
		}
	}
	return verdict::no;
}

// In line_formats.
inline constexpr size_t received = 0, call_line = 1, call_line_hook2 = 2, done_line = 3, export_line = 4;

bool read_head_line(size_t which, std::string_view line, std::vector<rendered_field> &fields)
{
	matcher each(line, false);
	if (!each.matches(line_formats[which].form))
		return false;
	for (rendered_field &field : each.fields) {
		if (field.name == "label")
			field.text.remove_prefix(field.text.starts_with(' '));
		fields.push_back(field);
	}
	return true;
}

std::string_view take_line(std::string_view &text)
{
	const std::string_view line = first_line(text);
	text.remove_prefix(std::min(line.size() + 1, text.size()));
	return line;
}

// What the text begins with; the text goes on behind it.
text_kind read_head(std::string_view &text, std::vector<rendered_field> &fields)
{
	std::string_view rest = text;
	std::string_view line = take_line(rest);
	text_kind kind = text_kind::unknown;
	if (line.empty() && !rest.empty()) {
		line = take_line(rest);
		if (!read_head_line(received, line, fields))
			return kind;
		line = take_line(rest);
		if (read_head_line(call_line, line, fields) || read_head_line(call_line_hook2, line, fields))
			kind = text_kind::capture;
		else
			fields.clear();
	} else if (read_head_line(call_line, line, fields) || read_head_line(call_line_hook2, line, fields)) {
		kind = text_kind::checkpoint;
	} else if (read_head_line(done_line, line, fields)) {
		kind = text_kind::done;
	} else if (read_head_line(export_line, line, fields)) {
		kind = text_kind::exported;
	}
	if (kind != text_kind::unknown)
		text = rest;
	return kind;
}

void extend(rendered_line &line, std::string_view more)
{
	const auto longer = [&](std::string_view part) {
		return std::string_view(part.data(), static_cast<size_t>(more.data() + more.size() - part.data()));
	};
	line.text = longer(line.text);
	line.fields.back().text = longer(line.fields.back().text);
}

void read_lines(std::string_view text, rendered_text &result)
{
	place here;
	bool open = false;
	while (!text.empty()) {
		rendered_line line = {nullptr, first_line(text), {}};
		if (line.text.size() == text.size()) {
			result.cut = true;
			result.lines.push_back(std::move(line));
			return;
		}
		verdict found = find_format(here, true, line.text, line);
		if (found == verdict::no)
			found = find_broken_line(here, text, line);
		text.remove_prefix(line.text.size() + 1);
		if (found == verdict::no && open) {
			extend(result.lines.back(), line.text);
			result.doubtful = true;
			continue;
		}
		if (found == verdict::no) {
			find_format(here, false, line.text, line);
			result.doubtful = true;
		}
		if (found == verdict::ambiguous)
			result.doubtful = true;
		open = line.format && ends_in_packet_text(*line.format);
		if (line.format) {
			here.pass(*line.format);
			result.has_packet_text |= line.format->form.find(":text>") != std::string_view::npos;
		}
		result.lines.push_back(std::move(line));
	}
}

bool is_follow_up(std::string_view line)
{
	std::vector<rendered_field> fields;
	return read_head_line(call_line, line, fields) || read_head_line(call_line_hook2, line, fields) ||
	       read_head_line(done_line, line, fields);
}

bool starts_text(std::string_view text)
{
	if (!text.starts_with('\n'))
		return (text.starts_with('[') || text.substr(0, 16).find('[') != std::string_view::npos) &&
		       is_follow_up(first_line(text));
	std::vector<rendered_field> fields;
	return read_head(text, fields) == text_kind::capture;
}

} // namespace

std::string_view layer_name(layer which)
{
	return layer_names[static_cast<size_t>(which)];
}

rendered_text parse_text(std::string_view text)
{
	rendered_text result;
	result.text = text;
	if (text.ends_with('\0'))
		text.remove_suffix(1);
	result.kind = read_head(text, result.head);
	if (result.kind == text_kind::unknown)
		result.doubtful = true;
	read_lines(text, result);
	return result;
}

size_t first_text_length(std::string_view texts)
{
	const std::string_view first = texts.substr(0, longest_text);
	// Not the second line of a capture's own head.
	std::string_view rest = first;
	std::vector<rendered_field> fields;
	size_t from = 0;
	if (read_head(rest, fields) != text_kind::unknown)
		from = first.size() - rest.size();
	for (size_t at = from; at < first.size(); at = first.find('\n', at) + 1) {
		if (at && starts_text(texts.substr(at)))
			return at;
		if (first.find('\n', at) == std::string_view::npos)
			break;
	}
	return first.size();
}

const rendered_field *find_field(const std::vector<rendered_field> &fields, std::string_view name)
{
	const auto found =
		std::find_if(fields.begin(), fields.end(), [&](const rendered_field &each) { return each.name == name; });
	return found == fields.end() ? nullptr : &*found;
}

std::string_view field_text(const std::vector<rendered_field> &fields, std::string_view name)
{
	const rendered_field *const field = find_field(fields, name);
	return field ? field->text : std::string_view();
}

int64_t field_number(const std::vector<rendered_field> &fields, std::string_view name)
{
	const rendered_field *const field = find_field(fields, name);
	return field ? field->number : 0;
}

line_format_list all_line_formats()
{
	return {line_formats, std::size(line_formats)};
}
