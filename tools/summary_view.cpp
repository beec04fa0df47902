// SPDX-License-Identifier: GPL-2.0-only
#include "tools/summary_view.h"

#include "tools/packet_types.h"
#include "tools/plain_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

namespace {

inline constexpr int64_t unknown_cpu = -1;
inline constexpr char no_type[] = "(none)";

std::string checkpoint_name(const rendered_text &text)
{
	return fmt::format("{}: {}", plain_text(field_text(text.head, "function")),
			   text.kind == text_kind::done ? "process done" : plain_text(field_text(text.head, "label")));
}

// Largest count first, then by name.
template <class Value, class Count> auto by_count(const std::map<std::string, Value> &counted, Count count)
{
	std::vector<std::pair<std::string, Value>> sorted(counted.begin(), counted.end());
	std::stable_sort(sorted.begin(), sorted.end(),
			 [&](const auto &left, const auto &right) { return count(left.second) > count(right.second); });
	return sorted;
}

std::string count_lines(const std::map<std::string, uint64_t> &counted)
{
	std::string lines;
	for (const auto &[name, count] : by_count(counted, [](uint64_t each) { return each; }))
		lines += fmt::format("{:10}  {}\n", count, name);
	return lines;
}

// In double quotes; the text is printable ASCII, in which "\" already starts an escape that is meant to be seen.
std::string quoted(const std::string &text)
{
	std::string result = "\"";
	for (const char each : text) {
		if (each == '"' || each == '\\')
			result += '\\';
		result += each;
	}
	return result + "\"";
}

} // namespace

void summary_view::take(const text_record &record)
{
	const rendered_text &content = record.content;
	cut += content.cut;
	doubtful += content.doubtful;
	if (const std::string_view time = field_text(content.head, "time"); !time.empty()) {
		if (first_time.empty())
			first_time = time;
		last_time = time;
	}
	const int64_t cpu = record.cpu.value_or(unknown_cpu);
	switch (content.kind) {
	case text_kind::capture: {
		++captures;
		end_path(cpu);
		const std::string name = checkpoint_name(content);
		under_way[cpu] = {name, name};
		++visits[name];
		const std::vector<std::string_view> found = packet_types(content);
		for (const std::string_view type : found)
			++types[std::string(type)];
		if (found.empty())
			++types[no_type];
		count_hosts(content);
		break;
	}
	case text_kind::checkpoint:
	case text_kind::done: {
		++(content.kind == text_kind::done ? ends : checkpoints);
		const auto way = under_way.find(cpu);
		if (way == under_way.end())
			break;
		const std::string name = checkpoint_name(content);
		++visits[name];
		++steps[{way->second.last, name}];
		way->second.last = name;
		way->second.text += " > " + name;
		if (content.kind == text_kind::done)
			end_path(cpu);
		break;
	}
	case text_kind::exported:
	case text_kind::unknown:
		++others;
	}
}

void summary_view::end_path(int64_t cpu)
{
	const auto way = under_way.find(cpu);
	if (way == under_way.end())
		return;
	++paths[way->second.text];
	under_way.erase(way);
}

void summary_view::finish()
{
	while (!under_way.empty())
		end_path(under_way.begin()->first);
}

// Each host once per packet and direction; not those in headers that an error quotes. A frame without addresses of a network
// counts for its MAC addresses.
void summary_view::count_hosts(const rendered_text &content)
{
	std::set<std::string_view> from, to;
	std::string_view source_mac, destination_mac;
	bool quoted_header = false;
	layer before = layer::head;
	for (const rendered_line &line : content.lines) {
		if (!line.format)
			continue;
		const layer in = line.format->in;
		if (line.format->step == 0)
			quoted_header =
				(in == layer::ip || in == layer::ipv6) && (before == layer::icmp || before == layer::icmpv6);
		before = in;
		if (in == layer::mac && source_mac.empty()) {
			source_mac = field_text(line.fields, "smac");
			destination_mac = field_text(line.fields, "dmac");
		}
		if (quoted_header || (in != layer::ip && in != layer::ipv6 && in != layer::arp))
			continue;
		if (const std::string_view address = field_text(line.fields, "sip"); !address.empty())
			from.insert(address);
		if (const std::string_view address = field_text(line.fields, in == layer::arp ? "tip" : "dip"); !address.empty())
			to.insert(address);
	}
	if (from.empty() && to.empty() && !source_mac.empty()) {
		from.insert(source_mac);
		to.insert(destination_mac);
	}
	for (const std::string_view each : from)
		++hosts[std::string(each)].from;
	for (const std::string_view each : to)
		++hosts[std::string(each)].to;
}

std::string summary_view::text() const
{
	std::string result = fmt::format("packets {}, checkpoints {}, ends of processing {}", captures, checkpoints, ends);
	if (others)
		result += fmt::format(", other texts {}", others);
	result += fmt::format(", texts cut {}, doubtful {}\n", cut, doubtful);
	if (!first_time.empty())
		result += fmt::format("from {} to {}\n", first_time, last_time);
	result += "\npackets by type (one packet may have several)\n" + count_lines(types);
	result += "\npackets by host\n      from        to  host\n";
	const auto busiest = by_count(hosts, [](const traffic &each) { return each.from + each.to; });
	for (const auto &[name, count] : busiest)
		result += fmt::format("{:10}{:10}  {}\n", count.from, count.to, name);
	result += "\npackets by path of checkpoints\n" + count_lines(paths);
	return result;
}

std::string summary_view::graph() const
{
	std::string result = "digraph checkpoints {\n\trankdir=LR;\n\tnode [shape=box];\n";
	for (const auto &[name, count] : visits)
		result += fmt::format("\t{} [label={}];\n", quoted(name), quoted(fmt::format("{} ({})", name, count)));
	for (const auto &[between, count] : steps)
		result += fmt::format("\t{} -> {} [label=\"{}\"];\n", quoted(between.first), quoted(between.second), count);
	return result + "}\n";
}
