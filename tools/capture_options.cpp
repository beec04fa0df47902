// SPDX-License-Identifier: GPL-2.0-only
#include "tools/capture_options.h"

#include "tools/message.h"
#include "tools/usage.h"

#include <charconv>

namespace {

template <class Number> const char *parse_number(const char *text, const char *end, Number &value)
{
	const auto [stop, error] = std::from_chars(text, end, value);
	return error == std::errc() ? stop : nullptr;
}

// MINUTES_WEST or MINUTES_WEST,DST; the reason when it is neither.
std::string parse_time_zone(const std::string &text, int32_t &minutes_west, int32_t &dst)
{
	const char *const end = text.data() + text.size();
	const char *at = parse_number(text.data(), end, minutes_west);
	if (at && at != end)
		at = *at == ',' ? parse_number(at + 1, end, dst) : nullptr;
	return at == end ? "" : fmt::format("MINUTES_WEST or MINUTES_WEST,DST is expected (-60,0 for one hour east), not {}", text);
}

// What is given as a settings line, as the module is to read it; all that it reads differently from how it looks is said.
std::string read_settings_option(const std::string &text)
{
	filter_settings settings;
	std::vector<std::string> notes;
	if (const std::string reason = read_settings(text, settings, notes); !reason.empty())
		throw CLI::ValidationError("--settings", reason);
	for (const std::string &note : notes)
		if (note != mode_not_shown)
			message("note: {}", note);
	for (const std::string &why : impossible(settings))
		message("note: nothing can match: {}", why);
	return text.starts_with("mirror ") ? settings_line(settings) : text;
}

// The settings line of a filter in the operator's words.
std::string line_of(const wanted_filter &wanted)
{
	filter_settings settings;
	const std::vector<std::string> reasons = read_wanted(wanted, settings);
	if (!reasons.empty())
		throw CLI::ValidationError(reasons.front());
	// Nobody is surprised that all is rendered.
	if (settings.match || settings.type != all_types)
		for (const std::string &note : surprises(settings))
			message("note: {}", note);
	return settings_line(settings);
}

} // namespace

void add_capture_options(CLI::App &command, rendering_options &options)
{
	options.settings = all_packets;
	CLI::Option *const line =
		command.add_option_function<std::string>(
			       "--settings", [&](const std::string &text) { options.settings = read_settings_option(text); },
			       "settings line, as it is written to net/fw/debug_pkt_params, or as reading that gives it")
			->type_name("LINE");
	add_filter_options(command, options.wanted, {"mode"}, line);
	command.parse_complete_callback([&] {
		if (options.wanted.given())
			options.settings = line_of(options.wanted);
	});
	command.add_option("--gre-type", options.gre_type, "net/fw/gre_type: one more GRE protocol that carries Ethernet")
		->type_name("NUMBER")
		->check(number_between(0, 0xffff));
	command.add_flag_callback(
		"--no-follow-ups", [&] { options.follow_ups = false; }, "the capture call alone");
	command.add_option("--time-zone", "minutes west of Greenwich and the DST word, which adds whole hours (default 0,0)")
		->type_name("MINUTES_WEST[,DST]")
		->check([&](const std::string &text) { return parse_time_zone(text, options.minutes_west, options.dst); });
}
