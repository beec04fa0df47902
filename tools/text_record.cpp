// SPDX-License-Identifier: GPL-2.0-only
#include "tools/text_record.h"

#include <algorithm>

namespace {

inline constexpr size_t longest_text = 4094;
inline constexpr size_t longest_head = 4096; // of the text behind it, names and labels of any sensible length

} // namespace

void text_splitter::add(std::string_view more)
{
	content.erase(0, at);
	doubtful_until -= std::min(at, doubtful_until);
	at = 0;
	content += more;
}

bool text_splitter::next(text_record &record)
{
	const std::string_view rest = std::string_view(content).substr(at);
	if (rest.empty() || (!complete && rest.size() < longest_text + longest_head))
		return false;
	const size_t length = first_text_length(rest);
	record = {};
	record.content = parse_text(rest.substr(0, length));
	record.start = known ? text_start::known : at < doubtful_until ? text_start::doubtful : text_start::inferred;
	known = false;
	if (record.content.has_packet_text || record.content.doubtful)
		doubtful_until = std::max(doubtful_until, at + longest_text);
	at += length;
	return true;
}
