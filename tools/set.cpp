// SPDX-License-Identifier: GPL-2.0-only
#include "tools/set.h"

#include "config/settings.h"
#include "tools/current_settings.h"
#include "tools/settings_entry.h"
#include "tools/timed_settings.h"

#include <cstdio>
#include <net/if.h>

namespace {

// A filter that may be written; everything that may surprise has been said.
exit_status may_be_set(const set_options &options, filter_settings &settings)
{
	const std::vector<std::string> reasons = read_wanted(options.wanted, settings);
	for (const std::string &reason : reasons)
		message("{}", reason);
	if (!reasons.empty())
		return exit_bad_input;
	for (const std::string &note : surprises(settings))
		message("note: {}", note);
	return exit_done;
}

// What is written, and the mode that is known from before.
saved_state state_of(const filter_settings &settings, const current_settings &before)
{
	saved_state state;
	state.settings = settings;
	if (!settings.mode && before.state)
		state.settings.mode = before.state->settings.mode;
	state.since = std::time(nullptr);
	return state;
}

exit_status set_for_good(const std::string &entry, const filter_settings &settings, const current_settings &before)
{
	std::string text;
	std::string reason = write_entry(entry, settings_line(settings));
	if (reason.empty())
		reason = read_entry(entry, text);
	if (!reason.empty()) {
		message("{}", reason);
		return exit_environment;
	}
	if (!shows(text, settings)) {
		message("{}: shows something else than was written; somebody else writes it, too (debug-pkt show)", entry);
		return exit_environment;
	}
	if (before.state && before.state->previous)
		message("note: this also replaces what process {} has set for a time: it brings nothing back", before.state->owner);
	if (const std::string not_noted = save_state(entry, state_of(settings, before)); !not_noted.empty())
		message("note: {}", not_noted);
	return exit_done;
}

exit_status set_for_a_time(const std::string &entry, const filter_settings &settings, const current_settings &before, long seconds)
{
	// Behind settings for a time stand those that were there before all of them.
	const bool inherited = before.state && before.state->previous;
	filter_settings previous = inherited ? *before.state->previous : before.settings;
	if (settings.mode && !previous.mode)
		message("note: the mode stays {} afterwards: what it is now is unknown", *settings.mode);
	if (!settings.mode)
		previous.mode.reset();
	for (const std::string &note : before.notes)
		if (!inherited && note != mode_not_shown)
			message("note: the present settings come back only as far as they are known: {}", note);
	if (previous.type && previous.limit)
		message("note: the limit of the settings that come back counts from zero again");

	timed_settings timed{entry, settings, state_of(settings, before), before.state, seconds};
	timed.state.previous = previous;
	timed.state.until = timed.state.since + seconds;
	return run_timed(timed);
}

} // namespace

exit_status run_set(const set_options &options)
{
	filter_settings settings;
	if (const exit_status wrong = may_be_set(options, settings); wrong != exit_done)
		return wrong;
	const std::string entry = settings_entry(options.sysctl_root);
	current_settings before;
	if (!options.print) {
		if (const std::string reason = read_current(entry, before); !reason.empty()) {
			message("{}", reason);
			return exit_environment;
		}
		for (const std::string &trouble : {before.damage, before.unreadable})
			if (!trouble.empty())
				message("note: {}", trouble);
		if ((settings.match & match_dev) && !if_nametoindex(settings.dev.c_str()))
			message("note: no device is called {} now (ip link)", settings.dev);
	}
	std::printf("%s\n", settings_line(settings).c_str());
	if (const exit_status status = end_of_output(); status != exit_done || options.print)
		return status;
	const std::optional<long> seconds = read_duration(options.duration);
	return seconds ? set_for_a_time(entry, settings, before, *seconds) : set_for_good(entry, settings, before);
}
