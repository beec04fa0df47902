// SPDX-License-Identifier: GPL-2.0-only
#include "tools/journey_view.h"

#include "tools/plain_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

namespace {

inline constexpr int64_t unknown_cpu = -1;
inline constexpr int64_t microseconds_per_day = 86'400'000'000;

// Days since 1970-01-01 of a day in the Gregorian calendar.
int64_t days_of(int64_t year, int64_t month, int64_t day)
{
	year -= month <= 2;
	const int64_t era = year / 400, year_of_era = year % 400;
	const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
	return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year - 719468;
}

// Microseconds of a time as the text gives it.
int64_t microseconds_of(std::string_view text)
{
	int64_t part[7] = {};
	const char *at = text.data(), *const end = at + text.size();
	for (int64_t &each : part) {
		at = std::from_chars(at, end, each).ptr;
		at += at != end;
	}
	return days_of(part[0], part[1], part[2]) * microseconds_per_day + ((part[3] * 60 + part[4]) * 60 + part[5]) * 1'000'000 +
	       part[6];
}

std::string seconds_text(int64_t microseconds)
{
	const int64_t size = microseconds < 0 ? -microseconds : microseconds;
	return fmt::format("{}{}.{:06} s", microseconds < 0 ? '-' : '+', size / 1'000'000, size % 1'000'000);
}

std::string title(const line_format &format, std::string_view field)
{
	return fmt::format("{} {}", layer_name(format.in), field);
}

std::string trimmed(std::string_view line)
{
	return plain_text(line.substr(std::min(line.find_first_not_of(' '), line.size())));
}

void add_field_changes(const rendered_line &before, const rendered_line &after, std::vector<std::string> &changes)
{
	if (before.fields.size() != after.fields.size()) {
		if (before.text != after.text)
			changes.push_back(fmt::format("{} -> {}", trimmed(before.text), trimmed(after.text)));
		return;
	}
	for (size_t i = 0; i < after.fields.size(); ++i) {
		const rendered_field &old = before.fields[i], &now = after.fields[i];
		if (old.text != now.text)
			changes.push_back(fmt::format("{} {} -> {}", title(*after.format, now.name), plain_text(old.text),
						      plain_text(now.text)));
	}
}

// The longest common row of formats keeps its lines and shows their fields' changes; the others have gone or come.
std::vector<std::string> line_changes(const std::vector<rendered_line> &before, const std::vector<rendered_line> &after)
{
	const size_t rows = before.size() + 1, columns = after.size() + 1;
	std::vector<uint16_t> common(rows * columns);
	const auto same = [&](size_t i, size_t j) {
		return before[i].format == after[j].format && (before[i].format || before[i].text == after[j].text);
	};
	for (size_t i = before.size(); i-- > 0;) {
		for (size_t j = after.size(); j-- > 0;)
			common[i * columns + j] = same(i, j) ? static_cast<uint16_t>(common[(i + 1) * columns + j + 1] + 1)
							     : std::max(common[(i + 1) * columns + j], common[i * columns + j + 1]);
	}
	std::vector<std::string> changes;
	size_t i = 0, j = 0;
	while (i < before.size() || j < after.size()) {
		if (i < before.size() && j < after.size() && same(i, j)) {
			if (before[i].format)
				add_field_changes(before[i], after[j], changes);
			++i;
			++j;
		} else if (j == after.size() ||
			   (i < before.size() && common[(i + 1) * columns + j] >= common[i * columns + j + 1])) {
			changes.push_back("gone: " + trimmed(before[i++].text));
		} else {
			changes.push_back("new: " + trimmed(after[j++].text));
		}
	}
	return changes;
}

std::string place_of(const std::vector<rendered_field> &head)
{
	return fmt::format("{}:{}", plain_text(field_text(head, "function")), plain_text(field_text(head, "line")));
}

std::string label_of(const rendered_text &text)
{
	if (text.kind == text_kind::done)
		return "process done";
	return plain_text(field_text(text.head, "label"));
}

// "10.0.0.1 > 10.0.0.2" of the outermost header that has addresses, and the layers.
std::string packet_title(const rendered_text &text)
{
	std::string addresses, layers;
	const line_format *before = nullptr;
	std::string_view source;
	for (const rendered_line &line : text.lines) {
		if (!line.format)
			continue;
		const layer in = line.format->in;
		if (line.format->step == 0 && (!before || before->in != in || line.format->list.empty()))
			layers.append(layers.empty() ? "" : " ").append(layer_name(in));
		before = line.format;
		if (!addresses.empty() || (in != layer::ip && in != layer::ipv6 && in != layer::arp))
			continue;
		if (const std::string_view from = field_text(line.fields, "sip"); !from.empty())
			source = from;
		const std::string_view to = field_text(line.fields, in == layer::arp ? "tip" : "dip");
		if (!source.empty() && !to.empty())
			addresses.append(source).append(" > ").append(to).append("  ");
	}
	return addresses + layers;
}

} // namespace

