// SPDX-License-Identifier: GPL-2.0-only
#include "tools/rendering_options.h"

#include "tools/message.h"

#include <charconv>

namespace {

template <class Number> const char *parse_number(const char *text, const char *end, Number &value)
{
	const auto [stop, error] = std::from_chars(text, end, value);
	return error == std::errc() ? stop : nullptr;
}

} // namespace

std::string read_time_zone(const std::string &text, int32_t &minutes_west, int32_t &dst)
{
	const char *const end = text.data() + text.size();
	const char *at = parse_number(text.data(), end, minutes_west);
	if (at && at != end)
		at = *at == ',' ? parse_number(at + 1, end, dst) : nullptr;
	return at == end ? "" : fmt::format("MINUTES_WEST or MINUTES_WEST,DST is expected (-60,0 for one hour east), not {}", text);
}

std::string read_settings_line(const std::string &text, std::string &line)
{
	filter_settings settings;
	std::vector<std::string> notes;
	if (std::string reason = read_settings(text, settings, notes); !reason.empty())
		return reason;
	for (const std::string &note : notes)
		if (note != mode_not_shown)
			message("note: {}", note);
	for (const std::string &why : impossible(settings))
		message("note: nothing can match: {}", why);
	line = text.starts_with("mirror ") ? settings_line(settings) : text;
	return "";
}

std::string read_wanted_filter(const wanted_filter &wanted, std::string &line)
{
	filter_settings settings;
	if (const std::vector<std::string> reasons = read_wanted(wanted, settings); !reasons.empty())
		return reasons.front();
	// Nobody is surprised that all is rendered.
	if (settings.match || settings.type != all_types)
		for (const std::string &note : surprises(settings))
			message("note: {}", note);
	line = settings_line(settings);
	return "";
}
