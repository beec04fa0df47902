// SPDX-License-Identifier: GPL-2.0-only
// Rendered text through the parser and the views.
// Input: 0 and text, or 1, level, ethertype (2 bytes) and a packet that is rendered first.
#include "fuzz/support.h"

#include "capture/datapath.h"
#include "include/debug_pkt_dump.h"
#include "platform/host/host.h"
#include "tools/journey_view.h"
#include "tools/json_view.h"
#include "tools/summary_view.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

namespace {

std::string_view body_of(const rendered_text &text)
{
	std::string_view body = text.text;
	if (body.ends_with('\0'))
		body.remove_suffix(1);
	if (!text.lines.empty())
		body.remove_prefix(static_cast<size_t>(text.lines.front().text.data() - body.data()));
	return body;
}

void check_fields(const std::vector<rendered_field> &fields, std::string_view line)
{
	const char *at = line.data();
	for (const rendered_field &field : fields) {
		fuzz::require(!field.name.empty(), "a field has a name");
		fuzz::require(field.text.data() >= at, "fields follow one another");
		at = field.text.data() + field.text.size();
	}
	fuzz::require(at <= line.data() + line.size(), "fields stand in their line");
}

// Every byte behind the head is in one line, in order.
void check_lines(const rendered_text &text)
{
	std::string_view body = body_of(text);
	for (const rendered_line &line : text.lines) {
		fuzz::require(line.text.data() == body.data(), "lines follow one another");
		const bool is_cut = text.cut && &line == &text.lines.back();
		fuzz::require(is_cut == (line.text.size() == body.size()), "only a cut text ends within a line");
		fuzz::require(!is_cut || !line.format, "a cut line is not read");
		fuzz::require(line.format || line.fields.empty(), "what is no line has no fields");
		fuzz::require(line.format || text.cut || text.doubtful, "what is no line makes the text doubtful");
		check_fields(line.fields, line.text);
		body.remove_prefix(std::min(line.text.size() + 1, body.size()));
	}
	fuzz::require(text.lines.empty() || body.empty(), "no byte is left over");
	check_fields(text.head, text.text);
}

std::string views_of(const std::vector<std::string> &parts)
{
	text_splitter texts(false);
	journey_view journey;
	summary_view summary;
	std::string all, taken, given;
	const auto take = [&] {
		for (text_record record; texts.next(record);) {
			taken += record.content.text;
			check_lines(record.content);
			const std::string json = json_record(record);
			fuzz::require(json.find('\n') == json.size() - 1, "a record is one line");
			fuzz::require(nlohmann::json::accept(json), "a record is JSON");
			all += json + journey.take(record);
			summary.take(record);
		}
	};
	for (const std::string &part : parts) {
		given += part;
		texts.add(part);
		take();
	}
	texts.end();
	take();
	fuzz::require(taken == given, "the calls' texts are the text");
	summary.finish();
	return all + journey.finish() + summary.text() + summary.graph();
}

void take_text(const std::string &text)
{
	const std::string whole = views_of({text});
	std::vector<std::string> parts;
	constexpr size_t part = 777;
	for (size_t at = 0; at < text.size(); at += part)
		parts.push_back(text.substr(at, part));
	fuzz::require(views_of(parts) == whole, "it is the same however it comes");
	check_lines(parse_text(text));
}

// Without a line break in the packet there is none in its words: nothing is doubtful, and every line is one.
void take_packet(fuzz::input &in)
{
	const uint32_t level = in.u8() & 1, ethertype = in.u16();
	std::string content = in.rest();
	std::replace(content.begin(), content.end(), '\n', '\v');
	const fuzz::block packet(content);
	sk_buff skb = {};
	skb.dev = host::add_device("eth0");
	skb.data = packet.data();
	skb.len = packet.size();
	debug_pkt_desc desc = {};
	desc.skb = &skb;
	std::string text(4096, '\0');
	text.resize(debug_pkt_to_str(&desc, level, ethertype, text.data(), static_cast<uint32_t>(text.size())));
	const rendered_text read = parse_text(text);
	check_lines(read);
	// Two names in one line: either may hold what stands between them.
	fuzz::require(!read.doubtful || text.find(", aclname ") != std::string::npos, "what the decoders write is read");
	take_text(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
	fuzz::start();
	fuzz::input in(data, size);
	if (in.u8() & 1)
		take_packet(in);
	else
		take_text(in.rest());
	fuzz::require_idle();
	return 0;
}