struct journey_view::journey {
	std::string text;                   // of the paragraph so far
	std::string headers;                // the text that showed the headers last
	std::vector<std::string> call;      // length, VLAN, egress and ingress at the last hop
	std::optional<int64_t> start, last; // microseconds
	std::string where;                  // the last hop
	bool done = false;

	void begin(const text_record &record);
	void add(const text_record &record);
	std::string end();

private:
	void add_hop(const rendered_text &content, const std::vector<std::string> &changes);
	void add_call_changes(const std::vector<rendered_field> &head, std::vector<std::string> &changes);
};

void journey_view::journey::begin(const text_record &record)
{
	const std::vector<rendered_field> &head = record.content.head;
	const auto field = [&head](std::string_view name) { return plain_text(field_text(head, name)); };
	text = fmt::format("packet {}: {}{} on {}, cpu {}, {}\n  {}\n", record.packet,
			   record.source.empty() ? "" : plain_text(record.source) + ", ", field("tag"), field("device"),
			   field("cpu"), field("time"), packet_title(record.content));
	headers = record.content.text;
	std::vector<std::string> changes;
	add_call_changes(head, changes);
	add_hop(record.content,
		{fmt::format("len {}{}, {} -> {}", call[0], call[1].empty() ? "" : ", vlan " + call[1], call[3], call[2])});
}

void journey_view::journey::add(const text_record &record)
{
	std::vector<std::string> changes;
	if (record.content.kind == text_kind::checkpoint)
		add_call_changes(record.content.head, changes);
	if (record.content.lines.empty()) {
		if (changes.empty())
			changes.emplace_back("headers unchanged");
	} else {
		const std::vector<std::string> headers_changed = line_changes(parse_text(headers).lines, record.content.lines);
		headers = record.content.text;
		changes.insert(changes.end(), headers_changed.begin(), headers_changed.end());
		if (changes.empty())
			changes.emplace_back("decoded again, the same");
	}
	add_hop(record.content, changes);
	done = done || record.content.kind == text_kind::done;
}

// What the second line says of the call.
void journey_view::journey::add_call_changes(const std::vector<rendered_field> &head, std::vector<std::string> &changes)
{
	std::vector<std::string> now;
	size_t i = 0;
	for (const char *const name : {"len", "vlan", "egress", "ingress"}) {
		now.push_back(plain_text(field_text(head, name)));
		if (!call.empty() && call[i] != now[i])
			changes.push_back(fmt::format("{} {} -> {}", name, call[i], now[i]));
		++i;
	}
	call = std::move(now);
}

void journey_view::journey::add_hop(const rendered_text &content, const std::vector<std::string> &changes)
{
	constexpr size_t time_width = 14, place_width = 34;
	std::string time = "-";
	if (const rendered_field *const field = find_field(content.head, "time")) {
		const int64_t now = microseconds_of(field->text);
		time = seconds_text(now - last.value_or(now));
		last = now;
		start = start.value_or(now);
	}
	where = fmt::format("{} at {}", label_of(content), place_of(content.head));
	text += fmt::format("  {:<{}} {:<{}} ", time, time_width - 1, where, place_width - 1);
	for (size_t i = 0; i < changes.size(); ++i)
		text += (i ? std::string(2 + time_width + place_width, ' ') : "") + changes[i] + "\n";
}

std::string journey_view::journey::end()
{
	if (done)
		text += fmt::format("  ended: {}, {} after the first hop\n\n", where,
				    seconds_text(last.value_or(0) - start.value_or(0)).substr(1));
	else
		text += fmt::format("  ended: last seen: {}, no end of processing\n\n", where);
	return std::move(text);
}

journey_view::journey_view() = default;
journey_view::~journey_view() = default;

std::string journey_view::take(const text_record &record)
{
	const int64_t cpu = record.cpu.value_or(unknown_cpu);
	if (record.content.kind == text_kind::capture) {
		std::unique_ptr<journey> &packet = under_way[cpu];
		std::string complete = packet ? packet->end() : "";
		packet = std::make_unique<journey>();
		packet->begin(record);
		return complete;
	}
	if (record.content.kind != text_kind::checkpoint && record.content.kind != text_kind::done)
		return fmt::format("text of no packet: {}\n\n",
				   plain_text(record.content.text.substr(0, record.content.text.find('\n'))));
	const auto packet = under_way.find(cpu);
	if (record.packet == 0 || packet == under_way.end())
		return fmt::format("{} at {}: the packet's start was not seen\n\n", label_of(record.content),
				   place_of(record.content.head));
	packet->second->add(record);
	if (!packet->second->done)
		return {};
	std::string complete = packet->second->end();
	under_way.erase(packet);
	return complete;
}

std::string journey_view::finish()
{
	std::string rest;
	for (const auto &[cpu, packet] : under_way)
		rest += packet->end();
	under_way.clear();
	return rest;
}
