// SPDX-License-Identifier: GPL-2.0-only
#include "tools/packet_text.h"

#include <charconv>

namespace {

inline constexpr std::string_view tags[] = {"ASAP", "ASFP", "UOL", "OTHER"};
inline constexpr std::string_view behind_tag = " received packet from ";
inline constexpr std::string_view before_cpu = "([cpu ";
inline constexpr size_t most_held = 1 << 20; // of one packet that does not end

bool is_first_line(std::string_view text)
{
	for (const std::string_view tag : tags)
		if (text.starts_with(tag) && text.substr(tag.size()).starts_with(behind_tag))
			return true;
	return false;
}

} // namespace

size_t find_packet(std::string_view text, size_t from)
{
	size_t at = text.find('\n', from);
	while (at != std::string_view::npos && !is_first_line(text.substr(at + 1)))
		at = text.find('\n', at + 1);
	return at;
}

unsigned packet_cpu(std::string_view packet)
{
	unsigned cpu = 0;
	if (const size_t at = packet.find(before_cpu); at != std::string_view::npos)
		std::from_chars(packet.data() + at + before_cpu.size(), packet.data() + packet.size(), cpu);
	return cpu;
}

packet_grep::packet_grep() = default;

packet_grep::~packet_grep()
{
	if (compiled)
		regfree(&expression);
}

std::string packet_grep::compile(const std::string &pattern)
{
	const int result = regcomp(&expression, pattern.c_str(), REG_EXTENDED | REG_NOSUB | REG_NEWLINE);
	compiled = result == 0;
	if (compiled)
		return "";
	char reason[200];
	regerror(result, &expression, reason, sizeof reason);
	return reason;
}

void packet_grep::add(packet &which, std::string_view piece, std::string &shown)
{
	if (!which.matches) {
		which.held += piece;
		if (regexec(&expression, std::string(piece).c_str(), 0, nullptr, 0) != 0) {
			if (which.held.size() > most_held)
				which.held.erase(0, which.held.size() - most_held);
			return;
		}
		which.matches = true;
		++packets_shown;
		shown += which.held;
		which.held.clear();
	} else {
		shown += piece;
	}
}

void packet_grep::take(std::string_view text, std::string &shown)
{
	size_t start = find_packet(text);
	if (start != std::string_view::npos)
		current_cpu = packet_cpu(text.substr(start));
	packet &current = last[current_cpu];
	add(current, text.substr(0, start), shown);
	while (start != std::string_view::npos) {
		const size_t end = find_packet(text, start + 1);
		current = {};
		add(current, text.substr(start, end - start), shown);
		start = end;
	}
}
