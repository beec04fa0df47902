// SPDX-License-Identifier: GPL-2.0-only
#include "tools/text_views.h"

#include "tools/json_view.h"
#include "tools/open_file.h"
#include "tools/write_all.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <unistd.h>
#include <vector>

namespace {

std::optional<int64_t> cpu_of(const rendered_text &content)
{
	if (const rendered_field *const cpu = find_field(content.head, "cpu"))
		return cpu->number;
	return std::nullopt;
}

} // namespace

bool text_views::open()
{
	text.set_colours(options.color);
	if (!options.frames.empty() && !frames.open(options.frames))
		fail(options.frames, frames.error());
	if (options.graph.empty() || !reason.empty())
		return reason.empty();
	// Now rather than after a long run.
	graph_file = open_output(options.graph, stop_descriptor);
	if (graph_file < 0)
		fail(options.graph, std::strerror(errno));
	return reason.empty();
}

viewed_frame frame_of(const captured_packet &packet, std::string_view source)
{
	return {.source = source,
		.link_type = packet.link_type,
		.data = {reinterpret_cast<const char *>(packet.data) - packet.header_len, packet.header_len + packet.len},
		.length = packet.wire_len,
		.seconds = packet.seconds,
		.nanoseconds = packet.nanoseconds};
}

void text_views::begin_frame(const viewed_frame &next)
{
	frame = next;
	comment.clear();
}

bool text_views::end_frame()
{
	if (frames.is_open() && !comment.empty() && reason.empty() && !frames.write(*frame, comment))
		fail(options.frames, frames.error());
	frame.reset();
	return reason.empty();
}

void text_views::take_text(std::string_view content)
{
	text_record record;
	record.content = parse_text(content);
	record.cpu = cpu_of(record.content);
	if (frame)
		record.source = frame->source;
	// The texts of a frame come from the one CPU that it is on.
	if (!record.cpu && last_packet.size() == 1)
		record.cpu = last_packet.begin()->first;
	show(record);
}

void text_views::take_message(std::string_view content)
{
	text_splitter texts(true);
	texts.add(content);
	texts.end();
	std::vector<text_record> records;
	for (text_record record; texts.next(record);)
		records.push_back(record);
	std::optional<int64_t> cpu;
	for (const text_record &each : records) {
		if (!cpu && each.start != text_start::doubtful)
			cpu = cpu_of(each.content);
	}
	if (!cpu && last_packet.size() == 1)
		cpu = last_packet.begin()->first;
	for (text_record &each : records) {
		each.cpu = cpu;
		show(each);
	}
}

void text_views::take_kept(text_splitter &texts, std::string_view source)
{
	for (text_record record; texts.next(record);) {
		if (record.content.kind == text_kind::capture)
			kept_cpu = cpu_of(record.content);
		record.cpu = kept_cpu;
		record.source = source;
		show(record);
	}
}

// A follow-up belongs to the last packet of its CPU.
void text_views::set_packet(text_record &record)
{
	if (record.content.kind == text_kind::capture)
		record.packet = ++packets;
	if (!record.cpu || record.content.kind == text_kind::unknown || record.content.kind == text_kind::exported)
		return;
	uint64_t &last = last_packet[*record.cpu];
	if (record.packet)
		last = record.packet;
	record.packet = last;
}

void text_views::show(text_record &record)
{
	++text_total;
	set_packet(record);
	std::string shown;
	if (options.show_text())
		text.show(record.content.text);
	if (options.json)
		shown = json_record(record);
	if (options.journey)
		shown = journey.take(record);
	if (options.summary || !options.graph.empty())
		summary.take(record);
	if (frames.is_open() && frame)
		comment += frame_comment(record);
	text.write(shown.data(), shown.size());
}

bool text_views::flush()
{
	if (frames.is_open() && reason.empty() && !frames.flush())
		fail(options.frames, frames.error());
	return reason.empty();
}

bool text_views::finish()
{
	summary.finish();
	std::string rest = options.journey ? journey.finish() : "";
	if (options.summary)
		rest += summary.text();
	text.write(rest.data(), rest.size());
	if (frames.is_open() && !frames.close() && reason.empty())
		fail(options.frames, frames.error());
	if (!options.graph.empty() && reason.empty() && !write_graph())
		fail(options.graph, std::strerror(errno));
	return reason.empty();
}

bool text_views::reader_is_gone() const
{
	return frames.error_number() == EPIPE || frames.error_number() == ECANCELED;
}

bool text_views::write_graph()
{
	const std::string graph = summary.graph();
	const bool written = write_all(graph_file, graph.data(), graph.size(), stop_descriptor) == graph.size();
	return close(graph_file) == 0 && written;
}

void text_views::fail(const std::string &path, const std::string &why)
{
	reason = fmt::format("{}: {}", path == "-" ? "standard output" : path, why);
}
