// SPDX-License-Identifier: GPL-2.0-only
#include "tools/current_settings.h"

#include "tools/settings_entry.h"

std::string read_current(const std::string &entry, current_settings &current)
{
	current = current_settings();
	std::string text;
	if (std::string reason = read_entry(entry, text); !reason.empty())
		return reason;
	current.damage = load_state(entry, current.state);
	if (const std::string reason = read_settings(text, current.settings, current.notes); !reason.empty()) {
		current.unreadable = entry + ": " + reason;
		current.settings = filter_settings();
		current.settings.type = 0;
		current.state.reset();
	}
	if (!current.state)
		return "";
	filter_settings written = current.state->settings;
	if (!shows(text, written)) {
		// The limit switches the types off; nothing else changes.
		const bool limited = written.limit != 0;
		written.type = 0;
		current.limit_reached = limited && shows(text, written);
		if (!current.limit_reached) {
			current.state.reset();
			return "";
		}
	}
	current.settings = written;
	current.notes.clear();
	return "";
}
