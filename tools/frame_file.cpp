// SPDX-License-Identifier: GPL-2.0-only
#include "tools/frame_file.h"

#include "tools/plain_text.h"

#include <fmt/format.h>
#include <pcap/pcap.h>

namespace {

// Files have their own numbers for a few.
uint16_t link_type_in_files(int link_type)
{
	constexpr uint16_t raw_ip = 101;
	return link_type == DLT_RAW ? raw_ip : static_cast<uint16_t>(link_type);
}

} // namespace

bool frame_file::write(const viewed_frame &frame, std::string_view comment)
{
	const std::pair<std::string, int> key(frame.source, frame.link_type);
	auto found = interfaces.find(key);
	if (found == interfaces.end()) {
		if (!file.add_interface(link_type_in_files(frame.link_type), valid_utf8(frame.source), ""))
			return false;
		found = interfaces.emplace(key, static_cast<uint32_t>(interfaces.size())).first;
	}
	return file.write({.interface = found->second,
			   .seconds = frame.seconds,
			   .nanoseconds = frame.nanoseconds,
			   .data = frame.data,
			   .length = frame.length,
			   .comment = comment});
}

std::string frame_comment(const text_record &record)
{
	const std::vector<rendered_field> &head = record.content.head;
	std::string comment;
	if (record.content.kind == text_kind::capture) {
		comment = fmt::format("CPU {}, {}, {}:{}", field_text(head, "cpu"), field_text(head, "label"),
				      field_text(head, "function"), field_text(head, "line"));
	}
	comment += record.content.text;
	if (record.content.cut) {
		while (comment.ends_with('\0'))
			comment.pop_back();
		comment += '\n';
	}
	return valid_utf8(comment);
}
