// SPDX-License-Identifier: GPL-2.0-only
#include "tools/json_view.h"

#include "tools/plain_text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>

namespace {

using json = nlohmann::ordered_json;

inline constexpr int schema_version = 1;

constexpr const char *kind_names[] = {"capture", "checkpoint", "done", "exported", "unknown"};
constexpr const char *start_names[] = {"known", "inferred", "doubtful"};

std::string_view take_until(std::string_view &rest, std::string_view separator)
{
	const size_t at = rest.find(separator);
	const std::string_view part = rest.substr(0, at);
	rest.remove_prefix(at == std::string_view::npos ? rest.size() : at + separator.size());
	return part;
}

// 2026-1-2 03:04:05:000006 as 2026-01-02T03:04:05.000006
std::string iso_time(std::string_view text)
{
	std::string time(take_until(text, "-"));
	for (const char *const separator : {"-", " "}) {
		const std::string_view part = take_until(text, separator);
		time += part.size() == 1 ? "-0" : "-";
		time += part;
	}
	time += 'T';
	time += text;
	time[time.rfind(':')] = '.';
	return time;
}

json address_list(std::string_view text)
{
	json list = json::array();
	while (!text.empty())
		list.push_back(take_until(text, ","));
	return list;
}

// NAME(NUMBER), …; the last one may be cut.
json option_list(std::string_view text)
{
	json list = json::array();
	while (!text.empty()) {
		const std::string_view part = take_until(text, ", ");
		const size_t open = part.find('(');
		unsigned number = 0;
		const char *const end = part.data() + part.size();
		if (open != std::string_view::npos && part.ends_with(')') &&
		    std::from_chars(part.data() + open + 1, end, number).ptr == end - 1)
			list.push_back({{"name", part.substr(0, open)}, {"number", number}});
		else
			list.push_back({{"cut", part}});
	}
	return list;
}

json value_of(const rendered_field &field)
{
	switch (field.kind) {
	case field_kind::number:
		return field.number;
	case field_kind::flag:
		return field.number != 0;
	case field_kind::time:
		return iso_time(field.text);
	case field_kind::addresses:
		return address_list(field.text);
	case field_kind::options:
		return option_list(field.text);
	case field_kind::text:
		break;
	}
	return field.text;
}

void add_fields(json &object, const std::vector<rendered_field> &fields)
{
	for (const rendered_field &field : fields)
		object[std::string(field.name)] = value_of(field);
}

void add_line(json &layers, const rendered_line &line, const line_format *before)
{
	const line_format &format = *line.format;
	const bool goes_on = before && before->in == format.in && (format.step > 0 || !format.list.empty());
	if (!goes_on)
		layers.push_back({{"layer", layer_name(format.in)}});
	json &layer = layers.back();
	if (format.list.empty()) {
		add_fields(layer, line.fields);
		return;
	}
	const bool more_of_last = format.list.starts_with('+');
	json &list = layer[std::string(format.list.substr(more_of_last))];
	if (!more_of_last || list.empty())
		list.push_back(json::object());
	add_fields(list.back(), line.fields);
}

json text_lines(std::string_view text)
{
	json lines = json::array();
	while (!text.empty())
		lines.push_back(take_until(text, "\n"));
	return lines;
}

std::string hex_of(std::string_view text)
{
	constexpr char digits[] = "0123456789abcdef";
	std::string hex;
	for (const char each : text) {
		hex += digits[static_cast<unsigned char>(each) >> 4];
		hex += digits[static_cast<unsigned char>(each) & 15];
	}
	return hex;
}

bool is_ascii(std::string_view text)
{
	return std::all_of(text.begin(), text.end(), [](char each) { return static_cast<unsigned char>(each) < 0x80; });
}

} // namespace

std::string json_record(const text_record &record)
{
	const rendered_text &content = record.content;
	json object = {{"version", schema_version}, {"kind", kind_names[static_cast<size_t>(content.kind)]}};
	if (!record.source.empty())
		object["source"] = record.source;
	object["packet"] = record.packet ? json(record.packet) : json();
	object["cpu"] = record.cpu ? json(*record.cpu) : json();
	object["start"] = start_names[static_cast<size_t>(record.start)];
	object["cut"] = content.cut;
	object["doubtful"] = content.doubtful;
	add_fields(object, content.head);
	json layers = json::array(), unread = json::array();
	const line_format *before = nullptr;
	for (const rendered_line &line : content.lines) {
		if (line.format)
			add_line(layers, line, before);
		else
			unread.push_back(line.text);
		before = line.format ? line.format : before;
	}
	object["layers"] = std::move(layers);
	if (!unread.empty())
		object["unread"] = std::move(unread);
	object["text"] = text_lines(content.text);
	if (!is_ascii(content.text) && valid_utf8(content.text) != content.text)
		object["hex"] = hex_of(content.text);
	return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}
